// The playout thread of a cloud port: reads fetched segments frame by frame and pushes them at the pace of play.
#include <algorithm>

#include "cloud/hls_wait.h"
#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "source/frame_ctrl.h"
#include "source/hls_port.h"
#include "source/input_stream.h"

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 LOOK_WAIT_MS = 1000;  /**< between two looks at a segment that is not there */
const ULONG_32 IDLE_WAIT_MS = 10000; /**< whatever gives the thread work wakes it */
const LONG_32 DEFAULT_FRAME_MS = 40;
const LONG_32 MAX_FRAME_MS = 999;
const LONG_32 LEAST_FRAME_MS = 1;
const DULONG TICKS_A_SECOND = 90000;
const DULONG PCR_WRAP = 1ULL << 33;
const ULONG_32 READ_LOG_EVERY = 1000; /**< a damaged segment fails once a packet */

/** What the thread knows from one pass to the next. */
struct PLAYOUT_S {
    PLAEYR_PORT_S *pstPort;
    PLAYER_HLS_TYPE_INFO_S *pstInfos;
    HLS_NODE_LIST *pliNodes;
    HLS_NODE_ITER itNode;
    FILE_INFO_S stFile = {};
    ULONG_32 ulSetPlayTime = NO_SEEK; /**< a jump in the segment that is still to be made, seconds */
    ULONG_32 ulWaitDownloadTime = 0;  /**< seconds waited for a download */
    DLONG dlWaitSince = 0;            /**< when the present one of them began; 0: none */
    ULONG_32 ulReadFailures = 0;
    ULONG_32 ulTicket = 0; /**< of stPlayWake, from before the pass looked at anything */
    bool bReportComplete = true;
    bool bReportNormalPlay = false;
    struct timeval tiStart = {}; /**< when the pass began to read */
    DLONG dlOverslept = 0;       /**< by how much the last frame stood too long, milliseconds */
};

bool IsRunning(const PLAYOUT_S *pstLoop) { return word::Load(pstLoop->pstInfos->bStartPlay); }

void Wait(PLAYOUT_S *pstLoop, ULONG_32 ulMSeconds) {
    if (IsRunning(pstLoop)) {
        Wake_Wait(&pstLoop->pstInfos->stPlayWake, pstLoop->ulTicket, ulMSeconds);
    }
}

void Step(PLAYOUT_S *pstLoop) {
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    ++pstLoop->itNode;
}

/* ---- where to play ---- */

void FetchSeek(PLAYOUT_S *pstLoop) {
    {
        CHlsListGuard oGuard(*pstLoop->pliNodes);
        if (pstLoop->pstInfos->ulSetPlayTime == NO_SEEK) {
            return;
        }
        pstLoop->ulSetPlayTime = pstLoop->pstInfos->ulSetPlayTime;
        pstLoop->pstInfos->ulSetPlayTime = NO_SEEK;
        pstLoop->itNode = pstLoop->pstInfos->itHlsPlayNode;
    }
    File_ReleaseTsParser(&pstLoop->stFile);
    pstLoop->bReportNormalPlay = false;
}

bool HasSeek(const PLAYOUT_S *pstLoop) {
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    return pstLoop->pstInfos->ulSetPlayTime != NO_SEEK;
}

void RestAtEnd(PLAYOUT_S *pstLoop) {
    Wait(pstLoop, pstLoop->bReportComplete ? IDLE_WAIT_MS : LOOK_WAIT_MS);
    File_ReleaseTsParser(&pstLoop->stFile);
    if (!pstLoop->bReportComplete && IsRunning(pstLoop)) {
        Player_HlsStateReport(pstLoop->pstPort, PLAYER_HLS_PLAY_FINISHED, 0);
        pstLoop->bReportComplete = true;
    }
}

