// The network stream of a port: open, close, the thread that receives, and the framing of packets over TCP.
#include "source/net_stream.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "pipeline/callbacks.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "port/port_state.h"
#include "port/run_messages.h"
#include "source/free_port.h"
#include "source/stream_common.h"
#include "source/voice.h"
#include "source/voice_send.h"

namespace {

const ULONG_32 REORDER_SLOT_SIZE = 10240;
const ULONG_32 REORDER_SLOTS = 10;
const LONG_32 IDLE_WAIT_MS = 10000; /**< something else ends the wait: data, a close, a setting */
const LONG_32 TOLD_WAIT_MS = 500;   /**< without a wake nothing else does */
const ULONG_32 FULL_LOG_EVERY = 20;
const ULONG_32 GATHER_US = 200; /**< a packet that ends no frame has its followers within this time, mostly */
const CHAR MAGIC = '$';

/* ---- open and close ---------------------------------------------------------------------------------------------- */

/** A buffer of the stream: where it hangs in the port and how large it is, 0 for one that this transport lacks. */
struct STREAM_BUFFER_S {
    CHAR *PLAEYR_PORT_S::*pcAddr;
    const CHAR *pcName;
    ULONG_32 ulSize;
};

/** Bytes of a packet at most. */
ULONG_32 PacketLimit(const PORT_INTAKE_S *pstIntake) { return pstIntake->bStandard ? ULONG_32{RTP_MAX_PACKET} : ULONG_32{NET_READ_SIZE}; }

/** Bytes that are read at one go: of a larger datagram the byte beyond the limit tells. */
ULONG_32 ReadSize(const PORT_INTAKE_S *pstIntake) {
    return pstIntake->bStandard ? ULONG_32{RTP_MAX_PACKET} + NET_STREAM_HEAD_SIZE : ULONG_32{NET_READ_SIZE};
}

ULONG_32 AllocBuffers(PLAEYR_PORT_S *pstPort, ULONG_32 ulTransProtl) {
    const bool bTcp = ulTransProtl == PLAYER_PROTOCOL_TCP;
    const ULONG_32 ulSecond = bTcp ? 2 * ReadSize(pstPort) : 0U;
    const STREAM_BUFFER_S astBuffer[] = {
        {&PLAEYR_PORT_S::pcRecvDataAddr, "pcRecvDataAddr", bTcp ? ulSecond : ReadSize(pstPort)},
        {&PLAEYR_PORT_S::pcRecvDataTmpAddr, "pcRecvDataTmpAddr", ulSecond},
        {&PLAEYR_PORT_S::pcFrameDataAddr, "pcFrameDataAddr", VIDEO_FRAME_BUFFER_SIZE},
        {&PLAEYR_PORT_S::pcRtpAudioFrameDataAddr, "pcRtpAudioFrameDataAddr", AUDIO_FRAME_BUFFER_SIZE},
    };
    for (const STREAM_BUFFER_S &stBuffer : astBuffer) {
        CHAR *pcBuffer = stBuffer.ulSize != 0 ? static_cast<CHAR *>(malloc(stBuffer.ulSize)) : nullptr;
        if (pcBuffer == nullptr && stBuffer.ulSize != 0) {
            LOG_ERROR("Port[%03d] Player_OpenNetStream: Malloc %s Failed, Size:[%d].", pstPort->ulPort, stBuffer.pcName,
                      stBuffer.ulSize);
            return PLAYER_ERR_MALLOC;
        }
        pstPort->*stBuffer.pcAddr = pcBuffer;
    }
    pstPort->ulFrameBufLen = VIDEO_FRAME_BUFFER_SIZE;
    pstPort->ulRtpAudioFrameBufLen = AUDIO_FRAME_BUFFER_SIZE;
    return PLAYER_ERR_OK;
}

void FreeReceiveBuffer(PORT_INTAKE_S *pstIntake) {
    free(pstIntake->pcRecvDataAddr);
    pstIntake->pcRecvDataAddr = nullptr;
    pstIntake->ulRecvDataLen = 0;
}

/** The second buffer outlives the close, as far as a client of the record can see; the next open begins without it. */
void FreeSecondBuffer(PORT_INTAKE_S *pstIntake) {
    free(pstIntake->pcRecvDataTmpAddr);
    pstIntake->pcRecvDataTmpAddr = nullptr;
    pstIntake->ulRecvDataTmpLen = 0;
}

ULONG_32 MakeQueues(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = Stream_MakeRing(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (QUEUE_InitAdjustPktSeqQueue(&pstPort->stAdjustPktSeq, REORDER_SLOT_SIZE, REORDER_SLOTS) != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] QUEUE_InitAdjustPktSeqQueue Failed, Num:[%d].", pstPort->ulPort, REORDER_SLOTS);
        return PLAYER_ERR_RESOURCE;
    }
    if (!Stream_OpenWake(&pstPort->stSourceWake)) {
        LOG_ERROR("Port[%03d] Create Wake Failed.", pstPort->ulPort);
        return PLAYER_ERR_RESOURCE;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 StartThreads(PLAEYR_PORT_S *pstPort) {
    Stream_Begin(pstPort);
    LONG lResult = QLOM_SDK_thr_create(__NetRecvThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hSourceThread);
    if (lResult != 0) {
        LOG_ERROR("Port[%03d] Create NetRecv Thread Failed, Error:[0x%x].", pstPort->ulPort,
                  static_cast<ULONG_32>(lResult));
        pstPort->hSourceThread = 0;
        return PLAYER_ERR_RESOURCE;
    }
    return Stream_StartDecodeThread(pstPort);
}

ULONG_32 MakeStream(PLAEYR_PORT_S *pstPort, ULONG_32 ulTransProtl) {
    ULONG_32 ulResult = AllocBuffers(pstPort, ulTransProtl);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = MakeQueues(pstPort);
    }
    return ulResult == PLAYER_ERR_OK ? StartThreads(pstPort) : ulResult;
}

/** Ends the threads, then gives the socket back: a closed descriptor under a waiting thread may be another's next. */
void EndReceiving(PLAEYR_PORT_S *pstPort) {
    Stream_JoinThreads(pstPort);
    NET_DestoryRecvSocket(&pstPort->stNetInfo);
    Stream_CloseWake(&pstPort->stSourceWake);
}

/** Takes an open back that failed half-way. A window may be at work on the port: its queue stays. */
void UndoOpen(PLAEYR_PORT_S *pstPort) {
    EndReceiving(pstPort);
    QUEUE_CleanupAdjustPktSeqQueue(&pstPort->stAdjustPktSeq);
    QUEUE_CleanupPacketBuffer(&pstPort->stPacketBufferQueue);
    PortState_FreeFrameBuffers(pstPort);
    FreeSecondBuffer(pstPort);
    FreeReceiveBuffer(pstPort);
}

/* ---- the thread -------------------------------------------------------------------------------------------------- */

/** How the port's thread waits for its socket: for long, if a close can wake it. */
NET_WAIT_S WaitOf(const PORT_PLAY_S *pstPlay) {
    const bool bWake = WakeFd_Descriptor(&pstPlay->stSourceWake) >= 0;
    return {&pstPlay->stSourceWake, bWake ? IDLE_WAIT_MS : TOLD_WAIT_MS, 0};
}

/**
 * Sends the NAT message. Where the port talks too it goes out between two packets of voice: not while another thread
 * sends one, which wakes this thread when it is done, nor behind one of which only a part is out.
 */
void SendNatMessage(PLAEYR_PORT_S *pstPort) {
    NET_NAT_TIMER_PARAM_S *pstParam = &pstPort->stNatTimeParam;
    const bool bWanted = word::LoadAcquire(pstParam->enNatMode) == PLAYER_NAT_IN;
    if (!bWanted && !VoiceSend_IsPending(&pstPort->stVoiceInfo)) {
        return;
    }
    CVoiceSendTurn oTurn(pstPort, CVoiceSendTurn::TRY);
    if (!oTurn.Held() || VoiceSend_Flush(pstPort, nullptr) != VOICE_SEND_DONE || !bWanted) {
        return;
    }
    word::Store(pstParam->enNatMode, PLAYER_NAT_NONE);  // before the message: what is set from now on goes out too
    if (VoiceSend_NatMessage(pstPort) != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] NetRecv Thread: NET_SendNatPkt Failed.", pstPort->ulPort);
    }
}

/** A packet that the thread has in hand; no length when there is none. */
struct RECEIVED_S {
    CHAR *pcData;
    ULONG_32 ulLen;
};

/** False ends the thread. */
bool ReceiveFramed(PLAEYR_PORT_S *pstPort, RECEIVED_S *pstReceived) {
    ULONG_32 ulResult = Player_RecvPacketEx(&pstPort->stNetInfo, pstPort);
    if (ulResult == PLAYER_ERR_TCP_RECV) {
        return true;
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] NetRecv Thread: NET_RecvPacket Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
        return false;
    }
    pstPort->ulRecvDataLen -= NET_STREAM_HEAD_SIZE;
    *pstReceived = {pstPort->pcRecvDataAddr + NET_STREAM_HEAD_SIZE, pstPort->ulRecvDataLen};
    return true;
}

