/**
 * @file record_head.h
 * @brief What the record ring holds of a file port's frames.
 */
#ifndef ZELVANE_QUEUE_RECORD_HEAD_H
#define ZELVANE_QUEUE_RECORD_HEAD_H

#include "foundations/player_types.h"

/** Payload bytes of a slot of the record ring. */
inline constexpr ULONG_32 RECORD_RING_SLOT = 2048;

/** Head packet that may come before a frame, native byte order, 24 bytes. */
typedef struct tagPlayerRecordHeadS {
    UCHAR aucFlag[4];    /**< "RdHd" */
    LONG_32 lPayload;    /**< PLAYER_PAYLOAD_E of the packet that follows */
    LONG_32 lFormatType; /**< its frame type */
    LONG_32 lPadding;    /**< 0 */
    DULONG dulTimestamp; /**< its timestamp */
} PLAYER_RECORDHEAD_S;
static_assert(sizeof(PLAYER_RECORDHEAD_S) == 24, "the head is a wire format");

#endif
