#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "codec/zvmjpeg.h"
#include "support/media.h"

namespace {

/** A picture in three blocks of exactly the bytes that the interface asks for. */
struct Picture {
    Picture(int width, int height) : size{width, height} {
        for (int i = 0; i < 3; i++) {
            planes[i].resize(static_cast<size_t>(Width(i)) * Height(i), 0x55);
            record.pData[i] = planes[i].data();
            record.uLineSize[i] = static_cast<ULONG_32>(Width(i));
        }
        record.uPicWidth = static_cast<ULONG_32>(width);
        record.uPicHeight = static_cast<ULONG_32>(height);
    }
    int Width(int plane) const { return plane == 0 ? size[0] : size[0] / 2; }
    int Height(int plane) const { return plane == 0 ? size[1] : size[1] / 2; }
    void ForEachSample(const std::function<void(int plane, int x, int y, uint8_t *sample)> &work) {
        for (int plane = 0; plane < 3; plane++) {
            for (size_t i = 0; i < planes[plane].size(); i++) {
                const int at = static_cast<int>(i);
                work(plane, at % Width(plane), at / Width(plane), &planes[plane][i]);
            }
        }
    }

    int size[2];
    Bytes planes[3];
    DSP_Picture_Mjpeg record{};
};

class JpegAdapter : public testing::Test {
 protected:
    ~JpegAdapter() override {
        DSP_JpegDecDestroy(decoder);
        DSP_JpegEncDestroy(encoder);
    }
    LONG_32 Probe(Span data, DSP_Picture_Mjpeg *picture) {
        return DSP_JpegDecode(decoder, data.data(), static_cast<ULONG_32>(data.size()), picture, 1);
    }
    LONG_32 Decode(Span data, Picture *picture) {
        return DSP_JpegDecode(decoder, data.data(), static_cast<ULONG_32>(data.size()), &picture->record, 0);
    }
    Bytes Encode(const Picture &picture) {
        Bytes out(0x100000);
        auto length = static_cast<ULONG_32>(out.size());
        EXPECT_EQ(ZVMJPEG_OK, DSP_JpegEncode(encoder, &picture.record, 1, out.data(), &length));
        out.resize(length);
        return out;
    }

    HANDLE decoder = DSP_JpegDecInit();
    HANDLE encoder = DSP_JpegEncInit();
};

Bytes Seed(const std::string &name) {
    const char *root = std::getenv("ZELVANE_SOURCE");
    return ReadFile(std::string(root != nullptr ? root : ".") + "/fuzz/corpus/jpeg/" + name);
}

// Mean of what the file holds for the 2 x 2 pixels that one sample of the output serves.
double Expected(const AVFrame &frame, int plane, int x, int y) {
    if (plane == 0) {
        return frame.data[0][y * frame.linesize[0] + x];
    }
    const AVPixFmtDescriptor *form = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (form->nb_components == 1) {
        return 128;
    }
    double sum = 0;
    for (int i = 0; i < 4; i++) {
        const int column = (2 * x + i % 2) >> form->log2_chroma_w;
        const int row = (2 * y + i / 2) >> form->log2_chroma_h;
        sum += frame.data[plane][row * frame.linesize[plane] + column];
    }
    return sum / 4;
}

TEST_F(JpegAdapter, BringsEverySamplingAndOddSizesTo420) {
    for (const char *name : {"odd_420.jpg", "even_422.jpg", "odd_444.jpg", "even_411.jpg", "even_440.jpg",
                             "odd_gray.jpg", "progressive_420.jpg"}) {
        SCOPED_TRACE(name);
        const Bytes jpeg = Seed(name);
        ASSERT_FALSE(jpeg.empty());
        DSP_Picture_Mjpeg size{};
        ASSERT_EQ(ZVMJPEG_OK, Probe(jpeg, &size));
        Picture picture(static_cast<int>(size.uPicWidth), static_cast<int>(size.uPicHeight));
        ASSERT_EQ(ZVMJPEG_OK, Decode(jpeg, &picture));
        int compared = 0;
        ReferenceDecode({Span(jpeg)}, AV_CODEC_ID_MJPEG, [&](const AVFrame &reference) {
            ASSERT_EQ(reference.width, picture.size[0]);
            ASSERT_EQ(reference.height, picture.size[1]);
            picture.ForEachSample([&](int plane, int x, int y, uint8_t *sample) {
                ASSERT_NEAR(Expected(reference, plane, x, y), *sample, 1) << plane << " at " << x << "," << y;
                compared++;
            });
        });
        EXPECT_LT(0, compared);
    }
}

TEST_F(JpegAdapter, ShowsWhatThereIsOfAPictureWithoutItsEnd) {
    const Bytes whole = Seed("odd_420.jpg");
    Picture complete(33, 17);
    ASSERT_EQ(ZVMJPEG_OK, Decode(whole, &complete));
    Picture without_mark(33, 17);
    ASSERT_EQ(ZVMJPEG_OK, Decode(Span(whole).first(whole.size() - 2), &without_mark));
    EXPECT_EQ(complete.planes[0], without_mark.planes[0]);

    const Bytes large = ReadFile(MediaPath("mjpeg_640x360/001.jpg"));
    ASSERT_FALSE(large.empty());
    Picture all(640, 360);
    Picture half(640, 360);
    ASSERT_EQ(ZVMJPEG_OK, Decode(large, &all));
    ASSERT_EQ(ZVMJPEG_OK, Decode(Span(large).first(large.size() / 2), &half));
    EXPECT_EQ(0, std::memcmp(all.planes[0].data(), half.planes[0].data(), 640 * 64));
}

TEST_F(JpegAdapter, RefusesASizeThatNoCameraHas) {
    Bytes jpeg = Seed("odd_420.jpg");
    for (size_t i = 0; i + 9 < jpeg.size(); i++) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC0) {
            std::memset(&jpeg[i + 5], 0xFF, 4);  // 65535 x 65535
            jpeg[i + 5] = jpeg[i + 7] = 0xFE;
        }
    }
    DSP_Picture_Mjpeg size{};
    for (const Bytes &bad : {jpeg, Bytes(100, 0xFF), Bytes(1, 0)}) {
        EXPECT_EQ(ZVMJPEG_STREAM, Probe(bad, &size));
    }
}

