#include "intake/module_sei.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

constexpr UCHAR NO_PAYLOAD = 0;
constexpr UCHAR PAYLOAD_DBUG = 25;     // debugging data, H.264
constexpr UCHAR PAYLOAD_SUBTYPED = 5;  // user data, unregistered
constexpr UCHAR TRAILING_BITS = 0x80;
constexpr LONG_32 BUFFER_SLACK = 1000;  // bytes that a buffer gets beyond the need
constexpr ULONG_32 LOG_INTERVAL = 100;  // failures to one log line
constexpr LONG_32 WATERMARK_LEN = 32;
constexpr LONG_32 FISHEYE_LEN = 6;
constexpr LONG_32 SUBTYPE_LEN = 1;        // the subtype counts as data
constexpr ULONG_32 IVA_RESULT_KIND = 16;  // kinds of IvaV2Parse()
constexpr ULONG_32 IVA_RULE_KIND = 17;

using PARSE_PF = ULONG_32 (*)(UCHAR *, LONG_32, SEI_INFO_S *);

/** A message that its payload type tells. */
struct MESSAGE_ROW {
    UCHAR ucH264Type;  // NO_PAYLOAD: not in this codec
    UCHAR ucH265Type;
    ULONG_32 ulBit;
    PARSE_PF pfnParse;
    const CHAR *pcName;
};

constexpr MESSAGE_ROW MESSAGES[] = {
    {33, 230, SEI_TYPE_UCODE, Sei_UcodeParse, "Sei_UcodeParse"},
    {PAYLOAD_DBUG, NO_PAYLOAD, SEI_TYPE_DBUG, Sei_DbugParse, "Sei_DbugParse"},
    {26, NO_PAYLOAD, SEI_TYPE_WATERMARK, Sei_WatermarkParse, "Sei_WatermarkParse"},
    {34, 231, SEI_TYPE_FISHEYE, Sei_FisheyeParse, "Sei_FisheyeParse"},
};

/** A message that its subtype tells. */
struct SUBTYPE_ROW {
    UCHAR ucSubtype;
    bool bBitFirst;  // the bit is set before parsing, so also when that fails
    ULONG_32 ulBit;
    PARSE_PF pfnParse;
    const CHAR *pcName;  // in the log line of a failure; null: the parser has told it
};

constexpr SUBTYPE_ROW SUBTYPES[] = {
    {20, false, SEI_TYPE_SCRAMBLE_RAND, Sei_ScrambleRandParse, "Sei_ScrambleKeyMParse"},
    {25, true, SEI_TYPE_VOICE_LOCATION, Sei_VoiceLocation, nullptr},
    {32, true, SEI_TYPE_IVA_RESULT, Sei_IvaV2Parse, nullptr},
    {33, true, SEI_TYPE_IVA_RULE, Sei_IvaV2Parse, nullptr},
    {36, false, SEI_TYPE_SCRAMBLE_KEY, Sei_ScrambleKeyMRsaParse, "Sei_ScrambleKeyMParse"},
    {37, false, SEI_TYPE_FILE_KEY, Sei_FileKeyMRsaParse, "Sei_FileKeyMRsaParse"},
};

/** What differs between the two codecs. */
struct CODEC_ROW {
    const CHAR *pcName;
    UCHAR MESSAGE_ROW::*pucType;
    LONG_32 lHeadLen;  // start code and NAL unit header
    UCHAR ucSeiNal;
    UCHAR ucNalShift;
    UCHAR ucNalMask;
    bool (*pfnIsSlice)(UCHAR ucNal);
    PARSE_PF pfnParse;
};

constexpr CODEC_ROW H264 = {
    "Sei_H264",   &MESSAGE_ROW::ucH264Type, 4, 6, 0, 0x1F, [](UCHAR ucNal) { return ucNal == 1 || ucNal == 5; },
    Sei_H264Parse};
