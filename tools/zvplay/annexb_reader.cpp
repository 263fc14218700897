#include "annexb_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace zvplay {
namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};

/** Offset of the next 00 00 01 from `from` on, or the size. */
size_t FindStartCode(Bytes data, size_t from) {
    while (from + 3 <= data.size()) {
        const void *one = std::memchr(data.data() + from + 2, 1, data.size() - from - 2);
        if (one == nullptr) break;
        const size_t at = static_cast<size_t>(static_cast<const uint8_t *>(one) - data.data());
        if (data[at - 1] == 0 && data[at - 2] == 0) return at - 2;
        from = at - 1;
    }
    return data.size();
}

int TypeH264(Bytes unit) { return unit[0] & 31; }
int TypeH265(Bytes unit) { return unit[0] >> 1 & 63; }
bool IsBaseLayer(Bytes unit) { return (unit[0] & 1) == 0 && unit[1] >> 3 == 0; }

bool IsSliceH264(Bytes unit) { return TypeH264(unit) >= 1 && TypeH264(unit) <= 5; }
bool IsSliceH265(Bytes unit) { return TypeH265(unit) < 32; }

/** H.264, 7.4.1.2.3: messages, parameter sets, delimiters and the reserved 14 to 18 stand before the first slice. */
bool IsHeadH264(int type) { return (type >= 6 && type <= 9) || (type >= 14 && type <= 18); }

/** H.265, 7.4.2.4.4. */
bool IsHeadH265(int type) {
    return (type >= 32 && type <= 35) || type == 39 || (type >= 41 && type <= 44) || (type >= 48 && type <= 55);
}

/** Enough of the data to tell what they are. */
Bytes Begin(Bytes data) { return data.first(std::min<size_t>(data.size(), 4096)); }

}  // namespace

AnnexBReader::AnnexBReader(MappedFile file, bool h265, double fps)
    : file_(std::move(file)), h265_(h265), interval_(1 / fps), next_(FindStartCode(file_.All(), 0)) {}

bool AnnexBReader::TakeUnit(Unit *unit) {
    const Bytes data = file_.All();
    while (next_ < data.size()) {
        unit->begin = next_ + 3;
        next_ = FindStartCode(data, unit->begin);
        unit->end = next_;
        while (unit->end > unit->begin && data[unit->end - 1] == 0) --unit->end;  // trailing_zero_8bits
        if (unit->end - unit->begin >= 2) return true;
    }
    *unit = {0, 0};
    return false;
}

bool AnnexBReader::StartsAccessUnit(Bytes unit) const {
    if (first_slice_ < 0) return false;
    if (h265_) {
        if (!IsBaseLayer(unit)) return false;
        return IsSliceH265(unit) ? unit.size() > 2 && (unit[2] & 0x80) != 0  // first_slice_segment_in_pic_flag
                                 : IsHeadH265(TypeH265(unit));
    }
    return IsSliceH264(unit) ? TypeH264(unit) != 3 && TypeH264(unit) != 4 && (unit[1] & 0x80) != 0  // first_mb 0
                             : IsHeadH264(TypeH264(unit));
}

void AnnexBReader::Append(Bytes unit) {
    unit_.insert(unit_.end(), std::begin(kStartCode), std::end(kStartCode));
    const size_t at = unit_.size();
    unit_.insert(unit_.end(), unit.begin(), unit.end());
    if (h265_ && unit[0] == 0x28 && unit[1] == 0x01) unit_[at] = 0x26;
    if (first_slice_ < 0 && (h265_ ? IsSliceH265(unit) : IsSliceH264(unit))) {
        first_slice_ = unit_[at] << 8 | unit_[at + 1];
    }
}

void AnnexBReader::Finish(Push *push) {
    push->head = {};
    if (h265_ && first_slice_ != 0x0201 && first_slice_ != 0x2601) {
        const int type = first_slice_ >> 9 & 63;
        const int32_t payload = 8, format = type >= 16 && type <= 23 ? 0 : 1;  // H.265; key picture or not
        std::memcpy(head_, "RdHd", 4);
        std::memcpy(head_ + 4, &payload, 4);
        std::memcpy(head_ + 8, &format, 4);  // padding, and a timestamp of 0 as the library's own for such data
        push->head = head_;
    }
    push->data = unit_;
    push->due = due_ = first_ ? 0 : due_ + interval_;
    first_ = false;
}

bool AnnexBReader::Next(Push *push) {
    const Bytes data = file_.All();
    unit_.clear();
    first_slice_ = -1;
    while (pending_.begin < pending_.end || TakeUnit(&pending_)) {
        const Bytes bytes = data.subspan(pending_.begin, pending_.end - pending_.begin);
        if (StartsAccessUnit(bytes)) break;
        Append(bytes);
        pending_ = {0, 0};
    }
    if (first_slice_ < 0) return false;  // parameter sets alone at the end show nothing
    Finish(push);
    return true;
}

bool AnnexBReader::HasUnits(Bytes data) { return FindStartCode(Begin(data), 0) < Begin(data).size(); }

int AnnexBReader::Recognise(Bytes data) {
    const Bytes begin = Begin(data);
    for (size_t at = FindStartCode(begin, 0); at + 5 <= begin.size(); at = FindStartCode(begin, at + 3)) {
        const Bytes unit = begin.subspan(at + 3);
        // A parameter set settles it: 32 and 33 of H.265 are 0 and 2 to H.264, which no encoder begins with.
        if (IsBaseLayer(unit) && unit[1] == 1 && (TypeH265(unit) == 32 || TypeH265(unit) == 33)) return 265;
        if (TypeH264(unit) == 7 || TypeH264(unit) == 5) return 264;
    }
    return 0;
}

}  // namespace zvplay
