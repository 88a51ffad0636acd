#ifndef OSSTESTSUPPORT_H
#define OSSTESTSUPPORT_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// A fresh folder under /tmp for one test.
inline std::string MakeTempDir()
{
    char Pattern[] = "/tmp/ossXXXXXX";
    EXPECT_NE(nullptr, mkdtemp(Pattern));
    return Pattern;
}

inline void WriteTextFile(const std::string& Path, const std::string& Text)
{
    EXPECT_TRUE((std::ofstream(Path, std::ios::binary | std::ios::trunc) << Text).good()) << Path;
}

inline std::string ReadTextFile(const std::string& Path)
{
    std::ifstream In(Path, std::ios::binary);
    return {std::istreambuf_iterator<char>(In), {}};
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
