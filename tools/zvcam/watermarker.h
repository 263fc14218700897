/**
 * Puts a watermark in front of key pictures, as this platform's cameras do: a message with a clear text and with that
 * text XORed with bytes sampled from the key picture.
 */
#ifndef ZVCAM_WATERMARKER_H
#define ZVCAM_WATERMARKER_H

#include <string>
#include <vector>

#include "common/bytes.h"

namespace zvcam {

using tools::Bytes;

inline constexpr size_t kMostMarkText = 256;  ///< characters

/** Used by one thread. */
class Watermarker {
 public:
    /** @param text at most kMostMarkText characters; filled with spaces to 32 */
    Watermarker(const std::string &text, bool h265);

    /**
     * Marks a key picture, in the form in which it is sent: whatever else changes it comes before.
     * @param units its units without start codes; afterwards with the mark's, which holds until the next call
     * @return false for a picture too short to be sampled
     */
    bool Apply(std::vector<Bytes> *units);

 private:
    bool Sample(const std::vector<Bytes> &units, std::string *mark) const;

    std::string text_;
    const bool h265_;
    std::vector<uint8_t> message_;
};

}  // namespace zvcam

#endif
