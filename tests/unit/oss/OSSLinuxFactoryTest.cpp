#include "OSSLinuxFactory.h"
#include "OssTestSupport.h"

#include <csignal>

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
        setenv("PATH", (Bin + ":" + m_OldPath).c_str(), 1);
        setenv("OSS_LOG", m_Log.c_str(), 1);
    }
    void TearDown() override
    {
        setenv("PATH", m_OldPath.c_str(), 1);
        unsetenv("OSS_GATE");
    }

    COSSLinuxFactory m_Factory;
    std::string m_Dir = MakeTempDir();
    std::string m_Log = m_Dir + "/commands.log";
    std::string m_OldPath = getenv("PATH");
};
}

TEST_F(OSSLinuxFactoryTest, ShellChoresRunTheirCommandIgnoreItsStatusAndMayRunInTheBackground)
{
    const auto Expect = [&](TSQEventCode_T Result, const std::string& Command) {
        EXPECT_EQ(c_TSQ_Success, Result) << Command;
        EXPECT_EQ(Command + "\n", ReadTextFile(m_Log));
        WriteTextFile(m_Log, "");
    };
    Expect(m_Factory.CopyDirs("/no/src", "/no/dst"), "cp [-rp] [/no/src/*] [/no/dst]");
    Expect(m_Factory.RemoveFiles("/no/dir", "old.txt"), "rm [-rf] [/no/dir/old.txt]");
    Expect(m_Factory.CreateSoftLink("/no/target", "/no/link"), "ln [-s] [/no/target] [/no/link]");
    Expect(m_Factory.MoveFile("/no/a", "/no/b"), "mv [-f] [/no/a] [/no/b]");
    Expect(m_Factory.CopyFile("/no/a", "/no/b", FOREGROUND_COPY), "cp [-f] [/no/a] [/no/b]");
    Expect(m_Factory.CreateFullPath("/no/a/b"), "mkdir [-p] [/no/a/b]");
    Expect(m_Factory.RemoveDirs("/no/d", true), "rm [-rf] [/no/d]");
    Expect(m_Factory.RemoveDirs("/no/d", false), "rmdir [/no/d]");
    Expect(m_Factory.Sync(), "sync");

    // Only a shell whose status cannot be collected is an error.
    struct sigaction Ignore = {}, Old = {};
    Ignore.sa_handler = SIG_IGN;
    ASSERT_EQ(0, sigaction(SIGCHLD, &Ignore, &Old));
    const TSQEventCode_T Result = m_Factory.Sync();
    sigaction(SIGCHLD, &Old, nullptr);
    EXPECT_EQ(c_TSQ_ShellNotStarted, Result);

    // A background copy returns before the copy ends.
    const std::string Gate = m_Dir + "/gate";
    setenv("OSS_GATE", Gate.c_str(), 1);
    WriteTextFile(m_Log, "");
    EXPECT_EQ(c_TSQ_Success, m_Factory.CopyFile("/no/a", "/no/b", BACKGROUND_COPY));
    EXPECT_EQ("", ReadTextFile(m_Log));

    WriteTextFile(Gate, "");
    // The stand-in writes its line in pieces: wait for the whole line.
    for (int i = 0; i < 200 && ReadTextFile(m_Log).find('\n') == std::string::npos; ++i)
        usleep(25000);
    EXPECT_EQ("cp [-f] [/no/a] [/no/b]\n", ReadTextFile(m_Log));
}

TEST_F(OSSLinuxFactoryTest, CheckForFileWantsARegularFileOfTheWholeNameAndCheckForDirSaysWhyNot)
{
    ASSERT_EQ(0, mkdir((m_Dir + "/ab").c_str(), 0755));
    const std::string File = m_Dir + "/abc";
    WriteTextFile(File, "");
    for (const char* Name : {"abc", "ab", "abcd"})
        EXPECT_EQ(Name == std::string("abc"), m_Factory.CheckForFile(m_Dir.c_str(), Name)) << Name;
    EXPECT_FALSE(m_Factory.CheckForFile((m_Dir + "/missing").c_str(), "abc"));
    EXPECT_DEATH(m_Factory.CheckForFile("/tmp", "/abc"),
                 "Assertion .\\(FileName\\[0\\] != '/'\\) && \"FileName should not include a leading slash, "
                 "that could be the end of the FullPath\". failed");

    EXPECT_EQ("", CapturePrinted([&] { EXPECT_TRUE(m_Factory.CheckForDir(m_Dir.c_str())); }));
    EXPECT_EQ("COSSLinuxFactory::CheckForDir: " + File + "::" + strerror(ENOTDIR) + " ",
              CapturePrinted([&] { EXPECT_FALSE(m_Factory.CheckForDir(File.c_str())); }));
}

TEST_F(OSSLinuxFactoryTest, FailuresComeBackAsValuesAndFailedObjectsStillComeBack)
{
    const std::string Big = m_Dir + "/big";
    WriteTextFile(Big, "");
    // Past 4 GiB the size keeps its low 32 bits (where off_t can say so).
    if (sizeof(off_t) >= 8)
    {
        ASSERT_EQ(0, truncate(Big.c_str(), static_cast<off_t>(0x100000005LL)));
        EXPECT_EQ(5u, m_Factory.GetFileSize(Big.c_str()));
    }
    EXPECT_EQ(0u, m_Factory.GetFileSize((m_Dir + "/missing").c_str()));
    EXPECT_EQ(0, m_Factory.SetEnv("OSS_TEST_VALUE", "one", true) + m_Factory.SetEnv("OSS_TEST_VALUE", "two", false));
    EXPECT_STREQ("one", m_Factory.GetEnv("OSS_TEST_VALUE"));
    EXPECT_EQ(EINVAL, m_Factory.SetEnv("OSS=BAD", "x", true));
    EXPECT_EQ(EEXIST, m_Factory.Makedir(m_Dir.c_str(), 0700));
    EXPECT_EQ(0, m_Factory.Makedir((m_Dir + "/made").c_str(), 0700));

    EXPECT_EQ(ENOENT, std::unique_ptr<IOSSFile>(m_Factory.CreateFile("/no/file", O_RDONLY, 0))->GetErrorCode());

    pthread_t Thread;
    void* pResult = nullptr;
    EXPECT_EQ(0, m_Factory.CreateThread(
                     &Thread, nullptr, [](void* pArgument) { return pArgument; }, &Thread));
    EXPECT_EQ(0, m_Factory.JoinThread(Thread, &pResult));
    EXPECT_EQ(&Thread, pResult);
    // Joining oneself fails with EDEADLK, which the wrapper passes as success.
    EXPECT_EQ(0, m_Factory.JoinThread(pthread_self(), nullptr));
}
