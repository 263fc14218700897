// Colour conversion for bitmaps, and the peak limiter of the audio codecs.
#include <algorithm>
#include <array>
#include <cstring>

#include <tmmintrin.h>

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

/** A row of luma with the rows of planes 1 and 2 that belong to it; each of their samples serves two pixels. */
struct YUV_ROW {
    const UCHAR *pucY;
    const UCHAR *pucP;
    const UCHAR *pucQ;
};

void ConvertPixels(const YUV_ROW &stRow, UCHAR *pucOut, ULONG_32 ulFrom, ULONG_32 ulTo) {
    for (ULONG_32 x = ulFrom; x < ulTo; x++) {
        const UCHAR ucP = stRow.pucP[x / 2];
        const UCHAR ucQ = stRow.pucQ[x / 2];
        UCHAR *const pucPixel = pucOut + static_cast<size_t>(x) * 3;
        pucPixel[0] = Clamp(stRow.pucY[x] + Table_fv1[ucP]);
        pucPixel[1] = Clamp(stRow.pucY[x] - (Table_fu1[ucQ] + Table_fv2[ucP]));
        pucPixel[2] = Clamp(stRow.pucY[x] + Table_fu2[ucQ]);
    }
}

/* ---- the same for 16 pixels at a time ---- */

#define ZELVANE_SSSE3 __attribute__((target("ssse3")))

/** lFactor * value >> lShift for eight samples, as the tables have it; the products stay within 16 bits. */
ZELVANE_SSSE3 __m128i ScaleChroma(__m128i stValue, short sFactor, int lShift) {
    return _mm_srai_epi16(_mm_mullo_epi16(stValue, _mm_set1_epi16(sFactor)), lShift);
}

ZELVANE_SSSE3 __m128i LoadChroma(const UCHAR *pucAt) {
    const __m128i stBytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(pucAt));
    return _mm_sub_epi16(_mm_unpacklo_epi8(stBytes, _mm_setzero_si128()), _mm_set1_epi16(128));
}

/** Adds eight chroma terms to sixteen samples of luma, each to two of them. */
ZELVANE_SSSE3 __m128i AddToLuma(__m128i stLuma, __m128i stTerm) {
    const __m128i stLow = _mm_unpacklo_epi8(stLuma, _mm_setzero_si128());
    const __m128i stHigh = _mm_unpackhi_epi8(stLuma, _mm_setzero_si128());
    return _mm_packus_epi16(_mm_add_epi16(stLow, _mm_unpacklo_epi16(stTerm, stTerm)),
                            _mm_add_epi16(stHigh, _mm_unpackhi_epi16(stTerm, stTerm)));
}

/** Where the bytes of colour ulColour lie in the ulPart-th 16 bytes of a run of pixels: sources, or 0x80 for none. */
constexpr std::array<UCHAR, 16> InterleaveMask(unsigned ulPart, unsigned ulColour) {
    std::array<UCHAR, 16> aucMask{};
    for (unsigned i = 0; i < 16; i++) {
        const unsigned ulByte = ulPart * 16 + i;
        aucMask[i] = ulByte % 3 == ulColour ? static_cast<UCHAR>(ulByte / 3) : UCHAR{0x80};
    }
    return aucMask;
}

template <unsigned PART>
ZELVANE_SSSE3 void StorePart(const __m128i (&astColour)[3], UCHAR *pucOut) {
    alignas(16) static constexpr std::array<UCHAR, 16> aucMask[3] = {InterleaveMask(PART, 0), InterleaveMask(PART, 1),
                                                                     InterleaveMask(PART, 2)};
    __m128i stAll = _mm_setzero_si128();
    for (int i = 0; i < 3; i++) {
        const __m128i stMask = _mm_load_si128(reinterpret_cast<const __m128i *>(aucMask[i].data()));
        stAll = _mm_or_si128(stAll, _mm_shuffle_epi8(astColour[i], stMask));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i *>(pucOut + PART * 16), stAll);
}

ZELVANE_SSSE3 void ConvertSixteen(const YUV_ROW &stRow, UCHAR *pucOut, ULONG_32 ulAt) {
    const __m128i stLuma = _mm_loadu_si128(reinterpret_cast<const __m128i *>(stRow.pucY + ulAt));
    const __m128i stP = LoadChroma(stRow.pucP + ulAt / 2);
    const __m128i stQ = LoadChroma(stRow.pucQ + ulAt / 2);
    // 359 / 256 would leave 16 bits: it is 1 and 103 / 256.
    const __m128i stFirst = _mm_add_epi16(stP, ScaleChroma(stP, 103, 8));
    const __m128i stSecond = _mm_add_epi16(ScaleChroma(stQ, 11, 5), ScaleChroma(stP, 183, 8));
    const __m128i stThird = ScaleChroma(stQ, 227, 7);
    const __m128i astColour[3] = {AddToLuma(stLuma, stFirst),
                                  AddToLuma(stLuma, _mm_sub_epi16(_mm_setzero_si128(), stSecond)),
                                  AddToLuma(stLuma, stThird)};
    UCHAR *const pucPixels = pucOut + static_cast<size_t>(ulAt) * 3;
    StorePart<0>(astColour, pucPixels);
    StorePart<1>(astColour, pucPixels);
    StorePart<2>(astColour, pucPixels);
}

ZELVANE_SSSE3 ULONG_32 ConvertSixteens(const YUV_ROW &stRow, UCHAR *pucOut, ULONG_32 ulWidth) {
    ULONG_32 ulDone = 0;
    for (; ulDone + 16 <= ulWidth; ulDone += 16) {
        ConvertSixteen(stRow, pucOut, ulDone);
    }
    return ulDone;
}

void ConvertRow(const YUV_ROW &stRow, UCHAR *pucOut, ULONG_32 ulWidth) {
    static const bool bWide = __builtin_cpu_supports("ssse3") != 0;
    ConvertPixels(stRow, pucOut, bWide ? ConvertSixteens(stRow, pucOut, ulWidth) : 0, ulWidth);
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
        const YUV_ROW stRow = {pstMidPicture->pData[0] + static_cast<size_t>(y) * pstMidPicture->uLineSize[0],
                               pstMidPicture->pData[1] + ulChroma, pstMidPicture->pData[2] + ulChroma};
        ConvertRow(stRow, pucRgbBuf + static_cast<size_t>(ulHeight - 1 - y) * ulWidth * 3, ulWidth);
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
