// A file on a port: open, close, reading frames, times.
#include "source/file_play.h"

#include <string.h>

#include "file/module_avi.h"
#include "file/mp4_parse.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_hold.h"
#include "port/port_lock.h"
#include "port/port_state.h"
#include "source/free_port.h"
#include "source/source_kind.h"
#include "source/stream_common.h"

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 NO_KEY_FRAME = 0xFFFFFFFF;
const ULONG_32 ADTS_HEAD_LEN = 7;
const LONG_32 MAX_FRAME_RATE = 60;

bool IsFilePort(const PORT_SOURCE_S *pstSource) { return word::Load(pstSource->ulPortUsed) == PORT_USED_TYPE_FILE; }

/* ---- open and close ---- */

/** Forgets what the stream before left: an old frame rate would pace this file and misplace a seek in it. */
void ResetPlay(PLAEYR_PORT_S *pstPort) {
    PortState_ResetIntake(pstPort);
    word::Store(pstPort->ulSetPlayTime, NO_SEEK);
    word::Store(pstPort->bCtrlSucc, 1);
    word::Store(pstPort->ulFrameCtrl, FRAME_CTRL_PAUSE);
    word::Store(pstPort->stStateInfo.lFrameRate, 0);
    pstPort->stStateInfo.bGetSPSFrameRate = 0;
    pstPort->stStateInfo.dulVideoTimestamp = 0;
    pstPort->stFileInfo.ulPreIFrameTime = NO_KEY_FRAME;
    pstPort->stFileInfo.pbRun = &pstPort->bStartRecv;
    ULONG_32 ulPlayTime = 0;
    File_GetPlayTime(&pstPort->stFileInfo, &ulPlayTime);
    word::Store(pstPort->ulFilePlayTime, ulPlayTime);
}

void OccupyPort(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bFilePort, 1);
    word::Store(pstPort->enPicFluncy, PLAYER_PICTURE_REAL);
    pstPort->bAudioPlayOnly = 1;
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_FILE);
}

void ReleaseFile(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stFileInfo.hAviParser != nullptr) {
        AVI_FileClose(nullptr, pstPort->stFileInfo.hAviParser);
        pstPort->stFileInfo.hAviParser = nullptr;
    }
    File_ReleaseFileParser(&pstPort->stFileInfo);
    word::Store(pstPort->bFilePort, 0);
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NULL);
}

ULONG_32 StartPlayThread(PLAEYR_PORT_S *pstPort) {
    WYK_gettimeofday(&pstPort->stStateInfo.stBitPrevTime, nullptr);
    word::Store(pstPort->bStartRecv, 1);
    LONG lResult = QLOM_SDK_thr_create(__FilePlayThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hDecodeThread);
    if (lResult == 0) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Create FilePlay Thread Failed, Error:[0x%x].", pstPort->ulPort,
              static_cast<ULONG_32>(lResult));
    word::Store(pstPort->bStartRecv, 0);
    return PLAYER_ERR_RESOURCE;
}

/* ---- frames ---- */

/** The rate learnt from the stream stands above what the container said. */
void LearnFrameRate(PLAEYR_PORT_S *pstPort) {
    const LONG_32 lFrameRate = word::Load(pstPort->stStateInfo.lFrameRate);
    if (Payload_IsVideo(pstPort->stFrameData.lPayload) && lFrameRate >= 1 && lFrameRate <= MAX_FRAME_RATE) {
        word::Store(pstPort->stFileInfo.lFrameRate, lFrameRate);
    }
}

/** Puts an ADTS head (ISO/IEC 13818-7, 6.2) in front of the frame, in the frame's own buffer. */
ULONG_32 AddAdtsHead(PORT_INTAKE_S *pstIntake, const FILE_FRAME_INFO_S &stInfo) {
    PLAYER_FRAMEDATA_S &stFrame = pstIntake->stFrameData;
    if (stInfo.ulBufferLen > VIDEO_FRAME_BUFFER_SIZE - ADTS_HEAD_LEN) {
        return PLAYER_ERR_FILE_READ;
    }
    const ULONG_32 ulLen = stInfo.ulBufferLen + ADTS_HEAD_LEN;
    memmove(stFrame.pucData + ADTS_HEAD_LEN, stFrame.pucData, stInfo.ulBufferLen);
    stFrame.lDataLen = static_cast<LONG_32>(ulLen);
    // The box reader keeps the object type under ucFrequencyIndex and the sampling index under ucAudioType.
    const ULONG_32 ulProfile = stInfo.ucFrequencyIndex - 1U;
    const ULONG_32 aulHead[ADTS_HEAD_LEN] = {
        0xFF,
        0xF9,
        ulProfile << 6 | static_cast<ULONG_32>(stInfo.ucAudioType) << 2 | (stInfo.ucChannelNum & 4U) >> 2,
        static_cast<ULONG_32>(stInfo.ucChannelNum) << 6 | ulLen >> 11,
        (ulLen & 0x7FFU) >> 3,
        ulLen << 5 | 0x1FU,
        0xFC};
    for (ULONG_32 i = 0; i < ADTS_HEAD_LEN; i++) {
        stFrame.pucData[i] = static_cast<UCHAR>(aulHead[i]);
    }
    return PLAYER_ERR_OK;
}

