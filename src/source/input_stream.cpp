// The pushed stream of a port: open, push, close, and the settings of its ring.
#include "source/input_stream.h"

#include <stdlib.h>

#include <algorithm>
#include <optional>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "pipeline/callbacks.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "port/port_state.h"
#include "source/free_port.h"
#include "source/stream_common.h"
#include "source/voice.h"

namespace {

const ULONG_32 RING_MIN_SLOTS = 1000;
const ULONG_32 RING_MAX_SLOTS = 5000;
const ULONG_32 MAX_DELAY_MS = 10000;
const ULONG_32 ROOM_WAIT_TIMES = 100;

CHAR *AllocBuffer(ULONG_32 ulPort, ULONG_32 ulSize) {
    CHAR *pcBuffer = static_cast<CHAR *>(malloc(ulSize));
    if (pcBuffer == nullptr) {
        LOG_ERROR("Port[%03d] Malloc Failed, Size:[%d].", ulPort, ulSize);
    }
    return pcBuffer;
}

ULONG_32 AllocFrameBuffers(PLAEYR_PORT_S *pstPort) {
    pstPort->pcFrameDataAddr = AllocBuffer(pstPort->ulPort, VIDEO_FRAME_BUFFER_SIZE);
    if (pstPort->pcFrameDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    pstPort->pcRtpAudioFrameDataAddr = AllocBuffer(pstPort->ulPort, AUDIO_FRAME_BUFFER_SIZE);
    if (pstPort->pcRtpAudioFrameDataAddr == nullptr) {
        PortState_FreeFrameBuffers(pstPort);
        return PLAYER_ERR_MALLOC;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 MakeStream(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = AllocFrameBuffers(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    ulResult = Stream_MakeRing(pstPort);
    if (ulResult == PLAYER_ERR_OK) {
        Stream_Begin(pstPort);
        ulResult = Stream_StartDecodeThread(pstPort);
    }
    if (ulResult != PLAYER_ERR_OK) {
        QUEUE_CleanupPacketBuffer(&pstPort->stPacketBufferQueue);
        PortState_FreeFrameBuffers(pstPort);
    }
    return ulResult;
}

/** Adds a packet; in block mode waits for room, about a second at most, while the flag (if any) stays set. */
ULONG_32 AddWithPatience(PLAEYR_PORT_S *pstPort, PACKET_BUFFER_QUEUE_S *pstQueue, const UCHAR *pucData,
                         ULONG_32 ulDataLen, const BOOL_T *pbWhile) {
    CHAR *pcData = const_cast<CHAR *>(reinterpret_cast<const CHAR *>(pucData));
    ULONG_32 ulTimes = 0;
    std::optional<CPortWaiter> oWaiter;
    return Stream_AddPacket(pstPort, pstQueue, pcData, ulDataLen, [&] {
        if (!oWaiter.has_value()) {
            oWaiter.emplace(CPortWaiter::WAIT_PIPELINE, pstPort->ulPort, PortThread_Innermost());
        }
        return ulTimes++ < ROOM_WAIT_TIMES && !PortLock_IsClosing(pstPort->ulPort) && !PortThread_MustGiveUp() &&
               (pbWhile == nullptr || word::Load(*pbWhile));
    });
}

void AddToRecording(PLAEYR_PORT_S *pstPort, const UCHAR *pucData, ULONG_32 ulDataLen) {
    ULONG_32 ulResult =
        AddWithPatience(pstPort, &pstPort->stRecordBufferQueue, pucData, ulDataLen, &pstPort->bStartRecord);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] QUEUE_AddPacket Record Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

ULONG_32 AddToRing(PLAEYR_PORT_S *pstPort, const UCHAR *pucData, ULONG_32 ulDataLen) {
    ULONG_32 ulResult = AddWithPatience(pstPort, &pstPort->stPacketBufferQueue, pucData, ulDataLen, nullptr);
    ULONG_32 ulErrCount = word::Load(pstPort->stPacketBufferQueue.ulErrCount);
    if (ulResult == PLAYER_ERR_QUEUE_FULL && ulErrCount % 1000 == 1) {
        LOG_WARN("Port[%03d] QUEUE_AddPacket Failed, Error:[0x%x], Count:[%d].", pstPort->ulPort, ulResult, ulErrCount);
    }
    return ulResult;
}

bool TakesPackets(const PORT_SOURCE_S *pstSource) {
    ULONG_32 ulUsed = word::Load(pstSource->ulPortUsed);
    return word::LoadAcquire(pstSource->bInit) == 1 &&
           (ulUsed == PORT_USED_TYPE_INPUT || ulUsed == PORT_USED_TYPE_VOICE || ulUsed == PORT_USED_TYPE_HLS);
}

/** Runs the source tap; false when the client keeps the packet for itself. */
bool PassSourceTap(PLAEYR_PORT_S *pstPort, const UCHAR *pucData, ULONG_32 ulDataLen) {
    CSourceCallbackMark oMark(pstPort->ulPort);
    Player_ExecuteSourceCB(const_cast<CHAR *>(reinterpret_cast<const CHAR *>(pucData)), ulDataLen, pstPort);
    return word::Load(pstPort->stCallBack.stSourceCB.bContinue) != 0;
}

}  // namespace

ULONG_32 Player_OpenInputStream(ULONG_32 ulPort, const UCHAR *pucFileHeadBuf, ULONG_32 ulSize) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL || PortThread_IsOwn(ulPort)) {
        return PLAYER_ERR_PARAM;
    }
    PortState_ResetIntake(pstPort);
    ULONG_32 ulResult = MakeStream(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    word::StoreRelease(pstPort->bInit, 1);
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_INPUT);
    LOG_INFO("Port[%03d] Player_OpenInputStream Success.", ulPort);
    return Player_InputMediaData(ulPort, pucFileHeadBuf, ulSize);
}

ULONG_32 Player_InputMediaData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen) {
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        LOG_ERROR("Port[%d] Not Exist.", ulPort);
        return PLAYER_ERR_PORT;
    }
    if (!TakesPackets(pstPort)) {
        return PLAYER_ERR_PARAM;
    }
    if (ulDataLen == 0) {
        LOG_WARN("Player_InputMediaData Warning: Data Len is Zero.");
        return PLAYER_ERR_OK;
    }
    if (pucDataBuf == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_HLS) {
        NET_MathBitRate(ulDataLen, &pstPort->stStateInfo);
    }
    if (word::Load(pstPort->bStartRecord)) {
        AddToRecording(pstPort, pucDataBuf, ulDataLen);
    }
    return PassSourceTap(pstPort, pucDataBuf, ulDataLen) ? AddToRing(pstPort, pucDataBuf, ulDataLen)
                                                         : static_cast<ULONG_32>(PLAYER_ERR_OK);
}

