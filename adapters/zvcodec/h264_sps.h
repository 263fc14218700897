/**
 * @file h264_sps.h
 * @brief The one thing that decoding needs to know of a sequence parameter set (ITU-T H.264, 7.3.2.1.1).
 */
#ifndef ZELVANE_ADAPTERS_H264_SPS_H
#define ZELVANE_ADAPTERS_H264_SPS_H

#include "common/annexb.h"

namespace zv {

/** Whether pictures under this sequence parameter set may be fields: frame_mbs_only_flag is 0, or it ends too early. */
bool MayHoldFields(const Unit &sps);

}  // namespace zv

#endif
