// Packets of one sender in order: what comes ahead waits a little for what is missing, and what comes twice goes.
#include <string.h>

#include "foundations/bytes.h"
#include "intake/rtp_head.h"
#include "intake/rtp_standard_inner.h"

namespace {

const ULONG_32 SEEN_BITS = 64;
const LONG_32 LARGEST_JUMP = 3000; /**< beyond it a number is that of a sender which started anew */
const ULONG_32 RESTART_RUN = 8;    /**< late packets in a row, each one number further: likewise */
const UCHAR RTCP_FIRST = 192;      /**< second bytes that RTCP has (RFC 5761, 4) */
const UCHAR RTCP_LAST = 223;

LONG_32 Distance(USHORT usFrom, USHORT usTo) { return static_cast<SHORT>(static_cast<USHORT>(usTo - usFrom)); }

RTP_WINDOW_SLOT_S *SlotOf(RTP_WINDOW_S *pstWindow, USHORT usSequence) {
    return &pstWindow->astSlot[usSequence % RTP_WINDOW_SLOTS];
}

bool IsHeld(RTP_WINDOW_S *pstWindow, USHORT usSequence) {
    const RTP_WINDOW_SLOT_S *pstSlot = SlotOf(pstWindow, usSequence);
    return pstSlot->bUsed != 0 && pstSlot->stPacket.usSequence == usSequence;
}

/** Moves on by a number of packets, of which the last one came or, with a gap, none. */
void MoveOn(RTP_WINDOW_S *pstWindow, ULONG_32 ulCount, bool bCame) {
    pstWindow->dulSeen = ulCount < SEEN_BITS ? pstWindow->dulSeen << ulCount : 0;
    pstWindow->dulSeen |= bCame ? 1 : 0;
    pstWindow->usNext = static_cast<USHORT>(pstWindow->usNext + ulCount);
}

/** A sender that is not the one before: nothing of that one counts any more. */
void Restart(RTP_WINDOW_S *pstWindow, const RTP_PACKET_VIEW_S &stPacket) {
    const BOOL_T bGap = pstWindow->bStarted | pstWindow->bGap;
    RtpWindow_Reset(pstWindow);
    pstWindow->bStarted = 1;
    pstWindow->bGap = bGap;
    pstWindow->ulSsrc = stPacket.ulSsrc;
    pstWindow->usNext = stPacket.usSequence;
    pstWindow->usHighest = stPacket.usSequence;
}

/** Drops a packet from before the one that is due; true if it tells of a restart instead. */
bool DropOld(RTP_WINDOW_S *pstWindow, USHORT usSequence, ULONG_32 ulBehind, RTP_FIGURES_S *pstFigures) {
    if (ulBehind <= SEEN_BITS && (pstWindow->dulSeen >> (ulBehind - 1) & 1) != 0) {
        Figure_Add(&pstFigures->ulDuplicate, 1);
        return false;
    }
    pstWindow->ulLateRun = usSequence == pstWindow->usLateNext ? pstWindow->ulLateRun + 1 : 1;
    pstWindow->usLateNext = static_cast<USHORT>(usSequence + 1);
    if (pstWindow->ulLateRun >= RESTART_RUN && ulBehind > SEEN_BITS) {
        return true;
    }
    if (ulBehind <= SEEN_BITS) {  // marked, so that it counts as doubled when it comes again
        pstWindow->dulSeen |= DULONG{1} << (ulBehind - 1);
    }
    Figure_Add(&pstFigures->ulLate, 1);
    return false;
}

void Accept(RTP_WINDOW_S *pstWindow, const RTP_PACKET_VIEW_S &stPacket, RTP_FIGURES_S *pstFigures) {
    if (Distance(pstWindow->usHighest, stPacket.usSequence) < 0) {
        Figure_Add(&pstFigures->ulReordered, 1);
    } else {
        pstWindow->usHighest = stPacket.usSequence;
    }
    pstWindow->bIncoming = 1;
    pstWindow->stIncoming = stPacket;
}

/** Copies the packet in hand into its slot. */
void Hold(RTP_WINDOW_S *pstWindow) {
    const USHORT usSequence = pstWindow->stIncoming.usSequence;
    RTP_WINDOW_SLOT_S *pstSlot = SlotOf(pstWindow, usSequence);
    UCHAR *pucCopy = pstWindow->pucMemory + size_t{RTP_MAX_PACKET} * (usSequence % RTP_WINDOW_SLOTS);
    pstSlot->stPacket = pstWindow->stIncoming;
    memcpy(pucCopy, pstWindow->stIncoming.pucPacket, pstWindow->stIncoming.ulPacketLen);
    pstSlot->stPacket.pucPacket = pucCopy;
    pstSlot->stPacket.pucPayload = pucCopy + (pstWindow->stIncoming.pucPayload - pstWindow->stIncoming.pucPacket);
    pstSlot->dulArrived = pstWindow->dulNow;
    pstSlot->bUsed = 1;
    pstWindow->ulHeld++;
    pstWindow->bIncoming = 0;
}

/** Gives up what is missing in front of the next packet that there is. */
void GiveUp(RTP_WINDOW_S *pstWindow, RTP_FIGURES_S *pstFigures) {
    ULONG_32 ulCount = 1;
    while (ulCount < RTP_WINDOW_SLOTS && !IsHeld(pstWindow, static_cast<USHORT>(pstWindow->usNext + ulCount))) {
        ulCount++;
    }
    if (pstWindow->ulHeld == 0) {
        ulCount = static_cast<ULONG_32>(Distance(pstWindow->usNext, pstWindow->stIncoming.usSequence));
    }
    MoveOn(pstWindow, ulCount, false);
    pstWindow->bGap = 1;
    Figure_Add(&pstFigures->ulLost, ulCount);
}

/** Bytes of padding at the end of a packet (RFC 3550, 5.1); false if the packet hasn't as many. */
bool ReadPadding(const UCHAR *pucPacket, ULONG_32 ulPacketLen, ULONG_32 ulPayload, ULONG_32 *pulPadding) {
    *pulPadding = (pucPacket[0] & 0x20) != 0 && ulPayload < ulPacketLen ? pucPacket[ulPacketLen - 1] : 0;
    return *pulPadding <= ulPacketLen - ulPayload;
}

/** Offset of the payload behind contributing sources and header extension; beyond the packet if they are cut. */
ULONG_32 PayloadOffset(const UCHAR *pucPacket, ULONG_32 ulPacketLen) {
    ULONG_32 ulAt = RTP_HEAD_SIZE + 4 * (pucPacket[0] & 0x0FU);
    if ((pucPacket[0] & 0x10) != 0) {
        ulAt += rtp::Inside(ulAt, 4, ulPacketLen) ? 4 + 4U * rtp::Be16(pucPacket + ulAt + 2) : RTP_MAX_PACKET;
    }
    return ulAt;
}

ULONG_32 RateOf(const RTP_PAYLOAD_TYPE_S *pstTable, UCHAR ucPayloadType) {
    for (ULONG_32 i = 0; pstTable != nullptr && i < 2; i++) {
        if (word::Load(pstTable[i].ucPayloadType) == ucPayloadType && word::Load(pstTable[i].ulSampleRate) != 0) {
            return word::Load(pstTable[i].ulSampleRate);
        }
    }
    return 0;
}

}  // namespace

