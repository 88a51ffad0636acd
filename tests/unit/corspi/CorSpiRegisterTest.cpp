#include "FakeSpiDevice.h"
#include "FPGAIFCorSPI.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
typedef CSpiRig<CFPGAIFCorSpi> CCorRig;
const std::string c_Path = "/dev/spidev1.0";
}

#define COR(Call) [&](CFPGAIFCorSpi& C) { return C.Call; }

TEST(CorSpiRegisterTest, SettersQueueTheirRegisterOrSendItWhenItMustAct)
{
    const FpgaChnlFltByte_T Filter = {0xDE};
    const struct
    {
        std::function<TSQEventCode_T(CFPGAIFCorSpi&)> Set;
        std::vector<Bytes_T> Packets;
        bool bSentAtOnce;
    } Cases[] = {
        {COR(SetADCFrequencyRegister(eFpgaAdcFrequencyCode2)), {WritePacket(4, {2})}, false},
        {COR(SetBoostLevel(91)), {WritePacket(8, {91})}, false},
        {COR(SetNumberOfSamplesToReceive(4096)), {WritePacket(16, {0x00}), WritePacket(17, {0x01})}, false},
        {COR(SetNumberOfSamplesToReceive(1048560)), {WritePacket(16, {0xFF}), WritePacket(17, {0xFF})}, false},
        {COR(SetChannelFilterRegister(&Filter)), {WritePacket(18, {0xDE})}, false},
        {COR(SetFilterSelectionRegister(PingConfigRxBand_LF)), {WritePacket(18, {2})}, false},
        {COR(SetFilterSelectionRegister(PingConfigRxBand_MF)), {WritePacket(18, {1})}, false},
        {COR(SetFilterSelectionRegister(PingConfigRxBand_HF)), {WritePacket(18, {0})}, false},
        {COR(SetBaseBandFilterCentreFreq(500)),
         {WritePacket(32, {0xDC}), WritePacket(33, {0x51}), WritePacket(34, {0x2F}), WritePacket(35, {0x00})}, false},
        {COR(SetBaseBandFilterSelectionReg(5)), {WritePacket(36, {5})}, false},
        {COR(SetBaseBandFilterScalingReg(6)), {WritePacket(37, {6})}, false},
        {COR(SetBaseBandFilterSubSampleReg(7)), {WritePacket(38, {7})}, false},
        {COR(SetCorralationScaling(243)), {WritePacket(50, {243})}, false},
        {COR(SetCorralationDownShift(16)), {WritePacket(51, {16})}, false},
        {COR(SetSubSampleRate(3)), {WritePacket(52, {3})}, false},
        {COR(SetSubSampleMode(eFpgaSubSampleMode2)), {WritePacket(53, {2})}, false},
        {COR(SetSubSampleThreshold(0x1234)), {WritePacket(56, {0x34, 0x12})}, false},
        {COR(SetTVGTable({{1, 2}, {3, 4}})),
         {WritePacket(256, {2}), WritePacket(257, {0}), WritePacket(0x3000, {1, 2, 3, 4}, true)}, false},
        {COR(SetChirpTable({{0x1234, 0xABCD}})),
         {WritePacket(512, {1}), WritePacket(513, {0}), WritePacket(0x4000, {0x34, 0x12, 0xCD, 0xAB}, true)}, false},
        {COR(SetCommandRegister({0x02})), {WritePacket(0, {0x02})}, false},
        {COR(PingNow({0x03})), {WritePacket(0, {0x03})}, true},
        {COR(SetOutputDataToLog()), {WritePacket(24, {1})}, true},
        {COR(SetTransducerData(0x42)), {WritePacket(67, {0x42})}, true},
        {COR(SetSyncRegister({0x81})), {WritePacket(96, {0x81})}, true},
    };
    for (const auto& Case : Cases)
    {
        CCorRig Cor(true, c_Path);
        const Bytes_T Expected = Join(Case.Packets);
        EXPECT_EQ(0, Case.Set(Cor.Transport)) << testing::PrintToString(Expected);
        EXPECT_EQ(Case.bSentAtOnce ? 1u : 0u, Cor.Device.m_Writes.size()) << testing::PrintToString(Expected);
        EXPECT_EQ(Case.bSentAtOnce ? -109 : 0, Cor.Transport.UpdateFPGA());
        EXPECT_EQ(std::vector<Bytes_T>{Expected}, Cor.Device.m_Writes);
    }

    CCorRig Cor(true, c_Path);
    Cor.Device.m_FailingWrites = {0};
    testing::internal::CaptureStdout();
    EXPECT_EQ(-109, Cor.Transport.SetOutputDataToLog());
    EXPECT_EQ("SetOutputDataToLog\n", testing::internal::GetCapturedStdout());
}

