#include "UnitProfile.h"
#include "LotUnit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

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

TEST(UnitProfile, FpgaOptionsAndSerial)
{
    CUnitProfile profile;
    std::string error;
    EXPECT_FALSE(profile.AddFpgaOptions("echo=150", error));
    EXPECT_EQ("the unit has no simulated FPGA", error);
    for (const char* line : {"fpga /dev/LSfpga0 cor seed=6 depth=40", "fpga /dev/LSfpga1 cor follow=/dev/LSfpga0"})
        ASSERT_TRUE(profile.ParseLine(line, ".", error)) << error;
    ASSERT_TRUE(profile.AddFpgaOptions("  echo=150\tdepth=11.5 ", error)) << error;
    ASSERT_TRUE(profile.AddFpgaOptions("", error)) << error;
    // A bad option leaves every line as it was.
    EXPECT_FALSE(profile.AddFpgaOptions("noise=3 echo=999", error));
    EXPECT_EQ("bad FPGA option 'echo=999' for /dev/LSfpga0", error);
    EXPECT_EQ(std::vector<std::string>({"/dev/LSfpga0 cor seed=6 depth=40 echo=150 depth=11.5",
                                        "/dev/LSfpga1 cor follow=/dev/LSfpga0 echo=150 depth=11.5"}),
              profile.Fpgas());

    profile.SetSerial("'; DROP TABLE runs; --\n\xff");
    const std::vector<CUnitProfile::Entry_T> entries = profile.Resolved();
    ASSERT_EQ(1u, entries.size());
    EXPECT_EQ("/corvane/Config/SerialNumber", entries[0].path);
    EXPECT_EQ("'; DROP TABLE runs; --\n\xff\n", entries[0].content);
}

TEST(LotUnit, ParsesNumberAndAttempt)
{
    const struct
    {
        const char* text;
        unsigned int number, attempt;  // 0: refused
    } cases[] = {
        {"7", 7, 1},     {"7:3", 7, 3}, {"0007:02", 7, 2}, {"9999", 9999, 1},   {"1:999999", 1, 999999}, {"0", 0, 0},
        {"10000", 0, 0}, {"7:", 0, 0},  {":3", 0, 0},      {"7:0", 0, 0},       {"7:3:1", 0, 0},         {"-1", 0, 0},
        {"+7", 0, 0},    {" 7", 0, 0},  {"", 0, 0},        {"7:1000000", 0, 0},
    };
    for (const auto& c : cases)
    {
        CLotUnit unit(5, 5);
        std::string error;
        EXPECT_EQ(c.number != 0, CLotUnit::Parse(c.text, unit, error)) << c.text;
        if (c.number)
        {
            EXPECT_EQ(c.number, unit.Number()) << c.text;
            EXPECT_EQ(c.attempt, unit.Attempt()) << c.text;
        }
        else
            EXPECT_EQ(std::string("'") + c.text + "' is not N or N:ATTEMPT (N from 1 to 9999, ATTEMPT from 1)", error);
    }
}

TEST(LotUnit, SerialsAndTheProfile)
{
    EXPECT_EQ("VQL4K-0007", CLotUnit(7).Serial("ql4k"));
    EXPECT_EQ("VQL4K-0007", CLotUnit(7, 3).Serial("ql4k"));
    EXPECT_EQ("VLUMETV2-9999", CLotUnit(9999).Serial("lumetv2"));
    EXPECT_EQ("VMY-UNIT-0010", CLotUnit(10).Serial("/some/where/my-unit.unit"));

    CUnitProfile unit;
    std::string error;
    ASSERT_TRUE(unit.ParseLine("fpga /dev/LSfpga0 cor seed=4 depth=12", ".", error));
    ASSERT_TRUE(CLotUnit(16, 2).Apply("ql4k", unit, error)) << error;
    EXPECT_EQ("VQL4K-0016\n", unit.Resolved().at(0).content);
    EXPECT_EQ(std::vector<std::string>({"/dev/LSfpga0 cor seed=4 depth=12 " + CLotUnit(16, 2).ModelOptions()}),
              unit.Fpgas());
    // A unit without an FPGA still gets its serial.
    CUnitProfile display;
    ASSERT_TRUE(CLotUnit(3).Apply("hz05", display, error));
    EXPECT_EQ("VHZ05-0003\n", display.Resolved().at(0).content);
}

