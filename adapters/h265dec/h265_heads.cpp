#include "h265dec/h265_heads.h"

#include <algorithm>
#include <bit>

#include "foundations/bytes.h"

namespace zv {
namespace {

using bytes::BitReader;

constexpr uint32_t kMaxSide = 16384;
constexpr uint8_t kFirstIrap = 16;
constexpr uint8_t kLastIrap = 23;

BitReader Fields(const Unit &unit) {
    BitReader reader(unit.data, unit.Size(), bytes::Emulation::kRemove);
    reader.Skip(16);  // the unit's header
    return reader;
}

void SkipUes(BitReader *reader, uint32_t count) {
    for (; count > 0 && !reader->Dry(); --count) {
        reader->Ue();
    }
}

/** profile_tier_level (7.3.3) of a set with `layers` sub-layers above the lowest. */
void SkipProfile(BitReader *reader, uint32_t layers) {
    constexpr uint32_t kProfile = 88;
    constexpr uint32_t kLevel = 8;
    reader->Skip(kProfile + kLevel);
    uint32_t more = 0;
    for (uint32_t i = 0; i < layers; ++i) {
        more += reader->Bit() != 0 ? kProfile : 0;
        more += reader->Bit() != 0 ? kLevel : 0;
    }
    reader->Skip(layers > 0 ? 2 * (8 - layers) + more : 0);
}

/** Bits of an address among the blocks of a picture. */
uint8_t AddressBits(uint32_t width, uint32_t height, uint32_t block_log2) {
    const uint32_t columns = (width + (1U << block_log2) - 1) >> block_log2;
    const uint32_t rows = (height + (1U << block_log2) - 1) >> block_log2;
    return static_cast<uint8_t>(std::max(static_cast<int>(std::bit_width(columns * rows - 1)), 1));
}

}  // namespace

void H265Heads::StoreSps(const Unit &unit) {
    BitReader reader = Fields(unit);
    reader.Skip(4);  // video parameter set
    const uint32_t layers = reader.Bits(3);
    reader.Bit();
    SkipProfile(&reader, layers);
    const uint32_t id = reader.Ue();
    if (reader.Ue() == 3) {  // chroma_format_idc
        reader.Bit();
    }
    const uint32_t width = reader.Ue();
    const uint32_t height = reader.Ue();
    SkipUes(&reader, reader.Bit() != 0 ? 4 : 0);  // conformance window
    SkipUes(&reader, 3);                          // bit depths, length of the picture order count
    SkipUes(&reader, reader.Bit() != 0 ? 3 * (layers + 1) : 3);
    const uint32_t least = reader.Ue();
    const uint32_t block_log2 = least + 3 + std::min(reader.Ue(), 6U);
    if (reader.Dry() || id >= address_bits_.size()) {
        return;
    }
    const bool sane = width - 1 < kMaxSide && height - 1 < kMaxSide && least <= 3 && block_log2 <= 6;
    address_bits_[id] = sane ? AddressBits(width, height, block_log2) : uint8_t{0};
}

void H265Heads::StorePps(const Unit &unit) {
    BitReader reader = Fields(unit);
    const uint32_t id = reader.Ue();
    const uint32_t sps = reader.Ue();
    const bool dependent = reader.Bit() != 0;
    if (!reader.Dry() && id < pps_.size() && sps < address_bits_.size()) {
        pps_[id] = {true, dependent, static_cast<uint8_t>(sps)};
    }
}

bool H265Heads::ReadAddress(const Unit &slice, uint32_t *address) const {
    BitReader reader = Fields(slice);
    const uint8_t type = slice.data[0] >> 1 & 0x3F;
    const bool first = reader.Bit() != 0;
    reader.Skip(type >= kFirstIrap && type <= kLastIrap ? 1 : 0);  // no_output_of_prior_pics_flag
    const uint32_t id = reader.Ue();
    if (reader.Dry() || id >= pps_.size() || !pps_[id].known || address_bits_[pps_[id].sps] == 0) {
        return false;
    }
    *address = 0;
    if (!first) {
        reader.Skip(pps_[id].dependent ? 1 : 0);
        *address = reader.Bits(address_bits_[pps_[id].sps]);
    }
    return !reader.Dry();
}

}  // namespace zv
