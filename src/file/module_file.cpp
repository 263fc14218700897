// Frames and times of an open file, by its format; muxing for recordings.
#include "file/module_file.h"

#include <time.h>

#include "file/file_container.h"
#include "file/module_avi.h"
#include "file/module_krdf.h"
#include "file/mp4_parse.h"
#include "foundations/com_log.h"

namespace {

const LONG_32 DEFAULT_FRAME_RATE = 25;

// The requests of the three parsers are numbered alike.
static_assert(int{MP4_FRAME_GET_TYPE_MAX} == int{AVI_FRAME_GET_TYPE_MAX} &&
              int{MP4_FRAME_GET_TYPE_MAX} == int{KRDF_FRAME_GET_TYPE_MAX});

/** By frame control value. */
const ULONG_32 gaulGetType[] = {MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME, MP4_FRAME_GET_TYPE_NONE,
                                MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME, MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME,
                                MP4_FRAME_GET_TYPE_ONLY_I_FRAME,     MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME};

ULONG_32 GetTypeOf(ULONG_32 ulFrameCtrl) {
    const ULONG_32 ulRows = sizeof(gaulGetType) / sizeof(gaulGetType[0]);
    return ulFrameCtrl < ulRows ? gaulGetType[ulFrameCtrl] : ULONG_32{MP4_FRAME_GET_TYPE_NONE};
}

/* ---- reading ---- */

/** The end of the file is no error. */
ULONG_32 LogRead(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (pcFunction != nullptr && ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("File_ReadOneFrame Failed, %s Failed, Error[0x%x].", pcFunction, ulResult);
    }
    return ulResult;
}

/* ---- times ---- */

ULONG_32 LogSeek(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (pcFunction != nullptr && ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_SetPlayTime Failed, %s Failed, Error[0x%x].", pcFunction, ulResult);
    }
    return ulResult;
}

ULONG_32 LogTime(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (pcFunction != nullptr && ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetPlayTime Failed, %s Failed, Error[0x%x].", pcFunction, ulResult);
    }
    return ulResult;
}

void MeasureKeyInterval(FILE_INFO_S *pstFileInfo) {
    FILE_FRAME_INFO_S stFirst = {};
    FILE_FRAME_INFO_S stSecond = {};
    if (File_ReadOneFrame(pstFileInfo, &stFirst, FRAME_CTRL_ONLY_I_SP_FRAME) != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetIFrameInterval Failed,Get First I Frame Failed.");
        return;
    }
    if (File_ReadOneFrame(pstFileInfo, &stSecond, FRAME_CTRL_ONLY_I_SP_FRAME) != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetIFrameInterval Failed, Get Second I Frame Failed.");
        return;
    }
    pstFileInfo->fIFrameIntervalTime = static_cast<FLOAT>(stSecond.dulTimestamp - stFirst.dulTimestamp) / 90.0F;
}

}  // namespace

ULONG_32 File_FileCtrlToMp4Ctrl(ULONG_32 ulFrameCtrl) { return GetTypeOf(ulFrameCtrl); }

ULONG_32 File_FileCtrlToAviCtrl(ULONG_32 ulFrameCtrl) { return GetTypeOf(ulFrameCtrl); }

ULONG_32 File_FileCtrlToKrdfCtrl(ULONG_32 ulFrameCtrl) { return GetTypeOf(ulFrameCtrl); }

ULONG_32 File_ReadOneFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    if (pstFileInfo == nullptr || pstFrame == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const FILE_CONTAINER_S &stContainer = FileContainer_Of(pstFileInfo);
    return LogRead(stContainer.stNames.pcRead, stContainer.pfnRead(pstFileInfo, pstFrame, ulFrameCtrl));
}

ULONG_32 File_SetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    if (pstFileInfo == nullptr || pstFileInfo->pFile == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const FILE_CONTAINER_S &stContainer = FileContainer_Of(pstFileInfo);
    return LogSeek(stContainer.stNames.pcSeek, stContainer.pfnSeek(pstFileInfo, ulSeconds, lFrameRate));
}

