#include "source/voice_broadcast.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"
#include "source/voice.h"
#include "source/voice_send.h"

namespace {

const ULONG_32 PACKET_SIZE = 2048;
const ULONG_32 IDLE_WAIT_MS = 1000;  // a packet or the stop ends it
const ULONG_32 DROP_LOG_EVERY = 100;

PLAYER_BROADCAST_INFO_S gstBroadcastInfo;
ULONG_32 gstBroadcastRefCount = 0;
/** Guards both, and the shared encoder while it works. A port in the table stays alive while this is held. */
QLOM_SDK_MUTEX_S gstBroadcastMutex = PTHREAD_MUTEX_INITIALIZER;

ULONG_32 *FindPlace(ULONG_32 ulPort) {
    auto &aulPlaces = gstBroadcastInfo.aulPortArray;
    ULONG_32 *pulFound = std::find(std::begin(aulPlaces), std::end(aulPlaces), ulPort);
    return pulFound != std::end(aulPlaces) ? pulFound : nullptr;
}

void FreeShared() {
    PORT_VOICE_INFO_S *pstShared = &gstBroadcastInfo.stVoiceInfo;
    free(pstShared->pcSendData);
    pstShared->pcSendData = nullptr;
    CODE_FreeCode(&pstShared->stAudioEncode);
    RTP_DestoryPacket(&pstShared->stRtpMakerInfo);
}

ULONG_32 MakeShared(const PLAEYR_PORT_S *pstPort, LONG_32 lPayload) {
    PORT_VOICE_INFO_S *pstShared = &gstBroadcastInfo.stVoiceInfo;
    if (pstShared->pcSendData != nullptr) {
        return PLAYER_ERR_OK;
    }
    pstShared->stVoiceEncodeInfo = pstPort->stVoiceInfo.stVoiceEncodeInfo;
    pstShared->pcSendData = static_cast<CHAR *>(malloc(VOICE_SEND_BUFFER_SIZE));
    if (pstShared->pcSendData == nullptr) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: WYK_MALLOC Size:[%d] Failed.", pstPort->ulPort,
                  static_cast<int>(VOICE_SEND_BUFFER_SIZE));
        return PLAYER_ERR_MALLOC;
    }
    return Voice_MakeEncoder(pstShared, lPayload, pstPort->ulPort);
}

ULONG_32 StartThread(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bStartBroadcast, 1);
    const LONG lResult =
        QLOM_SDK_thr_create(__BroadcastThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hBroadcastThread);
    if (lResult == 0) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Create Broadcast Thread Failed, Error:[0x%x].", pstPort->ulPort,
              static_cast<ULONG_32>(lResult));
    pstPort->hBroadcastThread = 0;
    word::Store(pstPort->bStartBroadcast, 0);
    return PLAYER_ERR_RESOURCE;
}

ULONG_32 MakeListener(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = VoiceSend_Create(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (QUEUE_InitPacketBuffer(&pstPort->stBroadcastBufferQueue, PACKET_SIZE, pstPort->ulBufferNum) != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] QUEUE_InitPacketBuffer Num[%d] Failed.", pstPort->ulPort, pstPort->ulBufferNum);
        return PLAYER_ERR_RESOURCE;
    }
    ulResult = StartThread(pstPort);
    ULONG_32 *pulPlace = FindPlace(BROADCAST_PORT_FREE);
    if (ulResult == PLAYER_ERR_OK && pulPlace != nullptr) {
        *pulPlace = pstPort->ulPort;
    }
    return ulResult;
}

/** Sends a packet whole; a close ends the waiting, a broken connection drops it. */
void SendPacket(PLAEYR_PORT_S *pstPort, const CHAR *pcPacket, ULONG_32 ulLen) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    if (pstVoice->ulTransProtl != PLAYER_PROTOCOL_TCP || ulLen > VOICE_SEND_BUFFER_SIZE) {
        return;
    }
    bool bSet = false;
    while (word::Load(pstPort->bStartBroadcast)) {
        CVoiceSendTurn oTurn(pstPort);
        VOICE_PATIENCE_S stPatience = {VOICE_SEND_WAIT_MS, true, 0};
        VOICE_SEND_E enSent = VoiceSend_Flush(pstPort, &stPatience);
        if (enSent == VOICE_SEND_DONE && !bSet) {
            memcpy(pstVoice->pcSendData, pcPacket, ulLen);
            VoiceSend_SetMessage(pstVoice, ulLen);
            bSet = true;
            enSent = VoiceSend_Flush(pstPort, &stPatience);
        }
        if (enSent == VOICE_SEND_BROKEN && pstVoice->ulDropCount++ % DROP_LOG_EVERY == 0) {
            LOG_WARN("Port[%03d] __BroadcastThreadEntry: Send Failed, Count:[%d].", pstPort->ulPort,
                     pstVoice->ulDropCount);
        }
        if (enSent != VOICE_SEND_WAITING) {
            return;
        }
    }
}

