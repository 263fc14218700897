/**
 * @file h265_sps.cpp
 * @brief The H.265 side of dsp_mcfw_preparse: VPS and SPS.
 */
#include <algorithm>

#include "bits/dsp_mcfw_preparse.h"
#include "bits/start_code.h"

namespace {

constexpr ULONG_32 SMALLEST_INPUT = 20;
constexpr size_t UNIT_OFFSET = 5;       // start code and two header bytes
constexpr ULONG_32 MAX_SUB_LAYERS = 6;  // greatest max_sub_layers_minus1
constexpr UCHAR HEADER_VPS = 0x40;      // first header bytes: unit type shifted left by one
constexpr UCHAR HEADER_SPS = 0x42;
constexpr UCHAR HEADER_SLICE = 0x02;
constexpr UCHAR HEADER_IDR = 0x26;

enum class Found { kYes, kNo, kSliceFirst };

/** What of the VPS goes into the result; the record itself is cleared for the SPS. */
struct VpsResult {
    ULONG_32 ulMaxRefPicNum;
    ULONG_32 ulNumUnits;
    ULONG_32 ulTimeScale;
};

bool IsDry(const DSP_SPS_INFO_S *pstInfo) { return pstInfo->lBits == 0 && pstInfo->ulDataOffset >= pstInfo->ulDataLen; }

/** Sets the reader to the unit with that first header byte; everything behind it in the buffer belongs to the reader.
 */
Found FindUnit(UCHAR *pucData, size_t ulLen, UCHAR ucHeader, DSP_SPS_INFO_S *pstInfo) {
    for (size_t i = StartCode_Find(pucData, ulLen, 0); i + 4 < ulLen; i = StartCode_Find(pucData, ulLen, i + 3)) {
        UCHAR ucFound = pucData[i + 3];
        if (ucFound == ucHeader) {
            *pstInfo = DSP_SPS_INFO_S{};
            pstInfo->pucSpsData = pucData + i + UNIT_OFFSET;
            pstInfo->ulDataLen = static_cast<ULONG_32>(ulLen - (i + UNIT_OFFSET));
            return Found::kYes;
        }
        if (ucFound == HEADER_SLICE || ucFound == HEADER_IDR) {
            return Found::kSliceFirst;
        }
    }
    return Found::kNo;
}

/** The 88 bits of profile_tier_level() that a layer has, level apart (ITU-T H.265, 7.3.3). Returns profile_idc. */
ULONG_32 ReadProfile(DSP_SPS_INFO_S *pstInfo) {
    GetWord(pstInfo, 2);  // profile_space
    GetWord(pstInfo, 1);  // tier_flag
    ULONG_32 ulProfile = GetWord(pstInfo, 5);
    GetWord(pstInfo, 32);  // compatibility flags
    GetWord(pstInfo, 4);   // progressive, interlaced, non packed, frame only
    GetWord(pstInfo, 32);  // 44 reserved bits
    GetWord(pstInfo, 12);
    return ulProfile;
}

void ReadProfileTierLevel(DSP_SPS_INFO_S *pstInfo, ULONG_32 ulSubLayers) {
    pstInfo->ulProfile = ReadProfile(pstInfo);
    pstInfo->ulLevel = GetWord(pstInfo, 8);
    ULONG_32 aulFlags[MAX_SUB_LAYERS] = {};
    for (ULONG_32 i = 0; i < ulSubLayers; ++i) {
        aulFlags[i] = GetWord(pstInfo, 2);
    }
    for (ULONG_32 i = ulSubLayers; ulSubLayers > 0 && i < 8; ++i) {
        GetWord(pstInfo, 2);  // reserved
    }
    for (ULONG_32 i = 0; i < ulSubLayers; ++i) {
        if ((aulFlags[i] & 2) != 0) {
            ReadProfile(pstInfo);
        }
        if ((aulFlags[i] & 1) != 0) {
            GetWord(pstInfo, 8);  // sub_layer_level_idc
        }
    }
}

/** False when the data end within the flags, whose number may be made up. */
bool SkipLayerSets(DSP_SPS_INFO_S *pstInfo) {
    ULONG_32 ulMaxLayer = GetWord(pstInfo, 6);
    ULONG_32 ulSets = GetUE(pstInfo);
    for (ULONG_32 i = 0; i < ulSets; ++i) {
        for (ULONG_32 j = 0; j <= ulMaxLayer; ++j) {
            if (IsDry(pstInfo)) {
                return false;
            }
            GetBit(pstInfo);
        }
    }
    return true;
}

/** video_parameter_set_rbsp() up to the timing (ITU-T H.265, 7.3.2.1). */
bool ReadVps(DSP_SPS_INFO_S *pstInfo, VpsResult *pstResult) {
    GetWord(pstInfo, 4);  // id
    GetWord(pstInfo, 2);  // base layer flags
    GetWord(pstInfo, 6);  // max_layers_minus1
    ULONG_32 ulSubLayers = GetWord(pstInfo, 3);
    if (ulSubLayers > MAX_SUB_LAYERS) {
        return false;
    }
    GetWord(pstInfo, 1);   // temporal_id_nesting_flag
    GetWord(pstInfo, 16);  // reserved
    ReadProfileTierLevel(pstInfo, ulSubLayers);
    pstResult->ulMaxRefPicNum = 1;
    for (ULONG_32 i = GetBit(pstInfo) != 0 ? 0 : ulSubLayers; i <= ulSubLayers; ++i) {
        pstResult->ulMaxRefPicNum = std::max(pstResult->ulMaxRefPicNum, GetUE(pstInfo));
        GetUE(pstInfo);  // max_num_reorder_pics
        GetUE(pstInfo);  // max_latency_increase_plus1
    }
    if (!SkipLayerSets(pstInfo)) {
        return false;
    }
    bool bTiming = GetBit(pstInfo) != 0;
    pstResult->ulNumUnits = bTiming ? GetWord(pstInfo, 32) : 0;
    pstResult->ulTimeScale = bTiming ? GetWord(pstInfo, 32) : 0;
    return true;
}

/** seq_parameter_set_rbsp() up to the bit depths (ITU-T H.265, 7.3.2.2). */
bool ReadSps(DSP_SPS_INFO_S *pstInfo, const VpsResult &stVps) {
    GetWord(pstInfo, 4);  // VPS id
    ULONG_32 ulSubLayers = GetWord(pstInfo, 3);
    if (ulSubLayers > MAX_SUB_LAYERS) {
        return false;
    }
    GetWord(pstInfo, 1);  // temporal_id_nesting_flag
    ReadProfileTierLevel(pstInfo, ulSubLayers);
    ULONG_32 ulSpsId = GetUE(pstInfo);
    if (ulSpsId > 15) {
        return false;
    }
    ULONG_32 ulChroma = GetUE(pstInfo);
    if (ulSpsId > 3) {
        return false;  // of the 16 ids only four are taken
    }
    if (ulChroma == 3) {
        GetBit(pstInfo);  // separate_colour_plane_flag
    }
    pstInfo->lWidth = static_cast<LONG_32>(GetUE(pstInfo));
    pstInfo->lHeight = static_cast<LONG_32>(GetUE(pstInfo));
    pstInfo->ulMaxRefPicNum = stVps.ulMaxRefPicNum;
    for (int i = GetBit(pstInfo) != 0 ? 4 : 0; i > 0; --i) {
        GetUE(pstInfo);  // conformance window
    }
    ULONG_32 ulLumaDepth = GetUE(pstInfo);
    if (ulLumaDepth != GetUE(pstInfo)) {
        return false;
    }
    pstInfo->ulNumUnits = stVps.ulNumUnits;
    pstInfo->ulTimeScale = stVps.ulTimeScale;
    return true;
}

}  // namespace

