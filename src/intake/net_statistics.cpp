#include "intake/module_net.h"

#include <time.h>

#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"

namespace {

const LONG_32 RATE_PERIOD_MS = 2500;
const LONG_32 LOSS_STEP_MS = 1000;

/** The time in seconds and milliseconds, from the clock's last tick: exact enough for periods of seconds. */
struct timeval TickTime() {
    struct timespec stNow;
    clock_gettime(CLOCK_REALTIME_COARSE, &stNow);
    return {stNow.tv_sec, stNow.tv_nsec / 1000000};
}

/** Sums a list of counters, drops the oldest and starts a new one at 0. */
LONG_32 ShiftWindow(LONG_32 *plList) {
    LONG_32 lSum = 0;
    for (ULONG_32 i = NET_LOSS_WINDOW; i-- > 0;) {
        LONG_32 lValue = word::Load(plList[i]);
        lSum += lValue;
        if (i + 1 < NET_LOSS_WINDOW) {
            word::Store(plList[i + 1], lValue);
        }
    }
    word::Store(plList[0], 0);
    return lSum;
}

}  // namespace

ULONG_32 NET_MathBitRate(ULONG_32 ulRecvDataLen, NET_STATEINFO_S *pstStateInfo) {
    pstStateInfo->dulCurRecvBit += ulRecvDataLen;
    const struct timeval stNow = TickTime();
    LONG_32 lElapsed = Time_ElapsedMs(&pstStateInfo->stBitPrevTime, &stNow);
    if (lElapsed <= RATE_PERIOD_MS) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulRate = static_cast<ULONG_32>(pstStateInfo->dulCurRecvBit * 1000 / static_cast<DULONG>(lElapsed));
    if (pstStateInfo->ulPrevBitRate == 0) {
        pstStateInfo->ulPrevBitRate = ulRate;
    }
    word::Store(pstStateInfo->ulBitRate, (pstStateInfo->ulPrevBitRate + ulRate) / 2);
    pstStateInfo->ulPrevBitRate = ulRate;
    pstStateInfo->stBitPrevTime = stNow;
    pstStateInfo->dulCurRecvBit = 0;
    return PLAYER_ERR_OK;
}

ULONG_32 NET_MathPacket(NET_STATEINFO_S *pstStateInfo) {
    word::Add(pstStateInfo->alALLPktList[0], 1);
    const struct timeval stNow = TickTime();
    if (Time_ElapsedMs(&pstStateInfo->stPktPrevTime, &stNow) <= LOSS_STEP_MS) {
        return PLAYER_ERR_OK;
    }
    word::Store(pstStateInfo->lAllPktNum, ShiftWindow(pstStateInfo->alALLPktList));
    word::Store(pstStateInfo->lLostPktNum, ShiftWindow(pstStateInfo->alLostPktList));
    pstStateInfo->stPktPrevTime = stNow;
    return PLAYER_ERR_OK;
}

ULONG_32 NET_AddLostPacket(NET_STATEINFO_S *pstStateInfo) {
    word::Add(pstStateInfo->alLostPktList[0], 1);
    return PLAYER_ERR_OK;
}

ULONG_32 NET_ResetLostPacket(NET_STATEINFO_S *pstStateInfo) {
    for (LONG_32 &lCount : pstStateInfo->alLostPktList) {
        word::Store(lCount, 0);
    }
    return PLAYER_ERR_OK;
}
