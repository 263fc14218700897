// Whose transport stream a file is, how its packets lie, and which programmes it has.
#include <cstring>

#include "file/foreign_ts.h"
#include "file/foreign_ts_packet.h"
#include "foundations/bytes.h"

namespace {

const ULONG_32 MIN_PACKETS = 3; /**< that settle how packets lie; of a longer file more are looked at */
const ULONG_32 MAX_PACKETS = 8;
const UCHAR TAIL_BIT = 0x20;
const ULONG_32 SECTION_HEAD_LEN = 3;
const ULONG_32 CHECK_SUM_LEN = 4;
const UCHAR TABLE_PAT = 0;
const UCHAR TABLE_PMT = 2;
const UCHAR TYPE_PRIVATE = 6;

/** Whether packets lie at this place and from there on, as far as the bytes go. */
bool IsLayout(const UCHAR *pucHead, size_t ulLen, ULONG_32 ulFirst, ULONG_32 ulStride) {
    ULONG_32 ulPackets = 0;
    for (size_t i = ulFirst; ulPackets < MAX_PACKETS && i + TS_PACKET_SIZE <= ulLen; i += ulStride, ulPackets++) {
        if (pucHead[i] != 'G') {
            return false;
        }
    }
    return ulPackets >= MIN_PACKETS;
}

/* ---- sections ---- */

ULONG_32 SectionLen(const FOREIGN_TS_SECTION_S &stSection) {
    return SECTION_HEAD_LEN + (bytes::Be16(stSection.aucData + 1) & 0x0FFFU);
}

/** Adds payload to a section; true once it is whole and its check sum holds. */
bool AppendSection(const UCHAR *pucData, ULONG_32 ulLen, FOREIGN_TS_SECTION_S *pstSection) {
    const ULONG_32 ulRoom = FOREIGN_TS_SECTION_SIZE - pstSection->ulLen;
    const ULONG_32 ulTaken = ulLen < ulRoom ? ulLen : ulRoom;
    memcpy(pstSection->aucData + pstSection->ulLen, pucData, ulTaken);
    pstSection->ulLen += ulTaken;
    if (pstSection->ulLen < SECTION_HEAD_LEN) {
        return false;
    }
    const ULONG_32 ulWhole = SectionLen(*pstSection);
    if (ulWhole > FOREIGN_TS_SECTION_SIZE) {
        pstSection->bOpen = false;
        return false;
    }
    if (pstSection->ulLen < ulWhole) {
        return false;
    }
    pstSection->bOpen = false;
    return ulWhole > CHECK_SUM_LEN && TS_Crc32(pstSection->aucData, ulWhole) == 0;
}

bool AddSection(const FOREIGN_TS_PACKET_S &stPacket, FOREIGN_TS_SECTION_S *pstSection) {
    if (stPacket.bDamaged) {
        pstSection->bOpen = false;
        return false;
    }
    if (!stPacket.bStart) {
        return pstSection->bOpen && AppendSection(stPacket.pucPayload, stPacket.ulLen, pstSection);
    }
    const ULONG_32 ulSkip = 1U + stPacket.pucPayload[0];  // the rest of a section before
    if (ulSkip >= stPacket.ulLen) {
        return false;
    }
    pstSection->bOpen = true;
    pstSection->ulLen = 0;
    return AppendSection(stPacket.pucPayload + ulSkip, stPacket.ulLen - ulSkip, pstSection);
}

/** The body of a whole section of this table, between its head of eight bytes and the check sum. */
bytes::Reader BodyOf(const FOREIGN_TS_SECTION_S &stSection, UCHAR ucTable) {
    bytes::Reader stBody(stSection.aucData, SectionLen(stSection) - CHECK_SUM_LEN);
    if (stBody.U8() != ucTable) {
        stBody.Fail();
    }
    stBody.Skip(7);
    return stBody;
}

/** Reads which programmes there are (2.4.4.3). */
void ReadPat(FOREIGN_TS_TABLES_S *pstTables) {
    bytes::Reader stBody = BodyOf(pstTables->stPat, TABLE_PAT);
    while (stBody.Left() >= 4 && pstTables->ulProgrammes < FOREIGN_TS_PROGRAMMES) {
        const USHORT usNumber = stBody.U16Be();
        const USHORT usPid = stBody.U16Be() & 0x1FFF;
        if (usNumber != 0) {  // 0 is the network, no programme
            pstTables->astProgramme[pstTables->ulProgrammes].usNumber = usNumber;
            pstTables->astPmt[pstTables->ulProgrammes++].usPid = usPid;
        }
    }
}

/** What this player can play, by stream type. */
struct STREAM_TYPE_ROW_S {
    UCHAR ucType;
    bool bVideo;
    PLAYER_PAYLOAD_E enPayload;
};

const STREAM_TYPE_ROW_S gastStreamType[] = {{0x1B, true, PLAYER_PAYLOAD_H264},
                                            {0x24, true, PLAYER_PAYLOAD_H265},
                                            {0x0F, false, PLAYER_PAYLOAD_AAC},
                                            {0x03, false, PLAYER_PAYLOAD_MP1L2},
                                            {0x04, false, PLAYER_PAYLOAD_MP1L2}};

/** The first stream of each kind is played. */
void AdoptStream(UCHAR ucType, USHORT usPid, FOREIGN_TS_PROGRAMME_S *pstProgramme) {
    for (const STREAM_TYPE_ROW_S &stRow : gastStreamType) {
        USHORT &usSlot = stRow.bVideo ? pstProgramme->usVideoPid : pstProgramme->usAudioPid;
        if (stRow.ucType == ucType && usSlot == 0) {
            usSlot = usPid;
            (stRow.bVideo ? pstProgramme->lVideo : pstProgramme->lAudio) = stRow.enPayload;
        }
    }
}

/** Whether a stream of private data may be sound that its muxer had no type for: nothing but a language is told. */
bool IsUntold(UCHAR ucType, bytes::Reader stInfo) {
    const UCHAR LANGUAGE = 0x0A;
    while (stInfo.Left() >= 2) {
        if (stInfo.U8() != LANGUAGE) {
            return false;
        }
        stInfo.Skip(stInfo.U8());
    }
    return ucType == TYPE_PRIVATE;
}

/** Reads the streams of a programme (2.4.4.8). */
void ReadPmt(const FOREIGN_TS_SECTION_S &stSection, FOREIGN_TS_PROGRAMME_S *pstProgramme) {
    bytes::Reader stBody = BodyOf(stSection, TABLE_PMT);
    const USHORT usNumber = pstProgramme->usNumber;
    if (!stBody.Ok() || bytes::Be16(stSection.aucData + 3) != usNumber) {
        return;  // programmes may share a PID
    }
    stBody.Skip(2);  // clock PID
    stBody.Skip(stBody.U16Be() & 0x0FFFU);
    if (!stBody.Ok()) {
        return;
    }
    *pstProgramme = {};
    pstProgramme->usNumber = usNumber;
    pstProgramme->bSeen = true;
    USHORT usUntold = 0;
    while (stBody.Left() >= 5) {
        const UCHAR ucType = stBody.U8();
        const USHORT usPid = stBody.U16Be() & 0x1FFF;
        const bytes::Reader stInfo = stBody.Sub(stBody.U16Be() & 0x0FFFU);
        AdoptStream(ucType, usPid, pstProgramme);
        usUntold = usUntold == 0 && IsUntold(ucType, stInfo) ? usPid : usUntold;
    }
    if (pstProgramme->usAudioPid == 0 && usUntold != 0) {
        pstProgramme->usAudioPid = usUntold;
        pstProgramme->lAudio = PLAYER_PAYLOAD_NULL;
    }
}

bool IsVideoSeen(const FOREIGN_TS_TABLES_S &stTables, const FOREIGN_TS_PROGRAMME_S &stProgramme) {
    return stProgramme.usVideoPid != 0 && stTables.aucPidSeen[stProgramme.usVideoPid] != 0;
}

bool IsComplete(const FOREIGN_TS_TABLES_S &stTables) {
    bool bPictures = false;
    for (ULONG_32 i = 0; i < stTables.ulProgrammes; i++) {
        if (!stTables.astProgramme[i].bSeen) {
            return false;
        }
        bPictures = bPictures || IsVideoSeen(stTables, stTables.astProgramme[i]);
    }
    return bPictures;
}

/** How well a programme suits: pictures that came, pictures, sound, nothing. */
ULONG_32 Rate(const FOREIGN_TS_TABLES_S &stTables, const FOREIGN_TS_PROGRAMME_S &stProgramme) {
    if (stProgramme.usVideoPid != 0) {
        return IsVideoSeen(stTables, stProgramme) ? 3 : 2;
    }
    return stProgramme.usAudioPid != 0 ? 1 : 0;
}

}  // namespace

