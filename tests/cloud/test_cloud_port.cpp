// Cloud recordings on ports, with nginx as the server: play, seeks, messages, two ports on one cache.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <chrono>
#include <thread>

#include "cloud_port.h"

using support::Nginx;
using support::OddServer;
using support::ReadRequest;
using support::Say;
using support::Socket;
using support::Stall;
using support::WaitUntil;

namespace {

const std::string HTTP = "http://127.0.0.1/";
const std::string HTTPS = "https://localhost/";

void PutSegments(const Nginx &nginx, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        nginx.Put(SegmentName(i), SegmentBytes(i));
    }
}

void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

/** Timestamp of a frame that is so many frames behind the start of the recording. */
int64_t TimeOf(unsigned frame) { return 90000 + 3600LL * frame; }

}  // namespace

TEST(CloudPlay, EveryPictureComesOnceAndTheMessagesTellSo) {
    const std::vector<std::string> segment = ReferenceMd5s(SegmentVideo(), AV_CODEC_ID_H264);
    std::vector<std::string> wanted = segment;
    wanted.insert(wanted.end(), segment.begin(), segment.end());
    for (const std::string &base : {HTTP, HTTPS}) {
        const Nginx nginx;
        PutSegments(nginx, 2);
        const Cloud cloud;
        for (int round = 0; round < 2; ++round) {
            CloudPort port;
            ASSERT_TRUE(port.Fast());
            ASSERT_TRUE(port.Update(CloudPlaylist(0, 2, base, "?token=1"), CLOUD_START));
            ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_FINISHED));
            EXPECT_TRUE(WaitUntil([&] { return port.PictureCount() == wanted.size(); }));
            EXPECT_EQ(port.PictureMd5s(), wanted);
            EXPECT_EQ(port.Time(), CLOUD_START + 5);
            std::vector<Cloud::Message> messages = Cloud::MessagesOf(port.Number());
            std::erase(messages, Cloud::Message{PLAYER_HLS_DOWNLOAD_FINISHED, 0});
            EXPECT_EQ(messages.size() + 1, Cloud::MessagesOf(port.Number()).size()) << "told once";
            EXPECT_EQ(messages, (std::vector<Cloud::Message>{{PLAYER_HLS_PLAY_NORMAL, CLOUD_START},
                                                             {PLAYER_HLS_PLAY_FINISHED, 0}}));
        }
        EXPECT_TRUE(cloud.IsCached(0) && cloud.IsCached(1));
        EXPECT_EQ(nginx.Requests("/seg"), 2U) << "the second time they came from the cache";
        std::filesystem::permissions(cloud.Cached(""), std::filesystem::perms::all);
    }
}

TEST(CloudPlay, SeeksLandWhereTheyShould) {
    const Nginx nginx;
    PutSegments(nginx, 4);
    const Cloud cloud;
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 4, HTTP), 0));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_DOWNLOAD_FINISHED));
    SleepMs(100);
    EXPECT_EQ(port.FrameCount(), 0U) << "a playlist without a time starts no play";
    ASSERT_TRUE(Zelvane_PausePlay(port.Number(), 1));
    const struct {
        ULONG_32 second;
        unsigned frame;
    } rows[] = {
        {0, 0},  {3, 0},  // the seam belongs to the segment before; past its last clock nothing moves
        {6, 75}, {7, 150}, {12, 225}, {1, 25},
    };
    for (const auto &row : rows) {
        const size_t normals = port.Count(PLAYER_HLS_PLAY_NORMAL);
        port.Forget();
        ASSERT_TRUE(port.Seek(CLOUD_START + row.second));
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 1; })) << row.second;
        ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_NORMAL, normals + 1));
        const std::vector<Cloud::Message> messages = Cloud::MessagesOf(port.Number());
        const auto newest = std::find_if(messages.rbegin(), messages.rend(),
                                         [](const auto &m) { return m.first == PLAYER_HLS_PLAY_NORMAL; });
        EXPECT_EQ(newest->second, CLOUD_START + row.second);
        const support::FileFrame frame = port.Frames()[0];
        EXPECT_TRUE(frame.key);
        EXPECT_GE(frame.time, TimeOf(row.frame)) << row.second;
        EXPECT_LE(frame.time, TimeOf(row.frame + 50)) << row.second;
        SleepMs(60);
        EXPECT_EQ(port.FrameCount(), 1U) << "paused: one frame of the new place";
    }
    for (const ULONG_32 time : {ULONG_32{0}, CLOUD_START - 1, CLOUD_START + 13}) {
        EXPECT_FALSE(port.Seek(time));
        EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_HLS_TIME_NOT_FOUND});
    }
    EXPECT_FALSE(port.Update("#EXTM3U", CLOUD_START));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_FALSE(Zelvane_SpeedPlay(port.Number(), 5));
    EXPECT_FALSE(Zelvane_AFrameGo(port.Number()));
}

