// Records of the devices' own format play on a port: pictures as an independent decoder makes them, seeks, steps,
// speeds.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "support/elapsed.h"
#include "support/file_port.h"
#include "support/krdf_record.h"
#include "support/log_lines.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

using support::FileFrame;
using support::FilePort;
using support::KrdfMedia;
using support::WaitUntil;

namespace {

constexpr size_t GROUP = 25;

/** A stream three times over: nine groups of a second each. */
struct Stream {
    Bytes data;
    std::vector<Span> units;
    std::vector<std::string> pictures;

    explicit Stream(bool h265) : data(ReadFile(MediaPath(h265 ? "h265_640x360.265" : "h264_640x360_bf0.264"))) {
        if (h265) {
            support::RewriteH265KeyUnits(&data);
        }
        const AVCodecID codec = h265 ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
        const std::vector<Span> once = SplitAccessUnits(data, codec);
        const std::vector<std::string> decoded = ReferenceMd5s(data, codec);
        for (int i = 0; i < 3; ++i) {
            units.insert(units.end(), once.begin(), once.end());
            pictures.insert(pictures.end(), decoded.begin(), decoded.end());
        }
    }
    /** Pictures of these groups, from 1, the last one included. */
    std::vector<std::string> Groups(size_t first, size_t last) const {
        return {pictures.begin() + static_cast<ptrdiff_t>((first - 1) * GROUP),
                pictures.begin() + static_cast<ptrdiff_t>(last * GROUP)};
    }
};

std::vector<Span> Pieces(const Bytes &sound) {
    std::vector<Span> pieces;
    for (size_t at = 0; at + 320 <= sound.size(); at += 320) {
        pieces.push_back(Span(sound).subspan(at, 320));
    }
    return pieces;
}

class KrdfPlay : public testing::Test {
 protected:
    support::Library m_library;
    TempDir m_folder;
};

}  // namespace

TEST_F(KrdfPlay, PicturesAreThoseOfAnIndependentDecoder) {
    const Bytes sound = ReadFile(MediaPath("g711u_8000.raw"));
    for (const bool h265 : {false, true}) {
        const Stream stream(h265);
        for (const bool sounds : {false, true}) {
            tools::KrdfLayout layout;
            layout.groups_a_unit = sounds ? 2 : 0;
            support::WriteKrdf(m_folder.At("a"),
                               {h265 ? tools::kKrdfH265 : tools::kKrdfH264, stream.units, GROUP,
                                sounds ? Pieces(sound) : std::vector<Span>()},
                               layout);
            FilePort port;
            ASSERT_TRUE(port.Open(m_folder.At("a")));
            ULONG_32 seconds = 0;
            EXPECT_TRUE(Zelvane_GetFileTime(port.Number(), &seconds));
            EXPECT_EQ(seconds, 8U) << "up to the begin of the last group";
            ASSERT_TRUE(port.Play());
            ASSERT_TRUE(port.WaitForEnd());
            // The open has measured the distance of two key frames; the first sound passes for the second.
            EXPECT_EQ(port.PictureMd5s(), stream.Groups(sounds ? 2 : 3, 8)) << h265 << sounds;
            EXPECT_EQ(port.AudioFrames(), sounds ? 8 * GROUP - 1 : 0U);
            EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &seconds));
            EXPECT_EQ(seconds, 8U);
        }
    }
}

TEST_F(KrdfPlay, JpegRecordsPlayPictureForPicture) {
    std::vector<Bytes> pictures;
    for (int i = 1; i <= 25; ++i) {
        char name[40];
        snprintf(name, sizeof name, "mjpeg_640x360/%03d.jpg", i);
        pictures.push_back(ReadFile(MediaPath(name)));
    }
    const std::vector<Span> units(pictures.begin(), pictures.end());
    tools::KrdfLayout layout;
    layout.rate = 5;
    support::WriteKrdf(m_folder.At("a"), {tools::kKrdfJpeg, units, 5}, layout);
    FilePort port;
    ASSERT_TRUE(port.Open(m_folder.At("a")));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.PictureCount(), 18U) << "the open has read two, and the last five are the last group";
    const std::vector<FileFrame> frames = port.Frames();
    ASSERT_EQ(frames.size(), 18U);
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].data, pictures[i + 2]) << i;
        EXPECT_EQ(frames[i].time, static_cast<int64_t>((i + 2) * 18000));
    }
}

