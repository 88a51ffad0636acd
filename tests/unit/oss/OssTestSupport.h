#ifndef OSSTESTSUPPORT_H
#define OSSTESTSUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

// A fresh folder under /tmp for one test.
inline std::string MakeTempDir()
{
    char Pattern[] = "/tmp/ossXXXXXX";
    const char* pDir = mkdtemp(Pattern);
    EXPECT_NE(nullptr, pDir);
    return pDir ? pDir : "";
}

inline void WriteTextFile(const std::string& Path, const std::string& Text)
{
    std::ofstream Out(Path, std::ios::binary | std::ios::trunc);
    Out << Text;
    ASSERT_TRUE(Out.good()) << Path;
}

inline std::string ReadTextFile(const std::string& Path)
{
    std::ifstream In(Path, std::ios::binary);
    std::ostringstream Text;
    Text << In.rdbuf();
    return Text.str();
}

// What the code under test printed with printf while Action ran.
template <typename Action_T>
std::string CapturePrinted(Action_T Action)
{
    fflush(stdout);
    testing::internal::CaptureStdout();
    Action();
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

#endif
