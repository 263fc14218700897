#include "analytics/module_iva.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

/** Kinds of records, in data frames; the two of version 2 also in SEI messages. */
enum : ULONG_32 {
    KIND_RESULT_V1 = 0,
    KIND_RULE_V1 = 1,
    KIND_RESULT_V2 = 16,
    KIND_RULE_V2 = 17,
};

constexpr LONG_32 SEGMENT_HEAD_LEN = 3;     // a byte, then the length
constexpr ULONG_32 HEAD_V2_LEN = 12;        // head of version-2 rules or results
constexpr ULONG_32 TARGET_LEN = 36;         // a version-2 target without its attachment
constexpr ULONG_32 RULE_V2_LEN = 108;       // a version-2 rule
constexpr ULONG_32 RULE_V2_COORD_AT = 16;   // its corners
constexpr LONG_32 RESULT_V1_USE_LIMIT = 5;  // pictures, beyond the first, that show a version-1 result
constexpr LONG_32 RULE_V1_USE_LIMIT = 60;   // and version-1 rules
constexpr ULONG_32 GROW_SLACK = 4;          // bytes that a buffer gets beyond the need

ULONG_32 ReadBe16(const CHAR *pcAt) {
    return static_cast<ULONG_32>(static_cast<UCHAR>(pcAt[0]) << 8 | static_cast<UCHAR>(pcAt[1]));
}

// The buffers hold records at any alignment, so words go through memcpy.

ULONG_32 LoadWord(const void *pAt) {
    ULONG_32 ulWord;
    memcpy(&ulWord, pAt, sizeof(ulWord));
    return ulWord;
}

void StoreWord(void *pAt, ULONG_32 ulWord) { memcpy(pAt, &ulWord, sizeof(ulWord)); }

/** Turns ulCount words from big-endian to host order. */
void SwapWords(void *pAt, size_t ulCount) {
    UCHAR *pucAt = static_cast<UCHAR *>(pAt);
    for (size_t i = 0; i < ulCount; ++i) {
        StoreWord(pucAt + 4 * i, __builtin_bswap32(LoadWord(pucAt + 4 * i)));
    }
}

/** Exchanges the 16-bit halves of ulCount words. */
void SwapHalves(void *pAt, size_t ulCount) {
    UCHAR *pucAt = static_cast<UCHAR *>(pAt);
    for (size_t i = 0; i < ulCount; ++i) {
        ULONG_32 ulWord = LoadWord(pucAt + 4 * i);
        StoreWord(pucAt + 4 * i, ulWord << 16 | ulWord >> 16);
    }
}

/** Turns a pair of 16-bit fields that share a word from big-endian to host order. */
void SwapShorts(void *pAt, size_t ulWords) {
    SwapWords(pAt, ulWords);
    SwapHalves(pAt, ulWords);
}

/** Makes room for ulDataLen bytes and sets the length. On failure the length is 0, so that nobody reads the buffer. */
ULONG_32 PrepareBuffer(ULONG_32 ulDataLen, ULONG_32 *pulLen, ULONG_32 *pulMaxLen, CHAR **ppBuf) {
    *pulLen = 0;
    if (ulDataLen > *pulMaxLen) {
        free(*ppBuf);
        *ppBuf = nullptr;
        if (ulDataLen > UINT32_MAX - GROW_SLACK) {
            return PLAYER_ERR_MALLOC;
        }
        *pulMaxLen = ulDataLen + GROW_SLACK;
    }
    if (*ppBuf == nullptr) {
        *ppBuf = static_cast<CHAR *>(malloc(std::max(*pulMaxLen, GROW_SLACK)));
        if (*ppBuf == nullptr) {
            return PLAYER_ERR_MALLOC;
        }
    }
    *pulLen = ulDataLen;
    return PLAYER_ERR_OK;
}

/**
 * Joins the segments of a data frame: drops the head of each segment but the first.
 *
 * @return bytes of the whole frame after that, or -1 if the lengths don't add up
 */
