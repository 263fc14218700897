#include "zvmp4/index_room.h"

#include <algorithm>

#include "zvmp4/box_writer.h"

namespace zv {

namespace {

/** Blocks that an index has ahead of it, so that it can grow on a full disk: a few minutes of stream. */
constexpr uint64_t kAhead = 128 * 1024;

bool Overlap(uint64_t begin, uint64_t end, uint64_t other_begin, uint64_t other_end) {
    return begin < other_end && other_begin < end;
}

}  // namespace

uint64_t IndexRoom::Low() const { return begin_ + kBoxHead; }
uint64_t IndexRoom::High() const { return end_ - 2 * kBoxHead; }

bool IndexRoom::Fits(uint64_t size) const {
    const uint64_t room = High() - Low();
    return size == room || size + kBoxHead <= room;
}

/** An index that ends where the room ends needs no box behind it. */
IndexRoom::Place IndexRoom::PlaceAt(uint64_t begin, uint64_t size) const {
    const uint64_t end = begin + size;
    return {begin, end == High() ? end : end + kBoxHead};
}

bool IndexRoom::FindFree(uint64_t size, Place *place) const {
    if (!Fits(size)) {
        return false;
    }
    for (const uint64_t begin : {Low(), High() - size}) {
        *place = PlaceAt(begin, size);
        if (!Overlap(place->begin, place->end, valid_.begin, valid_.end)) {
            return true;
        }
    }
    return false;
}

bool IndexRoom::WriteInto(const Place &place, const std::vector<uint8_t> &index) {
    const uint64_t behind = place.begin + index.size();
    if (behind != High()) {
        const BoxHead rest(static_cast<uint32_t>(High() - behind), "free");
        if (!disk_->Write(rest.bytes, kBoxHead, behind)) {
            return false;
        }
    }
    return disk_->Write(index.data(), index.size(), place.begin);
}

bool IndexRoom::Bridge(uint64_t to) {
    uint8_t size[4];
    PutU32(size, static_cast<uint32_t>(to - begin_));
    return disk_->Write(size, sizeof(size), begin_);
}

bool IndexRoom::WriteSize(uint64_t data_end) {
    const BoxHead data(static_cast<uint32_t>(data_end - end_ + kBoxHead), "mdat");
    return disk_->Write(data.bytes, kBoxHead, end_ - kBoxHead);
}

bool IndexRoom::Lay(uint64_t begin, uint64_t end) {
    begin_ = begin;
    end_ = end;
    valid_ = {};
    const BoxHead bridge(static_cast<uint32_t>(High() - begin), "free");
    const BoxHead endless(0, "mdat");
    if (!disk_->Write(bridge.bytes, kBoxHead, begin) || !disk_->Write(endless.bytes, kBoxHead, High()) ||
        !WriteSize(end)) {
        return false;
    }
    AllocateAhead(0);
    return true;
}

/** Puts the index behind the data and leads readers there. */
bool IndexRoom::Park(const std::vector<uint8_t> &index, uint64_t data_end) {
    if (!disk_->Write(index.data(), index.size(), data_end) || !disk_->Cut(data_end + index.size()) ||
        !WriteSize(data_end) || !Bridge(end_ - kBoxHead)) {
        disk_->Cut(data_end);
        return false;
    }
    valid_ = {};
    return true;
}

void IndexRoom::AllocateAhead(uint64_t size) {
    const uint64_t wanted = std::min(size + kAhead, High() - Low());
    if (wanted <= allocated_) {
        return;
    }
    allocated_ = std::min(wanted + kAhead / 2, High() - Low());
    disk_->Allocate(begin_, allocated_);
    disk_->Allocate(High() - allocated_, allocated_);
}

IndexResult IndexRoom::Put(const std::vector<uint8_t> &index, uint64_t data_end) {
    Place place;
    if (!Fits(index.size())) {
        return IndexResult::kTooBig;
    }
    const bool parked = !FindFree(index.size(), &place);
    if (parked) {
        if (!Park(index, data_end)) {
            return IndexResult::kFailed;
        }
        place = PlaceAt(Low(), index.size());
    }
    if (!WriteInto(place, index) || !Bridge(place.begin)) {
        return parked ? IndexResult::kSealed : IndexResult::kFailed;
    }
    valid_ = place;
    if (parked) {
        disk_->Cut(data_end);
    }
    AllocateAhead(index.size());
    return IndexResult::kDone;
}

IndexResult IndexRoom::Finish(const std::vector<uint8_t> &index, uint64_t data_end) {
    if (index.empty()) {
        disk_->Cut(data_end);
        return WriteSize(data_end) && Bridge(end_ - kBoxHead) ? IndexResult::kSealed : IndexResult::kFailed;
    }
    IndexResult result = Put(index, data_end);
    if (result == IndexResult::kTooBig) {
        result = Park(index, data_end) ? IndexResult::kSealed : IndexResult::kFailed;
    }
    if (result == IndexResult::kDone) {
        // The box of size 0 makes way for the one behind it, at once for every reader.
        const BoxHead gone(kBoxHead, "free");
        disk_->Cut(data_end);
        const bool sized = WriteSize(data_end) && disk_->Write(gone.bytes, kBoxHead, High());
        result = sized ? IndexResult::kDone : IndexResult::kFailed;
    }
    return result;
}

}  // namespace zv
