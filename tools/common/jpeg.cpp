#include "common/jpeg.h"

#include <cstring>

namespace tools {
namespace {

constexpr uint8_t kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA;

/** Markers that no length follows: TEM and RST0 to RST7 (T.81, B.1.1.3). */
bool IsAlone(uint8_t marker) { return marker == 1 || (marker >= 0xD0 && marker <= 0xD7); }

/** Offset of the next marker's FF behind coded data, or the size: stuffed zeros and restarts are part of the data. */
size_t SkipCodedData(Bytes data, size_t at) {
    while (at + 1 < data.size()) {
        const void *found = std::memchr(data.data() + at, 0xFF, data.size() - at - 1);
        if (found == nullptr) break;
        at = static_cast<size_t>(static_cast<const uint8_t *>(found) - data.data());
        const uint8_t marker = data[at + 1];
        if (marker != 0 && marker != 0xFF && !IsAlone(marker)) return at;
        at += marker == 0xFF ? 1 : 2;
    }
    return data.size();
}

}  // namespace

size_t JpegLength(Bytes data) {
    if (data.size() < 4 || data[0] != 0xFF || data[1] != kSoi || data[2] != 0xFF) return 0;
    size_t at = 2;
    while (at + 4 <= data.size() && data[at] == 0xFF) {
        const uint8_t marker = data[at + 1];
        if (marker == kEoi) return at + 2;
        if (marker == kSoi) return at;  // the next picture: this one has no end marker
        if (marker == 0xFF || IsAlone(marker)) {
            at += marker == 0xFF ? 1 : 2;
            continue;
        }
        at += 2 + (size_t(data[at + 2]) << 8 | data[at + 3]);
        if (marker == kSos && at < data.size()) at = SkipCodedData(data, at);
    }
    if (at + 2 <= data.size() && data[at] == 0xFF && data[at + 1] == kEoi) return at + 2;
    return data.size();
}

}  // namespace tools
