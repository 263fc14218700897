#include "port/port_hold.h"

#include "foundations/wake.h"

namespace {

const ULONG_32 LONG_WAIT_MS = 1000;  // a safety limit: the wait ends by its wake

/** Static, and never destroyed: a late caller finds a count. A cache line each, since getters are called at a rate. */
struct alignas(64) PORT_HOLDS_S {
    ULONG_32 ulCount;   /**< threads inside; atomic */
    ULONG_32 ulAwaited; /**< threads that wait for fewer; atomic */
    WAKE_S stWake;
};

PORT_HOLDS_S gastHolds[PLAYER_MAX_PORT_NUM];

/** How often the calling thread itself is counted. */
ULONG_32 OwnHolds(ULONG_32 ulPort) {
    ULONG_32 ulOwn = 0;
    for (const PORT_INSIDE_S *pst = PortThread_Innermost(); pst != nullptr; pst = pst->pstOuter) {
        ulOwn += pst->ulPort == ulPort && (pst->enHow == PORT_INSIDE_LOCKED || pst->enHow == PORT_INSIDE_BESIDE ||
                                           pst->enHow == PORT_INSIDE_HOLD);
    }
    return ulOwn;
}

}  // namespace

CPortHold::CPortHold(ULONG_32 ulPort) : m_pstPort(nullptr) {
    if (ulPort >= PLAYER_MAX_PORT_NUM) {
        return;
    }
    PortHold_Add(ulPort);
    m_pstPort = Player_GetPort(ulPort);
    if (m_pstPort == nullptr) {
        PortHold_Drop(ulPort);
        return;
    }
    PortThread_Push(&m_stInside, ulPort, PORT_INSIDE_HOLD);
}

CPortHold::~CPortHold() {
    if (m_pstPort != nullptr) {
        PortThread_Pop(&m_stInside);
        PortHold_Drop(m_stInside.ulPort);
    }
}

// Sequentially consistent on both sides: either the one who frees sees the count, or the caller an empty table.
void PortHold_Add(ULONG_32 ulPort) { __atomic_add_fetch(&gastHolds[ulPort].ulCount, 1, __ATOMIC_SEQ_CST); }

void PortHold_Drop(ULONG_32 ulPort) {
    PORT_HOLDS_S &stHolds = gastHolds[ulPort];
    __atomic_sub_fetch(&stHolds.ulCount, 1, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&stHolds.ulAwaited, __ATOMIC_SEQ_CST) != 0) {
        Wake_Signal(&stHolds.stWake);
    }
}

void PortHold_WaitAlone(ULONG_32 ulPort) {
    PORT_HOLDS_S &stHolds = gastHolds[ulPort];
    const ULONG_32 ulOwn = OwnHolds(ulPort);
    PortLock_RaiseClosing(ulPort);
    __atomic_add_fetch(&stHolds.ulAwaited, 1, __ATOMIC_SEQ_CST);
    for (;;) {
        const ULONG_32 ulTicket = Wake_Ticket(&stHolds.stWake);
        if (__atomic_load_n(&stHolds.ulCount, __ATOMIC_SEQ_CST) <= ulOwn) {
            break;
        }
        Wake_Wait(&stHolds.stWake, ulTicket, LONG_WAIT_MS);
    }
    __atomic_sub_fetch(&stHolds.ulAwaited, 1, __ATOMIC_SEQ_CST);
    PortLock_LowerClosing(ulPort);
}
