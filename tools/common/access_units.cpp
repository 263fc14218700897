#include "common/access_units.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tools {
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

bool IsBaseLayer(Bytes unit) { return (unit[0] & 1) == 0 && unit[1] >> 3 == 0; }

bool IsSliceH264(Bytes unit) { return UnitTypeH264(unit) >= 1 && UnitTypeH264(unit) <= 5; }
bool IsSliceH265(Bytes unit) { return UnitTypeH265(unit) < 32; }

/** H.264, 7.4.1.2.3: messages, parameter sets, delimiters and the reserved 14 to 18 stand before the first slice. */
bool IsHeadH264(int type) { return (type >= 6 && type <= 9) || (type >= 14 && type <= 18); }

/** H.265, 7.4.2.4.4. */
bool IsHeadH265(int type) {
    return (type >= 32 && type <= 35) || type == 39 || (type >= 41 && type <= 44) || (type >= 48 && type <= 55);
}

bool IsKeyH264(Bytes unit) { return UnitTypeH264(unit) == 5 || UnitTypeH264(unit) == 7; }
bool IsKeyH265(Bytes unit) { return UnitTypeH265(unit) >= 16 && UnitTypeH265(unit) <= 23; }

/** Enough of the data to tell what they are. */
Bytes Begin(Bytes data) { return data.first(std::min<size_t>(data.size(), 4096)); }

}  // namespace

AccessUnitReader::AccessUnitReader(MappedFile file, bool h265) : file_(std::move(file)), h265_(h265) { Rewind(); }

AccessUnitReader::AccessUnitReader(More more, bool h265) : more_(std::move(more)), h265_(h265) { Rewind(); }

void AccessUnitReader::Rewind() {
    FindNext(0);
    pending_ = {0, 0};
}

/** Puts next_ to the next start code from `from` on, or to the end. @return false at the end */
bool AccessUnitReader::FindNext(size_t from) {
    for (;;) {
        next_ = FindStartCode(All(), from);
        if (next_ < All().size()) return true;
        from = std::max(from, next_ - std::min<size_t>(next_, 2));  // two zeros may begin one
        if (more_ == nullptr || !more_(&stream_)) return false;
    }
}

bool AccessUnitReader::TakeUnit(Range *unit) {
    if (!stream_.empty()) {
        stream_.erase(stream_.begin(), stream_.begin() + static_cast<ptrdiff_t>(next_));
        next_ = 0;
    }
    while (next_ < All().size()) {
        unit->begin = next_ + 3;
        FindNext(unit->begin);
        unit->end = next_;
        while (unit->end > unit->begin && All()[unit->end - 1] == 0) --unit->end;  // trailing_zero_8bits
        if (unit->end - unit->begin >= 2) return true;
    }
    *unit = {0, 0};
    return false;
}

bool AccessUnitReader::StartsAccessUnit(Bytes unit) const {
    if (first_slice_ < 0) return false;
    if (h265_) {
        if (!IsBaseLayer(unit)) return false;
        return IsSliceH265(unit) ? unit.size() > 2 && (unit[2] & 0x80) != 0  // first_slice_segment_in_pic_flag
                                 : IsHeadH265(UnitTypeH265(unit));
    }
    return IsSliceH264(unit) ? UnitTypeH264(unit) != 3 && UnitTypeH264(unit) != 4 && (unit[1] & 0x80) != 0
                             : IsHeadH264(UnitTypeH264(unit));  // first_mb_in_slice 0
}

void AccessUnitReader::Append(Bytes unit) {
    data_.insert(data_.end(), std::begin(kStartCode), std::end(kStartCode));
    const size_t at = data_.size();
    data_.insert(data_.end(), unit.begin(), unit.end());
    ranges_.push_back({at, data_.size()});
    if (h265_ && unit[0] == 0x28 && unit[1] == 0x01) data_[at] = 0x26;
    if (first_slice_ < 0 && (h265_ ? IsSliceH265(unit) : IsSliceH264(unit))) {
        first_slice_ = data_[at] << 8 | data_[at + 1];
    }
}

bool AccessUnitReader::Next(AccessUnit *unit) {
    data_.clear();
    ranges_.clear();
    first_slice_ = -1;
    while (pending_.begin < pending_.end || TakeUnit(&pending_)) {
        const Bytes bytes = All().subspan(pending_.begin, pending_.end - pending_.begin);
        if (StartsAccessUnit(bytes)) break;
        Append(bytes);
        pending_ = {0, 0};
    }
    if (first_slice_ < 0) return false;  // parameter sets alone at the end show nothing
    unit->data = data_;
    unit->units.clear();
    for (const Range &range : ranges_) unit->units.push_back(unit->data.subspan(range.begin, range.end - range.begin));
    unit->first_slice = static_cast<uint16_t>(first_slice_);
    unit->key = std::any_of(unit->units.begin(), unit->units.end(), h265_ ? IsKeyH265 : IsKeyH264);
    return true;
}

bool AccessUnitReader::HasUnits(Bytes data) { return FindStartCode(Begin(data), 0) < Begin(data).size(); }

int AccessUnitReader::Recognise(Bytes data) {
    const Bytes begin = Begin(data);
    for (size_t at = FindStartCode(begin, 0); at + 5 <= begin.size(); at = FindStartCode(begin, at + 3)) {
        const Bytes unit = begin.subspan(at + 3);
        // A parameter set settles it: 32 and 33 of H.265 are 0 and 2 to H.264, which no encoder begins with.
        if (IsBaseLayer(unit) && unit[1] == 1 && (UnitTypeH265(unit) == 32 || UnitTypeH265(unit) == 33)) return 265;
        if (UnitTypeH264(unit) == 7 || UnitTypeH264(unit) == 5) return 264;
    }
    return 0;
}

bool CheckByteStream(const std::string &path, Bytes data, bool h265, Failure *failure) {
    const int found = AccessUnitReader::Recognise(data);
    if (!AccessUnitReader::HasUnits(data)) {
        *failure = {kExitSource, path + ": no H.264 or H.265 found",
                    "it has to be the encoder's byte stream with start codes; for an .mp4 or .mkv make one: "
                    "ffmpeg -i FILE -c copy -bsf:v h264_mp4toannexb OUT.264"};
        return false;
    }
    if (found != 0 && (found == 265) != h265) {  // else the ending decides
        *failure = {kExitSource, path + (found == 265 ? ": this is H.265" : ": this is H.264"),
                    found == 265 ? "give the file the ending .265" : "give the file the ending .264"};
        return false;
    }
    return true;
}

}  // namespace tools
