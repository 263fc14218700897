// Which decoder a port has, and one frame through it.
#include "pipeline/decode_stage.h"

#include "bits/dsp_mcfw_preparse.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "pipeline/decode_deliver.h"
#include "pipeline/parse_stage.h"
#include "pipeline/prepare_stage.h"
#include "port/player_manager.h"
#include "port/port_state.h"
#include "port/run_messages.h"

namespace {

const LONG_32 CODECTYPE_IS_DECODER = CODECTYPE_DECODER;
const ULONG_32 JPEG_FAILURES_TO_REPORT = 5;
const LONG_32 MAX_ASPECT = 10;
const ULONG_32 SEI_CODING_HEAD = 1;

/* ---- sound ---- */

ULONG_32 FindAudioDecoder(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    if (pstPort->stAudioDecode.lCodecID == lPayload) {
        return PLAYER_ERR_OK;
    }
    PortState_FreeAudioDecoder(pstPort);
    ULONG_32 ulResult = CODE_CreateCode(CODECTYPE_IS_DECODER, lPayload, nullptr, &pstPort->stAudioDecode);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_CreateCode Payload[%d] Failed, Error:[0x%x].", lPayload, ulResult);
        return ulResult;
    }
    word::Store(pstPort->lAudioCodecID, lPayload);
    LOG_ERROR("Port[%03d] Create Audio Decoder Success, Payload:[%d].", pstPort->ulPort, lPayload);
    PortState_DropSoundDevice(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 DecodeAudio(CODEC_FRAME_S *pstPacket, PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bStartAudio)) {
        ULONG_32 ulResult =
            CODE_Decoder(&pstPort->stAudioDecode, pstPacket, DEINTERLACE_NONE, &pstPort->stDecodeAudioData);
        if (ulResult != PLAYER_ERR_OK) {
            if (ulResult != PLAYER_ERR_NO_PICTURE) {
                LOG_ERROR("Port [%03d] CODE_Decoder failed, error(0x%x)", pstPort->ulPort, ulResult);
            }
            if (ulResult == PLAYER_ERR_AUDIO_RESET) {
                PortState_FreeAudioDecoder(pstPort);
            }
            return ulResult;
        }
    }
    pstPort->ulCurDataType = AUDIO_DATA;
    return PLAYER_ERR_OK;
}

/* ---- the video decoder ---- */

bool IsDecoderFit(LONG_32 lPayload, const PLAEYR_PORT_S *pstPort) {
    const CODEC_INFO_S &stCodec = pstPort->stVideoDecode;
    if (stCodec.lCodecID != lPayload || pstPort->bChangeVideoDecode == 1 || pstPort->bReCreateH265GPUDec == 1) {
        return false;
    }
    return !PortCodec_UsesGpu(pstPort, lPayload) ||
           (static_cast<ULONG_32>(pstPort->stDecodeVideoData.lWidth) == stCodec.ulPicWidth &&
            static_cast<ULONG_32>(pstPort->stDecodeVideoData.lHeight) == stCodec.ulPicHeight);
}

/** Whether the H.265 decoder was made for any size, and that of its pictures has become known. */
bool HasOutgrownDefault(const PORT_CODEC_S *pstCodecs) {
    const CODE_DECODED_DATA_S &stPicture = pstCodecs->stDecodeVideoData;
    return pstCodecs->stVideoDecode.bDefaultDecSize == 1 && stPicture.lWidth > 0 && stPicture.lHeight > 0;
}

/** The size that the software H.265 decoder has yet to take on, if there is one. */
bool ReadNewH265Size(PLAEYR_PORT_S *pstPort, LONG_32 *plWidth, LONG_32 *plHeight) {
    const CODE_DECODED_DATA_S &stPicture = pstPort->stDecodeVideoData;
    if (HasOutgrownDefault(pstPort)) {
        *plWidth = stPicture.lWidth;
        *plHeight = stPicture.lHeight;
        return true;
    }
    if (pstPort->stStateInfo.bPicSizeChanged == 1) {
        pstPort->stStateInfo.bPicSizeChanged = 0;
        *plWidth = pstPort->stStateInfo.lWidth;
        *plHeight = pstPort->stStateInfo.lHeight;
        return true;
    }
    return false;
}

