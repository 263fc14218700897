#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "codec/faac.h"
#include "codec/ffaudio.h"
#include "codec/mp2.h"
#include "support/media.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<SHORT> Tone(int samples, double hertz, double rate) {
    std::vector<SHORT> tone(static_cast<size_t>(samples));
    for (int i = 0; i < samples; i++) {
        tone[static_cast<size_t>(i)] = static_cast<SHORT>(10000 * std::sin(2 * kPi * hertz * i / rate));
    }
    return tone;
}

// Frequency of a tone by its upward zero crossings.
double Hertz(const std::vector<float> &samples, double rate) {
    int crossings = 0;
    for (size_t i = 1; i < samples.size(); i++) {
        crossings += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
    }
    return crossings * rate / static_cast<double>(samples.size());
}

/** Decodes packets with libavcodec, first channel as float. */
class Independent {
 public:
    explicit Independent(AVCodecID id) {
        const AVCodec *codec = avcodec_find_decoder(id);
        context_ = avcodec_alloc_context3(codec);
        EXPECT_EQ(0, avcodec_open2(context_, codec, nullptr));
    }
    ~Independent() {
        av_frame_free(&frame_);
        avcodec_free_context(&context_);
    }
    bool Decode(Span data, std::vector<float> *out, int channel = 0) {
        AVPacket *packet = av_packet_alloc();
        bool good = av_new_packet(packet, static_cast<int>(data.size())) == 0;
        std::memcpy(packet->data, data.data(), data.size());
        good = good && avcodec_send_packet(context_, packet) == 0;
        av_packet_free(&packet);
        while (good && avcodec_receive_frame(context_, frame_) == 0) {
            for (int i = 0; i < frame_->nb_samples; i++) {
                out->push_back(Sample(channel, i));
            }
        }
        return good;
    }

 private:
    float Sample(int channel, int i) const {
        const uint8_t *plane = frame_->extended_data[channel];
        EXPECT_TRUE(frame_->format == AV_SAMPLE_FMT_FLTP || frame_->format == AV_SAMPLE_FMT_S16P);
        return frame_->format == AV_SAMPLE_FMT_FLTP
                   ? reinterpret_cast<const float *>(plane)[i]
                   : static_cast<float>(reinterpret_cast<const SHORT *>(plane)[i]) / 32768.0F;
    }

    AVCodecContext *context_ = nullptr;
    AVFrame *frame_ = av_frame_alloc();
};

/** Frames of layer II. */
std::vector<Span> Mp2Frames(Span stream) {
    static constexpr int kRates[] = {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0};
    std::vector<Span> frames;
    while (stream.size() > 4) {
        const auto size = static_cast<size_t>(144000 * kRates[stream[2] >> 4] / 44100 + ((stream[2] >> 1) & 1));
        if (size == 0 || size > stream.size()) {
            break;
        }
        frames.push_back(stream.first(size));
        stream = stream.subspan(size);
    }
    return frames;
}

/** One decoder and its argument record, with exactly the promised room. */
struct Mp2 {
    ~Mp2() { mpeg_audio_dec_destroy(handle); }
    LONG_32 Decode(Span data, ULONG_32 room = MPEG_AUDIO_DEC_MAX_SAMPLES) {
        Bytes exact(data.begin(), data.end());
        record = {exact.data(), static_cast<ULONG_32>(exact.size()), pcm.data(), room, 0};
        return mpeg_audio_dec_frame(handle, &record);
    }

    HANDLE handle = mpeg_audio_dec_init();
    std::vector<USHORT> pcm = std::vector<USHORT>(MPEG_AUDIO_DEC_MAX_SAMPLES);
    MPEG_AUDIO_DEC_S record{};
};

TEST(Mp2Decoder, GivesFfmpegsSamples) {
    const Bytes stream = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    const std::vector<Span> frames = Mp2Frames(stream);
    ASSERT_LT(50U, frames.size());
    Mp2 decoder;
    Independent reference(AV_CODEC_ID_MP2);
    for (const Span frame : frames) {
        ASSERT_EQ(0, decoder.Decode(frame, 3000));
        ASSERT_EQ(1152U, decoder.record.uiSamples);
        EXPECT_EQ(1U, decoder.record.uiChannels);
        std::vector<float> expected;
        ASSERT_TRUE(reference.Decode(frame, &expected));
        for (size_t i = 0; i < expected.size(); i++) {
            const auto sample = static_cast<SHORT>(decoder.pcm[i]);
            ASSERT_EQ(std::lrint(expected[i] * 32768.0F), sample) << "sample " << i;
        }
    }
}

