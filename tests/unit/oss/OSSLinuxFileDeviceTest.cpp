#include "OSSLinuxFile.h"
#include "OssTestSupport.h"

#include <termios.h>

namespace
{
// A pseudo-terminal: the test drives the master, the code under test opens
// the slave device node as the transports open their UART.
struct CPty
{
    CPty() : m_Master(posix_openpt(O_RDWR | O_NOCTTY)), m_Slave(SlaveName(m_Master), O_RDWR | O_NOCTTY, 0)
    {
        EXPECT_EQ(0, m_Slave.GetErrorCode());
        struct termios Settings;
        EXPECT_EQ(0, tcgetattr(m_Slave.GetFileDescriptor(), &Settings));
        cfmakeraw(&Settings);
        EXPECT_EQ(0, tcsetattr(m_Slave.GetFileDescriptor(), TCSANOW, &Settings));
    }
    ~CPty() { close(m_Master); }
    static const char* SlaveName(int Master) { return grantpt(Master) | unlockpt(Master) ? "" : ptsname(Master); }
    void Send(const char* Text)
    {
        const ssize_t Length = static_cast<ssize_t>(strlen(Text));
        EXPECT_EQ(Length, write(m_Master, Text, Length));
        // Wait until the line discipline has passed the bytes on.
        int Pending = 0;
        for (int i = 0; i < 200 && Pending < Length; ++i, usleep(5000))
            ASSERT_EQ(0, ioctl(m_Slave.GetFileDescriptor(), FIONREAD, &Pending));
    }
    int m_Master;
    COSSLinuxFile m_Slave;
};
}

TEST(OSSLinuxFileDeviceTest, PollMultiPollReadAndWriteOnAPseudoTerminal)
{
    CPty Ptys[3];
    CPty& Pty = Ptys[0];
    COSSLinuxFile& Device = Pty.m_Slave;
    EXPECT_EQ(0, Device.Poll(POLLIN, 20));
    Pty.Send("abc");
    EXPECT_EQ(1, Device.Poll(POLLIN, 1000));

    UINT8 Storage[16] = {};
    Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    EXPECT_TRUE(Device.Read(&Buffer));
    ASSERT_EQ(3u, Buffer.size());
    EXPECT_EQ(0, memcmp(Storage, "abc", 3));

    // A read of 0 bytes succeeds at once and leaves waiting input alone.
    Pty.Send("d");
    ASSERT_EQ(1, Device.Poll(POLLIN, 1000));
    Buffer.size(0);
    EXPECT_TRUE(Device.Read(&Buffer));
    EXPECT_EQ(0u, Buffer.size());
    EXPECT_EQ(1, Device.Poll(POLLIN, 0));
    Buffer.size(sizeof(Storage));
    ASSERT_TRUE(Device.Read(&Buffer));
    EXPECT_EQ(1u, Buffer.size());

    memcpy(Storage, "helloXX", 7);
    Buffer.size(5);
    ASSERT_TRUE(Device.Write(&Buffer));
    EXPECT_EQ(5u, Buffer.size());
    char Received[16] = {};
    struct pollfd Entry = {Pty.m_Master, POLLIN, 0};
    EXPECT_EQ(1, poll(&Entry, 1, 1000));
    EXPECT_EQ(5, read(Pty.m_Master, Received, sizeof(Received)));
    EXPECT_STREQ("hello", Received);

    EXPECT_FALSE(Device.Lseek(0, SEEK_SET));
    EXPECT_EQ(ESPIPE, Device.GetErrorCode());

    // MultiPoll gives the 1-based position of the first ready member.
    PollMembers_T Members;
    for (CPty& Each : Ptys)
        Members.push_back({Each.m_Slave.GetFileDescriptor(), POLLIN});
    EXPECT_EQ(0, Device.MultiPoll(&Members, 20));
    Ptys[2].Send("x");
    EXPECT_EQ(3, Device.MultiPoll(&Members, 1000));
    Ptys[1].Send("y");
    EXPECT_EQ(2, Device.MultiPoll(&Members, 1000));

    // Two hung-up pipes answer with events nobody asked for: the count comes back.
    int First[2], Second[2];
    ASSERT_EQ(0, pipe(First) | pipe(Second));
    close(First[1]);
    close(Second[1]);
    PollMembers_T HungUp = {{First[0], POLLPRI}, {Second[0], POLLPRI}};
    EXPECT_EQ(2, Device.MultiPoll(&HungUp, 1000));
    close(First[0]);
    close(Second[0]);
}
