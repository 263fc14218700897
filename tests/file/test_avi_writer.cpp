// What the AVI writer puts into a file, byte for byte, and what it does at the limits of files and disks.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "file/avi_builder.h"
#include "file/avi_open.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

using avi::U16;
using avi::U32;
using avi::Zeros;

namespace {

const DLONG LIMIT = 0xFEFFF800;

/** The header of a file with one video stream of 25 frames a second, as its description has it. */
std::string HeaderOf(bool closed, uint32_t flags, uint32_t riff, uint32_t movi, uint32_t soundBytes) {
    const std::string handler = "avc1";
    const std::string video =
        avi::List("strl", avi::Chunk("strh", "vids" + handler + Zeros(12) + U32(1000000) + U32(25000000) + Zeros(12) +
                                                 U32(0xFFFFFFFF) + Zeros(12)) +
                              avi::Chunk("strf", U32(40) + U32(640) + U32(360) + U16(1) + U16(24) + handler +
                                                     U32(640 * 360 * 3) + Zeros(16)));
    const std::string sound =
        avi::List("strl", avi::Chunk("strh", "auds" + Zeros(16) + U32(1) + U32(8000) + Zeros(4) + U32(soundBytes) +
                                                 Zeros(4) + U32(0xFFFFFFFF) + U32(1) + Zeros(8)) +
                              avi::Chunk("strf", U16(80) + U16(1) + U32(44100) + U32(8000) + U16(1) + U16(16)));
    std::string header = "RIFF" + U32(riff) + "AVI " +
                         avi::List("hdrl", avi::Chunk("avih", U32(40000) + Zeros(8) + U32(flags) + Zeros(8) + U32(2) +
                                                                  Zeros(4) + U32(640) + U32(360) + Zeros(16)) +
                                               video + sound);
    if (closed) {
        header += avi::List("INFO", avi::Chunk("ISFT", Zeros(64)));
    }
    header += "JUNK" + U32(2028 - header.size());
    return header + Zeros(2036 - header.size()) + "LIST" + U32(movi) + "movi";
}

AVI_STREAM_INFO_S Recording(AVI_VIDEOID_E codec = AVI_VIDEO_CODEC_H264) {
    return {640, 360, 25, 44100, 16, 1, 0, codec, AVI_AUDIO_CODEC_MP2};
}

ULONG_32 Write(HANDLE file, const std::string &data, bool key, ULONG_32 stream = 0, ULONG_32 rate = 0) {
    AVI_FRAME_INFO_S frame = {};
    frame.ulStreamIndex = stream;
    frame.pucData = reinterpret_cast<UCHAR *>(const_cast<char *>(data.data()));
    frame.ulDataSize = static_cast<ULONG_32>(data.size());
    frame.bKeyFrame = key;
    frame.ulFrameRate = rate;
    return AVI_EncFrame(file, &frame);
}

off_t PlaceOf(HANDLE file) { return lseek(AVI_GetFileNo(file), 0, SEEK_CUR); }

}  // namespace

