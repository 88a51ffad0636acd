// The Lumet FPGA on the packet link: its channel blocks, what it sends at
// once, its tables, read-backs and ping data.

#include "FPGAIFLumetSPI.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <poll.h>

typedef CRig<CFPGAIFLumetSPI> CLumetRig;
static const std::string c_Path = "/dev/spidev2.0";

// Channel 1's block is at 0x8000, any other channel's at 0x4000; wider
// registers go byte by byte, low byte first.
TEST(LumetSpiTest, ChannelRegistersLandInTheChannelsBlock)
{
    for (FPGAChannel_T Channel : {0, 1, 7})
    {
        CLumetRig Rig(c_Path);
        CFPGAIFLumetSPI& L = Rig.Transport;
        for (TSQEventCode_T Result :
             {L.SetNumberOfSamplesToReceive(4096, Channel), L.SetSteppedAnalogueGain(50, Channel),
              L.SetBaseBandFilterCentreFreq(0x0A0B0C0D, Channel), L.SetCorralationScaling(243, Channel),
              L.SetCorralationDownShift(16, Channel), L.SetSubSampleRate(0x1FF, Channel),
              L.SetFifoCntrlRegister({3}, Channel), L.SetStartFreq(0x01020304, Channel),
              L.SetChirpIncrement(0xA1B2C3D4, Channel), L.SetBurstLength(0x1234, Channel), L.SetBoostLevel(91)})
            EXPECT_EQ(0, Result);
        EXPECT_TRUE(Rig.Device.m_Writes.empty());
        EXPECT_EQ(0, L.UpdateFPGA());

        const UINT16 Block = Channel == 1 ? 0x8000 : 0x4000;
        const std::pair<UINT16, UINT8> Bytes[] = {
            {0x10, 0x00},  {0x11, 0x01},  {0x12, 50},    {0x20, 0x0D},  {0x21, 0x0C},  {0x22, 0x0B},  {0x23, 0x0A},
            {0x40, 243},   {0x41, 16},    {0x42, 0xFF},  {0x51, 3},     {0x200, 0x04}, {0x201, 0x03}, {0x202, 0x02},
            {0x203, 0x01}, {0x204, 0xD4}, {0x205, 0xC3}, {0x206, 0xB2}, {0x207, 0xA1}, {0x208, 0x34}, {0x209, 0x12}};
        Bytes_T Expected;
        for (const auto& Byte : Bytes)
            Expected = Join({Expected, WritePacket(Block + Byte.first, {Byte.second})});
        EXPECT_EQ(std::vector<Bytes_T>{Join({Expected, WritePacket(8, {91})})}, Rig.Device.m_Writes) << int(Channel);
    }
}

// Only a start-ping command, the Wi-Fi LEDs and sync go out at once, and
// nothing waits for an interrupt. ADC values are three bytes read as a block,
// low byte first. Unlike the Cor FPGA's, a debug write waits for a reply.
TEST(LumetSpiTest, SharedRegisters)
{
    CLumetRig Rig(c_Path);
    EXPECT_EQ(std::vector<std::string>{"/dev/spidev2.0 2 0"}, Rig.Factory.m_Opens);
    EXPECT_TRUE(Rig.Factory.m_EnvReads.empty());
    CFPGAIFLumetSPI& L = Rig.Transport;
    EXPECT_EQ(0, L.SetCommandRegister({0x02}));
    EXPECT_EQ(0, L.PingNow({0x04}));
    EXPECT_TRUE(Rig.Device.m_Writes.empty());
    Rig.Device.m_Replies = {Reply({1, 2, 3}), Reply({4, 5, 6}), Reply({7, 8, 9}), Bytes_T{0x11, 0x12}};
    CorFPGA24BitADCValue_T Values[3] = {};
    for (TSQEventCode_T Result :
         {L.PingNow({0x05}), L.SetWifiLEDRegister({0xBEEF}), L.SetSyncRegister({0x81}), L.GetADCReference(&Values[0]),
          L.GetWaterTemp(&Values[1]), L.GetSenseResistor(&Values[2]), L.SetDebugRegister({0x11}, 0x30)})
        EXPECT_EQ(0, Result);
    EXPECT_EQ((std::vector<UINT32>{0x030201, 0x060504, 0x090807}), std::vector<UINT32>(Values, Values + 3));
    EXPECT_EQ(
        (std::vector<Bytes_T>{Join({WritePacket(0, {0x02}), WritePacket(0, {0x05})}),
                              WritePacket(113, {0xEF, 0xBE}, true), WritePacket(96, {0x81}), ReadPacket(128, 3, true),
                              ReadPacket(132, 3, true), ReadPacket(136, 3, true), WritePacket(0x30, {0x11})}),
        Rig.Device.m_Writes);
    EXPECT_EQ((std::vector<size_t>{4, 4, 4, 2}), Rig.Device.m_ReadSizes);
    EXPECT_EQ(1u, Rig.Device.m_Ioctls.size());

    Rig.Device.m_FailingWrites = {7, 8};
    EXPECT_EQ(-109, L.GetWaterTemp(&Values[1]));
    EXPECT_EQ(0x060504u, Values[1]);
    EXPECT_EQ(-109, L.SetDebugRegister({0x11}, 0x30));
    EXPECT_EQ(4u, Rig.Device.m_Polls.size());
}

