// CFPGAIFLSUart on the fake device: frames byte for byte, the receive loop,
// failures and their reports, the ping read-back.

#include "FPGAIFLSUart.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <numeric>

typedef CRig<CFPGAIFLSUart> UartRig;

TEST(LowscanUartTest, ConstructionOpensTheDeviceAndReportsOnlyAFailedSerialSetUp)
{
    CFakeFactory Factory(TRANSPORT_OWNS_DEVICES);
    CFPGAIFLSUart Uart("/dev/ttyFake", &Factory);
    EXPECT_EQ(std::vector<std::string>{"/dev/ttyFake 2 0"}, Factory.m_Opens);
    EXPECT_EQ(EBADF, Uart.GetErrorCode());
    const std::string Code = "3 " + std::to_string(EBADF);
    EXPECT_EQ((std::vector<std::string>{
                  Code + " CFPGAIFLSUart::ConfigureSerialPort|/dev/ttyFake is not a serial port",
                  Code + " CFPGAIFLSUart::CFPGAIFLSUart|Constructor failed to configure UART /dev/ttyFake"}),
              Factory.m_Events);

    Factory.m_Events.clear();
    Factory.m_OpenErrors["/dev/ttyMissing"] = ENOENT;
    CFPGAIFLSUart Missing("/dev/ttyMissing", &Factory);
    EXPECT_EQ(ENOENT, Missing.GetErrorCode());
    EXPECT_TRUE(Factory.m_Events.empty());

    EXPECT_EQ("/dev/ttyO1", CFPGAIFLSUart::DevicePathOrDefault("", c_Channel0));
    EXPECT_EQ("/dev/ttyO3", CFPGAIFLSUart::DevicePathOrDefault("", c_Channel1));
    EXPECT_EQ("/dev/ttyS2", CFPGAIFLSUart::DevicePathOrDefault("/dev/ttyS2", c_Channel1));
}

// Gains: x 16 and x 1024, rounded (39.5 up, 4094.5 up, 0.4096 down), negative
// to 0, at most 4095. The version is asked with command 3 and read from
// bytes 2 and 3 of a 1024-byte reply. The set-up test has the other registers.
TEST(LowscanUartTest, FramesAreByteExact)
{
    UartRig R;
    Bytes_T Reply(1024, 0x77);
    Reply[2] = 0x12;
    Reply[3] = 0x34;
    R.Device.Answer(Reply);
    SWVersion_T Version = {0xAA, 0xBB};
    CFPGAIFLSUart& U = R.Transport;
    for (TSQEventCode_T Result :
         {U.SetRegister(0x0021, 0x00010001), U.SetRegister(0xABCD, 0xFFFFFFFF), U.PingNow(), U.GetVersion(&Version),
          U.Echo("Hi"), U.Echo(""), U.SetSampling(c_Channel1, 0xFFFF, 0x1234, 0xFFFF),
          U.SetGainAndColourGain(c_Channel0, 300.0, 5.0), U.SetGainAndColourGain(c_Channel1, 2.46875, 0.0004),
          U.SetGainAndColourGain(c_Channel0, -3.0, 3.9990234375), U.SetGainAndColourGain(c_Channel1, 255.90625, 1.0),
          U.SetBoostLevel(181, false)})
        EXPECT_EQ(0, Result);
    EXPECT_EQ(
        (std::vector<Bytes_T>{{0xF5, 0x00, 0x21, 0x00, 0x01, 0x00, 0x01, 0x18},
                              {0xF5, 0xAB, 0xCD, 0xFF, 0xFF, 0xFF, 0xFF, 0x69},  // the sum 0x669 keeps its low byte
                              {0xF5, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0xF7},
                              {0xF5, 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0xF9},
                              {'H', 'i', 0},
                              {0},
                              UartFrame(41, 0xFFFF0001),
                              UartFrame(45, 0x1234FFFF),
                              UartFrame(34, 4095),
                              UartFrame(35, 4095),
                              UartFrame(42, 40),
                              UartFrame(43, 0),
                              UartFrame(34, 0),
                              UartFrame(35, 4095),
                              UartFrame(42, 4095),
                              UartFrame(43, 1024),
                              {0xF5, 0x00, 0x41, 0x00, 0x00, 0x00, 0xB5, 0xEB}}),
        R.Device.m_Writes);
    EXPECT_EQ(std::vector<size_t>{1024}, R.Device.m_ReadSizes);

    R.Device.Answer(Bytes_T(1023, 0x01));
    EXPECT_EQ(-171, R.Transport.GetVersion(&Version));
    EXPECT_EQ(0x12, Version.Major);  // the failed read changed nothing
    EXPECT_EQ(0x34, Version.Minor);
}

TEST(LowscanUartTest, SetUpForPingWritesBothBlocksThenGainAndBoostAndStopsAtTheFirstFailure)
{
    std::vector<Bytes_T> All;
    for (const auto& Register : SampleConfigurationRegisters())
        All.push_back(UartFrame(Register.first, Register.second));
    for (int Failing = -1; Failing < 14; ++Failing)
    {
        UartRig R;
        if (Failing >= 0)
            R.Device.m_FailingWrites = {size_t(Failing)};
        const int Expected = Failing < 0 ? 0 : EIO;
        EXPECT_EQ(Expected, R.Transport.setUpForPing(SampleConfiguration())) << Failing;
        EXPECT_EQ(Expected, R.Transport.GetErrorCode());
        EXPECT_EQ(std::vector<Bytes_T>(All.begin(), All.begin() + (Failing < 0 ? 14 : Failing + 1)), R.Device.m_Writes)
            << Failing;
        EXPECT_EQ(Failing < 0 ? 0u : 1u, R.Factory.m_Events.size());
    }
}

