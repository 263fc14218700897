/**
 * @file offscreen_queue.h
 * @brief The off-screen queue: no display of this version has off-screen surfaces.
 */
#ifndef ZELVANE_OUTPUT_OFFSCREEN_QUEUE_H
#define ZELVANE_OUTPUT_OFFSCREEN_QUEUE_H

#include "queue/module_queue.h"

extern "C" {

/** @return 531: no display of this version has off-screen surfaces */
MODULE_API ULONG_32 QUEUE_InitOffScreenBufferQueue(HANDLE hDisplayDec, OFF_SCREEN_QUEUE_S *pstQueue, ULONG_32 ulBufNum);

/** @return 531 */
MODULE_API ULONG_32 QUEUE_AddOffScreenData(HANDLE hDisplayDec, CODE_DECODED_DATA_S *pstSrcData, BOOL_T bFullDiscard,
                                           OFF_SCREEN_QUEUE_S *pstQueue, BOOL_T bCompression);

/** @return 531 */
MODULE_API ULONG_32 QUEUE_GetOffScreenData(OFF_SCREEN_QUEUE_S *pstQueue, OFF_SCREEN_NODE_S **ppstNode);

/** Closes and frees what nodes there are and clears the record. Called by every close; null is fine. */
MODULE_API void QUEUE_CleanupOffScreenBufferQueue(OFF_SCREEN_QUEUE_S *pstQueue);
}

#endif
