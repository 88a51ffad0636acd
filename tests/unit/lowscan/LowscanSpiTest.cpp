// CFPGAIFLSSPI on the fake device: requests byte for byte, the replies it
// reads and what it makes of them.

#include "FPGAIFLSSPI.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

typedef CRig<CFPGAIFLSSPI> SpiRig;
namespace
{
// The requests and whether each came without an argument.
std::vector<std::pair<unsigned long, bool>> Requests(const CFakeDevice& Device)
{
    std::vector<std::pair<unsigned long, bool>> Requests;
    for (const CFakeDevice::Ioctl_T& Call : Device.m_Ioctls)
        Requests.emplace_back(Call.Request, Call.bNullArgument);
    return Requests;
}
}

// The configure request's answer is not kept, and a failed open skips it.
TEST(LowscanSpiTest, ConstructionConfiguresTheDriverAfterACleanOpenAndWaitForDataAsksForTheInterrupt)
{
    SpiRig R;
    EXPECT_EQ(std::vector<std::string>{"/dev/fake 2 0"}, R.Factory.m_Opens);
    EXPECT_EQ(0, R.Transport.WaitForData());
    R.Device.m_IoctlResult = -1;
    EXPECT_EQ(-1, R.Transport.WaitForData());
    EXPECT_EQ(-1, R.Transport.GetErrorCode());
    EXPECT_EQ((std::vector<std::pair<unsigned long, bool>>{{0x80047202, true}, {0x80047203, true}, {0x80047203, true}}),
              Requests(R.Device));

    CFakeFactory Failing(TRANSPORT_OWNS_DEVICES);
    Failing.m_IoctlResult = -1;
    CFPGAIFLSSPI Unconfigured("/dev/LSfpga0", &Failing);
    EXPECT_EQ(1u, Failing.m_pDevice->m_Ioctls.size());
    EXPECT_EQ(0, Unconfigured.GetErrorCode());
    Failing.m_OpenErrors["/dev/LSfpga9"] = ENOENT;
    CFPGAIFLSSPI Missing("/dev/LSfpga9", &Failing);
    EXPECT_EQ(ENOENT, Missing.GetErrorCode());
    EXPECT_TRUE(Failing.m_pDevice->m_Ioctls.empty());
    EXPECT_TRUE(Failing.m_Events.empty());
}

// A default record programs channel 0, then channel 1, with zeros (sampling A
// keeps its bit 0; a period of 0 gives rate 0/0, which converts to 0).
TEST(LowscanSpiTest, SetUpForPingSendsOne85ByteRequestOfFourteenRecords)
{
    SpiRig R;
    SetRegisterData_T Record;
    EXPECT_EQ(0, R.Transport.SetRegister(&Record, 0xA1B2, 0xC3D4E5F6));
    EXPECT_EQ(0, memcmp("\xA1\xB2\xC3\xD4\xE5\xF6", &Record, sizeof(Record)));
    EXPECT_EQ(0, R.Transport.setUpForPing(SampleConfiguration()));
    EXPECT_EQ(0, R.Transport.setUpForPing(LSFpgaCompleteConfigure_T()));
    Bytes_T Sample = {0x04}, Default = {0x04};
    for (const auto& Register : SampleConfigurationRegisters())
    {
        Sample = Join(Sample, SpiRecord(Register.first, Register.second));
        Default = Join(Default, SpiRecord(Register.first, Register.first == 33 || Register.first == 41));
    }
    ASSERT_EQ((std::vector<Bytes_T>{Sample, Default}), R.Device.m_Writes);
    const Bytes_T& Request = R.Device.m_Writes[0];
    EXPECT_EQ(85u, Request.size());
    EXPECT_EQ((Bytes_T{0x04, 0x00, 0x11, 0x01, 0x88, 0x0A, 0xC5}), Bytes_T(Request.begin(), Request.begin() + 7));
    EXPECT_EQ((Bytes_T{0x00, 0x42, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x41, 0x80, 0x00, 0x00, 0xB5}),
              Bytes_T(Request.begin() + 73, Request.end()));
}

