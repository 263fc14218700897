// The play thread of a file port: frames from the file become pictures and sound at the pace of the file.
#include <stdlib.h>
#include <string.h>

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
#include "source/file_play.h"
#include "source/file_record.h"
#include "source/frame_ctrl.h"
#include "source/trick_play.h"

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 NO_KEY_FRAME = 0xFFFFFFFF;
const ULONG_32 IDLE_WAIT_MS = 10000;      /**< paused: whatever the client asks for wakes the thread */
const ULONG_32 ORPHAN_WAIT_MS = 10;       /**< paused with a step pending: another call has put the step aside */
const ULONG_32 FRAMES_FOR_A_PICTURE = 16; /**< paused: so many video frames are read until one of them is shown */
const FLOAT TICKS_A_MS = 90.0F;

/** A key frame that was shown by itself, kept for the frames behind it. */
struct KEPT_KEY_S {
    PLAYER_FRAMEDATA_S stFrame; /**< its data are the buffer below */
    UCHAR *pucBuffer;
    ULONG_32 ulRoom;
    bool bNeeded; /**< the decoder holds nothing and begins behind this frame */
};

/** What the thread knows from one pass to the next. */
struct FILE_LOOP_S {
    PLAEYR_PORT_S *pstPort;
    struct timeval tiStart; /**< when the pass, or within it the wait for a further picture, began */
    DELIVER_STATE_S stDeliver;
    KEPT_KEY_S stKey;
    bool bStep; /**< the pass carries a step out, and has not said so yet */
};

/** What became of one read. */
enum class READ_E {
    FAILED,  /**< nothing more is to be read now */
    OTHER,   /**< a frame that gives no picture, or that the client keeps from the decoder */
    NOTHING, /**< a video frame was decoded, its picture is yet to come */
    PICTURE  /**< a picture was delivered */
};

