// The exported wrappers: logging, checks and locks by form, no logic.
#include "player_sdk_func.h"

#include "codec/decoder_memory.h"
#include "foundations/PlayerLog.h"
#include "foundations/shared_word.h"
#include "frame/library.h"
#include "frame/wrapper_forms.h"
#include "pipeline/callbacks.h"
#include "pipeline/parse_stage.h"
#include "pipeline/port_settings.h"
#include "pipeline/render_stage.h"
#include "port/payload_table.h"
#include "port/player_manager.h"
#include "port/run_messages.h"
#include "source/free_port.h"
#include "source/input_stream.h"
#include "source/net_stream.h"

/* ---- library ---- */

BOOL_T Zelvane_Init(void) { return Library_Init(); }

void Zelvane_Cleanup(void) { Library_Cleanup(); }

ULONG_32 Zelvane_GetVersion(void) { return LIBRARY_VERSION; }

ULONG_32 Zelvane_GetInitCount(void) {
    ULONG_32 ulCount = Library_InitCount();
    LOG_INFO("Call Zelvane_GetInitCount, Init Count:[%d].", ulCount);
    return ulCount;
}

ULONG_32 Zelvane_GetLastError(void) { return LastError_Get(); }

BOOL_T Zelvane_AllocPort(ULONG_32 *pulPort) {
    LOG_INFO("Call %s.", __func__);
    if (pulPort == nullptr) {
        LOG_ERROR("Call Zelvane_AllocPort Failed, Invalid Param.");
        return form::Fail(PLAYER_ERR_PARAM);
    }
    ULONG_32 ulResult = Library_AllocPort(pulPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", __func__, ulResult);
        return form::Fail(ulResult);
    }
    LOG_INFO("Call Zelvane_AllocPort Success, GetPort[%03d].", *pulPort);
    return 1;
}

void Zelvane_FreePort(ULONG_32 ulPort) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (ulPort >= PLAYER_MAX_PORT_NUM) {
        LOG_ERROR("Get Port[%d] fail", ulPort);
        return;
    }
    if (form::Run(__func__, ulPort, PORT_CALL_CLOSE, [&] { return Player_FreePort(ulPort); }) == PLAYER_ERR_OK) {
        LOG_INFO("Port[%03d] Call %s Success.", ulPort, __func__);
    }
}

BOOL_T Zelvane_SetMaxDecChlNum(ULONG_32 ulMaxDecChlNum) {
    if (ulMaxDecChlNum > PLAYER_MAX_PORT_NUM) {
        word::Store(glMaxDecChlNum, PLAYER_MAX_PORT_NUM);
        LOG_ERROR("Zelvane_SetMaxDecChlNum Failed, Max Dec Num:[%d].", ulMaxDecChlNum);
        return form::Fail(PLAYER_ERR_PARAM);
    }
    word::Store(glMaxDecChlNum, static_cast<LONG_32>(ulMaxDecChlNum));
    LOG_INFO("Zelvane_SetMaxDecChlNum Success, Max Dec Num:[%d].", ulMaxDecChlNum);
    return 1;
}

BOOL_T Zelvane_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo) {
    LOG_INFO("Call %s.", __func__);
    ULONG_32 ulResult = Player_GetTotalVirtualSize(pulMallocNum, pastMallocInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", __func__, ulResult);
        return 0;
    }
    LOG_INFO("Call %s Success.", __func__);
    return 1;
}

BOOL_T Zelvane_SetWindowSize(ULONG_32, PLAYER_WIND_SIZE_S *) { return 1; }

/* ---- log and run messages ---- */

BOOL_T Zelvane_SetWriteLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc) {
    Log_SetSysLogCB(pfnWriteLogFunc);
    Library_ClientLogs();
    return 1;
}

BOOL_T Zelvane_SetLog(ULONG_32 ulLogLevel, CHAR *pcLogPath, ULONG_32 ulLogSize) {
    return Player_SetLog(ulLogLevel, pcLogPath, ulLogSize) == PLAYER_ERR_OK;
}

BOOL_T Zelvane_WriteRmLogInfo(ULONG_32 ulLogLevel, const CHAR *pcFileName, ULONG_32 ulLineNo, const CHAR *pszFmt,
                              va_list vl) {
    Log_WriteLogCallBackEx(static_cast<PLAYER_LOGLEVEL_E>(ulLogLevel), pcFileName, ulLineNo, pszFmt, vl);
    return 1;
}

BOOL_T Zelvane_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc) {
    return form::Global(__func__, [&] { return Player_SetPlayerRunMsgCB(pfnRunInfoFunc); });
}

/* ---- pushed streams ---- */

