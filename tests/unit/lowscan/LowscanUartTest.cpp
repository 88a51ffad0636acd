// CFPGAIFLSUart on the fake device: every frame byte for byte, the receive
// loop's reads, polls and reports, and the ping read-back.

#include "FPGAIFLSUart.h"
#include "FakeDevice.h"
#include "LowscanConfig.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace
{
const char* const c_Path = "/dev/ttyFake";

class LowscanUartTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_pUart.reset(new CFPGAIFLSUart(c_Path, &m_Factory));
        m_pDevice = m_Factory.m_pDevice;
        // The fake's descriptor -1 fails the serial set-up; start clean.
        m_Factory.m_Events.clear();
    }

    CFakeFactory m_Factory;
    CFakeDevice* m_pDevice = nullptr;
    std::unique_ptr<CFPGAIFLSUart> m_pUart;
};

std::vector<Bytes_T> SampleConfigurationFrames()
{
    std::vector<Bytes_T> Frames;
    for (const auto& Register : SampleConfigurationRegisters())
        Frames.push_back(UartFrame(Register.first, Register.second));
    return Frames;
}
}

TEST_F(LowscanUartTest, ConstructorOpensThePathReadWriteAndTakesAFailedOpensErrorCode)
{
    ASSERT_EQ(1u, m_Factory.m_Opens.size());
    EXPECT_EQ(c_Path, m_Factory.m_Opens[0].Name);
    EXPECT_EQ(2, m_Factory.m_Opens[0].Flags);
    EXPECT_EQ(0, m_Factory.m_Opens[0].Mode);

    CFakeFactory Factory;
    Factory.m_OpenError = ENOENT;
    CFPGAIFLSUart Uart("/dev/ttyMissing", &Factory);
    EXPECT_EQ(ENOENT, Uart.GetErrorCode());
    EXPECT_TRUE(Factory.m_Events.empty()) << "a failed open is not reported by the transport";
}

TEST_F(LowscanUartTest, ConstructorReportsASerialSetUpFailure)
{
    CFakeFactory Factory;
    CFPGAIFLSUart Uart(c_Path, &Factory);  // descriptor -1: not a terminal
    EXPECT_EQ(EBADF, Uart.GetErrorCode());
    const std::string Code = std::to_string(EBADF);
    EXPECT_EQ((std::vector<std::string>{
                  "3 " + Code + " CFPGAIFLSUart::ConfigureSerialPort|/dev/ttyFake is not a serial port",
                  "3 " + Code + " CFPGAIFLSUart::CFPGAIFLSUart|Constructor failed to configure UART /dev/ttyFake"}),
              Factory.m_Events);
}

TEST_F(LowscanUartTest, DefaultDevicesStandInForAnEmptyPath)
{
    EXPECT_STREQ("/dev/ttyO1", CFPGAIFLSUart::c_DefaultChannel0Device);
    EXPECT_STREQ("/dev/ttyO3", CFPGAIFLSUart::c_DefaultChannel1Device);
    EXPECT_EQ("/dev/ttyO1", CFPGAIFLSUart::DevicePathOrDefault("", c_Channel0));
    EXPECT_EQ("/dev/ttyO3", CFPGAIFLSUart::DevicePathOrDefault("", c_Channel1));
    EXPECT_EQ("/dev/ttyS2", CFPGAIFLSUart::DevicePathOrDefault("/dev/ttyS2", c_Channel1));

    CFakeFactory Factory;
    CFPGAIFLSUart Uart(CFPGAIFLSUart::DevicePathOrDefault("", c_Channel1), &Factory);
    EXPECT_EQ("/dev/ttyO3", Factory.m_Opens.at(0).Name);
}

TEST_F(LowscanUartTest, SetRegisterSendsOneEightByteFrameWithItsChecksum)
{
    EXPECT_EQ(0, m_pUart->SetRegister(0x0021, 0x00010001));
    ASSERT_EQ(1u, m_pDevice->m_Writes.size());
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x21, 0x00, 0x01, 0x00, 0x01, 0x18}), m_pDevice->m_Writes[0]);

    EXPECT_EQ(0, m_pUart->SetRegister(0xABCD, 0xFFFFFFFF));
    // 0xF5 + 0xAB + 0xCD + 4 x 0xFF = 0x669
    EXPECT_EQ((Bytes_T{0xF5, 0xAB, 0xCD, 0xFF, 0xFF, 0xFF, 0xFF, 0x69}), m_pDevice->m_Writes[1]);
}

