// The decode thread of input, net and cloud ports: packets from the ring become frames, pictures and sound.
#include <algorithm>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "pipeline/callbacks.h"
#include "pipeline/decode_deliver.h"
#include "pipeline/decode_stage.h"
#include "pipeline/pacing.h"
#include "pipeline/parse_stage.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "port/port_state.h"

namespace {

const ULONG_32 BUSY_WAIT_MS = 2;     /**< while a frame is half there, or packets come in bulk */
const ULONG_32 IDLE_WAIT_MS = 10000; /**< when nothing flows: something else wakes the thread */
const ULONG_32 BUSY_WAITS = 25;      /**< short waits for the rest of a frame before it counts as broken off */
const ULONG_32 BULK_PACKETS = 64;    /**< packets taken at one go that tell of bulk */

/** What the thread knows from one round to the next. */
struct DECODE_LOOP_S {
    PLAEYR_PORT_S *pstPort;
    BOOL_T bWaitForDecodeCheckFlag; /**< a video frame has passed: pace before the next packet */
    ULONG_32 ulPacketsInARow;       /**< packets taken since the last wait */
    ULONG_32 ulBusyWaits;           /**< short waits since the last packet */
    bool bFrameOpen;                /**< the last packet left a frame unfinished */
    DELIVER_STATE_S stDeliver;
};

/** Waits for packets: shortly within a frame, otherwise until the writer or a close wakes it. */
void WaitForPacket(DECODE_LOOP_S *pstLoop) {
    const bool bBulk = pstLoop->ulPacketsInARow >= BULK_PACKETS;
    const bool bShort = bBulk || (pstLoop->bFrameOpen && pstLoop->ulBusyWaits < BUSY_WAITS);
    pstLoop->ulBusyWaits += bShort;
    pstLoop->ulPacketsInARow = 0;
    // The packets of a frame come in a burst: the one that ends it is the one worth waking up for.
    const ULONG_32 ulShortly = bBulk ? QUEUE_WAIT_BULK : QUEUE_WAIT_TAIL;
    const ULONG_32 ulWait = std::min(bShort ? BUSY_WAIT_MS : IDLE_WAIT_MS, Player_PendingWaitMs(pstLoop->pstPort));
    QUEUE_WaitForPacket(&pstLoop->pstPort->stPacketBufferQueue, ulWait,
                        bShort ? ulShortly : ULONG_32{QUEUE_WAIT_PACKET});
}

/** Parses a packet of the ring; false without one. */
bool ParsePacket(DECODE_LOOP_S *pstLoop, ULONG_32 *pulResult) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    CHAR *pcPacket = nullptr;
    ULONG_32 ulPacketLen = 0;
    if (QUEUE_GetPacketEx(&pstPort->stPacketBufferQueue, word::LoadAcquire(pstPort->pstPayloadType), &pcPacket,
                          &ulPacketLen) != PLAYER_ERR_OK) {
        return false;
    }
    pstLoop->ulPacketsInARow++;
    pstLoop->ulBusyWaits = 0;
    NET_MathPacket(&pstPort->stStateInfo);
    *pulResult = Player_ParseStream(pcPacket, ulPacketLen, pstPort);
    pstLoop->bFrameOpen = *pulResult == PLAYER_ERR_NEED_MORE_DATA;
    return true;
}

/** Takes what packets taken before still hold, else a packet, and parses; true when stFrameData holds a frame. */
bool ReceiveFrame(DECODE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    ULONG_32 ulResult = Player_ParsePending(pstPort, 0);
    if (ulResult == PLAYER_ERR_NEED_MORE_DATA && !ParsePacket(pstLoop, &ulResult)) {
        ulResult = Player_ParsePending(pstPort, 1);
        if (ulResult == PLAYER_ERR_NEED_MORE_DATA) {
            WaitForPacket(pstLoop);
            return false;
        }
    }
    if (ulResult == PLAYER_ERR_OK) {
        return true;
    }
    if (ulResult != PLAYER_ERR_UNKNOWN_STREAM && ulResult != PLAYER_ERR_NEED_MORE_DATA) {
        NET_AddLostPacket(&pstPort->stStateInfo);
        pstPort->bNeedIFrame = 1;
    }
    return false;
}