bool ForeignTs_FindLayout(const UCHAR *pucHead, size_t ulLen, FOREIGN_TS_LAYOUT_S *pstLayout) {
    static const ULONG_32 aulStride[] = {188, 192, 204};  // plain, with time stamps ahead, with check bytes behind
    for (ULONG_32 ulStride : aulStride) {
        for (ULONG_32 i = 0; i < ulStride; i++) {
            if (IsLayout(pucHead, ulLen, i, ulStride)) {
                *pstLayout = {i, ulStride};
                return true;
            }
        }
    }
    return false;
}

bool ForeignTs_Mark(const UCHAR *pucPacket, FOREIGN_TS_MARKS_S *pstMarks) {
    FOREIGN_TS_PACKET_S stPacket = {};
    pstMarks->ulPackets++;
    if (pucPacket[0] == 'G') {
        pstMarks->bTail = pstMarks->bTail || (pucPacket[1] & TAIL_BIT) != 0;
        if (ForeignTs_ReadPacket(pucPacket, &stPacket) && stPacket.bStart && (pucPacket[3] & 0x20) == 0) {
            const UCHAR *pucAt = stPacket.pucPayload;
            pstMarks->bForeign = pstMarks->bForeign || (pucAt[0] == 0 && pucAt[1] == 0 && pucAt[2] == 1);
        }
    }
    return !pstMarks->bForeign && (!pstMarks->bTail || pstMarks->ulPackets < FOREIGN_TS_OWN_PACKETS);
}

