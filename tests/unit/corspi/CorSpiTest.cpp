// The Cor transport on the fake device: the packet link (packet bytes,
// splitting, batching, replies), the ping FIFO and the registers.

#include "FPGAIFCorSPI.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <poll.h>

typedef CRig<CFPGAIFCorSpi> CCorRig;
static const std::string c_Path = "/dev/spidev1.0";

TEST(CorSpiPacketTest, OpensReadWriteConfiguresAfterACleanOpenAndSendsByteExactPackets)
{
    CCorRig Cor(true, c_Path);
    EXPECT_EQ(std::vector<std::string>{"/dev/spidev1.0 2 0"}, Cor.Factory.m_Opens);
    EXPECT_EQ(0, Cor.Transport.SetDebugRegister(0xA5, 0x0012));
    Cor.Device.Answer({0x07, 0x07});
    unsigned char Value = 0;
    EXPECT_EQ(0, Cor.Transport.GetDebugRegister(&Value, 82));
    EXPECT_EQ(7, Value);
    EXPECT_EQ((std::vector<Bytes_T>{{0x43, 0x53, 0x12, 0x00, 0x00, 0x00, 0x00, 0xA5, 0xA5},
                                    {0x43, 0x53, 0x52, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00}}),
              Cor.Device.m_Writes);
    EXPECT_EQ(std::vector<size_t>{2}, Cor.Device.m_ReadSizes);
    ASSERT_EQ(1u, Cor.Device.m_Ioctls.size());
    EXPECT_EQ(0x80047202u, Cor.Device.m_Ioctls[0].Request);
    EXPECT_TRUE(Cor.Device.m_Ioctls[0].bNullArgument);

    CFakeFactory Factory;
    Factory.m_OpenErrors["/dev/none"] = ENOENT;
    CFPGAIFCorSpi Missing(true, "/dev/none", &Factory);
    EXPECT_EQ(ENOENT, Missing.GetErrorCode());
    EXPECT_TRUE(Factory.Device("/dev/none").m_Ioctls.empty());
    EXPECT_TRUE(Factory.m_Events.empty());
}

// Data goes out in packets of at most 5,049 bytes (5,057 with header and sum,
// the driver's transfer), each on a transfer of its own; the address wraps at
// 16 bits.
TEST(CorSpiPacketTest, LongDataIsCutIntoDriverSizedPacketsWrappingAtTheTopAddress)
{
    CCorRig Cor(true, c_Path);
    Bytes_T Data(5050);
    for (size_t i = 0; i < Data.size(); ++i)
        Data[i] = static_cast<UINT8>(i * 7 + 3);
    Buffer_Bytes_T Buffer(Data.data(), Data.size());
    EXPECT_EQ(0, Cor.Transport.TestFPGAAccess(&Buffer, 0xFFFF, false, true));
    EXPECT_EQ((std::vector<Bytes_T>{WritePacket(0xFFFF, Bytes_T(Data.begin(), Data.end() - 1), true),
                                    WritePacket(0x13B8, {Data.back()}, true)}),
              Cor.Device.m_Writes);
}

