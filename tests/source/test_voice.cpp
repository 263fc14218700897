// Voice services as a client has them: what goes out for each block, every refusal, and what is left behind.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "source/talk.h"

using support::Library;
using support::OpenDescriptors;
using support::TcpServer;
using support::Threads;

namespace {

class Voice : public testing::Test {
 protected:
    ULONG_32 Alloc() {
        ULONG_32 port = PLAYER_MAX_PORT_NUM;
        EXPECT_TRUE(Zelvane_AllocPort(&port));
        return port;
    }
    std::string Line(ULONG_32 port, const std::string &text) {
        char number[16];
        snprintf(number, sizeof(number), "Port[%03u] ", port);
        return number + text;
    }

    Library m_library;
};

}  // namespace

TEST_F(Voice, EachBlockGoesOutAsItsPackets) {
    const TcpServer server;
    const ULONG_32 port = Alloc();
    ASSERT_TRUE(OpenTalk(port, server.Port()));
    Device device(server.Accept());
    uint16_t sequence = 0;
    uint32_t timestamp = 0, source = 0, number = 0;
    for (const size_t size : {320, 2, 3, 1, 160, 321, 2800, 2801, 2802, 640, 3000, 3001, 320}) {
        const Bytes pcm = Sound(size, number++), coded = MuLaw(pcm);
        ASSERT_TRUE(Say(port, pcm)) << size;
        timestamp += 640;
        for (size_t at = 0; at < coded.size(); at += 1400) {
            const std::vector<Heard> heard = device.Hear(1);
            ASSERT_EQ(heard.size(), 1U) << size;
            source = sequence == 0 ? heard[0].source : source;
            EXPECT_EQ(heard[0].channel, 4);
            EXPECT_EQ(heard[0].mark, 0);
            EXPECT_EQ(heard[0].sequence, sequence++);
            EXPECT_EQ(heard[0].timestamp, timestamp);
            EXPECT_EQ(heard[0].source, source);
            const size_t end = std::min<size_t>(coded.size(), at + 1400);
            EXPECT_EQ(heard[0].payload, Bytes(coded.begin() + static_cast<long>(at), coded.begin() + static_cast<long>(end)));
        }
    }
    EXPECT_FALSE(Say(port, Sound(3002, 0))) << "the encoder has room for 1500 samples";
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_FAILED);
    EXPECT_FALSE(Zelvane_VoiceInputData(port, Bytes(4).data(), 0xFFFFFFFF, nullptr));
    EXPECT_FALSE(Zelvane_VoiceInputData(port, nullptr, 320, nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PARAM);
    PLAYER_AUDIO_SAMPLE_PARAM_S odd = {7, 1, 9};
    EXPECT_TRUE(Zelvane_VoiceInputData(port, Bytes(2).data(), 2, &odd)) << "not looked at";
    EXPECT_EQ(device.Hear(1).size(), 1U);
    Bytes captured = Sound(320, 77);
    EXPECT_EQ(Player_SendVoice(reinterpret_cast<CHAR *>(captured.data()), 320, Player_GetPort(port)), 0U);
    EXPECT_EQ(device.Hear(1).at(0).payload, MuLaw(captured)) << "what is captured goes the same road";
    EXPECT_EQ(Player_SendVoice(nullptr, 320, Player_GetPort(port)), PLAYER_ERR_PARAM);
    EXPECT_EQ(Library::LinesWith(Line(port, "Player_SendVoice Failed, Codec_Encode Failed, Error:[0x2].")), 1U);
    EXPECT_EQ(device.Rest(), 0U);
    EXPECT_TRUE(Zelvane_CloseVoiceSvc(port));
    EXPECT_EQ(device.HearAll().size(), 0U);
}

