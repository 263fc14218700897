/**
 * Writes KRDF records, the disk-block recordings of this platform: groups of pictures in blocks of 16 KiB, in front of
 * them an index by time for each unit of 256 MiB. All numbers are little-endian.
 */
#ifndef TOOLS_KRDF_WRITER_H
#define TOOLS_KRDF_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/failure.h"

namespace tools {

/** Stream types of packets. */
enum KrdfStream : uint8_t {
    kKrdfG711a = 0,
    kKrdfG711u = 1,
    kKrdfH265 = 1,
    kKrdfH264 = 6,
    kKrdfAac = 6,
    kKrdfJpeg = 7,
};

/** One frame to be written. */
struct KrdfFrame {
    bool video = false;
    uint8_t stream = 0;    ///< KrdfStream
    uint8_t kind = 0;      ///< of video: 0 key, 1 P, 2 B
    bool begins = false;   ///< of video: begins a group
    uint64_t seconds = 0;  ///< local calendar time, counted from 1970 as if all days had 86,400 seconds
    Bytes data;
};

/** How a record is laid out. */
struct KrdfLayout {
    uint64_t base = 0;           ///< where it begins in the file; its super data stand at 0 nevertheless
    uint32_t rate = 25;          ///< frames a second, 0 to 31
    uint32_t payload = 1480;     ///< most bytes of a packet; readers take no more than this
    uint32_t index_blocks = 16;  ///< blocks kept for a unit's sub index: room for 1023 groups each
    uint32_t groups_a_unit = 0;  ///< begin another unit, 256 MiB further, after so many; 0: when it is full
};

/**
 * Writes one record. A group is written when the next one begins, first its blocks, then its index entry, then the
 * count, so that a reader of the unfinished file finds whole groups only. Names of 16 units, 4 GiB, at most.
 */
class KrdfWriter {
 public:
    KrdfWriter() = default;
    KrdfWriter(const KrdfWriter &) = delete;
    KrdfWriter &operator=(const KrdfWriter &) = delete;
    ~KrdfWriter();

    /** Creates the file. @return false with the failure filled, as for all of these */
    bool Open(const std::string &path, const KrdfLayout &layout, Failure *failure);

    /** Adds a frame. What comes before the first group is dropped. */
    bool Add(const KrdfFrame &frame, Failure *failure);

    /** Writes the last group and closes the file. */
    bool Close(Failure *failure);

    uint32_t Units() const { return unit_; }
    uint32_t Groups() const { return all_groups_; }

 private:
    void PutTime(uint64_t seconds, uint32_t second_bits, std::vector<uint8_t> *to) const;
    void PutPacket(const KrdfFrame &frame, Bytes payload, bool first, bool last);
    bool FinishGroup(Failure *failure);
    bool BeginUnit(Failure *failure);
    bool WriteAt(uint64_t place, const std::vector<uint8_t> &data, Failure *failure);
    uint64_t UnitPlace() const;

    std::string path_;
    KrdfLayout layout_;
    int file_ = -1;
    std::vector<uint8_t> group_;  ///< under way; empty before the first one
    uint64_t group_begin_ = 0;    ///< seconds
    uint32_t unit_ = 0;           ///< current, from 1
    uint32_t groups_ = 0;         ///< written in it
    uint32_t all_groups_ = 0;
    uint32_t next_block_ = 0;  ///< of the unit, where the next group goes
    uint16_t packets_ = 0;
    uint32_t pictures_ = 0, sounds_ = 0;
};

}  // namespace tools

#endif
