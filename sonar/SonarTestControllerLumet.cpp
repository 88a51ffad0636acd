#include "SonarTestController.h"

#include "CorrelationFilters.h"
#include "PingMetaData.h"
#include "ProductCatalogue.h"

namespace
{
// The two long-chirp set-ups; frequencies are FPGA register words.
struct LongChirpSetting_T
{
    const char* Word;
    UINT32 Channel, CentreFreq, TransmitFrequency, StartFreq, BurstLength;
    void (*AppendFilter)(CorrelationFilterCoefficients_T&);
};

const LongChirpSetting_T c_Settings[] = {
    {"350long", 1, 21262214, 3500, 21172373, 359, AppendCorrelationFilter350Long},
    {"200long", 0, 12098499, 2000, 12098499, 205, AppendCorrelationFilter200Long},
};

void Fill(const LongChirpSetting_T& setting, CPingMetaData& meta)
{
    meta.SettingFlag = 1;
    meta.Channel = setting.Channel;
    meta.NumberOfSamples = 1024;
    meta.BaseBandFilterCentreFreq = setting.CentreFreq;
    meta.SubSampleRate = 3;
    meta.TransmitFrequency = setting.TransmitFrequency;
    meta.ReceiveFrequency = setting.TransmitFrequency;
    meta.StartFreq = setting.StartFreq;
    meta.EndFreq = 0;
    meta.ChirpIncrement = 0;
    meta.BurstLength = setting.BurstLength;
    meta.SampleSlots = 1024;
    meta.CorrelationScaling = 243;
    meta.CorrelationDownShift = 16;
    meta.BoostLevel = 91;
    setting.AppendFilter(meta.CorrelationFilter);
}
}

int CSonarTestController::LumetPing(std::string* output, QString frequency)
{
    const ProductCatalogue::Product_T& product = ProductCatalogue::Find(GetProductId());
    // A failed load is not judged here: the ping step's version check is.
    if (!product.LumetPingWithoutLoad)
    {
        std::string scratch;
        (void)LoadFPGABinary(scratch, false);
    }

    // Compared exactly, "350long" first.
    const LongChirpSetting_T* pSetting = nullptr;
    for (const LongChirpSetting_T& setting : c_Settings)
        if (!pSetting && frequency == setting.Word)
            pSetting = &setting;
    if (!pSetting)
    {
        Message(std::string("ERROR: Unknown frequency request.\n"), output, false, true);
        return TEST_FAILED;
    }
    CPingMetaData meta;
    Fill(*pSetting, meta);

    if (product.LumetPingWithoutChannel0 && meta.Channel == 0)
    {
        Message(std::string("ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n"), output, false, true);
        return TEST_FAILED;
    }
    return Ping(output, meta);
}
