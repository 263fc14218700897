#include "port/run_messages.h"

#include <string.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"

ULONG_32 Port_SendRunMsg(ULONG_32 ulPort, const PORT_RUN_MSG_S &stRunMsg) {
    REPORT_MSG_S stMsg = {};
    stMsg.ulRunInfoType = stRunMsg.ulType;
    PLAYER_RUN_INFO_S &stInfo = stMsg.uReportMsg.stRunInfo;
    stInfo.ulPort = ulPort;
    stInfo.ulErrCode = stRunMsg.ulCode;
    stInfo.ulReserved = stRunMsg.ulReserved;
    if (stRunMsg.pcText != nullptr) {
        memcpy(stInfo.szFilePath, stRunMsg.pcText, strnlen(stRunMsg.pcText, sizeof(stInfo.szFilePath) - 1));
    }
    return Report_SendMsg(ulPort, &stMsg);
}

void Player_RunMsgReportDealWith(ULONG_32 ulRunInfoType, void *pMsg) {
    if (ulRunInfoType != PLAYER_RUN_INFO_MEDIA_PROCESS || pMsg == nullptr) {
        return;
    }
    ULONG_32 ulPort = static_cast<const REPORT_MSG_U *>(pMsg)->stRunInfo.ulPort;
    // The record may go as soon as the table is unlocked, so the function is copied and called outside.
    HANDLE hFunc = nullptr;
    {
        const CMutexGuard oGuard(&gstPortMutexLock);
        const PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
        hFunc = pstPort != nullptr ? word::Load(pstPort->stCallBack.stRunMsgCB.hFunc) : nullptr;
    }
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
