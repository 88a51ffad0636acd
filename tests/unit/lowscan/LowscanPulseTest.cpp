// Pulse encoding against values computed apart from the code: exact rational
// arithmetic (Python's fractions) with K = 1.051682297 and C1, C2 the
// single-precision values of 0.0131072 and 1.6777, S = start x K,
// D = end x K - S, start word = floor(S x C1 + 1/2) mod 2^16, rate word =
// floor(|D| x C2 / period + 1/2), A = start word | rate word << 16 (32 bits),
// B = falling << 31 | (period mod 1024) << 16. Both transports' set-ups use
// the first two, so they pin the transports' pulse registers too.
//
//   rising  200000 -> 210000 Hz, period 45:   2757.42 and 392.59
//   falling 210000 -> 200000 Hz, period 1100: 2895.27 and 16.54 (1100 mod 1024 = 0x4C)
//   wide    1000 -> 1000000 Hz, period 1:     14.28 and 1762643.53 (beyond 16 bits)
//   negative start -500 -> 0 Hz, period 1024: -6.39 (saturates to 0) and 1.36
//   period 0 (an idle channel): a sweep's rate is +infinity, a fixed frequency's 0/0

#include "LSFpgaCodec.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(LowscanPulseTest, EncodingAndSaturationAsComputedApart)
{
    EXPECT_EQ(1.051682297, LSFpga::c_K);
    EXPECT_EQ(0.013107200153172016, LSFpga::c_C1);
    EXPECT_EQ(1.6777000427246094, LSFpga::c_C2);
    const struct
    {
        LSPeriod_T Period;
        double Start, End;
        UINT32 A, B;
    } Cases[] = {{45, 200000.0, 210000.0, 0x01880AC5, 0x002D0000}, {1100, 210000.0, 200000.0, 0x00100B4F, 0x804C0000},
                 {1, 1000.0, 1000000.0, 0xE553000E, 0x00010000},   {1024, -500.0, 0.0, 0x00010000, 0},
                 {0, 200000.0, 210000.0, 0xFFFF0AC5, 0},           {0, 200000.0, 200000.0, 0x00000AC5, 0}};
    for (const auto& Case : Cases)
    {
        const LSFpga::PulseWords_T Words = LSFpga::EncodePulse(Case.Period, Case.Start, Case.End);
        EXPECT_EQ(Case.A, Words.A) << Case.Period << " " << Case.Start;
        EXPECT_EQ(Case.B, Words.B) << Case.Period << " " << Case.Start;
    }
    // As the unit's VFP conversion: truncating, NaN and negatives 0, large values all ones.
    EXPECT_EQ(0u, LSFpga::ToUnsigned(-0.5));
    EXPECT_EQ(0u, LSFpga::ToUnsigned(std::nan("")));
    EXPECT_EQ(4294967295u, LSFpga::ToUnsigned(4294967295.9));
    EXPECT_EQ(0xFFFFFFFFu, LSFpga::ToUnsigned(1e300));
    EXPECT_EQ(7u, LSFpga::ToUnsigned(7.99));
}
