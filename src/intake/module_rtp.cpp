/**
 * @file module_rtp.cpp
 * @brief Payload types, the packet head, and the road of one packet; the assembling itself is in rtp_frame.cpp.
 */
#include "intake/module_rtp.h"

#include <array>
#include <cstring>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "intake/rtp_head.h"

namespace {

constexpr UCHAR TYPE_UNKNOWN = 255;

/** Media type by RTP payload type: every type from 19 on that has no row of its own is H.264. */
constexpr std::array<UCHAR, 256> MakeTypeMap() {
    std::array<UCHAR, 256> aucMap{};
    for (size_t i = 0; i < aucMap.size(); ++i) {
        aucMap[i] = i < 19 ? TYPE_UNKNOWN : static_cast<UCHAR>(PLAYER_PAYLOAD_H264);
    }
    aucMap[rtp::PT_G711U] = PLAYER_PAYLOAD_G711U;
    aucMap[rtp::PT_G711A] = PLAYER_PAYLOAD_G711A;
    aucMap[rtp::PT_JPEG] = PLAYER_PAYLOAD_JPEG;
    aucMap[rtp::PT_DATA] = PLAYER_PAYLOAD_DATA;
    aucMap[rtp::PT_AAC_RAW] = PLAYER_PAYLOAD_AAC;
    aucMap[rtp::PT_H265] = PLAYER_PAYLOAD_H265;
    aucMap[rtp::PT_AAC_ADTS] = PLAYER_PAYLOAD_AAC;
    aucMap[rtp::PT_PCM] = PLAYER_PAYLOAD_PCM;
    return aucMap;
}
constexpr std::array<UCHAR, 256> TYPE_MAP = MakeTypeMap();

constexpr ULONG_32 Bits(std::initializer_list<unsigned> aulTypes) {
    ULONG_32 ulSet = 0;
    for (unsigned ulType : aulTypes) {
        ulSet |= 1U << ulType;
    }
    return ulSet;
}
// H.264 unit and packetisation types (RFC 6184, table 1). A STAP-A is unpacked, but is no proof of video.
constexpr ULONG_32 H264_ACCEPTED = Bits({1, 5, 6, 7, 8, 9, rtp::PACK_STAP_A, rtp::PACK_FU_A});
constexpr ULONG_32 H264_PROOF = Bits({1, 5, 6, 7, 8, 9, rtp::PACK_FU_A});

bool InSet(ULONG_32 ulSet, UCHAR ucHeader) { return (ulSet >> (ucHeader & 31U) & 1) != 0; }

/** Playback time and end of playback; the camera's extension is read whatever its profile word says. */
bool ReadExtension(const UCHAR *pucPacket, ULONG_32 ulPacketLen, ULONG_32 ulExtension, RTP_STREAM_INFO_S *pstStream) {
    if (!rtp::Inside(ulExtension, 8, ulPacketLen)) {
        return false;
    }
    word::Store(pstStream->ulPlaybackTime, rtp::Be32(pucPacket + ulExtension + 4));
    if (rtp::Inside(ulExtension, 13, ulPacketLen) && (pucPacket[ulExtension + 12] & 16) != 0) {
        pstStream->bPlaybckFinish = 1;
    }
    return true;
}

[[gnu::cold]] void LogRefusedUnit(const UCHAR *p, ULONG_32 ulLen) {
    LOG_DEBUG("%02x %02x %02x %02x\t %02x %02x", p[0], p[1], p[2], p[3], p[12], ulLen > 13 ? p[13] : 0);
}

/** Whether the packet follows the one before; updates the number last seen. */
bool StoreSequence(const RTP_PACKET_INFO_S *pstPacket, RTP_STREAM_INFO_S *pstStream) {
    PLAYER_PAYLOAD_E enType = pstPacket->enRTPPacketType;
    ULONG_32 ulNumber = pstPacket->usSequenceNumber;
    USHORT &usSeen = pstStream->ausSequenceNumber[enType];
    bool bFollows = ulNumber - usSeen == 1 || usSeen == 0 || (usSeen == 65535 && ulNumber == 0);
    if (!bFollows && enType != pstStream->enRTPPacketTypePre && Payload_IsVideo(enType)) {
        bFollows = ulNumber - pstStream->usSequenceNumberPre == 1;  // the video changed its type in a running sequence
    }
    if (!bFollows && enType == PLAYER_PAYLOAD_DATA) {
        return true;  // gaps in data do no harm; the number seen stays
    }
    if (!bFollows) [[unlikely]] {
        LOG_INFO("Cur Num:%d, Pro Num:%d", static_cast<int>(ulNumber), static_cast<int>(usSeen));
    }
    usSeen = static_cast<USHORT>(ulNumber);
    return bFollows;
}

/** A fragment that ends before its FU header keeps a data offset behind its end, which the assembling refuses. */
void ParseFuA(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    ULONG_32 ulHead = pstPacket->ucNALOffset + 1U;
    UCHAR ucHead = ulHead < ulPacketLen ? pucPacket[ulHead] : 0;
    pstPacket->ucNALType = rtp::PACK_FU_A;
    pstPacket->ucStartIndicator = ucHead & 128;
    pstPacket->ucESType = ucHead & 31;
    pstPacket->ucEndIndicator = pstPacket->ucESType == 6 ? 0 : ucHead & 64;  // an SEI never completes a frame
    pstPacket->ucNALU = static_cast<UCHAR>((pucPacket[pstPacket->ucNALOffset] & 0xE0) | pstPacket->ucESType);
    pstPacket->ucESOffset = static_cast<UCHAR>(pstPacket->ucNALOffset + 2);
}

void ParseH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    UCHAR ucType = pucPacket[pstPacket->ucNALOffset] & 31;
    if (ucType == rtp::PACK_FU_A) {
        ParseFuA(pucPacket, ulPacketLen, pstPacket);
        return;
    }
    if (ucType > rtp::PACK_STAP_A) {
        LOG_WARN("Nal Type Unknow ,Type = %d", static_cast<int>(ucType));
        pstPacket->ucNALType = ucType;
        return;
    }
    bool bAggregate = ucType == rtp::PACK_STAP_A;
    pstPacket->ucNALType = bAggregate ? rtp::PACK_STAP_A : rtp::PACK_SINGLE;
    pstPacket->ucESType = bAggregate ? 5 : ucType;
    pstPacket->ucESOffset = static_cast<UCHAR>(pstPacket->ucNALOffset + 1);
}

