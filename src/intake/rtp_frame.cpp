/**
 * @file rtp_frame.cpp
 * @brief Appends the payload of one packet to the frame of its stream, and finds units in Annex B frames.
 */
#include <algorithm>
#include <cstring>

#include "bits/MakeJpegHeader.h"
#include "bits/start_code.h"
#include "foundations/com_log.h"
#include "intake/module_rtp.h"
#include "intake/rtp_head.h"

namespace {

constexpr ULONG_32 QUANT_TABLE_SIZE = 64;
constexpr ULONG_32 AU_HEADER_SIZE = 4;

/** Appends within the limit of a video frame; on a full frame notes that and leaves the frame as it is. */
bool Append(RTP_STREAM_INFO_S *pstStream, const UCHAR *pucData, ULONG_32 ulCount) {
    if (!rtp::Inside(pstStream->ulFrameLen, ulCount, rtp::MAX_VIDEO_FRAME)) [[unlikely]] {
        pstStream->ucHeadReserve[0] = 1;
        return false;
    }
    memcpy(pstStream->pucFrameData + pstStream->ulFrameLen, pucData, ulCount);
    pstStream->ulFrameLen += ulCount;
    return true;
}

[[gnu::cold]] ULONG_32 OverflowH264(const RTP_STREAM_INFO_S *pstStream) {
    LOG_ERROR("RTP_SpellFrameH264 Failed, Frame Len Overflow[%d].", static_cast<int>(pstStream->ulFrameLen));
    return PLAYER_ERR_PARAM;
}

[[gnu::cold]] ULONG_32 OverflowH265(const RTP_STREAM_INFO_S *pstStream) {
    LOG_ERROR("RTP_SpellFrameH265 Failed, Frame Len Overflow[%d].", static_cast<int>(pstStream->ulFrameLen));
    return PLAYER_ERR_PARAM;
}

/** Counts lost data and logs each ulEvery-th time. */
[[gnu::cold]] ULONG_32 LoseData(RTP_STREAM_INFO_S *pstStream, ULONG_32 ulEvery) {
    ++pstStream->ulErrCount;
    if (pstStream->ulErrCount % ulEvery == 1) {
        LOG_INFO("PACKET LOSE Data, Count[%d].", static_cast<int>(pstStream->ulErrCount));
    }
    return PLAYER_ERR_PACKET_LOST;
}

/** Appends the data of a fragment to the frame that its start fragment began. */
bool AppendFragment(const UCHAR *pucPacket, ULONG_32 ulPacketLen, ULONG_32 ulOffset, RTP_STREAM_INFO_S *pstStream) {
    return pstStream->ulFrameLen != 0 && ulOffset <= ulPacketLen &&
           Append(pstStream, pucPacket + ulOffset, ulPacketLen - ulOffset);
}

/**
 * RFC 6184, 5.7.1. An aggregate that begins the frame with an SPS leaves it open for the IDR slice that follows; one
 * that goes on with such a frame ends it as others do, or a stream of nothing but aggregates would never come to an
 * end.
 */
ULONG_32 SpellStapA(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                    RTP_STREAM_INFO_S *pstStream) {
    ULONG_32 ulAt = pstPacket->ucESOffset;
    const bool bBegins = pstStream->ulFrameLen == 0;
    while (rtp::Inside(ulAt, 3, ulPacketLen)) {
        ULONG_32 ulUnit = rtp::Be16(pucPacket + ulAt);
        ulAt += 2;
        if (!rtp::Inside(ulAt, ulUnit, ulPacketLen)) {
            LOG_ERROR("RTP_SpellFrameH264 Failed, STAP_A Packet Len No Enough");
            return PLAYER_ERR_FAILED;
        }
        if (!Append(pstStream, START_CODE, sizeof(START_CODE)) || !Append(pstStream, pucPacket + ulAt, ulUnit)) {
            return OverflowH264(pstStream);
        }
        ulAt += ulUnit;
        if (bBegins && pstStream->ulFrameLen > 4 && (pstStream->pucFrameData[4] & 31) == 7) {
            pstPacket->ucMark = 0;
        }
    }
    return PLAYER_ERR_OK;
}

ULONG_32 SpellFuA(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PACKET_INFO_S *pstPacket,
                  RTP_STREAM_INFO_S *pstStream) {
    if (pstPacket->ucStartIndicator != 0) {
        const UCHAR aucHead[5] = {0, 0, 0, 1, pstPacket->ucNALU};
        if (!Append(pstStream, aucHead, sizeof(aucHead))) {
            return OverflowH264(pstStream);
        }
    }
    if (!AppendFragment(pucPacket, ulPacketLen, pstPacket->ucESOffset, pstStream)) {
        return LoseData(pstStream, 20);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 SpellSingleH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PACKET_INFO_S *pstPacket,
                         RTP_STREAM_INFO_S *pstStream) {
    if (!Append(pstStream, START_CODE, sizeof(START_CODE))) {
        return OverflowH264(pstStream);
    }
    ULONG_32 ulAt = pstPacket->ucNALOffset;
    if (ulAt > ulPacketLen) {
        LOG_ERROR("NALOffset[%d] > RTP PacketLen[%d].", static_cast<int>(ulAt), static_cast<int>(ulPacketLen));
        return PLAYER_ERR_PACKET_LOST;
    }
    if (!Append(pstStream, pucPacket + ulAt, ulPacketLen - ulAt)) {
        return LoseData(pstStream, 2000);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 SpellFuH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PACKET_INFO_S *pstPacket,
                     RTP_STREAM_INFO_S *pstStream) {
    if (pstPacket->ucStartIndicator != 0) {
        const UCHAR aucHead[6] = {
            0, 0, 0, 1, static_cast<UCHAR>(pstPacket->usH265NAL >> 8), static_cast<UCHAR>(pstPacket->usH265NAL)};
        if (!Append(pstStream, aucHead, sizeof(aucHead))) {
            return OverflowH265(pstStream);
        }
    }
    bool bJoined = AppendFragment(pucPacket, ulPacketLen, pstPacket->ucESOffset, pstStream);
    return bJoined ? PLAYER_ERR_OK : PLAYER_ERR_PACKET_LOST;
}

ULONG_32 SpellSingleH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PACKET_INFO_S *pstPacket,
                         RTP_STREAM_INFO_S *pstStream) {
    if (!Append(pstStream, START_CODE, sizeof(START_CODE))) {
        return OverflowH265(pstStream);
    }
    ULONG_32 ulAt = pstPacket->ucNALOffset;
    if (ulAt > ulPacketLen) {
        LOG_ERROR("NALOffset[%d] > RTP PacketLen[%d].", static_cast<int>(ulAt), static_cast<int>(ulPacketLen));
        return PLAYER_ERR_FAILED;
    }
    if (!Append(pstStream, pucPacket + ulAt, ulPacketLen - ulAt)) {
        return OverflowH265(pstStream);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 UnknownNalType() {
    LOG_WARN("Unknown Nal Type");
    return PLAYER_ERR_UNKNOWN_STREAM;
}

/** Tells the one who wonders why nothing is seen or heard, once a stream. */
void TellForm(RTP_STREAM_INFO_S *pstStream, RTP_FORM_E enForm, const char *pcWhat) {
    if ((pstStream->ucForms & enForm) == 0) [[unlikely]] {
        pstStream->ucForms = static_cast<UCHAR>(pstStream->ucForms | enForm);
        LOG_WARN("Not Taken: %s.", pcWhat);
    }
}

/** RFC 7798, 4.4.2: type 48. Of the key pictures (16 to 21) IDR_W_RADL, 19, alone begins a group here. */
void NoteFormH265(const RTP_PACKET_INFO_S *pstPacket, RTP_STREAM_INFO_S *pstStream) {
    const UCHAR AGGREGATE = 48;
    const UCHAR KEY_FIRST = 16;
    const UCHAR KEY_LAST = 21;
    const UCHAR KEY_TAKEN = 19;
    if (pstPacket->ucESType == AGGREGATE) {
        TellForm(pstStream, RTP_FORM_H265_AGGREGATE, "H.265 Aggregation Packets, Send Single Units And Fragments");
    } else if (pstPacket->ucESType == KEY_TAKEN) {
        pstStream->ucForms |= RTP_FORM_H265_TAKEN_KEY;
    } else if (pstPacket->ucESType >= KEY_FIRST && pstPacket->ucESType <= KEY_LAST &&
               (pstStream->ucForms & RTP_FORM_H265_TAKEN_KEY) == 0) {
        TellForm(pstStream, RTP_FORM_H265_KEY, "H.265 Key Pictures Other Than IDR_W_RADL As The Start Of A Stream");
    }
}

/** RFC 3640, 3.2.1: the bits of the unit heads, 16 a unit, stand in front of them. */
void NoteFormAac(const UCHAR *pucPacket, ULONG_32 ulAt, RTP_STREAM_INFO_S *pstStream) {
    if (rtp::Be16(pucPacket + ulAt) > 16) {
        TellForm(pstStream, RTP_FORM_AAC_UNITS, "Several AAC Units In A Packet, Send One");
    }
}

}  // namespace

void rtp::WriteAdtsHead(const RTP_AUDIO_INFO_S &stInfo, ULONG_32 ulLen, UCHAR *pucTo) {
    ULONG_32 ulChannels = stInfo.ucChannelNum;
    pucTo[0] = 0xFF;
    pucTo[1] = 0xF9;
    pucTo[2] = static_cast<UCHAR>((stInfo.ucAudioType - 1U) << 6 | static_cast<ULONG_32>(stInfo.ucFrequencyIndex) << 2 |
                                  (ulChannels >> 2 & 1));
    pucTo[3] = static_cast<UCHAR>(ulChannels << 6 | ulLen >> 11);
    pucTo[4] = static_cast<UCHAR>((ulLen & 0x7FF) >> 3);
    pucTo[5] = static_cast<UCHAR>(ulLen << 5 | 31);
    pucTo[6] = 0xFC;
}

namespace {

/** In-band tables lie right in front of the scan data; without whole ones they are derived from Q. */
bool BeginJpegFrame(const UCHAR *pucData, const RTP_PACKET_INFO_S *pstPacket, RTP_STREAM_INFO_S *pstStream) {
    UCHAR aucLuma[QUANT_TABLE_SIZE];
    UCHAR aucChroma[QUANT_TABLE_SIZE];
    if (pstPacket->ulQLen >= 2 * QUANT_TABLE_SIZE) {
        memcpy(aucLuma, pucData - pstPacket->ulQLen, QUANT_TABLE_SIZE);
        memcpy(aucChroma, pucData - pstPacket->ulQLen + QUANT_TABLE_SIZE, QUANT_TABLE_SIZE);
    } else {
        MakeTables(static_cast<int>(pstPacket->ulQ + 1), aucLuma, aucChroma);
    }
    int iLen = MakeHeaders(pstStream->pucFrameData, static_cast<int>(pstPacket->ulType), pstPacket->usJpegWidth,
                           pstPacket->usJpegHeight, aucLuma, aucChroma, pstPacket->usDri);
    if (iLen < 1) {
        LOG_ERROR("RTP_SpellFrameJPEG Failed, MakeHeaders Failed");
        return false;
    }
    pstStream->ulFrameLen = static_cast<ULONG_32>(iLen);
    return true;
}

}  // namespace

ULONG_32 RTP_SpellFrameH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                            RTP_STREAM_INFO_S *pstStream) {
    switch (pstPacket->ucNALType) {
        case rtp::PACK_FU_A:
            return SpellFuA(pucPacket, ulPacketLen, pstPacket, pstStream);
        case rtp::PACK_SINGLE:
            return SpellSingleH264(pucPacket, ulPacketLen, pstPacket, pstStream);
        case rtp::PACK_STAP_A:
            return SpellStapA(pucPacket, ulPacketLen, pstPacket, pstStream);
        default:
            return UnknownNalType();
    }
}

ULONG_32 RTP_SpellFrameH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                            RTP_STREAM_INFO_S *pstStream) {
    NoteFormH265(pstPacket, pstStream);
    switch (pstPacket->ucNALType) {
        case rtp::PACK_FU_H265:
            return SpellFuH265(pucPacket, ulPacketLen, pstPacket, pstStream);
        case rtp::PACK_SINGLE:
            return SpellSingleH265(pucPacket, ulPacketLen, pstPacket, pstStream);
        default:
            return UnknownNalType();
    }
}

ULONG_32 RTP_SpellFrameNotH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                               RTP_STREAM_INFO_S *pstStream) {
    bool bRawAac = pstPacket->ucPayloadType == rtp::PT_AAC_RAW;
    ULONG_32 ulSkip = bRawAac ? AU_HEADER_SIZE : 0;
    ULONG_32 ulHead = bRawAac ? rtp::ADTS_HEAD_SIZE : 0;
    bool bWhole = rtp::Inside(pstPacket->ucESOffset, ulSkip, ulPacketLen);
    ULONG_32 ulLen = ulPacketLen - pstPacket->ucESOffset - ulSkip;
    pstPacket->ucESOffset = static_cast<UCHAR>(pstPacket->ucESOffset + ulSkip);
    DULONG dulFilled = static_cast<DULONG>(pstStream->ulFrameLen) + ulHead;
    if (!bWhole || dulFilled + ulLen > VIDEO_FRAME_BUFFER_SIZE) {
        LOG_ERROR(
            "RTP_SpellFrameNotH264 Failed, ulLen[%d], pstRTPPacketInfo->ucESOffset[%d], "
            "pstRTPStreamInfo->ulFrameLen(%d)",
            static_cast<int>(ulLen), static_cast<int>(pstPacket->ucESOffset), static_cast<int>(dulFilled));
        pstStream->ulFrameLen = 0;
        return PLAYER_ERR_PARAM;
    }
    if (dulFilled + ulLen >= AUDIO_FRAME_BUFFER_SIZE) {
        LOG_ERROR("RTP_SpellFrameNotH264 Failed, Frame Len Overflow[%d].", static_cast<int>(dulFilled + ulLen));
        return PLAYER_ERR_PARAM;
    }
    if (bRawAac) {
        NoteFormAac(pucPacket, pstPacket->ucESOffset - AU_HEADER_SIZE, pstStream);
        // at the start of the buffer, also when a frame is in it already
        rtp::WriteAdtsHead(pstPacket->stAudioInfo, ulLen + rtp::ADTS_HEAD_SIZE, pstStream->pucFrameData);
    }
    memcpy(pstStream->pucFrameData + dulFilled, pucPacket + pstPacket->ucESOffset, ulLen);
    pstStream->ulFrameLen = static_cast<ULONG_32>(dulFilled + ulLen);
    return PLAYER_ERR_OK;
}

