// Real encoders' streams pushed into a port come out picture for picture as an independent decoder gives them.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/client.h"
#include "support/rtp_stream.h"
#include "zelvane_modules.h"

using support::InputPort;
using support::Library;

namespace {

struct Stream {
    const char *name;
    AVCodecID codec;
    uint8_t payloadType;
    size_t withheld; /**< pictures that a decoder keeps until it is drained: the stream's reorder depth */
};

std::ostream &operator<<(std::ostream &out, const Stream &stream) { return out << stream.name; }

Bytes Load(const Stream &stream) {
    Bytes bytes = ReadFile(MediaPath(stream.name));
    EXPECT_FALSE(bytes.empty()) << stream.name;
    if (stream.codec == AV_CODEC_ID_HEVC) {
        support::RewriteH265KeyUnits(&bytes);
    }
    return bytes;
}

/** The pictures that a decoder gives without being drained. */
std::vector<std::string> Expected(const Stream &stream, Span bytes) {
    std::vector<std::string> all = ReferenceMd5s(bytes, stream.codec);
    EXPECT_GT(all.size(), stream.withheld);
    all.resize(all.size() - std::min(all.size(), stream.withheld));
    return all;
}

class PushedVideo : public testing::TestWithParam<Stream> {
 protected:
    Library m_library;
};

}  // namespace

TEST_P(PushedVideo, AsRtpItIsDecodedPictureForPicture) {
    const Bytes bytes = Load(GetParam());
    InputPort port;
    ASSERT_TRUE(port.PushAll(support::PacketiseVideo(bytes, GetParam().codec, GetParam().payloadType)));
    port.Drain();
    EXPECT_EQ(port.PictureMd5s(), Expected(GetParam(), bytes));
}

INSTANTIATE_TEST_SUITE_P(Streams, PushedVideo,
                         testing::Values(Stream{"h264_640x360_bf0.264", AV_CODEC_ID_H264, support::RTP_PT_H264, 0},
                                         Stream{"h264_640x360_bf2.264", AV_CODEC_ID_H264, support::RTP_PT_H264, 2},
                                         Stream{"h264_640x360_slices4.264", AV_CODEC_ID_H264, support::RTP_PT_H264, 0},
                                         Stream{"h264_576i_mbaff.264", AV_CODEC_ID_H264, support::RTP_PT_H264, 0},
                                         Stream{"h264_1080p_bf0.264", AV_CODEC_ID_H264, support::RTP_PT_H264, 0},
                                         Stream{"h265_640x360.265", AV_CODEC_ID_HEVC, support::RTP_PT_H265, 0},
                                         Stream{"h265_slices_640x360.265", AV_CODEC_ID_HEVC, support::RTP_PT_H265, 0},
                                         Stream{"h265_642x362.265", AV_CODEC_ID_HEVC, support::RTP_PT_H265, 0}),
                         [](const testing::TestParamInfo<Stream> &info) {
                             std::string name = info.param.name;
                             std::replace_if(
                                 name.begin(), name.end(), [](char c) { return !isalnum(c); }, '_');
                             return name;
                         });
