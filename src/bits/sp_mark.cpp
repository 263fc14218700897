#include "bits/sp_mark.h"

#include <cstring>

#include "foundations/player_types.h"

namespace {

constexpr UCHAR START_CODE[] = {0, 0, 1};

/** What the unit behind a start code says about its frame. */
SpVerdict UnitVerdict(LONG_32 lPayload, const UCHAR *pucUnit, size_t ulLen) {
    const UCHAR ucHead = pucUnit[0];
    if (lPayload == PLAYER_PAYLOAD_H264) {
        const UCHAR ucType = ucHead & 31;
        if (ucHead == 6 && ulLen > 1 && pucUnit[1] == 0x21) {
            return SpVerdict::kSp;
        }
        return ucType == 5 || ucType == 1 ? SpVerdict::kPlain : SpVerdict::kUndecided;
    }
    if (lPayload == PLAYER_PAYLOAD_H265) {
        const UCHAR ucType = ucHead >> 1 & 63;
        if (ulLen > 2 && memcmp(pucUnit, "\x4E\x01\xE6", 3) == 0) {
            return SpVerdict::kSp;
        }
        return ucType >= 1 && ucType <= 21 ? SpVerdict::kPlain : SpVerdict::kUndecided;
    }
    return SpVerdict::kUnknownPayload;
}

}  // namespace

SpVerdict SpMark_Scan(LONG_32 lPayload, const UCHAR *pucFrame, size_t ulLen) {
    const UCHAR *pucEnd = pucFrame + ulLen;
    const UCHAR *pucAt = pucFrame;
    for (;;) {
        const void *pFound = memmem(pucAt, static_cast<size_t>(pucEnd - pucAt), START_CODE, sizeof(START_CODE));
        if (pFound == nullptr) {
            return SpVerdict::kUndecided;
        }
        pucAt = static_cast<const UCHAR *>(pFound) + sizeof(START_CODE);
        if (pucAt == pucEnd) {
            return SpVerdict::kUndecided;
        }
        const SpVerdict enVerdict = UnitVerdict(lPayload, pucAt, static_cast<size_t>(pucEnd - pucAt));
        if (enVerdict != SpVerdict::kUndecided) {
            return enVerdict;
        }
    }
}