TEST_F(LowscanUartTest, PingNowAndEchoFrames)
{
    EXPECT_EQ(0, m_pUart->PingNow());
    EXPECT_EQ(0, m_pUart->Echo("Hi"));
    EXPECT_EQ(0, m_pUart->Echo(""));
    ASSERT_EQ(3u, m_pDevice->m_Writes.size());
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0xF7}), m_pDevice->m_Writes[0]);
    EXPECT_EQ((Bytes_T{'H', 'i', 0}), m_pDevice->m_Writes[1]);
    EXPECT_EQ((Bytes_T{0}), m_pDevice->m_Writes[2]);
}

TEST_F(LowscanUartTest, SamplingWritesRateThenSampleCounts)
{
    EXPECT_EQ(0, m_pUart->SetSampling(c_Channel0, 993, 7, 76));
    EXPECT_EQ(0, m_pUart->SetSampling(c_Channel1, 0xFFFF, 0x1234, 0xFFFF));
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(33, 0x004C0001), UartFrame(37, 0x000703E1),
                                    UartFrame(41, 0xFFFF0001), UartFrame(45, 0x1234FFFF)}),
              m_pDevice->m_Writes);
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x21, 0x00, 0x4C, 0x00, 0x01, 0x63}), m_pDevice->m_Writes[0]);
}

TEST_F(LowscanUartTest, GainsAreRoundedAndLimitedTo4095)
{
    EXPECT_EQ(0, m_pUart->SetGainAndColourGain(c_Channel0, 300.0, 5.0));      // 4800 and 5120
    EXPECT_EQ(0, m_pUart->SetGainAndColourGain(c_Channel1, 2.46875, 0.0004));  // 39.5 -> 40, 0.4096 -> 0
    EXPECT_EQ(0, m_pUart->SetGainAndColourGain(c_Channel0, -3.0, 3.9990234375)); // negative -> 0, 4095.0 -> 4095
    EXPECT_EQ(0, m_pUart->SetGainAndColourGain(c_Channel1, 255.90625, 1.0));  // 4094.5 -> 4095, 1024
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(34, 4095), UartFrame(35, 4095), UartFrame(42, 40), UartFrame(43, 0),
                                    UartFrame(34, 0), UartFrame(35, 4095), UartFrame(42, 4095),
                                    UartFrame(43, 1024)}),
              m_pDevice->m_Writes);
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x22, 0x00, 0x00, 0x0F, 0xFF, 0x25}), m_pDevice->m_Writes[0]);
}

TEST_F(LowscanUartTest, AnalogueGainAndBoostFrames)
{
    EXPECT_EQ(0, m_pUart->SetAnalogueGainLevel(30));
    EXPECT_EQ(0, m_pUart->SetBoostLevel(181, true));
    EXPECT_EQ(0, m_pUart->SetBoostLevel(181, false));
    EXPECT_EQ((std::vector<Bytes_T>{{0xF5, 0x00, 0x42, 0x00, 0x00, 0x00, 0x1E, 0x55},
                                    {0xF5, 0x00, 0x41, 0x80, 0x00, 0x00, 0xB5, 0x6B},
                                    {0xF5, 0x00, 0x41, 0x00, 0x00, 0x00, 0xB5, 0xEB}}),
              m_pDevice->m_Writes);
}

TEST_F(LowscanUartTest, SetUpForPingWritesBothBlocksThenAnalogueGainThenBoost)
{
    EXPECT_EQ(0, m_pUart->setUpForPing(SampleConfiguration()));
    EXPECT_EQ(SampleConfigurationFrames(), m_pDevice->m_Writes);
}

TEST_F(LowscanUartTest, SetUpForPingStopsAtTheFirstFailure)
{
    const std::vector<Bytes_T> All = SampleConfigurationFrames();
    for (int Failing : {0, 1, 3, 5, 6, 11, 12, 13})
    {
        CFakeFactory Factory;
        CFPGAIFLSUart Uart(c_Path, &Factory);
        Factory.m_pDevice->m_FailWritesFrom = Failing;
        Factory.m_pDevice->m_WriteError = EIO;
        EXPECT_EQ(EIO, Uart.setUpForPing(SampleConfiguration())) << Failing;
        EXPECT_EQ(EIO, Uart.GetErrorCode());
        EXPECT_EQ(std::vector<Bytes_T>(All.begin(), All.begin() + Failing + 1), Factory.m_pDevice->m_Writes)
            << Failing;
    }
}

