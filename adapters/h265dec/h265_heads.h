/**
 * @file h265_heads.h
 * @brief Where in its picture a slice begins, read from its header (ITU-T H.265, 7.3.6.1) by the parameter sets.
 */
#ifndef ZELVANE_ADAPTERS_H265_HEADS_H
#define ZELVANE_ADAPTERS_H265_HEADS_H

#include <array>

#include "common/annexb.h"

namespace zv {

/** Remembers the parameter sets of a stream and reads slice headers by them. */
class H265Heads {
 public:
    /** Takes a sequence parameter set; one that makes no sense is forgotten. */
    void StoreSps(const Unit &unit);
    /** Takes a picture parameter set; the same. */
    void StorePps(const Unit &unit);
    /**
     * Reads the address of a slice: the block at which it begins, 0 for the first of a picture.
     * @return false for a slice that is cut off, or whose parameter sets have not come
     */
    bool ReadAddress(const Unit &slice, uint32_t *address) const;

 private:
    struct Pps {
        bool known = false;
        bool dependent = false; /**< dependent_slice_segments_enabled_flag */
        uint8_t sps = 0;
    };
    std::array<uint8_t, 16> address_bits_{}; /**< by sequence parameter set; 0 for none */
    std::array<Pps, 64> pps_{};
};

}  // namespace zv

#endif
