// Streams of real encoders recorded and read back by ffmpeg: every frame once, names, rollovers, sound.
#include "flow/record_port.h"

#include <thread>

using support::Library;
using support::RtpSender;
using support::WaitUntil;

namespace {

class Record : public testing::Test {
 protected:
    Library m_library;
    RecordMessages m_messages;
    TempDir m_folder;
};

struct Kind {
    const char *name;
    ULONG_32 format;
    const char *file;
    AVCodecID codec;
};

std::ostream &operator<<(std::ostream &out, const Kind &kind) { return out << kind.name; }

class RecordKind : public Record, public testing::WithParamInterface<Kind> {};

const Kind KINDS[] = {
    {"TsH264", PLAYER_FILE_FORMATE_TS, "h264_640x360_bf0.264", AV_CODEC_ID_H264},
    {"TsH265", PLAYER_FILE_FORMATE_TS, "h265_640x360.265", AV_CODEC_ID_HEVC},
    {"Mp4H264", PLAYER_FILE_FORMATE_MP4, "h264_640x360_bf0.264", AV_CODEC_ID_H264},
    {"Mp4H264Slices", PLAYER_FILE_FORMATE_MP4, "h264_640x360_slices4.264", AV_CODEC_ID_H264},
    {"Mp4H265", PLAYER_FILE_FORMATE_MP4, "h265_640x360.265", AV_CODEC_ID_HEVC},
    {"AviH264", PLAYER_FILE_FORMATE_AVI, "h264_640x360_bf0.264", AV_CODEC_ID_H264},
    {"AviH265", PLAYER_FILE_FORMATE_AVI, "h265_640x360.265", AV_CODEC_ID_HEVC},
};

/** What the names of a format's files end in. */
std::string EndingOf(ULONG_32 format) {
    return format == PLAYER_FILE_FORMATE_TS ? ".ts" : format == PLAYER_FILE_FORMATE_MP4 ? ".mp4" : ".avi";
}

}  // namespace

TEST_P(RecordKind, EveryFrameFromTheFirstKeyFrameOnAndDecodesToTheSamePictures) {
    const Kind &kind = GetParam();
    const VideoStream video(kind.file, kind.codec);
    RecordPort port;
    CHAR extension[8] = "";
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), "cam.avi", kind.format, extension));
    EXPECT_EQ(extension, EndingOf(kind.format));
    port.PushVideo(video, 1, 25);  // no key frame yet
    port.PushVideo(video);
    port.Stop();

    const std::string path = "cam" + EndingOf(kind.format);
    EXPECT_EQ(port.Files(), std::vector<std::string>{path});
    EXPECT_TRUE(WaitUntil([] { return RecordMessages::All().size() == 1; }));
    EXPECT_EQ(RecordMessages::All()[0], RecordMessages::Text(port.Number(), 268, path));
    EXPECT_FALSE(std::filesystem::exists("cam.temp"));
    EXPECT_EQ(SlicesOfFile(path, kind.codec), SliceMd5s(video.bytes, kind.codec));
    EXPECT_EQ(support::PicturesOfFile(path), ReferenceMd5s(video.bytes, kind.codec));
    EXPECT_EQ(Probe(path, "-select_streams v -count_packets -show_entries stream=width,height,nb_read_packets"),
              "640,360,75");
    const std::vector<std::string> times =
        support::LinesOf("ffprobe -v error -of csv=p=0 -select_streams v -show_entries packet=dts_time " + path);
    EXPECT_NEAR(std::stod(times.back()) - std::stod(times[0]), 2.96, 0.05);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RecordKind, testing::ValuesIn(KINDS),
                         [](const testing::TestParamInfo<Kind> &info) { return std::string(info.param.name); });

/* ---- rollover ---- */