constexpr CODEC_ROW H265 = {
    "Sei_H265",   &MESSAGE_ROW::ucH265Type, 5, 39, 1, 0x3F, [](UCHAR ucNal) { return ucNal >= 1 && ucNal <= 21; },
    Sei_H265Parse};

/** What IvaV2Parse() is to read, by the bits set for the message at hand. */
ULONG_32 IvaKind(ULONG_32 ulSeiType) {
    if ((ulSeiType & SEI_TYPE_IVA_RESULT) != 0) {
        return IVA_RESULT_KIND;
    }
    return (ulSeiType & SEI_TYPE_IVA_RULE) != 0 ? IVA_RULE_KIND : 0;
}

/** Makes a buffer larger than lLen bytes. */
ULONG_32 GrowBuffer(LONG_32 lLen, UCHAR *&pucBuffer, LONG_32 &lMaxLen) {
    if (lLen < lMaxLen && pucBuffer != nullptr) {
        return PLAYER_ERR_OK;
    }
    free(pucBuffer);
    lMaxLen = 0;
    const size_t ulSize = static_cast<size_t>(lLen) + BUFFER_SLACK;
    pucBuffer = ulSize <= INT32_MAX ? static_cast<UCHAR *>(malloc(ulSize)) : nullptr;
    if (pucBuffer == nullptr) {
        LOG_ERROR("Malloc (Size:%d) Failed", static_cast<int>(ulSize));
        return PLAYER_ERR_MALLOC;
    }
    lMaxLen = static_cast<LONG_32>(ulSize);
    return PLAYER_ERR_OK;
}

/** A payload inside its buffer. */
struct PAYLOAD {
    UCHAR *pucData;
    LONG_32 lSize;  // as coded; that many bytes are there
    LONG_32 lLeft;  // bytes of the buffer from pucData on
};

/** Reads the size at the start of a message and finds its payload. */
ULONG_32 FindPayload(const CHAR *pcName, UCHAR *pucBuffer, LONG_32 lBufferLen, const SEI_INFO_S *pstSeiInfo,
                     PAYLOAD &stPayload) {
    LONG_32 lOffset = 0;
    ULONG_32 ulResult = pstSeiInfo != nullptr ? Sei_MathSeiLen(pucBuffer, lBufferLen, &stPayload.lSize, &lOffset)
                                              : ULONG_32{PLAYER_ERR_PARAM};
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("%s Failed, Sei_MathSeiLen Failed, Error:[0x%x].", pcName, ulResult);
        return PLAYER_ERR_PARAM;
    }
    stPayload.pucData = pucBuffer + lOffset;
    stPayload.lLeft = lBufferLen - lOffset;
    return stPayload.lSize <= stPayload.lLeft ? PLAYER_ERR_OK : PLAYER_ERR_PARAM;
}

/**
 * Brings a payload, lNeed bytes of which are of interest, into the working buffer. A size counts bytes without
 * emulation prevention (7.3.2.3.1), but there are devices that count it in. So both are taken: when removal leaves too
 * few bytes, those behind are read as well, as far as there are any.
 */
ULONG_32 LoadPayload(const PAYLOAD &stPayload, LONG_32 lNeed, SEI_TMEP_INFO_S &stTemp) {
    if (stPayload.lSize < lNeed) {
        return PLAYER_ERR_PARAM;
    }
    for (LONG_32 lRaw = stPayload.lSize;;) {
        ULONG_32 ulResult = GrowBuffer(lRaw, stTemp.pucSeiBuffer, stTemp.lBufferMaxLen);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        LONG_32 lLen = lRaw;
        Sei_DelCompeteCode(stPayload.pucData, stTemp.pucSeiBuffer, &lLen);
        if (lLen >= lNeed) {
            return PLAYER_ERR_OK;
        }
        if (lRaw == stPayload.lLeft) {
            return PLAYER_ERR_PARAM;
        }
        lRaw = std::min(stPayload.lLeft, lRaw + lNeed - lLen);
    }
}

