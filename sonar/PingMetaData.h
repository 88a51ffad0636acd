#ifndef PINGMETADATA_H
#define PINGMETADATA_H

#include "CorFpgaTypes.h"
#include "TSQEventCodes.h"

// One single-channel ping as the Lumet test describes it: frequencies are
// FPGA register words, not hertz.
class CPingMetaData
{
public:
    UINT32 SettingFlag = 0;
    UINT32 Channel = 0;
    UINT32 NumberOfSamples = 0;
    UINT32 BaseBandFilterCentreFreq = 0;
    UINT32 SubSampleRate = 0;
    UINT32 TransmitFrequency = 0;  // not programmed by the ping step
    UINT32 ReceiveFrequency = 0;   // not programmed by the ping step
    UINT32 StartFreq = 0;
    UINT32 EndFreq = 0;  // not programmed by the ping step
    UINT32 ChirpIncrement = 0;
    UINT32 BurstLength = 0;
    UINT32 SampleSlots = 0;
    UINT32 CorrelationScaling = 0;
    UINT32 CorrelationDownShift = 0;
    UINT32 BoostLevel = 0;
    CorrelationFilterCoefficients_T CorrelationFilter;
};

#endif
