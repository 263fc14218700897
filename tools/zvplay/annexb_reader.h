/** Reads H.264 and H.265 byte streams (ITU-T H.264 and H.265, Annex B). */
#ifndef ZVPLAY_ANNEXB_READER_H
#define ZVPLAY_ANNEXB_READER_H

#include "common/access_units.h"
#include "source.h"

namespace zvplay {

using tools::MappedFile;

/**
 * Gives one access unit a push, in the form that the library recognises.
 *
 * The library tells what a pushed access unit is by the header of its first slice and knows four: H.264 slices of types
 * 1 and 5, and H.265 slices with the header bytes 02 01 (picture) and 26 01 (key picture). What else encoders write
 * (open-GOP key pictures, pictures that no other refers to, temporal layers) the reader announces by a record head of
 * 24 bytes in a push of its own, which tells the library what the next push holds, whatever its bytes. Rewriting those
 * headers would change how a decoder reads what follows.
 */
class AnnexBReader : public Source {
 public:
    /** @param file the stream; @param h265 its coding; @param fps rate until SetFrameRate() */
    AnnexBReader(MappedFile file, bool h265, double fps);

    bool Next(Push *push) override;
    void SetFrameRate(double fps) override { interval_ = 1 / fps; }

 private:
    bool Announce(uint16_t first_slice);

    tools::AccessUnitReader units_;
    double interval_;
    double due_ = 0;
    bool first_ = true;
    uint8_t head_[24] = {};  ///< record head
};

}  // namespace zvplay

#endif
