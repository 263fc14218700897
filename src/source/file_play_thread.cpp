// The play thread of a file port: frames from the file become pictures and sound at the pace of the file.
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "pipeline/callbacks.h"
#include "pipeline/decode_deliver.h"
#include "pipeline/decode_stage.h"
#include "pipeline/prepare_stage.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "port/port_state.h"
#include "port/run_messages.h"
#include "queue/record_head.h"
#include "source/file_play.h"
#include "source/frame_ctrl.h"
#include "source/trick_play.h"

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 NO_KEY_FRAME = 0xFFFFFFFF;
const ULONG_32 IDLE_WAIT_MS = 10000; /**< paused: whatever the client asks for wakes the thread */
const ULONG_32 ORPHAN_WAIT_MS = 10;  /**< paused with a step pending: another call has put the step aside */
const ULONG_32 ROOM_WAIT_MS = 10;
const FLOAT TICKS_A_MS = 90.0F;

/** What the thread knows from one pass to the next. */
struct FILE_LOOP_S {
    PLAEYR_PORT_S *pstPort;
    struct timeval tiStart; /**< when the pass began */
    DELIVER_STATE_S stDeliver;
};

bool IsKeyFramePlay(const PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    return ulFrameCtrl == FRAME_CTRL_ONLY_I_FRAME || ulFrameCtrl == FRAME_CTRL_ONLY_I_SP_FRAME;
}

/* ---- what the client asks for ---- */

void EndStep(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bCtrlSucc) == 0) {
        word::StoreRelease(pstPort->bCtrlSucc, 1);
        Wake_Signal(&pstPort->stControlWake);
    }
}

/** Publishes the position for those who may not touch the parser. */
void NotePlayTime(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulPlayTime = 0;
    if (File_GetPlayTime(&pstPort->stFileInfo, &ulPlayTime) == PLAYER_ERR_OK) {
        word::Store(pstPort->ulFilePlayTime, ulPlayTime);
    }
}

/** Jumps if the client asked for it. */
bool ServeSeek(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->ulSetPlayTime) == NO_SEEK) {
        return false;
    }
    const ULONG_32 ulSeconds = word::Exchange(pstPort->ulSetPlayTime, NO_SEEK);
    pstPort->stFileInfo.ulPreIFrameTime = NO_KEY_FRAME;
    ULONG_32 ulResult = File_SetPlayTime(&pstPort->stFileInfo, ulSeconds, word::Load(pstPort->stStateInfo.lFrameRate));
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Start FilePlay Thread Warning: File_SetPlayTime Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
    return true;
}

/** Sleeps until a control call. A step that another call has put aside counts as done. */
void WaitPaused(PLAEYR_PORT_S *pstPort) {
    const bool bStepPending = word::Load(pstPort->bCtrlSucc) == 0;
    const bool bWoken =
        Wake_Wait(&pstPort->stControlWake, pstPort->ulControlTicket, bStepPending ? ORPHAN_WAIT_MS : IDLE_WAIT_MS);
    if (bStepPending && !bWoken && word::Load(pstPort->ulFrameCtrl) == FRAME_CTRL_PAUSE) {
        EndStep(pstPort);
    }
}

/** Does what the frame control says; false when nothing is to be read now. */
bool ServeFrameCtrl(PLAEYR_PORT_S *pstPort) {
    switch (FrameCtrl_Serve(pstPort)) {
        case FRAME_CTRL_STEP_WAIT:
            WaitPaused(pstPort);
            return false;
        case FRAME_CTRL_STEP_READ:
            return true;
        case FRAME_CTRL_STEP_UNKNOWN:
            break;
    }
    LOG_WARN("Port[%03d] Start FilePlay Thread Warning: FrameCtrl Unknown[%d].", pstPort->ulPort,
             word::Load(pstPort->ulFrameCtrl));
    return true;
}

/* ---- reading ---- */

void ReportFileEnd(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl) {
    LOG_INFO("Port[%03d] FilePlay Thread: File Read End.", pstPort->ulPort);
    FrameCtrl_Replace(pstPort, ulFrameCtrl, FRAME_CTRL_PAUSE);
    EndStep(pstPort);
    ULONG_32 ulResult =
        Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_MEDIA_PROCESS, PLAYER_ERR_FILE_END, 0, nullptr});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] FilePlay Thread Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort, ulResult);
    }
}

void HandleReadFailure(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl, ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_FILE_END) {
        ReportFileEnd(pstPort, ulFrameCtrl);
        return;
    }
    if (ulResult != PLAYER_ERR_UNKNOWN_STREAM) {
        pstPort->bNeedIFrame = 1;
    }
    LOG_WARN("Port[%03d] FilePlay Thread Warning: Player_ParserFile Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
}

