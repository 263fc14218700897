/** Reads H.264 and H.265 byte streams (ITU-T H.264 and H.265, Annex B). */
#ifndef ZVPLAY_ANNEXB_READER_H
#define ZVPLAY_ANNEXB_READER_H

#include <vector>

#include "mapped_file.h"

namespace zvplay {

/**
 * Gives one access unit a push, in the form that the library recognises.
 *
 * The library tells what a pushed access unit is by the header of its first slice, behind start codes of 4 bytes, and
 * knows four headers: H.264 slices of types 1 and 5, and H.265 slices with the header bytes 02 01 (picture) and 26 01
 * (key picture). Encoders write more than that, so the reader
 * - gives every unit a start code of 4 bytes;
 * - sends H.265 key pictures of the other IDR type, 28 01, as 26 01, which differ in nothing else;
 * - announces what is left (open-GOP key pictures, pictures that no other refers to, temporal layers) by a record head
 *   of 24 bytes in a push of its own, which tells the library what the next push holds, whatever its bytes. Rewriting
 *   those headers would change how a decoder reads what follows.
 */
class AnnexBReader : public Source {
 public:
    /** @param file the stream; @param h265 its coding; @param fps rate until SetFrameRate() */
    AnnexBReader(MappedFile file, bool h265, double fps);

    bool Next(Push *push) override;
    void SetFrameRate(double fps) override { interval_ = 1 / fps; }

    /** Looks for a parameter set or a slice near the beginning. @return 264, 265, or 0 for neither */
    static int Recognise(Bytes data);

    /** Whether a start code comes near the beginning. */
    static bool HasUnits(Bytes data);

 private:
    struct Unit {
        size_t begin, end;  ///< of the unit in the file, without start code
    };
    bool TakeUnit(Unit *unit);
    void Append(Bytes unit);
    bool StartsAccessUnit(Bytes unit) const;
    void Finish(Push *push);

    MappedFile file_;
    const bool h265_;
    double interval_;
    double due_ = 0;
    bool first_ = true;
    size_t next_ = 0;            ///< offset of the next start code
    Unit pending_ = {0, 0};      ///< taken from the file and not yet given out; empty if begin is end
    std::vector<uint8_t> unit_;  ///< the access unit under assembly
    int first_slice_ = -1;       ///< header of its first slice, its two bytes as one number; -1 before that
    uint8_t head_[24] = {};      ///< record head
};

}  // namespace zvplay

#endif