bool RtpWindow_ReadHead(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PAYLOAD_TYPE_S *pstTable,
                        RTP_PACKET_VIEW_S *pstView) {
    if (ulPacketLen < RTP_HEAD_SIZE || ulPacketLen > RTP_MAX_PACKET || pucPacket[0] >> 6 != 2 ||
        (pucPacket[1] >= RTCP_FIRST && pucPacket[1] <= RTCP_LAST)) {
        return false;
    }
    const ULONG_32 ulPayload = PayloadOffset(pucPacket, ulPacketLen);
    ULONG_32 ulPadding = 0;
    const UCHAR ucPayloadType = pucPacket[1] & 127;
    if (ulPayload > ulPacketLen || !ReadPadding(pucPacket, ulPacketLen, ulPayload, &ulPadding) ||
        !rtp::MediaType(pstTable, ucPayloadType, &pstView->enMedia)) {
        return false;
    }
    pstView->pucPacket = pucPacket;
    pstView->ulPacketLen = ulPacketLen;
    pstView->pucPayload = pucPacket + ulPayload;
    pstView->ulLen = ulPacketLen - ulPayload - ulPadding;
    pstView->ucMarker = pucPacket[1] >> 7;
    pstView->usSequence = rtp::Be16(pucPacket + 2);
    pstView->ulTimestamp = rtp::Be32(pucPacket + 4);
    pstView->ulSsrc = rtp::Be32(pucPacket + 8);
    pstView->ulRate = RateOf(pstTable, ucPayloadType);
    return true;
}