/** Reads the next frame into stFrameData. After a jump a step that came with it is still to be done. */
bool ReadFrame(PLAEYR_PORT_S *pstPort, bool bAfterSeek) {
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    ULONG_32 ulResult = Player_ParserFile(pstPort, ulFrameCtrl);
    NotePlayTime(pstPort);
    if (!bAfterSeek && word::Load(pstPort->ulFrameCtrl) == FRAME_CTRL_PAUSE) {
        EndStep(pstPort);
    }
    if (ulResult != PLAYER_ERR_OK) {
        HandleReadFailure(pstPort, ulFrameCtrl, ulResult);
        return false;
    }
    NET_MathBitRate(static_cast<ULONG_32>(pstPort->stFrameData.lDataLen), &pstPort->stStateInfo);
    return true;
}

/* ---- recording ---- */

/** Whether a full queue is worth waiting for: a step and a close must not wait for a recorder that stands still. */
bool MayWaitForRoom(const PLAEYR_PORT_S *pstPort) {
    return word::Load(pstPort->ulBufferCtrl) == PLAYER_BUFFER_CTRL_BLOCK && word::Load(pstPort->bStartRecord) &&
           word::Load(pstPort->bStartRecv) && word::Load(pstPort->bCtrlSucc) && !PortLock_IsClosing(pstPort->ulPort);
}

/** Whether a head and so many bytes find room in the record ring now; only this thread writes there. */
bool HasRecordRoom(PLAEYR_PORT_S *pstPort, ULONG_32 ulLen) {
    const ULONG_32 ulNeed = 1 + (ulLen + RECORD_RING_SLOT - 1) / RECORD_RING_SLOT;
    ULONG_32 ulUsed = 0;
    QUEUE_GetCurPacketLen(&pstPort->stRecordBufferQueue, &ulUsed);
    return word::LoadAcquire(pstPort->stRecordBufferQueue.ulBufNum) > ulUsed + ulNeed;
}

ULONG_32 AddToRecord(PLAEYR_PORT_S *pstPort, void *pData, ULONG_32 ulLen) {
    return QUEUE_AddPacketEx(static_cast<CHAR *>(pData), ulLen, word::LoadAcquire(pstPort->pstPayloadType),
                             &pstPort->stRecordBufferQueue);
}

/** Adds a head and its frame, or neither: the reader takes whatever follows a head for its frame. */
ULONG_32 AddFrameToRecord(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    const ULONG_32 ulLen = static_cast<ULONG_32>(stFrame.lDataLen);
    while (!HasRecordRoom(pstPort, ulLen)) {
        if (!MayWaitForRoom(pstPort)) {
            return PLAYER_ERR_QUEUE_FULL;
        }
        QUEUE_WaitForRoom(&pstPort->stRecordBufferQueue, ROOM_WAIT_MS);
    }
    PLAYER_RECORDHEAD_S stHead = {{'R', 'd', 'H', 'd'}, stFrame.lPayload, stFrame.lFormatType, 0, stFrame.dulTimestamp};
    ULONG_32 ulResult = AddToRecord(pstPort, &stHead, sizeof(stHead));
    return ulResult == PLAYER_ERR_OK ? AddToRecord(pstPort, stFrame.pucData, ulLen) : ulResult;
}

/** Hands the frame to a running recording, as a head and the data. */
void RecordFrame(PLAEYR_PORT_S *pstPort) {
    if (!word::Load(pstPort->bStartRecord) || pstPort->stFrameData.lDataLen <= 0) {
        return;
    }
    ULONG_32 ulResult = AddFrameToRecord(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] FilePlay Thread Warning: QUEUE_AddPacket Record Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
}

/* ---- decoding ---- */

/** Runs the frame tap; false when the frame goes no further. */
bool PassFrameTap(PLAEYR_PORT_S *pstPort) {
    const LONG_32 lPayload = pstPort->stFrameData.lPayload;
    const bool bVideo = Payload_IsVideo(lPayload);
    if (!bVideo && !Payload_IsAudio(lPayload)) {
        return true;
    }
    Player_ExecuteFrameCB(pstPort);
    const PLAYER_CALLBACKSET_S &stSet = pstPort->stCallBack;
    return word::Load(bVideo ? stSet.stVideoFrameCB.bContinue : stSet.stAudioFrameCB.bContinue) != 0;
}

bool PassGates(PLAEYR_PORT_S *pstPort) {
    return Deliver_PassKeyFrameGate(pstPort) && pstPort->stFrameData.lPayload != PLAYER_PAYLOAD_DATA &&
           Deliver_PassSoundChannel(pstPort);
}

