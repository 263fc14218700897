#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "file/mp4_boxes.h"
#include "foundations/bytes.h"
#include "mp4_tracks.h"
#include "probe.h"
#include "repair.h"

namespace zvprobe {
namespace {

using tools::Bytes;
using tools::Failure;

constexpr uint64_t kHead = 8;
constexpr size_t kBlock = 4096;
constexpr uint64_t kMostBoxes = 1 << 16;

/** What the boxes of a file say. */
struct Layout {
    mp4_moov_box movie;
    bool has_index = false;
    uint64_t index_end = 0;
    uint64_t open_data = 0;  ///< place of media data whose size is "up to the end of the file"; 0 for none
};

/** Walks the boxes as readers do. */
void ReadLayout(Bytes data, std::FILE *file, Layout *layout) {
    uint64_t at = 0;
    for (uint64_t count = 0; count < kMostBoxes && data.size() - at >= kHead; ++count) {
        bytes::Reader reader(data.data() + at, data.size() - at);
        uint64_t size = reader.U32Be();
        const bool index = reader.Match("moov", 4), media = reader.Match("mdat", 4);
        reader.Skip(4);
        const bool open = size == 0;
        if (size == 1) size = reader.U64Be();
        if (open) size = data.size() - at;
        if (size < kHead) return;
        if (index && size <= data.size() - at) {
            DLONG read = 0;
            layout->has_index = std::fseek(file, static_cast<long>(at), SEEK_SET) == 0 &&
                                mp4_read_root_box(file, &layout->movie, &read) == 0;
            layout->index_end = at + size;
        }
        if (media && open) layout->open_data = at;
        if (size >= data.size() - at) return;
        at += size;
    }
}

/** Where the last sample ends that the index tells of and the file has. */
uint64_t EndOfSamples(const mp4_moov_box &movie, uint64_t length, uint64_t *samples) {
    uint64_t end = 0;
    for (const mp4_trak_box &track : movie.trak) {
        SampleWalk walk(track);
        Sample sample;
        while (walk.Taken() < MP4_SAMPLES_MAX && walk.Next(&sample)) {
            if (sample.at > length || sample.size > length - sample.at) continue;
            end = std::max(end, sample.at + sample.size);
            ++*samples;
        }
    }
    return end;
}

/** Copies the beginning of a file; blocks of zeros become holes. */
bool CopyTo(int file, Bytes data) {
    for (size_t at = 0; at < data.size(); at += kBlock) {
        const Bytes block = data.subspan(at, std::min(kBlock, data.size() - at));
        const bool hole = std::all_of(block.begin(), block.end(), [](uint8_t byte) { return byte == 0; });
        if (!hole &&
            pwrite(file, block.data(), block.size(), static_cast<off_t>(at)) != static_cast<ssize_t>(block.size())) {
            return false;
        }
    }
    return ftruncate(file, static_cast<off_t>(data.size())) == 0;
}

/** Gives the media data the size that they have. */
bool CloseData(int file, uint64_t at, uint64_t end) {
    const uint64_t size = end - at;
    if (at == 0 || size > UINT32_MAX) return at == 0;
    const uint8_t bytes[] = {static_cast<uint8_t>(size >> 24), static_cast<uint8_t>(size >> 16),
                             static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)};
    return pwrite(file, bytes, sizeof bytes, static_cast<off_t>(at)) == sizeof bytes;
}

}  // namespace

bool RepairMp4(Repair *repair, Failure *failure) {
    const FilePtr stream(std::fopen(repair->from.c_str(), "rbe"));
    Layout layout;
    if (stream != nullptr) ReadLayout(repair->data, stream.get(), &layout);
    if (!layout.has_index) {
        *failure = {tools::kExitSource, repair->from + ": no index in it, not even an old one",
                    "without one nothing tells where the frames lie"};
        return false;
    }
    uint64_t samples = 0;
    const uint64_t length = repair->data.size();
    const uint64_t data_end = std::max(EndOfSamples(layout.movie, length, &samples), layout.open_data + kHead);
    const uint64_t end = std::min(std::max(data_end, layout.index_end), length);
    const int file = open(repair->to.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    bool good = file >= 0 && CopyTo(file, repair->data.first(end)) && CloseData(file, layout.open_data, end);
    good = (file < 0 || close(file) == 0) && good;
    if (!good) {
        *failure = {tools::kExitOutput, repair->to + ": " + std::strerror(errno), "is there room on the disk?"};
        return false;
    }
    repair->summary = std::to_string(samples) + " samples, all that the last index tells of";
    return true;
}

}  // namespace zvprobe
