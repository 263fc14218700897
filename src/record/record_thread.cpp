#include "record/record_thread.h"

#include <stdlib.h>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "pipeline/parse_stage.h"
#include "port/port_lock.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_inner.h"
#include "record/rollover.h"

namespace {

const ULONG_32 IDLE_WAIT_MS = 40;      /**< packets are handled in batches: one switch of threads for many */
const ULONG_32 NOTHING_WAIT_MS = 1000; /**< nothing comes at all; a packet ends it */
const DULONG JUMP_TICKS = 90100;
const DULONG STAMP_MODULUS = 0xFFFFFFFF;

bool IsKeyFrame(const PLAYER_FRAMEDATA_S &stFrame) {
    return stFrame.lPayload == PLAYER_PAYLOAD_JPEG ||
           (Payload_IsInterVideo(stFrame.lPayload) && stFrame.lFormatType == PLAYER_VIDEO_FRAME_I);
}

/** Nothing is recorded ahead of a key frame. */
bool PassGate(PLAEYR_PORT_S *pstRecord) {
    if (pstRecord->bNeedIFrame == 1 && !IsKeyFrame(pstRecord->stFrameData)) {
        return false;
    }
    pstRecord->bNeedIFrame = 0;
    return true;
}

/** A frame pushed whole may be larger than any that the muxers take. */
bool PassSize(PLAEYR_PORT_S *pstPort) {
    PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    const PLAYER_FRAMEDATA_S &stFrame = pstRecord->stFrameData;
    if (stFrame.lDataLen > 0 && static_cast<ULONG_32>(stFrame.lDataLen) <= VIDEO_FRAME_BUFFER_SIZE) {
        return true;
    }
    LOG_ERROR("Port[%03d] Record Thread: Frame Of Payload[%d] Dropped, Size:[%d].", pstPort->ulPort, stFrame.lPayload,
              stFrame.lDataLen);
    if (Payload_IsVideo(stFrame.lPayload)) {
        pstRecord->bNeedIFrame = 1;
    }
    return false;
}

/** Whether the frame in hand is a picture of another codec than the file's. */
bool IsOtherCodec(const PLAEYR_PORT_S *pstRecord) {
    const LONG_32 lPayload = pstRecord->stFrameData.lPayload;
    return Payload_IsInterVideo(lPayload) && pstRecord->ulRecPayload != PLAYER_PAYLOAD_NULL &&
           pstRecord->ulRecPayload != static_cast<ULONG_32>(lPayload);
}

/** The client's position follows the recording. */
void FollowPlaybackTime(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulTime = pstPort->pstReordPort->stRtpVideoStreamInfo.ulPlaybackTime;
    if (ulTime != 0) {
        word::Store(pstPort->stRtpVideoStreamInfo.ulPlaybackTime, ulTime);
    }
}

/**
 * Goes on in a new file if one is due. A picture that comes slice by slice stays in one file, and of another codec it
 * begins one only as a whole.
 */
ULONG_32 RollOver(RECORD_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (pstLoop->bContinues && IsOtherCodec(pstPort->pstReordPort)) {
        return PLAYER_ERR_OK;
    }
    if (!Player_RecordDataChanged(pstPort) || pstLoop->bContinues) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulResult = Player_CreateNewFile(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Record Thread: Player_CreateNewFile Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return ulResult;
    }
    pstPort->ulRecordFileBeginTime = pstPort->pstReordPort->stRtpVideoStreamInfo.ulPlaybackTime;
    pstPort->dulTotalTimeStamp = 0;
    pstLoop->bAudioBegun = 0;
    return PLAYER_ERR_OK;
}

/** Records the frame in hand, with the newest parameter sets in front if it begins a file without its own. */
ULONG_32 WriteFrame(RECORD_LOOP_S *pstLoop, bool bComplete) {
    const RECORD_FORMAT_S *pstFormat = RecordFormat_Find(pstLoop->pstPort->ulMediaFileFormat);
    if (pstFormat == nullptr) {
        return PLAYER_ERR_OK;
    }
    const RECORD_CONTAINER_S &stContainer = RecordContainer_Of(pstFormat->enContainer);
    const bool bBegins = !bComplete && stContainer.pfnIsAtBegin(pstLoop->pstPort);
    UCHAR *pucWhole = bBegins ? RecordParams_Complete(pstLoop) : nullptr;
    ULONG_32 ulResult = stContainer.pfnFrame(pstLoop, *pstFormat);
    free(pucWhole);
    return ulResult;
}

/** Records what parsing came to: the frame in hand, if there is one. */
ULONG_32 AddParsed(RECORD_LOOP_S *pstLoop, ULONG_32 ulResult) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    if (ulResult != PLAYER_ERR_OK) {
        if (ulResult != PLAYER_ERR_UNKNOWN_STREAM && ulResult != PLAYER_ERR_NEED_MORE_DATA) {
            pstRecord->bNeedIFrame = 1;
        }
        return PLAYER_ERR_OK;
    }
    if (!PassGate(pstRecord) || !PassSize(pstPort)) {
        return PLAYER_ERR_OK;
    }
    const bool bComplete = RecordParams_Keep(pstLoop);
    FollowPlaybackTime(pstPort);
    ulResult = RollOver(pstLoop);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (IsOtherCodec(pstRecord)) {
        return PLAYER_ERR_OK;  // ahead of its key frame nobody can show it, in this file least of all
    }
    return WriteFrame(pstLoop, bComplete);
}