ULONG_32 File_GetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    if (pstFileInfo == nullptr || pulPlayTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const FILE_CONTAINER_S &stContainer = FileContainer_Of(pstFileInfo);
    return LogTime(stContainer.stNames.pcTime, stContainer.pfnPlayTime(pstFileInfo, pulPlayTime));
}

ULONG_32 File_GetFileTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulFileTime) {
    if (pstFileInfo == nullptr || pulFileTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pulFileTime = pstFileInfo->ulLastTime;
    return PLAYER_ERR_OK;
}

ULONG_32 File_GetIFrameIntervalTime(FILE_INFO_S *pstFileInfo) {
    if (pstFileInfo == nullptr) {
        LOG_ERROR("File_GetIFrameInterval Failed, Invalid Param.");
        return PLAYER_ERR_PARAM;
    }
    if (pstFileInfo->pucFrameDataAddr != nullptr) {
        MeasureKeyInterval(pstFileInfo);
    }
    ULONG_32 ulResult = File_SetPlayTime(pstFileInfo, 0, DEFAULT_FRAME_RATE);
    const FILE_CONTAINER_S &stContainer = FileContainer_Of(pstFileInfo);
    if (stContainer.pfnToBegin != nullptr) {
        stContainer.pfnToBegin(pstFileInfo);
    }
    return ulResult;
}

/* ---- muxing ---- */

ULONG_32 File_CreatePacketDec(ULONG_32 ulType, LONG_32 lVideoType, LONG_32 lAudioType, TS_PACKET_DEC_S *pstRecordInfo) {
    if (pstRecordInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulType != FILE_PACKET_TYPE_TS) {
        return PLAYER_ERR_OK;
    }
    pstRecordInfo->lVideoType = lVideoType;
    pstRecordInfo->lAudioTyp = lAudioType;
    pstRecordInfo->lElemType = PLAYER_PAYLOAD_DATA;
    ULONG_32 ulResult = TS_CreatePAT(pstRecordInfo);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = TS_CreatePMT(pstRecordInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_CreatePacketDec Failed, TS_CreatePAT Failed, Error[0x%x].", ulResult);
    }
    return ulResult;
}

ULONG_32 File_DestoryPacketDec(TS_PACKET_DEC_S *) { return PLAYER_ERR_OK; }

ULONG_32 File_PacketData(TS_PACKET_DEC_S *pstRecordInfo, TS_FRAMEDATA_S *pstFrame, ULONG_32 ulType, UCHAR **ppucData,
                         ULONG_32 *pulLen) {
    if (pstRecordInfo == nullptr || pstFrame == nullptr || ppucData == nullptr || pulLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulType != FILE_PACKET_TYPE_TS) {
        return PLAYER_ERR_OK;
    }
    if (pstFrame->lPayload == PLAYER_PAYLOAD_G711U || pstFrame->lPayload == PLAYER_PAYLOAD_G711A ||
        pstFrame->lPayload == PLAYER_PAYLOAD_AAC) {
        pstFrame->lPayload = PLAYER_PAYLOAD_MP1L2;
    }
    ULONG_32 ulResult = TS_PackFirstPacket(pstFrame, pstRecordInfo);
    while (ulResult == PLAYER_ERR_PACK_AGAIN) {
        ulResult = TS_PackOtherPacket(pstFrame, pstRecordInfo);
    }
    // Packets are written whole, so what older frames left behind them in the buffer is never handed out.
    *ppucData = reinterpret_cast<UCHAR *>(pstRecordInfo->szPacketBuff);
    *pulLen = pstRecordInfo->ulPacketDataLen;
    pstRecordInfo->ulPacketDataLen = 0;
    pstRecordInfo->ulEsPacketDataLen = 0;
    return ulResult;
}

ULONG_32 File_GetBaseTimestamp(DULONG *pdulValue) {
    const DULONG START_UNIT = 1000;
    const DULONG STEP = 3600;
    if (pdulValue == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pdulValue = *pdulValue != 0 ? *pdulValue + STEP : static_cast<DULONG>(time(nullptr)) / START_UNIT * START_UNIT;
    return PLAYER_ERR_OK;
}
