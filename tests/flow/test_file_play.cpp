// Files made by ffmpeg and by our muxer play frame for frame; pause, speeds, steps, seeks; bad files; quick closes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>

#include "support/client.h"
#include "support/elapsed.h"
#include "support/file_port.h"
#include "support/net_peer.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

using support::FileFrame;
using support::FilePort;
using support::Library;
using support::WaitUntil;

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

const std::string PICTURES = "-f lavfi -i testsrc2=size=320x180:rate=";
const std::string SOUND = " -f lavfi -i sine=frequency=300:sample_rate=48000";
const std::string X264 = " -pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params ";

/** One file of the tests, and how ffmpeg makes it. */
struct Made {
    const char *name;
    std::string arguments;
    LONG_32 rate;
};

std::ostream &operator<<(std::ostream &out, const Made &made) { return out << made.name; }

const Made MADE[] = {
    {"plain", PICTURES + "25" + X264 + "keyint=25:scenecut=0:bframes=0 -frames:v 75", 25},
    {"aac", PICTURES + "25" + SOUND + X264 + "keyint=25:scenecut=0:bframes=0 -c:a aac -ac 2 -t 3", 25},
    {"bframes",
     PICTURES + "30000/1001" + SOUND + X264 + "keyint=25:scenecut=0:bframes=2:b-adapt=0 -c:a aac -ac 1 -ar 16000 -t 3",
     29},
    {"faststart", PICTURES + "15" + SOUND + X264 + "keyint=30:bframes=0 -c:a aac -t 3 -movflags +faststart", 15},
    {"mp2", PICTURES + "30" + SOUND + X264 + "keyint=15:scenecut=0:bframes=0:slices=3 -c:a mp2 -t 2", 30},
    {"odd_size", "-f lavfi -i testsrc2=size=318x178:rate=10" + X264 + "keyint=10:bframes=0 -frames:v 30", 10},
    {"one_gop", PICTURES + "60" + X264 + "keyint=1000:scenecut=0:bframes=0 -frames:v 120", 60},
    {"open_gop", PICTURES + "25" + X264 + "keyint=25:scenecut=0:bframes=3:open-gop=1 -frames:v 130", 25},
    {"closed_gop", PICTURES + "25" + X264 + "keyint=25:scenecut=0:bframes=3:b-pyramid=2 -frames:v 130", 25},
    {"one_picture", PICTURES + "25" + X264 + "keyint=25:bframes=3 -frames:v 1", 25},
};

/** The files, each made at its first use, for the life of the process. */
std::string FileOf(const std::string &name) {
    static const std::string folder = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "zelvanefilesXXXXXX").string();
        return std::string(mkdtemp(pattern.data()));
    }();
    static const struct Remover {
        ~Remover() { std::filesystem::remove_all(folder); }
    } remover;
    static std::map<std::string, bool> done;
    const std::string path = folder + "/" + name + ".mp4";
    for (const Made &made : MADE) {
        if (made.name == name && !done[name]) {
            EXPECT_TRUE(support::Ffmpeg(made.arguments, path)) << name;
            done[name] = true;
        }
    }
    return path;
}

std::vector<FileFrame> VideoOf(std::vector<FileFrame> frames) {
    std::erase_if(frames, [](const FileFrame &frame) { return !frame.video; });
    return frames;
}

/** Compares kinds and bytes; times are the player's own. */
void ExpectSameFrames(const std::vector<FileFrame> &got, const std::vector<FileFrame> &wanted) {
    ASSERT_EQ(got.size(), wanted.size());
    for (size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(got[i].video, wanted[i].video) << i;
        ASSERT_EQ(got[i].key || !got[i].video, wanted[i].key || !wanted[i].video) << i;
        ASSERT_EQ(got[i].data, wanted[i].data) << i;
    }
}

class FilePlay : public testing::Test {
 protected:
    Library m_library;
};

class MadeFile : public testing::TestWithParam<Made> {
 protected:
    Library m_library;
};

}  // namespace

/* ---- frame for frame ---- */

