/**
 * @file h264_heads.h
 * @brief What decoding needs to know of parameter sets and slice headers (ITU-T H.264, 7.3.2.1, 7.3.2.2, 7.3.3).
 */
#ifndef ZELVANE_ADAPTERS_H264_HEADS_H
#define ZELVANE_ADAPTERS_H264_HEADS_H

#include <array>

#include "common/annexb.h"

namespace zv {

/** The front of a slice header: what tells one picture from the next (7.4.1.2.4). */
struct SliceHead {
    uint32_t first_mb = 0; /**< macroblock at which the slice begins; 0 begins a picture */
    uint32_t frame_num = 0;
    uint32_t idr_pic_id = 0;
    uint32_t order = 0;     /**< pic_order_cnt_lsb, or delta_pic_order_cnt[0] */
    uint8_t order_bits = 0; /**< of pic_order_cnt_lsb, where there is one */
    bool idr = false;
    bool intra = false;     /**< its blocks refer to no other picture */
    bool reference = false; /**< other pictures may refer to it */
    bool field = false;
    bool bottom = false;
    bool pairs = false;     /**< a frame of macroblock pairs (MBAFF) */
    bool redundant = false; /**< a second copy, for decoders that miss the first one */

    /** Whether this picture is shown before another that is not far away. */
    bool IsShownBefore(const SliceHead &other) const {
        const uint32_t range = order_bits != 0 ? 1U << order_bits : 0U;
        return range != 0 && ((order - other.order) & (range - 1)) >= range / 2;
    }

    /** Whether both are slices of one picture. */
    bool SamePicture(const SliceHead &other) const {
        return frame_num == other.frame_num && idr_pic_id == other.idr_pic_id && order == other.order &&
               idr == other.idr && reference == other.reference && field == other.field && bottom == other.bottom;
    }
};

/** Remembers the parameter sets of a stream and reads slice headers by them. */
class H264Heads {
 public:
    /** Takes a sequence parameter set; one that makes no sense is forgotten. */
    void TakeSps(const Unit &unit);
    /** Takes a picture parameter set; the same. */
    void TakePps(const Unit &unit);
    /** @return false for a slice that is cut off, or whose parameter sets have not come */
    bool Read(const Unit &slice, SliceHead *head) const;

 private:
    struct Sps {
        bool known = false;
        uint8_t frame_num_bits = 0;
        uint8_t order_type = 0;
        uint8_t order_bits = 0;
        bool order_zero = false; /**< delta_pic_order_always_zero_flag */
        bool frames_only = false;
        bool pairs = false; /**< mb_adaptive_frame_field_flag */
        bool separate_planes = false;
    };
    struct Pps {
        bool known = false;
        uint8_t sps = 0;
        bool order_present = false; /**< bottom_field_pic_order_in_frame_present_flag */
        bool redundant_present = false;
    };
    std::array<Sps, 32> sps_{};
    std::array<Pps, 256> pps_{};
};

/** Whether an SEI unit tells that decoding may start at its picture (D.1.8). */
bool IsRecoveryPoint(const Unit &sei);

}  // namespace zv

#endif
