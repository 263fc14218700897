#include "port/port_lock.h"

#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "port/port_hold.h"

namespace {

/** Static, and never destroyed: a late caller finds a lock. */
struct PORT_LOCK_S {
    PORT_TURN_S stTurn; /**< held by whoever gets stApi next: a busy pusher can't starve a close */
    PORT_TURN_S stApi;
    PORT_TURN_S stBeside; /**< held by the one call that goes on beside a push */
    BOOL_T bPushing;      /**< the holder of stApi is a push */
    ULONG_32 ulWaiting;   /**< calls that wait for stApi in turn */
    ULONG_32 ulBeside;    /**< calls that go on beside a push, or try to */
};

PORT_LOCK_S gastSdkMutexLockArray[PLAYER_MAX_PORT_NUM];

bool TryAtOnce(PORT_LOCK_S &stLock) { return word::Load(stLock.ulWaiting) == 0 && PortTurn_Try(&stLock.stApi); }

void AcquireInTurn(PORT_LOCK_S &stLock) {
    if (TryAtOnce(stLock)) {
        return;
    }
    word::Add(stLock.ulWaiting, 1);
    PortTurn_Take(&stLock.stTurn);
    PortTurn_Take(&stLock.stApi);
    PortTurn_Leave(&stLock.stTurn);
    word::Sub(stLock.ulWaiting, 1);
}

bool AcquireInTurnForASlice(PORT_LOCK_S &stLock) {
    word::Add(stLock.ulWaiting, 1);
    bool bTaken = false;
    if (PortTurn_AcquireForASlice(&stLock.stTurn)) {
        bTaken = PortTurn_AcquireForASlice(&stLock.stApi);
        PortTurn_Leave(&stLock.stTurn);
    }
    word::Sub(stLock.ulWaiting, 1);
    return bTaken;
}

/** Ends a push. Whoever went on beside it is done before the next call gets the lock. */
void EndPush(PORT_LOCK_S &stLock) {
    // Either this sees the call beside it, or that call sees that the push is over.
    __atomic_store_n(&stLock.bPushing, 0, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&stLock.ulBeside, __ATOMIC_SEQ_CST) != 0) {
        const CPortWaiter oWaiter(&stLock.stBeside, PortThread_Innermost());
        PortTurn_Take(&stLock.stBeside);
        PortTurn_Leave(&stLock.stBeside);
    }
}

/** Whether the thread holds the port's lock already, or goes on beside its holder. */
PORT_INSIDE_E HowHeld(const PORT_INSIDE_S *pstInside, ULONG_32 ulPort) {
    for (; pstInside != nullptr; pstInside = pstInside->pstOuter) {
        if (pstInside->ulPort == ulPort &&
            (pstInside->enHow == PORT_INSIDE_LOCKED || pstInside->enHow == PORT_INSIDE_BESIDE)) {
            return pstInside->enHow;
        }
    }
    return PORT_INSIDE_CALL;
}

}  // namespace

CPortLock::CPortLock(ULONG_32 ulPort, PORT_CALL_E enCall)
    : m_ulPort(ulPort), m_enCall(enCall), m_enState(STATE_REFUSED) {
    PortThread_Push(&m_stInside, ulPort, PORT_INSIDE_CALL);
    m_enState = Enter();
    if (m_enState == STATE_LOCKED) {
        word::Store(gastSdkMutexLockArray[ulPort].bPushing, enCall == PORT_CALL_PUSH);
        m_stInside.enHow = PORT_INSIDE_LOCKED;
    } else if (m_enState == STATE_BESIDE) {
        m_stInside.enHow = PORT_INSIDE_BESIDE;
    }
    if (m_stInside.enHow != PORT_INSIDE_CALL) {
        PortHold_Add(ulPort);  // not before: the one who frees the port holds the lock
    }
}

CPortLock::~CPortLock() {
    PortThread_Pop(&m_stInside);
    if (m_stInside.enHow != PORT_INSIDE_CALL) {
        PortHold_Drop(m_ulPort);
    }
    if (m_enState == STATE_BESIDE) {
        LeaveBeside();
    } else if (m_enState == STATE_LOCKED) {
        LeaveLocked();
    }
}

