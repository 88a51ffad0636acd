#include "FakeSpiDevice.h"
#include "FPGAIFLumetSPI.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <poll.h>

namespace
{
typedef CSpiRig<CFPGAIFLumetSPI> CLumetRig;
const std::string c_Path = "/dev/spidev2.0";

class LumetSpiTest : public testing::Test
{
protected:
    CLumetRig m_Rig{c_Path};
    CFakeSpiFactory& m_Factory = m_Rig.Factory;
    CFakeSpiDevice& m_Device = m_Rig.Device;
    CFPGAIFLumetSPI& m_Lumet = m_Rig.Transport;
};
}

TEST(LumetSpiRegisterTest, ChannelRegistersLandInTheChannelsBlock)
{
    for (FPGAChannel_T Channel : {0, 1, 7})
    {
        CLumetRig Rig(c_Path);
        CFPGAIFLumetSPI& Lumet = Rig.Transport;
        Lumet.SetNumberOfSamplesToReceive(4096, Channel);
        Lumet.SetSteppedAnalogueGain(50, Channel);
        Lumet.SetBaseBandFilterCentreFreq(0x0A0B0C0D, Channel);
        Lumet.SetCorralationScaling(243, Channel);
        Lumet.SetCorralationDownShift(16, Channel);
        Lumet.SetSubSampleRate(0x1FF, Channel);
        Lumet.SetFifoCntrlRegister({3}, Channel);
        Lumet.SetStartFreq(0x01020304, Channel);
        Lumet.SetChirpIncrement(0xA1B2C3D4, Channel);
        EXPECT_EQ(0, Lumet.SetBurstLength(0x1234, Channel));
        Lumet.SetBoostLevel(91);
        EXPECT_TRUE(Rig.Device.m_Writes.empty());
        EXPECT_EQ(0, Lumet.UpdateFPGA());

        const UINT16 Block = Channel == 1 ? 0x8000 : 0x4000;
        const std::vector<std::pair<UINT16, UINT8>> Bytes = {
            {0x10, 0x00},  {0x11, 0x01},  {0x12, 50},    {0x20, 0x0D},  {0x21, 0x0C},  {0x22, 0x0B},
            {0x23, 0x0A},  {0x40, 243},   {0x41, 16},    {0x42, 0xFF},  {0x51, 3},     {0x200, 0x04},
            {0x201, 0x03}, {0x202, 0x02}, {0x203, 0x01}, {0x204, 0xD4}, {0x205, 0xC3}, {0x206, 0xB2},
            {0x207, 0xA1}, {0x208, 0x34}, {0x209, 0x12}};
        Bytes_T Expected;
        for (const auto& Byte : Bytes)
            Expected = Join({Expected, WritePacket(Block + Byte.first, {Byte.second})});
        Expected = Join({Expected, WritePacket(8, {91})});
        EXPECT_EQ(std::vector<Bytes_T>{Expected}, Rig.Device.m_Writes) << int(Channel);
    }
}

TEST_F(LumetSpiTest, OpensLikeCorAndSendsOnlyWhatMustActAtOnce)
{
    EXPECT_EQ(std::vector<std::string>{"/dev/spidev2.0 2 0"}, m_Factory.m_Opened);
    EXPECT_EQ(0x80047202u, m_Device.m_Ioctls.at(0).Request);
    EXPECT_TRUE(m_Factory.m_EnvReads.empty());

    EXPECT_EQ(0, m_Lumet.SetCommandRegister({0x02}));
    EXPECT_EQ(0, m_Lumet.PingNow({0x04}));
    EXPECT_TRUE(m_Device.m_Writes.empty());
    EXPECT_EQ(0, m_Lumet.PingNow({0x05}));
    EXPECT_EQ(0, m_Lumet.SetWifiLEDRegister({0xBEEF}));
    EXPECT_EQ(0, m_Lumet.SetSyncRegister({0x81}));
    EXPECT_EQ((std::vector<Bytes_T>{Join({WritePacket(0, {0x02}), WritePacket(0, {0x05})}),
                                    WritePacket(113, {0xEF, 0xBE}, true), WritePacket(96, {0x81})}),
              m_Device.m_Writes);
    // The Lumet FPGA is never waited on for an interrupt.
    EXPECT_EQ(1u, m_Device.m_Ioctls.size());
}

TEST(LumetSpiRegisterTest, CorrelationTablesArePaddedToAMultipleOf512Sets)
{
    const struct
    {
        size_t Entries;
        FPGAChannel_T Channel;
        std::vector<std::pair<UINT16, size_t>> Packets;  // address, payload bytes
    } Cases[] = {
        {10, 0, {{0x6000, 2048}}},
        {512, 0, {{0x6000, 2048}}},
        {1300, 1, {{0xA000, 5049}, {0xA000 + 5049, 1095}}},
        {0, 0, {{0x6000, 0}}},  // stays empty; the length field reads 0xFFFF
    };
    for (const auto& Case : Cases)
    {
        CLumetRig Lumet(c_Path);
        EXPECT_EQ(0, Lumet.Transport.SetCorrelationFilter(CorrelationFilterCoefficients_T(Case.Entries, {0x1234, -2}),
                                                          Case.Channel));
        EXPECT_EQ(0, Lumet.Transport.UpdateFPGA());

        Bytes_T Memory;
        for (size_t i = 0; i < Case.Entries; ++i)
            Memory = Join({Memory, {0x34, 0x12, 0xFE, 0xFF}});
        std::vector<Bytes_T> Expected;
        size_t Offset = 0;
        for (const auto& Packet : Case.Packets)
        {
            Memory.resize(std::max(Memory.size(), Offset + Packet.second), 0);
            Expected.push_back(WritePacket(Packet.first, Bytes_T(Memory.begin() + Offset,
                                                                 Memory.begin() + Offset + Packet.second), true));
            Offset += Packet.second;
        }
        EXPECT_EQ(Expected, Lumet.Device.m_Writes) << Case.Entries;
    }
}

