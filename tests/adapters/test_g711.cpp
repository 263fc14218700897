#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "codec/g711.h"
#include "support/media.h"

namespace {

using Codes = std::array<UCHAR, 256>;
using Samples = std::array<int16_t, 256>;

Codes AllCodes() {
    Codes codes;
    std::iota(codes.begin(), codes.end(), UCHAR{0});
    return codes;
}

Samples Ours(LONG_32 law) {
    const Codes codes = AllCodes();
    Samples samples;
    ULONG_32 length = 7;  // what stands there on entry is no limit
    EXPECT_EQ(0, G711Decoder(codes.data(), codes.size(), reinterpret_cast<UCHAR *>(samples.data()), &length, law));
    EXPECT_EQ(512U, length);
    return samples;
}

Samples Ffmpegs(AVCodecID id) {
    const Codes codes = AllCodes();
    const std::vector<int16_t> all = ReferenceSamples({Span(codes)}, id);
    Samples samples{};
    std::copy_n(all.begin(), std::min(all.size(), samples.size()), samples.begin());
    return samples;
}

class G711Law : public testing::TestWithParam<std::pair<LONG_32, AVCodecID>> {};

TEST_P(G711Law, DecodesEveryCodeAsFfmpegDoes) { EXPECT_EQ(Ffmpegs(GetParam().second), Ours(GetParam().first)); }

// The decision levels of ITU-T G.711 are the means of neighbours, but where two chords meet the coarser step counts.
int WidestStep(const std::vector<int> &sorted, int value) {
    const auto at = std::lower_bound(sorted.begin(), sorted.end(), value);
    const int below = at != sorted.begin() ? value - *(at - 1) : 0;
    const int above = at + 1 != sorted.end() ? *(at + 1) - value : 0;
    return std::max(below, above);
}

TEST_P(G711Law, EncodesEverySampleWithinHalfAStepAndInOrder) {
    const LONG_32 law = GetParam().first;
    const Samples values = Ours(law);
    std::vector<int> sorted(values.begin(), values.end());
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    int last = -32768;
    for (int sample = -32768; sample <= 32767; sample++) {
        const auto input = static_cast<int16_t>(sample);
        UCHAR code = 0;
        ULONG_32 length = 0;
        ASSERT_EQ(0, G711Encoder(reinterpret_cast<const UCHAR *>(&input), 2, &code, &length, law));
        ASSERT_EQ(1U, length);
        const int value = values[code];
        ASSERT_LE(last, value) << "sample " << sample;
        if (sample >= sorted.front() && sample <= sorted.back()) {
            ASSERT_LE(std::abs(sample - value) * 2, WidestStep(sorted, value)) << "sample " << sample;
        } else {
            ASSERT_EQ(sample < 0 ? sorted.front() : sorted.back(), value);
        }
        last = value;
    }
}

INSTANTIATE_TEST_SUITE_P(Laws, G711Law,
                         testing::Values(std::pair{LONG_32{G711_LAW_MU}, AV_CODEC_ID_PCM_MULAW},
                                         std::pair{LONG_32{G711_LAW_A}, AV_CODEC_ID_PCM_ALAW}));

TEST(G711, TakesAnyLengthAndAlignment) {
    std::vector<UCHAR> pcm(7, 0x11);
    std::vector<UCHAR> out(16, 0xEE);
    ULONG_32 length = 99;
    EXPECT_EQ(0, G711Encoder(pcm.data() + 1, 5, out.data(), &length, G711_LAW_MU));  // odd address, odd length
    EXPECT_EQ(2U, length);
    EXPECT_EQ(0xEE, out[2]);
    EXPECT_EQ(0, G711Decoder(pcm.data(), 3, out.data() + 1, &length, G711_LAW_A));
    EXPECT_EQ(6U, length);
    EXPECT_EQ(0xEE, out[7]);
    EXPECT_GT(0, G711Decoder(nullptr, 1, out.data(), &length, G711_LAW_A));
}

}  // namespace
