// The voice service of a port: what it sends, open, close, and the road of a block of sound to the device.
#include "source/voice.h"

#include <limits.h>

#include <algorithm>
#include <iterator>

#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"
#include "source/input_stream.h"
#include "source/net_stream.h"
#include "source/voice_broadcast.h"
#include "source/voice_send.h"

namespace {

const ULONG_32 DROP_LOG_EVERY = 100;

const ULONG_32 gaulCoding[] = {PLAYER_AUDIO_ENCODE_G711U, PLAYER_AUDIO_ENCODE_AAC, PLAYER_AUDIO_ENCODE_PCM};
const ULONG_32 gaulSampleRate[] = {8000, 16000};  // by PLAYER_VOICE_WAVE_FORMAT_E

bool IsCoding(ULONG_32 ulAudioEncType) {
    return std::find(std::begin(gaulCoding), std::end(gaulCoding), ulAudioEncType) != std::end(gaulCoding);
}

/* ---- open and close ---------------------------------------------------------------------------------------------- */

/** What a service is made of, by PLAYER_VOICE_SVC_TYPE_E. */
struct VOICE_SERVICE_S {
    bool bBroadcast; /**< counted as a broadcast */
    bool bEncodes;   /**< has an encoder of its own */
    bool bCaptures;  /**< wants sound captured, which this version does not */
};

const VOICE_SERVICE_S gastService[] = {
    {true, true, false},    // PLAYER_VOICE_SERVICE_BROADCAST_INPUT
    {true, false, true},    // PLAYER_VOICE_SERVICE_BROADCAST_CAPTURE
    {false, true, false},   // PLAYER_VOICE_SERVICE_TALKBACK_INPUT
    {false, true, true},    // PLAYER_VOICE_SERVICE_TALKBACK_CAPTURE
    {false, false, false},  // PLAYER_VOICE_SERVICE_BE_BROADCASTED
};

/** What Player_OpenVoiceSvc() was asked for. */
struct VOICE_ORDER_S {
    ULONG_32 ulVoiceSvcType;
    WYK_SOCKET_S stSocket;
    const CHAR *pcLocalIP;
    USHORT usLocalPort;
    const CHAR *pcRemoteIP;
    USHORT usRemotePort;
    ULONG_32 ulTransProtl;
};

ULONG_32 OpenUdp(PLAEYR_PORT_S *pstPort, const VOICE_ORDER_S &stOrder) {
    const ULONG_32 ulResult =
        NET_CreateRecvSocket(stOrder.pcLocalIP, stOrder.usLocalPort, stOrder.pcRemoteIP, stOrder.usRemotePort,
                             PLAYER_PROTOCOL_UDP, &pstPort->stVoiceInfo.stNetInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: NET_CreateRecvSocket Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
    }
    return ulResult;
}

ULONG_32 OpenTcp(PLAEYR_PORT_S *pstPort, const VOICE_ORDER_S &stOrder) {
    const bool bConnect = stOrder.stSocket == 0;
    const ULONG_32 ulResult =
        bConnect ? Player_OpenNetStream(pstPort->ulPort, stOrder.pcLocalIP, stOrder.usLocalPort, stOrder.pcRemoteIP,
                                        stOrder.usRemotePort, PLAYER_PROTOCOL_TCP)
                 : Player_OpenInputStream(pstPort->ulPort, nullptr, 0);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: Player_OpenInputStream Failed, Error:[0x%x].", pstPort->ulPort,
                  ulResult);
        return ulResult;
    }
    pstPort->ulUseDec = bConnect;
    pstPort->stVoiceInfo.stNetInfo.stSocket = bConnect ? pstPort->stNetInfo.stSocket : stOrder.stSocket;
    NET_SendAtOnce(pstPort->stVoiceInfo.stNetInfo.stSocket);
    return PLAYER_ERR_OK;
}

ULONG_32 OpenTransport(PLAEYR_PORT_S *pstPort, const VOICE_ORDER_S &stOrder) {
    pstPort->ulUseDec = 0;
    pstPort->stVoiceInfo.stNetInfo = {};
    pstPort->stVoiceInfo.ulTransProtl = stOrder.ulTransProtl;
    switch (stOrder.ulTransProtl) {
        case PLAYER_PROTOCOL_UDP:
            return OpenUdp(pstPort, stOrder);
        case PLAYER_PROTOCOL_TCP:
            return OpenTcp(pstPort, stOrder);
        default:
            return PLAYER_ERR_NOT_SUPPORT;
    }
}

