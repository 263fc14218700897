#include "queue/com_report.h"

#include <pthread.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/mw_sdk_bp.h"
#include "foundations/shared_word.h"
#include "foundations/wake.h"
#include "queue/module_queue.h"

namespace {

constexpr ULONG_32 RING_SLOT_SIZE = 276;
constexpr ULONG_32 RING_SLOT_NUM = 256;
constexpr ULONG_32 GATHER_MS = 40;        // how long events may gather before they are delivered
constexpr ULONG_32 IDLE_LIMIT_MS = 1000;  // a quiet thread looks round at least this often

/**
 * The module's one state. The handle, the ring's making and its end belong to the threads that start and stop the
 * library, one at a time; writers reach the ring through its own lock; the report thread alone reads it.
 */
typedef struct tagReportInfoS {
    QLOM_SDK_THREAD_S hReportThread;               /**< the report thread, 0 when none */
    BOOL_T bReportFlag;                            /**< it runs while this is set; shared word */
    PACKET_BUFFER_QUEUE_S stMsgQueue;              /**< events that wait */
    PLAYER_RUN_INFO_CALLBACK_PF pfnReportCB;       /**< the client's callback; shared word */
    PLAYER_RUN_INFO_CALLBACK_PF pfnManageReportCB; /**< the library's own; shared word */
    ULONG_32 ulRun;                                /**< which start this is; shared word */
} REPORT_INFO_S;

REPORT_INFO_S gstReportInfo;
/** Held while an event is put into the ring, and while the ring is opened or closed to events. */
QLOM_SDK_MUTEX_S gstOpenMutex = PTHREAD_MUTEX_INITIALIZER;
bool gbOpen = false;  // under the mutex

WAKE_S gstEventWake;  // an event came, or stop
WAKE_S gstStopWake;   // stop alone: ends the gathering
thread_local bool gtlReportThread = false;

/** Whether the thread of this start is still the one that delivers: a thread whose own callback stopped the library
 *  must not go on if that callback has started it again. */
bool IsRunning(ULONG_32 ulRun) {
    return word::LoadAcquire(gstReportInfo.bReportFlag) != 0 && word::Load(gstReportInfo.ulRun) == ulRun;
}

void CallIfSet(const PLAYER_RUN_INFO_CALLBACK_PF &pfnShared, ULONG_32 ulType, REPORT_MSG_U *puMsg) {
    PLAYER_RUN_INFO_CALLBACK_PF pfnCallback = word::LoadAcquire(pfnShared);
    if (pfnCallback != nullptr) {
        pfnCallback(ulType, puMsg);
    }
}

/** Delivers one event. The callbacks get a copy, since a callback that stops the library frees the ring. */
void Deliver(ULONG_32 ulRun, ULONG_32 ulType, const void *pMsg) {
    REPORT_MSG_U uMsg;
    memcpy(&uMsg, pMsg, sizeof(uMsg));
    CallIfSet(gstReportInfo.pfnReportCB, ulType, &uMsg);
    if (IsRunning(ulRun)) {
        CallIfSet(gstReportInfo.pfnManageReportCB, ulType, &uMsg);
    }
}

/** Delivers all that waits. True if there was anything. */
bool DeliverAll(ULONG_32 ulRun) {
    bool bAny = false;
    ULONG_32 ulType = 0;
    void *pMsg = nullptr;
    while (IsRunning(ulRun) && Report_ReadMsg(&ulType, &pMsg) == PLAYER_ERR_OK) {
        Deliver(ulRun, ulType, pMsg);
        bAny = true;
    }
    return bAny;
}

void *__ReportThreadEntry(void *pArgs) {
    gtlReportThread = true;
    ULONG_32 ulRun = static_cast<ULONG_32>(reinterpret_cast<uintptr_t>(pArgs));
    while (IsRunning(ulRun)) {
        ULONG_32 ulEventTicket = Wake_Ticket(&gstEventWake);
        ULONG_32 ulStopTicket = Wake_Ticket(&gstStopWake);
        if (!DeliverAll(ulRun) && !Wake_Wait(&gstEventWake, ulEventTicket, IDLE_LIMIT_MS)) {
            continue;
        }
        if (IsRunning(ulRun)) {
            Wake_Wait(&gstStopWake, ulStopTicket, GATHER_MS);
        }
    }
    return nullptr;
}

/** Ends the thread. Called on that thread itself it cannot wait: the thread ends once its callback returns. */
void EndThread() {
    word::StoreRelease(gstReportInfo.bReportFlag, 0);
    Wake_Signal(&gstStopWake);
    Wake_Signal(&gstEventWake);
    if (pthread_equal(pthread_self(), gstReportInfo.hReportThread) != 0) {
        LOG_WARN("Report_Cleanup Warning, Called In Report CallBack.");
        pthread_detach(gstReportInfo.hReportThread);
    } else {
        QLOM_SDK_thr_join(gstReportInfo.hReportThread);
    }
    gstReportInfo.hReportThread = 0;
}

void SetOpen(bool bOpen) {
    const CMutexGuard oGuard(&gstOpenMutex);
    gbOpen = bOpen;
}

ULONG_32 AddEvent(REPORT_MSG_S *pstMsg) {
    const CMutexGuard oGuard(&gstOpenMutex);
    if (!gbOpen) {
        return PLAYER_ERR_PARAM;
    }
    return QUEUE_AddPacket(reinterpret_cast<CHAR *>(pstMsg), sizeof(*pstMsg), &gstReportInfo.stMsgQueue);
}

}  // namespace