/** RFC 7798, 4.4.3; too short fragments as in ParseFuA(). */
void ParseFuH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    ULONG_32 ulAt = pstPacket->ucNALOffset;
    bool bWhole = rtp::Inside(ulAt, 3, ulPacketLen);
    UCHAR ucHead = bWhole ? pucPacket[ulAt + 2] : 0;
    pstPacket->ucNALType = rtp::PACK_FU_H265;
    pstPacket->ucStartIndicator = ucHead & 128;
    pstPacket->ucESType = ucHead & 63;
    pstPacket->ucEndIndicator = pstPacket->ucESType == 39 ? 0 : ucHead & 64;  // an SEI never completes a frame
    USHORT usHeader = bWhole ? rtp::Be16(pucPacket + ulAt) : 0;
    pstPacket->usH265NAL = static_cast<USHORT>((usHeader & 0x81FF) | pstPacket->ucESType << 9);
    pstPacket->ucESOffset = static_cast<UCHAR>(ulAt + 3);
}

void ParseH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    UCHAR ucType = pucPacket[pstPacket->ucNALOffset] >> 1 & 63;
    if (ucType == rtp::PACK_FU_H265) {
        ParseFuH265(pucPacket, ulPacketLen, pstPacket);
        return;
    }
    pstPacket->ucNALType = rtp::PACK_SINGLE;
    pstPacket->ucESType = ucType;
    pstPacket->ucESOffset = static_cast<UCHAR>(pstPacket->ucNALOffset + 2);
}