// No length register; the table is padded to whole pages of 512 sets and an
// empty one stays empty (its length field reads 0xFFFF).
TEST(LumetSpiTest, CorrelationTablesArePaddedToAMultipleOf512Sets)
{
    const struct
    {
        size_t Entries;
        FPGAChannel_T Channel;
        std::vector<std::pair<UINT16, size_t>> Packets;
    } Cases[] = {
        {10, 0, {{0x6000, 2048}}},
        {512, 0, {{0x6000, 2048}}},
        {1300, 1, {{0xA000, 5049}, {0xA000 + 5049, 1095}}},
        {0, 0, {{0x6000, 0}}},
    };
    for (const auto& Case : Cases)
    {
        CLumetRig Rig(c_Path);
        const CorrelationFilterCoefficients_T Table(Case.Entries, {0x1234, -2});
        EXPECT_EQ(0, Rig.Transport.SetCorrelationFilter(Table, Case.Channel));
        EXPECT_EQ(0, Rig.Transport.UpdateFPGA());
        Bytes_T Memory(6144, 0);
        for (size_t i = 0; i < Case.Entries; ++i)
            std::copy_n(Bytes_T({0x34, 0x12, 0xFE, 0xFF}).begin(), 4, Memory.begin() + 4 * i);
        std::vector<Bytes_T> Expected;
        auto First = Memory.begin();
        for (const auto& Packet : Case.Packets)
        {
            Expected.push_back(WritePacket(Packet.first, Bytes_T(First, First + Packet.second), true));
            First += Packet.second;
        }
        EXPECT_EQ(Expected, Rig.Device.m_Writes) << Case.Entries;
    }
}

// N FIFO bytes become N floats; the status and FIFO status are read after
// but never acted on.
TEST(LumetSpiTest, GetPingTurnsEachFifoByteIntoAFloatAndNeverClearsTheFifo)
{
    CLumetRig Rig(c_Path);
    Rig.Device.m_Fifo = {0, 1, 2, 255};
    Rig.Device.m_Replies = {Reply({0x00}), Reply({0x05})};
    UINT8 Storage[4 * sizeof(float) + 1] = {};
    Buffer_Bytes_T Buffer(Storage + 1, 4);  // unaligned on purpose
    EXPECT_EQ(0, Rig.Transport.GetPing(1, &Buffer, static_cast<InterruptMode_T>(3)));
    float Samples[4];
    memcpy(Samples, Storage + 1, sizeof(Samples));
    EXPECT_EQ((std::vector<float>{0, 1, 2, 255}), std::vector<float>(Samples, Samples + 4));
    ASSERT_EQ(3u, Rig.Device.m_Ioctls.size());
    EXPECT_EQ((std::vector<UINT32>{0x5343, 0x8050, 3, 1, 1}), Words(Rig.Device.m_Ioctls[1].PingRead));
    EXPECT_EQ(0x80047206u, Rig.Device.m_Ioctls[2].Request);
    EXPECT_EQ((std::vector<Bytes_T>{Bytes_T(4, 0), ReadPacket(1, 1), ReadPacket(0x8052, 1)}), Rig.Device.m_Writes);
    EXPECT_TRUE(Rig.Factory.m_Events.empty());

    // Channel 0's FIFO; a failed transfer gives the device's error and no samples.
    Rig.Device.m_FailingWrites = {3};
    Storage[1] = 0xAB;
    EXPECT_EQ(EIO, Rig.Transport.GetPing(0, &Buffer, eInterruptModeNone));
    EXPECT_EQ(0x4050u, Rig.Device.m_Ioctls[3].PingRead.Address);
    EXPECT_EQ(0xAB, Storage[1]);
    EXPECT_EQ("3 5 CFPGAIFLumetSPI::SendData|failed to send data to SPI /dev/spidev2.0", Rig.Factory.m_Events.at(0));
}