// Two channels of one tone, the right one at half the height, in one frame after the other.
std::vector<Bytes> StereoFrames() {
    const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MP2);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    context->sample_rate = 44100;
    context->sample_fmt = AV_SAMPLE_FMT_S16;
    context->bit_rate = 384000;
    context->time_base = {1, 44100};
    av_channel_layout_default(&context->ch_layout, 2);
    EXPECT_EQ(0, avcodec_open2(context, codec, nullptr));
    AVFrame *frame = av_frame_alloc();
    frame->nb_samples = context->frame_size;
    frame->format = AV_SAMPLE_FMT_S16;
    frame->sample_rate = 44100;
    av_channel_layout_default(&frame->ch_layout, 2);
    EXPECT_EQ(0, av_frame_get_buffer(frame, 0));
    AVPacket *packet = av_packet_alloc();
    const std::vector<SHORT> tone = Tone(1152 * 8, 441, 44100);
    std::vector<Bytes> frames;
    for (size_t i = 0; i < 8; i++) {
        EXPECT_EQ(0, av_frame_make_writable(frame));
        auto *samples = reinterpret_cast<SHORT *>(frame->data[0]);
        for (size_t s = 0; s < 1152; s++) {
            samples[2 * s] = tone[i * 1152 + s];
            samples[2 * s + 1] = static_cast<SHORT>(tone[i * 1152 + s] / 2);
        }
        EXPECT_EQ(0, avcodec_send_frame(context, frame));
        EXPECT_EQ(0, avcodec_receive_packet(context, packet));
        frames.emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return frames;
}

TEST(Mp2Decoder, MixesStereoDownToTheMeanOfBoth) {
    const std::vector<Bytes> frames = StereoFrames();
    Mp2 decoder;
    Independent left(AV_CODEC_ID_MP2);
    Independent right(AV_CODEC_ID_MP2);
    for (const Bytes &frame : frames) {
        ASSERT_EQ(0, decoder.Decode(frame));
        ASSERT_EQ(1152U, decoder.record.uiSamples);
        std::vector<float> a;
        std::vector<float> b;
        ASSERT_TRUE(left.Decode(frame, &a, 0) && right.Decode(frame, &b, 1));
        for (size_t i = 0; i < 1152; i++) {
            ASSERT_NEAR((a[i] + b[i]) * 16384, static_cast<SHORT>(decoder.pcm[i]), 1);
        }
    }
}

TEST(Mp2Decoder, SurvivesWhatIsNoFrame) {
    const Bytes stream = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    const std::vector<Span> frames = Mp2Frames(stream);
    Mp2 decoder;
    ASSERT_EQ(0, decoder.Decode(frames[0]));
    EXPECT_EQ(-1, decoder.Decode(Bytes(300, 0x5A)));
    EXPECT_EQ(0U, decoder.record.uiSamples);
    decoder.Decode(frames[1].first(100));  // decodes as far as it goes
    EXPECT_EQ(-1, decoder.Decode({}));
    for (int i = 0; i < 200; i++) {  // several frames in one input: the first counts, and the decoder stays open
        ASSERT_EQ(0, decoder.Decode(Span(stream).first(frames[0].size() * 4))) << "call " << i;
        ASSERT_EQ(1152U, decoder.record.uiSamples);
    }
    ASSERT_EQ(0, decoder.Decode(frames[2], 100));  // less room than samples
    EXPECT_EQ(100U, decoder.record.uiSamples);
    EXPECT_EQ(-1, mpeg_audio_dec_frame(nullptr, &decoder.record));
    EXPECT_EQ(-1, mpeg_audio_dec_frame(decoder.handle, nullptr));
}

