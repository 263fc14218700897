/**
 * @file snapshot.h
 * @brief Snapshots of a port's picture. They need no API lock.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_RECORD_SNAPSHOT_H
#define ZELVANE_RECORD_SNAPSHOT_H

#include "port/player_manager.h"

extern "C" {

/** Saves the port's picture; ulPicFormat is a tagPlayerPicFormateE. One at a time for a port. */
MODULE_API ULONG_32 Player_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** The same, or with bAsync 1 in a thread of its own that reports the result as run message 545. */
MODULE_API ULONG_32 Player_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync);
/** The work of Player_SnatchOnce(), under its lock; cuts the extension of pcFileName in place. */
MODULE_API ULONG_32 Player_NormalSnatchOnce(ULONG_32 ulPort, CHAR *pcFileName, ULONG_32 ulPicFormat);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_FisheyeSnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_PtzSnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat);
/** The thread of an asynchronous snapshot; pParam is the port. */
MODULE_API void *__SnatchThreadEntry(void *pParam);
}

#endif
