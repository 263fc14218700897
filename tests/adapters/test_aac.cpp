// The AAC library against libavcodec's own samples.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <cmath>

#include "codec/zvcodec.h"
#include "support/media.h"

namespace {

std::vector<Bytes> AdtsFrames(const Bytes &stream) {
    std::vector<Bytes> frames;
    for (size_t at = 0; at + 7 <= stream.size();) {
        const size_t size = (stream[at + 3] & 3U) << 11 | stream[at + 4] << 3 | stream[at + 5] >> 5;
        frames.emplace_back(stream.begin() + static_cast<ptrdiff_t>(at),
                            stream.begin() + static_cast<ptrdiff_t>(std::min(at + size, stream.size())));
        at += size;
    }
    return frames;
}

/** libavcodec's planar floats as interleaved 16-bit samples. */
std::vector<int16_t> Reference(const std::vector<Bytes> &frames) {
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_AAC));
    AVFrame *frame = av_frame_alloc();
    AVPacket *packet = av_packet_alloc();
    std::vector<int16_t> samples;
    EXPECT_EQ(avcodec_open2(context, nullptr, nullptr), 0);
    for (const Bytes &adts : frames) {
        EXPECT_EQ(av_new_packet(packet, static_cast<int>(adts.size())), 0);
        std::copy(adts.begin(), adts.end(), packet->data);
        avcodec_send_packet(context, packet);
        av_packet_unref(packet);
        while (avcodec_receive_frame(context, frame) == 0) {
            EXPECT_EQ(frame->format, AV_SAMPLE_FMT_FLTP);
            for (int i = 0; i < frame->nb_samples; ++i) {
                for (int channel = 0; channel < frame->ch_layout.nb_channels; ++channel) {
                    const float value = reinterpret_cast<float *>(frame->extended_data[channel])[i];
                    samples.push_back(static_cast<int16_t>(std::clamp(lrintf(value * 32768.0F), -32768L, 32767L)));
                }
            }
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return samples;
}

class Decoder {
 public:
    Decoder() { EXPECT_EQ(dsp_aac_dec_init(&handle), 0); }
    ~Decoder() { EXPECT_EQ(dsp_aac_dec_destroy(handle), 0); }

    int Feed(Bytes buffer) {
        buffer.shrink_to_fit();
        void *out = &buffer;
        int size = -1;
        const int result = dsp_aac_dec_decode(handle, buffer.data(), static_cast<int>(buffer.size()), &out, &size);
        EXPECT_EQ(out == nullptr, result < 0);
        EXPECT_EQ(size > 0, result == 0);
        const auto *pcm = static_cast<int16_t *>(out);
        samples.insert(samples.end(), pcm, pcm + size);
        return result;
    }

    void *handle = nullptr;
    std::vector<int16_t> samples;
};

struct Case {
    const char *name;
    int rate;
    int channels;
};

class AacStreams : public testing::TestWithParam<Case> {};

TEST_P(AacStreams, SamplesEqualTheReferenceFromTheFirstFrameOn) {
    const std::vector<Bytes> frames = AdtsFrames(ReadFile(MediaPath(GetParam().name)));
    ASSERT_GT(frames.size(), 40U);
    Decoder decoder;
    aac_decoder_param param{};
    EXPECT_LT(dsp_aac_dec_get_param(decoder.handle, &param), 0);
    for (const Bytes &frame : frames) {
        EXPECT_EQ(decoder.Feed(frame), 0);
    }
    EXPECT_EQ(decoder.samples.size(), frames.size() * 1024 * static_cast<size_t>(GetParam().channels));
    EXPECT_EQ(decoder.samples, Reference(frames));
    EXPECT_EQ(dsp_aac_dec_get_param(decoder.handle, &param), 0);
    EXPECT_EQ(param.iSampleRate, GetParam().rate);
    EXPECT_EQ(param.iChannels, GetParam().channels);
    EXPECT_EQ(param.iFrameSize, 1024);
    EXPECT_EQ(param.eSampleFmt, SAMPLE_FMT_S16);
}

INSTANTIATE_TEST_SUITE_P(Encoded, AacStreams,
                         testing::Values(Case{"aac_16000_mono.aac", 16000, 1}, Case{"aac_48000_stereo.aac", 48000, 2}),
                         [](const auto &info) { return "Hz" + std::to_string(info.param.rate); });

TEST(AacLibrary, SeveralFramesInABufferAreAllDecoded) {
    const Bytes stream = ReadFile(MediaPath("aac_16000_mono.aac"));
    Decoder decoder;
    EXPECT_EQ(decoder.Feed(stream), 0);
    EXPECT_EQ(decoder.samples, Reference(AdtsFrames(stream)));
}

TEST(AacLibrary, AChangedFormatIsFollowed) {
    Decoder decoder;
    aac_decoder_param param{};
    for (const char *name : {"aac_48000_stereo.aac", "aac_16000_mono.aac"}) {
        decoder.Feed(ReadFile(MediaPath(name)));
    }
    EXPECT_EQ(dsp_aac_dec_get_param(decoder.handle, &param), 0);
    EXPECT_EQ(param.iSampleRate, 16000);
    EXPECT_EQ(param.iChannels, 1);
}

TEST(AacLibrary, AWrongLengthInTheHeaderIsOverlooked) {
    std::vector<Bytes> frames = AdtsFrames(ReadFile(MediaPath("aac_16000_mono.aac")));
    const std::vector<int16_t> reference = Reference(frames);
    Decoder decoder;
    for (Bytes &frame : frames) {
        frame[4] = 1;
        EXPECT_EQ(decoder.Feed(frame), 0);
    }
    EXPECT_EQ(decoder.samples, reference);
}

TEST(AacLibrary, FiveFailuresInARowAskForANewDecoder) {
    const std::vector<Bytes> frames = AdtsFrames(ReadFile(MediaPath("aac_16000_mono.aac")));
    const Bytes raw(frames[5].begin() + 7, frames[5].end());
    Decoder decoder;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(decoder.Feed(raw), -1);
        }
        EXPECT_EQ(decoder.Feed(frames[5]), 0);  // a success starts the count anew
    }
    for (int i = 0; i < 4; ++i) {
        decoder.Feed(raw);
    }
    EXPECT_EQ(decoder.Feed(raw), -3);
}

TEST(AacLibrary, WrongArgumentsAreRefused) {
    Decoder decoder;
    uint8_t byte = 0;
    void *out = nullptr;
    int size = 0;
    EXPECT_LT(dsp_aac_dec_init(nullptr), 0);
    EXPECT_LT(dsp_aac_dec_destroy(nullptr), 0);
    EXPECT_LT(dsp_aac_dec_get_param(decoder.handle, nullptr), 0);
    EXPECT_LT(dsp_aac_dec_decode(nullptr, &byte, 1, &out, &size), 0);
    EXPECT_LT(dsp_aac_dec_decode(decoder.handle, &byte, 1, nullptr, &size), 0);
    EXPECT_LT(dsp_aac_dec_decode(decoder.handle, &byte, 0, &out, &size), 0);
}

}  // namespace
