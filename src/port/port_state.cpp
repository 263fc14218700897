#include "port/port_state.h"

#include <stdlib.h>

#include "foundations/shared_word.h"
#include "output/audioplay.h"

void PortState_ResetIntake(PLAEYR_PORT_S *pstPort) {
    pstPort->ulCurStreamType = STREAM_TYPE_NONE;
    pstPort->stTsStreamInfo.pucFrameData = nullptr;
    pstPort->stTsStreamInfo.ulFrameLen = 0;
    pstPort->stRtpVideoStreamInfo.pucFrameData = nullptr;
    pstPort->stRtpVideoStreamInfo.ulFrameLen = 0;
    pstPort->stRtpAudioStreamInfo.pucFrameData = nullptr;
    pstPort->stRtpAudioStreamInfo.ulFrameLen = 0;
    pstPort->stFrameData.pucData = nullptr;
    pstPort->stFrameData.lDataLen = 0;
    pstPort->bFindRecordHead = 0;
    pstPort->bNeedIFrame = 1;
}

void PortState_StopOutputs(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bStartRecord)) {
        Player_StopRecord(pstPort->ulPort);
    }
    if (word::Load(pstPort->bStartAudio)) {
        Player_CloseSound(pstPort->ulPort);
    }
    if (word::Load(pstPort->bStartVideo)) {
        Player_StopPlay(pstPort->ulPort);
    }
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

void PortState_FreeFrameBuffers(PLAEYR_PORT_S *pstPort) {
    free(pstPort->pcFrameDataAddr);
    pstPort->pcFrameDataAddr = nullptr;
    free(pstPort->pcRtpAudioFrameDataAddr);
    pstPort->pcRtpAudioFrameDataAddr = nullptr;
}

void PortState_FreeVideoDecoder(PLAEYR_PORT_S *pstPort) {
    QLOM_SDK_mutex_lock(&pstPort->stDecodeVideoData.stLock);
    PortState_ForgetPlanes(&pstPort->stDecodeVideoData);
    CODE_FreeCode(&pstPort->stVideoDecode);
    word::Store(pstPort->lVideoCodecID, PLAYER_PAYLOAD_NULL);
    QLOM_SDK_mutex_unlock(&pstPort->stDecodeVideoData.stLock);
}

void PortState_FreeAudioDecoder(PLAEYR_PORT_S *pstPort) {
    PortState_ForgetPlanes(&pstPort->stDecodeAudioData);
    CODE_FreeCode(&pstPort->stAudioDecode);
    word::Store(pstPort->lAudioCodecID, PLAYER_PAYLOAD_NULL);
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

void PortState_DropSoundDevice(PLAEYR_PORT_S *pstPort) {
    HANDLE hSoundDev = word::Exchange(pstPort->hSoundDev, nullptr);
    Audio_DestoryPlayDec(&hSoundDev);
}