ULONG_32 RTP_SpellFrameJPEG(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                            RTP_STREAM_INFO_S *pstStream) {
    ULONG_32 ulAt = pstPacket->ucESOffset + 8U + (pstPacket->usDri != 0 ? 4 : 0);
    ulAt += pstPacket->ulQLen != 0 ? pstPacket->ulQLen + 4 : 0;
    if (ulAt > ulPacketLen) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    bool bFirst = pstPacket->ulJpegOffset == 0 && pstPacket->usJpegWidth != 0 && pstPacket->usJpegHeight != 0;
    if (bFirst && pstPacket->ulQ == 255) {
        TellForm(pstStream, RTP_FORM_JPEG_Q255, "JPEG With Q 255, Send A Q Below");
    }
    if (bFirst && !BeginJpegFrame(pucPacket + ulAt, pstPacket, pstStream)) {
        return PLAYER_ERR_FAILED;
    }
    if (!Append(pstStream, pucPacket + ulAt, ulPacketLen - ulAt)) {
        LOG_ERROR("RTP_SpellFrameJPEG Failed, JPEG Len[%d] out of Buffer Size.",
                  static_cast<int>(pstStream->ulFrameLen + (ulPacketLen - ulAt)));
        return PLAYER_ERR_PARAM;
    }
    return PLAYER_ERR_OK;
}