BOOL_T Zelvane_OpenInputStream(ULONG_32 ulPort, const UCHAR *pucFileHeadBuf, ULONG_32 ulSize, ULONG_32) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    return form::Entered(__func__, ulPort, PORT_CALL_PUSH,
                         [&] { return Player_OpenInputStream(ulPort, pucFileHeadBuf, ulSize); });
}

BOOL_T Zelvane_InputMediaData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen) {
    return form::Quiet(__func__, ulPort, PORT_CALL_PUSH,
                       [&] { return Player_InputMediaData(ulPort, pucDataBuf, ulDataLen); });
}

BOOL_T Zelvane_CloseInputStream(ULONG_32 ulPort) {
    return form::Close(__func__, ulPort, [&] {
        return Library_IsPortUsedAs(ulPort, {PORT_USED_TYPE_INPUT, PORT_USED_TYPE_VOICE})
                   ? Player_CloseInputStream(ulPort)
                   : static_cast<ULONG_32>(PLAYER_ERR_OK);
    });
}

BOOL_T Zelvane_SetPacketBuffer(ULONG_32 ulPort, ULONG_32 ulBufferSize, ULONG_32 ulDelayRenderTime) {
    LOG_INFO("Call Port[%03d] Zelvane_SetPacketBuffer, BufferSize[%d] DelayRenderTime[%d].", ulPort, ulBufferSize,
             ulDelayRenderTime);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetPacketBuffer(ulPort, ulBufferSize, ulDelayRenderTime); });
}

BOOL_T Zelvane_SetBufferCtrl(ULONG_32 ulPort, ULONG_32 ulBufferCtrl) {
    return form::Detail(__func__, ulPort, "BufferCtrl:[0x%x]",
                        [&] { return Player_SetBufferCtrl(ulPort, ulBufferCtrl); });
}

BOOL_T Zelvane_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    if (pstPayloadType == nullptr) {
        LOG_ERROR("Invalid pstPayloadType Param.");
        return PLAYER_ERR_PARAM;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetPayloadType(ulPort, ulNum > 2 ? 2 : ulNum, pstPayloadType); });
}

BOOL_T Zelvane_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    if (pstAudioInfo == nullptr) {
        LOG_ERROR("Invalid Parameter:pstAudioInfo=NULL.");
        return PLAYER_ERR_PARAM;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL, [&] { return Player_SetAudioInfo(ulPort, pstAudioInfo); });
}

/* ---- network streams ---- */

BOOL_T Zelvane_OpenNetStream(ULONG_32 ulPort, const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP,
                             USHORT usRemotePort, ULONG_32 ulTransProtl) {
    LOG_INFO(
        "Call Port[%03d] Zelvane_OpenNetStream, LocalIP[%s] LocalPort[%d] RemoteIP[%s] RemotePort[%d] Protocol[%d].",
        ulPort, form::Text(pcLocalIP), usLocalPort, form::Text(pcRemoteIP), usRemotePort, ulTransProtl);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL, [&] {
        return Player_OpenNetStream(ulPort, pcLocalIP, usLocalPort, pcRemoteIP, usRemotePort, ulTransProtl);
    });
}

BOOL_T Zelvane_CloseNetStream(ULONG_32 ulPort) {
    return form::Close(__func__, ulPort, [&] {
        return Library_IsPortUsedAs(ulPort, {PORT_USED_TYPE_NET, PORT_USED_TYPE_VOICE})
                   ? Player_CloseNetStream(ulPort)
                   : static_cast<ULONG_32>(PLAYER_ERR_OK);
    });
}

BOOL_T Zelvane_SetNatParam(ULONG_32 ulPort, ULONG_32 ulNatMode, const CHAR *pcNatSessionStr) {
    LOG_INFO("Call Port[%03d] Zelvane_SetNatParam, NatMode[%d] NatSession[%s].", ulPort, ulNatMode,
             form::Text(pcNatSessionStr));
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetNatParam(ulPort, ulNatMode, pcNatSessionStr); });
}

BOOL_T Zelvane_GetLocalNetPort(ULONG_32 ulPort, const CHAR *pcLocalIP, LONG *plPort) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_NORMAL, plPort,
                             [&] { return Player_GetLocalNetPort(ulPort, pcLocalIP, plPort); });
}

BOOL_T Zelvane_ReleaseLocalNetPort(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_ReleaseLocalNetPort(ulPort); });
}

BOOL_T Zelvane_SetTcpOutTime(LONG_32 lTcpOutTime) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_SetTcpOutTime(lTcpOutTime); });
}

/* ---- figures ---- */

BOOL_T Zelvane_GetBitRate(ULONG_32 ulPort, LONG_32 *plBitRate) {
    return form::QuietGetter(__func__, ulPort, PORT_CALL_UNLOCKED, plBitRate,
                             [&] { return Player_GetBitRate(ulPort, plBitRate); });
}

