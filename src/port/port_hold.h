/**
 * @file port_hold.h
 * @brief Who uses a port's record at the moment, counted by port number, so that none is freed under a caller.
 *
 * A call is counted before it looks into the table. Freeing takes the record out of the table and then waits until
 * nobody else is counted. No thread is counted while it waits for an API lock, since the one who frees holds it.
 */
#ifndef ZELVANE_PORT_PORT_HOLD_H
#define ZELVANE_PORT_PORT_HOLD_H

#include "port/port_thread.h"

/** Keeps a port's record from being freed, for a call that takes no API lock. */
class CPortHold {
 public:
    explicit CPortHold(ULONG_32 ulPort);
    ~CPortHold();
    CPortHold(const CPortHold &) = delete;
    CPortHold &operator=(const CPortHold &) = delete;

    /** The record, or null when there is no such port. */
    PLAEYR_PORT_S *Port() const { return m_pstPort; }

 private:
    PLAEYR_PORT_S *m_pstPort;
    PORT_INSIDE_S m_stInside;
};

/** Counts the calling thread in and out. */
void PortHold_Add(ULONG_32 ulPort);
void PortHold_Drop(ULONG_32 ulPort);

/** Waits until the calling thread alone is counted. The port must be out of the table; it counts as closing meanwhile.
 */
void PortHold_WaitAlone(ULONG_32 ulPort);

#endif