/** Records what packets added before still hold. */
ULONG_32 AddPending(RECORD_LOOP_S *pstLoop, BOOL_T bQuiet) {
    ULONG_32 ulResult = PLAYER_ERR_OK;
    ULONG_32 ulParsed = Player_ParsePending(pstLoop->pstPort->pstReordPort, bQuiet);
    while (ulParsed != PLAYER_ERR_NEED_MORE_DATA && ulResult == PLAYER_ERR_OK) {
        ulResult = AddParsed(pstLoop, ulParsed);
        ulParsed = ulResult == PLAYER_ERR_OK ? Player_ParsePending(pstLoop->pstPort->pstReordPort, bQuiet)
                                             : ULONG_32{PLAYER_ERR_NEED_MORE_DATA};
    }
    return ulResult;
}

/** Sleeps until there is work: for long if the last sleep brought none. @return whether a packet is there */
bool WaitForPackets(PORT_RECORD_S *pstRecording, bool bIdle) {
    return QUEUE_WaitForPacket(&pstRecording->stRecordBufferQueue, bIdle ? NOTHING_WAIT_MS : IDLE_WAIT_MS,
                               bIdle ? QUEUE_WAIT_PACKET : QUEUE_WAIT_BULK);
}

bool DrainPackets(RECORD_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 0;
    while (word::Load(pstPort->bStartRecord) &&
           QUEUE_GetPacketEx(&pstPort->stRecordBufferQueue, word::LoadAcquire(pstPort->pstPayloadType), &pcPacket,
                             &ulLen) == PLAYER_ERR_OK) {
        if (Record_AddPacket(pstLoop, pcPacket, ulLen) != PLAYER_ERR_OK) {
            return false;
        }
    }
    return word::Load(pstPort->bStartRecord) != 0 && AddPending(pstLoop, 1) == PLAYER_ERR_OK;
}

}  // namespace

void Record_Rebase(RECORD_LOOP_S *pstLoop, DULONG dulUnit) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const DULONG dulStamp = pstPort->pstReordPort->stFrameData.dulTimestamp;
    const DULONG dulDistance = dulStamp - pstPort->dulPreTimeStamp;
    if (dulStamp >= pstPort->dulPreTimeStamp && dulDistance <= JUMP_TICKS) {
        pstLoop->dulDiffTime = (dulDistance + STAMP_MODULUS) % STAMP_MODULUS / dulUnit;
    }
    pstPort->dulTotalTimeStamp += pstLoop->dulDiffTime;
    pstPort->dulPreTimeStamp = dulStamp;
}

void Record_NoteFileTimes(RECORD_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulTime = pstPort->pstReordPort->stRtpVideoStreamInfo.ulPlaybackTime;
    if (!pstLoop->bGetFileBeginTime) {
        pstPort->ulRecordFileBeginTime = ulTime;
        pstLoop->bGetFileBeginTime = 1;
    }
    pstPort->ulRecordFileEndTime = ulTime;
}

ULONG_32 Record_WaitForKeyFrame(PLAEYR_PORT_S *pstPort, ULONG_32 ulError) {
    pstPort->pstReordPort->bNeedIFrame = 1;
    return ulError;
}

ULONG_32 Record_AddPacket(RECORD_LOOP_S *pstLoop, CHAR *pcPacket, ULONG_32 ulPacketLen) {
    const ULONG_32 ulResult =
        AddParsed(pstLoop, Player_ParseStream(pcPacket, ulPacketLen, pstLoop->pstPort->pstReordPort));
    return ulResult == PLAYER_ERR_OK ? AddPending(pstLoop, 0) : ulResult;
}

void *__RecordThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartRecord);
    LOG_INFO("Port[%03d] Start __RecordThreadEntry Thread Succeed.", pstPort->ulPort);
    RECORD_LOOP_S stLoop = {};
    stLoop.pstPort = pstPort;
    bool bIdle = false;
    while (DrainPackets(&stLoop)) {
        bIdle = !WaitForPackets(pstPort, bIdle);
    }
    return nullptr;
}
