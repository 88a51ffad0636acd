// The assertions of both Lowscan transports end the program with their
// condition as the message.

#include "FPGAIFLSSPI.h"
#include "FPGAIFLSUart.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
const char* const c_ChannelAssertion = "\\(Channel == c_Channel0\\) \\|\\| \\(Channel == c_Channel1\\)";
const char* const c_SamplingAssertion = "\\(\\(Channel == c_Channel0\\) \\|\\| \\(Channel == c_Channel1\\)\\)";
const char* const c_PeriodAssertion = "Period != c_PeriodUnknown";
const char* const c_PacketAssertion = "sizeOfRxBuffer <= sizeof\\(LSPingReturnPacket_T\\)";
const char* const c_ReceiveAssertion = "bytesWanted <= sizeof\\(LSPingReturnPacket_T\\)";

class LowscanDeathTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_pUart.reset(new CFPGAIFLSUart("/dev/ttyFake", &m_UartFactory));
        m_pSpi.reset(new CFPGAIFLSSPI("/dev/LSfpga0", &m_SpiFactory));
    }

    CFakeFactory m_UartFactory;
    CFakeFactory m_SpiFactory;
    std::unique_ptr<CFPGAIFLSUart> m_pUart;
    std::unique_ptr<CFPGAIFLSSPI> m_pSpi;
    SetRegisterData_T m_Records[2];
};
}

TEST_F(LowscanDeathTest, UnknownPeriod)
{
    EXPECT_DEATH(m_pUart->SetPulse(c_Channel0, c_PeriodUnknown, 1.0, 2.0), c_PeriodAssertion);
    EXPECT_DEATH(m_pSpi->SetPulse(m_Records, c_Channel1, c_PeriodUnknown, 1.0, 2.0), c_PeriodAssertion);
    // The period is checked before the channel.
    EXPECT_DEATH(m_pUart->SetPulse(2, c_PeriodUnknown, 1.0, 2.0), c_PeriodAssertion);
    EXPECT_DEATH(m_pSpi->SetPulse(m_Records, 2, c_PeriodUnknown, 1.0, 2.0), c_PeriodAssertion);
}

TEST_F(LowscanDeathTest, Channel2)
{
    EXPECT_DEATH(m_pUart->SetPulse(2, 45, 1.0, 2.0), c_ChannelAssertion);
    EXPECT_DEATH(m_pUart->SetSampling(2, 1, 2, 3), c_SamplingAssertion);
    EXPECT_DEATH(m_pUart->SetGainAndColourGain(2, 1.0, 1.0), c_ChannelAssertion);
    EXPECT_DEATH(m_pSpi->SetPulse(m_Records, 2, 45, 1.0, 2.0), c_ChannelAssertion);
    EXPECT_DEATH(m_pSpi->SetSampling(m_Records, 2, 1, 2, 3), c_SamplingAssertion);
    EXPECT_DEATH(m_pSpi->SetGainAndColourGain(m_Records, 2, 1.0, 1.0), c_ChannelAssertion);

    LSFpgaCompleteConfigure_T Config;
    Config.Channels[1].Channel = 2;
    EXPECT_DEATH(m_pUart->setUpForPing(Config), c_ChannelAssertion);
    EXPECT_DEATH(m_pSpi->setUpForPing(Config), c_ChannelAssertion);
}

TEST_F(LowscanDeathTest, OversizePing)
{
    // 1028 samples: 8 blocks and 4, a packet of 1063 bytes.
    Bytes_T Samples(1028 * 4, 0), Values(128, 0);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_DEATH(m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer), c_PacketAssertion);
    EXPECT_DEATH(m_pSpi->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer), c_PacketAssertion);
    // One sample too many is already one packet byte too many.
    SampleBuffer.size(1025 * 4);
    EXPECT_DEATH(m_pUart->GetPing(c_Channel1, &SampleBuffer, &ValueBuffer), c_PacketAssertion);
}

TEST_F(LowscanDeathTest, OversizeReceive)
{
    Bytes_T Storage(1060, 0);
    Buffer_Bytes_T Buffer(Storage.data(), Storage.size());
    EXPECT_DEATH(m_pUart->ReceiveData(&Buffer), c_ReceiveAssertion);
    EXPECT_DEATH(m_pSpi->ReceiveData(&Buffer), c_ReceiveAssertion);
}

TEST_F(LowscanDeathTest, ValuesBufferTooSmallForThePairs)
{
    Bytes_T Samples(130 * 4, 0), Values(8, 0);  // 2 pairs needed, room for 1
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_DEATH(m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer), "Values buffer too small");
    EXPECT_DEATH(m_pSpi->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer), "Values buffer too small");
}

TEST_F(LowscanDeathTest, ConstructorArguments)
{
    CFakeFactory Factory;
    EXPECT_DEATH(CFPGAIFLSUart("/dev/ttyO1", nullptr), "pFactory && \"No Factory Passed to LowscanIF\"");
    EXPECT_DEATH(CFPGAIFLSUart("", &Factory),
                 "SerialDevicePath.length\\(\\) != 0 && \"Zero Length Serial Device Passed to CFPGAIFLSUart\"");
    EXPECT_DEATH(CFPGAIFLSSPI("/dev/LSfpga0", nullptr), "pFactory && \"No Factory Passed to CFPGAIFLSSPI\"");
    EXPECT_DEATH(CFPGAIFLSSPI("", &Factory),
                 "SerialDevicePath.length\\(\\) != 0 && \"Zero Length Serial Device Passed to CFPGAIFLSSPI\"");
}
