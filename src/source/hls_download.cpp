// The download thread of a cloud port: walks along the playlist and fetches what the cache lacks.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <new>

#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "source/hls_port.h"

namespace {

const ULONG_32 RETRY_WAIT_MS = 500;
const ULONG_32 NO_FILE_WAIT_MS = 5;
const ULONG_32 IDLE_WAIT_MS = 10000; /**< whatever gives the thread work wakes it */
const mode_t SEGMENT_MODE = 0666;

using FilePtr = std::unique_ptr<FILE, int (*)(FILE *)>;

/** What the thread knows from one pass to the next. */
struct DOWNLOAD_S {
    PLAEYR_PORT_S *pstPort;
    PLAYER_HLS_TYPE_INFO_S *pstInfos;
    HLS_NODE_LIST *pliNodes;
    HLS_NODE_ITER itNode;
    bool bReportComplete;
    ULONG_32 ulTicket;   /**< of stDownloadWake, from before the pass looked at anything */
    HLS_NODE_LIST liOwn; /**< empty before the first fetch, then a copy of the node that is being fetched: its URL may be renewed meanwhile */
};

void Wait(DOWNLOAD_S *pstLoop, ULONG_32 ulMSeconds) {
    if (word::Load(pstLoop->pstInfos->bStartDownload)) {
        Wake_Wait(&pstLoop->pstInfos->stDownloadWake, pstLoop->ulTicket, ulMSeconds);
    }
}

void Mark(HLS_NODE_INFO_S *pstNode, HLS_STREAM_NODE_TYPE_E enState) { word::Store(pstNode->eNodeDownType, enState); }

/** Marks a segment as there and tells the playout, which may be waiting for it. */
void MarkDownloaded(DOWNLOAD_S *pstLoop) {
    Mark(&*pstLoop->itNode, HLS_STREAM_TYPE_DOWNLOADED);
    Wake_Signal(&pstLoop->pstInfos->stPlayWake);
}

void Step(DOWNLOAD_S *pstLoop) {
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    ++pstLoop->itNode;
}

void FetchRequest(DOWNLOAD_S *pstLoop) {
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    if (pstLoop->pstInfos->bUpdateDownNode) {
        pstLoop->pstInfos->bUpdateDownNode = 0;
        pstLoop->itNode = pstLoop->pstInfos->itHlsDownloadNode;
    }
}

void RestAtEnd(DOWNLOAD_S *pstLoop) {
    if (!pstLoop->bReportComplete) {
        LOG_INFO("Port[%03d] Report Cloud Task Download Finished.", pstLoop->pstPort->ulPort);
        Player_HlsStateReport(pstLoop->pstPort, PLAYER_HLS_DOWNLOAD_FINISHED, 0);
        pstLoop->bReportComplete = true;
        word::Store(pstLoop->pstPort->stStateInfo.ulBitRate, 0);
    }
    Wait(pstLoop, IDLE_WAIT_MS);
}

/* ---- the segment's file ---- */

enum RESERVE_E {
    RESERVE_MADE,     /**< the half file is this thread's */
    RESERVE_NEEDLESS, /**< the segment counts as fetched */
    RESERVE_FINISHED, /**< its file is there */
    RESERVE_ANOTHERS, /**< somebody fetches it, or left it half */
    RESERVE_FAILED    /**< errno says why */
};

/** The file must not be there yet, not even as a link: who makes it has the segment to himself. */
int MakeFile(const std::string &strPath) {
    return open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, SEGMENT_MODE);
}

RESERVE_E Reserve(const HLS_NODE_INFO_S &stNode, FilePtr *poFile) {
    CMutexGuard oGuard(&gstHlsStreamInfo.stHlsMulticMutex);
    if (word::Load(stNode.eNodeDownType) == HLS_STREAM_TYPE_DOWNLOADED) {
        return RESERVE_NEEDLESS;
    }
    if (QLOM_SDK_Access(stNode.strFilePath.c_str()) == 0) {
        return RESERVE_FINISHED;
    }
    if (QLOM_SDK_Access(stNode.strFileTempPath.c_str()) == 0) {
        return RESERVE_ANOTHERS;
    }
    int iFd = MakeFile(stNode.strFileTempPath);
    if (iFd < 0 && errno == ENOENT) {
        WYK_CreateDir(stNode.strFileTempPath.c_str());
        iFd = MakeFile(stNode.strFileTempPath);
    }
    if (iFd < 0) {
        return errno == EEXIST ? RESERVE_ANOTHERS : RESERVE_FAILED;
    }
    poFile->reset(fdopen(iFd, "wb"));
    if (*poFile != nullptr) {
        return RESERVE_MADE;
    }
    close(iFd);
    unlink(stNode.strFileTempPath.c_str());
    errno = ENOMEM;
    return RESERVE_FAILED;
}

