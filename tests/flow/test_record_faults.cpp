// Control of a recording, and recordings that something goes wrong with: disks, folders, streams, stops, death.
#include "flow/record_port.h"

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

using support::FilePort;
using support::Library;
using support::RtpSender;
using support::WaitUntil;

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

const VideoStream &Video() {
    static const VideoStream video("h264_640x360_bf0.264", AV_CODEC_ID_H264);
    return video;
}

ULONG_32 StartCode(ULONG_32 port, const std::string &path, ULONG_32 format) {
    return Zelvane_StartRecord(port, path.c_str(), format, nullptr) ? 0 : Zelvane_GetLastError();
}

ULONG_32 CodeOf(BOOL_T result) { return result ? 0 : Zelvane_GetLastError(); }

class RecordControl : public testing::Test {
 protected:
    Library m_library;
    RecordMessages m_messages;
    TempDir m_folder;
};

}  // namespace

/* ---- control ---- */

TEST_F(RecordControl, LimitsStatusAndListAnswerAsTold) {
    RecordPort port;
    const ULONG_32 n = port.Number();
    for (const auto &[size, code] : std::vector<std::pair<ULONG_32, ULONG_32>>{{9, 2}, {10, 0}, {4000, 0}, {4001, 2}}) {
        EXPECT_EQ(CodeOf(Zelvane_SetRecordSize(n, size)), code) << size;
    }
    EXPECT_EQ(Library::LinesWith("Player_SetRecordSize: FileSize:[4001] Out Of Size[10-4000M]."), 1U);
    for (const auto &[time, code] : std::vector<std::pair<ULONG_32, ULONG_32>>{{0, 2}, {1, 0}, {60, 0}, {61, 2}}) {
        EXPECT_EQ(CodeOf(Zelvane_SetRecordDivByTime(n, time)), code) << time;
    }
    const PLAEYR_PORT_S *record = Player_GetPort(n);
    EXPECT_EQ(record->ulFileMaxSize, 0U);
    EXPECT_EQ(record->ulFileMaxTime, 3600U);
    EXPECT_TRUE(Zelvane_SetRecordSize(n, 10));
    EXPECT_EQ(record->ulFileMaxSize, 10U << 20);
    EXPECT_EQ(record->ulFileMaxTime, 0U);

    PLAYER_RECORD_FILES_NAME_INFO_S info = {};
    EXPECT_EQ(CodeOf(Zelvane_GetRecordFiles(n, RECORD_GET_FILENAME_ALL, nullptr)), 2U);
    EXPECT_EQ(CodeOf(Zelvane_GetRecordFiles(n, RECORD_GET_FILENAME_ALL, &info)), 2U) << "nothing yet";
    BOOL_T recording = 1;
    EXPECT_TRUE(Zelvane_GetRecordStatus(n, &recording));
    EXPECT_EQ(recording, 0);
    DULONG size = 4711;
    EXPECT_TRUE(Zelvane_GetRecordFileSize(n, &size));
    EXPECT_EQ(size, 4711U);

    EXPECT_TRUE(Zelvane_StopRecord(n)) << "a stop without a recording";
    EXPECT_EQ(port.Files(), std::vector<std::string>{""});
    EXPECT_EQ(StartCode(n, "", 99), 2U);
    EXPECT_EQ(CodeOf(Zelvane_StartRecord(n, nullptr, 0, nullptr)), 2U);
    EXPECT_EQ(CodeOf(Zelvane_StartRecord(256, "cam", 0, nullptr)), 259U);
    EXPECT_EQ(CodeOf(Zelvane_StopRecordEx(n, nullptr)), 2U);
    ASSERT_TRUE(port.Start("a%n%s", PLAYER_FILE_FORMATE_TS));
    EXPECT_EQ(Library::LinesWith("FileName Contains percentage sign."), 1U);
    EXPECT_EQ(StartCode(n, "b", PLAYER_FILE_FORMATE_TS), 537U);
    const PLAEYR_PORT_S *helper = record->pstReordPort;
    const ULONG_32 helperNumber = helper->ulPort;
    Zelvane_FreePort(helperNumber);
    EXPECT_EQ(helper->ulPort, helperNumber) << "the recording's port is not the client's to free";
    port.Stop();
    EXPECT_EQ(Player_GetPort(helperNumber), nullptr);
    for (const auto &[order, name] :
         {std::pair{RECORD_GET_FILENAME_FIRST, ""}, {RECORD_GET_FILENAME_LAST, "a%n%s.ts"}}) {
        ASSERT_TRUE(Zelvane_GetRecordFiles(n, order, &info));
        EXPECT_STREQ(info.pstFileNameLinkList->szFileName, name);
    }
    info = {7, nullptr};
    EXPECT_TRUE(Zelvane_GetRecordFiles(n, static_cast<PLAYER_RECORD_GET_FILENAME_POS_E>(3), &info));
    EXPECT_EQ(info.ulFileCount, 7U) << "an unknown order gives nothing";
}

