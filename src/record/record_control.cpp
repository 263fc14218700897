// The client's handle on a recording: start, stop, limits, and the list of what was recorded.
#include "record/record_control.h"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "port/player_manager.h"
#include "port/standard_intake.h"
#include "queue/record_head.h"
#include "record/record_claim.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_name.h"
#include "record/record_thread.h"
#include "record/record_writer.h"

namespace {

const ULONG_32 RING_FACTOR = 4; /**< slots of the record ring for each of the port's own */
const ULONG_32 SIZE_MIN_MIB = 10;
const ULONG_32 SIZE_MAX_MIB = 4000;
const ULONG_32 TIME_MIN_MINUTES = 1;
const ULONG_32 TIME_MAX_MINUTES = 60;
const ULONG_32 PATH_ROOM = 255;

/* ---- the record port ---- */

CHAR *AllocBuffer(ULONG_32 ulPort, ULONG_32 ulSize) {
    CHAR *pcBuffer = static_cast<CHAR *>(malloc(ulSize));
    if (pcBuffer == nullptr) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Malloc Failed, Size:[%d].", ulPort, ulSize);
    }
    return pcBuffer;
}

/** The record port reads the stream by the same rules as the port itself. */
ULONG_32 CopyPayloadTable(PLAEYR_PORT_S *pstPort, PLAEYR_PORT_S *pstRecord) {
    const ULONG_32 ulSize = 2 * sizeof(RTP_PAYLOAD_TYPE_S);
    const RTP_PAYLOAD_TYPE_S *pstTable = word::LoadAcquire(pstPort->pstPayloadType);
    if (pstTable == nullptr) {
        return PLAYER_ERR_OK;
    }
    CHAR *pcCopy = AllocBuffer(pstPort->ulPort, ulSize);
    if (pcCopy == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    memcpy(pcCopy, pstTable, ulSize);
    pstRecord->pstPayloadType = reinterpret_cast<RTP_PAYLOAD_TYPE_S *>(pcCopy);
    return PLAYER_ERR_OK;
}

/** Word by word: the decode thread may learn them from the stream at this moment. */
void CopyAudioInfo(const PORT_INTAKE_S *pstIntake, PLAEYR_PORT_S *pstRecord) {
    RTP_AUDIO_INFO_S &stTo = pstRecord->stRtpAudioInfo;
    stTo.ucAudioType = word::Load(pstIntake->stRtpAudioInfo.ucAudioType);
    stTo.ucFrequencyIndex = word::Load(pstIntake->stRtpAudioInfo.ucFrequencyIndex);
    stTo.ucChannelNum = word::Load(pstIntake->stRtpAudioInfo.ucChannelNum);
}

ULONG_32 FillRecordPort(PLAEYR_PORT_S *pstPort) {
    PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    pstRecord->pcFrameDataAddr = AllocBuffer(pstPort->ulPort, VIDEO_FRAME_BUFFER_SIZE);
    pstRecord->ulFrameBufLen = VIDEO_FRAME_BUFFER_SIZE;
    pstRecord->pcRtpAudioFrameDataAddr = AllocBuffer(pstPort->ulPort, AUDIO_FRAME_BUFFER_SIZE);
    pstRecord->ulRtpAudioFrameBufLen = AUDIO_FRAME_BUFFER_SIZE;
    if (pstRecord->pcFrameDataAddr == nullptr || pstRecord->pcRtpAudioFrameDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    CopyAudioInfo(pstPort, pstRecord);
    const ULONG_32 ulResult = CopyPayloadTable(pstPort, pstRecord);
    return ulResult == PLAYER_ERR_OK ? StandardIntake_Copy(pstPort, pstRecord) : ulResult;
}

ULONG_32 MakeRecordPort(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulResult = PortTable_AllocHelper(&pstPort->pstReordPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult;
}

void FreeRecordPort(PORT_RECORD_S *pstRecording) {
    PLAEYR_PORT_S *pstRecord = pstRecording->pstReordPort;
    if (pstRecord == nullptr) {
        return;
    }
    Port_Release(pstRecord);
    pstRecording->pstReordPort = nullptr;
}

/* ---- start ---- */

ULONG_32 MakeRing(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulSlots = pstPort->ulBufferNum * RING_FACTOR;
    ULONG_32 ulResult = QUEUE_InitPacketBuffer(&pstPort->stRecordBufferQueue, RECORD_RING_SLOT, ulSlots);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] QUEUE_InitPacketBuffer:[%d] failed.", pstPort->ulPort, ulSlots);
    }
    return ulResult;
}

ULONG_32 StartThread(PLAEYR_PORT_S *pstPort, ULONG_32 ulMediaFileFormat) {
    pstPort->ulMediaFileFormat = ulMediaFileFormat;
    pstPort->bHaveAudio = 0;
    pstPort->bDiskFullTold = 0;
    pstPort->bRecAacKnown = 0;
    pstPort->ulRecordFileBeginTime = 0;
    pstPort->ulRecordFileEndTime = 0;
    pstPort->lStartTime = time(nullptr);  // ahead of the thread, whose first key frame is measured by it
    word::Store(pstPort->bStartRecord, 1);
    LONG lResult = QLOM_SDK_thr_create(__RecordThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hRecordThread);
    if (lResult == 0) {
        return PLAYER_ERR_OK;
    }
    pstPort->hRecordThread = 0;
    LOG_ERROR("Port[%03d] Create Record Thread Failed, Error:[0x%x].", pstPort->ulPort, static_cast<ULONG_32>(lResult));
    return PLAYER_ERR_RESOURCE;
}

/** Everything behind the record port; whatever fails is taken back by Unwind. */
ULONG_32 Begin(PLAEYR_PORT_S *pstPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat) {
    ULONG_32 ulResult = FillRecordPort(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const RECORD_FORMAT_S *pstFormat = RecordFormat_Find(ulMediaFileFormat);
    if (pstFormat == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    RecordName_Begin(pstPort, *pstFormat, pcFileName);
    ulResult = RecordClaim_Make(pstPort) ? RecordContainer_Of(pstFormat->enContainer).pfnOpen(pstPort)
                                         : static_cast<ULONG_32>(PLAYER_ERR_FILE_OPEN);
    if (ulResult == PLAYER_ERR_OK && pstPort->lClaim == 0 && !RecordClaim_Make(pstPort)) {
        ulResult = PLAYER_ERR_FILE_OPEN;  // the folder was not there before
    }
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = MakeRing(pstPort);
    }
    return ulResult == PLAYER_ERR_OK ? StartThread(pstPort, ulMediaFileFormat) : ulResult;
}

/** Ends the thread and gives back what it worked with, but for the file. */
void EndThread(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bStartRecord, 0);
    QUEUE_WakeAll(&pstPort->stRecordBufferQueue);
    QLOM_SDK_thr_join(pstPort->hRecordThread);
    pstPort->hRecordThread = 0;
    QUEUE_CleanupPacketBuffer(&pstPort->stRecordBufferQueue);
    FreeRecordPort(pstPort);
}

void Unwind(PLAEYR_PORT_S *pstPort, ULONG_32 ulMediaFileFormat, ULONG_32 ulError) {
    if (ulError == PLAYER_RUN_RECORD_OPEN_FAILED) {
        Record_Report(pstPort, PLAYER_RUN_RECORD_OPEN_FAILED, nullptr);
        LOG_ERROR("Port[%03d] Player_StartRecord Failed, fopen Failed.", pstPort->ulPort);
    }
    EndThread(pstPort);
    if (RecordFormat_Find(ulMediaFileFormat) == nullptr) {
        LOG_WARN("Player_StartRecord Warning, Unknown Player File Formate:[%d].", ulMediaFileFormat);
    }
    RecordWriter_Release(pstPort);
    RecordClaim_Abandon(pstPort);
}

/** The extension without a terminator. */
void TellExtension(ULONG_32 ulMediaFileFormat, CHAR *pcFilePostfix) {
    if (pcFilePostfix != nullptr) {
        const CHAR *pcExtension = RecordContainer_Of(RecordFormat_Find(ulMediaFileFormat)->enContainer).pcExtension;
        memcpy(pcFilePostfix, pcExtension, strlen(pcExtension));
    }
}

/* ---- stop ---- */

/** What the two stop functions do differently. */
struct STOP_S {
    bool bAll;         /**< every format is closed and named, else these with video alone */
    bool bTempNames;   /**< names without the stream's time grow from the path with its ".temp" */
    bool bForgetCount; /**< the next recording counts its files from the start */
    const CHAR *pcUnknown;
    const CHAR *pcNotSent;
};

const STOP_S gstStop = {true, false, true, "Player_StopRecord Warning, Unknown Player File Formate:[%d].",
                        "Port[%03d] Player_StopRecord Warning: Send Report Failed, Error:[0x%x]."};
const STOP_S gstStopEx = {false, true, false, "Player_StopRecordEx Warning, Unknown Player File Formate:[%d].",
                          "Port[%03d] Player_StopRecord Warning, Send Report Failed, Error:[0x%x]."};

void FreeTranscoder(PORT_RECORD_S *pstRecording) {
    CODE_FreeCode(&pstRecording->stRecordAudioDecode);
    CODE_FreeCode(&pstRecording->stRecordAudioEncode);
    pstRecording->bHaveAudio = 0;
}

void FinishFile(PLAEYR_PORT_S *pstPort, const STOP_S &stStop, CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]) {
    const RECORD_FORMAT_S *pstFormat = RecordFormat_Find(pstPort->ulMediaFileFormat);
    if (pstFormat == nullptr || (!stStop.bAll && !RecordFormat_HasVideo(*pstFormat))) {
        LOG_WARN(stStop.pcUnknown, pstPort->ulMediaFileFormat);
        return;
    }
    RecordWriter_Release(pstPort);
    const bool bTemp = stStop.bTempNames && pstFormat->enStamp != RECORD_STAMP_STREAM;
    RecordName_Final(pstPort, *pstFormat, bTemp ? pstPort->szFileName : pstPort->szFileNameTemp, szFinal);
    RecordClaim_Rename(pstPort, szFinal);
}

