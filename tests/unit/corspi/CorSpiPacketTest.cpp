#include "FakeSpiDevice.h"
#include "FPGAIFCorSPI.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <poll.h>

namespace
{
typedef CSpiRig<CFPGAIFCorSpi> CCorRig;
const std::string c_Path = "/dev/spidev1.0";
}

TEST(CorSpiPacketTest, OpensTheDeviceReadWriteAndConfiguresItOnlyAfterACleanOpen)
{
    CCorRig Cor(true, c_Path);
    EXPECT_EQ(std::vector<std::string>{"/dev/spidev1.0 2 0"}, Cor.Factory.m_Opened);
    ASSERT_EQ(1u, Cor.Device.m_Ioctls.size());
    EXPECT_EQ(0x80047202u, Cor.Device.m_Ioctls[0].Request);
    EXPECT_TRUE(Cor.Device.m_Ioctls[0].bNullArgument);

    CFakeSpiFactory Factory;
    Factory.m_Device.m_ErrorCode = ENOENT;
    CFPGAIFCorSpi Missing(true, "/dev/none", &Factory);
    EXPECT_EQ(ENOENT, Missing.GetErrorCode());
    EXPECT_TRUE(Factory.m_Device.m_Ioctls.empty());
    EXPECT_TRUE(Factory.m_Events.empty());
}

TEST(CorSpiPacketTest, OneByteWriteAndReadAreByteExact)
{
    CCorRig Cor(true, c_Path);
    EXPECT_EQ(0, Cor.Transport.SetDebugRegister(0xA5, 0x0012));
    Cor.Device.m_Replies.push_back({0x07, 0x07});
    unsigned char Value = 0;
    EXPECT_EQ(0, Cor.Transport.GetDebugRegister(&Value, 82));
    EXPECT_EQ((std::vector<Bytes_T>{{0x43, 0x53, 0x12, 0x00, 0x00, 0x00, 0x00, 0xA5, 0xA5},
                                    {0x43, 0x53, 0x52, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00}}),
              Cor.Device.m_Writes);
    EXPECT_EQ(std::vector<size_t>{2}, Cor.Device.m_ReadSizes);
    EXPECT_EQ(7, Value);
}

TEST(CorSpiPacketTest, LongDataIsCutIntoDriverSizedPacketsWrappingAtTheTopAddress)
{
    const struct
    {
        UINT16 Address;
        size_t Size;
        std::vector<std::pair<UINT16, size_t>> Packets;
    } Cases[] = {
        {0x1000, 5049, {{0x1000, 5049}}},
        {0x1000, 5050, {{0x1000, 5049}, {0x1000 + 5049, 1}}},
        {0xFFFF, 5050, {{0xFFFF, 5049}, {0x13B8, 1}}},
        {0xF000, 12000, {{0xF000, 5049}, {0x03B9, 5049}, {0x1772, 1902}}},
    };
    for (const auto& Case : Cases)
    {
        CCorRig Cor(true, c_Path);
        Bytes_T Data(Case.Size);
        for (size_t i = 0; i < Data.size(); ++i)
            Data[i] = static_cast<UINT8>(i * 7 + 3);
        Buffer_Bytes_T Buffer(Data.data(), Data.size());
        EXPECT_EQ(0, Cor.Transport.TestFPGAAccess(&Buffer, Case.Address, false, true));

        // Two full packets never fit one transfer: each goes out on its own.
        std::vector<Bytes_T> Expected;
        size_t Offset = 0;
        for (const auto& Packet : Case.Packets)
        {
            Expected.push_back(WritePacket(
                Packet.first, Bytes_T(Data.begin() + Offset, Data.begin() + Offset + Packet.second), true));
            Offset += Packet.second;
        }
        EXPECT_EQ(Expected, Cor.Device.m_Writes) << Case.Size;
    }
}

