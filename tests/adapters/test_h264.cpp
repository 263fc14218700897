// The H.264 library against libavcodec on the same streams, fed in every shape that depacketisers give.
#include <gtest/gtest.h>

#include "adapters/video_feed.h"
#include "codec/zvcodec.h"
#include "support/made_bytes.h"

namespace {

constexpr AVCodecID kCodec = AV_CODEC_ID_H264;

class Decoder {
 public:
    explicit Decoder(unsigned threads = 1) : handle_(dec_h264_init(threads)) { h264_global_init(); }
    ~Decoder() { dec_h264_destroy(handle_); }

    /** Feeds a copy without padding, so that a sanitizer sees every read outside it. */
    int Feed(const Bytes &buffer) {
        Bytes copy(buffer);
        copy.shrink_to_fit();
        info.pstream_buf = copy.data();
        info.buf_size = static_cast<int>(copy.size());
        info.point_to_picture = 77;
        const int result = dec_h264_main(handle_, &info, nullptr);
        failures += result < 0 ? 1 : 0;
        if (result == 0 && info.point_to_picture == H264_PICTURE_IN_INFO) {
            md5s.push_back(PictureMd5(info.yuv_picture.data, info.yuv_picture.linesize, info.width, info.height));
        } else {
            EXPECT_EQ(info.point_to_picture, H264_PICTURE_NONE);
        }
        return result;
    }

    const std::vector<std::string> &FeedAll(const std::vector<Bytes> &buffers) {
        for (const Bytes &buffer : buffers) {
            Feed(buffer);
        }
        return md5s;
    }

    /** Ends the stream: what is held back comes out, a picture a call. */
    void Drain() {
        for (size_t before = md5s.size() - 1; before != md5s.size();) {
            before = md5s.size();
            Feed({});
        }
    }

    H264Dec_Info info{};
    std::vector<std::string> md5s;
    int failures = 0;

 private:
    void *handle_;
};

class H264Streams : public VideoStreams {};

TEST_P(H264Streams, AccessUnitsAreBitExactWithoutAddedDelay) {
    for (const unsigned threads : {1U, 2U}) {
        Decoder decoder(threads);
        EXPECT_EQ(Withheld(decoder.FeedAll(UnitBuffers(stream_, kCodec)), reference_), GetParam().withheld);
    }
}

TEST_P(H264Streams, SlicesFedSinglyGiveTheSamePictures) {
    for (const unsigned threads : {1U, 2U}) {
        Decoder decoder(threads);
        EXPECT_EQ(Withheld(decoder.FeedAll(SliceBuffers(stream_, kCodec)), reference_), GetParam().withheld);
    }
}

TEST_P(H264Streams, TwoUnitsInABufferComeOutOverThatCallAndTheNext) {
    std::vector<Bytes> buffers = UnitBuffers(stream_, kCodec);
    buffers[0].insert(buffers[0].end(), buffers[1].begin(), buffers[1].end());
    buffers.erase(buffers.begin() + 1);
    Decoder decoder;
    const int withheld = Withheld(decoder.FeedAll(buffers), reference_);
    EXPECT_EQ(withheld, GetParam().withheld == 0 ? 1 : GetParam().withheld);
}

INSTANTIATE_TEST_SUITE_P(Encoded, H264Streams,
                         testing::Values(StreamCase{"h264_640x360_bf0.264", 0}, StreamCase{"h264_640x360_bf2.264", 2},
                                         StreamCase{"h264_640x360_slices4.264", 0},
                                         StreamCase{"h264_576i_mbaff.264", 0}));

TEST(H264Library, ALostSliceCostsItsPictureAndWhatRefersToItAndNoMore) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_slices4.264"));
    const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
    for (size_t slice = 0; slice < 4; ++slice) {
        std::vector<Bytes> buffers = SliceBuffers(stream, kCodec);
        buffers.erase(buffers.begin() + static_cast<ptrdiff_t>(4 * 32 + slice));
        std::vector<std::string> expected = reference;
        expected.erase(expected.begin() + 32, expected.begin() + 50);
        Decoder decoder;
        EXPECT_EQ(decoder.FeedAll(buffers), expected) << slice;
        EXPECT_LE(1, decoder.failures);
    }
}

/* ---- fields, which no encoder at hand makes ---- */

struct FieldPart {
    uint32_t frame, order; /**< frame_num, pic_order_cnt_lsb */
    int parity;            /**< 0 top, 1 bottom, -1 a whole frame */
    bool skipped;          /**< all of it as in the picture before, else samples without compression */
    uint32_t slices;
};

void AddUnit(Bytes *stream, uint8_t head, BitWriter *fields) {
    fields->Bits(1, 1);
    stream->insert(stream->end(), {0, 0, 0, 1, head});
    stream->insert(stream->end(), fields->oBytes.begin(), fields->oBytes.end());
}

