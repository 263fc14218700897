// Colour conversion for bitmaps, and the peak limiter of the audio codecs.
#include <algorithm>
#include <array>
#include <cstring>

#include "codec/module_code.h"
#include "foundations/com_log.h"

namespace {

using COLOUR_TABLE = std::array<int, 256>;

constexpr COLOUR_TABLE MakeTable(int lFactor, int lShift) {
    COLOUR_TABLE alTable{};
    for (int i = 0; i < 256; i++) {
        alTable[i] = (lFactor * (i - 128)) >> lShift;
    }
    return alTable;
}

// What the two chroma samples add to luma, in fixed point.
constexpr COLOUR_TABLE Table_fv1 = MakeTable(359, 8);
constexpr COLOUR_TABLE Table_fv2 = MakeTable(183, 8);
constexpr COLOUR_TABLE Table_fu1 = MakeTable(11, 5);
constexpr COLOUR_TABLE Table_fu2 = MakeTable(227, 7);

UCHAR Clamp(int lValue) { return static_cast<UCHAR>(std::clamp(lValue, 0, 255)); }

// pucP and pucQ are the rows of planes 1 and 2; each sample serves two pixels.
void ConvertRow(const UCHAR *pucY, const UCHAR *pucP, const UCHAR *pucQ, UCHAR *pucOut, ULONG_32 ulWidth) {
    for (ULONG_32 x = 0; x < ulWidth; x++) {
        const UCHAR ucP = pucP[x / 2];
        const UCHAR ucQ = pucQ[x / 2];
        pucOut[0] = Clamp(pucY[x] + Table_fv1[ucP]);
        pucOut[1] = Clamp(pucY[x] - (Table_fu1[ucQ] + Table_fv2[ucP]));
        pucOut[2] = Clamp(pucY[x] + Table_fu2[ucQ]);
        pucOut += 3;
    }
}

SHORT SampleAt(const USHORT *pusPcmData, ULONG_32 ulIndex) { return static_cast<SHORT>(pusPcmData[ulIndex]); }

SHORT Scale(SHORT sSample, FLOAT fRatio) {
    const FLOAT fScaled = static_cast<FLOAT>(sSample) * fRatio;
    if (fScaled >= 32767.0F) {
        return 32767;
    }
    // A ratio that is no number gives none either; such a sample is silent.
    return fScaled >= -32768.0F ? static_cast<SHORT>(fScaled) : (fScaled < 0 ? SHORT{-32768} : SHORT{0});
}

}  // namespace

BOOL_T CODE_YUV2RGB(DSP_Picture_Mjpeg *pstMidPicture, UCHAR *pucRgbBuf, ULONG_32 *len) {
    if (pstMidPicture == nullptr || pucRgbBuf == nullptr || len == nullptr || pstMidPicture->pData[0] == nullptr ||
        pstMidPicture->pData[1] == nullptr || pstMidPicture->pData[2] == nullptr) {
        return 0;
    }
    const ULONG_32 ulWidth = pstMidPicture->uPicWidth;
    const ULONG_32 ulHeight = pstMidPicture->uPicHeight;
    const uint64_t ulArea = static_cast<uint64_t>(ulWidth) * ulHeight;
    if (ulArea < 1 || ulArea > UINT32_MAX / 3) {
        return 0;
    }
    for (ULONG_32 y = 0; y < ulHeight; y++) {
        const size_t ulChroma = static_cast<size_t>(y / 2) * pstMidPicture->uLineSize[1];
        ConvertRow(pstMidPicture->pData[0] + static_cast<size_t>(y) * pstMidPicture->uLineSize[0],
                   pstMidPicture->pData[1] + ulChroma, pstMidPicture->pData[2] + ulChroma,
                   pucRgbBuf + static_cast<size_t>(ulHeight - 1 - y) * ulWidth * 3, ulWidth);
    }
    *len = static_cast<ULONG_32>(ulArea * 3);
    return 1;
}

ULONG_32 CODE_ColorSpace(ULONG_32 lFormat, const CODEC_PIC_S *pstSrc, CODEC_PIC_S *pstDst) {
    if (pstSrc == nullptr || pstDst == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    DSP_Picture_Mjpeg stMid{};
    for (int i = 0; i < 4; i++) {
        stMid.pData[i] = pstSrc->pucData[i];
        stMid.uLineSize[i] = pstSrc->ulLineSize[i];
    }
    stMid.uPicWidth = pstSrc->ulWidth / 4 * 4;
    stMid.uPicHeight = pstSrc->ulHeight / 4 * 4;
    switch (lFormat) {
        case FORMAT_COLORSPACE_YUVTORGB32:
            if (CODE_YUV2RGB(&stMid, pstDst->pucData[0], &pstDst->ulLineSize[0]) == 0) {
                LOG_ERROR("CODE_ColorSpace: Call CODE_YUV2RGB Failed.");
                return PLAYER_ERR_DECODE;
            }
            return PLAYER_ERR_OK;
        case FORMAT_COLORSPACE_RGB32TOYUV:
            std::copy_n(stMid.pData, 4, pstDst->pucData);
            std::copy_n(stMid.uLineSize, 4, pstDst->ulLineSize);
            return PLAYER_ERR_OK;
        case FORMAT_COLORSPACE_RGB24TOYUV:
            return PLAYER_ERR_OK;
        default:
            LOG_ERROR("CODE_ColorSpace: Unknown Type:[%d].", static_cast<int>(lFormat));
            return PLAYER_ERR_OK;
    }
}

ULONG_32 limitPcmScope(SHORT sLimitScope, FLOAT fLimitRatio, ULONG_32 ulPcmLength, USHORT *pusPcmData) {
    if (sLimitScope < 0) {
        LOG_ERROR("limitPcmScope: Invalid sLimitScope[%d].", sLimitScope);
        return PLAYER_ERR_FAILED;
    }
    if (fLimitRatio < 0) {
        LOG_ERROR("limitPcmScope: Invalid fLimitRatio[%f].", static_cast<double>(fLimitRatio));
        return PLAYER_ERR_FAILED;
    }
    const ULONG_32 ulSamples = pusPcmData != nullptr ? ulPcmLength / 2 : 0;
    ULONG_32 ulPeak = 0;
    while (ulPeak < ulSamples && SampleAt(pusPcmData, ulPeak) < sLimitScope) {
        ulPeak++;
    }
    if (ulPeak == ulSamples) {
        return PLAYER_ERR_OK;
    }
    for (ULONG_32 i = 0; i < ulSamples; i++) {
        pusPcmData[i] = static_cast<USHORT>(Scale(SampleAt(pusPcmData, i), fLimitRatio));
    }
    return PLAYER_ERR_OK;
}
