#include "port/port_lock.h"

#include <time.h>

#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "port/player_manager.h"

namespace {

const ULONG_32 NO_PORT = PLAYER_MAX_PORT_NUM;
const long LOCK_SLICE_NS = 2000000;

/** Static, and never destroyed: a late caller finds a lock. */
struct PORT_LOCK_S {
    QLOM_SDK_MUTEX_S stTurn =
        PTHREAD_MUTEX_INITIALIZER; /**< held by whoever gets stApi next: a busy pusher can't starve a close */
    QLOM_SDK_MUTEX_S stApi = PTHREAD_MUTEX_INITIALIZER;
    QLOM_SDK_MUTEX_S stBeside = PTHREAD_MUTEX_INITIALIZER; /**< held by the one call that goes on beside a push */
    ULONG_32 ulClosing = 0;                                /**< closes under way */
    BOOL_T bPushing = 0;                                   /**< the holder of stApi is a push */
    ULONG_32 ulWaiting = 0;                                /**< calls that wait for stApi in turn */
    ULONG_32 ulBeside = 0;                                 /**< calls that go on beside a push, or try to */
};

PORT_LOCK_S gastSdkMutexLockArray[PLAYER_MAX_PORT_NUM];

thread_local CPortLock *gtlInnermost = nullptr; /**< locks of this thread: a source callback may push to another port */
thread_local ULONG_32 gtlPipelinePort = NO_PORT;                 /**< this thread is one of that port's */
thread_local const BOOL_T *gtlRunFlag = nullptr;                 /**< that thread's run flag, or null */
thread_local const CSourceCallbackMark *gtlSourceMark = nullptr; /**< source callbacks that this thread is inside of */

/** Whether somebody waits for this thread of a port to end, and holds the port's lock meanwhile. */
bool IsAwaited() { return gtlRunFlag != nullptr && word::Load(*gtlRunFlag) == 0; }

bool LockForASlice(QLOM_SDK_MUTEX_S *pstMutex) {
    struct timespec stTime;
    clock_gettime(CLOCK_REALTIME, &stTime);
    stTime.tv_nsec += LOCK_SLICE_NS;
    if (stTime.tv_nsec >= 1000000000) {
        stTime.tv_nsec -= 1000000000;
        stTime.tv_sec++;
    }
    return pthread_mutex_timedlock(pstMutex, &stTime) == 0;
}

void TakeInTurn(PORT_LOCK_S &stLock) {
    if (word::Load(stLock.ulWaiting) == 0 && pthread_mutex_trylock(&stLock.stApi) == 0) {
        return;
    }
    word::Add(stLock.ulWaiting, 1);
    QLOM_SDK_mutex_lock(&stLock.stTurn);
    QLOM_SDK_mutex_lock(&stLock.stApi);
    QLOM_SDK_mutex_unlock(&stLock.stTurn);
    word::Sub(stLock.ulWaiting, 1);
}

bool TakeInTurnForASlice(PORT_LOCK_S &stLock) {
    word::Add(stLock.ulWaiting, 1);
    bool bTaken = false;
    if (LockForASlice(&stLock.stTurn)) {
        bTaken = LockForASlice(&stLock.stApi);
        QLOM_SDK_mutex_unlock(&stLock.stTurn);
    }
    word::Sub(stLock.ulWaiting, 1);
    return bTaken;
}

/** Ends a push. Whoever went on beside it is done before the next call gets the lock. */
void EndPush(PORT_LOCK_S &stLock) {
    // Either this sees the call beside it, or that call sees that the push is over.
    __atomic_store_n(&stLock.bPushing, 0, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&stLock.ulBeside, __ATOMIC_SEQ_CST) != 0) {
        QLOM_SDK_mutex_lock(&stLock.stBeside);
        QLOM_SDK_mutex_unlock(&stLock.stBeside);
    }
}

/** Wakes the port's waits, and ends a watermark check, while the table keeps the record from being freed. */
void WakePort(ULONG_32 ulPort) {
    QLOM_SDK_mutex_lock(&gstPortMutexLock);
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort != nullptr) {
        word::Store(pstPort->bStartCkeckMark, 0);
        Port_WakeAll(pstPort);
    }
    QLOM_SDK_mutex_unlock(&gstPortMutexLock);
}

}  // namespace

CPortLock::CPortLock(ULONG_32 ulPort, PORT_CALL_E enCall)
    : m_ulPort(ulPort), m_enCall(enCall), m_enState(STATE_NESTED), m_poOuter(gtlInnermost) {
    if (HeldByThisThread(ulPort)) {
        return;
    }
    if (gtlPipelinePort == ulPort) {
        m_enState = EnterFromPipeline();
    } else {
        m_enState = EnterFromClient();
    }
    if (m_enState == STATE_LOCKED) {
        word::Store(gastSdkMutexLockArray[ulPort].bPushing, enCall == PORT_CALL_PUSH);
    }
    if (m_enState == STATE_LOCKED || m_enState == STATE_BESIDE) {
        gtlInnermost = this;
    }
}

