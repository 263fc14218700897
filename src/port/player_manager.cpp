#include "port/player_manager.h"

#include <string.h>

#include "foundations/PlayerLog.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/audioplay.h"
#include "output/videodisplay.h"
#include "port/port_lock.h"

BOOL_T gbGpuAble = 0;
BOOL_T gbGpuAbleH265 = 0;
LONG_32 glMaxDecChlNum = PLAYER_MAX_PORT_NUM;
PLAYER_HLS_STREAM_INFO_S gstHlsStreamInfo;

namespace {

const ULONG_32 CACHE_LIMIT_MIB = 500;

struct VIRTUAL_SIZE_ROW_S {
    PLAYER_DECODE_SYSTYPE_E enSystem;
    ULONG_32 aulH264[8]; /**< megabytes, PLAYER_DECODE_RESOLUTION_CIF and up */
    ULONG_32 aulH265[6];
};

const VIRTUAL_SIZE_ROW_S gastVirtualSize[] = {
    {PLAYER_DECODE_SYSTYPE_WIN7, {8, 9, 10, 16, 30, 60, 160, 250}, {25, 30, 35, 50, 100, 180}},
    {PLAYER_DECODE_SYSTYPE_WIN8, {10, 11, 12, 22, 41, 64, 135, 190}, {30, 40, 50, 65, 103, 170}},
    {PLAYER_DECODE_SYSTYPE_WIN10, {9, 10, 12, 22, 42, 62, 135, 190}, {29, 40, 42, 62, 120, 195}},
};

PLAYER_MALLOC_INFO_S *FillVirtualSizes(const VIRTUAL_SIZE_ROW_S &stRow, PLAYER_MALLOC_INFO_S *pstInfo) {
    ULONG_32 ulResolution = PLAYER_DECODE_RESOLUTION_CIF;
    for (ULONG_32 ulSize : stRow.aulH264) {
        *pstInfo++ = {stRow.enSystem, PLAYER_VIDEO_ENCODE_H264, ulResolution++, ulSize};
    }
    ulResolution = PLAYER_DECODE_RESOLUTION_CIF;
    for (ULONG_32 ulSize : stRow.aulH265) {
        *pstInfo++ = {stRow.enSystem, PLAYER_VIDEO_ENCODE_H265, ulResolution++, ulSize};
    }
    return pstInfo;
}

/** Frees the ports of one pass: owners first, then what is left, so that an owner still finds its helper port. */
void FreePorts(bool bOwners) {
    for (ULONG_32 ulPort = 0; ulPort < PLAYER_MAX_PORT_NUM; ulPort++) {
        const PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
        if (pstPort != nullptr && (!bOwners || word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL)) {
            CPortLock oLock(ulPort, PORT_CALL_CLOSE);  // another thread may still be inside a call on the port
            Player_FreePort(ulPort);
        }
    }
}

/** The count of encoded frames of the port that an encoder's callback was given. */
ULONG_32 *FindFrameCount(void *pUser) {
    for (PLAEYR_PORT_S *&pstEntry : gapPortList) {
        PLAEYR_PORT_S *pstPort = word::LoadAcquire(pstEntry);
        if (pstPort != nullptr && pstPort == pUser) {
            return &pstPort->stFrameData.ulAudioReFrameCount;
        }
    }
    return nullptr;
}

}  // namespace

ULONG_32 Player_Startup(void) {
    LOG_INFO("Player Startup.");
    ULONG_32 ulResult = Report_Init();
    if (ulResult != PLAYER_ERR_OK) {
        LOG_FATAL("Player Startup Failed, Report_Init Error[0x%x].", ulResult);
        return ulResult;
    }
    Report_ManageSetReportCallBack(Player_RunMsgReportDealWith);
    memset(gapPortList, 0, sizeof(gapPortList));
    Player_BroadcastInit();
    CODE_H264_GlobalInit();
    CODE_SetFrameCountFinder(FindFrameCount);
    Video_Init();
    Audio_Init();
    gstHlsStreamInfo.ulMaxCacheValue = CACHE_LIMIT_MIB;
    QLOM_SDK_mutex_init(0, nullptr, &gstHlsStreamInfo.stHlsMulticMutex);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_Cleanup(void) {
    LOG_INFO("Player Cleanup.");
    FreePorts(true);
    FreePorts(false);
    Report_Cleanup();
    QLOM_SDK_mutex_destroy(&gstHlsStreamInfo.stHlsMulticMutex);
    Video_Cleanup();
    Audio_Cleanup();
    CODE_SetFrameCountFinder(nullptr);
    CODE_H264_GlobalFree();
    Player_LogCleanUp();
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo) {
    if (pulMallocNum == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (*pulMallocNum != PLAYER_MALLOC_INFO_NUM) {
        *pulMallocNum = PLAYER_MALLOC_INFO_NUM;
        return PLAYER_ERR_FAILED;
    }
    if (pastMallocInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    for (const VIRTUAL_SIZE_ROW_S &stRow : gastVirtualSize) {
        pastMallocInfo = FillVirtualSizes(stRow, pastMallocInfo);
    }
    return PLAYER_ERR_OK;
}

void Player_RunMsgReportDealWith(ULONG_32 ulRunInfoType, void *pMsg) {
    if (ulRunInfoType != PLAYER_RUN_INFO_MEDIA_PROCESS || pMsg == nullptr) {
        return;
    }
    ULONG_32 ulPort = static_cast<const REPORT_MSG_U *>(pMsg)->stRunInfo.ulPort;
    // The record may go as soon as the table is unlocked, so the function is copied and called outside.
    QLOM_SDK_mutex_lock(&gstPortMutexLock);
    const PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    HANDLE hFunc = pstPort != nullptr ? word::Load(pstPort->stCallBack.stRunMsgCB.hFunc) : nullptr;
    QLOM_SDK_mutex_unlock(&gstPortMutexLock);
    if (hFunc == nullptr) {
        return;
    }
    reinterpret_cast<PLAYER_RUN_INFO_CALLBACK_PF>(hFunc)(ulRunInfoType, pMsg);
    LOG_ERROR("Deal With SDK RunMsg Info CallBack Port[%d] pfn = %p", ulPort, hFunc);
}

ULONG_32 Player_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc) {
    return Report_SetReportCallBack(pfnRunInfoFunc);
}

ULONG_32 Player_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stCallBack.stRunMsgCB.hFunc, reinterpret_cast<HANDLE>(pfnRunInfoFunc));
    LOG_ERROR("Port[%03d] SDK set RunMsg Info CallBack, pfn = %p.", ulPort, reinterpret_cast<HANDLE>(pfnRunInfoFunc));
    return PLAYER_ERR_OK;
}