LONG_32 JoinSegments(CHAR *pcData, LONG_32 lDataLen) {
    if (lDataLen < SEGMENT_HEAD_LEN) {
        return -1;
    }
    LONG_32 lTotal = lDataLen;
    LONG_32 lSum = static_cast<LONG_32>(ReadBe16(pcData + 1));
    // The comparison is one of 16 bits; the sum itself does not wrap, so each byte is moved at most once.
    for (LONG_32 lDropped = 0; lSum < static_cast<USHORT>(lTotal - SEGMENT_HEAD_LEN);) {
        if (lSum < 1 || lSum + 2 * SEGMENT_HEAD_LEN >= lTotal) {
            return -1;
        }
        const CHAR *pcSegment = pcData + lDropped + lSum + SEGMENT_HEAD_LEN;
        LONG_32 lLen = static_cast<LONG_32>(ReadBe16(pcSegment + 1));
        LONG_32 lThere = std::min(lLen, lTotal - lSum - 2 * SEGMENT_HEAD_LEN);
        memmove(pcData + lSum + SEGMENT_HEAD_LEN, pcSegment + SEGMENT_HEAD_LEN, static_cast<size_t>(lThere));
        lDropped += SEGMENT_HEAD_LEN;
        lTotal -= SEGMENT_HEAD_LEN;
        lSum += lLen;
    }
    return lSum == lTotal - SEGMENT_HEAD_LEN ? lTotal : -1;
}

/** A body that is too short for its head is dropped, which is no failure for the caller. */
ULONG_32 DropShort() {
    LOG_ERROR("DataParse: IVADataLen Failed.");
    return PLAYER_ERR_OK;
}

ULONG_32 LogCopyFailure(ULONG_32 ulResult) {
    LOG_ERROR("DataParse: Data Malloc And Copy Failed, Error[0x%x].", ulResult);
    return ulResult;
}

ULONG_32 ParseRuleV1(IVA_INFO_S &stInfo, const CHAR *pcBody, ULONG_32 ulLen) {
    IVA_INFO_V1_S &stMeta = stInfo.stMetaV1;
    if (ulLen < sizeof(stMeta.stRuleConfig)) {
        return DropShort();
    }
    memcpy(&stMeta.stRuleConfig, pcBody, sizeof(stMeta.stRuleConfig));
    SwapWords(&stMeta.stRuleConfig, sizeof(stMeta.stRuleConfig) / 4);
    stMeta.lUseRuleCount = 0;
    stMeta.bHaveRule = 1;
    stInfo.ulMetaDataVersion = 1;
    return PLAYER_ERR_OK;
}

ULONG_32 ParseResultV1(IVA_INFO_S &stInfo, CHAR *pcBody, ULONG_32 ulLen) {
    IVA_INFO_V1_S &stMeta = stInfo.stMetaV1;
    constexpr ULONG_32 ulHeadLen = sizeof(stMeta.stResultHead);
    if (ulLen < ulHeadLen) {
        return DropShort();
    }
    memcpy(&stMeta.stResultHead, pcBody, ulHeadLen);
    SwapWords(&stMeta.stResultHead, ulHeadLen / 4);
    if (ulLen == ulHeadLen) {
        return PLAYER_ERR_OK;  // no targets: what is shown stays
    }
    ULONG_32 ulBufLen = 0;
    ULONG_32 ulMaxLen = static_cast<ULONG_32>(stMeta.lIVAResultBufMaxLen);
    ULONG_32 ulResult =
        DataMallocAndCopy(pcBody + ulHeadLen, ulLen - ulHeadLen, &ulBufLen, &ulMaxLen, &stMeta.pcResultBuf);
    stMeta.lIVAResultBufLen = static_cast<LONG_32>(ulBufLen);
    stMeta.lIVAResultBufMaxLen = static_cast<LONG_32>(ulMaxLen);
    if (ulResult != PLAYER_ERR_OK) {
        return LogCopyFailure(ulResult);
    }
    stMeta.bHaveResult = 1;
    stMeta.lUseResultCount = 0;
    stInfo.ulMetaDataVersion = 1;
    return PLAYER_ERR_OK;
}

/** Reads a version-2 head as three words: its two 16-bit fields change places, as readers of this path expect. */
template <class HEAD>
void ReadHeadAsWords(HEAD &stHead, const CHAR *pcBody) {
    memcpy(&stHead, pcBody, sizeof(stHead));
    SwapWords(&stHead, sizeof(stHead) / 4);
}

