#include "OSSLinuxFactory.h"
#include "OssTestSupport.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{
// Puts recording stand-ins for the shell's tools first on PATH: each one
// appends its name and bracketed arguments to a log and fails. With OSS_GATE
// set it first waits (at most 5 s) for that file to appear.
class OSSLinuxFactoryTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_Log = m_Dir + "/commands.log";
        const std::string Bin = m_Dir + "/bin";
        ASSERT_EQ(0, mkdir(Bin.c_str(), 0755));
        WriteTextFile(Bin + "/record",
                      "#!/bin/sh\n"
                      "i=0; while [ -n \"$OSS_GATE\" ] && [ ! -e \"$OSS_GATE\" ] && [ $i -lt 100 ]; do\n"
                      "    sleep 0.05; i=$((i + 1)); done\n"
                      "{ printf '%s' \"${0##*/}\"; for a in \"$@\"; do printf ' [%s]' \"$a\"; done; echo; }"
                      " >> \"$OSS_LOG\"\n"
                      "exit 3\n");
        ASSERT_EQ(0, chmod((Bin + "/record").c_str(), 0755));
        for (const char* Tool : {"cp", "rm", "ln", "mv", "mkdir", "rmdir", "sync"})
            ASSERT_EQ(0, symlink("record", (Bin + "/" + Tool).c_str()));
        m_OldPath = getenv("PATH");
        setenv("PATH", (Bin + ":" + m_OldPath).c_str(), 1);
        setenv("OSS_LOG", m_Log.c_str(), 1);
    }
    void TearDown() override
    {
        setenv("PATH", m_OldPath.c_str(), 1);
        unsetenv("OSS_LOG");
        unsetenv("OSS_GATE");
    }

    COSSLinuxFactory m_Factory;
    std::string m_Dir = MakeTempDir();
    std::string m_Log;
    std::string m_OldPath;
};

// Sees the events that the factory sends itself.
class CRecordingFactory : public COSSLinuxFactory
{
public:
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override
    {
        m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + " " + Text);
        return 0;
    }
    std::vector<std::string> m_Events;
};
}

TEST_F(OSSLinuxFactoryTest, ShellChoresRunTheirCommandAndIgnoreItsStatus)
{
    const struct
    {
        std::function<TSQEventCode_T(IOSSFactory&)> Run;
        const char* Expected;
    } Cases[] = {
        {[](IOSSFactory& F) { return F.CopyDirs("/no/src", "/no/dst"); }, "cp [-rp] [/no/src/*] [/no/dst]"},
        {[](IOSSFactory& F) { return F.RemoveFiles("/no/dir", "old.txt"); }, "rm [-rf] [/no/dir/old.txt]"},
        {[](IOSSFactory& F) { return F.CreateSoftLink("/no/target", "/no/link"); }, "ln [-s] [/no/target] [/no/link]"},
        {[](IOSSFactory& F) { return F.MoveFile("/no/a", "/no/b"); }, "mv [-f] [/no/a] [/no/b]"},
        {[](IOSSFactory& F) { return F.CopyFile("/no/a", "/no/b", FOREGROUND_COPY); }, "cp [-f] [/no/a] [/no/b]"},
        {[](IOSSFactory& F) { return F.CreateFullPath("/no/a/b"); }, "mkdir [-p] [/no/a/b]"},
        {[](IOSSFactory& F) { return F.RemoveDirs("/no/d", true); }, "rm [-rf] [/no/d]"},
        {[](IOSSFactory& F) { return F.RemoveDirs("/no/d", false); }, "rmdir [/no/d]"},
        {[](IOSSFactory& F) { return F.Sync(); }, "sync"},
    };
    for (const auto& Case : Cases)
    {
        WriteTextFile(m_Log, "");
        EXPECT_EQ(c_TSQ_Success, Case.Run(m_Factory)) << Case.Expected;
        EXPECT_EQ(std::string(Case.Expected) + "\n", ReadTextFile(m_Log));
    }
}

TEST_F(OSSLinuxFactoryTest, BackgroundCopyReturnsBeforeTheCopyEnds)
{
    const std::string Gate = m_Dir + "/gate";
    setenv("OSS_GATE", Gate.c_str(), 1);
    EXPECT_EQ(c_TSQ_Success, m_Factory.CopyFile("/no/a", "/no/b", BACKGROUND_COPY));
    EXPECT_EQ("", ReadTextFile(m_Log));

    WriteTextFile(Gate, "");
    for (int i = 0; i < 200 && ReadTextFile(m_Log).empty(); ++i)
        usleep(25000);
    EXPECT_EQ("cp [-f] [/no/a] [/no/b]\n", ReadTextFile(m_Log));
}

TEST_F(OSSLinuxFactoryTest, OnlyAShellThatCannotRunIsAnError)
{
    // With SIGCHLD ignored the shell's status cannot be collected.
    struct sigaction Ignore = {}, Old = {};
    Ignore.sa_handler = SIG_IGN;
    ASSERT_EQ(0, sigaction(SIGCHLD, &Ignore, &Old));
    const TSQEventCode_T Result = m_Factory.Sync();
    sigaction(SIGCHLD, &Old, nullptr);
    EXPECT_EQ(c_TSQ_ShellNotStarted, Result);
}

