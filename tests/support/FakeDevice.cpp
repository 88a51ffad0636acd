#include "FakeDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

bool CFakeDevice::Write(const Buffer_Bytes_T* Buffer)
{
    m_Writes.emplace_back(Buffer->data(), Buffer->data() + Buffer->size());
    m_ErrorCode = m_FailingWrites.count(m_Writes.size() - 1) ? EIO : 0;
    if (m_ErrorCode == 0 && m_bPingReadMode)
        std::copy_n(m_Fifo.begin(), std::min(m_Fifo.size(), Buffer->size()), Buffer->data());
    return m_ErrorCode == 0;
}

bool CFakeDevice::Read(Buffer_Bytes_T* Buffer)
{
    m_ReadSizes.push_back(Buffer->size());
    if (m_Replies.empty())
    {
        m_ErrorCode = 0;
        return false;
    }
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

bool CFakeDevice::Ioctl(unsigned long request, int* argument)
{
    m_Ioctls.push_back({request, argument == nullptr, {}});
    if (request == c_CorSpiIoctlStartPingRead && argument)
        memcpy(&m_Ioctls.back().PingRead, argument, sizeof(CorSpiPingRead_T));
    if (m_IoctlResult != 0)
    {
        m_ErrorCode = m_IoctlResult;
        return false;
    }
    if (request == c_CorSpiIoctlStartPingRead || request == c_CorSpiIoctlEndPingRead)
        m_bPingReadMode = request == c_CorSpiIoctlStartPingRead;
    return request != c_CorSpiIoctlWaitForInterrupt || m_bInterruptOccurs;
}

int CFakeDevice::Poll(short events, int timeout)
{
    m_Polls.emplace_back(events, timeout);
    return m_Replies.empty() ? 0 : 1;
}

IOSSFile* CFakeFactory::CreateFile(const char* Name, int flags, int mode)
{
    if (m_bRealFiles)
        return COSSLinuxFactory::CreateFile(Name, flags, mode);
    m_Opens.push_back(std::string(Name) + " " + std::to_string(flags) + " " + std::to_string(mode));
    const auto Known = m_Devices.find(Name);
    if (m_Owner == FACTORY_OWNS_DEVICES && Known != m_Devices.end())
        return m_pDevice = Known->second;
    const auto OpenError = m_OpenErrors.find(Name);
    m_pDevice = new CFakeDevice(OpenError == m_OpenErrors.end() ? 0 : OpenError->second, m_IoctlResult);
    if (m_Owner == FACTORY_OWNS_DEVICES)
        m_Owned.emplace_back(m_pDevice);
    return m_Devices[Name] = m_pDevice;
}

const char* CFakeFactory::GetEnv(const char* Name)
{
    m_EnvReads.push_back(Name);
    const auto Found = m_Env.find(Name);
    return Found == m_Env.end() ? nullptr : Found->second.c_str();
}

TSQEventCode_T CFakeFactory::SendEvent(int Level, int Code, const char* Origin, const char* Text)
{
    m_Events.push_back(std::to_string(Level) + " " + std::to_string(Code) + " " + Origin + "|" + Text);
    return 0;
}