// A packet joins the transfer while the bytes already in it plus its payload
// stay below 5,057.
TEST(CorSpiPacketTest, QueuedPacketsShareATransferUntilTheBoundIsReached)
{
    const struct
    {
        size_t Second;
        std::vector<size_t> Transfers;
    } Cases[] = {{48, {5008 + 56}}, {49, {5008, 57}}};
    for (const auto& Case : Cases)
    {
        CCorRig Cor(true, c_Path);
        for (size_t Size : {size_t(5000), Case.Second})
        {
            Bytes_T Data(Size, 0x22);
            Buffer_Bytes_T Buffer(Data.data(), Data.size());
            Cor.Transport.CreateCommandPacket(&Buffer, 0x100, false, false, false);
        }
        EXPECT_TRUE(Cor.Device.m_Writes.empty());
        EXPECT_EQ(0, Cor.Transport.UpdateFPGA());
        std::vector<size_t> Sizes;
        for (const Bytes_T& Write : Cor.Device.m_Writes)
            Sizes.push_back(Write.size());
        EXPECT_EQ(Case.Transfers, Sizes) << Case.Second;
    }
}

TEST(CorSpiPacketTest, TransmitKeepsGoingAfterAFailedTransfer)
{
    const struct
    {
        std::set<size_t> Failing;
        size_t Total;
    } Cases[] = {{{}, 3 * 5008}, {{0}, 2 * 5008}, {{0, 2}, 5008}, {{0, 1, 2}, 0}};
    for (const auto& Case : Cases)
    {
        CCorRig Cor(true, c_Path);
        Cor.Device.m_FailingWrites = Case.Failing;
        Bytes_T Table(5000, 0x11);
        for (int i = 0; i < 3; ++i)
        {
            Buffer_Bytes_T Buffer(Table.data(), Table.size());
            Cor.Transport.CreateCommandPacket(&Buffer, 0x3000, false, true, false);
        }
        EXPECT_EQ(Case.Total, Cor.Transport.TransmitDataToFPGA());
        EXPECT_EQ(3u, Cor.Device.m_Writes.size());
        EXPECT_EQ(Case.Failing.size(), Cor.Factory.m_Events.size());
        for (const std::string& Event : Cor.Factory.m_Events)
            EXPECT_EQ("3 5 CFPGAIFCorSpi::SendData failed to send data to SPI /dev/spidev1.0", Event);
        // Nothing stays queued, so an update has nothing to send.
        EXPECT_EQ(-109, Cor.Transport.UpdateFPGA());
        EXPECT_EQ(3u, Cor.Device.m_Writes.size());
    }
}

// A wrong checksum is only reported; a silent or failing device leaves the
// buffer as it was. None of these makes the read itself fail.
TEST(CorSpiPacketTest, RepliesAreCheckedButOnlyAFailedRequestFailsTheRead)
{
    const struct
    {
        std::deque<Bytes_T> Replies;
        int ReadError;
        Bytes_T Data;
        TSQEventCode_T ErrorCode;
        std::vector<std::string> Events;
    } Cases[] = {
        {{{0x12, 0xAB, 0x40, 0xFD}}, 0, {0x12, 0xAB, 0x40}, 0, {}},
        {{{0x12, 0xAB, 0x40, 0xCD}}, 0, {0x12, 0xAB, 0x40}, 0,
         {"3 0 CFPGAIFCorSpi::ReceiveData chksum ERROR : calculated fd received cd"}},
        {{}, 0, {0x5A, 0x5A, 0x5A}, 0, {}},
        {{}, EIO, {0x5A, 0x5A, 0x5A}, EIO,
         {"3 5 CFPGAIFCorSpi::ReceiveData failed to read data from SPI /dev/spidev1.0"}},
    };
    for (const auto& Case : Cases)
    {
        CCorRig Cor(true, c_Path);
        Cor.Device.m_Replies = Case.Replies;
        Cor.Device.m_ReadError = Case.ReadError;
        Bytes_T Data(3, 0x5A);
        Buffer_Bytes_T Buffer(Data.data(), Data.size());
        EXPECT_EQ(0, Cor.Transport.TestFPGAAccess(&Buffer, 0x40, true, true));
        EXPECT_EQ(std::vector<Bytes_T>{ReadPacket(0x40, 3, true)}, Cor.Device.m_Writes);
        EXPECT_EQ((std::vector<std::pair<short, int>>{{POLLIN, 1000}}), Cor.Device.m_Polls);
        EXPECT_EQ(Case.Data, Data);
        EXPECT_EQ(Case.ErrorCode, Cor.Transport.GetErrorCode());
        EXPECT_EQ(Case.Events, Cor.Factory.m_Events);
    }

    // A request that cannot be sent reads nothing and is not retried later.
    CCorRig Cor(true, c_Path);
    Cor.Device.m_FailingWrites = {0};
    unsigned char Value = 0;
    EXPECT_EQ(-109, Cor.Transport.GetDebugRegister(&Value, 1));
    EXPECT_TRUE(Cor.Device.m_Polls.empty());
    EXPECT_EQ(-109, Cor.Transport.UpdateFPGA());
    EXPECT_EQ(1u, Cor.Device.m_Writes.size());
}

