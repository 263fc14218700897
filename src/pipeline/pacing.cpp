#include "pipeline/pacing.h"

#include <algorithm>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"

namespace {

const LONG_32 MAX_WAIT_MS = 999;
const LONG_32 MAX_FRAME_TIME_MS = 60; /**< a wrong estimate of a low rate must not freeze the picture */
const LONG_32 LEAST_SPEED_TIME_MS = 5;
const LONG_32 HOPE_FRAME_MS = 40;
const LONG_32 SOFT_DIVISOR = 20;

/** In mode 4 a small backlog changes nothing and a great one only a little. */
LONG_32 SoftenCorrection(LONG_32 lCorrectTime) {
    lCorrectTime /= SOFT_DIVISOR;
    if (lCorrectTime < -3) {
        return lCorrectTime + 3;
    }
    return lCorrectTime == -1 || lCorrectTime == -2 ? 0 : lCorrectTime;
}

/** The render thread paces a window alone; the two sides must not wait for each other. */
bool RenderSidePaces(const PLAEYR_PORT_S *pstPort, PLAYER_PICTURE_FLUENCY_E enMode) {
    if (enMode == PLAYER_PICTURE_RTMP_FLUENCY) {
        return false;
    }
    if (word::Load(pstPort->bStartVideo) != 1 || word::Load(pstPort->bUseGpuRander) != 0 ||
        word::Load(pstPort->stCallBack.stVideoDataCB.bContinue) != 1) {
        return false;
    }
    const OFF_SCREEN_QUEUE_S &stQueue = pstPort->stOffScreenQueue;
    return stQueue.pstWriteIndex == stQueue.pstReadIndex || stQueue.pstWriteIndex == stQueue.pstReadIndex->pstNext;
}

ULONG_32 HopeOfMode(const PLAEYR_PORT_S *pstPort, PLAYER_PICTURE_FLUENCY_E enMode) {
    const ULONG_32 ulHope = Pacing_HopeBufNum(pstPort);
    if (enMode == PLAYER_PICTURE_BALANCE_NEW) {
        return ulHope / 2;
    }
    return enMode == PLAYER_PICTURE_RTMP_FLUENCY ? ulHope * 20 : ulHope;
}

LONG_32 DecodeWaitTime(const PLAEYR_PORT_S *pstPort, PLAYER_PICTURE_FLUENCY_E enMode, LONG_32 lUsedTime) {
    LONG_32 lCorrectTime =
        Player_MashTimeFrameCount(word::Load(pstPort->stPacketBufferQueue.ulFrameCount), HopeOfMode(pstPort, enMode),
                                  word::Load(pstPort->stStateInfo.lFrameRate));
    if (enMode == PLAYER_PICTURE_RTMP_FLUENCY) {
        lCorrectTime = SoftenCorrection(lCorrectTime);
    }
    // Wrapping arithmetic: a wild backlog gives a wild wait, which is then dropped.
    return static_cast<LONG_32>(static_cast<ULONG_32>(word::Load(pstPort->stStateInfo.lFrameIntervalTime)) -
                                static_cast<ULONG_32>(lUsedTime) + static_cast<ULONG_32>(lCorrectTime));
}

LONG_32 TimeAtSpeed(FLOAT fSpeed, LONG_32 lFrameRate, LONG_32 lWithoutRate) {
    if (lFrameRate <= 0 || !(fSpeed >= 0) || fSpeed > 1000) {
        return lWithoutRate;
    }
    return static_cast<LONG_32>(1000.0 * fSpeed / lFrameRate);
}

}  // namespace

bool Pacing_IsEven(PLAYER_PICTURE_FLUENCY_E enMode) {
    return enMode == PLAYER_PICTURE_FLUENCY || enMode == PLAYER_PICTURE_BALANCE_NEW ||
           enMode == PLAYER_PICTURE_RTMP_FLUENCY;
}

ULONG_32 Pacing_HopeBufNum(const PLAEYR_PORT_S *pstPort) { return pstPort->stOffScreenQueue.ulBufNum; }

