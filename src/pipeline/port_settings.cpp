// Settings and getters of a port that are a word each.
#include "pipeline/port_settings.h"

#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"
#include "output/audioplay.h"
#include "output/offscreen_queue.h"
#include "output/videodisplay.h"
#include "port/player_manager.h"
#include "port/port_lock.h"

namespace {

const ULONG_32 MIN_DECODE_BUFFER_NUM = 3;
const PLAYER_RECT_S WHOLE_PICTURE = {0, 0, 10000, 10000};

ULONG_32 EncodeTypeOf(const PAYLOAD_TYPE_ROW_S *pstRow, ULONG_32 ulNone) {
    return pstRow != nullptr ? pstRow->ulEncodeType : ulNone;
}

/** Stores a setting of a port in one word. */
template <class FIELD, class SLICE, class VALUE>
ULONG_32 Set(ULONG_32 ulPort, FIELD SLICE::*pField, VALUE value) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->*pField, static_cast<FIELD>(value));
    return PLAYER_ERR_OK;
}

template <class FIELD, class SLICE>
ULONG_32 Get(ULONG_32 ulPort, FIELD SLICE::*pField, FIELD *pValue) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *pValue = word::Load(pstPort->*pField);
    return PLAYER_ERR_OK;
}

void StoreRect(PLAYER_RECT_S *pstTo, const PLAYER_RECT_S &stFrom) {
    word::Store(pstTo->lLeft, stFrom.lLeft);
    word::Store(pstTo->lTop, stFrom.lTop);
    word::Store(pstTo->lRight, stFrom.lRight);
    word::Store(pstTo->lBottom, stFrom.lBottom);
}

bool IsWholePicture(const PLAYER_RECT_S &stRect) {
    return stRect.lLeft == WHOLE_PICTURE.lLeft && stRect.lTop == WHOLE_PICTURE.lTop &&
           stRect.lRight == WHOLE_PICTURE.lRight && stRect.lBottom == WHOLE_PICTURE.lBottom;
}

}  // namespace

/* ---- what is being played ---- */

ULONG_32 Player_GetPictureSize(ULONG_32 ulPort, LONG_32 *plWidth, LONG_32 *plHeight) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *plWidth = word::Load(pstPort->lPictureWidth);
    *plHeight = word::Load(pstPort->lPictureHeight);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetEncodeType(ULONG_32 ulPort, ULONG_32 *pulVideoEncodeType, ULONG_32 *pulAudioEncodeType) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pulVideoEncodeType != nullptr) {
        *pulVideoEncodeType =
            EncodeTypeOf(PayloadType_OfVideo(word::Load(pstPort->lVideoCodecID)), PLAYER_VIDEO_ENCODE_NULL);
    }
    if (pulAudioEncodeType != nullptr) {
        *pulAudioEncodeType =
            EncodeTypeOf(PayloadType_OfAudio(word::Load(pstPort->lAudioCodecID)), PLAYER_AUDIO_ENCODE_NULL);
    }
    return PLAYER_ERR_OK;
}

/* ---- decoding ---- */

ULONG_32 Player_SetAdjust(ULONG_32 ulPort, BOOL_T bAble, PLAYER_VIDEOADJUST_PARAM_S *pstParam) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stAdjustParam.ulContrast, pstParam->ulContrast);
    word::Store(pstPort->stAdjustParam.ulBrightness, pstParam->ulBrightness);
    word::Store(pstPort->stAdjustParam.ulHue, pstParam->ulHue);
    word::Store(pstPort->stAdjustParam.ulSaturation, pstParam->ulSaturation);
    word::Store(pstPort->stAdjustParam.ulGamma, pstParam->ulGamma);
    word::Store(pstPort->bAdjust, bAble);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetAdjust(ULONG_32 ulPort, PLAYER_VIDEOADJUST_PARAM_S *pstParam) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *pstParam = {word::Load(pstPort->stAdjustParam.ulContrast), word::Load(pstPort->stAdjustParam.ulBrightness),
                 word::Load(pstPort->stAdjustParam.ulHue), word::Load(pstPort->stAdjustParam.ulSaturation),
                 word::Load(pstPort->stAdjustParam.ulGamma)};
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetDeinterlaceMode(ULONG_32 ulPort, BOOL_T bAble, PLAYER_DEINTERLACEMODE_E enMode) {
    ULONG_32 ulResult = Set(ulPort, &PLAEYR_PORT_S::enDeinterlaceMode, enMode);
    return ulResult == PLAYER_ERR_OK ? Set(ulPort, &PLAEYR_PORT_S::bDeinterlace, bAble) : ulResult;
}

