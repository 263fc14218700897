// Parameter sets for files that begin in the middle of a stream: an encoder may send them once, or now and then.
#include <stdlib.h>
#include <string.h>

#include "bits/start_code.h"
#include "record/record_inner.h"

namespace {

const size_t UNIT_HEAD = 3; /**< 00 00 01 */

/** What stands ahead of the picture data (ITU-T H.264, 7.4.1; ITU-T H.265, 7.4.2.2). */
enum UNIT_E { UNIT_SPS, UNIT_OTHER_SET, UNIT_SLICE, UNIT_OTHER };

UNIT_E KindOfUnit(LONG_32 lPayload, UCHAR ucHead) {
    if (lPayload == PLAYER_PAYLOAD_H264) {
        const ULONG_32 ulType = ucHead & 31U;
        return ulType == 7                  ? UNIT_SPS
               : ulType == 8                ? UNIT_OTHER_SET
               : ulType >= 1 && ulType <= 5 ? UNIT_SLICE
                                            : UNIT_OTHER;
    }
    const ULONG_32 ulType = ucHead >> 1 & 63U;
    return ulType == 33                   ? UNIT_SPS
           : ulType == 32 || ulType == 34 ? UNIT_OTHER_SET
           : ulType < 32                  ? UNIT_SLICE
                                          : UNIT_OTHER;
}

/** Sets of one frame. */
struct SETS_S {
    ULONG_32 ulLen;
    bool bSps;
    bool bContinues; /**< the first slice is not the first of its picture */
    UCHAR aucData[RECORD_PARAM_SETS_MAX];

    void Append(const UCHAR *pucUnit, size_t ulUnitLen) {
        if (ulUnitLen + sizeof(START_CODE) <= sizeof(aucData) - ulLen) {
            memcpy(aucData + ulLen, START_CODE, sizeof(START_CODE));
            memcpy(aucData + ulLen + sizeof(START_CODE), pucUnit, ulUnitLen);
            ulLen += static_cast<ULONG_32>(ulUnitLen + sizeof(START_CODE));
        }
    }
};

/** first_mb_in_slice is above 0, or first_slice_segment_in_pic_flag is 0: the first bit behind the unit's head. */
bool ContinuesPicture(const PLAYER_FRAMEDATA_S &stFrame, size_t ulUnit) {
    const size_t ulAt = ulUnit + (stFrame.lPayload == PLAYER_PAYLOAD_H264 ? 1 : 2);
    return ulAt < static_cast<size_t>(stFrame.lDataLen) && (stFrame.pucData[ulAt] & 0x80) == 0;
}

/** Gathers what stands ahead of the first slice. */
void Gather(const PLAYER_FRAMEDATA_S &stFrame, SETS_S *pstSets) {
    const size_t ulLen = static_cast<size_t>(stFrame.lDataLen);
    size_t ulAt = StartCode_Find(stFrame.pucData, ulLen, 0);
    while (ulLen - ulAt > UNIT_HEAD) {
        const size_t ulUnit = ulAt + UNIT_HEAD;
        const UNIT_E enKind = KindOfUnit(stFrame.lPayload, stFrame.pucData[ulUnit]);
        if (enKind == UNIT_SLICE) {
            pstSets->bContinues = ContinuesPicture(stFrame, ulUnit);
            return;
        }
        ulAt = StartCode_Find(stFrame.pucData, ulLen, ulUnit);
        if (enKind != UNIT_OTHER) {
            pstSets->Append(stFrame.pucData + ulUnit, ulAt - ulUnit);
            pstSets->bSps = pstSets->bSps || enKind == UNIT_SPS;
        }
    }
}

bool IsInterKeyFrame(const PLAYER_FRAMEDATA_S &stFrame) {
    return stFrame.lFormatType == PLAYER_VIDEO_FRAME_I && Payload_IsInterVideo(stFrame.lPayload);
}

}  // namespace

bool RecordParams_Keep(RECORD_LOOP_S *pstLoop) {
    const PLAYER_FRAMEDATA_S &stFrame = pstLoop->pstPort->pstReordPort->stFrameData;
    pstLoop->bContinues = 0;
    if (!IsInterKeyFrame(stFrame)) {
        return true;
    }
    SETS_S stSets;
    stSets.ulLen = 0;
    stSets.bSps = false;
    stSets.bContinues = false;
    Gather(stFrame, &stSets);
    pstLoop->bContinues = stSets.bContinues && !stSets.bSps;  // an SPS stands ahead of the whole picture only
    if (stSets.bSps) {
        memcpy(pstLoop->aucParamSets, stSets.aucData, stSets.ulLen);
        pstLoop->ulParamSetsLen = stSets.ulLen;
        pstLoop->lParamSetsPayload = stFrame.lPayload;
    }
    return stSets.bSps;
}

UCHAR *RecordParams_Complete(RECORD_LOOP_S *pstLoop) {
    PLAYER_FRAMEDATA_S &stFrame = pstLoop->pstPort->pstReordPort->stFrameData;
    const size_t ulLen = static_cast<size_t>(stFrame.lDataLen);
    const size_t ulSets = pstLoop->ulParamSetsLen;
    if (ulSets == 0 || pstLoop->lParamSetsPayload != stFrame.lPayload || ulSets + ulLen > VIDEO_FRAME_BUFFER_SIZE) {
        return nullptr;
    }
    UCHAR *pucWhole = static_cast<UCHAR *>(malloc(ulSets + ulLen));
    if (pucWhole != nullptr) {
        memcpy(pucWhole, pstLoop->aucParamSets, ulSets);
        memcpy(pucWhole + ulSets, stFrame.pucData, ulLen);
        stFrame.pucData = pucWhole;
        stFrame.lDataLen = static_cast<LONG_32>(ulSets + ulLen);
    }
    return pucWhole;
}