/** Whether the data of a subtyped message have lNeed bytes. */
bool HasData(const UCHAR *pucBuffer, LONG_32 lCodedLen, const SEI_INFO_S *pstSeiInfo, LONG_32 lNeed) {
    return pucBuffer != nullptr && pstSeiInfo != nullptr && lCodedLen >= SUBTYPE_LEN + lNeed;
}

/** Counts a failure and says whether it is one of those that are logged. */
bool CountFailure(SEI_INFO_S &stInfo) { return ++stInfo.ulErrCount % LOG_INTERVAL == 1; }

/** A type or subtype that is not ours, as encoders' own messages are: told once in a hundred, let pass otherwise. */
ULONG_32 RefuseUnknown(const CODEC_ROW &stCodec, const CHAR *pcWhat, UCHAR ucType, SEI_INFO_S &stInfo) {
    if (!CountFailure(stInfo)) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("%s_Parse Failed, Unknown %s Value Type[0x%x], Count:[%d].", stCodec.pcName, pcWhat,
              static_cast<unsigned>(ucType), static_cast<int>(stInfo.ulErrCount));
    return PLAYER_ERR_PARAM;
}

/** Parses the data of a subtype. */
ULONG_32 ParseSubtypeData(const CODEC_ROW &stCodec, const SUBTYPE_ROW &stRow, UCHAR *pucData, LONG_32 lLen,
                          SEI_INFO_S &stInfo) {
    // Rules and results share a parser that tells them apart by these bits, so it must see the message's own alone.
    const ULONG_32 ulFound = stInfo.ulSeiType;
    stInfo.ulSeiType = stRow.bBitFirst ? stRow.ulBit : 0;
    ULONG_32 ulResult = stRow.pfnParse(pucData, lLen, &stInfo);
    stInfo.ulSeiType |= ulFound;
    if (ulResult == PLAYER_ERR_OK) {
        stInfo.ulSeiType |= stRow.ulBit;
    } else if (stRow.pcName != nullptr) {
        // The line of a failed file key names the H.264 parser whatever the codec.
        const CHAR *pcParser = stRow.ulBit == SEI_TYPE_FILE_KEY ? H264.pcName : stCodec.pcName;
        LOG_ERROR("%sParse Failed, %s Failed, Error:[0x%x].", pcParser, stRow.pcName, ulResult);
    }
    return ulResult;
}

/** Parses a subtyped message, from its size on. */
ULONG_32 ParseSubtyped(const CODEC_ROW &stCodec, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S &stInfo) {
    LONG_32 lLen = 0;
    LONG_32 lOffset = 0;
    ULONG_32 ulResult = Sei_MathSeiLen(pucBuffer, lBufferLen, &lLen, &lOffset);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("%sParse Failed, Sei_MathSeiLen Failed, Error:[0x%x].", stCodec.pcName, ulResult);
        return ulResult;
    }
    if (lLen >= lBufferLen - lOffset || pucBuffer[lOffset + lLen] != TRAILING_BITS) {
        LOG_ERROR("%s_Parse Failed, Sei (Len:%d) Data Not Complete", stCodec.pcName, lLen);
        return PLAYER_ERR_PARAM;
    }
    const UCHAR ucSubtype = pucBuffer[lOffset];
    for (const SUBTYPE_ROW &stRow : SUBTYPES) {
        if (stRow.ucSubtype == ucSubtype) {
            return ParseSubtypeData(stCodec, stRow, pucBuffer + lOffset + SUBTYPE_LEN, lLen, stInfo);
        }
    }
    return RefuseUnknown(stCodec, "SEI_subtype", ucSubtype, stInfo);
}

