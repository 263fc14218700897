// The transcoder of a recording: sound that a container can't carry becomes sound that it can.
#include <algorithm>

#include "foundations/com_log.h"
#include "record/record_inner.h"

const ULONG_32 gaulAACSampleRate[RECORD_AAC_RATES] = {96000, 88200, 64000, 48000, 44100, 32000,
                                                      24000, 22050, 16000, 12000, 11025, 8000};

namespace {

const ULONG_32 G711_RATE = 8000;
/** PCM of one call of an encoder: the AAC encoder keeps no more than this beside the frame that it makes. */
const LONG_32 ENCODE_STEP = CODEC_AAC_PCM_SIZE;

void FreePair(PORT_RECORD_S *pstRecording) {
    CODE_FreeCode(&pstRecording->stRecordAudioDecode);
    CODE_FreeCode(&pstRecording->stRecordAudioEncode);
    pstRecording->bHaveAudio = 0;
}

ULONG_32 MakeDecoder(PLAEYR_PORT_S *pstPort, const CHAR *pcWho) {
    const LONG_32 lPayload = pstPort->pstReordPort->stFrameData.lPayload;
    FreePair(pstPort);
    ULONG_32 ulResult = CODE_CreateCode(CODECTYPE_DECODER, lPayload, nullptr, &pstPort->stRecordAudioDecode);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s: CODE_CreateCode Payload[%d] Failed, Error:[0x%x].", pstPort->ulPort, pcWho, lPayload,
                  ulResult);
    }
    return ulResult;
}

ULONG_32 Decode(PLAEYR_PORT_S *pstPort, const CHAR *pcWho, CODE_DECODED_DATA_S *pstPcm) {
    PLAYER_FRAMEDATA_S &stData = pstPort->pstReordPort->stFrameData;
    CODEC_FRAME_S stFrame = {stData.pucData, static_cast<ULONG_32>(stData.lDataLen), stData.dulTimestamp,
                             stData.lFormatType};
    ULONG_32 ulResult = CODE_Decoder(&pstPort->stRecordAudioDecode, &stFrame, DEINTERLACE_NONE, pstPcm);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s: CODE_Decoder Failed, Error:[0x%x].", pstPort->ulPort, pcWho, ulResult);
    }
    if (ulResult == PLAYER_ERR_AUDIO_RESET) {
        pstPort->pstReordPort->bRecAudioChange = 1;
    }
    return ulResult;
}

/** The rate that the PCM of the frame in hand is taken for. */
ULONG_32 StampRate(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstPcm) {
    const PLAEYR_PORT_S *pstRecord = pstPort->pstReordPort;
    pstPcm->lMediaType = pstRecord->stFrameData.lPayload;
    pstPcm->ulSampleRate = G711_RATE;
    if (pstRecord->stFrameData.lPayload != PLAYER_PAYLOAD_AAC) {
        return PLAYER_ERR_OK;
    }
    const ULONG_32 ulIndex = pstRecord->stRtpAudioInfo.ucFrequencyIndex;
    if (ulIndex >= RECORD_AAC_RATES) {
        LOG_ERROR("Port[%03d] Record Thread: Error Sample Rate Index:[%d].", pstPort->ulPort, ulIndex);
        return PLAYER_ERR_FAILED;
    }
    pstPcm->ulSampleRate = gaulAACSampleRate[ulIndex];
    return PLAYER_ERR_OK;
}

ULONG_32 MakeEncoder(PLAEYR_PORT_S *pstPort, const RECORD_ENCODER_S &stEncoder, CODE_DECODED_DATA_S *pstPcm) {
    CODEC_INFO_S *pstCodec = &pstPort->stRecordAudioEncode;
    pstCodec->ulAudioEnSampleRate = pstPcm->ulSampleRate;
    ULONG_32 ulResult = CODE_CreateCode(CODECTYPE_ENCODER, stEncoder.lPayload, pstPcm, pstCodec);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s: CODE_CreateCode Failed, Error:[0x%x].", pstPort->ulPort, stEncoder.pcWho, ulResult);
        FreePair(pstPort);
        return ulResult;
    }
    const bool bAac = stEncoder.lPayload == PLAYER_PAYLOAD_AAC;
    ulResult = bAac ? CODE_SetAacDataCallBack(pstCodec, stEncoder.pfnTake, pstPort)
                    : CODE_SetMp2DataCallBack(pstCodec, stEncoder.pfnTake, pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s: CODE_Set%sDataCallBack Failed, Error:[0x%x].", pstPort->ulPort, stEncoder.pcWho,
                  bAac ? "Aac" : "Mp2", ulResult);
        FreePair(pstPort);
        return ulResult;
    }
    pstPort->bHaveAudio = 1;
    pstPort->pstReordPort->bRecAudioChange = 0;
    return PLAYER_ERR_OK;
}

/** Feeds the encoder in steps that it takes whole. */
ULONG_32 Encode(PLAEYR_PORT_S *pstPort, const CHAR *pcWho, CODE_DECODED_DATA_S *pstPcm) {
    UCHAR *pucData = pstPcm->pucData[0];
    LONG_32 lRest = pucData != nullptr ? pstPcm->lLineSize[0] : 0;
    ULONG_32 ulResult = PLAYER_ERR_OK;
    while (lRest > 0 && ulResult == PLAYER_ERR_OK) {
        const LONG_32 lStep = std::min(lRest, ENCODE_STEP);
        pstPcm->pucData[0] = pucData;
        pstPcm->lLineSize[0] = lStep;
        ulResult = CODE_Encoder(&pstPort->stRecordAudioEncode, pstPcm, nullptr);
        pucData += lStep;
        lRest -= lStep;
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] %s: CODE_Decoder Failed, Error:[0x%x].", pstPort->ulPort, pcWho, ulResult);
    }
    return ulResult;
}

}  // namespace

ULONG_32 Record_Transcode(PLAEYR_PORT_S *pstPort, DULONG dulAudioStamp, const RECORD_ENCODER_S &stEncoder) {
    const bool bNewPair = !pstPort->bHaveAudio || pstPort->pstReordPort->bRecAudioChange == 1;
    ULONG_32 ulResult = bNewPair ? MakeDecoder(pstPort, stEncoder.pcWho) : static_cast<ULONG_32>(PLAYER_ERR_OK);
    CODE_DECODED_DATA_S stPcm = {};
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = Decode(pstPort, stEncoder.pcWho, &stPcm);
    }
    if (ulResult == PLAYER_ERR_OK && stEncoder.bOwnRate) {
        ulResult = StampRate(pstPort, &stPcm);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    stPcm.dulTimeStamp = dulAudioStamp;
    if (bNewPair) {
        ulResult = MakeEncoder(pstPort, stEncoder, &stPcm);
    }
    return ulResult == PLAYER_ERR_OK ? Encode(pstPort, stEncoder.pcWho, &stPcm) : ulResult;
}