ULONG_32 ParseResultV2(IVA_INFO_S &stInfo, CHAR *pcBody, ULONG_32 ulLen) {
    IVA_INFO_V2_S &stMeta = stInfo.stMetaV2;
    if (ulLen < HEAD_V2_LEN) {
        return DropShort();
    }
    ReadHeadAsWords(stMeta.stResultHead, pcBody);
    ULONG_32 ulResult = DataMallocAndCopy(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, &stMeta.ulIVAResultBufLen,
                                          &stMeta.ulIVAResultBufMaxLen, &stMeta.pcResultBuf);
    if (ulResult != PLAYER_ERR_OK) {
        return LogCopyFailure(ulResult);
    }
    stMeta.bHaveResult = 1;
    stMeta.ulUseResultCount = 0;
    stMeta.ulIVAResultAttLen = 0;
    stInfo.ulMetaDataVersion = 2;
    return PLAYER_ERR_OK;
}

ULONG_32 ParseRuleV2(IVA_INFO_S &stInfo, CHAR *pcBody, ULONG_32 ulLen) {
    IVA_INFO_V2_S &stMeta = stInfo.stMetaV2;
    if (ulLen < HEAD_V2_LEN) {
        return DropShort();
    }
    ReadHeadAsWords(stMeta.stRuleHead, pcBody);
    ULONG_32 ulResult = DataMallocAndCopy(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, &stMeta.ulIVARuleBufLen,
                                          &stMeta.ulIVARuleBufMaxLen, &stMeta.pcRuleBuf);
    if (ulResult != PLAYER_ERR_OK) {
        return LogCopyFailure(ulResult);
    }
    stMeta.bHaveRule = 1;
    stMeta.ulUseRuleCount = 0;
    stInfo.ulMetaDataVersion = 2;
    return PLAYER_ERR_OK;
}

/** Reads a version-2 head field by field. */
template <class HEAD>
void ReadHead(HEAD &stHead, const CHAR *pcBody) {
    memcpy(&stHead, pcBody, sizeof(stHead));
    SwapWords(&stHead, 2);
    SwapShorts(reinterpret_cast<UCHAR *>(&stHead) + 8, 1);
}

ULONG_32 ParseSeiResult(IVA_INFO_V2_S &stMeta, CHAR *pcBody, ULONG_32 ulLen) {
    ReadHead(stMeta.stResultHead, pcBody);
    const ULONG_32 ulTargets = stMeta.stResultHead.usTargetNum;
    stMeta.ulIVAResultAttLen = 0;
    LONG_32 lResult =
        DataMallocAndCopyEx(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, ulTargets, &stMeta.ulIVAResultBufLen,
                            &stMeta.ulIVAResultBufMaxLen, &stMeta.ulIVAResultAttLen, &stMeta.pcResultBuf);
    if (lResult != PLAYER_ERR_OK) {
        LOG_ERROR("IvaV2Parse: Data Malloc And Copy Failed, Error[0x%x].", static_cast<unsigned>(lResult));
    } else if (ulLen == ulTargets * TARGET_LEN + stMeta.ulIVAResultAttLen + HEAD_V2_LEN) {
        stMeta.bHaveResult = 1;
        stMeta.ulUseResultCount = 0;
    } else {
        LOG_ERROR("IvaV2Parse: ulDataLen Is Invalid, TargetNum Is [%d], ulDataLen Is [%d], Attlen Is [%d].",
                  static_cast<int>(ulTargets), static_cast<int>(ulLen), static_cast<int>(stMeta.ulIVAResultAttLen));
    }
    return static_cast<ULONG_32>(lResult);
}

ULONG_32 ParseSeiRule(IVA_INFO_V2_S &stMeta, CHAR *pcBody, ULONG_32 ulLen) {
    ReadHead(stMeta.stRuleHead, pcBody);
    const ULONG_32 ulRules = stMeta.stRuleHead.usRuleNum;
    ULONG_32 ulResult = DataMallocAndCopy(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, &stMeta.ulIVARuleBufLen,
                                          &stMeta.ulIVARuleBufMaxLen, &stMeta.pcRuleBuf);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("IvaV2Parse: Data Malloc And Copy Failed, Error[0x%x].", ulResult);
    } else if (ulLen == ulRules * RULE_V2_LEN + HEAD_V2_LEN) {
        for (ULONG_32 i = 0; i < ulRules; ++i) {
            SwapHalves(stMeta.pcRuleBuf + i * RULE_V2_LEN + RULE_V2_COORD_AT, IVA_COORD_NUM_V2);
        }
        stMeta.bHaveRule = 1;
        stMeta.ulUseRuleCount = 0;
    } else {
        LOG_ERROR("IvaV2Parse: ulDataLen Is Invalid, ulDataLen Is [%d].", static_cast<int>(ulLen));
    }
    return ulResult;
}

