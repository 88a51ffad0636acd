// The assertions of both Lowscan transports end the program with their
// condition as the message.

#include "FPGAIFLSSPI.h"
#include "FPGAIFLSUart.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <functional>

TEST(LowscanDeathTest, ProgrammingFaultsEndTheRunNamingTheirCondition)
{
    CFakeFactory Factory(TRANSPORT_OWNS_DEVICES);
    CFPGAIFLSUart Uart("/dev/fake", &Factory);
    CFPGAIFLSSPI Spi("/dev/fake", &Factory);
    SetRegisterData_T Records[2];
    // 1028 samples make a packet of 1063 bytes; 1025 are already one byte too
    // many. 130 samples need two value pairs.
    Bytes_T Samples(1028 * 4), Values(128), Storage(1060);
    Buffer_Bytes_T Ping(Samples.data(), Samples.size()), Ping1025(Samples.data(), 1025 * 4);
    Buffer_Bytes_T Ping130(Samples.data(), 130 * 4), Pairs(Values.data(), Values.size()), OnePair(Values.data(), 8);
    Buffer_Bytes_T Oversize(Storage.data(), Storage.size());
    const char* const Period = "Period != c_PeriodUnknown";
    const char* const Channel = "\\(Channel == c_Channel0\\) \\|\\| \\(Channel == c_Channel1\\)";
    const char* const Sampling = "\\(\\(Channel == c_Channel0\\) \\|\\| \\(Channel == c_Channel1\\)\\)";
    const char* const Packet = "sizeOfRxBuffer <= sizeof\\(LSPingReturnPacket_T\\)";
    const char* const Receive = "bytesWanted <= sizeof\\(LSPingReturnPacket_T\\)";
    const struct
    {
        std::function<void()> Fault;
        std::string Pattern;
    } Cases[] = {
        {[&] { Uart.SetPulse(c_Channel0, c_PeriodUnknown, 1.0, 2.0); }, Period},
        {[&] { Uart.SetPulse(2, c_PeriodUnknown, 1.0, 2.0); }, Period},  // the period is checked first
        {[&] { Spi.SetPulse(Records, 2, c_PeriodUnknown, 1.0, 2.0); }, Period},
        {[&] { Uart.SetPulse(2, 45, 1.0, 2.0); }, Channel},
        {[&] { Spi.SetPulse(Records, 2, 45, 1.0, 2.0); }, Channel},
        {[&] { Uart.SetSampling(2, 1, 2, 3); }, Sampling},
        {[&] { Spi.SetSampling(Records, 2, 1, 2, 3); }, Sampling},
        {[&] { Uart.SetGainAndColourGain(2, 1.0, 1.0); }, Channel},
        {[&] { Spi.SetGainAndColourGain(Records, 2, 1.0, 1.0); }, Channel},
        {[&] { Uart.GetPing(c_Channel0, &Ping, &Pairs); }, Packet},
        {[&] { Uart.GetPing(c_Channel1, &Ping1025, &Pairs); }, Packet},
        {[&] { Spi.GetPing(c_Channel0, &Ping, &Pairs); }, Packet},
        {[&] { Uart.GetPing(c_Channel0, &Ping130, &OnePair); }, "Values buffer too small"},
        {[&] { Spi.GetPing(c_Channel0, &Ping130, &OnePair); }, "Values buffer too small"},
        {[&] { Uart.ReceiveData(&Oversize); }, Receive},
        {[&] { Spi.ReceiveData(&Oversize); }, Receive},
        {[&] { CFPGAIFLSUart("/dev/ttyO1", nullptr); }, "pFactory && \"No Factory Passed to LowscanIF\""},
        {[&] { CFPGAIFLSUart("", &Factory); },
         "SerialDevicePath.length\\(\\) != 0 && \"Zero Length Serial Device Passed to CFPGAIFLSUart\""},
        {[&] { CFPGAIFLSSPI("/dev/LSfpga0", nullptr); }, "pFactory && \"No Factory Passed to CFPGAIFLSSPI\""},
        {[&] { CFPGAIFLSSPI("", &Factory); },
         "SerialDevicePath.length\\(\\) != 0 && \"Zero Length Serial Device Passed to CFPGAIFLSSPI\""},
    };
    for (const auto& Case : Cases)
        EXPECT_DEATH(Case.Fault(), Case.Pattern) << Case.Pattern;
}
