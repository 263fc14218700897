// Frames and times of an open file, by its format; muxing for recordings.
#include "file/module_file.h"

#include <time.h>

#include "file/file_inner.h"
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

mp4_moov_box *Mp4Of(const FILE_INFO_S *pstFileInfo) { return static_cast<mp4_moov_box *>(pstFileInfo->hMp4Parser); }

/* ---- reading ---- */

ULONG_32 ReadMp4Frame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    MP4_FRAME_INFO_S stFrame = {};
    stFrame.pucBuffer = pstFileInfo->pucFrameDataAddr;
    ULONG_32 ulResult = MP4_GetOneFrameData(pstFileInfo->pFile, Mp4Of(pstFileInfo),
                                            static_cast<LONG_32>(File_FileCtrlToMp4Ctrl(ulFrameCtrl)), &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (stFrame.lPayload == PLAYER_PAYLOAD_AAC) {
        pstFrame->ucAudioType = stFrame.ucAudioType;
        pstFrame->ucFrequencyIndex = stFrame.ucFrequencyIndex;
        pstFrame->ucChannelNum = stFrame.ucChannelNum;
    }
    pstFrame->dulTimestamp = stFrame.dulTimestamp;
    pstFrame->lPayload = stFrame.lPayload;
    pstFrame->lFormatType = stFrame.lFormatType;
    pstFrame->pucBuffer = stFrame.pucBuffer;
    pstFrame->ulBufferLen = stFrame.ulBufferLen;
    return PLAYER_ERR_OK;
}

ULONG_32 ReadAviFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.pucData = pstFileInfo->pucFrameDataAddr;
    ULONG_32 ulResult = AVI_GetOneFrameData(pstFileInfo->hAviParser, File_FileCtrlToAviCtrl(ulFrameCtrl), &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstFrame->dulTimestamp = static_cast<DULONG>(stFrame.dlTimeStamp);
    pstFrame->lPayload = static_cast<LONG_32>(stFrame.ulPayload);
    pstFrame->lFormatType = static_cast<LONG_32>(stFrame.ulFormatType);
    pstFrame->pucBuffer = stFrame.pucData;
    pstFrame->ulBufferLen = stFrame.ulDataSize;
    return PLAYER_ERR_OK;
}

ULONG_32 ReadKrdfFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    KRDF_FRAME_INFO_S stFrame = {};
    stFrame.pcDataBuf = pstFileInfo->pucFrameDataAddr;
    ULONG_32 ulResult = KRDF_GetOneFrameData(pstFileInfo->hKrdfParser, File_FileCtrlToKrdfCtrl(ulFrameCtrl), &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstFrame->dulTimestamp = stFrame.dulTimeStamp;
    pstFrame->lPayload = static_cast<LONG_32>(stFrame.ulPayload);
    pstFrame->lFormatType = static_cast<LONG_32>(stFrame.ulFrameType);
    pstFrame->pucBuffer = stFrame.pcDataBuf;
    pstFrame->ulBufferLen = stFrame.ulDataLen;
    return PLAYER_ERR_OK;
}

/** The end of the file is no error. */
ULONG_32 LogRead(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("File_ReadOneFrame Failed, %s Failed, Error[0x%x].", pcFunction, ulResult);
    }
    return ulResult;
}

ULONG_32 LogTsRead(ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_UNKNOWN_STREAM) {
        LOG_ERROR("Unknown Stream Type.");
    } else if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("Parser Failed,Error[%lu].", static_cast<unsigned long>(ulResult));
    }
    return ulResult;
}

/* ---- times ---- */

ULONG_32 LogSeek(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_SetPlayTime Failed, %s Failed, Error[0x%x].", pcFunction, ulResult);
    }
    return ulResult;
}

ULONG_32 LogTime(const CHAR *pcFunction, ULONG_32 ulResult) {
    if (ulResult != PLAYER_ERR_OK) {
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
    if (pstFileInfo->hMp4Parser != nullptr) {
        return LogRead("MP4_GetOneFrameData", ReadMp4Frame(pstFileInfo, pstFrame, ulFrameCtrl));
    }
    if (pstFileInfo->hAviParser != nullptr) {
        return LogRead("AVI_GetOneFrameData", ReadAviFrame(pstFileInfo, pstFrame, ulFrameCtrl));
    }
    if (pstFileInfo->hKrdfParser != nullptr) {
        return LogRead("KRDF_GetOneFrameData", ReadKrdfFrame(pstFileInfo, pstFrame, ulFrameCtrl));
    }
    return LogTsRead(FileInner_ReadTsFrame(pstFileInfo, pstFrame, ulFrameCtrl));
}

ULONG_32 File_SetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    if (pstFileInfo == nullptr || pstFileInfo->pFile == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstFileInfo->hMp4Parser != nullptr) {
        return LogSeek("MP4_SetPlayTime",
                       MP4_SetPlayTime(pstFileInfo->pFile, Mp4Of(pstFileInfo), ulSeconds, lFrameRate));
    }
    if (pstFileInfo->hAviParser != nullptr) {
        return LogSeek("AVI_SetPlayTime", AVI_SetPlayTime(pstFileInfo->hAviParser, ulSeconds, lFrameRate));
    }
    if (pstFileInfo->hKrdfParser != nullptr) {
        return LogSeek("KRDF_SetPlayTime", KRDF_SetPlayTime(pstFileInfo->hKrdfParser, ulSeconds));
    }
    return FileInner_SetTsTime(pstFileInfo, ulSeconds);
}

ULONG_32 File_GetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    if (pstFileInfo == nullptr || pulPlayTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstFileInfo->hMp4Parser != nullptr) {
        return LogTime("MP4_GetPlayTime", MP4_GetPlayTime(Mp4Of(pstFileInfo), pulPlayTime));
    }
    if (pstFileInfo->hAviParser != nullptr) {
        return LogTime("AVI_GetPlayTime", AVI_GetPlayTime(pstFileInfo->hAviParser, pulPlayTime));
    }
    if (pstFileInfo->hKrdfParser != nullptr) {
        return LogTime("AVI_GetPlayTime", KRDF_GetPlayTime(pstFileInfo->hKrdfParser, pulPlayTime));
    }
    *pulPlayTime = FileInner_GetTsTime(pstFileInfo);
    return PLAYER_ERR_OK;
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
    if (pstFileInfo->hMp4Parser != nullptr) {
        // That went to the first key frame; play begins with what lies in front of it too, sound mostly.
        Mp4Of(pstFileInfo)->iCurSampleIndex = 0;
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
