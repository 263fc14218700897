// A packet of whatever kind becomes a complete frame in stFrameData; frame rate and picture size become known.
#include "pipeline/parse_stage.h"

#include <string.h>

#include "bits/dsp_mcfw_preparse.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/run_messages.h"
#include "queue/record_head.h"

namespace {

const LONG_32 DEFAULT_INTERVAL_MS = 40;
const LONG_32 DEFAULT_FRAME_RATE = 25;
const LONG_32 MAX_INTERVAL_MS = 500;
const LONG_32 ONE_FRAME_A_SECOND_MS = 1000;
const ULONG_32 MAX_SPS_FRAME_RATE = 120;
const LONG_32 FORMAT_JPEG_BY_SIGNATURE = -1;
const CHAR RECORD_HEAD_FLAG[] = "RdHd";

void SetFrame(PORT_INTAKE_S *pstIntake, UCHAR *pucData, ULONG_32 ulLen) {
    pstIntake->stFrameData.pucData = pucData;
    pstIntake->stFrameData.lDataLen = static_cast<LONG_32>(ulLen);
}

void SetFrameKind(PORT_INTAKE_S *pstIntake, LONG_32 lPayload, LONG_32 lFormatType, DULONG dulTimestamp) {
    pstIntake->stFrameData.lPayload = lPayload;
    pstIntake->stFrameData.lFormatType = lFormatType;
    pstIntake->stFrameData.dulTimestamp = dulTimestamp;
    pstIntake->stFrameData.bPictureEnd = 1;
}

void SetFrameRate(PORT_INTAKE_S *pstIntake, LONG_32 lFrameRate, LONG_32 lIntervalMs) {
    word::Store(pstIntake->stStateInfo.lFrameRate, lFrameRate);
    word::Store(pstIntake->stStateInfo.lFrameIntervalTime, lIntervalMs);
}

/** Milliseconds of a frame; rates above 1000 would give none. */
LONG_32 IntervalOfRate(LONG_32 lFrameRate) {
    LONG_32 lInterval = lFrameRate > 0 ? 1000 / lFrameRate : 0;
    return lInterval > 0 ? lInterval : DEFAULT_INTERVAL_MS;
}

/* ---- RTP ---- */

void BindRtpBuffers(PORT_INTAKE_S *pstIntake) {
    pstIntake->ulCurStreamType = STREAM_TYPE_RTP;
    pstIntake->stRtpVideoStreamInfo.pucFrameData = reinterpret_cast<UCHAR *>(pstIntake->pcFrameDataAddr);
    pstIntake->stRtpAudioStreamInfo.pucFrameData = reinterpret_cast<UCHAR *>(pstIntake->pcRtpAudioFrameDataAddr);
    pstIntake->stRtpVideoStreamInfo.ulFrameLen = 0;
    pstIntake->stRtpAudioStreamInfo.ulFrameLen = 0;
    word::Store(pstIntake->stRtpVideoStreamInfo.ulPlaybackTime, 0);
    pstIntake->stTsStreamInfo.pucFrameData = nullptr;
    if (pstIntake->bStandard) {
        RtpStandard_ForgetFrames(pstIntake->pstStandard);
    }
}

/** A recording reads the same packets again, and its helper port has nobody to tell. */
void ReportPlaybackFinished(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stRtpVideoStreamInfo.bPlaybckFinish != 1 || pstPort->bHelper != 0) {
        return;
    }
    const ULONG_32 ulTime = word::Load(pstPort->stRtpVideoStreamInfo.ulPlaybackTime);
    ULONG_32 ulResult = Port_SendRunMsg(
        pstPort->ulPort, {PLAYER_RUN_INFO_PLAYBACK_FINISH, PLAYER_RUN_PLAYBACK_FINISHED, ulTime, nullptr});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_ParseStream Warning, send report Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    } else {
        LOG_INFO("Port[%03d] PlayBack Finished, Playback Time:[%d].", pstPort->ulPort, ulTime);
    }
    pstPort->stRtpVideoStreamInfo.bPlaybckFinish = 0;
}

