#include "source/file_record.h"

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "port/port_lock.h"
#include "queue/record_head.h"

namespace {

const ULONG_32 ROOM_WAIT_MS = 10;

/** Whether a full queue is worth waiting for: a step and a close must not wait for a recorder that stands still. */
bool MayWaitForRoom(const PLAEYR_PORT_S *pstPort) {
    return word::Load(pstPort->ulBufferCtrl) == PLAYER_BUFFER_CTRL_BLOCK && word::Load(pstPort->bStartRecord) &&
           word::Load(pstPort->bStartRecv) && word::Load(pstPort->bCtrlSucc) && !PortLock_IsClosing(pstPort->ulPort);
}

/** Whether a head and so many bytes find room in the record ring now; only this thread writes there. */
bool HasRecordRoom(PORT_RECORD_S *pstRecording, ULONG_32 ulLen) {
    const ULONG_32 ulNeed = 1 + (ulLen + RECORD_RING_SLOT - 1) / RECORD_RING_SLOT;
    ULONG_32 ulUsed = 0;
    QUEUE_GetCurPacketLen(&pstRecording->stRecordBufferQueue, &ulUsed);
    return word::LoadAcquire(pstRecording->stRecordBufferQueue.ulBufNum) > ulUsed + ulNeed;
}

ULONG_32 AddToRecord(PLAEYR_PORT_S *pstPort, void *pData, ULONG_32 ulLen) {
    return QUEUE_AddPacketEx(static_cast<CHAR *>(pData), ulLen, word::LoadAcquire(pstPort->pstPayloadType),
                             &pstPort->stRecordBufferQueue);
}

/** Adds a head and its frame, or neither: the reader takes whatever follows a head for its frame. */
ULONG_32 AddFrameToRecord(PLAEYR_PORT_S *pstPort) {
    const PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    const ULONG_32 ulLen = static_cast<ULONG_32>(stFrame.lDataLen);
    while (!HasRecordRoom(pstPort, ulLen)) {
        if (!MayWaitForRoom(pstPort)) {
            return PLAYER_ERR_QUEUE_FULL;
        }
        QUEUE_WaitForRoom(&pstPort->stRecordBufferQueue, ROOM_WAIT_MS);
    }
    PLAYER_RECORDHEAD_S stHead = {{'R', 'd', 'H', 'd'}, stFrame.lPayload, stFrame.lFormatType, 0, stFrame.dulTimestamp};
    ULONG_32 ulResult = AddToRecord(pstPort, &stHead, sizeof(stHead));
    return ulResult == PLAYER_ERR_OK ? AddToRecord(pstPort, stFrame.pucData, ulLen) : ulResult;
}

}  // namespace

void FileRecord_Add(PLAEYR_PORT_S *pstPort) {
    if (!word::Load(pstPort->bStartRecord) || pstPort->stFrameData.lDataLen <= 0) {
        return;
    }
    ULONG_32 ulResult = AddFrameToRecord(pstPort);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] FilePlay Thread Warning: QUEUE_AddPacket Record Failed, Error:[0x%x].", pstPort->ulPort,
                 ulResult);
    }
}
