#include "OSSLinuxFile.h"
#include "../ChildHolder.h"
#include "OssTestSupport.h"

TEST(OSSLinuxFileTest, WriteOnlyOpenLocksTheFileAgainstOtherProcesses)
{
    const std::string Path = MakeTempDir() + "/locked.txt";
    WriteTextFile(Path, "content\n");
    const struct
    {
        int HolderFlags, OpenFlags;
        bool Conflict;
    } Cases[] = {
        {O_WRONLY, O_WRONLY, true},  {O_WRONLY | O_NONBLOCK, O_RDONLY, true},
        {O_WRONLY, O_RDWR, true},    {O_RDWR, O_WRONLY, false},
        {O_RDONLY, O_WRONLY, false},
    };
    for (const auto& Case : Cases)
    {
        SCOPED_TRACE(testing::Message() << "holder flags " << Case.HolderFlags << ", open flags " << Case.OpenFlags);
        CChildHolder Holder(Path, Case.HolderFlags);
        ASSERT_EQ(0, Holder.m_OpenError);
        int Error = 0, Descriptor = -1;
        const std::string Printed = CapturePrinted([&] {
            COSSLinuxFile File(Path.c_str(), Case.OpenFlags, 0);
            Error = File.GetErrorCode();
            Descriptor = File.GetFileDescriptor();
        });
        EXPECT_EQ(Case.Conflict ? c_TSQ_FileLocked : 0, Error);
        EXPECT_NE(-1, Descriptor);  // a lock failure leaves it for Close()
        EXPECT_EQ(Case.Conflict ? std::to_string(getpid()) + " COSSLinuxFile::CheckForLock() " + Path + " locked by " +
                                      std::to_string(Holder.m_Pid) + " for " + std::to_string(F_WRLCK) + "\n"
                                : "",
                  Printed);
        Holder.Release();
        EXPECT_EQ(0, COSSLinuxFile(Path.c_str(), O_WRONLY, 0).GetErrorCode());
    }
}

TEST(OSSLinuxFileDeathTest, PathsUpTo255CharactersOpenLongerEndTheProgramAndFailedOpensLinger)
{
    const std::string Dir = MakeTempDir() + "/" + std::string(120, 'd');
    ASSERT_EQ(0, mkdir(Dir.c_str(), 0755));
    const std::string Path = Dir + "/" + std::string(255 - Dir.size() - 1, 'f');
    COSSLinuxFile File(Path.c_str(), O_WRONLY | O_CREAT, 0644);
    EXPECT_TRUE(File.WriteStream("x"));
    EXPECT_EQ("x", ReadTextFile(Path));
    EXPECT_DEATH(COSSLinuxFile((Path + "f").c_str(), O_RDONLY, 0),
                 "Utilities/OSSLinuxFile.cpp:[0-9]+: .*Assertion "
                 ".\\(m_FileName\\[sizeof\\(m_FileName\\) - 1\\] == 0\\) && \"File name is too long!\". failed");

    // A file that did not open keeps its open error.
    COSSLinuxFile Missing("/tmp/no-such-dir/file", O_RDONLY, 0);
    EXPECT_EQ(-1, Missing.GetFileDescriptor());
    int Argument = 0;
    EXPECT_FALSE(Missing.Ioctl(FIONREAD, &Argument));
    EXPECT_EQ(0, Missing.Poll(POLLIN, 0));
    EXPECT_FALSE(Missing.WriteStream("text"));
    EXPECT_EQ(ENOENT, Missing.GetErrorCode());
    EXPECT_FALSE(Missing.Close());  // no stream, so the old error is never cleared
    EXPECT_DEATH(Missing.ReadStream(&Argument), "Assertion .pFile. failed");
    PollMembers_T Members = {{0, POLLIN}, {-1, POLLIN}};
    EXPECT_DEATH(Missing.MultiPoll(&Members, 0),
                 "Assertion .\\(fd != -1\\) && \"bad FileDescriptor specified\". failed");
}

TEST(OSSLinuxFileTest, ReadWriteOpenGetsAStreamForReadingOnly)
{
    const std::string Path = MakeTempDir() + "/rw.txt";
    WriteTextFile(Path, "12\n");
    COSSLinuxFile File(Path.c_str(), O_RDWR, 0);
    int Value = 0;
    EXPECT_TRUE(File.Ioctl(FIONREAD, &Value));
    EXPECT_EQ(3, Value);
    EXPECT_TRUE(File.ReadStream(&Value));
    EXPECT_EQ(12, Value);
    EXPECT_FALSE(File.WriteStream("34\n"));
    EXPECT_EQ(EBADF, File.GetErrorCode());
    // A failed ioctl keeps its return value, not errno.
    struct winsize Size;
    EXPECT_FALSE(File.Ioctl(TIOCGWINSZ, reinterpret_cast<int*>(&Size)));
    EXPECT_EQ(-1, File.GetErrorCode());

    // The raw descriptor does write; Close starts from a clean error code.
    UINT8 Bytes[] = {'5', '6'};
    Buffer_Bytes_T Buffer(Bytes, sizeof(Bytes));
    EXPECT_TRUE(File.Lseek(0, SEEK_END));
    EXPECT_TRUE(File.Write(&Buffer));
    EXPECT_TRUE(File.Close());
    EXPECT_EQ("12\n56", ReadTextFile(Path));
}

TEST(OSSLinuxFileTest, ErrnoNamesMatchTheCLibraryAndKeepEDEADLK)
{
    EXPECT_EQ(129u, COSSLinuxFile::s_ErrnoNames.size());  // 130 pairs; EDEADLOCK shares 35
    for (const auto& Entry : COSSLinuxFile::s_ErrnoNames)
        EXPECT_STREQ(strerrorname_np(Entry.first), Entry.second) << Entry.first;
}