/** Gives the packet in the shared buffer to each port in the table. */
void Distribute(ULONG_32 ulLen) {
    for (const ULONG_32 ulPort : gstBroadcastInfo.aulPortArray) {
        PLAEYR_PORT_S *pstPort = ulPort != BROADCAST_PORT_FREE ? Player_GetPort(ulPort) : nullptr;
        if (pstPort == nullptr) {
            continue;
        }
        const ULONG_32 ulResult = QUEUE_AddPacketEx(gstBroadcastInfo.stVoiceInfo.pcSendData, ulLen, nullptr,
                                                    &pstPort->stBroadcastBufferQueue);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Port[%03d] Player_SendBroacdcast: QUEUE_AddPacketEx Failed, Error:[0x%x].", ulPort, ulResult);
        }
    }
}

}  // namespace

void Player_BroadcastInit(void) {
    CMutexGuard oGuard(&gstBroadcastMutex);
    gstBroadcastInfo = {};
    std::fill(std::begin(gstBroadcastInfo.aulPortArray), std::end(gstBroadcastInfo.aulPortArray), BROADCAST_PORT_FREE);
    gstBroadcastInfo.stVoiceInfo.stAudioEncode.lCodecID = PLAYER_PAYLOAD_NULL;
}

ULONG_32 VoiceBroadcast_Enter(const PLAEYR_PORT_S *pstPort) {
    CMutexGuard oGuard(&gstBroadcastMutex);
    if (word::Add(gstBroadcastRefCount, 1) <= BROADCAST_PORT_NUM) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: Broadcast Port not enough", pstPort->ulPort);
    word::Sub(gstBroadcastRefCount, 1);
    return PLAYER_ERR_VOICE_BUSY;
}

ULONG_32 VoiceBroadcast_Join(PLAEYR_PORT_S *pstPort, LONG_32 lPayload) {
    CMutexGuard oGuard(&gstBroadcastMutex);
    return word::Load(gstBroadcastRefCount) == 1 ? MakeShared(pstPort, lPayload) : MakeListener(pstPort);
}

void VoiceBroadcast_StopThread(PLAEYR_PORT_S *pstPort) {
    word::Store(pstPort->bStartBroadcast, 0);
    Port_WakeAll(pstPort);
    QLOM_SDK_thr_join(pstPort->hBroadcastThread);
    pstPort->hBroadcastThread = 0;
}

void VoiceBroadcast_Leave(PLAEYR_PORT_S *pstPort) {
    VoiceBroadcast_StopThread(pstPort);
    CMutexGuard oGuard(&gstBroadcastMutex);
    ULONG_32 *pulPlace = FindPlace(pstPort->ulPort);
    if (pulPlace != nullptr) {
        *pulPlace = BROADCAST_PORT_FREE;
    }
    QUEUE_CleanupPacketBuffer(&pstPort->stBroadcastBufferQueue);
    if (word::Sub(gstBroadcastRefCount, 1) == 0) {
        FreeShared();
    }
}

ULONG_32 Player_SendBroacdcast(CHAR *pcBufferAddr, ULONG_32 ulDataLen, void *) {
    CMutexGuard oGuard(&gstBroadcastMutex);
    PORT_VOICE_INFO_S *pstShared = &gstBroadcastInfo.stVoiceInfo;
    CODEC_FRAME_S stFrame = {};
    ULONG_32 ulResult = Voice_Encode(pstShared, pcBufferAddr, ulDataLen, &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Player_SendBroacdcast Failed, Codec_Encode Failed, Error:[0x%x].", ulResult);
        return ulResult;
    }
    VoiceSend_SetFrame(&pstShared->stRtpMakerInfo, static_cast<PLAYER_PAYLOAD_E>(pstShared->stAudioEncode.lCodecID),
                       stFrame);
    ulResult = stFrame.ulSize != 0 ? PLAYER_ERR_RTP_TYPE : PLAYER_ERR_OK;
    while (ulResult == PLAYER_ERR_RTP_TYPE) {
        ulResult = VoiceSend_MakePacket(pstShared);
        if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_RTP_TYPE) {
            LOG_ERROR("Player_SendBroacdcast Failed, Codec_Encode AAC Failed, Error:[0x%x].", ulResult);
            break;
        }
        Distribute(VoiceSend_WriteHead(pstShared));
    }
    return ulResult;
}

void *__BroadcastThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartBroadcast);
    LOG_INFO("Port[%03d] Start __BroadcastThreadEntry Thread Succeed.", pstPort->ulPort);
    while (word::Load(pstPort->bStartBroadcast)) {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        if (QUEUE_GetPacketEx(&pstPort->stBroadcastBufferQueue, nullptr, &pcPacket, &ulLen) == PLAYER_ERR_OK) {
            SendPacket(pstPort, pcPacket, ulLen);
        } else {
            QUEUE_WaitForPacket(&pstPort->stBroadcastBufferQueue, IDLE_WAIT_MS, QUEUE_WAIT_PACKET);
        }
    }
    LOG_INFO("Port[%03d] __BroadcastThreadEntry Quit.", pstPort->ulPort);
    return nullptr;
}