/** Counts whole seconds of waiting, however often the wait is interrupted; says so when they exceed the segment. */
void WaitForDownload(PLAYOUT_S *pstLoop) {
    const DLONG dlNow = Hls_ClockMs();
    if (pstLoop->dlWaitSince == 0) {
        pstLoop->dlWaitSince = dlNow;
    }
    const DLONG dlWaited = dlNow - pstLoop->dlWaitSince;
    if (dlWaited < LOOK_WAIT_MS) {
        Wait(pstLoop, static_cast<ULONG_32>(LOOK_WAIT_MS - dlWaited));
        return;
    }
    pstLoop->dlWaitSince = dlNow;
    if (pstLoop->ulWaitDownloadTime <= pstLoop->itNode->ulEndTime - pstLoop->itNode->ulStartTime) {
        pstLoop->ulWaitDownloadTime++;
        return;
    }
    Player_HlsStateReport(pstLoop->pstPort, PLAYER_HLS_DOWNLOAD_WAIT_TIMEOUT, 0);
    pstLoop->ulWaitDownloadTime = 0;
}

void ForgetWait(PLAYOUT_S *pstLoop) {
    pstLoop->ulWaitDownloadTime = 0;
    pstLoop->dlWaitSince = 0;
}

/** Sends a segment whose file has gone back to the download, unless the client has asked for another one. */
void Refetch(PLAYOUT_S *pstLoop) {
    word::Store(pstLoop->itNode->eNodeDownType, HLS_STREAM_TYPE_NOT_DOWNLOAD);
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    if (!pstLoop->pstInfos->bUpdateDownNode) {
        pstLoop->pstInfos->itHlsDownloadNode = pstLoop->itNode;
        pstLoop->pstInfos->bUpdateDownNode = 1;
    }
    Wake_Signal(&pstLoop->pstInfos->stDownloadWake);
}

bool OpenSegment(PLAYOUT_S *pstLoop) {
    ULONG_32 ulResult = File_CreateTsParser(pstLoop->itNode->strFilePath.c_str(), &pstLoop->stFile);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: File_CreateTsParser Failed, Error:[0x%x].",
                 pstLoop->pstPort->ulPort, ulResult);
        Refetch(pstLoop);
        Step(pstLoop);
        return false;
    }
    pstLoop->stFile.pucFrameDataAddr = pstLoop->pstInfos->pucFrameDataAddr;
    pstLoop->stFile.pucTsDataAddr = pstLoop->pstInfos->pucTSDataAddr;
    pstLoop->stFile.pbRun = &pstLoop->pstInfos->bStartPlay;
    return true;
}

/** Makes sure that the segment is open; waits for its download if need be. */
bool HaveSegment(PLAYOUT_S *pstLoop) {
    if (pstLoop->stFile.pFile != nullptr) {
        return true;
    }
    const HLS_STREAM_NODE_TYPE_E enState = word::Load(pstLoop->itNode->eNodeDownType);
    if (enState == HLS_STREAM_TYPE_DOWNLOADING) {
        WaitForDownload(pstLoop);
        return false;
    }
    ForgetWait(pstLoop);
    if (enState == HLS_STREAM_TYPE_DOWNLOADED) {
        return OpenSegment(pstLoop);
    }
    Wait(pstLoop, LOOK_WAIT_MS);
    if (enState != HLS_STREAM_TYPE_NOT_DOWNLOAD && enState != HLS_STREAM_TYPE_DOWNLOAD_FAIL) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: Unknown Node Download Type:[%d].", pstLoop->pstPort->ulPort,
                 enState);
    }
    return false;
}

/* ---- reading ---- */

/** Does what the frame control says; false when nothing is to be read now. */
bool ServeFrameCtrl(PLAYOUT_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    switch (FrameCtrl_Serve(pstPort)) {
        case FRAME_CTRL_STEP_WAIT:
            Wait(pstLoop, IDLE_WAIT_MS);
            return false;
        case FRAME_CTRL_STEP_READ:
        case FRAME_CTRL_STEP_ONE:
            return true;
        case FRAME_CTRL_STEP_UNKNOWN:
            break;
    }
    LOG_WARN("Port[%03d] TS Manager Thread Warning: FrameCtrl Unknown:[%d].", pstPort->ulPort,
             word::Load(pstPort->ulFrameCtrl));
    return true;
}

