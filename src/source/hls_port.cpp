// Cloud recordings: the client's calls. Two threads do the rest: hls_download.cpp, hls_playout.cpp.
#include <stdlib.h>
#include <string.h>

#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "pipeline/port_settings.h"
#include "queue/com_report.h"
#include "source/hls_port.h"
#include "source/input_stream.h"
#include "source/stream_common.h"

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 MIN_CACHE_MIB = 100;

HLS_NODE_LIST &ListOf(const PLAEYR_PORT_S *pstPort) { return gliHlsNodeInfo[pstPort->ulPort]; }

/* ---- open ---- */

void ResetRecording(PLAEYR_PORT_S *pstPort) {
    PLAYER_HLS_TYPE_INFO_S &stInfos = pstPort->stHlsTypeInfos;
    stInfos.ulPlaySpeed = 1;
    word::Store(stInfos.bStartPlay, 1);
    word::Store(stInfos.bStartDownload, 1);
    stInfos.bReportPlayFinished = 1;
    stInfos.bReportDownFinished = 1;
    word::Store(stInfos.ulCurPlayTime, 0);
    stInfos.pstFetchWake = &pstPort->stSourceWake;
    // Before the threads: a pause that comes as soon as the call returns must hold.
    word::Store(pstPort->ulFrameCtrl, FRAME_CTRL_PLAY);
    CHlsListGuard oGuard(ListOf(pstPort));
    stInfos.ulSetPlayTime = NO_SEEK;
    stInfos.ulPlayTime = 0;
    stInfos.itHlsPlayNode = ListOf(pstPort).end();
    stInfos.itHlsDownloadNode = ListOf(pstPort).end();
}

ULONG_32 AllocBuffer(const PLAEYR_PORT_S *pstPort, UCHAR **ppucBuffer, ULONG_32 *pulMax) {
    *ppucBuffer = static_cast<UCHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
    *pulMax = VIDEO_FRAME_BUFFER_SIZE;
    if (*ppucBuffer == nullptr) {
        LOG_ERROR("Port[%03d] Player_OpenHlsStream Failed, Malloc Failed, Size:[%d].", pstPort->ulPort,
                  static_cast<LONG_32>(VIDEO_FRAME_BUFFER_SIZE));
        return PLAYER_ERR_MALLOC;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 StartThread(PLAEYR_PORT_S *pstPort, QLOM_SDK_THR_FUNC pfnEntry, const CHAR *pcName,
                     QLOM_SDK_THREAD_S *phThread) {
    LONG lResult = QLOM_SDK_thr_create(pfnEntry, pstPort, 0, 0, nullptr, phThread);
    if (lResult == 0) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Create %s Thread Failed, Error:[0x%x].", pstPort->ulPort, pcName,
              static_cast<ULONG_32>(lResult));
    *phThread = 0;
    return PLAYER_ERR_RESOURCE;
}

ULONG_32 StartThreads(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = StartThread(pstPort, __HlsDownloadThreadEntry, "Hls Download", &pstPort->hHlsDownloadThread);
    return ulResult == PLAYER_ERR_OK
               ? StartThread(pstPort, __TsManagerThreadEntry, "Ts Manager", &pstPort->hTsManagerThread)
               : ulResult;
}

/** The pushed stream into which the playout feeds its frames. */
ULONG_32 OpenInput(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = Player_OpenInputStream(pstPort->ulPort, nullptr, 0);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_OpenHlsStream Failed, Player_OpenInputStream Failed, Error:[0x%x].",
                  pstPort->ulPort, ulResult);
        return ulResult;
    }
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_HLS);
    return PLAYER_ERR_OK;
}

ULONG_32 MakeRecording(PLAEYR_PORT_S *pstPort) {
    PLAYER_HLS_TYPE_INFO_S &stInfos = pstPort->stHlsTypeInfos;
    ULONG_32 ulResult = AllocBuffer(pstPort, &stInfos.pucFrameDataAddr, &stInfos.ulFrameMax);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = AllocBuffer(pstPort, &stInfos.pucTSDataAddr, &stInfos.ulTSMax);
    }
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = OpenInput(pstPort);
    }
    if (ulResult == PLAYER_ERR_OK) {
        Stream_OpenWake(&pstPort->stSourceWake);  // without one a fetch looks at the flag by itself
        ulResult = StartThreads(pstPort);
    }
    return ulResult;
}

