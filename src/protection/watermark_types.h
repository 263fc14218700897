/**
 * @file watermark_types.h
 * @brief Watermark check that a port holds.
 */
#ifndef ZELVANE_PROTECTION_WATERMARK_TYPES_H
#define ZELVANE_PROTECTION_WATERMARK_TYPES_H

#include "foundations/player_types.h"

/** Watermark check of a port. */
typedef struct tagPortMarkInfoS {
    CHAR szMark[256];        /**< mark half of the last message */
    CHAR szInfo[256];        /**< working copy of the clear half */
    CHAR szSrcInfo[256];     /**< clear half as received */
    ULONG ulKeyFrameCount;   /**< key frames seen */
    BOOL_T bGetMark;         /**< a mark waits for its key frame */
    ULONG ulState;           /**< result of the last frame */
    ULONG ulWaterMarkLen;    /**< length of each half */
    BOOL_T bHaveWaterMark;   /**< a key frame passed */
} PORT_MARK_INFO_S;

#endif