// A failed send does not stop the read; a short or missing reply leaves the
// caller's record alone.
TEST(LowscanSpiTest, RequestsAndTheirReplies)
{
    SpiRig R;
    R.Device.Answer({0x00, 0x00, 0x2A, 0x07});
    R.Device.Answer({0x12, 0x34, 0x56, 0x00, 0x00, 0x01, 0xFF, 0xFF, 0xFE});
    SWVersion_T Version = {0xFF, 0xFF};
    LSADCReadings_T Adc;
    for (TSQEventCode_T Result : {R.Transport.PingNow(), R.Transport.Echo("ok"), R.Transport.Echo(""),
                                  R.Transport.GetVersion(&Version), R.Transport.GetADCReadings(&Adc)})
        EXPECT_EQ(0, Result);
    EXPECT_EQ((std::vector<Bytes_T>{
                  {0x01}, {'o', 'k', 0}, {0}, {0x03, 0x00, 0x00, 0xFF, 0xFF}, {0x05, 0, 0, 0, 0, 0, 0, 0, 0, 0}}),
              R.Device.m_Writes);
    EXPECT_EQ((std::vector<size_t>{4, 9}), R.Device.m_ReadSizes);

    R.Device.m_FailingWrites = {R.Device.m_Writes.size(), R.Device.m_Writes.size() + 1};
    R.Device.Answer({0x01, 0x02, 0x03});
    EXPECT_EQ(-171, R.Transport.GetVersion(&Version));
    EXPECT_EQ(-171, R.Transport.GetADCReadings(&Adc));
    EXPECT_EQ(0x2A, Version.Major);
    EXPECT_EQ(0x07, Version.Minor);
    EXPECT_EQ((std::vector<UINT32>{0x123456, 0x000001, 0xFFFFFE}),
              (std::vector<UINT32>{Adc.ADCReference, Adc.WaterTemperature, Adc.Auxiliary}));
    const std::string Failed = "3 5 CFPGAIFLSSPI::SendData|failed to send data to UART /dev/fake";
    const std::string Short = "3 -171 CFPGAIFLSSPI::ReceiveData|Error on UART /dev/fakeOnly Got ";
    EXPECT_EQ((std::vector<std::string>{Failed, Short + "3 out of 4 after 1 reads", Failed,
                                        Short + "0 out of 9 after 0 reads"}),
              R.Factory.m_Events);
}

// Any channel but 1 asks for channel 0. A failed request does not stop the
// read. A partial block's pair is read where a whole block's would be, past
// the packet: 0 and 0.
TEST(LowscanSpiTest, GetPingAsksForItsChannelsPacketAndUnpacksIt)
{
    const struct
    {
        LSChannel_T Channel;
        size_t Samples, Length;
        UINT8 Request;
    } Cases[] = {{c_Channel0, 1024, 1059, 0x10}, {c_Channel1, 1024, 1059, 0x11}, {7, 200, 207, 0x10}};
    for (const auto& Case : Cases)
    {
        SpiRig R;
        R.Device.m_FailingWrites = {0};
        R.Device.Answer(PingPacket(
            Case.Samples, [](size_t i) { return UINT8(i + 40); },
            [](size_t Block, int Half) { return unsigned(4000 - 100 * Block - Half); }));
        Bytes_T Samples(4 * Case.Samples), Values(64), Request(Case.Length + 1, 0);
        Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
        EXPECT_EQ(0, R.Transport.GetPing(Case.Channel, &SampleBuffer, &ValueBuffer));
        EXPECT_EQ(0, R.Transport.GetErrorCode());
        Request[0] = Case.Request;
        EXPECT_EQ(std::vector<Bytes_T>{Request}, R.Device.m_Writes);
        EXPECT_EQ(std::vector<size_t>{Case.Length}, R.Device.m_ReadSizes);
        const std::vector<float> S = Floats(Samples), V = Floats(Values);
        for (size_t i = 0; i < Case.Samples; ++i)
            ASSERT_EQ(float(UINT8(i + 40)), S[i]) << i;
        for (size_t i = 0; i < 2 * ((Case.Samples + 127) / 128); ++i)
            EXPECT_EQ(i / 2 < Case.Samples / 128 ? float(4000 - 100 * (i / 2) - i % 2) : 0.0f, V[i]) << i;
    }
}
