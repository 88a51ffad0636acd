#include "SonarTestController.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace
{
struct Printed_T
{
    std::string text;
    int result;
};

template <typename Action_T>
Printed_T Printed(Action_T action)
{
    fflush(stdout);
    testing::internal::CaptureStdout();
    const int result = action();
    fflush(stdout);
    return {testing::internal::GetCapturedStdout(), result};
}
}

TEST(SampleBlock, ThreeDigitsPerSampleTruncatedTowardZero)
{
    CSonarTestController controller;
    const struct
    {
        std::vector<float> samples;
        std::string printed;
        int result;
    } cases[] = {
        {{}, "\n<SonarFPGAData><EndSonarFPGAData>\n", 0},
        {{0.0f, 7.9f, 999.9f, -0.5f}, "\n<SonarFPGAData>000007999000<EndSonarFPGAData>\n", 0},
        {{-5.0f, 42.0f}, "\n<SonarFPGAData>-05042<EndSonarFPGAData>\n", 0},
        {{1000.0f, 3.0f},
         "ERROR: Sample value expected to be three digits. Actual size: 4.\n\n<SonarFPGAData>003<EndSonarFPGAData>\n",
         1},
        {{-100.0f, std::numeric_limits<float>::quiet_NaN(), 1e20f},
         "ERROR: Sample value expected to be three digits. Actual size: 4.\n"
         "ERROR: Sample value expected to be three digits. Actual size: 10.\n"
         "\n<SonarFPGAData>000<EndSonarFPGAData>\n",
         1},
    };
    for (const auto& c : cases)
    {
        std::vector<float> samples = c.samples;
        const Printed_T printed =
            Printed([&] { return controller.OutputAsString(samples.data(), static_cast<int>(samples.size())); });
        EXPECT_EQ(printed.text, c.printed);
        EXPECT_EQ(printed.result, c.result) << c.printed;
    }
}

TEST(SampleBlock, ShortBlockStepsByADivisorOfTheCount)
{
    CSonarTestController controller;
    std::vector<unsigned short> samples = {10, 11, 12, 13, 14, 65535};
    const struct
    {
        int step;
        std::string body;
    } cases[] = {
        {0, "10,11,12,13,14,65535"},
        {1, "10,11,12,13,14,65535"},
        {4, "10,13,"},  // 4 does not divide 6: every 3rd
        {6, "10,"},
        {9, "10,"},
        {-2, "10,11,12,13,14,65535"},
    };
    for (const auto& c : cases)
    {
        const Printed_T printed = Printed([&] { return controller.OutputAsStringShort(samples.data(), 6, c.step); });
        EXPECT_EQ(printed.text, "\n<SonarFPGAData>" + c.body + "<EndSonarFPGAData>\n") << c.step;
        EXPECT_EQ(printed.result, 0);
    }
}

TEST(SampleBlock, GainWordsAreExactAndMediumIsBelowLow)
{
    const std::pair<const char*, int> words[] = {{"high", 30},  {"medium", 10}, {"low", 20},
                                                 {"Medium", 0}, {"HIGH", 0},    {"", 0}};
    for (const auto& word : words)
        EXPECT_EQ(CSonarTestController::GetAppropriateAnalogueGainLevel(word.first), word.second) << word.first;
}
