/**
 * @file port_lock.h
 * @brief The API lock of a port.
 *
 * One lock per port number makes the client's calls on a port take turns. Only the exported wrappers take it. These
 * rules keep callbacks from waiting for themselves:
 *
 * - A call inside the source callback of a push runs on the thread that holds the lock already: it goes on with it.
 * - A call from a callback waits for a lock, its own port's or another's, only while nobody waits for the callback: not
 * once a port that it is inside of closes, nor once the run flag of its thread has fallen, nor when whom it waits for
 * waits for it in the end. It is turned away then.
 * - A push that waits for room in the ring holds the lock while it waits for the decode thread. A call from a callback
 * of the port's pipeline then goes on beside it, since a push touches nothing but the ring. So does a call from the
 * push's own source callback, in turn with the others beside it.
 * - A close asked for by a callback is turned away as well when the threads that it would join close, in the end, a
 *   port that the callback is inside of.
 */
#ifndef ZELVANE_PORT_PORT_LOCK_H
#define ZELVANE_PORT_PORT_LOCK_H

#include <optional>

#include "port/port_thread.h"
#include "port/port_wait.h"

/** What a call does with the lock. */
typedef enum tagPortCallE {
    PORT_CALL_NORMAL = 0,  /**< takes it */
    PORT_CALL_PUSH = 1,    /**< takes it, and may wait for the decode thread */
    PORT_CALL_CLOSE = 2,   /**< announces itself, takes it, and joins threads */
    PORT_CALL_UNLOCKED = 3 /**< doesn't: it reads shared words or has a lock of its own, and needs a CPortHold alone */
} PORT_CALL_E;

/** Holds a port's API lock, and its record, for the length of an exported call. */
class CPortLock {
 public:
    CPortLock(ULONG_32 ulPort, PORT_CALL_E enCall);
    ~CPortLock();
    CPortLock(const CPortLock &) = delete;
    CPortLock &operator=(const CPortLock &) = delete;

    /** False when the call is turned away. */
    bool Entered() const { return m_enState != STATE_REFUSED; }

 private:
    enum STATE_E { STATE_REFUSED, STATE_LOCKED, STATE_NESTED, STATE_BESIDE };

    STATE_E Enter();
    STATE_E EnterNested();
    STATE_E EnterFromClient();
    STATE_E EnterFromCallback();
    STATE_E CloseFromCallback();
    bool TryBeside();
    bool JoinBeside();
    void LeaveBeside();
    void LeaveLocked();

    ULONG_32 m_ulPort;
    PORT_CALL_E m_enCall;
    STATE_E m_enState;
    PORT_INSIDE_S m_stInside;
    std::optional<CPortWaiter> m_oCloser; /**< a close that a callback asked for */
};

/** Cuts short every wait of the port's threads and of pushes to it. */
void Port_WakeAll(PLAEYR_PORT_S *pstPort);

/** Sleeps while the run flag stays set and the port isn't woken by Port_WakeAll, for the time given. */
void Port_Sleep(PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun, ULONG_32 ulMSeconds);

#endif
