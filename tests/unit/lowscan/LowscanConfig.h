#ifndef LOWSCAN_LOWSCANCONFIG_H
#define LOWSCAN_LOWSCANCONFIG_H

#include "LSFpgaTypes.h"

#include <utility>
#include <vector>

// One whole configuration for setUpForPing and the 14 register writes it
// stands for, worked out by hand: pulse words as in LowscanPulseTest,
// sampling A = 1 | rate << 16, sampling B = samples | delay << 16, gain x 16
// and colour gain x 1024 rounded, analogue gain, boost with bit 31.
inline LSFpgaCompleteConfigure_T SampleConfiguration()
{
    LSFpgaCompleteConfigure_T Config;
    LSChannelConfigure_T& First = Config.Channels[0];
    First.Channel = 0;
    First.Period = 45;
    First.StartFrequency = 200000.0;
    First.EndFrequency = 210000.0;
    First.NumberOfSamples = 993;
    First.SampleDelay = 7;
    First.DecimationRate = 76;
    First.Gain = 2.5;
    First.ColourGain = 1.0;
    LSChannelConfigure_T& Second = Config.Channels[1];
    Second.Channel = 1;
    Second.Period = 1100;
    Second.StartFrequency = 210000.0;
    Second.EndFrequency = 200000.0;
    Second.NumberOfSamples = 512;
    Second.SampleDelay = 0;
    Second.DecimationRate = 3;
    Second.Gain = 0.0;
    Second.ColourGain = 0.5;
    Config.AnalogueGainLevel = 10;
    Config.BoostLevel = 181;
    Config.BoostEnable = 1;
    return Config;
}

inline std::vector<std::pair<unsigned short, UINT32>> SampleConfigurationRegisters()
{
    return {{17, 0x01880AC5}, {18, 0x002D0000}, {33, 0x004C0001}, {37, 0x000703E1}, {34, 40},
            {35, 1024},       {25, 0x00100B4F}, {26, 0x804C0000}, {41, 0x00030001}, {45, 0x00000200},
            {42, 0},          {43, 512},        {66, 10},         {65, 0x800000B5}};
}

#endif
