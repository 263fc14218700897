// Streams from the network, sent by real senders and by a server that misbehaves on demand.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "support/client.h"
#include "support/net_peer.h"
#include "support/rtp_stream.h"
#include "zelvane_modules.h"

using support::Framed;
using support::InputPort;
using support::Library;
using support::Socket;
using support::WaitUntil;

namespace {

const char *const STREAM = "h264_640x360_bf0.264";

class NetStream : public testing::Test {
 protected:
    Library m_library;
};

std::unique_ptr<InputPort> OpenUdp(uint16_t port) {
    return std::make_unique<InputPort>(
        [port](ULONG_32 number) {
            return Zelvane_OpenNetStream(number, "127.0.0.1", port, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP) != 0;
        },
        Zelvane_CloseNetStream);
}

std::unique_ptr<InputPort> OpenTcp(uint16_t port) {
    return std::make_unique<InputPort>(
        [port](ULONG_32 number) {
            return Zelvane_OpenNetStream(number, nullptr, 0, "127.0.0.1", port, PLAYER_PROTOCOL_TCP) != 0;
        },
        Zelvane_CloseNetStream);
}

const std::vector<std::string> &Expected() {
    static const std::vector<std::string> all = ReferenceMd5s(ReadFile(MediaPath(STREAM)), AV_CODEC_ID_H264);
    return all;
}

std::vector<Bytes> Packets() {
    return support::PacketiseVideo(ReadFile(MediaPath(STREAM)), AV_CODEC_ID_H264, support::RTP_PT_H264);
}

/** Waits for the pictures of the whole stream and compares them. */
void ExpectWholeStream(InputPort &port) {
    WaitUntil([&] { return port.PictureMd5s().size() >= Expected().size(); });
    EXPECT_EQ(port.PictureMd5s(), Expected());
}

/** Notes how long closes take. Half of them within 50 ms says what one says on a machine that others use as well. */
class CloseTimes {
 public:
    ~CloseTimes() {
        std::sort(m_times.begin(), m_times.end());
#ifndef ZELVANE_SANITIZED
        EXPECT_LT(m_times[m_times.size() / 2], 50) << "milliseconds";
#endif
        EXPECT_LT(m_times.back(), 2000) << "milliseconds";
    }
    void Close(InputPort *port) {
        const auto start = std::chrono::steady_clock::now();
        port->Close();
        m_times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }

 private:
    std::vector<double> m_times;
};

}  // namespace

TEST_F(NetStream, FfmpegAndGStreamerSendOverUdp) {
    const std::string file = MediaPath(STREAM), port = std::to_string(support::FreeUdpPort());
    const std::vector<std::string> senders[] = {
        {"ffmpeg", "-nostdin", "-readrate", "3", "-i", file, "-c", "copy", "-f", "rtp", "rtp://127.0.0.1:" + port},
        {"gst-launch-1.0", "-q", "filesrc", "location=" + file, "!", "h264parse", "!", "rtph264pay",
         "config-interval=-1", "pt=96", "!", "udpsink", "host=127.0.0.1", "port=" + port},
    };
    for (const auto &sender : senders) {
        const auto receiver = OpenUdp(static_cast<uint16_t>(std::stoi(port)));
        ASSERT_EQ(support::Run(sender), 0);
        ExpectWholeStream(*receiver);
    }
}

