#include "OSSLinuxNetwork.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <string>
#include <sys/socket.h>

// These tests change the network set-up, so they run only inside a network
// namespace of their own (vunit --caps --net), where nothing leaves the machine.
namespace
{
bool OnlyLoopbackExists()
{
    struct if_nameindex* pNames = if_nameindex();
    bool OnlyLo = pNames != nullptr;
    for (struct if_nameindex* p = pNames; p && p->if_index != 0; ++p)
        OnlyLo = OnlyLo && strcmp(p->if_name, "lo") == 0;
    if_freenameindex(pNames);
    return OnlyLo;
}

bool Ip(const std::string& Arguments)
{
    return system(("export PATH=/usr/sbin:/sbin:$PATH; ip " + Arguments).c_str()) == 0;
}

// The dummy link type needs a kernel module; an empty bridge holds
// addresses just as well and carries no traffic either.
bool AddQuietInterface(const char* Name)
{
    return Ip(std::string("link add ") + Name + " type dummy 2>/dev/null") ||
           Ip(std::string("link add ") + Name + " type bridge");
}

std::string SystemAddress(NetworkInterface_T Interface, bool* pFound)
{
    COSSLinuxNetwork Socket(AF_INET, SOCK_DGRAM, 0, Interface);
    AUINT32 Address = 0xFFFFFFFF;
    *pFound = Socket.GetSystemIPAddress(&Address);
    struct in_addr In = {};
    In.s_addr = Address;
    return Address == 0 ? "0" : inet_ntoa(In);
}

IP_Port_T LocalPort(const IOSSNetwork& Socket)
{
    struct sockaddr_in Address = {};
    socklen_t Length = sizeof(Address);
    EXPECT_EQ(0, getsockname(Socket.GetFileDescriptor(), reinterpret_cast<struct sockaddr*>(&Address), &Length));
    return ntohs(Address.sin_port);
}
}

TEST(OSSLinuxNetworkTest, SystemAddressIsTheLastMatchOfTheInterfaceKind)
{
    ASSERT_TRUE(OnlyLoopbackExists()) << "needs a network namespace of its own: run through vunit --caps --net";
    ASSERT_TRUE(AddQuietInterface("ossa"));
    ASSERT_TRUE(AddQuietInterface("ossb"));

    const struct
    {
        const char* Setup;
        NetworkInterface_T Interface;
        const char* Expected;
    } Cases[] = {
        {nullptr, NETWORK_INTERFACE_LAN, "0"},
        {nullptr, NETWORK_INTERFACE_LOOPBACK, "127.0.0.1"},
        {nullptr, NETWORK_INTERFACE_ANY, "127.0.0.1"},
        // Listed: 127.0.0.1, 192.168.0.5, 10.0.0.2, 100.64.0.1.
        {"addr add 192.168.0.5/24 dev ossa && ip addr add 10.0.0.2/8 dev ossb && "
         "ip addr add 100.64.0.1/10 dev ossb",
         NETWORK_INTERFACE_ANY, "10.0.0.2"},
        {nullptr, NETWORK_INTERFACE_LAN, "10.0.0.2"},
        {nullptr, NETWORK_INTERFACE_LOOPBACK, "127.0.0.1"},
        {nullptr, NETWORK_INTERFACE_LOCAL, "127.0.0.1"},
        // Listed: 127.0.0.1, 10.0.0.2, 172.16.0.9, 192.168.0.5.
        {"addr flush dev ossa && ip addr flush dev ossb && ip addr add 10.0.0.2/8 dev ossa && "
         "ip addr add 172.16.0.9/12 dev ossb && ip addr add 192.168.0.5/24 dev ossb",
         NETWORK_INTERFACE_ANY, "192.168.0.5"},
        {"addr del 192.168.0.5/24 dev ossb", NETWORK_INTERFACE_ANY, "172.16.0.9"},
        {nullptr, NETWORK_INTERFACE_LAN, "10.0.0.2"},
    };
    for (const auto& Case : Cases)
    {
        if (Case.Setup)
        {
            ASSERT_TRUE(Ip(Case.Setup)) << Case.Setup;
        }
        bool Found = false;
        EXPECT_EQ(Case.Expected, SystemAddress(Case.Interface, &Found)) << "kind " << Case.Interface;
        EXPECT_EQ(strcmp(Case.Expected, "0") != 0, Found);
    }
}

TEST(OSSLinuxNetworkTest, DatagramsTravelOverLoopback)
{
    COSSLinuxNetwork Receiver(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    COSSLinuxNetwork Sender(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    ASSERT_TRUE(Receiver.BindToAddress("127.0.0.1", 0));
    const IP_Port_T Port = LocalPort(Receiver);

    UINT8 Out[] = {'p', 'i', 'n', 'g', 0, 1, 2, 3};
    const Buffer_Bytes_T Message(Out, sizeof(Out));
    EXPECT_TRUE(Sender.Send(&Message, "127.0.0.1", Port));
    EXPECT_EQ(sizeof(Out), Message.size());

    UINT8 In[64] = {};
    Buffer_Bytes_T Reply(In, sizeof(In));
    EXPECT_TRUE(Receiver.Receive(&Reply));
    ASSERT_EQ(sizeof(Out), Reply.size());
    EXPECT_EQ(0, memcmp(Out, In, sizeof(Out)));

    // Non-blocking with nothing waiting: the receive fails and holds no bytes.
    EXPECT_TRUE(Receiver.SetSocketFlags(O_NONBLOCK));
    Reply.size(sizeof(In));
    EXPECT_FALSE(Receiver.Receive(&Reply));
    EXPECT_EQ(EAGAIN, Receiver.GetErrorCode());
    EXPECT_EQ(0u, Reply.size());
    for (int Round = 0; Round < 2; ++Round)  // clearing a clear flag keeps it clear
    {
        EXPECT_TRUE(Receiver.ClearSocketFlags(O_NONBLOCK));
        EXPECT_FALSE(fcntl(Receiver.GetFileDescriptor(), F_GETFL) & O_NONBLOCK);
    }

    COSSLinuxNetwork Rival(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    EXPECT_FALSE(Rival.Bind(Port));
    EXPECT_EQ(EADDRINUSE, Rival.GetErrorCode());
    EXPECT_TRUE(Rival.Bind(0));

    // Multicast leaves through the system address.
    EXPECT_TRUE(Sender.EnableTxMulticast());
    struct in_addr Interface = {};
    socklen_t Length = sizeof(Interface);
    ASSERT_EQ(0, getsockopt(Sender.GetFileDescriptor(), IPPROTO_IP, IP_MULTICAST_IF, &Interface, &Length));
    EXPECT_STREQ("127.0.0.1", inet_ntoa(Interface));
}

TEST(OSSLinuxNetworkDeathTest, SocketThatNeverOpenedEndsTheProgramWhenDestroyed)
{
    EXPECT_DEATH(
        {
            COSSLinuxNetwork Socket(-1, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
            fprintf(stderr, "open error %d\n", Socket.GetErrorCode());
        },
        "open error " + std::to_string(EAFNOSUPPORT) + "\n.*Utilities/OSSLinuxNetwork.cpp:[0-9]+: .*Assertion .m_Socket != -1. failed");
}