ULONG_32 ParseMessage(const CODEC_ROW &stCodec, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (pucBuffer == nullptr || lBufferLen < 1 || pstSeiInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const UCHAR ucType = pucBuffer[0];
    if (ucType == PAYLOAD_SUBTYPED) {
        return ParseSubtyped(stCodec, pucBuffer + 1, lBufferLen - 1, *pstSeiInfo);
    }
    for (const MESSAGE_ROW &stRow : MESSAGES) {
        if (stRow.*stCodec.pucType != ucType || ucType == NO_PAYLOAD) {
            continue;
        }
        pstSeiInfo->ulSeiType |= stRow.ulBit;
        ULONG_32 ulResult = stRow.pfnParse(pucBuffer + 1, lBufferLen - 1, pstSeiInfo);
        if (ulResult != PLAYER_ERR_OK && CountFailure(*pstSeiInfo)) {
            LOG_ERROR("%sParse Failed, %s Failed, Error:[0x%x], Count:[%d].", stCodec.pcName, stRow.pcName, ulResult,
                      static_cast<int>(pstSeiInfo->ulErrCount));
        }
        return ulResult;
    }
    return RefuseUnknown(stCodec, "Sei", ucType, *pstSeiInfo);
}

/** Keeps a key as it came. The coded length counts the subtype as well; the caller has held it against the field. */
void KeepKey(const UCHAR *pucSource, LONG_32 lCodedLen, CHAR *pcKey, LONG_32 *plKeyLen) {
    *plKeyLen = lCodedLen - SUBTYPE_LEN;
    memcpy(pcKey, pucSource, static_cast<size_t>(*plKeyLen));
}

/**
 * The length of a debugging unit whose size is coded in two or three little-endian bytes instead.
 *
 * @return bytes from the start code to the trailing bits, which stand in the buffer; 0 if neither fits
 */
DLONG WideDbugLen(const UCHAR *pucUnit, DLONG dlLeft) {
    if (dlLeft < 9) {
        return 0;
    }
    const DLONG dlLe16 = pucUnit[6] | DLONG{pucUnit[7]} << 8;
    if (dlLe16 + 8 < dlLeft && pucUnit[dlLe16 + 8] == TRAILING_BITS) {
        return dlLe16 + 8;
    }
    const DLONG dlLe24 = dlLe16 | DLONG{pucUnit[8]} << 16;
    return dlLe24 + 9 < dlLeft && pucUnit[dlLe24 + 9] == TRAILING_BITS ? dlLe24 + 9 : 0;
}

/** Whether an SEI unit with a 4-byte start code and a payload type stands here. */
bool IsSeiUnit(const UCHAR *pucUnit, DLONG dlLeft) {
    constexpr UCHAR aucStartCode[] = {0, 0, 0, 1};
    return dlLeft >= 6 && memcmp(pucUnit, aucStartCode, sizeof(aucStartCode)) == 0 &&
           (pucUnit[4] & H264.ucNalMask) == H264.ucSeiNal;
}

}  // namespace

ULONG_32 Sei_Parse(LONG_32 lPayload, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!Payload_IsInterVideo(lPayload)) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (pucBuffer == nullptr || pstSeiInfo == nullptr || lBufferLen < 1) {
        LOG_ERROR("Sei_Parse Failed, Invalid Param, Payload[%d] Buffer[%d] BufferLen[%d] SeiInfo[%d].", lPayload,
                  pucBuffer != nullptr ? 1 : 0, lBufferLen, pstSeiInfo != nullptr ? 1 : 0);
        return PLAYER_ERR_PARAM;
    }
    pstSeiInfo->ulSeiType = 0;
    if (Sei_GetSeiTotalLen(lPayload, pucBuffer, lBufferLen, pstSeiInfo) != PLAYER_ERR_OK) {
        pstSeiInfo->ulSeiTotalLen = 0;
    }
    const CODEC_ROW &stCodec = lPayload == PLAYER_PAYLOAD_H264 ? H264 : H265;
    ULONG_32 ulResult = PLAYER_ERR_OK;
    for (LONG_32 i = 0; i < lBufferLen - stCodec.lHeadLen;) {
        const UCHAR *pucAt = pucBuffer + i;
        if (pucAt[0] != 0 || pucAt[1] != 0 || pucAt[2] != 1) {
            ++i;
            continue;
        }
        const UCHAR ucNal = pucAt[3] >> stCodec.ucNalShift & stCodec.ucNalMask;
        if (ucNal == stCodec.ucSeiNal) {
            const LONG_32 lMessage = i + stCodec.lHeadLen;
            ulResult = stCodec.pfnParse(pucBuffer + lMessage, lBufferLen - lMessage, pstSeiInfo);
            ++i;
        } else if (stCodec.pfnIsSlice(ucNal)) {
            return ulResult;
        } else {
            i += 4;
        }
    }
    return ulResult;
}

