#include "units.h"

#include <algorithm>
#include <cstring>

#include "foundations/bytes.h"

namespace zvprobe {
namespace {

using bytes::BitReader;
using bytes::Emulation;

enum : int {  // H.264, table 7-1, and H.265, table 7-1
    kIdrH264 = 5,
    kSeiH264 = 6,
    kSpsH264 = 7,
    kPpsH264 = 8,
    kFirstIrapH265 = 16,
    kLastIrapH265 = 23,
    kSlicesH265 = 32,
    kSpsH265 = 33,
    kPpsH265 = 34,
    kSeiH265 = 39
};

constexpr size_t kSliceHead = 64;  // more than the fields that are read take

/** Reads a unit's bits behind its header. */
BitReader Bits(Bytes unit, size_t header) {
    return BitReader(unit.data() + header, unit.size() - header, Emulation::kRemove);
}

/** Steps over a scaling list, H.264 7.3.2.1.1.1. */
void SkipScalingList(BitReader *bits, int size) {
    int last = 8, next = 8;
    for (int i = 0; i < size && !bits->Dry(); ++i) {
        if (next != 0) next = static_cast<int>((static_cast<uint32_t>(last) + static_cast<uint32_t>(bits->Se())) & 255);
        if (next != 0) last = next;
    }
}

/** The fields of an H.264 SPS that the High profiles add. @return chroma_format_idc */
uint32_t ReadHighFields(BitReader *bits) {
    const uint32_t chroma = bits->Ue();
    if (chroma == 3) bits->Bit();  // separate_colour_plane_flag
    bits->Ue();
    bits->Ue();
    bits->Bit();
    if (bits->Bit() == 0) return chroma;
    for (int i = 0; i < (chroma != 3 ? 8 : 12); ++i) {
        if (bits->Bit() != 0) SkipScalingList(bits, i < 6 ? 16 : 64);
    }
    return chroma;
}

/** Steps over the picture order count fields of an H.264 SPS. */
void SkipOrderCount(BitReader *bits) {
    const uint32_t type = bits->Ue();
    if (type == 0) bits->Ue();
    if (type != 1) return;
    bits->Bit();
    bits->Se();
    bits->Se();
    const uint32_t count = std::min<uint32_t>(bits->Ue(), 255);
    for (uint32_t i = 0; i < count; ++i) bits->Se();
}

bool IsHighProfile(uint32_t profile) {
    static const uint32_t kHigh[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(kHigh), std::end(kHigh), profile) != std::end(kHigh);
}

/** Steps over profile_tier_level, H.265 7.3.3. */
void SkipProfile(BitReader *bits, uint32_t sub_layers) {
    bits->Skip(96);
    uint32_t present = 0;
    for (uint32_t i = 0; i < sub_layers; ++i) present = present << 2 | bits->Bits(2);
    if (sub_layers > 0) bits->Skip(2 * (8 - sub_layers));
    for (uint32_t i = 0; i < 2 * sub_layers; ++i) {
        if ((present >> i & 1) != 0) bits->Skip(i % 2 == 0 ? 8 : 88);  // the level's flag is the lower one
    }
}

}  // namespace

void UnitReader::SetSize(uint32_t width, uint32_t height, uint32_t crop_wide, uint32_t crop_high) {
    constexpr uint32_t kMost = 16384;
    if (width == 0 || height == 0 || width > kMost || height > kMost || crop_wide >= width || crop_high >= height)
        return;
    width_ = static_cast<int>(width - crop_wide);
    height_ = static_cast<int>(height - crop_high);
}

void UnitReader::Read(Bytes unit, Picture *picture) {
    if (unit.size() < (h265_ ? 2 : 1)) {
        picture->damage = "a unit without a whole header";
    } else if ((unit[0] & 0x80) != 0) {
        picture->damage = "a unit whose forbidden bit is set";
    } else if (h265_) {
        ReadH265(unit, picture);
    } else {
        ReadH264(unit, picture);
    }
}

void UnitReader::ReadH264(Bytes unit, Picture *picture) {
    const int type = unit[0] & 31;
    if (type == kSpsH264) ReadSpsH264(unit, picture);
    if (type == kPpsH264) ReadPps(unit, picture);
    if (unit[0] == kSeiH264 && unit.size() > 1 && unit[1] == 0x21) picture->sp = true;
    if (type >= 1 && type <= kIdrH264 && type != 3 && type != 4) ReadSliceH264(unit, picture);
}

void UnitReader::ReadH265(Bytes unit, Picture *picture) {
    const int type = unit[0] >> 1 & 63;
    const bool base_layer = (unit[0] & 1) == 0 && unit[1] >> 3 == 0;
    if (!base_layer) return;
    if (type == kSpsH265) ReadSpsH265(unit, picture);
    if (type == kPpsH265) ReadPps(unit, picture);
    if (type == kSeiH265 && unit.size() > 2 && unit[1] == 1 && unit[2] == 0xE6) picture->sp = true;
    if (type < kSlicesH265) ReadSliceH265(unit, picture);
}

void UnitReader::ReadSpsH264(Bytes unit, Picture *picture) {
    BitReader bits = Bits(unit, 1);
    const uint32_t profile = bits.Bits(8);
    bits.Skip(16);
    const uint32_t id = bits.Ue();
    const uint32_t chroma = IsHighProfile(profile) ? ReadHighFields(&bits) : 1;
    bits.Ue();  // log2_max_frame_num_minus4
    SkipOrderCount(&bits);
    bits.Ue();
    bits.Bit();
    const uint64_t width = (uint64_t{bits.Ue()} + 1) * 16;
    const uint64_t map_units = uint64_t{bits.Ue()} + 1;
    const uint32_t fields = 2 - bits.Bit();
    if (fields == 2) bits.Bit();
    bits.Bit();
    uint64_t crop[4] = {};
    if (bits.Bit() != 0) {
        for (uint64_t &side : crop) side = bits.Ue();
    }
    if (bits.Dry() || id > 31) {
        picture->damage = "an SPS that can't be read";
        return;
    }
    have_sps_.set(id);
    const uint64_t unit_wide = chroma == 1 || chroma == 2 ? 2 : 1, unit_high = (chroma == 1 ? 2 : 1) * fields;
    const auto limited = [](uint64_t value) { return static_cast<uint32_t>(std::min<uint64_t>(value, 1 << 20)); };
    SetSize(limited(width), limited(map_units * 16 * fields), limited((crop[0] + crop[1]) * unit_wide),
            limited((crop[2] + crop[3]) * unit_high));
}

void UnitReader::ReadSpsH265(Bytes unit, Picture *picture) {
    BitReader bits = Bits(unit, 2);
    bits.Skip(4);
    const uint32_t sub_layers = bits.Bits(3);
    bits.Bit();
    SkipProfile(&bits, sub_layers);
    const uint32_t id = bits.Ue();
    const uint32_t chroma = bits.Ue();
    if (chroma == 3) bits.Bit();
    const uint32_t width = bits.Ue(), height = bits.Ue();
    uint64_t crop[4] = {};
    if (bits.Bit() != 0) {
        for (uint64_t &side : crop) side = bits.Ue();
    }
    if (bits.Dry() || id > 15 || sub_layers > 6) {
        picture->damage = "an SPS that can't be read";
        return;
    }
    have_sps_.set(id);
    const auto limited = [](uint64_t value) { return static_cast<uint32_t>(std::min<uint64_t>(value, 1 << 20)); };
    SetSize(width, height, limited((crop[0] + crop[1]) * (chroma == 1 || chroma == 2 ? 2 : 1)),
            limited((crop[2] + crop[3]) * (chroma == 1 ? 2 : 1)));
}

/** Both codings begin with the two numbers; H.265 has three more fields that its slices need. */
void UnitReader::ReadPps(Bytes unit, Picture *picture) {
    BitReader bits = Bits(unit, h265_ ? 2 : 1);
    const uint32_t id = bits.Ue();
    Pps pps;
    pps.sps = bits.Ue();
    if (h265_) {
        bits.Bit();  // dependent_slice_segments_enabled_flag
        pps.output_flag = bits.Bit() != 0;
        pps.extra_bits = bits.Bits(3);
    }
    if (bits.Dry() || id >= pps_.size() || pps.sps > 31) {
        picture->damage = "a PPS that can't be read";
        return;
    }
    have_pps_.set(id);
    pps_[id] = pps;
}

void UnitReader::CheckSets(uint32_t pps, Picture *picture) const {
    if (pps >= pps_.size() || !have_pps_[pps]) {
        picture->missing = "PPS " + std::to_string(pps);
    } else if (!have_sps_[pps_[pps].sps]) {
        picture->missing = "SPS " + std::to_string(pps_[pps].sps);
    }
}

void UnitReader::ReadSliceH264(Bytes unit, Picture *picture) {
    BitReader bits = Bits(unit.first(std::min(unit.size(), kSliceHead)), 1);
    bits.Ue();  // first_mb_in_slice
    const uint32_t type = bits.Ue();
    const uint32_t pps = bits.Ue();
    if (bits.Dry() || type > 9) {
        picture->damage = "a slice whose head can't be read";
        return;
    }
    CheckSets(pps, picture);
    ++picture->slices;
    picture->has_b |= type % 5 == 1;
    picture->only_intra &= type % 5 == 2 || type % 5 == 4;
    picture->random_access |= (unit[0] & 31) == kIdrH264;
}

void UnitReader::ReadSliceH265(Bytes unit, Picture *picture) {
    const int unit_type = unit[0] >> 1 & 63;
    const bool irap = unit_type >= kFirstIrapH265 && unit_type <= kLastIrapH265;
    BitReader bits = Bits(unit.first(std::min(unit.size(), kSliceHead)), 2);
    picture->random_access |= irap;
    ++picture->slices;
    if (bits.Bit() == 0) return;  // the type of further slices stands behind fields that only the SPS can size
    if (irap) bits.Bit();
    const uint32_t pps = bits.Ue();
    CheckSets(pps, picture);
    if (!picture->missing.empty()) {
        picture->readable = false;
        return;
    }
    bits.Skip(pps_[pps].extra_bits);
    const uint32_t type = bits.Ue();
    if (bits.Dry() || type > 2) {
        picture->damage = "a slice whose head can't be read";
        return;
    }
    picture->has_b |= type == 0;
    picture->only_intra &= type == 2;
}

void SplitUnits(Bytes stream, std::vector<Bytes> *units) {
    static const uint8_t kStart[] = {0, 0, 1};
    units->clear();
    const uint8_t *const end = stream.data() + stream.size();
    const auto find = [end](const uint8_t *from) {
        const void *found = memmem(from, static_cast<size_t>(end - from), kStart, sizeof kStart);
        return found != nullptr ? static_cast<const uint8_t *>(found) : end;
    };
    for (const uint8_t *at = find(stream.data()); at != end;) {
        const uint8_t *const begin = at + sizeof kStart;
        at = find(begin);
        const uint8_t *last = at;
        while (last > begin && last[-1] == 0) --last;  // trailing zeros, and the first of a longer start code
        units->push_back({begin, last});
    }
}

bool ReadJpegSize(Bytes picture, int *width, int *height) {
    bytes::Reader reader(picture.data(), picture.size());
    if (reader.U16Be() != 0xFFD8) return false;
    while (reader.Left() > 0) {
        const unsigned marker = reader.U16Be();
        const unsigned length = reader.U16Be();
        if (marker >> 8 != 0xFF || length < 2) return false;
        bytes::Reader segment = reader.Sub(length - 2);
        const bool frame = (marker & 0xF0) == 0xC0 && marker != 0xFFC4 && marker != 0xFFC8 && marker != 0xFFCC;
        if (!frame) continue;
        segment.Skip(1);
        *height = segment.U16Be();
        *width = segment.U16Be();
        return segment.Ok();
    }
    return false;
}

}  // namespace zvprobe