/** Decodes the frame; false when nothing came out of it. */
bool DecodeFrame(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    pstPort->stSeiInfo.ulSeiTotalLen = 0;
    ULONG_32 ulResult = Player_FindDecode(stFrame.lPayload, pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] FilePlay Thread Warning: Find Decode Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        if (Payload_IsInterVideo(stFrame.lPayload) && stFrame.lFormatType == PLAYER_VIDEO_FRAME_I) {
            pstPort->bNeedIFrame = 1;
        }
        return false;
    }
    if (!Player_PrepareFrame(pstPort)) {
        return false;
    }
    ulResult = Player_Decoder(&pstPort->stFrameData, pstPort);
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_NO_PICTURE) {
        if (Payload_IsInterVideo(stFrame.lPayload)) {
            pstPort->bNeedIFrame = 1;
        }
        LOG_WARN("Port[%03d] FilePlay Thread Warning: Decoder Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult == PLAYER_ERR_OK;
}

/* ---- delivery ---- */

/** In key-frame play the pace follows the real distance of the last two key frames. */
void MeasureKeyInterval(PLAEYR_PORT_S *pstPort) {
    if (!IsKeyFramePlay(pstPort)) {
        return;
    }
    FILE_INFO_S &stFile = pstPort->stFileInfo;
    const ULONG_32 ulTime = static_cast<ULONG_32>(pstPort->stFrameData.dulTimestamp);
    if (stFile.ulPreIFrameTime != NO_KEY_FRAME && stFile.ulPreIFrameTime != ulTime) {
        stFile.fIFrameIntervalTime = static_cast<FLOAT>(ulTime - stFile.ulPreIFrameTime) / TICKS_A_MS;
    }
    stFile.ulPreIFrameTime = ulTime;
}

void Pace(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (word::Load(pstPort->stFileInfo.lFrameRate) != 0) {
        Player_FileSleepProc(&pstLoop->tiStart, word::Load(pstPort->fFilePlaySpeed), pstPort);
    }
}

/** Runs the picture tap; false when the picture is not to be shown. */
bool PassPictureTap(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->lRectify) != PLAYER_VIDEO_CB_DEFAULT || PortCodec_WantsGpu(pstPort)) {
        return true;
    }
    Player_ExecuteDecodeCB(pstPort);
    return word::Load(pstPort->stCallBack.stVideoDataCB.bContinue) != 0;
}

/** Shows a picture and waits as long as it is to stand; false when the pass ends here. */
bool DeliverPicture(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    MeasureKeyInterval(pstPort);
    if (!PassPictureTap(pstPort)) {
        Pace(pstLoop);
        return false;
    }
    if (word::Load(pstPort->bStartVideo) != 1) {
        return true;
    }
    if (!Deliver_ShowPicture(pstPort, &pstLoop->stDeliver)) {
        return false;
    }
    Pace(pstLoop);
    return true;
}

bool DeliverBlock(PLAEYR_PORT_S *pstPort) {
    Player_ExecuteDecodeCB(pstPort);
    return word::Load(pstPort->stCallBack.stAudioDataCB.bContinue) != 0;
}

void DeliverResult(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (pstPort->ulCurDataType == AUDIO_DATA ? DeliverBlock(pstPort) : DeliverPicture(pstLoop)) {
        Deliver_PlaySound(pstPort, &pstLoop->stDeliver);
    }
}

void PlayPass(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    pstPort->ulControlTicket = Wake_Ticket(&pstPort->stControlWake);
    WYK_gettimeofday(&pstLoop->tiStart, nullptr);
    const bool bAfterSeek = ServeSeek(pstPort);
    if (!bAfterSeek && !ServeFrameCtrl(pstPort)) {
        return;
    }
    if (!ReadFrame(pstPort, bAfterSeek)) {
        return;
    }
    RecordFrame(pstPort);
    if (PassFrameTap(pstPort) && PassGates(pstPort) && DecodeFrame(pstPort)) {
        DeliverResult(pstLoop);
    }
}

}  // namespace

void *__FilePlayThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartRecv);
    LOG_INFO("Port[%03d] Start __FilePayThreadEntry Thread Succeed.", pstPort->ulPort);
    FILE_LOOP_S stLoop = {};
    stLoop.pstPort = pstPort;
    Deliver_Begin(&stLoop.stDeliver, DELIVER_FILE_THREAD);
    pstPort->bNeedIFrame = 1;
    while (word::Load(pstPort->bStartRecv)) {
        PlayPass(&stLoop);
    }
    PortState_DropSoundDevice(pstPort);
    return nullptr;
}
