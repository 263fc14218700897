/**
 * @file dsp_mcfw_preparse.cpp
 * @brief The H.264 side: SPS search and reader. The H.265 side is in h265_sps.cpp.
 */
#include "bits/dsp_mcfw_preparse.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "bits/start_code.h"

namespace {

constexpr int SPS_COPY_SIZE = 200;  // bytes of an SPS that are looked at
constexpr UCHAR TYPE_SLICE = 1;     // unit types (ITU-T H.264, table 7-1)
constexpr UCHAR TYPE_IDR = 5;
constexpr UCHAR TYPE_SPS = 7;
constexpr unsigned int MAX_POC_CYCLE = 255;
constexpr unsigned int MAX_SIZE_IN_MBS = 251;

UCHAR UnitType(UCHAR ucHeader) { return ucHeader & 31; }

/** Tries the SPS whose bytes behind the header start here; the copy is filled up with zeros. */
void TrySps(const UCHAR *pucSps, size_t ulLeft, H264_BitStreamInfo_S *pstInfo) {
    UCHAR aucCopy[SPS_COPY_SIZE] = {};
    memcpy(aucCopy, pucSps, std::min<size_t>(ulLeft, SPS_COPY_SIZE));
    int iStart = 0;
    int iLen = Fw_H264_ClrPCode(aucCopy, SPS_COPY_SIZE, &iStart);
    if (iLen > 0) {
        Fw_H264_parseSPS(aucCopy + iStart, iLen, pstInfo);
    }
}

/** Whether the byte at i is the 03 of 00 00 03 0x, with x up to 3 as emulation prevention leaves it. */
bool IsEmulation(const UCHAR *p, int i, UCHAR ucNext) {
    return i >= 2 && p[i] == 3 && p[i - 1] == 0 && p[i - 2] == 0 && ucNext <= 3;
}

/** Index of the first byte that is not to be cleaned: behind the header byte of the next slice, or the end. */
int FindCleanEnd(const UCHAR *pucBuffer, int iLen) {
    size_t ulLen = static_cast<size_t>(iLen);
    for (size_t i = StartCode_Find(pucBuffer, ulLen, 0); i + 3 < ulLen; i = StartCode_Find(pucBuffer, ulLen, i + 3)) {
        UCHAR ucType = UnitType(pucBuffer[i + 3]);
        if (ucType == TYPE_IDR || ucType == TYPE_SLICE) {
            return static_cast<int>(i + 4);
        }
    }
    return iLen;
}

/* The fields of seq_parameter_set_data(), ITU-T H.264, 7.3.2.1.1, in groups. */

bool IsHighProfile(unsigned int uiProfile) {
    constexpr unsigned int HIGH_PROFILES[] = {100, 110, 112, 244, 44, 83, 86};
    return std::find(std::begin(HIGH_PROFILES), std::end(HIGH_PROFILES), uiProfile) != std::end(HIGH_PROFILES);
}

void SkipChroma(H264_GetBitContext_S *pstBits) {
    unsigned int uiChroma = Fw_H264_get_ue_golomb(pstBits);
    if (uiChroma == 3) {
        Fw_H264_get_bits1(pstBits);  // separate_colour_plane_flag
    }
    Fw_H264_get_ue_golomb(pstBits);  // bit_depth_luma_minus8
    Fw_H264_get_ue_golomb(pstBits);  // bit_depth_chroma_minus8
    Fw_H264_get_bits1(pstBits);      // qpprime_y_zero_transform_bypass_flag
    if (Fw_H264_get_bits1(pstBits) == 0) {
        return;  // seq_scaling_matrix_present_flag
    }
    unsigned int uiLists = uiChroma == 3 ? 12 : 8;
    for (unsigned int i = 0; i < uiLists; ++i) {
        if (Fw_H264_get_bits1(pstBits) != 0) {
            FW_H264_ScalingList(pstBits, i < 6 ? 16 : 64);
        }
    }
}

bool SkipPicOrderCount(H264_GetBitContext_S *pstBits) {
    unsigned int uiType = Fw_H264_get_ue_golomb(pstBits);
    if (uiType == 0) {
        Fw_H264_get_ue_golomb(pstBits);  // log2_max_pic_order_cnt_lsb_minus4
    } else if (uiType == 1) {
        Fw_H264_get_bits1(pstBits);      // delta_pic_order_always_zero_flag
        Fw_H264_get_se_golomb(pstBits);  // offset_for_non_ref_pic
        Fw_H264_get_se_golomb(pstBits);  // offset_for_top_to_bottom_field
        unsigned int uiCycle = Fw_H264_get_ue_golomb(pstBits);
        if (uiCycle > MAX_POC_CYCLE) {
            return false;
        }
        for (unsigned int i = 0; i < uiCycle; ++i) {
            Fw_H264_get_se_golomb(pstBits);  // offset_for_ref_frame
        }
    }
    return uiType <= 2;
}

/** Pixels of a size in macroblocks. */
USHORT Pixels(DULONG dulMbs) { return static_cast<USHORT>(std::clamp<DULONG>(dulMbs, 1, MAX_SIZE_IN_MBS) * 16); }

bool ReadSize(H264_GetBitContext_S *pstBits, H264_BitStreamInfo_S *pstInfo) {
    unsigned int uiRefFrames = Fw_H264_get_ue_golomb(pstBits);
    Fw_H264_get_bits1(pstBits);  // gaps_in_frame_num_value_allowed_flag
    DULONG dulWidth = DULONG{Fw_H264_get_ue_golomb(pstBits)} + 1;
    DULONG dulHeight = DULONG{Fw_H264_get_ue_golomb(pstBits)} + 1;
    bool bFramesOnly = Fw_H264_get_bits1(pstBits) != 0;
    if (!bFramesOnly) {
        dulHeight *= 2;
        Fw_H264_get_bits1(pstBits);  // mb_adaptive_frame_field_flag
    }
    if (uiRefFrames > (bFramesOnly ? 16U : 32U) || pstBits->index >= pstBits->size_in_bits) {
        return false;
    }
    pstInfo->usWidth = Pixels(dulWidth);
    pstInfo->usHeight = Pixels(dulHeight);
    return true;
}

void ReadCropping(H264_GetBitContext_S *pstBits, H264_BitStreamInfo_S *pstInfo) {
    pstInfo->iCrop = static_cast<int>(Fw_H264_get_bits1(pstBits));
    bool bCrop = pstInfo->iCrop != 0;
    pstInfo->uiCropLeft = bCrop ? Fw_H264_get_ue_golomb(pstBits) : 0;
    pstInfo->uiCropRight = bCrop ? Fw_H264_get_ue_golomb(pstBits) : 0;
    pstInfo->uiCropTop = bCrop ? Fw_H264_get_ue_golomb(pstBits) : 0;
    pstInfo->uiCropBottom = bCrop ? Fw_H264_get_ue_golomb(pstBits) : 0;
}

/** vui_parameters() up to the timing (ITU-T H.264, E.1.1). */
void ReadFrameRate(H264_GetBitContext_S *pstBits, H264_BitStreamInfo_S *pstInfo) {
    constexpr unsigned int EXTENDED_SAR = 255;
    if (Fw_H264_get_bits1(pstBits) != 0 && Fw_H264_get_bits(pstBits, 8) == EXTENDED_SAR) {
        Fw_H264_get_bits(pstBits, 32);  // sar_width, sar_height
    }
    if (Fw_H264_get_bits1(pstBits) != 0) {
        Fw_H264_get_bits1(pstBits);  // overscan_appropriate_flag
    }
    if (Fw_H264_get_bits1(pstBits) != 0) {
        Fw_H264_get_bits(pstBits, 4);  // video_format, video_full_range_flag
        if (Fw_H264_get_bits1(pstBits) != 0) {
            Fw_H264_get_bits(pstBits, 24);  // colour_primaries, transfer_characteristics, matrix_coefficients
        }
    }
    if (Fw_H264_get_bits1(pstBits) != 0) {
        Fw_H264_get_ue_golomb(pstBits);  // chroma_sample_loc_type_top_field
        Fw_H264_get_ue_golomb(pstBits);  // chroma_sample_loc_type_bottom_field
    }
    if (Fw_H264_get_bits1(pstBits) == 0) {
        return;  // timing_info_present_flag
    }
    DULONG dulUnits = Fw_H264_get_bits(pstBits, 32);
    DULONG dulScale = Fw_H264_get_bits(pstBits, 32);
    pstInfo->usFrameRate = dulUnits != 0 ? static_cast<USHORT>(dulScale / (dulUnits * 2)) : 0;
}

}  // namespace

