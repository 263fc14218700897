// Image_Compress of module_queue: halves a picture by picking samples.
#include <algorithm>

#include "foundations/com_log.h"
#include "queue/module_queue.h"
#include "queue/queue_inner.h"

namespace {

void PickEverySecond(const UCHAR *pucSrc, UCHAR *pucDst, size_t ulCount) {
    for (size_t i = 0; i < ulCount; i++) {
        pucDst[i] = pucSrc[2 * i];
    }
}

// Readable bytes of a plane; a chroma stride that was not set is taken for half of luma's.
DLONG SourceBytes(const CODE_DECODED_DATA_S *pstSrc, int iPlane) {
    LONG_32 lLine = pstSrc->lLineSize[iPlane] > 0 ? pstSrc->lLineSize[iPlane] : pstSrc->lLineSize[0] / 2;
    return Queue_PixelBytes(pstSrc->lWidth, pstSrc->lHeight, iPlane, lLine);
}

bool HasPlanes(const CODE_DECODED_DATA_S *pstData) {
    return pstData != nullptr && pstData->lHeight > 0 && pstData->lLineSize[0] > 0 &&
           std::find(pstData->pucData, pstData->pucData + 3, nullptr) == pstData->pucData + 3;
}

// A plane of the small picture: row y comes from row 2 * y of the large one, or from its last one.
struct PlanePair {
    const UCHAR *pucSrc;
    DLONG dlSrcStride;
    DLONG dlSrcWidth;
    DLONG dlSrcBytes;
    UCHAR *pucDst;
    LONG_32 lDstStride;
    LONG_32 lDstRows;
};

void HalvePlane(const PlanePair &stPair) {
    const DLONG dlLastRow = (stPair.dlSrcBytes - stPair.dlSrcWidth) / stPair.dlSrcStride;
    for (LONG_32 y = 0; y < stPair.lDstRows; y++) {
        DLONG dlAt = std::min<DLONG>(2LL * y, dlLastRow) * stPair.dlSrcStride;
        DLONG dlCount = std::min<DLONG>(stPair.lDstStride, (stPair.dlSrcBytes - dlAt + 1) / 2);
        PickEverySecond(stPair.pucSrc + dlAt, stPair.pucDst + static_cast<DLONG>(y) * stPair.lDstStride,
                        static_cast<size_t>(dlCount));
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
    for (int i = 0; i < 3; i++) {
        const LONG_32 lShift = i == 0 ? 0 : 1;
        const DLONG dlStride = i == 0 ? lSrc : lDst;
        const DLONG dlWidth =
            std::clamp<DLONG>((static_cast<DLONG>(pstSrcData->lWidth) + lShift) >> lShift, 0, dlStride);
        const DLONG dlBytes = SourceBytes(pstSrcData, i);
        if (dlStride == 0 || dlBytes < dlWidth) {
            return PLAYER_ERR_PARAM;
        }
        HalvePlane({pstSrcData->pucData[i], dlStride, dlWidth, dlBytes, pstCurWriteData->pucData[i], lDst >> lShift,
                    (pstCurWriteData->lHeight + lShift) >> lShift});
    }
    return PLAYER_ERR_OK;
}
