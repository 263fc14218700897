#include "codec/picture_stamps.h"

#include <algorithm>

#include "bits/start_code.h"

namespace {

/** Whether one stamp is earlier than another; streams' stamps of 32 bits wrap. */
bool IsEarlier(DULONG dulOne, DULONG dulOther) { return static_cast<LONG_32>(dulOne - dulOther) < 0; }

/** The pieces of a picture carry the same stamp. */
void NoteStamp(PICTURE_STAMPS_S *pstStamps, DULONG dulStamp) {
    DULONG *const pdulEnd = pstStamps->adulFed + pstStamps->ulNum;
    if (std::find(pstStamps->adulFed, pdulEnd, dulStamp) != pdulEnd) {
        return;
    }
    if (pstStamps->ulNum == PICTURE_STAMPS_NUM) {
        *std::min_element(pstStamps->adulFed, pdulEnd, IsEarlier) = dulStamp;
        return;
    }
    pstStamps->adulFed[pstStamps->ulNum++] = dulStamp;
}

// Unit types, ITU-T H.265, table 7-1.
const LONG_32 H265_LAST_TRAILING = 5;
const LONG_32 H265_FIRST_SKIPPED = 8;  // RASL pictures: random access, skipped, leading
const LONG_32 H265_LAST_SKIPPED = 9;
const LONG_32 H265_FIRST_KEY = 16;
const LONG_32 H265_LAST_SLICE = 31;

/** Type of the first slice in an H.265 frame, or -1. */
LONG_32 FirstH265Slice(const CODEC_FRAME_S &stFrame) {
    const size_t ulLen = stFrame.ulSize;
    for (size_t i = StartCode_Find(stFrame.pucData, ulLen, 0); i + 3 < ulLen;
         i = StartCode_Find(stFrame.pucData, ulLen, i + 3)) {
        const LONG_32 lType = stFrame.pucData[i + 3] >> 1 & 0x3F;
        if (lType <= H265_LAST_SLICE) {
            return lType;
        }
    }
    return -1;
}

/** Whether a frame goes into the decoder: those that do not come between the first one and the next trailing one. */
bool PassLeading(const CODEC_FRAME_S &stFrame, LONG_32 lPayload, PICTURE_STAMPS_S *pstStamps) {
    if (pstStamps->bFresh == 1) {
        pstStamps->bFresh = 0;
        pstStamps->bLeading = lPayload == PLAYER_PAYLOAD_H265 ? 1 : 0;
        pstStamps->dulKeyStamp = stFrame.dulTimestamp;
    }
    if (pstStamps->bLeading == 0) {
        return true;
    }
    const LONG_32 lType = FirstH265Slice(stFrame);
    if (lType >= H265_FIRST_SKIPPED && lType <= H265_LAST_SKIPPED) {
        NoteStamp(pstStamps, stFrame.dulTimestamp);
        Stamps_Drop(pstStamps, 1);
        return false;
    }
    const bool bNewKey = lType >= H265_FIRST_KEY && stFrame.dulTimestamp != pstStamps->dulKeyStamp;
    pstStamps->bLeading = bNewKey || (lType >= 0 && lType <= H265_LAST_TRAILING) ? 0 : 1;
    return true;
}

}  // namespace

void Stamps_Forget(PICTURE_STAMPS_S *pstStamps) {
    pstStamps->ulNum = 0;
    pstStamps->bFresh = 1;
    pstStamps->bLeading = 0;
}

bool Stamps_Feed(PICTURE_STAMPS_S *pstStamps, const CODEC_FRAME_S &stFrame, LONG_32 lPayload, bool bShown) {
    if (!PassLeading(stFrame, lPayload, pstStamps)) {
        return false;
    }
    if (bShown) {
        NoteStamp(pstStamps, stFrame.dulTimestamp);
    }
    return true;
}

DULONG Stamps_Take(PICTURE_STAMPS_S *pstStamps, DULONG dulOtherwise) {
    if (pstStamps->ulNum == 0) {
        return dulOtherwise;
    }
    DULONG *const pdulFirst = std::min_element(pstStamps->adulFed, pstStamps->adulFed + pstStamps->ulNum, IsEarlier);
    const DULONG dulStamp = *pdulFirst;
    *pdulFirst = pstStamps->adulFed[--pstStamps->ulNum];
    return dulStamp;
}

void Stamps_Drop(PICTURE_STAMPS_S *pstStamps, ULONG_32 ulCount) {
    for (; ulCount > 0; ulCount--) {
        Stamps_Take(pstStamps, 0);
    }
}
