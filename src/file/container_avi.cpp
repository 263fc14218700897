// AVI behind the file layer.
#include "file/file_container.h"
#include "file/module_avi.h"
#include "foundations/com_log.h"

namespace {

ULONG_32 Create(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hAviParser = AVI_CreateParser(pcFileName);
    if (pstFileInfo->hAviParser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, AVI_CreateAviParser Failed.");
        return PLAYER_ERR_NOT_SUPPORT;
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

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
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

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    return AVI_SetPlayTime(pstFileInfo->hAviParser, ulSeconds, lFrameRate);
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    return AVI_GetPlayTime(pstFileInfo->hAviParser, pulPlayTime);
}

void Release(FILE_INFO_S *pstFileInfo) { AVI_FileClose(nullptr, pstFileInfo->hAviParser); }

}  // namespace

const FILE_CONTAINER_S gstAviContainer = {&FILE_INFO_S::hAviParser,
                                          AVI_IsAviFile,
                                          Create,
                                          GetProperty,
                                          Read,
                                          Seek,
                                          PlayTime,
                                          nullptr,
                                          Release,
                                          {"AVI_GetOneFrameData", "AVI_SetPlayTime", "AVI_GetPlayTime"}};
