// The SEI messages of one frame, as both codecs. Input: the frame.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundations/com_log.h"
#include "intake/module_sei.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    auto aucFrame = std::make_unique<UCHAR[]>(ulSize);
    memcpy(aucFrame.get(), pucData, ulSize);
    SEI_INFO_S stInfo = {};
    for (LONG_32 lPayload : {PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_H265}) {
        const ULONG_32 ulResult = Sei_Parse(lPayload, aucFrame.get(), static_cast<LONG_32>(ulSize), &stInfo);
        Require(ulResult == 0 || ulResult == 2);
        Require(stInfo.ulSeiTotalLen <= ulSize);
        Require(stInfo.stScramble.lKeyMRsaLen <= 130 && stInfo.stScramble.lFileKeyMLen <= 62);
        HANDLE hCopy = DataCopy(25, &stInfo.stSeiIvaInfo.stIvaInfo);
        FreeInfo(&hCopy);
    }
    Sei_InfoClear(&stInfo);
    return 0;
}
