#include "FakeSpiDevice.h"
#include "FPGAIFCorSPI.h"
#include "FPGAIFLumetSPI.h"

#include <gtest/gtest.h>

#include <functional>

TEST(SpiAssertionDeathTest, ProgrammingFaultsEndTheRunNamingTheirCondition)
{
    CFakeSpiFactory Factory;
    const std::string Path = "/dev/spidev1.0";
    CSpiRig<CFPGAIFCorSpi> Cor(true, Path);
    CSpiRig<CFPGAIFLumetSPI> Lumet(Path);
    UINT8 Storage[4 * 2049];
    Buffer_Bytes_T Ping(Storage, 2049);

    const struct
    {
        const char* Stem;
        std::function<void()> Fault;
        const char* Condition;
    } Cases[] = {
        {"FPGAIFCorSPI", [&] { CFPGAIFCorSpi(true, Path, nullptr); },
         "pFactory && \"No Factory passed into CFPGAIFCorSpi\""},
        {"FPGAIFCorSPI", [&] { CFPGAIFCorSpi(true, "", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFCorSpi\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.SetTVGTable(TVGTable_T(1025)); },
         "(TvgTable.size() <= Sizeof_TVGTable) && \"TVG table too long\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097)); },
         "(CorrelationFilter.size() <= Sizeof_CorrelationFilter) && \"Correlation Filter table too long\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.SetNumberOfSamplesToReceive(4095); },
         "((NumberOf32bitSamples % 16) == 0) && \"Number of Rx samples not a multiple of 16\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.SetNumberOfSamplesToReceive(1048576); },
         "((NumberOf32bitSamples / 16) <= 0x0000FFFF) && \"Number of Rx Samples requested is too large\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.SetFilterSelectionRegister(PingConfigRxBand_Auto); },
         "false && \"Auto is not a valid selection for the filter\""},
        {"FPGAIFCorSPI", [&] { Cor.Transport.GetDebugRegister(nullptr, 82); },
         "RegisterContents && \"no location to store status word\""},
        {"FPGAIFLumetSPI", [&] { CFPGAIFLumetSPI(Path, nullptr); },
         "pFactory && \"No Factory passed into CFPGAIFLumetSPI\""},
        {"FPGAIFLumetSPI", [&] { CFPGAIFLumetSPI("", &Factory); },
         "SerialDevicePath.length() != 0 && \"Zero Length Serial Device Passed to CFPGAIFLumetSPI\""},
        {"FPGAIFLumetSPI", [&] { Lumet.Transport.GetPing(0, &Ping, eInterruptModeNone); },
         "totalBytesWanted <= c_MaxSamplesFromLumetFPGA"},
        {"FPGAIFLumetSPI", [&] { Lumet.Transport.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097), 1); },
         "(CorrelationFilter.size() <= Sizeof_CorrelationFilter) && \"Correlation Filter table too long\""},
        {"FPGAIFLumetSPI", [&] { Lumet.Transport.SetNumberOfSamplesToReceive(4104, 0); },
         "((NumberOf32bitSamples % 16) == 0) && \"Number of Rx samples not a multiple of 16\""},
        {"FPGAIFLumetSPI", [&] { Lumet.Transport.GetWaterTemp(nullptr); },
         "AdcValue && \"no location to store ADC Value\""},
    };
    for (const auto& Case : Cases)
        EXPECT_DEATH(Case.Fault(), AssertionPattern(Case.Stem, Case.Condition));

    // The limits themselves are accepted.
    EXPECT_EQ(0, Cor.Transport.SetTVGTable(TVGTable_T(1024)));
    Ping.size(2048);
    EXPECT_EQ(0, Lumet.Transport.GetPing(0, &Ping, eInterruptModeNone));
}