// A packet joins the transfer being assembled while the bytes in it plus its
// payload stay below 5,057. A failed transfer is reported and holds nothing
// back; the total counts only what went out.
TEST(CorSpiPacketTest, QueuedPacketsShareATransferUntilTheBound)
{
    for (size_t Second : {48, 49})
    {
        CCorRig Cor(true, c_Path);
        for (size_t Size : {size_t(5000), Second})
        {
            Bytes_T Data(Size, 0x22);
            Buffer_Bytes_T Buffer(Data.data(), Data.size());
            Cor.Transport.CreateCommandPacket(&Buffer, 0x100, false, false, false);
        }
        EXPECT_TRUE(Cor.Device.m_Writes.empty());
        EXPECT_EQ(0, Cor.Transport.UpdateFPGA());
        ASSERT_EQ(Second == 48 ? 1u : 2u, Cor.Device.m_Writes.size());
        EXPECT_EQ(Second == 48 ? 5064u : 5008u, Cor.Device.m_Writes[0].size());
    }

    CCorRig Cor(true, c_Path);
    Cor.Device.m_FailingWrites = {0, 2};
    Bytes_T Table(5000, 0x11);
    Buffer_Bytes_T Buffer(Table.data(), Table.size());
    for (int i = 0; i < 3; ++i)
        Cor.Transport.CreateCommandPacket(&Buffer, 0x3000, false, true, false);
    EXPECT_EQ(5008u, Cor.Transport.TransmitDataToFPGA());
    EXPECT_EQ(std::vector<Bytes_T>(3, WritePacket(0x3000, Table, true)), Cor.Device.m_Writes);
    EXPECT_EQ(std::vector<std::string>(2, "3 5 CFPGAIFCorSpi::SendData|failed to send data to SPI /dev/spidev1.0"),
              Cor.Factory.m_Events);
    EXPECT_EQ(-109, Cor.Transport.UpdateFPGA());  // nothing stays queued
}

// A wrong checksum is only reported; a silent or failing device leaves the
// buffer alone. Only a request that cannot be sent fails the read, and it is
// not sent again later.
TEST(CorSpiPacketTest, RepliesAreCheckedButOnlyAFailedRequestFailsTheRead)
{
    CCorRig Cor(true, c_Path);
    Cor.Device.m_Replies = {Bytes_T{0x12, 0xAB, 0x40, 0xFD}, Bytes_T{0x12, 0xAB, 0x40, 0xCD}};
    std::vector<Bytes_T> Data(4, Bytes_T(3, 0x5A));
    for (Bytes_T& Read : Data)
    {
        const int Error = &Read == &Data.back() ? EIO : 0;
        if (Error)
            Cor.Device.m_Replies.push_back({{}, Error});
        Buffer_Bytes_T Buffer(Read.data(), Read.size());
        EXPECT_EQ(0, Cor.Transport.TestFPGAAccess(&Buffer, 0x40, true, true));
        EXPECT_EQ(Error, Cor.Transport.GetErrorCode());
    }
    const Bytes_T Sent = {0x12, 0xAB, 0x40}, Untouched(3, 0x5A);
    EXPECT_EQ((std::vector<Bytes_T>{Sent, Sent, Untouched, Untouched}), Data);
    EXPECT_EQ(std::vector<Bytes_T>(4, ReadPacket(0x40, 3, true)), Cor.Device.m_Writes);
    EXPECT_EQ((std::vector<std::pair<short, int>>(4, {POLLIN, 1000})), Cor.Device.m_Polls);
    EXPECT_EQ((std::vector<std::string>{"3 0 CFPGAIFCorSpi::ReceiveData|chksum ERROR : calculated fd received cd",
                                        "3 5 CFPGAIFCorSpi::ReceiveData|failed to read data from SPI /dev/spidev1.0"}),
              Cor.Factory.m_Events);

    Cor.Device.m_FailingWrites = {4};
    unsigned char Value = 0;
    EXPECT_EQ(-109, Cor.Transport.GetDebugRegister(&Value, 1));
    EXPECT_EQ(4u, Cor.Device.m_Polls.size());
    EXPECT_EQ(-109, Cor.Transport.UpdateFPGA());
}

