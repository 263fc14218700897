/**
 * @file rtp_head.h
 * @brief The walk over an RTP header that unpacking and the questions about a packet share; private to module_rtp.
 */
#ifndef ZELVANE_INTAKE_RTP_HEAD_H
#define ZELVANE_INTAKE_RTP_HEAD_H

#include "foundations/bytes.h"
#include "intake/module_rtp.h"

namespace rtp {

/** How a payload is put into packets: RTP_PACKET_INFO_S::ucNALType and the types that announce it. */
enum : UCHAR { PACK_SINGLE = 0, PACK_STAP_A = 24, PACK_FU_A = 28, PACK_FU_H265 = 49 };

/** RTP payload types with a fixed meaning here. */
enum : UCHAR {
    PT_G711U = 0,
    PT_G711A = 8,
    PT_JPEG = 26,
    PT_DATA = 50,
    PT_AAC_RAW = 104, /**< 4 bytes of AU header section, then a raw frame */
    PT_H264 = 105,
    PT_H265 = 108,
    PT_AAC_ADTS = 120,
    PT_PCM = 121,
};

/** Most bytes of a video frame. */
inline constexpr ULONG_32 MAX_VIDEO_FRAME = VIDEO_FRAME_BUFFER_SIZE - 1;

/** Where the parts of a packet lie. */
struct Layout {
    UCHAR ucPayload;      /**< offset of the payload; wraps at 256 */
    ULONG_32 ulExtension; /**< offset of the header extension, 0 without one */
};

/** Bytes of an ADTS header. */
inline constexpr ULONG_32 ADTS_HEAD_SIZE = 7;

/** ADTS header (ISO/IEC 13818-7, 6.2) of a frame of ulLen bytes, header included. */
void WriteAdtsHead(const RTP_AUDIO_INFO_S &stInfo, ULONG_32 ulLen, UCHAR *pucTo);

using bytes::Be16;
using bytes::Be32;

/** Whether ulCount bytes at ulOffset lie inside ulLen. */
inline bool Inside(ULONG_32 ulOffset, ULONG_32 ulCount, ULONG_32 ulLen) {
    return ulOffset <= ulLen && ulCount <= ulLen - ulOffset;
}

/** False if fixed header, CSRC list or the extension's own header run out of the packet. The payload may be empty. */
inline bool FindParts(const UCHAR *pucPacket, ULONG_32 ulPacketLen, Layout *pstLayout) {
    if (ulPacketLen < RTP_HEAD_SIZE) {
        return false;
    }
    ULONG_32 ulEnd = RTP_HEAD_SIZE + 4 * (pucPacket[0] & 0x0FU);
    pstLayout->ulExtension = 0;
    if ((pucPacket[0] & 0x10) != 0) {
        if (!Inside(ulEnd, 4, ulPacketLen)) {
            return false;
        }
        pstLayout->ulExtension = ulEnd;
        pstLayout->ucPayload = static_cast<UCHAR>(ulEnd + 4 + 4 * Be16(pucPacket + ulEnd + 2));
        return true;
    }
    pstLayout->ucPayload = static_cast<UCHAR>(ulEnd);
    return ulEnd <= ulPacketLen;
}

/** Media type by the port's table (which may be null), then by the built-in map; false if unknown. Does not log. */
bool MediaType(const RTP_PAYLOAD_TYPE_S *pstTable, UCHAR ucPayloadType, PLAYER_PAYLOAD_E *penType);

}  // namespace rtp

#endif
