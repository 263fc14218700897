// Decoding of pictures, marks, deinterlacing, JPEG encoding.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <thread>

#include "codec_fixture.h"

namespace {

class CodecVideo : public CodecTest {
 protected:
    /** Loads a stream and makes its decoder. */
    void Open(const char *name, LONG_32 payload) {
        stream = ReadFile(MediaPath(name));
        units = SplitAccessUnits(stream, Id(payload));
        ASSERT_LT(10U, units.size());
        ASSERT_EQ(0U, MakeDecoder(payload, units[0]));
    }
    static AVCodecID Id(LONG_32 payload) {
        return payload == PLAYER_PAYLOAD_H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    }

    Bytes stream;
    std::vector<Span> units;
};

struct StreamRow {
    const char *name;
    LONG_32 payload;
    size_t delay;
};

class CodecStream : public CodecVideo, public testing::WithParamInterface<StreamRow> {};

TEST_P(CodecStream, GivesEveryPictureButAMarkedOne) {
    const StreamRow row = GetParam();
    for (const size_t marked : {SIZE_MAX, size_t{8}}) {
        ASSERT_NO_FATAL_FAILURE(Open(row.name, row.payload));
        const std::vector<std::string> expected = ReferenceMd5s(stream, Id(row.payload));
        for (size_t i = 0; i < units.size(); i++) {
            codec.bNoShow = i == marked ? 1 : 0;
            const bool shown = i >= row.delay && i - row.delay != marked;
            ASSERT_EQ(shown ? 0U : 538U, Decode(units[i])) << "unit " << i;
            EXPECT_EQ(0, codec.bNoShow);
            if (shown) {
                ASSERT_EQ(expected[i - row.delay], OutMd5()) << "unit " << i;
            }
        }
        EXPECT_EQ(static_cast<LONG_32>(units.size() % 32), codec.lInNum);
        EXPECT_EQ(static_cast<LONG_32>((units.size() - row.delay) % 32), codec.lOutNum);
        CODE_FreeCode(&codec);
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, CodecStream,
                         testing::Values(StreamRow{"h264_640x360_bf0.264", PLAYER_PAYLOAD_H264, 0},
                                         StreamRow{"h264_640x360_bf2.264", PLAYER_PAYLOAD_H264, 2},
                                         StreamRow{"h265_640x360.265", PLAYER_PAYLOAD_H265, 0}));

TEST_F(CodecVideo, CountsABrokenFrameAsGivenOut) {
    ASSERT_NO_FATAL_FAILURE(Open("h264_640x360_bf0.264", PLAYER_PAYLOAD_H264));
    ASSERT_EQ(0U, Decode(units[0]));
    const LONG_32 given = codec.lOutNum;
    EXPECT_EQ(528U, Decode(Bytes(30, 0x55)));
    EXPECT_EQ(given + 1, codec.lOutNum);
    EXPECT_EQ(0U, Decode(units[1]));
}

// A snapshot may ask for the last picture while a stream of another size has begun and shows nothing yet.
TEST_F(CodecVideo, KeepsTheLastPictureWhileNoneComesOut) {
    ASSERT_NO_FATAL_FAILURE(Open("h264_1080p_bf0.264", PLAYER_PAYLOAD_H264));
    ASSERT_EQ(0U, Decode(units[0]));
    const std::string shown = OutMd5();
    const Bytes other = ReadFile(MediaPath("h264_640x360_bf2.264"));
    const std::vector<Span> other_units = SplitAccessUnits(other, AV_CODEC_ID_H264);
    ASSERT_EQ(538U, Decode(other_units[0]));
    ASSERT_EQ(538U, Decode(other_units[1]));
    EXPECT_EQ(shown, OutMd5());
}

TEST_F(CodecVideo, LosesOneFrameWhenH265OutgrowsItsDecoder) {
    ASSERT_NO_FATAL_FAILURE(Open("h265_640x360.265", PLAYER_PAYLOAD_H265));
    ASSERT_EQ(0U, Decode(units[0]));
    const Bytes large = ReadFile(MediaPath("h265_1080p.265"));
    const std::vector<Span> large_units = SplitAccessUnits(large, AV_CODEC_ID_HEVC);
    const LONG_32 given = codec.lOutNum;
    EXPECT_EQ(1U, Decode(large_units[0]));
    EXPECT_EQ(given + 1, codec.lOutNum);
    EXPECT_EQ(nullptr, out.pucData[0]);  // the planes ended with their decoder
    EXPECT_EQ(0, codec.bDefaultDecSize);
    ASSERT_EQ(0U, Decode(large_units[0]));
    EXPECT_EQ(1920, out.lWidth);
    EXPECT_EQ(1080, out.lHeight);
}

TEST_F(CodecVideo, DoublesLinesWithoutHarmToPicturesToCome) {
    ASSERT_NO_FATAL_FAILURE(Open("h264_640x360_bf0.264", PLAYER_PAYLOAD_H264));
    const std::vector<std::string> expected = ReferenceMd5s(stream, AV_CODEC_ID_H264);
    for (size_t i = 0; i < units.size(); i++) {
        const bool doubled = i % 3 != 2;
        ASSERT_EQ(0U, Decode(units[i], doubled ? DEINTERLACE_DOUBLETOPFIELD : DEINTERLACE_NONE));
        if (!doubled) {
            ASSERT_EQ(expected[i], OutMd5()) << "picture " << i;
            continue;
        }
        for (int plane = 0; plane < 3; plane++) {
            const int shift = plane == 0 ? 0 : 1;
            for (LONG_32 y = 0; y + 1 < out.lHeight >> shift; y += 2) {
                const UCHAR *line = out.pucData[plane] + static_cast<ptrdiff_t>(y) * out.lLineSize[plane];
                ASSERT_EQ(0, std::memcmp(line, line + out.lLineSize[plane], static_cast<size_t>(out.lWidth >> shift)));
            }
        }
    }
}

TEST_F(CodecVideo, DeinterlacesInPlaceAndNotBehindAnOddHeight) {
    Bytes planes[3] = {Bytes(5 * 4), Bytes(2 * 2), Bytes(3 * 2)};  // exactly 5 rows of 4, 2 of 2, 2 of 3
    CODE_DECODED_DATA_S picture{};
    picture.lHeight = 5;
    for (int i = 0; i < 3; i++) {
        std::iota(planes[i].begin(), planes[i].end(), uint8_t{0});
        picture.pucData[i] = planes[i].data();
        picture.lLineSize[i] = i == 0 ? 4 : i + 1;
    }
    DeinterlaceWithMode(DEINTERLACE_NONE, &picture);
    EXPECT_EQ(7, planes[0][7]);
    DeinterlaceWithMode(DEINTERLACE_DOUBLETOPFIELD, &picture);
    EXPECT_EQ((Bytes{0, 1, 2, 3, 0, 1, 2, 3, 8, 9, 10, 11, 8, 9, 10, 11, 16, 17, 18, 19}), planes[0]);
    EXPECT_EQ((Bytes{0, 1, 0, 1}), planes[1]);
    EXPECT_EQ((Bytes{0, 1, 2, 0, 1, 2}), planes[2]);
}

TEST_F(CodecVideo, DecodesJpegIntoPlanesOfItsSize) {
    const Bytes picture = ReadFile(MediaPath("mjpeg_640x360/001.jpg"));
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_JPEG));
    ASSERT_EQ(0U, Decode(picture));
    EXPECT_EQ(640, out.lWidth);
    EXPECT_EQ(360, out.lHeight);
    EXPECT_EQ(640, out.lLineSize[0]);
    EXPECT_EQ(320, out.lLineSize[1]);
    EXPECT_EQ(out.pucData[0] + 640 * 360, out.pucData[1]);
    EXPECT_EQ(out.pucData[1] + 640 * 360 / 4, out.pucData[2]);
    const std::string md5 = OutMd5();

