// The H.265 library against libavcodec on the same streams, fed in every shape that depacketisers give.
#include <gtest/gtest.h>

#include "adapters/video_feed.h"
#include "codec/h265dec.h"

namespace {

constexpr AVCodecID kCodec = AV_CODEC_ID_HEVC;
int g_blocks = 0;
int g_lines = 0;

void *Allocate(UINT32, UINT32 size) {
    ++g_blocks;
    return malloc(size);
}
void Release(UINT32, void *memory) {
    g_blocks -= memory != nullptr ? 1 : 0;
    free(memory);
}
void Log(UINT32, IHWVIDEO_ALG_LOG_LEVEL, INT8 *, ...) { ++g_lines; }

IHW265D_INIT_PARAM Param(int width, int height, IH265D_THREAD_TYPE threads) {
    IHW265D_INIT_PARAM param{};
    param.iMaxWidth = width;
    param.iMaxHeight = height;
    param.eThreadType = threads;
    param.pfnMalloc = Allocate;
    param.pfnFree = Release;
    param.pfnLog = Log;
    return param;
}

class Decoder {
 public:
    explicit Decoder(int width = 3840, int height = 3840, IH265D_THREAD_TYPE threads = IH265D_SINGLE_THREAD) {
        IHW265D_INIT_PARAM param = Param(width, height, threads);
        EXPECT_EQ(IHW265D_Create(&handle_, &param), IHW265D_OK);
    }
    ~Decoder() { IHW265D_Delete(handle_); }

    /** Feeds a copy without padding, so that a sanitizer sees every read outside it. */
    INT32 Feed(const Bytes &buffer) {
        Bytes copy(buffer);
        copy.shrink_to_fit();
        IH265DEC_INARGS in{copy.data(), static_cast<UINT32>(copy.size()), 0, IH265D_DECODE};
        const INT32 result = IHW265D_DecodeFrame(handle_, &in, &out);
        if (result == IHW265D_OK) {
            const int strides[] = {static_cast<int>(out.uiYStride), static_cast<int>(out.uiUVStride),
                                   static_cast<int>(out.uiUVStride)};
            md5s.push_back(
                PictureMd5(out.pPlane, strides, static_cast<int>(out.uiDecWidth), static_cast<int>(out.uiDecHeight)));
        } else {
            EXPECT_EQ(out.pPlane[0], nullptr);
        }
        return result;
    }

    const std::vector<std::string> &FeedAll(const std::vector<Bytes> &buffers) {
        for (const Bytes &buffer : buffers) {
            Feed(buffer);
        }
        return md5s;
    }

    IH265DEC_OUTARGS out{};
    std::vector<std::string> md5s;

