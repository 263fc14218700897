/**
 * @file hls_wait.h
 * @brief How a fetch waits for its peer: until something comes, the patience ends, or the stream closes.
 */
#ifndef ZELVANE_CLOUD_HLS_WAIT_H
#define ZELVANE_CLOUD_HLS_WAIT_H

#include <poll.h>
#include <time.h>

#include "cloud/hls_types.h"

/** Patience with a peer that says nothing, milliseconds. */
inline constexpr DLONG HLS_PATIENCE_MS = 30000;

typedef enum tagHlsWaitE {
    HLS_WAIT_READY, /**< the descriptor can be used */
    HLS_WAIT_TOO_LONG,
    HLS_WAIT_ENDED /**< the stream closes */
} HLS_WAIT_E;

/** Milliseconds of a clock that nobody sets. */
inline DLONG Hls_ClockMs() {
    struct timespec stNow;
    clock_gettime(CLOCK_MONOTONIC, &stNow);
    return static_cast<DLONG>(stNow.tv_sec) * 1000 + stNow.tv_nsec / 1000000;
}

/** Whether a fetch is to go on. Null for one that nothing ends. */
bool HlsWait_IsWanted(const PLAYER_HLS_TYPE_INFO_S *pstInfos);

/** Waits for a descriptor (-1: for the end alone), until a time of Hls_ClockMs() at the latest. */
HLS_WAIT_E HlsWait_Until(int iFd, short sEvents, DLONG dlDeadline, const PLAYER_HLS_TYPE_INFO_S *pstInfos);

#endif