void StopRunning(PLAEYR_PORT_S *pstPort, const STOP_S &stStop, CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]) {
    EndThread(pstPort);
    FreeTranscoder(pstPort);
    FinishFile(pstPort, stStop, szFinal);
    if (stStop.bForgetCount) {
        pstPort->ulFileCount = 0;
        pstPort->dulTotalTimeStamp = 0;
    }
    ULONG_32 ulResult = Record_Report(pstPort, PLAYER_RUN_RECORD_FINISHED, szFinal);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN(stStop.pcNotSent, pstPort->ulPort, ulResult);
    }
}

ULONG_32 Stop(PLAEYR_PORT_S *pstPort, const STOP_S &stStop, CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]) {
    szFinal[0] = '\0';
    if (word::Load(pstPort->bStartRecord)) {
        if (pthread_equal(pstPort->hRecordThread, pthread_self())) {
            LOG_ERROR("Port[%03d] Player_StopRecord Failed, Called On The Record Thread.", pstPort->ulPort);
            return PLAYER_ERR_FAILED;
        }
        StopRunning(pstPort, stStop, szFinal);
    }
    LOG_INFO("Port[%03d] Player_StopRecord Success.", pstPort->ulPort);
    Player_AddFileNameNode(pstPort, szFinal);
    return PLAYER_ERR_OK;
}

