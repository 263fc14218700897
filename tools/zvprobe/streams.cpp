#include "streams.h"

#include <algorithm>
#include <iterator>

#include "foundations/bytes.h"
#include "foundations/player_types.h"

namespace zvprobe {
namespace {

const char *CodingName(VideoCoding coding) {
    static const char *const kNames[] = {"", "H.264", "H.265", "JPEG"};
    return kNames[static_cast<int>(coding)];
}

Kind KindOf(const Picture &picture, bool key) {
    if (key) return kKey;
    if (picture.slices == 0 || !picture.readable) return kUnknown;
    if (picture.has_b) return kBidirectional;
    if (picture.only_intra) return kIntra;
    return picture.sp ? kSp : kPredicted;
}

/** One frame of MPEG audio, layers I to III, by its head. @return its bytes, or 0 if there is none */
size_t ReadMpegHead(uint32_t head, SoundFormat *format) {
    static const uint16_t kRates[2][3][15] = {{{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
                                               {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
                                               {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
                                              {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
                                               {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
                                               {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}}};
    static const uint32_t kSampleRates[] = {44100, 48000, 32000};
    const unsigned version = head >> 19 & 3, layer = 4 - (head >> 17 & 3), rate = head >> 12 & 15,
                   pitch = head >> 10 & 3;
    if (head >> 21 != 0x7FF || version == 1 || layer == 4 || rate == 0 || rate == 15 || pitch == 3) return 0;
    const bool low = version != 3;
    const uint32_t bits = kRates[low][layer - 1][rate] * 1000u;
    const uint32_t samples = layer == 1 ? 384 : layer == 3 && low ? 576 : 1152;
    format->sample_rate = kSampleRates[pitch] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    format->channels = (head >> 6 & 3) == 3 ? 1 : 2;
    format->samples += samples;
    const uint32_t padding = head >> 9 & 1;
    return layer == 1 ? (12 * bits / format->sample_rate + padding) * 4
                      : samples / 8 * bits / format->sample_rate + padding;
}

}  // namespace

VideoCoding CodingOf(uint32_t payload) {
    switch (payload) {
        case PLAYER_PAYLOAD_H264:
            return VideoCoding::kH264;
        case PLAYER_PAYLOAD_H265:
            return VideoCoding::kH265;
        case PLAYER_PAYLOAD_JPEG:
            return VideoCoding::kJpeg;
        default:
            return VideoCoding::kNone;
    }
}

VideoCheck::VideoCheck(VideoCoding coding, Report *report)
    : coding_(coding), report_(*report), reader_(coding == VideoCoding::kH265) {
    if (report_.video.codec.empty()) report_.video.codec = CodingName(coding);
}

void VideoCheck::Prepare(Bytes unit) {
    Picture none;
    reader_.Read(unit, &none);
    if (!none.damage.empty()) report_.problems.Add("bad_units", none.damage + " in the decoder configuration");
}

void VideoCheck::Take(const VideoFrame &frame) {
    VideoReport &video = report_.video;
    Picture picture;
    if (coding_ != VideoCoding::kJpeg) {
        for (const Bytes unit : frame.units) reader_.Read(unit, &picture);
        Judge(picture, frame);
        video.width = reader_.Width() > 0 ? reader_.Width() : video.width;
        video.height = reader_.Height() > 0 ? reader_.Height() : video.height;
    } else if (frame.units.empty() || !ReadJpegSize(frame.units[0], &video.width, &video.height)) {
        report_.problems.Add("bad_units", "no JPEG picture where one should be", frame.place);
    }
    Count(frame.bytes, KindOf(picture, frame.key));
}

void VideoCheck::Judge(const Picture &picture, const VideoFrame &frame) {
    Problems &problems = report_.problems;
    if (!picture.damage.empty()) problems.Add("bad_units", picture.damage, frame.place);
    if (!picture.missing.empty()) {
        problems.Add("no_parameter_sets", "a picture needs " + picture.missing + ", which has not come", frame.place);
    }
    if (picture.slices == 0) problems.Add("no_picture", "a video frame without a slice", frame.place);
    if (report_.video.frames == 0 && !frame.key) {
        problems.Add("no_key_start", "the first video frame is no key frame: nothing is shown until one comes",
                     frame.place);
    }
    if (frame.key && picture.slices > 0 && !picture.only_intra) {
        problems.Add("false_key", "a frame is marked as a key frame and leans on others", frame.place);
    }
    if (!frame.key && picture.random_access && coding_ == VideoCoding::kH264) {
        problems.Add("unmarked_key", "a key frame is not marked as one", frame.place);
    }
}

void VideoCheck::Count(uint64_t bytes, Kind kind) {
    VideoReport &video = report_.video;
    if (kind == kKey && seen_key_) {
        const uint64_t distance = video.frames - last_key_;
        video.key_least = video.key_most == 0 ? distance : std::min(video.key_least, distance);
        video.key_most = std::max(video.key_most, distance);
    }
    if (kind == kKey) {
        seen_key_ = true;
        last_key_ = video.frames;
    }
    ++video.frames;
    ++video.kinds[kind];
    video.bytes += bytes;
}

uint32_t AacRate(unsigned index) {
    static const uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                      22050, 16000, 12000, 11025, 8000,  7350};
    return index < std::size(kRates) ? kRates[index] : 0;
}

SoundFormat ReadAdts(Bytes data) {
    SoundFormat format;
    bytes::Reader reader(data.data(), data.size());
    while (reader.Left() > 0) {
        bytes::Reader head = reader;
        const uint32_t first = head.U32Be();
        const uint32_t length = (first & 3) << 11 | head.U16Be() >> 5;
        if ((first >> 20) != 0xFFF || length < 7 || !head.Ok() || !reader.Skip(length)) {
            format.whole = false;
            break;
        }
        format.sample_rate = AacRate(first >> 10 & 15);
        format.channels = first >> 6 & 7;
        format.samples += 1024;
    }
    return format;
}

SoundFormat ReadMpegAudio(Bytes data) {
    SoundFormat format;
    bytes::Reader reader(data.data(), data.size());
    while (reader.Left() > 0) {
        bytes::Reader head = reader;
        const size_t length = ReadMpegHead(head.U32Be(), &format);
        if (length == 0 || !reader.Skip(length)) {
            format.whole = false;
            break;
        }
    }
    return format;
}

double Clock33::Advance(uint64_t ticks) {
    if (!started_) last_ = ticks;
    started_ = true;
    const int64_t step = static_cast<int64_t>((ticks - last_) << 31) >> 31;  // the difference of 33 bits, with its sign
    last_ = ticks;
    now_ += step;
    return static_cast<double>(step) / 90000;
}

}  // namespace zvprobe
