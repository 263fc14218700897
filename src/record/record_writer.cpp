#include "record/record_writer.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "codec/zvmp4.h"
#include "file/module_avi.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"

namespace {

const LONG_32 MP4_OPEN_FLAGS = 65;
const LONG_32 MP4_OPEN_MODE = 777;

bool IsHandle(HANDLE hHandle) { return hHandle != nullptr && ~reinterpret_cast<ULONG>(hHandle) != 0; }

/** Takes a handle that may be all ones for none. */
bool Take(HANDLE *phTo, HANDLE hFrom) {
    *phTo = IsHandle(hFrom) ? hFrom : nullptr;
    return *phTo != nullptr;
}

/* ---- MPEG-TS ---- */

/** Every frame goes out by a write of its own: what was recorded is in the file whatever becomes of the process. */
bool OpenTsFile(PLAEYR_PORT_S *pstPort) {
    pstPort->pRecordFile = WYK_FileOpen(pstPort->szFileName, "wb", nullptr);
    if (pstPort->pRecordFile != nullptr) {
        setvbuf(pstPort->pRecordFile, nullptr, _IONBF, 0);
    }
    return pstPort->pRecordFile != nullptr;
}

ULONG_32 OpenTs(PLAEYR_PORT_S *pstPort) {
    pstPort->pstTsRecordInfo = static_cast<TS_PACKET_DEC_S *>(calloc(1, sizeof(TS_PACKET_DEC_S)));
    if (pstPort->pstTsRecordInfo == nullptr) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Malloc Failed, Size:[%d].", pstPort->ulPort,
                  static_cast<LONG_32>(sizeof(TS_PACKET_DEC_S)));
        return PLAYER_ERR_FAILED;
    }
    pstPort->bInitTsRecordInfo = 0;
    if (!OpenTsFile(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen Failed, Error:[0x%x].", pstPort->ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_FILE_OPEN));
        return PLAYER_ERR_FILE_OPEN;
    }
    return PLAYER_ERR_OK;
}

void CloseTsFile(PLAEYR_PORT_S *pstPort) {
    if (pstPort->pRecordFile != nullptr) {
        fclose(pstPort->pRecordFile);
        pstPort->pRecordFile = nullptr;
    }
}

/** Clears the muxer's record but for the packets of the last frame, which nobody reads again. */
void FinishTsFile(PLAEYR_PORT_S *pstPort) {
    pstPort->bInitTsRecordInfo = 0;
    CloseTsFile(pstPort);
    if (pstPort->pstTsRecordInfo != nullptr) {
        const size_t ulBehind = offsetof(TS_PACKET_DEC_S, szPacketBuff) + sizeof(TS_PACKET_DEC_S::szPacketBuff);
        CHAR *pcRecord = reinterpret_cast<CHAR *>(pstPort->pstTsRecordInfo);
        memset(pcRecord, 0, offsetof(TS_PACKET_DEC_S, szPacketBuff));
        memset(pcRecord + ulBehind, 0, sizeof(TS_PACKET_DEC_S) - ulBehind);
    }
}

void ReleaseTs(PLAEYR_PORT_S *pstPort) {
    free(pstPort->pstTsRecordInfo);
    pstPort->pstTsRecordInfo = nullptr;
    CloseTsFile(pstPort);
}

/* ---- MP4 ---- */

bool OpenMp4File(PLAEYR_PORT_S *pstPort) {
    return Take(&pstPort->hMp4File, mp4_file_open(pstPort->szFileName, MP4_OPEN_FLAGS, MP4_OPEN_MODE));
}

