/**
 * @file port_thread.h
 * @brief What the calling thread is inside of: the port whose thread it is, and the calls and callbacks it came
 * through.
 *
 * A thread that is inside something is waited for: by whoever closes the port, by whoever wants the lock that it holds.
 * So it never waits for a lock without looking, again and again, whether it had better give up (PortThread_MustGiveUp).
 */
#ifndef ZELVANE_PORT_PORT_THREAD_H
#define ZELVANE_PORT_PORT_THREAD_H

#include "port/player_manager.h"

/** How a thread is inside of a port. */
typedef enum tagPortInsideE {
    PORT_INSIDE_CALL = 0, /**< in a call that holds nothing: it waits, was refused, or runs inside another one */
    PORT_INSIDE_LOCKED,   /**< in a call that holds the port's lock */
    PORT_INSIDE_BESIDE,   /**< in a call that goes on beside a push */
    PORT_INSIDE_HOLD,     /**< in a call that needs no lock but the record */
    PORT_INSIDE_TAP,      /**< in the source callback of a push */
    PORT_INSIDE_PIPELINE  /**< it is one of the port's own threads; always the outermost */
} PORT_INSIDE_E;

/** One thing that the thread is inside of; lies on the thread's stack as long as it is. */
typedef struct tagPortInsideS {
    ULONG_32 ulPort;
    PORT_INSIDE_E enHow;
    const BOOL_T *pbRun; /**< the run flag of a pipeline thread, or null */
    const struct tagPortInsideS *pstOuter;
} PORT_INSIDE_S;

/** Enters; leaving is in the reverse order. */
void PortThread_Push(PORT_INSIDE_S *pstInside, ULONG_32 ulPort, PORT_INSIDE_E enHow);
void PortThread_Pop(const PORT_INSIDE_S *pstInside);

/** The innermost, or null. */
const PORT_INSIDE_S *PortThread_Innermost();

/**
 * Makes the calling thread one of the port's pipeline threads; first thing in a thread's entry.
 * @param pbRun the thread's run flag: whoever clears it waits for the thread. Null for a thread that only a close ends.
 */
void PortThread_Begin(const PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun);

/** Whether the innermost call on the port came out of the port itself: its thread, its callback, another call on it. */
bool PortThread_IsOwn(ULONG_32 ulPort);

/** Whether the calling thread is inside anything, of any port. */
bool PortThread_IsAny();

/** Whether any of these is inside of the port. */
bool PortInside_Has(const PORT_INSIDE_S *pstInside, ULONG_32 ulPort);

/** Whether the thread belongs to the port's pipeline. */
bool PortInside_IsPipeline(const PORT_INSIDE_S *pstInside, ULONG_32 ulPort);

/** Whether somebody waits for one of these: a port that closes, a pipeline thread whose run flag fell. */
bool PortInside_MustGiveUp(const PORT_INSIDE_S *pstInside);

/** The same for all that the calling thread is inside of: whoever waits inside a call is to give up. */
bool PortThread_MustGiveUp();

/** Marks the calling thread as inside the port's source callback, which may push to other ports. */
class CSourceCallbackMark {
 public:
    explicit CSourceCallbackMark(ULONG_32 ulPort) { PortThread_Push(&m_stInside, ulPort, PORT_INSIDE_TAP); }
    ~CSourceCallbackMark() { PortThread_Pop(&m_stInside); }
    CSourceCallbackMark(const CSourceCallbackMark &) = delete;
    CSourceCallbackMark &operator=(const CSourceCallbackMark &) = delete;

 private:
    PORT_INSIDE_S m_stInside;
};

/** Whether a close of this port number is under way: whoever waits inside a call is to give up. */
bool PortLock_IsClosing(ULONG_32 ulPort);

/** Says that a close begins, and wakes what waits; and that it is over. They nest. */
void PortLock_RaiseClosing(ULONG_32 ulPort);
void PortLock_LowerClosing(ULONG_32 ulPort);

#endif