 private:
    void *handle_ = nullptr;
};

/** Bytes of a unit without its start code and without the zeros behind it. */
Span Payload(Span unit) {
    Span payload = unit.subspan(unit[2] == 1 ? 3 : 4);
    while (!payload.empty() && payload.back() == 0) {
        payload = payload.first(payload.size() - 1);
    }
    return payload;
}

class H265Streams : public VideoStreams {};

TEST_P(H265Streams, AccessUnitsAreBitExactWithoutAddedDelay) {
    for (const auto threads : {IH265D_SINGLE_THREAD, IH265D_MULTI_THREAD}) {
        Decoder decoder(3840, 3840, threads);
        EXPECT_EQ(Withheld(decoder.FeedAll(UnitBuffers(stream_, kCodec)), reference_), GetParam().withheld);
    }
}

TEST_P(H265Streams, SlicesFedSinglyGiveTheSamePictures) {
    Decoder decoder;
    EXPECT_EQ(Withheld(decoder.FeedAll(SliceBuffers(stream_, kCodec)), reference_), GetParam().withheld);
}

INSTANTIATE_TEST_SUITE_P(Encoded, H265Streams,
                         testing::Values(StreamCase{"h265_640x360.265", 0}, StreamCase{"h265_642x362.265", 0},
                                         StreamCase{"h265_slices_640x360.265", 0}));

TEST(H265Library, ALostFirstOrLastSliceCostsItsPictureAndWhatRefersToItAndNoMore) {
    const Bytes stream = ReadFile(MediaPath("h265_slices_640x360.265"));
    const std::vector<Bytes> all = SliceBuffers(stream, kCodec);
    const size_t slices = all.size() / 75;
    for (const size_t slice : {size_t{0}, slices - 1}) {
        std::vector<Bytes> buffers = all;
        buffers.erase(buffers.begin() + static_cast<ptrdiff_t>(slices * 32 + slice));
        std::vector<std::string> expected = ReferenceMd5s(stream, kCodec);
        expected.erase(expected.begin() + 32, expected.begin() + 50);
        Decoder decoder;
        EXPECT_EQ(decoder.FeedAll(buffers), expected) << slice;
    }
}

TEST(H265Library, AggregationUnitsAreTakenApart) {
    const Bytes stream = ReadFile(MediaPath("h265_640x360.265"));
    const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
    std::vector<Bytes> buffers;
    for (const Span access : SplitAccessUnits(stream, kCodec)) {
        Bytes buffer{0, 0, 0, 1, 48 << 1, 1};
        Bytes rest;
        for (const Span unit : SplitUnits(access)) {
            const Span payload = Payload(unit);
            if (payload.size() > 0xFFFF) {
                rest.insert(rest.end(), unit.begin(), unit.end());
                continue;
            }
            buffer.push_back(static_cast<uint8_t>(payload.size() >> 8));
            buffer.push_back(static_cast<uint8_t>(payload.size()));
            buffer.insert(buffer.end(), payload.begin(), payload.end());
        }
        buffer.insert(buffer.end(), rest.begin(), rest.end());
        buffers.push_back(buffer);
    }
    Decoder decoder;
    EXPECT_EQ(Withheld(decoder.FeedAll(buffers), reference), 0);
}

TEST(H265Library, TenBitsBecomeEight) {
    const Bytes stream = ReadFile(MediaPath("h265_10bit_640x360.265"));
    Bytes luma;  // of the last picture, cut to 8 bits
    size_t pictures = 0;
    ReferenceDecode(SplitAccessUnits(stream, kCodec), kCodec, [&](const AVFrame &frame) {
        EXPECT_EQ(frame.format, AV_PIX_FMT_YUV420P10LE);
        luma.clear();
        for (int i = 0; i < frame.height * frame.width; ++i) {
            const uint8_t *sample = frame.data[0] + i / frame.width * frame.linesize[0] + i % frame.width * 2;
            luma.push_back(static_cast<uint8_t>((sample[0] | sample[1] << 8) >> 2));
        }
        ++pictures;
    });
    Decoder decoder;
    decoder.FeedAll(UnitBuffers(stream, kCodec));
    ASSERT_EQ(decoder.md5s.size(), pictures);
    ASSERT_EQ(decoder.out.uiDecWidth, 640U);
    ASSERT_EQ(decoder.out.uiDecHeight, 360U);
    int furthest = 0;
    for (size_t i = 0; i < luma.size(); ++i) {
        const int got = decoder.out.pPlane[0][i / 640 * decoder.out.uiYStride + i % 640];
        furthest = std::max(furthest, std::abs(got - luma[i]));
    }
    EXPECT_LE(furthest, 1);  // rounded or cut
}

TEST(H265Library, ANewSizeInTheStreamIsFollowed) {
    std::vector<Bytes> buffers = UnitBuffers(ReadFile(MediaPath("h265_slices_640x360.265")), kCodec);
    buffers.resize(25);
    for (const Bytes &unit : UnitBuffers(ReadFile(MediaPath("h265_642x362.265")), kCodec)) {
        buffers.push_back(unit);
    }
    Decoder decoder;
    EXPECT_EQ(Withheld(decoder.FeedAll(buffers), ReferenceMd5s(Joined(buffers), kCodec)), 0);
    EXPECT_EQ(decoder.out.uiDecWidth, 642U);
}

TEST(H265Library, TheSizeAsShownIsHeldAgainstTheMaximum) {
    std::vector<Bytes> buffers = UnitBuffers(ReadFile(MediaPath("h265_642x362.265")), kCodec);
    g_lines = 0;
    EXPECT_EQ(Decoder(640, 362).Feed(buffers[0]), IHW265D_INVALID_MAX_WIDTH);
    EXPECT_EQ(Decoder(642, 360).Feed(buffers[0]), IHW265D_INVALID_MAX_HEIGHT);
    EXPECT_EQ(g_lines, 2);
    Decoder exact(642, 362);
    exact.FeedAll(buffers);
    EXPECT_EQ(exact.md5s.size(), 75U);
    EXPECT_EQ(exact.out.uiDecWidth, 642U);
    EXPECT_EQ(exact.out.uiDecHeight, 362U);
}

TEST(H265Library, GarbageFailsAndLeavesTheDecoderUsable) {
    const Bytes stream = ReadFile(MediaPath("h265_slices_640x360.265"));
    const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
    std::vector<Bytes> buffers = UnitBuffers(stream, kCodec);
    Decoder decoder;
    EXPECT_EQ(decoder.Feed(Bytes(3000, 0x55)), IHW265D_STREAM_ERR);
    EXPECT_EQ(decoder.Feed(buffers[3]), IHW265D_STREAM_ERR);                       // no parameter sets yet
    EXPECT_EQ(decoder.Feed({0, 0, 1, 48 << 1, 1, 0xFF}), IHW265D_NEED_MORE_BITS);  // aggregation cut short
    EXPECT_EQ(Withheld(decoder.FeedAll(buffers), reference), 0);
}

TEST(H265Library, HandlesLiveInTheCallersMemory) {
    IHW265D_INIT_PARAM param = Param(640, 360, IH265D_SINGLE_THREAD);
    void *handle = nullptr;
    g_blocks = 0;
    EXPECT_EQ(IHW265D_Create(&handle, &param), IHW265D_OK);
    EXPECT_EQ(g_blocks, 1);
    EXPECT_EQ(IHW265D_Delete(handle), IHW265D_OK);
    EXPECT_EQ(g_blocks, 0);
    param.pfnFree = nullptr;
    EXPECT_EQ(IHW265D_Create(&handle, &param), IHW265D_INVALID_PARAM);
    EXPECT_EQ(handle, nullptr);
}

}  // namespace