UCHAR GetBYTE(DSP_SPS_INFO_S *pstSpsInfo) {
    if (pstSpsInfo->ulDataOffset >= pstSpsInfo->ulDataLen) {
        return 0;
    }
    UCHAR ucByte = pstSpsInfo->pucSpsData[pstSpsInfo->ulDataOffset++];
    pstSpsInfo->lZeros = ucByte == 0 ? std::min(pstSpsInfo->lZeros + 1, 2) : 0;
    if (pstSpsInfo->lZeros == 2 && pstSpsInfo->ulDataOffset < pstSpsInfo->ulDataLen &&
        pstSpsInfo->pucSpsData[pstSpsInfo->ulDataOffset] == 3) {
        ++pstSpsInfo->ulDataOffset;
        pstSpsInfo->lZeros = 0;
    }
    return ucByte;
}

ULONG_32 GetBit(DSP_SPS_INFO_S *pstSpsInfo) {
    if (IsDry(pstSpsInfo)) {
        return 0;
    }
    if (pstSpsInfo->lBits == 0) {
        pstSpsInfo->lByte = GetBYTE(pstSpsInfo);
        pstSpsInfo->lBits = 8;
    }
    --pstSpsInfo->lBits;
    return static_cast<ULONG_32>(pstSpsInfo->lByte) >> pstSpsInfo->lBits & 1;
}

ULONG_32 GetWord(DSP_SPS_INFO_S *pstSpsInfo, LONG_32 lBits) {
    ULONG_32 ulValue = 0;
    for (LONG_32 lLeft = lBits; lLeft > 0; --lLeft) {
        if (IsDry(pstSpsInfo)) {  // behind the end of the data stand zeros
            return lLeft < 32 ? ulValue << lLeft : 0;
        }
        ulValue = ulValue << 1 | GetBit(pstSpsInfo);
    }
    return ulValue;
}

ULONG_32 GetUE(DSP_SPS_INFO_S *pstSpsInfo) {
    LONG_32 lZeros = 0;
    while (!IsDry(pstSpsInfo) && GetBit(pstSpsInfo) == 0) {
        ++lZeros;
    }
    ULONG_32 ulPower = lZeros > 31 ? 0 : ULONG_32{1} << lZeros;
    return GetWord(pstSpsInfo, lZeros) + ulPower - 1;
}

LONG_32 GetSE(DSP_SPS_INFO_S *pstSpsInfo) {
    ULONG_32 ulCode = GetUE(pstSpsInfo);
    ULONG_32 ulHalf = ulCode / 2 + (ulCode & 1);  // (code + 1) / 2
    return static_cast<LONG_32>((ulCode & 1) != 0 ? ulHalf : 0 - ulHalf);
}

BOOL_T ParseSequenceParameterSet(UCHAR *pucSpsData, ULONG_32 ulDataLen, DSP_SPS_INFO_S *pstSpsInfo) {
    if (pstSpsInfo == nullptr) {
        return 0;
    }
    *pstSpsInfo = DSP_SPS_INFO_S{};
    if (pucSpsData == nullptr || ulDataLen < SMALLEST_INPUT) {
        return 0;
    }
    VpsResult stVps{};
    if (FindUnit(pucSpsData, ulDataLen, HEADER_VPS, pstSpsInfo) == Found::kSliceFirst || !ReadVps(pstSpsInfo, &stVps)) {
        return 0;
    }
    if (FindUnit(pucSpsData, ulDataLen, HEADER_SPS, pstSpsInfo) != Found::kYes) {
        return 0;
    }
    return ReadSps(pstSpsInfo, stVps) ? 1 : 0;
}