TEST_P(MadeFile, EverySampleComesOnceInFileOrderAndDecodesAsFfmpegDoes) {
    const std::string path = FileOf(GetParam().name);
    FilePort port;
    ASSERT_TRUE(port.Open(path));
    SleepMs(30);
    EXPECT_EQ(port.FrameCount(), 0U) << "an opened file is paused";
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(word::Load(Player_GetPort(port.Number())->stStateInfo.lFrameRate), GetParam().rate);
    ExpectSameFrames(port.Frames(), support::SamplesOfMp4(path));
    EXPECT_EQ(port.PictureMd5s(), support::PicturesOfFile(path));
    SleepMs(50);
    EXPECT_EQ(port.Ends(), 1U) << "the end is told once";
}

INSTANTIATE_TEST_SUITE_P(Files, MadeFile, testing::ValuesIn(MADE),
                         [](const testing::TestParamInfo<Made> &info) { return std::string(info.param.name); });

TEST_F(FilePlay, TransportStreamsComeFrameForFrameAndReadBackWithFfprobe) {
    const Bytes mp2 = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    const support::TsStream blocks = {PLAYER_PAYLOAD_MP1L2, SplitAccessUnits(mp2, AV_CODEC_ID_MP2), 1880};
    TempDir folder;
    const std::string path = folder.At("a.ts");
    for (const auto codec : {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC}) {
        const bool h264 = codec == AV_CODEC_ID_H264;
        Bytes video = ReadFile(MediaPath(h264 ? "h264_640x360_bf0.264" : "h265_640x360.265"));
        if (!h264) {
            support::RewriteH265KeyUnits(&video);
        }
        const support::TsStream pictures = {h264 ? PLAYER_PAYLOAD_H264 : PLAYER_PAYLOAD_H265,
                                            SplitAccessUnits(video, codec), 3600};
        const uint64_t first = h264 ? 90000 : (1ULL << 33) - 90000;  // the second clock wraps on the way
        support::WriteTs(path, pictures, h264 ? &blocks : nullptr, 25, first);
        FilePort port;
        ASSERT_TRUE(port.Open(path));
        ULONG_32 seconds = 0;
        EXPECT_TRUE(Zelvane_GetFileTime(port.Number(), &seconds));
        EXPECT_EQ(seconds, 2U);
        ASSERT_TRUE(port.Play());
        ASSERT_TRUE(port.WaitForEnd());
        EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &seconds));
        EXPECT_EQ(seconds, 2U);
        EXPECT_EQ(port.PictureMd5s(), ReferenceMd5s(video, codec));
        const std::vector<FileFrame> frames = VideoOf(port.Frames());
        ASSERT_EQ(frames.size(), 75U);
        EXPECT_EQ(port.AudioFrames(), h264 ? blocks.units.size() : 0);
        const size_t delimiter = h264 ? 6 : 0;  // the muxer puts it in front
        for (size_t i = 0; i < frames.size(); ++i) {
            ASSERT_TRUE(std::ranges::equal(Span(frames[i].data).subspan(delimiter), pictures.units[i])) << i;
            EXPECT_EQ(frames[i].key, i % 25 == 0);
            EXPECT_EQ(frames[i].time, static_cast<int64_t>((first + i * 3600) % (1ULL << 33))) << i;
        }
        std::vector<std::string> streams = {h264 ? "h264,75" : "hevc,75", "unknown,N/A"};
        if (h264) {
            streams.insert(streams.begin() + 1, "mp2," + std::to_string(blocks.units.size()));
        }
        EXPECT_EQ(support::LinesOf("ffprobe -v error -count_packets -show_entries stream=codec_name,nb_read_packets "
                                   "-of csv=p=0 '" +
                                   path + "' | grep -v '^ *$' | sort -u"),
                  streams)
            << "the muxer announces its stream of private data, which stays empty here";
    }
}

/* ---- pause, resume, end ---- */

