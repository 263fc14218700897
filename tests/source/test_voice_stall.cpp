// A device that doesn't take its voice: calls stay short, the picture goes on, and no packet is left half sent.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "source/talk.h"
#include "support/elapsed.h"
#include "support/rtp_stream.h"

using support::InputPort;
using support::Library;
using support::TcpServer;
using support::WaitUntil;

namespace {

class VoiceStall : public testing::Test {
 protected:
    Library m_library;
};

/** Longest call of 100 ms that a busy machine makes of it. */
constexpr long LONG_CALL_MS = 100 + 400 * SANITIZED_SLOWDOWN;

/** A port that shows a camera's picture and talks to it. */
std::unique_ptr<InputPort> OpenCamera(const TcpServer &server) {
    return std::make_unique<InputPort>([&](ULONG_32 port) { return OpenTalk(port, server.Port()); },
                                       Zelvane_CloseVoiceSvc);
}

/** A port on a connection of the client's own. */
std::unique_ptr<InputPort> OpenOn(const support::Socket &socket) {
    return std::make_unique<InputPort>(
        [&](ULONG_32 port) {
            return Zelvane_OpenVoiceSvc(port, PLAYER_VOICE_SERVICE_TALKBACK_INPUT, static_cast<ULONG_32>(socket.Fd()),
                                        nullptr, 0, nullptr, 0, PLAYER_PROTOCOL_TCP) != 0;
        },
        Zelvane_CloseVoiceSvc);
}

/** What a talker said, and which of it was taken. */
struct Talk {
    std::vector<Bytes> taken;
    uint32_t number = 0;
    std::atomic<size_t> refused{0};
    long longest = 0;

    bool Say(ULONG_32 port, size_t size) {
        const Bytes pcm = Sound(size, number++);
        bool good = false;
        longest = std::max(longest, ElapsedMs([&] { good = ::Say(port, pcm); }));
        if (good) {
            taken.push_back(MuLaw(pcm));
        }
        refused += !good;
        return good;
    }
    /** Talks until nothing more is taken. */
    void Fill(ULONG_32 port, size_t size) {
        while (Say(port, size)) {
        }
    }
};

std::vector<Bytes> Payloads(const std::vector<Heard> &heard) {
    std::vector<Bytes> all;
    for (const Heard &packet : heard) {
        all.push_back(packet.payload);
    }
    return all;
}

std::vector<Bytes> CameraPackets() {
    return support::PacketiseVideo(ReadFile(MediaPath("h264_640x360_bf0.264")), AV_CODEC_ID_H264, support::RTP_PT_H264);
}

}  // namespace

TEST_F(VoiceStall, OneCallWaitsOnceAndTheRestOfItsPacketGoesFirst) {
    for (const size_t size : {320, 1600, 3000}) {
        Pair pair = Pair::Make();
        const auto port = OpenOn(pair.near);
        Talk talk;
        talk.Fill(port->Number(), size);
        EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_SOCKET_SEND);
        EXPECT_GE(talk.longest, 95) << "it waited";
        EXPECT_LT(talk.longest, LONG_CALL_MS);
        Library::ForgetLines();
        const size_t before = talk.refused;
        const long later = ElapsedMs([&] {
            for (int i = 0; i < 250; i++) {
                talk.Say(port->Number(), size);
            }
        });
        EXPECT_GE(talk.refused - before, 240U) << "the system itself may find a little more room";
        EXPECT_LT(later, 250 * 20) << "no further waiting";
        EXPECT_LE(Library::LinesWith("Player_SendVoice: Send Failed"), 3U) << "one line a hundred";
        EXPECT_GE(Library::LinesWith("Player_SendVoice: Send Failed"), 2U);
        std::vector<Heard> heard = pair.device.HearAll();
        EXPECT_TRUE(talk.Say(port->Number(), 320)) << "there is room again";
        for (Heard &packet : pair.device.HearAll()) {
            heard.push_back(std::move(packet));
        }
        EXPECT_EQ(pair.device.Rest(), 0U);
        for (size_t i = 1; i < heard.size(); i++) {
            ASSERT_EQ(static_cast<uint16_t>(heard[i].sequence - heard[i - 1].sequence), 1) << "none lost, none twice";
        }
        if (size <= 2800) {  // a block of two packets may lose its second one
            EXPECT_EQ(Payloads(heard), talk.taken);
        }
    }
}