TEST_F(LowscanUartTest, AFailedWriteIsReportedAndKeptUntilTheNextSuccess)
{
    m_pDevice->m_FailWritesFrom = 0;
    m_pDevice->m_WriteError = EIO;
    EXPECT_EQ(EIO, m_pUart->PingNow());
    EXPECT_EQ(EIO, m_pUart->GetErrorCode());
    EXPECT_EQ(std::vector<std::string>{"3 5 CFPGAIFLSUart::SendData|failed to send data to UART /dev/ttyFake"},
              m_Factory.m_Events);
    EXPECT_EQ(EIO, m_pUart->SetPulse(c_Channel0, 45, 1000.0, 2000.0));
    EXPECT_EQ(1u + 1u, m_pDevice->m_Writes.size()) << "pulse B is not written after pulse A failed";
    EXPECT_EQ(EIO, m_pUart->SetSampling(c_Channel0, 1, 2, 3));
    EXPECT_EQ(EIO, m_pUart->SetGainAndColourGain(c_Channel0, 1.0, 1.0));
    EXPECT_EQ(4u, m_pDevice->m_Writes.size());

    m_pDevice->m_FailWritesFrom = -1;
    EXPECT_EQ(0, m_pUart->SetAnalogueGainLevel(1));
    EXPECT_EQ(0, m_pUart->GetErrorCode());
}

TEST_F(LowscanUartTest, FlushFailureGivesMinus173)
{
    EXPECT_EQ(-173, m_pUart->Flush());  // descriptor -1
    EXPECT_EQ(-173, m_pUart->GetErrorCode());
    EXPECT_EQ(std::vector<std::string>{"3 -173 CFPGAIFLSUart::Flush|Flush failed on UART /dev/ttyFake"},
              m_Factory.m_Events);
}

