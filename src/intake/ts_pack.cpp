/**
 * @file ts_pack.cpp
 * @brief The mux: turns one frame at a time into packets, with PAT and PMT ahead of key frames.
 */
#include <algorithm>
#include <array>
#include <cstring>

#include "foundations/com_log.h"
#include "intake/module_ts.h"

namespace {

// Streams of the dialect by payload; 0 is no such stream.
constexpr USHORT gusVideoPid[PLAYER_PAYLOAD_NULL] = {0, 0, 0, 101, 133, 0, 165, 0, 104};
constexpr USHORT gusVideoPmtPid[PLAYER_PAYLOAD_NULL] = {0, 0, 0, 98, 130, 0, 163, 0, 102};
constexpr UCHAR gucVideoStreamType[PLAYER_PAYLOAD_NULL] = {0, 0, 0, 27, 144, 0, 164, 0, 36};
constexpr USHORT gusAudioPid[PLAYER_PAYLOAD_NULL] = {257, 132, 148, 0, 0, 68, 0, 149, 0};
constexpr USHORT gusAudioPmtPid[PLAYER_PAYLOAD_NULL] = {255, 130, 146, 0, 0, 66, 0, 258, 0};
constexpr UCHAR gucAudioStreamType[PLAYER_PAYLOAD_NULL] = {128, 3, 15, 0, 0, 129, 0, 134, 0};

constexpr ULONG_32 PSI_INTERVAL = 25;     // frames between two PATs where there are no key frames to put them at
constexpr ULONG_32 FIRST_HEAD_LEN = 12;   // packet head, adaptation field with a PCR
constexpr ULONG_32 OTHER_HEAD_LEN = 6;    // packet head, adaptation field with flags alone
constexpr ULONG_32 PES_HEAD_LEN = 19;     // with PTS and DTS
constexpr ULONG_32 PES_COUNTED_LEN = 13;  // of these, the bytes that the PES packet length counts
constexpr UCHAR STUFFING = 0xFF;
constexpr UCHAR FRAME_TAIL = 0x20;  // transport priority bit in byte 1
constexpr UCHAR aucAccessUnitDelimiter[] = {0, 0, 0, 1, 9, 0xE0};

constexpr std::array<ULONG_32, 256> MakeCrcTable() {
    std::array<ULONG_32, 256> aulTable{};
    for (ULONG_32 i = 0; i < aulTable.size(); ++i) {
        ULONG_32 ulCrc = i << 24;
        for (int lBit = 0; lBit < 8; ++lBit) {
            ulCrc = ulCrc << 1 ^ ((ulCrc & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
        aulTable[i] = ulCrc;
    }
    return aulTable;
}

constexpr std::array<ULONG_32, 256> gulCrc_Table = MakeCrcTable();

/** Row of a payload in one of the tables above; 0 beyond them. */
template <class T>
T Lookup(const T (&aTable)[PLAYER_PAYLOAD_NULL], LONG_32 lPayload) {
    return lPayload >= 0 && lPayload < PLAYER_PAYLOAD_NULL ? aTable[lPayload] : T{0};
}

USHORT FirstOf(USHORT usFirst, USHORT usSecond, USHORT usThird) {
    return usFirst != 0 ? usFirst : usSecond != 0 ? usSecond : usThird;
}

USHORT PmtPid(const TS_PACKET_DEC_S &stDec) {
    return FirstOf(Lookup(gusVideoPmtPid, stDec.lVideoType), Lookup(gusAudioPmtPid, stDec.lAudioTyp),
                   Lookup(gusVideoPmtPid, stDec.lElemType));
}

USHORT PcrPid(const TS_PACKET_DEC_S &stDec) {
    return FirstOf(Lookup(gusVideoPid, stDec.lVideoType), Lookup(gusAudioPid, stDec.lAudioTyp),
                   Lookup(gusVideoPid, stDec.lElemType));
}

/** Appends bytes at a place that its user has made sure of. */
class Appender {
 public:
    explicit Appender(UCHAR *pucAt) : m_pucAt(pucAt) {}
    UCHAR *At() const { return m_pucAt; }
    void U8(ULONG_32 ulValue) { *m_pucAt++ = static_cast<UCHAR>(ulValue); }
    void U16(ULONG_32 ulValue) {
        U8(ulValue >> 8);
        U8(ulValue);
    }
    void U32(ULONG_32 ulValue) {
        U16(ulValue >> 16);
        U16(ulValue);
    }
    void Fill(UCHAR ucValue, size_t ulCount) {
        memset(m_pucAt, ucValue, ulCount);
        m_pucAt += ulCount;
    }
    void Bytes(const UCHAR *pucData, size_t ulCount) {
        if (ulCount != 0) {
            memcpy(m_pucAt, pucData, ulCount);
        }
        m_pucAt += ulCount;
    }

 private:
    UCHAR *m_pucAt;
};

/** Head of a PAT or PMT packet, up to the section's length. */
void AppendSectionHead(Appender &stAt, USHORT usPid, UCHAR ucCC, UCHAR ucTableId, ULONG_32 ulSectionLen) {
    stAt.U8(0x47);
    stAt.U16(0x4000U | usPid);
    stAt.U8(0x10U | (ucCC & 0x0FU));
    stAt.U8(0);  // pointer field
    stAt.U8(ucTableId);
    stAt.U16(0xB000U | ulSectionLen);
    stAt.U16(1);       // transport stream id, program number
    stAt.U8(0xC1);     // version 0, current
    stAt.U16(0x0000);  // section 0 of 0
}

/** Adds the CRC over the section, which starts at byte 5, and fills the packet. */
ULONG_32 AppendSectionEnd(Appender &stAt, UCHAR *pucPacket) {
    ULONG_32 ulCrc = TS_Crc32(pucPacket + 5, static_cast<ULONG_32>(stAt.At() - pucPacket - 5));
    stAt.U32(ulCrc);
    stAt.Fill(STUFFING, static_cast<size_t>(pucPacket + TS_PACKET_SIZE - stAt.At()));
    return ulCrc;
}

/** Writes a counter into a PAT or PMT packet and raises it. */
void UpdateCounter(CHAR *pcPacket, UCHAR &ucCC) {
    pcPacket[3] = static_cast<CHAR>(0x10 | (ucCC & 0x0F));
    ucCC = (ucCC + 1) & 0x0F;
}

bool IsKeyFrame(const TS_FRAMEDATA_S &stFrame) {
    return Payload_IsInterVideo(stFrame.lPayload) && stFrame.lFormatType == PLAYER_VIDEO_FRAME_I;
}

bool IsPsiDue(const TS_FRAMEDATA_S &stFrame, TS_PACKET_DEC_S &stDec) {
    if (stDec.lVideoType == PLAYER_PAYLOAD_JPEG) {
        return stDec.ulJpegPSIcount++ % PSI_INTERVAL == 0;
    }
    if (stDec.lVideoType == PLAYER_PAYLOAD_NULL) {
        return Payload_IsAudio(stFrame.lPayload) && stDec.ulAudioPSIcount++ % PSI_INTERVAL == 0;
    }
    return IsKeyFrame(stFrame);
}

UCHAR &CounterOf(LONG_32 lPayload, TS_PACKET_DEC_S &stDec) {
    if (Payload_IsVideo(lPayload)) {
        return stDec.ucVideocc;
    }
    return lPayload == PLAYER_PAYLOAD_DATA ? stDec.ucElemcc : stDec.ucAudiocc;
}

UCHAR *PacketPlace(TS_PACKET_DEC_S &stDec) {
    return reinterpret_cast<UCHAR *>(stDec.szPacketBuff) + stDec.ulPacketDataLen;
}

bool HasRoom(const TS_PACKET_DEC_S &stDec, ULONG_32 ulPackets) {
    return stDec.ulPacketDataLen <= TS_PACKET_BUFFER_SIZE &&
           ulPackets * TS_PACKET_SIZE <= TS_PACKET_BUFFER_SIZE - stDec.ulPacketDataLen;
}

ULONG_32 CheckParam(const TS_FRAMEDATA_S *pstFrame, const TS_PACKET_DEC_S *pstDec) {
    if (pstFrame == nullptr || pstDec == nullptr || (pstFrame->pucData == nullptr && pstFrame->lDataLen != 0)) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    const bool bKnown = pstFrame->lPayload >= 0 && pstFrame->lPayload < PLAYER_PAYLOAD_NULL;
    const bool bLen = pstFrame->lDataLen >= 0 && pstDec->ulEsPacketDataLen <= static_cast<ULONG_32>(pstFrame->lDataLen);
    if (!bKnown || !bLen) {
        LOG_ERROR("TS Pack Failed, Payload:[%d], Len:[%d], Packed:[%u].", pstFrame->lPayload, pstFrame->lDataLen,
                  pstDec->ulEsPacketDataLen);
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 PackPsi(TS_PACKET_DEC_S &stDec) {
    ULONG_32 ulResult = TS_UpdatePAT(&stDec);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("TS_PackFirstPacket Failed, TS_UpdatePAT Failed, Error:[0x%x].", ulResult);
        return ulResult;
    }
    ulResult = TS_UpdatePMT(&stDec);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("TS_PackFirstPacket Failed, TS_UpdatePMT Failed, Error:[0x%x].", ulResult);
        return ulResult;
    }
    UCHAR *pucAt = PacketPlace(stDec);
    memcpy(pucAt, stDec.szPatBuffer, TS_PACKET_SIZE);
    memcpy(pucAt + TS_PACKET_SIZE, stDec.szPmtBuffer, TS_PACKET_SIZE);
    stDec.ulPacketDataLen += 2 * TS_PACKET_SIZE;
    return PLAYER_ERR_OK;
}

/** Packet head, with the adaptation field's presence and the stream's counter, which is raised. */
void AppendPacketHead(Appender &stAt, UCHAR ucStartBit, TS_FRAMEDATA_S &stFrame, TS_PACKET_DEC_S &stDec) {
    UCHAR &ucCC = CounterOf(stFrame.lPayload, stDec);
    stAt.U8(0x47);
    UCHAR *pucPid = stAt.At();
    stAt.U8(ucStartBit);
    stAt.U8(0);
    TS_InsertPID(&stFrame, pucPid);
    stAt.U8(0x30U | (ucCC & 0x0FU));
    ucCC = (ucCC + 1) & 0x0F;
}

/** The clock that a frame's packet carries: video leads it, the other streams follow the newest video. */
ULONG_32 ClockOf(const TS_FRAMEDATA_S &stFrame, TS_PACKET_DEC_S &stDec) {
    ULONG_32 ulPcr = stDec.ulVideoPCR;
    if (Payload_IsVideo(stFrame.lPayload) || ulPcr == 0) {
        TS_CreatePCR(stFrame.dulTimestamp, &ulPcr);
    }
    if (Payload_IsVideo(stFrame.lPayload)) {
        stDec.ulVideoPCR = ulPcr;
    }
    return ulPcr;
}

UCHAR FirstFlags(const TS_FRAMEDATA_S &stFrame) {
    switch (stFrame.lPayload) {
        case PLAYER_PAYLOAD_H264:
        case PLAYER_PAYLOAD_H265:
            return IsKeyFrame(stFrame) ? 0x70 : 0x10;
        case PLAYER_PAYLOAD_DATA:
            return 0x10;
        default:
            return 0x30;
    }
}

/** 0 is an unbounded PES packet: the rule for H.264, H.265 and data, and for a picture that 16 bits can't count. */
ULONG_32 PesLength(const TS_FRAMEDATA_S &stFrame) {
    ULONG_32 ulLen = static_cast<ULONG_32>(stFrame.lDataLen) + PES_COUNTED_LEN;
    const bool bUnbounded =
        Payload_IsInterVideo(stFrame.lPayload) || stFrame.lPayload == PLAYER_PAYLOAD_DATA || ulLen > 0xFFFF;
    return bUnbounded ? 0 : ulLen;
}

/** A PTS or DTS of twice the clock: 33 bits in five bytes with marker bits (2.4.3.7). */
void AppendTime(Appender &stAt, ULONG_32 ulMarker, ULONG_32 ulPcr) {
    DULONG dulTime = DULONG{ulPcr} << 1;
    stAt.U8(ulMarker | static_cast<ULONG_32>(dulTime >> 29 & 0x0E) | 1);
    stAt.U16(static_cast<ULONG_32>(dulTime >> 14 & 0xFFFE) | 1);
    stAt.U16(static_cast<ULONG_32>(dulTime << 1 & 0xFFFE) | 1);
}

void AppendPesHead(Appender &stAt, const TS_FRAMEDATA_S &stFrame, ULONG_32 ulPcr) {
    const bool bData = stFrame.lPayload == PLAYER_PAYLOAD_DATA;
    stAt.U16(0);
    stAt.U8(1);
    stAt.U8(Payload_IsVideo(stFrame.lPayload) ? 0xE0 : bData ? 0xFC : 0xC0);
    stAt.U16(PesLength(stFrame));
    stAt.U8(0x80);
    stAt.U8(0xC0);  // PTS and DTS follow
    stAt.U8(0x0A);
    AppendTime(stAt, 0x30, ulPcr);
    AppendTime(stAt, 0x10, ulPcr);
}

/** Adds what fits of the frame, which ends the packet. */
ULONG_32 AppendData(Appender &stAt, ULONG_32 ulLen, const TS_FRAMEDATA_S &stFrame, TS_PACKET_DEC_S &stDec) {
    stAt.Bytes(stFrame.pucData + stDec.ulEsPacketDataLen, ulLen);
    stDec.ulEsPacketDataLen += ulLen;
    stDec.ulPacketDataLen += TS_PACKET_SIZE;
    return stDec.ulEsPacketDataLen == static_cast<ULONG_32>(stFrame.lDataLen) ? PLAYER_ERR_OK : PLAYER_ERR_PACK_AGAIN;
}

/** Marks the packet as the frame's tail and fills the room that the frame leaves, as part of the adaptation field. */
void AppendTailStuffing(Appender &stAt, UCHAR *pucPacket, ULONG_32 ulStuffing) {
    pucPacket[1] |= FRAME_TAIL;
    pucPacket[4] = static_cast<UCHAR>(pucPacket[4] + ulStuffing);
    stAt.Fill(STUFFING, ulStuffing);
}

}  // namespace

ULONG_32 TS_Crc32(UCHAR *pucData, ULONG_32 ulLen) {
    ULONG_32 ulCrc = 0xFFFFFFFF;
    for (ULONG_32 i = 0; pucData != nullptr && i < ulLen; ++i) {
        ulCrc = ulCrc << 8 ^ gulCrc_Table[ulCrc >> 24 ^ pucData[i]];
    }
    return ulCrc;
}

ULONG_32 TS_CreatePAT(TS_PACKET_DEC_S *pstPacketDec) {
    if (pstPacketDec == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    UCHAR *pucPacket = reinterpret_cast<UCHAR *>(pstPacketDec->szPatBuffer);
    Appender stAt(pucPacket);
    AppendSectionHead(stAt, 0, pstPacketDec->ucPatCC, 0x00, 13);
    stAt.U16(1);  // program number
    stAt.U16(0xE000U | PmtPid(*pstPacketDec));
    pstPacketDec->ulPasCrc = AppendSectionEnd(stAt, pucPacket);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_UpdatePAT(TS_PACKET_DEC_S *pstPacketDec) {
    if (pstPacketDec == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    UpdateCounter(pstPacketDec->szPatBuffer, pstPacketDec->ucPatCC);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_CreatePMT(TS_PACKET_DEC_S *pstPacketDec) {
    if (pstPacketDec == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    const struct {
        UCHAR ucType;
        USHORT usPid;
    } astStream[] = {
        {Lookup(gucVideoStreamType, pstPacketDec->lVideoType), Lookup(gusVideoPid, pstPacketDec->lVideoType)},
        {Lookup(gucAudioStreamType, pstPacketDec->lAudioTyp), Lookup(gusAudioPid, pstPacketDec->lAudioTyp)},
        {Lookup(gucVideoStreamType, pstPacketDec->lElemType), Lookup(gusVideoPid, pstPacketDec->lElemType)},
    };
    ULONG_32 ulStreams = 0;
    for (const auto &stStream : astStream) {
        ulStreams += stStream.usPid != 0 ? 1 : 0;
    }
    UCHAR *pucPacket = reinterpret_cast<UCHAR *>(pstPacketDec->szPmtBuffer);
    Appender stAt(pucPacket);
    AppendSectionHead(stAt, PmtPid(*pstPacketDec), pstPacketDec->ucPmtCC, 0x02, 9 + 5 * ulStreams + 4);
    stAt.U16(0xE000U | PcrPid(*pstPacketDec));
    stAt.U16(0xF000);  // no program info
    for (const auto &stStream : astStream) {
        if (stStream.usPid != 0) {
            stAt.U8(stStream.ucType);
            stAt.U16(0xE000U | stStream.usPid);
            stAt.U16(0xF000);  // no ES info
        }
    }
    pstPacketDec->ulPmsCrc = AppendSectionEnd(stAt, pucPacket);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_UpdatePMT(TS_PACKET_DEC_S *pstPacketDec) {
    if (pstPacketDec == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    UpdateCounter(pstPacketDec->szPmtBuffer, pstPacketDec->ucPmtCC);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_InsertPID(TS_FRAMEDATA_S *pstFrame, UCHAR *pucBuf) {
    if (pstFrame == nullptr || pucBuf == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    USHORT usPid = FirstOf(Lookup(gusVideoPid, pstFrame->lPayload), Lookup(gusAudioPid, pstFrame->lPayload), 0);
    if (usPid == 0) {
        return PLAYER_ERR_PARAM;
    }
    pucBuf[0] = static_cast<UCHAR>((pucBuf[0] & 0xE0) | usPid >> 8);
    pucBuf[1] = static_cast<UCHAR>(usPid);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_CreatePCR(DULONG dulTimestamp, ULONG_32 *pulPcrBase) {
    if (pulPcrBase == nullptr) {
        LOG_ERROR("Param is Null");
        return PLAYER_ERR_PARAM;
    }
    *pulPcrBase = static_cast<ULONG_32>(dulTimestamp / 2);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_PackFirstPacket(TS_FRAMEDATA_S *pstFrame, TS_PACKET_DEC_S *pstPacketDec) {
    ULONG_32 ulResult = CheckParam(pstFrame, pstPacketDec);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const bool bPsi = IsPsiDue(*pstFrame, *pstPacketDec);
    if (!HasRoom(*pstPacketDec, bPsi ? 3 : 1)) {
        return PLAYER_ERR_PARAM;
    }
    if (bPsi && (ulResult = PackPsi(*pstPacketDec)) != PLAYER_ERR_OK) {
        return ulResult;
    }
    UCHAR *pucPacket = PacketPlace(*pstPacketDec);
    Appender stAt(pucPacket);
    AppendPacketHead(stAt, 0x40, *pstFrame, *pstPacketDec);
    stAt.U8(7);  // adaptation field: flags and PCR
    stAt.U8(FirstFlags(*pstFrame));
    const ULONG_32 ulPcr = ClockOf(*pstFrame, *pstPacketDec);
    stAt.U32(ulPcr);
    stAt.U16(0x7E00);  // last bit of the base and the extension are 0

    const bool bDelimiter = pstFrame->lPayload == PLAYER_PAYLOAD_H264;
    const ULONG_32 ulSpace =
        TS_PACKET_SIZE - FIRST_HEAD_LEN - PES_HEAD_LEN - (bDelimiter ? sizeof(aucAccessUnitDelimiter) : 0);
    const ULONG_32 ulRest = static_cast<ULONG_32>(pstFrame->lDataLen) - pstPacketDec->ulEsPacketDataLen;
    if (ulSpace >= ulRest) {
        AppendTailStuffing(stAt, pucPacket, ulSpace - ulRest);
    }
    AppendPesHead(stAt, *pstFrame, ulPcr);
    if (bDelimiter) {
        stAt.Bytes(aucAccessUnitDelimiter, sizeof(aucAccessUnitDelimiter));
    }
    return AppendData(stAt, std::min(ulSpace, ulRest), *pstFrame, *pstPacketDec);
}

ULONG_32 TS_PackOtherPacket(TS_FRAMEDATA_S *pstFrame, TS_PACKET_DEC_S *pstPacketDec) {
    ULONG_32 ulResult = CheckParam(pstFrame, pstPacketDec);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (!HasRoom(*pstPacketDec, 1)) {
        return PLAYER_ERR_PARAM;
    }
    UCHAR *pucPacket = PacketPlace(*pstPacketDec);
    Appender stAt(pucPacket);
    AppendPacketHead(stAt, 0, *pstFrame, *pstPacketDec);
    stAt.U8(1);  // adaptation field: flags
    stAt.U8(IsKeyFrame(*pstFrame) ? 0x20 : 0);
    const ULONG_32 ulSpace = TS_PACKET_SIZE - OTHER_HEAD_LEN;
    const ULONG_32 ulRest = static_cast<ULONG_32>(pstFrame->lDataLen) - pstPacketDec->ulEsPacketDataLen;
    if (ulSpace >= ulRest) {
        AppendTailStuffing(stAt, pucPacket, ulSpace - ulRest);
    }
    return AppendData(stAt, std::min(ulSpace, ulRest), *pstFrame, *pstPacketDec);
}
