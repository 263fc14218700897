/**
 * @file voice.h
 * @brief Voice services.
 */
#ifndef ZELVANE_SOURCE_VOICE_H
#define ZELVANE_SOURCE_VOICE_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_CloseVoiceSvc(ULONG_32 ulPort);
/** Empties the table of the broadcast service. */
MODULE_API void Player_BroadcastInit(void);
}

#endif
