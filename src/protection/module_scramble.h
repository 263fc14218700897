/**
 * @file module_scramble.h
 * @brief Key of a scrambled stream: made from a master key and the stream's random number, used on each frame.
 */
#ifndef ZELVANE_PROTECTION_MODULE_SCRAMBLE_H
#define ZELVANE_PROTECTION_MODULE_SCRAMBLE_H

#include "protection/drv_desramble.h"

extern "C" {

/**
 * Derives a key.
 * @param ulPort port, for the log
 * @param pcKeyM master key, 4 bytes
 * @param ulRand random number of the stream
 * @return the key, for SCRAMBLE_FreeKey(); null for a null pointer or without memory
 */
MODULE_API HANDLE SCRAMBLE_CreateKey(ULONG_32 ulPort, UCHAR *pcKeyM, ULONG_32 ulRand);

/** Wipes and releases a key and nulls the handle; accepts null. */
MODULE_API void SCRAMBLE_FreeKey(HANDLE *phKey);

/**
 * Restores one frame in place.
 * @param hKey         from SCRAMBLE_CreateKey(); its record is written to, so one thread at a time
 * @param lPayload     PLAYER_PAYLOAD_H264; anything else counts as H.265
 * @param lFormatType  PLAYER_VIDEO_FRAME_I; anything else counts as a P frame
 * @param pulStreamLen in: bytes of the frame; out: bytes left of it
 * @return 0; PLAYER_ERR_PARAM (2) without a key or when the frame could not be restored, and then it is as it was
 */
MODULE_API ULONG_32 SCRAMBLE_Descramble(HANDLE hKey, LONG_32 lPayload, LONG_32 lFormatType, UCHAR *pucInbuf,
                                        ULONG_32 *pulStreamLen);

}  // extern "C"

#endif