TEST(Mp2Decoder, DecodesIntoNothingWithoutABuffer) {
    const Bytes stream = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    Mp2 decoder;
    const Span frame = Mp2Frames(stream)[0];
    decoder.record = {const_cast<UCHAR *>(frame.data()), static_cast<ULONG_32>(frame.size()), nullptr, 3000, 0};
    EXPECT_EQ(-1, mpeg_audio_dec_frame(decoder.handle, &decoder.record));
    EXPECT_EQ(0U, decoder.record.uiSamples);
}

/* ---- AAC encoder ----------------------------------------------------------------------------------------------- */

class AacEncoder : public testing::TestWithParam<int> {};

TEST_P(AacEncoder, GivesAdtsFramesOfTheToneFromTheSecondCallOn) {
    const int rate = GetParam();
    const rawSampleFormat format{1, 16, rate, 1, 1024, NO_CONTAINER};
    HANDLE encoder = nullptr;
    ASSERT_EQ(0, dsp_faac_enc_init(&encoder, &format, 8000));
    const std::vector<SHORT> tone = Tone(1024 * 40, 440, rate);
    Independent decoder(AV_CODEC_ID_AAC);
    std::vector<float> decoded;
    for (int i = 0; i < 40; i++) {
        std::array<UCHAR, 768> frame{};
        LONG_32 length = frame.size();
        ASSERT_EQ(0, dsp_faac_enc_encode(encoder, reinterpret_cast<const UCHAR *>(&tone[i * 1024]), 1024, frame.data(),
                                         &length));
        if (i == 0) {
            EXPECT_EQ(0, length);
            continue;
        }
        ASSERT_LT(FAAC_ADTS_HEAD_SIZE, length);
        EXPECT_EQ(0xFFF1, frame[0] << 8 | frame[1]);
        EXPECT_EQ(1, frame[2] >> 6);  // low complexity
        EXPECT_EQ(length, (frame[3] & 3) << 11 | frame[4] << 3 | frame[5] >> 5);
        ASSERT_TRUE(decoder.Decode(Span(frame).first(static_cast<size_t>(length)), &decoded));
    }
    EXPECT_EQ(0, dsp_faac_enc_destroy(encoder));
    ASSERT_LT(1024U * 30, decoded.size());
    decoded.erase(decoded.begin(), decoded.begin() + 4096);
    EXPECT_NEAR(440, Hertz(decoded, rate), 5);
}

INSTANTIATE_TEST_SUITE_P(Rates, AacEncoder, testing::Values(8000, 11025, 16000, 44100));

TEST(AacEncoderErrors, AreToldAndWriteNothing) {
    HANDLE encoder = reinterpret_cast<HANDLE>(1);
    for (const int rate : {0, 8001, -8000}) {
        const rawSampleFormat bad{1, 16, rate, 1, 1024, NO_CONTAINER};
        EXPECT_NE(0, dsp_faac_enc_init(&encoder, &bad, 8000));
        EXPECT_EQ(nullptr, encoder);
    }
    const rawSampleFormat format{1, 16, 16000, 1, 1024, NO_CONTAINER};
    ASSERT_EQ(0, dsp_faac_enc_init(&encoder, &format, 8000));
    const std::vector<SHORT> tone = Tone(1024, 440, 16000);
    const auto *pcm = reinterpret_cast<const UCHAR *>(tone.data());
    std::array<UCHAR, 20> frame{};
    LONG_32 length = 768;
    EXPECT_EQ(-1, dsp_faac_enc_encode(encoder, pcm, 1023, frame.data(), &length));
    length = frame.size();
    EXPECT_EQ(0, dsp_faac_enc_encode(encoder, pcm, 1024, frame.data(), &length));
    length = frame.size();
    EXPECT_EQ(-1, dsp_faac_enc_encode(encoder, pcm, 1024, frame.data(), &length));  // longer than the room
    EXPECT_EQ(0, length);
    EXPECT_EQ(0, dsp_faac_enc_destroy(encoder));
    EXPECT_NE(0, dsp_faac_enc_destroy(nullptr));
}

/* ---- resampler and MP2 encoder --------------------------------------------------------------------------------- */

