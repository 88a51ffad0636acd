#ifndef LOWSCAN_FAKEDEVICE_H
#define LOWSCAN_FAKEDEVICE_H

// A device node for byte-exact checks of the Lowscan transports: it records
// writes, read sizes, polls and ioctls, and answers reads at once from a
// queue. What the transports do not use falls through to /dev/null.

#include "LSFpgaTypes.h"
#include "OSSLinuxFactory.h"
#include "OSSLinuxFile.h"
#include "WireBytes.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

class CFakeDevice : public COSSLinuxFile
{
public:
    // A read takes at most what it asks and leaves the rest for the next;
    // a chunk with an Error fails its read.
    struct Chunk_T
    {
        Bytes_T Data;
        int Error;
    };

    CFakeDevice(int OpenError, int IoctlResult)
        : COSSLinuxFile("/dev/null", O_RDWR, 0), m_IoctlResult(IoctlResult), m_ErrorCode(OpenError)
    {
    }
    void Reply(const Bytes_T& Data) { m_Replies.push_back({Data, 0}); }

    std::deque<Chunk_T> m_Replies;
    int m_FailWritesFrom = -1;  // index of the first write to fail with EIO
    int m_IoctlResult;          // non-zero fails
    std::vector<Bytes_T> m_Writes;
    std::vector<size_t> m_ReadSizes;
    std::vector<std::pair<short, int>> m_Polls;  // events, time-out
    std::vector<std::pair<unsigned long, int*>> m_Ioctls;

    bool Write(const Buffer_Bytes_T* Buffer) override
    {
        m_Writes.emplace_back(Buffer->data(), Buffer->data() + Buffer->size());
        m_ErrorCode = m_FailWritesFrom >= 0 && static_cast<int>(m_Writes.size()) > m_FailWritesFrom ? EIO : 0;
        return m_ErrorCode == 0;
    }
    // A silent line times out at once.
    int Poll(short events, int timeout) override
    {
        m_Polls.emplace_back(events, timeout);
        return m_Replies.empty() ? 0 : 1;
    }
    // The transports poll first, so a read always finds a chunk.
    bool Read(Buffer_Bytes_T* Buffer) override
    {
        m_ReadSizes.push_back(Buffer->size());
        Chunk_T& Front = m_Replies.front();
        const size_t Count = std::min(Buffer->size(), Front.Data.size());
        std::copy_n(Front.Data.begin(), Count, Buffer->data());
        Front.Data.erase(Front.Data.begin(), Front.Data.begin() + Count);
        Buffer->size(Count);
        m_ErrorCode = Front.Error;
        if (Front.Data.empty())
            m_Replies.pop_front();
        return m_ErrorCode == 0;
    }
    bool Ioctl(unsigned long request, int* argument) override
    {
        m_Ioctls.emplace_back(request, argument);
        m_ErrorCode = m_IoctlResult;
        return m_IoctlResult == 0;
    }
    int GetErrorCode() const override { return m_ErrorCode; }
    // Not a terminal: the serial set-up and the flush fail.
    int GetFileDescriptor() const override { return -1; }

private:
    int m_ErrorCode;
};

// Makes fake devices, or real files when m_bRealFiles, and records opens and
// events.
class CFakeFactory : public COSSLinuxFactory
{
public:
    bool m_bRealFiles = false;
    int m_OpenError = 0;                // for the next fake device
    int m_IoctlResult = 0;              // for the next fake device
    CFakeDevice* m_pDevice = nullptr;   // the last one made, owned by its transport
    std::vector<std::string> m_Opens;   // "name flags mode"
    std::vector<std::string> m_Events;  // "level code origin|text"

    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        if (m_bRealFiles)
            return COSSLinuxFactory::CreateFile(Name, flags, mode);
        m_Opens.push_back(std::string(Name) + " " + std::to_string(flags) + " " + std::to_string(mode));
        return m_pDevice = new CFakeDevice(m_OpenError, m_IoctlResult);
    }
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override
    {
        m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + "|" + Text);
        return 0;
    }
};

// A transport on a fake device of its own, its construction's reports dropped
// (on the UART: the fake is no terminal, so its serial set-up has failed).
template <typename Transport_T>
struct CRig
{
    CRig() : Transport("/dev/fake", &Factory) { Factory.m_Events.clear(); }
    CFakeFactory Factory;
    Transport_T Transport;
    CFakeDevice& Device = *Factory.m_pDevice;
};

// Expected bytes, built from the frame layout on its own.
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

#endif
