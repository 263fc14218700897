/**
 * @file port_protection.h
 * @brief A port's slice of protection: descrambling and the watermark check.
 */
#ifndef ZELVANE_PROTECTION_PORT_PROTECTION_H
#define ZELVANE_PROTECTION_PORT_PROTECTION_H

#include "protection/module_scramble.h"
#include "protection/watermark.h"

/** Protection of a port. */
typedef struct tagPortProtectionS {
    /* ---- decode or play thread */
    BOOL_T bScrambleFlag; /**< the stream at hand is scrambled */
    HANDLE hScrambleKey;  /**< its key, a DRV_SCRAMBLE_CFG_S; freed with the port */

    /* ---- the client's thread, inside a watermark check */
    BOOL_T bStartCkeckMark;      /**< the check runs; a word that a cancel clears */
    PORT_MARK_INFO_S stMarkInfo; /**< its state */
} PORT_PROTECTION_S;

#endif