TEST_F(FilePlay, PauseHoldsAndResumeIsTakenUpAtOnce) {
    FilePort port;
    port.PaceWithoutWindow();
    ASSERT_TRUE(port.Open(FileOf("plain")));
    auto since = Clock::now();
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() >= 5; }));
    EXPECT_LT(Seconds(since), SOON_SECONDS);
    ASSERT_TRUE(port.Pause());
    SleepMs(20);
    const size_t paused = port.FrameCount();
    SleepMs(200);
    EXPECT_EQ(port.FrameCount(), paused);
    since = Clock::now();
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() > paused; }));
    EXPECT_LT(Seconds(since), SOON_SECONDS);
}

TEST_F(FilePlay, AClientLoopsAFileByTheMessageOfItsEnd) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("plain")));
    ASSERT_TRUE(port.Play());
    for (unsigned round = 1; round <= 3; ++round) {
        ASSERT_TRUE(port.WaitForEnd(round));
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 75 * round; }));
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
        ASSERT_TRUE(port.Play());
    }
    ASSERT_TRUE(port.WaitForEnd(4));
    const std::vector<std::string> pictures = port.PictureMd5s();
    ASSERT_EQ(pictures.size(), 300U);
    EXPECT_TRUE(std::equal(pictures.begin(), pictures.begin() + 75, pictures.begin() + 225));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd(5)) << "playing on at the end tells of the end again";
    EXPECT_EQ(port.FrameCount(), 300U);
}

/* ---- speeds ---- */

TEST_F(FilePlay, SpeedsPaceAsTheySay) {
    struct Case {
        ULONG_32 speed;
        size_t frames;
        double seconds;
    };
    // 75 pictures at 25 a second, a key frame every second. The first one stands for no time, the others 2 ms less than
    // theirs.
    const Case cases[] = {{PLAYER_SPEED_1_FORWARD, 75, 2.81},
                          {PLAYER_SPEED_2_FORWARD, 75, 1.33},
                          {PLAYER_SPEED_4_FORWARD, 3, 0.5},
                          {PLAYER_SPEED_32_FORWARD, 3, 0.06}};
    for (const Case &test : cases) {
        FilePort port;
        port.PaceWithoutWindow();
        ASSERT_TRUE(port.Open(FileOf("plain")));
        const auto since = Clock::now();
        ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), test.speed));
        ASSERT_TRUE(port.WaitForEnd());
        const double seconds = Seconds(since);
        EXPECT_GE(seconds, test.seconds * 0.93) << test.speed;
        EXPECT_LE(seconds, test.seconds * 1.1 + SOON_SECONDS) << test.speed;
        EXPECT_EQ(port.FrameCount(), test.frames) << test.speed;
    }
}

TEST_F(FilePlay, OtherSpeedsChooseFramesAndPace) {
    const struct {
        ULONG_32 speed;
        float factor;
        ULONG_32 frames;
    } rows[] = {{0, 4.0F, FRAME_CTRL_PLAY},
                {12, 1.0F, FRAME_CTRL_PLAY},
                {7, 1.5625F, FRAME_CTRL_ONLY_I_FRAME},
                {18, 12.5F, FRAME_CTRL_ONLY_I_FRAME},
                {25, 0.025F, FRAME_CTRL_ONLY_I_FRAME},
                {35, 0.78125F, FRAME_CTRL_ONLY_I_FRAME},
                {23, 1.0F, FRAME_CTRL_PAUSE}};
    for (const auto &row : rows) {
        FilePort port;
        port.PaceWithoutWindow();
        ASSERT_TRUE(port.Open(FileOf("plain")));
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        const PLAEYR_PORT_S *record = Player_GetPort(port.Number());
        ASSERT_TRUE(WaitUntil([&] { return word::Load(record->stStateInfo.lFrameRate) == 25; }));
        ASSERT_TRUE(port.Pause());
        ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), row.speed));
        EXPECT_EQ(word::Load(record->ulFrameCtrl), row.frames);
        EXPECT_EQ(word::Load(record->fFilePlaySpeed), row.factor) << row.speed;
        EXPECT_EQ(word::Load(record->enSpeedValue), row.speed);
        EXPECT_FALSE(Zelvane_SpeedPlay(port.Number(), 36));
        EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PARAM});
    }
}

