#ifndef PINGMETADATATESTSUPPORT_H
#define PINGMETADATATESTSUPPORT_H

#include "OSSLinuxFactory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
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
    std::ifstream In(Path, std::ios::binary);
    return {std::istreambuf_iterator<char>(In), {}};
}

// Each line followed by a line feed.
inline std::string JoinLines(const std::vector<std::string>& Lines)
{
    std::string Text;
    for (const std::string& Line : Lines)
        Text += Line + "\n";
    return Text;
}

#endif
