// CFPGAIFLSUart on a real pseudo-terminal opened through COSSLinuxFactory, as
// on the unit: the test plays the FPGA on the master side.

#include "FPGAIFLSUart.h"
#include "FakeDevice.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace
{
class LowscanUartPtyTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_Master != -1 && grantpt(m_Master) == 0 && unlockpt(m_Master) == 0 && ptsname(m_Master));
        m_SlavePath = ptsname(m_Master);
        // A second descriptor on the slave shows the line's settings and input
        // queue. The driver starts with every input translation on.
        m_Slave = open(m_SlavePath.c_str(), O_RDWR | O_NOCTTY);
        struct termios Options = {};
        ASSERT_EQ(0, tcgetattr(m_Slave, &Options));
        Options.c_iflag |= ICRNL | INLCR | IGNCR | ISTRIP;
        ASSERT_EQ(0, tcsetattr(m_Slave, TCSANOW, &Options));
        m_Factory.m_bRealFiles = true;
        m_pUart.reset(new CFPGAIFLSUart(m_SlavePath, &m_Factory));
        ASSERT_EQ(0, m_pUart->GetErrorCode());
    }
    ~LowscanUartPtyTest() override
    {
        close(m_Slave);
        close(m_Master);
    }
    void Send(const Bytes_T& Data) const
    {
        ASSERT_EQ(static_cast<ssize_t>(Data.size()), write(m_Master, Data.data(), Data.size()));
    }

    int m_Master = posix_openpt(O_RDWR | O_NOCTTY);
    int m_Slave = -1;
    std::string m_SlavePath;
    CFakeFactory m_Factory;
    std::unique_ptr<CFPGAIFLSUart> m_pUart;
};
}

TEST_F(LowscanUartPtyTest, SerialSetUpMakesARaw3000000Baud8N1LineAndSendsFramesUntranslated)
{
    struct termios Options = {};
    ASSERT_EQ(0, tcgetattr(m_Slave, &Options));
    EXPECT_EQ(static_cast<speed_t>(B3000000), cfgetispeed(&Options));
    EXPECT_EQ(static_cast<speed_t>(B3000000), cfgetospeed(&Options));
    EXPECT_EQ(static_cast<tcflag_t>(CS8), Options.c_cflag & (CSIZE | CSTOPB | PARENB));
    EXPECT_EQ(static_cast<tcflag_t>(IXOFF), Options.c_iflag & (IXON | IXOFF | ICRNL | INLCR | IGNCR | ISTRIP));
    EXPECT_EQ(0u, Options.c_lflag & (ICANON | ECHO | ECHOE | ISIG));
    EXPECT_EQ(0u, Options.c_oflag & OPOST);

    EXPECT_EQ(0, m_pUart->SetRegister(0x0021, 0x00010001));
    EXPECT_EQ(0, m_pUart->SetRegister(0x0A0A, 0x0A0D0A0D));
    Bytes_T Sent(16);
    struct pollfd Entry = {m_Master, POLLIN, 0};
    for (ssize_t Got = 0, Part = 1; Got < 16 && Part > 0 && poll(&Entry, 1, 1000) == 1; Got += Part)
        Part = read(m_Master, Sent.data() + Got, 16 - Got);
    EXPECT_EQ(Join({0xF5, 0x00, 0x21, 0x00, 0x01, 0x00, 0x01, 0x18}, UartFrame(0x0A0A, 0x0A0D0A0D)), Sent);
    EXPECT_TRUE(m_Factory.m_Events.empty());
}

TEST_F(LowscanUartPtyTest, ASilentLineGivesMinus171AfterOne1000msWait)
{
    UINT8 Storage[4] = {};
    Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    const auto Start = std::chrono::steady_clock::now();
    EXPECT_EQ(-171, m_pUart->ReceiveData(&Buffer));
    const auto Waited =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - Start).count();
    EXPECT_GE(Waited, 990);
    EXPECT_LT(Waited, 1900) << "one wait, not two";
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSUart::ReceiveData|Error on UART " + m_SlavePath +
                                       "Only Got 0 out of 4 after 0 reads"},
              m_Factory.m_Events);
}

// Each packet comes in two parts, so it takes several reads: 1024 samples are
// eight whole blocks; 200 end in a partial block whose value pair lies past
// the packet and reads 0, 0. The samples take every byte value, 0x0A, 0x0D
// and those above 127 among them: the line translates nothing.
TEST_F(LowscanUartPtyTest, PingsArrivingInPartsUnpackIntoSamplesAndValuePairs)
{
    const auto Sample = [](size_t i) { return UINT8(i * 7 + 1); };
    const auto Value = [](size_t Block, int Half) { return unsigned(0x123 + 0x200 * Block + Half); };
    const struct
    {
        size_t Samples, PacketBytes;
        std::vector<float> Values;
    } Cases[] = {
        {1024, 1059, {}},
        {200, 207, {0x123, 0x124, 0, 0}},
    };
    for (const auto& Case : Cases)
    {
        const Bytes_T Packet = PingPacket(Case.Samples, Sample, Value);
        ASSERT_EQ(Case.PacketBytes, Packet.size());
        std::thread Fpga([&] {
            Send(Bytes_T(Packet.begin(), Packet.begin() + 100));
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
            Send(Bytes_T(Packet.begin() + 100, Packet.end()));
        });
        Bytes_T Samples(Case.Samples * 4, 0), Values(16 * 4, 0);
        Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
        EXPECT_EQ(0, m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer)) << Case.Samples;
        Fpga.join();
        const std::vector<float> S = Floats(Samples), V = Floats(Values);
        for (size_t i = 0; i < Case.Samples; ++i)
            ASSERT_EQ(float(Sample(i)), S[i]) << Case.Samples << " samples, sample " << i;
        std::vector<float> Expected = Case.Values;
        for (size_t i = 0; Expected.empty() && i < 16; ++i)
            Expected.push_back(float(Value(i / 2, i % 2)));
        EXPECT_EQ(Expected, std::vector<float>(V.begin(), V.begin() + Expected.size())) << Case.Samples;
    }
    EXPECT_TRUE(m_Factory.m_Events.empty());
}

TEST(LowscanUartFileTest, SerialSetUpFailsWithItsMessageOnARegularFile)
{
    const std::string Path = "/tmp/not-a-uart";
    close(open(Path.c_str(), O_CREAT | O_WRONLY, 0644));
    CFakeFactory Factory;
    Factory.m_bRealFiles = true;
    CFPGAIFLSUart Uart(Path, &Factory);
    EXPECT_EQ(ENOTTY, Uart.GetErrorCode());
    const std::string Code = "3 " + std::to_string(ENOTTY);
    EXPECT_EQ(
        (std::vector<std::string>{Code + " CFPGAIFLSUart::ConfigureSerialPort|" + Path + " is not a serial port",
                                  Code + " CFPGAIFLSUart::CFPGAIFLSUart|Constructor failed to configure UART " + Path}),
        Factory.m_Events);
    unlink(Path.c_str());
}

TEST_F(LowscanUartPtyTest, FlushDiscardsWhatArrivedUnread)
{
    Send({1, 2, 3});
    int Pending = 0;
    for (int i = 0; i < 200 && ioctl(m_Slave, FIONREAD, &Pending) == 0 && Pending < 3; ++i)
        usleep(5000);
    ASSERT_EQ(3, Pending);
    EXPECT_EQ(0, m_pUart->Flush());
    EXPECT_EQ(0, ioctl(m_Slave, FIONREAD, &Pending));
    EXPECT_EQ(0, Pending);
    EXPECT_TRUE(m_Factory.m_Events.empty());
}
