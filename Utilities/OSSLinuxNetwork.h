#ifndef OSSLINUXNETWORK_H
#define OSSLINUXNETWORK_H

#include "OSSNetwork.h"

#include <netinet/in.h>

// IOSSNetwork on a Linux socket. The unit's own address on the chosen kind
// of network is found once, at construction.
class COSSLinuxNetwork : public IOSSNetwork
{
public:
    COSSLinuxNetwork(int domain, int type, int protocol, NetworkInterface_T Interface);
    ~COSSLinuxNetwork() override;

    bool SetSockOpt(int level, int name, const void* value, size_t length) override;
    bool EnableTxMulticast() override;
    bool Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port) override;
    bool GetSystemIPAddress(AUINT32* pIpAddr) override;
    bool Bind(IP_Port_T Port) override;
    bool BindToAddress(IP_Address_str_T Address, IP_Port_T Port) override;
    bool Receive(Buffer_Bytes_T* Buffer) override;
    bool SetSocketFlags(int flags) override;
    bool ClearSocketFlags(int flags) override;
    int GetErrorCode() const override;
    int GetFileDescriptor() const override;

private:
    void Open(int domain, int type, int protocol);
    void FindSystemIPAddress(NetworkInterface_T Interface);
    bool BindAddress();
    void Close();

    int m_Socket;
    int m_ErrorCode;
    struct sockaddr_in m_Address;
    AUINT32 m_SystemIPAddress;  // network byte order
};

#endif