TEST(AviWriter, WritesTheFileByteForByte) {
    TempDir folder;
    AVI_STREAM_INFO_S info = Recording();
    HANDLE file = AVI_FileOpen("a.avi");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ReadText("a.avi"), Zeros(2048));
    ASSERT_EQ(AVI_EncInit(&info, file), 0U);
    EXPECT_EQ(ReadText("a.avi"), HeaderOf(false, 256, 0xFEFFF003, 0xFEFFF004, 0));
    EXPECT_EQ(PlaceOf(file), 2048) << "a header goes out behind the back of the chunks";

    EXPECT_EQ(Write(file, "key", true), 0U);
    EXPECT_EQ(Write(file, "sound1", true, 1), 0U);
    EXPECT_EQ(PlaceOf(file), 2048 + 12 + 14) << "nothing is held back";
    EXPECT_EQ(Write(file, "other", false), 0U);
    avi_t *avi = static_cast<avi_t *>(file);
    EXPECT_EQ(AVI_append_audio(avi, "x", 1), -1) << "the last chunk is video";
    EXPECT_EQ(AVI_dup_frame(avi), 0);
    EXPECT_EQ(AVI_write_audio(avi, "odd", 3), 0);
    EXPECT_EQ(AVI_append_audio(avi, "+more", 5), 0);
    EXPECT_EQ(AVI_bytes_written(avi), PlaceOf(file) + 8 + 5 * 16);
    EXPECT_EQ(AVI_bytes_remain(avi), LIMIT - AVI_bytes_written(avi));
    ULONG_32 word = 7;
    EXPECT_EQ(AVI_FileClose(&word, file), 0U);
    EXPECT_EQ(word, 0U);

    const std::string data = avi::Chunk("00db", "key") + avi::Chunk("01wb", "sound1") + avi::Chunk("00db", "other") +
                             avi::Chunk("01wb", "odd+more");
    const auto entry = [](const char *id, uint32_t flags, uint32_t at, uint32_t size) {
        return id + U32(flags) + U32(at) + U32(size);
    };
    const std::string index =
        avi::Chunk("idx1", entry("00db", 16, 2048, 3) + entry("01wb", 16, 2060, 6) + entry("00db", 0, 2074, 5) +
                               entry("00db", 16, 2074, 5) + entry("01wb", 16, 2088, 8));
    const size_t size = 2048 + data.size() + index.size();
    EXPECT_EQ(ReadText("a.avi"), HeaderOf(true, 256 + 16 + 32, static_cast<uint32_t>(size - 8),
                                          static_cast<uint32_t>(data.size() + 4), 14) +
                                     data + index);

    AviOpen open(ReadText("a.avi"));
    EXPECT_EQ(AVI_video_codech_offset(open.Get()), 112);
    EXPECT_EQ(AVI_video_codecf_offset(open.Get()), 188);
    EXPECT_EQ(open.ReadAll(), (std::vector<std::string>{"key", "sound1", "other", "odd+more"}));
}

TEST(AviWriter, TakesWhatARecorderTellsAndRefusesTheRest) {
    TempDir folder;
    LogLines log;
    const struct {
        AVI_VIDEOID_E video;
        AVI_AUDIOID_E audio;
        ULONG_32 result;
        const char *handler;
        long format;
    } rows[] = {
        {AVI_VIDEO_CODEC_H265, AVI_AUDIO_CODEC_MP3, 0, "hev1", 85},
        {AVI_VIDEO_CODEC_JPEG, AVI_AUDIO_CODEC_AAC, 0, "mjpg", 0},
        {AVI_VIDEO_CODEC_MPEG2, AVI_AUDIO_CODEC_MP2, PLAYER_ERR_PARAM, "", 0},
    };
    for (const auto &row : rows) {
        HANDLE file = AVI_FileOpen("a.avi");
        AVI_STREAM_INFO_S info = Recording(row.video);
        info.enAudioId = row.audio;
        for (int i = 0; i < 10 && (i == 0 || row.result != 0); ++i) {
            EXPECT_EQ(AVI_EncInit(&info, file), row.result);  // what is refused adds no track
        }
        avi_t *avi = static_cast<avi_t *>(file);
        EXPECT_STREQ(AVI_video_compressor(avi), row.handler);
        EXPECT_EQ(AVI_audio_format(avi), row.format);
        AVI_FileClose(nullptr, file);
    }
    EXPECT_EQ(LogLines::Errors("AVI_EncInit Failed,Unknown Wave Format."), 1U);
    HANDLE file = AVI_FileOpen("b.avi");
    AVI_STREAM_INFO_S info = Recording();
    AVI_EncInit(&info, file);
    Write(file, "a", true, 0, 25);
    Write(file, "b", false, 0, 12);
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_WARN, "AVI_EncFrame : FrameRate Change Old Frame[25] New Frame[12]."), 1U);
    avi_t *avi = static_cast<avi_t *>(file);
    AVI_set_video(avi, 1, 1, 0.0001, "RGB ");
    EXPECT_EQ(ReadText("b.avi").substr(32, 4) + ReadText("b.avi").substr(112, 4), Zeros(8)) << "no rate, no handler";
    DLONG length = 0;
    long key = 0;
    EXPECT_EQ(AVI_read_data(avi, AviOpen::Buffer(), &key, AviOpen::Buffer(), &length), -1);
    EXPECT_EQ(AVI_set_video_position(avi, 0) + AVI_seek_start(avi) + AVI_read_frame(avi, nullptr, nullptr), -3);
    EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_NOT_PERM});
    EXPECT_STREQ(AVI_strerror(), "avifmt - Operation (read/write) not permitted");
    AVI_FileClose(nullptr, file);
    EXPECT_EQ(AVI_FileOpen("none/c.avi"), nullptr);
    errno = ENOENT;
    EXPECT_STREQ(AVI_strerror(), "avifmt - Error opening AVI file - No such file or directory");
    EXPECT_EQ(AVI_FileClose(nullptr, nullptr), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(AVI_GetFileNo(nullptr), -1);
}