    const Bytes small = ReadFile(std::string(std::getenv("ZELVANE_SOURCE")) + "/fuzz/corpus/jpeg/odd_444.jpg");
    ASSERT_EQ(0U, Decode(small));
    EXPECT_EQ(35, out.lWidth);
    EXPECT_EQ(17, out.lLineSize[1]);
    codec.ulPicWidth = 640;  // as if the large size had been kept by the caller: the planes must grow all the same
    codec.ulPicHeight = 360;
    ASSERT_EQ(0U, Decode(picture));
    EXPECT_EQ(md5, OutMd5());
}

TEST_F(CodecVideo, CountsJpegFailuresInARow) {
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_JPEG));
    const Bytes good = ReadFile(MediaPath("mjpeg_640x360/001.jpg"));
    for (ULONG_32 i = 1; i <= 3; i++) {
        EXPECT_EQ(528U, Decode(Bytes(40, 1)));
        EXPECT_EQ(i, codec.ulDecordFailCount);
    }
    EXPECT_EQ(0U, Decode(good));
    EXPECT_EQ(0U, codec.ulDecordFailCount);
}

TEST_F(CodecVideo, ShowsTheJpegBehindABrokenOne) {
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_JPEG));
    const Bytes good = ReadFile(MediaPath("mjpeg_640x360/001.jpg"));
    Bytes broken_head = good;  // the size of a component's sampling is impossible
    for (size_t i = 0; i + 12 < good.size(); i++) {
        if (good[i] == 0xFF && good[i + 1] == 0xC0) {
            broken_head[i + 11] = 0xFF;
        }
    }
    for (const Bytes &broken : {broken_head, Bytes(good.begin(), good.begin() + 100), Bytes{0xFF, 0xD8, 0xFF, 0xD9}}) {
        EXPECT_EQ(0U, Decode(good));
        EXPECT_EQ(528U, Decode(broken));
        EXPECT_EQ(0U, Decode(good));
    }
}

// A reader that takes the lock finds a picture whose planes hold, whatever the decoder does meanwhile.
TEST_F(CodecVideo, HoldsItsPlanesForWhoTakesTheLock) {
    const Bytes large = ReadFile(MediaPath("mjpeg_640x360/001.jpg"));
    const Bytes small = ReadFile(std::string(std::getenv("ZELVANE_SOURCE")) + "/fuzz/corpus/jpeg/even_422.jpg");
    ASSERT_EQ(0U, MakeDecoder(PLAYER_PAYLOAD_JPEG));
    std::atomic<bool> done = false;
    std::thread reader([&] {
        Bytes copy;
        while (!done) {
            QLOM_SDK_mutex_lock(&out.stLock);
            if (out.pucData[0] != nullptr) {
                copy.assign(out.pucData[0], out.pucData[0] + static_cast<ptrdiff_t>(out.lHeight) * out.lLineSize[0]);
            }
            QLOM_SDK_mutex_unlock(&out.stLock);
        }
    });
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(0U, Decode(i % 2 == 0 ? large : small));
    }
    done = true;
    reader.join();
}

}  // namespace
