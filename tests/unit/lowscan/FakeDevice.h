#ifndef LOWSCAN_FAKEDEVICE_H
#define LOWSCAN_FAKEDEVICE_H

// A fake device node behind IOSSFactory / IOSSFile for byte-exact checks of
// the Lowscan transports: it records every write, every read size asked,
// every poll and ioctl, and answers reads from a queue of reply chunks
// without waiting.

#include "OSSFactory.h"
#include "OSSFile.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

typedef std::vector<UINT8> Bytes_T;

class CFakeDevice : public IOSSFile
{
public:
    // One answer to a read: bytes (a read takes at most what it asks and
    // leaves the rest for the next read), or a failing read with its errno.
    struct Chunk_T
    {
        Bytes_T Data;
        int Error;
    };

    explicit CFakeDevice(int OpenError) : m_ErrorCode(OpenError) {}

    // What the test sets up.
    void Reply(const Bytes_T& Data) { m_Replies.push_back({Data, 0}); }
    void FailNextRead(int Error) { m_Replies.push_back({{}, Error}); }
    int m_FailWritesFrom = -1;  // index of the first write that fails, -1 none
    int m_WriteError = 0;       // errno of a failing write
    int m_IoctlResult = 0;      // what the driver returns; non-zero fails
    int m_Descriptor = -1;

    // What the transport did.
    std::vector<Bytes_T> m_Writes;
    std::vector<size_t> m_ReadSizes;
    std::vector<std::pair<short, int>> m_Polls;  // events, time-out
    std::vector<std::pair<unsigned long, int*>> m_Ioctls;

    Bytes_T AllWritten() const
    {
        Bytes_T All;
        for (const Bytes_T& Write : m_Writes)
            All.insert(All.end(), Write.begin(), Write.end());
        return All;
    }

    bool Write(const Buffer_Bytes_T* Buffer) override
    {
        m_Writes.emplace_back(Buffer->data(), Buffer->data() + Buffer->size());
        if (m_FailWritesFrom >= 0 && static_cast<int>(m_Writes.size()) > m_FailWritesFrom)
        {
            m_ErrorCode = m_WriteError;
            return false;
        }
        m_ErrorCode = 0;
        return true;
    }
    // Ready when something is queued; a silent line times out at once.
    int Poll(short events, int timeout) override
    {
        m_Polls.emplace_back(events, timeout);
        return m_Replies.empty() ? 0 : 1;
    }
    bool Read(Buffer_Bytes_T* Buffer) override
    {
        m_ReadSizes.push_back(Buffer->size());
        if (m_Replies.empty())
        {
            Buffer->size(0);
            return true;
        }
        Chunk_T& Front = m_Replies.front();
        if (Front.Error != 0)
        {
            m_ErrorCode = Front.Error;
            m_Replies.pop_front();
            return false;
        }
        const size_t Count = std::min(Buffer->size(), Front.Data.size());
        std::copy(Front.Data.begin(), Front.Data.begin() + Count, Buffer->data());
        Front.Data.erase(Front.Data.begin(), Front.Data.begin() + Count);
        if (Front.Data.empty())
            m_Replies.pop_front();
        Buffer->size(Count);
        m_ErrorCode = 0;
        return true;
    }
    bool Ioctl(unsigned long request, int* argument) override
    {
        m_Ioctls.emplace_back(request, argument);
        m_ErrorCode = m_IoctlResult;
        return m_IoctlResult == 0;
    }
    int GetErrorCode() const override { return m_ErrorCode; }
    int GetFileDescriptor() const override { return m_Descriptor; }

    // Nothing else is used by the transports.
    bool Lseek(int, int) override { return false; }
    bool ReadStream(UINT8*) override { return false; }
    bool ReadStream(UINT16*) override { return false; }
    bool ReadStream(UINT32*) override { return false; }
    bool ReadStream(int*) override { return false; }
    bool ReadStream(unsigned long*) override { return false; }
    bool ReadStream(int*, size_t) override { return false; }
    bool ReadStream(double*) override { return false; }
    bool ReadStream(float*) override { return false; }
    bool ReadStream(float*, size_t) override { return false; }
    bool ReadStream(char*) override { return false; }
    bool ReadStream(char*, const char*) override { return false; }
    bool ReadStream(short*) override { return false; }
    bool ReadStream(short*, size_t) override { return false; }
    bool ReadStream(bool*) override { return false; }
    bool WriteStream(const char*) override { return false; }
    int MultiPoll(PollMembers_T*, int) override { return 0; }
    bool Fseek(int, int) override { return false; }
    long Ftell() override { return -1; }
    int Fsync() override { return 0; }
    int Ftruncate(long) override { return 0; }

private:
    int m_ErrorCode;
    std::deque<Chunk_T> m_Replies;
};

// Makes CFakeDevice objects (owned by the transport that asked) and records
// the opens and the events sent.
class CFakeFactory : public IOSSFactory
{
public:
    struct Open_T
    {
        std::string Name;
        int Flags;
        int Mode;
    };

