#include "source/voice_send.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "foundations/com_log.h"
#include "port/port_lock.h"
#include "source/stream_common.h"

namespace {

const UCHAR VOICE_CHANNEL = 4;
const ULONG_32 HEAD_SIZE = NET_STREAM_HEAD_SIZE;
const ULONG_32 PACKET_ROOM = VOICE_SEND_BUFFER_SIZE - HEAD_SIZE;
const ULONG_32 LARGEST_PACKET = ULONG_32{RTP_HEAD_SIZE} + RTP_MAX_SEND_PAYLOAD;

static_assert(PACKET_ROOM >= LARGEST_PACKET);
static_assert(VOICE_SEND_BUFFER_SIZE >= sizeof(NET_NAT_MSG_HDR_S));

/** Sleeps until the socket takes more, or until something that may be a close. False when the patience is at its end. */
bool WaitForRoom(PLAEYR_PORT_S *pstPort, VOICE_PATIENCE_S *pstPatience) {
    if (pstPatience == nullptr || (pstPatience->bCloseEnds && PortLock_IsClosing(pstPort->ulPort))) {
        return false;
    }
    const DULONG dulNow = Time_SteadyMs();
    if (pstPatience->dulEnd == 0) {
        pstPatience->dulEnd = dulNow + static_cast<DULONG>(pstPatience->lMSeconds);
    }
    if (dulNow >= pstPatience->dulEnd) {
        return false;
    }
    const PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    NET_WaitForRoom(pstVoice->stNetInfo.stSocket,
                    {&pstVoice->stSendWake, static_cast<LONG_32>(pstPatience->dulEnd - dulNow), 0});
    return true;
}

}  // namespace

CVoiceSendTurn::CVoiceSendTurn(PLAEYR_PORT_S *pstPort, WAIT_E enWait)
    : m_pstPort(pstPort), m_enWait(enWait), m_bHeld(true) {
    if (enWait == TRY) {
        m_bHeld = pthread_mutex_trylock(&pstPort->stVoiceInfo.stSendMutex) == 0;
    } else {
        QLOM_SDK_mutex_lock(&pstPort->stVoiceInfo.stSendMutex);
    }
}

CVoiceSendTurn::~CVoiceSendTurn() {
    if (m_bHeld) {
        QLOM_SDK_mutex_unlock(&m_pstPort->stVoiceInfo.stSendMutex);
    }
    if (m_enWait == WAIT && word::Load(m_pstPort->stNatTimeParam.enNatMode) == PLAYER_NAT_IN) {
        WakeFd_Signal(&m_pstPort->stSourceWake);
    }
}

ULONG_32 VoiceSend_Create(PLAEYR_PORT_S *pstPort) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    CHAR *pcBuffer = static_cast<CHAR *>(malloc(VOICE_SEND_BUFFER_SIZE));
    if (pcBuffer == nullptr) {
        LOG_ERROR("Port[%03d] Player_OpenVoiceSvc: WYK_MALLOC Size:[%d] Failed.", pstPort->ulPort,
                  static_cast<int>(VOICE_SEND_BUFFER_SIZE));
        return PLAYER_ERR_MALLOC;
    }
    Stream_OpenWake(&pstVoice->stSendWake);  // without one a close waits for the end of a call's patience
    CVoiceSendTurn oTurn(pstPort);
    pstVoice->pcSendData = pcBuffer;
    return PLAYER_ERR_OK;
}

void VoiceSend_Destroy(PLAEYR_PORT_S *pstPort) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    Stream_CloseWake(&pstVoice->stSendWake);
    CVoiceSendTurn oTurn(pstPort);
    free(pstVoice->pcSendData);
    pstVoice->pcSendData = nullptr;
    pstVoice->ulSendDataLen = 0;
    pstVoice->ulRestOffset = 0;
    word::Store(pstVoice->ulRestLen, 0);
}

void VoiceSend_SetFrame(RTP_MAKE_INFO_S *pstMaker, PLAYER_PAYLOAD_E enType, const CODEC_FRAME_S &stFrame) {
    pstMaker->enType = enType;
    pstMaker->ulTimestamp += VOICE_BLOCK_TICKS;
    pstMaker->ulMadeLen = 0;
    pstMaker->pcSrcData = reinterpret_cast<CHAR *>(stFrame.pucData);
    pstMaker->ulDataLen = stFrame.ulSize;
}

ULONG_32 VoiceSend_MakePacket(PORT_VOICE_INFO_S *pstVoice) {
    pstVoice->ulSendDataLen = PACKET_ROOM;
    return RTP_PacketRtpData(&pstVoice->stRtpMakerInfo, pstVoice->pcSendData + HEAD_SIZE,
                             &pstVoice->ulSendDataLen);
}

ULONG_32 VoiceSend_WriteHead(PORT_VOICE_INFO_S *pstVoice) {
    pstVoice->pcSendData[0] = '$';
    pstVoice->pcSendData[1] = static_cast<CHAR>(VOICE_CHANNEL);
    pstVoice->pcSendData[2] = static_cast<CHAR>(pstVoice->ulSendDataLen >> 8);
    pstVoice->pcSendData[3] = static_cast<CHAR>(pstVoice->ulSendDataLen);
    return pstVoice->ulSendDataLen + HEAD_SIZE;
}

void VoiceSend_SetMessage(PORT_VOICE_INFO_S *pstVoice, ULONG_32 ulLen) {
    pstVoice->ulRestOffset = 0;
    word::Store(pstVoice->ulRestLen, ulLen);
}

VOICE_SEND_E VoiceSend_Flush(PLAEYR_PORT_S *pstPort, VOICE_PATIENCE_S *pstPatience) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    while (pstVoice->ulRestLen != 0) {
        ULONG_32 ulSent = 0;
        if (NET_SendPart(pstVoice->stNetInfo.stSocket, pstVoice->pcSendData + pstVoice->ulRestOffset,
                         pstVoice->ulRestLen, &ulSent) != PLAYER_ERR_OK) {
            return VOICE_SEND_BROKEN;
        }
        pstVoice->ulRestOffset += ulSent;
        word::Store(pstVoice->ulRestLen, pstVoice->ulRestLen - ulSent);
        if (ulSent == 0 && !WaitForRoom(pstPort, pstPatience)) {
            return VOICE_SEND_WAITING;
        }
    }
    return VOICE_SEND_DONE;
}

ULONG_32 VoiceSend_NatMessage(PLAEYR_PORT_S *pstPort) {
    PORT_VOICE_INFO_S *pstVoice = &pstPort->stVoiceInfo;
    const NET_INFO_S *pstNetInfo = &pstPort->stNetInfo;
    if (pstVoice->pcSendData == nullptr) {
        return NET_SendNatPkt(NET_HasSocket(pstNetInfo) ? pstNetInfo->stSocket : -1, &pstPort->stNatTimeParam);
    }
    NET_NAT_MSG_HDR_S stMsg;
    NET_MakeNatMsg(&pstPort->stNatTimeParam, &stMsg);
    memcpy(pstVoice->pcSendData, &stMsg, sizeof(stMsg));
    VoiceSend_SetMessage(pstVoice, sizeof(stMsg));
    return VoiceSend_Flush(pstPort, nullptr) == VOICE_SEND_BROKEN ? PLAYER_ERR_SOCKET_SEND : PLAYER_ERR_OK;
}