void AddSlice(Bytes *stream, const FieldPart &part, uint32_t from, uint32_t to, bool deblock) {
    const bool idr = part.frame == 0 && part.parity == 0;
    BitWriter slice;
    slice.Ue(from).Ue(part.skipped ? 5 : 7).Ue(0).Bits(part.frame, 4).Bits(part.parity >= 0, 1);
    slice.Bits(part.parity == 1, part.parity >= 0 ? 1 : 0);
    if (idr) {
        slice.Ue(0);
    }
    slice.Bits(part.order, 8).Bits(0, (idr ? 2 : 1) + (part.skipped ? 2 : 0)).Ue(0).Ue(deblock ? 0 : 1);
    if (deblock) {
        slice.Ue(0).Ue(0);
    }
    if (part.skipped) {
        slice.Ue(to - from);
    }
    for (; !part.skipped && from < to; ++from) {
        slice.Ue(25);
        slice.Bits(0, static_cast<int>((8 - slice.Count() % 8) % 8));
        for (uint32_t i = 0; i < 384; ++i) {
            slice.Bits(40 + (from * 37 + part.order * 11 + i * i / 7) % 180, 8);
        }
    }
    AddUnit(stream, idr ? 0x65 : 0x61, &slice);
}

/** Pictures of 64 x 96 pixels: pairs of fields with either one first, and frames. */
Bytes FieldStream(bool deblock) {
    constexpr FieldPart kParts[] = {{0, 0, 0, false, 2}, {0, 1, 1, true, 3},   {1, 2, 0, false, 1},
                                    {1, 3, 1, false, 2}, {2, 4, -1, false, 3}, {3, 6, 1, false, 3},
                                    {3, 7, 0, false, 1}, {4, 8, -1, true, 2}};
    Bytes stream;
    BitWriter sps, pps;
    sps.Bits(77, 8).Bits(0, 8).Bits(30, 8).Ue(0).Ue(0).Ue(0).Ue(4).Ue(2).Bits(0, 1).Ue(3).Ue(2).Bits(0b00100, 5);
    AddUnit(&stream, 0x67, &sps);
    pps.Ue(0).Ue(0).Bits(0, 2).Ue(0).Ue(0).Ue(0).Bits(0, 3).Ue(0).Ue(0).Ue(0).Bits(0b100, 3);
    AddUnit(&stream, 0x68, &pps);
    for (const FieldPart &part : kParts) {
        const uint32_t blocks = part.parity >= 0 ? 12 : 24;
        for (uint32_t i = 0; i < part.slices; ++i) {
            AddSlice(&stream, part, blocks * i / part.slices, blocks * (i + 1) / part.slices, deblock);
        }
    }
    return stream;
}

TEST(H264Library, FieldsComeAsFrames) {
    for (const bool deblock : {false, true}) {
        const Bytes stream = FieldStream(deblock);
        const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
        ASSERT_EQ(reference.size(), 5U);
        for (const unsigned threads : {1U, 2U}) {
            for (const std::vector<Bytes> &buffers : {UnitBuffers(stream, kCodec), SliceBuffers(stream, kCodec)}) {
                Decoder decoder(threads);
                EXPECT_EQ(decoder.FeedAll(buffers), reference);
            }
        }
    }
}

TEST(H264Library, CutPicturesAreNotGivenOut) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_slices4.264"));
    std::vector<Bytes> buffers = UnitBuffers(stream, kCodec);
    for (size_t i = 27; i < 36; ++i) {
        buffers[i].resize(buffers[i].size() / 2);
    }
    Decoder decoder;
    decoder.FeedAll(buffers);
    std::vector<std::string> expected = ReferenceMd5s(stream, kCodec);
    expected.erase(expected.begin() + 27, expected.begin() + 50);
    EXPECT_EQ(decoder.md5s, expected);
    EXPECT_LE(1, decoder.failures);
}

TEST(H264Library, GarbageFailsAndLeavesTheDecoderUsable) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
    std::vector<Bytes> buffers = UnitBuffers(stream, kCodec);
    Decoder decoder;
    EXPECT_EQ(decoder.Feed(Bytes(3000, 0x55)), -1);
    EXPECT_EQ(decoder.Feed({0}), -1);
    EXPECT_EQ(decoder.Feed(buffers[3]), -1);  // no parameter sets yet
    EXPECT_EQ(Withheld(decoder.FeedAll(buffers), reference), 0);
}

TEST(H264Library, ABufferOfManyPicturesGivesThemAllOverTheNextCalls) {
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    const std::vector<std::string> reference = ReferenceMd5s(stream, kCodec);
    Decoder decoder;
    decoder.Feed(stream);
    for (int i = 1; i < 80; ++i) {
        EXPECT_EQ(decoder.Feed({0, 0, 1, 9, 0xF0}), 0);
    }
    EXPECT_EQ(decoder.md5s, reference);
    // A caller that feeds more than it takes loses the oldest, and only then.
    Decoder hurried;
    for (int i = 0; i < 40; ++i) {
        hurried.Feed(stream);
    }
    EXPECT_EQ(40U, hurried.md5s.size());
}

TEST(H264Library, ANewSizeInTheStreamIsFollowed) {
    std::vector<Bytes> buffers = UnitBuffers(ReadFile(MediaPath("h264_640x360_bf0.264")), kCodec);
    buffers.resize(10);
    for (const Bytes &unit : UnitBuffers(ReadFile(MediaPath("h264_1080p_bf0.264")), kCodec)) {
        if (buffers.size() < 25) {
            buffers.push_back(unit);
        }
    }
    Decoder decoder(2);
    EXPECT_EQ(Withheld(decoder.FeedAll(buffers), ReferenceMd5s(Joined(buffers), kCodec)), 0);
    EXPECT_EQ(decoder.info.width, 1920);
    EXPECT_EQ(decoder.info.height, 1080);
}

}  // namespace