bool IsKeyFramePlay(const PORT_FILE_S *pstPlayed) {
    const ULONG_32 ulFrameCtrl = word::Load(pstPlayed->ulFrameCtrl);
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
void NotePlayTime(PORT_FILE_S *pstPlayed) {
    ULONG_32 ulPlayTime = 0;
    if (File_GetPlayTime(&pstPlayed->stFileInfo, &ulPlayTime) == PLAYER_ERR_OK) {
        word::Store(pstPlayed->ulFilePlayTime, ulPlayTime);
    }
}

/** Says that the step of this pass is done, before its picture stands as long as it is to. */
void EndOwnStep(FILE_LOOP_S *pstLoop) {
    if (pstLoop->bStep) {
        pstLoop->bStep = false;
        EndStep(pstLoop->pstPort);
    }
}

/** Jumps if the client asked for it. What the decoders hold back is of the old place, and goes. */
bool ServeSeek(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (word::Load(pstPort->ulSetPlayTime) == NO_SEEK) {
        return false;
    }
    const ULONG_32 ulSeconds = word::Exchange(pstPort->ulSetPlayTime, NO_SEEK);
    pstPort->stFileInfo.ulPreIFrameTime = NO_KEY_FRAME;
    ULONG_32 ulResult = File_SetPlayTime(&pstPort->stFileInfo, ulSeconds, word::Load(pstPort->stStateInfo.lFrameRate));
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Start FilePlay Thread Warning: File_SetPlayTime Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
        return true;
    }
    Decode_BeginAnew(pstPort);
    pstLoop->stKey.bNeeded = false;
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
bool ServeFrameCtrl(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    switch (FrameCtrl_Serve(pstPort)) {
        case FRAME_CTRL_STEP_WAIT:
            WaitPaused(pstPort);
            return false;
        case FRAME_CTRL_STEP_ONE:
            pstLoop->bStep = true;
            return true;
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

/** Reads the next frame into stFrameData. */
ULONG_32 ReadFrame(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl) {
    const ULONG_32 ulResult = Player_ParserFile(pstPort, ulFrameCtrl);
    NotePlayTime(pstPort);
    if (ulResult == PLAYER_ERR_OK) {
        NET_MathBitRate(static_cast<ULONG_32>(pstPort->stFrameData.lDataLen), &pstPort->stStateInfo);
    }
    return ulResult;
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

/** Whether a picture or block came out. A failure is logged and costs what follows up to the next key frame. */
bool CameOut(ULONG_32 ulResult, PLAEYR_PORT_S *pstPort) {
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_NO_PICTURE) {
        if (Payload_IsInterVideo(pstPort->stFrameData.lPayload)) {
            pstPort->bNeedIFrame = 1;
        }
        LOG_WARN("Port[%03d] FilePlay Thread Warning: Decoder Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult == PLAYER_ERR_OK;
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
    return CameOut(Player_Decoder(&pstPort->stFrameData, pstPort), pstPort);
}

/** Gives a further picture of that frame. */
bool NextPicture(PLAEYR_PORT_S *pstPort) {
    return Payload_IsInterVideo(pstPort->stFrameData.lPayload) && pstPort->bNeedIFrame == 0 &&
           CameOut(Decode_NextPicture(pstPort), pstPort);
}

/* ---- key frames by themselves ---- */

bool IsKeyOfKeyFramePlay(const PLAEYR_PORT_S *pstPort) {
    return word::Load(pstPort->ulFrameCtrl) == FRAME_CTRL_ONLY_I_FRAME &&
           Payload_IsInterVideo(pstPort->stFrameData.lPayload) &&
           pstPort->stFrameData.lFormatType == PLAYER_VIDEO_FRAME_I;
}

void KeepKey(const PLAYER_FRAMEDATA_S &stFrame, KEPT_KEY_S *pstKey) {
    const ULONG_32 ulLen = static_cast<ULONG_32>(stFrame.lDataLen);
    if (ulLen > pstKey->ulRoom) {
        free(pstKey->pucBuffer);
        pstKey->pucBuffer = static_cast<UCHAR *>(malloc(ulLen));
        pstKey->ulRoom = pstKey->pucBuffer != nullptr ? ulLen : 0;
    }
    pstKey->stFrame = stFrame;
    pstKey->stFrame.pucData = pstKey->pucBuffer;
    pstKey->bNeeded = pstKey->pucBuffer != nullptr;
    if (pstKey->bNeeded) {
        memcpy(pstKey->pucBuffer, stFrame.pucData, ulLen);
    }
}

/** Frames behind a key frame that was shown by itself refer to it: it is decoded once more, and not shown again. */
void FeedKeyAgain(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    if (!pstLoop->stKey.bNeeded || !Payload_IsInterVideo(stFrame.lPayload)) {
        return;
    }
    pstLoop->stKey.bNeeded = false;
    if (stFrame.lFormatType != PLAYER_VIDEO_FRAME_I && pstPort->stVideoDecode.lCodecID == stFrame.lPayload) {
        pstPort->stSeiInfo.ulSeiTotalLen = 0;
        pstPort->stVideoDecode.bNoShow = 1;
        Player_Decoder(&pstLoop->stKey.stFrame, pstPort);
        pstPort->stVideoDecode.bNoShow = 0;
    }
}

/* ---- delivery ---- */

/** In key-frame play the pace follows the real distance of the last two key frames. */
void MeasureKeyInterval(PLAEYR_PORT_S *pstPort) {
    if (!IsKeyFramePlay(pstPort)) {
        return;
    }
    FILE_INFO_S &stFile = pstPort->stFileInfo;
    const ULONG_32 ulTime = static_cast<ULONG_32>(pstPort->stDecodeVideoData.dulTimeStamp);
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
        EndOwnStep(pstLoop);
        Pace(pstLoop);
        return false;
    }
    if (word::Load(pstPort->bStartVideo) != 1) {
        return true;
    }
    if (!Deliver_ShowPicture(pstPort, &pstLoop->stDeliver)) {
        return false;
    }
    EndOwnStep(pstLoop);
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

/** Delivers what the video decoder holds back, or the next picture of it. */
READ_E DeliverHeld(FILE_LOOP_S *pstLoop, bool bAll) {
    READ_E enResult = READ_E::NOTHING;
    while (Decode_HeldPicture(pstLoop->pstPort) == PLAYER_ERR_OK) {
        enResult = READ_E::PICTURE;
        DeliverResult(pstLoop);
        if (!bAll) {
            break;
        }
        WYK_gettimeofday(&pstLoop->tiStart, nullptr);
    }
    return enResult;
}

/** At the end of the file: the next picture that is held back, but none from before the frames that were passed over.
 */
READ_E DeliverLast(FILE_LOOP_S *pstLoop) {
    if (IsKeyFramePlay(pstLoop->pstPort)) {
        Decode_BeginAnew(pstLoop->pstPort);
        return READ_E::NOTHING;
    }
    return DeliverHeld(pstLoop, false);
}

/** Decodes the frame in stFrameData and delivers every picture that comes of it. */
READ_E DecodeAndDeliver(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const bool bVideo = Payload_IsVideo(pstPort->stFrameData.lPayload);
    const bool bKeyAlone = IsKeyOfKeyFramePlay(pstPort);
    if (bKeyAlone && !pstLoop->stKey.bNeeded) {
        Decode_BeginAnew(pstPort);
    } else if (!bKeyAlone) {
        FeedKeyAgain(pstLoop);
    }
    READ_E enResult = Decode_WillReplace(pstPort) ? DeliverHeld(pstLoop, true) : READ_E::NOTHING;
    for (bool bMore = DecodeFrame(pstPort); bMore; bMore = NextPicture(pstPort)) {
        enResult = READ_E::PICTURE;
        DeliverResult(pstLoop);
        WYK_gettimeofday(&pstLoop->tiStart, nullptr);
    }
    if (!bVideo) {
        return READ_E::OTHER;
    }
    if (bKeyAlone) {
        KeepKey(pstPort->stFrameData, &pstLoop->stKey);
    }
    if (bKeyAlone || pstPort->bNeedIFrame == 1) {
        return DeliverHeld(pstLoop, true) == READ_E::PICTURE ? READ_E::PICTURE : enResult;
    }
    return enResult;
}

/** Reads one frame and takes it through recording, taps and decoder. At the end what the decoder holds back comes
 * first. */
READ_E PlayFrame(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    const ULONG_32 ulResult = ReadFrame(pstPort, ulFrameCtrl);
    if (ulResult == PLAYER_ERR_FILE_END && DeliverLast(pstLoop) == READ_E::PICTURE) {
        return READ_E::PICTURE;
    }
    if (ulResult != PLAYER_ERR_OK) {
        EndOwnStep(pstLoop);
        HandleReadFailure(pstPort, ulFrameCtrl, ulResult);
        return READ_E::FAILED;
    }
    FileRecord_Add(pstPort);
    if (!PassFrameTap(pstPort)) {
        return READ_E::FAILED;
    }
    return PassGates(pstPort) ? DecodeAndDeliver(pstLoop) : READ_E::NOTHING;
}

/** A paused port reads on until a picture comes, unless the client wants something else meanwhile. */
bool IsStillWanted(const PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl) {
    return word::Load(pstPort->bStartRecv) != 0 && word::Load(pstPort->ulFrameCtrl) == ulFrameCtrl &&
           word::Load(pstPort->ulSetPlayTime) == NO_SEEK && !PortLock_IsClosing(pstPort->ulPort);
}

void ReadUntilPicture(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    READ_E enResult = READ_E::NOTHING;
    for (ULONG_32 i = 0; i < FRAMES_FOR_A_PICTURE && (i == 0 || IsStillWanted(pstPort, ulFrameCtrl)); i++) {
        do {
            enResult = PlayFrame(pstLoop);
        } while (enResult == READ_E::OTHER && IsStillWanted(pstPort, ulFrameCtrl));
        if (enResult != READ_E::NOTHING) {
            break;
        }
    }
    EndOwnStep(pstLoop);
}

void PlayPass(FILE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    pstPort->ulControlTicket = Wake_Ticket(&pstPort->stControlWake);
    WYK_gettimeofday(&pstLoop->tiStart, nullptr);
    if (!ServeSeek(pstLoop) && !ServeFrameCtrl(pstLoop)) {
        return;
    }
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    const bool bPaused = ulFrameCtrl == FRAME_CTRL_PAUSE || ulFrameCtrl == FRAME_CTRL_AFRAME_GO;
    if (bPaused || pstLoop->bStep) {
        ReadUntilPicture(pstLoop);
    } else {
        PlayFrame(pstLoop);
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
    free(stLoop.stKey.pucBuffer);
    PortState_DropSoundDevice(pstPort);
    return nullptr;
}
