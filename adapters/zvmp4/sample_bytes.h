/**
 * @file sample_bytes.h
 * @brief Makes samples of byte-stream frames (Annex B of ITU-T H.264 and H.265): finds out what a frame holds, and
 * gives each unit the prefix that its kind of file wants.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_SAMPLE_BYTES_H
#define ZELVANE_ADAPTERS_ZVMP4_SAMPLE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/annexb.h"

namespace zv {

/** What the units of one frame say. */
struct FrameKind {
    bool units = false;   /**< there is something to write */
    bool picture = false; /**< it holds picture data */
    bool begins = false;  /**< of these the first part of a picture */
};

/** The parameter sets that a file's description needs; empty until they have come by. */
struct ParameterSets {
    std::vector<uint8_t> sps;
    std::vector<uint8_t> pps;
};

/** Collects the units of one sample. Keeps its memory from sample to sample. */
class SampleBytes {
 public:
    explicit SampleBytes(bool h265) : h265_(h265) {}

    /** Appends a frame's units. Bytes before the first start code, zeros behind a unit and H.264 delimiters are left
     *  out. Throws bad_alloc. */
    FrameKind Append(const uint8_t *data, size_t size);
    /** Takes the first usable parameter set of each kind that the sample holds, where `sets` has none yet. H.264. */
    void FindSets(ParameterSets *sets) const;
    void Clear() { bytes_.clear(); }

    bool H265() const { return h265_; }
    const uint8_t *Data() const { return bytes_.data(); }
    size_t Size() const { return bytes_.size(); }
    /** For what is to follow in the same write. */
    std::vector<uint8_t> *Bytes() { return &bytes_; }

 private:
    void AppendUnit(const uint8_t *data, size_t size);

    bool h265_;
    std::vector<uint8_t> bytes_;
};

}  // namespace zv

#endif
