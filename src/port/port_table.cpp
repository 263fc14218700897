// The port table: numbers in rotation, records with their defaults, release.
#include <stdlib.h>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "port/payload_table.h"
#include "port/player_manager.h"
#include "port/port_lock.h"

PLAEYR_PORT_S *gapPortList[PLAYER_MAX_PORT_NUM];
QLOM_SDK_MUTEX_S gstPortMutexLock = PTHREAD_MUTEX_INITIALIZER;
BOOL_T gbGpuAble = 0;
BOOL_T gbGpuAbleH265 = 0;
LONG_32 glMaxDecChlNum = PLAYER_MAX_PORT_NUM;

namespace {

const ULONG_32 NO_SEEK = 0xFFFFFFFF;
const ULONG_32 IVA_BUFFER_LEN = 2048;

ULONG_32 gulProIndex = 0;

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

void SetRecordDefaults(PLAEYR_PORT_S *pstPort) {
    pstPort->ulFileMaxSize = 0xFA000000;
    pstPort->ulRecPayload = PLAYER_PAYLOAD_NULL;
    pstPort->ulRecAudioPayload = PLAYER_PAYLOAD_NULL;
    pstPort->stSnatchInfo.bSnatchFinish = 1;
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

void FreeFileNames(PLAEYR_PORT_S *pstPort) {
    if (pstPort->pstRecordFilesName == nullptr) {
        return;
    }
    PLAYER_RECORD_FILENAME_LIST_S *pstNode = pstPort->pstRecordFilesName->pstFileNameLinkList;
    while (pstNode != nullptr) {
        PLAYER_RECORD_FILENAME_LIST_S *pstNext = pstNode->pstNext;
        free(pstNode);
        pstNode = pstNext;
    }
    free(pstPort->pstRecordFilesName);
    pstPort->pstRecordFilesName = nullptr;
}

void FreeBuffers(PLAEYR_PORT_S *pstPort) {
    free(pstPort->stAdjustVideoData.pucData[0]);
    free(pstPort->pcRecvDataTmpAddr);
    free(pstPort->pcRecvDataAddr);
    free(pstPort->pcFrameDataAddr);
    free(pstPort->pcRtpAudioFrameDataAddr);
    free(pstPort->pstPayloadType);
    PayloadTable_FreeRetired(pstPort);
    FreeFileNames(pstPort);
    free(pstPort->stHlsTypeInfos.pucFrameDataAddr);
    IVA_FreeBuffers(&pstPort->stIvaInfo);
    FreeInfo(&pstPort->stDecodeVideoData.stDrawInfo.hIvaInfo);
    free(pstPort->stDecodeVideoData.stDrawInfo.hPtzCtrlInfo);
}

void FreeRecord(ULONG_32 ulPort, PLAEYR_PORT_S *pstPort) {
    QLOM_SDK_mutex_lock(&gstPortMutexLock);
    word::StoreRelease(gapPortList[ulPort], nullptr);
    free(pstPort);
    QLOM_SDK_mutex_unlock(&gstPortMutexLock);
}

}  // namespace

PLAEYR_PORT_S *Player_GetPort(ULONG_32 ulPort) {
    return ulPort < PLAYER_MAX_PORT_NUM ? word::LoadAcquire(gapPortList[ulPort]) : nullptr;
}

ULONG_32 Player_AllocPort(ULONG_32 *pulPort) {
    QLOM_SDK_mutex_lock(&gstPortMutexLock);
    for (ULONG_32 i = 0; i < PLAYER_MAX_PORT_NUM; i++) {
        ULONG_32 ulPort = (gulProIndex + i) % PLAYER_MAX_PORT_NUM;
        if (gapPortList[ulPort] != nullptr) {
            continue;
        }
        PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(calloc(1, sizeof(PLAEYR_PORT_S)));
        if (pstPort == nullptr) {
            // The lock stays held: out of memory, the library hands out no further port.
            LOG_ERROR("Player_AllocPort, Malloc Failed, Size:[%d].", static_cast<LONG_32>(sizeof(PLAEYR_PORT_S)));
            return PLAYER_ERR_MALLOC;
        }
        SetDefaults(pstPort, ulPort);
        word::StoreRelease(gapPortList[ulPort], pstPort);
        gulProIndex = (ulPort + 1) % PLAYER_MAX_PORT_NUM;
        QLOM_SDK_mutex_unlock(&gstPortMutexLock);
        *pulPort = ulPort;
        LOG_INFO("Port[%03d] Player_AllocPort Success.", ulPort);
        return PLAYER_ERR_OK;
    }
    QLOM_SDK_mutex_unlock(&gstPortMutexLock);
    return PLAYER_ERR_PORT;
}

void Port_Release(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulPort = pstPort->ulPort;
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
    QLOM_SDK_mutex_lock(&gstPortMutexLock);
    for (const PLAEYR_PORT_S *pstPort : gapPortList) {
        ULONG_32 ulUsed = pstPort != nullptr ? word::Load(pstPort->ulPortUsed) : ULONG_32{PORT_USED_TYPE_INPUT};
        ulCount += ulUsed < PORT_USED_TYPE_INPUT || ulUsed > PORT_USED_TYPE_FILE;
    }
    QLOM_SDK_mutex_unlock(&gstPortMutexLock);
    return ulCount;
}
