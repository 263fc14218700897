/**
 * @file sp_mark.h
 * @brief Finds the mark of SP frames: frames other than key frames that refer to key frames alone, so that a player may
 * show them without what lies in between.
 */
#ifndef ZELVANE_BITS_SP_MARK_H
#define ZELVANE_BITS_SP_MARK_H

#include <cstddef>

#include "player_public.h"

/** What the first units of a frame say. */
enum class SpVerdict {
    kUndecided,      /**< nothing: there is no slice among them */
    kSp,             /**< the mark: H.264 bytes 06 21, H.265 bytes 4E 01 E6, behind a start code */
    kPlain,          /**< a slice came first */
    kUnknownPayload, /**< neither H.264 nor H.265 */
};

/**
 * Looks through a frame up to the unit that settles what it is.
 * @param lPayload PLAYER_PAYLOAD_E
 * @param pucFrame byte stream (Annex B)
 */
SpVerdict SpMark_Scan(LONG_32 lPayload, const UCHAR *pucFrame, size_t ulLen);

#endif