TEST_F(NetStream, H265AndSoundOverUdpWithFiguresOfTheStream) {
    Bytes stream = ReadFile(MediaPath("h265_640x360.265"));
    support::RewriteH265KeyUnits(&stream);
    const uint16_t port = support::FreeUdpPort();
    const auto receiver = OpenUdp(port);
    ASSERT_TRUE(Zelvane_OpenSound(receiver->Number()));
    const Socket sender = support::UdpSender(port);
    support::RtpSender sound(support::RTP_PT_G711U);
    uint32_t sent = 0;
    for (const Bytes &packet : support::PacketiseVideo(stream, AV_CODEC_ID_HEVC, support::RTP_PT_H265)) {
        ASSERT_TRUE(sender.Send(packet));
        ASSERT_TRUE(sender.Send(sound.Packet(Bytes(160, 0xFF), sent += 160, true)));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(WaitUntil([&] { return receiver->AudioFrames() == sent / 160; }));
    WaitUntil([&] { return receiver->PictureMd5s().size() >= 75; });
    EXPECT_EQ(receiver->PictureMd5s(), ReferenceMd5s(stream, AV_CODEC_ID_HEVC));
    EXPECT_TRUE(WaitUntil([&] {
        LONG_32 rate = 0;
        sender.Send(sound.Packet(Bytes(160, 0xFF), sent += 160, true));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return Zelvane_GetBitRate(receiver->Number(), &rate) && rate > 0;
    })) << "a rate stands after the first period of 2.5 seconds";
    LONG_32 all = 0;
    LONG_32 lost = -1;
    ASSERT_TRUE(Zelvane_GetLostPacketRate(receiver->Number(), &all, &lost));
    EXPECT_GT(all, 0);
    EXPECT_EQ(lost, 0);
}

TEST_F(NetStream, GarbageBetweenFramesCostsNothingElse) {
    support::TcpServer server;
    const auto receiver = OpenTcp(server.Port());
    const Socket peer = server.Accept();
    size_t count = 0;
    for (const Bytes &packet : Packets()) {
        switch (count++ % 50) {
            case 10:
                peer.Send(Bytes{'$', 0, 0xFF, 0xFF, 'x'});
                break;
            case 20:
                peer.Send(Bytes(5000, 'x'));
                break;
            case 30:
                peer.Send(Framed(Bytes(40, 0xC8), 1));
                break;
            case 40:
                peer.Send(Framed(Bytes{}));
                break;
        }
        ASSERT_TRUE(peer.Send(Framed(packet, count % 2 == 0 ? 0 : 2)));
    }
    ExpectWholeStream(*receiver);
    EXPECT_GT(Library::LinesWith("Player_RecvPacketEx Failed"), 0U);
}

TEST_F(NetStream, PeerThatEndsLeavesThePortOpenAndSilent) {
    support::TcpServer server;
    const auto closed = OpenTcp(server.Port());
    server.Accept().Close();
    const auto reset = OpenTcp(server.Port());
    server.Accept().Reset();
    const auto half = OpenTcp(server.Port());
    {
        const Socket peer = server.Accept();
        peer.Send(Bytes{'$', 0});
    }
    EXPECT_TRUE(
        WaitUntil([] { return Library::LinesWith("NetRecv Thread: NET_RecvPacket Failed, Error:[0x6]") == 2; }));
    EXPECT_TRUE(
        WaitUntil([] { return Library::LinesWith("NetRecv Thread: NET_RecvPacket Failed, Error:[0x5]") == 1; }));
    EXPECT_FALSE(Zelvane_OpenNetStream(closed->Number(), "", 0, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP)) << "still open";
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
    CloseTimes closes;
    for (InputPort *port : {closed.get(), reset.get(), half.get()}) {
        closes.Close(port);
    }
}

TEST_F(NetStream, EmptyDatagramIsReportedAsTheEnd) {
    static std::atomic<ULONG_32> reported;
    reported = 0;
    Zelvane_SetPlayerRunMsgCB([](ULONG_32 kind, void *message) {
        if (kind == PLAYER_RUN_INFO_STREAM) {
            reported = static_cast<REPORT_MSG_U *>(message)->stRunInfo.ulErrCode;
        }
    });
    const uint16_t port = support::FreeUdpPort();
    const auto receiver = OpenUdp(port);
    send(support::UdpSender(port).Fd(), "", 0, 0);
    EXPECT_TRUE(WaitUntil([] { return reported == PLAYER_RUN_PEER_CLOSED; }));
    Zelvane_SetPlayerRunMsgCB(nullptr);
}

TEST_F(NetStream, ClosesAtOnceWhateverThePeerDoes) {
    support::TcpServer server;
    const std::vector<Bytes> packets = Packets();
    CloseTimes closes;
    for (int i = 0; i < 7; i++) {
        const auto silent = OpenUdp(support::FreeUdpPort());
        const auto stalled = OpenTcp(server.Port());
        const Socket stalledPeer = server.Accept();
        stalledPeer.Send(Bytes{'$', 0, 10, 0, 1, 2, 3});
        const auto busy = OpenTcp(server.Port());
        const Socket busyPeer = server.Accept();
        std::thread sender([&] {
            for (size_t k = 0; busyPeer.Send(Framed(packets[k])); k = (k + 1) % packets.size()) {
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(15 * i));
        for (InputPort *port : {silent.get(), stalled.get(), busy.get()}) {
            closes.Close(port);
        }
        sender.join();
    }
}

TEST_F(NetStream, ReopensAsAnotherKind) {
    support::TcpServer server;
    const uint16_t udp = support::FreeUdpPort();
    ULONG_32 number = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&number));
    for (const ULONG_32 protocol : {PLAYER_PROTOCOL_TCP, PLAYER_PROTOCOL_UDP, PLAYER_PROTOCOL_TCP_REPALY,
                                    PLAYER_PROTOCOL_TCP, PLAYER_PROTOCOL_PIPE, PLAYER_PROTOCOL_TCP_SERVER}) {
        ASSERT_TRUE(Zelvane_OpenNetStream(number, "127.0.0.1", udp, "127.0.0.1", server.Port(), protocol)) << protocol;
        if (protocol == PLAYER_PROTOCOL_TCP || protocol == PLAYER_PROTOCOL_TCP_REPALY) {
            server.Accept().Send(Framed(Bytes(500, 0x80)));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_TRUE(Zelvane_CloseNetStream(number));
        EXPECT_TRUE(Zelvane_CloseNetStream(number)) << "a second time is nothing";
    }
    EXPECT_EQ(Library::LinesWith("NET_RecvPacket Failed, Error:[0x2]"), 1U) << "the replay kind lacks a buffer";
    EXPECT_NE(fcntl(0, F_GETFD), -1) << "standard input is still there";
    Zelvane_FreePort(number);
}

TEST_F(NetStream, TapKeepsThePacketsOfATcpStream) {
    support::TcpServer server;
    const auto receiver = OpenTcp(server.Port());
    const Socket peer = server.Accept();
    static std::atomic<size_t> bytes;
    bytes = 0;
    Zelvane_SetSourceMediaDataCB(
        receiver->Number(),
        [](ULONG_32, const UCHAR *, ULONG_32 length, ULONG_32, void *, LONG_REAL) { bytes += length; }, 0, nullptr);
    for (size_t i = 1; i <= 20; i++) {
        ASSERT_TRUE(peer.Send(Framed(Bytes(100, 0x80))));
        ASSERT_TRUE(WaitUntil([&] { return bytes == i * 100; })) << "the packet before it is looked at once more";
    }
    ULONG_32 frames = 0;
    ULONG_32 slots = 1;
    ASSERT_TRUE(Zelvane_GetPacketQueueStart(receiver->Number(), &frames, &slots));
    EXPECT_EQ(slots, 0U);
}

TEST_F(NetStream, NatMessageGoesOutOnceForEachWish) {
    support::TcpServer server;
    const auto receiver = OpenTcp(server.Port());
    const Socket peer = server.Accept();
    Bytes got(1000);
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(Zelvane_SetNatParam(receiver->Number(), PLAYER_NAT_IN, "session"));
        ASSERT_EQ(recv(peer.Fd(), got.data(), 28, MSG_WAITALL), 28);
        EXPECT_EQ(got[10], 's');
        ASSERT_TRUE(Zelvane_SetNatParam(receiver->Number(), PLAYER_NAT_OUT, "session"));
    }
    EXPECT_EQ(recv(peer.Fd(), got.data(), got.size(), MSG_DONTWAIT), -1);
    EXPECT_FALSE(Zelvane_SetNatParam(receiver->Number(), PLAYER_NAT_IN, nullptr));
}

TEST_F(NetStream, RefusalsHaveTheirCodes) {
    ULONG_32 number = 0;
    LONG local = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&number));
    const auto code = [](BOOL_T result) { return result ? ULONG_32{0} : Zelvane_GetLastError(); };
    EXPECT_EQ(code(Zelvane_OpenNetStream(256, "", 0, "127.0.0.1", 0, 0)), 259U);
    EXPECT_EQ(code(Zelvane_OpenNetStream(number + 1, "", 0, "127.0.0.1", 0, 0)), 259U);
    EXPECT_EQ(code(Zelvane_OpenNetStream(number, "", 0, "localhost", 554, PLAYER_PROTOCOL_TCP)), 2U);
    EXPECT_EQ(code(Zelvane_OpenNetStream(number, nullptr, 0, nullptr, 554, PLAYER_PROTOCOL_UDP)), 2U);
    EXPECT_EQ(Library::LinesWith("NET_CreateRecvSocket Failed, Error:[0x2]."), 2U);
    EXPECT_EQ(code(Zelvane_GetLocalNetPort(number, "", &local)), 7U);
    EXPECT_EQ(code(Zelvane_GetLocalNetPort(number, "", nullptr)), 2U);
    EXPECT_EQ(code(Zelvane_ReleaseLocalNetPort(number)), 7U);
    EXPECT_EQ(code(Zelvane_SetTcpOutTime(5)), 0U);
    EXPECT_EQ(code(Zelvane_CloseNetStream(number + 1)), 0U) << "closing what is not there is no failure";

    const InputPort pushed;
    EXPECT_TRUE(Zelvane_CloseNetStream(pushed.Number()));
    EXPECT_TRUE(Zelvane_InputMediaData(pushed.Number(), reinterpret_cast<const UCHAR *>("G"), 1)) << "left alone";
    Zelvane_FreePort(number);
}

