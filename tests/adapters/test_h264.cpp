// The H.264 library against libavcodec on the same streams, fed in every shape that depacketisers give.
#include <gtest/gtest.h>

#include "adapters/video_feed.h"
#include "codec/zvcodec.h"

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
