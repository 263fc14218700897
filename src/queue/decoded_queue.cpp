// The picture queue of module_queue: a circle of nodes between the decode thread and the render thread.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "analytics/module_iva.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "queue/module_queue.h"
#include "queue/queue_inner.h"

namespace {

constexpr size_t PLANE_ALIGN = 64;  // a cache line, and the widest vector
constexpr LONG_32 GREY_WIDTH = 800;
constexpr LONG_32 GREY_HEIGHT = 600;
constexpr int GREY_LUMA = 62;
constexpr int GREY_CHROMA = 128;

// What a node has to hold. dulChroma bytes lie between the starts of U and V; with bOneBlock all planes lie in one
// allocation, otherwise U and V share their own.
struct PlaneNeed {
    LONG_32 alLineSize[3];
    LONG_32 lWidth;
    LONG_32 lHeight;
    DULONG dulLuma;
    DULONG dulChroma;
    bool bOneBlock;
};

bool IsMade(const DECODED_BUFFER_QUEUE_S *pstQueue) {
    return word::LoadAcquire(pstQueue->dulMade) == Queue_Mark(pstQueue);
}

void MakeRecord(DECODED_BUFFER_QUEUE_S *pstQueue) {
    memset(pstQueue, 0, sizeof(*pstQueue));
    pthread_mutex_init(&pstQueue->stMutex, nullptr);
    pthread_mutex_init(&pstQueue->stFillMutex, nullptr);
    word::StoreRelease(pstQueue->dulMade, Queue_Mark(pstQueue));
}

UCHAR *AllocatePlane(DULONG dulSize) {
    if (dulSize > QUEUE_MAX_BLOCK) {
        return nullptr;
    }
    size_t ulSize = (std::max<size_t>(dulSize, 1) + PLANE_ALIGN - 1) & ~(PLANE_ALIGN - 1);
    return static_cast<UCHAR *>(aligned_alloc(PLANE_ALIGN, ulSize));
}

void ForgetPlanes(DECODED_BUFFER_NODE_S *pstNode) {
    std::fill_n(pstNode->stData.pucData, 3, nullptr);
    pstNode->dulLumaSize = 0;
    pstNode->dulChromaSize = 0;
}

void FreePlanes(DECODED_BUFFER_NODE_S *pstNode) {
    free(pstNode->stData.pucData[0]);
    if (pstNode->dulChromaSize != 0) {
        free(pstNode->stData.pucData[1]);
    }
    ForgetPlanes(pstNode);
}

void FreeDrawInfo(CODE_DRAWINFO_S *pstInfo) {
    FreeInfo(&pstInfo->hIvaInfo);
    free(pstInfo->hPtzCtrlInfo);
    pstInfo->hPtzCtrlInfo = nullptr;
}

void FreeRetired(DECODED_BUFFER_QUEUE_S *pstQueue) {
    for (ULONG_32 i = 0; i < pstQueue->ulRetiredNum; i++) {
        free(pstQueue->apucRetired[i]);
    }
    for (ULONG_32 i = 0; i < pstQueue->ulRetiredInfoNum; i++) {
        FreeDrawInfo(&pstQueue->astRetiredInfo[i]);
    }
    pstQueue->ulRetiredNum = 0;
    pstQueue->ulRetiredInfoNum = 0;
}

void FreeCircle(DECODED_BUFFER_NODE_S *pstFirst) {
    for (DECODED_BUFFER_NODE_S *pstNode = pstFirst; pstNode != nullptr;) {
        DECODED_BUFFER_NODE_S *pstNext = pstNode->pstNext;
        FreePlanes(pstNode);
        FreeDrawInfo(&pstNode->stData.stDrawInfo);
        free(pstNode);
        pstNode = pstNext == pstFirst ? nullptr : pstNext;
    }
}

// Null if there is no memory for it, with nothing left behind.
DECODED_BUFFER_NODE_S *BuildCircle(ULONG_32 ulBufNum) {
    DECODED_BUFFER_NODE_S *pstFirst = nullptr;
    for (ULONG_32 i = 0; i < ulBufNum; i++) {
        auto *pstNode = static_cast<DECODED_BUFFER_NODE_S *>(calloc(1, sizeof(DECODED_BUFFER_NODE_S)));
        if (pstNode == nullptr) {
            FreeCircle(pstFirst);
            return nullptr;
        }
        pstNode->pstNext = pstFirst == nullptr ? pstNode : pstFirst->pstNext;
        (pstFirst == nullptr ? pstFirst : pstFirst->pstNext) = pstNode;
    }
    return pstFirst;
}

/* ---- planes of a node ------------------------------------------------------------------------------------------ */

DULONG HalfPlane(DULONG dulHeight, DULONG dulLineSize) { return dulHeight * dulLineSize / 2; }

// Chroma is made for half the luma stride and for what the decoder really has, whichever is more.
bool NeedOf(const CODE_DECODED_DATA_S *pstSrc, PlaneNeed *pstNeed) {
    const LONG_32 *plLine = pstSrc->lLineSize;
    if (pstSrc->lHeight <= 0 || plLine[0] <= 0 || plLine[1] < 0 || plLine[2] < 0) {
        return false;
    }
    DULONG dulHeight = static_cast<DULONG>(pstSrc->lHeight);
    DULONG dulLuma = dulHeight * static_cast<DULONG>(plLine[0]);
    DULONG dulStride = static_cast<DULONG>(std::max(plLine[1], plLine[2]));
    *pstNeed = {{plLine[0], plLine[1], plLine[2]},
                pstSrc->lWidth,
                pstSrc->lHeight,
                dulLuma,
                std::max(dulLuma / 4, HalfPlane(dulHeight, dulStride)),
                false};
    return true;
}

// Room for the last chroma row of an odd height comes on top.
bool NeedOfSmall(LONG_32 lLineSize, LONG_32 lWidth, LONG_32 lHeight, PlaneNeed *pstNeed) {
    if (lHeight <= 0 || lLineSize <= 0 || lLineSize < lWidth) {
        return false;
    }
    DULONG dulLuma = static_cast<DULONG>(lHeight) * static_cast<DULONG>(lLineSize);
    *pstNeed = {{lLineSize, lLineSize / 2, lLineSize / 2}, lWidth, lHeight, dulLuma, dulLuma / 4, true};
    return true;
}

DULONG FirstBlock(const PlaneNeed &stNeed) {
    return stNeed.bOneBlock ? stNeed.dulLuma * 3 / 2 + static_cast<DULONG>(stNeed.alLineSize[0]) : stNeed.dulLuma;
}

bool NodeFits(const DECODED_BUFFER_NODE_S *pstNode, const PlaneNeed &stNeed, bool bSingle) {
    const CODE_DECODED_DATA_S &stData = pstNode->stData;
    if (stData.pucData[0] == nullptr || stNeed.bOneBlock != (pstNode->dulChromaSize == 0) ||
        FirstBlock(stNeed) > pstNode->dulLumaSize ||
        (!stNeed.bOneBlock && stNeed.dulChroma * 2 > pstNode->dulChromaSize)) {
        return false;
    }
    return bSingle || (stData.lLineSize[0] == stNeed.alLineSize[0] && stData.lHeight == stNeed.lHeight);
}

// The reader may be showing the single node of a queue: its planes stay until the next Get, and the new ones are large
// enough that this cannot go on for ever.
bool RetirePlanes(DECODED_BUFFER_QUEUE_S *pstQueue, DECODED_BUFFER_NODE_S *pstNode) {
    if (pstQueue->ulRetiredNum + 2 > QUEUE_MAX_RETIRED) {
        return false;
    }
    pstQueue->apucRetired[pstQueue->ulRetiredNum++] = pstNode->stData.pucData[0];
    if (pstNode->dulChromaSize != 0) {
        pstQueue->apucRetired[pstQueue->ulRetiredNum++] = pstNode->stData.pucData[1];
    }
    ForgetPlanes(pstNode);
    return true;
}

DULONG GrownSize(DULONG dulNeed, DULONG dulOld) { return dulNeed > dulOld ? std::max(dulNeed, dulOld * 2) : dulNeed; }

ULONG_32 AllocatePlanes(DECODED_BUFFER_NODE_S *pstNode, DULONG dulFirst, DULONG dulSecond) {
    UCHAR *pucFirst = AllocatePlane(dulFirst);
    if (pucFirst == nullptr) {
        LOG_ERROR("malloc failed");
        return PLAYER_ERR_MALLOC;
    }
    UCHAR *pucSecond = dulSecond != 0 ? AllocatePlane(dulSecond) : nullptr;
    if (dulSecond != 0 && pucSecond == nullptr) {
        LOG_ERROR("QUEUE_AddDecodeData Error, Malloc Filed");
        free(pucFirst);
        return PLAYER_ERR_MALLOC;
    }
    pstNode->stData.pucData[0] = pucFirst;
    pstNode->stData.pucData[1] = pucSecond;
    pstNode->dulLumaSize = dulFirst;
    pstNode->dulChromaSize = dulSecond;
    return PLAYER_ERR_OK;
}

void SetLayout(DECODED_BUFFER_NODE_S *pstNode, const PlaneNeed &stNeed) {
    CODE_DECODED_DATA_S &stData = pstNode->stData;
    if (stNeed.bOneBlock) {
        stData.pucData[1] = stData.pucData[0] + stNeed.dulLuma;
        stData.pucData[2] = stData.pucData[0] + stNeed.dulLuma * 5 / 4;
    } else {
        stData.pucData[2] = stData.pucData[1] + stNeed.dulChroma;
    }
    std::copy_n(stNeed.alLineSize, 3, stData.lLineSize);
    stData.lWidth = stNeed.lWidth;
    stData.lHeight = stNeed.lHeight;
}

ULONG_32 RemakePlanes(DECODED_BUFFER_QUEUE_S *pstQueue, DECODED_BUFFER_NODE_S *pstNode, const PlaneNeed &stNeed) {
    DULONG dulFirst = FirstBlock(stNeed);
    DULONG dulSecond = stNeed.bOneBlock ? 0 : std::max<DULONG>(stNeed.dulChroma * 2, 1);
    if (pstQueue->ulBufNum != 1) {
        FreePlanes(pstNode);
        return AllocatePlanes(pstNode, dulFirst, dulSecond);
    }
    CMutexGuard oGuard(&pstQueue->stMutex);
    dulFirst = GrownSize(dulFirst, pstNode->dulLumaSize);
    dulSecond = GrownSize(dulSecond, pstNode->dulChromaSize);
    if (pstNode->stData.pucData[0] != nullptr && !RetirePlanes(pstQueue, pstNode)) {
        LOG_ERROR("malloc failed");
        return PLAYER_ERR_MALLOC;
    }
    return AllocatePlanes(pstNode, dulFirst, dulSecond);
}

ULONG_32 PreparePlanes(DECODED_BUFFER_QUEUE_S *pstQueue, DECODED_BUFFER_NODE_S *pstNode, const PlaneNeed &stNeed) {
    if (!NodeFits(pstNode, stNeed, pstQueue->ulBufNum == 1)) {
        ULONG_32 ulResult = RemakePlanes(pstQueue, pstNode, stNeed);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    SetLayout(pstNode, stNeed);
    return PLAYER_ERR_OK;
}

ULONG_32 FillGrey(DECODED_BUFFER_NODE_S *pstNode) {
    constexpr DULONG dulLuma = static_cast<DULONG>(GREY_WIDTH) * GREY_HEIGHT;
    PlaneNeed stNeed = {
        {GREY_WIDTH, GREY_WIDTH / 2, GREY_WIDTH / 2}, GREY_WIDTH, GREY_HEIGHT, dulLuma, dulLuma / 4, false};
    ULONG_32 ulResult = AllocatePlanes(pstNode, dulLuma, dulLuma / 2);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    SetLayout(pstNode, stNeed);
    memset(pstNode->stData.pucData[0], GREY_LUMA, dulLuma);
    memset(pstNode->stData.pucData[1], GREY_CHROMA, dulLuma / 2);
    pstNode->stData.bFullWnd = 1;
    return PLAYER_ERR_OK;
}

/* ---- the circle ------------------------------------------------------------------------------------------------ */

DECODED_BUFFER_NODE_S *NodeBefore(DECODED_BUFFER_NODE_S *pstFrom, const DECODED_BUFFER_NODE_S *pstNode) {
    while (pstFrom->pstNext != pstNode) {
        pstFrom = pstFrom->pstNext;
    }
    return pstFrom;
}

// The queue is full and the reader holds the write node: drops the oldest unread picture, which lies in the next node,
// and puts that node in front of the held one. With two nodes the next node is simply written again.
DECODED_BUFFER_NODE_S *DropOldest(DECODED_BUFFER_QUEUE_S *pstQueue) {
    DECODED_BUFFER_NODE_S *pstHeld = pstQueue->pstWriteIndex;
    DECODED_BUFFER_NODE_S *pstOldest = pstHeld->pstNext;
    if (pstOldest->pstNext != pstHeld) {
        word::Store(pstQueue->pstReadIndex, pstOldest->pstNext);
        NodeBefore(pstQueue->pstReadIndex, pstHeld)->pstNext = pstOldest;
        pstHeld->pstNext = pstOldest->pstNext;
        pstOldest->pstNext = pstHeld;
    }
    word::Store(pstQueue->pstWriteIndex, pstOldest);
    return pstOldest;
}

// The node that the writer may fill, null without a queue. The reader cannot get it before it is committed.
DECODED_BUFFER_NODE_S *ChooseNode(DECODED_BUFFER_QUEUE_S *pstQueue) {
    CMutexGuard oGuard(&pstQueue->stMutex);
    DECODED_BUFFER_NODE_S *pstNode = pstQueue->pstWriteIndex;
    if (pstNode == nullptr || pstQueue->ulBufNum == 1) {
        return pstNode;
    }
    bool bFull = pstNode->pstNext == pstQueue->pstReadIndex;
    return bFull && pstNode->stData.bUsingData == 1 ? DropOldest(pstQueue) : pstNode;
}

CODE_DRAWINFO_S SwapDrawInfo(CODE_DRAWINFO_S *pstIn, CODE_DRAWINFO_S stNew) {
    return {word::Exchange(pstIn->hIvaInfo, stNew.hIvaInfo), word::Exchange(pstIn->hPtzCtrlInfo, stNew.hPtzCtrlInfo)};
}

// The reader may be showing the single node's overlays: they stay until the next Get. One that does not come for so
// long that there is no room for them goes without the new ones.
void MoveToSingle(DECODED_BUFFER_QUEUE_S *pstQueue, CODE_DRAWINFO_S *pstFrom, CODE_DRAWINFO_S *pstTo) {
    CMutexGuard oGuard(&pstQueue->stMutex);
    if (pstQueue->ulRetiredInfoNum == QUEUE_MAX_RETIRED_INFO) {
        FreeDrawInfo(pstFrom);
        return;
    }
    const CODE_DRAWINFO_S stOld = SwapDrawInfo(pstTo, SwapDrawInfo(pstFrom, {}));
    if (stOld.hIvaInfo != nullptr || stOld.hPtzCtrlInfo != nullptr) {
        pstQueue->astRetiredInfo[pstQueue->ulRetiredInfoNum++] = stOld;
    }
}

// Moves the overlays of a picture into the node that is about to be committed.
void MoveDrawInfo(DECODED_BUFFER_QUEUE_S *pstQueue, CODE_DRAWINFO_S *pstFrom, CODE_DRAWINFO_S *pstTo) {
    if (pstQueue->ulBufNum == 1) {
        MoveToSingle(pstQueue, pstFrom, pstTo);
        return;
    }
    FreeDrawInfo(pstTo);
    *pstTo = SwapDrawInfo(pstFrom, {});
}

void CommitNode(DECODED_BUFFER_QUEUE_S *pstQueue) {
    {
        CMutexGuard oGuard(&pstQueue->stMutex);
        if (pstQueue->ulBufNum > 1) {
            word::Store(pstQueue->pstWriteIndex, pstQueue->pstWriteIndex->pstNext);
        }
        word::Store(pstQueue->bIsQueueData, 1);
        pstQueue->bNewPicture = 1;
    }
    Wake_Signal(&pstQueue->stReadWake);
}

// Takes all nodes and older planes out of the record; the caller holds stFillMutex.
void EmptyRecord(DECODED_BUFFER_QUEUE_S *pstQueue) {
    CMutexGuard oGuard(&pstQueue->stMutex);
    FreeCircle(pstQueue->pstReadIndex);
    FreeRetired(pstQueue);
    word::Store(pstQueue->pstReadIndex, nullptr);
    word::Store(pstQueue->pstWriteIndex, nullptr);
    word::Store(pstQueue->ulBufNum, 0);
    word::Store(pstQueue->ulErrorNum, 0);
    word::Store(pstQueue->bIsQueueData, 0);
    pstQueue->bNewPicture = 0;
}

void CopyPlanes(const CODE_DECODED_DATA_S *pstSrc, const PlaneNeed &stNeed, CODE_DECODED_DATA_S *pstDst) {
    for (int i = 0; i < 3; i++) {
        memcpy(pstDst->pucData[i], pstSrc->pucData[i],
               static_cast<size_t>(Queue_PixelBytes(stNeed.lWidth, stNeed.lHeight, i, stNeed.alLineSize[i])));
    }
}

bool IsPicture(const CODE_DECODED_DATA_S *pstSrc) {
    return pstSrc != nullptr && pstSrc->pucData[0] != nullptr && pstSrc->pucData[1] != nullptr &&
           pstSrc->pucData[2] != nullptr;
}

ULONG_32 CheckSource(const CODE_DECODED_DATA_S *pstSrc, const DECODED_BUFFER_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr || !IsPicture(pstSrc)) {
        return PLAYER_ERR_PARAM;
    }
    if (pstSrc->lLineSize[0] < pstSrc->lWidth) {
        LOG_WARN("QUEUE_AddDecodeData Warning, LineSize:%d < Width:%d", pstSrc->lLineSize[0], pstSrc->lWidth);
        return PLAYER_ERR_PARAM;
    }
    return IsMade(pstQueue) ? PLAYER_ERR_OK : PLAYER_ERR_PARAM;
}

// The way of every picture into the queue; fnFill writes the planes and tells whether the picture counts.
template <class Fill>
ULONG_32 AddPicture(DECODED_BUFFER_QUEUE_S *pstQueue, const PlaneNeed &stNeed, CODE_DECODED_DATA_S *pstSrc,
                    Fill fnFill) {
    CMutexGuard oGuard(&pstQueue->stFillMutex);
    DECODED_BUFFER_NODE_S *pstNode = ChooseNode(pstQueue);
    if (pstNode == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = PreparePlanes(pstQueue, pstNode, stNeed);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstNode->stData.lDuration = pstSrc->lDuration;
    if (fnFill(&pstNode->stData)) {
        MoveDrawInfo(pstQueue, &pstSrc->stDrawInfo, &pstNode->stData.stDrawInfo);
        CommitNode(pstQueue);
    }
    return PLAYER_ERR_OK;
}

// Under stMutex.
bool HasPicture(const DECODED_BUFFER_QUEUE_S *pstQueue) {
    if (pstQueue->ulBufNum == 1) {
        return pstQueue->bNewPicture != 0;
    }
    return pstQueue->pstReadIndex != pstQueue->pstWriteIndex;
}

// Under stMutex: the one node is always the answer, whatever the reader holds.
ULONG_32 GetSingle(DECODED_BUFFER_QUEUE_S *pstQueue, CODE_DECODED_DATA_S **ppstSrcData) {
    FreeRetired(pstQueue);
    if (!IsPicture(&pstQueue->pstReadIndex->stData)) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    pstQueue->bNewPicture = 0;
    *ppstSrcData = &pstQueue->pstReadIndex->stData;
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 QUEUE_InitDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulBufNum) {
    if (ulBufNum == 0) {
        LOG_ERROR("QUEUE_InitDecodedBufferQueue Failed, Buffer Num is Zero");
        return PLAYER_ERR_PARAM;
    }
    if (pstQueue == nullptr) {
        LOG_ERROR("QUEUE_InitDecodedBufferQueue Failed, DecodedBufferQueue is NULL");
        return PLAYER_ERR_PARAM;
    }
    if (!IsMade(pstQueue)) {
        MakeRecord(pstQueue);
    }
    CMutexGuard oFillGuard(&pstQueue->stFillMutex);
    EmptyRecord(pstQueue);
    DECODED_BUFFER_NODE_S *pstFirst = ulBufNum <= QUEUE_MAX_NODES ? BuildCircle(ulBufNum) : nullptr;
    if (pstFirst == nullptr || FillGrey(pstFirst) != PLAYER_ERR_OK) {
        LOG_ERROR("Malloc (Size:%d) Failed", static_cast<LONG_32>(sizeof(DECODED_BUFFER_NODE_S) * ulBufNum));
        FreeCircle(pstFirst);
        return PLAYER_ERR_MALLOC;
    }
    CMutexGuard oGuard(&pstQueue->stMutex);
    word::Store(pstQueue->pstReadIndex, pstFirst);
    word::Store(pstQueue->pstWriteIndex, pstFirst->pstNext);
    word::Store(pstQueue->ulBufNum, ulBufNum);
    return PLAYER_ERR_OK;
}

void QUEUE_CleanupDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr) {
        return;
    }
    if (!IsMade(pstQueue)) {
        memset(pstQueue, 0, sizeof(*pstQueue));
        return;
    }
    CMutexGuard oFillGuard(&pstQueue->stFillMutex);
    EmptyRecord(pstQueue);
}

