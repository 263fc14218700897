// The packet ring of module_queue: many writers under a mutex, one reader without a lock.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "intake/module_rtp.h"
#include "queue/module_queue.h"
#include "queue/queue_inner.h"

namespace {

constexpr ULONG_32 ANY_LEVEL = ~0U;      // more slots in use than any reader waits for
constexpr ULONG_32 FULL_LOG_EVERY = 20;  // one log line for so many refused long packets

// Indexes and the words that tell of sleepers are a pair of flags on each side (I moved, are you asleep; I go to
// sleep, did you move), which needs one total order.
ULONG_32 LoadOrdered(const ULONG_32 &ulWord) { return __atomic_load_n(&ulWord, __ATOMIC_SEQ_CST); }
void StoreOrdered(ULONG_32 &ulWord, ULONG_32 ulValue) { __atomic_store_n(&ulWord, ulValue, __ATOMIC_SEQ_CST); }

// A packet that finds the ring empty goes to the front of the block, whatever its index: a stream that is kept up with
// stays in the few slots that are in the cache, and the rest of the block is never touched.
CHAR *Slot(const PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulIndex, ULONG_32 ulBufNum) {
    ULONG_32 ulFront = word::Load(pstQueue->ulFrontIndex);
    ULONG_32 ulPlace = ulIndex >= ulFront ? ulIndex - ulFront : ulIndex + ulBufNum - ulFront;
    return pstQueue->pcPacketBuf + static_cast<size_t>(ulPlace) * pstQueue->ulOneBufSize;
}

ULONG_32 PayloadSize(const PACKET_BUFFER_QUEUE_S *pstQueue) { return pstQueue->ulOneBufSize - QUEUE_SLOT_HEAD; }

ULONG_32 NextSlot(ULONG_32 ulIndex, ULONG_32 ulBufNum) { return ulIndex + 1 == ulBufNum ? 0 : ulIndex + 1; }

// 64 bits: a ring with slots of no payload has no number of slots for a byte.
DULONG SlotsFor(ULONG_32 ulPacketLen, ULONG_32 ulPayload) {
    if (ulPacketLen <= ulPayload) {
        return 1;
    }
    return ulPayload == 0 ? ~0ULL : (static_cast<DULONG>(ulPacketLen) + ulPayload - 1) / ulPayload;
}

ULONG_32 SlotsInUse(ULONG_32 ulWrite, ULONG_32 ulRead, ULONG_32 ulBufNum) {
    return ulWrite >= ulRead ? ulWrite - ulRead : ulWrite + ulBufNum - ulRead;
}

// For threads that may meet a ring at any moment of its life.
ULONG_32 SlotsInUse(const PACKET_BUFFER_QUEUE_S *pstQueue) {
    ULONG_32 ulBufNum = word::LoadAcquire(pstQueue->ulBufNum);
    if (ulBufNum == 0) {
        return 0;
    }
    return (LoadOrdered(pstQueue->ulWriteIndex) - LoadOrdered(pstQueue->ulReadIndex) + ulBufNum) % ulBufNum;
}

// The fill level at which refused writers are woken: half, and 0 if the packet refused last needs more room than that.
ULONG_32 RoomLevel(const PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulBufNum) {
    ULONG_32 ulHalf = ulBufNum / 2;
    return word::Load(pstQueue->ulRoomSlots) < ulBufNum - ulHalf ? ulHalf : 0;
}

void ClearFields(PACKET_BUFFER_QUEUE_S *pstQueue) {
    pstQueue->pcPacketBuf = nullptr;
    pstQueue->pcTmpBuf = nullptr;
    pstQueue->ulOneBufSize = 0;
    pstQueue->ulTmpBufSize = 0;
    word::StoreRelease(pstQueue->ulBufNum, 0);
    StoreOrdered(pstQueue->ulWriteIndex, 0);
    StoreOrdered(pstQueue->ulReadIndex, 0);
    word::Store(pstQueue->ulErrCount, 0);
    word::Store(pstQueue->ulFrameCount, 0);
    word::Store(pstQueue->ulRoomSlots, 0);
    word::Store(pstQueue->ulFrontIndex, 0);
    word::Store(pstQueue->bReadTail, 0);
}

void MakeRecord(PACKET_BUFFER_QUEUE_S *pstQueue) {
    ClearFields(pstQueue);
    for (ULONG_32 *pulWord : {&pstQueue->stReadWake.ulCount, &pstQueue->stReadWake.ulWaiters,
                              &pstQueue->stRoomWake.ulCount, &pstQueue->stRoomWake.ulWaiters, &pstQueue->ulReadLevel,
                              &pstQueue->ulReadLatch, &pstQueue->ulRoomWaiting, &pstQueue->ulRoomLatch}) {
        word::Store(*pulWord, 0);
    }
    pthread_mutex_init(&pstQueue->stMutex, nullptr);
    pstQueue->dulMade = Queue_Mark(pstQueue);
}

CHAR *AllocateBlock(DULONG dulSize) {
    CHAR *pcBlock = dulSize <= QUEUE_MAX_BLOCK ? static_cast<CHAR *>(malloc(dulSize)) : nullptr;
    if (pcBlock == nullptr) {
        LOG_ERROR("Malloc (Size:%d) Failed", static_cast<LONG_32>(dulSize));
    }
    return pcBlock;
}

// A slot's lines lie in the other side's cache. These two have them on their way while this side does something else.
void ExpectToWrite(const CHAR *pcSlot, ULONG_32 ulSize) {
    for (ULONG_32 i = 0; i < ulSize; i += QUEUE_CACHE_LINE) {
        asm volatile("prefetchw %0" : : "m"(pcSlot[i]));  // a processor that does not know it takes it for nothing
    }
}

void ExpectToRead(const CHAR *pcSlot, ULONG_32 ulSize) {
    for (ULONG_32 i = 0; i < ulSize; i += QUEUE_CACHE_LINE) {
        __builtin_prefetch(pcSlot + i);
    }
}

// Writes one slot and clears what the packet leaves of it, so that nothing of older packets stays behind.
ULONG_32 FillSlot(CHAR *pcSlot, const CHAR *pcData, ULONG_32 ulRest, ULONG_32 ulPayload) {
    ULONG_32 ulCopy = std::min(ulRest, ulPayload);
    memcpy(pcSlot, &ulRest, sizeof(ulRest));
    memcpy(pcSlot + QUEUE_SLOT_HEAD, pcData, ulCopy);
    memset(pcSlot + QUEUE_SLOT_HEAD + ulCopy, 0, ulPayload - ulCopy);
    return ulCopy;
}

// Counts a refused packet; the first that finds no slot at all is not worth a line.
ULONG_32 RefusePacket(PACKET_BUFFER_QUEUE_S *pstQueue, DULONG dulNeed, bool bLog) {
    ULONG_32 ulCount = word::Add(pstQueue->ulErrCount, 1);
    word::Store(pstQueue->ulRoomSlots, static_cast<ULONG_32>(std::min<DULONG>(dulNeed, pstQueue->ulBufNum)));
    if (bLog && ulCount % FULL_LOG_EVERY == 1) {
        LOG_ERROR(" Buffer Full[%d], Count[%d].", static_cast<LONG_32>(pstQueue->ulBufNum),
                  static_cast<LONG_32>(ulCount));
    }
    return PLAYER_ERR_QUEUE_FULL;
}

// Under stMutex. *pulInUse: slots in use with this packet.
ULONG_32 CopyIn(PACKET_BUFFER_QUEUE_S *pstQueue, const CHAR *pcPacket, ULONG_32 ulPacketLen, ULONG_32 *pulInUse) {
    ULONG_32 ulBufNum = pstQueue->ulBufNum;
    if (ulBufNum == 0) {  // cleaned up since the caller looked
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulPayload = PayloadSize(pstQueue);
    ULONG_32 ulWrite = pstQueue->ulWriteIndex;
    ULONG_32 ulInUse = SlotsInUse(ulWrite, word::LoadAcquire(pstQueue->ulReadIndex), ulBufNum);
    ULONG_32 ulFree = ulBufNum - 1 - ulInUse;
    DULONG dulNeed = SlotsFor(ulPacketLen, ulPayload);
    if (dulNeed > ulFree) {
        return RefusePacket(pstQueue, dulNeed, ulFree != 0);
    }
    if (ulInUse == 0) {  // the reader has left every slot, and reads the next only once ulWriteIndex is published
        word::Store(pstQueue->ulFrontIndex, ulWrite);
    }
    for (ULONG_32 i = 0; i < dulNeed; i++) {
        ULONG_32 ulDone = FillSlot(Slot(pstQueue, ulWrite, ulBufNum), pcPacket, ulPacketLen, ulPayload);
        pcPacket += ulDone;
        ulPacketLen -= ulDone;
        ulWrite = NextSlot(ulWrite, ulBufNum);
    }
    StoreOrdered(pstQueue->ulWriteIndex, ulWrite);
    ExpectToWrite(Slot(pstQueue, ulWrite, ulBufNum), pstQueue->ulOneBufSize);
    *pulInUse = ulInUse + static_cast<ULONG_32>(dulNeed);
    return PLAYER_ERR_OK;
}

// One writer a sleep takes the level and pays for the wake; the others see the reader as awake.
void WakeReader(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulInUse) {
    ULONG_32 ulLevel = LoadOrdered(pstQueue->ulReadLevel);
    if (ulLevel != 0 && ulInUse >= ulLevel && word::Exchange(pstQueue->ulReadLevel, 0) != 0) {
        Wake_Signal(&pstQueue->stReadWake);
    }
}

bool GrowTmpBuf(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulPacketLen) {
    free(pstQueue->pcTmpBuf);
    pstQueue->pcTmpBuf = nullptr;
    pstQueue->ulTmpBufSize = 0;
    DULONG dulSize = static_cast<DULONG>(ulPacketLen) + QUEUE_TMP_BUF_EXTRA;
    pstQueue->pcTmpBuf = AllocateBlock(dulSize);
    if (pstQueue->pcTmpBuf == nullptr) {
        return false;
    }
    pstQueue->ulTmpBufSize = static_cast<ULONG_32>(dulSize);
    return true;
}

// Copies the packet at *pulRead into the read buffer and moves *pulRead past it.
ULONG_32 CopyOut(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulBufNum, ULONG_32 *pulRead, ULONG_32 *pulPacketLen) {
    ULONG_32 ulPayload = PayloadSize(pstQueue);
    ULONG_32 ulLen = 0;
    memcpy(&ulLen, Slot(pstQueue, *pulRead, ulBufNum), sizeof(ulLen));
    if ((ulLen > pstQueue->ulTmpBufSize || pstQueue->pcTmpBuf == nullptr) && !GrowTmpBuf(pstQueue, ulLen)) {
        return PLAYER_ERR_MALLOC;
    }
    ULONG_32 ulDone = 0;
    do {
        ULONG_32 ulCopy = std::min(ulLen - ulDone, ulPayload);
        memcpy(pstQueue->pcTmpBuf + ulDone, Slot(pstQueue, *pulRead, ulBufNum) + QUEUE_SLOT_HEAD, ulCopy);
        ulDone += ulCopy;
        *pulRead = NextSlot(*pulRead, ulBufNum);
    } while (ulDone < ulLen);
    *pulPacketLen = ulLen;
    return PLAYER_ERR_OK;
}

// Writers are woken where the fill level passes theirs, and always at the end of what the reader saw.
void WakeWriters(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulBefore, ULONG_32 ulAfter, ULONG_32 ulBufNum) {
    if (LoadOrdered(pstQueue->ulRoomWaiting) == 0) {
        return;
    }
    ULONG_32 ulLevel = RoomLevel(pstQueue, ulBufNum);
    if (ulAfter == 0 || (ulBefore > ulLevel && ulAfter <= ulLevel)) {
        Wake_Signal(&pstQueue->stRoomWake);
    }
}

bool AcquireLatch(ULONG_32 &ulLatch) { return word::Load(ulLatch) != 0 && word::Exchange(ulLatch, 0) != 0; }

bool HasRoom(const PACKET_BUFFER_QUEUE_S *pstQueue) {
    ULONG_32 ulBufNum = word::LoadAcquire(pstQueue->ulBufNum);
    return ulBufNum > 1 && SlotsInUse(pstQueue) <= RoomLevel(pstQueue, ulBufNum);
}

}  // namespace

ULONG_32 QUEUE_InitPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulOneBufSize, ULONG_32 ulBufNum) {
    if (pstQueue == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstQueue->dulMade == Queue_Mark(pstQueue)) {
        QUEUE_CleanupPacketBuffer(pstQueue);
    } else {
        MakeRecord(pstQueue);
    }
    CHAR *pcTmpBuf = AllocateBlock(QUEUE_TMP_BUF_SIZE);
    if (pcTmpBuf == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    CHAR *pcPacketBuf = AllocateBlock((static_cast<DULONG>(ulOneBufSize) + QUEUE_SLOT_HEAD) * ulBufNum);
    if (pcPacketBuf == nullptr) {
        free(pcTmpBuf);
        return PLAYER_ERR_MALLOC;
    }
    CMutexGuard oGuard(&pstQueue->stMutex);
    pstQueue->pcTmpBuf = pcTmpBuf;
    pstQueue->ulTmpBufSize = QUEUE_TMP_BUF_SIZE;
    pstQueue->pcPacketBuf = pcPacketBuf;
    pstQueue->ulOneBufSize = ulOneBufSize + QUEUE_SLOT_HEAD;
    word::StoreRelease(pstQueue->ulBufNum, ulBufNum);
    return PLAYER_ERR_OK;
}

void QUEUE_CleanupPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr) {
        return;
    }
    if (pstQueue->dulMade != Queue_Mark(pstQueue)) {
        ClearFields(pstQueue);
        return;
    }
    CHAR *pcPacketBuf = nullptr;
    CHAR *pcTmpBuf = nullptr;
    {
        CMutexGuard oGuard(&pstQueue->stMutex);
        pcPacketBuf = pstQueue->pcPacketBuf;
        pcTmpBuf = pstQueue->pcTmpBuf;
        ClearFields(pstQueue);
    }
    free(pcPacketBuf);
    free(pcTmpBuf);
}