TEST_F(KrdfPlay, SeeksStepsAndSpeedsAndTheRefusedWayBack) {
    const Stream stream(false);
    tools::KrdfLayout layout;
    layout.groups_a_unit = 4;
    support::WriteKrdf(m_folder.At("a"), {tools::kKrdfH264, stream.units, GROUP}, layout);
    FilePort port;
    port.PaceWithoutWindow();
    ASSERT_TRUE(port.Open(m_folder.At("a")));
    for (const ULONG_32 second : {5U, 2U, 7U, 1U}) {  // to the group of that second, in either unit
        port.Forget();
        ULONG_32 time = 0;
        PLAYBACK_PLAY_TIME entry = {port.Number(), 0};
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), second));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; }));
        EXPECT_EQ(port.PictureMd5s()[0], stream.pictures[second * GROUP]);
        EXPECT_TRUE(Zelvane_GetPlayTime(port.Number(), &time) && Zelvane_GetPlayTimeEx(1, &entry));
        EXPECT_EQ(time, second);
        EXPECT_EQ(entry.ulPlayTime, second);
    }
    for (size_t step = 1; step <= 30; ++step) {  // on through the group and into the next one
        ASSERT_TRUE(Zelvane_AFrameGo(port.Number()));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1 + step; }));
        EXPECT_EQ(port.PictureMd5s()[step], stream.pictures[GROUP + step]);
    }
    {
        LogLines log;
        port.Forget();
        ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 0));
        ASSERT_TRUE(WaitUntil([&] { return port.PictureCount() == 1; }));
        EXPECT_EQ(port.PictureMd5s()[0], stream.pictures[GROUP + 31]) << "the place stays";
        EXPECT_EQ(LogLines::Errors("KRDF_SetPlayTime Input Param Invaild, Error:[0x2]."), 1U);
    }
    // Key frames from the third group on, up to the last but one; each stands a second over four.
    port.Forget();
    const auto since = std::chrono::steady_clock::now();
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_4_FORWARD));
    ASSERT_TRUE(port.WaitForEnd());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
    ASSERT_EQ(port.PictureCount(), 5U);
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(port.PictureMd5s()[i], stream.pictures[(3 + i) * GROUP]) << i;
    }
    EXPECT_GE(seconds, 0.7);
    EXPECT_LE(seconds, 1.3 + SOON_SECONDS);
    // The end is no end of it: a jump goes on.
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 6));
    ASSERT_TRUE(Zelvane_SpeedPlay(port.Number(), PLAYER_SPEED_2_FORWARD));
    ASSERT_TRUE(port.WaitForEnd(2));
    EXPECT_EQ(port.PictureCount(), 5U + 2 * GROUP);
    ASSERT_TRUE(Zelvane_SetPlayedTime(port.Number(), 100)) << "past the end";
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd(3)) << "it ends, and does not spin";
    ASSERT_TRUE(port.Close());
}

TEST_F(KrdfPlay, ARecordInsideALargerFileAndADamagedOnePlay) {
    const Stream stream(false);
    tools::KrdfLayout layout;
    layout.base = 4096000;
    support::WriteKrdf(m_folder.At("a"), {tools::kKrdfH264, stream.units, GROUP}, layout);
    FilePort port;
    EXPECT_FALSE(port.Open(m_folder.At("a"))) << "nothing begins at 0 but the mark";
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_KRDF_INDEX});
    ASSERT_TRUE(Zelvane_SetFilePos(port.Number(), layout.base, layout.base + 10000000));
    ASSERT_TRUE(port.Open(m_folder.At("a")));
    ASSERT_TRUE(port.Play());
    ASSERT_TRUE(port.WaitForEnd());
    EXPECT_EQ(port.PictureMd5s(), stream.Groups(3, 8));
    ASSERT_TRUE(port.Close());

    support::WriteKrdf(m_folder.At("b"), {tools::kKrdfH264, stream.units, GROUP});
    std::string bytes = ReadText(m_folder.At("b"));
    size_t mark = 0x14000;  // the mark in front of a group
    for (int group = 1; group <= 4; ++group) {
        mark = bytes.find(std::string("\x06\x20\0\0", 4), mark + 1);
    }
    bytes[mark] = 0;
    WriteFile(m_folder.At("b"), bytes);
    FilePort damaged;
    ASSERT_TRUE(damaged.Open(m_folder.At("b")));
    ASSERT_TRUE(damaged.Play());
    ASSERT_TRUE(damaged.WaitForEnd());
    std::vector<std::string> wanted = stream.Groups(3, 3);
    const std::vector<std::string> rest = stream.Groups(5, 8);
    wanted.insert(wanted.end(), rest.begin(), rest.end());
    EXPECT_EQ(damaged.PictureMd5s(), wanted) << "the fourth group is stepped over";
}