TEST(CorSpiPacketTest, GetPingReadsTheFifoThenClearsItUnlessItIsIdle)
{
    for (UINT8 Status : {4, 5})
    {
        CCorRig Cor(false, c_Path);
        Cor.Device.m_Fifo = {9, 8, 7, 6, 5, 4};
        Cor.Device.m_Replies.push_back(Reply({Status}));
        UINT8 Samples[6] = {};
        Buffer_Bytes_T Buffer(Samples, sizeof(Samples));
        EXPECT_EQ(6, Cor.Transport.GetPing(&Buffer));
        EXPECT_EQ(Cor.Device.m_Fifo, Bytes_T(Samples, Samples + 6));

        ASSERT_EQ(3u, Cor.Device.m_Ioctls.size());
        EXPECT_EQ(0x80047205u, Cor.Device.m_Ioctls[1].Request);
        EXPECT_EQ((std::vector<UINT32>{0x5343, 80, 0, 1, 1}), Words(Cor.Device.m_Ioctls[1].PingRead));
        EXPECT_EQ(0x80047206u, Cor.Device.m_Ioctls[2].Request);

        std::vector<Bytes_T> Expected = {Bytes_T(6, 0), ReadPacket(82, 1)};
        std::vector<std::string> Events;
        if (Status != 4)
        {
            Expected.push_back(WritePacket(81, {2}));
            Events.push_back("3 0 CFPGAIFCorSpi::ValidateDataCollection "
                             "FIFO ERROR:: clearing fifo because fifoStatus 0x5");
        }
        EXPECT_EQ(Expected, Cor.Device.m_Writes) << int(Status);
        EXPECT_EQ(Events, Cor.Factory.m_Events);

        Cor.Device.m_FailingWrites = {Cor.Device.m_Writes.size()};
        EXPECT_EQ(0, Cor.Transport.GetPing(&Buffer));
    }
}

TEST(CorSpiPacketTest, GetPingSectionSendsOneUnsplitRequestAndReadsNothingBack)
{
    CCorRig Cor(true, c_Path);
    Bytes_T Data(6000, 0xEE);
    Buffer_Bytes_T Buffer(Data.data(), Data.size());
    testing::internal::CaptureStdout();
    EXPECT_EQ(6008, Cor.Transport.GetPingSection(&Buffer));
    EXPECT_EQ("Will need to copy 6008 bytes into Buffer of size 6000 bytes\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(std::vector<Bytes_T>{ReadPacket(80, 6000)}, Cor.Device.m_Writes);
    EXPECT_TRUE(Cor.Device.m_Polls.empty());
    EXPECT_EQ(Bytes_T(6000, 0xEE), Data);
}