CPortLock::STATE_E CPortLock::Enter() {
    const PORT_INSIDE_S *pstOuter = m_stInside.pstOuter;
    // A close asked for by the port itself is let in without the lock: it is refused further down, by name.
    if (m_enCall == PORT_CALL_CLOSE && PortInside_Has(pstOuter, m_ulPort)) {
        return STATE_NESTED;
    }
    if (HowHeld(pstOuter, m_ulPort) != PORT_INSIDE_CALL) {
        return EnterNested();
    }
    if (pstOuter == nullptr) {
        return EnterFromClient();
    }
    return m_enCall == PORT_CALL_CLOSE ? CloseFromCallback() : EnterFromCallback();
}

/** Inside a push, calls from elsewhere may go on beside it; a nested one takes turns with them. */
CPortLock::STATE_E CPortLock::EnterNested() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    if (m_enCall == PORT_CALL_PUSH || HowHeld(m_stInside.pstOuter, m_ulPort) == PORT_INSIDE_BESIDE ||
        !word::Load(stLock.bPushing)) {
        return STATE_NESTED;
    }
    while (!PortTurn_AcquireForASlice(&stLock.stBeside)) {
        CPortWaiter oWaiter(&stLock.stBeside, m_stInside.pstOuter);
        if (PortInside_MustGiveUp(m_stInside.pstOuter) || oWaiter.LeadsBack()) {
            return STATE_REFUSED;
        }
    }
    return JoinBeside() ? STATE_BESIDE : STATE_REFUSED;
}

CPortLock::STATE_E CPortLock::EnterFromClient() {
    if (m_enCall == PORT_CALL_CLOSE) {
        PortLock_RaiseClosing(m_ulPort);
    }
    AcquireInTurn(gastSdkMutexLockArray[m_ulPort]);
    return STATE_LOCKED;
}

CPortLock::STATE_E CPortLock::EnterFromCallback() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    const PORT_INSIDE_S *pstOuter = m_stInside.pstOuter;
    if (!PortInside_Has(pstOuter, m_ulPort) && TryAtOnce(stLock)) {
        return STATE_LOCKED;
    }
    const bool bBeside = m_enCall == PORT_CALL_NORMAL && PortInside_IsPipeline(pstOuter, m_ulPort);
    while (!PortInside_MustGiveUp(pstOuter)) {
        if (bBeside && TryBeside()) {
            return STATE_BESIDE;
        }
        CPortWaiter oWaiter(&stLock.stApi, pstOuter);
        if (oWaiter.LeadsBack()) {
            break;
        }
        if (AcquireInTurnForASlice(stLock)) {
            return STATE_LOCKED;
        }
    }
    return STATE_REFUSED;
}

CPortLock::STATE_E CPortLock::CloseFromCallback() {
    PortLock_RaiseClosing(m_ulPort);
    if (EnterFromCallback() == STATE_LOCKED) {
        m_oCloser.emplace(CPortWaiter::WAIT_CLOSE, m_ulPort, m_stInside.pstOuter);
        if (!m_oCloser->LeadsBack()) {
            return STATE_LOCKED;
        }
        m_oCloser.reset();
        PortTurn_Leave(&gastSdkMutexLockArray[m_ulPort].stApi);
    }
    PortLock_LowerClosing(m_ulPort);
    return STATE_REFUSED;
}

bool CPortLock::TryBeside() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    return word::Load(stLock.bPushing) && PortTurn_AcquireForASlice(&stLock.stBeside) && JoinBeside();
}

/** With stBeside taken: joins the push, unless it is over. */
bool CPortLock::JoinBeside() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
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
    PortTurn_Leave(&stLock.stBeside);
}

void CPortLock::LeaveLocked() {
    PORT_LOCK_S &stLock = gastSdkMutexLockArray[m_ulPort];
    if (m_enCall == PORT_CALL_PUSH) {
        EndPush(stLock);
    }
    m_oCloser.reset();
    PortTurn_Leave(&stLock.stApi);
    if (m_enCall == PORT_CALL_CLOSE) {
        PortLock_LowerClosing(m_ulPort);
    }
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
