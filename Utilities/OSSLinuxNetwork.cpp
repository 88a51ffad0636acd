#include "OSSLinuxNetwork.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cassert>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace
{
std::vector<const char*> AddressPrefixes(NetworkInterface_T Interface)
{
    switch (Interface)
    {
    case NETWORK_INTERFACE_LAN:
        return {"10."};
    case NETWORK_INTERFACE_LOOPBACK:
    case NETWORK_INTERFACE_LOCAL:
        return {"127."};
    case NETWORK_INTERFACE_ANY:
        return {"127.", "10.", "192.", "172."};
    }
    return {};
}

bool HasPrefix(const char* Text, const char* Prefix)
{
    return strncmp(Text, Prefix, strlen(Prefix)) == 0;
}
}

COSSLinuxNetwork::COSSLinuxNetwork(int domain, int type, int protocol, NetworkInterface_T Interface)
    : m_Socket(-1), m_ErrorCode(0), m_Address(), m_SystemIPAddress(0)
{
    Open(domain, type, protocol);
    FindSystemIPAddress(Interface);
}

COSSLinuxNetwork::~COSSLinuxNetwork()
{
    Close();
}

void COSSLinuxNetwork::Open(int domain, int type, int protocol)
{
    assert((m_Socket == -1) &&
           "Socket should be closed before (re-)opening a socket - this is probably a resource leak!");
    m_Socket = socket(domain, type, protocol);
    if (m_Socket == -1)
        m_ErrorCode = errno;
}

// Every matching address replaces the one before: the last match wins.
void COSSLinuxNetwork::FindSystemIPAddress(NetworkInterface_T Interface)
{
    const std::vector<const char*> Prefixes = AddressPrefixes(Interface);
    struct ifaddrs* pList = nullptr;
    if (getifaddrs(&pList) == -1)
    {
        m_ErrorCode = errno;
        return;
    }
    char Chosen[INET_ADDRSTRLEN] = {};
    for (struct ifaddrs* pEntry = pList; pEntry; pEntry = pEntry->ifa_next)
    {
        if (!pEntry->ifa_addr || pEntry->ifa_addr->sa_family != AF_INET || Prefixes.empty())
            continue;
        char Host[INET_ADDRSTRLEN] = {};
        if (getnameinfo(pEntry->ifa_addr, sizeof(struct sockaddr_in), Host, sizeof(Host), nullptr, 0, NI_NUMERICHOST) !=
            0)
            continue;
        if (HasPrefix(Host, Prefixes[0]))
            strcpy(Chosen, Host);
        if (Interface == NETWORK_INTERFACE_ANY)
            for (size_t i = 1; i < Prefixes.size(); ++i)
                if (HasPrefix(Host, Prefixes[i]))
                    strcpy(Chosen, Host);
    }
    struct in_addr Address = {};
    inet_aton(Chosen, &Address);
    m_SystemIPAddress = Address.s_addr;
    freeifaddrs(pList);
}

// The descriptor is deliberately not reset, and a socket that never opened
// ends the program here.
void COSSLinuxNetwork::Close()
{
    assert(m_Socket != -1);
    close(m_Socket);
}

bool COSSLinuxNetwork::SetSockOpt(int level, int name, const void* value, size_t length)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    if (setsockopt(m_Socket, level, name, value, static_cast<socklen_t>(length)) == -1)
        m_ErrorCode = errno;
    return m_ErrorCode == 0;
}

// Set twice, deliberately; a failure of either call is kept.
bool COSSLinuxNetwork::EnableTxMulticast()
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    struct in_addr Interface = {};
    Interface.s_addr = m_SystemIPAddress;
    if (setsockopt(m_Socket, IPPROTO_IP, IP_MULTICAST_IF, &Interface, sizeof(Interface)) == -1)
        m_ErrorCode = errno;
    if (setsockopt(m_Socket, IPPROTO_IP, IP_MULTICAST_IF, &Interface, sizeof(Interface)) == -1)
        m_ErrorCode = errno;
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    assert(Buffer);
    assert(Address);
    struct sockaddr_in To = {};
    To.sin_family = AF_INET;
    To.sin_addr.s_addr = inet_addr(Address);
    To.sin_port = htons(Port);
    const ssize_t Sent =
        sendto(m_Socket, Buffer->data(), Buffer->size(), 0, reinterpret_cast<const struct sockaddr*>(&To), sizeof(To));
    if (Sent == -1)
        m_ErrorCode = errno;
    else if (static_cast<size_t>(Sent) < Buffer->size())
        Buffer->size(static_cast<size_t>(Sent));
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::GetSystemIPAddress(AUINT32* pIpAddr)
{
    assert(pIpAddr);
    *pIpAddr = m_SystemIPAddress;
    return m_SystemIPAddress != 0;
}

bool COSSLinuxNetwork::Bind(IP_Port_T Port)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    m_Address = {};
    m_Address.sin_family = AF_INET;
    m_Address.sin_addr.s_addr = htonl(INADDR_ANY);
    m_Address.sin_port = htons(Port);
    return BindAddress();
}

bool COSSLinuxNetwork::BindToAddress(IP_Address_str_T Address, IP_Port_T Port)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    assert(Address);
    m_Address = {};
    m_Address.sin_family = AF_INET;
    m_Address.sin_addr.s_addr = inet_addr(Address);
    m_Address.sin_port = htons(Port);
    return BindAddress();
}

bool COSSLinuxNetwork::BindAddress()
{
    if (bind(m_Socket, reinterpret_cast<const struct sockaddr*>(&m_Address), sizeof(m_Address)) == -1)
        m_ErrorCode = errno;
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::Receive(Buffer_Bytes_T* Buffer)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    assert(Buffer);
    socklen_t Length = sizeof(m_Address);
    const ssize_t Received =
        recvfrom(m_Socket, Buffer->data(), Buffer->size(), 0, reinterpret_cast<struct sockaddr*>(&m_Address), &Length);
    if (Received == -1)
    {
        m_ErrorCode = errno;
        Buffer->size(0);
    }
    else
    {
        Buffer->size(static_cast<size_t>(Received));
    }
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::SetSocketFlags(int flags)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    const int Current = fcntl(m_Socket, F_GETFL);
    if (fcntl(m_Socket, F_SETFL, Current | flags) == -1)
        m_ErrorCode = errno;
    return m_ErrorCode == 0;
}

bool COSSLinuxNetwork::ClearSocketFlags(int flags)
{
    assert(m_Socket != -1);
    m_ErrorCode = 0;
    const int Current = fcntl(m_Socket, F_GETFL);
    if (fcntl(m_Socket, F_SETFL, Current & ~flags) == -1)
        m_ErrorCode = errno;
    return m_ErrorCode == 0;
}

int COSSLinuxNetwork::GetErrorCode() const
{
    return m_ErrorCode;
}

int COSSLinuxNetwork::GetFileDescriptor() const
{
    return m_Socket;
}
