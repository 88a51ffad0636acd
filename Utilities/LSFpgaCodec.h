#ifndef LSFPGACODEC_H
#define LSFPGACODEC_H

#include "ByteBuffer.h"
#include "LSFpgaTypes.h"

#include <string>

class IOSSFactory;
class IOSSFile;

// What the two Lowscan transports share: register addresses, value encodings,
// the ping packet layout and the polled receive loop (Parts 3.6 and 3.7).
// The assertions on arguments stay in the transports.
namespace LSFpga
{
// Pulse encoding constants, kept exactly as these doubles (C1 and C2 are the
// single-precision values nearest 0.0131072 and 1.6777).
constexpr double c_K = 1.051682297;
constexpr double c_C1 = 0.013107200153172016;
constexpr double c_C2 = 1.6777000427246094;

constexpr unsigned short c_RegCommand = 1;
constexpr unsigned short c_RegBoost = 65;
constexpr unsigned short c_RegAnalogueGain = 66;
constexpr unsigned int c_CommandPingNow = 1;
constexpr unsigned int c_CommandReportVersion = 3;
constexpr unsigned int c_MaxGainWord = 4095;

// Channel 1's registers lie 8 above channel 0's.
inline unsigned short PulseARegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(17 + 8 * Channel);
}
inline unsigned short PulseBRegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(18 + 8 * Channel);
}
inline unsigned short SamplingARegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(33 + 8 * Channel);
}
inline unsigned short SamplingBRegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(37 + 8 * Channel);
}
inline unsigned short GainRegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(34 + 8 * Channel);
}
inline unsigned short ColourGainRegister(LSChannel_T Channel)
{
    return static_cast<unsigned short>(35 + 8 * Channel);
}

// Double to unsigned 32 bits, truncating, saturating as the unit's ARM VFP
// conversion does: NaN and values below 0 give 0, values of 2^32 and more
// (and +infinity) give 0xFFFFFFFF.
UINT32 ToUnsigned(double Value);

struct PulseWords_T
{
    UINT32 A;  // registers 17 / 25
    UINT32 B;  // registers 18 / 26
};
PulseWords_T EncodePulse(LSPeriod_T Period, LSFrequency_Hz_T StartFrequency, LSFrequency_Hz_T EndFrequency);

inline UINT32 SamplingA(LSDecimationRate_T Decimation)
{
    return 1u | (Decimation << 16);
}
inline UINT32 SamplingB(LSFpgaSamples_T First, LSFpgaSamples_T Second)
{
    return First | (Second << 16);
}
// Value x Scale rounded (add 0.5, truncate; negative gives 0), at most 4095.
UINT32 GainWord(double Value, double Scale);
inline UINT32 BoostValue(unsigned char Level, bool Enable)
{
    return Level | (Enable ? 0x80000000u : 0u);
}

// Ping return packet for N samples: 132 x (N / 128) + 3 + N mod 128 bytes.
size_t PingPacketLength(size_t NumberOfSamples);
// Samples gets N floats (one per sample byte), Values two floats per block,
// the partial block included (its pair read at the fixed block position).
void UnpackPing(const LSPingReturnPacket_T& Packet, size_t NumberOfSamples, Buffer_Bytes_T* Samples,
                Buffer_Bytes_T* Values);

// Fills Buffer up to its current size from the port, polling 1000 ms before
// each read; each read asks for no more than the previous one returned (and
// no more than is still missing). On a shortfall reports through the factory
// from Origin and returns -171; the buffer's size becomes the count received.
TSQEventCode_T ReceiveLoop(IOSSFile* pPort, IOSSFactory* pFactory, const std::string& DevicePath, const char* Origin,
                           Buffer_Bytes_T* Buffer);
}

#endif
