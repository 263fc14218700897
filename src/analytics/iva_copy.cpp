// The copies of module_iva's records that travel with pictures.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "analytics/iva_records.h"
#include "analytics/module_iva.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

constexpr LONG_32 RESULT_V1_USE_LIMIT = 5;  // pictures, beyond the first, that show a version-1 result
constexpr LONG_32 RULE_V1_USE_LIMIT = 60;   // and version-1 rules

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
void CountUse(ULONG_32 ulHoldTime, LONG_32 lFrameTime, ULONG_32 &ulUses, BOOL_T &bHave, BOOL_T &bCopyHas) {
    ++ulUses;
    if (ulHoldTime < DLONG{lFrameTime} * DLONG{ulUses}) {
        bHave = 0;
    }
    bCopyHas = bHave;
}

/** How many of the targets that the head names lie in the buffer. */
USHORT FittingTargets(const IVA_INFO_V2_S &stInfo) {
    const ULONG_32 ulNamed = IvaRecords_TargetNum(stInfo);
    IVA_REPORT_RESULT_INFO_V2_EX_S stTarget;
    DULONG dulAt = 0;
    USHORT usNum = 0;
    while (usNum < ulNamed && IvaRecords_NextTarget(stInfo, &dulAt, &stTarget)) {
        ++usNum;
    }
    return usNum;
}

/** The same of the rules. */
USHORT FittingRules(const IVA_INFO_V2_S &stInfo) {
    const ULONG_32 ulRoom = stInfo.ulIVARuleBufLen / sizeof(IVA_REPORT_RULE_INFO_V2_S);
    return static_cast<USHORT>(std::min(IvaRecords_RuleNum(stInfo), ulRoom));
}

bool CopyResultV2(LONG_32 lFrameTime, IVA_INFO_V2_S &stFrom, IVA_INFO_V2_S &stTo) {
    stTo.stResultHead = stFrom.stResultHead;
    stTo.bResultFromData = stFrom.bResultFromData;
    stTo.pcResultBuf = CopyBuffer(stFrom.pcResultBuf, stFrom.ulIVAResultBufLen);
    if (stTo.pcResultBuf == nullptr) {
        return false;
    }
    stTo.ulIVAResultBufLen = stFrom.ulIVAResultBufLen;
    stTo.ulIVAResultAttLen = stFrom.ulIVAResultAttLen;
    (stTo.bResultFromData ? stTo.stResultHead.usDisplayHoldTime : stTo.stResultHead.usTargetNum) = FittingTargets(stTo);
    CountUse(IvaRecords_ResultHoldTime(stFrom), lFrameTime, stFrom.ulUseResultCount, stFrom.bHaveResult,
             stTo.bHaveResult);
    return true;
}

bool CopyRuleV2(LONG_32 lFrameTime, IVA_INFO_V2_S &stFrom, IVA_INFO_V2_S &stTo) {
    stTo.stRuleHead = stFrom.stRuleHead;
    stTo.bRuleFromData = stFrom.bRuleFromData;
    stTo.pcRuleBuf = CopyBuffer(stFrom.pcRuleBuf, stFrom.ulIVARuleBufLen);
    if (stTo.pcRuleBuf == nullptr) {
        return false;
    }
    stTo.ulIVARuleBufLen = stFrom.ulIVARuleBufLen;
    (stTo.bRuleFromData ? stTo.stRuleHead.usDisplayHoldTime : stTo.stRuleHead.usRuleNum) = FittingRules(stTo);
    CountUse(IvaRecords_RuleHoldTime(stFrom), lFrameTime, stFrom.ulUseRuleCount, stFrom.bHaveRule, stTo.bHaveRule);
    return true;
}

bool CopyV2(LONG_32 lFrameTime, IVA_INFO_V2_S &stFrom, IVA_INFO_V2_S &stTo) {
    return (stFrom.bHaveResult != 1 || CopyResultV2(lFrameTime, stFrom, stTo)) &&
           (stFrom.bHaveRule != 1 || CopyRuleV2(lFrameTime, stFrom, stTo));
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
