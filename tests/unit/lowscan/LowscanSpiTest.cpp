// CFPGAIFLSSPI on the fake device: every record and request byte for byte,
// the replies it reads and what it makes of them.

#include "FPGAIFLSSPI.h"
#include "FakeDevice.h"
#include "LowscanConfig.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace
{
const char* const c_Path = "/dev/LSfpga0";

class LowscanSpiTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_pSpi.reset(new CFPGAIFLSSPI(c_Path, &m_Factory));
        m_pDevice = m_Factory.m_pDevice;
    }

    CFakeFactory m_Factory;
    CFakeDevice* m_pDevice = nullptr;
    std::unique_ptr<CFPGAIFLSSPI> m_pSpi;
};

Bytes_T RecordBytes(const SetRegisterData_T* pRecords, size_t Count)
{
    const UINT8* pBytes = reinterpret_cast<const UINT8*>(pRecords);
    return Bytes_T(pBytes, pBytes + Count * sizeof(SetRegisterData_T));
}
}

TEST_F(LowscanSpiTest, ConstructorOpensReadWriteAndConfiguresTheDriverOnce)
{
    ASSERT_EQ(1u, m_Factory.m_Opens.size());
    EXPECT_EQ(c_Path, m_Factory.m_Opens[0].Name);
    EXPECT_EQ(2, m_Factory.m_Opens[0].Flags);
    EXPECT_EQ(0, m_Factory.m_Opens[0].Mode);
    ASSERT_EQ(1u, m_pDevice->m_Ioctls.size());
    EXPECT_EQ(0x80047202ul, m_pDevice->m_Ioctls[0].first);
    EXPECT_EQ(nullptr, m_pDevice->m_Ioctls[0].second);
    EXPECT_EQ(0, m_pSpi->GetErrorCode());
    EXPECT_TRUE(m_pDevice->m_Writes.empty());
}

TEST_F(LowscanSpiTest, AFailedOpenStopsBeforeTheConfigureRequest)
{
    CFakeFactory Factory;
    Factory.m_OpenError = ENOENT;
    CFPGAIFLSSPI Spi("/dev/LSfpga9", &Factory);
    EXPECT_EQ(ENOENT, Spi.GetErrorCode());
    EXPECT_TRUE(Factory.m_pDevice->m_Ioctls.empty());
    EXPECT_TRUE(Factory.m_Events.empty());
}

TEST_F(LowscanSpiTest, AFailedConfigureRequestIsNeitherKeptNorReported)
{
    // The device made next answers every ioctl with -1; the constructor
    // issues its request before the test can set that, so use a factory
    // whose device fails from the start.
    struct CFailingIoctlFactory : CFakeFactory
    {
        IOSSFile* CreateFile(const char* Name, int flags, int mode) override
        {
            CFakeFactory::CreateFile(Name, flags, mode);
            m_pDevice->m_IoctlResult = -1;
            return m_pDevice;
        }
    } Factory;
    CFPGAIFLSSPI Spi(c_Path, &Factory);
    EXPECT_EQ(1u, Factory.m_pDevice->m_Ioctls.size());
    EXPECT_EQ(0, Spi.GetErrorCode());
    EXPECT_TRUE(Factory.m_Events.empty());
}

TEST_F(LowscanSpiTest, SetRegisterFillsASixByteBigEndianRecord)
{
    SetRegisterData_T Record;
    EXPECT_EQ(0, m_pSpi->SetRegister(&Record, 0x0021, 0x00010001));
    EXPECT_EQ((Bytes_T{0x00, 0x21, 0x00, 0x01, 0x00, 0x01}), RecordBytes(&Record, 1));
    EXPECT_EQ(0, m_pSpi->SetRegister(&Record, 0xA1B2, 0xC3D4E5F6));
    EXPECT_EQ((Bytes_T{0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6}), RecordBytes(&Record, 1));
    EXPECT_TRUE(m_pDevice->m_Writes.empty()) << "records are not sent";
}