void AdoptRtpFrame(PLAEYR_PORT_S *pstPort, RTP_STREAM_INFO_S *pstStream) {
    SetFrameKind(pstPort, pstStream->lPayload, pstStream->lFormatType, pstStream->ulTimestamp);
    SetFrame(pstPort, pstStream->pucFrameData, pstStream->ulFrameLen);
    pstPort->stFrameData.bPictureEnd =
        pstStream->ucHeadReserve[1];  // the end of a slice in fragments completes a frame, too
    pstStream->ulFrameLen = 0;
}

/** Sound wins a tie; the picture then waits for the next packet. */
ULONG_32 AdoptFinishedRtpFrame(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stRtpAudioStreamInfo.ulFrameLen != 0) {
        AdoptRtpFrame(pstPort, &pstPort->stRtpAudioStreamInfo);
        return PLAYER_ERR_OK;
    }
    if (pstPort->stRtpVideoStreamInfo.ulFrameLen != 0) {
        AdoptRtpFrame(pstPort, &pstPort->stRtpVideoStreamInfo);
        return PLAYER_ERR_OK;
    }
    return PLAYER_ERR_NEED_MORE_DATA;
}

/** The next frame of what the standard intake holds. */
ULONG_32 NextStandardFrame(PLAEYR_PORT_S *pstPort, bool bQuiet) {
    RTP_STANDARD_S *pstStandard = pstPort->pstStandard;
    const RTP_READ_S stRead = {
        &pstPort->stRtpVideoStreamInfo, &pstPort->stRtpAudioStreamInfo, &pstPort->stRtpAudioInfo,
        pstPort->bNeedIFrame,           bQuiet,                         Time_SteadyMs()};
    const ULONG_32 ulResult = RtpStandard_Next(pstStandard, stRead);
    if (pstStandard->bQuietLoss) {  // counts, but no picture waits for a key picture because of it
        NET_AddLostPacket(&pstPort->stStateInfo);
        pstStandard->bQuietLoss = 0;
    }
    return ulResult != PLAYER_ERR_OK ? ulResult : AdoptFinishedRtpFrame(pstPort);
}

ULONG_32 ParseRtp(CHAR *pcData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    if (pstPort->ulCurStreamType != STREAM_TYPE_RTP) {
        BindRtpBuffers(pstPort);
    }
    if (pstPort->bStandard && RtpStandard_Push(pstPort->pstStandard, reinterpret_cast<const UCHAR *>(pcData), ulLen,
                                               word::LoadAcquire(pstPort->pstPayloadType), Time_SteadyMs())) {
        return NextStandardFrame(pstPort, false);
    }
    ULONG_32 ulResult =
        RTP_UnpacketRtpData(pcData, ulLen, word::LoadAcquire(pstPort->pstPayloadType), &pstPort->stRtpAudioInfo,
                            &pstPort->stRtpVideoStreamInfo, &pstPort->stRtpAudioStreamInfo);
    ReportPlaybackFinished(pstPort);
    return ulResult != PLAYER_ERR_OK ? ulResult : AdoptFinishedRtpFrame(pstPort);
}

/* ---- MPEG-TS ---- */

void BindTsBuffer(PORT_INTAKE_S *pstIntake) {
    pstIntake->ulCurStreamType = STREAM_TYPE_TS;
    pstIntake->stTsStreamInfo.pucFrameData = reinterpret_cast<UCHAR *>(pstIntake->pcFrameDataAddr);
    pstIntake->stTsStreamInfo.ulFrameLen = 0;
    pstIntake->stRtpVideoStreamInfo.pucFrameData = nullptr;
    pstIntake->stRtpAudioStreamInfo.pucFrameData = nullptr;
}

