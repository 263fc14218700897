/**
 * @file payload_table.h
 * @brief What a client says of a port's RTP payload types and of its AAC.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PORT_PAYLOAD_TABLE_H
#define ZELVANE_PORT_PAYLOAD_TABLE_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType);
MODULE_API ULONG_32 Player_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo);
}

#endif
