#include "record/rollover.h"

#include "bits/dsp_mcfw_preparse.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "record/record_claim.h"
#include "record/record_container.h"
#include "record/record_format.h"
#include "record/record_name.h"
#include "record/record_writer.h"

namespace {

bool IsTranscodedAudio(LONG_32 lPayload) {
    return lPayload == PLAYER_PAYLOAD_G711U || lPayload == PLAYER_PAYLOAD_AAC || lPayload == PLAYER_PAYLOAD_G711A;
}

void NoteAudio(PLAEYR_PORT_S *pstRecord) {
    const ULONG_32 ulPayload = static_cast<ULONG_32>(pstRecord->stFrameData.lPayload);
    if (pstRecord->ulRecAudioPayload != ulPayload && pstRecord->ulRecAudioPayload != PLAYER_PAYLOAD_NULL) {
        pstRecord->bRecAudioChange = 1;
    }
    pstRecord->ulRecAudioPayload = ulPayload;
}

/** Notes codec and size of a key frame. Only another codec asks for a new file: a player follows a new size. */
BOOL_T NoteVideo(PLAEYR_PORT_S *pstRecord, ULONG_32 ulWidth, ULONG_32 ulHeight) {
    const ULONG_32 ulPayload = static_cast<ULONG_32>(pstRecord->stFrameData.lPayload);
    const bool bKnown = pstRecord->ulRecWidth != 0 || pstRecord->ulRecHeight != 0;
    const bool bChanged = pstRecord->ulRecPayload != ulPayload && bKnown;
    pstRecord->ulRecPayload = ulPayload;
    if (ulWidth != 0 && ulHeight != 0) {  // a key frame need not repeat its parameter sets
        pstRecord->ulRecWidth = ulWidth;
        pstRecord->ulRecHeight = ulHeight;
    }
    return bChanged;
}

BOOL_T LookAtH264(PORT_RECORD_S *pstRecording) {
    PLAEYR_PORT_S *pstRecord = pstRecording->pstReordPort;
    H264_BitStreamInfo_S stInfo = {};
    DSP_H264_PreParse(pstRecord->stFrameData.pucData, pstRecord->stFrameData.lDataLen, &stInfo);
    pstRecording->ulRecFrameRate = stInfo.usFrameRate;
    return NoteVideo(pstRecord, stInfo.usWidth, stInfo.usHeight);
}

/** What a key frame says about the end of the file. */
enum KEY_VERDICT_E { KEY_GOES_ON, KEY_NEEDS_FILE, KEY_LIMITS };

KEY_VERDICT_E LookAtH265(PORT_RECORD_S *pstRecording) {
    PLAEYR_PORT_S *pstRecord = pstRecording->pstReordPort;
    DSP_SPS_INFO_S stInfo = {};
    if (!ParseSequenceParameterSet(pstRecord->stFrameData.pucData,
                                   static_cast<ULONG_32>(pstRecord->stFrameData.lDataLen), &stInfo)) {
        // An encoder may send its parameter sets once; what follows can be shown if they came before.
        if (pstRecord->ulRecPayload == PLAYER_PAYLOAD_H265) {
            return KEY_LIMITS;
        }
        pstRecord->bNeedIFrame = 1;
        return KEY_GOES_ON;
    }
    pstRecording->ulRecFrameRate = stInfo.ulNumUnits != 0 ? stInfo.ulTimeScale / stInfo.ulNumUnits : ~0U;
    return NoteVideo(pstRecord, static_cast<ULONG_32>(stInfo.lWidth), static_cast<ULONG_32>(stInfo.lHeight))
               ? KEY_NEEDS_FILE
               : KEY_LIMITS;
}

KEY_VERDICT_E LookAtVideo(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->pstReordPort->stFrameData;
    if (stFrame.lPayload == PLAYER_PAYLOAD_JPEG) {
        return KEY_LIMITS;
    }
    if (stFrame.lFormatType != PLAYER_VIDEO_FRAME_I) {
        return KEY_GOES_ON;
    }
    switch (stFrame.lPayload) {
        case PLAYER_PAYLOAD_H264:
            return LookAtH264(pstPort) ? KEY_NEEDS_FILE : KEY_LIMITS;
        case PLAYER_PAYLOAD_H265:
            return LookAtH265(pstPort);
        default:
            return KEY_GOES_ON;
    }
}

bool IsTooLarge(const PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat) {
    DULONG dulMax = word::Load(pstPort->ulFileMaxSize);
    if (dulMax == 0) {
        return false;
    }
    const RECORD_CONTAINER_S &stContainer = RecordContainer_Of(stFormat.enContainer);
    if (stContainer.dulLimitRule != 0 && dulMax > stContainer.dulLimitRule) {
        dulMax = stContainer.dulLimit;
    }
    return stContainer.pfnSize(pstPort) >= dulMax;
}

bool IsTooLong(const PORT_RECORD_S *pstRecording) {
    const ULONG_32 ulMax = word::Load(pstRecording->ulFileMaxTime);
    const auto lLasted =
        static_cast<LONG_32>(static_cast<ULONG_32>(time(nullptr)) - static_cast<ULONG_32>(pstRecording->lStartTime));
    return ulMax != 0 && lLasted > static_cast<LONG_32>(ulMax);
}

bool IsLimitReached(const PLAEYR_PORT_S *pstPort) {
    const RECORD_FORMAT_S *pstFormat = RecordFormat_Find(pstPort->ulMediaFileFormat);
    if (pstFormat == nullptr || !RecordFormat_HasVideo(*pstFormat)) {
        return false;
    }
    const bool bJpeg = pstPort->pstReordPort->stFrameData.lPayload == PLAYER_PAYLOAD_JPEG;
    if (bJpeg && pstPort->ulMediaFileFormat == PLAYER_FILE_FORMATE_MP4) {
        return false;
    }
    return IsTooLarge(pstPort, *pstFormat) || IsTooLong(pstPort);
}

void ReportRolled(PLAEYR_PORT_S *pstPort, const CHAR *pcFinal) {
    ULONG_32 ulResult = Record_Report(pstPort, PLAYER_RUN_RECORD_ROLLED, pcFinal);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_CreateNewFile Warning, Send Report Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
}

void ReportOpenFailed(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = Record_Report(pstPort, PLAYER_ERR_FILE_OPEN, nullptr);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_CreateNewFile Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort,
                 ulResult);
    }
    LOG_ERROR("Port[%03d] Player_CreateNewFile Failed, fopen Failed.", pstPort->ulPort);
}