namespace
{
// What the Cor plan (station/plans/cor.txt) measures on the two pings of a
// QL4K; true when every expectation is met.
bool PassesTheCorPlan(const CEchoSimulator& echo)
{
    const std::vector<uint8_t> high = echo.Ping(1024, 0), low = echo.Ping(2048, 0);
    const auto peak = [](const std::vector<uint8_t>& s, size_t from) {
        return std::max_element(s.begin() + from, s.end());
    };
    const long highIndex = peak(high, 32) - high.begin(), lowIndex = peak(low, 64) - low.begin();
    double sum = 0;
    for (uint8_t sample : high)
        sum += sample;
    return *peak(high, 0) >= 240 && peak(high, 0) == high.begin() && *peak(high, 32) >= 200 && *peak(high, 32) <= 215 &&
           highIndex >= 120 && highIndex <= 124 && sum / 1024 >= 5 && sum / 1024 <= 20 && *peak(low, 64) >= 200 &&
           *peak(low, 64) <= 215 && lowIndex >= 243 && lowIndex <= 247;
}
}

// The lot's rule as docs/virtual-unit.md states it, over many units and attempts.
TEST(LotUnit, SpreadDefectsAndAttempts)
{
    std::map<CLotUnit::Kind_T, int> kinds, passed;
    std::set<std::string> serials, shapes;
    unsigned int low[5] = {~0u, ~0u, ~0u, ~0u, ~0u}, high[5] = {0, 0, 0, 0, 0};
    int marginalRetests = 0;
    for (unsigned int n = 1; n <= 320; ++n)
    {
        const CLotUnit unit(n), again(n), retest(n, 2);
        const CEchoSimulator::Shape_T shape = unit.Shape(), second = retest.Shape();
        EXPECT_EQ(unit.ModelOptions(), again.ModelOptions());
        EXPECT_NE(shape.seed, second.seed) << n;
        EXPECT_EQ(std::vector<unsigned int>({shape.depthCentimetres, shape.echo, shape.noise, shape.ringdown}),
                  std::vector<unsigned int>({second.depthCentimetres, second.echo, second.noise, second.ringdown}));
        ++kinds[unit.Kind()];
        EXPECT_EQ(unit.Kind() == CLotUnit::LOT_DEFECTIVE, n % 16 == 0) << n;
        EXPECT_EQ(unit.Kind() == CLotUnit::LOT_MARGINAL, n % 16 == 7) << n;
        serials.insert(unit.Serial("ql4k"));
        shapes.insert(unit.ModelOptions().substr(unit.ModelOptions().find(' ')));
        if (unit.Kind() == CLotUnit::LOT_NORMAL)
        {
            const unsigned int values[5] = {shape.depthCentimetres, shape.echo, shape.noise, shape.ringdown, 0};
            for (int i = 0; i < 4; ++i)
            {
                low[i] = std::min(low[i], values[i]);
                high[i] = std::max(high[i], values[i]);
            }
        }
        else if (unit.Kind() == CLotUnit::LOT_MARGINAL)
            EXPECT_TRUE(shape.echo >= 196 && shape.echo <= 198) << n;
        else
            EXPECT_TRUE(shape.echo >= 120 && shape.echo <= 149) << n;
        // Normal units pass every attempt, defective ones none.
        bool passes[3];
        for (unsigned int attempt = 1; attempt <= 3; ++attempt)
            passes[attempt - 1] = PassesTheCorPlan(CEchoSimulator(CLotUnit(n, attempt).Shape()));
        for (bool pass : passes)
            passed[unit.Kind()] += pass;
        if (unit.Kind() == CLotUnit::LOT_MARGINAL && !passes[0] && (passes[1] || passes[2]))
            ++marginalRetests;
    }
    EXPECT_EQ(320u, serials.size());
    EXPECT_GT(shapes.size(), 300u);
    EXPECT_EQ(20, kinds[CLotUnit::LOT_DEFECTIVE]);
    EXPECT_EQ(20, kinds[CLotUnit::LOT_MARGINAL]);
    EXPECT_EQ(3 * 280, passed[CLotUnit::LOT_NORMAL]);
    EXPECT_EQ(0, passed[CLotUnit::LOT_DEFECTIVE]);
    // Marginal units pass some attempts and fail others.
    EXPECT_GT(passed[CLotUnit::LOT_MARGINAL], 10);
    EXPECT_LT(passed[CLotUnit::LOT_MARGINAL], 50);
    EXPECT_GT(marginalRetests, 0);
    EXPECT_EQ(std::vector<unsigned int>({1190, 200, 8, 80}), std::vector<unsigned int>(low, low + 4));
    EXPECT_EQ(std::vector<unsigned int>({1210, 206, 10, 110}), std::vector<unsigned int>(high, high + 4));
}
