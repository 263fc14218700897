/**
 * @file queue_inner.h
 * @brief What the sources of module_queue share among themselves.
 */
#ifndef ZELVANE_QUEUE_QUEUE_INNER_H
#define ZELVANE_QUEUE_QUEUE_INNER_H

#include <pthread.h>

#include <algorithm>
#include <cstdint>

#include "foundations/guards.h"
#include "foundations/player_types.h"

/**
 * What a record's dulMade holds once its mutexes are made. It depends on the address, so that neither leftovers of a
 * stack frame nor a copy of another record pass for an initialised one.
 */
inline DULONG Queue_Mark(const void *pvRecord) {
    return reinterpret_cast<std::uintptr_t>(pvRecord) ^ 0x5A45'4C56'414E'4551ULL;
}

/**
 * Bytes from the first pixel of a plane to its last one, for a row of dlLine bytes. A crop moves the start of a plane
 * into its first row, so that behind the pixels of the last row there may be nothing.
 */
inline DLONG Queue_PixelBytes(LONG_32 lWidth, LONG_32 lHeight, int iPlane, DLONG dlLine) {
    const LONG_32 lShift = iPlane == 0 ? 0 : 1;
    const DLONG dlRows = (static_cast<DLONG>(lHeight) + lShift) >> lShift;
    const DLONG dlWidth = std::max<DLONG>((static_cast<DLONG>(lWidth) + lShift) >> lShift, 0);
    const DLONG dlPlane = iPlane == 0 ? lHeight * dlLine : lHeight * dlLine / 2;
    return std::min(dlPlane, (dlRows - 1) * dlLine + std::min(dlWidth, dlLine));
}

#endif
