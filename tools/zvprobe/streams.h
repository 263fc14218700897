/** Checks the frames of a file's streams, whatever container they come from, and sums them up. */
#ifndef ZVPROBE_STREAMS_H
#define ZVPROBE_STREAMS_H

#include <memory>
#include <span>

#include "report.h"
#include "units.h"

namespace zvprobe {

/** How video is coded. */
enum class VideoCoding { kNone, kH264, kH265, kJpeg };

/** By PLAYER_PAYLOAD_E. */
VideoCoding CodingOf(uint32_t payload);

/** One frame of video. */
struct VideoFrame {
    std::span<const Bytes> units;  ///< without start codes; of JPEG the picture
    uint64_t bytes = 0;            ///< what it takes in the file
    bool key = false;              ///< whether the container marks it as one to begin with
    Place place;
};

/** Takes the frames of one video stream in file order. */
class VideoCheck {
 public:
    VideoCheck(VideoCoding coding, Report *report);

    /** Parameter sets from outside the frames, without start code. */
    void Prepare(Bytes unit);

    /** Takes a frame. */
    void Take(const VideoFrame &frame);

    /** Takes one of which no more than this is known. */
    void Count(uint64_t bytes, Kind kind);

 private:
    void Judge(const Picture &picture, const VideoFrame &frame);

    const VideoCoding coding_;
    Report &report_;
    UnitReader reader_;
    uint64_t last_key_ = 0;
    bool seen_key_ = false;
};

/** Samples and format in the heads of sound frames. */
struct SoundFormat {
    uint32_t sample_rate = 0;
    uint32_t channels = 0;
    uint32_t samples = 0;  ///< for each channel, in all the frames of the data
    bool whole = true;     ///< the data end where a frame ends
};

/** Reads the frames of an AAC stream with ADTS heads (ISO/IEC 14496-3, 1.A.2). */
SoundFormat ReadAdts(Bytes data);

/** Reads frames of MPEG audio (ISO/IEC 11172-3, 2.4.1.3). */
SoundFormat ReadMpegAudio(Bytes data);

/** Sampling rate by its index in AAC heads; 0 for none. */
uint32_t AacRate(unsigned index);

/** Ticks of a clock of 33 bits as seconds from the first, across its wrap. */
class Clock33 {
 public:
    /** @return the step from the tick before, seconds; 0 for the first */
    double Advance(uint64_t ticks);
    double Now() const { return static_cast<double>(now_) / 90000; }
    bool IsStarted() const { return started_; }

 private:
    bool started_ = false;
    uint64_t last_ = 0;
    int64_t now_ = 0;
};

}  // namespace zvprobe

#endif