/** Closes the stream, which with UDP is none but stops what else the port runs, and the service's own socket. */
void CloseTransport(PLAEYR_PORT_S *pstPort) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    const bool bNet = pstPort->ulUseDec != 0;
    word::Store(pstPort->ulPortUsed, bNet ? PORT_USED_TYPE_NET : PORT_USED_TYPE_INPUT);
    bNet ? Player_CloseNetStream(pstPort->ulPort) : Player_CloseInputStream(pstPort->ulPort);
    if (pstVoice->ulTransProtl == PLAYER_PROTOCOL_UDP) {
        NET_DestoryRecvSocket(&pstVoice->stNetInfo);
    }
    pstVoice->stNetInfo = {};
    pstPort->ulUseDec = 0;
}

/** The client's connection lives on: a packet of which it has seen a part gets its last chance. */
void FinishPacket(PLAEYR_PORT_S *pstPort) {
    if (pstPort->ulUseDec != 0 || !VoiceSend_IsPending(&pstPort->stVoiceInfo)) {
        return;
    }
    CVoiceSendTurn oTurn(pstPort);
    VOICE_PATIENCE_S stPatience = {VOICE_SEND_WAIT_MS, false, 0};
    if (VoiceSend_Flush(pstPort, &stPatience) != VOICE_SEND_DONE) {
        LOG_WARN("Port[%03d] Player_CloseVoiceSvc Warning, Packet Not Sent Whole, Rest:[%d].", pstPort->ulPort,
                 pstPort->stVoiceInfo.ulRestLen);
    }
}

void FreeSender(PLAEYR_PORT_S *pstPort) {
    CODE_FreeCode(&pstPort->stVoiceInfo.stAudioEncode);
    RTP_DestoryPacket(&pstPort->stVoiceInfo.stRtpMakerInfo);
    VoiceSend_Destroy(pstPort);
}

ULONG_32 MakeService(PLAEYR_PORT_S *pstPort, const VOICE_SERVICE_S &stService, LONG_32 lPayload) {
    ULONG_32 ulResult = PLAYER_ERR_OK;
    if (stService.bBroadcast && stService.bCaptures) {
        ulResult = VoiceBroadcast_Join(pstPort, lPayload);
    } else if (stService.bEncodes) {
        ulResult = VoiceSend_Create(pstPort);
        if (ulResult == PLAYER_ERR_OK) {
            ulResult = Voice_MakeEncoder(&pstPort->stVoiceInfo, lPayload, pstPort->ulPort);
        }
    }
    return ulResult == PLAYER_ERR_OK && stService.bCaptures ? static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT) : ulResult;
}

/** Takes back a service, finished or not, whose connection stands. */
void EndService(PLAEYR_PORT_S *pstPort, const VOICE_SERVICE_S &stService) {
    VoiceBroadcast_StopThread(pstPort);
    FinishPacket(pstPort);
    CloseTransport(pstPort);
    if (stService.bBroadcast) {
        VoiceBroadcast_Leave(pstPort);
    }
    FreeSender(pstPort);
}

/** Opens connection and service for a port that has been counted in if that was due. */
ULONG_32 OpenCounted(PLAEYR_PORT_S *pstPort, const VOICE_ORDER_S &stOrder, LONG_32 lPayload) {
    const VOICE_SERVICE_S &stService = gastService[stOrder.ulVoiceSvcType];
    ULONG_32 ulResult = OpenTransport(pstPort, stOrder);
    if (ulResult != PLAYER_ERR_OK) {
        if (stService.bBroadcast) {
            VoiceBroadcast_Leave(pstPort);
        }
        return ulResult;
    }
    pstPort->stVoiceInfo.ulDropCount = 0;
    ulResult = MakeService(pstPort, stService, lPayload);
    if (ulResult != PLAYER_ERR_OK) {
        EndService(pstPort, stService);
    }
    return ulResult;
}

/* ---- a block ----------------------------------------------------------------------------------------------------- */

/** Where the road of a block ended, and how. */
struct VOICE_OUTCOME_S {
    enum STEP_E { ENCODE, PACKET, SEND } enStep;
    ULONG_32 ulResult;
};

/** Counts a block that found no room, or a broken connection. */
ULONG_32 Drop(PLAEYR_PORT_S *pstPort) {
    if (pstPort->stVoiceInfo.ulDropCount++ % DROP_LOG_EVERY == 0) {
        LOG_WARN("Port[%03d] Player_SendVoice: Send Failed, Error:[0x%x], Count:[%d].", pstPort->ulPort,
                 static_cast<ULONG_32>(PLAYER_ERR_SOCKET_SEND), pstPort->stVoiceInfo.ulDropCount);
    }
    return PLAYER_ERR_SOCKET_SEND;
}