int PreDec_av_log2(unsigned int uiValue) { return uiValue != 0 ? 31 - __builtin_clz(uiValue) : 0; }

int Fw_H264_clip(int iValue, int iMin, int iMax) { return iValue < iMin ? iMin : iValue > iMax ? iMax : iValue; }

void Fw_H264_init_get_bits(H264_GetBitContext_S *pstContext, const UCHAR *pucBuffer, int iBits) {
    pstContext->buffer = pucBuffer;
    pstContext->index = 0;
    pstContext->size_in_bits = pucBuffer != nullptr ? iBits : 0;
}

unsigned int Fw_H264_get_bits1(H264_GetBitContext_S *pstContext) {
    if (pstContext->index >= pstContext->size_in_bits) {
        return 0;
    }
    int iBit = pstContext->index++;
    return pstContext->buffer[iBit >> 3] >> (7 - (iBit & 7)) & 1U;
}

unsigned int Fw_H264_get_bits(H264_GetBitContext_S *pstContext, int iCount) {
    unsigned int uiValue = 0;
    for (int i = 0; i < iCount; ++i) {
        uiValue = uiValue << 1 | Fw_H264_get_bits1(pstContext);
    }
    return uiValue;
}

unsigned int Fw_H264_get_ue_golomb(H264_GetBitContext_S *pstContext) {
    int iZeros = 0;
    while (Fw_H264_get_bits1(pstContext) == 0) {
        ++iZeros;
        if (pstContext->index >= pstContext->size_in_bits) {
            return 0;
        }
    }
    if (iZeros > 31 || iZeros > pstContext->size_in_bits - pstContext->index) {
        pstContext->index = pstContext->size_in_bits;
        return 0;
    }
    return (1U << iZeros) - 1 + Fw_H264_get_bits(pstContext, iZeros);
}

