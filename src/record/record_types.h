/**
 * @file record_types.h
 * @brief Records of recordings and snapshots that a port holds.
 */
#ifndef ZELVANE_RECORD_RECORD_TYPES_H
#define ZELVANE_RECORD_RECORD_TYPES_H

#include "foundations/player_types.h"

/** Payload bytes of a slot of the record ring. */
inline constexpr ULONG_32 RECORD_RING_SLOT = 2048;

/** Parameter sets of a recording's H.264 stream. */
typedef struct tagMp4SpsPpsInfoS {
    UCHAR szSps[512]; /**< SPS without its header byte */
    LONG_32 lSpsLen;  /**< its bytes */
    UCHAR szPps[128]; /**< PPS without its header byte */
    LONG_32 lPpsLen;  /**< its bytes */
} MP4_SPS_PPS_INFO;

/** Asynchronous snapshot of a port. */
typedef struct tagPlayerSnatchInfoS {
    CHAR pcFileName[PLAYER_FILE_NAME_LEN]; /**< target */
    ULONG_32 ulPicFormat;                  /**< picture format */
    BOOL_T bSnatchFinish;                  /**< 1 when none is running */
    QLOM_SDK_MUTEX_S stMutex;              /**< one snapshot of a port at a time; taken before a picture's stLock */
} PLAYER_SNATCH_INFO_S;

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
