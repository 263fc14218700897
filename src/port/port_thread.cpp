#include "port/port_thread.h"

#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"

namespace {

ULONG_32 gaulClosing[PLAYER_MAX_PORT_NUM]; /**< closes under way, by port */
thread_local const PORT_INSIDE_S *gtlInnermost = nullptr;
thread_local PORT_INSIDE_S gtlPipeline;

/** Wakes the port's waits, and ends a watermark check, while the table keeps the record from being freed. */
void WakePort(ULONG_32 ulPort) {
    const CMutexGuard oGuard(&gstPortMutexLock);
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort != nullptr) {
        word::Store(pstPort->bStartCkeckMark, 0);
        Port_WakeAll(pstPort);
    }
}

bool IsAwaited(const PORT_INSIDE_S &stInside) {
    return PortLock_IsClosing(stInside.ulPort) || (stInside.pbRun != nullptr && word::Load(*stInside.pbRun) == 0);
}

}  // namespace

void PortThread_Push(PORT_INSIDE_S *pstInside, ULONG_32 ulPort, PORT_INSIDE_E enHow) {
    *pstInside = {ulPort, enHow, nullptr, gtlInnermost};
    gtlInnermost = pstInside;
}

void PortThread_Pop(const PORT_INSIDE_S *pstInside) { gtlInnermost = pstInside->pstOuter; }

const PORT_INSIDE_S *PortThread_Innermost() { return gtlInnermost; }

void PortThread_Begin(const PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun) {
    gtlPipeline = {pstPort->ulPort, PORT_INSIDE_PIPELINE, pbRun, nullptr};
    gtlInnermost = &gtlPipeline;
}

bool PortThread_IsOwn(ULONG_32 ulPort) {
    ULONG_32 ulCalls = 0;
    for (const PORT_INSIDE_S *pstInside = gtlInnermost; pstInside != nullptr; pstInside = pstInside->pstOuter) {
        if (pstInside->ulPort != ulPort) {
            continue;
        }
        if (pstInside->enHow == PORT_INSIDE_PIPELINE || pstInside->enHow == PORT_INSIDE_TAP || ulCalls++ != 0) {
            return true;
        }
    }
    return false;
}

bool PortThread_IsAny() { return gtlInnermost != nullptr; }

bool PortInside_Has(const PORT_INSIDE_S *pstInside, ULONG_32 ulPort) {
    while (pstInside != nullptr && pstInside->ulPort != ulPort) {
        pstInside = pstInside->pstOuter;
    }
    return pstInside != nullptr;
}

bool PortInside_IsPipeline(const PORT_INSIDE_S *pstInside, ULONG_32 ulPort) {
    while (pstInside != nullptr && (pstInside->ulPort != ulPort || pstInside->enHow != PORT_INSIDE_PIPELINE)) {
        pstInside = pstInside->pstOuter;
    }
    return pstInside != nullptr;
}

bool PortInside_MustGiveUp(const PORT_INSIDE_S *pstInside) {
    while (pstInside != nullptr && !IsAwaited(*pstInside)) {
        pstInside = pstInside->pstOuter;
    }
    return pstInside != nullptr;
}

bool PortThread_MustGiveUp() { return PortInside_MustGiveUp(gtlInnermost); }

bool PortLock_IsClosing(ULONG_32 ulPort) {
    return ulPort < PLAYER_MAX_PORT_NUM && word::Load(gaulClosing[ulPort]) != 0;
}

void PortLock_RaiseClosing(ULONG_32 ulPort) {
    word::Add(gaulClosing[ulPort], 1);
    WakePort(ulPort);
}

void PortLock_LowerClosing(ULONG_32 ulPort) { word::Sub(gaulClosing[ulPort], 1); }
