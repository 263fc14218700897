// Transport streams of other muxers play picture for picture; seeks, steps, key frames; cut and damaged files.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/client.h"
#include "support/file_port.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

using support::FilePort;
using support::Library;

namespace {

using Md5s = std::vector<std::string>;

const std::string PICTURES = "-f lavfi -i testsrc2=size=320x180:rate=25 ";
const std::string SOUND = "-f lavfi -i sine=frequency=300:sample_rate=48000 ";
const std::string X264 = "-pix_fmt yuv420p -c:v libx264 -preset ultrafast -x264-params keyint=25:scenecut=0:";
const std::string X265 =
    "-pix_fmt yuv420p -c:v libx265 -preset ultrafast -x265-params log-level=error:keyint=25:min-keyint=25:scenecut=0:";

/** A file, and how ffmpeg makes it; with a pipeline, how GStreamer makes it of that. */
struct Made {
    const char *name;
    std::string arguments;
    std::string pipeline;
    LONG_32 sound; /**< PLAYER_PAYLOAD_E; PLAYER_PAYLOAD_NULL for none */
};

const Made MADE[] = {
    {"plain", PICTURES + X264 + "bframes=0 -t 4 -f mpegts", "", PLAYER_PAYLOAD_NULL},
    {"aac", PICTURES + SOUND + X264 + "bframes=2 -c:a aac -t 4 -f mpegts", "", PLAYER_PAYLOAD_AAC},
    {"mp2", PICTURES + SOUND + X264 + "bframes=0:slices=4 -c:a mp2 -t 4 -mpegts_start_pid 0x300 -f mpegts", "",
     PLAYER_PAYLOAD_MP1L2},
    {"open_gop", PICTURES + X264 + "bframes=3:open-gop=1 -t 4 -f mpegts", "", PLAYER_PAYLOAD_NULL},
    {"wraps", PICTURES + X264 + "bframes=2 -t 4 -output_ts_offset 95440 -f mpegts", "", PLAYER_PAYLOAD_NULL},
    {"h265", PICTURES + SOUND + X265 + "bframes=3:open-gop=0 -c:a aac -t 4 -f mpegts", "", PLAYER_PAYLOAD_AAC},
    {"m2ts", PICTURES + SOUND + X264 + "bframes=2 -c:a aac -t 4 -mpegts_m2ts_mode 1 -f mpegts", "", PLAYER_PAYLOAD_AAC},
    {"programmes",
     PICTURES + SOUND + "-f lavfi -i testsrc=size=160x90:rate=25 -map 0 -map 1 -map 2 " + X264 +
         "bframes=2 -c:a mp2 -t 4 -program program_num=1:st=0:st=1 -program program_num=2:st=2 -f mpegts",
     "", PLAYER_PAYLOAD_MP1L2},
    {"gst", PICTURES + SOUND + X264 + "bframes=2 -c:a aac -t 4 -f mp4", "mpegtsmux", PLAYER_PAYLOAD_AAC},
    {"gst_m2ts", PICTURES + SOUND + X264 + "bframes=2 -c:a aac -t 4 -f mp4", "mpegtsmux m2ts-mode=true",
     PLAYER_PAYLOAD_AAC},
};

std::string Make(const Made &made, const TempDir &folder) {
    const std::string path = folder.At("a.ts");
    if (made.pipeline.empty()) {
        EXPECT_TRUE(support::Ffmpeg(made.arguments, path));
        return path;
    }
    const std::string source = folder.At("a.mp4");
    EXPECT_TRUE(support::Ffmpeg(made.arguments, source));
    support::LinesOf("gst-launch-1.0 -q filesrc location=" + source +
                     " ! qtdemux name=d d.video_0 ! queue ! h264parse config-interval=-1 ! m. d.audio_0 ! queue ! "
                     "aacparse ! m. " +
                     made.pipeline + " name=m ! filesink location=" + path);
    return path;
}

/** Plays a file to its end. */
Md5s Play(const std::string &path) {
    FilePort port;
    EXPECT_TRUE(port.Open(path));
    EXPECT_TRUE(port.Play() && port.WaitForEnd());
    return port.PictureMd5s();
}

class ForeignTs : public testing::TestWithParam<Made> {
 protected:
    Library m_library;
};

}  // namespace

