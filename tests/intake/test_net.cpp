// Sockets of live streams, and the framing that carries packets over TCP.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "support/elapsed.h"
#include "support/net_peer.h"
#include "zelvane_modules.h"

using support::Framed;
using support::Socket;

namespace {

bool IsIpv4(const char *text) { return NET_IsIPV4(const_cast<char *>(text)) != 0; }
bool IsIpv6(const char *text) { return NET_IsIPV6(const_cast<char *>(text)) != 0; }

struct Received {
    ULONG_32 result;
    ULONG_32 length;
};

Received Read(decltype(NET_TcpRecvMsg) *call, int fd) {
    static CHAR buffer[NET_READ_SIZE];
    Received received = {0, 77};
    received.result = call(fd, buffer, &received.length);
    return received;
}
Received ReadUdp(int fd) { return Read(NET_UdpRecvMsg, fd); }
Received ReadTcp(int fd) { return Read(NET_TcpRecvMsg, fd); }

/** Both ends of a connection. */
struct Connection {
    Socket near;
    Socket far;

    Connection() {
        int fds[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        near = Socket(fds[0]);
        far = Socket(fds[1]);
    }
};

/** A port that receives framed packets from one end of a connection. */
class Framing {
 public:
    Framing() {
        m_port->pcRecvDataAddr = m_buffers[0].get();
        m_port->pcRecvDataTmpAddr = m_buffers[1].get();
        m_port->stNetInfo.stSocket = m_connection.near.Fd();
    }
    ULONG_32 Step() { return Player_RecvPacketEx(&m_port->stNetInfo, m_port.get()); }
    bool Send(Span data) { return m_connection.far.Send(data); }
    void EndSending() { shutdown(m_connection.far.Fd(), SHUT_WR); }
    PLAEYR_PORT_S *Port() { return m_port.get(); }

    /** Steps until the peer's end; the packets found, and how often it had to look for a head. */
    std::vector<Bytes> TakeAll() {
        std::vector<Bytes> packets;
        ULONG_32 result = PLAYER_ERR_TCP_RECV;
        while (result == PLAYER_ERR_TCP_RECV || result == PLAYER_ERR_OK) {
            result = Step();
            if (result == PLAYER_ERR_OK) {
                packets.emplace_back(m_port->pcRecvDataAddr + 4, m_port->pcRecvDataAddr + m_port->ulRecvDataLen);
                m_port->ulRecvDataLen = 0;
            }
        }
        EXPECT_EQ(result, static_cast<ULONG_32>(PLAYER_ERR_SOCKET_RECV_ZERO));
        return packets;
    }

