// Pictures of H.264 (RFC 6184) and H.265 (RFC 7798), each whole or not at all.
#include <string.h>

#include <algorithm>

#include "bits/start_code.h"
#include "foundations/bytes.h"
#include "intake/rtp_head.h"
#include "intake/rtp_standard_inner.h"

namespace {

enum : UCHAR {
    H264_SLICE_FIRST = 1,
    H264_IDR = 5,
    H264_SEI = 6,
    H264_SPS = 7,
    H264_AUD = 9,
    H264_LAST_UNIT = 23,
    H264_STAP_A = rtp::PACK_STAP_A,
    H264_FU_A = rtp::PACK_FU_A,
    H265_RASL_N = 8,
    H265_RASL_R = 9,
    H265_BLA_FIRST = 16,
    H265_BLA_LAST = 18,
    H265_CRA = 21,
    H265_VPS = 32,
    H265_SPS = 33,
    H265_PREFIX_SEI = 39,
    H265_LAST_UNIT = 47,
    H265_AGGREGATE = 48,
    H265_FU = rtp::PACK_FU_H265,
};
enum : ULONG_32 { SLICE_P = 0, SLICE_B = 1, SLICE_I = 2, SLICE_KINDS = 5 };
const ULONG_32 SEI_RECOVERY_POINT = 6;
const ULONG_32 SLICE_HEAD_BYTES = 16; /**< more than a slice's first two numbers take */

bool IsH265(LONG_32 lPayload) { return lPayload == PLAYER_PAYLOAD_H265; }

ULONG_32 HeadSize(LONG_32 lPayload) { return IsH265(lPayload) ? 2 : 1; }

UCHAR UnitType(LONG_32 lPayload, UCHAR ucHead) {
    return static_cast<UCHAR>(IsH265(lPayload) ? ucHead >> 1 & 63 : ucHead & 31);
}

/** Layers beyond the base one are no part of the picture that is decoded. */
bool IsBaseLayer(const UCHAR *pucHead) { return (pucHead[0] & 1) == 0 && pucHead[1] >> 3 == 0; }

/** Whether an SEI unit tells, with its first messages, that pictures are right from here on (H.264, D.1.8). */
bool HasRecoveryPoint(const UCHAR *pucUnit, ULONG_32 ulLen) {
    bytes::Reader stReader(pucUnit + 1, ulLen - 1);
    while (stReader.Left() > 2) {
        const ULONG_32 ulType = stReader.U8();
        const ULONG_32 ulSize = stReader.U8();
        if (ulType == SEI_RECOVERY_POINT) {
            return stReader.PeekU8() >= 0x80;  // in no more frames
        }
        if (ulType == 0xFF || ulSize == 0xFF || !stReader.Skip(ulSize)) {
            return false;
        }
    }
    return false;
}

/* ---- units ---- */

/** Notes what a unit that begins at the end of the buffer means for its picture. */
void NoteUnit(RTP_VIDEO_S *pstVideo, UCHAR ucType) {
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    const bool bH265 = IsH265(pstPicture->lPayload);
    const bool bSlice = bH265 ? ucType <= H265_CRA : ucType >= H264_SLICE_FIRST && ucType <= H264_IDR;
    if (bSlice && pstPicture->ulSliceAt == 0) {
        pstPicture->ulSliceAt = pstPicture->ulLen;
    }
    pstPicture->bIdr |= !bH265 && ucType == H264_IDR;
    if (ucType == (bH265 ? H265_SPS : H264_SPS)) {
        pstPicture->bSets = 1;
        pstVideo->bOwnSets = 1;
    }
}

/** Begins a unit with its head. */
void BeginUnit(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const UCHAR *pucHead) {
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    RtpPicture_Append(pstPicture, stRead, START_CODE, sizeof(START_CODE));
    NoteUnit(pstVideo, UnitType(pstPicture->lPayload, pucHead[0]));
    RtpPicture_Append(pstPicture, stRead, pucHead, HeadSize(pstPicture->lPayload));
}

void AppendUnit(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const UCHAR *pucUnit, ULONG_32 ulLen) {
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    const bool bH265 = IsH265(pstPicture->lPayload);
    const ULONG_32 ulHead = HeadSize(pstPicture->lPayload);
    if (ulLen <= ulHead || (bH265 && !IsBaseLayer(pucUnit))) {
        return;  // says nothing, or nothing to the one who shows the base layer
    }
    pstPicture->bDamaged |= pstPicture->bFragment;  // the unit before has no end
    BeginUnit(pstVideo, stRead, pucUnit);
    pstPicture->bRecovery |= !bH265 && (pucUnit[0] & 31) == H264_SEI && HasRecoveryPoint(pucUnit, ulLen);
    RtpPicture_Append(pstPicture, stRead, pucUnit + ulHead, ulLen - ulHead);
}

/** The units of an aggregation packet, each behind 16 bits of size. */
void AppendAggregate(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const UCHAR *pucUnits, ULONG_32 ulLen) {
    bytes::Reader stReader(pucUnits, ulLen);
    while (stReader.Left() > 2) {
        const ULONG_32 ulUnit = stReader.U16Be();
        const UCHAR *pucUnit = stReader.Take(ulUnit);
        if (pucUnit == nullptr) {
            pstVideo->stPicture.bDamaged = 1;
            return;
        }
        AppendUnit(pstVideo, stRead, pucUnit, ulUnit);
    }
}

/** A fragment: the unit's head rebuilt, start and end bit, and the data. */
void AppendFragment(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const UCHAR *pucHead, UCHAR ucFuHead,
                    const bytes::Reader &stData) {
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    bytes::Reader stRest = stData;
    const ULONG_32 ulCount = static_cast<ULONG_32>(stRest.Left());
    const bool bStart = (ucFuHead & 0x80) != 0;
    const UCHAR *pucData = stRest.Take(ulCount);
    if (bStart != (pstPicture->bFragment == 0) || (bStart && ulCount == 0) || pucData == nullptr) {
        pstPicture->bDamaged = 1;  // a start within a unit, or a middle without one
        return;
    }
    if (bStart) {
        BeginUnit(pstVideo, stRead, pucHead);
    }
    RtpPicture_Append(pstPicture, stRead, pucData, ulCount);
    pstPicture->bFragment = (ucFuHead & 0x40) == 0;
}

void ReadH264(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const RTP_PACKET_VIEW_S &stPacket) {
    const UCHAR *p = stPacket.pucPayload;
    const UCHAR ucType = p[0] & 31;
    if (ucType == H264_STAP_A) {
        AppendAggregate(pstVideo, stRead, p + 1, stPacket.ulLen - 1);
    } else if (ucType == H264_FU_A && stPacket.ulLen >= 2) {
        const UCHAR ucHead = static_cast<UCHAR>((p[0] & 0xE0) | (p[1] & 31));
        AppendFragment(pstVideo, stRead, &ucHead, p[1], {p + 2, stPacket.ulLen - 2});
    } else if (ucType >= H264_SLICE_FIRST && ucType <= H264_LAST_UNIT) {
        AppendUnit(pstVideo, stRead, p, stPacket.ulLen);
    }
}

void ReadH265(RTP_VIDEO_S *pstVideo, const RTP_READ_S &stRead, const RTP_PACKET_VIEW_S &stPacket) {
    const UCHAR *p = stPacket.pucPayload;
    if (stPacket.ulLen < 3 || !IsBaseLayer(p)) {
        return;
    }
    const UCHAR ucType = UnitType(PLAYER_PAYLOAD_H265, p[0]);
    if (ucType == H265_AGGREGATE) {
        AppendAggregate(pstVideo, stRead, p + 2, stPacket.ulLen - 2);
    } else if (ucType == H265_FU) {
        const UCHAR aucHead[2] = {static_cast<UCHAR>((p[0] & 0x81) | (p[2] & 63) << 1), p[1]};
        AppendFragment(pstVideo, stRead, aucHead, p[2], {p + 3, stPacket.ulLen - 3});
    } else if (ucType <= H265_LAST_UNIT) {
        AppendUnit(pstVideo, stRead, p, stPacket.ulLen);
    }
}

/** Whether a unit, of which at least the head is there, can only be the begin of a picture. */
bool UnitBegins(LONG_32 lPayload, const UCHAR *pucUnit, ULONG_32 ulLen, UCHAR ucType) {
    const ULONG_32 ulHead = HeadSize(lPayload);
    const bool bFirst = ulLen > ulHead && (pucUnit[ulHead] & 0x80) != 0;
    if (IsH265(lPayload)) {
        return ucType <= H265_CRA ? bFirst : ucType >= H265_VPS && ucType <= H265_PREFIX_SEI;
    }
    return ucType <= H264_IDR ? bFirst : ucType <= H264_AUD;
}

/** Whether the first thing in a packet is the begin of a picture. */
bool PacketBegins(const RTP_PACKET_VIEW_S &stPacket) {
    const LONG_32 lPayload = stPacket.enMedia;
    const bool bH265 = IsH265(lPayload);
    const ULONG_32 ulHead = HeadSize(lPayload);
    const UCHAR *p = stPacket.pucPayload;
    if (stPacket.ulLen < 2 * ulHead + 2) {
        return stPacket.ulLen > ulHead && UnitBegins(lPayload, p, stPacket.ulLen, UnitType(lPayload, p[0]));
    }
    const UCHAR ucType = UnitType(lPayload, p[0]);
    if (ucType == (bH265 ? H265_AGGREGATE : H264_STAP_A)) {
        const UCHAR *pucUnit = p + ulHead + 2;
        return UnitBegins(lPayload, pucUnit, stPacket.ulLen - ulHead - 2, UnitType(lPayload, pucUnit[0]));
    }
    if (ucType == (bH265 ? H265_FU : H264_FU_A)) {
        const UCHAR ucFu = p[ulHead];  // the data behind it stand where they would behind a unit's head
        return (ucFu & 0x80) != 0 && UnitBegins(lPayload, p + 1, stPacket.ulLen - 1, ucFu & (bH265 ? 63 : 31));
    }
    return UnitBegins(lPayload, p, stPacket.ulLen, ucType);
}

/* ---- the end of a picture ---- */

/** Whether the picture begins with its first slice and has no open end. */
bool IsWhole(const RTP_PICTURE_S &stPicture, const UCHAR *pucFrame) {
    const ULONG_32 ulFlagAt = stPicture.ulSliceAt + HeadSize(stPicture.lPayload);
    return stPicture.bDamaged == 0 && stPicture.bFragment == 0 && ulFlagAt < stPicture.ulLen &&
           (pucFrame[ulFlagAt] & 0x80) != 0;  // H.264: macroblock 0; H.265: the flag itself
}

/** Kind of an H.264 picture by its first slice. */
ULONG_32 SliceKind(const RTP_PICTURE_S &stPicture, const UCHAR *pucFrame) {
    const ULONG_32 ulAt = stPicture.ulSliceAt + 1;
    bytes::BitReader stBits(pucFrame + ulAt, std::min(SLICE_HEAD_BYTES, stPicture.ulLen - ulAt),
                            bytes::Emulation::kRemove);
    stBits.Ue();  // first macroblock
    return stBits.Ue() % SLICE_KINDS;
}

/** What a picture is to those who show it. */
struct KIND_S {
    bool bKey;
    bool bDrop; /**< leans on what wasn't received */
};

/**
 * A stream can begin with an IDR picture, or with an I picture that is called a point of recovery: B pictures behind
 * that one lean on what was before it.
 */
KIND_S KindOfH264(RTP_VIDEO_S *pstVideo, const UCHAR *pucFrame, bool bNeedKey) {
    const RTP_PICTURE_S &stPicture = pstVideo->stPicture;
    const ULONG_32 ulKind = SliceKind(stPicture, pucFrame);
    const bool bRecovers = bNeedKey && stPicture.bRecovery != 0 && ulKind == SLICE_I;
    if (stPicture.bIdr != 0 || bRecovers) {
        pstVideo->bDropLeading = stPicture.bIdr == 0;
        return {true, false};
    }
    pstVideo->bDropLeading = pstVideo->bDropLeading && ulKind == SLICE_B;
    return {false, pstVideo->bDropLeading != 0};
}

KIND_S KindOfH265(RTP_VIDEO_S *pstVideo, const UCHAR *pucFrame, bool bNeedKey) {
    const UCHAR ucType = UnitType(PLAYER_PAYLOAD_H265, pucFrame[pstVideo->stPicture.ulSliceAt]);
    if (ucType >= H265_BLA_FIRST && ucType <= H265_CRA) {
        pstVideo->bDropLeading = ucType <= H265_BLA_LAST || (ucType == H265_CRA && bNeedKey);
        return {true, false};
    }
    const bool bLeans = ucType == H265_RASL_N || ucType == H265_RASL_R;
    return {false, bLeans && pstVideo->bDropLeading != 0};
}

/** Puts the sets of the session in front of a key picture of a stream that brings none. */
void AddSets(RTP_STANDARD_S *pstStandard, UCHAR *pucFrame) {
    RTP_PICTURE_S *pstPicture = &pstStandard->stVideo.stPicture;
    const RTP_PARAMETER_SETS_S &stSets = pstStandard->stSets;
    if (pstStandard->stVideo.bOwnSets != 0 || stSets.lPayload != pstPicture->lPayload ||
        !rtp::Inside(stSets.ulSize, pstPicture->ulLen, rtp::MAX_VIDEO_FRAME)) {
        return;
    }
    memmove(pucFrame + stSets.ulSize, pucFrame, pstPicture->ulLen);
    memcpy(pucFrame, stSets.aucData, stSets.ulSize);
    pstPicture->ulLen += stSets.ulSize;
}

RTP_STEP_E Finish(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    RTP_VIDEO_S *pstVideo = &pstStandard->stVideo;
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    UCHAR *pucFrame = stRead.pstVideo->pucFrameData;
    if (!IsWhole(*pstPicture, pucFrame)) {
        if (pstVideo->bDone != 0 && pstVideo->ulDoneStamp == pstPicture->ulTimestamp) {
            pstVideo->enMarker = RTP_MARKER_MISUSED;  // the rest of a picture that its marker had cut
        }
        RtpPicture_Drop(pstStandard);
        return RTP_STEP_LOST;
    }
    const bool bNeedKey = stRead.bNeedKey != 0;
    const KIND_S stKind = IsH265(pstPicture->lPayload) ? KindOfH265(pstVideo, pucFrame, bNeedKey)
                                                       : KindOfH264(pstVideo, pucFrame, bNeedKey);
    if (stKind.bDrop) {
        pstPicture->bOpen = 0;
        return RTP_STEP_MORE;
    }
    if (stKind.bKey) {
        AddSets(pstStandard, pucFrame);
    }
    pstVideo->bDone = 1;
    pstVideo->ulDoneStamp = pstPicture->ulTimestamp;
    return RtpPicture_GiveOut(pstStandard, stRead, stKind.bKey ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P);
}

/** A picture that ended with the next timestamp tells what its sender's markers mean. */
void JudgeMarker(RTP_VIDEO_S *pstVideo) {
    const RTP_PICTURE_S &stPicture = pstVideo->stPicture;
    if (stPicture.ulMarkers > (stPicture.bMarkedLast != 0 ? 1U : 0U)) {
        pstVideo->enMarker = RTP_MARKER_MISUSED;
    } else if (stPicture.bMarkedLast != 0 && pstVideo->enMarker == RTP_MARKER_UNPROVEN) {
        pstVideo->enMarker = RTP_MARKER_TRUSTED;
    }
}

/* ---- the medium ---- */

RTP_STEP_E LosePicture(RTP_STANDARD_S *pstStandard) {
    RtpPicture_Drop(pstStandard);
    return RTP_STEP_LOST;
}

RTP_STEP_E EndPictureBefore(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    RTP_PICTURE_S *pstPicture = &pstStandard->stVideo.stPicture;
    if (pstPicture->bOpen == 0) {
        return RTP_STEP_MORE;
    }
    if (pstPicture->lPayload != static_cast<LONG_32>(stPacket.enMedia)) {
        return LosePicture(pstStandard);
    }
    // Senders that know no time give every picture the same.
    const bool bNext = pstPicture->bMarkedLast != 0 && PacketBegins(stPacket);
    if (pstPicture->ulTimestamp == stPacket.ulTimestamp && !bNext) {
        return RTP_STEP_MORE;
    }
    if (pstPicture->ulSliceAt == 0 && pstPicture->bFragment == 0) {
        pstPicture->ulTimestamp = stPacket.ulTimestamp;  // sets and messages on their own belong to what follows
        return RTP_STEP_MORE;
    }
    JudgeMarker(&pstStandard->stVideo);
    return Finish(pstStandard, stRead);
}

RTP_STEP_E ReadPicture(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    RTP_VIDEO_S *pstVideo = &pstStandard->stVideo;
    RTP_PICTURE_S *pstPicture = &pstVideo->stPicture;
    if (stPacket.ulLen == 0 || (RtpPicture_IsSkipped(pstVideo, stPacket) && !PacketBegins(stPacket))) {
        return RTP_STEP_MORE;
    }
    pstVideo->bSkip = 0;
    RtpPicture_Open(pstPicture, stPacket);
    IsH265(pstPicture->lPayload) ? ReadH265(pstVideo, stRead, stPacket) : ReadH264(pstVideo, stRead, stPacket);
    if (pstPicture->bDamaged != 0) {
        return LosePicture(pstStandard);
    }
    pstPicture->bMarkedLast = stPacket.ucMarker != 0 && pstPicture->ulSliceAt != 0;
    if (pstPicture->bMarkedLast == 0) {
        return RTP_STEP_MORE;
    }
    pstPicture->ulMarkers++;
    pstPicture->dulMarkedAt = stRead.dulNow;
    return pstVideo->enMarker == RTP_MARKER_TRUSTED ? Finish(pstStandard, stRead) : RTP_STEP_MORE;
}

}  // namespace