/** Whether the half file still is the one that was written: a new playlist may have made room for another port's. */
bool IsOwnFile(const HLS_NODE_INFO_S &stNode, FILE *pFile) {
    struct stat64 stOpen;
    struct stat64 stPath;
    return fstat64(fileno(pFile), &stOpen) == 0 && lstat64(stNode.strFileTempPath.c_str(), &stPath) == 0 &&
           stOpen.st_dev == stPath.st_dev && stOpen.st_ino == stPath.st_ino;
}

/** Gives the half file its final name. If that fails, the playout finds no file and sends the segment back. */
void Publish(const HLS_NODE_INFO_S &stNode, FILE *pFile) {
    CMutexGuard oGuard(&gstHlsStreamInfo.stHlsMulticMutex);
    if (IsOwnFile(stNode, pFile)) {
        rename(stNode.strFileTempPath.c_str(), stNode.strFilePath.c_str());
    }
}

void Discard(const HLS_NODE_INFO_S &stNode, FILE *pFile) {
    CMutexGuard oGuard(&gstHlsStreamInfo.stHlsMulticMutex);
    if (IsOwnFile(stNode, pFile)) {
        unlink(stNode.strFileTempPath.c_str());
    }
}

/* ---- the fetch ---- */

/** What one step of a fetch came to. */
struct OUTCOME_S {
    const CHAR *pcStep; /**< null when all went well */
    ULONG_32 ulResult;
    bool bRemove; /**< the half file goes; otherwise it stays in the way until a playlist comes */
};

/** Sends the request and reads the answer, on an open connection. */
OUTCOME_S Exchange(DOWNLOAD_S *pstLoop, WYK_SOCKET_S stSocket, CYASSL *pCyassl, FILE *pFile) {
    const HLS_NODE_ITER itOwn = pstLoop->liOwn.begin();
    ULONG_32 ulResult = Hls_Socket_SendWhile(itOwn, stSocket, pCyassl, pstLoop->pstInfos);
    if (ulResult != PLAYER_ERR_OK) {
        return {"Send", ulResult, ulResult == PLAYER_ERR_HLS_CANCELLED};
    }
    ulResult = Hls_Socket_Recv(itOwn, stSocket, pCyassl, &pstLoop->pstPort->stStateInfo, pstLoop->pstInfos, pFile);
    if (ulResult == PLAYER_ERR_OK && fflush(pFile) != 0) {
        ulResult = PLAYER_ERR_FAILED;
    }
    return {ulResult != PLAYER_ERR_OK ? "Recv" : nullptr, ulResult, true};
}

OUTCOME_S Fetch(DOWNLOAD_S *pstLoop, FILE *pFile) {
    const HLS_NODE_ITER itOwn = pstLoop->liOwn.begin();
    WYK_SOCKET_S stSocket = -1;
    CYASSL *pCyassl = nullptr;
    ULONG_32 ulResult = Hls_Socket_InitWhile(itOwn, &stSocket, &pCyassl, pstLoop->pstInfos);
    if (ulResult != PLAYER_ERR_OK) {
        return {"Init", ulResult, ulResult == PLAYER_ERR_HLS_CANCELLED};
    }
    const OUTCOME_S stOutcome = Exchange(pstLoop, stSocket, pCyassl, pFile);
    if (stOutcome.pcStep == nullptr) {
        Publish(*itOwn, pFile);
    }
    Hls_Socket_Close(itOwn, stSocket, pCyassl);
    return stOutcome;
}

void Failed(DOWNLOAD_S *pstLoop, const OUTCOME_S &stOutcome, FILE *pFile) {
    const HLS_NODE_INFO_S &stNode = *pstLoop->itNode;  // time and paths of a node never change
    Player_HlsStateReport(pstLoop->pstPort, stOutcome.ulResult, static_cast<ULONG_32>(stNode.ulStartTime));
    Mark(&*pstLoop->itNode, HLS_STREAM_TYPE_DOWNLOAD_FAIL);
    if (stOutcome.bRemove) {
        Discard(stNode, pFile);
    }
    LOG_ERROR("Port[%03d] Hls Download Thread: Socket %s Failed, Error:[0x%x].", pstLoop->pstPort->ulPort,
              stOutcome.pcStep, stOutcome.ulResult);
}

