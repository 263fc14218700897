// The port table: numbers in rotation, records with their defaults, release.
#include <stdlib.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "port/payload_table.h"
#include "port/player_manager.h"
#include "port/port_hold.h"

PLAEYR_PORT_S *gapPortList[PLAYER_MAX_PORT_NUM];
QLOM_SDK_MUTEX_S gstPortMutexLock = PTHREAD_MUTEX_INITIALIZER;
BOOL_T gbGpuAble = 0;
BOOL_T gbGpuAbleH265 = 0;
LONG_32 glMaxDecChlNum = PLAYER_MAX_PORT_NUM;

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 IVA_BUFFER_LEN = 2048;

/** All three are reached under gstPortMutexLock only. */
ULONG_32 gulProIndex = 0;
bool gbOpen = true;                   /**< the library hands out ports */
bool gabLeaving[PLAYER_MAX_PORT_NUM]; /**< the entry is null, the record not yet freed */

void SetIvaDefaults(IVA_INFO_S *pstIvaInfo) {
    pstIvaInfo->stMetaV2.ulIVARuleBufMaxLen = IVA_BUFFER_LEN;
    pstIvaInfo->stMetaV2.ulIVAResultBufMaxLen = IVA_BUFFER_LEN;
    pstIvaInfo->stMetaV1.lIVAResultBufMaxLen = IVA_BUFFER_LEN;
}

void SetCallbackDefaults(PLAYER_CALLBACKSET_S *pstSet) {
    pstSet->stSourceCB.bContinue = 1;
    pstSet->stVideoFrameCB.bContinue = 1;
    pstSet->stAudioFrameCB.bContinue = 1;
    pstSet->stVideoDataCB.bContinue = 1;
    pstSet->stAudioDataCB.bContinue = 1;
    pstSet->stDrawCB.bContinue = 1;
    pstSet->stVoiceDataCB.bContinue = 1;
}

void SetPlayDefaults(PLAEYR_PORT_S *pstPort) {
    pstPort->ulDecodeBufferNum = 3;
    pstPort->lSoundVolume = 128;
    pstPort->lMicVolume = 128;
    pstPort->ulSetPlayTime = NO_SEEK;
    pstPort->bCtrlSucc = 1;
    pstPort->fFilePlaySpeed = 1.0F;
    pstPort->enSpeedValue = PLAYER_SPEED_1_FORWARD;
    pstPort->stAdjustParam = {100, 100, 0, 100, 10};
    pstPort->enPicFluncy = PLAYER_PICTURE_REAL;
    pstPort->enSoundChannel = PLAYER_SOUND_CHANNEL_MAX;
    pstPort->enOSDStyle = PLAYER_OSD_INSIDE;
    pstPort->stFileInfo.ulPreIFrameTime = NO_SEEK;
    pstPort->stFileInfo.fIFrameIntervalTime = 2000.0F;
}

void SetRecordDefaults(PORT_RECORD_S *pstRecording) {
    pstRecording->ulFileMaxSize = 0xFA000000;
    pstRecording->ulRecPayload = PLAYER_PAYLOAD_NULL;
    pstRecording->ulRecAudioPayload = PLAYER_PAYLOAD_NULL;
    pstRecording->stSnatchInfo.bSnatchFinish = 1;
}

void SetDefaults(PLAEYR_PORT_S *pstPort, ULONG_32 ulPort) {
    pstPort->ulPort = ulPort;
    pstPort->stPacketBufferQueue.ulPort = ulPort;
    pstPort->stRecordBufferQueue.ulPort = ulPort;
    pstPort->stBroadcastBufferQueue.ulPort = ulPort;
    pstPort->ulBufferNum = 1000;
    pstPort->ulBufferCtrl = PLAYER_BUFFER_CTRL_BLOCK;
    pstPort->stStateInfo.lFrameIntervalTime = 40;
    pstPort->bNeedIFrame = 1;
    pstPort->stVideoDecode.lCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->stAudioDecode.lCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->stVideoEncode.lCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->stRecordAudioEncode.lCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->stRecordAudioDecode.lCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->lVideoCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->lAudioCodecID = PLAYER_PAYLOAD_NULL;
    pstPort->bUseGpu = word::Load(gbGpuAble);
    pstPort->bUseGpuH265 = word::Load(gbGpuAbleH265);
    SetCallbackDefaults(&pstPort->stCallBack);
    SetPlayDefaults(pstPort);
    SetRecordDefaults(pstPort);
    SetIvaDefaults(&pstPort->stIvaInfo);
    SetIvaDefaults(&pstPort->stSeiInfo.stSeiIvaInfo.stIvaInfo);
    QLOM_SDK_mutex_init(0, nullptr, &pstPort->stDecodeVideoData.stLock);
    QLOM_SDK_mutex_init(0, nullptr, &pstPort->stFishInfoMutex);
    QLOM_SDK_mutex_init(0, nullptr, &pstPort->stSnatchInfo.stMutex);
    QLOM_SDK_mutex_init(0, nullptr, &pstPort->stVoiceInfo.stSendMutex);
}