// The driver's ping-read mode fills the written buffer from the FIFO at 80.
// A FIFO status other than 4 (idle) afterwards is reported and cleared. A
// section is one read request, never split, that only goes out.
TEST(CorSpiPacketTest, GetPingReadsTheFifoThenClearsItUnlessItIsIdle)
{
    CCorRig Cor(false, c_Path);
    Cor.Device.m_Fifo = {9, 8, 7, 6, 5, 4};
    Cor.Device.m_Replies = {Reply({4}), Reply({5})};
    UINT8 Samples[6] = {};
    Buffer_Bytes_T Buffer(Samples, sizeof(Samples));
    EXPECT_EQ(6, Cor.Transport.GetPing(&Buffer));
    EXPECT_EQ(Cor.Device.m_Fifo, Bytes_T(Samples, Samples + 6));
    EXPECT_EQ(6, Cor.Transport.GetPing(&Buffer));
    // The buffer goes out as it is: the second transfer carries the first ping.
    EXPECT_EQ((std::vector<Bytes_T>{Bytes_T(6, 0), ReadPacket(82, 1), Cor.Device.m_Fifo, ReadPacket(82, 1),
                                    WritePacket(81, {2})}),
              Cor.Device.m_Writes);
    EXPECT_EQ(std::vector<std::string>{"3 0 CFPGAIFCorSpi::ValidateDataCollection|"
                                       "FIFO ERROR:: clearing fifo because fifoStatus 0x5"},
              Cor.Factory.m_Events);
    ASSERT_EQ(5u, Cor.Device.m_Ioctls.size());
    EXPECT_EQ(0x80047205u, Cor.Device.m_Ioctls[1].Request);
    EXPECT_EQ((std::vector<UINT32>{0x5343, 80, 0, 1, 1}), Words(Cor.Device.m_Ioctls[1].PingRead));
    EXPECT_EQ(0x80047206u, Cor.Device.m_Ioctls[2].Request);
    Cor.Device.m_FailingWrites = {5};
    EXPECT_EQ(0, Cor.Transport.GetPing(&Buffer));

    Bytes_T Data(6000, 0xEE);
    Buffer_Bytes_T Section(Data.data(), Data.size());
    Cor.Device.m_Writes.clear();
    EXPECT_EQ(6008, Cor.Transport.GetPingSection(&Section));
    EXPECT_EQ(std::vector<Bytes_T>{ReadPacket(80, 6000)}, Cor.Device.m_Writes);
    EXPECT_EQ(Bytes_T(6000, 0xEE), Data);
}

