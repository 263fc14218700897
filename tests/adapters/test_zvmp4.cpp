// Recordings read back by ffmpeg and by our own reader; and what is left of one when its process dies, its disk fills
// up or its format ends.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "adapters/video_feed.h"
#include "codec/zvmp4.h"
#include "file/mp4_open.h"
#include "support/file_port.h"
#include "support/temp_dir.h"

using support::Probe;

namespace {

constexpr char kStart[] = "\0\0\0\1";

FORMAT_STREAM_INFO_S Info(MP4_VIDEOID_E video = VIDEO_CODEC_H264, UCHAR rateIndex = 11, ULONG_32 rate = 8000) {
    FORMAT_STREAM_INFO_S info = {2, rateIndex, 1, 640, 360, 25, rate, 16, 1, 0, 0, 0, video, AUDIO_CODEC_AACLC};
    return info;
}

/** A file being recorded. */
struct Recording {
    explicit Recording(const std::string &path, const FORMAT_STREAM_INFO_S &info = Info())
        : file(mp4_file_open(path.c_str(), 65, 777)), muxer(mp4_enc_init(&info, file)) {}
    ~Recording() { Close(); }
    LONG_32 Close() {
        const LONG_32 result = mp4_enc_close(muxer);
        mp4_file_close(file);
        file = muxer = nullptr;
        return result;
    }
    LONG_32 Put(ULONG_32 stream, Span data, bool key, DLONG stamp, ULONG_32 rate = 25) {
        const Bytes exact(data.begin(), data.end());
        const FORMAT_FRAME_INFO_S frame = {
            stream, const_cast<UCHAR *>(exact.data()), static_cast<ULONG_32>(exact.size()), key, stamp, rate, 0};
        return mp4_enc_frame(muxer, &frame);
    }
    LONG_32 Picture(Span data, bool key, DLONG stamp) { return Put(MP4_STREAM_VIDEO, data, key, stamp); }
    LONG_32 Sound(Span data, DLONG stamp = 0) { return Put(MP4_STREAM_AUDIO, data, true, stamp); }

