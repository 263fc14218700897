// MP4 files as other programs write them: every sample comes once, in file order, as libavformat demuxes it.
#include <gtest/gtest.h>

#include "mp4_open.h"
#include "support/file_port.h"
#include "support/temp_dir.h"

namespace {

struct Case {
    const char *name;
    const char *arguments;
    ULONG_32 rate;  // as the file's properties have it
};

const Case CASES[] = {
    {"no_b_frames_aac_48000", "-s 320x240 -r 25 -c:v libx264 -bf 0 -g 20 -c:a aac -ar 48000 -ac 2", 25},
    {"b_frames_moov_in_front",
     "-s 640x360 -r 30000/1001 -c:v libx264 -bf 3 -g 40 -c:a aac -ar 44100 -ac 1 "
     "-movflags +faststart",
     29},
    {"slices_60_frames_no_sound", "-s 176x144 -r 60 -c:v libx264 -bf 2 -g 30 -slices 4 -an", 60},
    {"key_frames_alone", "-s 176x144 -r 10 -c:v libx264 -g 1 -c:a aac -ar 8000 -ac 1", 10},
    {"h265", "-s 320x240 -r 25 -c:v libx265 -x265-params log-level=error -g 25 -c:a aac -ar 32000 -ac 2", 25},
    {"mp2_sound", "-s 320x240 -r 15 -c:v libx264 -bf 0 -c:a mp2 -ar 32000 -ac 1", 15},
};

class Mp4OfFfmpeg : public testing::TestWithParam<Case> {};

}  // namespace

TEST_P(Mp4OfFfmpeg, EverySampleOnceInFileOrder) {
    TempDir temp;
    const std::string path = temp.At("a.mp4");
    ASSERT_TRUE(
        support::Ffmpeg("-f lavfi -i testsrc2=s=640x360:r=60:d=3 -f lavfi -i sine=d=3 -pix_fmt yuv420p "
                        "-preset ultrafast " +
                            std::string(GetParam().arguments),
                        path));
    const std::string name = GetParam().name;
    const bool mp2 = name == "mp2_sound";
    auto file = Mp4Open::FromDisk(path);
    ASSERT_TRUE(file->Ok());
    MP4_INFO_S info;
    ASSERT_EQ(MP4_GetMp4Info(file->Parser(), &info), PLAYER_ERR_OK);
    EXPECT_EQ(info.ulFrameRate, GetParam().rate);
    EXPECT_EQ(info.ulPlayTime, 3U);

    DULONG videoFrames = 0;
    const std::vector<support::FileFrame> samples = support::SamplesOfMp4(path);
    ASSERT_LT(25U, samples.size());
    for (const support::FileFrame &sample : samples) {
        ASSERT_EQ(file->Read(), PLAYER_ERR_OK);
        const MP4_FRAME_INFO_S &frame = file->Frame();
        EXPECT_EQ(frame.dulTimestamp, videoFrames * file->Parser()->timescale);
        std::string expected(sample.data.begin(), sample.data.end());
        if (sample.video) {
            ++videoFrames;
            ASSERT_EQ(frame.lPayload, name == "h265" ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264);
            if (name != "key_frames_alone") {
                ASSERT_EQ(frame.lFormatType, sample.key ? 0 : 1);
            } else if (frame.lFormatType != 0) {  // without a table of keys some are told as others, so without sets
                expected.erase(0, expected.size() - frame.ulBufferLen);
            }
        } else {
            ASSERT_EQ(frame.lPayload, mp2 ? PLAYER_PAYLOAD_MP1L2 : PLAYER_PAYLOAD_AAC);
            ASSERT_EQ(frame.lFormatType, mp2 ? 0 : 7);
            if (!mp2) {
                ASSERT_EQ(frame.ucAudioType, sample.data[2] >> 2 & 15);
                ASSERT_EQ(frame.ucFrequencyIndex, 2);
                ASSERT_EQ(frame.ucChannelNum, (sample.data[2] & 1) << 2 | sample.data[3] >> 6);
                expected.erase(0, 7);
            }
        }
        ASSERT_EQ(file->Bytes(), expected);
    }
    EXPECT_EQ(file->Read(), PLAYER_ERR_FILE_END);
    EXPECT_EQ(file->Read(), PLAYER_ERR_FILE_END);
}

INSTANTIATE_TEST_SUITE_P(Files, Mp4OfFfmpeg, testing::ValuesIn(CASES),
                         [](const auto &info) { return std::string(info.param.name); });
