// Who waits for whom: calls from callbacks on other ports, records that are freed under a caller, many closes at once.
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <random>
#include <thread>

#include "support/client.h"
#include "support/elapsed.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"

using support::InputPort;
using support::Library;
using support::WaitUntil;

namespace {

const std::vector<Bytes> &CameraPackets() {
    static const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    static const std::vector<Bytes> packets = support::PacketiseVideo(stream, AV_CODEC_ID_H264, support::RTP_PT_H264);
    return packets;
}

bool PushPacket(ULONG_32 port, size_t number) {
    const Bytes &packet = CameraPackets()[number % CameraPackets().size()];
    return Zelvane_InputMediaData(port, packet.data(), static_cast<ULONG_32>(packet.size()));
}

struct Ask {
    const char *name;
    std::function<BOOL_T(ULONG_32)> ask;
};

const std::vector<Ask> &Asks() {
    static const std::vector<Ask> asks = {
        {"getter",
         [](ULONG_32 port) {
             LONG_32 rate = 0;
             return Zelvane_GetBitRate(port, &rate);
         }},
        {"setter", [](ULONG_32 port) { return Zelvane_SetPictureFluency(port, 0); }},
        {"push", [](ULONG_32 port) { return PushPacket(port, 0) ? 1U : 0U; }},
        {"close", [](ULONG_32 port) { return Zelvane_CloseInputStream(port); }},
    };
    return asks;
}

class PortWaits : public testing::Test {
 protected:
    Library m_library;
};

/** Two ports whose picture callbacks meet, then ask each other's port while both are closed. */
void CloseWhileAsking(const Ask &ask) {
    InputPort ports[2];
    std::atomic<int> inside{0};
    for (int i = 0; i < 2; i++) {
        ports[i].onPicture = [&, i, first = true]() mutable {
            if (first) {
                first = false;
                inside++;
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                ask.ask(ports[1 - i].Number());
            }
        };
        ports[i].PushAll({CameraPackets().begin(), CameraPackets().begin() + 60});
    }
    ASSERT_TRUE(WaitUntil([&] { return inside == 2; }));
    EXPECT_LT(ElapsedMs([&] {
                  std::thread other([&] { ports[1].Close(); });
                  ports[0].Close();
                  other.join();
              }),
              2000)
        << ask.name;
}

struct TapPair {
    ULONG_32 ports[2];
    std::latch bothInside{2};
    std::atomic<bool> entered[2]{};
    std::atomic<int> refused{0}, done{0};
    const Ask *ask;
};

/** The source callbacks of two pushes meet, then ask each other's port; nothing closes. */
void AskFromTwoSourceCallbacks(const Ask &ask) {
    TapPair pair;
    pair.ask = &ask;
    auto callback = [](ULONG_32 number, const UCHAR *, ULONG_32, ULONG_32, void *user, LONG_REAL) {
        TapPair &both = *static_cast<TapPair *>(user);
        const size_t own = both.ports[1] == number;
        if (both.entered[own].exchange(true)) {
            return;  // of a push that a callback makes
        }
        both.bothInside.arrive_and_wait();
        if (!both.ask->ask(both.ports[1 - own])) {
            both.refused += Zelvane_GetLastError() == PLAYER_ERR_PARAM;
        }
        both.done++;
    };
    for (ULONG_32 &port : pair.ports) {
        ASSERT_TRUE(Zelvane_AllocPort(&port) && Zelvane_OpenInputStream(port, nullptr, 0, 0));
        ASSERT_TRUE(Zelvane_SetSourceMediaDataCB(port, callback, 1, &pair));
    }
    std::vector<std::thread> pushers;
    for (ULONG_32 port : pair.ports) {
        pushers.emplace_back([port] { PushPacket(port, 0); });
    }
    EXPECT_LT(ElapsedMs([&] {
                  for (std::thread &pusher : pushers) {
                      pusher.join();
                  }
              }),
              500)
        << ask.name;
    EXPECT_EQ(pair.done, 2);
    EXPECT_LE(pair.refused, 1) << "one gives way, and the other gets its turn: " << ask.name;
    for (ULONG_32 port : pair.ports) {
        Zelvane_FreePort(port);
    }
}

}  // namespace

