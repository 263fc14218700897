/**
 * @file watermark.h
 * @brief Tests the watermark of a recording's key frames.
 *
 * Ahead of a key frame stands a message with two halves of the same length: a clear text, and the mark, which is that
 * text XORed with bytes sampled from the key frame. So a change to any sampled byte, to text or mark is found out.
 */
#ifndef ZELVANE_PROTECTION_WATERMARK_H
#define ZELVANE_PROTECTION_WATERMARK_H

#include "foundations/player_types.h"

/** Watermark check of a port. */
typedef struct tagPortMarkInfoS {
    CHAR szMark[256];      /**< mark half of the last message */
    CHAR szInfo[256];      /**< working copy of the clear half; the test XORs it in place */
    CHAR szSrcInfo[256];   /**< clear half as received */
    ULONG ulKeyFrameCount; /**< key frames seen */
    BOOL_T bGetMark;       /**< a mark waits for its key frame */
    ULONG ulState;         /**< PLAYER_CHECK_STATE_E of the last frame */
    ULONG ulWaterMarkLen;  /**< length of each half, 256 at most */
    BOOL_T bHaveWaterMark; /**< at least one key frame passed */
} PORT_MARK_INFO_S;

/**
 * Takes up the marks of a frame and tests a key frame. Emulation prevention bytes in a mark are removed in the frame's
 * own buffer.
 * @param pstFrame frame
 * @param ulRoom   bytes of its buffer: what lies behind the frame may be sampled
 * @param pstMark  state from frame to frame
 * @return 0, with the result in ulState; PLAYER_ERR_FAILED (1) for a frame without data
 */
ULONG_32 Watermark_CheckFrame(const PLAYER_FRAMEDATA_S *pstFrame, ULONG ulRoom, PORT_MARK_INFO_S *pstMark);

#endif