BOOL_T Zelvane_GetLostPacketRate(ULONG_32 ulPort, LONG_32 *plRecvPktNum, LONG_32 *plLostPktNum) {
    const void *pBoth = plRecvPktNum != nullptr ? plLostPktNum : nullptr;
    return form::QuietGetter(__func__, ulPort, PORT_CALL_UNLOCKED, pBoth,
                             [&] { return Player_GetLostPacketRate(ulPort, plRecvPktNum, plLostPktNum); });
}

BOOL_T Zelvane_ResetLostPacketRate(ULONG_32 ulPort) {
    return form::Quiet(__func__, ulPort, PORT_CALL_NORMAL, [&] { return Player_ResetLostPacketRate(ulPort); });
}

BOOL_T Zelvane_GetFrameRate(ULONG_32 ulPort, LONG_32 *plFrameRate) {
    return form::QuietGetter(__func__, ulPort, PORT_CALL_UNLOCKED, plFrameRate,
                             [&] { return Player_GetFrameRate(ulPort, plFrameRate); });
}

BOOL_T Zelvane_GetPictureSize(ULONG_32 ulPort, LONG_32 *plWidth, LONG_32 *plHeight) {
    const void *pBoth = plWidth != nullptr ? plHeight : nullptr;
    return form::QuietGetter(__func__, ulPort, PORT_CALL_UNLOCKED, pBoth,
                             [&] { return Player_GetPictureSize(ulPort, plWidth, plHeight); });
}

BOOL_T Zelvane_GetEncodeType(ULONG_32 ulPort, ULONG_32 *pulVideoEncodeType, ULONG_32 *pulAudioEncodeType) {
    return form::Quiet(__func__, ulPort, PORT_CALL_UNLOCKED,
                       [&] { return Player_GetEncodeType(ulPort, pulVideoEncodeType, pulAudioEncodeType); });
}

/* ---- decoding ---- */

BOOL_T Zelvane_SetAdjust(ULONG_32 ulPort, BOOL_T bAble, PLAYER_VIDEOADJUST_PARAM_S *pstParam) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_NORMAL, pstParam,
                             [&] { return Player_SetAdjust(ulPort, bAble, pstParam); });
}

BOOL_T Zelvane_GetAdjust(ULONG_32 ulPort, PLAYER_VIDEOADJUST_PARAM_S *pstParam) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, pstParam,
                             [&] { return Player_GetAdjust(ulPort, pstParam); });
}

BOOL_T Zelvane_SetDeinterlaceMode(ULONG_32 ulPort, BOOL_T bAble, PLAYER_DEINTERLACEMODE_E enMode) {
    return form::Detail(__func__, ulPort, "bAble:[%d]",
                        [&] { return Player_SetDeinterlaceMode(ulPort, bAble, enMode); });
}

BOOL_T Zelvane_AbleGpuDecode(BOOL_T bAble) {
    LOG_INFO("Call Zelvane_AbleGpuDecode, Able:[%d].", bAble);
    return Player_AbleGpuDecode(bAble);
}

BOOL_T Zelvane_AbleGpuDecodeEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState) {
    return form::Global(__func__, [&] { return Player_AbleGpuDecodeEx(bAble, pstGpuAbleState); });
}

BOOL_T Zelvane_SetGpuDrawEnable(ULONG_32 ulPort, BOOL_T bAble) {
    return form::Detail(__func__, ulPort, "bAble:[%d]", [&] { return Player_SetGpuDrawEnable(ulPort, bAble); });
}

BOOL_T Zelvane_SetOneFrameDecodeMode(ULONG_32 ulPort) {
    return form::Quiet(__func__, ulPort, PORT_CALL_NORMAL, [&] { return Player_SetOneFrameDecodeMode(ulPort); });
}

/* ---- picture ---- */

BOOL_T Zelvane_StartPlay(ULONG_32 ulPort, HANDLE hWnd) {
    return form::Detail(__func__, ulPort, "Wnd:[0x%x]", [&] { return Player_StartPlay(ulPort, hWnd); });
}

BOOL_T Zelvane_StopPlay(ULONG_32 ulPort, HANDLE) {
    return form::Detail(__func__, ulPort, "Wnd:[0x%x]", [&] { return Player_StopPlay(ulPort); });
}

BOOL_T Zelvane_SetPictureFluency(ULONG_32 ulPort, ULONG_32 ulFluency) {
    return form::Detail(__func__, ulPort, "ulFluency:[%d]",
                        [&] { return Player_SetPictureFluency(ulPort, ulFluency); });
}