TEST_F(Voice, WhatTheServiceTypesAndCodingsDo) {
    const size_t descriptors = OpenDescriptors();
    const struct {
        ULONG_32 type, coding;
        ULONG_32 open, say;  ///< codes
        size_t packets;
    } cases[] = {
        {0, PLAYER_AUDIO_ENCODE_G711U, 0, 0, 1}, {2, PLAYER_AUDIO_ENCODE_G711U, 0, 0, 1},
        {4, PLAYER_AUDIO_ENCODE_G711U, 0, 2, 0}, {1, PLAYER_AUDIO_ENCODE_G711U, 7, 2, 0},
        {3, PLAYER_AUDIO_ENCODE_G711U, 7, 2, 0}, {2, PLAYER_AUDIO_ENCODE_PCM, 0, 7, 0},
        {0, PLAYER_AUDIO_ENCODE_AAC, 0, 0, 0},   {2, PLAYER_AUDIO_ENCODE_AAC, 0, 0, 0},
        {3, PLAYER_AUDIO_ENCODE_AAC, 7, 2, 0},
    };
    for (const auto &row : cases) {
        const std::string what = "type " + std::to_string(row.type) + " coding " + std::to_string(row.coding);
        const TcpServer server;
        const ULONG_32 port = Alloc();
        ASSERT_TRUE(Zelvane_SetVoiceEncodeType(port, row.coding, row.coding == 2, 1)) << what;
        ASSERT_EQ(OpenTalk(port, server.Port(), row.type), row.open == 0) << what;
        Device device(server.Accept());
        EXPECT_EQ(Player_VoiceInputData(port, Sound(320, 1).data(), 320, nullptr), row.say) << what;
        if (row.say == 0 && row.packets == 0) {
            EXPECT_TRUE(Say(port, Sound(2048, 2))) << what << ": a whole AAC frame";
        }
        EXPECT_EQ(device.Hear(row.packets).size(), row.packets) << what;
        EXPECT_EQ(Player_GetPort(port)->ulPortUsed, row.open == 0 ? PORT_USED_VOICE : PORT_USED_NULL) << what;
        Zelvane_FreePort(port);
        EXPECT_EQ(device.HearAll().size(), 0U) << what;
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(Voice, RefusalsHaveTheirCodesAndLinesAndLeaveNothing) {
    const TcpServer server;
    const size_t descriptors = OpenDescriptors(), threads = Threads();
    const ULONG_32 port = Alloc();
    const struct {
        ULONG_32 coding, rate, channels;
        const char *line;
    } codings[] = {
        {PLAYER_AUDIO_ENCODE_G711A, 0, 1, "Player_SetVoiceEncodeType Failed, Unknown Encode Type:[3]."},
        {PLAYER_AUDIO_ENCODE_MP2, 9, 9, "Player_SetVoiceEncodeType Failed, Unknown Encode Type:[1]."},
        {PLAYER_AUDIO_ENCODE_G711U, 2, 1, "Player_SetVoiceEncodeType Failed, Unknown Sample Rate:[2]."},
        {PLAYER_AUDIO_ENCODE_G711U, 1, 2, "Player_SetVoiceEncodeType Failed, Unknown Channels:[2]."},
        {PLAYER_AUDIO_ENCODE_G711U, 0, 0, "Player_SetVoiceEncodeType Failed, Unknown Channels:[0]."},
    };
    for (const auto &row : codings) {
        EXPECT_FALSE(Zelvane_SetVoiceEncodeType(port, row.coding, row.rate, row.channels)) << row.line;
        EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_NOT_SUPPORT) << row.line;
        EXPECT_EQ(Library::LinesWith(Line(port, row.line)), 1U) << row.line;
    }
    const uint16_t closed = support::FreeTcpPort();
    const struct {
        ULONG_32 type, protocol;
        const char *address;
        uint16_t remote;
        ULONG_32 code;
        const char *line;
    } opens[] = {
        {5, PLAYER_PROTOCOL_TCP, "127.0.0.1", server.Port(), 7, "Call Zelvane_OpenVoiceSvc Failed, Error:[0x7]."},
        {2, PLAYER_PROTOCOL_TCP_SERVER, "127.0.0.1", server.Port(), 7, nullptr},
        {0, PLAYER_PROTOCOL_PIPE, "127.0.0.1", server.Port(), 7, nullptr},
        {2, PLAYER_PROTOCOL_TCP_REPALY, "127.0.0.1", server.Port(), 7, nullptr},
        {1, 99, "127.0.0.1", server.Port(), 7, nullptr},
        {1, PLAYER_PROTOCOL_UDP, "127.0.0.1", server.Port(), 7, nullptr},
        {3, PLAYER_PROTOCOL_UDP, "127.0.0.1", server.Port(), 7, nullptr},
        {0, PLAYER_PROTOCOL_UDP, "camera.local", 9, 2, "Player_OpenVoiceSvc: NET_CreateRecvSocket Failed, Error:[0x2]."},
        {2, PLAYER_PROTOCOL_UDP, nullptr, 9, 2, nullptr},
        {0, PLAYER_PROTOCOL_TCP, "127.0.0.1", closed, 4, "Player_OpenVoiceSvc: Player_OpenInputStream Failed, Error:[0x4]."},
    };
    for (const auto &row : opens) {
        Library::ForgetLines();
        EXPECT_FALSE(Zelvane_OpenVoiceSvc(port, row.type, 0, nullptr, 0, row.address, row.remote, row.protocol));
        EXPECT_EQ(Zelvane_GetLastError(), row.code) << row.type << " " << row.protocol;
        EXPECT_TRUE(row.line == nullptr || Library::LinesWith(Line(port, row.line)) == 1) << row.line;
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(Threads(), threads);

    Player_GetPort(port)->stVoiceInfo.stVoiceEncodeInfo.ulAudioEncType = 3;
    EXPECT_FALSE(OpenUdpTalk(port, 2));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PARAM);
    EXPECT_EQ(Library::LinesWith(Line(port, "Player_OpenVoiceSvc: AudioEncType Unknown:[3], ")), 1U);

    const ULONG_32 other = Alloc();
    ASSERT_TRUE(Zelvane_OpenInputStream(other, nullptr, 0, 0));
    EXPECT_FALSE(OpenUdpTalk(other, 0)) << "a port in use";
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PARAM);
    EXPECT_FALSE(Say(other, Sound(320, 0)));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PARAM);
    EXPECT_TRUE(Zelvane_CloseVoiceSvc(other)) << "no service, and the stream stays";
    EXPECT_EQ(Player_GetPort(other)->ulPortUsed, PORT_USED_INPUT);
    Zelvane_FreePort(other);
    for (const ULONG_32 wrong : {other, ULONG_32{PLAYER_MAX_PORT_NUM}}) {
        EXPECT_FALSE(OpenUdpTalk(wrong, 0));
        EXPECT_FALSE(Say(wrong, Sound(2, 0)));
        EXPECT_FALSE(Zelvane_SetVoiceEncodeType(wrong, 0, 0, 1));
        EXPECT_FALSE(Zelvane_CloseVoiceSvc(wrong));
        EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PORT);
    }
}

