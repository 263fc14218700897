/**
 * @file free_port.h
 * @brief The end of a port, whatever it plays and records.
 */
#ifndef ZELVANE_SOURCE_FREE_PORT_H
#define ZELVANE_SOURCE_FREE_PORT_H

#include "port/player_manager.h"

/** Stops what runs beside a source: recording, sound and window. */
void Source_StopOutputs(PLAEYR_PORT_S *pstPort);

extern "C" {

/** Closes the port's source and releases the record; nothing for a free number. PLAYER_ERR_FAILED on its own
 *  threads, and for the helper port of a recording, which goes with the recording. */
MODULE_API ULONG_32 Player_FreePort(ULONG_32 ulPort);
}

#endif