TEST_P(ForeignTs, PlaysPictureForPictureAndGoesWhereItIsAsked) {
    TempDir folder;
    const std::string path = Make(GetParam(), folder);
    const Md5s wanted = support::PicturesOfFile(path);
    ASSERT_EQ(wanted.size(), 100U);
    FilePort port;
    ASSERT_TRUE(port.Open(path));
    ULONG_32 total = 0;
    ASSERT_TRUE(Zelvane_GetFileTime(port.Number(), &total));
    EXPECT_EQ(total, 4U);
    ASSERT_TRUE(port.Play() && port.WaitForEnd());
    EXPECT_EQ(port.PictureMd5s(), wanted);
    const auto frames = port.Frames();
    EXPECT_EQ(std::any_of(frames.begin(), frames.end(), [](const auto &frame) { return !frame.video; }),
              GetParam().sound != PLAYER_PAYLOAD_NULL);

    for (const ULONG_32 second : {2U, 1U, 3U}) {
        const size_t before = port.PictureMd5s().size();
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), second));
        ASSERT_TRUE(support::WaitUntil([&] { return port.PictureMd5s().size() > before; }));
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        const Md5s got = port.PictureMd5s();
        ASSERT_EQ(got.size(), before + 2) << second;
        EXPECT_EQ(got[before], wanted[second * 25]) << second;
        EXPECT_EQ(got[before + 1], wanted[second * 25 + 1]) << second;
    }
    const size_t before = port.PictureMd5s().size();
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_16_FORWARD));
    ASSERT_TRUE(port.WaitForEnd(2));
    EXPECT_TRUE(support::WaitUntil([&] { return port.PictureMd5s().size() >= before + 4; }));
    const Md5s got = port.PictureMd5s();
    ASSERT_EQ(got.size(), before + 4);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(got[before + i], wanted[i * 25]) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Files, ForeignTs, testing::ValuesIn(MADE),
                         [](const testing::TestParamInfo<Made> &info) { return std::string(info.param.name); });

TEST(ForeignTsDamage, WhatIsWholePlaysAndNothingElse) {
    Library library;
    TempDir folder;
    for (const char *stride : {"0", "1"}) {
        const std::string path = folder.At("a.ts");
        ASSERT_TRUE(support::Ffmpeg(
            PICTURES + SOUND + X264 + "bframes=2 -c:a aac -t 4 -mpegts_m2ts_mode " + stride + " -f mpegts", path));
        const Md5s wanted = support::PicturesOfFile(path);
        const Bytes whole = ReadFile(path);
        const size_t packet = *stride == '1' ? 192 : 188;

        // Cut anywhere: from the first whole group on, up to the cut.
        for (const size_t cut : {size_t{1}, packet - 1, packet * 7 + 50}) {
            folder.Write("a.ts", Bytes(whole.begin() + static_cast<long>(cut), whole.end() - 100));
            const Md5s got = Play(path);
            ASSERT_GE(got.size(), 74U) << cut;
            EXPECT_NE(std::search(wanted.begin(), wanted.end(), got.begin(), got.end() - 1), wanted.end()) << cut;
        }
        // Five packets are missing: every picture shown is one of the whole file.
        for (const size_t lost : {whole.size() / 3, whole.size() / 2}) {
            Bytes damaged = whole;
            const auto from = damaged.begin() + static_cast<long>(lost / packet * packet);
            damaged.erase(from, from + static_cast<long>(5 * packet));
            folder.Write("a.ts", damaged);
            const Md5s got = Play(path);
            EXPECT_GE(got.size(), 60U);
            for (const std::string &picture : got) {
                ASSERT_TRUE(std::find(wanted.begin(), wanted.end(), picture) != wanted.end());
            }
        }
    }
}
