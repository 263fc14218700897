/**
 * @file annexb.h
 * @brief Walks the units of a byte stream with start codes (Annex B of ITU-T H.264 and of ITU-T H.265).
 *
 * One pass over the bytes, nothing copied, no byte outside the buffer read.
 */
#ifndef ZELVANE_ADAPTERS_ANNEXB_H
#define ZELVANE_ADAPTERS_ANNEXB_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zv {

/** One unit: its start code lies at [begin, data), its bytes, the unit header first, at [data, end). */
struct Unit {
    const uint8_t *begin = nullptr;
    const uint8_t *data = nullptr;
    const uint8_t *end = nullptr;

    size_t Size() const { return static_cast<size_t>(end - data); }
};

/** Finds the next 00 00 01 at or behind `from`; `end` if there is none. */
inline const uint8_t *FindStartCode(const uint8_t *from, const uint8_t *end) {
    if (end - from < 3) {
        return end;
    }
    // A one is rarer than a zero in coded data, and memchr goes through it a vector at a time.
    for (const uint8_t *one = from + 2; one < end; ++one) {
        one = static_cast<const uint8_t *>(std::memchr(one, 1, static_cast<size_t>(end - one)));
        if (one == nullptr) {
            return end;
        }
        if (one[-1] == 0 && one[-2] == 0) {
            return one - 2;
        }
    }
    return end;
}

/** Gives the units of a buffer in order; bytes before the first start code are left out. */
class UnitReader {
 public:
    UnitReader(const uint8_t *data, size_t size) : next_(FindStartCode(data, data + size)), end_(data + size) {}

    /** @return false at the end of the buffer */
    bool Next(Unit *unit) {
        if (next_ == end_) {
            return false;
        }
        unit->begin = next_;
        unit->data = next_ + 3;
        next_ = FindStartCode(unit->data, end_);
        unit->end = next_;
        return true;
    }

    /** Goes on at `position`, which lies inside the buffer: for content that has its own lengths. */
    void Resume(const uint8_t *position) { next_ = FindStartCode(position, end_); }

    const uint8_t *End() const { return end_; }

 private:
    const uint8_t *next_;
    const uint8_t *end_;
};

}  // namespace zv

#endif