 private:
    Connection m_connection;
    std::unique_ptr<CHAR[]> m_buffers[2] = {std::make_unique<CHAR[]>(NET_TCP_BUFFER_SIZE),
                                            std::make_unique<CHAR[]>(NET_TCP_BUFFER_SIZE)};
    std::unique_ptr<PLAEYR_PORT_S> m_port = std::make_unique<PLAEYR_PORT_S>();
};

std::vector<Bytes> PacketsOf(Span stream) {
    Framing framing;
    EXPECT_TRUE(framing.Send(stream));
    framing.EndSending();
    return framing.TakeAll();
}

Bytes Joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

}  // namespace

TEST(NetAddress, Ipv4AndIpv6AreToldFromTheRest) {
    for (const char *text : {"192.168.0.1", "0.0.0.0", "255.255.255.255", "192.168.0.1:554/x", "10.0.0.1/24"}) {
        EXPECT_TRUE(IsIpv4(text)) << text;
    }
    for (const char *text : {"", "1.2.3", "1.2.3.4.5", "1..3.4", ".1.2.3", "1.2.3.", "256.1.1.1", "1.1.1.256",
                             "1.1.1.4294967297", "99999999999999999999.1.1.1", "localhost", "1.2.3.4 ", "::1"}) {
        EXPECT_FALSE(IsIpv4(text)) << text;
    }
    for (const char *text : {"::1", "fe80::1", "1:2:3:4:5:6:7:8", "FFFF:ffff::0/64", "1:2:3:4:5:6:7:8:any thing"}) {
        EXPECT_TRUE(IsIpv6(text)) << text;
    }
    for (const char *text : {"", "::", "1::", "1:2:3:4:5:6:7:", "10000::1", "::10000", "::1%eth0", "::ffff:1.2.3.4",
                             "FFFFFFFFFFFFFFFFFFFF::1", "camera"}) {
        EXPECT_FALSE(IsIpv6(text)) << text;
    }
    EXPECT_FALSE(NET_IsIPV4(nullptr));
    EXPECT_FALSE(NET_IsIPV6(nullptr));
}

TEST(NetSocket, UdpIsBoundAndTakesDatagramsFromAnyone) {
    for (const char *remote : {"127.0.0.1", "203.0.113.7", "::1"}) {
        NET_INFO_S info = {};
        const uint16_t port = support::FreeUdpPort();
        ASSERT_EQ(NET_CreateRecvSocket(nullptr, port, remote, 1, PLAYER_PROTOCOL_UDP, &info), 0U) << remote;
        EXPECT_STREQ(info.szRemoteIP, remote);
        EXPECT_EQ(info.usLocalPort, port);
        EXPECT_NE(fcntl(info.stSocket, F_GETFD) & FD_CLOEXEC, 0) << "a program started by the client must not have it";
        ASSERT_TRUE(support::UdpSender(port).Send(Bytes(1400, 7)));
        CHAR buffer[NET_READ_SIZE];
        ULONG_32 length = 0;
        EXPECT_EQ(NET_RecvPacket(&info, buffer, &length), 0U);
        EXPECT_EQ(length, 1400U);
        NET_DestoryRecvSocket(&info);
        EXPECT_EQ(info.ulTransProtl, 0U);
        EXPECT_EQ(info.szRemoteIP[0], '\0');
    }
}

TEST(NetSocket, WhatCannotBeOpenedHasItsCode) {
    NET_INFO_S info = {};
    for (const char *name : {"localhost", "", static_cast<const char *>(nullptr)}) {
        for (const ULONG_32 protocol : {PLAYER_PROTOCOL_UDP, PLAYER_PROTOCOL_TCP, PLAYER_PROTOCOL_TCP_SERVER}) {
            EXPECT_EQ(NET_CreateRecvSocket("", 0, name, 554, protocol, &info), 2U);
        }
    }
    EXPECT_EQ(NET_CreateRecvSocket("", 0, "127.0.0.1", 554, PLAYER_PROTOCOL_MAX, &info), 2U);
    EXPECT_EQ(NET_CreateRecvSocket("", 0, "127.0.0.1:554/x", 554, PLAYER_PROTOCOL_TCP, &info), 2U);
    EXPECT_EQ(NET_CreateRecvSocket("", 0, "127.0.0.1", support::FreeTcpPort(), PLAYER_PROTOCOL_TCP, &info), 4U);
    EXPECT_EQ(info.stSocket, -1);

    NET_INFO_S first = {};
    const uint16_t port = support::FreeUdpPort();
    ASSERT_EQ(NET_CreateRecvSocket("127.0.0.1", port, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP, &first), 0U);
    for (const char *local : {"127.0.0.1", "localhost", "::1", "192.0.2.1"}) {
        EXPECT_EQ(NET_CreateRecvSocket(local, port, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP, &info), 4U) << local;
        EXPECT_EQ(info.stSocket, -1);
    }
    NET_DestoryRecvSocket(&first);
}

TEST(NetSocket, RecordsWithoutASocketCostTheProcessNoDescriptor) {
    NET_INFO_S info = {};
    for (const ULONG_32 protocol : {PLAYER_PROTOCOL_TCP_SERVER, PLAYER_PROTOCOL_PIPE}) {
        EXPECT_EQ(NET_CreateRecvSocket("", 0, "127.0.0.1", 1, protocol, &info), 0U);
        EXPECT_EQ(info.stSocket, 0);
        NET_DestoryRecvSocket(&info);
        NET_DestoryRecvSocket(&info);
    }
    EXPECT_EQ(NET_CreateRecvSocket("", 0, "239.1.1.1", 1, PLAYER_PROTOCOL_UDP, &info), 0U);
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    getsockname(info.stSocket, reinterpret_cast<sockaddr *>(&address), &length);
    EXPECT_EQ(address.sin_port, 0) << "a group's socket stays unbound";
    NET_DestoryRecvSocket(&info);
    NET_DestoryRecvSocket(&info);
    EXPECT_NE(fcntl(0, F_GETFD), -1) << "standard input is still there";
}

TEST(NetReceive, DatagramsAndWhatIsNone) {
    const uint16_t port = support::FreeUdpPort();
    NET_INFO_S info = {};
    ASSERT_EQ(NET_CreateRecvSocket("127.0.0.1", port, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP, &info), 0U);
    Received none = {};
    EXPECT_NEAR(ElapsedMs([&] { none = ReadUdp(info.stSocket); }), 500, 200);
    EXPECT_EQ(none.result, 0U);
    EXPECT_EQ(none.length, 0U);
    const Socket sender = support::UdpSender(port);
    ASSERT_TRUE(sender.Send(Bytes(12000, 1)));
    EXPECT_EQ(ReadUdp(info.stSocket).length, 10240U) << "cut to what a read holds";
    send(sender.Fd(), "", 0, 0);
    EXPECT_EQ(ReadUdp(info.stSocket).result, 6U);
    EXPECT_EQ(ReadUdp(info.stSocket).result, 0U) << "an empty datagram is the end for the stream, not for the socket";
    NET_DestoryRecvSocket(&info);
}

TEST(NetReceive, StreamsAndTheirEnds) {
    Connection connection;
    Received none = {};
    EXPECT_NEAR(ElapsedMs([&] { none = ReadTcp(connection.near.Fd()); }), 500, 200);
    EXPECT_EQ(none.result, 0U);
    EXPECT_EQ(none.length, 77U) << "untouched";
    ASSERT_TRUE(connection.far.Send(Bytes(11000, 1)));
    EXPECT_EQ(ReadTcp(connection.near.Fd()).length, 10240U);
    EXPECT_EQ(ReadTcp(connection.near.Fd()).length, 760U);
    connection.far.Close();
    EXPECT_EQ(ReadTcp(connection.near.Fd()).result, 6U);
    CHAR data[8] = {};
    EXPECT_EQ(NET_TcpSendMsg(connection.near.Fd(), data, sizeof(data)), 11U) << "and no SIGPIPE";

    support::TcpServer server;
    NET_INFO_S info = {};
    ASSERT_EQ(NET_CreateRecvSocket("", 0, "127.0.0.1", server.Port(), PLAYER_PROTOCOL_TCP, &info), 0U);
    server.Accept().Reset();
    EXPECT_EQ(ReadTcp(info.stSocket).result, 5U);
    NET_DestoryRecvSocket(&info);
}

TEST(NetReceive, DescriptorNumbersAreNotLimited) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 3000);
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        GTEST_SKIP() << "no more than 1024 descriptors to be had";
    }
    Connection connection;
    const Socket high(fcntl(connection.near.Fd(), F_DUPFD_CLOEXEC, 2000));
    ASSERT_GE(high.Fd(), 2000);
    EXPECT_EQ(ReadTcp(high.Fd()).length, 77U);
    ASSERT_TRUE(connection.far.Send(Bytes(5, 1)));
    EXPECT_EQ(ReadTcp(high.Fd()).length, 5U);
}