int Fw_H264_get_se_golomb(H264_GetBitContext_S *pstContext) {
    unsigned int uiCode = Fw_H264_get_ue_golomb(pstContext);
    int iHalf = static_cast<int>(uiCode / 2);
    return (uiCode & 1) != 0 ? static_cast<int>(uiCode / 2 + 1) : -iHalf;
}

void FW_H264_ScalingList(H264_GetBitContext_S *pstContext, unsigned int uiSizeOfScalingList) {
    int iLast = 8;
    int iNext = 8;
    for (unsigned int i = 0; i < uiSizeOfScalingList && iNext != 0; ++i) {
        unsigned int uiDelta = static_cast<unsigned int>(Fw_H264_get_se_golomb(pstContext));
        iNext = static_cast<int>((static_cast<unsigned int>(iLast) + uiDelta) & 255);
        iLast = iNext == 0 ? iLast : iNext;
    }
}

int Fw_H264_ClrPCode(UCHAR *pucBuffer, int iLen, int *piStart) {
    *piStart = 0;
    if (pucBuffer == nullptr || iLen <= 0) {
        return 0;
    }
    // Backwards, so that each byte moves once; ucNext is the byte behind i as it was before the move.
    int iEnd = FindCleanEnd(pucBuffer, iLen);
    int iTo = iEnd;
    UCHAR ucNext = 255;  // in place of the byte behind the last: a 03 there stays
    for (int i = iEnd - 1; i >= 0; --i) {
        UCHAR ucByte = pucBuffer[i];
        if (!IsEmulation(pucBuffer, i, ucNext)) {
            pucBuffer[--iTo] = ucByte;
        }
        ucNext = ucByte;
    }
    *piStart = iTo;
    return iLen - iTo;
}