void QUEUE_DestroyDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue) {
    QUEUE_CleanupDecodedBufferQueue(pstQueue);
    if (pstQueue != nullptr && IsMade(pstQueue)) {
        pthread_mutex_destroy(&pstQueue->stFillMutex);
        pthread_mutex_destroy(&pstQueue->stMutex);
        word::Store(pstQueue->dulMade, 0);
    }
}

ULONG_32 QUEUE_AddDecodeData(CODE_DECODED_DATA_S *pstSrcData, BOOL_T, DECODED_BUFFER_QUEUE_S *pstQueue) {
    PlaneNeed stNeed;
    if (CheckSource(pstSrcData, pstQueue) != PLAYER_ERR_OK || !NeedOf(pstSrcData, &stNeed)) {
        return PLAYER_ERR_PARAM;
    }
    return AddPicture(pstQueue, stNeed, pstSrcData, [&](CODE_DECODED_DATA_S *pstDst) {
        CopyPlanes(pstSrcData, stNeed, pstDst);
        return true;
    });
}

ULONG_32 QUEUE_AddDecodeDataWithCompress(CODE_DECODED_DATA_S *pstSrcData, BOOL_T, LONG_32 lCompressLineSize,
                                         LONG_32 lCompressWidth, LONG_32 lCompressHight,
                                         DECODED_BUFFER_QUEUE_S *pstQueue) {
    PlaneNeed stNeed;
    if (CheckSource(pstSrcData, pstQueue) != PLAYER_ERR_OK ||
        !NeedOfSmall(lCompressLineSize, lCompressWidth, lCompressHight, &stNeed)) {
        return PLAYER_ERR_PARAM;
    }
    return AddPicture(pstQueue, stNeed, pstSrcData,
                      [&](CODE_DECODED_DATA_S *pstDst) { return Image_Compress(pstSrcData, pstDst) == PLAYER_ERR_OK; });
}

