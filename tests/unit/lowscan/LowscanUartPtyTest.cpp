// CFPGAIFLSUart on a real pseudo-terminal, opened through COSSLinuxFactory as
// on the unit: the test plays the FPGA on the master side.

#include "FPGAIFLSUart.h"
#include "FakeDevice.h"
#include "OSSLinuxFactory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace
{
class CRecordingFactory : public COSSLinuxFactory
{
public:
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override
    {
        m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + "|" + Text);
        return 0;
    }
    std::vector<std::string> m_Events;
};

// The master side of a pseudo-terminal; the transport opens the slave.
class CPtyLine
{
public:
    CPtyLine()
    {
        m_Master = posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_NE(-1, m_Master);
        EXPECT_EQ(0, grantpt(m_Master));
        EXPECT_EQ(0, unlockpt(m_Master));
        const char* pName = ptsname(m_Master);
        m_SlavePath = pName ? pName : "";
    }
    ~CPtyLine() { close(m_Master); }

    void Send(const Bytes_T& Data) const
    {
        size_t Done = 0;
        while (Done < Data.size())
        {
            const ssize_t Count = write(m_Master, Data.data() + Done, Data.size() - Done);
            ASSERT_GT(Count, 0) << strerror(errno);
            Done += static_cast<size_t>(Count);
        }
    }
    // What the transport wrote, waiting up to 1 s for Count bytes.
    Bytes_T Receive(size_t Count) const
    {
        Bytes_T Data;
        struct pollfd Entry = {m_Master, POLLIN, 0};
        while (Data.size() < Count && poll(&Entry, 1, 1000) == 1)
        {
            UINT8 Chunk[256];
            const ssize_t Got = read(m_Master, Chunk, std::min(sizeof(Chunk), Count - Data.size()));
            if (Got <= 0)
                break;
            Data.insert(Data.end(), Chunk, Chunk + Got);
        }
        return Data;
    }
    bool NothingMore() const
    {
        struct pollfd Entry = {m_Master, POLLIN, 0};
        return poll(&Entry, 1, 20) == 0;
    }

    int m_Master = -1;
    std::string m_SlavePath;
};

// A second descriptor on the slave, for looking at the line's settings and
// its input queue.
class CSlaveView
{
public:
    explicit CSlaveView(const std::string& Path) : m_Descriptor(open(Path.c_str(), O_RDWR | O_NOCTTY)) {}
    ~CSlaveView() { close(m_Descriptor); }
    struct termios Settings() const
    {
        struct termios Options = {};
        EXPECT_EQ(0, tcgetattr(m_Descriptor, &Options));
        return Options;
    }
    int Pending() const
    {
        int Count = -1;
        EXPECT_EQ(0, ioctl(m_Descriptor, FIONREAD, &Count));
        return Count;
    }
    int m_Descriptor;
};

// Sample bytes of the pty packets. 0x0D is left out: the set-up keeps the
// driver's ICRNL, which reads a CR byte as 0x0A (see the README's notes).
UINT8 PtySample(size_t i)
{
    const UINT8 Byte = static_cast<UINT8>(i * 7 + 1);
    return Byte == 0x0D ? 0x0E : Byte;
}

class LowscanUartPtyTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(m_Line.m_SlavePath.empty());
        m_pUart.reset(new CFPGAIFLSUart(m_Line.m_SlavePath, &m_Factory));
        ASSERT_EQ(0, m_pUart->GetErrorCode());
    }

    CPtyLine m_Line;
    CRecordingFactory m_Factory;
    std::unique_ptr<CFPGAIFLSUart> m_pUart;
};
}

TEST_F(LowscanUartPtyTest, SerialSetUpMakesARaw3000000Baud8N1Line)
{
    EXPECT_TRUE(m_Factory.m_Events.empty());
    CSlaveView View(m_Line.m_SlavePath);
    const struct termios Options = View.Settings();
    EXPECT_EQ(static_cast<speed_t>(B3000000), cfgetispeed(&Options));
    EXPECT_EQ(static_cast<speed_t>(B3000000), cfgetospeed(&Options));
    EXPECT_EQ(static_cast<tcflag_t>(CS8), Options.c_cflag & CSIZE);
    EXPECT_EQ(0u, Options.c_cflag & (CSTOPB | PARENB));
    EXPECT_EQ(0u, Options.c_iflag & IXON);
    EXPECT_EQ(static_cast<tcflag_t>(IXOFF), Options.c_iflag & IXOFF);
    EXPECT_EQ(0u, Options.c_lflag & (ICANON | ECHO | ECHOE | ISIG));
    EXPECT_EQ(0u, Options.c_oflag & OPOST);
    // Only the named flags change; the driver's ICRNL stays.
    EXPECT_EQ(static_cast<tcflag_t>(ICRNL), Options.c_iflag & ICRNL);
}

TEST_F(LowscanUartPtyTest, FramesGoOutUntranslated)
{
    EXPECT_EQ(0, m_pUart->SetRegister(0x0021, 0x00010001));
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x21, 0x00, 0x01, 0x00, 0x01, 0x18}), m_Line.Receive(8));
    // Line feeds stay single bytes: no output processing.
    EXPECT_EQ(0, m_pUart->SetRegister(0x0A0A, 0x0A0D0A0D));
    EXPECT_EQ(UartFrame(0x0A0A, 0x0A0D0A0D), m_Line.Receive(8));
    EXPECT_EQ(0, m_pUart->PingNow());
    EXPECT_EQ((Bytes_T{0xF5, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0xF7}), m_Line.Receive(8));
    EXPECT_TRUE(m_Line.NothingMore());
}