/** Main, restart marker and quantisation table header (RFC 2435, 3.1). False if one runs out of the packet. */
bool ParseJpeg(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    ULONG_32 ulAt = pstPacket->ucNALOffset;
    if (!rtp::Inside(ulAt, 8, ulPacketLen)) {
        return false;
    }
    const UCHAR *p = pucPacket + ulAt;
    pstPacket->ucESOffset = pstPacket->ucNALOffset;
    pstPacket->ulJpegOffset = rtp::Be32(p) & 0xFFFFFF;
    pstPacket->ulType = p[4];
    pstPacket->ulQ = p[5];
    pstPacket->usJpegWidth = static_cast<USHORT>(p[6] * 8);
    pstPacket->usJpegHeight = static_cast<USHORT>(p[7] * 8);
    ulAt += 8;
    if (pstPacket->ulType >= 64 && pstPacket->ulType <= 127) {
        if (!rtp::Inside(ulAt, 4, ulPacketLen)) {
            return false;
        }
        pstPacket->usDri = rtp::Be16(pucPacket + ulAt + 2);  // the count word, not the interval: peers rely on it
        ulAt += 4;
    }
    if (pstPacket->ulJpegOffset == 0 && pstPacket->ulQ >= 128 && pstPacket->ulQ <= 254) {
        if (!rtp::Inside(ulAt, 4, ulPacketLen)) {
            return false;
        }
        pstPacket->ulQLen = rtp::Be16(pucPacket + ulAt + 2);
    }
    return true;
}

bool ParsePayloadHead(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket) {
    switch (pstPacket->enRTPPacketType) {
        case PLAYER_PAYLOAD_H264:
            ParseH264(pucPacket, ulPacketLen, pstPacket);
            return true;
        case PLAYER_PAYLOAD_H265:
            ParseH265(pucPacket, ulPacketLen, pstPacket);
            return true;
        case PLAYER_PAYLOAD_JPEG:
            return ParseJpeg(pucPacket, ulPacketLen, pstPacket);
        default:
            pstPacket->ucESOffset = pstPacket->ucNALOffset;
            return true;
    }
}

/** Learns the AAC format from an ADTS header. */
bool LearnAudioInfo(const UCHAR *pucPacket, ULONG_32 ulPacketLen, ULONG_32 ulOffset, RTP_AUDIO_INFO_S *pstAudioInfo) {
    if (!rtp::Inside(ulOffset, 4, ulPacketLen)) {
        return false;
    }
    const UCHAR *p = pucPacket + ulOffset;
    word::Store(pstAudioInfo->ucAudioType, static_cast<UCHAR>((p[2] >> 6) + 1));
    word::Store(pstAudioInfo->ucFrequencyIndex, static_cast<UCHAR>(p[2] >> 2 & 15));
    word::Store(pstAudioInfo->ucChannelNum,
                static_cast<UCHAR>(p[2] << 7 | p[3] >> 6));  // 7, not 2: peers rely on this value
    return true;
}

ULONG_32 SpellAudioOrData(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                          RTP_AUDIO_INFO_S *pstAudioInfo, RTP_STREAM_INFO_S *pstStream) {
    if (pstPacket->enRTPPacketType == PLAYER_PAYLOAD_DATA) {
        RTPH264_Parse_PrivateData(pucPacket + pstPacket->ucNALOffset, ulPacketLen - pstPacket->ucNALOffset,
                                  &pstStream->stReservedInfo);
    }
    if (pstPacket->ucPayloadType == rtp::PT_AAC_ADTS && pstAudioInfo != nullptr &&
        !LearnAudioInfo(pucPacket, ulPacketLen, pstPacket->ucESOffset, pstAudioInfo)) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    return RTP_SpellFrameNotH264(pucPacket, ulPacketLen, pstPacket, pstStream);
}