TEST(CloudPlay, ASeekIntoWhatIsNotCachedMovesTheDownload) {
    const Nginx nginx("limit_rate 200k;");  // about a second a segment
    PutSegments(nginx, 8);
    const Cloud cloud;
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 8, HTTP), CLOUD_START));
    ASSERT_TRUE(port.Seek(CLOUD_START + 7 * SEGMENT_SECONDS + 1));
    ASSERT_TRUE(WaitUntil([&] {
        const auto frames = port.Frames();
        return !frames.empty() && frames.back().time >= TimeOf(7 * 75);
    }));
    EXPECT_FALSE(cloud.IsCached(4)) << "what lies between is not fetched";
}

TEST(CloudPlay, PauseHoldsAndPlaylistsAreAppendedWhilePlaying) {
    const Nginx nginx;
    PutSegments(nginx, 3);
    const Cloud cloud;
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(Zelvane_PausePlay(port.Number(), 1)) << "as early as can be";
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 1; }));
    ASSERT_TRUE(Zelvane_PausePlay(port.Number(), 0));
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(port.Update(CloudPlaylist(1, 2, HTTP), 0));
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() >= 51; }));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_NEAR(seconds, 2.0, SANITIZED_SLOWDOWN == 1 ? 0.3 : 1.5) << "at the pace of the stream";
    ASSERT_TRUE(port.Fast());
    ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_FINISHED));
    const std::vector<support::FileFrame> frames = port.Frames();
    ASSERT_EQ(frames.size(), 225U);
    for (unsigned i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].time, TimeOf(i));
    }
}

// The second playlist doesn't list what the first port is fetching: it would throw that segment's half file away.
TEST(CloudPlay, TwoPortsFetchEachSegmentOnce) {
    const Nginx nginx("limit_rate 400k;");
    PutSegments(nginx, 3);
    const Cloud cloud;
    CloudPort ports[2];
    for (unsigned i = 0; i < 2; ++i) {
        ports[i].KeepFromDecoding();
        ASSERT_TRUE(ports[i].Fast());
        ASSERT_TRUE(ports[i].Update(CloudPlaylist(i, 3 - i, HTTP), CLOUD_START + i * SEGMENT_SECONDS));
    }
    for (unsigned i = 0; i < 2; ++i) {
        ASSERT_TRUE(ports[i].Wait(PLAYER_HLS_PLAY_FINISHED));
        EXPECT_EQ(ports[i].FrameCount(), 75U * (3 - i));
    }
    EXPECT_EQ(nginx.Requests("/seg"), 3U);
}

TEST(CloudPlay, ARecordingOfTheStreamHoldsItsFrames) {
    const Nginx nginx;
    PutSegments(nginx, 1);
    const Cloud cloud;
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), (cloud.Folder() + "/saved").c_str(), PLAYER_FILE_FORMATE_TS, nullptr));
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_FINISHED));
    ASSERT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_EQ(support::PicturesOfFile(cloud.Folder() + "/saved.ts"), ReferenceMd5s(SegmentVideo(), AV_CODEC_ID_H264));
}

/* ---- failures ---- */

TEST(CloudFaults, EachFailureIsToldAndANewPlaylistHelps) {
    const Nginx nginx("location /expired { return 403; }");
    PutSegments(nginx, 1);
    const Cloud cloud;
    const struct {
        std::string base;
        ULONG_32 code;
        bool again, half;
    } rows[] = {
        {HTTP + "expired/", PLAYER_ERR_HLS_HTTP_DENIED, true, false},
        {HTTP + "absent/", PLAYER_ERR_HLS_HTTP_STATUS, true, false},
        {"http://127.0.0.9/", PLAYER_ERR_HLS_CONNECT, false, true},
    };
    for (const auto &row : rows) {
        CloudPort port;
        port.KeepFromDecoding();
        ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, row.base), CLOUD_START));
        ASSERT_TRUE(port.Wait(row.code));
        EXPECT_EQ(Cloud::MessagesOf(port.Number())[0], Cloud::Message(row.code, CLOUD_START));
        SleepMs(1200);
        EXPECT_EQ(port.Count(row.code) >= 2, row.again) << row.code;
        EXPECT_LE(port.Count(row.code), 4U) << "twice a second";
        EXPECT_EQ(cloud.IsHalf(0), row.half) << row.code;
        EXPECT_EQ(port.FrameCount(), 0U);
        ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), 0));
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() > 0; })) << row.code;
        ASSERT_TRUE(Zelvane_CloseHlsStream(port.Number()));
        ASSERT_TRUE(Zelvane_CleanCache());
    }
}

TEST(CloudFaults, ALongWaitForADownloadIsTold) {
    const OddServer server("127.0.0.2", 80, [](Socket &connection) { Stall(connection); });
    const Cloud cloud;
    CloudPort port;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, "http://127.0.0.2/"), CLOUD_START));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_DOWNLOAD_WAIT_TIMEOUT));
    EXPECT_NEAR(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 5.5, 1.0)
        << "the segment's three seconds and two looks, and one before the fetch began";
}

