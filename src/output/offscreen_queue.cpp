#include "output/offscreen_queue.h"

#include <cstdlib>
#include <cstring>

#include "output/videodisplay.h"

ULONG_32 QUEUE_InitOffScreenBufferQueue(HANDLE, OFF_SCREEN_QUEUE_S *, ULONG_32) { return PLAYER_ERR_NOT_IMPLEMENTED; }

ULONG_32 QUEUE_AddOffScreenData(HANDLE, CODE_DECODED_DATA_S *, BOOL_T, OFF_SCREEN_QUEUE_S *, BOOL_T) {
    return PLAYER_ERR_NOT_IMPLEMENTED;
}

ULONG_32 QUEUE_GetOffScreenData(OFF_SCREEN_QUEUE_S *, OFF_SCREEN_NODE_S **) { return PLAYER_ERR_NOT_IMPLEMENTED; }

void QUEUE_CleanupOffScreenBufferQueue(OFF_SCREEN_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr) {
        return;
    }
    OFF_SCREEN_NODE_S *pstFirst = pstQueue->pstWriteIndex;
    for (OFF_SCREEN_NODE_S *pstNode = pstFirst; pstNode != nullptr;) {
        OFF_SCREEN_NODE_S *pstNext = pstNode->pstNext;
        Video_CloseOffScreen(pstNode->lpOffScreen);
        free(pstNode);
        pstNode = pstNext == pstFirst ? nullptr : pstNext;
    }
    memset(pstQueue, 0, sizeof(*pstQueue));  // the mutex too: nobody has made it
}
