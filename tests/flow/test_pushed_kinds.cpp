// The other roads into a port: access units, transport streams, JPEG, sound, and streams that break.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "zelvane_modules.h"

using support::InputPort;
using support::Library;
using support::WaitUntil;

namespace {

class Pushed : public testing::Test {
 protected:
    Library m_library;
};

Bytes Load(const char *name) {
    Bytes bytes = ReadFile(MediaPath(name));
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

}  // namespace

TEST_F(Pushed, TransportStreamWithSound) {
    const Bytes stream = Load("h264_640x360_bf0.264");
    const Bytes sound = Load("mp2_44100_mono.mp2");
    const std::vector<Span> blocks = SplitAccessUnits(sound, AV_CODEC_ID_MP2);
    auto mux = std::make_unique<TS_PACKET_DEC_S>();
    ASSERT_EQ(File_CreatePacketDec(FILE_PACKET_TYPE_TS, PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_MP1L2, mux.get()), 0U);
    InputPort port;
    ASSERT_TRUE(Zelvane_OpenSound(port.Number()));
    size_t i = 0;
    for (const Span unit : SplitAccessUnits(stream, AV_CODEC_ID_H264)) {
        ASSERT_TRUE(port.Push(support::MuxTs(mux.get(), PLAYER_PAYLOAD_H264, unit, i % 25 == 0, 90000 + i * 3600)));
        ASSERT_TRUE(port.Push(support::MuxTs(mux.get(), PLAYER_PAYLOAD_MP1L2, blocks[i], false, 90000 + i * 3600)));
        ++i;
    }
    port.Drain();
    EXPECT_EQ(port.PictureMd5s(), ReferenceMd5s(stream, AV_CODEC_ID_H264));
    EXPECT_EQ(port.AudioFrames(), 75U);
    EXPECT_GT(port.Pcm().size(), 71U * 1152 * 2 * 8000 / 44100) << "all but what waits for a whole block";
}

TEST_F(Pushed, WholeJpegs) {
    InputPort port;
    for (int i = 1; i <= 25; i++) {
        char name[40];
        snprintf(name, sizeof(name), "mjpeg_640x360/%03d.jpg", i);
        ASSERT_TRUE(port.Push(Load(name)));
    }
    EXPECT_TRUE(WaitUntil([&] { return port.PictureMd5s().size() == 25; }));
    LONG_32 width = 0;
    LONG_32 height = 0;
    ULONG_32 video = 0;
    ASSERT_TRUE(Zelvane_GetPictureSize(port.Number(), &width, &height));
    ASSERT_TRUE(Zelvane_GetEncodeType(port.Number(), &video, nullptr));
    EXPECT_EQ(width, 640);
    EXPECT_EQ(height, 360);
    EXPECT_EQ(video, static_cast<ULONG_32>(PLAYER_VIDEO_ENCODE_MJPEG));
}

TEST_F(Pushed, AacSoundGivesEverySample) {
    const Bytes stream = Load("aac_16000_mono.aac");
    const std::vector<Span> frames = SplitAccessUnits(stream, AV_CODEC_ID_AAC);
    support::RtpSender sender(support::RTP_PT_AAC_ADTS);
    InputPort port;
    ASSERT_TRUE(Zelvane_OpenSound(port.Number()));
    uint32_t timestamp = 0;
    for (const Span frame : frames) {
        ASSERT_TRUE(port.Push(sender.Packet(frame, timestamp += 1024, true)));
    }
    port.Drain();
    EXPECT_EQ(port.AudioFrames(), frames.size());
    EXPECT_EQ(port.Pcm().size(), ReferenceSamples(frames, AV_CODEC_ID_AAC).size() * 2);
    ULONG_32 audio = 0;
    ASSERT_TRUE(Zelvane_GetEncodeType(port.Number(), nullptr, &audio));
    EXPECT_EQ(audio, static_cast<ULONG_32>(PLAYER_AUDIO_ENCODE_NULL)) << "closed";
}

TEST_F(Pushed, SoundPlaysOnWhilePicturesWaitForAKeyFrame) {
    std::vector<Bytes> packets =
        support::PacketiseVideo(Load("h264_640x360_bf0.264"), AV_CODEC_ID_H264, support::RTP_PT_H264);
    support::RtpSender sound(support::RTP_PT_G711U);
    InputPort port;
    // A packet of the 10th picture goes missing: the pictures up to the key frame at 25 go with it.
    size_t picture = 0;
    size_t index = 0;
    while (picture < 9) {
        picture += (packets[index++][1] & 0x80) != 0;
    }
    packets.erase(packets.begin() + static_cast<long>(index));
    uint32_t timestamp = 0;
    for (const Bytes &packet : packets) {
        ASSERT_TRUE(port.Push(packet));
        if ((packet[1] & 0x80) != 0) {
            ASSERT_TRUE(port.Push(sound.Packet(Bytes(160, 0xFF), timestamp += 160, true)));
        }
    }
    port.Drain();
    std::vector<std::string> expected = ReferenceMd5s(Load("h264_640x360_bf0.264"), AV_CODEC_ID_H264);
    expected.erase(expected.begin() + 9, expected.begin() + 25);
    EXPECT_EQ(port.PictureMd5s(), expected);
    EXPECT_GE(port.AudioFrames(), 74U);
}

TEST_F(Pushed, GarbageInTheMiddleCostsOnlyUntilTheNextKeyFrame) {
    const Bytes stream = Load("h264_640x360_bf0.264");
    const std::vector<Span> units = SplitAccessUnits(stream, AV_CODEC_ID_H264);
    InputPort port;
    for (size_t i = 0; i < units.size(); i++) {
        Bytes unit = support::WithLongStartCodes(units[i]);
        if (i >= 30 && i < 35) {
            for (size_t k = 40; k < unit.size(); k += 7) {
                unit[k] ^= 0x5A;
            }
        }
        port.Push(unit);
        if (i == 32) {
            port.Push(Bytes(5000, 0xAB));
            port.Push(Bytes{0x47, 1, 2});
            port.Push(Bytes{0x80});
        }
    }
    port.Drain();
    const std::vector<std::string> expected = ReferenceMd5s(stream, AV_CODEC_ID_H264);
    const std::vector<std::string> got = port.PictureMd5s();
    ASSERT_GE(got.size(), 30U + 25U);
    EXPECT_TRUE(std::equal(got.begin(), got.begin() + 30, expected.begin()));
    EXPECT_TRUE(std::equal(got.end() - 25, got.end(), expected.end() - 25)) << "whole again from the key frame at 50";
}

TEST_F(Pushed, CodingMayChangeInTheMiddle) {
    Bytes h265 = Load("h265_640x360.265");
    support::RewriteH265KeyUnits(&h265);
    const Bytes h264 = Load("h264_1080p_bf0.264");
    InputPort port;
    for (const auto &[stream, codec] :
         {std::pair{Span(h265), AV_CODEC_ID_HEVC}, std::pair{Span(h264), AV_CODEC_ID_H264}}) {
        for (const Span unit : SplitAccessUnits(stream, codec)) {
            ASSERT_TRUE(port.Push(support::WithLongStartCodes(unit)));
        }
    }
    port.Drain();
    std::vector<std::string> expected = ReferenceMd5s(h265, AV_CODEC_ID_HEVC);
    const std::vector<std::string> second = ReferenceMd5s(h264, AV_CODEC_ID_H264);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(port.PictureMd5s(), expected);
    EXPECT_EQ(Library::LinesWith("Create Video Decoder Success"), 2U);
}

TEST_F(Pushed, NewPictureSizeIsReportedOnce) {
    static std::atomic<int> reports;
    static std::string text;
    reports = 0;
    Zelvane_SetPlayerRunMsgCB([](ULONG_32 kind, void *message) {
        const PLAYER_RUN_INFO_S &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
        if (kind == PLAYER_RUN_INFO_MEDIA_PROCESS && info.ulErrCode == PLAYER_RUN_PICTURE_SIZE) {
            text = info.szFilePath;
            reports++;
        }
    });
    InputPort port;
    ASSERT_TRUE(
        port.PushAll(support::PacketiseVideo(Load("h264_640x360_bf0.264"), AV_CODEC_ID_H264, support::RTP_PT_H264)));
    port.Drain();
    EXPECT_TRUE(WaitUntil([] { return reports == 1; }));
    EXPECT_EQ(text, "width:640&height:360");
    Zelvane_SetPlayerRunMsgCB(nullptr);
}

TEST_F(Pushed, TapsStopTheRoadWhereTheySay) {
    const std::vector<Bytes> packets =
        support::PacketiseVideo(Load("h264_640x360_bf0.264"), AV_CODEC_ID_H264, support::RTP_PT_H264);
    InputPort port;
    std::atomic<int> frames{0};
    static std::atomic<int> *counter;
    counter = &frames;
    Zelvane_SetParseVideoDataCB(
        port.Number(),
        [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *, LONG_REAL) { *counter += data->ulWidth == 0; }, 0,
        nullptr);
    ASSERT_TRUE(port.PushAll(packets));
    port.Drain();
    EXPECT_EQ(frames, 75);
    EXPECT_TRUE(port.PictureMd5s().empty()) << "frames that the client keeps are not decoded";
}