BOOL_T RTPH264_Parse_PrivateData(const UCHAR *pucPayload, ULONG_32 ulPayloadLen, RTP_RESERVED_INFO_S *pstReservedInfo) {
    constexpr ULONG_32 HEAD_SIZE = 3;    // private type, length
    constexpr ULONG_32 FIELDS_SIZE = 8;  // in front of the cells
    constexpr ULONG_32 SMALLEST = 399;   // length at which the block counts
    if (ulPayloadLen < HEAD_SIZE + FIELDS_SIZE || pucPayload[0] != RTP_PRIVATE_MOTION_DETECT ||
        rtp::Be16(pucPayload + 1) < SMALLEST) {
        return 0;
    }
    const UCHAR *p = pucPayload + HEAD_SIZE;
    DRV_MOTION_DETECT_S &stTo = pstReservedInfo->stDrvMotionDectect;
    stTo.us16Rows = rtp::Be16(p);
    stTo.us16Columns = rtp::Be16(p + 2);
    stTo.us16Reserve = rtp::Be16(p + 4);
    stTo.us16ContentLen = rtp::Be16(p + 6);
    ULONG_32 ulCells = std::min<ULONG_32>(sizeof(stTo.aucData), ulPayloadLen - HEAD_SIZE - FIELDS_SIZE);
    memcpy(stTo.aucData, p + FIELDS_SIZE, ulCells);
    memset(stTo.aucData + ulCells, 0, sizeof(stTo.aucData) - ulCells);
    pstReservedInfo->ucType[0] = RTP_PRIVATE_MOTION_DETECT;
    return 1;
}