TEST_F(LowscanSpiTest, RecordFillersUseTheUartRegistersAndEncodings)
{
    SetRegisterData_T Records[2];
    m_pSpi->SetSampling(Records, c_Channel1, 512, 9, 3);
    Bytes_T Expected = SpiRecord(41, 0x00030001);
    Bytes_T Second = SpiRecord(45, 0x00090200);
    Expected.insert(Expected.end(), Second.begin(), Second.end());
    EXPECT_EQ(Expected, RecordBytes(Records, 2));

    m_pSpi->SetGainAndColourGain(Records, c_Channel0, 300.0, 2.0);  // 4800 -> 4095, 2048
    Expected = SpiRecord(34, 4095);
    Second = SpiRecord(35, 2048);
    Expected.insert(Expected.end(), Second.begin(), Second.end());
    EXPECT_EQ(Expected, RecordBytes(Records, 2));

    m_pSpi->SetAnalogueGainLevel(Records, 20);
    m_pSpi->SetBoostLevel(Records + 1, 7, true);
    EXPECT_EQ((Bytes_T{0x00, 0x42, 0x00, 0x00, 0x00, 0x14, 0x00, 0x41, 0x80, 0x00, 0x00, 0x07}),
              RecordBytes(Records, 2));
    m_pSpi->SetBoostLevel(Records, 7, false);
    EXPECT_EQ((Bytes_T{0x00, 0x41, 0x00, 0x00, 0x00, 0x07}), RecordBytes(Records, 1));
}

TEST_F(LowscanSpiTest, SetUpForPingSendsOne85ByteRequest)
{
    EXPECT_EQ(0, m_pSpi->setUpForPing(SampleConfiguration()));
    ASSERT_EQ(1u, m_pDevice->m_Writes.size());
    const Bytes_T& Request = m_pDevice->m_Writes[0];
    ASSERT_EQ(85u, Request.size());

    Bytes_T Expected = {0x04};
    for (const auto& Register : SampleConfigurationRegisters())
    {
        const Bytes_T Record = SpiRecord(Register.first, Register.second);
        Expected.insert(Expected.end(), Record.begin(), Record.end());
    }
    EXPECT_EQ(Expected, Request);
    // A known register record, byte for byte.
    EXPECT_EQ(0x04, Request[0]);
    EXPECT_EQ((Bytes_T{0x00, 0x11, 0x01, 0x88, 0x0A, 0xC5}), Bytes_T(Request.begin() + 1, Request.begin() + 7));
    EXPECT_EQ((Bytes_T{0x00, 0x19}), Bytes_T(Request.begin() + 37, Request.begin() + 39));
    EXPECT_EQ((Bytes_T{0x00, 0x42, 0x00, 0x00, 0x00, 0x0A}), Bytes_T(Request.begin() + 73, Request.begin() + 79));
    EXPECT_EQ((Bytes_T{0x00, 0x41, 0x80, 0x00, 0x00, 0xB5}), Bytes_T(Request.begin() + 79, Request.end()));
}

TEST_F(LowscanSpiTest, ADefaultConfigurationProgramsChannel0ThenChannel1)
{
    EXPECT_EQ(0, m_pSpi->setUpForPing(LSFpgaCompleteConfigure_T()));
    ASSERT_EQ(1u, m_pDevice->m_Writes.size());
    // Period 0, frequencies 0: start and rate words 0 (0/0 saturates to 0).
    const unsigned short Registers[14] = {17, 18, 33, 37, 34, 35, 25, 26, 41, 45, 42, 43, 66, 65};
    const UINT32 Values[14] = {0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0};
    Bytes_T Expected = {0x04};
    for (int i = 0; i < 14; ++i)
    {
        const Bytes_T Record = SpiRecord(Registers[i], Values[i]);
        Expected.insert(Expected.end(), Record.begin(), Record.end());
    }
    EXPECT_EQ(Expected, m_pDevice->m_Writes[0]);
}

TEST_F(LowscanSpiTest, SetUpForPingGivesTheSendsResult)
{
    m_pDevice->m_FailWritesFrom = 0;
    m_pDevice->m_WriteError = EPIPE;
    EXPECT_EQ(EPIPE, m_pSpi->setUpForPing(SampleConfiguration()));
    EXPECT_EQ(EPIPE, m_pSpi->GetErrorCode());
    EXPECT_EQ(1u, m_pDevice->m_Writes.size());
}

