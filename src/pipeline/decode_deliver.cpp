// A decoded picture or block on its way to callbacks, the picture queue and the sound device.
#include "pipeline/decode_deliver.h"

#include <stdlib.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "output/audioplay.h"
#include "output/offscreen_queue.h"
#include "pipeline/callbacks.h"
#include "port/port_state.h"

namespace {

const ULONG_32 NO_RATE_YET = 65535;
const LONG_32 NO_LENGTH_YET = -1;
const LONG_32 VOLUME_UNKNOWN = -1;
const LONG_32 LENGTH_TOLERANCE = 2;
const ULONG_32 EXTRACT_FRAME_NUM = 100;
const ULONG_32 DEC_COUNT_CYCLE = 11;
const ULONG_32 QUEUE_LOG_STEP = 1000;
const FLOAT NORMAL_SPEED = 1.0F;

/** How a thread's log lines begin. */
struct DELIVER_WORDS_S {
    const CHAR *pcThread;
    const CHAR *pcAdjust;
    const CHAR *pcVolume;
};

/** By DELIVER_THREAD_E. */
const DELIVER_WORDS_S gastWords[] = {
    {"Decode Thread", "Decode Thread: SetVideoAdjust", "Decode Thread Warning: Audio_SetSoundVolume"},
    {"FilePlay Thread", "FilePlay Thread Warning: CODE_SetVideoAdjust", "FilePlay Thread: Audio_SetSoundVolume"}};

const DELIVER_WORDS_S &Words(const DELIVER_STATE_S *pstState) { return gastWords[pstState->enThread]; }

/* ---- callbacks ---- */

/** Hands the result to the decode taps; false when it goes no further. */
bool PassDecodeTap(PLAEYR_PORT_S *pstPort) {
    const PLAYER_CALLBACKSET_S &stSet = pstPort->stCallBack;
    if (pstPort->ulCurDataType == AUDIO_DATA) {
        Player_ExecuteDecodeCB(pstPort);
        return word::Load(stSet.stAudioDataCB.bContinue) && word::Load(stSet.stVoiceDataCB.bContinue);
    }
    pstPort->bReCreateDec = 0;
    if (word::Load(pstPort->lRectify) != PLAYER_VIDEO_CB_DEFAULT) {
        return true;
    }
    if (!PortCodec_WantsGpu(pstPort)) {
        Player_ExecuteDecodeCB(pstPort);
    }
    return word::Load(stSet.stVideoDataCB.bContinue) != 0;
}

/* ---- picture ---- */

/** Makes the adjusted picture's buffer fit the decoded one. Caller holds stLock. */
bool FitAdjustBuffer(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState) {
    const CODE_DECODED_DATA_S &stFrom = pstPort->stDecodeVideoData;
    CODE_DECODED_DATA_S &stTo = pstPort->stAdjustVideoData;
    if (stTo.pucData[0] != nullptr && stTo.lLineSize[0] == stFrom.lLineSize[0] && stTo.lWidth == stFrom.lWidth &&
        stTo.lHeight == stFrom.lHeight) {
        return true;
    }
    free(stTo.pucData[0]);
    PortState_ForgetPlanes(&stTo);
    const size_t ulArea = static_cast<size_t>(stFrom.lLineSize[0]) * static_cast<size_t>(stFrom.lHeight);
    UCHAR *pucBuffer = static_cast<UCHAR *>(calloc(1, ulArea + ulArea / 2));
    if (pucBuffer == nullptr) {
        LOG_ERROR("Port[%03d] %s: Malloc Failed, Size:[%d].", pstPort->ulPort, Words(pstState).pcThread,
                  static_cast<LONG_32>(ulArea + ulArea / 2));
        return false;
    }
    stTo.pucData[0] = pucBuffer;
    stTo.pucData[1] = pucBuffer + ulArea;
    stTo.pucData[2] = pucBuffer + ulArea + ulArea / 4;
    for (ULONG_32 i = 0; i < 3; i++) {
        stTo.lLineSize[i] = stFrom.lLineSize[i];
    }
    stTo.lWidth = stFrom.lWidth;
    stTo.lHeight = stFrom.lHeight;
    return true;
}

bool AdjustPicture(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState) {
    ULONG_32 ulResult = PLAYER_ERR_OK;
    {
        const CMutexGuard oLock(&pstPort->stDecodeVideoData.stLock);
        if (!FitAdjustBuffer(pstPort, pstState)) {
            return false;
        }
        pstPort->stAdjustVideoData.lDuration = pstPort->stDecodeVideoData.lDuration;
        pstPort->stAdjustVideoData.lMediaType = pstPort->stDecodeVideoData.lMediaType;
        ulResult =
            CODE_SetVideoAdjust(&pstPort->stAdjustParam, &pstPort->stDecodeVideoData, &pstPort->stAdjustVideoData);
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s Failed, Error:[0x%x].", pstPort->ulPort, Words(pstState).pcAdjust, ulResult);
    }
    return true;
}

/** Puts copies of the overlays on the picture, which has none. */
void AttachDrawInfo(PLAEYR_PORT_S *pstPort) {
    CODE_DRAWINFO_S &stDrawInfo = pstPort->stDecodeVideoData.stDrawInfo;
    const LONG_32 lFrameRate = word::Load(pstPort->stStateInfo.lFrameRate);
    if (lFrameRate > 0) {
        stDrawInfo.hIvaInfo = DataCopy(lFrameRate, &pstPort->stIvaInfo);
        if (stDrawInfo.hIvaInfo == nullptr) {
            stDrawInfo.hIvaInfo = DataCopy(lFrameRate, &pstPort->stSeiInfo.stSeiIvaInfo.stIvaInfo);
        }
    }
    if (word::Load(pstPort->stPtzInfo.ulPtzMode) == 1) {
        stDrawInfo.hPtzCtrlInfo = malloc(sizeof(pstPort->stPtzInfo.astPtzCtrl));
        if (stDrawInfo.hPtzCtrlInfo != nullptr) {
            memcpy(stDrawInfo.hPtzCtrlInfo, pstPort->stPtzInfo.astPtzCtrl, sizeof(pstPort->stPtzInfo.astPtzCtrl));
        }
    }
}

/** At 2 to 16 times speed only some pictures are shown. True when this one is left out. */
bool LeaveOutAtSpeed(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    const PLAYER_PLAY_SPEED_E enSpeed = word::Load(pstPort->enSpeedValue);
    const FLOAT fSpeed = word::Load(pstPort->fFilePlaySpeed);
    if (enSpeed < PLAYER_SPEED_2_FORWARD || enSpeed > PLAYER_SPEED_16_FORWARD || !(fSpeed > 0)) {
        return false;
    }
    const FLOAT fFrameNum =
        static_cast<FLOAT>(word::Load(pstPort->stStateInfo.lFrameRate)) / (EXTRACT_FRAME_NUM * fSpeed);
    if (static_cast<FLOAT>(pstState->glDecCount) <= fFrameNum &&
        fFrameNum < static_cast<FLOAT>(pstState->glDecCount + 1)) {
        pstState->glDecCount = 0;
        return false;
    }
    pstState->glDecCount = (pstState->glDecCount + 1) % DEC_COUNT_CYCLE;
    return word::Load(pstPort->stDecodeBufferQueue.ulBufNum) > 2;
}

/** A window that can't keep up costs pictures. The decode thread counts them and logs now and then. */
void LogRefused(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState, ULONG_32 ulResult) {
    if (pstState->enThread == DELIVER_FILE_THREAD) {
        LOG_WARN("Port[%03d] FilePlay Thread Warning: QUEUE_AddDecodeData Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
        return;
    }
    if (pstPort->stOffScreenQueue.ulErrorNum % QUEUE_LOG_STEP == 0) {
        LOG_WARN("Port[%03d] Decode Thread Warning, QUEUE_AddDecodeData Failed, Error:[0x%x], Count[%d].",
                 pstPort->ulPort, ulResult, pstPort->stOffScreenQueue.ulErrorNum);
    }
    pstPort->stOffScreenQueue.ulErrorNum++;
}

/** The adjusted picture borrows the analytics of the decoded one: whoever has them afterwards, the other has none. */
void QueuePicture(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState, bool bAdjust) {
    CODE_DECODED_DATA_S &stDecoded = pstPort->stDecodeVideoData;
    CODE_DECODED_DATA_S &stPicture = bAdjust ? pstPort->stAdjustVideoData : stDecoded;
    stPicture.stDrawInfo.hIvaInfo = stDecoded.stDrawInfo.hIvaInfo;
    ULONG_32 ulResult = QUEUE_AddDecodeData(&stPicture, 0, &pstPort->stDecodeBufferQueue);
    if (ulResult != PLAYER_ERR_OK) {
        LogRefused(pstPort, pstState, ulResult);
    }
    stDecoded.stDrawInfo.hIvaInfo = stPicture.stDrawInfo.hIvaInfo;
    pstPort->stAdjustVideoData.stDrawInfo.hIvaInfo = nullptr;
}

/* ---- sound ---- */

/** Drops the device when the block's format asks for another one. */
void DropMisfitDevice(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    const CODE_DECODED_DATA_S &stBlock = pstPort->stDecodeAudioData;
    if (stBlock.ulSampleRate != pstState->ulCurSampleRate) {
        pstState->ulCurSampleRate = stBlock.ulSampleRate;
        pstState->lCurSoundVolume = VOLUME_UNKNOWN;
        PortState_DropSoundDevice(pstPort);
    }
    const LONG_32 lDiff = stBlock.lLineSize[0] - pstState->lCurAudioDataLen;
    if (lDiff > LENGTH_TOLERANCE || lDiff < -LENGTH_TOLERANCE) {
        pstState->lCurAudioDataLen = stBlock.lLineSize[0];
        pstState->lCurSoundVolume = VOLUME_UNKNOWN;
        PortState_DropSoundDevice(pstPort);
    }
}

void GiveUpSound(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState, ULONG_32 ulResult) {
    LOG_ERROR("Port[%03d] %s: Audio_OpenSound Failed, Error:[0x%x].", pstPort->ulPort, Words(pstState).pcThread,
              ulResult);
    PortState_DropSoundDevice(pstPort);
    word::Store(pstPort->bStartAudio, 0);
}

/** Makes and opens a device; on failure sound is off until the client opens it again. */
bool OpenDevice(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState) {
    const CODE_DECODED_DATA_S &stBlock = pstPort->stDecodeAudioData;
    const AUDIO_DEC_PARAM_S stParam = {stBlock.ulSampleRate, stBlock.ulChannels, stBlock.ulBitsPerSample,
                                       stBlock.lLineSize[0]};
    HANDLE hDevice = Audio_CreatePlayDec(&stParam);
    if (hDevice == nullptr) {
        LOG_ERROR("Port[%03d] %s: Audio_CreatePlayDec Failed.", pstPort->ulPort, Words(pstState).pcThread);
        word::Store(pstPort->bStartAudio, 0);
        return false;
    }
    word::Store(pstPort->hSoundDev, hDevice);
    ULONG_32 ulResult = Audio_OpenSound(hDevice);
    if (ulResult != PLAYER_ERR_OK) {
        GiveUpSound(pstPort, pstState, ulResult);
    }
    return ulResult == PLAYER_ERR_OK;
}

void ApplyVolume(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    const LONG_32 lVolume = word::Load(pstPort->lSoundVolume);
    if (lVolume == pstState->lCurSoundVolume) {
        return;
    }
    ULONG_32 ulResult = Audio_SetSoundVolume(pstPort->hSoundDev, lVolume);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] %s Failed, Error:[0x%x].", pstPort->ulPort, Words(pstState).pcVolume, ulResult);
        return;
    }
    pstState->lCurSoundVolume = lVolume;
}