void Sei_InfoClear(SEI_INFO_S *pstSeiInfo) {
    if (pstSeiInfo == nullptr) {
        return;
    }
    free(pstSeiInfo->stSeiTempInfo.pucSeiBuffer);
    free(pstSeiInfo->stDbugInfo.pucDbugBuffer);
    IVA_FreeBuffers(&pstSeiInfo->stSeiIvaInfo.stIvaInfo);
    *pstSeiInfo = {};
}

ULONG_32 Sei_H264Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    return ParseMessage(H264, pucBuffer, lBufferLen, pstSeiInfo);
}

ULONG_32 Sei_H265Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    return ParseMessage(H265, pucBuffer, lBufferLen, pstSeiInfo);
}

ULONG_32 Sei_MathSeiLen(UCHAR *pucBuffer, LONG_32 lBufferLen, LONG_32 *plSeiDataLen, LONG_32 *plOffset) {
    if (pucBuffer == nullptr || plSeiDataLen == nullptr || plOffset == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lOffset = 0;
    while (lOffset < lBufferLen && pucBuffer[lOffset] == 0xFF) {
        ++lOffset;
    }
    if (lOffset >= lBufferLen) {
        return PLAYER_ERR_PARAM;
    }
    const DLONG dlLen = DLONG{lOffset} * 255 + pucBuffer[lOffset];
    if (dlLen < 1 || dlLen >= lBufferLen) {
        LOG_ERROR("Sei_MathSeiLen Failed, BufferLen[%d], SeiLen[%d].", lBufferLen, static_cast<int>(dlLen));
        return PLAYER_ERR_PARAM;
    }
    *plSeiDataLen = static_cast<LONG_32>(dlLen);
    *plOffset = lOffset + 1;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_DelCompeteCode(UCHAR *pucStreamBuffer, UCHAR *pucSeiBuffer, LONG_32 *plBufferLen) {
    if (pucStreamBuffer == nullptr || pucSeiBuffer == nullptr || plBufferLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lZeros = 0;
    LONG_32 lTo = 0;
    for (LONG_32 lFrom = 0; lFrom < *plBufferLen; ++lFrom) {
        const UCHAR ucByte = pucStreamBuffer[lFrom];
        if (lZeros >= 2 && ucByte == 3) {
            lZeros = 0;
            continue;
        }
        lZeros = ucByte == 0 ? lZeros + 1 : 0;
        pucSeiBuffer[lTo++] = ucByte;
    }
    *plBufferLen = lTo;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_GetSeiTotalLen(LONG_32 lPayload, UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (pucBuffer == nullptr || pstSeiInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstSeiInfo->ulSeiTotalLen = 0;
    if (lPayload != PLAYER_PAYLOAD_H264) {
        return PLAYER_ERR_OK;
    }
    bool bDbug = false;
    for (DLONG dlAt = 0; IsSeiUnit(pucBuffer + dlAt, lBufferLen - dlAt);) {
        UCHAR *pucUnit = pucBuffer + dlAt;
        const DLONG dlLeft = lBufferLen - dlAt;
        const bool bThis = pucUnit[5] == PAYLOAD_DBUG;
        LONG_32 lLen = 0;
        LONG_32 lOffset = 0;
        ULONG_32 ulResult = Sei_MathSeiLen(pucUnit + 6, static_cast<LONG_32>(dlLeft - 6), &lLen, &lOffset);
        DLONG dlTotal = DLONG{lOffset} + 6 + lLen;
        if (ulResult == PLAYER_ERR_OK && (dlTotal >= dlLeft || pucUnit[dlTotal] != TRAILING_BITS)) {
            dlTotal = bThis ? WideDbugLen(pucUnit, dlLeft) : 0;
            ulResult = dlTotal != 0 ? PLAYER_ERR_OK : PLAYER_ERR_PARAM;
        }
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Sei_MathSeiLen Failed, Error:[0x%x].", ulResult);
            return PLAYER_ERR_PARAM;
        }
        pstSeiInfo->ulSeiTotalLen += static_cast<ULONG_32>(dlTotal + 1);
        bDbug = bDbug || bThis;
        dlAt += dlTotal + 1;
    }
    if (!bDbug) {
        pstSeiInfo->ulSeiTotalLen = 0;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_UcodeParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    PAYLOAD stPayload = {};
    ULONG_32 ulResult = FindPayload("Sei_UcodeParse", pucBuffer, lBufferLen, pstSeiInfo, stPayload);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = LoadPayload(stPayload, 1, pstSeiInfo->stSeiTempInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const unsigned ulHead = pstSeiInfo->stSeiTempInfo.pucSeiBuffer[0];
    SEI_UCODE_HEAD_INFO_S &stHead = pstSeiInfo->stUcodeInfo.stUcodeHeadInfo;
    stHead.ucBitReserved1 = ulHead >> 7 & 1;
    stHead.ucBitCodeType = ulHead >> 5 & 3;
    stHead.ucBitRender = ulHead >> 4 & 1;
    stHead.ucBitReserved2 = ulHead >> 2 & 3;
    stHead.ucBitStoreReference = ulHead & 3;
    pstSeiInfo->stUcodeInfo.lSeiDataLen = stPayload.lSize;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_DbugParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    PAYLOAD stPayload = {};
    ULONG_32 ulResult = FindPayload("Sei_DbugParse", pucBuffer, lBufferLen, pstSeiInfo, stPayload);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    SEI_DBUG_INFO_S &stDbug = pstSeiInfo->stDbugInfo;
    stDbug.lSeiDataLen = 0;
    ulResult = GrowBuffer(stPayload.lSize, stDbug.pucDbugBuffer, stDbug.lBufferMaxLen);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    memcpy(stDbug.pucDbugBuffer, stPayload.pucData, static_cast<size_t>(stPayload.lSize));
    stDbug.lSeiDataLen = stPayload.lSize;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_WatermarkParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    PAYLOAD stPayload = {};
    ULONG_32 ulResult = FindPayload("Sei_WatermarkParse", pucBuffer, lBufferLen, pstSeiInfo, stPayload);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = LoadPayload(stPayload, WATERMARK_LEN, pstSeiInfo->stSeiTempInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    SEI_WATERMARK_INFO_S &stMark = pstSeiInfo->stWatermarkInfo;
    const UCHAR *pucMark = pstSeiInfo->stSeiTempInfo.pucSeiBuffer;
    memcpy(stMark.szWatermarkValue, pucMark, sizeof(stMark.szWatermarkValue));
    memcpy(stMark.szCheckValue, pucMark + sizeof(stMark.szWatermarkValue), sizeof(stMark.szCheckValue));
    stMark.lSeiDataLen = stPayload.lSize;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_FisheyeParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    PAYLOAD stPayload = {};
    ULONG_32 ulResult = FindPayload("Sei_FisheyeParse", pucBuffer, lBufferLen, pstSeiInfo, stPayload);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = LoadPayload(stPayload, FISHEYE_LEN, pstSeiInfo->stSeiTempInfo);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const UCHAR *pucCircle = pstSeiInfo->stSeiTempInfo.pucSeiBuffer;
    pstSeiInfo->stFisheyeInfo.usX = bytes::Be16(pucCircle);
    pstSeiInfo->stFisheyeInfo.usY = bytes::Be16(pucCircle + 2);
    pstSeiInfo->stFisheyeInfo.ulRadius = bytes::Be16(pucCircle + 4);
    pstSeiInfo->stFisheyeInfo.lSeiDataLen = stPayload.lSize;
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_VoiceLocation(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 2)) {
        return PLAYER_ERR_PARAM;
    }
    pstSeiInfo->stVoiceLocationInfo.lSeiDataLen = lBufferLen - SUBTYPE_LEN;
    pstSeiInfo->stVoiceLocationInfo.usSoundDir = bytes::Be16(pucBuffer);
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_ScrambleRandParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 2)) {
        return PLAYER_ERR_PARAM;
    }
    if (pucBuffer[0] != 3 || pucBuffer[1] != 0) {
        LOG_ERROR("Sei_ScrambleRandParse Failed, Unknown ver%d.%d", static_cast<int>(pucBuffer[0]),
                  static_cast<int>(pucBuffer[1]));
        return PLAYER_ERR_PARAM;
    }
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 6)) {
        return PLAYER_ERR_PARAM;
    }
    pstSeiInfo->stScramble.ulRand = bytes::Be32(pucBuffer + 2);
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_ScrambleKeyMRsaParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 0)) {
        return PLAYER_ERR_PARAM;
    }
    if (lBufferLen >= SEI_KEY_RSA_LEN) {
        LOG_ERROR("Sei_ScrambleKeyMParse Failed, KeyM Len[%d] out of Max[%d].", lBufferLen, int{SEI_KEY_RSA_LEN});
        return PLAYER_ERR_PARAM;
    }
    KeepKey(pucBuffer, lBufferLen, pstSeiInfo->stScramble.szKeyMRsa, &pstSeiInfo->stScramble.lKeyMRsaLen);
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_FileKeyMRsaParse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 0)) {
        return PLAYER_ERR_PARAM;
    }
    if (lBufferLen >= SEI_FILE_KEY_LEN) {
        LOG_ERROR("Sei_FileKeyMRsaParse Failed, KeyM Len[%d] out of Max[%d]", lBufferLen, int{SEI_FILE_KEY_LEN});
        return PLAYER_ERR_PARAM;
    }
    KeepKey(pucBuffer, lBufferLen, pstSeiInfo->stScramble.szFileKeyM, &pstSeiInfo->stScramble.lFileKeyMLen);
    return PLAYER_ERR_OK;
}