TEST_F(RecordControl, NamesComeOutAsTold) {
    const struct {
        const char *name;
        ULONG_32 format;
        std::string stop, stopEx; /**< as Shape() has them */
    } rows[] = {
        {"cam.264", 0, "cam.264.mp4", "cam.264.temp.mp4"},
        {"cam.mp4", 1, "cam.ts", "cam.temp.ts"},
        {"new/deep/cam.ts", 1, "new/deep/cam.ts", "new/deep/cam.temp.ts"},
        {"c_a_m", 2, "c_a_m_S#_E#.mp4", "c_a_m_S#.temp_E#.mp4"},
        {"cam", 6, "cam_S#_E#.ts", ""},
        {"cam", 9, "cam_S#_E#.ts", "cam_S#_E#.ts"},
        {"cam", 5, "cam.mp4", ""},
        {"cam.ts", 14, "cam.avi", "cam.temp.avi"},
        {"cam", 15, "cam_S#_E#.avi", "cam_S#.temp_E#.avi"},
        {"cam", 16, "cam.avi", ""},
        {"cam", 18, "cam_S#_E#.avi", "cam_S#_E#.avi"},
    };
    for (const auto &row : rows) {
        for (const bool ex : {false, true}) {
            RecordPort port;
            CHAR path[PLAYER_FILE_NAME_LEN] = "";
            ASSERT_TRUE(port.Start(row.name, row.format)) << row.name;
            port.PushVideo(Video(), 0, 3);
            port.DrainRecord();
            EXPECT_TRUE(ex ? Zelvane_StopRecordEx(port.Number(), path) : Zelvane_StopRecord(port.Number()));
            const std::string file = port.Files().back();
            EXPECT_EQ(Shape(file), ex ? row.stopEx : row.stop);
            EXPECT_EQ(std::filesystem::exists(file), !file.empty());
            EXPECT_TRUE(!ex || file == path);
        }
    }
}

TEST_F(RecordControl, EachRecordingCountsItsFilesFromTheStart) {
    RecordPort port;
    port.SplitAt(1);
    for (const char *name : {"one", "two"}) {
        ASSERT_TRUE(port.Start(name, PLAYER_FILE_FORMATE_TS));
        port.PushVideo(Video());
        port.Stop();
        EXPECT_TRUE(std::filesystem::exists(std::string(name) + "_part1.ts"));
    }
}