/** A file sounds at normal speed only. */
bool IsSoundOn(const PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState) {
    return word::Load(pstPort->bStartAudio) != 0 &&
           (pstState->enThread == DELIVER_DECODE_THREAD || word::Load(pstPort->fFilePlaySpeed) == NORMAL_SPEED);
}

void AddSound(PLAEYR_PORT_S *pstPort, const DELIVER_STATE_S *pstState) {
    const CODE_DECODED_DATA_S &stBlock = pstPort->stDecodeAudioData;
    ULONG_32 ulResult =
        Audio_AddSoundData(pstPort->hSoundDev, stBlock.pucData[0], static_cast<ULONG_32>(stBlock.lLineSize[0]));
    if (ulResult == PLAYER_ERR_FAILED) {
        GiveUpSound(pstPort, pstState, ulResult);  // the device took its time, and then could not be opened
    } else if (ulResult != PLAYER_ERR_OK && pstState->enThread == DELIVER_FILE_THREAD) {
        LOG_ERROR("Port[%03d] FilePlay Thread: Audio_AddSoundData Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

}  // namespace

void Deliver_Begin(DELIVER_STATE_S *pstState, DELIVER_THREAD_E enThread) {
    *pstState = {enThread, NO_RATE_YET, NO_LENGTH_YET, VOLUME_UNKNOWN, 0};
}

bool Deliver_PassKeyFrameGate(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    if (pstPort->bNeedIFrame != 1 || !Payload_IsInterVideo(stFrame.lPayload)) {
        return true;
    }
    if (stFrame.lFormatType != PLAYER_VIDEO_FRAME_I) {
        return false;
    }
    pstPort->bNeedIFrame = 0;
    return true;
}

bool Deliver_PassSoundChannel(const PLAEYR_PORT_S *pstPort) {
    const LONG_32 LEFT_TRACK = 0;
    const LONG_32 RIGHT_TRACK = 4;
    if (!Payload_IsAudio(pstPort->stFrameData.lPayload)) {
        return true;
    }
    switch (word::Load(pstPort->enSoundChannel)) {
        case PLAYER_SOUND_CHANNEL_LEFT:
            return pstPort->stFrameData.lFormatType != RIGHT_TRACK;
        case PLAYER_SOUND_CHANNEL_RIGHT:
            return pstPort->stFrameData.lFormatType != LEFT_TRACK;
        case PLAYER_SOUND_CHANNEL_NONE:
            return false;
        default:
            return true;
    }
}

bool Deliver_ShowPicture(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    if (PortCodec_UsesGpu(pstPort, pstPort->stFrameData.lPayload)) {
        word::Store(pstPort->bUseGpuRander, 1);
        return true;
    }
    word::Store(pstPort->bUseGpuRander, 0);
    const bool bAdjust = word::Load(pstPort->bAdjust) == 1;
    if (bAdjust && !AdjustPicture(pstPort, pstState)) {
        return false;
    }
    AttachDrawInfo(pstPort);
    if (pstState->enThread == DELIVER_FILE_THREAD || !LeaveOutAtSpeed(pstPort, pstState)) {
        QueuePicture(pstPort, pstState, bAdjust);
    }
    PortState_FreeDrawInfo(&pstPort->stDecodeVideoData);  // of a picture that was left out or refused
    return true;
}

void Deliver_PlaySound(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    if (!IsSoundOn(pstPort, pstState)) {
        PortState_DropSoundDevice(pstPort);
        pstState->lCurSoundVolume = pstState->enThread == DELIVER_FILE_THREAD ? VOLUME_UNKNOWN : 0;
        return;
    }
    if (pstPort->ulCurDataType != AUDIO_DATA || pstPort->stDecodeAudioData.pucData[0] == nullptr) {
        return;
    }
    DropMisfitDevice(pstPort, pstState);
    if (pstPort->hSoundDev == nullptr && !OpenDevice(pstPort, pstState)) {
        return;
    }
    ApplyVolume(pstPort, pstState);
    AddSound(pstPort, pstState);
}

void Deliver_Result(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState) {
    if (!PassDecodeTap(pstPort) || word::Load(pstPort->bPause) == 1) {
        return;
    }
    if (word::Load(pstPort->bStartVideo) == 1 && pstPort->ulCurDataType == VIDEO_DATA) {
        Deliver_ShowPicture(pstPort, pstState);
    }
    Deliver_PlaySound(pstPort, pstState);
}