ULONG_32 ResizeH265Decoder(LONG_32 lPayload, LONG_32 lWidth, LONG_32 lHeight, PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulMaxRefPicNum = pstPort->stVideoDecode.ulMaxRefPicNum;
    PortState_FreeVideoDecoder(pstPort);
    Stamps_Forget(&pstPort->stStamps);
    pstPort->stVideoDecode.ulMaxRefPicNum = ulMaxRefPicNum;
    ULONG_32 ulResult =
        CODE_ReCreateDecoder(lWidth, lHeight, word::Load(pstPort->bOneFrameDecordFlag), &pstPort->stVideoDecode);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] CODE_ReCreateDecoder Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return ulResult;
    }
    pstPort->stVideoDecode.lCodecType = CODECTYPE_IS_DECODER;
    pstPort->stVideoDecode.lCodecID = lPayload;
    word::Store(pstPort->lVideoCodecID, lPayload);
    return PLAYER_ERR_OK;
}

ULONG_32 KeepVideoDecoder(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    if (pstPort->bUseGpuH265 != 0 || pstPort->stFrameData.lFormatType != PLAYER_VIDEO_FRAME_I ||
        lPayload != PLAYER_PAYLOAD_H265) {
        return PLAYER_ERR_OK;
    }
    LONG_32 lWidth = 0;
    LONG_32 lHeight = 0;
    if (!ReadNewH265Size(pstPort, &lWidth, &lHeight)) {
        return PLAYER_ERR_OK;
    }
    return ResizeH265Decoder(lPayload, lWidth, lHeight, pstPort);
}

/** Frees the decoder, and the snapshot encoder, whose lock comes first in the order of locks. */
void FreeForRebuild(PLAEYR_PORT_S *pstPort) {
    {
        const CMutexGuard oLock(&pstPort->stSnatchInfo.stMutex);
        if (pstPort->stVideoEncode.lCodecID != PLAYER_PAYLOAD_NULL) {
            CODE_FreeCode(&pstPort->stVideoEncode);
        }
    }
    {
        const CMutexGuard oLock(&pstPort->stDecodeVideoData.stLock);
        word::Store(pstPort->bUseGpuRander, 0);
    }
    PortState_FreeVideoDecoder(pstPort);
}

/** A fisheye port decodes in software, even where the hardware could. */
void KeepFisheyeInSoftware(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    if (!word::Load(pstPort->stFishInfo.bStartFisheye)) {
        return;
    }
    if (lPayload == PLAYER_PAYLOAD_H264 && word::Load(gbGpuAble) == 1) {
        word::Store(pstPort->bUseGpu, !pstPort->bUseGpu);
        pstPort->stVideoDecode.bUseGpu = pstPort->bUseGpu;
        pstPort->bChangeVideoDecode = 0;
    }
    if (lPayload == PLAYER_PAYLOAD_H265 && word::Load(gbGpuAbleH265) == 1) {
        word::Store(pstPort->bUseGpuH265, !pstPort->bUseGpuH265);
        pstPort->stVideoDecode.bUseGpuH265 = pstPort->bUseGpuH265;
        pstPort->bChangeVideoDecode = 0;
    }
}

void AdoptGpuWish(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bUseGpu, word::Load(gbGpuAble));
    word::Store(pstPort->bUseGpuH265, word::Load(gbGpuAbleH265));
    pstPort->stVideoDecode.bUseGpu = lPayload == PLAYER_PAYLOAD_H264 ? pstPort->bUseGpu : 0;
    pstPort->stVideoDecode.bUseGpuH265 = lPayload == PLAYER_PAYLOAD_H265 ? pstPort->bUseGpuH265 : 0;
    KeepFisheyeInSoftware(lPayload, pstPort);
}