TEST_F(Voice, A129thBroadcastIsTooManyAndUdpSendsNothing) {
    const size_t descriptors = OpenDescriptors();
    std::vector<ULONG_32> ports;
    for (int i = 0; i < 128; i++) {
        ports.push_back(Alloc());
        ASSERT_TRUE(OpenUdpTalk(ports.back(), PLAYER_VOICE_SERVICE_BROADCAST_INPUT)) << i;
        EXPECT_TRUE(Say(ports.back(), Sound(3000, 1)));
    }
    const ULONG_32 last = Alloc();
    EXPECT_FALSE(OpenUdpTalk(last, PLAYER_VOICE_SERVICE_BROADCAST_INPUT));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_VOICE_BUSY);
    EXPECT_EQ(Library::LinesWith(Line(last, "Player_OpenVoiceSvc: Broadcast Port not enough")), 1U);
    ASSERT_TRUE(OpenUdpTalk(last, PLAYER_VOICE_SERVICE_TALKBACK_INPUT)) << "talkback is not counted";
    EXPECT_TRUE(Zelvane_CloseVoiceSvc(last));
    EXPECT_TRUE(Zelvane_CloseInputStream(ports[5])) << "closes the service as well";
    EXPECT_TRUE(OpenUdpTalk(last, PLAYER_VOICE_SERVICE_BROADCAST_INPUT));
    for (const ULONG_32 port : ports) {
        Zelvane_FreePort(port);
    }
    Zelvane_FreePort(last);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    const ULONG_32 again = Alloc();
    EXPECT_FALSE(OpenUdpTalk(again, PLAYER_VOICE_SERVICE_BROADCAST_CAPTURE));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_NOT_SUPPORT);
}

