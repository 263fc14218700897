// Packets of foreign transport streams (ISO/IEC 13818-1): frames and sound of one programme.
#include "file/foreign_ts.h"

#include <cstring>

#include "bits/start_code.h"
#include "file/foreign_ts_packet.h"
#include "foundations/bytes.h"

namespace {

const ULONG_32 UNIT_HEAD_LEN = 9; /**< up to and with the length of the rest */
const DULONG WRAP = 1ULL << 33;
const DULONG SOUND_CLOCK = 90000;

/* ---- units ---- */

/** What the head of a unit says (2.4.3.6). */
struct UNIT_HEAD_S {
    ULONG_32 ulLen; /**< of the head; may go on in the next packet */
    bool bTime;
    DULONG dulTime; /**< of decoding, if it has one of its own */
};

DULONG ReadTime(bytes::Reader *pstReader) {
    const DULONG dulHigh = pstReader->U8() >> 1 & 7U;
    const DULONG dulMiddle = pstReader->U16Be() >> 1;
    return dulHigh << 30 | dulMiddle << 15 | static_cast<DULONG>(pstReader->U16Be() >> 1);
}

bool ReadUnitHead(const UCHAR *pucData, size_t ulLen, UNIT_HEAD_S *pstHead) {
    bytes::Reader stReader(pucData, ulLen);
    const bool bPrefix = stReader.U24Be() == 1;
    stReader.Skip(4);  // stream id and length
    const UCHAR ucFlags = stReader.U8();
    *pstHead = {UNIT_HEAD_LEN + stReader.U8(), false, 0};
    if (!stReader.Ok() || !bPrefix) {
        return false;
    }
    const bool bBoth = (ucFlags & 0xC0) == 0xC0;
    if ((ucFlags & 0x80) != 0) {
        pstHead->dulTime = ReadTime(&stReader);
        pstHead->dulTime = bBoth ? ReadTime(&stReader) : pstHead->dulTime;
        pstHead->bTime = stReader.Ok();
    }
    return true;
}

/* ---- tracks ---- */

/** Whether this is the packet before once more, as a sender may repeat each one once. */
bool IsRepeated(const FOREIGN_TS_PACKET_S &stPacket, const FOREIGN_TS_TRACK_S &stTrack) {
    if (stPacket.ucCounter != stTrack.lCounter || stPacket.bDamaged || !stTrack.bOpen) {
        return false;
    }
    // Of a packet that starts a unit, the unit's head is not in the buffer.
    const ULONG_32 ulSame = stPacket.bStart ? stTrack.ulLen : stPacket.ulLen;
    return ulSame != 0 && ulSame <= stPacket.ulLen && ulSame <= stTrack.ulLen &&
           memcmp(stTrack.pucData + stTrack.ulLen - ulSame, stPacket.pucPayload + stPacket.ulLen - ulSame, ulSame) == 0;
}

bool IsGap(const FOREIGN_TS_PACKET_S &stPacket, const FOREIGN_TS_TRACK_S &stTrack) {
    return stPacket.bDamaged ||
           (stTrack.lCounter >= 0 && !stPacket.bJump && stPacket.ucCounter != ((stTrack.lCounter + 1) & 15));
}

void DropUnit(FOREIGN_TS_TRACK_S *pstTrack) {
    pstTrack->ulLen = 0;
    pstTrack->ulHeadLeft = 0;
    pstTrack->bOpen = false;
}

/** Adds the bytes behind the unit's head; false if they find no room. */
bool Append(const UCHAR *pucData, ULONG_32 ulLen, FOREIGN_TS_TRACK_S *pstTrack) {
    const ULONG_32 ulHead = ulLen < pstTrack->ulHeadLeft ? ulLen : pstTrack->ulHeadLeft;
    pstTrack->ulHeadLeft -= ulHead;
    const ULONG_32 ulData = ulLen - ulHead;
    if (ulData > pstTrack->ulRoom - pstTrack->ulLen) {
        return false;
    }
    memcpy(pstTrack->pucData + pstTrack->ulLen, pucData + ulHead, ulData);
    pstTrack->ulLen += ulData;
    return true;
}

/** Begins a unit. One without a time of its own keeps that of the unit before: they are pieces of one picture. */
bool OpenUnit(const FOREIGN_TS_PACKET_S &stPacket, FOREIGN_TS_TRACK_S *pstTrack, UNIT_HEAD_S *pstHead) {
    if (!ReadUnitHead(stPacket.pucPayload, stPacket.ulLen, pstHead)) {
        pstTrack->bOpen = false;
        return false;
    }
    pstTrack->ulHeadLeft = pstHead->ulLen;
    pstTrack->dulTime = pstHead->bTime ? pstHead->dulTime : pstTrack->dulTime;
    pstTrack->bOpen = true;
    return true;
}

FOREIGN_TS_E AddVideo(const FOREIGN_TS_PACKET_S &stPacket, FOREIGN_TS_TRACK_S *pstTrack) {
    const bool bGap = IsGap(stPacket, *pstTrack);
    if (bGap && IsRepeated(stPacket, *pstTrack)) {
        return FOREIGN_TS_E::MORE;
    }
    if (bGap) {
        DropUnit(pstTrack);
    }
    if (stPacket.bStart && pstTrack->bOpen && pstTrack->ulLen != 0) {
        pstTrack->bOpen = false;
        return FOREIGN_TS_E::FRAME;
    }
    pstTrack->lCounter = stPacket.bDamaged ? -1 : stPacket.ucCounter;
    bool bWhole = !bGap;
    if (stPacket.bStart && !stPacket.bDamaged) {
        UNIT_HEAD_S stHead = {};
        DropUnit(pstTrack);
        bWhole = OpenUnit(stPacket, pstTrack, &stHead) && bWhole;
    }
    if (pstTrack->bOpen && !Append(stPacket.pucPayload, stPacket.ulLen, pstTrack)) {
        DropUnit(pstTrack);
        bWhole = false;
    }
    return bWhole ? FOREIGN_TS_E::MORE : FOREIGN_TS_E::LOST;
}

/* ---- sound ---- */

/** What the head of a frame of sound says. */
struct SOUND_HEAD_S {
    LONG_32 lPayload;
    ULONG_32 ulHead; /**< bytes to leave out */
    ULONG_32 ulLen;  /**< bytes with those */
    ULONG_32 ulSamples;
    ULONG_32 ulRate;
    UCHAR ucObjectType;
    UCHAR ucRateIndex;
    UCHAR ucChannels;
};

const ULONG_32 SOUND_HEAD_LEN = 7; /**< bytes that tell how long a frame is */

/** The head of an AAC frame in ADTS (ISO/IEC 13818-7, 6.2). */
bool ReadAdtsHead(const UCHAR *pucData, SOUND_HEAD_S *pstHead) {
    static const ULONG_32 aulRate[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                       22050, 16000, 12000, 11025, 8000,  7350};
    bytes::BitReader stBits(pucData, SOUND_HEAD_LEN);
    const bool bSync = stBits.Bits(12) == 0xFFF;
    stBits.Skip(1);
    const bool bLayer = stBits.Bits(2) == 0;
    pstHead->ulHead = stBits.Bit() != 0 ? 7 : 9;  // with or without a check sum
    pstHead->ucObjectType = static_cast<UCHAR>(stBits.Bits(2) + 1);
    pstHead->ucRateIndex = static_cast<UCHAR>(stBits.Bits(4));
    stBits.Skip(1);
    pstHead->ucChannels = static_cast<UCHAR>(stBits.Bits(3));
    stBits.Skip(4);
    pstHead->ulLen = stBits.Bits(13);
    if (!bSync || !bLayer || pstHead->ucRateIndex >= sizeof(aulRate) / sizeof(aulRate[0])) {
        return false;
    }
    pstHead->ulSamples = 1024;
    pstHead->ulRate = aulRate[pstHead->ucRateIndex];
    return pstHead->ulLen > pstHead->ulHead;
}

/** kbit/s by [MPEG-1 or not][layer I, II, III][index] (ISO/IEC 11172-3, 2.4.2.3; 13818-3, 2.4.2.3). */
const USHORT gausMpegBits[2][3][15] = {{{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
                                        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
                                        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
                                       {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
                                        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
                                        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}}};

/** The head of an MPEG audio frame. */
bool ReadMpegHead(const UCHAR *pucData, SOUND_HEAD_S *pstHead) {
    static const ULONG_32 aulRate[] = {44100, 48000, 32000};
    static const ULONG_32 aulSamples[2][3] = {{384, 1152, 1152}, {384, 1152, 576}};
    bytes::BitReader stBits(pucData, SOUND_HEAD_LEN);
    const bool bSync = stBits.Bits(11) == 0x7FF;
    const ULONG_32 ulVersion = stBits.Bits(2);    // 3: MPEG-1, 2: MPEG-2, 0: half the rates of that
    const ULONG_32 ulLayer = 3 - stBits.Bits(2);  // 0: layer I
    stBits.Skip(1);
    const ULONG_32 ulBits = stBits.Bits(4);
    const ULONG_32 ulRate = stBits.Bits(2);
    const ULONG_32 ulPadding = stBits.Bit();
    if (!bSync || ulVersion == 1 || ulLayer > 2 || ulBits == 0 || ulBits == 15 || ulRate == 3) {
        return false;
    }
    const ULONG_32 ulLow = ulVersion == 3 ? 0 : 1;
    const ULONG_32 ulUnit = ulLayer == 0 ? 4 : 1;
    pstHead->ulHead = 0;
    pstHead->ulSamples = aulSamples[ulLow][ulLayer];
    pstHead->ulRate = aulRate[ulRate] >> (ulVersion == 0 ? 2 : ulLow);
    const ULONG_32 ulSlots =
        pstHead->ulSamples / 8 / ulUnit * gausMpegBits[ulLow][ulLayer][ulBits] * 1000 / pstHead->ulRate;
    pstHead->ulLen = (ulSlots + ulPadding) * ulUnit;
    return true;
}

bool ReadSoundHead(LONG_32 lPayload, const UCHAR *pucData, SOUND_HEAD_S *pstHead) {
    *pstHead = {};
    if (lPayload != PLAYER_PAYLOAD_MP1L2 && ReadAdtsHead(pucData, pstHead)) {
        pstHead->lPayload = PLAYER_PAYLOAD_AAC;
        return true;
    }
    pstHead->lPayload = PLAYER_PAYLOAD_MP1L2;
    return lPayload != PLAYER_PAYLOAD_AAC && ReadMpegHead(pucData, pstHead);
}

void ForgetSound(FOREIGN_TS_S *pstStream) {
    DropUnit(&pstStream->stAudio);
    pstStream->ulSoundAt = 0;
    pstStream->bStamp = false;
}

/** Moves what is left to the front of the buffer. */
void PackSound(FOREIGN_TS_S *pstStream) {
    FOREIGN_TS_TRACK_S &stTrack = pstStream->stAudio;
    const ULONG_32 ulGone = pstStream->ulSoundAt;
    memmove(stTrack.pucData, stTrack.pucData + ulGone, stTrack.ulLen - ulGone);
    stTrack.ulLen -= ulGone;
    pstStream->ulSoundAt = 0;
    pstStream->ulStampAt -= ulGone < pstStream->ulStampAt ? ulGone : pstStream->ulStampAt;
}

void AddSound(const FOREIGN_TS_PACKET_S &stPacket, FOREIGN_TS_S *pstStream) {
    FOREIGN_TS_TRACK_S &stTrack = pstStream->stAudio;
    if (stPacket.ucCounter == stTrack.lCounter && !stPacket.bStart && !stPacket.bDamaged) {
        return;
    }
    if (IsGap(stPacket, stTrack)) {
        ForgetSound(pstStream);
    }
    stTrack.lCounter = stPacket.bDamaged ? -1 : stPacket.ucCounter;
    if (stPacket.bDamaged) {
        return;
    }
    if (stTrack.ulRoom - stTrack.ulLen < TS_PACKET_SIZE) {
        PackSound(pstStream);
    }
    UNIT_HEAD_S stHead = {};
    if (stPacket.bStart && OpenUnit(stPacket, &stTrack, &stHead) && stHead.bTime) {
        pstStream->bStamp = true;
        pstStream->ulStampAt = stTrack.ulLen;
        pstStream->dulStamp = stHead.dulTime;
    }
    if (stTrack.bOpen && !Append(stPacket.pucPayload, stPacket.ulLen, &stTrack)) {
        ForgetSound(pstStream);
    }
}

/** Goes to the next frame of sound whose head is there; false if there is none. */
bool FindSound(FOREIGN_TS_S *pstStream, SOUND_HEAD_S *pstHead) {
    const FOREIGN_TS_TRACK_S &stTrack = pstStream->stAudio;
    while (stTrack.ulLen - pstStream->ulSoundAt >= SOUND_HEAD_LEN) {
        if (ReadSoundHead(stTrack.lPayload, stTrack.pucData + pstStream->ulSoundAt, pstHead)) {
            return true;
        }
        pstStream->ulSoundAt++;
    }
    return false;
}

/** A stamp holds for the first frame that begins in its unit. */
DULONG StampSound(const SOUND_HEAD_S &stHead, FOREIGN_TS_S *pstStream) {
    if (pstStream->bStamp && pstStream->ulSoundAt >= pstStream->ulStampAt) {
        pstStream->bStamp = false;
        pstStream->dulSoundTime = pstStream->dulStamp;
    }
    const DULONG dulTime = pstStream->dulSoundTime;
    pstStream->dulSoundTime = (dulTime + stHead.ulSamples * SOUND_CLOCK / stHead.ulRate) % WRAP;
    return dulTime;
}

/* ---- key frames ---- */

/** Whether a unit settles if its frame is a key frame: 1 yes, 0 no, -1 not yet. */
LONG_32 JudgeH264Unit(const UCHAR *pucUnit, size_t ulLen, bool *pbSps) {
    const ULONG_32 ulType = pucUnit[0] & 0x1FU;
    if (ulType == 7) {
        *pbSps = true;
    }
    if (ulType == 5) {
        return 1;
    }
    if (ulType != 1) {
        return -1;
    }
    bytes::BitReader stBits(pucUnit + 1, ulLen - 1, bytes::Emulation::kRemove);
    stBits.Ue();  // first macroblock
    const ULONG_32 ulSlice = stBits.Ue();
    return *pbSps && !stBits.Dry() && ulSlice % 5 == 2 ? 1 : 0;
}

LONG_32 JudgeH265Unit(const UCHAR *pucUnit) {
    const ULONG_32 ulType = pucUnit[0] >> 1 & 0x3FU;
    return ulType > 31 ? -1 : ulType >= 16 && ulType <= 23 ? 1 : 0;
}

}  // namespace

bool ForeignTs_IsKey(LONG_32 lPayload, const UCHAR *pucFrame, size_t ulLen) {
    bool bSps = false;
    for (size_t i = StartCode_Find(pucFrame, ulLen, 0); i + 3 < ulLen; i = StartCode_Find(pucFrame, ulLen, i + 3)) {
        const LONG_32 lKey = lPayload == PLAYER_PAYLOAD_H264 ? JudgeH264Unit(pucFrame + i + 3, ulLen - i - 3, &bSps)
                                                             : JudgeH265Unit(pucFrame + i + 3);
        if (lKey >= 0) {
            return lKey == 1;
        }
    }
    return false;
}

bool ForeignTs_StartsUnit(const UCHAR *pucPacket, USHORT usPid) {
    FOREIGN_TS_PACKET_S stPacket = {};
    return ForeignTs_ReadPacket(pucPacket, &stPacket) && stPacket.usPid == usPid && stPacket.bStart;
}

bool ForeignTs_UnitTime(const UCHAR *pucPacket, USHORT usPid, DULONG *pdulTime) {
    FOREIGN_TS_PACKET_S stPacket = {};
    UNIT_HEAD_S stHead = {};
    if (!ForeignTs_ReadPacket(pucPacket, &stPacket) || stPacket.usPid != usPid || !stPacket.bStart ||
        stPacket.bDamaged || !ReadUnitHead(stPacket.pucPayload, stPacket.ulLen, &stHead) || !stHead.bTime) {
        return false;
    }
    *pdulTime = stHead.dulTime;
    return true;
}

DULONG ForeignTs_Unwrap(DULONG dulTime, DULONG dulNear) {
    const DULONG dulAhead = (dulTime - dulNear) & (WRAP - 1);
    return dulAhead < WRAP / 2 ? dulNear + dulAhead : dulNear + dulAhead - WRAP;
}

void ForeignTs_Begin(const FOREIGN_TS_PROGRAMME_S &stProgramme, UCHAR *pucVideo, FOREIGN_TS_S *pstStream) {
    pstStream->stVideo = {
        stProgramme.usVideoPid, stProgramme.lVideo, pucVideo, VIDEO_FRAME_BUFFER_SIZE, 0, 0, -1, false, 0};
    pstStream->stAudio = {
        stProgramme.usAudioPid, stProgramme.lAudio, pstStream->aucSound, FOREIGN_TS_SOUND_ROOM, 0, 0, -1, false, 0};
    pstStream->dulSoundTime = 0;
    ForgetSound(pstStream);
}

void ForeignTs_Flush(FOREIGN_TS_S *pstStream) {
    DropUnit(&pstStream->stVideo);
    ForgetSound(pstStream);
    pstStream->stVideo.lCounter = -1;
    pstStream->stAudio.lCounter = -1;
}

FOREIGN_TS_E ForeignTs_Add(const UCHAR *pucPacket, bool bSound, FOREIGN_TS_S *pstStream) {
    FOREIGN_TS_PACKET_S stPacket = {};
    if (!ForeignTs_ReadPacket(pucPacket, &stPacket) || stPacket.usPid == 0) {
        return FOREIGN_TS_E::MORE;
    }
    if (stPacket.usPid == pstStream->stVideo.usPid) {
        return AddVideo(stPacket, &pstStream->stVideo);
    }
    if (stPacket.usPid == pstStream->stAudio.usPid) {
        if (bSound) {
            AddSound(stPacket, pstStream);
        } else {
            ForgetSound(pstStream);
            pstStream->stAudio.lCounter = -1;
        }
    }
    return FOREIGN_TS_E::MORE;
}

bool ForeignTs_EndVideo(FOREIGN_TS_S *pstStream) {
    const bool bFrame = pstStream->stVideo.bOpen && pstStream->stVideo.ulLen != 0;
    pstStream->stVideo.bOpen = false;
    return bFrame;
}

bool ForeignTs_NextSound(FOREIGN_TS_S *pstStream, FOREIGN_TS_SOUND_S *pstSound) {
    FOREIGN_TS_TRACK_S &stTrack = pstStream->stAudio;
    SOUND_HEAD_S stHead = {};
    while (FindSound(pstStream, &stHead)) {
        const UCHAR *pucAt = stTrack.pucData + pstStream->ulSoundAt;
        const ULONG_32 ulLeft = stTrack.ulLen - pstStream->ulSoundAt;
        SOUND_HEAD_S stNext = {};
        const bool bKnown = stTrack.lPayload != PLAYER_PAYLOAD_NULL;
        if (ulLeft < stHead.ulLen + (bKnown ? 0 : SOUND_HEAD_LEN)) {
            return false;
        }
        if (ulLeft - stHead.ulLen >= SOUND_HEAD_LEN && !ReadSoundHead(stHead.lPayload, pucAt + stHead.ulLen, &stNext)) {
            pstStream->ulSoundAt++;  // bytes that look like a head
            continue;
        }
        *pstSound = {pucAt + stHead.ulHead, stHead.ulLen - stHead.ulHead, StampSound(stHead, pstStream),
                     stHead.ucObjectType,   stHead.ucRateIndex,           stHead.ucChannels};
        pstStream->ulSoundAt += stHead.ulLen;
        stTrack.lPayload = stHead.lPayload;
        return true;
    }
    return false;
}