ULONG_32 CreateOnGpu(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    HANDLE hWnd = word::Load(pstPort->hWnd);
    pstPort->stVideoDecode.lUser = static_cast<LONG_32>(pstPort->ulPort);
    ULONG_32 ulResult = CODE_CreateCode(CODECTYPE_IS_DECODER, lPayload, hWnd, &pstPort->stVideoDecode);
    LOG_INFO("CODE_CreateCode Hwnd :%d", static_cast<LONG_32>(reinterpret_cast<ULONG>(hWnd)));
    pstPort->stVideoDecode.ulPicWidth = static_cast<ULONG_32>(pstPort->stDecodeVideoData.lWidth);
    pstPort->stVideoDecode.ulPicHeight = static_cast<ULONG_32>(pstPort->stDecodeVideoData.lHeight);
    pstPort->bReCreateH265GPUDec = 0;
    return ulResult;
}

ULONG_32 RebuildVideoDecoder(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    pstPort->stFrameData.bOneFrameDecordFlag = word::Load(pstPort->bOneFrameDecordFlag);
    FreeForRebuild(pstPort);
    Stamps_Forget(&pstPort->stStamps);
    AdoptGpuWish(lPayload, pstPort);
    ULONG_32 ulResult =
        PortCodec_UsesGpu(pstPort, lPayload)
            ? CreateOnGpu(lPayload, pstPort)
            : CODE_CreateCode(CODECTYPE_IS_DECODER, lPayload, &pstPort->stFrameData, &pstPort->stVideoDecode);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_CreateCode Payload[%d] Failed, Error:[0x%x].", lPayload, ulResult);
        return ulResult;
    }
    LOG_INFO("Port[%03d] Create Video Decoder Success, Payload:[%d].", pstPort->ulPort, lPayload);
    word::Store(pstPort->lVideoCodecID, lPayload);
    pstPort->bReCreateDec = 1;
    return PLAYER_ERR_OK;
}

/* ---- one picture ---- */

/** A coding head that came with the frame tells whether the picture is to be shown. */
void ApplyCodingHead(PLAEYR_PORT_S *pstPort) {
    if ((pstPort->stSeiInfo.ulSeiType & SEI_CODING_HEAD) == 0) {
        return;
    }
    if (pstPort->stSeiInfo.stUcodeInfo.stUcodeHeadInfo.ucBitRender == 0) {
        pstPort->stVideoDecode.bNoShow = 1;
    }
    pstPort->stVideoDecode.lUser = 1;
    pstPort->stSeiInfo.ulSeiType &= ~SEI_CODING_HEAD;
}

void ReportNewSize(PLAEYR_PORT_S *pstPort) {
    const CODE_DECODED_DATA_S &stPicture = pstPort->stDecodeVideoData;
    CHAR szSize[PLAYER_FILE_NAME_LEN];
    QLOM_SDK_snprintf(szSize, sizeof(szSize), "width:%d&height:%d", stPicture.lWidth, stPicture.lHeight);
    ULONG_32 ulResult =
        Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_MEDIA_PROCESS, PLAYER_RUN_PICTURE_SIZE, 0, szSize});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_Decoder Warning, Send Report Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    } else {
        LOG_INFO("Port[%03d] Player_Decoder Success, Pic Resolution:[%d * %d], Payload[%d].", pstPort->ulPort,
                 stPicture.lWidth, stPicture.lHeight, pstPort->stFrameData.lPayload);
    }
}

bool IsUnusualShape(LONG_32 lWidth, LONG_32 lHeight) {
    return static_cast<DLONG>(lWidth) > static_cast<DLONG>(lHeight) * MAX_ASPECT ||
           static_cast<DLONG>(lWidth) * MAX_ASPECT < static_cast<DLONG>(lHeight);
}

