#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <array>

#include "codec/faac.h"
#include "codec/ffaudio.h"
#include "codec/mp2.h"
#include "support/file_port.h"
#include "support/made_bytes.h"
#include "support/temp_dir.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

std::vector<SHORT> Hum(size_t samples, double hertz, double rate) { return Tone(samples, 2 * kPi * hertz / rate); }

// Frequency of a tone by its upward zero crossings, without the start, where encoders swing in.
double Hertz(const std::vector<int16_t> &samples, double rate) {
    int crossings = 0;
    for (size_t i = 4097; i < samples.size(); i++) {
        crossings += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
    }
    return crossings * rate / static_cast<double>(samples.size() - 4096);
}

std::vector<Span> Mp2Frames(Span stream) { return SplitAccessUnits(stream, AV_CODEC_ID_MP2); }

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
    std::vector<SHORT> got;
    for (const Span frame : frames) {
        ASSERT_EQ(0, decoder.Decode(frame, 3000));
        ASSERT_EQ(1152U, decoder.record.uiSamples);
        EXPECT_EQ(1U, decoder.record.uiChannels);
        got.insert(got.end(), decoder.pcm.begin(), decoder.pcm.begin() + 1152);
    }
    EXPECT_EQ(ReferenceSamples(frames, AV_CODEC_ID_MP2), got);
}

TEST(Mp2Decoder, MixesStereoDownToTheMeanOfBoth) {
    TempDir folder;
    ASSERT_TRUE(support::Ffmpeg("-f lavfi -i \"aevalsrc='0.3*sin(2770*t)|0.15*sin(2770*t)':s=44100:d=0.2\" -b:a 384k",
                                folder.At("a.mp2")));
    const Bytes stream = ReadFile(folder.At("a.mp2"));
    const std::vector<Span> frames = Mp2Frames(stream);
    const std::vector<int16_t> both = ReferenceSamples(frames, AV_CODEC_ID_MP2);
    ASSERT_LE(8U * 1152 * 2, both.size());
    Mp2 decoder;
    for (size_t i = 0; i < both.size() / 2; i++) {
        if (i % 1152 == 0) {
            ASSERT_EQ(0, decoder.Decode(frames[i / 1152]));
            ASSERT_EQ(1152U, decoder.record.uiSamples);
        }
        ASSERT_NEAR((both[2 * i] + both[2 * i + 1]) / 2.0, static_cast<SHORT>(decoder.pcm[i % 1152]), 1.5);
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
}

/* ---- AAC encoder ----------------------------------------------------------------------------------------------- */

class AacEncoder : public testing::TestWithParam<int> {};

TEST_P(AacEncoder, GivesAdtsFramesOfTheToneFromTheSecondCallOn) {
    const int rate = GetParam();
    const rawSampleFormat format{1, 16, rate, 1, 1024, NO_CONTAINER};
    HANDLE encoder = nullptr;
    ASSERT_EQ(0, dsp_faac_enc_init(&encoder, &format, 8000));
    const std::vector<SHORT> tone = Hum(1024 * 40, 440, rate);
    std::vector<Bytes> frames;
    for (int i = 0; i < 40; i++) {
        Bytes frame(768);
        LONG_32 length = 768;
        ASSERT_EQ(0, dsp_faac_enc_encode(encoder, reinterpret_cast<const UCHAR *>(&tone[i * 1024]), 1024, frame.data(),
                                         &length));
        ASSERT_EQ(i == 0, length == 0);
        if (i != 0) {
            EXPECT_EQ(0xFFF1, frame[0] << 8 | frame[1]);
            EXPECT_EQ(1, frame[2] >> 6);  // low complexity
            EXPECT_EQ(length, (frame[3] & 3) << 11 | frame[4] << 3 | frame[5] >> 5);
            frames.emplace_back(frame.begin(), frame.begin() + length);
        }
    }
    EXPECT_EQ(0, dsp_faac_enc_destroy(encoder));
    EXPECT_NEAR(440, Hertz(ReferenceSamples({frames.begin(), frames.end()}, AV_CODEC_ID_AAC), rate), 5);
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
    const std::vector<SHORT> tone = Hum(1024, 440, 16000);
    std::array<UCHAR, 20> frame{};
    for (const auto &[samples, result] : {std::pair{1023, -1}, {1024, 0}, {1024, -1}}) {  // at last no room for a frame
        LONG_32 length = frame.size();
        EXPECT_EQ(result, dsp_faac_enc_encode(encoder, reinterpret_cast<const UCHAR *>(tone.data()), samples,
                                              frame.data(), &length));
        EXPECT_EQ(0, length);
    }
    EXPECT_EQ(0, dsp_faac_enc_destroy(encoder));
}

/* ---- resampler and MP2 encoder --------------------------------------------------------------------------------- */

std::vector<LONG_32> BlockSizes(LONG_32 out_rate, LONG_32 in_rate, int samples, int blocks) {
    AUDIO_RESAMPLE_S context{};
    EXPECT_EQ(0, av_audio_resample_init_1(&context, 1, 1, out_rate, in_rate, 16, 10, 0, 0.8));
    EXPECT_DOUBLE_EQ(static_cast<double>(out_rate) / in_rate, context.ratio);
    const std::vector<SHORT> in = Hum(samples, 300, in_rate);
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
    const std::vector<SHORT> in = Hum(1152, 300, 44100);
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
    const std::vector<SHORT> tone = Hum(1152 * 40, 440, 44100);
    std::vector<Bytes> frames;
    for (int i = 0; i < 40; i++) {
        UCHAR frame[4000];
        const LONG_32 size = MPA_encode_frame(context, frame, sizeof(frame), &tone[i * 1152]);
        ASSERT_TRUE(size == 208 || size == 209) << size;
        frames.emplace_back(frame, frame + size);
    }
    UCHAR small[100];
    EXPECT_GT(0, MPA_encode_frame(context, small, sizeof(small), tone.data()));
    MPA_encode_close(context);
    MPA_encode_close(context);
    EXPECT_GT(0, MPA_encode_frame(context, small, sizeof(small), tone.data()));
    EXPECT_NEAR(440, Hertz(ReferenceSamples({frames.begin(), frames.end()}, AV_CODEC_ID_MP2), 44100), 5);
    EXPECT_NE(0, MPA_encode_init(context, 12345, 64000, 1));
}

}  // namespace
