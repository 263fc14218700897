/**
 * @file index_room.h
 * @brief Keeps a file's index valid at every moment, so that a recording opens whenever its process dies.
 *
 * The room lies between "ftyp" and the media data:
 *
 *     free | ... | mdat of size 0 | mdat of a size
 *
 * The first box is a bridge: its size alone says what comes next. It leads to an index that lies anywhere in the room,
 * behind which another "free" leads on to the first "mdat", whose size 0 means up to the end of the file; or straight
 * to the second "mdat", whose size is that of the data, with the index behind them. A new index is written where the
 * valid one does not lie, and then the 4 bytes of that size are written: readers meet the old index or the new one,
 * never half of one. All of the room that is not written is a hole.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_INDEX_ROOM_H
#define ZELVANE_ADAPTERS_ZVMP4_INDEX_ROOM_H

#include <cstdint>
#include <vector>

#include "zvmp4/disk_file.h"

namespace zv {

/** What became of an index. */
enum class IndexResult {
    kDone,   /**< it is valid */
    kTooBig, /**< it does not fit; the one before stays valid */
    kFailed, /**< it could not be written; the one before stays valid */
    kSealed, /**< it is valid but lies behind the data: nothing may follow them any more */
};

/** The room of one file. Nothing throws. */
class IndexRoom {
 public:
    explicit IndexRoom(DiskFile *disk) : disk_(disk) {}

    /** Lays the empty room at [begin, end); `end` is a multiple of 4096, and the data follow it. */
    bool Lay(uint64_t begin, uint64_t end);
    /** Makes an index valid while data keep coming, which reach up to data_end. What lies behind them may be cut. */
    IndexResult Put(const std::vector<uint8_t> &index, uint64_t data_end);
    /** Makes an index valid for good, and cuts the file behind it and the data. kTooBig does not occur. An empty one
     * leaves a file without samples. */
    IndexResult Finish(const std::vector<uint8_t> &index, uint64_t data_end);

 private:
    /** An index and the box behind it. */
    struct Place {
        uint64_t begin = 0;
        uint64_t end = 0;
    };

    uint64_t Low() const;
    uint64_t High() const;
    bool Fits(uint64_t size) const;
    Place PlaceAt(uint64_t begin, uint64_t size) const;
    bool FindFree(uint64_t size, Place *place) const;
    bool WriteInto(const Place &place, const std::vector<uint8_t> &index);
    bool Bridge(uint64_t to);
    bool WriteSize(uint64_t data_end);
    bool Park(const std::vector<uint8_t> &index, uint64_t data_end);
    void AllocateAhead(uint64_t size);

    DiskFile *disk_;
    uint64_t begin_ = 0;
    uint64_t end_ = 0;
    Place valid_;  // empty while none is in the room
    uint64_t allocated_ = 0;
};

}  // namespace zv

#endif
