/**
 * @file source_kind.h
 * @brief What a port can play: one row of functions a kind.
 */
#ifndef ZELVANE_SOURCE_SOURCE_KIND_H
#define ZELVANE_SOURCE_SOURCE_KIND_H

#include "port/player_manager.h"

/**
 * One kind of source. Each opens by a call of its own, with its own arguments, and all are woken alike, by
 * Port_WakeAll().
 */
struct SOURCE_KIND_S {
    ULONG_32 (*pfnClose)(ULONG_32 ulPort); /**< null: nothing to close */
    /** Position for the client, seconds, or an error where there is none. */
    ULONG_32 (*pfnPlayTime)(PLAEYR_PORT_S *pstPort, ULONG_32 *pulPlayTime);
    ULONG_32 ulSpeeds; /**< PLAYER_PLAY_SPEED_E from this on are refused as not supported */
    bool bPauses;      /**< takes Player_PausePlay() */
};

/** Row of a PORT_USED_TYPE_E. */
const SOURCE_KIND_S &SourceKind_Of(const PORT_SOURCE_S *pstSource);

#endif
