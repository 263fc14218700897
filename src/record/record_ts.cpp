// The recording as MPEG-TS. Sound becomes MPEG-1 layer II, the one that the platform's readers share.
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_inner.h"
#include "record/record_thread.h"
#include "record/record_writer.h"

namespace {

const DULONG TICKS_A_SECOND = 90000;
const LONG_32 USUAL_RATE = 25;
const LONG_32 FORMAT_OF_MP2 = 3; /**< lFormatType that an encoded block carries */

bool IsTranscoded(LONG_32 lPayload) {
    return lPayload == PLAYER_PAYLOAD_G711U || lPayload == PLAYER_PAYLOAD_AAC || lPayload == PLAYER_PAYLOAD_G711A;
}

/** Payloads that have a stream in the dialect. Anything else would stop the muxer. */
bool IsMuxed(LONG_32 lPayload) {
    return Payload_IsVideo(lPayload) || Payload_IsAudio(lPayload) || lPayload == PLAYER_PAYLOAD_DATA;
}

/** A stream that was pushed as bare frames has no stamps: each of its frames lasts as long as the rate says. */
void PaceWithoutStamps(PLAEYR_PORT_S *pstPort, const PLAYER_FRAMEDATA_S &stFrame) {
    if (stFrame.dulTimestamp == 0 && pstPort->dulPreTimeStamp == 0) {
        const LONG_32 lFrameRate = word::Load(pstPort->stStateInfo.lFrameRate);
        pstPort->dulTotalTimeStamp += TICKS_A_SECOND / static_cast<DULONG>(lFrameRate > 0 ? lFrameRate : USUAL_RATE);
    }
}

ULONG_32 BeginFile(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->pstReordPort->stFrameData;
    const LONG_32 lVideo =
        RecordFormat_HasVideo(stFormat) ? stFrame.lPayload : static_cast<LONG_32>(PLAYER_PAYLOAD_NULL);
    ULONG_32 ulResult =
        File_CreatePacketDec(FILE_PACKET_TYPE_TS, lVideo, PLAYER_PAYLOAD_MP1L2, pstPort->pstTsRecordInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Record Thread: File_CreatePacketDec Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return ulResult;
    }
    pstPort->dulPreTimeStamp = stFrame.dulTimestamp;
    pstPort->bInitTsRecordInfo = 1;
    pstPort->dulTotalTimeStamp = 0;
    return PLAYER_ERR_OK;
}

ULONG_32 Pack(PORT_RECORD_S *pstRecording, UCHAR **ppucData, ULONG_32 *pulLen) {
    const PLAYER_FRAMEDATA_S &stFrame = pstRecording->pstReordPort->stFrameData;
    TS_FRAMEDATA_S stPacked = {};
    stPacked.pucData = stFrame.pucData;
    stPacked.lDataLen = stFrame.lDataLen;
    stPacked.lPayload = stFrame.lPayload;
    stPacked.lFormatType = stFrame.lFormatType;
    stPacked.dulTimestamp = stFrame.dulTimestamp;
    return File_PacketData(pstRecording->pstTsRecordInfo, &stPacked, FILE_PACKET_TYPE_TS, ppucData, pulLen);
}

/** Readers look for the last clock from the end of a file, in steps of a packet. */
void CutToWholePackets(FILE *pFile) {
    struct stat stStat;
    if (fstat(fileno(pFile), &stStat) == 0 && stStat.st_size % TS_PACKET_SIZE != 0 &&
        ftruncate(fileno(pFile), stStat.st_size - stStat.st_size % TS_PACKET_SIZE) == 0) {
        fseeko(pFile, 0, SEEK_END);
    }
}

ULONG_32 WriteFrame(PLAEYR_PORT_S *pstPort) {
    UCHAR *pucData = nullptr;
    ULONG_32 ulLen = 0;
    ULONG_32 ulResult = Pack(pstPort, &pucData, &ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Record Thread: File_PacketData Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return ulResult;
    }
    ulResult = WYK_FileWrite(pstPort->pRecordFile, pucData, ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Record Thread: WYK_FileWrite Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        CutToWholePackets(pstPort->pRecordFile);
        if (ulResult == PLAYER_ERR_DISK_FULL) {
            Record_ReportDiskFull(pstPort);
        }
    }
    return ulResult;
}

void TranscodeAudio(RECORD_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    ULONG_32 ulResult = Port_RecordTSAudio(pstPort, pstLoop->dulAudioStamp);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Record Thread: Record TS Audio Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

/* ---- the file ---- */

/** Every frame goes out by a write of its own: what was recorded is in the file whatever becomes of the process. */
bool OpenNext(PLAEYR_PORT_S *pstPort) {
    pstPort->pRecordFile = WYK_FileOpen(pstPort->szFileName, "wb", nullptr);
    if (pstPort->pRecordFile != nullptr) {
        setvbuf(pstPort->pRecordFile, nullptr, _IONBF, 0);
    }
    return pstPort->pRecordFile != nullptr;
}

ULONG_32 Open(PLAEYR_PORT_S *pstPort) {
    pstPort->pstTsRecordInfo = static_cast<TS_PACKET_DEC_S *>(calloc(1, sizeof(TS_PACKET_DEC_S)));
    if (pstPort->pstTsRecordInfo == nullptr) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Malloc Failed, Size:[%d].", pstPort->ulPort,
                  static_cast<LONG_32>(sizeof(TS_PACKET_DEC_S)));
        return PLAYER_ERR_FAILED;
    }
    pstPort->bInitTsRecordInfo = 0;
    if (!OpenNext(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen Failed, Error:[0x%x].", pstPort->ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_FILE_OPEN));
        return PLAYER_ERR_FILE_OPEN;
    }
    return PLAYER_ERR_OK;
}

void CloseStream(PORT_RECORD_S *pstRecording) {
    if (pstRecording->pRecordFile != nullptr) {
        fclose(pstRecording->pRecordFile);
        pstRecording->pRecordFile = nullptr;
    }
}

/** Clears the muxer's record but for the packets of the last frame, which nobody reads again. */
void CloseFile(PLAEYR_PORT_S *pstPort) {
    pstPort->bInitTsRecordInfo = 0;
    CloseStream(pstPort);
    if (pstPort->pstTsRecordInfo != nullptr) {
        const size_t ulBehind = offsetof(TS_PACKET_DEC_S, szPacketBuff) + sizeof(TS_PACKET_DEC_S::szPacketBuff);
        CHAR *pcRecord = reinterpret_cast<CHAR *>(pstPort->pstTsRecordInfo);
        memset(pcRecord, 0, offsetof(TS_PACKET_DEC_S, szPacketBuff));
        memset(pcRecord + ulBehind, 0, sizeof(TS_PACKET_DEC_S) - ulBehind);
    }
}

void Release(PLAEYR_PORT_S *pstPort) {
    free(pstPort->pstTsRecordInfo);
    pstPort->pstTsRecordInfo = nullptr;
    CloseStream(pstPort);
}

bool IsAtBegin(const PORT_RECORD_S *pstRecord) { return !pstRecord->bInitTsRecordInfo; }

}  // namespace

