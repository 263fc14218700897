// Callbacks that call back into the library, and closes at every moment.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "support/client.h"
#include "support/elapsed.h"
#include "support/rtp_stream.h"

using support::InputPort;
using support::Library;
using support::WaitUntil;

namespace {

const std::vector<Bytes> &CameraPackets() {
    static const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    static const std::vector<Bytes> packets = support::PacketiseVideo(stream, AV_CODEC_ID_H264, support::RTP_PT_H264);
    return packets;
}

/** Pushes the stream again and again until told to stop; a refusal is part of the game. */
class Pusher {
 public:
    explicit Pusher(ULONG_32 port) : m_thread([this, port] { Run(port); }) {}
    ~Pusher() {
        m_stop = true;
        m_thread.join();
    }

 private:
    void Run(ULONG_32 port) {
        for (size_t i = 0; !m_stop; i++) {
            const Bytes &packet = CameraPackets()[i % CameraPackets().size()];
            Zelvane_InputMediaData(port, packet.data(), static_cast<ULONG_32>(packet.size()));
        }
    }
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

class Callbacks : public testing::Test {
 protected:
    Library m_library;
};

}  // namespace

TEST_F(Callbacks, MayCallGettersWhileTheRingIsFull) {
    InputPort port;
    std::atomic<int> good{0};
    port.onPicture = [&] {
        LONG_32 width = 0;
        LONG_32 height = 0;
        good += Zelvane_GetPictureSize(port.Number(), &width, &height) && width == 640 && height == 360;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    };
    for (int round = 0; round < 2; round++) {
        ASSERT_TRUE(port.PushAll(CameraPackets())) << "a getter beside a push that waits for room costs no packet";
    }
    EXPECT_TRUE(WaitUntil([&] { return good == 150; })) << good;
}

TEST_F(Callbacks, MayNotCloseTheirOwnPort) {
    InputPort port;
    std::atomic<int> refused{0};
    port.onPicture = [&] {
        refused += !Zelvane_CloseInputStream(port.Number()) && Zelvane_GetLastError() == PLAYER_ERR_FAILED;
        Zelvane_FreePort(port.Number());
        Zelvane_Cleanup();
    };
    ASSERT_TRUE(port.PushAll(CameraPackets()));
    port.Drain();
    EXPECT_EQ(refused, 75);
    EXPECT_EQ(port.PictureMd5s().size(), 75U) << "nothing was changed";
    EXPECT_EQ(Zelvane_GetInitCount(), 1U);
}

TEST_F(Callbacks, SourceCallbackRunsInsideThePushAndMayCallBack) {
    static std::atomic<int> calls;
    calls = 0;
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    auto callback = [](ULONG_32 number, const UCHAR *, ULONG_32, ULONG_32 format, void *, LONG_REAL) {
        LONG_32 rate = 0;
        calls += format == PLAYER_MEDIA_DATA_RTP_ES && Zelvane_GetBitRate(number, &rate) &&
                 !Zelvane_CloseInputStream(number);
    };
    ASSERT_TRUE(Zelvane_SetSourceMediaDataCB(port, callback, 0, nullptr));
    ASSERT_TRUE(
        Zelvane_OpenInputStream(port, CameraPackets()[0].data(), static_cast<ULONG_32>(CameraPackets()[0].size()), 0));
    EXPECT_EQ(calls, 1);
    ULONG_32 frames = 0;
    ULONG_32 packets = 7;
    ASSERT_TRUE(Zelvane_GetPacketQueueStart(port, &frames, &packets));
    EXPECT_EQ(packets, 0U) << "the client keeps the packet for itself";
    const UCHAR other[] = {0, 0, 1, 9};
    EXPECT_TRUE(Zelvane_InputMediaData(port, other, sizeof(other)));
    EXPECT_EQ(calls, 1) << "data of another kind reach no source callback";
}

TEST_F(Callbacks, AreTurnedAwayWhileAnotherThreadCloses) {
    InputPort port;
    std::atomic<bool> inside{false};
    std::atomic<ULONG_32> error{0};
    port.onPicture = [&] {
        inside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (!Zelvane_SetPictureFluency(port.Number(), 1)) {
            error = Zelvane_GetLastError();
        }
        LONG_32 rate = 0;
        EXPECT_TRUE(Zelvane_GetFrameRate(port.Number(), &rate)) << "a getter waits for nobody";
    };
    port.PushAll({CameraPackets().begin(), CameraPackets().begin() + 100});
    ASSERT_TRUE(WaitUntil([&] { return inside.load(); }));
    port.Close();
    EXPECT_EQ(error, static_cast<ULONG_32>(PLAYER_ERR_PARAM));
}

TEST_F(Callbacks, ClosesAtAnyMomentAreQuick) {
    for (int i = 0; i < 20; i++) {
        InputPort port;
        Pusher pusher(port.Number());
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        EXPECT_LT(ElapsedMs([&] { port.Close(); }), 500);
    }
}

TEST_F(Callbacks, FreeAndCleanupWhileAnotherThreadPushes) {
    for (int i = 0; i < 6; i++) {
        ASSERT_TRUE(Zelvane_Init());
        ULONG_32 port = 0;
        ASSERT_TRUE(Zelvane_AllocPort(&port));
        ASSERT_TRUE(Zelvane_OpenInputStream(port, nullptr, 0, 0));
        Pusher pusher(port);
        std::this_thread::sleep_for(std::chrono::milliseconds(5 * i));
        if (i % 2 == 0) {
            Zelvane_FreePort(port);
        } else {
            Zelvane_Cleanup();
        }
        Zelvane_Cleanup();
        ASSERT_TRUE(i % 2 == 0 || Zelvane_Init());
    }
}

TEST_F(Callbacks, ReopenedPortPlaysAgainFromTheNextKeyFrame) {
    InputPort port;
    ASSERT_TRUE(port.PushAll(CameraPackets()));
    port.Drain();
    for (int i = 0; i < 2; i++) {
        ASSERT_TRUE(Zelvane_OpenInputStream(port.Number(), nullptr, 0, 0));
        ASSERT_TRUE(port.PushAll(CameraPackets()));
        port.Drain();
    }
    // The sequence numbers start over, which counts as a gap: the first picture of each later round goes with it.
    EXPECT_GE(port.PictureMd5s().size(), 75U + 2 * 50U);
}

TEST_F(Callbacks, ManyPortsManyThreads) {
    std::atomic<int> pictures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) {
        threads.emplace_back([&] {
            InputPort port;
            port.onPicture = [&] {
                ULONG_32 frames = 0;
                ULONG_32 packets = 0;
                Zelvane_GetPacketQueueStart(port.Number(), &frames, &packets);
                pictures++;
            };
            EXPECT_TRUE(port.PushAll(CameraPackets()));
            port.Drain();
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(pictures, 8 * 75);
}
