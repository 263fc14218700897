// Records for tests: small ones of named frames, and real ones of an encoder's stream.
#ifndef ZELVANE_TESTS_SUPPORT_KRDF_RECORD_H
#define ZELVANE_TESTS_SUPPORT_KRDF_RECORD_H

#include <string>
#include <string_view>
#include <vector>

#include "common/krdf_writer.h"
#include "support/media.h"

namespace support {

constexpr uint64_t KRDF_BEGIN = 1709251198;  // 29 February 2024, 23:59:58

/** A frame of a few letters: kind 'k' key (it begins a group), 'i' key within one, 'p' P, 'b' B, 's' G.711 mu-law. */
struct KrdfLetters {
    char kind;
    std::string data;
    uint64_t second;
};

/** Writes frames, H.264 by name. */
void WriteKrdf(const std::string &path, const std::vector<KrdfLetters> &frames, const tools::KrdfLayout &layout = {});

/** Groups of "1k 1p 1q", "2k 2p 2q" and so on, two seconds each. */
std::vector<KrdfLetters> KrdfGroups(unsigned count);

/** A stream of an encoder with a key frame each `keyDistance`, and sound in pieces in front of the pictures. */
struct KrdfMedia {
    tools::KrdfStream codec;
    std::vector<Span> units;
    unsigned keyDistance;
    std::vector<Span> sound = {};  ///< one for each picture, of G.711 mu-law; empty for none
};

/** Writes a stream at 25 pictures a second. */
void WriteKrdf(const std::string &path, const KrdfMedia &media, const tools::KrdfLayout &layout = {});

}  // namespace support

#endif
