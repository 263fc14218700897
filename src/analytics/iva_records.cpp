#include "analytics/iva_records.h"

#include <cstring>

namespace {

constexpr ULONG_32 TARGET_LEN = sizeof(IVA_REPORT_RESULT_INFO_V2_EX_S);
constexpr ULONG_32 RULE_LEN = sizeof(IVA_REPORT_RULE_INFO_V2_S);

/** The words of a record that are two 16-bit fields each. */
struct PAIRS {
    ULONG_32 ulFirst;
    ULONG_32 ulNum;
};
constexpr PAIRS RULE_PAIRS = {4, IVA_COORD_NUM_V2};  // corners
constexpr PAIRS TARGET_PAIRS = {2, 2};               // start and end

/** A buffer whose whole words were turned: gives the bytes back as they came. */
struct TURNED {
    const UCHAR *pucBuf;
    DULONG dulWhole;  // bytes in whole words

    UCHAR Byte(DULONG dulAt) const { return pucBuf[dulAt < dulWhole ? dulAt ^ 3 : dulAt]; }
    ULONG_32 Word(DULONG dulAt) const {
        return ULONG_32{Byte(dulAt)} << 24 | ULONG_32{Byte(dulAt + 1)} << 16 | ULONG_32{Byte(dulAt + 2)} << 8 |
               Byte(dulAt + 3);
    }
};

/** Reads a record out of a turned buffer; all of it lies there. */
template <class RECORD>
void ReadTurned(const CHAR *pcBuf, DULONG dulLen, DULONG dulAt, PAIRS stPairs, RECORD *pstRecord) {
    const TURNED stBytes = {reinterpret_cast<const UCHAR *>(pcBuf), dulLen & ~DULONG{3}};
    ULONG_32 aulWord[sizeof(RECORD) / 4];
    for (ULONG_32 i = 0; i < sizeof(RECORD) / 4; ++i) {
        const ULONG_32 ulWord = stBytes.Word(dulAt + 4 * DULONG{i});
        const bool bPair = i - stPairs.ulFirst < stPairs.ulNum;
        aulWord[i] = bPair ? ulWord << 16 | ulWord >> 16 : ulWord;
    }
    memcpy(pstRecord, aulWord, sizeof(RECORD));
}

}  // namespace

ULONG_32 IvaRecords_RuleNum(const IVA_INFO_V2_S &stInfo) {
    return stInfo.bRuleFromData ? stInfo.stRuleHead.usDisplayHoldTime : stInfo.stRuleHead.usRuleNum;
}

ULONG_32 IvaRecords_TargetNum(const IVA_INFO_V2_S &stInfo) {
    return stInfo.bResultFromData ? stInfo.stResultHead.usDisplayHoldTime : stInfo.stResultHead.usTargetNum;
}

ULONG_32 IvaRecords_RuleHoldTime(const IVA_INFO_V2_S &stInfo) {
    return stInfo.bRuleFromData ? stInfo.stRuleHead.usRuleNum : stInfo.stRuleHead.usDisplayHoldTime;
}

ULONG_32 IvaRecords_ResultHoldTime(const IVA_INFO_V2_S &stInfo) {
    return stInfo.bResultFromData ? stInfo.stResultHead.usTargetNum : stInfo.stResultHead.usDisplayHoldTime;
}

bool IvaRecords_Rule(const IVA_INFO_V2_S &stInfo, ULONG_32 ulIndex, IVA_REPORT_RULE_INFO_V2_S *pstRule) {
    const DULONG dulAt = DULONG{ulIndex} * RULE_LEN;
    if (stInfo.pcRuleBuf == nullptr || dulAt + RULE_LEN > stInfo.ulIVARuleBufLen) {
        return false;
    }
    if (stInfo.bRuleFromData) {
        ReadTurned(stInfo.pcRuleBuf, stInfo.ulIVARuleBufLen, dulAt, RULE_PAIRS, pstRule);
    } else {
        memcpy(pstRule, stInfo.pcRuleBuf + dulAt, RULE_LEN);
    }
    return true;
}

bool IvaRecords_NextTarget(const IVA_INFO_V2_S &stInfo, DULONG *pdulAt, IVA_REPORT_RESULT_INFO_V2_EX_S *pstTarget) {
    const DULONG dulLen = stInfo.pcResultBuf != nullptr ? stInfo.ulIVAResultBufLen : 0;
    if (*pdulAt > dulLen || TARGET_LEN > dulLen - *pdulAt) {
        return false;
    }
    if (stInfo.bResultFromData) {
        ReadTurned(stInfo.pcResultBuf, dulLen, *pdulAt, TARGET_PAIRS, pstTarget);
    } else {
        memcpy(pstTarget, stInfo.pcResultBuf + *pdulAt, TARGET_LEN);
    }
    if (pstTarget->ulAttachLen > dulLen - *pdulAt - TARGET_LEN) {
        return false;
    }
    *pdulAt += TARGET_LEN + DULONG{pstTarget->ulAttachLen};
    return true;
}
