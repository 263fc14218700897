// Pictures of several slices over RTP: depacketiser and decoder together, as the decode thread runs them.
#include <algorithm>

#include "codec_fixture.h"
#include "intake/module_rtp.h"
#include "support/rtp_stream.h"

namespace {

struct Row {
    std::vector<const char *> streams; /**< one after the other */
    LONG_32 payload;
    bool sets_between; /**< parameter sets and SEI between the slices of a picture */
};

class CodecSlices : public CodecTest, public testing::WithParamInterface<Row> {
 protected:
    CodecSlices() { rtp.pucFrameData = buffer.data(); }

    AVCodecID Id() const { return GetParam().payload == PLAYER_PAYLOAD_H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC; }

    void Load() {
        for (const char *name : GetParam().streams) {
            const Bytes part = ReadFile(MediaPath(name));
            stream.insert(stream.end(), part.begin(), part.end());
        }
        support::RewriteH265KeyUnits(&stream);
        for (const std::string &md5 : ReferenceMd5s(stream, Id())) {
            expected.push_back(md5);
        }
    }

    /** The access unit, with its leading units once more in front of each slice. */
    Bytes Mixed(Span unit) const {
        Bytes leads, mixed;
        for (const Span part : SplitUnits(unit)) {
            const uint8_t head = part[part[2] == 1 ? 3 : 4];
            const bool slice = Id() == AV_CODEC_ID_H264 ? (head & 0x1F) <= 5 : head >> 1 < 32;
            if (slice && GetParam().sets_between) {
                mixed.insert(mixed.end(), leads.begin(), leads.end());
            } else if (!slice) {
                leads.insert(leads.end(), part.begin(), part.end());
            }
            mixed.insert(mixed.end(), part.begin(), part.end());
        }
        return mixed;
    }

    void Take(ULONG_32 result) {
        if (result == PLAYER_ERR_OK) {
            md5s.push_back(OutMd5());
        }
        need_key |= result != PLAYER_ERR_OK && result != PLAYER_ERR_NO_PICTURE;
    }

    ULONG_32 Ask(LONG_32 kind, BOOL_T end) {
        CODEC_FRAME_S frame{nullptr, 0, 0, kind, end};
        const ULONG_32 result = CODE_Decoder(&codec, &frame, DEINTERLACE_NONE, &out);
        Take(result);
        return result;
    }

    void EndStream() {
        while (codec.lCodecID == GetParam().payload && Ask(0, 0) == PLAYER_ERR_OK) {
        }
    }

    void Push(Bytes packet) {
        const ULONG_32 result =
            RTP_UnpacketRtpData(reinterpret_cast<CHAR *>(packet.data()), static_cast<ULONG_32>(packet.size()), nullptr,
                                nullptr, &rtp, &sound);
        if (result != PLAYER_ERR_OK) {
            need_key |= result != PLAYER_ERR_NEED_MORE_DATA;
            if (need_key) {
                EndStream();
            }
            return;
        }
        const Span frame(rtp.pucFrameData, rtp.ulFrameLen);
        rtp.ulFrameLen = 0;
        need_key &= rtp.lFormatType != PLAYER_VIDEO_FRAME_I;
        if (need_key) {
            return;
        }
        if (codec.lCodecID != GetParam().payload) {
            ASSERT_EQ(0U, MakeDecoder(GetParam().payload, frame));
        }
        const BOOL_T end = rtp.ucHeadReserve[1];
        CODEC_FRAME_S input{const_cast<UCHAR *>(frame.data()), static_cast<ULONG_32>(frame.size()), 0, 0, end};
        Take(CODE_Decoder(&codec, &input, DEINTERLACE_NONE, &out));
        while (!need_key && Ask(CODEC_FRAME_MORE, end) == PLAYER_ERR_OK) {
        }
    }

    Bytes stream;
    std::vector<std::string> expected, md5s;
    Bytes buffer = Bytes(0x200000);
    RTP_STREAM_INFO_S rtp{}, sound{};
    bool need_key = true;
};

TEST_P(CodecSlices, EveryPictureComesAsSoonAsItsLastPacketDoes) {
    ASSERT_NO_FATAL_FAILURE(Load());
    for (const size_t mtu : {200, 576, 1000, 1400, 9000}) {
        SCOPED_TRACE(mtu);
        support::RtpSender sender(Id() == AV_CODEC_ID_H264 ? support::RTP_PT_H264 : support::RTP_PT_H265, mtu);
        md5s.clear();
        need_key = true;
        rtp.ausSequenceNumber[GetParam().payload] = 0;
        size_t sent = 0;
        for (const Span unit : SplitAccessUnits(stream, Id())) {
            for (const Bytes &packet : sender.VideoPackets(Mixed(unit), static_cast<uint32_t>(3600 * sent))) {
                ASSERT_NO_FATAL_FAILURE(Push(packet));
            }
            ASSERT_EQ(++sent, md5s.size());
        }
        EXPECT_EQ(expected, md5s);
    }
}

TEST_P(CodecSlices, ALostPacketCostsWhatLeansOnItAndNoWrongPictureComes) {
    ASSERT_NO_FATAL_FAILURE(Load());
    std::vector<Bytes> packets;
    support::RtpSender sender(Id() == AV_CODEC_ID_H264 ? support::RTP_PT_H264 : support::RTP_PT_H265, 1000);
    for (const Span unit : SplitAccessUnits(stream, Id())) {
        const std::vector<Bytes> more = sender.VideoPackets(Mixed(unit), 3600);
        packets.insert(packets.end(), more.begin(), more.end());
    }
    for (size_t lost = 3; lost < packets.size() * 2 / 3; lost += packets.size() / 9) {
        SCOPED_TRACE(lost);
        md5s.clear();
        need_key = true;
        rtp = {};
        rtp.pucFrameData = buffer.data();
        EndStream();
        md5s.clear();
        for (size_t i = 0; i < packets.size(); i++) {
            if (i != lost) {
                ASSERT_NO_FATAL_FAILURE(Push(packets[i]));
            }
        }
        auto at = expected.begin();
        for (const std::string &md5 : md5s) {
            at = std::find(at, expected.end(), md5);
            ASSERT_NE(at, expected.end());
            ++at;
        }
        EXPECT_LT(expected.size() - 28, md5s.size());  // at most a group of pictures, and what led up to it
        EXPECT_GE(expected.size(), md5s.size());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Streams, CodecSlices,
    testing::Values(Row{{"h264_640x360_slices4.264"}, PLAYER_PAYLOAD_H264, false},
                    Row{{"h264_640x360_slices4.264"}, PLAYER_PAYLOAD_H264, true},
                    Row{{"h264_640x360_bf0.264", "h264_640x360_slices4.264"}, PLAYER_PAYLOAD_H264, false},
                    Row{{"h265_slices_640x360.265"}, PLAYER_PAYLOAD_H265, false},
                    Row{{"h265_slices_640x360.265"}, PLAYER_PAYLOAD_H265, true},
                    Row{{"h265_640x360.265", "h265_slices_640x360.265"}, PLAYER_PAYLOAD_H265, false}));

}  // namespace
