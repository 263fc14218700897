/** Cuts H.264 and H.265 byte streams (ITU-T H.264 and H.265, Annex B) into access units. */
#ifndef TOOLS_ACCESS_UNITS_H
#define TOOLS_ACCESS_UNITS_H

#include <functional>
#include <string>
#include <vector>

#include "common/mapped_file.h"

namespace tools {

/** One picture with all that belongs to it. */
struct AccessUnit {
    Bytes data;                ///< all units, each behind a start code of 4 bytes
    std::vector<Bytes> units;  ///< the units in `data`, without start codes; at least 2 bytes each
    uint16_t first_slice = 0;  ///< the two header bytes of its first slice, as one number
    bool key = false;          ///< a decoder can begin with it
};

/** The type of an H.265 unit, 7.4.2.2. */
inline int UnitTypeH265(Bytes unit) { return unit[0] >> 1 & 63; }
/** The type of an H.264 unit, 7.4.1. */
inline int UnitTypeH264(Bytes unit) { return unit[0] & 31; }

/**
 * Reads a stream once, from its beginning to its end. Encoders write start codes of 3 and of 4 bytes and key pictures
 * of two IDR types; the players of this platform know long start codes and, of H.265, the header 26 01. So every unit
 * comes with 4 bytes, and the IDR header 28 01 comes as 26 01, which differs in nothing else.
 */
class AccessUnitReader {
 public:
    /** Appends the next bytes of a stream that is still coming. @return false at its end */
    using More = std::function<bool(std::vector<uint8_t> *)>;

    /** @param file the stream; @param h265 its coding */
    AccessUnitReader(MappedFile file, bool h265);

    /** Of a stream that comes piece by piece; it can't be rewound. @param more gives the pieces; @param h265 coding */
    AccessUnitReader(More more, bool h265);

    /** Takes the next one, which holds until the next call. @return false at the end */
    bool Next(AccessUnit *unit);

    /** Starts again at the beginning of the file. */
    void Rewind();

    bool IsH265() const { return h265_; }

    /** Looks for a parameter set or a slice near the beginning. @return 264, 265, or 0 for neither */
    static int Recognise(Bytes data);

    /** Whether a start code comes near the beginning. */
    static bool HasUnits(Bytes data);

 private:
    struct Range {
        size_t begin, end;  ///< of a unit in the stream, without start code
    };
    Bytes All() const { return more_ != nullptr ? Bytes(stream_) : file_.All(); }
    bool FindNext(size_t from);
    bool TakeUnit(Range *unit);
    void Append(Bytes unit);
    bool StartsAccessUnit(Bytes unit) const;

    MappedFile file_;
    More more_;                    ///< empty for a file
    std::vector<uint8_t> stream_;  ///< what came of it and is not yet given out
    const bool h265_;
    size_t next_ = 0;            ///< offset of the next start code
    Range pending_ = {0, 0};     ///< taken from the stream and not yet given out; empty if begin is end
    std::vector<uint8_t> data_;  ///< the access unit under assembly
    std::vector<Range> ranges_;  ///< its units in data_
    int first_slice_ = -1;       ///< -1 before the first slice
};

/**
 * Whether a file holds what its name promised.
 * @param path name of the file, for the words
 * @param data the file
 * @param h265 the coding that it is to have
 * @return false with the failure filled
 */
bool CheckByteStream(const std::string &path, Bytes data, bool h265, Failure *failure);

}  // namespace tools

#endif