namespace {

struct Roll {
    const char *name;
    ULONG_32 format;
    bool IsMp4() const { return names[0].ends_with("mp4"); }
    std::vector<std::string> names; /**< in order, as Shape() has them */
};

std::ostream &operator<<(std::ostream &out, const Roll &roll) { return out << roll.name; }

class RecordRoll : public Record, public testing::WithParamInterface<Roll> {};

const Roll ROLLS[] = {
    {"TsParts", PLAYER_FILE_FORMATE_TS, {"cam_1.ts", "cam_1_part1.ts", "cam_1_part2.ts"}},
    {"Mp4Parts", PLAYER_FILE_FORMATE_MP4, {"cam_1.mp4", "cam_1_part1.mp4", "cam_1_part2.mp4"}},
    {"AviParts", PLAYER_FILE_FORMATE_AVI, {"cam_1.avi", "cam_1_part1.avi", "cam_1_part2.avi"}},
    {"AviStream", PLAYER_FILE_FORMATE_VIDEO_AVI_ADD_RCD_TIME, {3, "cam_1_S#_E#.avi"}},
    {"Mp4Clock", PLAYER_FILE_FORMATE_MP4_ADD_TIME, {3, "cam_1_S#_E#.mp4"}},
    {"TsStream", PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME, {3, "cam_1_S#_E#.ts"}},
};

}  // namespace

TEST_P(RecordRoll, NoFrameIsLostAndEachFileStartsWithAKeyFrame) {
    const Roll &roll = GetParam();
    const VideoStream video("h264_640x360_bf0.264", AV_CODEC_ID_H264);
    RecordPort port;
    port.SplitAt(20000);
    ASSERT_TRUE(port.Start("cam_1", roll.format));
    port.PushVideo(video);                                  // three groups
    if (roll.format == PLAYER_FILE_FORMATE_MP4_ADD_TIME) {  // such a file replaces one of the same second
        port.DrainRecord();
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    }
    port.Stop();

    const std::vector<std::string> files = port.Files();
    std::vector<std::string> slices, shapes, messages;
    for (size_t i = 0; i < files.size(); ++i) {
        const bool last = i + 1 == files.size();
        shapes.push_back(Shape(files[i]));
        messages.push_back(RecordMessages::Text(port.Number(), last ? 268 : 270, files[i]));
    }
    ASSERT_EQ(shapes, roll.names);
    EXPECT_TRUE(WaitUntil([&] { return RecordMessages::All().size() == files.size(); }));
    EXPECT_EQ(RecordMessages::All(), messages);
    if (roll.format == PLAYER_FILE_FORMATE_MP4_ADD_TIME) {
        return;
    }
    for (const std::string &file : files) {
        EXPECT_EQ(Probe(file, "-select_streams v -show_entries packet=flags").substr(0, 1), "K") << file;
        EXPECT_EQ(support::PicturesOfFile(file).size(), 25U) << file;
        const std::vector<std::string> more = SlicesOfFile(file, video.codec);
        slices.insert(slices.end(), more.begin(), more.end());
    }
    EXPECT_EQ(slices, SliceMd5s(video.bytes, video.codec));
}

INSTANTIATE_TEST_SUITE_P(Rolls, RecordRoll, testing::ValuesIn(ROLLS),
                         [](const testing::TestParamInfo<Roll> &info) { return std::string(info.param.name); });

TEST_F(Record, AFileThatBeginsAtAKeyFrameWithoutParameterSetsGetsThoseOfTheStream) {
    for (const Kind &kind : {KINDS[0], KINDS[4]}) {  // H.264 in TS, H.265 in MP4
        const VideoStream video(kind.file, kind.codec);
        RecordPort port;
        RtpSender sender(video.PayloadType());
        port.SplitAt(20000);
        ASSERT_TRUE(port.Start("cam", kind.format));
        for (size_t i = 0; i < video.units.size(); ++i) {
            Bytes unit;
            for (const Span part : SplitUnits(video.units[i])) {
                if (i == 0 || IsSliceUnit(part, kind.codec)) {
                    unit.insert(unit.end(), part.begin(), part.end());
                }
            }
            ASSERT_TRUE(port.PushAll(sender.VideoPackets(unit, static_cast<uint32_t>(3600 * i))));
        }
        port.Stop();
        std::vector<std::string> pictures;
        for (const std::string &path : port.Files()) {
            const std::vector<std::string> more = support::PicturesOfFile(path);
            pictures.insert(pictures.end(), more.begin(), more.end());
        }
        EXPECT_EQ(port.Files().size(), 3U);
        EXPECT_EQ(pictures, ReferenceMd5s(video.bytes, kind.codec)) << kind.name;
    }
}

