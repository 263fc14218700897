// Pause, speeds, single steps, seeks and the pace of a file.
#include "source/trick_play.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "source/source_kind.h"

namespace {

const DLONG WAKE_UP_ALLOWANCE_MS = 2;
const ULONG_32 STEP_WAIT_MS = 10000; /**< whatever ends the wait for a step wakes it */

/** What a speed does to the pacing factor. */
enum SPEED_SOURCE_E : UCHAR {
    SPEED_KEPT,      /**< stays */
    SPEED_FIXED,     /**< the value itself */
    SPEED_OF_STREAM, /**< frames a second of the stream, divided by the value */
    SPEED_OF_FILE    /**< frames a second of the file, divided by the value */
};

/** What it does to the choice of frames. */
enum SPEED_FRAMES_E : UCHAR {
    FRAMES_KEPT,       /**< stays */
    FRAMES_ALL,        /**< every frame */
    FRAMES_KEY,        /**< key frames */
    FRAMES_KEY_OF_FILE /**< key frames of a file that is not made of pictures on their own; else every frame */
};

struct SPEED_ROW_S {
    SPEED_SOURCE_E enSource;
    FLOAT fValue;
    SPEED_FRAMES_E enFrames;
};

/** By PLAYER_PLAY_SPEED_E. */
const SPEED_ROW_S gastSpeed[] = {
    {SPEED_FIXED, 4.0F, FRAMES_ALL},              // PLAYER_SPEED_QUARTER_FORWARD
    {SPEED_FIXED, 2.0F, FRAMES_ALL},              // PLAYER_SPEED_HALF_FORWARD
    {SPEED_FIXED, 1.0F, FRAMES_ALL},              // PLAYER_SPEED_1_FORWARD
    {SPEED_FIXED, 0.5F, FRAMES_ALL},              // PLAYER_SPEED_2_FORWARD
    {SPEED_FIXED, 0.25F, FRAMES_KEY_OF_FILE},     // PLAYER_SPEED_4_FORWARD
    {SPEED_FIXED, 0.125F, FRAMES_KEY_OF_FILE},    // PLAYER_SPEED_8_FORWARD
    {SPEED_FIXED, 0.0625F, FRAMES_KEY_OF_FILE},   // PLAYER_SPEED_16_FORWARD
    {SPEED_OF_STREAM, 16.0F, FRAMES_KEY},         // PLAYER_SPEED_16_BACKWARD
    {SPEED_OF_STREAM, 8.0F, FRAMES_KEY},          // PLAYER_SPEED_8_BACKWARD
    {SPEED_OF_FILE, 4.0F, FRAMES_KEY},            // PLAYER_SPEED_4_BACKWARD
    {SPEED_OF_STREAM, 2.0F, FRAMES_KEY},          // PLAYER_SPEED_2_BACKWARD
    {SPEED_OF_STREAM, 1.0F, FRAMES_KEY},          // PLAYER_SPEED_1_BACKWARD
    {SPEED_FIXED, 1.0F, FRAMES_ALL},              // PLAYER_SPEED_HALF_BACKWARD
    {SPEED_FIXED, 1.0F, FRAMES_ALL},              // PLAYER_SPEED_QUARTER_BACKWARD
    {SPEED_OF_STREAM, 2.0F, FRAMES_KEY},          // PLAYER_SPEED_2_FORWARD_IFRAME
    {SPEED_OF_FILE, 4.0F, FRAMES_KEY},            // PLAYER_SPEED_4_FORWARD_IFRAME
    {SPEED_OF_STREAM, 8.0F, FRAMES_KEY},          // PLAYER_SPEED_8_FORWARD_IFRAME
    {SPEED_OF_STREAM, 16.0F, FRAMES_KEY},         // PLAYER_SPEED_16_FORWARD_IFRAME
    {SPEED_OF_STREAM, 2.0F, FRAMES_KEY},          // PLAYER_SPEED_2_BACKWARD_IFRAME
    {SPEED_OF_FILE, 4.0F, FRAMES_KEY},            // PLAYER_SPEED_4_BACKWARD_IFRAME
    {SPEED_OF_STREAM, 8.0F, FRAMES_KEY},          // PLAYER_SPEED_8_BACKWARD_IFRAME
    {SPEED_OF_STREAM, 16.0F, FRAMES_KEY},         // PLAYER_SPEED_16_BACKWARD_IFRAME
    {SPEED_KEPT, 0, FRAMES_KEPT},                 // PLAYER_SPEED_INTELLIGENT_FORWARD
    {SPEED_KEPT, 0, FRAMES_KEPT},                 // PLAYER_SPEED_1_FRAME_FORWARD
    {SPEED_KEPT, 0, FRAMES_KEPT},                 // PLAYER_SPEED_I_FRAME_BACKWARD
    {SPEED_FIXED, 0.025F, FRAMES_KEY_OF_FILE},    // PLAYER_SPEED_40_FORWARD
    {SPEED_OF_STREAM, 32.0F, FRAMES_KEY},         // PLAYER_SPEED_32_FORWARD_IFRAME
    {SPEED_OF_STREAM, 32.0F, FRAMES_KEY},         // PLAYER_SPEED_32_BACKWARD_IFRAME
    {SPEED_OF_STREAM, 64.0F, FRAMES_KEY},         // PLAYER_SPEED_64_FORWARD_IFRAME
    {SPEED_OF_STREAM, 64.0F, FRAMES_KEY},         // PLAYER_SPEED_64_BACKWARD_IFRAME
    {SPEED_OF_STREAM, 128.0F, FRAMES_KEY},        // PLAYER_SPEED_128_FORWARD_IFRAME
    {SPEED_OF_STREAM, 128.0F, FRAMES_KEY},        // PLAYER_SPEED_128_BACKWARD_IFRAME
    {SPEED_OF_STREAM, 256.0F, FRAMES_KEY},        // PLAYER_SPEED_256_FORWARD_IFRAME
    {SPEED_OF_STREAM, 256.0F, FRAMES_KEY},        // PLAYER_SPEED_256_BACKWARD_IFRAME
    {SPEED_FIXED, 0.03125F, FRAMES_KEY_OF_FILE},  // PLAYER_SPEED_32_FORWARD
    {SPEED_OF_STREAM, 32.0F, FRAMES_KEY},         // PLAYER_SPEED_32_BACKWARD
};
const ULONG_32 SPEED_NUM = sizeof(gastSpeed) / sizeof(gastSpeed[0]);
static_assert(SPEED_NUM == PLAYER_SPEED_32_BACKWARD + 1);

bool IsFilePort(const PORT_SOURCE_S *pstSource) { return word::Load(pstSource->ulPortUsed) == PORT_USED_TYPE_FILE; }

/** Wakes whichever thread paces the port's frames. */
void WakePlay(PLAEYR_PORT_S *pstPort) {
    Wake_Signal(&pstPort->stControlWake);
    Wake_Signal(&pstPort->stHlsTypeInfos.stPlayWake);
}

/* ---- speed ---- */

void SetPaceOf(PLAEYR_PORT_S *pstPort, const SPEED_ROW_S &stRow) {
    FLOAT fSpeed = stRow.fValue;
    if (stRow.enSource == SPEED_OF_STREAM) {
        fSpeed = static_cast<FLOAT>(word::Load(pstPort->stStateInfo.lFrameRate)) / stRow.fValue;
    } else if (stRow.enSource == SPEED_OF_FILE) {
        fSpeed = static_cast<FLOAT>(word::Load(pstPort->stFileInfo.lFrameRate)) / stRow.fValue;
    }
    if (stRow.enSource != SPEED_KEPT) {
        word::Store(pstPort->fFilePlaySpeed, fSpeed);
    }
}

void SetFramesOf(PLAEYR_PORT_S *pstPort, const SPEED_ROW_S &stRow) {
    const bool bKeyOfFile = stRow.enFrames == FRAMES_KEY_OF_FILE && IsFilePort(pstPort) &&
                            word::Load(pstPort->lVideoCodecID) != PLAYER_PAYLOAD_JPEG;
    if (stRow.enFrames != FRAMES_KEPT) {
        word::Store(pstPort->ulFrameCtrl,
                    stRow.enFrames == FRAMES_KEY || bKeyOfFile ? FRAME_CTRL_ONLY_I_FRAME : FRAME_CTRL_PLAY);
    }
}

/* ---- steps ---- */

/** Also when the port closes, and when a callback of the port has taken up other play meanwhile. */
bool IsStepOver(const PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    return word::LoadAcquire(pstPort->bCtrlSucc) == 1 || !word::Load(pstPort->bStartRecv) ||
           PortLock_IsClosing(pstPort->ulPort) || PortThread_MustGiveUp() ||
           (ulFrameCtrl != FRAME_CTRL_AFRAME_GO && ulFrameCtrl != FRAME_CTRL_PAUSE);
}

void WaitForStep(PLAEYR_PORT_S *pstPort) {
    for (;;) {
        ULONG_32 ulTicket = Wake_Ticket(&pstPort->stControlWake);
        if (IsStepOver(pstPort)) {
            return;
        }
        Wake_Wait(&pstPort->stControlWake, ulTicket, STEP_WAIT_MS);
    }
}

/* ---- pace ---- */

/** How long the picture at hand is to stand, milliseconds from 0 to INT_MAX. */
DLONG WantedTime(const PORT_FILE_S *pstPlayed, FLOAT fSpeed) {
    const ULONG_32 ulFrameCtrl = word::Load(pstPlayed->ulFrameCtrl);
    const bool bKeyFrames = ulFrameCtrl == FRAME_CTRL_ONLY_I_FRAME || ulFrameCtrl == FRAME_CTRL_ONLY_I_SP_FRAME;
    const LONG_32 lFrameRate = word::Load(pstPlayed->stFileInfo.lFrameRate);
    double dWanted = 0;
    if (bKeyFrames) {
        dWanted = static_cast<double>(pstPlayed->stFileInfo.fIFrameIntervalTime * fSpeed);
    } else if (lFrameRate != 0) {
        dWanted = 1000.0 * static_cast<double>(fSpeed) / lFrameRate;
    }
    if (!(dWanted > 0)) {
        return 0;
    }
    return dWanted < INT_MAX ? static_cast<DLONG>(dWanted) : INT_MAX;
}

/** Seconds count from the last paced picture, milliseconds from the start of the pass. */
DLONG ElapsedTime(const struct timeval &stSince, const struct timeval &stStart, const struct timeval &stNow) {
    return (static_cast<DLONG>(stNow.tv_sec) - stSince.tv_sec) * 1000 + (stNow.tv_usec - stStart.tv_usec);
}

}  // namespace

