/**
 * @file module_scramble.h
 * @brief Key of a scrambled stream.
 */
#ifndef ZELVANE_PROTECTION_MODULE_SCRAMBLE_H
#define ZELVANE_PROTECTION_MODULE_SCRAMBLE_H

#include "foundations/player_types.h"

/** A stream's key. */
typedef struct tagScrambleCfg {
    UCHAR ucVersion;       /**< 3 */
    UCHAR ucSubVersion;    /**< 0 */
    UCHAR aucReserved[2];
    UCHAR aucKeyM[4];      /**< master key */
    ULONG_32 ulKey;        /**< derived key */
    ULONG_32 ulRand;       /**< random number of the stream */
    ULONG_32 ulFrameType;  /**< 0 an I frame, 1 a P frame */
    ULONG_32 ulFormat;     /**< 0 H.264, 1 H.265 */
    ULONG_32 ulChannelID;  /**< port, for the log */
} DRV_SCRAMBLE_CFG_S;

extern "C" {
/** Releases a key and nulls the handle; accepts null. */
MODULE_API void SCRAMBLE_FreeKey(HANDLE *phKey);
}

#endif