TEST_F(FilePlay, AJumpInKeyFramePlayMeasuresTheDistanceAnew) {
    FilePort port;
    port.PaceWithoutWindow();
    ASSERT_TRUE(port.Open(FileOf("plain")));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_4_FORWARD));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 2; }));
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
    ASSERT_TRUE(port.WaitForEnd()) << "the way back is no distance of two key frames";
    EXPECT_EQ(port.FrameCount(), 5U);
}

TEST_F(FilePlay, SoundPlaysAtNormalSpeedOnly) {
    FilePort port;
    port.PaceWithoutWindow();
    ASSERT_TRUE(port.Open(FileOf("aac")));
    ASSERT_TRUE(Zelvane_OpenSound(port.Number()));
    PLAEYR_PORT_S *record = Player_GetPort(port.Number());
    const auto hasDevice = [&] { return word::Load(record->hSoundDev) != nullptr; };
    ASSERT_TRUE(port.Play());
    EXPECT_TRUE(WaitUntil(hasDevice));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_HALF_FORWARD));
    EXPECT_TRUE(WaitUntil([&] { return !hasDevice(); }));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_1_FORWARD));
    EXPECT_TRUE(WaitUntil(hasDevice)) << "made again at the next block";
    ASSERT_TRUE(port.Close());
    EXPECT_FALSE(hasDevice());
}

/* ---- steps ---- */

TEST_F(FilePlay, StepsShowOnePictureEachAndPassOverSound) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("aac")));
    const std::vector<FileFrame> wanted = VideoOf(support::SamplesOfMp4(FileOf("aac")));
    for (size_t step = 1; step <= 5; ++step) {
        const auto since = Clock::now();
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        EXPECT_LT(Seconds(since), SOON_SECONDS);
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == step; }));
    }
    SleepMs(60);
    ExpectSameFrames(port.Frames(), {wanted.begin(), wanted.begin() + 5});
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    ASSERT_TRUE(Zelvane_AFrameGo(port.Number())) << "a step at the end returns";
    ASSERT_TRUE(port.WaitForEnd(2)) << "and tells of the end";
    EXPECT_FALSE(Zelvane_AFrameBack(port.Number()));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
}

TEST_F(FilePlay, AStepWaitsForNoCallbackThatCallsThePort) {
    FilePort port;
    std::atomic<unsigned> refused{0};
    std::atomic<bool> closing{false};
    port.onPicture = [&] {
        ULONG_32 time = 0;
        EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &time) || closing);
        EXPECT_FALSE(Zelvane_AFrameGo(port.Number()));
        refused += Zelvane_GetLastError() == PLAYER_ERR_FAILED && !port.Close();
        SleepMs(2);
    };
    ASSERT_TRUE(port.Open(FileOf("plain")));
    for (int step = 0; step < 20; ++step) {
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
    }
    ASSERT_TRUE(WaitUntil([&] { return refused == 20; }));
    port.onFrame = [&] { Zelvane_PausePlay(port.Number(), 1); };
    for (int step = 0; step < 20; ++step) {
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number())) << "a callback may put a step aside";
    }
    closing = true;
    ASSERT_TRUE(port.Close());
}

/* ---- seeks ---- */

TEST_F(FilePlay, AJumpShowsOnePictureOfTheNewPlaceWhilePaused) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("plain")));
    const std::vector<FileFrame> all = support::SamplesOfMp4(FileOf("plain"));
    const struct {
        ULONG_32 seconds;
        size_t frame;
    } jumps[] = {{2, 50}, {1, 25}, {0, 0}};
    for (const auto &jump : jumps) {
        port.Forget();
        const auto since = Clock::now();
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), jump.seconds));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; }));
        EXPECT_LT(Seconds(since), SOON_SECONDS);
        SleepMs(60);
        ExpectSameFrames(port.Frames(), {all[jump.frame]});
        ULONG_32 time = 0;
        EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &time));
        EXPECT_EQ(time, jump.seconds);
    }
}

/** Checks that pictures of a file with 25 frames a second carry the stamps of their places; key frames may carry their
 * own. */