BOOL_T Player_AbleGpuDecode(BOOL_T bAble) {
    if (bAble == 1) {
        BOOL_T bGpu = CODE_CatchHwDec(1);
        word::Store(gbGpuAble, bGpu);
        return bGpu;
    }
    word::Store(gbGpuAble, 0);
    CODE_CatchHwDec(bAble);
    return 1;
}

ULONG_32 Player_AbleGpuDecodeEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState) {
    if (pstGpuAbleState == nullptr) {
        LOG_ERROR("Player_AbleGpuDecodeEx : Param pstGpuAbleState is NULL.");
        return PLAYER_ERR_PARAM;
    }
    CODE_CatchHwDecEx(bAble, pstGpuAbleState);
    word::Store(gbGpuAble, pstGpuAbleState->bGpuAbleH264);
    word::Store(gbGpuAbleH265, pstGpuAbleState->bGpuAbleH265);
    LOG_INFO("Player_AbleGpuDecodeEx, GPU Able State, H264:[%d], H265:[%d].", pstGpuAbleState->bGpuAbleH264,
             pstGpuAbleState->bGpuAbleH265);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetGpuDrawEnable(ULONG_32 ulPort, BOOL_T bAble) {
    return Set(ulPort, &PLAEYR_PORT_S::bUseGpuDraw, bAble);
}

ULONG_32 Player_SetOneFrameDecodeMode(ULONG_32 ulPort) { return Set(ulPort, &PLAEYR_PORT_S::bOneFrameDecordFlag, 1); }

/* ---- picture ---- */

ULONG_32 Player_SetPictureFluency(ULONG_32 ulPort, ULONG_32 ulFluency) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulFluency > PLAYER_PICTURE_RTMP_FLUENCY) {
        return PLAYER_ERR_PARAM;
    }
    const ULONG_32 ulMode = ulFluency == PLAYER_PICTURE_BALANCE ? ULONG_32{PLAYER_PICTURE_REAL} : ulFluency;
    word::Store(pstPort->enPicFluncy, static_cast<PLAYER_PICTURE_FLUENCY_E>(ulMode));
    Port_WakeAll(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_PauseLive(ULONG_32 ulPort, BOOL_T bPause) { return Set(ulPort, &PLAEYR_PORT_S::bPause, bPause); }

ULONG_32 Player_SetDecodeQueueBufferNum(ULONG_32 ulPort, ULONG_32 ulDecodeBufferNum) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulDecodeBufferNum > MIN_DECODE_BUFFER_NUM) {
        word::Store(pstPort->ulDecodeBufferNum, ulDecodeBufferNum);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetRenderScale(ULONG_32 ulPort, LONG_32 lRenderScale) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->ulDisplayScale, static_cast<ULONG_32>(lRenderScale));
    QUEUE_WakeDecodeReader(&pstPort->stDecodeBufferQueue);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetRenderScale(ULONG_32 ulPort, LONG_32 *plRenderScale) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *plRenderScale = static_cast<LONG_32>(word::Load(pstPort->ulDisplayScale));
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetDigitalZoom(ULONG_32 ulPort, PLAYER_RECT_S *pstRect) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const PLAYER_RECT_S stRect = pstRect != nullptr ? *pstRect : PLAYER_RECT_S{};
    const bool bZoom = pstRect != nullptr && !IsWholePicture(stRect);
    StoreRect(&pstPort->stSrcRect, stRect);
    word::Store(pstPort->ulDigitalZoom, bZoom ? PLAYER_DIGITAL_ZOOM_OPEN : PLAYER_DIGITAL_ZOOM_CLOSE);
    QUEUE_WakeDecodeReader(&pstPort->stDecodeBufferQueue);
    return PLAYER_ERR_OK;
}