TEST(NetNat, MessageOnTheWire) {
    Connection connection;
    NET_NAT_TIMER_PARAM_S param = {};
    EXPECT_EQ(NET_SetNatParam(PLAYER_NAT_IN, nullptr, &param), 2U);
    EXPECT_EQ(NET_SetNatParam(PLAYER_NAT_IN, "0123456789abcdefXYZ", &param), 0U);
    EXPECT_EQ(param.enNatMode, PLAYER_NAT_IN);
    EXPECT_EQ(NET_SendNatPkt(connection.near.Fd(), &param), 0U);
    Bytes got(100);
    got.resize(static_cast<size_t>(recv(connection.far.Fd(), got.data(), got.size(), 0)));
    Bytes expected = {0x24, 0, 0, 0x18, 0xFF, 0xFD, 0, 48, 0, 1};
    for (const char c : std::string("0123456789abcdef")) {
        expected.push_back(static_cast<uint8_t>(c));
    }
    expected.insert(expected.end(), 2, 0);
    EXPECT_EQ(got, expected);
    const Socket unconnected(socket(AF_INET, SOCK_DGRAM, 0));
    EXPECT_EQ(NET_SendNatPkt(unconnected.Fd(), &param), 11U);
}

TEST(NetNat, PeerThatReadsNothingHoldsNobody) {
    Connection connection;
    NET_NAT_TIMER_PARAM_S param = {};
    ASSERT_EQ(NET_SetNatParam(PLAYER_NAT_IN, "x", &param), 0U);
    ULONG_32 result = 0;
    for (int i = 0; i < 100000 && result == 0; i++) {
        result = NET_SendNatPkt(connection.near.Fd(), &param);
    }
    EXPECT_EQ(result, 11U);
}