ULONG_32 RecordTs_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    PLAYER_FRAMEDATA_S &stFrame = pstPort->pstReordPort->stFrameData;
    if (!IsMuxed(stFrame.lPayload) || (!pstPort->bInitTsRecordInfo && BeginFile(pstLoop, stFormat) != PLAYER_ERR_OK)) {
        return PLAYER_ERR_OK;
    }
    Record_NoteFileTimes(pstLoop);
    if (IsTranscoded(stFrame.lPayload)) {
        if (RecordFormat_HasAudio(stFormat)) {
            TranscodeAudio(pstLoop);
        }
        return PLAYER_ERR_OK;
    }
    if (!RecordFormat_HasVideo(stFormat)) {
        pstLoop->dulAudioStamp = stFrame.dulTimestamp;
        return PLAYER_ERR_OK;
    }
    PaceWithoutStamps(pstPort, stFrame);
    Record_Rebase(pstLoop, 1);
    stFrame.dulTimestamp = pstPort->dulTotalTimeStamp;
    pstLoop->dulAudioStamp = pstPort->dulTotalTimeStamp;
    return WriteFrame(pstPort);
}

ULONG_32 Port_RecordTSAudio(PLAEYR_PORT_S *pstPort, DULONG dulAudioStamp) {
    return Record_Transcode(pstPort, dulAudioStamp,
                            {PLAYER_PAYLOAD_MP1L2, Player_Mp2WriteToTS, "RecordTSAudio", false});
}

void Player_Mp2WriteToTS(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUser);
    if (pstPort == nullptr) {
        LOG_ERROR("Player_Mp2WriteToTS Failed: Invalid User Param.");
        return;
    }
    PLAYER_FRAMEDATA_S &stFrame = pstPort->pstReordPort->stFrameData;
    stFrame.pucData = pucData;
    stFrame.lDataLen = lLen;
    stFrame.lFormatType = FORMAT_OF_MP2;
    stFrame.dulTimestamp = static_cast<DULONG>(dlTimeStamp);
    ULONG_32 ulLen = 0;
    ULONG_32 ulResult = Pack(pstPort, &pucData, &ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Player_Mp2WriteToTS: File_PacketData Failed, Error:[0x%x].", ulResult);
        return;
    }
    ulResult = WYK_FileWrite(pstPort->pRecordFile, pucData, ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Player_Mp2WriteToTS: WYK_FileWrite Failed, Error:[0x%x].", ulResult);
        CutToWholePackets(pstPort->pRecordFile);
    }
}

const RECORD_CONTAINER_S gstTsRecordContainer = {
    ".ts",     PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME, 0,      0, Open, OpenNext, CloseFile, RecordTs_Frame,
    IsAtBegin, RecordContainer_SizeOnDisk,          Release};