ULONG_32 AdoptNewSize(LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    const CODE_DECODED_DATA_S &stPicture = pstPort->stDecodeVideoData;
    if (IsUnusualShape(stPicture.lWidth, stPicture.lHeight)) {
        LOG_WARN("Port[%03d] CODE_Decoder Warning, Pic Width:[%d] Height:[%d] Unusual.", pstPort->ulPort,
                 stPicture.lWidth, stPicture.lHeight);
        return PLAYER_ERR_NO_PICTURE;
    }
    ReportNewSize(pstPort);
    if (PortCodec_UsesGpu(pstPort, lPayload)) {
        LOG_INFO("Port[%03d] Player_Decoder, GPU Decode Mode: Pic Size Changed.", pstPort->ulPort);
    } else {
        pstPort->stVideoDecode.ulPicWidth = static_cast<ULONG_32>(stPicture.lWidth);
        pstPort->stVideoDecode.ulPicHeight = static_cast<ULONG_32>(stPicture.lHeight);
    }
    return PLAYER_ERR_OK;
}

void ReportJpegFailures(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stFrameData.lPayload != PLAYER_PAYLOAD_JPEG ||
        pstPort->stVideoDecode.ulDecordFailCount <= JPEG_FAILURES_TO_REPORT) {
        return;
    }
    ULONG_32 ulResult =
        Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_MEDIA_PROCESS, PLAYER_ERR_DECODE, 0, nullptr});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Player_Decoder Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort, ulResult);
    }
    pstPort->stVideoDecode.ulDecordFailCount = 0;
}

/** Runs the decoder and looks at the picture that came out, if there is one. */
ULONG_32 RunVideoDecoder(CODEC_FRAME_S *pstPacket, LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    PLAYER_DEINTERLACEMODE_E enMode =
        word::Load(pstPort->bDeinterlace) == 1 ? word::Load(pstPort->enDeinterlaceMode) : DEINTERLACE_NONE;
    ULONG_32 ulResult = CODE_Decoder(&pstPort->stVideoDecode, pstPacket, enMode, &pstPort->stDecodeVideoData);
    if (ulResult != PLAYER_ERR_OK) {
        Stamps_Drop(&pstPort->stStamps, pstPort->stVideoDecode.ulLeftOut);
        pstPort->stVideoDecode.ulLeftOut = 0;
        if (ulResult != PLAYER_ERR_NO_PICTURE) {
            LOG_ERROR("Port [%03d] CODE_Decoder failed, error(0x%x)", pstPort->ulPort, ulResult);
        }
        ReportJpegFailures(pstPort);
        return ulResult;
    }
    pstPort->stDecodeVideoData.dulTimeStamp = Stamps_Take(&pstPort->stStamps, pstPacket->dulTimestamp);
    const CODE_DECODED_DATA_S &stPicture = pstPort->stDecodeVideoData;
    word::Store(pstPort->lPictureWidth, stPicture.lWidth);
    word::Store(pstPort->lPictureHeight, stPicture.lHeight);
    if (static_cast<ULONG_32>(stPicture.lWidth) != pstPort->stVideoDecode.ulPicWidth ||
        static_cast<ULONG_32>(stPicture.lHeight) != pstPort->stVideoDecode.ulPicHeight) {
        ulResult = AdoptNewSize(lPayload, pstPort);
    }
    if (ulResult == PLAYER_ERR_OK) {
        pstPort->ulCurDataType = VIDEO_DATA;
    }
    return ulResult;
}

ULONG_32 DecodeVideo(CODEC_FRAME_S *pstPacket, LONG_32 lPayload, PLAEYR_PORT_S *pstPort) {
    ApplyCodingHead(pstPort);
    if (!Stamps_Feed(&pstPort->stStamps, *pstPacket, lPayload, pstPort->stVideoDecode.bNoShow == 0)) {
        return PLAYER_ERR_NO_PICTURE;
    }
    return RunVideoDecoder(pstPacket, lPayload, pstPort);
}

