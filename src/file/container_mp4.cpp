// MP4 behind the file layer.
#include "file/file_container.h"
#include "file/mp4_parse.h"
#include "foundations/com_log.h"

namespace {

mp4_moov_box *ParserOf(const FILE_INFO_S *pstFileInfo) { return static_cast<mp4_moov_box *>(pstFileInfo->hMp4Parser); }

ULONG_32 Create(const CHAR *, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->hMp4Parser = MP4_CreateMp4Parser(pstFileInfo->pFile, 0);
    if (pstFileInfo->hMp4Parser == nullptr) {
        LOG_ERROR("File_CreateFileParser Failed, MP4_CreateMp4Parser Failed.");
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    MP4_INFO_S stInfo = {};
    ULONG_32 ulResult = MP4_GetMp4Info(ParserOf(pstFileInfo), &stInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, MP4_GetMp4Info Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    pstFileInfo->dulFirstTime = 0;
    pstFileInfo->ulLastTime = stInfo.ulPlayTime;
    pstFileInfo->lFrameRate = static_cast<LONG_32>(stInfo.ulFrameRate);
    return PLAYER_ERR_OK;
}

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    MP4_FRAME_INFO_S stFrame = {};
    stFrame.pucBuffer = pstFileInfo->pucFrameDataAddr;
    ULONG_32 ulResult = MP4_GetOneFrameData(pstFileInfo->pFile, ParserOf(pstFileInfo),
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

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    return MP4_SetPlayTime(pstFileInfo->pFile, ParserOf(pstFileInfo), ulSeconds, lFrameRate);
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    return MP4_GetPlayTime(ParserOf(pstFileInfo), pulPlayTime);
}

/** The rewind went to the first key frame; play begins with what lies in front of it too, sound mostly. */
void ToBegin(FILE_INFO_S *pstFileInfo) { ParserOf(pstFileInfo)->iCurSampleIndex = 0; }

void Release(FILE_INFO_S *pstFileInfo) { MP4_ReleaseMp4Parser(ParserOf(pstFileInfo)); }

}  // namespace

const FILE_CONTAINER_S gstMp4Container = {&FILE_INFO_S::hMp4Parser,
                                          MP4_IsMp4File,
                                          Create,
                                          GetProperty,
                                          Read,
                                          Seek,
                                          PlayTime,
                                          ToBegin,
                                          Release,
                                          {"MP4_GetOneFrameData", "MP4_SetPlayTime", "MP4_GetPlayTime"}};
