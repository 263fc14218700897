#include "zvmjpeg/zvmjpeg_chroma.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

UCHAR *Row(PLANE stPlane, int lRow) {
    return stPlane.pucData + static_cast<ptrdiff_t>(stPlane.lStride) * static_cast<ptrdiff_t>(lRow);
}

// One output row out of the two input rows that serve its luma rows.
void HalveRow(const UCHAR *pucUpper, const UCHAR *pucLower, UCHAR *pucOut, int lWidth, int lColumns) {
    if (lColumns == 1) {
        for (int x = 0; x < lWidth; x++) {
            pucOut[x] = static_cast<UCHAR>(
                (pucUpper[2 * x] + pucUpper[2 * x + 1] + pucLower[2 * x] + pucLower[2 * x + 1] + 2) >> 2);
        }
        return;
    }
    const int lShift = lColumns == 2 ? 0 : 1;
    for (int x = 0; x < lWidth; x++) {
        pucOut[x] = static_cast<UCHAR>((pucUpper[x >> lShift] + pucLower[x >> lShift] + 1) >> 1);
    }
}

}  // namespace

void Chroma_CopyPlane(PLANE stIn, PLANE stOut, PLANE_SIZE stSize) {
    for (int y = 0; y < stSize.lHeight; y++) {
        std::memcpy(Row(stOut, y), Row(stIn, y), static_cast<size_t>(stSize.lWidth));
    }
}

void Chroma_FillPlane(PLANE stOut, PLANE_SIZE stSize, UCHAR ucValue) {
    for (int y = 0; y < stSize.lHeight; y++) {
        std::memset(Row(stOut, y), ucValue, static_cast<size_t>(stSize.lWidth));
    }
}

void Chroma_ToHalf(PLANE stIn, PLANE stOut, PLANE_SIZE stSize, SAMPLING stSampling) {
    for (int y = 0; y < stSize.lHeight; y++) {
        HalveRow(Row(stIn, 2 * y / stSampling.lRows), Row(stIn, (2 * y + 1) / stSampling.lRows), Row(stOut, y),
                 stSize.lWidth, stSampling.lColumns);
    }
}

void Chroma_PadPlane(PLANE stIn, PLANE_SIZE stHave, PLANE stOut, PLANE_SIZE stFull) {
    if (stHave.lWidth == 0 || stHave.lHeight == 0) {
        return;
    }
    for (int y = 0; y < stFull.lHeight; y++) {
        const UCHAR *pucIn = Row(stIn, std::min(y, stHave.lHeight - 1));
        UCHAR *pucOut = Row(stOut, y);
        std::memcpy(pucOut, pucIn, static_cast<size_t>(stHave.lWidth));
        std::memset(pucOut + stHave.lWidth, pucIn[stHave.lWidth - 1],
                    static_cast<size_t>(stFull.lWidth - stHave.lWidth));
    }
}
