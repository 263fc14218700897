/**
 * @file payload_table.h
 * @brief A port's table of RTP payload types of the client's own.
 */
#ifndef ZELVANE_PORT_PAYLOAD_TABLE_H
#define ZELVANE_PORT_PAYLOAD_TABLE_H

#include "port/player_manager.h"

/** Releases the tables that were replaced while the port's threads could still read them. */
void PayloadTable_FreeRetired(PLAEYR_PORT_S *pstPort);

#endif
