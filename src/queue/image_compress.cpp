// Image_Compress of module_queue: halves a picture by picking samples.
#include <algorithm>

#include "foundations/com_log.h"
#include "queue/module_queue.h"

namespace {

void PickEverySecond(const UCHAR *pucSrc, UCHAR *pucDst, size_t ulCount) {
    for (size_t i = 0; i < ulCount; i++) {
        pucDst[i] = pucSrc[2 * i];
    }
}

// Whole rows of lRowSize bytes in a chroma plane; a stride that was not set is taken for half of luma's.
LONG_32 ChromaRows(const CODE_DECODED_DATA_S *pstSrc, int iPlane, LONG_32 lRowSize) {
    DLONG dlStride = pstSrc->lLineSize[iPlane] > 0 ? pstSrc->lLineSize[iPlane] : lRowSize;
    DLONG dlRows = lRowSize > 0 ? pstSrc->lHeight * dlStride / 2 / lRowSize : 0;
    return static_cast<LONG_32>(std::min<DLONG>(dlRows, pstSrc->lHeight));
}

bool HasPlanes(const CODE_DECODED_DATA_S *pstData) {
    return pstData != nullptr && pstData->lHeight > 0 && pstData->lLineSize[0] > 0 &&
           std::find(pstData->pucData, pstData->pucData + 3, nullptr) == pstData->pucData + 3;
}

// A plane of the small picture: row y comes from row y * lRowStep of the large one, or from its last one.
struct PlanePair {
    const UCHAR *pucSrc;
    size_t ulSrcStride;
    LONG_32 lSrcRows;
    UCHAR *pucDst;
    size_t ulDstStride;
    LONG_32 lDstRows;
};

void HalvePlane(const PlanePair &stPair) {
    for (LONG_32 y = 0; y < stPair.lDstRows; y++) {
        size_t ulSrcRow = static_cast<size_t>(std::min<DLONG>(2LL * y, stPair.lSrcRows - 1));
        PickEverySecond(stPair.pucSrc + ulSrcRow * stPair.ulSrcStride,
                        stPair.pucDst + static_cast<size_t>(y) * stPair.ulDstStride, stPair.ulDstStride);
    }
}

}  // namespace

ULONG_32 Image_Compress(CODE_DECODED_DATA_S *pstSrcData, CODE_DECODED_DATA_S *pstCurWriteData) {
    if (!HasPlanes(pstSrcData) || !HasPlanes(pstCurWriteData)) {
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lSrc = pstSrcData->lLineSize[0];
    LONG_32 lDst = pstCurWriteData->lLineSize[0];
    if (lSrc / 2 != lDst) {
        LOG_ERROR("Image_Compress Failed, Invalid Param, ulDstW[%d], ulSrcW[%d].", lDst, lSrc);
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lChromaRows = std::min(ChromaRows(pstSrcData, 1, lDst), ChromaRows(pstSrcData, 2, lDst));
    if (lChromaRows == 0) {
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lHeight = pstCurWriteData->lHeight;
    HalvePlane({pstSrcData->pucData[0], static_cast<size_t>(lSrc), pstSrcData->lHeight, pstCurWriteData->pucData[0],
                static_cast<size_t>(lDst), lHeight});
    for (int i = 1; i < 3; i++) {
        HalvePlane({pstSrcData->pucData[i], static_cast<size_t>(lDst), lChromaRows, pstCurWriteData->pucData[i],
                    static_cast<size_t>(lDst / 2), (lHeight + 1) / 2});
    }
    return PLAYER_ERR_OK;
}
