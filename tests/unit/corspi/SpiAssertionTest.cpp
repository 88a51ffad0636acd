#include "FPGAIFCorSPI.h"
#include "FPGAIFLumetSPI.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <functional>

// Programming faults end the run naming their condition and source location;
// the Cor transport's locations are the ones its field reports have always had.
TEST(SpiAssertionDeathTest, ProgrammingFaultsEndTheRunNamingTheirCondition)
{
    CFakeFactory Factory;
    const std::string Path = "/dev/spidev1.0";
    CRig<CFPGAIFCorSpi> CorRig(true, Path);
    CRig<CFPGAIFLumetSPI> LumetRig(Path);
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
    const struct
    {
        const char* File;
        int Line;
        std::function<void()> Fault;
        std::string Condition;
    } Cases[] = {
        {Cor, 67, [&] { CFPGAIFCorSpi(true, Path, nullptr); }, "pFactory && \"No Factory passed into CFPGAIFCorSpi\""},
        {Cor, 70, [&] { CFPGAIFCorSpi(true, "", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFCorSpi\""},
        {Cor, 422, [&] { C.SetTVGTable(TVGTable_T(1025)); },
         "(TvgTable.size() <= Sizeof_TVGTable) && \"TVG table too long\""},
        {Cor, 514, [&] { C.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097)); }, TooLong},
        {Cor, 321, [&] { C.SetNumberOfSamplesToReceive(4095); }, NotMultiple},
        {Cor, 322, [&] { C.SetNumberOfSamplesToReceive(1048576); },
         "((NumberOf32bitSamples / 16) <= 0x0000FFFF) && \"Number of Rx Samples requested is too large\""},
        {Cor, 295, [&] { C.SetFilterSelectionRegister(PingConfigRxBand_Auto); },
         "false && \"Auto is not a valid selection for the filter\""},
        {Cor, 1077, [&] { C.GetDebugRegister(nullptr, 82); },
         "RegisterContents && \"no location to store status word\""},
        {Cor, 117, [&] { C.GetVersion(nullptr); }, "SwVersion && \"no location to store SwVersion word\""},
        {Cor, 625, [&] { C.GetSpeedReading(nullptr); }, "SpeedReading && \"no location to store Speed reading\""},
        {Lumet, 0, [&] { CFPGAIFLumetSPI(Path, nullptr); }, "pFactory && \"No Factory passed into CFPGAIFLumetSPI\""},
        {Lumet, 0, [&] { CFPGAIFLumetSPI("", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFLumetSPI\""},
        {Lumet, 0, [&] { L.GetPing(0, &Ping, eInterruptModeNone); }, "totalBytesWanted <= c_MaxSamplesFromLumetFPGA"},
        {Lumet, 0, [&] { L.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097), 1); }, TooLong},
        {Lumet, 0, [&] { L.SetNumberOfSamplesToReceive(4104, 0); }, NotMultiple},
        {Lumet, 0, [&] { L.GetWaterTemp(nullptr); }, "AdcValue && \"no location to store ADC Value\""},
    };
    for (const auto& Case : Cases)
        EXPECT_DEATH(Case.Fault(), AssertionPattern(Case.File, Case.Line, Case.Condition));

    // The limits themselves are accepted.
    EXPECT_EQ(0, C.SetTVGTable(TVGTable_T(1024)));
    Ping.size(2048);
    EXPECT_EQ(0, L.GetPing(0, &Ping, eInterruptModeNone));
}
