// The AAC library against libavcodec's own samples.
#include <gtest/gtest.h>

#include "codec/zvcodec.h"
#include "support/media.h"

namespace {

std::vector<Span> Frames(Span stream) { return SplitAccessUnits(stream, AV_CODEC_ID_AAC); }

std::vector<int16_t> Reference(Span stream) { return ReferenceSamples(Frames(stream), AV_CODEC_ID_AAC); }

class Decoder {
 public:
    Decoder() { EXPECT_EQ(dsp_aac_dec_init(&handle), 0); }
    ~Decoder() { EXPECT_EQ(dsp_aac_dec_destroy(handle), 0); }

    int Feed(Span data) {
        Bytes buffer(data.begin(), data.end());
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
    const Bytes stream = ReadFile(MediaPath(GetParam().name));
    const std::vector<Span> frames = Frames(stream);
    ASSERT_GT(frames.size(), 40U);
    Decoder decoder;
    for (const Span &frame : frames) {
        EXPECT_EQ(decoder.Feed(frame), 0);
    }
    EXPECT_EQ(decoder.samples.size(), frames.size() * 1024 * static_cast<size_t>(GetParam().channels));
    EXPECT_EQ(decoder.samples, Reference(stream));
    aac_decoder_param param{};
    EXPECT_EQ(dsp_aac_dec_get_param(decoder.handle, &param), 0);
    EXPECT_EQ(param.iSampleRate, GetParam().rate);
    EXPECT_EQ(param.iChannels, GetParam().channels);
    EXPECT_EQ(param.iFrameSize, 1024);
    Decoder at_once;
    EXPECT_EQ(at_once.Feed(stream), 0) << "several frames in a buffer";
    EXPECT_EQ(at_once.samples, decoder.samples);
}

INSTANTIATE_TEST_SUITE_P(Encoded, AacStreams,
                         testing::Values(Case{"aac_16000_mono.aac", 16000, 1}, Case{"aac_48000_stereo.aac", 48000, 2}),
                         [](const auto &info) { return "Hz" + std::to_string(info.param.rate); });

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
    const Bytes stream = ReadFile(MediaPath("aac_16000_mono.aac"));
    Decoder decoder;
    for (const Span &frame : Frames(stream)) {
        Bytes wrong(frame.begin(), frame.end());
        wrong[4] = 1;
        EXPECT_EQ(decoder.Feed(wrong), 0);
    }
    EXPECT_EQ(decoder.samples, Reference(stream));
}

TEST(AacLibrary, FiveFailuresInARowAskForANewDecoder) {
    const Bytes stream = ReadFile(MediaPath("aac_16000_mono.aac"));
    const std::vector<Span> frames = Frames(stream);
    const Span raw = frames[5].subspan(7);
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

}  // namespace