TEST(NetFraming, PacketsComeWholeHoweverTheStreamIsCut) {
    const std::vector<Bytes> packets = {Bytes(1, 9),     Bytes{},         Bytes(300, 1),
                                        Bytes(10240, 2), Bytes(10239, 3), Bytes(3, '$')};
    const Bytes stream = support::FramedAll(packets);
    EXPECT_EQ(PacketsOf(stream), packets);
    for (const size_t piece : {1U, 3U, 4U, 5U, 1000U, 10239U, 10243U}) {
        Framing framing;
        std::vector<Bytes> got;
        for (size_t at = 0; at < stream.size(); at += piece) {
            ASSERT_TRUE(framing.Send(Span(stream).subspan(at, std::min(piece, stream.size() - at))));
            ULONG_32 result = framing.Step();
            while (result == PLAYER_ERR_OK || framing.Port()->ulRecvDataTmpLen != 0) {
                if (result == PLAYER_ERR_OK) {
                    got.emplace_back(framing.Port()->pcRecvDataAddr + 4,
                                     framing.Port()->pcRecvDataAddr + framing.Port()->ulRecvDataLen);
                    framing.Port()->ulRecvDataLen = 0;
                }
                result = framing.Port()->ulRecvDataTmpLen != 0 ? framing.Step() : ULONG_32{PLAYER_ERR_TCP_RECV};
            }
        }
        framing.EndSending();
        for (Bytes &packet : framing.TakeAll()) {
            got.push_back(std::move(packet));
        }
        EXPECT_EQ(got, packets) << "pieces of " << piece;
    }
}

TEST(NetFraming, LostFramingIsFoundAgain) {
    const Bytes good = Framed(Bytes(20, 7));
    const Bytes falseHead = {'$', 0, 0xFF, 0xFF, 1, 2, 3};
    const Bytes other = Joined({Framed(Bytes(30, 1), 1), good, Framed(Bytes(30, 1), 3)});  // channels 1 and 3: not ours
    for (const Bytes &stream : {Joined({falseHead, good}), Joined({Bytes(100, 'x'), good}), other}) {
        EXPECT_EQ(PacketsOf(stream), (std::vector<Bytes>{Bytes(20, 7)}));
    }
    EXPECT_TRUE(PacketsOf(Joined({falseHead, Bytes(30, 'x')})).empty());
}

TEST(NetFraming, HalfAHeadAtTheEndOfABlockIsKept) {
    Framing framing;
    ASSERT_TRUE(framing.Send(Joined({Bytes(99, 'x'), {'$'}})));
    EXPECT_EQ(framing.Step(), 529U);
    EXPECT_EQ(framing.Step(), 529U);
    EXPECT_EQ(framing.Port()->ulRecvDataTmpLen, 1U) << "all but the last byte is dropped";
    ASSERT_TRUE(framing.Send(Bytes{2, 0, 3, 4, 5, 6}));
    framing.EndSending();
    EXPECT_EQ(framing.TakeAll(), (std::vector<Bytes>{{4, 5, 6}}));
}