TEST_F(NetStream, CallbacksMayAskButNotClose) {
    const uint16_t port = support::FreeUdpPort();
    const auto receiver = OpenUdp(port);
    static std::atomic<ULONG_32> refused;
    static std::atomic<bool> asked;
    refused = 0;
    asked = false;
    Zelvane_SetSourceMediaDataCB(
        receiver->Number(),
        [](ULONG_32 number, const UCHAR *, ULONG_32, ULONG_32, void *, LONG_REAL) {
            LONG_32 rate = 0;
            asked = Zelvane_GetBitRate(number, &rate) != 0;
            refused = Zelvane_CloseNetStream(number) ? 0 : Zelvane_GetLastError();
        },
        1, nullptr);
    ASSERT_TRUE(support::UdpSender(port).Send(Bytes(100, 0x80)));
    EXPECT_TRUE(WaitUntil([] { return asked && refused == PLAYER_ERR_FAILED; }));
}

TEST_F(NetStream, NothingStaysOfAddressesThatAreDead) {
    ULONG_32 number = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&number));
    const uint16_t dead = support::FreeTcpPort();
    const uint16_t udp = support::FreeUdpPort();
    const size_t descriptors = support::OpenDescriptors();
    const size_t threads = support::Threads();
    for (int i = 0; i < 100; i++) {
        EXPECT_FALSE(Zelvane_OpenNetStream(number, "", 0, "127.0.0.1", dead, PLAYER_PROTOCOL_TCP));
        EXPECT_TRUE(Zelvane_OpenNetStream(number, "127.0.0.1", udp, "127.0.0.1", dead, PLAYER_PROTOCOL_UDP));
        EXPECT_TRUE(Zelvane_CloseNetStream(number));
    }
    EXPECT_EQ(support::OpenDescriptors(), descriptors);
    EXPECT_EQ(support::Threads(), threads);
    Zelvane_FreePort(number);
}
