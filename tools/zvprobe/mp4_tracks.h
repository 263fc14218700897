/** Where the samples of an MP4 track lie and when they are due, by all of its tables. */
#ifndef ZVPROBE_MP4_TRACKS_H
#define ZVPROBE_MP4_TRACKS_H

#include <cstdint>

#include "file/mp4_boxes.h"

namespace zvprobe {

/** One sample. */
struct Sample {
    uint64_t at = 0;      ///< offset in the file
    uint32_t size = 0;    ///< bytes
    uint64_t time = 0;    ///< ticks of the track from the start
    uint32_t length = 0;  ///< ticks to the next one
    bool key = false;
};

/** Walks the samples of a track in decoding order, by "stsc", "stco", "stsz", "stts" and "stss", then its fragments. */
class SampleWalk {
 public:
    explicit SampleWalk(const mp4_trak_box &track);

    /** @return false behind the last one, and when no chunk is left for it */
    bool Next(Sample *sample);

    /** Samples of the size table and of fragments. */
    uint64_t Total() const { return total_ + track_.fragments.size(); }
    /** Samples given so far. */
    uint64_t Taken() const { return sample_; }

 private:
    bool EnterChunk();
    bool NextOfFragment(Sample *sample);
    uint32_t TakeTime();
    bool TakeKey();

    const mp4_stbl_box &tables_;
    const mp4_trak_box &track_;
    uint64_t total_ = 0;
    uint64_t sample_ = 0;
    uint64_t chunk_ = 0;  ///< next chunk to enter, from 0
    uint64_t chunks_ = 0;
    uint32_t map_ = 0;  ///< row of "stsc"
    uint32_t left_in_chunk_ = 0;
    uint64_t at_ = 0;
    uint32_t time_row_ = 0;
    uint32_t time_used_ = 0;  ///< samples of the row taken
    uint64_t time_ = 0;
    uint32_t sync_ = 0;
};

}  // namespace zvprobe

#endif