TEST_F(LowscanSpiTest, AFailedWriteReportsUartWordForWord)
{
    m_pDevice->m_FailWritesFrom = 0;
    m_pDevice->m_WriteError = EIO;
    EXPECT_EQ(EIO, m_pSpi->PingNow());
    EXPECT_EQ(std::vector<std::string>{"3 5 CFPGAIFLSSPI::SendData|failed to send data to UART /dev/LSfpga0"},
              m_Factory.m_Events);
}

TEST_F(LowscanSpiTest, PingNowAndEchoRequests)
{
    EXPECT_EQ(0, m_pSpi->PingNow());
    EXPECT_EQ(0, m_pSpi->Echo("ok"));
    EXPECT_EQ(0, m_pSpi->Echo(""));
    EXPECT_EQ((std::vector<Bytes_T>{{0x01}, {'o', 'k', 0}, {0}}), m_pDevice->m_Writes);
    EXPECT_TRUE(m_pDevice->m_ReadSizes.empty());
}

TEST_F(LowscanSpiTest, WaitForDataIssuesTheWaitForInterruptRequest)
{
    EXPECT_EQ(0, m_pSpi->WaitForData());
    ASSERT_EQ(2u, m_pDevice->m_Ioctls.size());
    EXPECT_EQ(0x80047203ul, m_pDevice->m_Ioctls[1].first);
    EXPECT_EQ(nullptr, m_pDevice->m_Ioctls[1].second);

    m_pDevice->m_IoctlResult = -1;
    EXPECT_EQ(-1, m_pSpi->WaitForData());
    EXPECT_EQ(-1, m_pSpi->GetErrorCode());
}

TEST_F(LowscanSpiTest, GetVersionSendsItsFiveBytesAndTakesReplyBytes2And3)
{
    m_pDevice->Reply({0x00, 0x00, 0x2A, 0x00});
    SWVersion_T Version = {0xFF, 0xFF};
    EXPECT_EQ(0, m_pSpi->GetVersion(&Version));
    EXPECT_EQ((std::vector<Bytes_T>{{0x03, 0x00, 0x00, 0xFF, 0xFF}}), m_pDevice->m_Writes);
    EXPECT_EQ(std::vector<size_t>{4}, m_pDevice->m_ReadSizes);
    EXPECT_EQ(0x2A, Version.Major);
    EXPECT_EQ(0x00, Version.Minor);

    m_pDevice->Reply({0x01, 0x02, 0x03});
    EXPECT_EQ(-171, m_pSpi->GetVersion(&Version));
    EXPECT_EQ(0x2A, Version.Major) << "untouched on failure";
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSSPI::ReceiveData|Error on UART /dev/LSfpga0Only Got 3 out of "
                                       "4 after 1 reads"},
              m_Factory.m_Events);
}

TEST_F(LowscanSpiTest, ASilentDeviceGivesMinus171EvenAfterAFailedSend)
{
    m_pDevice->m_FailWritesFrom = 0;
    m_pDevice->m_WriteError = EIO;
    SWVersion_T Version = {1, 2};
    EXPECT_EQ(-171, m_pSpi->GetVersion(&Version));
    EXPECT_EQ(1, Version.Major);
    EXPECT_EQ((std::vector<std::pair<short, int>>{{1, 1000}}), m_pDevice->m_Polls);
    ASSERT_EQ(2u, m_Factory.m_Events.size());
    EXPECT_EQ("3 -171 CFPGAIFLSSPI::ReceiveData|Error on UART /dev/LSfpga0Only Got 0 out of 4 after 0 reads",
              m_Factory.m_Events[1]);
}

TEST_F(LowscanSpiTest, GetADCReadingsTakesThree24BitReadingsMostSignificantFirst)
{
    m_pDevice->Reply({0x12, 0x34, 0x56, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFF});
    LSADCReadings_T Readings;
    EXPECT_EQ(0, m_pSpi->GetADCReadings(&Readings));
    EXPECT_EQ((std::vector<Bytes_T>{{0x05, 0, 0, 0, 0, 0, 0, 0, 0, 0}}), m_pDevice->m_Writes);
    EXPECT_EQ(std::vector<size_t>{9}, m_pDevice->m_ReadSizes);
    EXPECT_EQ(0x123456u, Readings.ADCReference);
    EXPECT_EQ(0x000001u, Readings.WaterTemperature);
    EXPECT_EQ(0xFFFFFFu, Readings.Auxiliary);

    m_pDevice->Reply({0x99});
    EXPECT_EQ(-171, m_pSpi->GetADCReadings(&Readings));
    EXPECT_EQ(0x123456u, Readings.ADCReference) << "untouched on failure";
}

