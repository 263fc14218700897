// Colour conversion and the peak limiter.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "codec_fixture.h"

namespace {

TEST(LimitPcm, LooksAtPositivePeaksOnly) {
    std::vector<SHORT> block = {29999, -32768, 100, -101};
    const std::vector<SHORT> before = block;
    auto *samples = reinterpret_cast<USHORT *>(block.data());
    EXPECT_EQ(0U, limitPcmScope(30000, 0.9F, 8, samples));
    EXPECT_EQ(before, block);
    block[2] = 30000;
    EXPECT_EQ(0U, limitPcmScope(30000, 0.9F, 8, samples));
    EXPECT_EQ((std::vector<SHORT>{26999, -29491, 27000, -90}), block);  // cut toward zero
    EXPECT_EQ(0U, limitPcmScope(0, 3.0F, 8, samples));
    EXPECT_EQ((std::vector<SHORT>{32767, -32768, 32767, -270}), block);
    EXPECT_EQ(1U, limitPcmScope(-1, 0.9F, 8, samples));
    EXPECT_EQ(1U, limitPcmScope(1, -0.5F, 8, samples));
    EXPECT_EQ(32767, block[0]);
    EXPECT_EQ(0U, limitPcmScope(0, NAN, 8, samples));
    EXPECT_EQ((std::vector<SHORT>{0, 0, 0, 0}), block);
}

/** A picture with its own planes of exactly the bytes that the conversion may read. */
struct Yuv {
    Yuv(ULONG_32 width, ULONG_32 height) : y(width * height), p(width / 2 * height / 2), q(p.size()) {
        for (size_t i = 0; i < y.size(); i++) {
            y[i] = static_cast<uint8_t>(i * 7);
        }
        for (size_t i = 0; i < p.size(); i++) {
            p[i] = static_cast<uint8_t>(i * 13);
            q[i] = static_cast<uint8_t>(255 - i * 5);
        }
        picture = {{y.data(), p.data(), q.data(), nullptr}, {width, width / 2, width / 2, 0}, width, height};
    }
    Bytes y, p, q;
    CODEC_PIC_S picture;
};

int Floor(double value) { return static_cast<int>(std::floor(value)); }

// The three bytes of a pixel, by the formulas.
std::array<int, 3> Pixel(const Yuv &yuv, ULONG_32 x, ULONG_32 y) {
    const ULONG_32 chroma = y / 2 * yuv.picture.ulLineSize[1] + x / 2;
    const int luma = yuv.y[y * yuv.picture.ulLineSize[0] + x];
    const int p = yuv.p[chroma] - 128;
    const int q = yuv.q[chroma] - 128;
    const auto clamp = [](int value) { return std::clamp(value, 0, 255); };
    return {clamp(luma + Floor(359 * p / 256.0)), clamp(luma - Floor(11 * q / 32.0) - Floor(183 * p / 256.0)),
            clamp(luma + Floor(227 * q / 128.0))};
}

TEST(ColourSpace, GivesThreeBytesAPixelBottomUp) {
    const Yuv yuv(1918, 10);  // 1916 columns and 8 rows of it count
    Bytes rgb(1916 * 8 * 3);
    CODEC_PIC_S out{{rgb.data()}, {}, 0, 0};
    ASSERT_EQ(0U, CODE_ColorSpace(FORMAT_COLORSPACE_YUVTORGB32, &yuv.picture, &out));
    EXPECT_EQ(rgb.size(), out.ulLineSize[0]);
    for (ULONG_32 y = 0; y < 8; y++) {
        for (ULONG_32 x = 0; x < 1916; x++) {
            const std::array<int, 3> expected = Pixel(yuv, x, y);
            const uint8_t *pixel = &rgb[((7 - y) * 1916 + x) * 3];
            ASSERT_TRUE(expected[0] == pixel[0] && expected[1] == pixel[1] && expected[2] == pixel[2]) << x << "," << y;
        }
    }
}

TEST(ColourSpace, HandsOverDoesNothingOrFailsByItsFormat) {
    Yuv yuv(8, 8);
    CODEC_PIC_S out{};
    EXPECT_EQ(0U, CODE_ColorSpace(FORMAT_COLORSPACE_RGB32TOYUV, &yuv.picture, &out));
    EXPECT_EQ(yuv.p.data(), out.pucData[1]);
    EXPECT_EQ(4U, out.ulLineSize[1]);
    out = {};
    EXPECT_EQ(0U, CODE_ColorSpace(FORMAT_COLORSPACE_RGB24TOYUV, &yuv.picture, &out));
    EXPECT_EQ(0U, CODE_ColorSpace(9, &yuv.picture, &out));
    EXPECT_EQ(nullptr, out.pucData[1]);
    EXPECT_EQ(528U, CODE_ColorSpace(FORMAT_COLORSPACE_YUVTORGB32, &yuv.picture, &out));  // no output
    Bytes rgb(8 * 8 * 3);
    out.pucData[0] = rgb.data();
    yuv.picture.ulHeight = 3;  // rounds down to nothing
    EXPECT_EQ(528U, CODE_ColorSpace(FORMAT_COLORSPACE_YUVTORGB32, &yuv.picture, &out));
}

TEST(ColourSpace, RefusesAreasPastItsLength) {
    UCHAR byte = 0;
    ULONG_32 length = 0;
    DSP_Picture_Mjpeg picture{{&byte, &byte, &byte, nullptr}, {0, 0, 0, 0}, 0xFFFFFFFC, 0xFFFFFFFC, 0};
    EXPECT_EQ(0, CODE_YUV2RGB(&picture, &byte, &length));
    EXPECT_EQ(0U, length);
}

}  // namespace