TEST_F(RecordControl, AStampOfTheStreamsOwnTimeGetsANumberWhenItIsTaken) {
    for (const char *ending : {".ts", "(1).ts"}) {
        RecordPort port;
        RtpSender sender(support::RTP_PT_H264);
        ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME));
        for (uint32_t i = 0; i < 50; ++i) {
            for (Bytes packet : sender.VideoPackets(Video().units[i], 3600 * i)) {
                // A header extension of two words, the second one the time: 2020-01-02 03:04:05 and a second later.
                const uint32_t time = 1577934245 + i / 25;
                packet[0] |= 0x10;
                const uint8_t extension[] = {
                    0, 0, 0, 1, uint8_t(time >> 24), uint8_t(time >> 16), uint8_t(time >> 8), uint8_t(time)};
                packet.insert(packet.begin() + 12, extension, extension + 8);
                ASSERT_TRUE(port.Push(packet));
            }
        }
        port.DrainRecord();
        EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
        struct tm date = {};
        Player_SecondsToDate(1577934245, &date);
        CHAR stamp[64];
        snprintf(stamp, sizeof(stamp), "cam_S2020%02d%02d%02d0405_E2020%02d%02d%02d0406", date.tm_mon, date.tm_mday,
                 date.tm_hour, date.tm_mon, date.tm_mday, date.tm_hour);
        EXPECT_EQ(port.Files().back(), std::string(stamp) + ending);
        EXPECT_TRUE(std::filesystem::exists(port.Files().back()));
    }
}

TEST_F(RecordControl, NamesOfAnyLengthStayInTheirBuffersAndReplaceNoFile) {
    for (const ULONG_32 format : {0U, 1U, 3U, 8U, 9U}) {
        for (size_t length = 225; length <= 300; length += 5) {
            RecordPort port;
            port.SplitAt(20000);
            const std::string name = std::to_string(format) + "-" + std::to_string(length);
            std::filesystem::create_directory(name);
            const std::string folder = std::filesystem::current_path().string() + "/" + name + "/";
            if (port.Start(folder + std::string(length - folder.size(), 'n'), format)) {
                port.PushVideo(Video(), 0, 55);
                port.Stop();
                if (format != 3) {  // a file whose name is a time alone replaces that of the same second
                    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(name), {}), 3) << name;
                }
            }
        }
    }
}

TEST_F(RecordControl, WhatStopRecordExLeavesOpenIsClosedLater) {
    for (const ULONG_32 format :
         {PLAYER_FILE_FORMATE_AUDIO_TS, PLAYER_FILE_FORMATE_AUDIO_MP4, PLAYER_FILE_FORMATE_AUDIO_AVI}) {
        RecordPort port;
        CHAR path[PLAYER_FILE_NAME_LEN] = "";
        const size_t before = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
        ASSERT_TRUE(port.Start("one", format));
        port.PushVideo(Video(), 0, 3);
        port.DrainRecord();
        ASSERT_TRUE(Zelvane_StopRecordEx(port.Number(), path));
        EXPECT_STREQ(path, "");
        ASSERT_TRUE(port.Start("two", PLAYER_FILE_FORMATE_TS));
        port.Stop();
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), before);
    }
}

/* ---- other sources ---- */

TEST_F(RecordControl, APlayedFileIsRecordedFrameForFrame) {
    ASSERT_TRUE(
        support::Ffmpeg("-f lavfi -i testsrc2=size=320x180:rate=25 -f lavfi -i sine=sample_rate=16000 "
                        "-pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params keyint=25:bframes=0 "
                        "-c:a aac -ac 1 -ar 16000 -t 4",
                        "source.mp4"));
    const std::vector<std::string> wanted = SlicesOfFile("source.mp4", AV_CODEC_ID_H264);
    for (const auto &[format, path, sound] : {std::tuple{PLAYER_FILE_FORMATE_MP4, "copy.mp4", "aac"},
                                              {PLAYER_FILE_FORMATE_TS, "copy.ts", "mp2"},
                                              {PLAYER_FILE_FORMATE_AVI, "copy.avi", "mp2"}}) {
        FilePort port;
        port.KeepFromDecoding();
        ASSERT_TRUE(port.Open("source.mp4"));
        ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "copy", format, nullptr));
        ASSERT_TRUE(port.Play());
        ASSERT_TRUE(port.WaitForEnd());
        WaitForRecorder(port.Number());
        ASSERT_TRUE(port.Close()) << "a close stops the recording";
        EXPECT_EQ(SlicesOfFile(path, AV_CODEC_ID_H264), wanted);
        EXPECT_EQ(Probe(path, "-select_streams a -show_entries stream=codec_name"), sound);
    }
}

