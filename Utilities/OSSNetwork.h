#ifndef OSSNETWORK_H
#define OSSNETWORK_H

#include "ByteBuffer.h"
#include "TSQEventCodes.h"

#include <cstddef>
#include <cstdint>

typedef const char* IP_Address_str_T;  // dotted IPv4 text
typedef uint16_t IP_Port_T;            // host byte order

// Which of the unit's own IPv4 addresses counts as its system address.
enum NetworkInterface_T
{
    NETWORK_INTERFACE_LAN = 0,       // "10."
    NETWORK_INTERFACE_LOOPBACK = 1,  // "127."
    NETWORK_INTERFACE_LOCAL = 2,     // same as loopback
    NETWORK_INTERFACE_ANY = 3        // "127.", "10.", "192.", "172."
};

// One datagram socket. Every bool result is true exactly when the error
// code is 0 afterwards.
class IOSSNetwork
{
public:
    virtual ~IOSSNetwork() {}

    virtual bool SetSockOpt(int level, int name, const void* value, size_t length) = 0;
    virtual bool EnableTxMulticast() = 0;
    virtual bool Send(const Buffer_Bytes_T* Buffer, IP_Address_str_T Address, IP_Port_T Port) = 0;
    virtual bool GetSystemIPAddress(AUINT32* pIpAddr) = 0;
    virtual bool Bind(IP_Port_T Port) = 0;
    virtual bool BindToAddress(IP_Address_str_T Address, IP_Port_T Port) = 0;
    virtual bool Receive(Buffer_Bytes_T* Buffer) = 0;
    virtual bool SetSocketFlags(int flags) = 0;
    virtual bool ClearSocketFlags(int flags) = 0;
    virtual int GetErrorCode() const = 0;
    virtual int GetFileDescriptor() const = 0;
};

#endif
