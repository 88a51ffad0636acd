#include "SonarTestController.h"

#include "FPGAIF.h"
#include "OSSLinuxFactory.h"
#include "ProductCatalogue.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
struct ChannelFilter_T
{
    int FileByte;
    unsigned int Element;
    PingConfigRxBand_T Band;
};

// The only channel filter bytes a table file may name.
const ChannelFilter_T c_ChannelFilters[] = {
    {0xDE, 1, PingConfigRxBand_HF},
    {0xEE, 1, PingConfigRxBand_MF},
    {0xF5, 0, PingConfigRxBand_LF},
    {0xF6, 1, PingConfigRxBand_LF},
};

const char* BandName(PingConfigRxBand_T band)
{
    switch (band)
    {
    case PingConfigRxBand_LF:
        return "PingConfigRxBand_LF";
    case PingConfigRxBand_MF:
        return "PingConfigRxBand_MF";
    case PingConfigRxBand_HF:
        return "PingConfigRxBand_HF";
    default:
        return "";
    }
}

// Active low: a cleared bit selects the element and the band.
UINT8 ChannelFilterByte(unsigned int element, PingConfigRxBand_T band)
{
    UINT8 value = 0xFF;
    value &= static_cast<UINT8>(element == 1 ? ~0x01 : ~0x02);
    if (band == PingConfigRxBand_MF)
        value &= static_cast<UINT8>(~0x10);
    else if (band == PingConfigRxBand_HF)
        value &= static_cast<UINT8>(~0x20);
    else
        value &= static_cast<UINT8>(~0x08);
    return value | 0x04;
}

struct ScalarKey_T
{
    const char* Start;
    const char* End;
};

const ScalarKey_T c_ChannelFilterKey = {"FpgaInterface->SetChannelFilterRegister(",
                                        ");\nFpgaInterface->SetADCFrequencyRegister"};
const ScalarKey_T c_CentreFreqKey = {"FpgaInterface->SetBaseBandFilterCentreFreq(",
                                     ");\nFpgaInterface->SetCorrelationFilter"};
const ScalarKey_T c_SamplesKey = {"FpgaInterface->SetNumberOfSamplesToReceive(", ");\nFpgaInterface->SetSubSampleRate"};
const ScalarKey_T c_SubSampleRateKey = {"FpgaInterface->SetSubSampleRate(", ");\nFpgaInterface->SetSubSampleMode"};
const ScalarKey_T c_DownShiftKey = {"FpgaInterface->SetCorralationDownShift(",
                                    ");\nFpgaInterface->SetCorralationScaling"};
const ScalarKey_T c_ScalingKey = {"  FpgaInterface->SetCorralationScaling(",
                                  ");\n-------------------CONFIGURE FPGA VALUES  END ----------------"};
const ScalarKey_T c_ThresholdKey = {"FpgaInterface->SetSubSampleThreshold(", ");\nFpgaInterface->SetBoostLevel"};
const ScalarKey_T c_BoostKey = {"FpgaInterface->SetBoostLevel(", ");\nFpgaInterface->SetChirpTable"};
const ScalarKey_T c_DivisorKey = {"FpgaInterface->GetBBFilterSubSampleDivisor(",
                                  ");\nFpgaInterface->SetBaseBandFilterSelection"};
const ScalarKey_T c_SelectionKey = {"FpgaInterface->SetBaseBandFilterSelection(",
                                    ");\nFpgaInterface->SetBaseBandFilterScalingReg"};
const ScalarKey_T c_ScalingRegKey = {"FpgaInterface->SetBaseBandFilterScalingReg(",
                                     ");\nFpgaInterface->SetBaseBandFilterCentreFreq"};
}

