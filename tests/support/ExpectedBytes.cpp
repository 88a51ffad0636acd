#include "FakeSpiDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

bool CFakeSpiDevice::Write(const Buffer_Bytes_T* Buffer)
{
    m_Writes.emplace_back(Buffer->data(), Buffer->data() + Buffer->size());
    m_ErrorCode = m_FailingWrites.count(m_Writes.size() - 1) ? EIO : 0;
    if (m_ErrorCode == 0 && m_bPingReadMode)
        std::copy_n(m_Fifo.begin(), std::min(m_Fifo.size(), Buffer->size()), Buffer->data());
    return m_ErrorCode == 0;
}

bool CFakeSpiDevice::Read(Buffer_Bytes_T* Buffer)
{
    m_ReadSizes.push_back(Buffer->size());
    m_ErrorCode = m_ReadError;
    if (m_ReadError != 0 || m_Replies.empty())
        return false;
    Buffer->size(std::min(m_Replies.front().size(), Buffer->size()));
    std::copy_n(m_Replies.front().begin(), Buffer->size(), Buffer->data());
    m_Replies.pop_front();
    return true;
}

bool CFakeSpiDevice::Ioctl(unsigned long request, int* argument)
{
    m_Ioctls.push_back({request, argument == nullptr, {}});
    if (request == c_CorSpiIoctlStartPingRead && argument)
        memcpy(&m_Ioctls.back().PingRead, argument, sizeof(CorSpiPingRead_T));
    if (request == c_CorSpiIoctlStartPingRead || request == c_CorSpiIoctlEndPingRead)
        m_bPingReadMode = request == c_CorSpiIoctlStartPingRead;
    return request != c_CorSpiIoctlWaitForInterrupt || m_bInterruptOccurs;
}

int CFakeSpiDevice::Poll(short events, int timeout)
{
    m_Polls.emplace_back(events, timeout);
    return m_Replies.empty() && m_ReadError == 0 ? 0 : 1;
}

IOSSFile* CFakeSpiFactory::CreateFile(const char* Name, int flags, int mode)
{
    m_Opened.push_back(std::string(Name) + " " + std::to_string(flags) + " " + std::to_string(mode));
    return &m_Device;
}

const char* CFakeSpiFactory::GetEnv(const char* Name)
{
    m_EnvReads.push_back(Name);
    const auto Found = m_Env.find(Name);
    return Found == m_Env.end() ? nullptr : Found->second.c_str();
}

TSQEventCode_T CFakeSpiFactory::SendEvent(int Level, int Code, const char* Origin, const char* Text)
{
    m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + " " + Text);
    return 0;
}

std::vector<UINT32> Words(const CorSpiPingRead_T& Request)
{
    return {Request.SyncWord, Request.Address, Request.Mode, Request.Word3, Request.Word4};
}

// "CS", the address, the flags (bit 0 read, bit 1 block), the length - 1; little-endian.
static Bytes_T Header(UINT16 Address, UINT8 Flags, size_t Count)
{
    const UINT16 Last = static_cast<UINT16>(Count - 1);
    return {0x43, 0x53, UINT8(Address), UINT8(Address >> 8), Flags, UINT8(Last), UINT8(Last >> 8)};
}

Bytes_T WritePacket(UINT16 Address, const Bytes_T& Payload, bool bBlock)
{
    return Join({Header(Address, bBlock ? 2 : 0, Payload.size()), Reply(Payload)});
}

Bytes_T ReadPacket(UINT16 Address, size_t Count, bool bBlock)
{
    return Join({Header(Address, bBlock ? 3 : 1, Count), Bytes_T(Count + 1, 0)});
}

Bytes_T Reply(const Bytes_T& Data)
{
    UINT8 Sum = 0;
    for (UINT8 Byte : Data)
        Sum = static_cast<UINT8>(Sum + Byte);
    return Join({Data, {Sum}});
}

std::string AssertionPattern(const std::string& File, int Line, const std::string& Condition)
{
    std::string Escaped;
    for (char c : Condition)
        Escaped += strchr("\\.[]()*+?{}|^$", c) ? std::string("\\") + c : std::string(1, c);
    const std::string Where = Line > 0 ? ":" + std::to_string(Line) + ": " : ":[0-9]+: ";
    return "Utilities/" + File + "\\.cpp" + Where + ".*Assertion ." + Escaped + ". failed";
}