ULONG_32 Spell(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
               RTP_AUDIO_INFO_S *pstAudioInfo, RTP_STREAM_INFO_S *pstStream) {
    switch (pstPacket->enRTPPacketType) {
        case PLAYER_PAYLOAD_H264: {
            ULONG_32 ulResult = RTP_SpellFrameH264(pucPacket, ulPacketLen, pstPacket, pstStream);
            if (ulResult != PLAYER_ERR_OK && pstStream->ulErrCount % 2000 == 1) {
                LOG_ERROR("SpellFrame Failed, Count[%d].", static_cast<int>(pstStream->ulErrCount));
            }
            return ulResult;
        }
        case PLAYER_PAYLOAD_H265:
            return RTP_SpellFrameH265(pucPacket, ulPacketLen, pstPacket, pstStream);
        case PLAYER_PAYLOAD_JPEG:
            return RTP_SpellFrameJPEG(pucPacket, ulPacketLen, pstPacket, pstStream);
        default:
            return SpellAudioOrData(pucPacket, ulPacketLen, pstPacket, pstAudioInfo, pstStream);
    }
}

void DropFrame(RTP_STREAM_INFO_S *pstStream) {
    pstStream->ulFrameLen = 0;
    pstStream->ucHeadReserve[0] = 0;
}

/** A change of timestamp begins a new frame of sound or data, but a new one of video only if the old one overflowed. */
void StoreTimestamp(RTP_PACKET_INFO_S *pstPacket, RTP_STREAM_INFO_S *pstStream) {
    bool bVideo = Payload_IsVideo(pstPacket->enRTPPacketType);
    bool bChanged = pstPacket->ulTimestamp != pstStream->ulTimestamp;
    if (!bVideo && pstPacket->enRTPPacketType != PLAYER_PAYLOAD_DATA) {
        pstPacket->ucMark = 1;  // each packet of sound is a frame
    }
    if (bChanged && (!bVideo || pstStream->ucHeadReserve[0] != 0)) {
        DropFrame(pstStream);
    }
    pstStream->ulTimestamp = pstPacket->ulTimestamp;
}

LONG_32 FormatH264(UCHAR ucESType, const RTP_STREAM_INFO_S *pstStream) {
    switch (ucESType) {
        case 5:
        case 7:
        case 8:
            return PLAYER_VIDEO_FRAME_I;
        case 1:
        case 9:
            return RTP_ParseFrameType(pstStream->pucFrameData, pstStream->ulFrameLen);
        default:
            return PLAYER_VIDEO_FRAME_P;
    }
}

/** Describes a complete frame. Of what is no H.264 or H.265, JPEG too, the audio record gets the format. */
void FinishFrame(const RTP_PACKET_INFO_S *pstPacket, RTP_STREAM_INFO_S *pstStream, RTP_STREAM_INFO_S *pstAudioStream) {
    pstStream->ulTimestamp = pstPacket->ulTimestamp;
    pstStream->lPayload = pstPacket->enRTPPacketType;
    pstStream->ucHeadReserve[1] = pstPacket->ucMarker;
    UCHAR ucESType = pstPacket->ucESType;
    if (pstPacket->enRTPPacketType == PLAYER_PAYLOAD_H264) {
        pstStream->lFormatType = FormatH264(ucESType, pstStream);
    } else if (pstPacket->enRTPPacketType == PLAYER_PAYLOAD_H265) {
        pstStream->lFormatType = ucESType == 19 || ucESType == 38 ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P;
    } else {
        pstAudioStream->lFormatType = RTP_FORMAT_NO_VIDEO;
    }
}

