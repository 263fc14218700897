// Size and rate of a key frame, for the muxers that announce them.
#include "bits/dsp_mcfw_preparse.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "record/record_inner.h"

namespace {

const ULONG_32 USUAL_FRAME_RATE = 25;

void SetPicture(PORT_INTAKE_S *pstIntake, RECORD_PICTURE_S *pstPicture, const RECORD_PICTURE_S &stRead) {
    pstPicture->ulWidth = Record_PictureSide(stRead.ulWidth);
    pstPicture->ulHeight = Record_PictureSide(stRead.ulHeight);
    pstPicture->ulFrameRate = stRead.ulFrameRate != 0 ? stRead.ulFrameRate : USUAL_FRAME_RATE;
    word::Store(pstIntake->stStateInfo.lFrameRate, static_cast<LONG_32>(pstPicture->ulFrameRate));
}

bool ReadH264(const PLAYER_FRAMEDATA_S &stFrame, RECORD_PICTURE_S *pstRead) {
    if (stFrame.lFormatType != PLAYER_VIDEO_FRAME_I) {
        return false;
    }
    H264_BitStreamInfo_S stInfo = {};
    DSP_H264_PreParse(stFrame.pucData, stFrame.lDataLen, &stInfo);
    *pstRead = {stInfo.usWidth, stInfo.usHeight, stInfo.usFrameRate};
    return true;
}

bool ReadH265(const PLAYER_FRAMEDATA_S &stFrame, RECORD_PICTURE_S *pstRead) {
    DSP_SPS_INFO_S stInfo = {};
    if (!ParseSequenceParameterSet(stFrame.pucData, static_cast<ULONG_32>(stFrame.lDataLen), &stInfo)) {
        return false;
    }
    const ULONG_32 ulRate = stInfo.ulNumUnits != 0 ? stInfo.ulTimeScale / stInfo.ulNumUnits : 0;
    *pstRead = {static_cast<ULONG_32>(stInfo.lWidth), static_cast<ULONG_32>(stInfo.lHeight), ulRate};
    return true;
}

}  // namespace

ULONG_32 Record_ReadPicture(PLAEYR_PORT_S *pstPort, const CHAR *pcCaller, RECORD_PICTURE_S *pstPicture) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->pstReordPort->stFrameData;
    const bool bH264 = stFrame.lPayload == PLAYER_PAYLOAD_H264;
    if (!bH264 && stFrame.lPayload != PLAYER_PAYLOAD_H265) {
        LOG_ERROR("Port[%03d] %s Failed, Not Support Payload:[%d].", pstPort->ulPort, pcCaller, stFrame.lPayload);
        return PLAYER_ERR_NOT_SUPPORT;
    }
    RECORD_PICTURE_S stRead = {};
    if (!(bH264 ? ReadH264(stFrame, &stRead) : ReadH265(stFrame, &stRead))) {
        LOG_ERROR("Port[%03d] %s Failed, Not H.26%d I Frame.", pstPort->ulPort, pcCaller, bH264 ? 4 : 5);
        return PLAYER_ERR_PARAM;
    }
    SetPicture(pstPort, pstPicture, stRead);
    return PLAYER_ERR_OK;
}