/** A copy of a record buffer, one byte larger than the data; null if there is no memory. */
CHAR *CopyBuffer(const CHAR *pcBuf, ULONG_32 ulLen) {
    CHAR *pcCopy = static_cast<CHAR *>(malloc(size_t{ulLen} + 1));
    if (pcCopy != nullptr && pcBuf != nullptr) {
        memcpy(pcCopy, pcBuf, ulLen);
    }
    return pcCopy;
}

bool CopyV1(IVA_INFO_V1_S &stFrom, IVA_INFO_V1_S &stTo) {
    if (stFrom.bHaveResult == 1) {
        stTo.stResultHead = stFrom.stResultHead;
        // The copy's length field stays 0: readers go by the head.
        stTo.pcResultBuf = CopyBuffer(stFrom.pcResultBuf, static_cast<ULONG_32>(std::max(stFrom.lIVAResultBufLen, 0)));
        if (stTo.pcResultBuf == nullptr) {
            return false;
        }
        if (++stFrom.lUseResultCount > RESULT_V1_USE_LIMIT) {
            stFrom.bHaveResult = 0;
        }
        stTo.bHaveResult = 1;
    }
    if (stFrom.bHaveRule == 1) {
        stTo.stRuleConfig = stFrom.stRuleConfig;
        if (++stFrom.lUseRuleCount > RULE_V1_USE_LIMIT) {
            stFrom.bHaveRule = 0;
        }
        stTo.bHaveRule = 1;
    }
    return true;
}

/** Counts a use. A record that has outlived its hold time is not shown any more, not even by this copy. */
void CountUse(USHORT usHoldTime, LONG_32 lFrameTime, ULONG_32 &ulUses, BOOL_T &bHave, BOOL_T &bCopyHas) {
    ++ulUses;
    if (usHoldTime < DLONG{lFrameTime} * DLONG{ulUses}) {
        bHave = 0;
    }
    bCopyHas = bHave;
}

bool CopyV2(LONG_32 lFrameTime, IVA_INFO_V2_S &stFrom, IVA_INFO_V2_S &stTo) {
    if (stFrom.bHaveResult == 1) {
        stTo.stResultHead = stFrom.stResultHead;
        stTo.pcResultBuf = CopyBuffer(stFrom.pcResultBuf, stFrom.ulIVAResultBufLen);
        if (stTo.pcResultBuf == nullptr) {
            return false;
        }
        stTo.ulIVAResultBufLen = stFrom.ulIVAResultBufLen;
        stTo.ulIVAResultAttLen = stFrom.ulIVAResultAttLen;
        CountUse(stFrom.stResultHead.usDisplayHoldTime, lFrameTime, stFrom.ulUseResultCount, stFrom.bHaveResult,
                 stTo.bHaveResult);
    }
    if (stFrom.bHaveRule == 1) {
        stTo.stRuleHead = stFrom.stRuleHead;
        stTo.pcRuleBuf = CopyBuffer(stFrom.pcRuleBuf, stFrom.ulIVARuleBufLen);
        if (stTo.pcRuleBuf == nullptr) {
            return false;
        }
        stTo.ulIVARuleBufLen = stFrom.ulIVARuleBufLen;
        CountUse(stFrom.stRuleHead.usDisplayHoldTime, lFrameTime, stFrom.ulUseRuleCount, stFrom.bHaveRule,
                 stTo.bHaveRule);
    }
    return true;
}

bool HasRecord(const IVA_INFO_S &stInfo) {
    switch (stInfo.ulMetaDataVersion) {
        case 1:
            return stInfo.stMetaV1.bHaveRule == 1 || stInfo.stMetaV1.bHaveResult == 1;
        case 2:
            return stInfo.stMetaV2.bHaveRule == 1 || stInfo.stMetaV2.bHaveResult == 1;
        default:
            return false;
    }
}

}  // namespace

