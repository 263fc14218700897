// The render thread: pictures from the queue go to the window, as soon as possible or evenly.
#include "pipeline/render_stage.h"

#include <string.h>

#include <algorithm>

#include "analytics/iva_show.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "output/videodisplay.h"
#include "pipeline/callbacks.h"
#include "pipeline/pacing.h"
#include "port/player_manager.h"
#include "port/port_lock.h"

namespace {

const ULONG_32 REAL_ROUND_MS = 5;   /**< shortest time between two pictures without pacing */
const ULONG_32 REFILL_WAIT_MS = 10; /**< after the queue ran dry while frames are on their way */
const ULONG_32 NO_DISPLAY_WAIT_MS = 2;
const LONG_32 EMPTY_SLOWDOWN_MS = 10; /**< an empty queue slows the display a little */
const ULONG_32 IDLE_WAIT_MS = 10000;  /**< nothing to show: a picture, a setting or the window wakes the thread */
const ULONG_32 LOOK_WAIT_MS = 1000;   /**< the same where windows wake nobody */
const ULONG_32 UNSET = 65535;
const UCHAR NEUTRAL_LUMA = 62;
const UCHAR NEUTRAL_CHROMA = 128;

/** What the thread knows from one round to the next. */
struct RENDER_LOOP_S {
    PLAEYR_PORT_S *pstPort;
    CODE_DECODED_DATA_S *pstDecodeVideoData; /**< picture held, or null */
    ULONG_32 ulCurDisplayScale;              /**< what the display was told last */
    ULONG_32 ulCurDigitalZoom;
    PLAYER_RECT_S stCurSrcRect;
    BOOL_T bCurIvaEnable; /**< whether the last draw was to show analytics, and what of them */
    ULONG_32 ulCurShowTicket;
    BOOL_T bDecodeDataEmpty;    /**< the queue ran dry */
    struct timeval tiStartTime; /**< when the round before began or waited */
};

bool IsRunning(const PORT_PLAY_S *pstPlay) { return word::Load(pstPlay->bStartVideo) == 1; }

/* ---- pictures that stay in the hardware decoder ---- */

void WaitOnGpu(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    struct timeval tiCurTime;
    LONG_32 lUsedTime = 0;
    if (Pacing_UsedTime(pstPort, "Render Thread", &pstLoop->tiStartTime, &tiCurTime, &lUsedTime)) {
        const LONG_32 lWaitTime = Pacing_FrameTime(pstPort) - lUsedTime;
        Pacing_Wait(pstPort, &pstPort->bStartVideo, lWaitTime >= 1 && lWaitTime <= 999 ? lWaitTime : 1);
    }
    pstLoop->tiStartTime = tiCurTime;
}

void PresentFromGpu(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    WaitOnGpu(pstLoop);
    const CMutexGuard oLock(&pstPort->stDecodeVideoData.stLock);
    if (word::Load(pstPort->bUseGpuRander) == 1) {
        PLAYER_RECT_S *pstRect = word::Load(pstPort->ulDigitalZoom) != 0 ? &pstPort->stSrcRect : nullptr;
        CODE_GpuDisPlayPic(&pstPort->stVideoDecode, word::Load(pstPort->hWnd), word::Load(pstPort->ulDisplayScale),
                           pstRect, Player_DrawDataCB, pstPort);
    }
}

/* ---- waiting ---- */

bool IsQueueEmpty(const PORT_QUEUE_S *pstQueues) {
    const DECODED_BUFFER_QUEUE_S &stQueue = pstQueues->stDecodeBufferQueue;
    return word::Load(stQueue.pstReadIndex) == word::Load(stQueue.pstWriteIndex);
}

LONG_32 EvenWaitTime(const PLAEYR_PORT_S *pstPort, PLAYER_PICTURE_FLUENCY_E enMode, LONG_32 lUsedTime) {
    const LONG_32 LEAST_CORRECTION_MS = -2;
    const LONG_32 lWaitTime = Pacing_FrameTime(pstPort) - lUsedTime;
    if (enMode != PLAYER_PICTURE_RTMP_FLUENCY) {
        return IsQueueEmpty(pstPort) ? lWaitTime + EMPTY_SLOWDOWN_MS : lWaitTime;
    }
    const LONG_32 lCorrectTime =
        Player_MashTimeFrameCount(word::Load(pstPort->stPacketBufferQueue.ulFrameCount), Pacing_HopeBufNum(pstPort),
                                  word::Load(pstPort->stStateInfo.lFrameRate));
    return lWaitTime + (lCorrectTime < 0 ? LEAST_CORRECTION_MS : lCorrectTime);
}

/** The wait of the pacing modes before a picture is taken. */
void WaitEvenly(RENDER_LOOP_S *pstLoop, PLAYER_PICTURE_FLUENCY_E enMode) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const bool bRefilling = pstLoop->bDecodeDataEmpty == 1 && enMode != PLAYER_PICTURE_RTMP_FLUENCY &&
                            word::Load(pstPort->stPacketBufferQueue.ulFrameCount) != 0;
    if (bRefilling) {
        pstLoop->bDecodeDataEmpty = 0;
        Pacing_Wait(pstPort, &pstPort->bStartVideo, REFILL_WAIT_MS);
    } else {
        struct timeval tiCurTime;
        LONG_32 lUsedTime = 0;
        if (Pacing_UsedTime(pstPort, "Render Thread", &pstLoop->tiStartTime, &tiCurTime, &lUsedTime)) {
            Pacing_Wait(pstPort, &pstPort->bStartVideo, EvenWaitTime(pstPort, enMode, lUsedTime));
        }
    }
    WYK_gettimeofday(&pstLoop->tiStartTime, nullptr);
}