TEST(LowscanUartPtySetUpTest, SerialSetUpFailsOnARegularFile)
{
    char Folder[] = "/tmp/lowscanXXXXXX";
    ASSERT_NE(nullptr, mkdtemp(Folder));
    const std::string Path = std::string(Folder) + "/notatty";
    std::ofstream(Path).put('x');

    CRecordingFactory Factory;
    {
        CFPGAIFLSUart Uart(Path, &Factory);
        EXPECT_EQ(ENOTTY, Uart.GetErrorCode());
    }
    const std::string Code = std::to_string(ENOTTY);
    EXPECT_EQ((std::vector<std::string>{"3 " + Code + " CFPGAIFLSUart::ConfigureSerialPort|" + Path +
                                            " is not a serial port",
                                        "3 " + Code + " CFPGAIFLSUart::CFPGAIFLSUart|Constructor failed to "
                                                      "configure UART " + Path}),
              Factory.m_Events);
    unlink(Path.c_str());
    rmdir(Folder);
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
    EXPECT_EQ(0u, Buffer.size());
    EXPECT_EQ(std::vector<std::string>{"3 -171 CFPGAIFLSUart::ReceiveData|Error on UART " + m_Line.m_SlavePath +
                                       "Only Got 0 out of 4 after 0 reads"},
              m_Factory.m_Events);
}

TEST_F(LowscanUartPtyTest, AReplySplitOverSeveralReadsIsReassembled)
{
    std::thread Fpga([this] {
        m_Line.Send({1, 2, 3});
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        m_Line.Send({4, 5});
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        m_Line.Send({6, 7, 8, 9, 10, 11, 12});
    });
    UINT8 Storage[12] = {};
    Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    Buffer.size(10);
    const TSQEventCode_T Result = m_pUart->ReceiveData(&Buffer);
    Fpga.join();
    EXPECT_EQ(0, Result);
    EXPECT_EQ(10u, Buffer.size());
    EXPECT_EQ((Bytes_T{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0, 0}), Bytes_T(Storage, Storage + 12));
    EXPECT_TRUE(m_Factory.m_Events.empty());
}

TEST_F(LowscanUartPtyTest, APingOf1024SamplesUnpacksIntoSamplesAndValuePairs)
{
    const Bytes_T Packet = PingPacket(1024, PtySample, [](size_t Block, int Half) {
        return static_cast<unsigned>(0x123 + 0x200 * Block + Half);
    });
    ASSERT_EQ(1059u, Packet.size());
    m_Line.Send(Packet);

    Bytes_T Samples(4096, 0), Values(16 * 4, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pUart->GetPing(c_Channel0, &SampleBuffer, &ValueBuffer));
    for (size_t i = 0; i < 1024; ++i)
        ASSERT_EQ(static_cast<float>(PtySample(i)), FloatAt(Samples, i)) << i;
    for (size_t Block = 0; Block < 8; ++Block)
    {
        EXPECT_EQ(static_cast<float>(0x123 + 0x200 * Block), FloatAt(Values, 2 * Block)) << Block;
        EXPECT_EQ(static_cast<float>(0x124 + 0x200 * Block), FloatAt(Values, 2 * Block + 1)) << Block;
    }
    EXPECT_TRUE(m_Factory.m_Events.empty());
}

TEST_F(LowscanUartPtyTest, APingOf200SamplesUnpacksItsPartialBlock)
{
    // 1 block and 72 samples: 207 bytes. The partial block's pair is read at
    // the whole block's position (262-265), past the packet: 0 and 0.
    const Bytes_T Packet = PingPacket(200, PtySample, [](size_t, int Half) { return Half ? 0xABCu : 0x456u; });
    ASSERT_EQ(207u, Packet.size());
    m_Line.Send(Packet);

    Bytes_T Samples(800, 0), Values(8 * 4, 0xCC);
    Buffer_Bytes_T SampleBuffer(Samples.data(), Samples.size()), ValueBuffer(Values.data(), Values.size());
    EXPECT_EQ(0, m_pUart->GetPing(c_Channel1, &SampleBuffer, &ValueBuffer));
    for (size_t i = 0; i < 200; ++i)
        ASSERT_EQ(static_cast<float>(PtySample(i)), FloatAt(Samples, i)) << i;
    EXPECT_EQ(static_cast<float>(0x456), FloatAt(Values, 0));
    EXPECT_EQ(static_cast<float>(0xABC), FloatAt(Values, 1));
    EXPECT_EQ(0.0f, FloatAt(Values, 2));
    EXPECT_EQ(0.0f, FloatAt(Values, 3));
    EXPECT_EQ(Bytes_T(16, 0xCC), Bytes_T(Values.begin() + 16, Values.end()));
}

TEST_F(LowscanUartPtyTest, FlushDiscardsWhatArrivedUnread)
{
    CSlaveView View(m_Line.m_SlavePath);
    m_Line.Send({1, 2, 3});
    for (int i = 0; i < 200 && View.Pending() < 3; ++i)
        usleep(5000);
    ASSERT_EQ(3, View.Pending());
    EXPECT_EQ(0, m_pUart->Flush());
    EXPECT_EQ(0, View.Pending());
    EXPECT_TRUE(m_Factory.m_Events.empty());
}
