/**
 * @file voice_broadcast.h
 * @brief The broadcast service of the library: how many ports take part, and the encoder of those without their own.
 */
#ifndef ZELVANE_SOURCE_VOICE_BROADCAST_H
#define ZELVANE_SOURCE_VOICE_BROADCAST_H

#include "port/player_manager.h"

extern "C" {

/** Counts a port in. @return 0, or PLAYER_ERR_VOICE_BUSY when there are 128: it is not counted then */
MODULE_API ULONG_32 VoiceBroadcast_Enter(const PLAEYR_PORT_S *pstPort);

/**
 * Makes a port that was counted in one of a captured broadcast: the first makes the shared encoder, each later one gets
 * its place in the table, a queue, and the thread that sends from it.
 * @param lPayload what the encoder makes, PLAYER_PAYLOAD_E
 * @return 0 or why not; VoiceBroadcast_Leave() takes back what was made
 */
MODULE_API ULONG_32 VoiceBroadcast_Join(PLAEYR_PORT_S *pstPort, LONG_32 lPayload);

/** Ends thread and queue, gives the place back, and counts the port out; the last one frees the shared encoder. */
MODULE_API void VoiceBroadcast_Leave(PLAEYR_PORT_S *pstPort);

/** Ends the port's broadcast thread, if it has one: before its connection goes. */
MODULE_API void VoiceBroadcast_StopThread(PLAEYR_PORT_S *pstPort);
}

#endif
