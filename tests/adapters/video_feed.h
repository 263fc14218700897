/**
 * @file video_feed.h
 * @brief Ways in which a stream reaches a video decoder, the same for both codecs.
 */
#ifndef ZELVANE_TESTS_ADAPTERS_VIDEO_FEED_H
#define ZELVANE_TESTS_ADAPTERS_VIDEO_FEED_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "support/media.h"

/** True of units with picture data. */
inline bool IsSliceUnit(Span unit, AVCodecID codec) {
    const size_t header = unit[2] == 1 ? 3 : 4;
    const int type = codec == AV_CODEC_ID_H264 ? unit[header] & 0x1F : unit[header] >> 1 & 0x3F;
    return codec == AV_CODEC_ID_H264 ? type == 1 || type == 5 : type <= 31;
}

/** Each slice in a buffer of its own, with what stands before it, as depacketisers give them. */
inline std::vector<Bytes> SliceBuffers(Span stream, AVCodecID codec) {
    std::vector<Bytes> buffers(1);
    for (const Span unit : SplitUnits(stream)) {
        buffers.back().insert(buffers.back().end(), unit.begin(), unit.end());
        if (IsSliceUnit(unit, codec)) {
            buffers.emplace_back();
        }
    }
    buffers.pop_back();
    return buffers;
}

/** `count` access units in each buffer. */
inline std::vector<Bytes> UnitBuffers(Span stream, AVCodecID codec, size_t count = 1) {
    std::vector<Bytes> buffers;
    size_t index = 0;
    for (const Span unit : SplitAccessUnits(stream, codec)) {
        if (index++ % count == 0) {
            buffers.emplace_back();
        }
        buffers.back().insert(buffers.back().end(), unit.begin(), unit.end());
    }
    return buffers;
}

/** Buffers as one stream again. */
inline Bytes Joined(const std::vector<Bytes> &buffers) {
    Bytes stream;
    for (const Bytes &buffer : buffers) {
        stream.insert(stream.end(), buffer.begin(), buffer.end());
    }
    return stream;
}

/** Number of pictures at the end of `all` that a decoder without a drain leaves inside, if `got` starts `all`; else -1.
 */
inline int Withheld(const std::vector<std::string> &got, const std::vector<std::string> &all) {
    if (got.size() > all.size() || !std::equal(got.begin(), got.end(), all.begin())) {
        return -1;
    }
    return static_cast<int>(all.size() - got.size());
}

struct StreamCase {
    const char *name;
    int withheld; /**< the stream's reorder depth */
    friend void PrintTo(const StreamCase &one, std::ostream *out) { *out << one.name; }
};

/** A stream of the shared media, and its pictures by one independent decode, however many tests compare with it. */
class VideoStreams : public testing::TestWithParam<StreamCase> {
 protected:
    void SetUp() override {
        static std::map<std::string, std::vector<std::string>> references;
        stream_ = ReadFile(MediaPath(GetParam().name));
        std::vector<std::string> &reference = references[GetParam().name];
        if (reference.empty()) {
            reference = ReferenceMd5s(stream_, Codec());
        }
        ASSERT_EQ(reference.size(), 75U);
        reference_ = reference;
    }
    static AVCodecID Codec() {
        return std::string(GetParam().name).ends_with("264") ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC;
    }
    Bytes stream_;
    std::vector<std::string> reference_;
};

#endif
