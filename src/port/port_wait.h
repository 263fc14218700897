/**
 * @file port_wait.h
 * @brief Who waits for whom: locks that know their owner, and the search for a chain of waits that leads back.
 *
 * Only threads that are inside something (port/port_thread.h) can be part of such a chain, since a thread that holds
 * nothing is waited for by nobody. They are on one list while they wait; it lies on their stacks.
 */
#ifndef ZELVANE_PORT_PORT_WAIT_H
#define ZELVANE_PORT_PORT_WAIT_H

#include "foundations/wake.h"
#include "port/port_thread.h"

/** A lock in two words. All-zero is free. Waits are measured by the monotonic clock. */
typedef struct tagPortTurnS {
    const void *pOwner; /**< names the thread that holds it, or null; a word */
    WAKE_S stWake;
} PORT_TURN_S;

bool PortTurn_Try(PORT_TURN_S *pstTurn);
void PortTurn_Take(PORT_TURN_S *pstTurn);
/** Waits two milliseconds at most. */
bool PortTurn_AcquireForASlice(PORT_TURN_S *pstTurn);
void PortTurn_Leave(PORT_TURN_S *pstTurn);

/** The calling thread as one that waits, in words of what has to happen before it goes on. */
class CPortWaiter {
 public:
    enum WAIT_E {
        WAIT_LOCK,     /**< the owner of a lock leaves it */
        WAIT_PIPELINE, /**< the pipeline threads of a port go on; nobody closes it */
        WAIT_CLOSE     /**< all that is inside of a port ends: only who closes in turn doesn't give up by itself */
    };

    /** @param pstInside what the thread is inside of, less the call that waits */
    CPortWaiter(const PORT_TURN_S *pstWants, const PORT_INSIDE_S *pstInside);
    CPortWaiter(WAIT_E enWhat, ULONG_32 ulPort, const PORT_INSIDE_S *pstInside);
    ~CPortWaiter();
    CPortWaiter(const CPortWaiter &) = delete;
    CPortWaiter &operator=(const CPortWaiter &) = delete;

    /** Whether whom it waits for waits for it in the end; it counts as a waiter no longer then. */
    bool LeadsBack();

 private:
    void Enlist();
    void Unlist();
    bool WaitsFor(const CPortWaiter &oOther) const;

    const void *m_pThread;
    WAIT_E m_enWhat;
    const PORT_TURN_S *m_pstWants;
    ULONG_32 m_ulPort;
    const PORT_INSIDE_S *m_pstInside;
    CPortWaiter *m_poNext = nullptr;
    bool m_bListed = false;
    bool m_bReached = false;  /**< by the search at hand */
    bool m_bSearched = false; /**< and gone on from */
};

#endif