const RTP_MEDIA_S gstRtpPicture = {LosePicture, EndPictureBefore, ReadPicture};

bool RtpPicture_Drop(RTP_STANDARD_S *pstStandard) {
    RTP_VIDEO_S *pstVideo = &pstStandard->stVideo;
    if (pstVideo->stPicture.bOpen == 0) {
        return false;
    }
    pstVideo->stPicture.bOpen = 0;
    pstVideo->bSkip = 1;
    pstVideo->ulSkipStamp = pstVideo->stPicture.ulTimestamp;
    Figure_Add(&pstStandard->stFigures.ulDamaged, 1);
    return true;
}

void RtpPicture_Open(RTP_PICTURE_S *pstPicture, const RTP_PACKET_VIEW_S &stPacket) {
    if (pstPicture->bOpen == 0) {
        *pstPicture = {};
        pstPicture->bOpen = 1;
        pstPicture->ulTimestamp = stPacket.ulTimestamp;
        pstPicture->lPayload = stPacket.enMedia;
    }
}

void RtpPicture_Append(RTP_PICTURE_S *pstPicture, const RTP_READ_S &stRead, const UCHAR *pucData, ULONG_32 ulCount) {
    if (!rtp::Inside(pstPicture->ulLen, ulCount, rtp::MAX_VIDEO_FRAME)) {
        pstPicture->bDamaged = 1;
        return;
    }
    memcpy(stRead.pstVideo->pucFrameData + pstPicture->ulLen, pucData, ulCount);
    pstPicture->ulLen += ulCount;
}