/** The packet record of a packet whose media type is known. */
RTP_PACKET_INFO_S MakePacketInfo(UCHAR ucPayloadType, PLAYER_PAYLOAD_E enType, const RTP_AUDIO_INFO_S *pstAudioInfo) {
    RTP_PACKET_INFO_S stPacket{};
    stPacket.ucPayloadType = ucPayloadType;
    stPacket.enRTPPacketType = enType;
    if (pstAudioInfo != nullptr) {
        RTP_AUDIO_INFO_S &stInfo = stPacket.stAudioInfo;
        stInfo.ucAudioType = word::Load(pstAudioInfo->ucAudioType);
        stInfo.ucFrequencyIndex = word::Load(pstAudioInfo->ucFrequencyIndex);
        stInfo.ucChannelNum = word::Load(pstAudioInfo->ucChannelNum);
    }
    return stPacket;
}

}  // namespace

bool rtp::MediaType(const RTP_PAYLOAD_TYPE_S *pstTable, UCHAR ucPayloadType, PLAYER_PAYLOAD_E *penType) {
    if (pstTable != nullptr && pstTable[0].ulSampleRate != 0 &&
        RPT_RtpPayloadToNewType(pstTable, ucPayloadType, penType) == PLAYER_ERR_OK) {
        return true;
    }
    UCHAR ucType = TYPE_MAP[ucPayloadType];
    if (ucType == TYPE_UNKNOWN) {
        return false;
    }
    *penType = static_cast<PLAYER_PAYLOAD_E>(ucType);
    return true;
}