TEST(CloudFaults, CallsDontWaitForAServerThatStallsInAnyPhase) {
    const Cloud cloud;
    const Socket full(socket(AF_INET, SOCK_STREAM, 0));  // its queue is full: a connect to it hangs
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(80);
    inet_pton(AF_INET, "127.0.0.5", &address.sin_addr);
    ASSERT_EQ(bind(full.Fd(), reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(full.Fd(), 0), 0);
    std::vector<Socket> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        connect(waiting.back().Fd(), reinterpret_cast<sockaddr *>(&address), sizeof(address));
    }
    const OddServer mute("127.0.0.2", 80, [](Socket &connection) { Stall(connection); });
    const OddServer muteTls("127.0.0.2", 443, [](Socket &connection) { Stall(connection); });
    const OddServer body("127.0.0.3", 80, [](Socket &connection) {
        ReadRequest(connection);
        Say(connection, "HTTP/1.1 200 OK\r\nContent-Length: 9999\r\n\r\nbody");
        Stall(connection);
    });
    for (const char *base : {"http://127.0.0.5/", "http://127.0.0.2/", "https://127.0.0.2/", "http://127.0.0.3/"}) {
        std::vector<long> times;
        for (int round = 0; round < 12; ++round) {
            ULONG_32 port = 0;
            ASSERT_TRUE(Zelvane_AllocPort(&port));
            const std::string playlist = CloudPlaylist(0, 3, base);
            const auto call = [&](auto &&function) { times.push_back(ElapsedMs([&] { EXPECT_TRUE(function()); })); };
            call([&] { return Zelvane_OpenHlsStream(port); });
            call([&] { return Zelvane_UpdatePlayInfo(port, playlist.c_str(), CLOUD_START); });
            ASSERT_TRUE(WaitUntil([&] { return cloud.IsHalf(0); }));
            SleepMs(round);
            call([&] { return Zelvane_UpdatePlayInfo(port, nullptr, CLOUD_START + 4); });
            const size_t before = Cloud::Count(port, PLAYER_ERR_HLS_CANCELLED);
            call([&] { return Zelvane_CloseHlsStream(port); });
            EXPECT_FALSE(cloud.IsHalf(0)) << base;
            EXPECT_TRUE(WaitUntil([&] { return Cloud::Count(port, PLAYER_ERR_HLS_CANCELLED) == before + 1; })) << base;
            Zelvane_FreePort(port);
        }
        std::sort(times.begin(), times.end());
        EXPECT_LT(times[times.size() * 99 / 100], 100 * SANITIZED_SLOWDOWN) << base;
    }
}

TEST(CloudFaults, AServerThatClosesInEachPhaseIsAskedAgain) {
    const Cloud cloud;
    const std::string segment = SegmentBytes(0);
    std::atomic<int> visits = 0;
    const OddServer moody("127.0.0.2", 80, [&](Socket &connection) {
        ReadRequest(connection);
        const int visit = visits++;
        if (visit == 0) {
            Say(connection, "HTTP/1.1 200");
            connection.Reset();
        } else if (visit == 1) {
            Say(connection, "HTTP/1.1 500 No\r\n\r\n");
        } else {
            Say(connection,
                "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(segment.size()) + "\r\n\r\n" + segment);
        }
    });
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Fast());
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, "http://127.0.0.2/"), CLOUD_START));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_FINISHED));
    EXPECT_EQ(port.FrameCount(), 75U);
    EXPECT_GE(port.Count(PLAYER_ERR_FAILED) + port.Count(PLAYER_ERR_HLS_HTTP_STATUS), 1U);
}

TEST(CloudFaults, CallsOutOfPlace) {
    const Nginx nginx;
    PutSegments(nginx, 1);
    const Cloud cloud;
    ULONG_32 number = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&number));
    EXPECT_TRUE(Zelvane_CloseHlsStream(number)) << "nothing open";
    ASSERT_TRUE(Zelvane_SetCachePath(""));
    EXPECT_FALSE(Zelvane_OpenHlsStream(number));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_HLS_NO_CACHE_PATH});
    ASSERT_TRUE(Zelvane_SetCachePath(cloud.Cached("").c_str()));
    ASSERT_TRUE(Zelvane_OpenInputStream(number, nullptr, 0, 0));
    EXPECT_FALSE(Zelvane_OpenHlsStream(number));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_TRUE(Zelvane_CloseHlsStream(number));
    EXPECT_TRUE(Zelvane_InputMediaData(number, reinterpret_cast<const UCHAR *>("x"), 1)) << "still open";
    Zelvane_FreePort(number);
    EXPECT_FALSE(Zelvane_OpenHlsStream(number));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PORT});

    CloudPort port;
    std::atomic<int> refused = -1;
    const ULONG_32 own = port.Number();
    struct Tap {
        ULONG_32 port;
        std::atomic<int> *refused;
    } tap = {own, &refused};
    Zelvane_SetSourceMediaDataCB(
        own,
        [](ULONG_32, const UCHAR *, ULONG_32, ULONG_32, void *user, LONG_REAL) {
            const Tap *own = static_cast<const Tap *>(user);
            *own->refused = Zelvane_CloseHlsStream(own->port) == 0 && Zelvane_GetLastError() == PLAYER_ERR_FAILED;
        },
        1, &tap);
    EXPECT_TRUE(Zelvane_CloseInputStream(own)) << "not its source";
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    EXPECT_TRUE(WaitUntil([&] { return refused == 1; }));
}