void ExpectPicturesOfTheirStamps(const FilePort &port, const std::vector<std::string> &all, bool keys) {
    const std::vector<std::string> got = port.PictureMd5s();
    const std::vector<int64_t> times = port.PictureTimes();
    for (size_t i = 0; i < got.size(); ++i) {
        const auto place = std::find(all.begin(), all.end(), got[i]) - all.begin();
        ASSERT_LT(place, static_cast<ptrdiff_t>(all.size())) << "a picture that is none of the file's";
        ASSERT_LE(times[i], place * 3600);
        ASSERT_GE(times[i], (place - (keys ? 3 : 0)) * 3600);
    }
}

TEST_F(FilePlay, JumpsStepsAndKeyFramePlayGiveThePicturesOfTheirPlaces) {
    for (const char *name : {"open_gop", "closed_gop"}) {
        SCOPED_TRACE(name);
        const std::vector<std::string> all = support::PicturesOfFile(FileOf(name));
        FilePort port;
        port.PaceWithoutWindow();
        ASSERT_TRUE(port.Open(FileOf(name)));
        const auto step = [&] {
            const size_t before = port.PictureCount();
            ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
            ASSERT_EQ(before + 1, port.PictureCount());
        };
        for (const ULONG_32 seconds : {4U, 2U, 0U, 3U, 1U, 4U, 4U, 1U, 0U, 2U, 3U, 0U}) {
            port.Forget();
            ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), seconds));
            ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; })) << seconds;
            EXPECT_GE(16U, port.FrameCount());
            for (int i = 0; i < 4; ++i) {
                ASSERT_NO_FATAL_FAILURE(step());
            }
            const auto first = std::find(all.begin(), all.end(), port.PictureMd5s()[0]);
            ASSERT_TRUE(std::equal(first, first + 5, port.PictureMd5s().begin()));
            ASSERT_NO_FATAL_FAILURE(ExpectPicturesOfTheirStamps(port, all, false));
        }
        port.Forget();
        ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_16_FORWARD));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() >= 2; }));
        ASSERT_TRUE(port.Pause());
        SleepMs(20);
        ASSERT_NO_FATAL_FAILURE(ExpectPicturesOfTheirStamps(port, all, true));
        const std::string key = port.PictureMd5s().back();
        port.Forget();
        for (int i = 0; i < 4; ++i) {
            ASSERT_NO_FATAL_FAILURE(step());
        }
        const auto behind = std::find(all.begin(), all.end(), key) + 1;
        ASSERT_TRUE(std::equal(behind, behind + 4, port.PictureMd5s().begin())) << "the frames behind that key frame";
        ASSERT_NO_FATAL_FAILURE(ExpectPicturesOfTheirStamps(port, all, false));
    }
}

TEST_F(FilePlay, WhatTheDecoderHoldsBackComesOneAStepBeforeTheEndIsTold) {
    const std::vector<std::string> all = support::PicturesOfFile(FileOf("closed_gop"));
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("closed_gop")));
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 5));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; }));
    for (size_t i = 2; i <= 5; ++i) {
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        EXPECT_EQ(i, port.PictureCount());
        EXPECT_EQ(0U, port.Ends());
    }
    EXPECT_EQ(std::vector<std::string>(all.end() - 5, all.end()), port.PictureMd5s());
    ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(5U, port.PictureCount());
}

TEST_F(FilePlay, AJumpPastTheEndLeavesThePlace) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("plain")));
    ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 1000));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 2; }));
    EXPECT_EQ(Library::LinesWith("MP4_SetPlayTime Failed, Not Find Index."), 1U);
    EXPECT_EQ(Library::LinesWith("Start FilePlay Thread Warning: File_SetPlayTime Failed, Error:[0x1]."), 1U);
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.FrameCount(), 75U);
}

TEST_F(FilePlay, AJumpBehindTheLastKeyFrameEndsTheFile) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("one_gop")));
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 1));
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.FrameCount(), 0U);
}