/** Tells the client that the peer closed the stream. */
void ReportPeerClosed(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_STREAM, PLAYER_RUN_PEER_CLOSED, 0, nullptr});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] NetRecv Thread Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort, ulResult);
    }
}

/** A datagram that fills the buffer has lost what lay behind. */
void NoteCut(PLAEYR_PORT_S *pstPort) {
    if (pstPort->ulRecvDataLen >= ReadSize(pstPort) && !pstPort->bCutTold) {
        pstPort->bCutTold = 1;
        LOG_WARN("Port[%03d] Not Taken: Datagrams Above %d Bytes, Which Are Cut.", pstPort->ulPort,
                 PacketLimit(pstPort));
    }
}

/** False ends the thread. */
bool ReceiveDatagram(PLAEYR_PORT_S *pstPort, bool bMoreDue, RECEIVED_S *pstReceived) {
    NET_WAIT_S stWait = WaitOf(pstPort);
    stWait.ulGatherUs = bMoreDue ? GATHER_US : 0;
    ULONG_32 ulResult = NET_RecvPacketWait(&pstPort->stNetInfo, pstPort->pcRecvDataAddr, ReadSize(pstPort),
                                           &pstPort->ulRecvDataLen, stWait);
    if (ulResult == PLAYER_ERR_OK) {
        NoteCut(pstPort);
        *pstReceived = {pstPort->pcRecvDataAddr, pstPort->ulRecvDataLen};
        return true;
    }
    if (ulResult == PLAYER_ERR_SOCKET_RECV_ZERO) {
        ReportPeerClosed(pstPort);
    }
    LOG_ERROR("Port[%03d] NetRecv Thread: NET_RecvPacket Failed.", pstPort->ulPort);
    return false;
}