ULONG_32 Player_SpeedPlay(ULONG_32 ulPort, ULONG_32 ulSpeed) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulSpeed >= SourceKind_Of(pstPort).ulSpeeds) {
        LOG_ERROR("Port[%03d] Player_SpeedPlay Failed, This Port Not support Speed Play, Error:[0x%x].", ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT));
        return PLAYER_ERR_NOT_SUPPORT;
    }
    word::Store(pstPort->enSpeedValue, static_cast<PLAYER_PLAY_SPEED_E>(std::min(ulSpeed, SPEED_NUM)));
    if (ulSpeed >= SPEED_NUM) {
        LOG_ERROR("Port[%03d] Player_SpeedPlay Failed, PlaySpeed:[%d] not Support", ulPort, ulSpeed);
        return PLAYER_ERR_PARAM;
    }
    SetPaceOf(pstPort, gastSpeed[ulSpeed]);
    SetFramesOf(pstPort, gastSpeed[ulSpeed]);
    WakePlay(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_PausePlay(ULONG_32 ulPort, BOOL_T bPause) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!SourceKind_Of(pstPort).bPauses) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    word::Store(pstPort->ulFrameCtrl, bPause == 1 ? FRAME_CTRL_PAUSE : FRAME_CTRL_PLAY);
    WakePlay(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_AFrameGo(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!IsFilePort(pstPort)) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_AFrameGo Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    CPortWaiter oWaiter(CPortWaiter::WAIT_PIPELINE, ulPort, PortThread_Innermost());
    if (oWaiter.LeadsBack()) {
        return PLAYER_ERR_PARAM;  // the play thread waits for this very thread
    }
    // In this order: the play thread must not end the step before it is marked as pending.
    word::Store(pstPort->bCtrlSucc, 0);
    word::StoreRelease(pstPort->ulFrameCtrl, FRAME_CTRL_AFRAME_GO);
    Wake_Signal(&pstPort->stControlWake);
    WaitForStep(pstPort);
    const bool bClosing = word::Load(pstPort->bCtrlSucc) == 0 &&
                          (PortLock_IsClosing(ulPort) || PortThread_MustGiveUp() || !word::Load(pstPort->bStartRecv));
    word::Store(pstPort->bCtrlSucc, 1);
    return bClosing ? PLAYER_ERR_FAILED : PLAYER_ERR_OK;
}

