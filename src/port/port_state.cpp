#include "port/port_state.h"

#include <stdlib.h>

#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "output/audioplay.h"
#include "output/offscreen_queue.h"

void PortState_ResetIntake(PORT_INTAKE_S *pstIntake) {
    pstIntake->ulCurStreamType = STREAM_TYPE_NONE;
    pstIntake->stTsStreamInfo.pucFrameData = nullptr;
    pstIntake->stTsStreamInfo.ulFrameLen = 0;
    pstIntake->stRtpVideoStreamInfo.pucFrameData = nullptr;
    pstIntake->stRtpVideoStreamInfo.ulFrameLen = 0;
    pstIntake->stRtpAudioStreamInfo.pucFrameData = nullptr;
    pstIntake->stRtpAudioStreamInfo.ulFrameLen = 0;
    pstIntake->stFrameData.pucData = nullptr;
    pstIntake->stFrameData.lDataLen = 0;
    pstIntake->stRtpVideoStreamInfo.ucForms = 0;
    pstIntake->stRtpAudioStreamInfo.ucForms = 0;
    pstIntake->bCutTold = 0;
    pstIntake->bFindRecordHead = 0;
    pstIntake->bNeedIFrame = 1;
    pstIntake->bStandard = RtpStandard_Begin(pstIntake->pstStandard);
}

void PortState_FreePipeline(PLAEYR_PORT_S *pstPort) {
    QUEUE_CleanupDecodedBufferQueue(&pstPort->stDecodeBufferQueue);
    QUEUE_CleanupOffScreenBufferQueue(&pstPort->stOffScreenQueue);
    QUEUE_CleanupPacketBuffer(&pstPort->stPacketBufferQueue);
    PortState_FreeVideoDecoder(pstPort);
    PortState_FreeAudioDecoder(pstPort);
    PortState_FreeDrawInfo(&pstPort->stDecodeVideoData);
    PortState_FreeFrameBuffers(pstPort);
}

void PortState_FreeFrameBuffers(PORT_INTAKE_S *pstIntake) {
    free(pstIntake->pcFrameDataAddr);
    pstIntake->pcFrameDataAddr = nullptr;
    free(pstIntake->pcRtpAudioFrameDataAddr);
    pstIntake->pcRtpAudioFrameDataAddr = nullptr;
}

void PortState_FreeVideoDecoder(PORT_CODEC_S *pstCodec) {
    const CMutexGuard oLock(&pstCodec->stDecodeVideoData.stLock);
    PortState_ForgetPlanes(&pstCodec->stDecodeVideoData);
    CODE_FreeCode(&pstCodec->stVideoDecode);
    word::Store(pstCodec->lVideoCodecID, PLAYER_PAYLOAD_NULL);
}

void PortState_FreeAudioDecoder(PORT_CODEC_S *pstCodec) {
    PortState_ForgetPlanes(&pstCodec->stDecodeAudioData);
    CODE_FreeCode(&pstCodec->stAudioDecode);
    word::Store(pstCodec->lAudioCodecID, PLAYER_PAYLOAD_NULL);
}

void PortState_ForgetPlanes(CODE_DECODED_DATA_S *pstData) {
    for (ULONG_32 i = 0; i < 4; i++) {
        pstData->pucData[i] = nullptr;
        pstData->lLineSize[i] = 0;
    }
}

void PortState_FreeDrawInfo(CODE_DECODED_DATA_S *pstData) {
    FreeInfo(&pstData->stDrawInfo.hIvaInfo);
    free(pstData->stDrawInfo.hPtzCtrlInfo);
    pstData->stDrawInfo.hPtzCtrlInfo = nullptr;
}

void PortState_DropSoundDevice(PORT_OUTPUT_S *pstOutput) {
    HANDLE hSoundDev = word::Exchange(pstOutput->hSoundDev, nullptr);
    Audio_DestoryPlayDec(&hSoundDev);
}