ULONG_32 Port_FrameDataCopy(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstSrc, CODE_DECODED_DATA_S *pstDst) {
    if (pstPort == nullptr || pstSrc == nullptr || pstDst == nullptr) {
        LOG_ERROR("Port_FrameDataCopy: Invalid Param.");
        return PLAYER_ERR_PARAM;
    }
    Video_CutOsdBand(word::Load(pstPort->enOSDStyle), *pstSrc, *pstDst);
    return PLAYER_ERR_OK;
}

/* ---- sound ---- */

ULONG_32 Player_OpenSound(ULONG_32 ulPort) { return Set(ulPort, &PLAEYR_PORT_S::bStartAudio, 1); }

ULONG_32 Player_CloseSound(ULONG_32 ulPort) { return Set(ulPort, &PLAEYR_PORT_S::bStartAudio, 0); }

ULONG_32 Player_GetSoundVolume(ULONG_32 ulPort, LONG_32 *plVolume) {
    PLAYER_GET_PORT(pstPort, ulPort);
    ULONG_32 ulResult = Audio_GetSoundVolume(word::Load(pstPort->hSoundDev), plVolume);
    if (ulResult == PLAYER_ERR_NO_SOUND_DEVICE) {
        *plVolume = word::Load(pstPort->lSoundVolume);
        return PLAYER_ERR_OK;
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] QUEUE_AddPacket Failed, Audio_GetSoundVolume Failed, Error:[0x%x].", ulPort, ulResult);
    }
    return ulResult;
}

ULONG_32 Player_SetSoundVolume(ULONG_32 ulPort, LONG_32 lVolume) {
    ULONG_32 ulResult = Set(ulPort, &PLAEYR_PORT_S::lSoundVolume, lVolume);
    return ulResult == PLAYER_ERR_OK ? Set(ulPort, &PLAEYR_PORT_S::lSoundVolumeBeforeQuiet, lVolume) : ulResult;
}

ULONG_32 Player_SetMicVolume(ULONG_32 ulPort, LONG_32 lVolume) {
    return Set(ulPort, &PLAEYR_PORT_S::lMicVolume, lVolume);
}

ULONG_32 Player_GetMicVolume(ULONG_32 ulPort, LONG_32 *plVolume) {
    return Get(ulPort, &PLAEYR_PORT_S::lMicVolume, plVolume);
}

ULONG_32 Player_SetMicQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet) {
    return Set(ulPort, &PLAEYR_PORT_S::bMicQuiet, bQuiet);
}

ULONG_32 Player_GetMicQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet) {
    return Get(ulPort, &PLAEYR_PORT_S::bMicQuiet, pbQuiet);
}

ULONG_32 Player_SetSoundQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (bQuiet) {
        word::Store(pstPort->lSoundVolumeBeforeQuiet, word::Load(pstPort->lSoundVolume));
        word::Store(pstPort->lSoundVolume, 0);
    } else {
        word::Store(pstPort->lSoundVolume, word::Load(pstPort->lSoundVolumeBeforeQuiet));
    }
    word::Store(pstPort->bSoundQuiet, bQuiet);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetSoundQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet) {
    return Get(ulPort, &PLAEYR_PORT_S::bSoundQuiet, pbQuiet);
}

ULONG_32 Player_SetPlaySoundChannel(ULONG_32 ulPort, ULONG_32 ulChannel) {
    return Set(ulPort, &PLAEYR_PORT_S::enSoundChannel, static_cast<PLAYER_SOUND_CHANNEL_E>(ulChannel));
}
