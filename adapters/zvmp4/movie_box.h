/**
 * @file movie_box.h
 * @brief Writes the index of a file, the "moov" box (ISO/IEC 14496-12, -14, -15), from its tables.
 *
 * All boxes are version 0. The video track stands first and is left out when it has no samples, and so is the audio
 * track: an empty track makes readers refuse the file. "stss" is always there.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_MOVIE_BOX_H
#define ZELVANE_ADAPTERS_ZVMP4_MOVIE_BOX_H

#include <cstdint>
#include <vector>

#include "zvmp4/sample_bytes.h"
#include "zvmp4/sample_tables.h"

namespace zv {

/** Ticks a second of the movie and of the video track. */
constexpr uint32_t kMovieTimescale = 1000;

/** Samples of one AAC frame: what each audio sample lasts. */
constexpr uint32_t kAacFrame = 1024;

/** Bytes that one more sample adds to the index at the most. */
constexpr uint64_t kIndexPerSample = 20;

/** Bytes of an index without its tables at the most. */
constexpr uint64_t kIndexFixed = 4096;

/** The video of a file. */
struct VideoFormat {
    bool h265 = false;
    uint32_t width = 0;
    uint32_t height = 0;
    ParameterSets sets; /**< H.264 */
};

/** The audio of a file: AAC as ISO/IEC 14496-3 numbers it. */
struct AudioFormat {
    uint32_t type = 0;           /**< object type */
    uint32_t rate_index = 0;     /**< index of the sampling rate */
    uint32_t channels = 0;       /**< channel configuration */
    uint32_t sample_rate = 8000; /**< Hz, not 0 */
    int64_t start = 0;           /**< ms from the start of the video to that of the audio; may be below 0 */
};

/** What a file's index says beside its tables. */
struct Movie {
    VideoFormat video;
    AudioFormat audio;
    uint32_t created = 0; /**< UTC seconds since 1970 */
};

/** Puts the box into `out`, over what stands there. Throws bad_alloc. */
void WriteMovieBox(const Movie &movie, const SampleTable &video, const SampleTable &audio, std::vector<uint8_t> *out);

}  // namespace zv

#endif