bool Receive(PLAEYR_PORT_S *pstPort, bool bMoreDue, RECEIVED_S *pstReceived) {
    if (!NET_HasSocket(&pstPort->stNetInfo)) {
        NET_WaitForWake(WaitOf(pstPort));
        return true;
    }
    return pstPort->stNetInfo.ulTransProtl == PLAYER_PROTOCOL_UDP ? ReceiveDatagram(pstPort, bMoreDue, pstReceived)
                                                                  : ReceiveFramed(pstPort, pstReceived);
}

void AddToRecording(PLAEYR_PORT_S *pstPort, const RECEIVED_S &stReceived) {
    ULONG_32 ulResult = Stream_AddPacket(pstPort, &pstPort->stRecordBufferQueue, stReceived.pcData, stReceived.ulLen,
                                         [pstPort] { return word::Load(pstPort->bStartRecord) != 0; });
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] NetRecv Thread: AddPacket Record Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

void AddToRing(PLAEYR_PORT_S *pstPort, const RECEIVED_S &stReceived) {
    ULONG_32 ulResult = Stream_AddPacket(pstPort, &pstPort->stPacketBufferQueue, stReceived.pcData, stReceived.ulLen,
                                         [pstPort] { return word::Load(pstPort->bStartRecv) != 0; });
    if (ulResult == PLAYER_ERR_OK) {
        return;
    }
    ULONG_32 ulErrCount = word::Load(pstPort->stPacketBufferQueue.ulErrCount);
    if (ulErrCount % FULL_LOG_EVERY == 1) {
        LOG_ERROR("Port[%03d] NetRecv Thread: QUEUE_AddPacket Failed, Error:[0x%x], Count:[%d].", pstPort->ulPort,
                  ulResult, ulErrCount);
    }
}