/** A software decoder that may hold pictures back. */
bool MayHoldPictures(const PLAEYR_PORT_S *pstPort) {
    const LONG_32 lCodecID = pstPort->stVideoDecode.lCodecID;
    return Payload_IsInterVideo(lCodecID) && !PortCodec_UsesGpu(pstPort, lCodecID);
}

/** Whether the frame's parameter sets tell of another size than the one that was known. */
bool IsNewH265Size(const PORT_INTAKE_S *pstIntake) {
    const PLAYER_FRAMEDATA_S &stFrame = pstIntake->stFrameData;
    const NET_STATEINFO_S &stState = pstIntake->stStateInfo;
    DSP_SPS_INFO_S stInfo = {};
    return stFrame.lDataLen > 0 && stState.lWidth != 0 && stState.lHeight != 0 &&
           ParseSequenceParameterSet(stFrame.pucData, static_cast<ULONG_32>(stFrame.lDataLen), &stInfo) == 1 &&
           (stInfo.lWidth != stState.lWidth || stInfo.lHeight != stState.lHeight);
}

/** The hardware H.265 decoder is rebuilt when a key frame of a marked stream breaks it. */
bool MayRebuildGpuH265(const PLAEYR_PORT_S *pstPort) {
    const UCHAR ucCodeType = pstPort->stSeiInfo.stUcodeInfo.stUcodeHeadInfo.ucBitCodeType;
    return pstPort->bUseGpuH265 == 1 && pstPort->stFrameData.lPayload == PLAYER_PAYLOAD_H265 &&
           pstPort->bReCreateDec == 0 && pstPort->stFrameData.lFormatType == PLAYER_VIDEO_FRAME_I &&
           (ucCodeType == 1 || ucCodeType == 2);
}