ULONG_32 QUEUE_GetDecodeData(DECODED_BUFFER_QUEUE_S *pstQueue, CODE_DECODED_DATA_S **ppstSrcData) {
    if (pstQueue == nullptr || ppstSrcData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (!IsMade(pstQueue)) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    CMutexGuard oGuard(&pstQueue->stMutex);
    if (pstQueue->ulBufNum == 1) {
        return GetSingle(pstQueue, ppstSrcData);
    }
    if (!HasPicture(pstQueue)) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    if (*ppstSrcData != nullptr) {
        (*ppstSrcData)->bUsingData = 0;
        (*ppstSrcData)->bFullWnd = 0;
    }
    DECODED_BUFFER_NODE_S *pstNode = pstQueue->pstReadIndex;
    pstNode->stData.bUsingData = 1;
    word::Store(pstQueue->pstReadIndex, pstNode->pstNext);
    *ppstSrcData = &pstNode->stData;
    return PLAYER_ERR_OK;
}

bool QUEUE_WaitForDecodeData(DECODED_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds) {
    auto fnHasPicture = [pstQueue] {
        if (!IsMade(pstQueue)) {
            return false;
        }
        CMutexGuard oGuard(&pstQueue->stMutex);
        return HasPicture(pstQueue);
    };
    ULONG_32 ulTicket = Wake_Ticket(&pstQueue->stReadWake);
    bool bLatched = word::Exchange(pstQueue->ulReadLatch, 0) != 0;
    if (!bLatched && !fnHasPicture()) {
        Wake_Wait(&pstQueue->stReadWake, ulTicket, ulMSeconds);
        word::Exchange(pstQueue->ulReadLatch, 0);
    }
    return fnHasPicture();
}

void QUEUE_WakeDecodeReader(DECODED_BUFFER_QUEUE_S *pstQueue) {
    word::Exchange(pstQueue->ulReadLatch, 1);
    Wake_Signal(&pstQueue->stReadWake);
}
