// KRDF behind the file layer.
#include "file/file_container.h"
#include "file/module_krdf.h"
#include "foundations/com_log.h"

namespace {

ULONG_32 Create(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hKrdfParser = KRDF_CreateKrdfParser(pcFileName, pstFileInfo->dulFileStartPos);
    if (pstFileInfo->hKrdfParser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, KRDF_CreateKrdfParser Failed.");
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    pstFileInfo->dulFileSize = pstFileInfo->dulFileEndPos != 0
                                   ? pstFileInfo->dulFileEndPos - pstFileInfo->dulFileStartPos
                                   : File_Length(pstFileInfo->pFile);
    if (pstFileInfo->dulFileSize == 0) {
        LOG_ERROR("File_GetFileProperty fail, File Len is Zero");
        return PLAYER_ERR_FAILED;
    }
    KRDF_INFO_S stInfo = {};
    ULONG_32 ulResult = KRDF_GetKrdfInfo(pstFileInfo->hKrdfParser, &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, KRDF_GetKrdfInfo Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = stInfo.dulFirstTime;
    pstFileInfo->ulLastTime = stInfo.ulLastTime;
    pstFileInfo->lFrameRate = stInfo.lFrameRate;
    return PLAYER_ERR_OK;
}

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
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

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32) {
    return KRDF_SetPlayTime(pstFileInfo->hKrdfParser, ulSeconds);
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    return KRDF_GetPlayTime(pstFileInfo->hKrdfParser, pulPlayTime);
}

void Release(FILE_INFO_S *pstFileInfo) { KRDF_DestroyKrdfParser(pstFileInfo->hKrdfParser); }

}  // namespace

// The line of a failed time names another function, as it always has.
const FILE_CONTAINER_S gstKrdfContainer = {&FILE_INFO_S::hKrdfParser,
                                           KRDF_IsKrdfFile,
                                           Create,
                                           GetProperty,
                                           Read,
                                           Seek,
                                           PlayTime,
                                           nullptr,
                                           Release,
                                           {"KRDF_GetOneFrameData", "KRDF_SetPlayTime", "AVI_GetPlayTime"}};