bool RetryOnNewGpuH265(PLAEYR_PORT_S *pstPort) {
    pstPort->bReCreateH265GPUDec = 1;
    ULONG_32 ulResult = Player_FindDecode(pstPort->stFrameData.lPayload, pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        pstPort->bNeedIFrame = 1;
        LOG_ERROR("Port[%03d] Decode Thread: H265 GPU Find Decode Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return false;
    }
    ulResult = Player_Decoder(&pstPort->stFrameData, pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Decode Thread: H265 GPU Decoder Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult == PLAYER_ERR_OK;
}

/** Whether a picture or block came out. A failure is logged and costs what follows up to the next key frame. */
bool CameOut(ULONG_32 ulResult, PLAEYR_PORT_S *pstPort) {
    if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_NO_PICTURE) {
        LOG_ERROR("Port[%03d] Decode Thread: Decoder Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        pstPort->bNeedIFrame = 1;
    }
    return ulResult == PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 Player_FindDecode(LONG lPayload, PLAEYR_PORT_S *pstPort) {
    const LONG_32 lType = static_cast<LONG_32>(lPayload);
    if (Payload_IsAudio(lType)) {
        return FindAudioDecoder(lType, pstPort);
    }
    if (!Payload_IsVideo(lType)) {
        return lType == PLAYER_PAYLOAD_DATA ? PLAYER_ERR_OK : PLAYER_ERR_NOT_SUPPORT;
    }
    ULONG_32 ulResult = Player_StatisticsTimestamp(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    return IsDecoderFit(lType, pstPort) ? KeepVideoDecoder(lType, pstPort) : RebuildVideoDecoder(lType, pstPort);
}

ULONG_32 Player_Decoder(PLAYER_FRAMEDATA_S *pstFrame, PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulLen = static_cast<ULONG_32>(pstFrame->lDataLen);
    const ULONG_32 ulSkip = pstPort->stSeiInfo.ulSeiTotalLen <= ulLen ? pstPort->stSeiInfo.ulSeiTotalLen : 0;
    CODEC_FRAME_S stPacket = {pstFrame->pucData + ulSkip, ulLen - ulSkip, pstFrame->dulTimestamp, pstFrame->lFormatType,
                              pstFrame->bPictureEnd};
    if (stPacket.ulSize == 0) {
        return PLAYER_ERR_NO_PICTURE;  // to a decoder that would be the end of its stream
    }
    if (Payload_IsVideo(pstFrame->lPayload)) {
        return DecodeVideo(&stPacket, pstFrame->lPayload, pstPort);
    }
    return Payload_IsAudio(pstFrame->lPayload) ? DecodeAudio(&stPacket, pstPort) : static_cast<ULONG_32>(PLAYER_ERR_OK);
}

ULONG_32 Decode_NextPicture(PLAEYR_PORT_S *pstPort) {
    if (!MayHoldPictures(pstPort)) {
        return PLAYER_ERR_NO_PICTURE;
    }
    CODEC_FRAME_S stPacket = {nullptr, 0, pstPort->stFrameData.dulTimestamp, CODEC_FRAME_MORE,
                              pstPort->stFrameData.bPictureEnd};
    return RunVideoDecoder(&stPacket, pstPort->stVideoDecode.lCodecID, pstPort);
}

bool Decode_WillReplace(const PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    if (!MayHoldPictures(pstPort) || !Payload_IsVideo(stFrame.lPayload)) {
        return false;
    }
    if (pstPort->stVideoDecode.lCodecID != stFrame.lPayload) {
        return true;
    }
    return stFrame.lPayload == PLAYER_PAYLOAD_H265 && stFrame.lFormatType == PLAYER_VIDEO_FRAME_I &&
           (HasOutgrownDefault(pstPort) || pstPort->stStateInfo.bPicSizeChanged == 1 || IsNewH265Size(pstPort));
}

ULONG_32 Decode_HeldPicture(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = PLAYER_ERR_NO_PICTURE;
    if (MayHoldPictures(pstPort)) {
        CODEC_FRAME_S stPacket = {nullptr, 0, pstPort->stDecodeVideoData.dulTimeStamp, 0, 0};
        ulResult = RunVideoDecoder(&stPacket, pstPort->stVideoDecode.lCodecID, pstPort);
    }
    if (ulResult != PLAYER_ERR_OK) {
        Stamps_Forget(&pstPort->stStamps);
        ulResult = PLAYER_ERR_NO_PICTURE;
    }
    return ulResult;
}

void Decode_BeginAnew(PLAEYR_PORT_S *pstPort) {
    CODEC_FRAME_S stEnd = {};
    CODE_DECODED_DATA_S stNobody = {};
    while (MayHoldPictures(pstPort) &&
           CODE_Decoder(&pstPort->stVideoDecode, &stEnd, DEINTERLACE_NONE, &stNobody) == PLAYER_ERR_OK) {
    }
    const LONG_32 lAudio = pstPort->stAudioDecode.lCodecID;
    if (lAudio == PLAYER_PAYLOAD_AAC || lAudio == PLAYER_PAYLOAD_MP1L2) {  // the others hold nothing
        CODE_Decoder(&pstPort->stAudioDecode, &stEnd, DEINTERLACE_NONE, &stNobody);
    }
    Stamps_Forget(&pstPort->stStamps);
}

bool Deliver_DecodeFrame(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = Player_FindDecode(pstPort->stFrameData.lPayload, pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        if (ulResult != PLAYER_ERR_NOT_SUPPORT) {
            pstPort->bNeedIFrame = 1;
        }
        LOG_ERROR("Port[%03d] Decode Thread: Player_FindDecode Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return false;
    }
    if (!Player_PrepareFrame(pstPort)) {
        return false;
    }
    ulResult = Player_Decoder(&pstPort->stFrameData, pstPort);
    if (ulResult != PLAYER_ERR_OK && MayRebuildGpuH265(pstPort)) {
        return RetryOnNewGpuH265(pstPort);
    }
    return CameOut(ulResult, pstPort);
}

bool Deliver_NextPicture(PLAEYR_PORT_S *pstPort) {
    return Payload_IsInterVideo(pstPort->stFrameData.lPayload) && pstPort->bNeedIFrame == 0 &&
           CameOut(Decode_NextPicture(pstPort), pstPort);
}
