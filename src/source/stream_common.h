/**
 * @file stream_common.h
 * @brief What a pushed and a received stream share: the receive ring, the decode thread, adding a packet.
 */
#ifndef ZELVANE_SOURCE_STREAM_COMMON_H
#define ZELVANE_SOURCE_STREAM_COMMON_H

#include "foundations/shared_word.h"
#include "port/player_manager.h"

/** Makes the receive ring with as many slots as the port wants; logs a failure. @return 0 or PLAYER_ERR_RESOURCE */
ULONG_32 Stream_MakeRing(PLAEYR_PORT_S *pstPort);

/** Starts the bit rate's period and raises bStartRecv; just before the first thread. */
void Stream_Begin(PLAEYR_PORT_S *pstPort);

/** Starts the decode thread; a failure logs and clears bStartRecv. @return 0 or PLAYER_ERR_RESOURCE */
ULONG_32 Stream_StartDecodeThread(PLAEYR_PORT_S *pstPort);

/** Clears bStartRecv, wakes the source and decode threads, and joins those there are. */
void Stream_JoinThreads(PLAEYR_PORT_S *pstPort);

/** Time that the stream itself tells, seconds; 0 for none. */
ULONG_32 Stream_PlayTime(const PORT_INTAKE_S *pstIntake);

/** Makes one of the port's wakes, under the table's lock too: a close that begins may be waking the port right now. */
bool Stream_OpenWake(WAKE_FD_S *pstWake);

/** Closes it, under the same lock. */
void Stream_CloseWake(WAKE_FD_S *pstWake);

/** One wait of a writer for room, milliseconds. */
inline constexpr ULONG_32 STREAM_ROOM_WAIT_MS = 10;

/**
 * Adds a packet to one of the port's rings. While the ring is full and the port wants its writers to wait, it waits for
 * room as often as oWaitOn(), called before each wait, says yes.
 * @return as QUEUE_AddPacketEx()
 */
template <class WAIT_ON>
ULONG_32 Stream_AddPacket(PLAEYR_PORT_S *pstPort, PACKET_BUFFER_QUEUE_S *pstQueue, CHAR *pcData, ULONG_32 ulDataLen,
                          WAIT_ON &&oWaitOn) {
    RTP_PAYLOAD_TYPE_S *pstTable = word::LoadAcquire(pstPort->pstPayloadType);
    ULONG_32 ulResult = QUEUE_AddPacketEx(pcData, ulDataLen, pstTable, pstQueue);
    while (ulResult == PLAYER_ERR_QUEUE_FULL && word::Load(pstPort->ulBufferCtrl) == PLAYER_BUFFER_CTRL_BLOCK &&
           oWaitOn()) {
        QUEUE_WaitForRoom(pstQueue, STREAM_ROOM_WAIT_MS);
        ulResult = QUEUE_AddPacketEx(pcData, ulDataLen, pstTable, pstQueue);
    }
    return ulResult;
}

#endif