TEST_F(VoiceStall, ThePictureGoesOnWhileNothingIsTaken) {
    const std::vector<Bytes> packets = CameraPackets();
    BOOL_T (*const closes[])(ULONG_32) = {Zelvane_CloseVoiceSvc, Zelvane_CloseNetStream, Zelvane_CloseInputStream,
                                          [](ULONG_32 port) { return Zelvane_FreePort(port), BOOL_T{1}; }};
    for (const auto close : closes) {
        const TcpServer server;
        const auto port = OpenCamera(server);
        const support::Socket camera = server.Accept();
        const ULONG_32 number = port->Number();
        std::atomic<bool> stop{false};
        Talk talk;
        std::thread talker([&] {
            while (!stop) {
                talk.Say(number, 3000);
            }
        });
        ASSERT_TRUE(WaitUntil([&] { return talk.refused > 0; }));
        for (const Bytes &packet : packets) {
            ASSERT_TRUE(camera.Send(support::Framed(packet)));
        }
        EXPECT_TRUE(WaitUntil([&] { return port->PictureCount() >= 75; })) << port->PictureCount();
        EXPECT_LT(ElapsedMs([&] { EXPECT_TRUE(close(number)); }), LONG_CALL_MS);
        stop = true;
        talker.join();
        EXPECT_LT(talk.longest, LONG_CALL_MS);
    }
}

TEST_F(VoiceStall, ACloseEndsTheWait) {
    const TcpServer server;
    std::vector<long> calls;
    for (int i = 0; i < 5; i++) {
        const auto port = OpenCamera(server);
        const support::Socket camera = server.Accept();
        const PORT_VOICE_INFO_S &voice = Player_GetPort(port->Number())->stVoiceInfo;
        Talk talk;
        std::thread talker([&] { talk.Fill(port->Number(), 3000); });
        int pending = 0;
        ASSERT_TRUE(WaitUntil([&] { return (pending = VoiceSend_IsPending(&voice) ? pending + 1 : 0) >= 5; }));
        port->Close();
        talker.join();
        calls.push_back(talk.longest);
    }
    std::sort(calls.begin(), calls.end());
    EXPECT_LT(calls[2], 95) << "milliseconds";
}

TEST_F(VoiceStall, TheNatMessageNeverLandsInsideAPacket) {
    const TcpServer server;
    const auto port = OpenCamera(server);
    Device device(server.Accept());
    ASSERT_TRUE(Zelvane_SetNatParam(port->Number(), PLAYER_NAT_IN, "session-0123456"));
    EXPECT_EQ(device.Hear(1).at(0).channel, 0) << "at once when nothing is in its way";
    Talk talk;
    talk.Fill(port->Number(), 2800);
    ASSERT_TRUE(Zelvane_SetNatParam(port->Number(), PLAYER_NAT_IN, "session-0123456"));
    talk.Fill(port->Number(), 2800);
    std::vector<Heard> heard = device.HearAll();
    WaitUntil([&] {
        EXPECT_TRUE(talk.Say(port->Number(), 320));
        for (Heard &packet : device.Hear(1)) {
            heard.push_back(std::move(packet));
        }
        return Player_GetPort(port->Number())->stNatTimeParam.enNatMode == PLAYER_NAT_NONE;
    });
    for (Heard &packet : device.HearAll()) {
        heard.push_back(std::move(packet));
    }
    EXPECT_EQ(device.Rest(), 0U);
    EXPECT_EQ(std::count_if(heard.begin(), heard.end(), [](const Heard &packet) { return packet.channel == 0; }), 1);
    std::erase_if(heard, [](const Heard &packet) { return packet.channel == 0; });
    EXPECT_EQ(Payloads(heard), talk.taken);
}

