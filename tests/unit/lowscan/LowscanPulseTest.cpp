// Pulse encoding of both Lowscan transports against values computed apart
// from the code: exact rational arithmetic (Python's fractions) with
// K = 1.051682297 and C1, C2 the single-precision values of 0.0131072 and
// 1.6777, S = start x K, D = end x K - S,
// start word = floor(S x C1 + 1/2) mod 2^16, rate word = floor(|D| x C2 / period + 1/2),
// pulse A = start word | rate word << 16 (32 bits), pulse B = falling << 31 | (period mod 1024) << 16.
//
//   rising  200000 -> 210000 Hz, period 45:   S x C1 + 1/2 = 2757.42, |D| x C2 / 45 + 1/2 = 392.59
//           A = 0x01880AC5, B = 0x002D0000
//   falling 210000 -> 200000 Hz, period 1100: 2895.27 and 16.54
//           A = 0x00100B4F, B = 0x804C0000 (1100 mod 1024 = 76 = 0x4C)
//   wide    1000 -> 1000000 Hz, period 1:     14.28 and 1762643.53 (beyond 16 bits)
//           A = 0xE553000E, B = 0x00010000

#include "FPGAIFLSSPI.h"
#include "FPGAIFLSUart.h"
#include "FakeDevice.h"
#include "LSFpgaCodec.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
struct PulseCase_T
{
    LSPeriod_T Period;
    double Start;
    double End;
    UINT32 A;
    UINT32 B;
};

const PulseCase_T c_Rising = {45, 200000.0, 210000.0, 0x01880AC5, 0x002D0000};
const PulseCase_T c_Falling = {1100, 210000.0, 200000.0, 0x00100B4F, 0x804C0000};
const PulseCase_T c_Wide = {1, 1000.0, 1000000.0, 0xE553000E, 0x00010000};

std::vector<Bytes_T> UartPulse(LSChannel_T Channel, const PulseCase_T& Case)
{
    CFakeFactory Factory;
    CFPGAIFLSUart Uart("/dev/ttyFake", &Factory);
    EXPECT_EQ(0, Uart.SetPulse(Channel, Case.Period, Case.Start, Case.End));
    return Factory.m_pDevice->m_Writes;
}

Bytes_T SpiPulse(LSChannel_T Channel, const PulseCase_T& Case)
{
    CFakeFactory Factory;
    CFPGAIFLSSPI Spi("/dev/LSfpga0", &Factory);
    SetRegisterData_T Records[2];
    EXPECT_EQ(0, Spi.SetPulse(Records, Channel, Case.Period, Case.Start, Case.End));
    const UINT8* pBytes = reinterpret_cast<const UINT8*>(Records);
    return Bytes_T(pBytes, pBytes + sizeof(Records));
}

Bytes_T Join(const Bytes_T& First, const Bytes_T& Second)
{
    Bytes_T All = First;
    All.insert(All.end(), Second.begin(), Second.end());
    return All;
}
}

TEST(LowscanPulseTest, TheConstantsAreTheDoublesWritten)
{
    EXPECT_EQ(1.051682297, LSFpga::c_K);
    EXPECT_EQ(static_cast<double>(0.0131072f), LSFpga::c_C1);
    EXPECT_EQ(static_cast<double>(1.6777f), LSFpga::c_C2);
    EXPECT_EQ(0.013107200153172016, LSFpga::c_C1);
    EXPECT_EQ(1.6777000427246094, LSFpga::c_C2);
}

TEST(LowscanPulseTest, RisingSweepOnTheUart)
{
    EXPECT_EQ((std::vector<Bytes_T>{{0xF5, 0x00, 0x11, 0x01, 0x88, 0x0A, 0xC5, 0x5E},
                                    {0xF5, 0x00, 0x12, 0x00, 0x2D, 0x00, 0x00, 0x34}}),
              UartPulse(c_Channel0, c_Rising));
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(25, c_Rising.A), UartFrame(26, c_Rising.B)}),
              UartPulse(c_Channel1, c_Rising));
}

TEST(LowscanPulseTest, FallingSweepOnTheUart)
{
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(17, c_Falling.A), UartFrame(18, c_Falling.B)}),
              UartPulse(c_Channel0, c_Falling));
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(25, c_Falling.A), UartFrame(26, c_Falling.B)}),
              UartPulse(c_Channel1, c_Falling));
}

TEST(LowscanPulseTest, BothSweepsOnSpiRecords)
{
    EXPECT_EQ((Bytes_T{0x00, 0x11, 0x01, 0x88, 0x0A, 0xC5, 0x00, 0x12, 0x00, 0x2D, 0x00, 0x00}),
              SpiPulse(c_Channel0, c_Rising));
    EXPECT_EQ((Bytes_T{0x00, 0x19, 0x00, 0x10, 0x0B, 0x4F, 0x00, 0x1A, 0x80, 0x4C, 0x00, 0x00}),
              SpiPulse(c_Channel1, c_Falling));
    EXPECT_EQ(Join(SpiRecord(25, c_Rising.A), SpiRecord(26, c_Rising.B)), SpiPulse(c_Channel1, c_Rising));
    EXPECT_EQ(Join(SpiRecord(17, c_Falling.A), SpiRecord(18, c_Falling.B)), SpiPulse(c_Channel0, c_Falling));
}

TEST(LowscanPulseTest, ARateWordBeyond16BitsLosesItsTopBits)
{
    EXPECT_EQ((std::vector<Bytes_T>{UartFrame(17, c_Wide.A), UartFrame(18, c_Wide.B)}), UartPulse(c_Channel0, c_Wide));
    EXPECT_EQ(Join(SpiRecord(17, c_Wide.A), SpiRecord(18, c_Wide.B)), SpiPulse(c_Channel0, c_Wide));
}

TEST(LowscanPulseTest, OutOfRangeConversionsSaturateAsOnTheUnit)
{
    // Period 0 (an idle channel of the ping command): the rate is +infinity
    // for a sweep, 0/0 for a fixed frequency; the start word of 200 kHz is 0x0AC5.
    LSFpga::PulseWords_T Words = LSFpga::EncodePulse(0, 200000.0, 210000.0);
    EXPECT_EQ(0xFFFF0AC5u, Words.A);
    EXPECT_EQ(0u, Words.B);
    Words = LSFpga::EncodePulse(0, 200000.0, 200000.0);
    EXPECT_EQ(0x00000AC5u, Words.A);
    EXPECT_EQ(0u, Words.B);
    // A negative start frequency gives start word 0.
    Words = LSFpga::EncodePulse(1024, -500.0, 0.0);
    EXPECT_EQ(0u, Words.A & 0xFFFF);
    EXPECT_EQ(0u, Words.B) << "1024 keeps none of its low 10 bits; a rising sweep";

    EXPECT_EQ(0u, LSFpga::ToUnsigned(-0.5));
    EXPECT_EQ(0u, LSFpga::ToUnsigned(std::nan("")));
    EXPECT_EQ(4294967295u, LSFpga::ToUnsigned(4294967295.9));
    EXPECT_EQ(0xFFFFFFFFu, LSFpga::ToUnsigned(1e300));
    EXPECT_EQ(7u, LSFpga::ToUnsigned(7.99));
}
