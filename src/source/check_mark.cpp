// The watermark check: a whole file read on the client's thread, without decoding.
#include "source/check_mark.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "file/mp4_parse.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"
#include "source/file_play.h"

namespace {

/** A cancel, a close and a call that frees the port all end the check. */
bool MayGoOn(const PLAEYR_PORT_S *pstPort) {
    return word::Load(pstPort->bStartCkeckMark) && !PortLock_IsClosing(pstPort->ulPort);
}

/** From here on a cancel counts, also while the file is being opened. */
void BeginCheck(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bStartCkeckMark, 1);
    pstPort->stFileInfo.pbRun = &pstPort->bStartCkeckMark;
}

void EndCheck(PLAEYR_PORT_S *pstPort) {
    pstPort->stFileInfo.pbRun = nullptr;
    pstPort->stFrameData = {};
    word::Store(pstPort->bStartCkeckMark, 0);
}

/** Clears the run flag while the table keeps the record from being freed. False without such a port. */
bool StopCheck(ULONG_32 ulPort) {
    CMutexGuard oGuard(&gstPortMutexLock);
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort != nullptr) {
        word::Store(pstPort->bStartCkeckMark, 0);
    }
    return pstPort != nullptr;
}

/** Notes where a key frame failed. Files other than MP4 tell no time. */
void AddFailure(PLAEYR_PORT_S *pstPort, PLAYER_MARK_INFO_S *pstMarkInfo) {
    PLAYER_CHECK_MARK_INFO &stEntry = pstMarkInfo->pastUnmarkTimeList[pstMarkInfo->ulUnmarkCount++];
    stEntry.ulState = static_cast<ULONG_32>(pstPort->stMarkInfo.ulState);
    ULONG_32 ulResult =
        MP4_GetPlayTime(static_cast<mp4_moov_box *>(pstPort->stFileInfo.hMp4Parser), &stEntry.ulPlayTime);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_CheckMark Warning: MP4_GetPlayTime Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
    }
}

/** Reads and tests one frame; the code that ends the check, if one does. */
ULONG_32 CheckNextFrame(PLAEYR_PORT_S *pstPort, PLAYER_MARK_INFO_S *pstMarkInfo) {
    ULONG_32 ulResult = Player_ParserFile(pstPort, word::Load(pstPort->ulFrameCtrl));
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (Player_CheckOneFrame(pstPort) != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_CheckMark Warning: Player_CheckOneFrame Failed.", pstPort->ulPort);
    } else if (pstPort->stMarkInfo.ulState != CHECK_STATE_RIGHT) {
        AddFailure(pstPort, pstMarkInfo);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 CheckFrames(PLAEYR_PORT_S *pstPort, PLAYER_MARK_INFO_S *pstMarkInfo) {
    ULONG_32 ulResult = PLAYER_ERR_OK;
    while (ulResult == PLAYER_ERR_OK && pstMarkInfo->ulUnmarkCount < PLAYER_MARK_LIST_NUM && MayGoOn(pstPort)) {
        ulResult = CheckNextFrame(pstPort, pstMarkInfo);
    }
    if (ulResult == PLAYER_ERR_FILE_END) {
        word::Store(pstPort->ulFrameCtrl, FRAME_CTRL_PAUSE);
        ulResult = PLAYER_ERR_OK;
    }
    return ulResult;
}

/** Whether the port's file record is free for a check. */
bool IsIdle(const PLAEYR_PORT_S *pstPort) {
    return word::Load(pstPort->ulPortUsed) == PORT_USED_TYPE_NULL && !PortThread_IsOwn(pstPort->ulPort);
}

}  // namespace

ULONG_32 Player_CheckMark(ULONG_32 ulPort, const CHAR *pcFilename, PLAYER_MARK_INFO_S *pstMarkInfo) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pcFilename == nullptr || pstMarkInfo == nullptr || !IsIdle(pstPort)) {
        return PLAYER_ERR_PARAM;
    }
    *pstMarkInfo = {};
    pstMarkInfo->pastUnmarkTimeList =
        static_cast<PLAYER_CHECK_MARK_INFO *>(calloc(PLAYER_MARK_LIST_NUM, sizeof(PLAYER_CHECK_MARK_INFO)));
    if (pstMarkInfo->pastUnmarkTimeList == nullptr) {
        LOG_ERROR("Port[%03d] Player_CheckMark Failed, Malloc Failed.", ulPort);
        return PLAYER_ERR_MALLOC;
    }
    BeginCheck(pstPort);
    ULONG_32 ulResult = File_CreateFileParser(pcFilename, &pstPort->stFileInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_CheckMark Failed, File_CreateFileParser Failed, Error:[0x%x].", ulPort, ulResult);
        Player_FreeMarkInfo(pstMarkInfo);
        EndCheck(pstPort);
        return ulResult;
    }
    ulResult = CheckFrames(pstPort, pstMarkInfo);
    memcpy(pstMarkInfo->szMarkInfo, pstPort->stMarkInfo.szSrcInfo, sizeof(pstPort->stMarkInfo.szSrcInfo));
    pstMarkInfo->bHaveWaterMark = pstPort->stMarkInfo.bHaveWaterMark;
    File_ReleaseFileParser(&pstPort->stFileInfo);
    EndCheck(pstPort);
    return ulResult;
}

ULONG_32 Player_CheckMarkCancel(ULONG_32 ulPort) {
    if (!StopCheck(ulPort)) {
        LOG_ERROR("Get Port[%03d] Failed.", ulPort);
        return PLAYER_ERR_PORT;
    }
    return PLAYER_ERR_NOT_SUPPORT;
}

void Player_FreeMarkInfo(PLAYER_MARK_INFO_S *pstMarkInfo) {
    if (pstMarkInfo == nullptr) {
        return;
    }
    free(pstMarkInfo->pastUnmarkTimeList);
    pstMarkInfo->pastUnmarkTimeList = nullptr;
    pstMarkInfo->ulUnmarkCount = 0;
}

ULONG_32 Player_CheckOneFrame(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    const UCHAR *pucFileBuffer = pstPort->stFileInfo.pucFrameDataAddr;
    // A file's parser may hand out a buffer of its own, of which no more is known than the frame.
    const bool bOwnBuffer = pucFileBuffer != nullptr && stFrame.pucData != pucFileBuffer;
    const ULONG ulRoom =
        bOwnBuffer ? static_cast<ULONG>(std::max(stFrame.lDataLen, 0)) : ULONG{VIDEO_FRAME_BUFFER_SIZE};
    return Watermark_CheckFrame(&stFrame, ulRoom, &pstPort->stMarkInfo);
}