/* ---- close ---- */

void EndThreads(PLAEYR_PORT_S *pstPort) {
    PLAYER_HLS_TYPE_INFO_S &stInfos = pstPort->stHlsTypeInfos;
    {
        CHlsListGuard oGuard(ListOf(pstPort));
        stInfos.bUpdateDownNode = 0;
    }
    word::Store(stInfos.bStartPlay, 0);
    word::Store(stInfos.bStartDownload, 0);
    Port_WakeAll(pstPort);
    QLOM_SDK_thr_join(pstPort->hHlsDownloadThread);
    pstPort->hHlsDownloadThread = 0;
    QLOM_SDK_thr_join(pstPort->hTsManagerThread);
    pstPort->hTsManagerThread = 0;
    Stream_CloseWake(&pstPort->stSourceWake);
}

void FreeBuffers(PLAYER_HLS_TYPE_INFO_S *pstInfos) {
    free(pstInfos->pucFrameDataAddr);
    pstInfos->pucFrameDataAddr = nullptr;
    free(pstInfos->pucTSDataAddr);
    pstInfos->pucTSDataAddr = nullptr;
}

/** Takes apart what of a recording there is; a port whose input didn't open keeps its window. */
ULONG_32 EndRecording(PLAEYR_PORT_S *pstPort) {
    EndThreads(pstPort);
    FreeBuffers(&pstPort->stHlsTypeInfos);
    if (word::Load(pstPort->ulPortUsed) == PORT_USED_TYPE_NULL) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulResult = Player_CloseInputStream(pstPort->ulPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_CloseHlsStream: Player_CloseInputStream Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
        return ulResult;
    }
    HlsList_Clear(ListOf(pstPort));
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NULL);
    return PLAYER_ERR_OK;
}

/* ---- positions ---- */

/** Merges a text; any refusal counts as a bad argument. */
ULONG_32 MergePlaylist(const PLAEYR_PORT_S *pstPort, const CHAR *pcM3u8Info, ULONG_32 *pulUpdateTime) {
    const HLS_CACHE_PATH_S stFolder = HlsCache_Path();
    if (stFolder.szPath[0] == '\0') {
        return PLAYER_ERR_HLS_NO_CACHE_PATH;
    }
    ULONG_32 ulResult = HLS_m3u8_update(pcM3u8Info, ListOf(pstPort), stFolder.szPath, pulUpdateTime);
    if (ulResult == PLAYER_ERR_OK) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Player_UpdatePlayInfo: HLS_m3u8_update Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    return PLAYER_ERR_PARAM;
}

/** The first segment with this time in it, its last second included. The caller is the list's only writer. */
HLS_NODE_ITER FindNode(HLS_NODE_LIST &liNodes, ULONG ulTime) {
    HLS_NODE_ITER it = liNodes.begin();
    while (it != liNodes.end() && (it->ulStartTime > ulTime || it->ulEndTime < ulTime)) {
        ++it;
    }
    return it;
}

void PostPosition(PLAEYR_PORT_S *pstPort, HLS_NODE_ITER itNode, ULONG_32 ulPlayTime) {
    PLAYER_HLS_TYPE_INFO_S &stInfos = pstPort->stHlsTypeInfos;
    CHlsListGuard oGuard(ListOf(pstPort));
    stInfos.itHlsDownloadNode = itNode;
    stInfos.bUpdateDownNode = 1;
    if (ulPlayTime != 0) {
        stInfos.itHlsPlayNode = itNode;
        stInfos.ulSetPlayTime = ulPlayTime - static_cast<ULONG_32>(itNode->ulStartTime);
        stInfos.ulPlayTime = ulPlayTime;
    }
}