TEST_F(LowscanUartTest, ReceiveAsksNoMoreThanThePreviousReadReturned)
{
    m_pDevice->Reply({1, 2, 3, 4});
    m_pDevice->Reply({5, 6, 7, 8, 9, 10, 11, 12, 13, 14});
    Bytes_T Storage(20, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    Buffer.size(10);
    EXPECT_EQ(0, m_pUart->ReceiveData(&Buffer));
    EXPECT_EQ(10u, Buffer.size());
    EXPECT_EQ((Bytes_T{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Storage);
    // 10 asked, 4 came; then 4 (6 missing); then 2 (only 2 missing).
    EXPECT_EQ((std::vector<size_t>{10, 4, 2}), m_pDevice->m_ReadSizes);
    EXPECT_EQ((std::vector<std::pair<short, int>>(3, {1, 1000})), m_pDevice->m_Polls);
    EXPECT_TRUE(m_Factory.m_Events.empty());
}

TEST_F(LowscanUartTest, ReceiveSplitIntoSingleBytesIsReassembled)
{
    for (UINT8 Byte : {0x10, 0x20, 0x30, 0x40, 0x50})
        m_pDevice->Reply({Byte});
    Bytes_T Storage(5, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    EXPECT_EQ(0, m_pUart->ReceiveData(&Buffer));
    EXPECT_EQ((Bytes_T{0x10, 0x20, 0x30, 0x40, 0x50}), Storage);
    EXPECT_EQ((std::vector<size_t>{5, 1, 1, 1, 1}), m_pDevice->m_ReadSizes);
}

TEST_F(LowscanUartTest, ShortfallReportsWhatCameAndGivesMinus171)
{
    m_pDevice->Reply({1, 2, 3});
    Bytes_T Storage(8, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    EXPECT_EQ(-171, m_pUart->ReceiveData(&Buffer));
    EXPECT_EQ(-171, m_pUart->GetErrorCode());
    EXPECT_EQ(3u, Buffer.size());
    EXPECT_EQ(8u, Buffer.capacity());
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSUart::ReceiveData|Error on UART /dev/ttyFakeOnly Got 3 out "
                                       "of 8 after 1 reads"},
              m_Factory.m_Events);
    EXPECT_EQ(2u, m_pDevice->m_Polls.size());
}

TEST_F(LowscanUartTest, AFailedReadEndsTheReceive)
{
    m_pDevice->Reply({1, 2});
    m_pDevice->FailNextRead(EIO);
    m_pDevice->Reply({3, 4});
    Bytes_T Storage(4, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    EXPECT_EQ(-171, m_pUart->ReceiveData(&Buffer));
    EXPECT_EQ(2u, Buffer.size());
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSUart::ReceiveData|Error on UART /dev/ttyFakeOnly Got 2 out "
                                       "of 4 after 2 reads"},
              m_Factory.m_Events);

}

TEST_F(LowscanUartTest, AReadOfNothingEndsTheReceive)
{
    // A hung-up line reads nothing; later reads would ask for nothing.
    m_pDevice->Reply({1});
    m_pDevice->Reply({});
    m_pDevice->Reply({2, 3});
    Bytes_T Storage(3, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    EXPECT_EQ(-171, m_pUart->ReceiveData(&Buffer));
    EXPECT_EQ(1u, Buffer.size());
    EXPECT_EQ((std::vector<size_t>{3, 1}), m_pDevice->m_ReadSizes);
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSUart::ReceiveData|Error on UART /dev/ttyFakeOnly Got 1 out "
                                       "of 3 after 2 reads"},
              m_Factory.m_Events);
}

TEST_F(LowscanUartTest, ReceiveOfNothingSucceedsAtOnce)
{
    Bytes_T Storage(4, 0);
    Buffer_Bytes_T Buffer(Storage.data(), 0);
    EXPECT_EQ(0, m_pUart->ReceiveData(&Buffer));
    EXPECT_TRUE(m_pDevice->m_Polls.empty());
}

TEST_F(LowscanUartTest, GetVersionAsksWithCommand3AndTakesReplyBytes2And3)
{
    Bytes_T Reply(1024, 0x77);
    Reply[2] = 0x12;
    Reply[3] = 0x34;
    m_pDevice->Reply(Reply);
    SWVersion_T Version = {0xAA, 0xBB};
    EXPECT_EQ(0, m_pUart->GetVersion(&Version));
    EXPECT_EQ(0x12, Version.Major);
    EXPECT_EQ(0x34, Version.Minor);
    EXPECT_EQ((std::vector<Bytes_T>{{0xF5, 0x00, 0x01, 0x00, 0x00, 0x00, 0x03, 0xF9}}), m_pDevice->m_Writes);
    EXPECT_EQ(std::vector<size_t>{1024}, m_pDevice->m_ReadSizes);

    m_pDevice->Reply(Bytes_T(1023, 0x01));
    EXPECT_EQ(-171, m_pUart->GetVersion(&Version));
    EXPECT_EQ(0x12, Version.Major) << "untouched on failure";
    EXPECT_EQ(0x34, Version.Minor);
}

TEST_F(LowscanUartTest, GetPingOf1024SamplesReadsThe1059BytePacket)
{
    const Bytes_T Packet = PingPacket(
        1024, [](size_t i) { return static_cast<UINT8>(i * 7 + 1); },
        [](size_t Block, int Half) { return static_cast<unsigned>(0x100 * Block + 0x10 * Half + 3); });
    ASSERT_EQ(1059u, Packet.size());
    m_pDevice->Reply(Packet);

    Bytes_T Samples(4096, 0), Values(64, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pUart->GetPing(c_Channel1, &SampleBuffer, &ValueBuffer));
    EXPECT_EQ(std::vector<size_t>{1059}, m_pDevice->m_ReadSizes);
    EXPECT_TRUE(m_pDevice->m_Writes.empty()) << "the UART read-back sends no request";
    for (size_t i = 0; i < 1024; ++i)
        ASSERT_EQ(static_cast<float>(static_cast<UINT8>(i * 7 + 1)), FloatAt(Samples, i)) << i;
    for (size_t Block = 0; Block < 8; ++Block)
    {
        EXPECT_EQ(static_cast<float>(0x100 * Block + 3), FloatAt(Values, 2 * Block)) << Block;
        EXPECT_EQ(static_cast<float>(0x100 * Block + 0x13), FloatAt(Values, 2 * Block + 1)) << Block;
    }
    EXPECT_EQ(4096u, SampleBuffer.size());
}

TEST_F(LowscanUartTest, GetPingPartialBlockTakesItsPairAtTheWholeBlockPosition)
{
    // 130 samples: one block, 2 more; packet 132 + 3 + 2 = 137 bytes. The
    // partial block's pair sits at 262-265, beyond the packet: it reads 0.
    const Bytes_T Packet = PingPacket(
        130, [](size_t i) { return static_cast<UINT8>(255 - i); },
        [](size_t, int Half) { return Half ? 0xFFFu : 0x001u; });
    ASSERT_EQ(137u, Packet.size());
    m_pDevice->Reply(Packet);

    Bytes_T Samples(130 * 4, 0), Values(16 * 4, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    EXPECT_EQ(std::vector<size_t>{137}, m_pDevice->m_ReadSizes);
    EXPECT_EQ(255.0f, FloatAt(Samples, 0));
    EXPECT_EQ(126.0f, FloatAt(Samples, 129));
    EXPECT_EQ(1.0f, FloatAt(Values, 0));
    EXPECT_EQ(4095.0f, FloatAt(Values, 1));
    EXPECT_EQ(0.0f, FloatAt(Values, 2));
    EXPECT_EQ(0.0f, FloatAt(Values, 3));
    EXPECT_EQ(0xCC, Values[16]) << "nothing written after the partial block's pair";
}

TEST_F(LowscanUartTest, GetPingShortfallLeavesTheSamplesAlone)
{
    m_pDevice->Reply(Bytes_T(100, 9));
    Bytes_T Samples(512, 0xCC), Values(8, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(-171, m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    EXPECT_EQ(Bytes_T(512, 0xCC), Samples);
    EXPECT_EQ(Bytes_T(8, 0xCC), Values);
}