// Start ping, output to log, transducer data and sync go out at once; the
// rest waits for UpdateFPGA. Wider registers go byte by byte, low byte first.
TEST(CorSpiRegisterTest, SettersQueueTheirRegisterOrSendItWhenItMustAct)
{
    CCorRig Cor(true, c_Path);
    CFPGAIFCorSpi& C = Cor.Transport;
    const FpgaChnlFltByte_T Filter = {0xDE};
    for (TSQEventCode_T Result :
         {C.SetADCFrequencyRegister(eFpgaAdcFrequencyCode2), C.SetBoostLevel(91),
          C.SetNumberOfSamplesToReceive(0x1234 * 16), C.SetChannelFilterRegister(&Filter),
          C.SetFilterSelectionRegister(PingConfigRxBand_LF), C.SetFilterSelectionRegister(PingConfigRxBand_MF),
          C.SetFilterSelectionRegister(PingConfigRxBand_HF), C.SetBaseBandFilterSelectionReg(5),
          C.SetBaseBandFilterScalingReg(6), C.SetBaseBandFilterSubSampleReg(7), C.SetCorralationScaling(243),
          C.SetCorralationDownShift(16), C.SetSubSampleRate(3), C.SetSubSampleMode(eFpgaSubSampleMode2),
          C.SetSubSampleThreshold(0x1234), C.SetTVGTable({{1, 2}, {3, 4}}), C.SetChirpTable({{0x1234, 0xABCD}}),
          C.SetCommandRegister({0x02}), C.PingNow({0x02})})
        EXPECT_EQ(0, Result);
    EXPECT_TRUE(Cor.Device.m_Writes.empty());
    EXPECT_EQ(0, C.UpdateFPGA());
    EXPECT_EQ(std::vector<Bytes_T>{Join({WritePacket(4, {2}),
                                         WritePacket(8, {91}),
                                         WritePacket(16, {0x34}),
                                         WritePacket(17, {0x12}),
                                         WritePacket(18, {0xDE}),
                                         WritePacket(18, {2}),
                                         WritePacket(18, {1}),
                                         WritePacket(18, {0}),
                                         WritePacket(36, {5}),
                                         WritePacket(37, {6}),
                                         WritePacket(38, {7}),
                                         WritePacket(50, {243}),
                                         WritePacket(51, {16}),
                                         WritePacket(52, {3}),
                                         WritePacket(53, {2}),
                                         WritePacket(56, {0x34, 0x12}),
                                         WritePacket(256, {2}),
                                         WritePacket(257, {0}),
                                         WritePacket(0x3000, {1, 2, 3, 4}, true),
                                         WritePacket(512, {1}),
                                         WritePacket(513, {0}),
                                         WritePacket(0x4000, {0x34, 0x12, 0xCD, 0xAB}, true),
                                         WritePacket(0, {0x02})})},
              Cor.Device.m_Writes);

    Cor.Device.m_Writes.clear();
    for (TSQEventCode_T Result :
         {C.PingNow({0x03}), C.SetOutputDataToLog(), C.SetTransducerData(0x42), C.SetSyncRegister({0x81})})
        EXPECT_EQ(0, Result);
    EXPECT_EQ((std::vector<Bytes_T>{WritePacket(0, {0x03}), WritePacket(24, {1}), WritePacket(67, {0x42}),
                                    WritePacket(96, {0x81})}),
              Cor.Device.m_Writes);
    EXPECT_EQ(-109, C.UpdateFPGA());
    Cor.Device.m_FailingWrites = {4};
    testing::internal::CaptureStdout();
    EXPECT_EQ(-109, C.SetOutputDataToLog());
    EXPECT_EQ("SetOutputDataToLog\n", testing::internal::GetCapturedStdout());
}

// Without the option a command is sent only to start a ping. With it, any of
// bits 2 to 6 is sent at once and the interrupt awaited; a missing one shows
// only in the error code and a report.
TEST(CorSpiRegisterTest, TransducerIdentificationWaitsForTheInterruptWhenAsked)
{
    const struct
    {
        bool bOption;
        UINT8 Command;
        bool bInterrupt, bSent, bWaited;
        TSQEventCode_T Error;
    } Cases[] = {
        {true, 0x02, true, false, false, 0},   {true, 0x01, true, true, false, 0},
        {true, 0x04, true, true, true, 0},     {true, 0x40, false, true, true, -144},
        {false, 0x04, false, false, false, 0}, {false, 0x05, false, true, false, 0},
    };
    for (const auto& Case : Cases)
    {
        CCorRig Cor(Case.bOption, c_Path);
        Cor.Device.m_bInterruptOccurs = Case.bInterrupt;
        EXPECT_EQ(0, Cor.Transport.SetCommandRegister({Case.Command}));
        const std::string Name = std::to_string(Case.bOption) + " " + std::to_string(Case.Command);
        EXPECT_EQ(Case.bSent ? 1u : 0u, Cor.Device.m_Writes.size()) << Name;
        EXPECT_EQ(Case.bWaited ? 2u : 1u, Cor.Device.m_Ioctls.size()) << Name;
        EXPECT_EQ(Case.Error, Cor.Transport.GetErrorCode()) << Name;
        EXPECT_EQ(std::vector<std::string>(Case.Error != 0, "3 -144 CFPGAIFCorSpi::SetCommandRegister|FPGA "
                                                            "Transducer ID Interrupt never occurred"),
                  Cor.Factory.m_Events)
            << Name;
    }
}