/** Takes analytics records out of the stream. */
void ParseAnalytics(PLAEYR_PORT_S *pstPort) {
    ULONG_32 ulResult = DataParse(&pstPort->stIvaInfo, reinterpret_cast<CHAR *>(pstPort->stFrameData.pucData),
                                  pstPort->stFrameData.lDataLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Decode Thread Warning, IVA DataParse Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

/** Runs the frame tap; false when the frame goes no further. */
bool PassFrameTap(DECODE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    const LONG_32 lPayload = pstPort->stFrameData.lPayload;
    if (Payload_IsVideo(lPayload)) {
        pstLoop->bWaitForDecodeCheckFlag = 1;
        Player_ExecuteFrameCB(pstPort);
        return word::Load(pstPort->stCallBack.stVideoFrameCB.bContinue) != 0;
    }
    if (Payload_IsAudio(lPayload)) {
        Player_ExecuteFrameCB(pstPort);
        return word::Load(pstPort->stCallBack.stAudioFrameCB.bContinue) != 0;
    }
    if (lPayload == PLAYER_PAYLOAD_DATA) {
        ParseAnalytics(pstPort);
        return false;
    }
    return true;
}

void PaceAfterVideo(DECODE_LOOP_S *pstLoop) {
    if (pstLoop->bWaitForDecodeCheckFlag == 1) {
        Player_WaitForDecodeTime(pstLoop->pstPort);
        pstLoop->bWaitForDecodeCheckFlag = 0;
    }
}

/** Nothing follows on what the decoder has: what it holds back is shown now, and the half of a picture goes. */
void DeliverHeld(DECODE_LOOP_S *pstLoop) {
    while (Decode_HeldPicture(pstLoop->pstPort) == PLAYER_ERR_OK) {
        Deliver_Result(pstLoop->pstPort, &pstLoop->stDeliver);
    }
}

/** Decodes the frame in stFrameData and delivers every picture, or the sound, that comes of it. */
void DecodeAndDeliver(DECODE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    if (Decode_WillReplace(pstPort)) {
        DeliverHeld(pstLoop);
    }
    bool bMore = Deliver_DecodeFrame(pstPort);
    do {
        if (bMore) {
            Deliver_Result(pstPort, &pstLoop->stDeliver);
        }
        bMore = Deliver_NextPicture(pstPort);
    } while (bMore);
}

void DecodeRound(DECODE_LOOP_S *pstLoop) {
    PLAEYR_PORT_S *pstPort = pstLoop->pstPort;
    PaceAfterVideo(pstLoop);
    if (pstPort->bNeedIFrame == 1 && pstPort->stStamps.bFresh == 0) {
        DeliverHeld(pstLoop);
    }
    if (!ReceiveFrame(pstLoop) || !Deliver_PassKeyFrameGate(pstPort)) {
        return;
    }
    pstPort->stSeiInfo.ulSeiTotalLen = 0;
    if (!PassFrameTap(pstLoop) || !Deliver_PassSoundChannel(pstPort)) {
        return;
    }
    DecodeAndDeliver(pstLoop);
}

}  // namespace

void *__DecodeThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, &pstPort->bStartRecv);
    LOG_INFO("Port[%03d] Start __DecodeThreadEntry Thread Succeed.", pstPort->ulPort);
    DECODE_LOOP_S stLoop = {};
    stLoop.pstPort = pstPort;
    Deliver_Begin(&stLoop.stDeliver, DELIVER_DECODE_THREAD);
    WYK_gettimeofday(&pstPort->tiProTime, nullptr);
    LOG_INFO("Port[%03d] Start Decode......", pstPort->ulPort);
    WYK_gettimeofday(&pstPort->stStateInfo.stPktPrevTime, nullptr);
    while (word::Load(pstPort->bStartRecv)) {
        DecodeRound(&stLoop);
    }
    PortState_DropSoundDevice(pstPort);
    return nullptr;
}