/** Makes a jump that is pending, which counts also while paused; otherwise goes by the frame control. */
bool ServeControl(PLAYOUT_S *pstLoop) {
    if (pstLoop->ulSetPlayTime == NO_SEEK) {
        return ServeFrameCtrl(pstLoop);
    }
    ULONG_32 ulResult = File_SetPlayTime(&pstLoop->stFile, pstLoop->ulSetPlayTime,
                                         word::Load(pstLoop->pstPort->stStateInfo.lFrameRate));
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: File_SetPlayTime Failed, Error:[0x%x].",
                 pstLoop->pstPort->ulPort, ulResult);
    }
    pstLoop->ulSetPlayTime = NO_SEEK;
    return true;
}

void ReadFailed(PLAYOUT_S *pstLoop, ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_FILE_END) {
        LOG_INFO("Port[%03d] TS Manager Thread Warning: File Read End.", pstLoop->pstPort->ulPort);
        File_ReleaseTsParser(&pstLoop->stFile);
        Step(pstLoop);
    } else if (IsRunning(pstLoop) && pstLoop->ulReadFailures++ % READ_LOG_EVERY == 0) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: TS_GetOneFrameData Failed, Error:[0x%x].",
                 pstLoop->pstPort->ulPort, ulResult);
    }
}

bool ReadFrame(PLAYOUT_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const ULONG_32 ulFrameCtrl = word::Load(pstPort->ulFrameCtrl);
    FILE_INFO_S &stFile = pstLoop->stFile;
    ULONG_32 ulResult =
        TS_GetOneFrameDataWhile(stFile.pFile, ulFrameCtrl, stFile.pucTsDataAddr, &stFile.ulReadLen, stFile.pbRun);
    if (ulFrameCtrl == FRAME_CTRL_PAUSE && word::Load(pstPort->bCtrlSucc) == 0) {
        word::StoreRelease(pstPort->bCtrlSucc, 1);
    }
    if (ulResult != PLAYER_ERR_OK) {
        ReadFailed(pstLoop, ulResult);
        return false;
    }
    return true;
}

/* ---- pushing and pacing ---- */

ULONG_32 RequestedTime(const PLAYOUT_S *pstLoop) {
    CHlsListGuard oGuard(*pstLoop->pliNodes);
    return pstLoop->pstInfos->ulPlayTime;
}

