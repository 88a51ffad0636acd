#include "UnitProfile.h"

#include <gtest/gtest.h>

TEST(UnitProfile, UnescapesContent)
{
    struct Case_T
    {
        const char* text;
        bool ok;
        std::string bytes;
    } cases[] = {
        {"Varrow\\n", true, "Varrow\n"},
        {"a\\tb\\sc", true, "a\tb c"},
        {"12\\0 34", true, std::string("12\0 34", 6)},
        {"\\x41\\xfF", true, "A\xff"},
        {"back\\\\slash", true, "back\\slash"},
        {"", true, ""},
        {"trailing\\", false, ""},
        {"\\q", false, ""},
        {"\\x4", false, ""},
        {"\\xg1", false, ""},
    };
    for (const Case_T& c : cases)
    {
        std::string bytes;
        EXPECT_EQ(CUnitProfile::Unescape(c.text, bytes), c.ok) << c.text;
        if (c.ok)
        {
            EXPECT_EQ(bytes, c.bytes) << c.text;
        }
    }
}

TEST(UnitProfile, LaterEntriesReplaceEarlierOnes)
{
    CUnitProfile profile;
    std::string error;
    for (const char* line : {"file /sys/a/x 1\\n", "file /sys/a/y 2", "mode /sys/a/y 000", "file /sys/a/x 3",
                             "device /dev/LSfpga0", "remove /sys/a/y", "file /VERSION  two blanks", "# a comment",
                             "   ", "dir /corvane/FPGAFirmware", "remove /corvane"})
        ASSERT_TRUE(profile.ParseLine(line, ".", error)) << line << ": " << error;

    const std::vector<CUnitProfile::Entry_T> entries = profile.Resolved();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].path, "/sys/a/x");
    EXPECT_EQ(entries[0].content, "3");
    EXPECT_EQ(entries[1].kind, CUnitProfile::ENTRY_DEVICE);
    EXPECT_EQ(entries[2].content, " two blanks");
}

TEST(UnitProfile, RejectsMalformedLines)
{
    for (const char* line : {"file relative/path 1", "file", "unknown /x", "mode /x 9", "mode /x", "include",
                             "file /x bad\\escape", "include no-such-profile"})
    {
        CUnitProfile profile;
        std::string error;
        EXPECT_FALSE(profile.ParseLine(line, "/nonexistent", error)) << line;
        EXPECT_FALSE(error.empty()) << line;
    }
}
