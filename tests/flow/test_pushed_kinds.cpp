// The other roads into a port: access units, transport streams, JPEG, sound, and streams that break.
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <memory>

#include "support/client.h"
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

/** One frame as transport stream packets of the player's dialect. */
Bytes MuxFrame(TS_PACKET_DEC_S *muxer, Span frame, LONG_32 payload, LONG_32 format, DULONG timestamp) {
    TS_FRAMEDATA_S data = {};
    data.pucData = const_cast<UCHAR *>(frame.data());
    data.lDataLen = static_cast<LONG_32>(frame.size());
    data.lPayload = payload;
    data.lFormatType = format;
    data.dulTimestamp = timestamp;
    muxer->ulPacketDataLen = 0;
    muxer->ulEsPacketDataLen = 0;
    ULONG_32 result = TS_PackFirstPacket(&data, muxer);
    while (result == PLAYER_ERR_PACK_AGAIN) {
        result = TS_PackOtherPacket(&data, muxer);
    }
    EXPECT_EQ(result, 0U);
    const UCHAR *start = reinterpret_cast<const UCHAR *>(muxer->szPacketBuff);
    return Bytes(start, start + muxer->ulPacketDataLen);
}

std::unique_ptr<TS_PACKET_DEC_S> MakeMuxer(LONG_32 video, LONG_32 audio) {
    auto muxer = std::make_unique<TS_PACKET_DEC_S>();
    muxer->lVideoType = video;
    muxer->lAudioTyp = audio;
    muxer->lElemType = PLAYER_PAYLOAD_NULL;
    EXPECT_EQ(TS_CreatePAT(muxer.get()), 0U);
    EXPECT_EQ(TS_CreatePMT(muxer.get()), 0U);
    return muxer;
}

bool HoldsKeyPicture(Span unit) {
    const std::vector<Span> units = SplitUnits(unit);
    return std::any_of(units.begin(), units.end(), [](Span nal) { return (nal[nal[2] == 1 ? 3 : 4] & 0x1F) == 5; });
}

/** PCM of an ADTS stream as libavcodec gives it, interleaved 16-bit. */
Bytes ReferenceAac(const std::vector<Span> &frames) {
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    EXPECT_EQ(avcodec_open2(context, codec, nullptr), 0);
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    size_t samples = 0;
    for (const Span span : frames) {
        EXPECT_EQ(av_new_packet(packet, static_cast<int>(span.size())), 0);
        std::copy(span.begin(), span.end(), packet->data);
        EXPECT_EQ(avcodec_send_packet(context, packet), 0);
        av_packet_unref(packet);
        while (avcodec_receive_frame(context, frame) == 0) {
            samples += static_cast<size_t>(frame->nb_samples * frame->ch_layout.nb_channels);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
    return Bytes(samples * 2);
}

std::vector<Span> SplitAdts(const Bytes &stream) {
    std::vector<Span> frames;
    for (size_t offset = 0; offset + 7 <= stream.size();) {
        const size_t length = (stream[offset + 3] & 3U) << 11 | stream[offset + 4] << 3U | stream[offset + 5] >> 5U;
        frames.push_back(Span(stream).subspan(offset, length));
        offset += length;
    }
    return frames;
}

}  // namespace

TEST_F(Pushed, AccessUnitsOfH264AndH265) {
    for (const auto &[name, codec] : {std::pair{"h264_640x360_bf0.264", AV_CODEC_ID_H264},
                                      std::pair{"h265_640x360.265", AV_CODEC_ID_HEVC}}) {
        Bytes stream = Load(name);
        if (codec == AV_CODEC_ID_HEVC) {
            support::RewriteH265KeyUnits(&stream);
        }
        InputPort port;
        for (const Span unit : SplitAccessUnits(stream, codec)) {
            ASSERT_TRUE(port.Push(support::WithLongStartCodes(unit)));
        }
        port.Drain();
        EXPECT_EQ(port.PictureMd5s(), ReferenceMd5s(stream, codec)) << name;
    }
}

TEST_F(Pushed, TransportStreamWithSound) {
    const Bytes stream = Load("h264_640x360_bf0.264");
    const Bytes sound = Load("g711u_8000.raw");
    auto muxer = MakeMuxer(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    InputPort port;
    ASSERT_TRUE(Zelvane_OpenSound(port.Number()));
    DULONG timestamp = 3600;
    for (const Span unit : SplitAccessUnits(stream, AV_CODEC_ID_H264)) {
        const LONG_32 format = HoldsKeyPicture(unit) ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P;
        ASSERT_TRUE(port.Push(MuxFrame(muxer.get(), unit, PLAYER_PAYLOAD_H264, format, timestamp)));
        ASSERT_TRUE(port.Push(MuxFrame(muxer.get(), Span(sound).subspan(timestamp / 3600 * 320 - 320, 320),
                                       PLAYER_PAYLOAD_G711U, 0, timestamp)));
        timestamp += 3600;
    }
    port.Drain();
    EXPECT_EQ(port.PictureMd5s(), ReferenceMd5s(stream, AV_CODEC_ID_H264));
    EXPECT_EQ(port.AudioFrames(), 75U);
    EXPECT_EQ(port.Pcm().size(), 75U * 640);
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
    const std::vector<Span> frames = SplitAdts(stream);
    support::RtpSender sender(support::RTP_PT_AAC_ADTS);
    InputPort port;
    ASSERT_TRUE(Zelvane_OpenSound(port.Number()));
    uint32_t timestamp = 0;
    for (const Span frame : frames) {
        ASSERT_TRUE(port.Push(sender.Packet(frame, timestamp += 1024, true)));
    }
    port.Drain();
    EXPECT_EQ(port.AudioFrames(), frames.size());
    EXPECT_EQ(port.Pcm().size(), ReferenceAac(frames).size());
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
    for (const auto &[stream, codec] : {std::pair{Span(h265), AV_CODEC_ID_HEVC}, std::pair{Span(h264), AV_CODEC_ID_H264}}) {
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
    ASSERT_TRUE(port.PushAll(support::PacketiseVideo(Load("h264_640x360_bf0.264"), AV_CODEC_ID_H264, support::RTP_PT_H264)));
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
        port.Number(), [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *, LONG_REAL) { *counter += data->ulWidth == 0; },
        0, nullptr);
    ASSERT_TRUE(port.PushAll(packets));
    port.Drain();
    EXPECT_EQ(frames, 75);
    EXPECT_TRUE(port.PictureMd5s().empty()) << "frames that the client keeps are not decoded";
}
