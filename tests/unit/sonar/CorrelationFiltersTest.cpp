#include "CorrelationFilters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace
{
struct FilterCase
{
    const char* Name;
    void (*Append)(CorrelationFilterCoefficients_T&);
    std::vector<int16_t> FirstTaps;
    // Known rows of the design, in their order; the peak is among them.
    std::vector<int16_t> Rows;
};

const FilterCase c_Cases[] = {
    {"200long",
     AppendCorrelationFilter200Long,
     {1137, 1315, 1504, 1705, 1917, 2141, 2377},
     {16287, 21197, 21731, 26232, 26685, 30154, 30461, 32389, 32504, 32598, 32504, 30751, 30461, 27126}},
    {"350long", AppendCorrelationFilter350Long, {1147, 1326, 1515, 1716, 1929, 2154, 2390, 2639, 2900, 3173}, {32598}},
};
}  // namespace

TEST(CorrelationFilters, BellShapedWithFixedStartAndPeak)
{
    for (const FilterCase& c : c_Cases)
    {
        SCOPED_TRACE(c.Name);
        CorrelationFilterCoefficients_T filter;
        c.Append(filter);

        ASSERT_GE(filter.size(), 151u);
        ASSERT_LE(filter.size(), 165u);
        std::vector<int16_t> taps;
        for (const CorrelationFilterCoefficientSet_T& entry : filter)
        {
            EXPECT_EQ(0, entry.First);
            taps.push_back(entry.Second);
        }
        EXPECT_TRUE(std::equal(c.FirstTaps.begin(), c.FirstTaps.end(), taps.begin()));

        const size_t peak = std::max_element(taps.begin(), taps.end()) - taps.begin();
        EXPECT_EQ(32598, taps[peak]);
        EXPECT_GT(peak, taps.size() / 3);
        EXPECT_LT(peak, taps.size() * 2 / 3);
        for (size_t i = 1; i <= peak; ++i)
            EXPECT_LT(taps[i - 1], taps[i]) << "rising at " << i;
        for (size_t i = peak + 1; i < taps.size(); ++i)
            EXPECT_GT(taps[i - 1], taps[i]) << "falling at " << i;

        auto next = taps.begin();
        for (int16_t row : c.Rows)
        {
            next = std::find(next, taps.end(), row);
            ASSERT_NE(taps.end(), next) << "row " << row << " missing or out of order";
            ++next;
        }
    }
}

TEST(CorrelationFilters, AppendKeepsWhatIsAlreadyThere)
{
    for (const FilterCase& c : c_Cases)
    {
        SCOPED_TRACE(c.Name);
        CorrelationFilterCoefficients_T alone;
        c.Append(alone);

        CorrelationFilterCoefficients_T filter{{7, -3}, {-1, 5}};
        c.Append(filter);
        ASSERT_EQ(alone.size() + 2, filter.size());
        EXPECT_EQ(7, filter[0].First);
        EXPECT_EQ(-3, filter[0].Second);
        EXPECT_EQ(-1, filter[1].First);
        EXPECT_EQ(5, filter[1].Second);
        for (size_t i = 0; i < alone.size(); ++i)
            EXPECT_EQ(alone[i].Second, filter[i + 2].Second) << i;
    }
}