TEST(LowscanUartTest, FailuresAreReportedAndKeptUntilTheNextSuccess)
{
    UartRig R;
    R.Device.m_FailingWrites = {0};
    EXPECT_EQ(EIO, R.Transport.PingNow());
    EXPECT_EQ(EIO, R.Transport.GetErrorCode());
    EXPECT_EQ(-173, R.Transport.Flush());
    EXPECT_EQ(-173, R.Transport.GetErrorCode());
    EXPECT_EQ((std::vector<std::string>{"3 5 CFPGAIFLSUart::SendData|failed to send data to UART /dev/fake",
                                        "3 -173 CFPGAIFLSUart::Flush|Flush failed on UART /dev/fake"}),
              R.Factory.m_Events);
    R.Device.m_FailingWrites.clear();
    EXPECT_EQ(0, R.Transport.SetAnalogueGainLevel(1));
    EXPECT_EQ(0, R.Transport.GetErrorCode());
}

// Each read asks for no more than the one before it returned, nor for more
// than is missing. A silent line, a failed read or a read of nothing (a
// hung-up line) ends the receive with -171. The reply bytes count up from 1.
TEST(LowscanUartTest, ReceiveLoop)
{
    const struct
    {
        std::deque<CFakeDevice::Chunk_T> Replies;
        size_t Wanted, Got;
        std::vector<size_t> Reads;
        size_t Polls;
    } Cases[] = {
        {{{{1, 2, 3, 4}, 0}, {{5, 6, 7, 8, 9, 10, 11, 12, 13, 14}, 0}}, 10, 10, {10, 4, 2}, 3},
        {{{{1, 2, 3}, 0}}, 8, 3, {8}, 2},
        {{{{1, 2}, 0}, {{}, EIO}, {{3, 4}, 0}}, 4, 2, {4, 2}, 3},
        {{{{1}, 0}, {{}, 0}, {{2, 3}, 0}}, 3, 1, {3, 1}, 3},
        {{}, 0, 0, {}, 0},
    };
    for (const auto& Case : Cases)
    {
        UartRig R;
        R.Device.m_Replies = Case.Replies;
        Bytes_T Storage(Case.Wanted + 2, 0xCC), Expected(Case.Wanted + 2, 0xCC);
        std::iota(Expected.begin(), Expected.begin() + Case.Got, 1);
        Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
        Buffer.size(Case.Wanted);
        const int Result = Case.Got < Case.Wanted ? -171 : 0;
        EXPECT_EQ(Result, R.Transport.ReceiveData(&Buffer)) << Case.Wanted;
        EXPECT_EQ(Result, R.Transport.GetErrorCode());
        EXPECT_EQ(Case.Got, Buffer.size());
        EXPECT_EQ(Expected, Storage);
        EXPECT_EQ(Case.Reads, R.Device.m_ReadSizes);
        EXPECT_EQ((std::vector<std::pair<short, int>>(Case.Polls, {POLLIN, 1000})), R.Device.m_Polls);
        const std::string Report = "3 -171 CFPGAIFLSUart::ReceiveData|Error on UART /dev/fakeOnly Got " +
                                   std::to_string(Case.Got) + " out of " + std::to_string(Case.Wanted) + " after " +
                                   std::to_string(Case.Reads.size()) + " reads";
        EXPECT_EQ(std::vector<std::string>(Result ? 1 : 0, Report), R.Factory.m_Events);
    }
}

// 130 samples: a packet of 132 + 3 + 2 bytes. The partial block's pair is
// read where a whole block's would be, past the packet: 0 and 0.
TEST(LowscanUartTest, GetPingReadsThePacketWithoutARequestAndUnpacksAPartialBlock)
{
    UartRig R;
    R.Device.Answer(PingPacket(
        130, [](size_t i) { return UINT8(255 - i); }, [](size_t, int Half) { return Half ? 0xFFFu : 0x001u; }));
    Bytes_T Samples(130 * 4, 0), Values(5 * 4, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, R.Transport.GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    EXPECT_TRUE(R.Device.m_Writes.empty());
    EXPECT_EQ(std::vector<size_t>{137}, R.Device.m_ReadSizes);
    const std::vector<float> S = Floats(Samples);
    EXPECT_EQ((std::vector<float>{255, 128, 127, 126}), (std::vector<float>{S[0], S[127], S[128], S[129]}));
    EXPECT_EQ((std::vector<float>{1, 4095, 0, 0}), Floats(Bytes_T(Values.begin(), Values.begin() + 16)));
    EXPECT_EQ(Bytes_T(4, 0xCC), Bytes_T(Values.begin() + 16, Values.end()));

    // A short packet leaves the samples alone.
    R.Device.Answer(Bytes_T(100, 9));
    EXPECT_EQ(-171, R.Transport.GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    EXPECT_EQ(S, Floats(Samples));
}