/* ---- streams ---- */

// Ten seconds of sound are ten seconds of the same sound, whatever its rate, and wherever the first key frame comes.
TEST_F(RecordControl, SoundOfAPlayedFileKeepsItsRateAndLength) {
    ASSERT_TRUE(
        support::Ffmpeg("-f lavfi -i testsrc2=size=320x180:rate=25 -f lavfi -i sine=440:sample_rate=48000 "
                        "-pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params keyint=25:bframes=0 "
                        "-c:a aac -ac 2 -t 10",
                        "stereo.mp4"));
    FilePort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Open("stereo.mp4"));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_2_FORWARD));
    ASSERT_TRUE(Zelvane_PausePlay(port.Number(), 1));
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "copy", PLAYER_FILE_FORMATE_MP4, nullptr));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    WaitForRecorder(port.Number());
    ASSERT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_EQ(Probe("copy.mp4", "-select_streams a -show_entries stream=codec_name,sample_rate,channels"),
              "aac,48000,2");
    EXPECT_NEAR(std::stod(Probe("copy.mp4", "-select_streams a -show_entries stream=duration")), 10.0, 0.1);
    EXPECT_EQ(support::LinesOf("ffmpeg -v error -i copy.mp4 -map 0:a -f null - 2>&1").size(), 0U) << "no decode errors";
}

TEST_F(RecordControl, TheTimeOfAPlayedRecordingIsThatOfItsCopy) {
    {
        RecordPort port;
        ASSERT_TRUE(port.Start("made", PLAYER_FILE_FORMATE_MP4));
        port.PushVideo(Video());
        port.Stop();
    }
    const auto stampOf = [](const char *name) {
        const Bytes file = ReadFile(name);
        const size_t end = file[2] * 256U + file[3];
        return ULONG_32{file[end - 4]} << 24 | file[end - 3] << 16 | file[end - 2] << 8 | file[end - 1];
    };
    const ULONG_32 newYear2020 = 1577836800;
    Bytes made = ReadFile("made.mp4");
    for (size_t i = 0; i < 4; ++i) {
        made[made[2] * 256U + made[3] - 4 + i] = static_cast<uint8_t>(newYear2020 >> (24 - 8 * i));
    }
    std::ofstream("made.mp4", std::ios::binary).write(reinterpret_cast<const char *>(made.data()), made.size());
    FilePort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Open("made.mp4"));
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "copy", PLAYER_FILE_FORMATE_MP4, nullptr));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    ASSERT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_NEAR(stampOf("copy.mp4"), newYear2020, 20);
}

TEST_F(RecordControl, ALossIsFollowedByTheNextKeyFrameAndAJumpOfTimeCostsAFrame) {
    RecordPort port;
    RtpSender sender(support::RTP_PT_H264);
    std::vector<std::string> wanted;
    ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_MP4));
    for (size_t i = 0; i < Video().units.size(); ++i) {
        const uint32_t time = static_cast<uint32_t>(i * 3600 + (i >= 60 ? 90000000 : 0));
        std::vector<Bytes> packets = sender.VideoPackets(Video().units[i], time);
        if (i == 30) {
            packets.erase(packets.begin());
        }
        ASSERT_TRUE(port.PushAll(packets));
        if (i < 30 || i >= 50) {
            const std::vector<std::string> more = SliceMd5s(Video().units[i], AV_CODEC_ID_H264);
            wanted.insert(wanted.end(), more.begin(), more.end());
        }
    }
    port.Stop();
    EXPECT_EQ(SlicesOfFile("cam.mp4", AV_CODEC_ID_H264), wanted);
    EXPECT_NEAR(std::stod(Probe("cam.mp4", "-select_streams v -show_entries stream=duration")), 3.0, 0.1)
        << "the gap of the loss is kept, the jump is not";
}