ULONG_32 Player_CloseInputStream(ULONG_32 ulPort) {
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        return PLAYER_ERR_OK;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_CloseInputStream Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    if (word::Load(pstPort->ulPortUsed) == PORT_USED_TYPE_VOICE) {
        return Player_CloseVoiceSvc(ulPort);
    }
    Source_StopOutputs(pstPort);
    Stream_JoinThreads(pstPort);
    PortState_FreePipeline(pstPort);
    PortState_ResetIntake(pstPort);
    word::Store(pstPort->bInit, 0);
    word::Store(pstPort->ulPortUsed, PORT_USED_TYPE_NULL);
    LOG_INFO("Port[%03d] Player_CloseInputStream Success.", ulPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetPacketBuffer(ULONG_32 ulPort, ULONG_32 ulBufferSize, ULONG_32 ulDelayRenderTime) {
    PLAYER_GET_PORT(pstPort, ulPort);
    pstPort->ulBufferNum = std::clamp(ulBufferSize, RING_MIN_SLOTS, RING_MAX_SLOTS);
    pstPort->ulDelayTime = std::min(ulDelayRenderTime, MAX_DELAY_MS);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetBufferCtrl(ULONG_32 ulPort, ULONG_32 ulBufferCtrl) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulBufferCtrl > PLAYER_BUFFER_CTRL_BLOCK) {
        LOG_ERROR("Port[%03d] Unknown Ctrl Type:[%d].", ulPort, ulBufferCtrl);
        return PLAYER_ERR_PARAM;
    }
    word::Store(pstPort->ulBufferCtrl, ulBufferCtrl);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetPacketQueueStart(ULONG_32 ulPort, ULONG_32 *pulFrameCount, ULONG_32 *pulPacketCount) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pulFrameCount == nullptr || pulPacketCount == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (word::Load(pstPort->stPacketBufferQueue.ulBufNum) == 0) {
        return PLAYER_ERR_OK;
    }
    QUEUE_GetCurFrameCount(&pstPort->stPacketBufferQueue, pulFrameCount);
    QUEUE_GetCurPacketLen(&pstPort->stPacketBufferQueue, pulPacketCount);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetBitRate(ULONG_32 ulPort, LONG_32 *plBitRate) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *plBitRate = static_cast<LONG_32>(word::Load(pstPort->stStateInfo.ulBitRate) * 8);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetLostPacketRate(ULONG_32 ulPort, LONG_32 *plRecvPktNum, LONG_32 *plLostPktNum) {
    PLAYER_GET_PORT(pstPort, ulPort);
    *plRecvPktNum = word::Load(pstPort->stStateInfo.lAllPktNum);
    *plLostPktNum = word::Load(pstPort->stStateInfo.lLostPktNum);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_ResetLostPacketRate(ULONG_32 ulPort) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return NET_ResetLostPacket(&pstPort->stStateInfo);
}
