/**
 * @file port_lock.h
 * @brief The API lock of a port, and what the calling thread is to it.
 *
 * One lock per port number makes the client's calls on a port take turns. Only the exported wrappers take it. Three
 * rules keep callbacks from waiting for themselves:
 *
 * - A call inside the source callback of a push runs on the thread that holds the lock already: it goes on without.
 * - A call from a pipeline callback waits for the lock only while nobody closes the port or ends that thread alone,
 * since either waits for that very thread. It is turned away then.
 * - A push that waits for room in the ring holds the lock while it waits for the decode thread. A call from a pipeline
 *   callback then goes on beside it, since a push touches nothing but the ring.
 */
#ifndef ZELVANE_PORT_PORT_LOCK_H
#define ZELVANE_PORT_PORT_LOCK_H

#include "port/player_manager.h"

/** What a call does with the lock. */
typedef enum tagPortCallE {
    PORT_CALL_NORMAL = 0, /**< takes it */
    PORT_CALL_PUSH = 1,   /**< takes it, and may wait for the decode thread */
    PORT_CALL_CLOSE = 2   /**< announces itself, takes it, and joins threads */
} PORT_CALL_E;

/** Holds a port's API lock for the length of an exported call. */
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

    static bool HeldByThisThread(ULONG_32 ulPort);
    STATE_E EnterFromClient();
    STATE_E EnterFromPipeline();
    bool TryBeside();
    void LeaveBeside();

    ULONG_32 m_ulPort;
    PORT_CALL_E m_enCall;
    STATE_E m_enState;
    CPortLock *m_poOuter; /**< the lock that this thread took before */
};

/**
 * Makes the calling thread one of the port's pipeline threads; first thing in a thread's entry.
 * @param pbRun the thread's run flag: once it has fallen the thread's calls on the port are turned away, since whoever
 *              cleared it holds the lock and waits for the thread. Null for a thread that only a close ends.
 */
void PortThread_Begin(const PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun);

/** Whether the calling thread is one of the port's pipeline threads or inside a source callback of it. */
bool PortThread_IsOwn(ULONG_32 ulPort);

/** Whether the calling thread is a pipeline thread, or inside a source callback, of any port. */
bool PortThread_IsAny();

/** Marks the calling thread as inside the port's source callback, which may push to other ports. */
class CSourceCallbackMark {
 public:
    explicit CSourceCallbackMark(ULONG_32 ulPort);
    ~CSourceCallbackMark();
    CSourceCallbackMark(const CSourceCallbackMark &) = delete;
    CSourceCallbackMark &operator=(const CSourceCallbackMark &) = delete;

    static bool IsInside(ULONG_32 ulPort);

 private:
    ULONG_32 m_ulPort;
    const CSourceCallbackMark *m_poOuter;
};

/** Whether a close of this port number is under way: whoever waits inside a call is to give up. */
bool PortLock_IsClosing(ULONG_32 ulPort);

/** Cuts short every wait of the port's threads and of pushes to it. */
void Port_WakeAll(PLAEYR_PORT_S *pstPort);

/** Sleeps while the run flag stays set and the port isn't woken by Port_WakeAll, for the time given. */
void Port_Sleep(PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun, ULONG_32 ulMSeconds);

#endif
