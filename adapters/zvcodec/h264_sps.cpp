#include "zvcodec/h264_sps.h"

#include <algorithm>
#include <iterator>

#include "foundations/bytes.h"

namespace zv {
namespace {

using bytes::BitReader;

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

void SkipChroma(BitReader *reader) {
    const uint32_t chroma_format = reader->Ue();
    if (chroma_format == 3) {
        reader->Bit();  // separate_colour_plane_flag
    }
    reader->Ue();  // bit depths
    reader->Ue();
    reader->Bit();  // qpprime_y_zero_transform_bypass_flag
    if (reader->Bit() != 0) {
        SkipScalingMatrix(reader, chroma_format);
    }
}

void SkipPictureOrder(BitReader *reader) {
    const uint32_t type = reader->Ue();
    if (type == 0) {
        reader->Ue();
    } else if (type == 1) {
        reader->Bit();
        reader->Se();
        reader->Se();
        for (uint32_t left = reader->Ue(); left > 0 && !reader->Dry(); --left) {
            reader->Se();
        }
    }
}

}  // namespace

bool MayHoldFields(const Unit &sps) {
    BitReader reader(sps.data, sps.Size(), bytes::Emulation::kRemove);
    reader.Skip(8);  // the unit's header
    const uint32_t profile = reader.Bits(8);
    reader.Skip(16);  // constraints, level
    reader.Ue();      // identifier
    if (std::find(std::begin(kHighProfiles), std::end(kHighProfiles), profile) != std::end(kHighProfiles)) {
        SkipChroma(&reader);
    }
    reader.Ue();  // log2_max_frame_num
    SkipPictureOrder(&reader);
    reader.Ue();  // max_num_ref_frames
    reader.Bit();
    reader.Ue();  // size
    reader.Ue();
    return reader.Bit() == 0;  // a dry reader gives 0
}

}  // namespace zv