void FreeFileNames(PORT_RECORD_S *pstRecording) {
    if (pstRecording->pstRecordFilesName == nullptr) {
        return;
    }
    PLAYER_RECORD_FILENAME_LIST_S *pstNode = pstRecording->pstRecordFilesName->pstFileNameLinkList;
    while (pstNode != nullptr) {
        PLAYER_RECORD_FILENAME_LIST_S *pstNext = pstNode->pstNext;
        free(pstNode);
        pstNode = pstNext;
    }
    free(pstRecording->pstRecordFilesName);
    pstRecording->pstRecordFilesName = nullptr;
}

void FreeBuffers(PLAEYR_PORT_S *pstPort) {
    free(pstPort->stAdjustVideoData.pucData[0]);
    free(pstPort->pcRecvDataTmpAddr);
    free(pstPort->pcRecvDataAddr);
    free(pstPort->pcFrameDataAddr);
    free(pstPort->pcRtpAudioFrameDataAddr);
    free(pstPort->pstPayloadType);
    RtpStandard_Free(pstPort->pstStandard);
    FreeFileNames(pstPort);
    free(pstPort->stHlsTypeInfos.pucFrameDataAddr);
    IVA_FreeBuffers(&pstPort->stIvaInfo);
    FreeInfo(&pstPort->stDecodeVideoData.stDrawInfo.hIvaInfo);
    free(pstPort->stDecodeVideoData.stDrawInfo.hPtzCtrlInfo);
}

/** Takes the record out of the table; its number is not given out again before it is freed. */
void Withdraw(ULONG_32 ulPort) {
    const CMutexGuard oGuard(&gstPortMutexLock);
    // Sequentially consistent, as the count of who uses the record: see port_hold.cpp.
    __atomic_store_n(&gapPortList[ulPort], nullptr, __ATOMIC_SEQ_CST);
    gabLeaving[ulPort] = true;
}

void FreeRecord(ULONG_32 ulPort, PLAEYR_PORT_S *pstPort) {
    const CMutexGuard oGuard(&gstPortMutexLock);
    free(pstPort);
    gabLeaving[ulPort] = false;
}

/** Whether the number is free. */
bool IsFree(ULONG_32 ulPort) { return gapPortList[ulPort] == nullptr && !gabLeaving[ulPort]; }

ULONG_32 MakePort(ULONG_32 ulPort, BOOL_T bHelper, PLAEYR_PORT_S **ppstPort) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(calloc(1, sizeof(PLAEYR_PORT_S)));
    if (pstPort == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    SetDefaults(pstPort, ulPort);
    pstPort->bHelper = bHelper;
    *ppstPort = pstPort;
    word::StoreRelease(gapPortList[ulPort], pstPort);
    gulProIndex = (ulPort + 1) % PLAYER_MAX_PORT_NUM;
    return PLAYER_ERR_OK;
}

/** Makes the first free number from where the last search ended a port. */
ULONG_32 ReserveNumber(BOOL_T bHelper, ULONG_32 *pulPort, PLAEYR_PORT_S **ppstPort) {
    const CMutexGuard oGuard(&gstPortMutexLock);
    if (!gbOpen) {
        return PLAYER_ERR_PARAM;
    }
    for (ULONG_32 i = 0; i < PLAYER_MAX_PORT_NUM; i++) {
        const ULONG_32 ulPort = (gulProIndex + i) % PLAYER_MAX_PORT_NUM;
        if (IsFree(ulPort)) {
            *pulPort = ulPort;
            return MakePort(ulPort, bHelper, ppstPort);
        }
    }
    return PLAYER_ERR_PORT;
}

