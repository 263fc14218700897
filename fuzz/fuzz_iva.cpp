// Analytics records of a port: data frames and SEI bodies in turn, and copies for pictures in between.
//
// Input: records, each behind a byte (what to do with it) and a 16-bit big-endian length.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "analytics/iva_records.h"
#include "analytics/module_iva.h"
#include "foundations/com_log.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** Reads every byte that a reader of a buffer may go by its length. */
void Touch(const CHAR *pcBuf, ULONG_32 ulLen) {
    volatile CHAR cSum = 0;
    for (ULONG_32 i = 0; i < ulLen; ++i) {
        cSum = static_cast<CHAR>(cSum + pcBuf[i]);
    }
}

void TouchAll(const IVA_INFO_S &stInfo) {
    Touch(stInfo.stMetaV1.pcResultBuf, static_cast<ULONG_32>(stInfo.stMetaV1.lIVAResultBufLen));
    Touch(stInfo.stMetaV2.pcResultBuf, stInfo.stMetaV2.ulIVAResultBufLen);
    Touch(stInfo.stMetaV2.pcRuleBuf, stInfo.stMetaV2.ulIVARuleBufLen);
}

/** A copy has as many records as it says, and each can be read. */
void ReadAll(const IVA_INFO_V2_S &stCopy) {
    IVA_REPORT_RULE_INFO_V2_S stRule;
    for (ULONG_32 i = 0; stCopy.bHaveRule && i < IvaRecords_RuleNum(stCopy); ++i) {
        Require(IvaRecords_Rule(stCopy, i, &stRule));
    }
    IVA_REPORT_RESULT_INFO_V2_EX_S stTarget;
    DULONG dulAt = 0;
    for (ULONG_32 i = 0; stCopy.bHaveResult && i < IvaRecords_TargetNum(stCopy); ++i) {
        Require(IvaRecords_NextTarget(stCopy, &dulAt, &stTarget));
    }
    Require(dulAt <= stCopy.ulIVAResultBufLen);
}

void Copy(LONG_32 lFrameRate, IVA_INFO_S &stInfo) {
    HANDLE hCopy = DataCopy(lFrameRate, &stInfo);
    if (hCopy != nullptr) {
        TouchAll(*static_cast<IVA_INFO_S *>(hCopy));
        ReadAll(static_cast<IVA_INFO_S *>(hCopy)->stMetaV2);
    }
    FreeInfo(&hCopy);
}

void Parse(uint8_t ucWhat, const uint8_t *pucRecord, size_t ulLen, IVA_INFO_S &stInfo) {
    auto acRecord = std::make_unique<CHAR[]>(ulLen);
    memcpy(acRecord.get(), pucRecord, ulLen);
    ULONG_32 ulResult = 0;
    if ((ucWhat & 1) != 0) {
        stInfo.ulMetaDataVersion = 2;
        ulResult =
            IvaV2Parse((ucWhat & 2) != 0 ? 16 : 17, &stInfo.stMetaV2, acRecord.get(), static_cast<ULONG_32>(ulLen));
    } else {
        ulResult = DataParse(&stInfo, acRecord.get(), static_cast<LONG_32>(ulLen));
    }
    Require(ulResult == 0 || ulResult == 2);
    TouchAll(stInfo);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    IVA_INFO_S stInfo = {};
    stInfo.bDRVEnable = 1;
    while (ulSize >= 3) {
        const uint8_t ucWhat = pucData[0];
        size_t ulLen = static_cast<size_t>(pucData[1] << 8 | pucData[2]);
        pucData += 3;
        ulSize -= 3;
        ulLen = ulLen < ulSize ? ulLen : ulSize;
        Parse(ucWhat, pucData, ulLen, stInfo);
        Copy((ucWhat & 4) != 0 ? -1 : 25, stInfo);
        ClearData(ucWhat >> 3 & 7, &stInfo);
        pucData += ulLen;
        ulSize -= ulLen;
    }
    IVA_FreeBuffers(&stInfo);
    return 0;
}
