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
constexpr ULONG_32 TARGET_ATTACH_LEN_AT = 28;  // bytes of its attachment
constexpr ULONG_32 RULE_V2_LEN = 108;       // a version-2 rule
constexpr ULONG_32 RULE_V2_COORD_AT = 16;   // its corners
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

/** Without memory the buffer of the record before is gone too. */
ULONG_32 LogCopyFailure(const CHAR *pcFunction, BOOL_T &bHave, ULONG_32 ulResult) {
    LOG_ERROR("%s: Data Malloc And Copy Failed, Error[0x%x].", pcFunction, ulResult);
    bHave = 0;
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
        return LogCopyFailure("DataParse", stMeta.bHaveResult, ulResult);
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
        return LogCopyFailure("DataParse", stMeta.bHaveResult, ulResult);
    }
    stMeta.bHaveResult = 1;
    stMeta.bResultFromData = 1;
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
        return LogCopyFailure("DataParse", stMeta.bHaveRule, ulResult);
    }
    stMeta.bHaveRule = 1;
    stMeta.bRuleFromData = 1;
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

/** Where a walk over version-2 targets comes to. */
struct TARGET_WALK {
    DULONG dulEnd;        // behind the last target; more than the data when they don't hold all
    ULONG_32 ulAttachLen; // bytes of all attachments
};

/** Walks ulTargets targets in host order or, with bSwap, turns their fixed fields to it on the way. */
TARGET_WALK WalkTargets(CHAR *pcData, ULONG_32 ulLen, ULONG_32 ulTargets, bool bSwap) {
    TARGET_WALK stWalk = {};
    for (ULONG_32 i = 0; i < ulTargets && stWalk.dulEnd <= ulLen; ++i) {
        CHAR *pcTarget = pcData + stWalk.dulEnd;
        stWalk.dulEnd += TARGET_LEN;
        if (stWalk.dulEnd > ulLen) {
            break;
        }
        if (bSwap) {
            SwapWords(pcTarget, 2);
            SwapShorts(pcTarget + 8, 2);
            SwapWords(pcTarget + 16, 5);
        }
        const ULONG_32 ulWord = LoadWord(pcTarget + TARGET_ATTACH_LEN_AT);
        const ULONG_32 ulAttachLen = bSwap ? ulWord : __builtin_bswap32(ulWord);
        stWalk.ulAttachLen += ulAttachLen;
        stWalk.dulEnd += ulAttachLen;
    }
    return stWalk;
}

ULONG_32 LogPastEnd(ULONG_32 ulLen, const TARGET_WALK &stWalk) {
    LOG_ERROR("DataMallocAndCopyEx: Data Invalid, Total Len is [%d], Offset is [%d].", static_cast<int>(ulLen),
              static_cast<int>(stWalk.dulEnd));
    return PLAYER_ERR_PARAM;
}

/** Looks at the whole result first: what is shown stays, if this one does not hold. */
ULONG_32 ParseSeiResult(IVA_INFO_V2_S &stMeta, CHAR *pcBody, ULONG_32 ulLen) {
    IVA_REPORT_RESULT_HEAD_V2_S stHead;
    ReadHead(stHead, pcBody);
    const TARGET_WALK stWalk = WalkTargets(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, stHead.usTargetNum, false);
    if (stWalk.dulEnd > ulLen - HEAD_V2_LEN) {
        const ULONG_32 ulResult = LogPastEnd(ulLen - HEAD_V2_LEN, stWalk);
        LOG_ERROR("IvaV2Parse: Data Malloc And Copy Failed, Error[0x%x].", ulResult);
        return ulResult;
    }
    if (stWalk.dulEnd != ulLen - HEAD_V2_LEN) {
        LOG_ERROR("IvaV2Parse: ulDataLen Is Invalid, TargetNum Is [%d], ulDataLen Is [%d], Attlen Is [%d].",
                  static_cast<int>(stHead.usTargetNum), static_cast<int>(ulLen), static_cast<int>(stWalk.ulAttachLen));
        return PLAYER_ERR_OK;
    }
    stMeta.stResultHead = stHead;
    stMeta.ulIVAResultAttLen = 0;
    const LONG_32 lResult =
        DataMallocAndCopyEx(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, stHead.usTargetNum, &stMeta.ulIVAResultBufLen,
                            &stMeta.ulIVAResultBufMaxLen, &stMeta.ulIVAResultAttLen, &stMeta.pcResultBuf);
    if (lResult != PLAYER_ERR_OK) {
        return LogCopyFailure("IvaV2Parse", stMeta.bHaveResult, static_cast<ULONG_32>(lResult));
    }
    stMeta.bHaveResult = 1;
    stMeta.bResultFromData = 0;
    stMeta.ulUseResultCount = 0;
    return PLAYER_ERR_OK;
}

ULONG_32 ParseSeiRule(IVA_INFO_V2_S &stMeta, CHAR *pcBody, ULONG_32 ulLen) {
    IVA_REPORT_RULE_HEAD_V2_S stHead;
    ReadHead(stHead, pcBody);
    if (ulLen != stHead.usRuleNum * RULE_V2_LEN + HEAD_V2_LEN) {
        LOG_ERROR("IvaV2Parse: ulDataLen Is Invalid, ulDataLen Is [%d].", static_cast<int>(ulLen));
        return PLAYER_ERR_OK;
    }
    stMeta.stRuleHead = stHead;
    ULONG_32 ulResult = DataMallocAndCopy(pcBody + HEAD_V2_LEN, ulLen - HEAD_V2_LEN, &stMeta.ulIVARuleBufLen,
                                          &stMeta.ulIVARuleBufMaxLen, &stMeta.pcRuleBuf);
    if (ulResult != PLAYER_ERR_OK) {
        return LogCopyFailure("IvaV2Parse", stMeta.bHaveRule, ulResult);
    }
    for (ULONG_32 i = 0; i < stHead.usRuleNum; ++i) {
        SwapHalves(stMeta.pcRuleBuf + i * RULE_V2_LEN + RULE_V2_COORD_AT, IVA_COORD_NUM_V2);
    }
    stMeta.bHaveRule = 1;
    stMeta.bRuleFromData = 0;
    stMeta.ulUseRuleCount = 0;
    return PLAYER_ERR_OK;
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
    const TARGET_WALK stWalk = WalkTargets(*ppIVABufAddr, ulDataLen, ulTargetNum, true);
    *pulIVAAttLen += stWalk.ulAttachLen;
    return stWalk.dulEnd > ulDataLen ? static_cast<LONG_32>(LogPastEnd(ulDataLen, stWalk)) : PLAYER_ERR_OK;
}
