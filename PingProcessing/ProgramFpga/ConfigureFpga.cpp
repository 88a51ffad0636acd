#include "ConfigureFpga.h"

#include "AssertAt.h"
#include "DatabaseLumetPingMetaData.h"
#include "DatabasePingMetaData.h"
#include "FPGAIF.h"

namespace
{
const char c_AssertSource[] = "PingProcessing/ProgramFpga/ConfigureFpga.cpp";
}

TSQEventCode_T CConfigureFpga::Configure(CDatabasePingMetaData** PingMetaData, CFPGAIF* LowscanIF, bool)
{
    ASSERT_AT(c_AssertSource, 53, PingMetaData && "No PingMetaData passed in");
    ASSERT_AT(c_AssertSource, 54, LowscanIF && "No LowscanIF passed in");

    LSFpgaCompleteConfigure_T configuration;
    for (LSChannel_T n = c_Channel0; n <= c_Channel1; ++n)
    {
        const CDatabasePingMetaData* own = PingMetaData[n];
        // An idle channel does not transmit but still receives with its neighbour's settings.
        const CDatabasePingMetaData* source = own->GetActive() ? own : PingMetaData[1 - n];
        LSChannelConfigure_T& channel = configuration.Channels[n];
        channel.Channel = n;
        channel.Period = own->GetActive() ? own->GetNumberOfFullCycles() : 0;
        channel.StartFrequency = source->GetStartFreq();
        channel.EndFrequency = source->GetEndFreq();
        channel.NumberOfSamples = source->GetNumberOfSamples();
        channel.SampleDelay = source->GetSampleDelay();
        channel.DecimationRate = source->GetDecimationRate();
        channel.Gain = source->GetGain();
        channel.ColourGain = source->GetColourGain();
        channel.SteppedAnalogueGain = source->GetCalculatedSteppedAnalogueGain();
        // One boost level serves both channels: the last one taken wins.
        configuration.BoostLevel = source->GetCalculatedBoostLevel();
    }
    configuration.AnalogueGainLevel =
        configuration.Channels[0].SteppedAnalogueGain | configuration.Channels[1].SteppedAnalogueGain;
    return LowscanIF->setUpForPing(configuration);
}

TSQEventCode_T CConfigureFpga::Configure(CDatabaseLumetPingMetaData** PingMetaData, CFPGAIF* FpgaInterface)
{
    ASSERT_AT(c_AssertSource, 566, FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");

    bLumetStatusByte status = {0};
    FpgaInterface->GetStatusRegister(&status);

    // The setters queue packets; their results show only in UpdateFPGA.
    for (unsigned char n = 0; n <= 1; ++n)
    {
        const CDatabaseLumetPingMetaData* record = PingMetaData[n];
        if (!record->GetActive())
            continue;
        const CorrelationFilterSettings_T& correlation = record->GetCorrelationTable();
        const unsigned int centreFrequency = record->GetBasebandCentreFreq();
        FpgaInterface->SetNumberOfSamplesToReceive(record->GetNumberOfSamples(), n);
        FpgaInterface->SetSteppedAnalogueGain(record->GetCalculatedSteppedAnalogueGain(), n);
        FpgaInterface->SetBaseBandFilterCentreFreq(centreFrequency, n);
        FpgaInterface->SetCorrelationFilter(correlation.Coefficients, n);
        FpgaInterface->SetCorralationDownShift(correlation.DownShift, n);
        FpgaInterface->SetSubSampleRate(static_cast<unsigned int>(record->GetSubSampleRate()), n);
        FpgaInterface->SetStartFreq(record->GetChirpStartFreq(), n);
        FpgaInterface->SetChirpIncrement(record->GetChirpIncrement(), n);
        FpgaInterface->SetBurstLength(record->GetBurstLengthInFullCycles(), n);
        FpgaInterface->SetCorralationScaling(correlation.Scaling, n);
        FpgaInterface->SetBoostLevel(record->GetCalculatedBoostLevel());
        FpgaInterface->SetFifoCntrlRegister(bCorFifoCntrlByte{0}, n);
    }
    return FpgaInterface->UpdateFPGA();
}

TSQEventCode_T CConfigureFpga::Configure(const CDatabasePingParametersMessage*, const CDatabaseFPGACache*,
                                         CFPGAIF* FpgaInterface, bool)
{
    ASSERT_AT(c_AssertSource, 136, FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");
    return 0;
}

TSQEventCode_T CConfigureFpga::Configure(const CDatabaseQL6MPingMetaData*, CFPGAIF* FpgaInterface, bool)
{
    ASSERT_AT(c_AssertSource, 358, FpgaInterface && "No FpgaInterface Passed to ConfigureFpga");
    return 0;
}
