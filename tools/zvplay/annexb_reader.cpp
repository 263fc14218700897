#include "annexb_reader.h"

#include <cstring>
#include <utility>

namespace zvplay {

AnnexBReader::AnnexBReader(MappedFile file, bool h265, double fps)
    : units_(std::move(file), h265), interval_(1 / fps) {}

/** Fills the record head if the library would not know the picture by itself. */
bool AnnexBReader::Announce(uint16_t first_slice) {
    if (!units_.IsH265() || first_slice == 0x0201 || first_slice == 0x2601) return false;
    const int type = first_slice >> 9 & 63;
    const int32_t payload = 8, format = type >= 16 && type <= 23 ? 0 : 1;  // H.265; key picture or not
    std::memcpy(head_, "RdHd", 4);
    std::memcpy(head_ + 4, &payload, 4);
    std::memcpy(head_ + 8, &format, 4);  // padding, and a timestamp of 0 as the library's own for such data
    return true;
}

bool AnnexBReader::Next(Push *push) {
    tools::AccessUnit unit;
    if (!units_.Next(&unit)) return false;
    push->head = Announce(unit.first_slice) ? Bytes(head_) : Bytes();
    push->data = unit.data;
    push->due = due_ = first_ ? 0 : due_ + interval_;
    first_ = false;
    return true;
}

}  // namespace zvplay
