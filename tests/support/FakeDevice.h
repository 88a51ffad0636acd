#ifndef FAKEDEVICE_H
#define FAKEDEVICE_H

#include "CorFpgaTypes.h"
#include "CorSpiPacketLink.h"
#include "ExpectedBytes.h"
#include "OSSLinuxFactory.h"
#include "OSSLinuxFile.h"

#include <fcntl.h>

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

// A device node for byte-exact checks of the FPGA transports: it records
// what a transport does to it and answers from a script. No answer left
// means the node never becomes readable. What the transports do not use
// falls through to /dev/null.
class CFakeDevice : public COSSLinuxFile
{
public:
    // A read takes at most what it asks and leaves the rest for the next;
    // a chunk with an Error fails its read.
    struct Chunk_T
    {
        Chunk_T(Bytes_T data, int error = 0) : Data(std::move(data)), Error(error) {}
        Bytes_T Data;
        int Error;
    };
    struct Ioctl_T
    {
        unsigned long Request;
        bool bNullArgument;
        CorSpiPingRead_T PingRead;  // filled for the start-ping-read request
    };

    // OpenError fakes a failed open; IoctlResult, when not 0, fails every ioctl.
    explicit CFakeDevice(int OpenError = 0, int IoctlResult = 0)
        : COSSLinuxFile("/dev/null", O_RDWR, 0), m_IoctlResult(IoctlResult), m_ErrorCode(OpenError)
    {
    }
    void Answer(const Bytes_T& Data) { m_Replies.push_back(Chunk_T(Data)); }

    // Recorded
    std::vector<Bytes_T> m_Writes;
    std::vector<size_t> m_ReadSizes;
    std::vector<std::pair<short, int>> m_Polls;  // events, time-out
    std::vector<Ioctl_T> m_Ioctls;

    // Script
    std::deque<Chunk_T> m_Replies;
    Bytes_T m_Fifo;                    // what a write in ping-read mode receives
    std::set<size_t> m_FailingWrites;  // 0-based over all writes; fail with EIO
    int m_IoctlResult;
    bool m_bInterruptOccurs = true;

    bool Write(const Buffer_Bytes_T* Buffer) override;
    bool Read(Buffer_Bytes_T* Buffer) override;
    bool Ioctl(unsigned long request, int* argument) override;
    int Poll(short events, int timeout) override;
    int GetErrorCode() const override { return m_ErrorCode; }
    // Not a terminal: a UART's serial set-up and flush fail.
    int GetFileDescriptor() const override { return -1; }

private:
    int m_ErrorCode;
    bool m_bPingReadMode = false;
};

// The Lowscan transports delete their device node; the Cor and Lumet ones
// (and the facade) keep theirs, so the factory owns those.
enum DeviceOwner_T
{
    FACTORY_OWNS_DEVICES,
    TRANSPORT_OWNS_DEVICES,
};

// Makes a fake device per opened path (or opens real files when
// m_bRealFiles) and records opens, environment reads and events. A device
// the factory owns is handed out again when its path is opened again.
class CFakeFactory : public COSSLinuxFactory
{
public:
    explicit CFakeFactory(DeviceOwner_T Owner = FACTORY_OWNS_DEVICES) : m_Owner(Owner) {}

    IOSSFile* CreateFile(const char* Name, int flags, int mode) override;
    const char* GetEnv(const char* Name) override;
    TSQEventCode_T SendEvent(int Level, int Code, const char* Origin, const char* Text) override;

    // The device last handed out for Path.
    CFakeDevice& Device(const std::string& Path) const { return *m_Devices.at(Path); }

    bool m_bRealFiles = false;
    std::map<std::string, int> m_OpenErrors;  // errno of a path's failed open
    int m_IoctlResult = 0;                    // for the devices made from now on
    CFakeDevice* m_pDevice = nullptr;         // the last one handed out
    std::map<std::string, CFakeDevice*> m_Devices;
    std::map<std::string, std::string> m_Env;
    std::vector<std::string> m_EnvReads;
    std::vector<std::string> m_Opens;   // "name flags mode"
    std::vector<std::string> m_Events;  // "level code origin|text"

private:
    DeviceOwner_T m_Owner;
    std::vector<std::unique_ptr<CFakeDevice>> m_Owned;
};

// A transport on a fake device of its own, its construction's reports dropped
// (a Lowscan UART's serial set-up has failed: the fake is no terminal).
template <typename Transport_T>
struct CRig
{
    CRig() : CRig("/dev/fake") {}
    template <typename... Args_T>
    explicit CRig(Args_T... Args) : Transport(Args..., &Factory)
    {
        Factory.m_Events.clear();
    }
    CFakeFactory Factory{std::is_base_of<CCorSpiPacketLink, Transport_T>::value ? FACTORY_OWNS_DEVICES
                                                                                : TRANSPORT_OWNS_DEVICES};
    Transport_T Transport;
    CFakeDevice& Device = *Factory.m_pDevice;
};

#endif