LONG_32 RTP_ParseFrameType(UCHAR *pucFrameData, ULONG_32 ulFrameLen) {
    if (pucFrameData == nullptr) {
        return PLAYER_VIDEO_FRAME_P;
    }
    for (size_t i = StartCode_Find(pucFrameData, ulFrameLen, 1); i + 3 < ulFrameLen;
         i = StartCode_Find(pucFrameData, ulFrameLen, i + 3)) {
        if (pucFrameData[i - 1] != 0) {
            continue;  // only units behind a 4-byte start code count
        }
        UCHAR ucType = pucFrameData[i + 3] & 31;
        if (ucType == 7 || ucType == 5) {
            return PLAYER_VIDEO_FRAME_I;
        }
        if (ucType == 1) {
            return PLAYER_VIDEO_FRAME_P;
        }
    }
    return PLAYER_VIDEO_FRAME_P;
}

ULONG_32 RTP_FindDataByNAL(LONG_32 lPayload, UCHAR ucNal, UCHAR *pucBuffer, LONG_32 lBufferLen, UCHAR **ppucNalBuffer,
                           LONG_32 *plDataLen) {
    bool bH264 = lPayload == PLAYER_PAYLOAD_H264;
    if (!bH264 && lPayload != PLAYER_PAYLOAD_H265) {
        LOG_ERROR("RTP_FindDataByNAL Failed, Unknown Payload Type[%d].", static_cast<int>(lPayload));
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (pucBuffer == nullptr || ppucNalBuffer == nullptr || plDataLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    size_t ulLen = lBufferLen > 0 ? static_cast<size_t>(lBufferLen) : 0;
    for (size_t i = StartCode_Find(pucBuffer, ulLen, 0); i + 4 < ulLen; i = StartCode_Find(pucBuffer, ulLen, i + 3)) {
        UCHAR ucType = bH264 ? pucBuffer[i + 3] & 31 : pucBuffer[i + 3] >> 1 & 63;
        if (ucType == ucNal) {
            *ppucNalBuffer = pucBuffer + i + 4;
            *plDataLen = static_cast<LONG_32>(StartCode_Find(pucBuffer, ulLen, i + 4) - (i + 4));
            return PLAYER_ERR_OK;
        }
        bool bSlice = bH264 ? ucType == 5 : ucType >= 1 && ucType <= 21;
        if (bSlice) {
            return PLAYER_ERR_FAILED;
        }
    }
    return PLAYER_ERR_FAILED;
}