ULONG_32 Sei_IvaV2Parse(UCHAR *pucBuffer, LONG_32 lBufferLen, SEI_INFO_S *pstSeiInfo) {
    if (!HasData(pucBuffer, lBufferLen, pstSeiInfo, 0)) {
        LOG_ERROR("Sei_IvaV2Parse fail, SEI data len is: %d", lBufferLen);
        return PLAYER_ERR_PARAM;
    }
    SEI_IVA_INFO_S &stIva = pstSeiInfo->stSeiIvaInfo;
    SEI_TMEP_INFO_S &stTemp = pstSeiInfo->stSeiTempInfo;
    LONG_32 lLen = lBufferLen - SUBTYPE_LEN;
    stIva.lSeiDataLen = lLen;
    stIva.stIvaInfo.ulMetaDataVersion = 2;
    ULONG_32 ulResult = GrowBuffer(lLen, stTemp.pucSeiBuffer, stTemp.lBufferMaxLen);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    Sei_DelCompeteCode(pucBuffer, stTemp.pucSeiBuffer, &lLen);
    return IvaV2Parse(IvaKind(pstSeiInfo->ulSeiType), &stIva.stIvaInfo.stMetaV2,
                      reinterpret_cast<CHAR *>(stTemp.pucSeiBuffer), static_cast<ULONG_32>(lLen));
}