TEST(CorSpiRegisterTest, TransducerIdentificationWaitsForTheInterruptWhenAsked)
{
    const struct
    {
        bool bOption;
        UINT8 Command;
        bool bInterruptOccurs;
        bool bSent;
        bool bWaited;
        TSQEventCode_T ErrorCode;
    } Cases[] = {
        {true, 0x02, true, false, false, 0},   {true, 0x01, true, true, false, 0},
        {true, 0x04, true, true, true, 0},     {true, 0x40, false, true, true, -144},
        {false, 0x04, false, false, false, 0}, {false, 0x05, false, true, false, 0},
    };
    for (const auto& Case : Cases)
    {
        CCorRig Cor(Case.bOption, c_Path);
        Cor.Device.m_bInterruptOccurs = Case.bInterruptOccurs;
        EXPECT_EQ(0, Cor.Transport.SetCommandRegister({Case.Command}));
        const std::string Name = std::to_string(Case.bOption) + " " + std::to_string(Case.Command);
        EXPECT_EQ(Case.bSent ? 1u : 0u, Cor.Device.m_Writes.size()) << Name;
        EXPECT_EQ(Case.bWaited ? 2u : 1u, Cor.Device.m_Ioctls.size()) << Name;
        EXPECT_EQ(Case.ErrorCode, Cor.Transport.GetErrorCode()) << Name;
        EXPECT_EQ(Case.ErrorCode ? 1u : 0u, Cor.Factory.m_Events.size()) << Name;
    }
    CCorRig Cor(true, c_Path);
    EXPECT_EQ(0, Cor.Transport.PingNow({0x02}));
    EXPECT_EQ(-109, Cor.Transport.UpdateFPGA());
}

TEST(CorSpiRegisterTest, CentreFrequencyTuningWordFollowsTheFpgaClock)
{
    const struct
    {
        const char* FpgaSize;
        unsigned short HundredsOfHz;
        UINT32 Word;
    } Cases[] = {
        {nullptr, 500, 0x002F51DC}, {"0", 500, 0x002F51DC}, {"1", 500, 0x0025DB17}, {nullptr, 65535, 0x183A340D},
    };
    for (const auto& Case : Cases)
    {
        CFakeSpiFactory Factory;
        if (Case.FpgaSize)
            Factory.m_Env["QL3B_FPGA_SIZE"] = Case.FpgaSize;
        CFPGAIFCorSpi Transport(true, c_Path, &Factory);
        Transport.SetBaseBandFilterCentreFreq(Case.HundredsOfHz);
        Transport.UpdateFPGA();
        Bytes_T Expected;
        for (int i = 0; i < 4; ++i)
            Expected = Join({Expected, WritePacket(32 + i, {static_cast<UINT8>(Case.Word >> (8 * i))})});
        EXPECT_EQ(std::vector<Bytes_T>{Expected}, Factory.m_Device.m_Writes) << Case.HundredsOfHz;
    }
}

TEST(CorSpiRegisterTest, CorrelationFilterAlwaysFillsTheWholeFilterMemory)
{
    for (size_t Entries : {10, 4096})
    {
        CCorRig Cor(true, c_Path);
        EXPECT_EQ(0, Cor.Transport.SetCorrelationFilter(CorrelationFilterCoefficients_T(Entries, {-2, 0x1234})));
        EXPECT_EQ(0, Cor.Transport.UpdateFPGA());

        Bytes_T Memory(16384, 0);
        for (size_t i = 0; i < Entries; ++i)
            std::copy_n(Bytes_T({0xFE, 0xFF, 0x34, 0x12}).begin(), 4, Memory.begin() + 4 * i);
        std::vector<Bytes_T> Expected = {WritePacket(48, {7})};
        const UINT16 Addresses[] = {0x8000, 0x93B9, 0xA772, 0xBB2B};
        for (size_t i = 0; i < 4; ++i)
        {
            const auto First = Memory.begin() + 5049 * i;
            Expected.push_back(WritePacket(Addresses[i], Bytes_T(First, i < 3 ? First + 5049 : Memory.end()), true));
        }
        EXPECT_EQ(Expected, Cor.Device.m_Writes) << Entries;
    }
}

TEST(CorSpiRegisterTest, ReadBacksAskTheirRegister)
{
    CCorRig Cor(true, c_Path);
    Cor.Device.m_Replies = {Reply({0x12}), Reply({0x40}), Reply({0x21}), Reply({0x99})};
    FPGASpeedReading_T Speed = 0;
    EXPECT_EQ(0, Cor.Transport.GetSpeedReading(&Speed));
    EXPECT_EQ(0x52u, Speed);  // both bytes in bits 0 to 7
    SWVersion_T Version = {0, 7};
    EXPECT_EQ(0, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(0x21, Version.Major);
    EXPECT_EQ(0, Version.Minor);
    bFpgaStatusByte Status = {0};
    EXPECT_EQ(0, Cor.Transport.GetStatusRegister(&Status));
    EXPECT_EQ(0x99, Status.Value);
    EXPECT_EQ((std::vector<Bytes_T>{ReadPacket(64, 1), ReadPacket(65, 1), ReadPacket(2, 1), ReadPacket(1, 1)}),
              Cor.Device.m_Writes);

    // No answer: the preset 0xFF; no request sent: the record stays as it was.
    EXPECT_EQ(0, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(0xFF, Version.Major);
    Cor.Device.m_FailingWrites = {5};
    Version = {1, 2};
    EXPECT_EQ(-109, Cor.Transport.GetVersion(&Version));
    EXPECT_EQ(1, Version.Major);
    EXPECT_EQ(2, Version.Minor);
}