ULONG_32 DataParse(IVA_INFO_S *pstIvaInfo, CHAR *pcDataAddr, LONG_32 lDataLen) {
    if (pstIvaInfo == nullptr || pcDataAddr == nullptr) {
        return PLAYER_ERR_IVA_PARAM;
    }
    if (word::Load(pstIvaInfo->bDRVEnable) != 1) {
        return PLAYER_ERR_OK;
    }
    LONG_32 lTotal = JoinSegments(pcDataAddr, lDataLen);
    if (lTotal < 0) {
        return DropShort();
    }
    CHAR *pcBody = pcDataAddr + SEGMENT_HEAD_LEN;
    ULONG_32 ulLen = static_cast<ULONG_32>(lTotal - SEGMENT_HEAD_LEN);
    switch (static_cast<UCHAR>(pcDataAddr[0])) {
        case KIND_RESULT_V1:
            return ParseResultV1(*pstIvaInfo, pcBody, ulLen);
        case KIND_RULE_V1:
            return ParseRuleV1(*pstIvaInfo, pcBody, ulLen);
        case KIND_RESULT_V2:
            return ParseResultV2(*pstIvaInfo, pcBody, ulLen);
        case KIND_RULE_V2:
            return ParseRuleV2(*pstIvaInfo, pcBody, ulLen);
        default:
            return PLAYER_ERR_OK;
    }
}

ULONG_32 IvaV2Parse(ULONG_32 ulType, IVA_INFO_V2_S *pstIvaV2Info, CHAR *pcDataAddr, ULONG_32 ulDataLen) {
    if (pstIvaV2Info == nullptr || pcDataAddr == nullptr) {
        return PLAYER_ERR_IVA_PARAM;
    }
    if (ulType != KIND_RESULT_V2 && ulType != KIND_RULE_V2) {
        return PLAYER_ERR_OK;
    }
    if (ulDataLen < HEAD_V2_LEN) {
        LOG_ERROR("IvaV2Parse: ulDataLen Is Invalid, ulDataLen Is [%d].", static_cast<int>(ulDataLen));
        return PLAYER_ERR_OK;
    }
    if (LoadWord(pcDataAddr + 4) == 0) {
        return PLAYER_ERR_OK;  // the device has analytics off
    }
    return ulType == KIND_RESULT_V2 ? ParseSeiResult(*pstIvaV2Info, pcDataAddr, ulDataLen)
                                    : ParseSeiRule(*pstIvaV2Info, pcDataAddr, ulDataLen);
}

HANDLE DataCopy(LONG_32 lFrameRate, IVA_INFO_S *pstIvaInfo) {
    if (pstIvaInfo == nullptr || lFrameRate == 0 || word::Load(pstIvaInfo->bDRVEnable) == 0 ||
        !HasRecord(*pstIvaInfo)) {
        return nullptr;
    }
    IVA_INFO_S *pstCopy = static_cast<IVA_INFO_S *>(calloc(1, sizeof(IVA_INFO_S)));
    if (pstCopy == nullptr) {
        LOG_ERROR("DataCopy: Malloc Failed.");
        return nullptr;
    }
    pstCopy->bDRVEnable = 1;
    pstCopy->ulMetaDataVersion = pstIvaInfo->ulMetaDataVersion;
    const bool bCopied = pstIvaInfo->ulMetaDataVersion == 1
                             ? CopyV1(pstIvaInfo->stMetaV1, pstCopy->stMetaV1)
                             : CopyV2(1000 / lFrameRate, pstIvaInfo->stMetaV2, pstCopy->stMetaV2);
    HANDLE hCopy = pstCopy;
    if (!bCopied) {
        LOG_ERROR("DataCopy: Malloc Failed.");
        FreeInfo(&hCopy);
    }
    return hCopy;
}

void FreeInfo(HANDLE *phDrawInfo) {
    if (phDrawInfo == nullptr || *phDrawInfo == nullptr) {
        return;
    }
    IVA_FreeBuffers(static_cast<IVA_INFO_S *>(*phDrawInfo));
    free(*phDrawInfo);
    *phDrawInfo = nullptr;
}