ULONG_32 Player_AFrameBack(ULONG_32) { return PLAYER_ERR_NOT_SUPPORT; }

ULONG_32 Player_SetPlayedTime(ULONG_32 ulPort, ULONG_32 ulTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!IsFilePort(pstPort)) {
        LOG_ERROR("Port[%03d] Player_SetPlayedTime Failed, This Port Not support Set Time, Error:[0x%x].", ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT));
        return PLAYER_ERR_NOT_SUPPORT;
    }
    word::Store(pstPort->ulSetPlayTime, ulTime);
    Wake_Signal(&pstPort->stControlWake);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_FileSleepProc(struct timeval *pstStart, FLOAT fSpeed, PLAEYR_PORT_S *pstPort) {
    if (pstStart == nullptr || pstPort == nullptr) {
        LOG_ERROR("Player_FileSleepProc Failed, Invalid Param.");
        return PLAYER_ERR_PARAM;
    }
    struct timeval stNow;
    WYK_gettimeofday(&stNow, nullptr);
    const DLONG dlDelay = WantedTime(pstPort, fSpeed) - ElapsedTime(pstPort->stFileInfo.tiProTime, *pstStart, stNow) -
                          WAKE_UP_ALLOWANCE_MS;
    if (dlDelay > 0 && word::Load(pstPort->bStartRecv)) {
        Wake_Wait(&pstPort->stControlWake, pstPort->ulControlTicket,
                  static_cast<ULONG_32>(std::min<DLONG>(dlDelay, INT_MAX)));
    }
    WYK_gettimeofday(&pstPort->stFileInfo.tiProTime, nullptr);
    return PLAYER_ERR_OK;
}