TEST_F(VoiceStall, ADeviceThatGoesCostsItsOwnVoiceOnly) {
    for (const bool reset : {false, true}) {
        const TcpServer server, second;
        const auto gone = OpenCamera(server), good = OpenCamera(second);
        support::Socket camera = server.Accept();
        Device other(second.Accept());
        EXPECT_TRUE(Say(gone->Number(), Sound(320, 1)));
        reset ? camera.Reset() : camera.Close();
        EXPECT_TRUE(WaitUntil([&] { return !Say(gone->Number(), Sound(320, 2)); })) << "and no SIGPIPE";
        EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_SOCKET_SEND);
        EXPECT_LT(ElapsedMs([&] { EXPECT_FALSE(Say(gone->Number(), Sound(320, 3))); }), 100 * SANITIZED_SLOWDOWN);
        EXPECT_TRUE(Say(good->Number(), Sound(320, 4)));
        EXPECT_EQ(other.Hear(1).at(0).payload, MuLaw(Sound(320, 4)));
        EXPECT_TRUE(Zelvane_CloseVoiceSvc(gone->Number()));
    }
}

TEST_F(VoiceStall, AClosedServiceLeavesTheClientsConnectionInStep) {
    Pair pair = Pair::Make();
    auto port = OpenOn(pair.near);
    Talk talk;
    talk.Fill(port->Number(), 2800);
    ASSERT_TRUE(VoiceSend_IsPending(&Player_GetPort(port->Number())->stVoiceInfo));
    std::vector<Heard> heard;
    std::thread reader([&] { heard = pair.device.Hear(talk.taken.size() + 1); });
    EXPECT_TRUE(Zelvane_CloseVoiceSvc(port->Number()));
    EXPECT_TRUE(pair.near.Send(support::Framed(Bytes(12, 7))));
    reader.join();
    ASSERT_EQ(heard.size(), talk.taken.size() + 1);
    heard.pop_back();
    EXPECT_EQ(Payloads(heard), talk.taken);
}

TEST_F(VoiceStall, CallbacksTalkButDoNotClose) {
    const TcpServer server;
    const auto port = OpenCamera(server);
    Device camera(server.Accept());
    std::atomic<int> refused{0}, said{0};
    port->onPicture = [&] {
        for (const auto close : {Zelvane_CloseVoiceSvc, Zelvane_CloseNetStream, Zelvane_CloseInputStream}) {
            refused += !close(port->Number()) && Zelvane_GetLastError() == PLAYER_ERR_FAILED;
        }
        said += Say(port->Number(), Sound(320, 1));
    };
    for (const Bytes &packet : CameraPackets()) {
        ASSERT_TRUE(camera.Connection().Send(support::Framed(packet)));
    }
    EXPECT_TRUE(WaitUntil([&] { return port->PictureCount() >= 75; }));
    EXPECT_TRUE(WaitUntil([&] { return said >= 75; }));
    EXPECT_EQ(refused, 3 * said);
    EXPECT_EQ(camera.Hear(75).size(), 75U);
    port->Close();
}

TEST_F(VoiceStall, ThePushOfTheClientsOwnCameraIsHardlyHeldUp) {
    const std::vector<Bytes> packets = CameraPackets();
    Pair pair = Pair::Make();
    const auto port = OpenOn(pair.near);
    std::atomic<bool> stop{false};
    std::thread talker([&] {
        while (!stop) {
            Say(port->Number(), Sound(320, 1));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    ASSERT_TRUE(WaitUntil([&] { return VoiceSend_IsPending(&Player_GetPort(port->Number())->stVoiceInfo); }));
    EXPECT_LT(ElapsedMs([&] { EXPECT_TRUE(port->PushAll(packets)); }), 3000 * SANITIZED_SLOWDOWN);
    EXPECT_TRUE(WaitUntil([&] { return port->PictureCount() >= 75; }));
    stop = true;
    talker.join();
}
