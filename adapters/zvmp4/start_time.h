/**
 * @file start_time.h
 * @brief When a recording began.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_START_TIME_H
#define ZELVANE_ADAPTERS_ZVMP4_START_TIME_H

#include <ctime>

#include "codec/zvmp4.h"

namespace zv {

/** The start of a recording, UTC seconds since 1970, by what its muxer was told. `now` is the present time. */
ULONG_32 StartTime(const FORMAT_STREAM_INFO_S &info, time_t now);

}  // namespace zv

#endif