ULONG_32 SetPosition(PLAEYR_PORT_S *pstPort, ULONG_32 ulSetTime, ULONG_32 ulPlayTime) {
    const HLS_NODE_ITER itNode = FindNode(ListOf(pstPort), ulSetTime);
    if (itNode == ListOf(pstPort).end()) {
        LOG_ERROR("Port[%03d] Player_UpdatePlayInfo: Time Node not Exist, Time:[%d].", pstPort->ulPort, ulSetTime);
        return PLAYER_ERR_HLS_TIME_NOT_FOUND;
    }
    PostPosition(pstPort, itNode, ulPlayTime);
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 Player_OpenHlsStream(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL || PortThread_IsOwn(ulPort)) {
        return PLAYER_ERR_PARAM;
    }
    if (HlsCache_Path().szPath[0] == '\0') {
        LOG_ERROR("Port[%03d] Player_OpenHlsStream Failed, Not Set Cache Path, Error:[0x%x].", ulPort,
                  static_cast<ULONG_32>(PLAYER_ERR_HLS_NO_CACHE_PATH));
        return PLAYER_ERR_HLS_NO_CACHE_PATH;
    }
    ResetRecording(pstPort);
    Player_SetPictureFluency(ulPort, PLAYER_PICTURE_REAL);
    ULONG_32 ulResult = MakeRecording(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        EndRecording(pstPort);
        return ulResult;
    }
    LOG_INFO("Port[%03d] Player_OpenHlsStream Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CloseHlsStream(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_CloseHlsStream Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    return EndRecording(pstPort);
}

ULONG_32 Player_UpdatePlayInfo(ULONG_32 ulPort, const CHAR *pcM3u8Info, ULONG_32 ulPlayTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    ULONG_32 ulUpdateTime = 0;
    ULONG_32 ulResult =
        pcM3u8Info != nullptr ? MergePlaylist(pstPort, pcM3u8Info, &ulUpdateTime) : ULONG_32{PLAYER_ERR_OK};
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = SetPosition(pstPort, ulPlayTime != 0 ? ulPlayTime : ulUpdateTime, ulPlayTime);
    }
    // Also after a failure: the text may have brought new URLs before the fault in it.
    Wake_Signal(&pstPort->stHlsTypeInfos.stDownloadWake);
    Wake_Signal(&pstPort->stHlsTypeInfos.stPlayWake);
    return ulResult;
}

ULONG_32 Player_SetCachePath(const CHAR *pcCachePath) {
    if (pcCachePath == nullptr) {
        LOG_ERROR("Player_SetCachePath Failed, Invalid Param, File path is NULL");
        return PLAYER_ERR_PARAM;
    }
    const size_t ulLen = strlen(pcCachePath);
    if (ulLen > PLAYER_FILE_NAME_LEN) {
        LOG_ERROR("Player_IsFileExist Failed, File Path Size Out Length, Path:(%s), Size:[%d].", pcCachePath,
                  static_cast<LONG_32>(ulLen));
        return PLAYER_ERR_PARAM;
    }
    HlsCache_SetPath(pcCachePath);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetMaxCache(ULONG_32 ulValue) {
    HlsCache_SetLimit(ulValue >= MIN_CACHE_MIB ? ulValue : MIN_CACHE_MIB);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CleanCache(void) {
    const HLS_CACHE_PATH_S stFolder = HlsCache_Path();
    if (QLOM_SDK_rmdir(stFolder.szPath, 0) != 0) {
        LOG_ERROR("Player_CleanCache Failed, Path:(%s).", stFolder.szPath);
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

void Player_HlsStateReport(PLAEYR_PORT_S *pstPort, ULONG_32 ulErrorCode, ULONG_32 ulNodeTime) {
    REPORT_MSG_S stMsg = {};
    stMsg.ulRunInfoType = PLAYER_RUN_INFO_MEDIA_PROCESS;
    stMsg.uReportMsg.stRunInfo.ulPort = pstPort->ulPort;
    stMsg.uReportMsg.stRunInfo.ulErrCode = ulErrorCode;
    stMsg.uReportMsg.stRunInfo.ulReserved = ulNodeTime;
    ULONG_32 ulResult = Report_SendMsg(pstPort->ulPort, &stMsg);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_CatchFishState Warning, Send Report Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
}