/** Without pacing a picture is shown when it comes, but no two closer together than a round. */
void WaitForRound(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    struct timeval stNow;
    WYK_gettimeofday(&stNow, nullptr);
    const LONG_32 lUsedTime = Time_ElapsedMs(&pstLoop->tiStartTime, &stNow);
    if (lUsedTime >= 0 && lUsedTime < static_cast<LONG_32>(REAL_ROUND_MS)) {
        Pacing_Wait(pstPort, &pstPort->bStartVideo, static_cast<LONG_32>(REAL_ROUND_MS) - lUsedTime);
    }
}

void WaitForTurn(RENDER_LOOP_S *pstLoop) {
    const PLAYER_PICTURE_FLUENCY_E enMode = word::Load(pstLoop->pstPort->enPicFluncy);
    if (Pacing_IsEven(enMode)) {
        WaitEvenly(pstLoop, enMode);
    } else {
        WaitForRound(pstLoop);
    }
}

/* ---- showing ---- */

/** Takes the next picture from the queue; false when there is none. */
bool FetchPicture(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    ULONG_32 ulResult = QUEUE_GetDecodeData(&pstPort->stDecodeBufferQueue, &pstLoop->pstDecodeVideoData);
    if (ulResult == PLAYER_ERR_OK) {
        return true;
    }
    if (pstLoop->pstDecodeVideoData == nullptr) {
        LOG_WARN("Port[%03d] Render Thread Warning, DecodeVideoData is Null.", pstPort->ulPort);
    }
    if (ulResult == PLAYER_ERR_QUEUE_EMPTY) {
        pstLoop->bDecodeDataEmpty = 1;
    }
    return false;
}

/** Once the hardware decoder presents by itself, the picture held is of no use. */
void FillNeutral(CODE_DECODED_DATA_S *pstPicture) {
    const size_t ulArea = static_cast<size_t>(pstPicture->lLineSize[0]) * static_cast<size_t>(pstPicture->lHeight);
    const size_t ulRows = static_cast<size_t>(pstPicture->lHeight) / 2;
    memset(pstPicture->pucData[0], NEUTRAL_LUMA, ulArea);
    memset(pstPicture->pucData[1], NEUTRAL_CHROMA, static_cast<size_t>(pstPicture->lLineSize[1]) * ulRows);
    memset(pstPicture->pucData[2], NEUTRAL_CHROMA, static_cast<size_t>(pstPicture->lLineSize[2]) * ulRows);
}

bool PassesScale(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulScale = word::Load(pstPort->ulDisplayScale);
    if (ulScale == pstLoop->ulCurDisplayScale) {
        return false;
    }
    Video_SetDisPlayScale(pstPort->hDisplayDev, static_cast<PLAYER_RENDER_SCALE_E>(ulScale));
    pstLoop->ulCurDisplayScale = ulScale;
    return true;
}

PLAYER_RECT_S LoadRect(const PLAYER_RECT_S &stRect) {
    return {word::Load(stRect.lLeft), word::Load(stRect.lTop), word::Load(stRect.lRight), word::Load(stRect.lBottom)};
}