int CSonarTestController::OutputAsStringShort(unsigned short* samples, int count, int incrementBy)
{
    printf("\n<SonarFPGAData>");
    // A step that does not divide the count shrinks until it does; one that
    // does not move forward at all shows every sample.
    int step = incrementBy < 1 ? 1 : incrementBy;
    while (count % step != 0)
        --step;
    for (int index = 0; index < count; index += step)
    {
        printf("%u", static_cast<unsigned int>(samples[index]));
        if (index + 1 != count)
            printf(",");
    }
    printf("<EndSonarFPGAData>\n");
    fflush(stdout);
    return TEST_PASSED;
}

int CSonarTestController::xKPing(std::string* output, QString fileName, unsigned char channel, int incrementBy)
{
    if (LoadFPGABinary(*output, false) == TEST_FAILED)
        return TEST_FAILED;

    const ProductCatalogue::Product_T& product = ProductCatalogue::Find(GetProductId());
    if (product.XkAdcCode < 0)
    {
        Message(std::string("ERROR: Use only for xK derivitives.\n"), output, false, true);
        return TEST_FAILED;
    }

    XkTables_T tables;
    if (LoadTables(tables.Chirp, tables.Tvg, tables.Correlation, output, fileName) != 2)
        return TEST_FAILED;

    COSSLinuxFactory factory;
    Message(m_FpgaInterfaceNotice, output, false, true);
    CFPGAIF fpga(&factory, product.ChannelChoosesFpga ? channel : 0);

    XkSettings_T settings;
    settings.ChannelChoosesFpga = product.ChannelChoosesFpga;
    settings.Channel = channel;
    if (ConfigureXkFpga(fpga, fileName, tables, static_cast<eFpgaAdcFrequency_T>(product.XkAdcCode), settings,
                        output) != TEST_PASSED)
        return TEST_FAILED;
    return PingXkAndPrint(fpga, settings, incrementBy, output);
}

int CSonarTestController::ConfigureXkFpga(CFPGAIF& fpga, const QString& fileName, const XkTables_T& tables,
                                          eFpgaAdcFrequency_T adcCode, XkSettings_T& settings, std::string* output)
{
    (void)fpga.SetCommandRegister(bFpgaCommandByte{0});
    (void)fpga.SetOutputDataToLog();
    (void)fpga.SetCommandRegister(bFpgaCommandByte{2});
    (void)fpga.SetOutputDataToLog();

    const auto value = [&](const ScalarKey_T& key) { return GetValue(fileName, key.Start, key.End); };
    const int fileByte = value(c_ChannelFilterKey);
    settings.CentreFrequency = static_cast<unsigned int>(value(c_CentreFreqKey));

    const ChannelFilter_T* pFilter = nullptr;
    for (const ChannelFilter_T& filter : c_ChannelFilters)
        if (filter.FileByte == fileByte)
            pFilter = &filter;
    if (!pFilter)
    {
        Message(QString("ERROR: No valid channel filter byte: %1.\n").arg(fileByte), output, false, true);
        return TEST_FAILED;
    }
    settings.Element = pFilter->Element;
    settings.Band = pFilter->Band;

    if (settings.ChannelChoosesFpga)
        (void)fpga.SetFilterSelectionRegister(static_cast<unsigned char>(settings.Band));

    const FpgaChnlFltByte_T filterByte = {ChannelFilterByte(settings.Element, settings.Band)};
    settings.Samples = value(c_SamplesKey);

    // Each value narrowed to its register: a missing key (-1) arrives as all ones.
    const auto u8 = [&](const ScalarKey_T& key) { return static_cast<unsigned char>(value(key)); };
    const bool configureFailed =
        fpga.SetCommandRegister(bFpgaCommandByte{static_cast<UINT8>(settings.Element * 2)}) != c_TSQ_Success ||
        fpga.SetChannelFilterRegister(&filterByte) != c_TSQ_Success ||
        fpga.SetADCFrequencyRegister(adcCode) != c_TSQ_Success ||
        fpga.SetNumberOfSamplesToReceive(static_cast<unsigned int>(settings.Samples), 255) != c_TSQ_Success ||
        fpga.SetSubSampleRate(u8(c_SubSampleRateKey)) != c_TSQ_Success ||
        fpga.SetSubSampleMode(eFpgaSubSampleMode2) != c_TSQ_Success ||
        fpga.SetSubSampleThreshold(static_cast<unsigned short>(value(c_ThresholdKey))) != c_TSQ_Success ||
        fpga.SetBoostLevel(u8(c_BoostKey)) != c_TSQ_Success || fpga.SetChirpTable(tables.Chirp) != c_TSQ_Success ||
        fpga.SetTVGTable(tables.Tvg) != c_TSQ_Success ||
        fpga.SetBasebandFilterSubSample(u8(c_DivisorKey)) != c_TSQ_Success ||
        fpga.SetBaseBandFilterSelection(u8(c_SelectionKey)) != c_TSQ_Success ||
        fpga.SetBaseBandFilterScalingReg(u8(c_ScalingRegKey)) != c_TSQ_Success ||
        fpga.SetBaseBandFilterCentreFreq(static_cast<unsigned int>(value(c_CentreFreqKey)), 255) != c_TSQ_Success ||
        // Channel 0 here where its neighbours say 255: the table's own channel.
        fpga.SetCorrelationFilter(tables.Correlation, 0) != c_TSQ_Success ||
        fpga.SetCorralationDownShift(u8(c_DownShiftKey), 255) != c_TSQ_Success ||
        fpga.SetCorralationScaling(u8(c_ScalingKey), 255) != c_TSQ_Success;
    if (configureFailed)
    {
        Message(QString("ERROR: Failed to populate FPGA data with error code: %1.\n").arg(fpga.GetErrorCode()), output,
                false, true);
        return TEST_FAILED;
    }
    return TEST_PASSED;
}

