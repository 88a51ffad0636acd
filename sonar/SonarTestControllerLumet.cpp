#include "SonarTestController.h"

#include "CorrelationFilters.h"
#include "PingMetaData.h"

namespace
{
// The two long-chirp set-ups; frequencies are FPGA register words.
void Fill200Long(CPingMetaData& meta)
{
    meta.SettingFlag = 1;
    meta.Channel = 0;
    meta.NumberOfSamples = 1024;
    meta.BaseBandFilterCentreFreq = 12098499;
    meta.SubSampleRate = 3;
    meta.TransmitFrequency = 2000;
    meta.ReceiveFrequency = 2000;
    meta.StartFreq = 12098499;
    meta.EndFreq = 0;
    meta.ChirpIncrement = 0;
    meta.BurstLength = 205;
    meta.SampleSlots = 1024;
    meta.CorrelationScaling = 243;
    meta.CorrelationDownShift = 16;
    meta.BoostLevel = 91;
    AppendCorrelationFilter200Long(meta.CorrelationFilter);
}

void Fill350Long(CPingMetaData& meta)
{
    meta.SettingFlag = 1;
    meta.Channel = 1;
    meta.NumberOfSamples = 1024;
    meta.BaseBandFilterCentreFreq = 21262214;
    meta.SubSampleRate = 3;
    meta.TransmitFrequency = 3500;
    meta.ReceiveFrequency = 3500;
    meta.StartFreq = 21172373;
    meta.EndFreq = 0;
    meta.ChirpIncrement = 0;
    meta.BurstLength = 359;
    meta.SampleSlots = 1024;
    meta.CorrelationScaling = 243;
    meta.CorrelationDownShift = 16;
    meta.BoostLevel = 91;
    AppendCorrelationFilter350Long(meta.CorrelationFilter);
}
}

int CSonarTestController::LumetPing(std::string* output, QString frequency)
{
    const unsigned int code = GetProductId();
    // LumetV4 and LumetV6 ping with the firmware they run. A failed load is
    // not judged here: the ping step's version check is.
    if (code != PRODUCT_LUMETV4 && code != PRODUCT_LUMETV6)
    {
        std::string scratch;
        (void)LoadFPGABinary(scratch, false);
    }

    CPingMetaData meta;
    if (frequency == "350long")
        Fill350Long(meta);
    else if (frequency == "200long")
        Fill200Long(meta);
    else
    {
        Message(std::string("ERROR: Unknown frequency request.\n"), output, false, true);
        return TEST_FAILED;
    }

    // These units have only the second (Lowscan) channel.
    if ((code == PRODUCT_LUMETV1 || code == PRODUCT_TESSFINV1) && meta.Channel == 0)
    {
        Message(std::string("ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n"), output, false, true);
        return TEST_FAILED;
    }
    return Ping(output, meta);
}
