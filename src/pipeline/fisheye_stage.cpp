// Fisheye and PTZ: the calls of clients, and what a port finds out about its stream. Nothing dewarps here.
#include "pipeline/fisheye_stage.h"

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "queue/com_report.h"

namespace {

const LONG_32 KEY_FRAMES_WITHOUT = 3;  // key frames in a row without analytics that a PTZ stream may have

ULONG_32 CheckPort(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    static_cast<void>(pstPort);
    return PLAYER_ERR_OK;
}

/** Tells the client what the stream has become. */
void ReportStream(PLAEYR_PORT_S *pstPort, ULONG_32 ulCode, const CHAR *pcWhat) {
    REPORT_MSG_S stMsg = {};
    stMsg.ulRunInfoType = PLAYER_RUN_INFO_MEDIA_PROCESS;
    stMsg.uReportMsg.stRunInfo.ulPort = pstPort->ulPort;
    stMsg.uReportMsg.stRunInfo.ulErrCode = ulCode;
    ULONG_32 ulResult = Report_SendMsg(pstPort->ulPort, &stMsg);
    LOG_INFO("Port[%03d] Send Report This is %s Stream.", pstPort->ulPort, pcWhat);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_CatchPtzState Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort,
                 ulResult);
    }
}

}  // namespace

/* ---- per frame ---- */

void Player_CatchFishState(PLAEYR_PORT_S * /*pstPort*/) {}

void Player_CatchPtzState(PLAEYR_PORT_S *pstPort) {
    const bool bJpeg = pstPort->stFrameData.lPayload == PLAYER_PAYLOAD_JPEG;
    if (pstPort->stFrameData.lFormatType != PLAYER_VIDEO_FRAME_I && !bJpeg) {
        return;
    }
    const ULONG_32 ulAnalytics = SEI_TYPE_IVA_RESULT | SEI_TYPE_IVA_RULE;
    if ((pstPort->stSeiInfo.ulSeiType & ulAnalytics) != 0) {
        pstPort->stSeiInfo.ulSeiType &= ~ulAnalytics;
        pstPort->stPtzInfo.lNoSeiCnt = 0;
        if (pstPort->bReportPtzStream == 0) {
            ReportStream(pstPort, PLAYER_RUN_PTZ_STREAM, "PTZ");
        }
        pstPort->bReportPtzStream = 1;
        return;
    }
    if (pstPort->bReportPtzStream != 1) {
        return;
    }
    if (pstPort->stPtzInfo.lNoSeiCnt < KEY_FRAMES_WITHOUT && !bJpeg) {
        pstPort->stPtzInfo.lNoSeiCnt++;
        return;
    }
    ReportStream(pstPort, PLAYER_RUN_PTZ_STREAM_END, "Not Fisheye");
    pstPort->bReportPtzStream = 0;
}

/* ---- calls of clients ---- */

ULONG_32 Player_IsFishEyeStream(ULONG_32 ulPort) { return CheckPort(ulPort); }

ULONG_32 Player_GetFishEyeParam(ULONG_32 ulPort, PLAYER_POINT_S *, ULONG_32 *, void *) { return CheckPort(ulPort); }

ULONG_32 Player_SetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 ulPtzMode, ULONG_32 /*ulFixMode*/) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stFishInfo.bStartFisheye, ulPtzMode != PLAYER_ORIGINAL);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 *, ULONG_32 *) { return CheckPort(ulPort); }

ULONG_32 Player_SetPtzDisplayMode(ULONG_32 ulPort, ULONG_32) { return CheckPort(ulPort); }

ULONG_32 Player_SetPtzKeepAliveTime(ULONG_32 ulPort, ULONG_32) { return CheckPort(ulPort); }

ULONG_32 Player_OnMouseMove(ULONG_32 ulPort, ULONG_32, PLAYER_POINT_S) { return CheckPort(ulPort); }

ULONG_32 Player_OnLButtonDown(ULONG_32 ulPort, ULONG_32, PLAYER_POINT_S) { return CheckPort(ulPort); }

ULONG_32 Player_OnLButtonUp(ULONG_32 ulPort, ULONG_32, PLAYER_POINT_S) { return CheckPort(ulPort); }

ULONG_32 Player_OnMouseWheel(ULONG_32 ulPort, ULONG_32, SHORT, PLAYER_POINT_S) { return CheckPort(ulPort); }

ULONG_32 Player_FaceCorrectFunc(const CHAR *, const CHAR *, CHAR *) { return PLAYER_ERR_NOT_SUPPORT; }