/** Ends the file and begins the next. @return whether the next is open */
bool ChangeFile(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat, CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]) {
    const RECORD_CONTAINER_S &stContainer = RecordContainer_Of(stFormat.enContainer);
    stContainer.pfnCloseFile(pstPort);
    RecordName_Final(pstPort, stFormat, pstPort->szFileNameTemp, szFinal);
    RecordClaim_Rename(pstPort, szFinal);
    RecordName_Next(pstPort, stFormat);
    ReportRolled(pstPort, szFinal);
    if (RecordClaim_Make(pstPort) && stContainer.pfnOpenNext(pstPort)) {
        return true;
    }
    ReportOpenFailed(pstPort);
    return false;
}

}  // namespace

BOOL_T Player_RecordDataChanged(PLAEYR_PORT_S *pstPort) {
    if (IsTranscodedAudio(pstPort->pstReordPort->stFrameData.lPayload)) {
        NoteAudio(pstPort->pstReordPort);
        return 0;
    }
    switch (LookAtVideo(pstPort)) {
        case KEY_NEEDS_FILE:
            return 1;
        case KEY_LIMITS:
            return IsLimitReached(pstPort);
        default:
            return 0;
    }
}

ULONG_32 Player_CreateNewFile(PLAEYR_PORT_S *pstPort) {
    LOG_INFO("Port[%03d] __RecordThreadEntry Info, File Size Out Of Max", pstPort->ulPort);
    CHAR szFinal[PLAYER_FILE_NAME_LEN] = "";
    const RECORD_FORMAT_S *pstFormat = RecordFormat_Find(pstPort->ulMediaFileFormat);
    bool bOpen = true;
    if (pstFormat != nullptr && RecordFormat_HasVideo(*pstFormat)) {
        bOpen = ChangeFile(pstPort, *pstFormat, szFinal);
    }
    Player_AddFileNameNode(pstPort, szFinal);
    pstPort->lStartTime = time(nullptr);
    return bOpen ? PLAYER_ERR_OK : PLAYER_ERR_FAILED;
}