/** Makes the frame's packets and sends each; UDP sends none. */
VOICE_OUTCOME_S SendPackets(PLAEYR_PORT_S *pstPort) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    VOICE_PATIENCE_S stPatience = {VOICE_SEND_WAIT_MS, true, 0};
    ULONG_32 ulMade = PLAYER_ERR_RTP_TYPE;
    VOICE_SEND_E enSent = VOICE_SEND_DONE;
    while (ulMade == PLAYER_ERR_RTP_TYPE && enSent == VOICE_SEND_DONE) {
        ulMade = VoiceSend_MakePacket(pstVoice);
        if (ulMade != PLAYER_ERR_OK && ulMade != PLAYER_ERR_RTP_TYPE) {
            return {VOICE_OUTCOME_S::PACKET, ulMade};
        }
        if (pstVoice->ulTransProtl == PLAYER_PROTOCOL_TCP) {
            VoiceSend_SetMessage(pstVoice, VoiceSend_WriteHead(pstVoice));
            enSent = VoiceSend_Flush(pstPort, &stPatience);
        }
    }
    // A packet that waits will go out; those behind it were not made and are lost.
    const bool bSent = enSent == VOICE_SEND_DONE || (enSent == VOICE_SEND_WAITING && ulMade == PLAYER_ERR_OK);
    return {VOICE_OUTCOME_S::SEND, bSent ? static_cast<ULONG_32>(PLAYER_ERR_OK) : Drop(pstPort)};
}

/**
 * Encodes a block and sends it. Behind a packet of an earlier call that is not out yet there is no room for it.
 * @param penType what RTP takes the frame for; null for the encoder's own payload
 */
VOICE_OUTCOME_S SendBlock(PLAEYR_PORT_S *pstPort, const void *pData, ULONG_32 ulDataLen,
                          const PLAYER_PAYLOAD_E *penType) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    CVoiceSendTurn oTurn(pstPort);  // for the encoder too: a call inside a callback may meet one of another thread
    CODEC_FRAME_S stFrame = {};
    const ULONG_32 ulResult = Voice_Encode(pstVoice, pData, ulDataLen, &stFrame);
    if (ulResult != PLAYER_ERR_OK) {
        return {VOICE_OUTCOME_S::ENCODE, ulResult};
    }
    VoiceSend_SetFrame(&pstVoice->stRtpMakerInfo,
                       penType != nullptr ? *penType : static_cast<PLAYER_PAYLOAD_E>(pstVoice->stAudioEncode.lCodecID),
                       stFrame);
    if (stFrame.ulSize == 0) {
        return {VOICE_OUTCOME_S::SEND, PLAYER_ERR_OK};
    }
    if (VoiceSend_Flush(pstPort, nullptr) != VOICE_SEND_DONE) {
        return {VOICE_OUTCOME_S::SEND, Drop(pstPort)};
    }
    return SendPackets(pstPort);
}

}  // namespace

ULONG_32 Voice_MakeEncoder(PORT_VOICE_INFO_S *pstVoice, LONG_32 lPayload, ULONG_32 ulPort) {
    RTP_CreatePacket(&pstVoice->stRtpMakerInfo);
    pstVoice->stAudioEncode.ulAudioEnSampleRate =
        gaulSampleRate[pstVoice->stVoiceEncodeInfo.ulSampleRate % std::size(gaulSampleRate)];
    const ULONG_32 ulResult = CODE_CreateCode(CODECTYPE_ENCODER, lPayload, nullptr, &pstVoice->stAudioEncode);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: CODE_CreateCode Failed, Error:[0x%x].", ulPort, ulResult);
    }
    return ulResult;
}