int Fw_H264_parseSPS(const UCHAR *pucBuffer, int iLen, H264_BitStreamInfo_S *pstBitstreamInfo) {
    if (pucBuffer == nullptr || iLen <= 0 || iLen > INT32_MAX / 8) {
        return -1;
    }
    H264_GetBitContext_S stBits;
    Fw_H264_init_get_bits(&stBits, pucBuffer, iLen * 8);
    unsigned int uiProfile = Fw_H264_get_bits(&stBits, 8);
    Fw_H264_get_bits(&stBits, 8);    // constraint flags
    Fw_H264_get_bits(&stBits, 8);    // level_idc
    Fw_H264_get_ue_golomb(&stBits);  // seq_parameter_set_id
    if (IsHighProfile(uiProfile)) {
        SkipChroma(&stBits);
    }
    Fw_H264_get_ue_golomb(&stBits);  // log2_max_frame_num_minus4
    if (!SkipPicOrderCount(&stBits) || !ReadSize(&stBits, pstBitstreamInfo)) {
        return -1;
    }
    Fw_H264_get_bits1(&stBits);  // direct_8x8_inference_flag
    ReadCropping(&stBits, pstBitstreamInfo);
    if (Fw_H264_get_bits1(&stBits) != 0) {
        ReadFrameRate(&stBits, pstBitstreamInfo);
    }
    return 0;
}

void Fw_H264_Preparse(const UCHAR *pucBuffer, int iLen, H264_BitStreamInfo_S *pstBitstreamInfo) {
    pstBitstreamInfo->uiFrameType = 255;
    pstBitstreamInfo->usWidth = 0;
    pstBitstreamInfo->usHeight = 0;
    pstBitstreamInfo->usFrameRate = 0;
    pstBitstreamInfo->bSPSFrame = 0;
    size_t ulLen = iLen > 0 ? static_cast<size_t>(iLen) : 0;
    bool bHaveSize = false;
    bool bHaveIdr = false;
    for (size_t i = StartCode_Find(pucBuffer, ulLen, 0); i + 4 < ulLen && !(bHaveSize && bHaveIdr);
         i = StartCode_Find(pucBuffer, ulLen, i + 3)) {
        UCHAR ucType = UnitType(pucBuffer[i + 3]);
        if (ucType == TYPE_SPS && !bHaveSize) {
            pstBitstreamInfo->bSPSFrame = 1;
            TrySps(pucBuffer + i + 4, ulLen - (i + 4), pstBitstreamInfo);
            bHaveSize = pstBitstreamInfo->usWidth != 0 && pstBitstreamInfo->usHeight != 0;
        } else if (ucType == TYPE_IDR) {
            pstBitstreamInfo->uiFrameType = 0;
            bHaveIdr = true;
        }
    }
    if (bHaveSize) {
        pstBitstreamInfo->uiFrameType = 0;
    }
}

int DSP_H264_PreParse(unsigned char *pucBuffer, int iBitsCnt, H264_BitStreamInfo_S *pstBitstreamInfo) {
    if (pstBitstreamInfo != nullptr) {
        Fw_H264_Preparse(pucBuffer, pucBuffer != nullptr ? iBitsCnt : 0, pstBitstreamInfo);
    }
    return 0;
}