TEST_F(Voice, AConnectionOfTheClientStaysOpen) {
    for (const ULONG_32 type : {0, 2, 4, 3}) {
        Pair pair = Pair::Make();
        const ULONG_32 port = Alloc();
        EXPECT_EQ(Zelvane_OpenVoiceSvc(port, type, static_cast<ULONG_32>(pair.near.Fd()), nullptr, 0, nullptr, 0,
                                       PLAYER_PROTOCOL_TCP) != 0,
                  type != 3);
        EXPECT_EQ(Say(port, Sound(320, 5)), type == 0 || type == 2);
        EXPECT_EQ(Zelvane_InputMediaData(port, Sound(100, 1).data(), 100) != 0, type != 3) << "what the device says";
        EXPECT_TRUE(Zelvane_CloseNetStream(port));
        EXPECT_TRUE(pair.near.Send(support::Framed(Bytes(12, 0)))) << "not closed";
        EXPECT_EQ(pair.device.Hear(type == 0 || type == 2 ? 2 : 1).size(), type == 0 || type == 2 ? 2U : 1U);
        Zelvane_FreePort(port);
    }
}

TEST_F(Voice, ServicesComeAndGoFromTwoThreads) {
    const TcpServer server;
    const size_t descriptors = OpenDescriptors(), threads = Threads();
    std::atomic<bool> stop{false};
    std::thread devices([&] {
        std::vector<support::Socket> taken;
        while (!stop) {
            taken.push_back(server.Accept());
        }
    });
    const ULONG_32 shared = Alloc();
    const auto work = [&](ULONG_32 own, ULONG_32 type) {
        for (uint32_t i = 0; i < 60; i++) {
            ASSERT_TRUE(OpenTalk(own, server.Port(), type));
            OpenUdpTalk(shared, i % 5);
            EXPECT_TRUE(Say(own, Sound(320, i)));
            Say(shared, Sound(320, i));
            EXPECT_TRUE(Zelvane_CloseVoiceSvc(own));
            EXPECT_TRUE(Zelvane_CloseVoiceSvc(shared));
        }
    };
    const ULONG_32 first = Alloc(), second = Alloc();
    std::thread other(work, first, PLAYER_VOICE_SERVICE_BROADCAST_INPUT);
    work(second, PLAYER_VOICE_SERVICE_TALKBACK_INPUT);
    other.join();
    stop = true;
    ASSERT_TRUE(OpenTalk(first, server.Port()));
    devices.join();
    Zelvane_CloseVoiceSvc(first);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_EQ(Threads(), threads);
}

TEST_F(Voice, ABroadcastIsEncodedOnceForAllPortsOfTheTable) {
    const TcpServer server;
    std::vector<ULONG_32> ports;
    std::vector<Device> devices;
    const size_t threads = Threads();
    for (int i = 0; i < 3; i++) {
        ports.push_back(Alloc());
        ASSERT_TRUE(OpenTalk(ports.back(), server.Port(), PLAYER_VOICE_SERVICE_BE_BROADCASTED));
        devices.emplace_back(server.Accept());
        PLAEYR_PORT_S *record = Player_GetPort(ports.back());
        ASSERT_EQ(VoiceBroadcast_Enter(record), 0U);
        ASSERT_EQ(VoiceBroadcast_Join(record, PLAYER_PAYLOAD_G711U), 0U);
    }
    for (uint32_t number = 0; number < 50; number++) {
        Bytes pcm = Sound(number == 49 ? 3000 : 320, number);
        EXPECT_EQ(Player_SendBroacdcast(reinterpret_cast<CHAR *>(pcm.data()), static_cast<ULONG_32>(pcm.size()), nullptr), 0U);
    }
    for (size_t i = 1; i < devices.size(); i++) {  // the first port only made the encoder
        const std::vector<Heard> heard = devices[i].Hear(51);
        ASSERT_EQ(heard.size(), 51U);
        for (uint32_t number = 0; number < 49; number++) {
            EXPECT_EQ(heard[number].payload, MuLaw(Sound(320, number)));
            EXPECT_EQ(heard[number].sequence, number);
        }
        EXPECT_EQ(heard[50].payload.size(), 100U);
        EXPECT_EQ(heard[50].timestamp, heard[49].timestamp);
    }
    for (const ULONG_32 port : ports) {
        VoiceBroadcast_Leave(Player_GetPort(port));
        EXPECT_TRUE(Zelvane_CloseVoiceSvc(port));
    }
    EXPECT_EQ(Library::LinesWith("__BroadcastThreadEntry Quit."), 2U);
    EXPECT_EQ(Threads(), threads);
    CHAR block[4] = {};
    EXPECT_EQ(Player_SendBroacdcast(block, 4, nullptr), PLAYER_ERR_PARAM) << "the encoder went with the last port";
}