/* ---- times ---- */

ULONG_32 PlayTimeOfEntry(PLAYBACK_PLAY_TIME *pstEntry) {
    const CPortHold oHold(pstEntry->ulPort);
    const PLAEYR_PORT_S *pstPort = oHold.Port();
    if (pstPort == nullptr) {
        LOG_ERROR("Get port[%d] Failed.", pstEntry->ulPort);
        return PLAYER_ERR_PORT;
    }
    pstEntry->ulPlayTime = IsFilePort(pstPort) ? word::Load(pstPort->ulFilePlayTime) : Stream_PlayTime(pstPort);
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 Player_OpenMediaFile(ULONG_32 ulPort, const CHAR *pcFilename) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL || PortThread_IsOwn(ulPort)) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = File_CreateFileParser(pcFilename, &pstPort->stFileInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_OpenMediaFile: File_CreateFileParser Failed, Error:[0x%x].", ulPort, ulResult);
        word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NULL);
        return ulResult;
    }
    ResetPlay(pstPort);
    OccupyPort(pstPort);
    ulResult = StartPlayThread(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        ReleaseFile(pstPort);
        return ulResult;
    }
    LOG_INFO("Port[%03d] Player_OpenMediaFile Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CloseMediaFile(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!IsFilePort(pstPort)) {
        return PLAYER_ERR_OK;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_CloseMediaFile Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    // The flag falls first: whatever the play thread waits for, the joins in here must not wait for it.
    word::Store(pstPort->bStartRecv, 0);
    word::Store(pstPort->ulFrameCtrl, FRAME_CTRL_PAUSE);
    Port_WakeAll(pstPort);
    Source_StopOutputs(pstPort);
    QLOM_SDK_thr_join(pstPort->hDecodeThread);
    pstPort->hDecodeThread = 0;
    PortState_FreePipeline(pstPort);
    PortState_ResetIntake(pstPort);
    ReleaseFile(pstPort);
    LOG_INFO("Port[%03d] Player_CloseMediaFile Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_ParserFile(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl) {
    FILE_FRAME_INFO_S stInfo = {};
    ULONG_32 ulResult = File_ReadOneFrame(&pstPort->stFileInfo, &stInfo, ulFrameCtrl);
    if (ulResult == PLAYER_ERR_OK) {
        PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
        stFrame.dulTimestamp = stInfo.dulTimestamp;
        stFrame.bPictureEnd = 1;
        stFrame.lPayload = stInfo.lPayload;
        stFrame.lFormatType = stInfo.lFormatType;
        stFrame.pucData = stInfo.pucBuffer;
        stFrame.lDataLen = static_cast<LONG_32>(stInfo.ulBufferLen);
        LearnFrameRate(pstPort);
        if (stInfo.lPayload == PLAYER_PAYLOAD_AAC) {
            ulResult = AddAdtsHead(pstPort, stInfo);
        }
    }
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("Port[%03d] Player_ParserFile Failed, File_ReadOneFrame Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
    }
    return ulResult;
}

ULONG_32 Player_GetFileTime(ULONG_32 ulPort, ULONG_32 *pulTotalTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!IsFilePort(pstPort)) {
        LOG_ERROR("Port[%03d] Player_GetFileTime: This Port Not support Get File Time, Error:[0x%x].", ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT));
        return PLAYER_ERR_NOT_SUPPORT;
    }
    return File_GetFileTime(&pstPort->stFileInfo, pulTotalTime);
}

ULONG_32 Player_SetFilePos(ULONG_32 ulPort, DULONG dulFileStartPos, DULONG dulFileEndPos) {
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        LOG_ERROR("Get port[%d] fail", ulPort);
        return PLAYER_ERR_PORT;
    }
    word::Store(pstPort->stFileInfo.dulFileStartPos, dulFileStartPos);
    word::Store(pstPort->stFileInfo.dulFileEndPos, dulFileEndPos);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CurPlayTime(ULONG_32 ulPort, ULONG_32 *pulPlayTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return SourceKind_Of(pstPort).pfnPlayTime(pstPort, pulPlayTime);
}

ULONG_32 Player_CurPlayTimeEx(ULONG_32 ulPortNum, PLAYBACK_PLAY_TIME *pstPlayTimeArray) {
    if (pstPlayTimeArray == nullptr && ulPortNum != 0) {
        return PLAYER_ERR_PARAM;
    }
    for (ULONG_32 i = 0; i < ulPortNum; i++) {
        ULONG_32 ulResult = PlayTimeOfEntry(&pstPlayTimeArray[i]);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_Mp4GetRealTime(const CHAR *pcFileName, ULONG_32 *pulRealTime) {
    if (pulRealTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pulRealTime = 0;
    ULONG_32 ulError = PLAYER_ERR_OK;
    FILE *pFile = File_OpenForReading(pcFileName, &ulError);
    if (pFile == nullptr) {
        return ulError;
    }
    const BOOL_T bFound = MP4_GetRealTime(pFile, pulRealTime);
    fclose(pFile);
    return bFound ? PLAYER_ERR_OK : PLAYER_ERR_PARAM;
}
