// AVI behind the file layer.
#include "file/avi/avifmt.h"
#include "file/file_container.h"
#include "file/module_avi.h"
#include "foundations/com_log.h"

namespace {

const int DROPPED_MAX = 256; /**< in a row; then the caller looks whether it is to go on */

ULONG_32 Create(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hAviParser = AVI_CreateParser(pcFileName);
    if (pstFileInfo->hAviParser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, AVI_CreateAviParser Failed.");
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    AVI_INFO_S stInfo = {};
    ULONG_32 ulResult = AVI_GetAviInfo(pstFileInfo->hAviParser, &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, AVI_GetAviInfo Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = 0;
    pstFileInfo->ulLastTime = stInfo.ulPlayTime;
    pstFileInfo->lFrameRate = static_cast<LONG_32>(stInfo.ulFrameRate);
    return PLAYER_ERR_OK;
}

/** Whether the frame just passed over has no bytes: writers leave such where a camera dropped one. */
bool IsDroppedFrame(HANDLE hAvi) {
    avi_t *pstAvi = static_cast<avi_t *>(hAvi);
    return AVI_frame_size(pstAvi, AVI_get_video_position(pstAvi) - 1) == 0;
}

/** Dropped frames are no failure, after which video would wait for a key frame. */
ULONG_32 ReadPastDropped(HANDLE hAvi, ULONG_32 ulGetType, AVI_FRAME_INFO_S *pstFrame) {
    ULONG_32 ulResult = PLAYER_ERR_FAILED;
    for (int i = 0; i < DROPPED_MAX; ++i) {
        ulResult = AVI_GetOneFrameData(hAvi, ulGetType, pstFrame);
        if (ulResult != PLAYER_ERR_FAILED || !IsDroppedFrame(hAvi)) {
            break;
        }
    }
    return ulResult;
}

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    AVI_FRAME_INFO_S stFrame = {};
    stFrame.pucData = pstFileInfo->pucFrameDataAddr;
    ULONG_32 ulResult = ReadPastDropped(pstFileInfo->hAviParser, File_FileCtrlToAviCtrl(ulFrameCtrl), &stFrame);
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

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    return AVI_SetPlayTime(pstFileInfo->hAviParser, ulSeconds, lFrameRate);
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    return AVI_GetPlayTime(pstFileInfo->hAviParser, pulPlayTime);
}

/** The rewind went to the first key frame; play begins with what lies in front of it too. */
void ToBegin(FILE_INFO_S *pstFileInfo) { AVI_seek_start(static_cast<avi_t *>(pstFileInfo->hAviParser)); }

void Release(FILE_INFO_S *pstFileInfo) { AVI_FileClose(nullptr, pstFileInfo->hAviParser); }

}  // namespace

const FILE_CONTAINER_S gstAviContainer = {&FILE_INFO_S::hAviParser,
                                          AVI_IsAviFile,
                                          Create,
                                          GetProperty,
                                          Read,
                                          Seek,
                                          PlayTime,
                                          ToBegin,
                                          Release,
                                          {"AVI_GetOneFrameData", "AVI_SetPlayTime", "AVI_GetPlayTime"}};
