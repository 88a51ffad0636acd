#ifndef PINGMETADATATESTSUPPORT_H
#define PINGMETADATATESTSUPPORT_H

#include "OSSLinuxFactory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// A fresh database root under /tmp for each test, as NONPERSISTED_DATABASE_ROOT.
class PingMetaDataTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char Pattern[] = "/tmp/pingdbXXXXXX";
        ASSERT_NE(nullptr, mkdtemp(Pattern));
        m_Root = std::string(Pattern) + "/";
        ASSERT_EQ(0, setenv("NONPERSISTED_DATABASE_ROOT", m_Root.c_str(), 1));
    }

    std::string PathOf(int Index) const { return m_Root + "PingMetaData" + std::to_string(Index) + ".txt"; }

    COSSLinuxFactory m_Factory;
    std::string m_Root;
};

inline std::string ReadText(const std::string& Path)
{
    std::ostringstream Text;
    Text << std::ifstream(Path, std::ios::binary).rdbuf();
    return Text.str();
}

// Each line followed by a line feed.
inline std::string JoinLines(const std::vector<std::string>& Lines)
{
    std::string Text;
    for (const std::string& Line : Lines)
        Text += Line + "\n";
    return Text;
}

// Another process that takes the whole-file write lock and, with Keep,
// holds it until this object goes.
class CLockingProcess
{
public:
    CLockingProcess(const std::string& Path, bool Keep)
    {
        int Report[2], Hold[2];
        EXPECT_EQ(0, pipe(Report));
        EXPECT_EQ(0, pipe(Hold));
        fflush(stdout);
        m_Pid = fork();
        if (m_Pid == 0)
        {
            close(Hold[1]);
            struct flock Lock = {};
            Lock.l_type = F_WRLCK;
            const int Fd = open(Path.c_str(), O_WRONLY);
            const char Locked = Fd != -1 && fcntl(Fd, F_SETLK, &Lock) == 0;
            char Byte;
            const bool Reported = write(Report[1], &Locked, 1) == 1;
            _exit(Reported && Keep && read(Hold[0], &Byte, 1) < 0 ? 1 : 0);
        }
        close(Report[1]);
        close(Hold[0]);
        m_Hold = Hold[1];
        EXPECT_EQ(1, read(Report[0], &m_Locked, 1));
        close(Report[0]);
    }
    ~CLockingProcess()
    {
        close(m_Hold);
        waitpid(m_Pid, nullptr, 0);
    }
    char m_Locked = 0;

private:
    pid_t m_Pid = -1;
    int m_Hold = -1;
};

#endif
