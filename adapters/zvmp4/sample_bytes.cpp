#include "zvmp4/sample_bytes.h"

#include "foundations/bytes.h"
#include "zvmp4/box_writer.h"

namespace zv {

namespace {

constexpr size_t kPrefix = 4;
constexpr uint32_t kStartCode = 1;

/** A longer set stays in its sample only, where decoders find it too. */
constexpr size_t kSetMax = 512;

enum H264Type : uint8_t {
    kSlice = 1,
    kPartitionA = 2,
    kPartitionC = 4,
    kIdrSlice = 5,
    kSps = 7,
    kPps = 8,
    kDelimiter = 9,
};
constexpr uint8_t kH265LastSlice = 31;

uint8_t H264TypeOf(uint8_t head) { return head & 31; }

/** The first bit behind the unit's head: first_mb_in_slice is 0 when its code is the single bit 1, and H.265 has a flag
 *  there. */
bool BitBehind(const uint8_t *unit, size_t size, size_t head) { return size > head && (unit[head] & 0x80) != 0; }

void LookH264(const uint8_t *unit, size_t size, FrameKind *kind) {
    const uint8_t type = H264TypeOf(unit[0]);
    kind->picture |= type >= kSlice && type <= kIdrSlice;
    kind->begins |= (type == kSlice || type == kPartitionA || type == kIdrSlice) && BitBehind(unit, size, 1);
}

void LookH265(const uint8_t *unit, size_t size, FrameKind *kind) {
    const bool slice = (unit[0] >> 1 & 63) <= kH265LastSlice;
    kind->picture |= slice;
    kind->begins |= slice && BitBehind(unit, size, 2);
}

}  // namespace

FrameKind SampleBytes::Append(const uint8_t *data, size_t size) {
    FrameKind kind;
    UnitReader reader(data, size);
    for (Unit unit; reader.Next(&unit);) {
        while (unit.end > unit.data && unit.end[-1] == 0) {
            --unit.end;
        }
        if (unit.Size() == 0 || (!h265_ && H264TypeOf(unit.data[0]) == kDelimiter)) {
            continue;
        }
        (h265_ ? LookH265 : LookH264)(unit.data, unit.Size(), &kind);
        AppendUnit(unit.data, unit.Size());
        kind.units = true;
    }
    return kind;
}

void SampleBytes::AppendUnit(const uint8_t *data, size_t size) {
    uint8_t prefix[kPrefix];
    PutU32(prefix, h265_ ? kStartCode : static_cast<uint32_t>(size));
    bytes_.insert(bytes_.end(), prefix, prefix + kPrefix);
    bytes_.insert(bytes_.end(), data, data + size);
}

void SampleBytes::FindSets(ParameterSets *sets) const {
    for (size_t pos = 0; pos < bytes_.size();) {
        const uint8_t *unit = bytes_.data() + pos;
        const size_t size = bytes::Be32(unit);
        unit += kPrefix;
        const uint8_t type = H264TypeOf(unit[0]);
        std::vector<uint8_t> *set = type == kSps ? &sets->sps : type == kPps ? &sets->pps : nullptr;
        const size_t least = type == kSps ? 4 : 2;
        if (set != nullptr && set->empty() && size >= least && size <= kSetMax) {
            set->assign(unit, unit + size);
        }
        pos += kPrefix + size;
    }
}

}  // namespace zv