TEST_F(LowscanSpiTest, GetPingOf1024SamplesSendsA1060ByteRequestAndReadsA1059BytePacket)
{
    for (LSChannel_T Channel : {c_Channel0, c_Channel1})
    {
        CFakeFactory Factory;
        CFPGAIFLSSPI Spi(c_Path, &Factory);
        const Bytes_T Packet = PingPacket(
            1024, [](size_t i) { return static_cast<UINT8>(i); },
            [](size_t Block, int Half) { return static_cast<unsigned>(4000 - 100 * Block - Half); });
        Factory.m_pDevice->Reply(Packet);

        Bytes_T Samples(4096, 0), Values(64, 0);
        Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
        EXPECT_EQ(0, Spi.GetPing(Channel, &SampleBuffer, &ValueBuffer));

        ASSERT_EQ(1u, Factory.m_pDevice->m_Writes.size());
        Bytes_T Request(1060, 0);
        Request[0] = Channel == c_Channel1 ? 0x11 : 0x10;
        EXPECT_EQ(Request, Factory.m_pDevice->m_Writes[0]);
        EXPECT_EQ(std::vector<size_t>{1059}, Factory.m_pDevice->m_ReadSizes);
        for (size_t i = 0; i < 1024; ++i)
            ASSERT_EQ(static_cast<float>(i % 256), FloatAt(Samples, i)) << i;
        for (size_t Block = 0; Block < 8; ++Block)
        {
            EXPECT_EQ(static_cast<float>(4000 - 100 * Block), FloatAt(Values, 2 * Block));
            EXPECT_EQ(static_cast<float>(3999 - 100 * Block), FloatAt(Values, 2 * Block + 1));
        }
    }
}

TEST_F(LowscanSpiTest, GetPingWithAPartialBlockAndAnyOtherChannelAsksForChannel0)
{
    // 200 samples: 1 block and 72; packet 132 + 3 + 72 = 207 bytes.
    const Bytes_T Packet = PingPacket(
        200, [](size_t i) { return static_cast<UINT8>(i + 40); }, [](size_t, int Half) { return 0x800u + Half; });
    ASSERT_EQ(207u, Packet.size());
    m_pDevice->Reply(Packet);
    Bytes_T Samples(800, 0), Values(16, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pSpi->GetPing(7, &SampleBuffer, &ValueBuffer));
    ASSERT_EQ(1u, m_pDevice->m_Writes.size());
    EXPECT_EQ(208u, m_pDevice->m_Writes[0].size());
    EXPECT_EQ(0x10, m_pDevice->m_Writes[0][0]);
    EXPECT_EQ(std::vector<size_t>{207}, m_pDevice->m_ReadSizes);
    EXPECT_EQ(40.0f, FloatAt(Samples, 0));
    EXPECT_EQ(167.0f, FloatAt(Samples, 127));
    EXPECT_EQ(168.0f, FloatAt(Samples, 128));
    EXPECT_EQ(239.0f, FloatAt(Samples, 199));
    EXPECT_EQ(2048.0f, FloatAt(Values, 0));
    EXPECT_EQ(2049.0f, FloatAt(Values, 1));
    EXPECT_EQ(0.0f, FloatAt(Values, 2));
    EXPECT_EQ(0.0f, FloatAt(Values, 3));
}

TEST_F(LowscanSpiTest, GetPingReadsEvenWhenTheRequestFailed)
{
    m_pDevice->m_FailWritesFrom = 0;
    m_pDevice->m_WriteError = EIO;
    m_pDevice->Reply(PingPacket(
        128, [](size_t) { return UINT8(5); }, [](size_t, int) { return 1u; }));
    Bytes_T Samples(512, 0), Values(8, 0);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pSpi->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    EXPECT_EQ(5.0f, FloatAt(Samples, 127));
    EXPECT_EQ(0, m_pSpi->GetErrorCode());
}