LONG_32 Pacing_FrameTime(const PLAEYR_PORT_S *pstPort) {
    const FLOAT fSpeed = word::Load(pstPort->fFilePlaySpeed);
    if (word::Load(pstPort->bFilePort)) {
        return TimeAtSpeed(fSpeed, word::Load(pstPort->stFileInfo.lFrameRate), 0);
    }
    const PLAYER_PLAY_SPEED_E enSpeed = word::Load(pstPort->enSpeedValue);
    if (enSpeed >= PLAYER_SPEED_2_FORWARD && enSpeed <= PLAYER_SPEED_16_FORWARD) {
        return std::max(TimeAtSpeed(fSpeed, word::Load(pstPort->stStateInfo.lFrameRate), 0), LEAST_SPEED_TIME_MS);
    }
    return std::min(word::Load(pstPort->stStateInfo.lFrameIntervalTime), MAX_FRAME_TIME_MS);
}

void Pacing_Wait(PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun, LONG_32 lWaitTime) {
    if (lWaitTime >= 1 && lWaitTime <= MAX_WAIT_MS) {
        Port_Sleep(pstPort, pbRun, static_cast<ULONG_32>(lWaitTime));
    }
}

bool Pacing_UsedTime(const PLAEYR_PORT_S *pstPort, const CHAR *pcWhere, const struct timeval *pstSince,
                     struct timeval *pstNow, LONG_32 *plUsedTime) {
    WYK_gettimeofday(pstNow, nullptr);
    *plUsedTime = Time_ElapsedMs(pstSince, pstNow);
    if (*plUsedTime < 0) {
        LOG_WARN("Port[%03d] %s Warning, Used Time:[%d] < 0.", pstPort->ulPort, pcWhere, *plUsedTime);
        return false;
    }
    return true;
}

LONG_32 Player_MashTimeFrameCount(ULONG_32 ulFrameCount, ULONG_32 ulHopeBufNum, LONG_32 lFrameRate) {
    const LONG_32 SLOW_RATE = 4;
    const LONG_32 lOneFrameCacheTime = lFrameRate != 0 ? 1000 / lFrameRate : HOPE_FRAME_MS;
    const ULONG_32 ulCurCacheTime = static_cast<ULONG_32>(lOneFrameCacheTime) * ulFrameCount;
    const ULONG_32 ulHopeCacheTime = ulHopeBufNum * HOPE_FRAME_MS;
    const bool bOverHopeFlag = ulHopeCacheTime <= ulCurCacheTime;
    const ULONG_32 ulDiffTime = bOverHopeFlag ? ulCurCacheTime - ulHopeCacheTime : ulHopeCacheTime - ulCurCacheTime;
    const ULONG_32 ulWaitTime = static_cast<ULONG_32>(lOneFrameCacheTime / 10) * (ulDiffTime / HOPE_FRAME_MS);
    if (bOverHopeFlag) {
        return static_cast<LONG_32>(0U - ulWaitTime);
    }
    return lFrameRate > SLOW_RATE ? static_cast<LONG_32>(ulWaitTime) : -lOneFrameCacheTime;
}

void Player_WaitForDecodeTime(PLAEYR_PORT_S *pstPort) {
    const PLAYER_PICTURE_FLUENCY_E enMode = word::Load(pstPort->enPicFluncy);
    if (!Pacing_IsEven(enMode)) {
        return;
    }
    if (!RenderSidePaces(pstPort, enMode)) {
        struct timeval stNow;
        LONG_32 lUsedTime = 0;
        if (Pacing_UsedTime(pstPort, "Player_WaitForDecodeTime", &pstPort->tiProTime, &stNow, &lUsedTime)) {
            Pacing_Wait(pstPort, &pstPort->bStartRecv, DecodeWaitTime(pstPort, enMode, lUsedTime));
        }
    }
    WYK_gettimeofday(&pstPort->tiProTime, nullptr);
}