void Deliver(PLAEYR_PORT_S *pstPort, const RECEIVED_S &stReceived) {
    NET_MathBitRate(stReceived.ulLen, &pstPort->stStateInfo);
    if (word::Load(pstPort->bStartRecord)) {
        AddToRecording(pstPort, stReceived);
    }
    Player_ExecuteSourceCB(stReceived.pcData, stReceived.ulLen, pstPort);
    if (!word::Load(pstPort->stCallBack.stSourceCB.bContinue)) {
        // The packet stays where a framed stream looks next, and counts as data out of step there.
        memmove(pstPort->pcRecvDataAddr, stReceived.pcData, stReceived.ulLen);
        return;
    }
    AddToRing(pstPort, stReceived);
    pstPort->ulRecvDataLen = 0;
}

/** Whether the rest of a frame is on its way. */
bool IsMoreDue(const PORT_INTAKE_S *pstIntake, const RECEIVED_S &stReceived) {
    return stReceived.ulLen != 0 &&
           !RTP_IsRtpVideoTail(stReceived.pcData, stReceived.ulLen, word::LoadAcquire(pstIntake->pstPayloadType));
}

/** One round; false ends the thread. *pbMoreDue goes from round to round. */
bool ReceiveRound(PLAEYR_PORT_S *pstPort, bool *pbMoreDue) {
    SendNatMessage(pstPort);
    RECEIVED_S stReceived = {};
    if (!Receive(pstPort, *pbMoreDue, &stReceived)) {
        return false;
    }
    *pbMoreDue = IsMoreDue(pstPort, stReceived);
    if (stReceived.ulLen != 0) {
        Deliver(pstPort, stReceived);
    }
    return true;
}

/* ---- framing ----------------------------------------------------------------------------------------------------- */

/** Channels of a head: of any sender also those of RTCP, which are read and passed over. */
bool IsChannel(CHAR cChannel, bool bStandard) {
    return cChannel == 0 || cChannel == 2 || (bStandard && (cChannel == 1 || cChannel == 3));
}

bool IsHead(const CHAR *pcData, bool bStandard) { return pcData[0] == MAGIC && IsChannel(pcData[1], bStandard); }

ULONG_32 PacketLength(const CHAR *pcHead) { return bytes::Be16(reinterpret_cast<const UCHAR *>(pcHead) + 2); }

/** Offset of the first head at or behind ulFrom; ulLen when there is none. */
ULONG_32 FindHead(const CHAR *pcData, ULONG_32 ulLen, ULONG_32 ulFrom, bool bStandard) {
    const CHAR *pcEnd = pcData + ulLen;
    const CHAR *pcNext = pcData + std::min(ulFrom, ulLen);
    while (pcEnd - pcNext >= 2) {
        pcNext = static_cast<const CHAR *>(memchr(pcNext, MAGIC, static_cast<size_t>(pcEnd - pcNext - 1)));
        if (pcNext == nullptr) {
            return ulLen;
        }
        if (IsHead(pcNext, bStandard)) {
            return static_cast<ULONG_32>(pcNext - pcData);
        }
        pcNext++;
    }
    return ulLen;
}