bool PassesZoom(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulZoom = word::Load(pstPort->ulDigitalZoom);
    const PLAYER_RECT_S stRect = LoadRect(pstPort->stSrcRect);
    if (ulZoom == pstLoop->ulCurDigitalZoom && memcmp(&stRect, &pstLoop->stCurSrcRect, sizeof(stRect)) == 0) {
        return false;
    }
    Video_SetDisPlayRect(pstPort->hDisplayDev, stRect, ulZoom != 0);
    pstLoop->ulCurDigitalZoom = ulZoom;
    pstLoop->stCurSrcRect = stRect;
    return true;
}

bool HasAnalytics(const RENDER_LOOP_S *pstLoop) {
    return pstLoop->pstDecodeVideoData != nullptr &&
           word::LoadAcquire(pstLoop->pstDecodeVideoData->stDrawInfo.hIvaInfo) != nullptr;
}

/** Whether the picture held looks different by what the client now wants to see of analytics. */
bool PassesShow(RENDER_LOOP_S *pstLoop) {
    const BOOL_T bEnable = word::Load(pstLoop->pstPort->stIvaInfo.bDRVEnable);
    const ULONG_32 ulTicket = IvaShow_Ticket();
    if (bEnable == pstLoop->bCurIvaEnable && ulTicket == pstLoop->ulCurShowTicket) {
        return false;
    }
    pstLoop->bCurIvaEnable = bEnable;
    pstLoop->ulCurShowTicket = ulTicket;
    return HasAnalytics(pstLoop);
}

/** Analytics go with the picture, unless the client has switched them off since. */
void Draw(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    CODE_DECODED_DATA_S stPlain;
    CODE_DECODED_DATA_S *pstPicture = pstLoop->pstDecodeVideoData;
    if (pstLoop->bCurIvaEnable != 1 && HasAnalytics(pstLoop)) {
        stPlain = *pstPicture;
        stPlain.stDrawInfo = {};
        pstPicture = &stPlain;
    }
    Video_DisPlayPic(pstPort->ulPort, pstPort->hDisplayDev, pstPicture);
}

/** Draws, if the picture, a setting or the window is new. */
void Present(RENDER_LOOP_S *pstLoop, bool bNewPicture) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (pstPort->hDisplayDev == nullptr) {
        Pacing_Wait(pstPort, &pstPort->bStartVideo, NO_DISPLAY_WAIT_MS);
        LOG_WARN("Port[%03d] Render Thread Warning, DisplayDev is Null.", pstPort->ulPort);
        return;
    }
    const bool bNewSetting = static_cast<int>(PassesScale(pstLoop)) | static_cast<int>(PassesZoom(pstLoop)) |
                             static_cast<int>(PassesShow(pstLoop));
    if (pstLoop->pstDecodeVideoData == nullptr) {
        return;
    }
    if (bNewPicture || bNewSetting || Video_NeedsRedraw(pstPort->hDisplayDev)) {
        Draw(pstLoop);
    }
}

/** Sleeps when nothing is to be done until something happens. */
void WaitForSomething(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulDue = Video_RedrawDue(pstPort->hDisplayDev);
    if (IsRunning(pstPort) && ulDue != 0) {
        QUEUE_WaitForDecodeData(&pstPort->stDecodeBufferQueue,
                                std::min(ulDue, Video_IsWatching() ? IDLE_WAIT_MS : LOOK_WAIT_MS));
    }
}

void SoftwareRound(RENDER_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    WaitForTurn(pstLoop);
    const bool bNewPicture = FetchPicture(pstLoop);
    if (bNewPicture && !Pacing_IsEven(word::Load(pstPort->enPicFluncy))) {
        WYK_gettimeofday(&pstLoop->tiStartTime, nullptr);
    }
    if (pstLoop->bDecodeDataEmpty == 1 && word::Load(pstPort->bUseGpuRander) == 1 &&
        pstLoop->pstDecodeVideoData != nullptr) {
        FillNeutral(pstLoop->pstDecodeVideoData);
    }
    Present(pstLoop, bNewPicture);
    if (!bNewPicture) {
        WaitForSomething(pstPort);
    }
}

void RedrawWake(void *pUser) { QUEUE_WakeDecodeReader(&static_cast<PLAEYR_PORT_S *>(pUser)->stDecodeBufferQueue); }

