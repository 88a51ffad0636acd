#ifndef FAKESPIDEVICE_H
#define FAKESPIDEVICE_H

#include "CorFpgaTypes.h"
#include "OSSLinuxFactory.h"
#include "OSSLinuxFile.h"
#include "WireBytes.h"

#include <fcntl.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

// An SPI device node that records what the transport does to it and answers
// from a script. No reply left means the device never becomes readable. The
// operations the transports do not use fall through to /dev/null.
class CFakeSpiDevice : public COSSLinuxFile
{
public:
    CFakeSpiDevice() : COSSLinuxFile("/dev/null", O_RDWR, 0) {}

    struct Ioctl_T
    {
        unsigned long Request;
        bool bNullArgument;
        CorSpiPingRead_T PingRead;  // filled for the start-ping-read request
    };

    // Recorded
    std::vector<Bytes_T> m_Writes;
    std::vector<Ioctl_T> m_Ioctls;
    std::vector<std::pair<short, int>> m_Polls;  // events, time-out
    std::vector<size_t> m_ReadSizes;

    // Script
    std::deque<Bytes_T> m_Replies;     // one per Read
    Bytes_T m_Fifo;                    // what a write in ping-read mode receives
    std::set<size_t> m_FailingWrites;  // 0-based over all writes; fail with EIO
    int m_ReadError = 0;
    bool m_bInterruptOccurs = true;
    int m_ErrorCode = 0;  // preset to fake a failed open

    bool Write(const Buffer_Bytes_T* Buffer) override;
    bool Read(Buffer_Bytes_T* Buffer) override;
    bool Ioctl(unsigned long request, int* argument) override;
    int Poll(short events, int timeout) override;
    int GetErrorCode() const override { return m_ErrorCode; }

private:
    bool m_bPingReadMode = false;
};

// Hands out the one fake device and records the transport's environment
// reads and events. The device belongs to the factory, as the transports
// never release theirs.
class CFakeSpiFactory : public COSSLinuxFactory
{
public:
    IOSSFile* CreateFile(const char* Name, int flags, int mode) override;
    const char* GetEnv(const char* Name) override;
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override;

    CFakeSpiDevice m_Device;
    std::map<std::string, std::string> m_Env;
    std::vector<std::string> m_EnvReads;
    std::vector<std::string> m_Events;  // "level code origin text"
    std::vector<std::string> m_Opened;  // "name flags mode"
};

// A transport on a fake device of its own. The device is scripted after
// construction; only the configure request has reached it by then.
template <typename Transport_T>
struct CSpiRig
{
    template <typename... Args_T>
    explicit CSpiRig(Args_T... Args) : Transport(Args..., &Factory)
    {
    }
    CFakeSpiFactory Factory;
    CFakeSpiDevice& Device = Factory.m_Device;
    Transport_T Transport;
};

// The five words of a start-ping-read request.
std::vector<UINT32> Words(const CorSpiPingRead_T& Request);

// Expected wire bytes, built from the packet format on its own.
Bytes_T WritePacket(UINT16 Address, const Bytes_T& Payload, bool bBlock = false);
Bytes_T ReadPacket(UINT16 Address, size_t Count, bool bBlock = false);
Bytes_T Reply(const Bytes_T& Data);  // data and its checksum

// The report of a failed check in Utilities/<File>.cpp; line 0 accepts any line.
std::string AssertionPattern(const std::string& File, int Line, const std::string& Condition);

#endif