/* ---- the list ---- */

/** A reader may meet the list while the record thread appends to it. */
PLAYER_RECORD_FILENAME_LIST_S *LastNode(PLAYER_RECORD_FILENAME_LIST_S *pstNode) {
    while (PLAYER_RECORD_FILENAME_LIST_S *pstNext = word::LoadAcquire(pstNode->pstNext)) {
        pstNode = pstNext;
    }
    return pstNode;
}

}  // namespace

ULONG_32 Player_StartRecord(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat, CHAR *pcFilePostfix) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pcFileName == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (word::Load(pstPort->bStartRecord)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Record had been started Failed, Error:[0x%x].", ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_RECORD_STARTED));
        return PLAYER_ERR_RECORD_STARTED;
    }
    RecordWriter_Release(pstPort);  // what Player_StopRecordEx left open
    RecordClaim_Drop(pstPort);
    ULONG_32 ulResult = MakeRecordPort(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    ulResult = Begin(pstPort, pcFileName, ulMediaFileFormat);
    if (ulResult != PLAYER_ERR_OK) {
        Unwind(pstPort, ulMediaFileFormat, ulResult);
        return ulResult;
    }
    TellExtension(ulMediaFileFormat, pcFilePostfix);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_StopRecord(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    CHAR szFinal[PLAYER_FILE_NAME_LEN];
    return Stop(pstPort, gstStop, szFinal);
}

ULONG_32 Player_StopRecordEx(ULONG_32 ulPort, CHAR *pcFilePath) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pcFilePath == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CHAR szFinal[PLAYER_FILE_NAME_LEN];
    ULONG_32 ulResult = Stop(pstPort, gstStopEx, szFinal);
    const ULONG ulRoom = PATH_ROOM - strnlen(pcFilePath, PATH_ROOM);
    if (ulResult == PLAYER_ERR_OK && ulRoom != 0) {
        QLOM_SDK_snprintf(pcFilePath, ulRoom, "%s", szFinal);
    }
    return ulResult;
}