bool ForeignTs_AddTable(const UCHAR *pucPacket, FOREIGN_TS_TABLES_S *pstTables) {
    FOREIGN_TS_PACKET_S stPacket = {};
    if (!ForeignTs_ReadPacket(pucPacket, &stPacket)) {
        return false;
    }
    pstTables->aucPidSeen[stPacket.usPid] = 1;
    if (stPacket.usPid == 0 && pstTables->ulProgrammes == 0 && AddSection(stPacket, &pstTables->stPat)) {
        ReadPat(pstTables);
    }
    for (ULONG_32 i = 0; i < pstTables->ulProgrammes; i++) {
        FOREIGN_TS_SECTION_S &stPmt = pstTables->astPmt[i];
        if (stPmt.usPid == stPacket.usPid && stPacket.usPid != 0 && AddSection(stPacket, &stPmt)) {
            ReadPmt(stPmt, &pstTables->astProgramme[i]);
        }
    }
    return IsComplete(*pstTables);
}

bool ForeignTs_ChooseProgramme(const FOREIGN_TS_TABLES_S *pstTables, FOREIGN_TS_PROGRAMME_S *pstProgramme) {
    ULONG_32 ulBest = 0;
    for (ULONG_32 i = 0; i < pstTables->ulProgrammes; i++) {
        const ULONG_32 ulRate = Rate(*pstTables, pstTables->astProgramme[i]);
        if (ulRate > ulBest) {
            ulBest = ulRate;
            *pstProgramme = pstTables->astProgramme[i];
        }
    }
    return ulBest != 0;
}