TEST_F(PortWaits, CallbacksThatAskEachOthersPort) {
    for (const Ask &ask : Asks()) {
        CloseWhileAsking(ask);
        AskFromTwoSourceCallbacks(ask);
    }
}

TEST_F(PortWaits, SnapshotsAndGettersOnPortsThatAreFreed) {
    Scratch dir;
    std::atomic<ULONG_32> number{PLAYER_MAX_PORT_NUM};
    std::atomic<bool> stop{false};
    std::vector<std::thread> askers;
    for (int i = 0; i < 4; i++) {
        askers.emplace_back([&, i] {
            const std::string path = dir.At("shot" + std::to_string(i));
            for (int round = 0; !stop; round++) {
                const ULONG_32 port = number % PLAYER_MAX_PORT_NUM;
                LONG_32 figure = 0;
                ULONG_32 counts[2] = {};
                PLAYBACK_PLAY_TIME time = {};
                time.ulPort = port;
                Zelvane_GetPictureSize(port, &figure, &figure);
                Zelvane_GetPacketQueueStart(port, &counts[0], &counts[1]);
                Zelvane_GetPlayTimeEx(1, &time);
                i == 0 ? Zelvane_SnatchOnce(port, path.c_str(), PLAYER_PIC_FORMATE_BMP, nullptr)
                       : Zelvane_SnatchOnceEx(port, (path + std::to_string(round % 10)).c_str(),
                                              PLAYER_PIC_FORMATE_JPEG, 1);
            }
        });
    }
    for (int i = 0; i < 15; i++) {
        InputPort port;
        number = port.Number();
        port.PushAll({CameraPackets().begin(), CameraPackets().begin() + 40});
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 4 * 5));
    }
    Zelvane_Cleanup();
    stop = true;
    for (std::thread &asker : askers) {
        asker.join();
    }
    ASSERT_TRUE(Zelvane_Init());
}

TEST_F(PortWaits, CleanupEndsManyPortsTogether) {
    constexpr int PORTS = 64;
    std::vector<std::unique_ptr<InputPort>> ports;
    std::atomic<int> busy{0};
    for (int i = 0; i < PORTS; i++) {
        ports.push_back(std::make_unique<InputPort>());
        ports.back()->onPicture = [&, first = true]() mutable {
            busy += first;
            first = false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        };
    }
    for (auto &port : ports) {
        port->PushAll({CameraPackets().begin(), CameraPackets().begin() + 60});
    }
    ASSERT_TRUE(WaitUntil([&] { return busy == PORTS; }));
    const long took = ElapsedMs([] { Zelvane_Cleanup(); });
    if (SANITIZED_SLOWDOWN == 1) {
        EXPECT_LT(took, 300) << "their callbacks one after the other take 640 ms";
    }
    ULONG_32 port = 0;
    EXPECT_FALSE(Zelvane_AllocPort(&port));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM)) << "the library is off";
    EXPECT_FALSE(Zelvane_OpenSound(3));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT));
    ASSERT_TRUE(Zelvane_Init());
}

TEST_F(PortWaits, HelperPortsOfRecordingsAreNobodysByNumber) {
    Scratch dir;
    InputPort port;
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), dir.At("clip").c_str(), PLAYER_FILE_FORMATE_TS, nullptr));
    const ULONG_32 helper = (port.Number() + 1) % PLAYER_MAX_PORT_NUM;
    EXPECT_FALSE(Zelvane_OpenInputStream(helper, nullptr, 0, 0));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT));
    Zelvane_FreePort(helper);
    ULONG_32 next = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&next));
    EXPECT_EQ(next, (helper + 1) % PLAYER_MAX_PORT_NUM) << "the number is taken all the same";
    EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
}