ULONG_32 OpenMp4(PLAEYR_PORT_S *pstPort) {
    WYK_CreateDir(pstPort->szFileName);
    if (!OpenMp4File(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen mp4 File Failed.", pstPort->ulPort);
        return PLAYER_ERR_FILE_OPEN;
    }
    pstPort->pstMp4SpsPpsInfo = static_cast<MP4_SPS_PPS_INFO *>(calloc(1, sizeof(MP4_SPS_PPS_INFO)));
    if (pstPort->pstMp4SpsPpsInfo == nullptr) {
        LOG_ERROR("Port[%03d] Player_StartRecord: Malloc Failed, Size:[%d], fopen mp4 File Failed.", pstPort->ulPort,
                  static_cast<LONG_32>(sizeof(MP4_SPS_PPS_INFO)));
        return PLAYER_ERR_MALLOC;
    }
    return PLAYER_ERR_OK;
}

void FinishMp4File(PLAEYR_PORT_S *pstPort) {
    mp4_enc_close(pstPort->hMp4Handle);
    pstPort->hMp4Handle = nullptr;
    mp4_file_close(pstPort->hMp4File);
    pstPort->hMp4File = nullptr;
}

void ReleaseMp4(PLAEYR_PORT_S *pstPort) {
    free(pstPort->pstMp4SpsPpsInfo);
    pstPort->pstMp4SpsPpsInfo = nullptr;
    FinishMp4File(pstPort);
}

/* ---- AVI ---- */

bool OpenAviFile(PLAEYR_PORT_S *pstPort) { return Take(&pstPort->hAviHandle, AVI_FileOpen(pstPort->szFileName)); }

ULONG_32 OpenAvi(PLAEYR_PORT_S *pstPort) {
    WYK_CreateDir(pstPort->szFileName);
    if (!OpenAviFile(pstPort)) {
        LOG_ERROR("Port[%03d] Player_StartRecord: fopen AVI File Failed.", pstPort->ulPort);
        return PLAYER_ERR_FILE_OPEN;
    }
    return PLAYER_ERR_OK;
}

void ReleaseAvi(PLAEYR_PORT_S *pstPort) {
    if (pstPort->hAviHandle != nullptr) {
        ULONG_32 ulInit = 0;
        AVI_FileClose(&ulInit, pstPort->hAviHandle);
        pstPort->hAviHandle = nullptr;
    }
    pstPort->bInitAviRecordInfo = 0;
}

/** What a container does with its file; row by RECORD_CONTAINER_E. */
struct WRITER_S {
    ULONG_32 (*pfnOpen)(PLAEYR_PORT_S *);
    bool (*pfnOpenNext)(PLAEYR_PORT_S *);
    void (*pfnCloseFile)(PLAEYR_PORT_S *);
    void (*pfnRelease)(PLAEYR_PORT_S *);
};

const WRITER_S gastWriter[] = {
    {OpenTs, OpenTsFile, FinishTsFile, ReleaseTs},
    {OpenMp4, OpenMp4File, FinishMp4File, ReleaseMp4},
    {OpenAvi, OpenAviFile, ReleaseAvi, ReleaseAvi},
};

}  // namespace

ULONG_32 RecordWriter_Open(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat) {
    return gastWriter[stFormat.enContainer].pfnOpen(pstPort);
}

void RecordWriter_CloseFile(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat) {
    gastWriter[stFormat.enContainer].pfnCloseFile(pstPort);
}

bool RecordWriter_OpenNext(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat) {
    return gastWriter[stFormat.enContainer].pfnOpenNext(pstPort);
}

void RecordWriter_Release(PLAEYR_PORT_S *pstPort) {
    for (const WRITER_S &stWriter : gastWriter) {
        stWriter.pfnRelease(pstPort);
    }
}

ULONG_32 Record_Report(const PLAEYR_PORT_S *pstPort, ULONG_32 ulCode, const CHAR *pcFilePath) {
    REPORT_MSG_S stMsg = {};
    stMsg.ulRunInfoType = PLAYER_RUN_INFO_RECORD_VIDEO;
    PLAYER_RUN_INFO_S &stInfo = stMsg.uReportMsg.stRunInfo;
    stInfo.ulPort = pstPort->ulPort;
    stInfo.ulErrCode = ulCode;
    if (pcFilePath != nullptr) {
        memcpy(stInfo.szFilePath, pcFilePath, strnlen(pcFilePath, sizeof(stInfo.szFilePath) - 1));
    }
    return Report_SendMsg(pstPort->ulPort, &stMsg);
}
