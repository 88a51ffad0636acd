#include "OSSLinuxNetwork.h"
#include "OssTestSupport.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <functional>
#include <net/if.h>

// These tests change the network set-up, so they run only inside a network
// namespace of their own (every unit has one unless --net), with root's
// capabilities kept (vunit --caps); nothing leaves the machine.
namespace
{
bool OnlyLoopbackExists()
{
    struct if_nameindex* pNames = if_nameindex();
    const bool OnlyLo = pNames && pNames[0].if_index && !strcmp(pNames[0].if_name, "lo") && !pNames[1].if_index;
    if_freenameindex(pNames);
    return OnlyLo;
}

bool Ip(const std::string& Arguments)
{
    return system(("export PATH=/usr/sbin:/sbin:$PATH; ip " + Arguments).c_str()) == 0;
}
}

TEST(OSSLinuxNetworkTest, SystemAddressIsTheLastMatchOfTheInterfaceKind)
{
    ASSERT_TRUE(OnlyLoopbackExists()) << "needs a network namespace of its own: run through vunit --caps";
    // The dummy link type needs a kernel module; an empty bridge holds
    // addresses just as well and carries no traffic either.
    for (const std::string Name : {"ossa", "ossb"})
        ASSERT_TRUE(Ip("link add " + Name + " type dummy 2>/dev/null || ip link add " + Name + " type bridge"));
    const struct
    {
        const char* Setup;
        NetworkInterface_T Interface;
        const char* Expected;
    } Cases[] = {
        {nullptr, NETWORK_INTERFACE_LAN, "0"},
        {nullptr, NETWORK_INTERFACE_ANY, "127.0.0.1"},
        // Listed: 127.0.0.1, 192.168.0.5, 10.0.0.2, 100.64.0.1.
        {"addr add 192.168.0.5/24 dev ossa && ip addr add 10.0.0.2/8 dev ossb && "
         "ip addr add 100.64.0.1/10 dev ossb",
         NETWORK_INTERFACE_ANY, "10.0.0.2"},
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
        ASSERT_TRUE(!Case.Setup || Ip(Case.Setup)) << Case.Setup;
        struct in_addr Address = {0xFFFFFFFF};
        COSSLinuxNetwork Socket(AF_INET, SOCK_DGRAM, 0, Case.Interface);
        const bool Found = Socket.GetSystemIPAddress(&Address.s_addr);
        EXPECT_EQ(Case.Expected, std::string(Address.s_addr ? inet_ntoa(Address) : "0")) << "kind " << Case.Interface;
        EXPECT_EQ(Address.s_addr != 0, Found);
    }
}

TEST(OSSLinuxNetworkTest, DatagramsTravelOverLoopback)
{
    COSSLinuxNetwork Receiver(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    COSSLinuxNetwork Sender(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    ASSERT_TRUE(Receiver.BindToAddress("127.0.0.1", 0));
    struct sockaddr_in Bound = {};
    socklen_t Length = sizeof(Bound);
    ASSERT_EQ(0, getsockname(Receiver.GetFileDescriptor(), reinterpret_cast<struct sockaddr*>(&Bound), &Length));
    const IP_Port_T Port = ntohs(Bound.sin_port);

    // Non-blocking first, so a datagram that went astray fails instead of hanging.
    EXPECT_TRUE(Receiver.SetSocketFlags(O_NONBLOCK));
    UINT8 Out[] = {'p', 'i', 'n', 'g', 0, 1, 2, 3};
    const Buffer_Bytes_T Message(Out, sizeof(Out));
    EXPECT_TRUE(Sender.Send(&Message, "127.0.0.1", Port));
    EXPECT_EQ(sizeof(Out), Message.size());
    UINT8 In[64] = {};
    Buffer_Bytes_T Reply(In, sizeof(In));
    EXPECT_TRUE(Receiver.Receive(&Reply));
    ASSERT_EQ(sizeof(Out), Reply.size());
    EXPECT_EQ(0, memcmp(Out, In, sizeof(Out)));

    // Nothing waiting: the receive fails and holds no bytes.
    Reply.size(sizeof(In));
    EXPECT_FALSE(Receiver.Receive(&Reply));
    EXPECT_EQ(EAGAIN, Receiver.GetErrorCode());
    EXPECT_EQ(0u, Reply.size());
    EXPECT_TRUE(Receiver.ClearSocketFlags(O_NONBLOCK) && Receiver.ClearSocketFlags(O_NONBLOCK));
    EXPECT_FALSE(fcntl(Receiver.GetFileDescriptor(), F_GETFL) & O_NONBLOCK);  // a clear flag stays clear

    COSSLinuxNetwork Rival(AF_INET, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
    EXPECT_FALSE(Rival.Bind(Port));
    EXPECT_EQ(EADDRINUSE, Rival.GetErrorCode());
    EXPECT_TRUE(Rival.Bind(0));

    // Multicast leaves through the system address.
    EXPECT_TRUE(Sender.EnableTxMulticast());
    struct in_addr Interface = {};
    Length = sizeof(Interface);
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
        "open error " + std::to_string(EAFNOSUPPORT) +
            "\n.*Utilities/OSSLinuxNetwork.cpp:[0-9]+: .*Assertion .m_Socket != -1. failed");
}

// Every operation on such a socket stops at its own check, before the
// destructor's: the report names the operation.
TEST(OSSLinuxNetworkDeathTest, EveryOperationOnASocketThatNeverOpenedEndsTheProgram)
{
    UINT8 Storage[4] = {};
    Buffer_Bytes_T Buffer(Storage, sizeof Storage);
    const int One = 1;
    const std::pair<const char*, std::function<void(COSSLinuxNetwork&)>> Calls[] = {
        {"SetSockOpt", [&](COSSLinuxNetwork& S) { S.SetSockOpt(SOL_SOCKET, SO_REUSEADDR, &One, sizeof One); }},
        {"EnableTxMulticast", [](COSSLinuxNetwork& S) { S.EnableTxMulticast(); }},
        {"Send", [&](COSSLinuxNetwork& S) { S.Send(&Buffer, "127.0.0.1", 9); }},
        {"Bind", [](COSSLinuxNetwork& S) { S.Bind(9); }},
        {"BindToAddress", [](COSSLinuxNetwork& S) { S.BindToAddress("127.0.0.1", 9); }},
        {"Receive", [&](COSSLinuxNetwork& S) { S.Receive(&Buffer); }},
        {"SetSocketFlags", [](COSSLinuxNetwork& S) { S.SetSocketFlags(O_NONBLOCK); }},
        {"ClearSocketFlags", [](COSSLinuxNetwork& S) { S.ClearSocketFlags(O_NONBLOCK); }},
    };
    for (const auto& Call : Calls)
        EXPECT_DEATH(
            {
                COSSLinuxNetwork Socket(-1, SOCK_DGRAM, 0, NETWORK_INTERFACE_LOOPBACK);
                Call.second(Socket);
            },
            std::string("COSSLinuxNetwork::") + Call.first + ".*Assertion .m_Socket != -1. failed")
            << Call.first;
}