std::vector<LONG_32> BlockSizes(LONG_32 out_rate, LONG_32 in_rate, int samples, int blocks) {
    AUDIO_RESAMPLE_S context{};
    EXPECT_EQ(0, av_audio_resample_init_1(&context, 1, 1, out_rate, in_rate, 16, 10, 0, 0.8));
    EXPECT_DOUBLE_EQ(static_cast<double>(out_rate) / in_rate, context.ratio);
    const std::vector<SHORT> in = Tone(samples, 300, in_rate);
    std::vector<SHORT> out(20000);
    std::vector<LONG_32> sizes;
    for (int i = 0; i < blocks; i++) {
        sizes.push_back(audio_resample_1(&context, out.data(), 20000, in.data(), samples));
    }
    audio_resample_close_1(&context);
    EXPECT_EQ(nullptr, context.hResampler);
    return sizes;
}

TEST(Resampler, HoldsBackOnlyItsFilter) {
    for (const auto &[sizes, first, later] :
         {std::tuple{BlockSizes(8000, 44100, 1152, 40), 199, 209}, {BlockSizes(44100, 8000, 160, 40), 838, 882}}) {
        EXPECT_EQ(first, sizes[0]);
        for (size_t i = 1; i < sizes.size(); i++) {
            EXPECT_NEAR(later, sizes[i], 1);
        }
    }
}

TEST(Resampler, KeepsWhatFindsNoRoomAndItsOwnersBlocks) {
    AUDIO_RESAMPLE_S context{};
    SHORT block[4];
    context.psTemp[0] = block;
    ASSERT_EQ(0, av_audio_resample_init_1(&context, 1, 1, 8000, 44100, 16, 10, 0, 0.8));
    ASSERT_EQ(0, av_audio_resample_init_1(&context, 1, 1, 8000, 44100, 16, 10, 0, 0.8));  // again: no leak
    EXPECT_EQ(block, context.psTemp[0]);
    const std::vector<SHORT> in = Tone(1152, 300, 44100);
    std::vector<SHORT> out(50);
    EXPECT_EQ(50, audio_resample_1(&context, out.data(), 50, in.data(), 1152));
    out.resize(1000);
    EXPECT_NEAR(199 - 50 + 209, audio_resample_1(&context, out.data(), 1000, in.data(), 1152), 1);
    audio_resample_close_1(&context);
    audio_resample_close_1(&context);
    EXPECT_GT(0, audio_resample_1(&context, out.data(), 1000, in.data(), 1152));
}

TEST(Resampler, RefusesWhatIsNoRate) {
    AUDIO_RESAMPLE_S context{};
    for (const LONG_32 rate : {0, -1, AUDIO_RESAMPLE_MAX_RATE + 1, INT32_MAX}) {
        EXPECT_NE(0, av_audio_resample_init_1(&context, 1, 1, 44100, rate, 16, 10, 0, 0.8)) << rate;
        EXPECT_NE(0, av_audio_resample_init_1(&context, 1, 1, rate, 44100, 16, 10, 0, 0.8)) << rate;
    }
    EXPECT_EQ(nullptr, context.hResampler);
}

TEST(Mp2Encoder, GivesAFrameForEachBlockAtOnce) {
    alignas(8) UCHAR context[64] = {};
    ASSERT_EQ(0, MPA_encode_init(context, 44100, 64000, 1));
    const std::vector<SHORT> tone = Tone(1152 * 40, 440, 44100);
    Independent decoder(AV_CODEC_ID_MP2);
    std::vector<float> decoded;
    for (int i = 0; i < 40; i++) {
        UCHAR frame[4000];
        const LONG_32 size = MPA_encode_frame(context, frame, sizeof(frame), &tone[i * 1152]);
        ASSERT_TRUE(size == 208 || size == 209) << size;
        EXPECT_EQ(0xFFFD, frame[0] << 8 | frame[1]);
        ASSERT_TRUE(decoder.Decode({frame, static_cast<size_t>(size)}, &decoded));
    }
    UCHAR small[100];
    EXPECT_GT(0, MPA_encode_frame(context, small, sizeof(small), tone.data()));
    MPA_encode_close(context);
    MPA_encode_close(context);
    EXPECT_GT(0, MPA_encode_frame(context, small, sizeof(small), tone.data()));
    decoded.erase(decoded.begin(), decoded.begin() + 4096);
    EXPECT_NEAR(440, Hertz(decoded, 44100), 5);
    EXPECT_NE(0, MPA_encode_init(context, 12345, 64000, 1));
}

}  // namespace