    HANDLE file, muxer;
};

/** Units with start codes of 4 bytes; what belongs to no unit, and H.264 delimiters, left out. */
std::string Plain(Span frame, AVCodecID codec) {
    std::string text;
    for (const Span unit : SplitUnits(frame)) {
        const size_t head = unit[2] == 1 ? 3 : 4;
        std::string bytes(unit.begin() + static_cast<ptrdiff_t>(head), unit.end());
        bytes.erase(bytes.find_last_not_of('\0') + 1);
        if (codec != AV_CODEC_ID_H264 || (bytes[0] & 31) != 9) {
            text += std::string(kStart, 4) + bytes;
        }
    }
    return text;
}

struct Case {
    const char *name;
    const char *media;  // 640 x 360, 75 pictures, the key ones 25 apart
    AVCodecID codec;
    bool slices;  // each slice is a frame of its own
    bool stamps;  // else all of them are 0
};

const Case kCases[] = {
    {"h264", "h264_640x360_bf0.264", AV_CODEC_ID_H264, false, true},
    {"h264_slices", "h264_640x360_slices4.264", AV_CODEC_ID_H264, true, true},
    {"h264_slices_no_stamps", "h264_640x360_slices4.264", AV_CODEC_ID_H264, true, false},
    {"h265", "h265_640x360.265", AV_CODEC_ID_HEVC, false, true},
    {"h265_slices", "h265_slices_640x360.265", AV_CODEC_ID_HEVC, true, true},
};

class Mp4Writer : public testing::TestWithParam<Case> {};

/** What our reader gives, video and sound apart. */
struct ReadBack {
    std::vector<std::string> video, sound;
    std::vector<DULONG> keys;
};

ReadBack ReadAll(Mp4Open &file) {
    ReadBack all;
    while (file.Read() == PLAYER_ERR_OK) {
        const bool video = file.Frame().lPayload == PLAYER_PAYLOAD_H264 || file.Frame().lPayload == PLAYER_PAYLOAD_H265;
        if (video && file.Frame().lFormatType == 0) {
            all.keys.push_back(all.video.size());
        }
        (video ? all.video : all.sound).push_back(file.Bytes());
    }
    return all;
}

TEST_P(Mp4Writer, FileIsReadBackByFfmpegAndByOurReader) {
    const Case &test = GetParam();
    TempDir temp;
    const std::string path = temp.At("a.temp");
    const bool h265 = test.codec == AV_CODEC_ID_HEVC;
    const Bytes stream = ReadFile(MediaPath(test.media));
    const Bytes adts = ReadFile(MediaPath("aac_16000_mono.aac"));
    const std::vector<Span> sound = SplitAccessUnits(adts, AV_CODEC_ID_AAC);
    std::vector<std::string> pictures;
    size_t heard = 0;
    Recording recording(path, Info(h265 ? VIDEO_CODEC_H265 : VIDEO_CODEC_H264, 8, 16000));
    for (const Span unit : SplitAccessUnits(stream, test.codec)) {
        const DLONG time = static_cast<DLONG>(pictures.size()) * 40;
        const bool key = pictures.size() % 25 == 0;
        pictures.push_back(Plain(unit, test.codec));
        const std::vector<Bytes> whole = {Bytes(unit.begin(), unit.end())};
        for (const Bytes &part : test.slices ? SliceBuffers(unit, test.codec) : whole) {
            ASSERT_EQ(MP4_ENC_OK, recording.Picture(part, key, test.stamps ? time : 0));
        }
        for (; heard < sound.size() && static_cast<DLONG>(heard) * 64 <= time; ++heard) {
            ASSERT_EQ(MP4_ENC_OK, recording.Sound(sound[heard].subspan(7), time * 2));
        }
    }
    ASSERT_EQ(0, recording.Close());

    EXPECT_EQ(support::PicturesOfFile(path), ReferenceMd5s(stream, test.codec));
    const std::string video = h265 ? "hevc,640,360," : "h264,640,360,";
    EXPECT_EQ(Probe(path,
                    "-count_packets -select_streams v -show_entries stream=codec_name,width,height,duration,"
                    "nb_read_packets"),
              video + "3.000000,75");
    EXPECT_EQ(Probe(path, "-select_streams a -show_entries stream=codec_name,sample_rate,channels,nb_frames"),
              "aac,16000,1," + std::to_string(heard));
    EXPECT_NEAR(std::stod(Probe(path, "-select_streams a -show_entries packet=pts_time")), 0, 0.001);
    EXPECT_TRUE(support::LinesOf("ffmpeg -nostdin -v error -xerror -i " + path + " -map 0:a -f null - 2>&1").empty());

    auto file = Mp4Open::FromDisk(path);
    ASSERT_TRUE(file->Ok());
    MP4_INFO_S info;
    ASSERT_EQ(MP4_GetMp4Info(file->Parser(), &info), PLAYER_ERR_OK);
    EXPECT_EQ(info.ulFrameRate, 25U);
    EXPECT_EQ(info.ulPlayTime, 3U);
    const ReadBack got = ReadAll(*file);
    ASSERT_EQ(got.video.size(), pictures.size());
    EXPECT_EQ(got.keys, (std::vector<DULONG>{0, 25, 50}));
    for (size_t i = 0; i < pictures.size(); ++i) {  // an H.264 key frame has the file's parameter sets in front
        const bool sets = !h265 && i % 25 == 0;
        ASSERT_EQ(got.video[i].substr(sets ? got.video[i].size() - pictures[i].size() : 0), pictures[i]) << i;
    }
    ASSERT_EQ(got.sound.size(), heard);
    for (size_t i = 0; i < heard; ++i) {
        ASSERT_EQ(got.sound[i], std::string(sound[i].begin() + 7, sound[i].end()));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Mp4Writer, testing::ValuesIn(kCases),
                         [](const auto &info) { return std::string(info.param.name); });

/* ---- synthetic streams: a picture is one slice of a few bytes --------------------------------------------------- */

const Bytes kKeyPicture = {0, 0, 0, 1, 0x67, 0x42, 0, 30, 1, 0, 0, 1, 0x68, 0xCE, 0x38, 0x80, 0, 0, 1, 0x65, 0x88, 7};
const Bytes kPicture = {0, 0, 1, 0x41, 0x9A, 7};
const Bytes kBlock = {0x21, 0x10, 5};

struct Opened {
    bool ours = false;
    size_t video = 0, sound = 0;  // samples that our reader finds
    size_t probed = 0;            // pictures that ffprobe finds
};

Opened Open(const std::string &path) {
    Opened opened;
    auto file = Mp4Open::FromDisk(path);
    opened.ours = file->Ok();
    if (file->Ok()) {
        const ReadBack all = ReadAll(*file);
        opened.video = all.video.size();
        opened.sound = all.sound.size();
    }
    const std::string probed = Probe(path, "-count_packets -select_streams v -show_entries stream=nb_read_packets");
    opened.probed = static_cast<size_t>(atol(probed.c_str()));
    return opened;
}

constexpr int kIndexEvery = 125;  // pictures in 5 s

bool PutPair(Recording &recording, int picture, bool key) {  // stamps that jitter make a large index
    return recording.Picture(key ? kKeyPicture : kPicture, key, picture * 40 + picture % 3) == MP4_ENC_OK &&
           recording.Sound(kBlock) == MP4_ENC_OK;
}

/** Runs `work` up to its write number `write`, lets that one write `most` bytes, and kills it. False if it has fewer.
 */
template <class Work>
bool KillInWrite(int write, size_t most, Work work) {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    bool entry = false;
    for (int writes = 0; !WIFEXITED(status) && writes < write;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        user_regs_struct registers = {};
        ptrace(PTRACE_GETREGS, child, nullptr, &registers);
        entry = !entry;
        if (WIFSTOPPED(status) && entry && registers.orig_rax == SYS_pwrite64 && ++writes == write) {
            registers.rdx = std::min<unsigned long long>(registers.rdx, most);
            ptrace(PTRACE_SETREGS, child, nullptr, &registers);
            ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
            waitpid(child, &status, 0);
        }
    }
    const bool killed = !WIFEXITED(status);
    if (killed) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    return killed;
}

// An index of the size that fits twice into its room, and one that doesn't: killed in every write that renews them, and
// in the middle of each, readers find the old index or the new one.
TEST(Mp4Crash, RenewingTheIndexIsAllOrNothing) {
    for (const int first : {2000, 105000}) {
        TempDir temp;
        const std::string path = temp.At("a.temp");
        Recording recording(path);
        int picture = 0;
        for (; picture < first + kIndexEvery + 1; ++picture) {
            ASSERT_TRUE(PutPair(recording, picture, picture == 0 || picture == first));
        }
        const std::string before = ReadText(path);
        const auto renew = [&] {
            for (int i = 0; i < 3; ++i) {
                PutPair(recording, picture + i, i == 0);
            }
        };
        int write = 1;
        for (bool more = true; more; ++write) {
            for (const size_t most : {size_t{20000}, SIZE_MAX}) {
                WriteFile(path, before);
                more = KillInWrite(write, most, renew);
                auto file = Mp4Open::FromDisk(path);
                ASSERT_TRUE(file->Ok()) << write << ' ' << most;
                const auto &list = file->Parser()->list;
                const auto found = static_cast<int>(
                    std::count_if(list.begin(), list.end(), [](const auto &node) { return node.type == 0; }));
                ASSERT_TRUE(found == first || found == picture) << found << " in write " << write << ' ' << most;
            }
        }
        EXPECT_GT(write, first < 100000 ? 9 : 12);
    }
}

TEST(Mp4Crash, IndexHasRoomForTwoHoursThenIsKeptInMemory) {
    TempDir temp;
    const std::string path = temp.At("a.temp");
    Recording recording(path, Info(VIDEO_CODEC_H264, 3, 48000));
    constexpr int kGroup = 25 * 300;
    int told = 0;
    int pictures = 0;
    for (; told == 0 || pictures % kGroup != 50; ++pictures) {
        const bool key = pictures % kGroup == 0;
        const LONG_32 result = recording.Picture(key ? kKeyPicture : kPicture, key, pictures * 40 + pictures % 3);
        ASSERT_GE(result, MP4_ENC_OK);
        for (int i = 0; i < 1 + pictures % 8 % 2 + (pictures % 8 == 0 ? 3 : 0); ++i) {  // 47 blocks a second
            ASSERT_EQ(recording.Sound(kBlock), MP4_ENC_OK);
        }
        if (result == MP4_ENC_INDEX_IN_MEMORY) {
            EXPECT_EQ(++told, 1);
            EXPECT_GT(pictures, 2 * 3600 * 25);
        }
        ASSERT_LT(pictures, 12 * 3600 * 25);
    }
    const Opened before = Open(path);  // as if the process died now
    EXPECT_GT(before.video, 2U * 3600 * 25);
    EXPECT_EQ(before.video, before.probed);
    ASSERT_EQ(recording.Close(), 0);
    const Opened after = Open(path);
    EXPECT_EQ(after.video, static_cast<size_t>(pictures));
    EXPECT_EQ(after.probed, static_cast<size_t>(pictures));
}

/** Records until a write fails, and tries again with new muxers as the recorder does. A group is 40 s long, so that the
 *  index has grown a lot when it has to be written on the full disk. */
void FillDisk(const std::string &path) {
    Recording recording(path);
    Bytes picture = kPicture;
    picture.resize(1000, 0x55);
    int taken = 0;
    for (LONG_32 result = MP4_ENC_OK; result == MP4_ENC_OK; taken += result == MP4_ENC_OK) {
        const bool key = taken % 1000 == 0;
        result = recording.Picture(key ? kKeyPicture : picture, key, taken * 40 + taken % 3);
        ASSERT_LT(taken, 9000);
    }
    const Opened full = Open(path);  // nothing that was taken is lost, though the file was not closed
    EXPECT_EQ(full.video, static_cast<size_t>(taken));
    EXPECT_EQ(full.probed, static_cast<size_t>(taken));
    for (int i = 0; i < 3; ++i) {
        free(recording.muxer);
        const FORMAT_STREAM_INFO_S info = Info();
        recording.muxer = mp4_enc_init(&info, recording.file);
        ASSERT_NE(recording.muxer, nullptr);
        EXPECT_EQ(recording.Picture(picture, true, taken * 40), MP4_ENC_FAILED);
    }
    EXPECT_EQ(recording.Close(), 0);
    EXPECT_EQ(Open(path).probed, static_cast<size_t>(taken));
}

TEST(Mp4FullDisk, EveryPictureTakenStaysReadable) {
    TempDir temp;
    const auto former = signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {8 << 20, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    FillDisk(temp.At("limited.temp"));
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, former);
}

TEST(Mp4Limits, FileThatReachesFourGibibytesIsClosedOffWhole) {
    TempDir temp;
    const std::string path = temp.At("a.temp");
    Recording recording(path);
    Bytes picture = kKeyPicture;
    picture.resize(MP4_FRAME_SIZE_MAX, 0x55);
    FORMAT_FRAME_INFO_S frame = {MP4_STREAM_VIDEO, picture.data(), MP4_FRAME_SIZE_MAX, 1, 0, 25, 0};
    const int hole = open(path.c_str(), O_RDWR | O_CLOEXEC);
    int taken = 0;
    for (; mp4_enc_frame(recording.muxer, &frame) == MP4_ENC_OK; ++taken) {  // what was written needs no disk
        ASSERT_LT(taken, 200);
        ASSERT_EQ(fallocate(hole, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 16 << 20, INT64_C(1) << 32), 0);
    }
    close(hole);
    EXPECT_EQ(taken, 127);
    EXPECT_EQ(Probe(path, "-select_streams v -show_entries stream=nb_frames,duration"), "5.080000,127");
    const FORMAT_STREAM_INFO_S info = Info();
    EXPECT_EQ(mp4_enc_init(&info, recording.file), nullptr);
    EXPECT_EQ(recording.Picture(kPicture, false, 9999), MP4_ENC_FAILED);
    EXPECT_EQ(recording.Close(), 0);
    struct stat state = {};
    ASSERT_EQ(stat(path.c_str(), &state), 0);
    EXPECT_LE(state.st_size, INT64_C(0xFFFFFFFF));
    EXPECT_TRUE(Mp4Open::FromDisk(path)->Ok());
}

/* ---- what a file says -------------------------------------------------------------------------------------------- */

ULONG_32 RealTime(const std::string &path) {
    FILE *file = fopen(path.c_str(), "rb");
    ULONG_32 seconds = 0;
    EXPECT_EQ(MP4_GetRealTime(file, &seconds), 1);
    fclose(file);
    return seconds;
}

TEST(Mp4StartTime, IsFoundByTheReader) {
    const ULONG_32 now = static_cast<ULONG_32>(time(nullptr));
    const auto ofDay = [](ULONG_32 utc) {
        return static_cast<ULONG_32>((int64_t{utc} + MP4_GetCurTimezone() * 3600) % 86400);
    };
    const struct {
        ULONG_32 told;
        BOOL_T filePlay;
        ULONG_32 utc;  // else seconds of the local day
    } rows[] = {{1600000000, 0, 1600000000},
                {1600000000 + 2208988800U, 0, 1600000000},
                {0, 0, now},
                {5000, 1, 5000},
                {86399, 1, 86399},
                {86400 + 7, 1, 7},
                {1582934400, 1, 1582934400}};
    for (const char *zone : {"UTC", "EST5", "IST-5:30", "NZST-12"}) {
        setenv("TZ", zone, 1);
        tzset();
        for (const auto &row : rows) {
            TempDir temp;
            FORMAT_STREAM_INFO_S info = Info();
            info.ulPlaybackTime = row.told;
            info.bFilePlay = row.filePlay;
            Recording(temp.At("a"), info).Picture(kKeyPicture, true, 0);
            const bool ofToday = row.filePlay != 0 && row.told < 315360000;
            const ULONG_32 wanted = ofToday ? row.utc : ofDay(row.utc);
            EXPECT_NEAR(RealTime(temp.At("a")), wanted, row.told == 0 ? 5 : 0) << zone << ' ' << row.told;
        }
    }
    unsetenv("TZ");
    tzset();
}

TEST(Mp4Shape, FilesWithoutPicturesOrWithSoundAlone) {
    TempDir temp;
    mp4_file_close(mp4_file_open(temp.At("opened").c_str(), 65, 777));
    EXPECT_EQ(ReadText(temp.At("opened")).substr(4, 4), "ftyp");
    {
        Recording recording(temp.At("begun"));
        EXPECT_EQ(recording.Picture(kPicture, false, 0), MP4_ENC_OK);  // no file starts with such a frame
        EXPECT_EQ(recording.Close(), 0);
    }
    for (const char *name : {"opened", "begun"}) {
        EXPECT_FALSE(Mp4Open::FromDisk(temp.At(name))->Ok());
    }
    Recording recording(temp.At("sound"));
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(recording.Sound(kBlock), MP4_ENC_OK);
    }
    const std::string show = "-show_entries stream=codec_name,nb_frames";
    EXPECT_GT(atoi(Probe(temp.At("sound"), show).c_str() + 4), 50);  // while it is recorded
    EXPECT_EQ(recording.Close(), 0);
    EXPECT_EQ(Probe(temp.At("sound"), show), "aac,100");
}

TEST(Mp4Handles, NoneAndForeignOnesAreRefused) {
    TempDir temp;
    const FORMAT_STREAM_INFO_S info = Info();
    FORMAT_FRAME_INFO_S frame = {MP4_STREAM_VIDEO,
                                 const_cast<UCHAR *>(kKeyPicture.data()),
                                 static_cast<ULONG_32>(kKeyPicture.size()),
                                 1,
                                 0,
                                 25,
                                 0};
    for (HANDLE none : {HANDLE{nullptr}, reinterpret_cast<HANDLE>(intptr_t{-1})}) {
        EXPECT_EQ(mp4_enc_init(&info, none), nullptr);
        EXPECT_EQ(mp4_enc_frame(none, &frame), MP4_ENC_FAILED);
        EXPECT_EQ(mp4_enc_close(none), -1);
        EXPECT_EQ(mp4_file_close(none), -1);
    }
    EXPECT_EQ(mp4_file_open(nullptr, 65, 777), nullptr);
    EXPECT_EQ(mp4_file_open(temp.At("no/such").c_str(), 65, 777), nullptr);
    EXPECT_EQ(mp4_file_open("/dev/full", 65, 777), nullptr);

    Recording recording(temp.At("a"));
    EXPECT_EQ(mp4_enc_init(nullptr, recording.file), nullptr);
    FORMAT_STREAM_INFO_S mpeg4 = info;
    mpeg4.enVideoId = VIDEO_CODEC_MPEG4;
    EXPECT_EQ(mp4_enc_init(&mpeg4, recording.file), nullptr);
    EXPECT_EQ(mp4_enc_frame(recording.muxer, nullptr), MP4_ENC_FAILED);
    EXPECT_EQ(recording.Put(2, kKeyPicture, true, 0), MP4_ENC_FAILED);
    frame.ulDataSize = MP4_FRAME_SIZE_MAX + 1;
    EXPECT_EQ(mp4_enc_frame(recording.muxer, &frame), MP4_ENC_FAILED);
    frame.pucData = nullptr;
    EXPECT_EQ(mp4_enc_frame(recording.muxer, &frame), MP4_ENC_FAILED);
    EXPECT_EQ(recording.Picture(kKeyPicture, true, 0), MP4_ENC_OK);
    const FORMAT_STREAM_INFO_S h265 = Info(VIDEO_CODEC_H265);
    EXPECT_EQ(mp4_enc_init(&h265, recording.file), nullptr);  // the file's samples are of the other codec
}

// A muxer that was dropped, with others after it: pictures, sound and start time are those of one recording.
TEST(Mp4Handles, RecordingGoesOnBehindADroppedMuxer) {
    TempDir temp;
    FORMAT_STREAM_INFO_S info = Info();
    info.ulPlaybackTime = 1600000000;
    Recording recording(temp.At("a"), info);
    const ULONG_32 start = RealTime(temp.At("a"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(recording.Picture(kKeyPicture, true, i * 80), MP4_ENC_OK);
        EXPECT_EQ(recording.Picture(kPicture, false, i * 80 + 40), MP4_ENC_OK);
        EXPECT_EQ(recording.Sound(kBlock), MP4_ENC_OK);
        free(recording.muxer);
        info.ulPlaybackTime += 60;
        recording.muxer = mp4_enc_init(&info, recording.file);
        ASSERT_NE(recording.muxer, nullptr);
    }
    free(recording.muxer);
    recording.muxer = nullptr;
    EXPECT_EQ(recording.Close(), -1);
    const Opened opened = Open(temp.At("a"));
    EXPECT_EQ(opened.video, 6U);
    EXPECT_EQ(opened.probed, 6U);
    EXPECT_EQ(opened.sound, 3U);
    EXPECT_EQ(RealTime(temp.At("a")), start);
}

/** Durations in ms that pictures with these stamps get; the last one lasts as long as the one before it. */
TEST(Mp4Times, FollowTheStampsAndStandInForThem) {
    const struct {
        const char *name;
        std::vector<DLONG> stamps;
        ULONG_32 rate;
        std::string durations;
    } rows[] = {
        {"they grow", {1000, 1040, 1081, 1120}, 25, "40 41 39 39"},
        {"they stand", {0, 0, 0, 0, 0}, 30, "33 33 34 33 33"},
        {"no rate", {7, 7, 7}, 0, "40 40 40"},
        {"absurd rate", {7, 7, 7}, 0xFFFFFFFF, "40 40 40"},
        {"fields of a frame", {0, 40, 40, 80, 80, 120}, 25, "40 1 39 1 39 39"},
        {"they stop", {0, 40, 40, 40, 40, 40, 40, 40}, 25, "40 1 1 1 1 40 40 40"},
        {"they fall", {5000, 40, 80}, 20, "50 40 40"},
        {"they jump", {INT64_MIN, INT64_MAX, INT64_MIN, 0}, 25, "40 40 40 40"},
        {"one picture", {40}, 25, "40"},
    };
    for (const auto &row : rows) {
        TempDir temp;
        Recording recording(temp.At("a"));
        for (const DLONG stamp : row.stamps) {
            ASSERT_EQ(recording.Put(MP4_STREAM_VIDEO, kKeyPicture, true, stamp, row.rate), MP4_ENC_OK);
        }
        ASSERT_EQ(recording.Close(), 0);
        std::string got;
        for (const std::string &line : support::LinesOf("ffprobe -v error -of csv=p=0 -select_streams v -show_entries "
                                                        "packet=duration " +
                                                        temp.At("a"))) {
            got += (got.empty() ? "" : " ") + line;
        }
        EXPECT_EQ(got, row.durations) << row.name;
    }
}

// Units in front of a picture that come as frames of their own, delimiters, rubbish, empty units.
TEST(Mp4Samples, HoldTheUnitsOfTheirPicture) {
    TempDir temp;
    Recording recording(temp.At("a"));
    const Span key = kKeyPicture;
    const auto put = [&](const char *bytes, size_t size, bool isKey, DLONG stamp) {
        return recording.Picture({reinterpret_cast<const uint8_t *>(bytes), size}, isKey, stamp);
    };
    EXPECT_EQ(put("rubbish", 7, true, 0), MP4_ENC_OK);
    EXPECT_EQ(put("", 0, true, 0), MP4_ENC_OK);
    EXPECT_EQ(recording.Picture(key.first(16), true, 0), MP4_ENC_OK);     // parameter sets alone
    EXPECT_EQ(recording.Picture(key.subspan(16), false, 0), MP4_ENC_OK);  // their picture
    EXPECT_EQ(put("x\0\0\1\x09\x10\0\0\1\0\0\1\x41\x9A\x01\0\0\0", 18, false, 40), MP4_ENC_OK);
    EXPECT_EQ(put("\0\0\1\x41\x22\x01", 6, false, 40), MP4_ENC_OK);  // goes on with it
    EXPECT_EQ(put("\0\0\1\x41\x22\x02", 6, false, 80), MP4_ENC_OK);  // does not: its picture's start was lost
    EXPECT_EQ(put("\0\0\1\x06\x21\x05", 6, false, 120), MP4_ENC_OK);
    EXPECT_EQ(recording.Close(), 0);
    auto file = Mp4Open::FromDisk(temp.At("a"));
    ASSERT_TRUE(file->Ok());
    const ReadBack got = ReadAll(*file);
    const std::string start(kStart, 4);
    ASSERT_EQ(got.video.size(), 3U);
    EXPECT_EQ(got.keys, std::vector<DULONG>{0});
    const std::string sets = Plain(key.first(16), AV_CODEC_ID_H264);
    EXPECT_EQ(got.video[0], sets + Plain(key, AV_CODEC_ID_H264));
    EXPECT_EQ(got.video[1], start + "\x41\x9A\x01" + start + "\x41\x22\x01");
    EXPECT_EQ(got.video[2], start + "\x41\x22\x02");
}

}  // namespace