TEST_F(JpegAdapter, RefusesPlanesThatDoNotHoldThePicture) {
    const Bytes jpeg = Seed("even_422.jpg");
    Picture wrong_size(64, 30);
    EXPECT_EQ(ZVMJPEG_PARAM, Decode(jpeg, &wrong_size));
    Picture no_plane(64, 32);
    no_plane.record.pData[2] = nullptr;
    EXPECT_EQ(ZVMJPEG_PARAM, Decode(jpeg, &no_plane));
    Picture short_line(64, 32);
    short_line.record.uLineSize[0] = 63;
    EXPECT_EQ(ZVMJPEG_PARAM, Decode(jpeg, &short_line));
    EXPECT_EQ(0x55, short_line.planes[0][0]);
}

void Paint(Picture *picture) {
    picture->ForEachSample([](int plane, int x, int y, uint8_t *sample) {
        *sample = static_cast<uint8_t>(128 + 60 * std::sin(x * 0.11 + plane) * std::cos(y * 0.07));
    });
}

TEST_F(JpegAdapter, EncodesWhatDecodesToTheSamePicture) {
    for (const auto &[width, height] : {std::pair{640, 360}, {35, 21}, {34, 21}, {2, 2}, {16, 3}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        Picture picture(width, height);
        Paint(&picture);
        const Bytes jpeg = Encode(picture);
        ASSERT_LT(4U, jpeg.size());
        EXPECT_EQ(0xFFD8, jpeg[0] << 8 | jpeg[1]);
        Picture again(width, height);
        ASSERT_EQ(ZVMJPEG_OK, Decode(jpeg, &again));
        for (int plane = 0; plane < 3; plane++) {
            EXPECT_LT(35, Psnr(picture.planes[plane], again.planes[plane])) << "plane " << plane;
        }
    }
}

TEST_F(JpegAdapter, EncodesNeitherNothingNorPastItsRoom) {
    Picture picture(64, 48);
    Paint(&picture);
    const size_t needed = Encode(picture).size();
    for (const auto &[room, height, result] :
         {std::tuple{needed, 48U, ZVMJPEG_OK}, {needed - 1, 48U, ZVMJPEG_NO_ROOM}, {needed, 0U, ZVMJPEG_PARAM}}) {
        Bytes exact(room);
        auto length = static_cast<ULONG_32>(room);
        picture.record.uPicHeight = height;
        EXPECT_EQ(result, DSP_JpegEncode(encoder, &picture.record, 1, exact.data(), &length));
        EXPECT_EQ(result == ZVMJPEG_OK ? needed : 0, length);
    }
}

}  // namespace