void IVA_FreeBuffers(IVA_INFO_S *pstIvaInfo) {
    if (pstIvaInfo == nullptr) {
        return;
    }
    IVA_INFO_V1_S &stV1 = pstIvaInfo->stMetaV1;
    IVA_INFO_V2_S &stV2 = pstIvaInfo->stMetaV2;
    free(stV1.pcResultBuf);
    free(stV2.pcRuleBuf);
    free(stV2.pcResultBuf);
    stV1.pcResultBuf = nullptr;
    stV2.pcRuleBuf = nullptr;
    stV2.pcResultBuf = nullptr;
    stV1.lIVAResultBufLen = stV1.lIVAResultBufMaxLen = 0;
    stV2.ulIVARuleBufLen = stV2.ulIVARuleBufMaxLen = 0;
    stV2.ulIVAResultBufLen = stV2.ulIVAResultAttLen = stV2.ulIVAResultBufMaxLen = 0;
}

void ClearData(ULONG_32 ulClearType, IVA_INFO_S *pstIvaInfo) {
    if (pstIvaInfo == nullptr) {
        return;
    }
    if ((ulClearType & IVA_CLEAR_DATA_RULE) != 0) {
        pstIvaInfo->stMetaV1.bHaveRule = 0;
        pstIvaInfo->stMetaV2.bHaveRule = 0;
    }
    if ((ulClearType & IVA_CLEAR_DATA_RESULT) != 0) {
        pstIvaInfo->stMetaV1.bHaveResult = 0;
        pstIvaInfo->stMetaV2.bHaveResult = 0;
    }
}

ULONG_32 DataMallocAndCopy(CHAR *pcDataAddr, ULONG_32 ulDataLen, ULONG_32 *pulIVABufLen, ULONG_32 *pulIVABufMaxLen,
                           CHAR **ppIVABufAddr) {
    if (pcDataAddr == nullptr || pulIVABufLen == nullptr || pulIVABufMaxLen == nullptr || ppIVABufAddr == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = PrepareBuffer(ulDataLen, pulIVABufLen, pulIVABufMaxLen, ppIVABufAddr);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("DataMallocAndCopy: Malloc Failed.");
        return ulResult;
    }
    memcpy(*ppIVABufAddr, pcDataAddr, ulDataLen);
    SwapWords(*ppIVABufAddr, ulDataLen / 4);
    return PLAYER_ERR_OK;
}

LONG_32 DataMallocAndCopyEx(CHAR *pcDataAddr, ULONG_32 ulDataLen, ULONG_32 ulTargetNum, ULONG_32 *pulIVABufLen,
                            ULONG_32 *pulIVABufMaxLen, ULONG_32 *pulIVAAttLen, CHAR **ppIVABufAddr) {
    if (pcDataAddr == nullptr || pulIVABufLen == nullptr || pulIVABufMaxLen == nullptr || pulIVAAttLen == nullptr ||
        ppIVABufAddr == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (PrepareBuffer(ulDataLen, pulIVABufLen, pulIVABufMaxLen, ppIVABufAddr) != PLAYER_ERR_OK) {
        LOG_ERROR("DataMallocAndCopyEx: Malloc Failed.");
        return PLAYER_ERR_MALLOC;
    }
    memcpy(*ppIVABufAddr, pcDataAddr, ulDataLen);
    DULONG dulOffset = 0;
    for (ULONG_32 i = 0; i < ulTargetNum && dulOffset <= ulDataLen; ++i) {
        CHAR *pcTarget = *ppIVABufAddr + dulOffset;
        dulOffset += TARGET_LEN;
        if (dulOffset > ulDataLen) {
            break;
        }
        SwapWords(pcTarget, 2);
        SwapShorts(pcTarget + 8, 2);
        SwapWords(pcTarget + 16, 5);
        ULONG_32 ulAttachLen = LoadWord(pcTarget + 28);
        *pulIVAAttLen += ulAttachLen;
        dulOffset += ulAttachLen;
    }
    if (dulOffset > ulDataLen) {
        LOG_ERROR("DataMallocAndCopyEx: Data Invalid, Total Len is [%d], Offset is [%d].", static_cast<int>(ulDataLen),
                  static_cast<int>(dulOffset));
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}