/* ---- disks and folders ---- */

TEST_F(RecordControl, AFolderThatCantBeWrittenToRefusesTheStart) {
    WriteFile("file", "");
    RecordPort port;
    for (const ULONG_32 format :
         {PLAYER_FILE_FORMATE_TS, PLAYER_FILE_FORMATE_MP4, PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME}) {
        EXPECT_EQ(StartCode(port.Number(), "file/cam", format), 262U);
        EXPECT_EQ(StartCode(port.Number(), "/proc/cam", format), 262U);
    }
    ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_MP4)) << "nothing stays behind";
    port.PushVideo(Video());
    port.Stop();
    EXPECT_EQ(support::PicturesOfFile("cam.mp4").size(), 75U);
    EXPECT_EQ(RecordMessages::All().size(), 1U) << "the failed starts are not told";
}

TEST_F(RecordControl, TwoRecordingsNeverShareAFile) {
    for (const ULONG_32 format : {PLAYER_FILE_FORMATE_TS, PLAYER_FILE_FORMATE_MP4}) {
        RecordPort first;
        RecordPort second;
        ASSERT_TRUE(first.Start("new/cam", format));
        first.PushVideo(Video(), 0, 50);
        first.DrainRecord();
        EXPECT_EQ(StartCode(second.Number(), "new/cam", format), 262U);
        first.PushVideo(Video(), 50);
        first.Stop();
        EXPECT_EQ(support::PicturesOfFile(first.Files().back()).size(), 75U);
        ASSERT_TRUE(second.Start("new/cam", format)) << "the name is free again";
        second.Stop();
    }
    EXPECT_EQ(Library::LinesWith("new/cam.temp Is Written By Another Recording."), 2U);
}

TEST_F(RecordControl, ARawStreamRecordedAsTsHasAClock) {
    support::InputPort port;
    Zelvane_SetSourceMediaDataCB(port.Number(), nullptr, 0, nullptr);
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "raw", PLAYER_FILE_FORMATE_TS, nullptr));
    for (const Span unit : Video().units) {
        ASSERT_TRUE(port.Push(support::WithLongStartCodes(unit)));
    }
    WaitForRecorder(port.Number());
    ASSERT_TRUE(Zelvane_StopRecord(port.Number()));
    FilePort file;
    ASSERT_TRUE(file.Open("raw.ts"));
    ULONG_32 seconds = 0;
    EXPECT_TRUE(Zelvane_GetFileTime(file.Number(), &seconds));
    EXPECT_NEAR(seconds, Video().units.size() / 25, 1);
}

TEST_F(RecordControl, AFolderThatVanishesHaltsTheRecordingAtTheNextFile) {
    std::filesystem::create_directory("gone");
    RecordPort port;
    ASSERT_TRUE(port.Start("gone/cam", PLAYER_FILE_FORMATE_MP4));
    port.PushVideo(Video(), 0, 25);
    port.DrainRecord();
    std::filesystem::rename("gone", "elsewhere");
    port.PushVideo(VideoStream("h265_640x360.265", AV_CODEC_ID_HEVC));
    ASSERT_TRUE(WaitUntil([] { return RecordMessages::All().size() == 2; }));
    EXPECT_EQ(RecordMessages::All()[1], RecordMessages::Text(port.Number(), 262, ""));
    EXPECT_EQ(Library::LinesWith("Record Thread: Player_CreateNewFile Failed, Error:[0x1]."), 1U);
    BOOL_T recording = 0;
    EXPECT_TRUE(Zelvane_GetRecordStatus(port.Number(), &recording));
    EXPECT_EQ(recording, 1);
    EXPECT_EQ(StartCode(port.Number(), "b", PLAYER_FILE_FORMATE_MP4), 537U);
    EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_EQ(support::PicturesOfFile("elsewhere/cam.temp").size(), 25U) << "what was recorded stays";
    ASSERT_TRUE(port.Start("b", PLAYER_FILE_FORMATE_MP4));
    port.Stop();
}