ULONG_32 RTP_RtpPayloadToType(UCHAR ucPayloadType, PLAYER_PAYLOAD_E *penType) {
    if (!rtp::MediaType(nullptr, ucPayloadType, penType)) {
        LOG_WARN("Unknown Stream Type[%d].", static_cast<int>(ucPayloadType));
        return PLAYER_ERR_UNKNOWN_STREAM;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 RPT_RtpPayloadToNewType(const RTP_PAYLOAD_TYPE_S *pstPayloadType, UCHAR ucPayloadType,
                                 PLAYER_PAYLOAD_E *penType) {
    for (const RTP_PAYLOAD_TYPE_S *pstRow = pstPayloadType; pstRow != pstPayloadType + 2; ++pstRow) {
        const PLAYER_PAYLOAD_E enType = word::Load(pstRow->enPayloadType);
        bool bKnown = static_cast<ULONG_32>(enType) < PLAYER_PAYLOAD_MAX_NUM;
        if (word::Load(pstRow->ucPayloadType) == ucPayloadType && word::Load(pstRow->ulSampleRate) != 0 && bKnown) {
            *penType = enType;
            return PLAYER_ERR_OK;
        }
    }
    return PLAYER_ERR_UNKNOWN_STREAM;
}

ULONG_32 RTP_ParsePackHead(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                           RTP_STREAM_INFO_S *pstStream) {
    rtp::Layout stLayout;
    if (!rtp::FindParts(pucPacket, ulPacketLen, &stLayout)) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    if (stLayout.ulExtension != 0 && !ReadExtension(pucPacket, ulPacketLen, stLayout.ulExtension, pstStream)) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    if (stLayout.ucPayload >= ulPacketLen) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    pstPacket->ucNALOffset = stLayout.ucPayload;
    pstPacket->ucMark = pucPacket[1] >> 7;
    pstPacket->ucMarker = pstPacket->ucMark;
    if (pstPacket->enRTPPacketType == PLAYER_PAYLOAD_H264 && !InSet(H264_ACCEPTED, pucPacket[stLayout.ucPayload])) {
        LogRefusedUnit(pucPacket, ulPacketLen);
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    pstPacket->usSequenceNumber = rtp::Be16(pucPacket + 2);
    bool bFollows = StoreSequence(pstPacket, pstStream);
    word::Store(pstStream->enRTPPacketTypePre, pstPacket->enRTPPacketType);
    pstStream->usSequenceNumberPre = pstPacket->usSequenceNumber;
    if (!bFollows) {
        DropFrame(pstStream);
        return PLAYER_ERR_PACKET_LOST;
    }
    pstPacket->ulTimestamp = rtp::Be32(pucPacket + 4);
    if (!ParsePayloadHead(pucPacket, ulPacketLen, pstPacket)) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    if (pstPacket->ucESType >= 6 && pstPacket->ucESType <= 8) {
        pstPacket->ucMark =
            0;  // parameter sets and SEI never complete a frame; in H.265 the numbers are others, but so
    }
    return PLAYER_ERR_OK;
}

ULONG_32 RTP_UnpacketRtpData(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, RTP_PAYLOAD_TYPE_S *pstPayloadType,
                             RTP_AUDIO_INFO_S *pstAudioInfo, RTP_STREAM_INFO_S *pstVideoStream,
                             RTP_STREAM_INFO_S *pstAudioStream) {
    if (pcRecvDataAddr == nullptr || pstVideoStream == nullptr || pstAudioStream == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulRecvDataLen < 2) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    const UCHAR *pucPacket = reinterpret_cast<const UCHAR *>(pcRecvDataAddr);
    UCHAR ucPayloadType = pucPacket[1] & 127;
    PLAYER_PAYLOAD_E enType = PLAYER_PAYLOAD_NULL;
    if (!rtp::MediaType(pstPayloadType, ucPayloadType, &enType)) {
        RTP_RtpPayloadToType(ucPayloadType, &enType);  // says so in the log
        return PLAYER_ERR_FAILED;
    }
    RTP_PACKET_INFO_S stPacket = MakePacketInfo(ucPayloadType, enType, pstAudioInfo);
    RTP_STREAM_INFO_S *pstStream = Payload_IsVideo(enType) ? pstVideoStream : pstAudioStream;
    ULONG_32 ulResult = RTP_ParsePackHead(pucPacket, ulRecvDataLen, &stPacket, pstStream);
    if (ulResult != PLAYER_ERR_OK) {
        DropFrame(pstStream);
        return ulResult;
    }
    if (pstStream->pucFrameData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    StoreTimestamp(&stPacket, pstStream);
    ulResult = Spell(pucPacket, ulRecvDataLen, &stPacket, pstAudioInfo, pstStream);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    if (stPacket.ucMark == 0 && stPacket.ucEndIndicator == 0) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    FinishFrame(&stPacket, pstStream, pstAudioStream);
    return PLAYER_ERR_OK;
}

BOOL_T RTP_IsRtpVideo(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType) {
    const UCHAR *pucPacket = reinterpret_cast<const UCHAR *>(pcPacketBuffer);
    rtp::Layout stLayout;
    PLAYER_PAYLOAD_E enType = PLAYER_PAYLOAD_NULL;
    if (pucPacket == nullptr || !rtp::FindParts(pucPacket, ulPacketLen, &stLayout) || pucPacket[0] >> 6 != 2 ||
        !rtp::MediaType(pstPayloadType, pucPacket[1] & 127, &enType)) {
        return 0;
    }
    if (enType == PLAYER_PAYLOAD_H264) {
        return stLayout.ucPayload < ulPacketLen && InSet(H264_PROOF, pucPacket[stLayout.ucPayload]);
    }
    return Payload_IsVideo(enType);
}

BOOL_T RTP_IsRtpVideoTail(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType) {
    // Asked twice for every packet of a ring, most of which end at the marker bit.
    const UCHAR *pucPacket = reinterpret_cast<const UCHAR *>(pcPacketBuffer);
    if (pucPacket == nullptr || ulPacketLen < RTP_HEAD_SIZE || pucPacket[0] >> 6 != 2 || (pucPacket[1] & 128) == 0) {
        return 0;
    }
    rtp::Layout stLayout;
    PLAYER_PAYLOAD_E enType = PLAYER_PAYLOAD_NULL;
    return rtp::FindParts(pucPacket, ulPacketLen, &stLayout) &&
           rtp::MediaType(pstPayloadType, pucPacket[1] & 127, &enType) && Payload_IsVideo(enType);
}
