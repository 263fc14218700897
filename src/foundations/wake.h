/**
 * @file wake.h
 * @brief How a thread of a port sleeps until something happens: an event count on one word.
 *
 * A waiter takes a ticket, looks at its condition, and sleeps only if no signal came since the ticket. A signal with
 * nobody asleep costs one atomic addition. All-zero is a valid, idle record, and there is nothing to destroy.
 *
 *     ULONG_32 ulTicket = Wake_Ticket(&stWake);
 *     if (!ready()) Wake_Wait(&stWake, ulTicket, 1000);
 */
#ifndef ZELVANE_FOUNDATIONS_WAKE_H
#define ZELVANE_FOUNDATIONS_WAKE_H

#include "player_public.h"

/** Shared by every waiter and signaller; both words are reached atomically only. */
typedef struct tagWakeS {
    ULONG_32 ulCount;   /**< signals so far */
    ULONG_32 ulWaiters; /**< threads asleep or about to be */
} WAKE_S;

/** Takes a ticket; to be called before the condition is looked at. */
ULONG_32 Wake_Ticket(const WAKE_S *pstWake);

/** Sleeps until a signal that came after the ticket, or for ulMSeconds. True if there was a signal. */
bool Wake_Wait(WAKE_S *pstWake, ULONG_32 ulTicket, ULONG_32 ulMSeconds);

/** Wakes every waiter. Callable from any thread. */
void Wake_Signal(WAKE_S *pstWake);

/**
 * The same for one thread that sleeps on a descriptor: it polls this one beside it. A signal stays until it is taken.
 * All-zero is a valid record without a descriptor, on which every call but WakeFd_Open() does nothing.
 */
typedef struct tagWakeFdS {
    LONG_32 lHandle; /**< descriptor + 1; 0 when there is none */
} WAKE_FD_S;

/** Makes the descriptor; false if the system has none left. */
bool WakeFd_Open(WAKE_FD_S *pstWake);

/** Closes it. No other thread may be about to signal. */
void WakeFd_Close(WAKE_FD_S *pstWake);

/** Makes the descriptor readable. Never blocks. */
void WakeFd_Signal(const WAKE_FD_S *pstWake);

/** Takes the signals that came so far. */
void WakeFd_Take(const WAKE_FD_S *pstWake);

/** What to poll for input; -1 when there is none. */
inline LONG_32 WakeFd_Descriptor(const WAKE_FD_S *pstWake) { return pstWake->lHandle - 1; }

#endif