/** Leaves what stands from ulOffset on to the next step. */
void PutAside(PORT_INTAKE_S *pstIntake, ULONG_32 ulOffset) {
    pstIntake->ulRecvDataTmpLen = pstIntake->ulRecvDataLen - ulOffset;
    memcpy(pstIntake->pcRecvDataTmpAddr, pstIntake->pcRecvDataAddr + ulOffset, pstIntake->ulRecvDataTmpLen);
    pstIntake->ulRecvDataLen = ulOffset;
}

ULONG_32 ReadMore(NET_INFO_S *pstNetInfo, PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulRead = 0;
    const ULONG_32 ulRoom = 2 * ReadSize(pstPort) - pstPort->ulRecvDataLen;
    ULONG_32 ulResult = NET_TcpRecvWait(pstNetInfo->stSocket, pstPort->pcRecvDataAddr + pstPort->ulRecvDataLen,
                                        std::min(ulRoom, ReadSize(pstPort)), &ulRead, WaitOf(pstPort));
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] NET_TcpRecvMsg Failed.", pstPort->ulPort);
        return ulResult;
    }
    pstPort->ulRecvDataLen += ulRead;
    return PLAYER_ERR_TCP_RECV;
}

/** A head whose length no packet has: goes on behind it. */
ULONG_32 SkipFalseHead(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulLen = pstPort->ulRecvDataLen;
    const ULONG_32 ulOffset = FindHead(pstPort->pcRecvDataAddr, ulLen, NET_STREAM_HEAD_SIZE, pstPort->bStandard != 0);
    if (ulOffset < ulLen) {
        LOG_ERROR("Port[%03d] Player_RecvPacketEx Failed, Find New Magic, offset:[%d].", pstPort->ulPort, ulOffset);
        PutAside(pstPort, ulOffset);
    } else {
        LOG_ERROR("Port[%03d] Player_RecvPacketEx Failed, Not Find Magic, offset:[%d].", pstPort->ulPort, ulLen);
    }
    pstPort->ulRecvDataLen = 0;
    return PLAYER_ERR_TCP_RECV;
}

/** No head where one should be: goes on at the next, or with the last byte, which may be the first of one. */
ULONG_32 Resynchronise(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulLen = pstPort->ulRecvDataLen;
    const ULONG_32 ulOffset =
        std::min(FindHead(pstPort->pcRecvDataAddr, ulLen, 0, pstPort->bStandard != 0), ulLen - 1);
    LOG_ERROR("Port[%03d] Player_RecvPacketEx Failed, Not Find Magic, offset:[%d].", pstPort->ulPort, ulOffset);
    PutAside(pstPort, ulOffset);
    pstPort->ulRecvDataLen = 0;
    return PLAYER_ERR_TCP_RECV;
}

/** Goes on with what the step before put aside. */
void ResumeKept(PORT_INTAKE_S *pstIntake) {
    if (pstIntake->ulRecvDataTmpLen != 0) {
        std::swap(pstIntake->pcRecvDataAddr, pstIntake->pcRecvDataTmpAddr);
        pstIntake->ulRecvDataLen = pstIntake->ulRecvDataTmpLen;
        pstIntake->ulRecvDataTmpLen = 0;
    }
}

}  // namespace

