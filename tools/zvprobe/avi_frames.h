/** Video frames of an AVI file, cut into units. */
#ifndef ZVPROBE_AVI_FRAMES_H
#define ZVPROBE_AVI_FRAMES_H

#include <memory>
#include <vector>

#include "file/avi/avifmt.h"
#include "streams.h"

namespace zvprobe {

/** Closes a reading handle. */
struct CloseAvi {
    void operator()(avi_t *avi) const { AVI_close(avi); }
};
using AviPtr = std::unique_ptr<avi_t, CloseAvi>;

/** How the video of a file is coded, as far as the library plays it. */
VideoCoding CodingOf(avi_t *avi);

/** The data of a chunk, as many as the file has. */
inline Bytes ChunkData(Bytes file, int64_t at, int64_t size) {
    const uint64_t from = static_cast<uint64_t>(at), count = static_cast<uint64_t>(size);
    if (from >= file.size()) return {};
    return file.subspan(from, count < file.size() - from ? count : file.size() - from);
}

/** Cuts a frame into units; of JPEG the picture is the one. */
void SplitFrame(VideoCoding coding, Bytes frame, std::vector<Bytes> *units);

}  // namespace zvprobe

#endif
