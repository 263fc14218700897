#include "source/stream_common.h"

#include <errno.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "output/offscreen_queue.h"
#include "pipeline/decode_stage.h"
#include "port/port_lock.h"

namespace {

const ULONG_32 RING_SLOT_PAYLOAD = 2048;

}  // namespace

bool Stream_OpenWake(WAKE_FD_S *pstWake) {
    CMutexGuard oGuard(&gstPortMutexLock);
    const bool bOpen = WakeFd_Open(pstWake);
    if (!bOpen) {
        LOG_WARN("Stream_OpenWake Failed, Error:[0x%x].", static_cast<ULONG_32>(errno));
    }
    return bOpen;
}

void Stream_CloseWake(WAKE_FD_S *pstWake) {
    CMutexGuard oGuard(&gstPortMutexLock);
    WakeFd_Close(pstWake);
}

ULONG_32 Stream_MakeRing(PLAEYR_PORT_S *pstPort) {
    if (QUEUE_InitPacketBuffer(&pstPort->stPacketBufferQueue, RING_SLOT_PAYLOAD, pstPort->ulBufferNum) !=
        PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] QUEUE_InitPacketBuffer Failed, Num:[%d].", pstPort->ulPort, pstPort->ulBufferNum);
        return PLAYER_ERR_RESOURCE;
    }
    return PLAYER_ERR_OK;
}

void Stream_Begin(PLAEYR_PORT_S *pstPort) {
    WYK_gettimeofday(&pstPort->stStateInfo.stBitPrevTime, nullptr);
    word::Store(pstPort->bStartRecv, 1);
}

ULONG_32 Stream_StartDecodeThread(PLAEYR_PORT_S *pstPort) {
    LONG lResult = QLOM_SDK_thr_create(__DecodeThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hDecodeThread);
    if (lResult == 0) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Create Decode Thread Failed, Error:[0x%x].", pstPort->ulPort, static_cast<ULONG_32>(lResult));
    pstPort->hDecodeThread = 0;
    word::Store(pstPort->bStartRecv, 0);
    return PLAYER_ERR_RESOURCE;
}

void Stream_JoinThreads(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bStartRecv, 0);
    Port_WakeAll(pstPort);
    QLOM_SDK_thr_join(pstPort->hSourceThread);
    pstPort->hSourceThread = 0;
    QLOM_SDK_thr_join(pstPort->hDecodeThread);
    pstPort->hDecodeThread = 0;
}

ULONG_32 Stream_PlayTime(const PORT_INTAKE_S *pstIntake) {
    const ULONG_32 ulTime = word::Load(pstIntake->stRtpVideoStreamInfo.ulPlaybackTime);
    return ulTime != 0 ? ulTime : word::Load(pstIntake->stTsStreamInfo.ulPlayBackTime);
}
