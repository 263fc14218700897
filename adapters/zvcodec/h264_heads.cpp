#include "zvcodec/h264_heads.h"

#include <algorithm>
#include <iterator>

#include "foundations/bytes.h"

namespace zv {
namespace {

using bytes::BitReader;

constexpr uint8_t kIdrSlice = 5;
constexpr uint32_t kIntraSlice = 2;
constexpr uint32_t kRecoveryPoint = 6;

/** Profiles whose sets tell the chroma format and scaling lists. */
constexpr uint32_t kHighProfiles[] = {44, 83, 86, 100, 110, 118, 122, 128, 134, 135, 138, 139, 244};

void SkipScalingList(BitReader *reader, int size) {
    int last = 8;
    int next = 8;
    for (int i = 0; i < size && next != 0 && !reader->Dry(); ++i) {
        next = (last + (reader->Se() & 0xFF)) & 0xFF;
        last = next != 0 ? next : last;
    }
}

void SkipScalingMatrix(BitReader *reader, uint32_t chroma_format) {
    const int lists = chroma_format == 3 ? 12 : 8;
    for (int i = 0; i < lists && !reader->Dry(); ++i) {
        if (reader->Bit() != 0) {
            SkipScalingList(reader, i < 6 ? 16 : 64);
        }
    }
}

/** @return separate_colour_plane_flag */
bool SkipChroma(BitReader *reader) {
    const uint32_t chroma_format = reader->Ue();
    const bool separate = chroma_format == 3 && reader->Bit() != 0;
    reader->Ue();  // bit depths
    reader->Ue();
    reader->Bit();  // qpprime_y_zero_transform_bypass_flag
    if (reader->Bit() != 0) {
        SkipScalingMatrix(reader, chroma_format);
    }
    return separate;
}

void SkipSes(BitReader *reader, uint32_t count) {
    for (; count > 0 && !reader->Dry(); --count) {
        reader->Se();
    }
}

void SkipUes(BitReader *reader, uint32_t count) {
    for (; count > 0 && !reader->Dry(); --count) {
        reader->Ue();
    }
}

/** Macroblock to slice group map (7.3.2.2); FFmpeg decodes no picture with groups, but the fields behind them count. */
void SkipSliceGroups(BitReader *reader) {
    const uint32_t groups = reader->Ue();  // less one
    if (groups == 0) {
        return;
    }
    const uint32_t type = reader->Ue();
    if (type == 0) {
        SkipUes(reader, groups + 1);
    } else if (type == 2) {
        SkipUes(reader, 2 * groups);
    } else if (type >= 3 && type <= 5) {
        reader->Bit();
        reader->Ue();
    } else if (type == 6) {
        const uint32_t bits = groups > 3 ? 3 : groups > 1 ? 2 : 1;
        reader->Skip((uint64_t{reader->Ue()} + 1) * bits);
    }
}

BitReader Fields(const Unit &unit) {
    BitReader reader(unit.data, unit.Size(), bytes::Emulation::kRemove);
    reader.Skip(8);  // the unit's header
    return reader;
}

}  // namespace

void H264Heads::TakeSps(const Unit &unit) {
    BitReader reader = Fields(unit);
    const uint32_t profile = reader.Bits(8);
    reader.Skip(16);  // constraints, level
    const uint32_t id = reader.Ue();
    if (reader.Dry() || id >= sps_.size()) {
        return;
    }
    Sps sps;
    if (std::find(std::begin(kHighProfiles), std::end(kHighProfiles), profile) != std::end(kHighProfiles)) {
        sps.separate_planes = SkipChroma(&reader);
    }
    sps.frame_num_bits = static_cast<uint8_t>(std::min(reader.Ue(), 12U) + 4);
    sps.order_type = static_cast<uint8_t>(std::min(reader.Ue(), 3U));
    if (sps.order_type == 0) {
        sps.order_bits = static_cast<uint8_t>(std::min(reader.Ue(), 12U) + 4);
    } else if (sps.order_type == 1) {
        sps.order_zero = reader.Bit() != 0;
        SkipSes(&reader, 2);
        SkipSes(&reader, reader.Ue());
    }
    reader.Ue();  // max_num_ref_frames
    reader.Bit();
    SkipUes(&reader, 2);  // size
    sps.frames_only = reader.Bit() != 0;
    sps.pairs = !sps.frames_only && reader.Bit() != 0;
    sps.known = !reader.Dry();
    sps_[id] = sps;
}

void H264Heads::TakePps(const Unit &unit) {
    BitReader reader = Fields(unit);
    const uint32_t id = reader.Ue();
    const uint32_t sps = reader.Ue();
    if (reader.Dry() || id >= pps_.size() || sps >= sps_.size()) {
        return;
    }
    Pps pps;
    pps.sps = static_cast<uint8_t>(sps);
    reader.Bit();  // entropy_coding_mode_flag
    pps.order_present = reader.Bit() != 0;
    SkipSliceGroups(&reader);
    SkipUes(&reader, 2);  // reference counts
    reader.Skip(3);       // weighted prediction
    SkipSes(&reader, 3);  // quantiser
    reader.Skip(2);       // deblocking, constrained intra prediction
    pps.redundant_present = reader.Bit() != 0;
    pps.known = !reader.Dry();
    pps_[id] = pps;
}

bool H264Heads::Read(const Unit &slice, SliceHead *head) const {
    BitReader reader = Fields(slice);
    *head = {};
    head->reference = (slice.data[0] & 0x60) != 0;
    head->idr = (slice.data[0] & 0x1F) == kIdrSlice;
    head->first_mb = reader.Ue();
    head->intra = reader.Ue() % 5 == kIntraSlice;
    const uint32_t id = reader.Ue();
    if (reader.Dry() || id >= pps_.size() || !pps_[id].known || !sps_[pps_[id].sps].known) {
        return false;
    }
    const Pps &pps = pps_[id];
    const Sps &sps = sps_[pps.sps];
    reader.Skip(sps.separate_planes ? 2 : 0);  // colour_plane_id
    head->frame_num = reader.Bits(sps.frame_num_bits);
    head->field = !sps.frames_only && reader.Bit() != 0;
    head->bottom = head->field && reader.Bit() != 0;
    head->pairs = sps.pairs && !head->field;
    head->idr_pic_id = head->idr ? reader.Ue() : 0;
    if (sps.order_type == 0) {
        head->order_bits = sps.order_bits;
        head->order = reader.Bits(sps.order_bits);
        SkipSes(&reader, pps.order_present && !head->field ? 1 : 0);
    } else if (sps.order_type == 1 && !sps.order_zero) {
        head->order = static_cast<uint32_t>(reader.Se());
        SkipSes(&reader, pps.order_present && !head->field ? 1 : 0);
    }
    head->redundant = pps.redundant_present && reader.Ue() != 0;
    return !reader.Dry();
}

bool IsRecoveryPoint(const Unit &sei) {
    BitReader reader = Fields(sei);
    const auto number = [&reader] {  // 7.3.2.3.1: bytes of 255 and one below that, added up
        uint32_t sum = 0;
        uint32_t byte = 0;
        do {
            byte = reader.Bits(8);
            sum += byte;
        } while (byte == 255 && !reader.Dry());
        return sum;
    };
    while (!reader.Dry()) {
        const uint32_t type = number();
        const uint32_t size = number();
        if (type == kRecoveryPoint && size != 0 && !reader.Dry()) {
            return true;
        }
        reader.Skip(uint64_t{size} * 8);
    }
    return false;
}

}  // namespace zv