TEST_F(Record, APictureThatComesSliceBySliceStaysInOneFile) {
    const VideoStream video("h264_640x360_slices4.264", AV_CODEC_ID_H264);
    RecordPort port;
    RtpSender sender(video.PayloadType());
    port.SplitAt(1);
    ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_TS));
    for (size_t i = 0; i < video.units.size(); ++i) {
        for (const Bytes &slice : SliceBuffers(video.units[i], video.codec)) {
            ASSERT_TRUE(port.PushAll(sender.VideoPackets(slice, static_cast<uint32_t>(3600 * i))));  // marked each
        }
    }
    port.Stop();
    ASSERT_EQ(port.Files().size(), 3U);
    std::vector<std::string> slices;
    for (const std::string &path : port.Files()) {
        const std::vector<std::string> more = SlicesOfFile(path, video.codec);
        EXPECT_EQ(more.size(), 100U);
        slices.insert(slices.end(), more.begin(), more.end());
    }
    EXPECT_EQ(slices, SliceMd5s(video.bytes, video.codec));
}

TEST_F(Record, AnotherCodecBeginsAFileAndAnotherSizeDoesNot) {
    const VideoStream h264("h264_640x360_bf0.264", AV_CODEC_ID_H264);
    const VideoStream h265("h265_640x360.265", AV_CODEC_ID_HEVC);
    const VideoStream large("h265_642x362.265", AV_CODEC_ID_HEVC);
    for (const ULONG_32 format : {PLAYER_FILE_FORMATE_MP4, PLAYER_FILE_FORMATE_TS, PLAYER_FILE_FORMATE_AVI}) {
        const std::string ending = EndingOf(format);
        RecordPort port;
        ASSERT_TRUE(port.Start("cam", format));
        port.PushVideo(h264);
        port.PushVideo(h265);
        port.PushVideo(large);
        port.Stop();
        EXPECT_EQ(port.Files(), (std::vector<std::string>{"cam" + ending, "cam_part1" + ending}));
        EXPECT_EQ(Probe("cam" + ending, "-select_streams v -show_entries stream=codec_name"), "h264");
        EXPECT_EQ(SlicesOfFile("cam" + ending, h264.codec), SliceMd5s(h264.bytes, h264.codec));
        EXPECT_EQ(Probe("cam_part1" + ending, "-select_streams v -show_entries stream=codec_name"), "hevc");
        std::vector<std::string> wanted = SliceMd5s(h265.bytes, h265.codec);
        const std::vector<std::string> more = SliceMd5s(large.bytes, large.codec);
        wanted.insert(wanted.end(), more.begin(), more.end());
        EXPECT_EQ(SlicesOfFile("cam_part1" + ending, h265.codec), wanted);
    }
}

TEST_F(Record, AnotherCodecWhoseFirstSliceIsLostBeginsAFileAtItsNextKeyFrame) {
    const VideoStream first("h265_640x360.265", AV_CODEC_ID_HEVC);
    const VideoStream second("h264_640x360_slices4.264", AV_CODEC_ID_H264);
    RecordPort port;
    ASSERT_TRUE(port.Start("cam", PLAYER_FILE_FORMATE_MP4));
    port.PushVideo(first);
    RtpSender sender(second.PayloadType());
    for (size_t i = 0; i < second.units.size(); ++i) {
        const std::vector<Bytes> slices = SliceBuffers(second.units[i], second.codec);
        for (size_t k = i == 0 ? 1 : 0; k < slices.size(); ++k) {
            ASSERT_TRUE(port.PushAll(sender.VideoPackets(slices[k], port.m_time)));
        }
        port.m_time += 3600;
    }
    port.Stop();
    EXPECT_EQ(port.Files(), (std::vector<std::string>{"cam.mp4", "cam_part1.mp4"}));
    EXPECT_EQ(SlicesOfFile("cam.mp4", first.codec), SliceMd5s(first.bytes, first.codec));
    const std::vector<std::string> all = SliceMd5s(second.bytes, second.codec);
    EXPECT_EQ(SlicesOfFile("cam_part1.mp4", second.codec), std::vector<std::string>(all.begin() + 100, all.end()));
}