TEST_F(FilePlay, JumpsInATransportStreamLandOnKeyFrames) {
    const Bytes video = ReadFile(MediaPath("h264_1080p_bench.264"));
    TempDir folder;
    support::WriteTs(folder.At("c.ts"), {PLAYER_PAYLOAD_H264, SplitAccessUnits(video, AV_CODEC_ID_H264), 3600}, nullptr,
                     50);
    FilePort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Open(folder.At("c.ts")));
    for (ULONG_32 seconds : {3U, 0U, 5U, 1U}) {
        port.Forget();
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), seconds));
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 1; }));
        const FileFrame frame = port.Frames()[0];
        EXPECT_TRUE(frame.key);
        // The clock found is up to 2 seconds past the target, and the next key frame up to 2 seconds more.
        EXPECT_GE(frame.time, 90000 + 90000 * seconds);
        EXPECT_LE(frame.time, 90000 + 90000 * (seconds == 0 ? 0 : seconds + 4));
    }
    port.Forget();
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 9));
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 1; }));
    EXPECT_FALSE(port.Frames()[0].key) << "a time past the end leaves the place";
}

/* ---- other ports, arguments ---- */

TEST_F(FilePlay, OtherPortsAndBadArgumentsGetTheirCodes) {
    const auto code = [](BOOL_T result) { return result ? 0U : Zelvane_GetLastError(); };
    FilePort port;
    ULONG_32 number = port.Number();
    ULONG_32 time = 77;
    EXPECT_EQ(code(Zelvane_OpenMediaFile(number, nullptr)), 2U);
    EXPECT_EQ(code(Zelvane_PausePlay(number, 0)), 7U);
    EXPECT_EQ(code(Zelvane_SetPlayedTime(number, 1)), 7U);
    EXPECT_EQ(code(Zelvane_GetFileTime(number, &time)), 7U);
    EXPECT_EQ(code(Zelvane_GetPlayTime(number, &time)), 1U);
    EXPECT_EQ(code(Zelvane_CloseMediaFile(number)), 0U);
    EXPECT_EQ(code(Zelvane_OpenMediaFile(256, "x")), 259U);
    ASSERT_TRUE(port.Open(FileOf("plain")));
    EXPECT_EQ(code(port.Open(FileOf("plain"))), 2U) << "in use";
    EXPECT_EQ(code(Zelvane_OpenInputStream(number, nullptr, 0, 0)), 2U);
    EXPECT_EQ(code(Zelvane_GetFileTime(number, &time)), 0U);
    EXPECT_EQ(time, 3U);
    support::InputPort input;
    EXPECT_EQ(code(Zelvane_OpenMediaFile(input.Number(), FileOf("plain").c_str())), 2U);
    EXPECT_EQ(code(Zelvane_CloseMediaFile(input.Number())), 0U);
    EXPECT_TRUE(input.Push(Bytes(100, 0xFF))) << "the stream is still open";
    EXPECT_EQ(code(Zelvane_SpeedPlay(input.Number(), PLAYER_SPEED_4_FORWARD)), 0U);
    EXPECT_EQ(word::Load(Player_GetPort(input.Number())->ulFrameCtrl), ULONG_32{FRAME_CTRL_PLAY});

    PLAYBACK_PLAY_TIME times[3] = {{number, 9}, {input.Number(), 9}, {256, 9}};
    EXPECT_EQ(code(Zelvane_GetPlayTimeEx(2, times)), 0U);
    EXPECT_EQ(times[0].ulPlayTime, 0U);
    EXPECT_EQ(times[1].ulPlayTime, 0U) << "a stream without a playback time is no failure here";
    EXPECT_EQ(code(Zelvane_GetPlayTimeEx(3, times)), 259U);
    EXPECT_EQ(code(Zelvane_GetPlayTimeEx(1, nullptr)), 2U);
    EXPECT_EQ(code(Zelvane_GetPlayTimeEx(0, nullptr)), 0U);
}

/* ---- bad files ---- */

