/**
 * @file foreign_ts_packet.h
 * @brief The head of one packet (ISO/IEC 13818-1, 2.4.3.2 to 2.4.3.5), for the parsers of foreign streams.
 */
#ifndef ZELVANE_FILE_FOREIGN_TS_PACKET_H
#define ZELVANE_FILE_FOREIGN_TS_PACKET_H

#include "intake/module_ts.h"

struct FOREIGN_TS_PACKET_S {
    USHORT usPid;
    bool bStart;   /**< a unit or section starts in the payload */
    bool bDamaged; /**< the receiver could not repair it, or it is encrypted */
    bool bJump;    /**< the continuity counter is free to jump */
    UCHAR ucCounter;
    const UCHAR *pucPayload; /**< inside the packet */
    ULONG_32 ulLen;          /**< its bytes, at least 1 */
};

/** Reads TS_PACKET_SIZE bytes; false for what is no packet, or has no payload. */
inline bool ForeignTs_ReadPacket(const UCHAR *pucData, FOREIGN_TS_PACKET_S *pstPacket) {
    if (pucData[0] != 'G' || (pucData[3] & 0x10) == 0) {
        return false;
    }
    const bool bField = (pucData[3] & 0x20) != 0;
    const ULONG_32 ulAt = bField ? 5U + pucData[4] : 4U;
    if (ulAt >= TS_PACKET_SIZE) {
        return false;
    }
    pstPacket->usPid = static_cast<USHORT>((pucData[1] << 8 | pucData[2]) & 0x1FFF);
    pstPacket->bStart = (pucData[1] & 0x40) != 0;
    pstPacket->bDamaged = (pucData[1] & 0x80) != 0 || (pucData[3] & 0xC0) != 0;
    pstPacket->bJump = bField && pucData[4] != 0 && (pucData[5] & 0x80) != 0;
    pstPacket->ucCounter = pucData[3] & 0x0F;
    pstPacket->pucPayload = pucData + ulAt;
    pstPacket->ulLen = TS_PACKET_SIZE - ulAt;
    return true;
}

#endif
