#include "FakeSpiDevice.h"
#include "FPGAIFCorSPI.h"
#include "FPGAIFLumetSPI.h"

#include <gtest/gtest.h>

#include <functional>

// Programming faults end the run naming their condition and source file.
TEST(SpiAssertionDeathTest, ProgrammingFaultsEndTheRunNamingTheirCondition)
{
    CFakeSpiFactory Factory;
    const std::string Path = "/dev/spidev1.0";
    CSpiRig<CFPGAIFCorSpi> CorRig(true, Path);
    CSpiRig<CFPGAIFLumetSPI> LumetRig(Path);
    CFPGAIFCorSpi& C = CorRig.Transport;
    CFPGAIFLumetSPI& L = LumetRig.Transport;
    UINT8 Storage[4 * 2049];
    Buffer_Bytes_T Ping(Storage, 2049);
    const char* const Cor = "FPGAIFCorSPI";
    const char* const Lumet = "FPGAIFLumetSPI";
    const char* const TooLong =
        "(CorrelationFilter.size() <= Sizeof_CorrelationFilter) && \"Correlation Filter table too long\"";
    const char* const NotMultiple =
        "((NumberOf32bitSamples % 16) == 0) && \"Number of Rx samples not a multiple of 16\"";
    const struct { const char* Stem; std::function<void()> Fault; std::string Condition; } Cases[] = {
        {Cor, [&] { CFPGAIFCorSpi(true, Path, nullptr); }, "pFactory && \"No Factory passed into CFPGAIFCorSpi\""},
        {Cor, [&] { CFPGAIFCorSpi(true, "", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFCorSpi\""},
        {Cor, [&] { C.SetTVGTable(TVGTable_T(1025)); },
         "(TvgTable.size() <= Sizeof_TVGTable) && \"TVG table too long\""},
        {Cor, [&] { C.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097)); }, TooLong},
        {Cor, [&] { C.SetNumberOfSamplesToReceive(4095); }, NotMultiple},
        {Cor, [&] { C.SetNumberOfSamplesToReceive(1048576); },
         "((NumberOf32bitSamples / 16) <= 0x0000FFFF) && \"Number of Rx Samples requested is too large\""},
        {Cor, [&] { C.SetFilterSelectionRegister(PingConfigRxBand_Auto); },
         "false && \"Auto is not a valid selection for the filter\""},
        {Cor, [&] { C.GetDebugRegister(nullptr, 82); }, "RegisterContents && \"no location to store status word\""},
        {Lumet, [&] { CFPGAIFLumetSPI(Path, nullptr); }, "pFactory && \"No Factory passed into CFPGAIFLumetSPI\""},
        {Lumet, [&] { CFPGAIFLumetSPI("", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFLumetSPI\""},
        {Lumet, [&] { L.GetPing(0, &Ping, eInterruptModeNone); }, "totalBytesWanted <= c_MaxSamplesFromLumetFPGA"},
        {Lumet, [&] { L.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097), 1); }, TooLong},
        {Lumet, [&] { L.SetNumberOfSamplesToReceive(4104, 0); }, NotMultiple},
        {Lumet, [&] { L.GetWaterTemp(nullptr); }, "AdcValue && \"no location to store ADC Value\""},
    };
    for (const auto& Case : Cases)
        EXPECT_DEATH(Case.Fault(), AssertionPattern(Case.Stem, Case.Condition));

    // The limits themselves are accepted.
    EXPECT_EQ(0, C.SetTVGTable(TVGTable_T(1024)));
    Ping.size(2048);
    EXPECT_EQ(0, L.GetPing(0, &Ping, eInterruptModeNone));
}
