// The reorder window of module_queue: RTP packets (RFC 3550, section 5.1) placed by sequence number.
#include <cstdlib>
#include <cstring>

#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "queue/module_queue.h"
#include "queue/queue_inner.h"

namespace {

constexpr ULONG_32 SEQUENCE_END = 4;  // bytes of a packet up to the end of its sequence number
constexpr UCHAR VERSION_MASK = 0xC0;
constexpr UCHAR VERSION_2 = 0x80;

bool IsMade(const ADJUST_PACKET_SEQ_QUEUE_S *pstQueue) {
    return pstQueue->dulMade == Queue_Mark(pstQueue) && pstQueue->pcPacketBuf != nullptr;
}

CHAR *Slot(const ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, ULONG_32 ulIndex) {
    size_t ulStride = static_cast<size_t>(pstQueue->ulOneBufSize) + QUEUE_SEQ_SLOT_HEAD;
    return pstQueue->pcPacketBuf + ulIndex * ulStride;
}

USHORT SequenceOf(const CHAR *pcPacket) { return bytes::Be16(reinterpret_cast<const UCHAR *>(pcPacket) + 2); }

// Left to the first packet: a window that none comes to keeps its pages untouched.
void ClearSlots(const ADJUST_PACKET_SEQ_QUEUE_S *pstQueue) {
    for (ULONG_32 i = 0; i < pstQueue->ulBufNum; i++) {
        *Slot(pstQueue, i) = 0;
    }
}

void StorePacket(CHAR *pcSlot, const CHAR *pcPacket, ULONG_32 ulPacketLen) {
    pcSlot[0] = 1;
    memcpy(pcSlot + 1, &ulPacketLen, sizeof(ulPacketLen));
    memcpy(pcSlot + QUEUE_SEQ_SLOT_HEAD, pcPacket, ulPacketLen);
}

// The slot for a packet, by its distance from the one last read; moves the read position on for one beyond the window.
ULONG_32 PlacePacket(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, USHORT usSequence) {
    if (pstQueue->bFirstSeq != 0) {
        pstQueue->bFirstSeq = 0;
        ClearSlots(pstQueue);
        return pstQueue->ulReadIndex;
    }
    if (pstQueue->usPreSequence > usSequence) {
        LOG_INFO("QUEUE_AddAdjustPktSeqData Warning, CurSequenceNum(%u), PreSequence(%u)", usSequence,
                 pstQueue->usPreSequence);
    }
    ULONG_32 ulDistance = static_cast<USHORT>(usSequence - pstQueue->usPreSequence);
    ULONG_32 ulSlot = (pstQueue->ulReadIndex + ulDistance - 1) % pstQueue->ulBufNum;
    if (ulDistance - 1 >= pstQueue->ulBufNum) {  // a repeated number, distance 0, counts as beyond but moves nothing
        pstQueue->ulReadIndex = (pstQueue->ulReadIndex + ulDistance) % pstQueue->ulBufNum;
    }
    return ulSlot;
}

}  // namespace

ULONG_32 QUEUE_InitAdjustPktSeqQueue(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, ULONG_32 ulOneBufSize, ULONG_32 ulBufNum) {
    if (pstQueue == nullptr || ulOneBufSize == 0 || ulBufNum == 0) {
        LOG_ERROR("QUEUE_InitAdjustPktSeqQueue Failed, Invalid Param");
        return PLAYER_ERR_PARAM;
    }
    QUEUE_CleanupAdjustPktSeqQueue(pstQueue);
    DULONG dulStride = static_cast<DULONG>(ulOneBufSize) + 2 * QUEUE_SEQ_SLOT_HEAD;
    DULONG dulSize = dulStride * ulBufNum;
    // Two 32-bit factors do not wrap in 64 bits, and a stride within the limit leaves ulOneBufSize + 5 in 32.
    CHAR *pcPacketBuf = dulSize <= QUEUE_MAX_BLOCK ? static_cast<CHAR *>(malloc(dulSize)) : nullptr;
    if (pcPacketBuf == nullptr) {
        LOG_ERROR("Malloc (Size:%d) Failed", static_cast<LONG_32>(dulSize));
        return PLAYER_ERR_MALLOC;
    }
    pstQueue->pcPacketBuf = pcPacketBuf;
    pstQueue->ulBufNum = ulBufNum;
    pstQueue->ulOneBufSize = ulOneBufSize + QUEUE_SEQ_SLOT_HEAD;
    pstQueue->bFirstSeq = 1;
    pstQueue->dulMade = Queue_Mark(pstQueue);
    return PLAYER_ERR_OK;
}

void QUEUE_CleanupAdjustPktSeqQueue(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr) {
        return;
    }
    if (IsMade(pstQueue)) {
        free(pstQueue->pcPacketBuf);
    }
    memset(pstQueue, 0, sizeof(*pstQueue));
}

ULONG_32 QUEUE_AddAdjustPktSeqData(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, ADJUST_PACKET_SEQ_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr || !IsMade(pstQueue)) {
        LOG_ERROR("QUEUE_AddAdjustPktSeqData Failed, Invalid Param");
        return PLAYER_ERR_PARAM;
    }
    if (ulPacketLen >= pstQueue->ulOneBufSize) {
        LOG_ERROR("Buffer Size %d out of Queue Buffer:%d", static_cast<LONG_32>(ulPacketLen),
                  static_cast<LONG_32>(pstQueue->ulOneBufSize));
        return PLAYER_ERR_PARAM;
    }
    if (ulPacketLen == 0) {
        LOG_WARN("Buffer Size %d out of Queue Buffer:%d", 0, static_cast<LONG_32>(pstQueue->ulOneBufSize));
        return PLAYER_ERR_OK;
    }
    if (pcPacketBuffer == nullptr || ulPacketLen < SEQUENCE_END ||
        (static_cast<UCHAR>(pcPacketBuffer[0]) & VERSION_MASK) != VERSION_2) {
        LOG_ERROR("QUEUE_AddAdjustPktSeqData Failed, Invalid Param");
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulSlot = PlacePacket(pstQueue, SequenceOf(pcPacketBuffer));
    StorePacket(Slot(pstQueue, ulSlot), pcPacketBuffer, ulPacketLen);
    return PLAYER_ERR_OK;
}

ULONG_32 QUEUE_GetAdjustPktSeqData(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, CHAR **ppcPacketBuffer,
                                   ULONG_32 *pulPacketLen) {
    if (pstQueue == nullptr || ppcPacketBuffer == nullptr || pulPacketLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (!IsMade(pstQueue) || pstQueue->bFirstSeq != 0) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    CHAR *pcSlot = Slot(pstQueue, pstQueue->ulReadIndex);
    if (pcSlot[0] == 0) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    pcSlot[0] = 0;
    memcpy(pulPacketLen, pcSlot + 1, sizeof(*pulPacketLen));
    *ppcPacketBuffer = pcSlot + QUEUE_SEQ_SLOT_HEAD;
    pstQueue->ulReadIndex = (pstQueue->ulReadIndex + 1) % pstQueue->ulBufNum;
    pstQueue->usPreSequence = SequenceOf(*ppcPacketBuffer);
    return PLAYER_ERR_OK;
}
