// The needed-library reader on ELF files built here byte by byte, and on
// real programs against binutils' own reading.
#include "ElfFile.h"
#include "VirtualUnit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace
{
void Put(std::string& bytes, size_t at, uint64_t value, size_t size)
{
    if (bytes.size() < at + size)
        bytes.resize(at + size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[at + i] = static_cast<char>(i < sizeof value ? value >> (8 * i) : 0);
}

// A program of one loaded segment (the whole file, at 0x10000) and a dynamic
// section naming `needed`, its string table last in the file.
std::string Program(bool wide, const std::vector<std::string>& needed, bool dynamic = true)
{
    const size_t word = wide ? 8 : 4, headerSize = wide ? 64 : 52, entrySize = wide ? 56 : 32;
    const size_t dynamicAt = headerSize + 2 * entrySize, dynamicSize = (needed.size() + 3) * 2 * word;
    const size_t stringsAt = dynamicAt + dynamicSize;
    std::string strings(1, '\0');
    std::string bytes = std::string("\x7f"
                                    "ELF") +
                        (wide ? '\x02' : '\x01') + '\x01' + '\x01';
    Put(bytes, wide ? 32 : 28, headerSize, word);  // program headers
    Put(bytes, wide ? 54 : 42, entrySize, 2);
    Put(bytes, wide ? 56 : 44, dynamic ? 2 : 1, 2);
    size_t at = dynamicAt;
    for (const std::string& name : needed)
    {
        Put(bytes, at, 1, word);
        Put(bytes, at + word, strings.size(), word);
        strings += name + '\0';
        at += 2 * word;
    }
    for (const uint64_t tag : {5ull, 10ull})
    {
        Put(bytes, at, tag, word);
        Put(bytes, at + word, tag == 5 ? 0x10000 + stringsAt : strings.size(), word);
        at += 2 * word;
    }
    Put(bytes, at, 0, 2 * word);
    bytes += strings;
    const uint64_t segments[2][4] = {{1, 0, 0x10000, bytes.size()}, {2, dynamicAt, 0x10000 + dynamicAt, dynamicSize}};
    for (size_t i = 0; i < 2; ++i)
    {
        const size_t entry = headerSize + i * entrySize;
        Put(bytes, entry, segments[i][0], 4);
        for (size_t field = 1; field < 4; ++field)
            Put(bytes, entry + (field == 3 ? 4 : field) * word, segments[i][field], word);
    }
    return bytes;
}

struct File_T
{
    explicit File_T(const std::string& bytes)
    {
        char name[] = "/tmp/elf-test.XXXXXX";
        const int fd = mkstemp(name);
        path = name;
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(fd, bytes.data(), bytes.size()));
        close(fd);
    }
    ~File_T() { unlink(path.c_str()); }
    std::string path;
};

// "name=names,..." or "error=..." without the file's path.
std::string Needed(const std::string& bytes)
{
    const File_T file(bytes);
    std::vector<std::string> names;
    std::string error, text;
    if (!CElfFile::NeededLibraries(file.path, names, error))
        return "error=" + error.substr(file.path.size() + 1) + (names.empty() ? "" : " with names");
    for (const std::string& name : names)
        text += name + ",";
    return "names=" + text;
}
}

TEST(ElfFile, NeededLibrariesOfBothClasses)
{
    const std::vector<std::string> needed = {"libasan.so.8", "libQt5Core.so.5", "libc.so.6"};
    std::string bigEndian = Program(true, needed);
    bigEndian[5] = 2;
    std::string unknownClass = Program(true, needed);
    unknownClass[4] = 3;
    std::string outside = Program(false, {"libc.so.6"});
    Put(outside, 52 + 2 * 32 + 4, 11, 4);  // the first name at the end of its 11-byte table
    const struct
    {
        const char* name;
        std::string bytes;
        std::string result;
    } cases[] = {
        {"64-bit", Program(true, needed), "names=libasan.so.8,libQt5Core.so.5,libc.so.6,"},
        {"32-bit", Program(false, needed), "names=libasan.so.8,libQt5Core.so.5,libc.so.6,"},
        {"nothing needed", Program(true, {}), "names="},
        {"static", Program(false, needed, false), "names="},
        {"big-endian", bigEndian, "error=is a big-endian ELF file"},
        {"unknown class", unknownClass, "error=is an ELF file of an unknown kind"},
        {"script", "#!/bin/sh\necho not a program, but long enough for a header\n", "error=is not an ELF file"},
        {"empty", "", "error=is not an ELF file"},
        {"name outside the table", outside, "error=names a library outside its dynamic string table"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.result, Needed(c.bytes)) << c.name;

    // Every cut of a program loses a part the names need.
    for (const bool wide : {false, true})
    {
        const std::string whole = Program(wide, needed);
        for (size_t size = 0; size < whole.size(); ++size)
            EXPECT_EQ("error=", Needed(whole.substr(0, size)).substr(0, 6)) << wide << " cut at " << size;
    }
    std::vector<std::string> names;
    std::string error;
    EXPECT_FALSE(CElfFile::NeededLibraries("/nonexistent/program", names, error));
    EXPECT_EQ("/nonexistent/program cannot be opened: No such file or directory", error);
}

TEST(ElfFile, TheSanitizerRuntimeIsANeededAsanLibrary)
{
    const struct
    {
        std::vector<std::string> needed;
        const char* runtime;
    } cases[] = {
        {{"libm.so.6", "libasan.so.8", "libc.so.6"}, "libasan.so.8"},
        {{"libasan.so.10"}, "libasan.so.10"},
        {{"libasan.so.", "libasan.so.8x", "xlibasan.so.8", "libclang_rt.asan-x86_64.so"}, ""},
        {{"libc.so.6"}, ""},
    };
    for (const auto& c : cases)
        for (const bool wide : {false, true})
        {
            const File_T file(Program(wide, c.needed));
            EXPECT_EQ(c.runtime, CVirtualUnit::SanitizerRuntime(file.path)) << c.needed.front();
        }
    // A script or a missing program has none, and says nothing.
    EXPECT_EQ("", CVirtualUnit::SanitizerRuntime("/nonexistent/program"));
}

// The test program and sonarbench as readelf reads them; a sanitized build
// shows its runtime among them.
TEST(ElfFile, RealProgramsAsBinutilsReadsThem)
{
    char self[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
    for (const char* program : {SONARBENCH_BINARY, static_cast<const char*>(self)})
    {
        FILE* pipe = popen(("readelf -d '" + std::string(program) + "' 2>/dev/null").c_str(), "r");
        std::string listing;
        char buffer[4096];
        for (size_t n; pipe && (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            listing.append(buffer, n);
        if (!pipe || pclose(pipe) != 0)
            GTEST_SKIP() << "readelf (binutils) cannot be run, so real programs were not compared";
        std::vector<std::string> expected, names;
        const std::string mark = "Shared library: [";
        for (size_t at = listing.find(mark); at != std::string::npos; at = listing.find(mark, at + 1))
            expected.push_back(listing.substr(at + mark.size(), listing.find(']', at) - at - mark.size()));
        std::string error;
        ASSERT_TRUE(CElfFile::NeededLibraries(program, names, error)) << error;
        EXPECT_EQ(expected, names) << program;
        EXPECT_NE(names.end(), std::find(names.begin(), names.end(), "libc.so.6")) << program;
        std::string runtime;
        for (const std::string& name : expected)
            if (name.rfind("libasan.so.", 0) == 0)
                runtime = name;
        EXPECT_EQ(runtime, CVirtualUnit::SanitizerRuntime(program)) << program;
    }
}