ULONG_32 ParseTs(CHAR *pcData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    TS_STREAM_INFO_S *pstStream = &pstPort->stTsStreamInfo;
    if (pstPort->ulCurStreamType != STREAM_TYPE_TS) {
        BindTsBuffer(pstPort);
    }
    ULONG_32 ulResult = TS_Unpack(pcData, ulLen, pstStream);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (pstStream->ulFrameLen == 0) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    SetFrameKind(pstPort, pstStream->lPayload, static_cast<LONG_32>(pstStream->lFrameType), pstStream->dulPCR);
    SetFrame(pstPort, pstStream->pucFrameData, pstStream->ulFrameLen);
    pstStream->ulFrameLen = 0;
    return PLAYER_ERR_OK;
}

/* ---- whole frames: JPEG, announced frames, elementary streams ---- */

ULONG_32 ParseJpeg(CHAR *pcData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    SetFrameKind(pstPort, PLAYER_PAYLOAD_JPEG, FORMAT_JPEG_BY_SIGNATURE, 0);
    SetFrame(pstPort, reinterpret_cast<UCHAR *>(pcData), ulLen);
    return PLAYER_ERR_OK;
}

ULONG_32 ParseRecordHead(CHAR *pcData, PLAEYR_PORT_S *pstPort) {
    PLAYER_RECORDHEAD_S stHead;
    memcpy(&stHead, pcData, sizeof(stHead));
    SetFrameKind(pstPort, stHead.lPayload, stHead.lFormatType, stHead.dulTimestamp);
    pstPort->bFindRecordHead = 1;
    return PLAYER_ERR_NEED_MORE_DATA;
}

void SetRateOfH264KeyFrame(PLAEYR_PORT_S *pstPort, UCHAR *pucData, ULONG_32 ulLen) {
    H264_BitStreamInfo_S stInfo = {};
    DSP_H264_PreParse(pucData, static_cast<int>(ulLen), &stInfo);
    if (stInfo.usFrameRate < 1) {
        SetFrameRate(pstPort, DEFAULT_FRAME_RATE, DEFAULT_INTERVAL_MS);
    } else {
        SetFrameRate(pstPort, stInfo.usFrameRate, IntervalOfRate(stInfo.usFrameRate));
    }
}

/** Whether this NAL header tells what the access unit is; if so the frame's kind is set. */
bool RecogniseUnit(const UCHAR *pucNal, UCHAR *pucData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    const LONG_32 H264_NON_IDR = 1;
    const LONG_32 H264_IDR = 5;
    if (pucNal[0] == 0x02 && pucNal[1] == 0x01) {
        SetFrameKind(pstPort, PLAYER_PAYLOAD_H265, PLAYER_VIDEO_FRAME_P, 0);
        return true;
    }
    if (pucNal[0] == 0x26 && pucNal[1] == 0x01) {
        SetFrameKind(pstPort, PLAYER_PAYLOAD_H265, PLAYER_VIDEO_FRAME_I, 0);
        SetFrameRate(pstPort, DEFAULT_FRAME_RATE, DEFAULT_INTERVAL_MS);
        return true;
    }
    LONG_32 lType = pucNal[0] & 0x1F;
    if (lType == H264_NON_IDR) {
        SetFrameKind(pstPort, PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_P, 0);
        return true;
    }
    if (lType == H264_IDR) {
        SetFrameKind(pstPort, PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0);
        SetRateOfH264KeyFrame(pstPort, pucData, ulLen);
        return true;
    }
    return false;
}

bool IsStartCode(const UCHAR *pucData, ULONG_32 ulCodeLen) {
    return pucData[0] == 0 && pucData[1] == 0 &&
           (ulCodeLen == 3 ? pucData[2] == 1 : pucData[2] == 0 && pucData[3] == 1);
}

/** Offset of the next start code of this length, or ulLen. */
ULONG_32 FindStartCode(const UCHAR *pucData, ULONG_32 ulFrom, ULONG_32 ulLen, ULONG_32 ulCodeLen) {
    while (ulFrom + ulCodeLen <= ulLen) {
        const void *pvOne = memchr(pucData + ulFrom + ulCodeLen - 1, 1, ulLen - ulFrom - (ulCodeLen - 1));
        if (pvOne == nullptr) {
            return ulLen;
        }
        ULONG_32 ulOffset = static_cast<ULONG_32>(static_cast<const UCHAR *>(pvOne) - pucData) - (ulCodeLen - 1);
        if (IsStartCode(pucData + ulOffset, ulCodeLen)) {
            return ulOffset;
        }
        ulFrom = ulOffset + 1;
    }
    return ulLen;
}