    int m_OpenError = 0;                 // error code of the next device made
    CFakeDevice* m_pDevice = nullptr;    // the last device made, owned by the transport
    std::vector<Open_T> m_Opens;
    std::vector<std::string> m_Events;   // "level code origin|text"

    IOSSFile* CreateFile(const char* Name, int flags, int mode) override
    {
        m_Opens.push_back({Name, flags, mode});
        m_pDevice = new CFakeDevice(m_OpenError);
        return m_pDevice;
    }
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override
    {
        m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + "|" + Text);
        return 0;
    }

    // Nothing else is used by the transports.
    void SetTaskName(const std::string&) override {}
    std::string GetTaskName() override { return ""; }
    void SetDBErrorStatusMessageInterface(IDatabaseErrorStatusMessage*) override {}
    IOSSFile* CreatePipe(const char*, int) override { return nullptr; }
    IOSSNetwork* CreateSocket(int, int, int, NetworkInterface_T) override { return nullptr; }
    IOSSNotify* CreateNotify() override { return nullptr; }
    const char* GetEnv(const char*) override { return nullptr; }
    TSQEventCode_T SetEnv(const char*, const char*, bool) override { return 0; }
    TSQEventCode_T Makedir(const char*, mode_t) override { return 0; }
    TSQEventCode_T RemoveDirs(const char*, bool) override { return 0; }
    TSQEventCode_T CopyDirs(const char*, const char*) override { return 0; }
    TSQEventCode_T CreateFullPath(const char*) override { return 0; }
    TSQEventCode_T CopyFile(const char*, const char*, BackGroundCopy_T) override { return 0; }
    TSQEventCode_T MoveFile(const char*, const char*) override { return 0; }
    bool CheckForFile(const char*, const char*) override { return false; }
    bool CheckForDir(const char*) override { return false; }
    TSQEventCode_T CreateSoftLink(const char*, const char*) override { return 0; }
    TSQEventCode_T RemoveFiles(const char*, const char*) override { return 0; }
    TSQEventCode_T Sync() override { return 0; }
    TSQEventCode_T CreateThread(pthread_t*, const pthread_attr_t*, ThreadStartRoutine_T, void*) override { return 0; }
    TSQEventCode_T JoinThread(pthread_t, void**) override { return 0; }
    TSQEventCode_T DetachThread(pthread_t) override { return 0; }
    TSQEventCode_T InitThreadAttributes(pthread_attr_t*) override { return 0; }
    TSQEventCode_T SendAckToErrorHandler(const char*) override { return 0; }
    UINT32 GetFileSize(const char*) override { return 0; }
};

// Helpers for expected bytes and float buffers.
inline Bytes_T UartFrame(unsigned short Address, UINT32 Value)
{
    Bytes_T Frame = {0xF5,
                     static_cast<UINT8>(Address >> 8),
                     static_cast<UINT8>(Address & 0xFF),
                     static_cast<UINT8>(Value >> 24),
                     static_cast<UINT8>((Value >> 16) & 0xFF),
                     static_cast<UINT8>((Value >> 8) & 0xFF),
                     static_cast<UINT8>(Value & 0xFF)};
    unsigned Sum = 0;
    for (UINT8 Byte : Frame)
        Sum += Byte;
    Frame.push_back(static_cast<UINT8>(Sum % 256));
    return Frame;
}

inline Bytes_T SpiRecord(unsigned short Address, UINT32 Value)
{
    return {static_cast<UINT8>(Address >> 8),          static_cast<UINT8>(Address & 0xFF),
            static_cast<UINT8>(Value >> 24),           static_cast<UINT8>((Value >> 16) & 0xFF),
            static_cast<UINT8>((Value >> 8) & 0xFF),   static_cast<UINT8>(Value & 0xFF)};
}

inline float FloatAt(const Bytes_T& Storage, size_t Index)
{
    float Value;
    memcpy(&Value, Storage.data() + Index * sizeof(float), sizeof(float));
    return Value;
}

// A ping return packet for N samples: sample i of the ping is Sample(i), the
// pair of block k is (First(k), Second(k)) as 16-bit words with the value in
// the top 12 bits, and the low 4 bits set to show they are dropped.
template <typename SampleFn_T, typename ValueFn_T>
Bytes_T PingPacket(size_t Samples, SampleFn_T Sample, ValueFn_T Value)
{
    Bytes_T Packet = {0xA5, 0x5A};
    for (size_t i = 0; i < Samples; ++i)
    {
        Packet.push_back(Sample(i));
        if (i % 128 == 127)
            for (int Half = 0; Half < 2; ++Half)
            {
                const unsigned Word = (Value(i / 128, Half) << 4) | 0xF;
                Packet.push_back(static_cast<UINT8>(Word >> 8));
                Packet.push_back(static_cast<UINT8>(Word & 0xFF));
            }
    }
    Packet.push_back(0xEE);
    return Packet;
}

#endif
