// MP4 as phones, ffmpeg and streaming servers write it: every picture as ffmpeg decodes it; key frames, steps, jumps
// and recordings as of our own files.
#include <gtest/gtest.h>

#include <map>

#include "flow/record_port.h"
#include "support/client.h"
#include "support/file_port.h"
#include "support/temp_dir.h"

using support::FilePort;
using support::WaitUntil;

namespace {

const std::string PICTURES = "-f lavfi -i testsrc2=size=160x90:rate=25";
const std::string SOUND = " -f lavfi -i sine=frequency=300:sample_rate=48000";
const std::string X264 = " -pix_fmt yuv420p -c:v libx264 -preset ultrafast -g 25 -bf 2";
const std::string X265 = " -pix_fmt yuv420p -c:v libx265 -preset ultrafast -x265-params keyint=25:log-level=0";
const std::string AAC = " -c:a aac -ac 2 -t 3 ";

/** A file, and how ffmpeg makes it: three seconds with a key frame each. */
struct Foreign {
    const char *name;
    std::string arguments;
};

std::ostream &operator<<(std::ostream &out, const Foreign &foreign) { return out << foreign.name; }

const Foreign FOREIGN[] = {
    {"hvc1", PICTURES + SOUND + X265 + ":bframes=3:open-gop=0 -tag:v hvc1" + AAC},
    {"hev1", PICTURES + X265 + ":bframes=0 -tag:v hev1 -t 3"},
    {"hvc1_open_gop", PICTURES + X265 + ":bframes=3 -tag:v hvc1 -t 3"},
    {"avc3", PICTURES + X264 + " -tag:v avc3 -t 3"},
    {"sound_first", PICTURES + SOUND + X264 + " -map 1 -map 0" + AAC},
    {"time_code", PICTURES + SOUND + X264 + " -timecode 01:00:00:00 -write_tmcd 1" + AAC},
    {"fragments", PICTURES + SOUND + X264 + AAC + "-movflags frag_keyframe+empty_moov+default_base_moof"},
    {"fragments_behind_samples", PICTURES + SOUND + X264 + AAC + "-movflags frag_keyframe"},
    {"fragments_by_offset", PICTURES + X265 + " -tag:v hvc1 -t 3 -movflags empty_moov -frag_duration 300000"},
    {"fragments_indexed", PICTURES + SOUND + X264 + AAC + "-movflags dash+global_sidx+frag_keyframe"},
    {"fragments_separate", PICTURES + SOUND + X264 + AAC + "-movflags frag_keyframe+separate_moof+delay_moov"},
};

class ForeignMp4 : public testing::TestWithParam<Foreign> {
 protected:
    /** Makes the file at its first use, for the life of the process. */
    void SetUp() override {
        static const Scratch folder;
        static std::map<std::string, std::vector<std::string>> pictures;
        m_path = folder.At(GetParam().name) + ".mp4";
        if (pictures.count(m_path) == 0) {
            ASSERT_TRUE(support::Ffmpeg(GetParam().arguments, m_path));
            pictures[m_path] = support::PicturesOfFile(m_path);
        }
        m_pictures = pictures[m_path];
        ASSERT_EQ(m_pictures.size(), 75U);
    }

    support::Library m_library;
    TempDir m_folder;
    std::string m_path;
    std::vector<std::string> m_pictures;  // as ffmpeg decodes them
};

/** How the probe of the project judges a file. */
std::string Judged(const std::string &path) {
    const auto lines = support::LinesOf(std::string(getenv("ZELVANE_BUILD")) + "/bin/zvprobe '" + path + "' 2>&1");
    std::string all;
    for (const std::string &line : lines) {
        all += line + "\n";
    }
    return all;
}

}  // namespace

TEST_P(ForeignMp4, PlaysAsFfmpegDecodesIt) {
    FilePort port;
    ASSERT_TRUE(port.Open(m_path));
    ULONG_32 seconds = 0;
    EXPECT_TRUE(Zelvane_GetFileTime(port.Number(), &seconds));
    EXPECT_EQ(seconds, 3U);
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.PictureMd5s(), m_pictures);
    const std::string judged = Judged(m_path);
    EXPECT_EQ(judged.find("the library"), std::string::npos) << judged;
}

TEST_P(ForeignMp4, StepsJumpsAndSpeedsAreThoseOfOurOwnFiles) {
    FilePort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Open(m_path));
    for (size_t step = 1; step <= 3; ++step) {
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == step; }));
    }
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 1));
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 4; }));
    EXPECT_TRUE(port.Frames()[3].key);
    EXPECT_EQ(port.Frames()[3].time, 90000U);
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
    ASSERT_TRUE(WaitUntil([&] { return port.FrameCount() == 5; }));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_8_FORWARD));
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.FrameCount(), 7U) << "the other two key frames";
}

TEST_P(ForeignMp4, RecordsToAFileOfOurs) {
    const std::string path = m_folder.At("ours.mp4");
    FilePort port;
    ASSERT_TRUE(port.Open(m_path));
    ASSERT_TRUE(Zelvane_StartRecord(port.Number(), m_folder.At("ours").c_str(), PLAYER_FILE_FORMATE_MP4, nullptr));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    WaitForRecorder(port.Number());
    ASSERT_TRUE(Zelvane_StopRecord(port.Number()));
    EXPECT_EQ(support::PicturesOfFile(path), m_pictures);
}

INSTANTIATE_TEST_SUITE_P(Files, ForeignMp4, testing::ValuesIn(FOREIGN),
                         [](const testing::TestParamInfo<Foreign> &info) { return std::string(info.param.name); });