// The tuning word is frequency / clock in units of 2^-32; the clock is
// 69.248 MHz, 86.56 MHz on the larger QL3B FPGA.
TEST(CorSpiRegisterTest, CentreFrequencyTuningWordFollowsTheFpgaClock)
{
    const struct
    {
        const char* FpgaSize;
        unsigned short HundredsOfHz;
        UINT32 Word;
    } Cases[] = {
        {nullptr, 500, 0x002F51DC},
        {"0", 500, 0x002F51DC},
        {"1", 500, 0x0025DB17},
        {nullptr, 65535, 0x183A340D},
    };
    for (const auto& Case : Cases)
    {
        CFakeFactory Factory;
        if (Case.FpgaSize)
            Factory.m_Env["QL3B_FPGA_SIZE"] = Case.FpgaSize;
        CFPGAIFCorSpi Transport(true, c_Path, &Factory);
        Transport.SetBaseBandFilterCentreFreq(Case.HundredsOfHz);
        Transport.UpdateFPGA();
        Bytes_T Expected;
        for (int i = 0; i < 4; ++i)
            Expected = Join({Expected, WritePacket(32 + i, {static_cast<UINT8>(Case.Word >> (8 * i))})});
        EXPECT_EQ(std::vector<Bytes_T>{Expected}, Factory.Device(c_Path).m_Writes) << Case.HundredsOfHz;
    }
}

// The whole filter memory is written, zero-padded, in four packets, so the
// length code is always 7.
TEST(CorSpiRegisterTest, CorrelationFilterAlwaysFillsTheWholeFilterMemory)
{
    CCorRig Cor(true, c_Path);
    EXPECT_EQ(0, Cor.Transport.SetCorrelationFilter(CorrelationFilterCoefficients_T(4000, {-2, 0x1234})));
    EXPECT_EQ(0, Cor.Transport.UpdateFPGA());
    Bytes_T Memory(16384, 0);
    for (size_t i = 0; i < 4000; ++i)
        std::copy_n(Bytes_T({0xFE, 0xFF, 0x34, 0x12}).begin(), 4, Memory.begin() + 4 * i);
    std::vector<Bytes_T> Expected = {WritePacket(48, {7})};
    const UINT16 Addresses[] = {0x8000, 0x93B9, 0xA772, 0xBB2B};
    for (size_t i = 0; i < 4; ++i)
        Expected.push_back(WritePacket(
            Addresses[i], Bytes_T(Memory.begin() + 5049 * i, Memory.begin() + std::min<size_t>(5049 * (i + 1), 16384)),
            true));
    EXPECT_EQ(Expected, Cor.Device.m_Writes);
}

// Speed: both bytes land in bits 0 to 7. Version: one register, minor 0, the
// preset 0xFF when no answer comes; nothing when the request fails.
TEST(CorSpiRegisterTest, ReadBacksAskTheirRegister)
{
    CCorRig Cor(true, c_Path);
    Cor.Device.m_Replies = {Reply({0x12}), Reply({0x40}), Reply({0x21}), Reply({0x99})};
    FPGASpeedReading_T Speed = 0;
    SWVersion_T Version = {0, 7};
    bFpgaStatusByte Status = {0};
    EXPECT_EQ(0, Cor.Transport.GetSpeedReading(&Speed));
    EXPECT_EQ(0, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(0, Cor.Transport.GetStatusRegister(&Status));
    EXPECT_EQ(0x52u, Speed);
    EXPECT_EQ(0x21, Version.Major);
    EXPECT_EQ(0, Version.Minor);
    EXPECT_EQ(0x99, Status.Value);
    EXPECT_EQ((std::vector<Bytes_T>{ReadPacket(64, 1), ReadPacket(65, 1), ReadPacket(2, 1), ReadPacket(1, 1)}),
              Cor.Device.m_Writes);

    EXPECT_EQ(0, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(0xFF, Version.Major);
    Cor.Device.m_FailingWrites = {5};
    Version = {1, 2};
    EXPECT_EQ(-109, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(1, Version.Major);
    EXPECT_EQ(2, Version.Minor);
}