BOOL_T Zelvane_PauseLive(ULONG_32 ulPort, BOOL_T bPause) {
    return form::Detail(__func__, ulPort, "bPause:[%d]", [&] { return Player_PauseLive(ulPort, bPause); });
}

BOOL_T Zelvane_SetRenderScale(ULONG_32 ulPort, HANDLE hWnd, LONG_32 lRenderScale) {
    LOG_INFO("Call Port[%03d] Zelvane_SetRenderScale, Wnd:[%p], RenderScale:[%d].", ulPort, hWnd, lRenderScale);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetRenderScale(ulPort, lRenderScale); });
}

BOOL_T Zelvane_GetRenderScale(ULONG_32 ulPort, HANDLE, LONG_32 *plRenderScale) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, plRenderScale,
                             [&] { return Player_GetRenderScale(ulPort, plRenderScale); });
}

BOOL_T Zelvane_SetDigitalZoom(ULONG_32 ulPort, HANDLE, PLAYER_RECT_S *pstRect) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetDigitalZoom(ulPort, pstRect); });
}

/* ---- sound ---- */

BOOL_T Zelvane_OpenSound(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_OpenSound(ulPort); });
}

BOOL_T Zelvane_CloseSound(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_CloseSound(ulPort); });
}

BOOL_T Zelvane_GetSoundVolume(ULONG_32 ulPort, LONG_32 *plVolume) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, plVolume,
                             [&] { return Player_GetSoundVolume(ulPort, plVolume); });
}

BOOL_T Zelvane_SetSoundVolume(ULONG_32 ulPort, LONG_32 lVolume) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetSoundVolume(ulPort, lVolume); });
}

BOOL_T Zelvane_SetMicVolume(ULONG_32 ulPort, LONG_32 lVolume) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetMicVolume(ulPort, lVolume); });
}

BOOL_T Zelvane_GetMicVolume(ULONG_32 ulPort, LONG_32 *plVolume) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, plVolume,
                             [&] { return Player_GetMicVolume(ulPort, plVolume); });
}

BOOL_T Zelvane_SetMicQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetMicQuietStatus(ulPort, bQuiet); });
}

BOOL_T Zelvane_GetMicQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, pbQuiet,
                             [&] { return Player_GetMicQuietStatus(ulPort, pbQuiet); });
}

BOOL_T Zelvane_SetSoundQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetSoundQuietStatus(ulPort, bQuiet); });
}

BOOL_T Zelvane_GetSoundQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_UNLOCKED, pbQuiet,
                             [&] { return Player_GetSoundQuietStatus(ulPort, pbQuiet); });
}

BOOL_T Zelvane_SetPlaySoundChannel(ULONG_32 ulPort, ULONG_32 ulChannel) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetPlaySoundChannel(ulPort, ulChannel); });
}

/* ---- callbacks ---- */

BOOL_T Zelvane_SetSourceMediaDataCB(ULONG_32 ulPort, PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF pfnSourceMediaDataCBFun,
                                    BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetSourceMediaDataCB(ulPort, pfnSourceMediaDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetParseVideoDataCB(ULONG_32 ulPort, PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF pfnParseVideoDataCBFun,
                                   BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetParseVideoDataCB(ulPort, pfnParseVideoDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetParseAudioDataCB(ULONG_32 ulPort, PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF pfnParseAudioDataCBFun,
                                   BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetParseAudioDataCB(ulPort, pfnParseAudioDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetDecodeVideoMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF pfnDecodeVideoDataCBFun,
                                         BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetDecodeVideoMediaDataCB(ulPort, pfnDecodeVideoDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetDecodeAudioMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF pfnDecodeAudioDataCBFun,
                                         BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetDecodeAudioMediaDataCB(ulPort, pfnDecodeAudioDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetDrawMediaDataCB(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnDrawDataCBFun, void *pUserParam) {
    return form::Standard(__func__, ulPort,
                          [&] { return Player_SetDrawMediaDataCB(ulPort, pfnDrawDataCBFun, pUserParam); });
}

BOOL_T Zelvane_SetParseVoiceDataCB(ULONG_32 ulPort, PLAYER_PARSE_VOICE_DATA_CALLBACK_PF pfnParseVoiceDataCBFun,
                                   BOOL_T bContinue, void *pUserParam) {
    return form::Detail(__func__, ulPort, "Continue:[%d]", [&] {
        return Player_SetParseVoiceDataCB(ulPort, pfnParseVoiceDataCBFun, bContinue, pUserParam);
    });
}

BOOL_T Zelvane_SetVideoCallBackMode(ULONG_32 ulPort, ULONG_32 lRectify) {
    return form::Detail(__func__, ulPort, "lRectify[%d]",
                        [&] { return Player_SetVideoCallBackMode(ulPort, lRectify); });
}