/** Whether this unit's head belongs to a slice that RecogniseUnit() takes. */
bool IsTakenSlice(const UCHAR *pucNal) {
    const LONG_32 lType = pucNal[0] & 0x1F;
    return ((pucNal[0] == 0x02 || pucNal[0] == 0x26) && pucNal[1] == 0x01) || lType == 1 || lType == 5;
}

/** Whether a key picture of H.265 (types 16 to 21, base layer) has another head than the one that is taken. */
bool IsOtherKey(const UCHAR *pucNal) {
    const LONG_32 lType = pucNal[0] >> 1;
    return pucNal[1] == 0x01 && pucNal[0] != 0x26 && lType >= 16 && lType <= 21;
}

void TellForm(PLAEYR_PORT_S *pstPort, RTP_FORM_E enForm, const char *pcWhat) {
    UCHAR &ucForms = pstPort->stRtpVideoStreamInfo.ucForms;
    if ((ucForms & enForm) == 0) {
        ucForms = static_cast<UCHAR>(ucForms | enForm);
        LOG_WARN("Port[%03d] Not Taken: %s.", pstPort->ulPort, pcWhat);
    }
}

/** Tells once a stream why nothing comes of an access unit that was pushed. */
[[gnu::cold]] void NoteUnknownUnit(const UCHAR *pucData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    const ULONG_32 CODE_LEN = 3;
    for (ULONG_32 i = FindStartCode(pucData, 0, ulLen, CODE_LEN); i + CODE_LEN + 1 < ulLen;
         i = FindStartCode(pucData, i + 1, ulLen, CODE_LEN)) {
        const UCHAR *pucNal = pucData + i + CODE_LEN;
        if (IsOtherKey(pucNal)) {
            TellForm(pstPort, RTP_FORM_H265_KEY, "Pushed H.265 Key Pictures Whose Head Is Not 26 01");
            return;
        }
        if (IsTakenSlice(pucNal)) {
            TellForm(pstPort, RTP_FORM_SHORT_CODE, "Pushed Units With Start Codes Of 3 Bytes Up To The First Slice");
            return;
        }
    }
}

/** An access unit with start codes of one length: its first telling unit names the coding and the kind of frame. */
ULONG_32 ParseElementary(CHAR *pcData, ULONG_32 ulLen, ULONG_32 ulCodeLen, PLAEYR_PORT_S *pstPort) {
    UCHAR *pucData = reinterpret_cast<UCHAR *>(pcData);
    ULONG_32 ulOffset = FindStartCode(pucData, 0, ulLen, ulCodeLen);
    while (ulOffset < ulLen) {
        SetFrame(pstPort, pucData, ulLen);
        pstPort->stFrameData.dulTimestamp = 0;
        const ULONG_32 ulNal = ulOffset + ulCodeLen;
        const UCHAR aucNal[2] = {ulNal < ulLen ? pucData[ulNal] : UCHAR(0),
                                 ulNal + 1 < ulLen ? pucData[ulNal + 1] : UCHAR(0)};
        if (ulNal < ulLen && RecogniseUnit(aucNal, pucData, ulLen, pstPort)) {
            return PLAYER_ERR_OK;
        }
        if (ulNal + 2 >= ulLen) {
            return PLAYER_ERR_UNKNOWN_STREAM;
        }
        ulOffset = FindStartCode(pucData, ulOffset + 1, ulLen, ulCodeLen);
    }
    NoteUnknownUnit(pucData, ulLen, pstPort);
    return PLAYER_ERR_NEED_MORE_DATA;
}

bool StartsWith(const CHAR *pcData, ULONG_32 ulLen, const CHAR *pcPrefix, ULONG_32 ulPrefixLen) {
    return ulLen >= ulPrefixLen && memcmp(pcData, pcPrefix, ulPrefixLen) == 0;
}

