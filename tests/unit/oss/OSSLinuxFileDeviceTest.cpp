#include "OSSLinuxFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{
// A pseudo-terminal: the test drives the master, the code under test opens
// the slave device node as the transports open their UART.
class CPty
{
public:
    CPty()
    {
        m_Master = posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_NE(-1, m_Master);
        EXPECT_EQ(0, grantpt(m_Master));
        EXPECT_EQ(0, unlockpt(m_Master));
        m_pSlave.reset(new COSSLinuxFile(ptsname(m_Master), O_RDWR | O_NOCTTY, 0));
        EXPECT_EQ(0, m_pSlave->GetErrorCode());
        struct termios Settings;
        EXPECT_EQ(0, tcgetattr(m_pSlave->GetFileDescriptor(), &Settings));
        cfmakeraw(&Settings);
        EXPECT_EQ(0, tcsetattr(m_pSlave->GetFileDescriptor(), TCSANOW, &Settings));
    }
    ~CPty() { close(m_Master); }

    void Send(const char* Text)
    {
        const ssize_t Length = static_cast<ssize_t>(strlen(Text));
        EXPECT_EQ(Length, write(m_Master, Text, Length));
        // Wait until the line discipline has passed the bytes on.
        int Pending = 0;
        for (int i = 0; i < 200 && Pending < Length; ++i, usleep(5000))
            ASSERT_EQ(0, ioctl(m_pSlave->GetFileDescriptor(), FIONREAD, &Pending));
    }
    COSSLinuxFile& Slave() { return *m_pSlave; }
    int m_Master = -1;

private:
    std::unique_ptr<COSSLinuxFile> m_pSlave;
};
}

TEST(OSSLinuxFileDeviceTest, PollWaitsForDataAndReadWriteReportTheCount)
{
    CPty Pty;
    COSSLinuxFile& Device = Pty.Slave();
    EXPECT_EQ(0, Device.Poll(POLLIN, 20));
    Pty.Send("abc");
    EXPECT_EQ(1, Device.Poll(POLLIN, 1000));

    UINT8 Storage[16] = {};
    Buffer_Bytes_T Buffer(Storage, sizeof(Storage));
    Buffer.size(0);
    EXPECT_TRUE(Device.Read(&Buffer));
    EXPECT_EQ(0u, Buffer.size());
    Buffer.size(sizeof(Storage));
    EXPECT_TRUE(Device.Read(&Buffer));
    ASSERT_EQ(3u, Buffer.size());
    EXPECT_EQ(0, memcmp(Storage, "abc", 3));

    memcpy(Storage, "helloXX", 7);
    Buffer.size(5);
    ASSERT_TRUE(Device.Write(&Buffer));
    EXPECT_EQ(5u, Buffer.size());
    char Received[16] = {};
    struct pollfd Entry = {Pty.m_Master, POLLIN, 0};
    ASSERT_EQ(1, poll(&Entry, 1, 1000));
    EXPECT_EQ(5, read(Pty.m_Master, Received, sizeof(Received)));
    EXPECT_STREQ("hello", Received);

    EXPECT_FALSE(Device.Lseek(0, SEEK_SET));
    EXPECT_EQ(ESPIPE, Device.GetErrorCode());
}

TEST(OSSLinuxFileDeviceTest, MultiPollGivesThePositionOfTheFirstReadyMember)
{
    CPty Ptys[3];
    PollMembers_T Members;
    for (CPty& Pty : Ptys)
        Members.push_back({Pty.Slave().GetFileDescriptor(), POLLIN});
    COSSLinuxFile& Poller = Ptys[0].Slave();

    EXPECT_EQ(0, Poller.MultiPoll(&Members, 20));
    Ptys[2].Send("x");
    EXPECT_EQ(3, Poller.MultiPoll(&Members, 1000));
    Ptys[1].Send("y");
    EXPECT_EQ(2, Poller.MultiPoll(&Members, 1000));
    EXPECT_EQ(3u, Members.size());
    EXPECT_EQ(Ptys[0].Slave().GetFileDescriptor(), Members[0].fd);

    // Two hung-up pipes answer with events nobody asked for: the count comes back.
    int First[2], Second[2];
    ASSERT_EQ(0, pipe(First));
    ASSERT_EQ(0, pipe(Second));
    close(First[1]);
    close(Second[1]);
    PollMembers_T HungUp = {{First[0], POLLPRI}, {Second[0], POLLPRI}};
    EXPECT_EQ(2, Poller.MultiPoll(&HungUp, 1000));
    close(First[0]);
    close(Second[0]);
}