ULONG_32 Voice_Encode(PORT_VOICE_INFO_S *pstVoice, const void *pData, ULONG_32 ulDataLen, CODEC_FRAME_S *pstFrame) {
    if (pData == nullptr || pstVoice->pcSendData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CODE_DECODED_DATA_S stBlock = {};
    stBlock.pucData[0] = static_cast<UCHAR *>(const_cast<void *>(pData));
    stBlock.lLineSize[0] = static_cast<LONG_32>(std::min<ULONG_32>(ulDataLen, INT_MAX));
    return CODE_Encoder(&pstVoice->stAudioEncode, &stBlock, pstFrame);
}

ULONG_32 Player_SetVoiceEncodeType(ULONG_32 ulPort, ULONG_32 ulAudioEncType, ULONG_32 ulSampleRate,
                                   ULONG_32 ulChannels) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (!IsCoding(ulAudioEncType)) {
        LOG_ERROR("Port[%03d] Player_SetVoiceEncodeType Failed, Unknown Encode Type:[%d].", ulPort, ulAudioEncType);
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (ulSampleRate > PLAYER_WAVE_FORMAT_PCM16M16) {
        LOG_ERROR("Port[%03d] Player_SetVoiceEncodeType Failed, Unknown Sample Rate:[%d].", ulPort, ulSampleRate);
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (ulChannels != 1) {
        LOG_ERROR("Port[%03d] Player_SetVoiceEncodeType Failed, Unknown Channels:[%d].", ulPort, ulChannels);
        return PLAYER_ERR_NOT_SUPPORT;
    }
    pstPort->stVoiceInfo.stVoiceEncodeInfo = {ulAudioEncType, ulSampleRate, ulChannels};
    return PLAYER_ERR_OK;
}

ULONG_32 Player_OpenVoiceSvc(ULONG_32 ulPort, ULONG_32 ulVoiceSvcType, ULONG_32 stSocket, const CHAR *pcLocalIP,
                             USHORT usLocalPort, const CHAR *pcRemoteIP, USHORT usRemotePort, ULONG_32 ulTransProtl) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const ULONG_32 ulAudioEncType = pstPort->stVoiceInfo.stVoiceEncodeInfo.ulAudioEncType;
    if (!IsCoding(ulAudioEncType)) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: AudioEncType Unknown:[%d], ", ulPort, ulAudioEncType);
        return PLAYER_ERR_PARAM;
    }
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL || PortThread_IsOwn(ulPort)) {
        return PLAYER_ERR_PARAM;
    }
    if (ulVoiceSvcType >= std::size(gastService)) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    ULONG_32 ulResult = gastService[ulVoiceSvcType].bBroadcast ? VoiceBroadcast_Enter(pstPort)
                                                               : static_cast<ULONG_32>(PLAYER_ERR_OK);
    if (ulResult == PLAYER_ERR_OK) {
        const VOICE_ORDER_S stOrder = {ulVoiceSvcType, static_cast<WYK_SOCKET_S>(stSocket), pcLocalIP, usLocalPort,
                                       pcRemoteIP,     usRemotePort,                        ulTransProtl};
        ulResult = OpenCounted(pstPort, stOrder, PayloadType_OfAudioEncode(ulAudioEncType)->lPayload);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstPort->stVoiceInfo.ulVoiceSvcType = ulVoiceSvcType;
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_VOICE);
    LOG_INFO("Port[%03d] Player_OpenVoiceSvc Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CloseVoiceSvc(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_VOICE) {
        return PLAYER_ERR_OK;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_CloseVoiceSvc Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    EndService(pstPort, gastService[pstPort->stVoiceInfo.ulVoiceSvcType]);
    LOG_INFO("Port[%03d] Player_CloseVoiceSvc Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_VoiceInputData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen,
                               PLAYER_AUDIO_SAMPLE_PARAM_S * /*pstVoiceParam*/) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const PLAYER_PAYLOAD_E enType = PLAYER_PAYLOAD_PCM;  // whatever was encoded: the peers do not look
    const VOICE_OUTCOME_S stOutcome = SendBlock(pstPort, pucDataBuf, ulDataLen, &enType);
    if (stOutcome.enStep == VOICE_OUTCOME_S::PACKET) {
        LOG_ERROR("Port[%03d] Player_SendVoice: Codec_Encode AAC Failed, Error:[0x%x].", ulPort, stOutcome.ulResult);
    }
    return stOutcome.ulResult;
}

ULONG_32 Player_SendVoice(CHAR *pcBufferAddr, ULONG_32 ulDataLen, void *pUser) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pUser);
    if (pstPort == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const VOICE_OUTCOME_S stOutcome = SendBlock(pstPort, pcBufferAddr, ulDataLen, nullptr);
    if (stOutcome.enStep == VOICE_OUTCOME_S::ENCODE) {
        LOG_ERROR("Port[%03d] Player_SendVoice Failed, Codec_Encode Failed, Error:[0x%x].", pstPort->ulPort,
                  stOutcome.ulResult);
    } else if (stOutcome.enStep == VOICE_OUTCOME_S::PACKET) {
        LOG_ERROR("Port[%03d] Player_SendVoice Failed, Codec_Encode AAC Failed, Error:[0x%x].", pstPort->ulPort,
                  stOutcome.ulResult);
    }
    return stOutcome.ulResult;
}