ULONG_32 ParseBySignature(CHAR *pcData, ULONG_32 ulLen, PLAEYR_PORT_S *pstPort) {
    if (StartsWith(pcData, ulLen, "\xFF\xD8", 2)) {
        return ParseJpeg(pcData, ulLen, pstPort);
    }
    if (ulLen >= sizeof(PLAYER_RECORDHEAD_S) && StartsWith(pcData, ulLen, RECORD_HEAD_FLAG, 4)) {
        return ParseRecordHead(pcData, pstPort);
    }
    if (StartsWith(pcData, ulLen, "\0\0\1", 3)) {
        return ParseElementary(pcData, ulLen, 3, pstPort);
    }
    if (StartsWith(pcData, ulLen, "\0\0\0\1", 4)) {
        return ParseElementary(pcData, ulLen, 4, pstPort);
    }
    LOG_ERROR("Player_ParseStream Failed, Unknown Stream[0x%x].", static_cast<UCHAR>(pcData[0]));
    return PLAYER_ERR_UNKNOWN_STREAM;
}

/* ---- statistics ---- */

ULONG_32 StatisticsOfH264KeyFrame(PLAEYR_PORT_S *pstPort) {
    H264_BitStreamInfo_S stInfo = {};
    DSP_H264_PreParse(pstPort->stFrameData.pucData, pstPort->stFrameData.lDataLen, &stInfo);
    if (stInfo.usFrameRate >= 1 && stInfo.usFrameRate <= MAX_SPS_FRAME_RATE) {
        word::Store(pstPort->stStateInfo.lFrameRate, stInfo.usFrameRate);
        pstPort->stStateInfo.bGetSPSFrameRate = 1;
    }
    if (stInfo.usWidth == 0 && stInfo.bSPSFrame == 1) {
        LOG_ERROR("Port[%03d] Player_StatisticsTimestamp Failed, DSP_H264_PreParse Failed.", pstPort->ulPort);
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

void LearnH265Size(PORT_INTAKE_S *pstIntake, LONG_32 lWidth, LONG_32 lHeight) {
    NET_STATEINFO_S *pstState = &pstIntake->stStateInfo;
    if (lWidth == 0 || lHeight == 0 || (lWidth == pstState->lWidth && lHeight == pstState->lHeight)) {
        return;
    }
    if (pstState->lWidth != 0 && pstState->lHeight != 0) {
        pstState->bPicSizeChanged = 1;
    }
    pstState->lWidth = lWidth;
    pstState->lHeight = lHeight;
}

void StatisticsOfH265KeyFrame(PLAEYR_PORT_S *pstPort) {
    DSP_SPS_INFO_S stInfo = {};
    ParseSequenceParameterSet(pstPort->stFrameData.pucData, static_cast<ULONG_32>(pstPort->stFrameData.lDataLen),
                              &stInfo);
    ULONG_32 ulRate = stInfo.ulNumUnits != 0 ? stInfo.ulTimeScale / stInfo.ulNumUnits : 0;
    if (ulRate != 0 && ulRate <= 0x7FFFFFFF) {
        word::Store(pstPort->stStateInfo.lFrameRate, static_cast<LONG_32>(ulRate));
        pstPort->stStateInfo.bGetSPSFrameRate = 1;
    }
    LearnH265Size(pstPort, static_cast<LONG_32>(stInfo.lWidth), static_cast<LONG_32>(stInfo.lHeight));
}

ULONG_32 StatisticsOfKeyFrame(PLAEYR_PORT_S *pstPort) {
    switch (pstPort->stFrameData.lPayload) {
        case PLAYER_PAYLOAD_H264:
            return StatisticsOfH264KeyFrame(pstPort);
        case PLAYER_PAYLOAD_H265:
            StatisticsOfH265KeyFrame(pstPort);
            break;
        default:
            pstPort->stStateInfo.bGetSPSFrameRate = 0;
            break;
    }
    return PLAYER_ERR_OK;
}

/** Interval that a step of the 90 kHz clock means; one that can't be real gives way to the last known rate. */
LONG_32 IntervalOfTicks(ULONG_32 ulDelta, LONG_32 lKnownRate) {
    LONG_32 lInterval = static_cast<LONG_32>(ulDelta / 2 / 45);
    if (lInterval == 0) {
        return DEFAULT_INTERVAL_MS;
    }
    if (lInterval > MAX_INTERVAL_MS && lInterval != ONE_FRAME_A_SECOND_MS) {
        return IntervalOfRate(lKnownRate);
    }
    return lInterval;
}

void EstimateFromTimestamps(PLAEYR_PORT_S *pstPort) {
    NET_STATEINFO_S *pstState = &pstPort->stStateInfo;
    DULONG dulTimestamp = pstPort->stFrameData.dulTimestamp;
    if (pstState->dulVideoTimestamp == 0) {
        pstState->dulVideoTimestamp = dulTimestamp;
        return;
    }
    ULONG_32 ulDelta = static_cast<ULONG_32>(dulTimestamp - pstState->dulVideoTimestamp);
    if (ulDelta == 0) {
        return;
    }
    LONG_32 lInterval = IntervalOfTicks(ulDelta, word::Load(pstState->lFrameRate));
    SetFrameRate(pstPort, 1000 / lInterval, lInterval);
    pstState->dulVideoTimestamp = dulTimestamp;
}

}  // namespace

ULONG_32 Player_ParseStream(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort) {
    const UCHAR TS_SYNC_BYTE = 0x47;
    if (pcRecvDataAddr == nullptr || ulRecvDataLen == 0) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    // Whatever follows a head is its frame: a frame's bytes may look like anything.
    if (pstPort->bFindRecordHead == 1) {
        SetFrame(pstPort, reinterpret_cast<UCHAR *>(pcRecvDataAddr), ulRecvDataLen);
        pstPort->bFindRecordHead = 0;
        return PLAYER_ERR_OK;
    }
    const UCHAR ucFirst = static_cast<UCHAR>(pcRecvDataAddr[0]);
    if ((ucFirst & 0xC0) == 0x80) {
        return ParseRtp(pcRecvDataAddr, ulRecvDataLen, pstPort);
    }
    if (ucFirst == TS_SYNC_BYTE) {
        return ParseTs(pcRecvDataAddr, ulRecvDataLen, pstPort);
    }
    return ParseBySignature(pcRecvDataAddr, ulRecvDataLen, pstPort);
}

ULONG_32 Player_ParsePending(PLAEYR_PORT_S *pstPort, BOOL_T bQuiet) {
    if (!pstPort->bStandard || pstPort->ulCurStreamType != STREAM_TYPE_RTP || pstPort->bFindRecordHead == 1) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    return NextStandardFrame(pstPort, bQuiet != 0);
}

ULONG_32 Player_PendingWaitMs(const PLAEYR_PORT_S *pstPort) {
    return pstPort->bStandard ? RtpStandard_WaitMs(pstPort->pstStandard, Time_SteadyMs()) : ULONG_32{RTP_WAIT_NONE};
}

ULONG_32 Player_StatisticsTimestamp(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stFrameData.lFormatType == PLAYER_VIDEO_FRAME_I) {
        ULONG_32 ulResult = StatisticsOfKeyFrame(pstPort);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    if (pstPort->stStateInfo.bGetSPSFrameRate == 1) {
        word::Store(pstPort->stStateInfo.lFrameIntervalTime,
                    IntervalOfRate(word::Load(pstPort->stStateInfo.lFrameRate)));
    } else {
        EstimateFromTimestamps(pstPort);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetFrameRate(ULONG_32 ulPort, LONG_32 *plFrameRate) {
    const LONG_32 NEARLY_60 = 62;
    PLAYER_GET_PORT(pstPort, ulPort);
    LONG_32 lFrameRate = word::Load(pstPort->stStateInfo.lFrameRate);
    *plFrameRate = lFrameRate == NEARLY_60 ? 60 : lFrameRate;
    return PLAYER_ERR_OK;
}
