#ifndef EXPECTEDBYTES_H
#define EXPECTEDBYTES_H

// What the FPGA transports should put on the wire and read back, built from
// the frame and packet layouts on their own.

#include "CorFpgaTypes.h"
#include "LSFpgaTypes.h"
#include "WireBytes.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

// A Lowscan UART frame.
inline Bytes_T UartFrame(unsigned short Address, UINT32 Value)
{
    Bytes_T Frame = {
        0xF5,        UINT8(Address >> 8), UINT8(Address), UINT8(Value >> 24), UINT8(Value >> 16), UINT8(Value >> 8),
        UINT8(Value)};
    unsigned Sum = 0;
    for (UINT8 Byte : Frame)
        Sum += Byte;
    Frame.push_back(UINT8(Sum));
    return Frame;
}

// An SPI register record is a UART frame without sync byte and checksum.
inline Bytes_T SpiRecord(unsigned short Address, UINT32 Value)
{
    const Bytes_T Frame = UartFrame(Address, Value);
    return Bytes_T(Frame.begin() + 1, Frame.end() - 1);
}

inline std::vector<float> Floats(const Bytes_T& Storage)
{
    std::vector<float> Values(Storage.size() / sizeof(float));
    memcpy(Values.data(), Storage.data(), Values.size() * sizeof(float));
    return Values;
}

// A ping return packet of N samples: sample i is Sample(i); block k ends with
// the 16-bit words of Value(k, 0) and Value(k, 1) in their top 12 bits, the
// low 4 bits set to show that they are dropped.
template <typename SampleFn_T, typename ValueFn_T>
Bytes_T PingPacket(size_t Samples, SampleFn_T Sample, ValueFn_T Value)
{
    Bytes_T Packet = {0xA5, 0x5A};
    for (size_t i = 0; i < Samples; ++i)
    {
        Packet.push_back(Sample(i));
        for (int Half = 0; Half < 2 && i % 128 == 127; ++Half)
        {
            const unsigned Word = (Value(i / 128, Half) << 4) | 0xF;
            Packet.insert(Packet.end(), {UINT8(Word >> 8), UINT8(Word)});
        }
    }
    Packet.push_back(0xEE);
    return Packet;
}

// A whole configuration and its 14 registers, worked out by hand: pulse
// words as in LowscanPulseTest, sampling A = 1 | rate << 16, sampling B =
// samples | delay << 16, gain x 16 and colour gain x 1024 rounded, boost | bit 31.
inline LSFpgaCompleteConfigure_T SampleConfiguration()
{
    // Channel, period, start, end, samples, delay, decimation, gain, colour gain, stepped gain.
    return {
        {{0, 45, 200000.0, 210000.0, 993, 7, 76, 2.5, 1.0, 0}, {1, 1100, 210000.0, 200000.0, 512, 0, 3, 0.0, 0.5, 0}},
        10,
        181,
        1};
}

inline std::vector<std::pair<unsigned short, UINT32>> SampleConfigurationRegisters()
{
    return {{17, 0x01880AC5}, {18, 0x002D0000}, {33, 0x004C0001}, {37, 0x000703E1}, {34, 40},
            {35, 1024},       {25, 0x00100B4F}, {26, 0x804C0000}, {41, 0x00030001}, {45, 0x00000200},
            {42, 0},          {43, 512},        {66, 10},         {65, 0x800000B5}};
}

// The five words of a start-ping-read request.
std::vector<UINT32> Words(const CorSpiPingRead_T& Request);

// Expected wire bytes, built from the packet format on its own.
Bytes_T WritePacket(UINT16 Address, const Bytes_T& Payload, bool bBlock = false);
Bytes_T ReadPacket(UINT16 Address, size_t Count, bool bBlock = false);
Bytes_T Reply(const Bytes_T& Data);  // data and its checksum

// The report of a failed check in Utilities/<File>.cpp; line 0 accepts any line.
std::string AssertionPattern(const std::string& File, int Line, const std::string& Condition);

#endif
