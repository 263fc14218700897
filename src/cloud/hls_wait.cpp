#include "cloud/hls_wait.h"

#include <errno.h>

#include <algorithm>

#include "foundations/shared_word.h"

namespace {
const DLONG WOKEN_SLICE_MS = 1000; /**< something wakes the wait: this is only for safety */
const DLONG BLIND_SLICE_MS = 20;   /**< nothing does */
}  // namespace

bool HlsWait_IsWanted(const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    return pstInfos == nullptr || word::Load(pstInfos->bStartDownload);
}

HLS_WAIT_E HlsWait_Until(int iFd, short sEvents, DLONG dlDeadline, const PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    const WAKE_FD_S *pstWake = pstInfos != nullptr ? pstInfos->pstFetchWake : nullptr;
    const int iWakeFd = pstWake != nullptr ? WakeFd_Descriptor(pstWake) : -1;
    const DLONG dlSlice = iWakeFd >= 0 ? WOKEN_SLICE_MS : BLIND_SLICE_MS;
    struct pollfd astPoll[] = {{iFd, sEvents, 0}, {iWakeFd, POLLIN, 0}};  // poll passes over descriptors below 0
    while (HlsWait_IsWanted(pstInfos)) {
        const DLONG dlLeft = dlDeadline - Hls_ClockMs();
        if (dlLeft <= 0) {
            return HLS_WAIT_TOO_LONG;
        }
        const int iReady = poll(astPoll, 2, static_cast<int>(std::min(dlLeft, dlSlice)));
        if (iReady > 0 && astPoll[1].revents != 0) {
            WakeFd_Take(pstWake);
        }
        // Also with an error on the descriptor: the call that follows says which.
        if (iReady > 0 && astPoll[0].revents != 0 && HlsWait_IsWanted(pstInfos)) {
            return HLS_WAIT_READY;
        }
    }
    return HLS_WAIT_ENDED;
}