TEST(AviWriter, AFileOfTheLargestSizeRefusesMoreAndCloses) {
    TempDir folder;
    HANDLE file = AVI_FileOpen("a.avi");
    AVI_STREAM_INFO_S info = Recording();
    AVI_EncInit(&info, file);
    avi_t *avi = static_cast<avi_t *>(file);
    EXPECT_EQ(Write(file, "first", true), 0U);
    const std::string last(1000, 'z');
    const auto length = static_cast<DLONG>(last.size());
    // As if all up to here were written: a hole. The index has one entry, and the next makes two.
    avi->pos = LIMIT - length - 2 * 16 - 16 - 2;
    ASSERT_EQ(lseek(AVI_GetFileNo(file), avi->pos, SEEK_SET), avi->pos);
    EXPECT_EQ(Write(file, std::string(last.size() + 2, 'z'), false), 1U);
    EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_SIZELIM});
    EXPECT_EQ(Write(file, last, false), 0U);
    const off_t end = PlaceOf(file);
    EXPECT_EQ(Write(file, "", false), 1U);
    EXPECT_EQ(AVI_dup_frame(avi), -1);
    EXPECT_EQ(PlaceOf(file), end);
    EXPECT_EQ(AVI_FileClose(nullptr, file), 0U);
    struct stat state;
    ASSERT_EQ(stat("a.avi", &state), 0);
    EXPECT_EQ(state.st_size, end + 8 + 2 * 16);
    EXPECT_LT(state.st_blocks * 512, 100000) << "the rest is a hole";
    avi_t *read = AVI_open_input_file("a.avi", 1);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->rebuilt, 0);
    EXPECT_EQ(AVI_set_video_position(read, 1), 0);
    EXPECT_EQ(AVI_read_frame(read, AviOpen::Buffer(), nullptr), length);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(AviOpen::Buffer()), last.size()), last);
    AVI_close(read);
}

TEST(AviWriter, AFullDiskCostsTheFramesThatDidNotFitAndTheIndex) {
    TempDir folder;
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {3000, 3000};
        setrlimit(RLIMIT_FSIZE, &limit);
        HANDLE file = AVI_FileOpen("a.avi");
        AVI_STREAM_INFO_S info = Recording();
        AVI_EncInit(&info, file);
        EXPECT_EQ(Write(file, std::string(500, 'a'), true), 0U);
        EXPECT_EQ(Write(file, std::string(800, 'b'), false), 1U);
        EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_WRITE});
        EXPECT_EQ(PlaceOf(file), 2048 + 508);
        EXPECT_EQ(Write(file, std::string(426, 'c'), false), 0U) << "a smaller one fits still";
        EXPECT_EQ(AVI_FileClose(nullptr, file), 1U);
        EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_WRITE_INDEX});
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    const std::string whole = ReadText("a.avi");
    EXPECT_EQ(whole.substr(0, 2048), HeaderOf(true, 256, static_cast<uint32_t>(whole.size() - 8), 4 + 508 + 434, 0));
    AviOpen open(whole);
    EXPECT_EQ(open.Get()->rebuilt, 1);
    EXPECT_EQ(open.ReadAll(), (std::vector<std::string>{std::string(500, 'a'), std::string(426, 'c')}));
}