TEST(LumetSpiRegisterTest, AdcReadBacksAssembleThreeBytes)
{
    const struct
    {
        TSQEventCode_T (CFPGAIFLumetSPI::*Get)(CorFPGA24BitADCValue_T*);
        UINT16 Address;
    } Cases[] = {{&CFPGAIFLumetSPI::GetADCReference, 128},
                 {&CFPGAIFLumetSPI::GetWaterTemp, 132},
                 {&CFPGAIFLumetSPI::GetSenseResistor, 136}};
    for (const auto& Case : Cases)
    {
        CLumetRig Lumet(c_Path);
        Lumet.Device.m_Replies.push_back(Reply({0x01, 0x02, 0x03}));
        CorFPGA24BitADCValue_T Value = 0xFFFFFFFF;
        EXPECT_EQ(0, (Lumet.Transport.*Case.Get)(&Value));
        EXPECT_EQ(0x030201u, Value) << Case.Address;
        EXPECT_EQ(std::vector<Bytes_T>{ReadPacket(Case.Address, 3, true)}, Lumet.Device.m_Writes);

        Lumet.Device.m_FailingWrites = {1};
        Value = 77;
        EXPECT_EQ(-109, (Lumet.Transport.*Case.Get)(&Value));
        EXPECT_EQ(77u, Value);
    }
}

TEST_F(LumetSpiTest, GetPingTurnsEachFifoByteIntoAFloatAndNeverClearsTheFifo)
{
    m_Device.m_Fifo = {0, 1, 2, 255};
    m_Device.m_Replies = {Reply({0x00}), Reply({0x05})};  // status, FIFO status
    UINT8 Storage[4 * sizeof(float) + 1] = {};
    Buffer_Bytes_T Buffer(Storage + 1, 4);  // unaligned on purpose
    EXPECT_EQ(0, m_Lumet.GetPing(1, &Buffer, static_cast<InterruptMode_T>(3)));

    float Samples[4];
    memcpy(Samples, Storage + 1, sizeof(Samples));
    EXPECT_EQ(0.0f, Samples[0]);
    EXPECT_EQ(1.0f, Samples[1]);
    EXPECT_EQ(2.0f, Samples[2]);
    EXPECT_EQ(255.0f, Samples[3]);

    ASSERT_EQ(3u, m_Device.m_Ioctls.size());
    EXPECT_EQ((std::vector<UINT32>{0x5343, 0x8050, 3, 1, 1}), Words(m_Device.m_Ioctls[1].PingRead));
    EXPECT_EQ(0x80047206u, m_Device.m_Ioctls[2].Request);
    EXPECT_EQ((std::vector<Bytes_T>{Bytes_T(4, 0), ReadPacket(1, 1), ReadPacket(0x8052, 1)}), m_Device.m_Writes);
    EXPECT_TRUE(m_Factory.m_Events.empty());

    // Channel 0's FIFO; a failed transfer gives the device's error and no samples.
    m_Device.m_FailingWrites = {3};
    Storage[1] = 0xAB;
    EXPECT_EQ(EIO, m_Lumet.GetPing(0, &Buffer, eInterruptModeNone));
    EXPECT_EQ(0x4050u, m_Device.m_Ioctls[3].PingRead.Address);
    EXPECT_EQ(0xAB, Storage[1]);
    EXPECT_EQ("3 5 CFPGAIFLumetSPI::SendData failed to send data to SPI /dev/spidev2.0", m_Factory.m_Events.at(0));
}

TEST_F(LumetSpiTest, DebugWriteWaitsForAReply)
{
    m_Device.m_Replies.push_back({0x11, 0x12});
    EXPECT_EQ(0, m_Lumet.SetDebugRegister({0x11}, 0x30));
    EXPECT_EQ(std::vector<Bytes_T>{WritePacket(0x30, {0x11})}, m_Device.m_Writes);
    EXPECT_EQ((std::vector<std::pair<short, int>>{{POLLIN, 1000}}), m_Device.m_Polls);
    EXPECT_EQ(std::vector<size_t>{2}, m_Device.m_ReadSizes);
    EXPECT_EQ(std::vector<std::string>{"3 0 CFPGAIFLumetSPI::ReceiveData chksum ERROR : calculated 11 received 12"},
              m_Factory.m_Events);

    m_Device.m_FailingWrites = {1};
    EXPECT_EQ(-109, m_Lumet.SetDebugRegister({0x11}, 0x30));
}