void QUEUE_StopPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue) {
    if (pstQueue == nullptr || pstQueue->dulMade != Queue_Mark(pstQueue)) {
        return;
    }
    {
        CMutexGuard oGuard(&pstQueue->stMutex);
        word::StoreRelease(pstQueue->ulBufNum, 0);
    }
    QUEUE_WakeAll(pstQueue);
}

void QUEUE_DestroyPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue) {
    QUEUE_CleanupPacketBuffer(pstQueue);
    if (pstQueue != nullptr && pstQueue->dulMade == Queue_Mark(pstQueue)) {
        pthread_mutex_destroy(&pstQueue->stMutex);
        pstQueue->dulMade = 0;
    }
}

ULONG_32 QUEUE_AddPacket(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, PACKET_BUFFER_QUEUE_S *pstQueue) {
    if (pcPacketBuffer == nullptr || pstQueue == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (word::LoadAcquire(pstQueue->ulBufNum) == 0) {
        LOG_WARN("QUEUE_AddPacket Warning, Buffer Num is Zero");
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = PLAYER_ERR_OK;
    ULONG_32 ulInUse = 0;
    {
        CMutexGuard oGuard(&pstQueue->stMutex);
        ulResult = CopyIn(pstQueue, pcPacketBuffer, ulPacketLen, &ulInUse);
    }
    if (ulResult == PLAYER_ERR_OK) {
        WakeReader(pstQueue, ulInUse);
    }
    return ulResult;
}

ULONG_32 QUEUE_AddPacketEx(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType,
                           PACKET_BUFFER_QUEUE_S *pstQueue) {
    ULONG_32 ulResult = QUEUE_AddPacket(pcPacketBuffer, ulPacketLen, pstQueue);
    if (ulResult == PLAYER_ERR_OK && RTP_IsRtpVideoTail(pcPacketBuffer, ulPacketLen, pstPayloadType)) {
        word::Add(pstQueue->ulFrameCount, 1);
        if (word::Load(pstQueue->bReadTail)) {
            WakeReader(pstQueue, ANY_LEVEL);
        }
    }
    return ulResult;
}

ULONG_32 QUEUE_GetPacket(PACKET_BUFFER_QUEUE_S *pstQueue, CHAR **ppcPacketBuffer, ULONG_32 *pulPacketLen) {
    if (pstQueue == nullptr || ppcPacketBuffer == nullptr || pulPacketLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulBufNum = word::LoadAcquire(pstQueue->ulBufNum);
    ULONG_32 ulRead = pstQueue->ulReadIndex;
    ULONG_32 ulWrite = LoadOrdered(pstQueue->ulWriteIndex);
    if (ulBufNum == 0 || ulRead == ulWrite) {
        return PLAYER_ERR_QUEUE_EMPTY;
    }
    ULONG_32 ulBefore = SlotsInUse(ulWrite, ulRead, ulBufNum);
    ULONG_32 ulResult = CopyOut(pstQueue, ulBufNum, &ulRead, pulPacketLen);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    StoreOrdered(pstQueue->ulReadIndex, ulRead);
    if (ulRead != ulWrite) {
        ExpectToRead(Slot(pstQueue, ulRead, ulBufNum), std::min(*pulPacketLen, pstQueue->ulOneBufSize));
    }
    WakeWriters(pstQueue, ulBefore, SlotsInUse(ulWrite, ulRead, ulBufNum), ulBufNum);
    *ppcPacketBuffer = pstQueue->pcTmpBuf;
    return PLAYER_ERR_OK;
}

ULONG_32 QUEUE_GetPacketEx(PACKET_BUFFER_QUEUE_S *pstQueue, RTP_PAYLOAD_TYPE_S *pstPayloadType, CHAR **ppcPacketBuffer,
                           ULONG_32 *pulPacketLen) {
    ULONG_32 ulResult = QUEUE_GetPacket(pstQueue, ppcPacketBuffer, pulPacketLen);
    if (ulResult == PLAYER_ERR_OK && RTP_IsRtpVideoTail(*ppcPacketBuffer, *pulPacketLen, pstPayloadType)) {
        word::Sub(pstQueue->ulFrameCount, 1);
    }
    return ulResult;
}

ULONG_32 QUEUE_GetCurPacketLen(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulPacketLen) {
    if (pstQueue == nullptr || pulPacketLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pulPacketLen = SlotsInUse(pstQueue);
    return PLAYER_ERR_OK;
}

ULONG_32 QUEUE_GetCurPacketUsed(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulPacketUsed) {
    if (pstQueue == nullptr || pulPacketUsed == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    DULONG dulBufNum = word::LoadAcquire(pstQueue->ulBufNum);
    *pulPacketUsed = dulBufNum == 0 ? 0 : static_cast<ULONG_32>(SlotsInUse(pstQueue) * 1000ULL / dulBufNum);
    return PLAYER_ERR_OK;
}

ULONG_32 QUEUE_GetCurFrameCount(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulFrameCount) {
    if (pstQueue == nullptr || pulFrameCount == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pulFrameCount = word::Load(pstQueue->ulFrameCount);
    return PLAYER_ERR_OK;
}

bool QUEUE_WaitForPacket(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds, ULONG_32 ulWaitFor) {
    ULONG_32 ulTicket = Wake_Ticket(&pstQueue->stReadWake);
    ULONG_32 ulLevel = ulWaitFor == QUEUE_WAIT_PACKET ? 1 : std::max(word::LoadAcquire(pstQueue->ulBufNum) / 4, 1U);
    word::Store(pstQueue->bReadTail, ulWaitFor == QUEUE_WAIT_TAIL);
    StoreOrdered(pstQueue->ulReadLevel, ulLevel);
    // What came before the level stood may have been the end of the frame, and woke nobody.
    ULONG_32 ulEnough = ulWaitFor == QUEUE_WAIT_TAIL ? 1 : ulLevel;
    if (!AcquireLatch(pstQueue->ulReadLatch) && SlotsInUse(pstQueue) < ulEnough) {
        Wake_Wait(&pstQueue->stReadWake, ulTicket, ulMSeconds);
        AcquireLatch(pstQueue->ulReadLatch);  // it has done its work if it was set meanwhile
    }
    word::Store(pstQueue->ulReadLevel, 0);
    return SlotsInUse(pstQueue) != 0;
}

bool QUEUE_WaitForRoom(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds) {
    ULONG_32 ulTicket = Wake_Ticket(&pstQueue->stRoomWake);
    __atomic_add_fetch(&pstQueue->ulRoomWaiting, 1, __ATOMIC_SEQ_CST);
    if (!AcquireLatch(pstQueue->ulRoomLatch) && !HasRoom(pstQueue)) {
        Wake_Wait(&pstQueue->stRoomWake, ulTicket, ulMSeconds);
        AcquireLatch(pstQueue->ulRoomLatch);
    }
    __atomic_sub_fetch(&pstQueue->ulRoomWaiting, 1, __ATOMIC_SEQ_CST);
    return HasRoom(pstQueue);
}

void QUEUE_WakeAll(PACKET_BUFFER_QUEUE_S *pstQueue) {
    word::Exchange(pstQueue->ulReadLatch, 1);
    word::Exchange(pstQueue->ulRoomLatch, 1);
    Wake_Signal(&pstQueue->stReadWake);
    Wake_Signal(&pstQueue->stRoomWake);
}