ULONG_32 Player_SetRecordSize(ULONG_32 ulPort, ULONG_32 ulFileSize) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulFileSize < SIZE_MIN_MIB || ulFileSize > SIZE_MAX_MIB) {
        LOG_WARN("Port[%03d] Player_SetRecordSize: FileSize:[%d] Out Of Size[10-4000M].", ulPort, ulFileSize);
        return PLAYER_ERR_PARAM;
    }
    word::Store(pstPort->ulFileMaxSize, DULONG{ulFileSize} << 20);
    word::Store(pstPort->ulFileMaxTime, 0);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetRecordDivByTime(ULONG_32 ulPort, ULONG_32 ulTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulTime < TIME_MIN_MINUTES || ulTime > TIME_MAX_MINUTES) {
        LOG_WARN("Port[%03d] Player_SetRecordDivByTime Failed, Time:[%d] Out Of Size[1-60Min].", ulPort, ulTime);
        return PLAYER_ERR_PARAM;
    }
    word::Store(pstPort->ulFileMaxTime, ulTime * 60);
    word::Store(pstPort->ulFileMaxSize, 0);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetRecordStatus(ULONG_32 ulPort, BOOL_T *pbRecording) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pbRecording == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pbRecording = word::Load(pstPort->bStartRecord);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetRecordFiles(ULONG_32 ulPort, ULONG_32 enGetFilePos,
                               PLAYER_RECORD_FILES_NAME_INFO_S *pstFilesNameInfo) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pstFilesNameInfo == nullptr) {
        LOG_ERROR("Port[%03d] GetRecordFiles, Invalid pstFilesNameInfo Param.", ulPort);
        return PLAYER_ERR_PARAM;
    }
    PLAYER_RECORD_FILES_NAME_INFO_S *pstList = word::LoadAcquire(pstPort->pstRecordFilesName);
    if (pstList == nullptr) {
        LOG_ERROR("Port[%03d] GetRecordFiles, Invalid pstFileNameLinkList Param.", ulPort);
        return PLAYER_ERR_PARAM;
    }
    switch (enGetFilePos) {
        case RECORD_GET_FILENAME_FIRST:
            *pstFilesNameInfo = {1, pstList->pstFileNameLinkList};
            break;
        case RECORD_GET_FILENAME_LAST:
            *pstFilesNameInfo = {1, LastNode(pstList->pstFileNameLinkList)};
            break;
        case RECORD_GET_FILENAME_ALL:
            *pstFilesNameInfo = {word::LoadAcquire(pstList->ulFileCount), pstList->pstFileNameLinkList};
            break;
        default:
            LOG_ERROR("Port[%03d] Player_GetRecordFiles: Invalid ulGetFileOrder:[%d].", ulPort, enGetFilePos);
            break;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetFileSize(ULONG_32 ulPort, DULONG *) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return PLAYER_ERR_OK;
}