/** Whoever guesses the number may free a port from now on: its record is not looked at any more. */
ULONG_32 Alloc(BOOL_T bHelper, ULONG_32 *pulPort, PLAEYR_PORT_S **ppstPort) {
    ULONG_32 ulPort = 0;
    const ULONG_32 ulResult = ReserveNumber(bHelper, &ulPort, ppstPort);
    if (ulResult == PLAYER_ERR_MALLOC) {
        LOG_ERROR("Player_AllocPort, Malloc Failed, Size:[%d].", static_cast<LONG_32>(sizeof(PLAEYR_PORT_S)));
    }
    if (ulResult == PLAYER_ERR_OK) {
        *pulPort = ulPort;
        LOG_INFO("Port[%03d] Player_AllocPort Success.", ulPort);
    }
    return ulResult;
}

}  // namespace

// A recording's helper port is nobody's by number: a client that uses an old number must not open it.
PLAEYR_PORT_S *Player_GetPort(ULONG_32 ulPort) {
    if (ulPort >= PLAYER_MAX_PORT_NUM) {
        return nullptr;
    }
    PLAEYR_PORT_S *pstPort = __atomic_load_n(&gapPortList[ulPort], __ATOMIC_SEQ_CST);
    return pstPort != nullptr && pstPort->bHelper == 0 ? pstPort : nullptr;
}

void PortTable_Open() {
    const CMutexGuard oGuard(&gstPortMutexLock);
    gbOpen = true;
}

void PortTable_Shut() {
    const CMutexGuard oGuard(&gstPortMutexLock);
    gbOpen = false;
}

ULONG_32 Player_AllocPort(ULONG_32 *pulPort) {
    PLAEYR_PORT_S *pstPort = nullptr;
    return Alloc(0, pulPort, &pstPort);
}

ULONG_32 PortTable_AllocHelper(PLAEYR_PORT_S **ppstPort) {
    ULONG_32 ulPort = 0;
    return Alloc(1, &ulPort, ppstPort);
}

void Port_Release(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulPort = pstPort->ulPort;
    Withdraw(ulPort);
    PortHold_WaitAlone(ulPort);
    QLOM_SDK_thr_join(pstPort->hSnatchThread);  // a call without the lock may have started it a moment ago
    Sei_InfoClear(&pstPort->stSeiInfo);
    QLOM_SDK_mutex_destroy(&pstPort->stDecodeVideoData.stLock);
    QLOM_SDK_mutex_destroy(&pstPort->stFishInfoMutex);
    QLOM_SDK_mutex_destroy(&pstPort->stSnatchInfo.stMutex);
    QLOM_SDK_mutex_destroy(&pstPort->stVoiceInfo.stSendMutex);
    CODE_FreeCode(&pstPort->stVideoDecode);
    CODE_FreeCode(&pstPort->stAudioDecode);
    CODE_FreeCode(&pstPort->stVideoEncode);
    SCRAMBLE_FreeKey(&pstPort->hScrambleKey);
    QUEUE_DestroyDecodedBufferQueue(&pstPort->stDecodeBufferQueue);
    QUEUE_DestroyPacketBuffer(&pstPort->stPacketBufferQueue);
    QUEUE_DestroyPacketBuffer(&pstPort->stRecordBufferQueue);
    QUEUE_DestroyPacketBuffer(&pstPort->stBroadcastBufferQueue);
    FreeBuffers(pstPort);
    FreeRecord(ulPort, pstPort);
    LOG_INFO("Port[%03d] Player_FreePort Success.", ulPort);
}

ULONG_32 Player_GetPortUsedNum(void) {
    ULONG_32 ulCount = 0;
    const CMutexGuard oGuard(&gstPortMutexLock);
    for (const PLAEYR_PORT_S *pstPort : gapPortList) {
        ULONG_32 ulUsed = pstPort != nullptr ? word::Load(pstPort->ulPortUsed) : ULONG_32{PORT_USED_TYPE_INPUT};
        ulCount += ulUsed < PORT_USED_TYPE_INPUT || ulUsed > PORT_USED_TYPE_FILE;
    }
    return ulCount;
}