void TrimCache(DOWNLOAD_S *pstLoop) {
    ULONG_32 ulResult = Hls_Disk_Policy(HlsCache_Path().szPath, HlsCache_Limit());
    if (ulResult != PLAYER_ERR_OK) {
        Player_HlsStateReport(pstLoop->pstPort, ulResult, static_cast<ULONG_32>(pstLoop->itNode->ulStartTime));
        LOG_ERROR("Port[%03d] Hls Download Thread: Delete file Failed, Error:[0x%x].", pstLoop->pstPort->ulPort,
                  ulResult);
    }
}

void CopyNode(DOWNLOAD_S *pstLoop) {
    pstLoop->liOwn.resize(1);
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    pstLoop->liOwn.front() = *pstLoop->itNode;
}

/** Without memory the half file goes, so that the next pass finds its way free. */
OUTCOME_S CopyAndFetch(DOWNLOAD_S *pstLoop, FILE *pFile) try {
    CopyNode(pstLoop);
    return Fetch(pstLoop, pFile);
} catch (const std::bad_alloc &) {
    return {"Memory", PLAYER_ERR_FAILED, true};
}

/** Fetches the segment into its reserved file. */
void Download(DOWNLOAD_S *pstLoop, FilePtr pFile) {
    Mark(&*pstLoop->itNode, HLS_STREAM_TYPE_DOWNLOADING);
    const OUTCOME_S stOutcome = CopyAndFetch(pstLoop, pFile.get());
    if (stOutcome.pcStep != nullptr) {
        Failed(pstLoop, stOutcome, pFile.get());
        pFile.reset();
        Wait(pstLoop, RETRY_WAIT_MS);
        return;
    }
    pFile.reset();
    MarkDownloaded(pstLoop);
    TrimCache(pstLoop);
    Step(pstLoop);
}

void DownloadPass(DOWNLOAD_S *pstLoop) {
    pstLoop->ulTicket = Wake_Ticket(&pstLoop->pstInfos->stDownloadWake);
    FetchRequest(pstLoop);
    if (pstLoop->itNode == pstLoop->pliNodes->end()) {
        RestAtEnd(pstLoop);
        return;
    }
    pstLoop->bReportComplete = false;
    FilePtr pFile(nullptr, fclose);
    switch (Reserve(*pstLoop->itNode, &pFile)) {
        case RESERVE_FINISHED:
            MarkDownloaded(pstLoop);
            [[fallthrough]];
        case RESERVE_NEEDLESS:
            Step(pstLoop);
            break;
        case RESERVE_ANOTHERS:
            Mark(&*pstLoop->itNode, HLS_STREAM_TYPE_DOWNLOADING);
            Wait(pstLoop, RETRY_WAIT_MS);
            break;
        case RESERVE_MADE:
            Download(pstLoop, std::move(pFile));
            break;
        case RESERVE_FAILED:
            LOG_ERROR("Hls Download Thread: Hls_Socket_Recv Failed, Open file Failed, path[%s], Error:(%s).",
                      pstLoop->itNode->strFileTempPath.c_str(), strerrordesc_np(errno));
            Wait(pstLoop, NO_FILE_WAIT_MS);
            break;
    }
}

}  // namespace

void *__HlsDownloadThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PLAYER_HLS_TYPE_INFO_S *pstInfos = &pstPort->stHlsTypeInfos;
    PortThread_Begin(pstPort, &pstInfos->bStartDownload);
    LOG_INFO("Port[%03d] Start __HlsDownloadThreadEntry Thread Succeed.", pstPort->ulPort);
    HLS_NODE_LIST &liNodes = gliHlsNodeInfo[pstPort->ulPort];
    DOWNLOAD_S stLoop = {pstPort, pstInfos, &liNodes, liNodes.end(), true, 0, {}};
    while (word::Load(pstInfos->bStartDownload)) {
        try {
            DownloadPass(&stLoop);
        } catch (const std::bad_alloc &) {
            LOG_ERROR("Port[%03d] Hls Download Thread: No Memory.", pstPort->ulPort);
            Wait(&stLoop, RETRY_WAIT_MS);  // the pass starts over
        }
    }
    return nullptr;
}
