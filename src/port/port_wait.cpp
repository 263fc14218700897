#include "port/port_wait.h"

#include "foundations/guards.h"

namespace {

const ULONG_32 SLICE_MS = 2;
const ULONG_32 LONG_WAIT_MS = 1000;  // a safety limit: a wait ends by its wake

thread_local char gtlName; /**< its address names the thread */

/** Guards the list; held for a search of it at most, and nothing is logged under it. */
QLOM_SDK_MUTEX_S gstWaitersMutex = PTHREAD_MUTEX_INITIALIZER;
CPortWaiter *gpoWaiters = nullptr;

const void *OwnerOf(const PORT_TURN_S *pstTurn) { return __atomic_load_n(&pstTurn->pOwner, __ATOMIC_SEQ_CST); }

}  // namespace

bool PortTurn_Try(PORT_TURN_S *pstTurn) {
    const void *pNobody = nullptr;
    return __atomic_compare_exchange_n(&pstTurn->pOwner, &pNobody, &gtlName, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

void PortTurn_Take(PORT_TURN_S *pstTurn) {
    for (;;) {
        const ULONG_32 ulTicket = Wake_Ticket(&pstTurn->stWake);
        if (PortTurn_Try(pstTurn)) {
            return;
        }
        Wake_Wait(&pstTurn->stWake, ulTicket, LONG_WAIT_MS);
    }
}

bool PortTurn_AcquireForASlice(PORT_TURN_S *pstTurn) {
    const ULONG_32 ulTicket = Wake_Ticket(&pstTurn->stWake);
    if (PortTurn_Try(pstTurn)) {
        return true;
    }
    Wake_Wait(&pstTurn->stWake, ulTicket, SLICE_MS);
    return PortTurn_Try(pstTurn);
}

void PortTurn_Leave(PORT_TURN_S *pstTurn) {
    __atomic_store_n(&pstTurn->pOwner, nullptr, __ATOMIC_SEQ_CST);
    Wake_Signal(&pstTurn->stWake);
}

CPortWaiter::CPortWaiter(const PORT_TURN_S *pstWants, const PORT_INSIDE_S *pstInside)
    : m_pThread(&gtlName), m_enWhat(WAIT_LOCK), m_pstWants(pstWants), m_ulPort(0), m_pstInside(pstInside) {
    Enlist();
}

CPortWaiter::CPortWaiter(WAIT_E enWhat, ULONG_32 ulPort, const PORT_INSIDE_S *pstInside)
    : m_pThread(&gtlName), m_enWhat(enWhat), m_pstWants(nullptr), m_ulPort(ulPort), m_pstInside(pstInside) {
    Enlist();
}

CPortWaiter::~CPortWaiter() {
    const CMutexGuard oGuard(&gstWaitersMutex);
    Unlist();
}

void CPortWaiter::Enlist() {
    const CMutexGuard oGuard(&gstWaitersMutex);
    m_poNext = gpoWaiters;
    gpoWaiters = this;
    m_bListed = true;
}

void CPortWaiter::Unlist() {
    if (!m_bListed) {
        return;
    }
    CPortWaiter **ppoLink = &gpoWaiters;
    while (*ppoLink != this) {
        ppoLink = &(*ppoLink)->m_poNext;
    }
    *ppoLink = m_poNext;
    m_bListed = false;
}

bool CPortWaiter::WaitsFor(const CPortWaiter &oOther) const {
    switch (m_enWhat) {
        case WAIT_LOCK:
            return OwnerOf(m_pstWants) == oOther.m_pThread;
        case WAIT_PIPELINE:
            return PortInside_IsPipeline(oOther.m_pstInside, m_ulPort);
        default:
            return oOther.m_enWhat == WAIT_CLOSE && PortInside_Has(oOther.m_pstInside, m_ulPort);
    }
}

/** Marks whom this one waits for, whom those wait for, and so on, until it is marked itself or there is nobody new. */
bool CPortWaiter::LeadsBack() {
    const CMutexGuard oGuard(&gstWaitersMutex);
    for (CPortWaiter *po = gpoWaiters; po != nullptr; po = po->m_poNext) {
        po->m_bReached = WaitsFor(*po);
        po->m_bSearched = false;
    }
    for (CPortWaiter *po = gpoWaiters; po != nullptr && !m_bReached;) {
        if (!po->m_bReached || po->m_bSearched) {
            po = po->m_poNext;
            continue;
        }
        po->m_bSearched = true;
        for (CPortWaiter *poOther = gpoWaiters; poOther != nullptr; poOther = poOther->m_poNext) {
            poOther->m_bReached = poOther->m_bReached || po->WaitsFor(*poOther);
        }
        po = gpoWaiters;
    }
    if (m_bReached) {
        Unlist();  // so that of all in the circle one gives up, not each
    }
    return m_bReached;
}