int CSonarTestController::PingXkAndPrint(CFPGAIF& fpga, const XkSettings_T& settings, int incrementBy,
                                         std::string* output)
{
    // Failures report the facade's own code, which names the device error.
    if (fpga.UpdateFPGA() != c_TSQ_Success)
    {
        Message(QString("ERROR: UpdateFPGA failed with error code: %1. (Is the Sounder app running?)\n")
                    .arg(fpga.GetErrorCode()),
                output, false, true);
        return TEST_FAILED;
    }

    if (fpga.PingNow(bFpgaCommandByte{static_cast<UINT8>(settings.Element * 2 + 1)}) != c_TSQ_Success)
    {
        Message(QString("ERROR: Ping failed with error code: %1.\n").arg(fpga.GetErrorCode()), output, false, true);
        return TEST_FAILED;
    }

    const int samples = settings.Samples;
    const size_t bufferBytes = static_cast<size_t>(samples) * 2;
    std::vector<unsigned short> sampleStore(static_cast<size_t>(samples), 0);
    Buffer_Bytes_T buffer(reinterpret_cast<UINT8*>(sampleStore.data()), bufferBytes);
    const TSQEventCode_T received = fpga.GetPing(&buffer);
    if (received != static_cast<TSQEventCode_T>(bufferBytes))
    {
        // Reported, but the run still passes: the station judges the missing block.
        Message(QString("ERROR: Get ping failed with error code: %1.\n").arg(fpga.GetErrorCode()), output, false, true);
        return TEST_PASSED;
    }

    const int result = OutputAsStringShort(sampleStore.data(), samples, incrementBy);
    if (settings.ChannelChoosesFpga)
        Message(QString("Channel: %1 ").arg(settings.Channel), nullptr, true, false);
    Message(QString("Element: %1 Centre Freq: %2 & RxBand: %3\n")
                .arg(settings.Element)
                .arg(settings.CentreFrequency)
                .arg(BandName(settings.Band)),
            nullptr, true, false);
    Message(QString("\nSamples: %1 Buffer Bytes: %2\n").arg(samples).arg(bufferBytes), nullptr, true, false);
    if (result == TEST_FAILED)
        Message(std::string("ERROR: OutputAsStringShort failed.\n"), output, false, true);
    return result;
}