void RtpWindow_Reset(RTP_WINDOW_S *pstWindow) {
    UCHAR *pucMemory = pstWindow->pucMemory;
    memset(pstWindow, 0, sizeof(*pstWindow));
    pstWindow->pucMemory = pucMemory;
}

void RtpWindow_Push(RTP_WINDOW_S *pstWindow, const RTP_PACKET_VIEW_S &stPacket, DULONG dulNow,
                    RTP_FIGURES_S *pstFigures) {
    Figure_Add(&pstFigures->ulReceived, 1);
    if (pstWindow->bIncoming != 0) {  // the caller didn't ask on: what it left is treated as missing
        pstWindow->bIncoming = 0;
    }
    pstWindow->dulNow = dulNow;
    if (pstWindow->bStarted == 0 || pstWindow->ulSsrc != stPacket.ulSsrc) {
        Restart(pstWindow, stPacket);
    }
    const LONG_32 lAhead = Distance(pstWindow->usNext, stPacket.usSequence);
    if (lAhead > LARGEST_JUMP || lAhead < -LARGEST_JUMP) {
        Restart(pstWindow, stPacket);
    } else if (lAhead < 0) {
        if (!DropOld(pstWindow, stPacket.usSequence, static_cast<ULONG_32>(-lAhead), pstFigures)) {
            return;
        }
        Restart(pstWindow, stPacket);
    } else if (IsHeld(pstWindow, stPacket.usSequence)) {
        Figure_Add(&pstFigures->ulDuplicate, 1);
        return;
    }
    Accept(pstWindow, stPacket, pstFigures);
}

const RTP_PACKET_VIEW_S *RtpWindow_Peek(RTP_WINDOW_S *pstWindow, const RTP_READ_S &stRead, RTP_FIGURES_S *pstFigures) {
    for (;;) {
        if (IsHeld(pstWindow, pstWindow->usNext)) {
            return &SlotOf(pstWindow, pstWindow->usNext)->stPacket;
        }
        if (pstWindow->bIncoming != 0) {
            const USHORT usSequence = pstWindow->stIncoming.usSequence;
            if (usSequence == pstWindow->usNext) {
                return &pstWindow->stIncoming;
            }
            if (Distance(pstWindow->usNext, usSequence) < static_cast<LONG_32>(RTP_WINDOW_SLOTS)) {
                Hold(pstWindow);
                continue;
            }
        } else if (pstWindow->ulHeld == 0 || !stRead.bQuiet || stRead.dulNow < RtpWindow_Deadline(pstWindow)) {
            return nullptr;
        }
        GiveUp(pstWindow, pstFigures);
    }
}

void RtpWindow_Pop(RTP_WINDOW_S *pstWindow) {
    if (IsHeld(pstWindow, pstWindow->usNext)) {
        SlotOf(pstWindow, pstWindow->usNext)->bUsed = 0;
        pstWindow->ulHeld--;
    } else {
        pstWindow->bIncoming = 0;
    }
    MoveOn(pstWindow, 1, true);
    pstWindow->bGap = 0;
}

DULONG RtpWindow_Deadline(const RTP_WINDOW_S *pstWindow) {
    DULONG dulFirst = 0;
    for (ULONG_32 i = 0; pstWindow->ulHeld != 0 && i < RTP_WINDOW_SLOTS; i++) {
        const RTP_WINDOW_SLOT_S &stSlot = pstWindow->astSlot[i];
        if (stSlot.bUsed != 0 && (dulFirst == 0 || stSlot.dulArrived + RTP_WINDOW_MS < dulFirst)) {
            dulFirst = stSlot.dulArrived + RTP_WINDOW_MS;
        }
    }
    return dulFirst;
}