TEST_F(OSSLinuxFactoryTest, CheckForFileMatchesOnlyARegularFileOfTheWholeName)
{
    ASSERT_EQ(0, mkdir((m_Dir + "/ab").c_str(), 0755));
    WriteTextFile(m_Dir + "/abc", "");
    const struct
    {
        std::string Path;
        const char* Name;
        bool Found;
    } Cases[] = {
        {m_Dir, "abc", true}, {m_Dir, "ab", false},   {m_Dir, "a", false},
        {m_Dir, "bin", false}, {m_Dir, "abcd", false}, {m_Dir + "/missing", "abc", false},
    };
    for (const auto& Case : Cases)
        EXPECT_EQ(Case.Found, m_Factory.CheckForFile(Case.Path.c_str(), Case.Name)) << Case.Path << " " << Case.Name;
    EXPECT_DEATH(m_Factory.CheckForFile("/tmp", "/abc"),
                 "Assertion .\\(FileName\\[0\\] != '/'\\) && \"FileName should not include a leading slash, "
                 "that could be the end of the FullPath\". failed");
}

TEST_F(OSSLinuxFactoryTest, CheckForDirPrintsWhyADirectoryCannotBeOpened)
{
    const std::string File = m_Dir + "/file";
    WriteTextFile(File, "");
    const struct
    {
        std::string Path;
        bool Found;
        std::string Printed;
    } Cases[] = {
        {m_Dir, true, ""},
        {m_Dir + "/missing", false, "COSSLinuxFactory::CheckForDir: " + m_Dir + "/missing::" + strerror(ENOENT) + " "},
        {File, false, "COSSLinuxFactory::CheckForDir: " + File + "::" + strerror(ENOTDIR) + " "},
    };
    for (const auto& Case : Cases)
    {
        bool Found = !Case.Found;
        EXPECT_EQ(Case.Printed, CapturePrinted([&] { Found = m_Factory.CheckForDir(Case.Path.c_str()); }));
        EXPECT_EQ(Case.Found, Found) << Case.Path;
    }
}

TEST_F(OSSLinuxFactoryTest, GetFileSizeGivesTheLow32BitsAndZeroForAMissingFile)
{
    CRecordingFactory Factory;
    const std::string Big = m_Dir + "/big", Missing = m_Dir + "/missing";
    const int Descriptor = open(Big.c_str(), O_WRONLY | O_CREAT, 0644);
    ASSERT_NE(-1, Descriptor);
    ASSERT_EQ(0, ftruncate(Descriptor, 0x100000005LL));
    close(Descriptor);

    EXPECT_EQ(5u, Factory.GetFileSize(Big.c_str()));
    EXPECT_TRUE(Factory.m_Events.empty());
    EXPECT_EQ(0u, Factory.GetFileSize(Missing.c_str()));
    EXPECT_EQ(std::vector<std::string>{"6 " + std::to_string(ENOENT) + " COSSLinuxFactory::GetFileSize " + Missing},
              Factory.m_Events);
}

TEST_F(OSSLinuxFactoryTest, EnvironmentAndDirectoryFailuresReturnErrno)
{
    EXPECT_EQ(0, m_Factory.SetEnv("OSS_TEST_VALUE", "one", true));
    EXPECT_EQ(0, m_Factory.SetEnv("OSS_TEST_VALUE", "two", false));
    EXPECT_STREQ("one", m_Factory.GetEnv("OSS_TEST_VALUE"));
    EXPECT_EQ(EINVAL, m_Factory.SetEnv("OSS=BAD", "x", true));
    unsetenv("OSS_TEST_VALUE");
    EXPECT_EQ(nullptr, m_Factory.GetEnv("OSS_TEST_VALUE"));

    const std::string Dir = m_Dir + "/made";
    EXPECT_EQ(0, m_Factory.Makedir(Dir.c_str(), 0700));
    EXPECT_EQ(EEXIST, m_Factory.Makedir(Dir.c_str(), 0700));
    EXPECT_EQ(ENOENT, m_Factory.Makedir((m_Dir + "/no/made").c_str(), 0700));
}

TEST_F(OSSLinuxFactoryTest, ThreadWrappersReturnZeroEvenWhenTheCallFails)
{
    pthread_t Thread;
    int Ran = 0;
    EXPECT_EQ(0, m_Factory.CreateThread(&Thread, nullptr,
                                        [](void* pArgument) -> void* {
                                            *static_cast<int*>(pArgument) = 1;
                                            return pArgument;
                                        },
                                        &Ran));
    void* pResult = nullptr;
    EXPECT_EQ(0, m_Factory.JoinThread(Thread, &pResult));
    EXPECT_EQ(&Ran, pResult);
    EXPECT_EQ(1, Ran);

    // Joining oneself fails with EDEADLK, which the wrapper passes as success.
    EXPECT_EQ(EDEADLK, pthread_join(pthread_self(), nullptr));
    EXPECT_EQ(0, m_Factory.JoinThread(pthread_self(), nullptr));
}

TEST_F(OSSLinuxFactoryTest, CreatedObjectsComeBackEvenWhenTheyFailed)
{
    std::unique_ptr<IOSSFile> pMissing(m_Factory.CreateFile((m_Dir + "/missing").c_str(), O_RDONLY, 0));
    ASSERT_NE(nullptr, pMissing);
    EXPECT_EQ(ENOENT, pMissing->GetErrorCode());

    const std::string Fifo = m_Dir + "/fifo";
    ASSERT_EQ(0, mkfifo(Fifo.c_str(), 0600));
    std::unique_ptr<IOSSFile> pPipe(m_Factory.CreatePipe(Fifo.c_str(), O_RDONLY | O_NONBLOCK));
    EXPECT_EQ(0, pPipe->GetErrorCode());

    std::unique_ptr<IOSSNetwork> pSocket(m_Factory.CreateSocket(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK));
    EXPECT_NE(-1, pSocket->GetFileDescriptor());
    EXPECT_EQ(nullptr, m_Factory.CreateNotify());
}