bool PushFrame(PLAYOUT_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (!pstLoop->bReportNormalPlay) {
        Player_HlsStateReport(pstPort, PLAYER_HLS_PLAY_NORMAL, RequestedTime(pstLoop));
        pstLoop->bReportNormalPlay = true;
    }
    ULONG_32 ulResult =
        Player_InputMediaData(pstPort->ulPort, pstLoop->stFile.pucTsDataAddr, pstLoop->stFile.ulReadLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: Player_InputMediaData Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
    return ulResult == PLAYER_ERR_OK;
}

bool IsVideo(PLAYOUT_S *pstLoop) {
    TS_PACKET_INFO_S stPacket;
    TS_GetTSType(pstLoop->stFile.pucTsDataAddr, pstLoop->stFile.ulReadLen, &stPacket, &pstLoop->stFile.stTsStreamInfo);
    return stPacket.enType == TS_PES_VIDEO;
}

/** How long the frame just pushed is to stand from now on, milliseconds. */
LONG_32 FrameTime(PLAYOUT_S *pstLoop) {
    const PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    struct timeval tiNow;
    WYK_gettimeofday(&tiNow, nullptr);
    const LONG_32 lUsed = Time_ElapsedMs(&pstLoop->tiStart, &tiNow);
    if (lUsed < 0) {
        LOG_WARN("Port[%03d] TS Manager Thread Warning: Used Time:[%d] < 0", pstPort->ulPort, lUsed);
        return 0;
    }
    const LONG_32 lInterval = word::Load(pstPort->stStateInfo.lFrameIntervalTime);
    const FLOAT fWanted = static_cast<FLOAT>(lInterval) * word::Load(pstPort->fFilePlaySpeed);
    // A wild interval gives a wild wait, which is no wait.
    const DLONG dlWanted = fWanted > -1e9F && fWanted < 1e9F ? static_cast<DLONG>(fWanted) : 0;
    const DLONG dlWait = (lInterval != 0 ? dlWanted : DEFAULT_FRAME_MS) - lUsed - pstLoop->dlOverslept;
    return dlWait >= LEAST_FRAME_MS && dlWait <= MAX_FRAME_MS ? static_cast<LONG_32>(dlWait) : LEAST_FRAME_MS;
}

/** Whether what the wait is for has been overtaken by a call of the client's. */
bool IsSteered(const PLAYOUT_S *pstLoop) {
    return !IsRunning(pstLoop) || HasSeek(pstLoop) || word::Load(pstLoop->pstPort->ulFrameCtrl) == FRAME_CTRL_PAUSE;
}

/** Waits until the frame has stood long enough. A machine that wakes the thread late must not make play slow. */
void Pace(PLAYOUT_S *pstLoop) {
    const DLONG dlEnd = Hls_ClockMs() + FrameTime(pstLoop);
    for (DLONG dlLeft = dlEnd - Hls_ClockMs(); dlLeft > 0 && !IsSteered(pstLoop); dlLeft = dlEnd - Hls_ClockMs()) {
        Wait(pstLoop, static_cast<ULONG_32>(dlLeft));
        pstLoop->ulTicket = Wake_Ticket(&pstLoop->pstInfos->stPlayWake);  // a segment more may have woken it
    }
    pstLoop->dlOverslept = std::clamp<DLONG>(Hls_ClockMs() - dlEnd, 0, MAX_FRAME_MS);
}

/** The position is that of the frame's clock reference; the clock wraps at 33 bits. */
void NotePlayTime(PLAYOUT_S *pstLoop) {
    USHORT usPid = 0;
    DULONG dulPcr = 0;
    if (TS_GetPCR(pstLoop->stFile.pucTsDataAddr, &usPid, &dulPcr) != PLAYER_ERR_OK) {
        return;
    }
    const DULONG dulFirst = pstLoop->stFile.dulFirstTime;
    if (dulPcr < dulFirst) {
        if (dulFirst - dulPcr <= PCR_WRAP / 2) {
            return;
        }
        dulPcr += PCR_WRAP;
    }
    const DULONG dulTime = pstLoop->itNode->ulStartTime + (dulPcr - dulFirst) / TICKS_A_SECOND;
    word::Store(pstLoop->pstInfos->ulCurPlayTime, static_cast<ULONG_32>(dulTime));
}

void PlayPass(PLAYOUT_S *pstLoop) {
    pstLoop->ulTicket = Wake_Ticket(&pstLoop->pstInfos->stPlayWake);
    FetchSeek(pstLoop);
    if (pstLoop->itNode == pstLoop->pliNodes->end()) {
        RestAtEnd(pstLoop);
        return;
    }
    pstLoop->bReportComplete = false;
    if (!HaveSegment(pstLoop)) {
        return;
    }
    WYK_gettimeofday(&pstLoop->tiStart, nullptr);
    if (!ServeControl(pstLoop) || !ReadFrame(pstLoop) || !PushFrame(pstLoop)) {
        return;
    }
    if (IsVideo(pstLoop)) {
        NotePlayTime(pstLoop);
        Pace(pstLoop);
    }
}

}  // namespace

void *__TsManagerThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PLAYER_HLS_TYPE_INFO_S *pstInfos = &pstPort->stHlsTypeInfos;
    PortThread_Begin(pstPort, &pstInfos->bStartPlay);
    LOG_INFO("Port[%03d] Start __TsManagerThreadEntry Thread Succeed.", pstPort->ulPort);
    HLS_NODE_LIST &liNodes = gliHlsNodeInfo[pstPort->ulPort];
    PLAYOUT_S stLoop = {pstPort, pstInfos, &liNodes, liNodes.end()};
    while (IsRunning(&stLoop)) {
        PlayPass(&stLoop);
    }
    File_ReleaseTsParser(&stLoop.stFile);
    return nullptr;
}