namespace {

/** Runs a test's body in a process of its own; what it EXPECTs decides. */
void InChild(const std::function<void()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        body();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace

TEST(RecordDisk, AFullDiskLeavesWhatWasRecordedAndIsTold) {
    TempDir folder;
    std::filesystem::create_directory("small");
    InChild([] {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "small", "tmpfs", 0, "size=2m") != 0) {
            std::printf("no mount namespace here\n");
            return;
        }
        Library library;
        RecordMessages messages;
        const VideoStream video("h264_1080p_bf0.264", AV_CODEC_ID_H264);
        size_t told = 0;
        for (const auto &[format, file] : {std::pair{PLAYER_FILE_FORMATE_TS, "small/cam.ts"},
                                           {PLAYER_FILE_FORMATE_MP4, "small/cam.mp4"},
                                           {PLAYER_FILE_FORMATE_AVI, "small/cam.avi"}}) {
            RecordPort port;
            ASSERT_TRUE(Zelvane_SetBufferCtrl(port.Number(), 0));
            ASSERT_TRUE(port.Start("small/cam", format));
            for (int i = 0; i < 4; ++i) {
                port.PushVideo(video);
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            const bool ts = format == PLAYER_FILE_FORMATE_TS;
            EXPECT_TRUE(WaitUntil([told] { return RecordMessages::All().size() == told + 1; }));
            EXPECT_EQ(RecordMessages::All()[told], RecordMessages::Text(port.Number(), 264, ""));
            BOOL_T recording = 0;
            EXPECT_TRUE(Zelvane_GetRecordStatus(port.Number(), &recording));
            EXPECT_EQ(recording, 1);
            EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
            const std::string path = port.Files().back();
            EXPECT_EQ(path, file);
            EXPECT_GT(support::LinesOf("ffmpeg -v quiet -i " + path + " -map 0:v -f framemd5 -").size(), 20U);
            EXPECT_EQ(Probe(path, "-select_streams v -show_entries stream=width"), "1920");
            EXPECT_TRUE(!ts || std::filesystem::file_size(path) % 188 == 0);
            {
                FilePort written;
                EXPECT_TRUE(written.Open(path)) << "the library reads it too";
            }
            std::filesystem::remove(path);
            EXPECT_TRUE(WaitUntil([told] { return RecordMessages::All().size() == told + 2; })) << "264 came once";
            told += 2;
        }
    });
}

/* ---- stops and deaths ---- */

TEST_F(RecordControl, StopsAndClosesMeetRollovers) {
    const auto since = Clock::now();
    for (int round = 0; round < 12; ++round) {
        RecordPort port;
        port.SplitAt(1);
        ASSERT_TRUE(port.Start("cam", round % 2 == 0 ? PLAYER_FILE_FORMATE_TS : PLAYER_FILE_FORMATE_MP4));
        std::atomic<bool> running{true};
        std::thread pusher([&] {
            for (size_t i = 0; running; i = (i + 1) % 3) {
                port.PushVideo(Video(), i * 25, i * 25 + 2);  // a key frame, a file, every other picture
            }
        });
        std::thread reader([&] {
            for (ULONG_32 i = 0; running; ++i) {
                port.Files();
                Zelvane_SetRecordSize(port.Number(), 10 + i % 10);
                port.SplitAt(1);
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + 7 * round));
        const auto stop = Clock::now();
        EXPECT_TRUE(Zelvane_StopRecord(port.Number()));
        EXPECT_LT(Seconds(stop), 1.0);
        if (round % 3 == 0) {
            EXPECT_TRUE(port.Start("again", PLAYER_FILE_FORMATE_MP4));
        }
        running = false;
        pusher.join();
        reader.join();
        if (round % 3 == 1) {
            port.Close();
        }
    }
    EXPECT_LT(Seconds(since), 60);
}

namespace {

/** What a container promises of a recording whose process was killed. */
struct Death {
    ULONG_32 format;
    size_t pictures; /**< of the 160 and more that were pushed */
};
const Death DEATHS[] = {{PLAYER_FILE_FORMATE_TS, 125}, {PLAYER_FILE_FORMATE_MP4, 125}, {PLAYER_FILE_FORMATE_AVI, 160}};

/** Records until it is killed; says when 160 pictures were taken. */
[[noreturn]] void RecordForEver(ULONG_32 format) {
    Library library;
    RecordPort port;
    port.Start("cam", format);
    for (size_t i = 0;; ++i) {
        port.PushVideo(Video(), i % 75, i % 75 + 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        if (i == 160) {  // an index is written every 5 seconds of the stream
            port.DrainRecord();
            WriteFile("pushed", "");
        }
    }
}

/** Reads an AVI file as it is: all its frames but the one that was being written. */
size_t FramesOfAvi(const std::string &path) {
    avi_t *file = AVI_open_input_file(path.c_str(), 1);
    if (file == nullptr) {
        return 0;
    }
    Bytes buffer(VIDEO_FRAME_BUFFER_SIZE);
    size_t frames = 0;
    while (AVI_read_frame(file, buffer.data(), nullptr) > 0) {
        ++frames;
    }
    EXPECT_GE(frames + 1, static_cast<size_t>(AVI_video_frames(file)));
    AVI_close(file);
    return frames;
}

/** Mends a file and reads what came of it. */
void ExpectRepaired(const std::string &path, size_t pictures) {
    const std::string before = ReadText(path);
    const std::string out = before.starts_with("RIFF") ? path + ".repaired.avi" : path + ".repaired.mp4";
    const std::string tool = std::string(std::getenv("ZELVANE_BUILD")) + "/bin/zvprobe ";
    EXPECT_EQ(std::system((tool + "--repair " + path + " >/dev/null").c_str()), 0);
    EXPECT_EQ(ReadText(path), before) << "the original stays";
    EXPECT_EQ(std::system((tool + out + " >report 2>&1").c_str()), 0) << ReadText("report");
    EXPECT_GE(support::PicturesOfFile(out).size(), pictures);
    std::filesystem::remove(out);
}

}  // namespace

TEST(RecordDeath, WhatWasRecordedOpensAfterAKill) {
    TempDir folder;
    const char *kills = std::getenv("ZELVANE_KILLS");  // scripts/soak asks for more
    const int rounds = kills != nullptr ? std::atoi(kills) : 6;
    std::mt19937 random(kills != nullptr ? std::random_device()() : 7);
    for (int round = 0; round < rounds; ++round) {
        const Death &death = DEATHS[round % 3];
        const pid_t child = fork();
        if (child == 0) {
            RecordForEver(death.format);
        }
        EXPECT_TRUE(WaitUntil([] { return std::filesystem::exists("pushed"); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 300));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        EXPECT_EQ(Probe("cam.temp", "-select_streams v -show_entries stream=width,height"), "640,360");
        EXPECT_GE(support::PicturesOfFile("cam.temp").size(), death.pictures) << round;
        if (death.format == PLAYER_FILE_FORMATE_AVI) {
            EXPECT_GE(FramesOfAvi("cam.temp"), death.pictures) << round;
        }
        if (death.format != PLAYER_FILE_FORMATE_TS) {
            ExpectRepaired("cam.temp", death.pictures);
        }
        std::filesystem::remove("cam.temp");
        std::filesystem::remove("pushed");
    }
}
