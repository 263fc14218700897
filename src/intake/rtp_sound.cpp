// Sound: AAC units by RFC 3640 (AAC-hbr), ADTS frames, and whatever else is one frame a packet.
#include <string.h>

#include "intake/rtp_head.h"
#include "intake/rtp_standard_inner.h"

namespace {

const ULONG_32 SAMPLES_A_UNIT = 1024;
const ULONG_32 UNIT_HEAD_BITS = 16; /**< 13 of size, 3 of index */
const UCHAR AAC_LC = 2;
const UCHAR STEREO = 2;
const UCHAR UNKNOWN_INDEX = 4; /**< 44100 Hz */
const ULONG_32 AAC_RATES[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};

/** Hands out what lies in the sound buffer. */
RTP_STEP_E GiveOut(const RTP_READ_S &stRead, PLAYER_PAYLOAD_E enMedia, ULONG_32 ulTimestamp, ULONG_32 ulLen) {
    RTP_STREAM_INFO_S *pstStream = stRead.pstAudio;
    pstStream->ulTimestamp = ulTimestamp;
    pstStream->lPayload = enMedia;
    pstStream->lFormatType = RTP_FORMAT_NO_VIDEO;
    pstStream->ucHeadReserve[1] = 1;
    pstStream->ulFrameLen = ulLen;
    return RTP_STEP_FRAME;
}

RTP_STEP_E LoseUnit(RTP_STANDARD_S *pstStandard) {
    pstStandard->stUnits = {};
    Figure_Add(&pstStandard->stFigures.ulDamaged, 1);
    return RTP_STEP_QUIET;
}

RTP_STEP_E LoseSound(RTP_STANDARD_S *pstStandard) {
    return pstStandard->stUnits.ulWanted != 0 ? LoseUnit(pstStandard) : RTP_STEP_QUIET;
}

RTP_STEP_E EndSoundBefore(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &) {
    const RTP_UNITS_S &stUnits = pstStandard->stUnits;
    const bool bCut = stUnits.ulWanted != 0 && stUnits.ulTimestamp != stPacket.ulTimestamp;
    return bCut ? LoseUnit(pstStandard) : RTP_STEP_MORE;
}

/** AAC as the client says; as far as it doesn't, LC in stereo at the payload type's rate. */
RTP_AUDIO_INFO_S AacInfo(const RTP_READ_S &stRead, ULONG_32 ulRate) {
    const RTP_AUDIO_INFO_S *pstInfo = stRead.pstAacInfo;
    RTP_AUDIO_INFO_S stInfo = {word::Load(pstInfo->ucAudioType), word::Load(pstInfo->ucFrequencyIndex),
                               word::Load(pstInfo->ucChannelNum), 0};
    if (stInfo.ucAudioType != 0) {
        return stInfo;
    }
    stInfo = {AAC_LC, UNKNOWN_INDEX, STEREO, 0};
    for (UCHAR i = 0; i < sizeof(AAC_RATES) / sizeof(AAC_RATES[0]); i++) {
        if (AAC_RATES[i] == ulRate) {
            stInfo.ucFrequencyIndex = i;
        }
    }
    return stInfo;
}

/** Hands out the unit that lies behind the place of its head in the sound buffer. */
RTP_STEP_E GiveOutUnit(RTP_UNITS_S *pstUnits, const RTP_READ_S &stRead, ULONG_32 ulSize) {
    const ULONG_32 ulLen = ulSize + rtp::ADTS_HEAD_SIZE;
    rtp::WriteAdtsHead(AacInfo(stRead, pstUnits->ulRate), ulLen, stRead.pstAudio->pucFrameData);
    const ULONG_32 ulTimestamp = pstUnits->ulTimestamp;
    pstUnits->ulTimestamp += SAMPLES_A_UNIT;
    return GiveOut(stRead, PLAYER_PAYLOAD_AAC, ulTimestamp, ulLen);
}

/** Appends a part of a unit. */
RTP_STEP_E ReadPart(RTP_STANDARD_S *pstStandard, const UCHAR *pucData, ULONG_32 ulCount, const RTP_READ_S &stRead) {
    RTP_UNITS_S *pstUnits = &pstStandard->stUnits;
    if (ulCount > pstUnits->ulWanted - pstUnits->ulHave) {
        return LoseUnit(pstStandard);
    }
    if (ulCount != 0) {
        memcpy(stRead.pstAudio->pucFrameData + rtp::ADTS_HEAD_SIZE + pstUnits->ulHave, pucData, ulCount);
    }
    pstUnits->ulHave += ulCount;
    if (pstUnits->ulHave < pstUnits->ulWanted) {
        return RTP_STEP_MORE;
    }
    const ULONG_32 ulSize = pstUnits->ulWanted;
    pstUnits->ulWanted = 0;
    return GiveOutUnit(pstUnits, stRead, ulSize);
}

ULONG_32 SizeOf(const UCHAR *pucUnitHead) { return rtp::Be16(pucUnitHead) >> 3; }

/** The heads of the units, then the units; a single one that the packet is too short for goes on in the next. */
RTP_STEP_E ReadUnits(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    RTP_UNITS_S *pstUnits = &pstStandard->stUnits;
    const ULONG_32 ulBits = stPacket.ulLen >= 2 ? rtp::Be16(stPacket.pucPayload) : 0;
    const ULONG_32 ulHeads = 2 + ulBits / 8;
    if (ulBits == 0 || ulBits % UNIT_HEAD_BITS != 0 || ulHeads > stPacket.ulLen) {
        return LoseUnit(pstStandard);
    }
    const UCHAR *pucData = stPacket.pucPayload + ulHeads;
    const ULONG_32 ulLeft = stPacket.ulLen - ulHeads;
    const ULONG_32 ulSize = SizeOf(stPacket.pucPayload + 2);
    if (pstUnits->ulWanted != 0) {
        return ulSize == pstUnits->ulWanted ? ReadPart(pstStandard, pucData, ulLeft, stRead) : LoseUnit(pstStandard);
    }
    *pstUnits = {stPacket.pucPayload + 2, ulBits / UNIT_HEAD_BITS, pucData, ulLeft, stPacket.ulTimestamp,
                 stPacket.ulRate, 0, 0};
    if (pstUnits->ulUnits == 1 && ulSize > ulLeft) {
        pstUnits->ulUnits = 0;
        pstUnits->ulWanted = ulSize;
        return ReadPart(pstStandard, pucData, ulLeft, stRead);
    }
    return RTP_STEP_MORE;
}

RTP_STEP_E ReadWhole(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    if (stPacket.ulLen >= AUDIO_FRAME_BUFFER_SIZE) {
        return LoseUnit(pstStandard);
    }
    memcpy(stRead.pstAudio->pucFrameData, stPacket.pucPayload, stPacket.ulLen);
    return GiveOut(stRead, stPacket.enMedia, stPacket.ulTimestamp, stPacket.ulLen);
}

/** Twelve set bits and a layer of 0: as bits of unit heads they would be more than a unit's packet has room for. */
bool IsAdts(const RTP_PACKET_VIEW_S &stPacket) {
    return stPacket.ulLen >= rtp::ADTS_HEAD_SIZE && stPacket.pucPayload[0] == 0xFF &&
           (stPacket.pucPayload[1] & 0xF6) == 0xF0;
}

RTP_STEP_E ReadSound(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    if (stPacket.ulLen == 0) {
        return RTP_STEP_MORE;
    }
    const bool bUnits = stPacket.enMedia == PLAYER_PAYLOAD_AAC && !IsAdts(stPacket);
    return bUnits ? ReadUnits(pstStandard, stPacket, stRead) : ReadWhole(pstStandard, stPacket, stRead);
}

}  // namespace

const RTP_MEDIA_S gstRtpSound = {LoseSound, EndSoundBefore, ReadSound};

RTP_STEP_E RtpSound_NextUnit(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    RTP_UNITS_S *pstUnits = &pstStandard->stUnits;
    if (pstUnits->ulUnits == 0) {
        return RTP_STEP_NONE;
    }
    const ULONG_32 ulSize = SizeOf(pstUnits->pucSizes);
    if (ulSize == 0 || ulSize > pstUnits->ulLeft) {
        return LoseUnit(pstStandard);
    }
    memcpy(stRead.pstAudio->pucFrameData + rtp::ADTS_HEAD_SIZE, pstUnits->pucData, ulSize);
    pstUnits->pucSizes += 2;
    pstUnits->pucData += ulSize;
    pstUnits->ulLeft -= ulSize;
    pstUnits->ulUnits--;
    return GiveOutUnit(pstUnits, stRead, ulSize);
}