TEST_F(FilePlay, BadFilesGiveTheirCodesAndLeaveNothingBehind) {
    TempDir folder;
    const Bytes good = ReadFile(FileOf("plain"));
    WriteFile("empty", "");
    WriteFile("text", "hello, this is no film");
    WriteFile("cut", {good.begin(), good.end() - 10});
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    ULONG_32 realTime = 0;
    EXPECT_FALSE(Zelvane_MP4GetRealTime("pipe", &realTime)) << "and did not wait for a writer";
    const struct {
        const char *name;
        ULONG_32 code;
        const char *line;
    } files[] = {{"missing", 262, "File_CreateFileParser Failed, Fopen Failed, Error[0xd]."},
                 {"", 262, "WYK_FileOpen Failed, File Name Is Empty."},
                 {"pipe", 262, "File_CreateFileParser Failed, Fopen Failed, Error[0x7]."},
                 {"empty", 7, "Player_OpenMediaFile: File_CreateFileParser Failed, Error:[0x7]."},
                 {"text", 7, "Player_OpenMediaFile: File_CreateFileParser Failed, Error:[0x7]."},
                 {"cut", 2, "MP4_CreateMp4Parser Failed, Box Size OverFlow."}};
    FilePort port;
    size_t descriptors = 0, threads = 0;
    for (int round = 0; round < 20; ++round) {
        for (const auto &file : files) {
            Library::ForgetLines();
            EXPECT_FALSE(port.Open(file.name)) << file.name;
            EXPECT_EQ(Zelvane_GetLastError(), file.code) << file.name;
            EXPECT_GE(Library::LinesWith(file.line), 1U) << file.name;
        }
        EXPECT_FALSE(port.Open(folder.At("."))) << "a folder";
        EXPECT_TRUE(port.Open(FileOf("plain")));
        EXPECT_TRUE(Zelvane_AFrameGo(port.Number()));
        EXPECT_TRUE(port.Close());
        descriptors = round == 0 ? support::OpenDescriptors() : descriptors;
        threads = round == 0 ? support::Threads() : threads;
    }
    EXPECT_EQ(support::OpenDescriptors(), descriptors);
    EXPECT_EQ(support::Threads(), threads);
}

TEST_F(FilePlay, AFileCutOrDamagedAnywhereEndsSoon) {
    TempDir folder;
    for (const char *name : {"aac", "faststart"}) {
        const Bytes good = ReadFile(FileOf(name));
        for (size_t i = 0; i < 60; i += 3 * SANITIZED_SLOWDOWN) {
            Bytes bad = good;
            if (i % 2 == 0) {
                bad.resize(good.size() * i / 60);
            } else {
                for (size_t at = i * 7919 % 997; at < bad.size(); at += 997) {
                    bad[at] = static_cast<uint8_t>(bad[at] + i);
                }
            }
            WriteFile(folder.At("bad"), {bad.begin(), bad.end()});
            FilePort port;
            const auto since = Clock::now();
            if (port.Open(folder.At("bad"))) {
                port.Play();
                Zelvane_OpenSound(port.Number());
                EXPECT_TRUE(port.WaitForEnd()) << name << i;
                EXPECT_TRUE(port.Close());
            }
            EXPECT_LT(Seconds(since), 5 * SANITIZED_SLOWDOWN) << name << i;
        }
    }
}

/* ---- closing ---- */

TEST_F(FilePlay, CloseReturnsSoonWhateverTheThreadWaitsFor) {
    struct Case {
        const char *what;
        std::function<void(FilePort &)> begin;
    };
    const Case cases[] = {{"paused", [](FilePort &) {}},
                          {"played to the end",
                           [](FilePort &port) {
                               Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_32_FORWARD);
                               port.WaitForEnd();
                           }},
                          {"a picture held for 4 frames", [](FilePort &port) { Zelvane_SpeedPlay(port.Number(), 0); }},
                          {"a key frame held for 25 seconds",
                           [](FilePort &port) {
                               Zelvane_AFrameGo(port.Number());
                               WaitUntil([&] { return port.PictureCount() == 1; });
                               Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_1_BACKWARD);
                           }},
                          {"playing flat out", [](FilePort &port) {
                               Zelvane_SetDecodeVideoMediaDataCB(port.Number(), nullptr, 1, nullptr);
                               port.Play();
                           }}};
    for (const Case &test : cases) {
        FilePort port;
        port.PaceWithoutWindow();
        ASSERT_TRUE(port.Open(FileOf("plain")));
        test.begin(port);
        SleepMs(30);
        const auto since = Clock::now();
        ASSERT_TRUE(port.Close());
        EXPECT_LT(Seconds(since), SOON_SECONDS) << test.what;
    }
}