ULONG_32 Player_RecvPacketEx(NET_INFO_S *pstNetInfo, PLAEYR_PORT_S *pstPort) {
    if (pstPort->pcRecvDataAddr == nullptr || pstPort->pcRecvDataTmpAddr == nullptr) {
        LOG_ERROR("Port[%03d] pcRecvDataAddr:[%p], pcRecvDataTmpAddr:[%p].", pstPort->ulPort,
                  static_cast<void *>(pstPort->pcRecvDataAddr), static_cast<void *>(pstPort->pcRecvDataTmpAddr));
        return PLAYER_ERR_PARAM;
    }
    ResumeKept(pstPort);
    if (pstPort->ulRecvDataLen < NET_STREAM_HEAD_SIZE) {
        return ReadMore(pstNetInfo, pstPort);
    }
    if (!IsHead(pstPort->pcRecvDataAddr, pstPort->bStandard != 0)) {
        return Resynchronise(pstPort);
    }
    const ULONG_32 ulPackLen = PacketLength(pstPort->pcRecvDataAddr);
    if (ulPackLen > PacketLimit(pstPort)) {
        return SkipFalseHead(pstPort);
    }
    const ULONG_32 ulFrameLen = ulPackLen + NET_STREAM_HEAD_SIZE;
    if (pstPort->ulRecvDataLen < ulFrameLen) {
        return ReadMore(pstNetInfo, pstPort);
    }
    if (pstPort->ulRecvDataLen > ulFrameLen) {
        PutAside(pstPort, ulFrameLen);
    }
    return PLAYER_ERR_OK;
}

void *__NetRecvThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartRecv);
    LOG_INFO("Port[%03d] Start __NetRecvThreadEntry Thread Succeed.", pstPort->ulPort);
    bool bMoreDue = false;
    while (word::Load(pstPort->bStartRecv) && ReceiveRound(pstPort, &bMoreDue)) {
    }
    return nullptr;
}

ULONG_32 Player_OpenNetStream(ULONG_32 ulPort, const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP,
                              USHORT usRemotePort, ULONG_32 ulTransProtl) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL || PortThread_IsOwn(ulPort)) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult =
        NET_CreateRecvSocket(pcLocalIP, usLocalPort, pcRemoteIP, usRemotePort, ulTransProtl, &pstPort->stNetInfo);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] NET_CreateRecvSocket Failed, Error:[0x%x].", ulPort, ulResult);
        return ulResult;
    }
    PortState_ResetIntake(pstPort);
    FreeSecondBuffer(pstPort);
    pstPort->ulRecvDataLen = 0;
    ulResult = MakeStream(pstPort, ulTransProtl);
    if (ulResult != PLAYER_ERR_OK) {
        UndoOpen(pstPort);
        return ulResult;
    }
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NET);
    LOG_INFO("Port[%03d] Player_OpenNetStream Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_CloseNetStream(ULONG_32 ulPort) {
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        return PLAYER_ERR_OK;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_CloseNetStream Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    if (word::Load(pstPort->ulPortUsed) == PORT_USED_TYPE_VOICE) {
        return Player_CloseVoiceSvc(ulPort);
    }
    Source_StopOutputs(pstPort);
    EndReceiving(pstPort);
    QUEUE_CleanupAdjustPktSeqQueue(&pstPort->stAdjustPktSeq);
    PortState_FreePipeline(pstPort);
    FreeReceiveBuffer(pstPort);
    PortState_ResetIntake(pstPort);
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NULL);
    LOG_INFO("Port[%03d] Player_CloseNetStream Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetNatParam(ULONG_32 ulPort, ULONG_32 ulNatMode, const CHAR *pcNatSessionStr) {
    PLAYER_GET_PORT(pstPort, ulPort);
    ULONG_32 ulResult = NET_SetNatParam(ulNatMode, pcNatSessionStr, &pstPort->stNatTimeParam);
    WakeFd_Signal(&pstPort->stSourceWake);
    return ulResult;
}

ULONG_32 Player_GetLocalNetPort(ULONG_32 ulPort, const CHAR *, LONG *) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return PLAYER_ERR_NOT_SUPPORT;
}

ULONG_32 Player_ReleaseLocalNetPort(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return PLAYER_ERR_NOT_SUPPORT;
}

ULONG_32 Player_SetTcpOutTime(LONG_32 lTcpOutTime) { return NET_SetTcpOutTime(lTcpOutTime); }