bool RtpPicture_IsSkipped(RTP_VIDEO_S *pstVideo, const RTP_PACKET_VIEW_S &stPacket) {
    pstVideo->bSkip = pstVideo->bSkip != 0 && pstVideo->ulSkipStamp == stPacket.ulTimestamp;
    return pstVideo->bSkip != 0;
}

RTP_STEP_E RtpPicture_GiveOut(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead, LONG_32 lFormatType) {
    RTP_PICTURE_S *pstPicture = &pstStandard->stVideo.stPicture;
    RTP_STREAM_INFO_S *pstStream = stRead.pstVideo;
    pstStream->ulTimestamp = pstPicture->ulTimestamp;
    pstStream->lPayload = pstPicture->lPayload;
    pstStream->lFormatType = lFormatType;
    pstStream->ucHeadReserve[1] = 1;  // the frame is a whole picture
    pstStream->ulFrameLen = pstPicture->ulLen;
    pstPicture->bOpen = 0;
    return RTP_STEP_FRAME;
}

DULONG RtpPicture_Deadline(const RTP_VIDEO_S *pstVideo) {
    const RTP_PICTURE_S &stPicture = pstVideo->stPicture;
    const bool bEnds = stPicture.bOpen != 0 && stPicture.bMarkedLast != 0 && pstVideo->enMarker == RTP_MARKER_UNPROVEN;
    return bEnds ? stPicture.dulMarkedAt + RTP_WINDOW_MS : 0;
}

RTP_STEP_E RtpPicture_EndByTime(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    const DULONG dulEnd = RtpPicture_Deadline(&pstStandard->stVideo);
    return dulEnd != 0 && stRead.dulNow >= dulEnd ? Finish(pstStandard, stRead) : RTP_STEP_NONE;
}

RTP_STEP_E RtpPicture_EndMarked(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    const RTP_VIDEO_S &stVideo = pstStandard->stVideo;
    const bool bEnds = RtpPicture_Deadline(&stVideo) != 0 && stVideo.stPicture.ulMarkers == 1;
    return bEnds ? Finish(pstStandard, stRead) : RTP_STEP_MORE;
}