TEST_F(FilePlay, AHeldPictureGivesWayToAJumpAResumeAndAStep) {
    FilePort port;
    port.PaceWithoutWindow();
    ASSERT_TRUE(port.Open(FileOf("plain")));
    ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
    ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; }));
    const std::function<void()> calls[] = {[&] { Zelvane_SetPlayedTime(port.Number(), 0); },
                                           [&] { Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_1_FORWARD); },
                                           [&] { Zelvane_AFrameGo(port.Number()); }};
    for (const auto &call : calls) {
        ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_1_BACKWARD));  // 25 seconds a picture
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() > 0; }));
        SleepMs(30);
        port.Forget();
        const auto since = Clock::now();
        call();
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() > 0; }));
        EXPECT_LT(Seconds(since), SOON_SECONDS);
        Zelvane_SetPlayedTime(port.Number(), 0);
        port.Forget();
    }
}

TEST_F(FilePlay, ARecorderThatStandsStillHoldsUpNeitherStepNorClose) {
    FilePort port;
    ASSERT_TRUE(port.Open(FileOf("plain")));
    PLAEYR_PORT_S *record = Player_GetPort(port.Number());
    ASSERT_EQ(QUEUE_InitPacketBuffer(&record->stRecordBufferQueue, 2048, 32), 0U);
    word::Store(record->bStartRecord, 1);
    ASSERT_TRUE(port.Play());
    ULONG_32 used = 0;
    ASSERT_TRUE(WaitUntil([&] { return QUEUE_GetCurPacketLen(&record->stRecordBufferQueue, &used) == 0 && used > 1; }));
    SleepMs(200);
    const size_t frames = port.FrameCount();
    SleepMs(50);
    EXPECT_EQ(port.FrameCount(), frames) << "it waits for the recorder";
    auto since = Clock::now();
    EXPECT_TRUE(Zelvane_AFrameGo(port.Number()));
    EXPECT_LT(Seconds(since), SOON_SECONDS);
    CHAR *packet = nullptr;
    ULONG_32 size = 0;
    ASSERT_EQ(QUEUE_GetPacket(&record->stRecordBufferQueue, &packet, &size), 0U);
    ASSERT_EQ(size, 24U);
    EXPECT_EQ(std::string(packet, 4), "RdHd");
    ASSERT_TRUE(port.Play());
    SleepMs(30);
    since = Clock::now();
    EXPECT_TRUE(port.Close());
    EXPECT_LT(Seconds(since), SOON_SECONDS);
}

TEST_F(FilePlay, CallsFromManyThreadsMeetOpensAndCloses) {
    FilePort port;
    port.PaceWithoutWindow();
    std::atomic<bool> running{true};
    std::vector<std::thread> clients;
    for (unsigned client = 0; client < 3; ++client) {
        clients.emplace_back([&, client] {
            for (ULONG_32 i = client; running; ++i) {
                PLAYBACK_PLAY_TIME entry = {port.Number(), 0};
                Zelvane_GetPlayTimeEx(1, &entry);
                Zelvane_GetPlayTime(port.Number(), &entry.ulPlayTime);
                Zelvane_SpeedPlay(port.Number(), i % 36);
                Zelvane_SetPlayedTime(port.Number(), i % 4);
                i % 5 == 0 ? Zelvane_AFrameGo(port.Number()) : Zelvane_PausePlay(port.Number(), i % 2);
            }
        });
    }
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(port.Open(FileOf(i % 2 == 0 ? "plain" : "bframes")));
        SleepMs(10);
        EXPECT_TRUE(port.Close());
    }
    running = false;
    for (std::thread &client : clients) {
        client.join();
    }
}