ULONG_32 Report_Init(void) {
    if (word::LoadAcquire(gstReportInfo.bReportFlag) != 0) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulRet = QUEUE_InitPacketBuffer(&gstReportInfo.stMsgQueue, RING_SLOT_SIZE, RING_SLOT_NUM);
    if (ulRet != PLAYER_ERR_OK) {
        LOG_ERROR("Report_Init Failed, QUEUE_InitPacketBuffer Failed, Size:[%d], Num:[%d].",
                  static_cast<int>(sizeof(REPORT_MSG_U)), static_cast<int>(RING_SLOT_NUM));
        QUEUE_CleanupPacketBuffer(&gstReportInfo.stMsgQueue);
        return ulRet;
    }
    ULONG_32 ulRun = word::Add(gstReportInfo.ulRun, 1);
    word::StoreRelease(gstReportInfo.bReportFlag, 1);
    void *pArgs = reinterpret_cast<void *>(static_cast<uintptr_t>(ulRun));
    if (QLOM_SDK_thr_create(__ReportThreadEntry, pArgs, 0, 0, nullptr, &gstReportInfo.hReportThread) != 0) {
        LOG_ERROR("Report_Init Failed, QLOM_SDK_thr_create Failed.");
        gstReportInfo.hReportThread = 0;
        word::StoreRelease(gstReportInfo.bReportFlag, 0);
        QUEUE_CleanupPacketBuffer(&gstReportInfo.stMsgQueue);
        return PLAYER_ERR_FAILED;
    }
    SetOpen(true);
    return PLAYER_ERR_OK;
}

void Report_Cleanup(void) {
    SetOpen(false);  // from here on an event is refused, not lost
    EndThread();
    QUEUE_CleanupPacketBuffer(&gstReportInfo.stMsgQueue);
    Report_SetReportCallBack(nullptr);
    Report_ManageSetReportCallBack(nullptr);
}

ULONG_32 Report_SetReportCallBack(PLAYER_RUN_INFO_CALLBACK_PF pfnReportCB) {
    word::StoreRelease(gstReportInfo.pfnReportCB, pfnReportCB);
    return PLAYER_ERR_OK;
}

ULONG_32 Report_ManageSetReportCallBack(PLAYER_RUN_INFO_CALLBACK_PF pfnReportCB) {
    word::StoreRelease(gstReportInfo.pfnManageReportCB, pfnReportCB);
    return PLAYER_ERR_OK;
}

ULONG_32 Report_SendMsg(ULONG_32 ulPort, REPORT_MSG_S *pstMsg) {
    if (pstMsg == nullptr) {
        LOG_ERROR("Port[%03d] Report Info is Null.", static_cast<int>(ulPort));
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulRet = AddEvent(pstMsg);
    if (ulRet != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Report_SendMsg Failed, QUEUE_AddPacket Failed, Error[0x%x].", static_cast<int>(ulPort),
                  ulRet);
        return ulRet;
    }
    Wake_Signal(&gstEventWake);
    return PLAYER_ERR_OK;
}

ULONG_32 Report_ReadMsg(ULONG_32 *pulRunInfoType, void **ppMsg) {
    if (pulRunInfoType == nullptr || ppMsg == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 0;
    ULONG_32 ulRet = QUEUE_GetPacket(&gstReportInfo.stMsgQueue, &pcPacket, &ulLen);
    if (ulRet != PLAYER_ERR_OK) {
        return ulRet;
    }
    if (ulLen != sizeof(REPORT_MSG_S)) {
        return PLAYER_ERR_FAILED;
    }
    memcpy(pulRunInfoType, pcPacket, sizeof(*pulRunInfoType));
    *ppMsg = pcPacket + sizeof(*pulRunInfoType);
    return PLAYER_ERR_OK;
}

bool Report_IsOwnThread() { return gtlReportThread; }
