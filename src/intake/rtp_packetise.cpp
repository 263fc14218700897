/**
 * @file rtp_packetise.cpp
 * @brief Cuts a frame of sound into RTP packets.
 */
#include <cstdlib>
#include <cstring>

#include "foundations/com_log.h"
#include "intake/module_rtp.h"
#include "intake/rtp_head.h"

namespace {

struct SendRow {
    PLAYER_PAYLOAD_E enType;
    UCHAR ucPayloadType;
};
constexpr SendRow SEND_MAP[] = {
    {PLAYER_PAYLOAD_G711U, rtp::PT_G711U}, {PLAYER_PAYLOAD_AAC, rtp::PT_AAC_ADTS}, {PLAYER_PAYLOAD_H264, rtp::PT_H264},
    {PLAYER_PAYLOAD_JPEG, rtp::PT_JPEG},   {PLAYER_PAYLOAD_G711A, rtp::PT_G711A},  {PLAYER_PAYLOAD_DATA, rtp::PT_DATA},
    {PLAYER_PAYLOAD_PCM, rtp::PT_PCM},     {PLAYER_PAYLOAD_H265, rtp::PT_H265},
};

constexpr ULONG_32 SEND_BUFFER_SIZE = 1500;  // what callers are told to bring

UCHAR *PutBe(UCHAR *pucTo, ULONG_32 ulValue, ULONG_32 ulBytes) {
    for (ULONG_32 i = 0; i < ulBytes; ++i) {
        pucTo[i] = static_cast<UCHAR>(ulValue >> 8 * (ulBytes - 1 - i));
    }
    return pucTo + ulBytes;
}

/** Writes the fixed header (RFC 3550, 5.1). */
void WriteHead(RTP_MAKE_INFO_S *pstInfo, UCHAR ucPayloadType, ULONG_32 ulLeft, UCHAR *pucTo) {
    UCHAR ucMarker = ulLeft <= RTP_MAX_SEND_PAYLOAD ? 128 : 0;
    *pucTo++ = 128;
    *pucTo++ = ucMarker & ucPayloadType;  // AND, so always 0: this is what the peers know
    pucTo = PutBe(pucTo, pstInfo->usSequenceNum, 2);
    ++pstInfo->usSequenceNum;
    pucTo = PutBe(pucTo, pstInfo->ulTimestamp, 4);
    PutBe(pucTo, pstInfo->ulSSRC, 4);
}

}  // namespace

ULONG_32 RTP_TypeToRtpPayload(PLAYER_PAYLOAD_E enType, UCHAR *pucPayloadType) {
    for (const SendRow &stRow : SEND_MAP) {
        if (stRow.enType == enType) {
            *pucPayloadType = stRow.ucPayloadType;
            return PLAYER_ERR_OK;
        }
    }
    LOG_ERROR("RTP_TypeToRtpPayload Failed, Unknown Type[%d].", static_cast<int>(enType));
    return PLAYER_ERR_UNKNOWN_STREAM;
}

BOOL_T RTP_IsVideoType(UCHAR ucPayloadType) {
    return ucPayloadType == rtp::PT_H264 || ucPayloadType == rtp::PT_H265 || ucPayloadType == rtp::PT_JPEG;
}

ULONG_32 RTP_CreatePacket(RTP_MAKE_INFO_S *pstRtpMakeInfo) {
    if (pstRtpMakeInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pstRtpMakeInfo = RTP_MAKE_INFO_S{};
    pstRtpMakeInfo->enType = PLAYER_PAYLOAD_NULL;
    pstRtpMakeInfo->ulSSRC = static_cast<ULONG_32>(rand()) * static_cast<ULONG_32>(rand());
    return PLAYER_ERR_OK;
}

ULONG_32 RTP_DestoryPacket(RTP_MAKE_INFO_S *pstRtpMakeInfo) {
    if (pstRtpMakeInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pstRtpMakeInfo = RTP_MAKE_INFO_S{};
    return PLAYER_ERR_OK;
}

ULONG_32 RTP_PacketRtpData(RTP_MAKE_INFO_S *pstRtpMakeInfo, CHAR *pcRtpBuffer, ULONG_32 *pulBufferLen) {
    if (pstRtpMakeInfo == nullptr || pcRtpBuffer == nullptr || pulBufferLen == nullptr ||
        pstRtpMakeInfo->ulMadeLen > pstRtpMakeInfo->ulDataLen ||
        (pstRtpMakeInfo->pcSrcData == nullptr && pstRtpMakeInfo->ulDataLen != 0)) {
        return PLAYER_ERR_PARAM;
    }
    if (*pulBufferLen < RTP_MAX_SEND_PAYLOAD) {
        LOG_WARN("RTP_MakeRtpData Warning, Buffer Len[%d] Little Than [%d].", static_cast<int>(*pulBufferLen),
                 static_cast<int>(SEND_BUFFER_SIZE));
    }
    UCHAR ucPayloadType = 0;
    ULONG_32 ulResult = RTP_TypeToRtpPayload(pstRtpMakeInfo->enType, &ucPayloadType);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("RTP_MakeRtpData Failed, RTP_TypeToRtpPayload Failed, Error:[0x%x].", ulResult);
        return ulResult;
    }
    ULONG_32 ulLeft = pstRtpMakeInfo->ulDataLen - pstRtpMakeInfo->ulMadeLen;
    WriteHead(pstRtpMakeInfo, ucPayloadType, ulLeft, reinterpret_cast<UCHAR *>(pcRtpBuffer));
    if (RTP_IsVideoType(ucPayloadType)) {
        return PLAYER_ERR_NOT_SUPPORT;  // video is never sent
    }
    bool bMore = ulLeft > RTP_MAX_SEND_PAYLOAD;
    ULONG_32 ulCount = bMore ? RTP_MAX_SEND_PAYLOAD : ulLeft;
    if (ulCount != 0) {
        memcpy(pcRtpBuffer + RTP_HEAD_SIZE, pstRtpMakeInfo->pcSrcData + pstRtpMakeInfo->ulMadeLen, ulCount);
    }
    *pulBufferLen = RTP_HEAD_SIZE + ulCount;
    if (bMore) {
        pstRtpMakeInfo->ulMadeLen += RTP_MAX_SEND_PAYLOAD;
        return PLAYER_ERR_RTP_TYPE;
    }
    return PLAYER_ERR_OK;
}