CPortLock::~CPortLock() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    if (m_enState == STATE_LOCKED || m_enState == STATE_BESIDE) {
        gtlInnermost = m_poOuter;
    }
    if (m_enState == STATE_BESIDE) {
        LeaveBeside();
    }
    if (m_enState != STATE_LOCKED) {
        return;
    }
    if (m_enCall == PORT_CALL_PUSH) {
        EndPush(stLock);
    }
    QLOM_SDK_mutex_unlock(&stLock.stApi);
    if (m_enCall == PORT_CALL_CLOSE) {
        word::Sub(stLock.ulClosing, 1);
    }
}

bool CPortLock::HeldByThisThread(ULONG_32 ulPort) {
    const CPortLock *poLock = gtlInnermost;
    while (poLock != nullptr && poLock->m_ulPort != ulPort) {
        poLock = poLock->m_poOuter;
    }
    return poLock != nullptr;
}

CPortLock::STATE_E CPortLock::EnterFromClient() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    if (m_enCall == PORT_CALL_CLOSE) {
        word::Add(stLock.ulClosing, 1);
        WakePort(m_ulPort);
    }
    TakeInTurn(stLock);
    return STATE_LOCKED;
}

/** A close asked for by the port's own thread is let in without the lock: it is refused further down, by name. */
CPortLock::STATE_E CPortLock::EnterFromPipeline() {
    if (m_enCall == PORT_CALL_CLOSE) {
        return STATE_NESTED;
    }
    while (!PortLock_IsClosing(m_ulPort) && !IsAwaited()) {
        if (m_enCall != PORT_CALL_PUSH && TryBeside()) {
            return STATE_BESIDE;
        }
        if (TakeInTurnForASlice(gastSdkMutexLockArray[m_ulPort])) {
            return STATE_LOCKED;
        }
    }
    return STATE_REFUSED;
}

bool CPortLock::TryBeside() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    if (!word::Load(stLock.bPushing) || !LockForASlice(&stLock.stBeside)) {
        return false;
    }
    __atomic_add_fetch(&stLock.ulBeside, 1, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&stLock.bPushing, __ATOMIC_SEQ_CST) == 0) {
        LeaveBeside();
        return false;
    }
    return true;
}

void CPortLock::LeaveBeside() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    __atomic_sub_fetch(&stLock.ulBeside, 1, __ATOMIC_SEQ_CST);
    QLOM_SDK_mutex_unlock(&stLock.stBeside);
}

void PortThread_Begin(const PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun) {
    gtlPipelinePort = pstPort->ulPort;
    gtlRunFlag = pbRun;
}

bool PortThread_IsOwn(ULONG_32 ulPort) { return gtlPipelinePort == ulPort || CSourceCallbackMark::IsInside(ulPort); }

bool PortThread_IsAny() { return gtlPipelinePort != NO_PORT || gtlSourceMark != nullptr; }

CSourceCallbackMark::CSourceCallbackMark(ULONG_32 ulPort) : m_ulPort(ulPort), m_poOuter(gtlSourceMark) {
    gtlSourceMark = this;
}

CSourceCallbackMark::~CSourceCallbackMark() { gtlSourceMark = m_poOuter; }

bool CSourceCallbackMark::IsInside(ULONG_32 ulPort) {
    const CSourceCallbackMark *poMark = gtlSourceMark;
    while (poMark != nullptr && poMark->m_ulPort != ulPort) {
        poMark = poMark->m_poOuter;
    }
    return poMark != nullptr;
}

bool PortLock_IsClosing(ULONG_32 ulPort) {
    return ulPort < PLAYER_MAX_PORT_NUM && word::Load(gastSdkMutexLockArray[ulPort].ulClosing) != 0;
}

void Port_WakeAll(PLAEYR_PORT_S *pstPort) {
    QUEUE_WakeAll(&pstPort->stPacketBufferQueue);
    QUEUE_WakeAll(&pstPort->stRecordBufferQueue);
    QUEUE_WakeAll(&pstPort->stBroadcastBufferQueue);
    QUEUE_WakeDecodeReader(&pstPort->stDecodeBufferQueue);
    Wake_Signal(&pstPort->stControlWake);
    Wake_Signal(&pstPort->stHlsTypeInfos.stPlayWake);
    Wake_Signal(&pstPort->stHlsTypeInfos.stDownloadWake);
    WakeFd_Signal(&pstPort->stSourceWake);
    WakeFd_Signal(&pstPort->stVoiceInfo.stSendWake);
}

void Port_Sleep(PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun, ULONG_32 ulMSeconds) {
    ULONG_32 ulTicket = Wake_Ticket(&pstPort->stControlWake);
    if (word::Load(*pbRun) && !PortLock_IsClosing(pstPort->ulPort)) {
        Wake_Wait(&pstPort->stControlWake, ulTicket, ulMSeconds);
    }
}