ULONG_32 StartRenderThread(PLAEYR_PORT_S *pstPort, HANDLE hWnd) {
    ULONG_32 ulResult =
        QUEUE_InitDecodedBufferQueue(&pstPort->stDecodeBufferQueue, word::Load(pstPort->ulDecodeBufferNum));
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_StartPlay Failed, QUEUE_InitDecodedBufferQueue Failed, Error:[0x%x].",
                  pstPort->ulPort, ulResult);
        return ulResult;
    }
    word::Store(pstPort->hWnd, hWnd);
    word::Store(pstPort->bStartVideo, 1);
    Video_SetRedrawWake(pstPort->hDisplayDev, RedrawWake, pstPort);
    LONG lResult = QLOM_SDK_thr_create(__RenderThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hRenderThread);
    if (lResult != 0) {
        LOG_ERROR("Port[%03d] Create Render Thread Failed, Error:[0x%x].", pstPort->ulPort,
                  static_cast<ULONG_32>(lResult));
        return PLAYER_ERR_RESOURCE;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 StartPlay(PLAEYR_PORT_S *pstPort, HANDLE hWnd) {
    if (word::Load(pstPort->bStartVideo) == 1) {
        LOG_WARN("Port[%03d] Player_StartPlay Failed, Playing Now.", pstPort->ulPort);
        return PLAYER_ERR_OK;
    }
    pstPort->hDisplayDev = Video_CreateDisplayDec(hWnd);
    if (pstPort->hDisplayDev == nullptr) {
        LOG_ERROR("Port[%03d] Video_CreateDisplayDec Failed.", pstPort->ulPort);
        return PLAYER_ERR_DISPLAY_CREATE;
    }
    if (word::Load(pstPort->stCallBack.stDrawCB.hFunc) != nullptr) {
        Video_SetDrawDataCallBack(pstPort->hDisplayDev, Player_DrawDataCB, pstPort);
    }
    const ULONG_32 ulResult = StartRenderThread(pstPort, hWnd);
    if (ulResult != PLAYER_ERR_OK) {
        word::Store(pstPort->bStartVideo, 0);
        Video_DeleteDisplayDec(&pstPort->hDisplayDev);
        QUEUE_CleanupDecodedBufferQueue(&pstPort->stDecodeBufferQueue);
    }
    return ulResult;
}

/** Lets a file play, with a window or without; not before the window takes pictures, or it would miss the first. */
void PlayOn(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bFilePort)) {
        word::StoreRelease(pstPort->ulFrameCtrl, FRAME_CTRL_PLAY);
        Port_WakeAll(pstPort);
    }
}

}  // namespace

void *__RenderThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartVideo);
    RENDER_LOOP_S stLoop = {};
    stLoop.pstPort = pstPort;
    stLoop.ulCurDisplayScale = UNSET;
    stLoop.ulCurDigitalZoom = UNSET;
    WYK_gettimeofday(&stLoop.tiStartTime, nullptr);
    LOG_INFO("Port[%03d] Start __RenderThreadEntry Thread Succeed.", pstPort->ulPort);
    while (IsRunning(pstPort)) {
        if (word::Load(pstPort->bUseGpuRander) == 1) {
            PresentFromGpu(&stLoop);
        } else {
            SoftwareRound(&stLoop);
        }
    }
    return nullptr;
}

ULONG_32 Player_StartPlay(ULONG_32 ulPort, HANDLE hWnd) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const ULONG_32 ulResult = StartPlay(pstPort, hWnd);
    PlayOn(pstPort);
    return ulResult;
}

ULONG_32 Player_StopPlay(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pthread_equal(pthread_self(), pstPort->hRenderThread)) {
        LOG_ERROR("Port[%03d] Player_StopPlay Failed, Called On The Render Thread.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    if (word::Load(pstPort->bFilePort)) {
        word::Store(pstPort->ulFrameCtrl, FRAME_CTRL_PAUSE);
    }
    word::Store(pstPort->bStartVideo, 0);
    QUEUE_WakeDecodeReader(&pstPort->stDecodeBufferQueue);
    Wake_Signal(&pstPort->stControlWake);
    QLOM_SDK_thr_join(pstPort->hRenderThread);
    pstPort->hRenderThread = 0;
    Video_DeleteDisplayDec(&pstPort->hDisplayDev);
    word::Store(pstPort->hWnd, nullptr);
    LOG_INFO("Port[%03d] Player_StopPlay Success.", ulPort);
    return PLAYER_ERR_OK;
}
