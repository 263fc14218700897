// The taps of a port: setters, and the records handed out at each tap.
#include "pipeline/callbacks.h"

#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"
#include "output/videodisplay.h"
#include "port/player_manager.h"

namespace {

template <class FUNC>
ULONG_32 SetTap(ULONG_32 ulPort, PLAYER_CALLBACK_S PLAYER_CALLBACKSET_S::*pstMember, FUNC pfnFunc, BOOL_T bContinue,
                void *pUserParam) {
    PLAYER_GET_PORT(pstPort, ulPort);
    PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.*pstMember;
    word::Store(stTap.pUserParam, pUserParam);
    word::StoreRelease(stTap.hFunc, reinterpret_cast<HANDLE>(pfnFunc));
    word::Store(stTap.bContinue, bContinue);
    return PLAYER_ERR_OK;
}

/** The function set at a tap, loaded once, or null. */
template <class FUNC>
FUNC TapFunction(const PLAYER_CALLBACK_S &stTap) {
    return reinterpret_cast<FUNC>(word::LoadAcquire(stTap.hFunc));
}

struct WAVE_RATE_ROW_S {
    ULONG_32 ulSampleRate;
    ULONG_32 ulWaveFormat;
};

const WAVE_RATE_ROW_S gastWaveRate[] = {{8000, PLAYER_WAVE_FORMAT_8000},
                                        {11025, PLAYER_WAVE_FORMAT_11025},
                                        {16000, PLAYER_WAVE_FORMAT_16000},
                                        {44100, PLAYER_WAVE_FORMAT_44100},
                                        {48000, PLAYER_WAVE_FORMAT_48000}};

ULONG_32 WaveFormatOfRate(ULONG_32 ulSampleRate) {
    for (const WAVE_RATE_ROW_S &stRow : gastWaveRate) {
        if (stRow.ulSampleRate == ulSampleRate) {
            return stRow.ulWaveFormat;
        }
    }
    return PLAYER_WAVE_FORMAT_UNKNOWN;
}

ULONG_32 PlaybackTime(const PORT_INTAKE_S *pstIntake) {
    ULONG_32 ulTime = word::Load(pstIntake->stRtpVideoStreamInfo.ulPlaybackTime);
    return ulTime != 0 ? ulTime : pstIntake->stTsStreamInfo.ulPlayBackTime;
}

ULONG_32 ExecuteVideoFrameCB(PLAEYR_PORT_S *pstPort) {
    const PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.stVideoFrameCB;
    auto pfnFunc = TapFunction<PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF>(stTap);
    if (pfnFunc == nullptr) {
        return PLAYER_ERR_OK;
    }
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    PLAYER_PARSE_VIDEO_DATA_S stData = {};
    stData.pucData = stFrame.pucData;
    stData.ulDataLen = static_cast<ULONG_32>(stFrame.lDataLen);
    stData.ulVideoFrameType = static_cast<ULONG_32>(stFrame.lFormatType);
    stData.ulVideoCodeFormat = PayloadType_OfVideo(stFrame.lPayload)->ulEncodeType;
    stData.dlTimeStamp = static_cast<DLONG>(stFrame.dulTimestamp);
    stData.ulAbsTime = PlaybackTime(pstPort);
    pfnFunc(pstPort->ulPort, &stData, word::Load(stTap.pUserParam), 0);
    return PLAYER_ERR_OK;
}

ULONG_32 ExecuteAudioFrameCB(PLAEYR_PORT_S *pstPort) {
    const PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.stAudioFrameCB;
    auto pfnFunc = TapFunction<PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF>(stTap);
    if (pfnFunc == nullptr) {
        return PLAYER_ERR_OK;
    }
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    const PAYLOAD_TYPE_ROW_S *pstFormat = PayloadType_OfAudio(stFrame.lPayload);
    if (pstFormat == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    PLAYER_PARSE_AUDIO_DATA_S stData = {};
    stData.pucData = stFrame.pucData;
    stData.ulDataLen = static_cast<ULONG_32>(stFrame.lDataLen);
    stData.ulAudioCodeFormat = pstFormat->ulEncodeType;
    stData.ulWaveFormat = pstFormat->ulWaveFormat;
    stData.dlTimeStamp = static_cast<DLONG>(stFrame.dulTimestamp);
    pfnFunc(pstPort->ulPort, &stData, word::Load(stTap.pUserParam), 0);
    return PLAYER_ERR_OK;
}

/** Hands a picture to the client, if it asked for pictures. */
void ExecutePictureCB(PLAEYR_PORT_S *pstPort, const CODE_DECODED_DATA_S &stPicture, DULONG dulTimestamp) {
    const PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.stVideoDataCB;
    auto pfnFunc = TapFunction<PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF>(stTap);
    if (pfnFunc == nullptr) {
        return;
    }
    PLAYER_PICTURE_DATA_S stData = {};
    for (ULONG_32 i = 0; i < 4; i++) {
        stData.pucData[i] = stPicture.pucData[i];
        stData.ulLineSize[i] = static_cast<ULONG_32>(stPicture.lLineSize[i]);
    }
    stData.ulPicHeight = static_cast<ULONG_32>(stPicture.lHeight);
    stData.ulPicWidth = static_cast<ULONG_32>(stPicture.lWidth);
    stData.ulFrameRate = static_cast<ULONG_32>(word::Load(pstPort->stStateInfo.lFrameRate));
    stData.dlRenderTime = static_cast<DLONG>(dulTimestamp);
    pfnFunc(pstPort->ulPort, &stData, word::Load(stTap.pUserParam), 0);
}

void ExecuteWaveCB(PLAEYR_PORT_S *pstPort) {
    const CODE_DECODED_DATA_S &stBlock = pstPort->stDecodeAudioData;
    PLAYER_WAVE_DATA_S stData = {reinterpret_cast<CHAR *>(stBlock.pucData[0]),
                                 static_cast<ULONG_32>(stBlock.lLineSize[0]), WaveFormatOfRate(stBlock.ulSampleRate)};
    const PLAYER_CALLBACK_S &stAudioTap = pstPort->stCallBack.stAudioDataCB;
    if (auto pfnFunc = TapFunction<PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF>(stAudioTap)) {
        pfnFunc(pstPort->ulPort, &stData, word::Load(stAudioTap.pUserParam), 0);
    }
    const PLAYER_CALLBACK_S &stVoiceTap = pstPort->stCallBack.stVoiceDataCB;
    if (auto pfnFunc = TapFunction<PLAYER_PARSE_VOICE_DATA_CALLBACK_PF>(stVoiceTap)) {
        pfnFunc(pstPort->ulPort, &stData, word::Load(stVoiceTap.pUserParam), 0);
    }
}

}  // namespace

ULONG_32 Player_SetSourceMediaDataCB(ULONG_32 ulPort, PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF pfnFunc, BOOL_T bContinue,
                                     void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stSourceCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetParseVideoDataCB(ULONG_32 ulPort, PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF pfnFunc, BOOL_T bContinue,
                                    void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stVideoFrameCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetParseAudioDataCB(ULONG_32 ulPort, PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF pfnFunc, BOOL_T bContinue,
                                    void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stAudioFrameCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetDecodeVideoMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF pfnFunc,
                                          BOOL_T bContinue, void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stVideoDataCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetDecodeAudioMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF pfnFunc,
                                          BOOL_T bContinue, void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stAudioDataCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetDrawMediaDataCB(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnFunc, void *pUserParam) {
    PLAYER_GET_PORT(pstPort, ulPort);
    SetTap(ulPort, &PLAYER_CALLBACKSET_S::stDrawCB, pfnFunc, 1, pUserParam);
    if (pstPort->hDisplayDev != nullptr) {
        Video_SetDrawDataCallBack(pstPort->hDisplayDev, pfnFunc != nullptr ? Player_DrawDataCB : nullptr, pstPort);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetDrawMediaDataCBEx(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF, void *) {
    PLAYER_GET_PORT(pstPort, ulPort);
    static_cast<void>(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetParseVoiceDataCB(ULONG_32 ulPort, PLAYER_PARSE_VOICE_DATA_CALLBACK_PF pfnFunc, BOOL_T bContinue,
                                    void *pUserParam) {
    return SetTap(ulPort, &PLAYER_CALLBACKSET_S::stVoiceDataCB, pfnFunc, bContinue, pUserParam);
}

ULONG_32 Player_SetVideoCallBackMode(ULONG_32 ulPort, ULONG_32 lRectify) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->lRectify, static_cast<LONG_32>(lRectify));
    return PLAYER_ERR_OK;
}

void Player_DrawDataCB(HANDLE hDrawHandle, HANDLE hDrawing, void *pUserParam, LONG_REAL lReserved) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUserParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Get Port Failed.");
        return;
    }
    const PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.stDrawCB;
    if (auto pfnFunc = TapFunction<PLAYER_DRAW_DATA_CALLBACK_PF>(stTap)) {
        pfnFunc(hDrawHandle, hDrawing, word::Load(stTap.pUserParam), lReserved);
    }
}

ULONG_32 Player_ExecuteSourceCB(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort) {
    const PLAYER_CALLBACK_S &stTap = pstPort->stCallBack.stSourceCB;
    auto pfnFunc = TapFunction<PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF>(stTap);
    if (pfnFunc == nullptr) {
        return PLAYER_ERR_OK;
    }
    const UCHAR *pucData = reinterpret_cast<const UCHAR *>(pcRecvDataAddr);
    const UCHAR ucFirst = ulRecvDataLen > 0 ? pucData[0] : UCHAR(0);
    if (ucFirst != 0x47 && (ucFirst & 0xC0) != 0x80) {
        LOG_ERROR("Port[%03d] unknown stream type", pstPort->ulPort);
        return PLAYER_ERR_UNKNOWN_STREAM;
    }
    const ULONG_32 ulFormat = ucFirst == 0x47 ? PLAYER_MEDIA_DATA_TS : PLAYER_MEDIA_DATA_RTP_ES;
    pfnFunc(pstPort->ulPort, pucData, ulRecvDataLen, ulFormat, word::Load(stTap.pUserParam), 0);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_ExecuteFrameCB(PLAEYR_PORT_S *pstPort) {
    if (Payload_IsVideo(pstPort->stFrameData.lPayload)) {
        return ExecuteVideoFrameCB(pstPort);
    }
    return Payload_IsAudio(pstPort->stFrameData.lPayload) ? ExecuteAudioFrameCB(pstPort)
                                                          : static_cast<ULONG_32>(PLAYER_ERR_OK);
}

ULONG_32 Player_ExecuteDecodeCB(PLAEYR_PORT_S *pstPort) {
    if (pstPort->ulCurDataType == AUDIO_DATA) {
        ExecuteWaveCB(pstPort);
    } else {
        ExecutePictureCB(pstPort, pstPort->stDecodeVideoData, pstPort->stDecodeVideoData.dulTimeStamp);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_RectifyDecodeCB(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstDecodeVideoData) {
    ExecutePictureCB(pstPort, *pstDecodeVideoData, pstPort->stFrameData.dulTimestamp);
    return PLAYER_ERR_OK;
}
