// Pictures of JPEG (RFC 2435): the headers that RTP leaves out, and the scan, whole or not at all.
#include <string.h>

#include "bits/MakeJpegHeader.h"
#include "foundations/bytes.h"
#include "intake/rtp_standard_inner.h"

namespace {

const ULONG_32 RESTART_BIT = 64;
const ULONG_32 LAST_TYPE = 1;
const UCHAR Q_DYNAMIC = 255;
const UCHAR END_OF_IMAGE[2] = {0xFF, 0xD9};

/** The heads of a packet. */
struct JPEG_HEAD_S {
    ULONG_32 ulOffset; /**< of the data in the scan */
    ULONG_32 ulType;   /**< 0 or 1 */
    UCHAR ucQ;
    USHORT usWidth;
    USHORT usHeight;
    USHORT usInterval;      /**< between restart markers, 0 for none */
    const UCHAR *pucTables; /**< null if the packet has none */
    ULONG_32 ulTables;      /**< bytes of them */
};

/** Quantisation tables of 8 bits (RFC 2435, 3.1.8), in the first packet of a picture. */
bool ReadTables(bytes::Reader &stReader, JPEG_HEAD_S *pstHead) {
    stReader.Skip(1);
    const UCHAR ucPrecision = stReader.U8();
    pstHead->ulTables = stReader.U16Be();
    pstHead->pucTables = pstHead->ulTables != 0 ? stReader.Take(pstHead->ulTables) : nullptr;
    return stReader.Ok() && (pstHead->ulTables == 0 || (ucPrecision & 3) == 0);
}

bool ReadHead(bytes::Reader &stReader, JPEG_HEAD_S *pstHead) {
    stReader.Skip(1);
    pstHead->ulOffset = stReader.U24Be();
    const ULONG_32 ulType = stReader.U8();
    pstHead->ucQ = stReader.U8();
    pstHead->usWidth = static_cast<USHORT>(stReader.U8() * 8);
    pstHead->usHeight = static_cast<USHORT>(stReader.U8() * 8);
    pstHead->ulType = ulType & ~RESTART_BIT;
    if ((ulType & RESTART_BIT) != 0) {
        pstHead->usInterval = stReader.U16Be();
        stReader.Skip(2);
    }
    if (pstHead->ulOffset == 0 && pstHead->ucQ >= RTP_FIRST_CACHED_Q && !ReadTables(stReader, pstHead)) {
        return false;
    }
    return stReader.Ok() && pstHead->ulType <= LAST_TYPE && pstHead->usWidth != 0 && pstHead->usHeight != 0;
}

/** Tables of a picture, from the packet, from one before with the same Q, or from Q itself. */
bool FindTables(RTP_VIDEO_S *pstVideo, const JPEG_HEAD_S &stHead, UCHAR (&aucTables)[2 * RTP_QUANT_SIZE]) {
    if (stHead.ucQ < RTP_FIRST_CACHED_Q) {
        MakeTables(stHead.ucQ, aucTables, aucTables + RTP_QUANT_SIZE);
        return stHead.ucQ != 0;
    }
    const ULONG_32 ulCached = stHead.ucQ - RTP_FIRST_CACHED_Q;
    if (stHead.pucTables == nullptr) {
        if (stHead.ucQ == Q_DYNAMIC || pstVideo->aucTablesKnown[ulCached] == 0) {
            return false;
        }
        memcpy(aucTables, pstVideo->aucTables[ulCached], sizeof(aucTables));
        return true;
    }
    if (stHead.ulTables < RTP_QUANT_SIZE) {
        return false;
    }
    const bool bTwo = stHead.ulTables >= sizeof(aucTables);  // one serves luminance and chrominance
    memcpy(aucTables, stHead.pucTables, RTP_QUANT_SIZE);
    memcpy(aucTables + RTP_QUANT_SIZE, stHead.pucTables + (bTwo ? ULONG_32{RTP_QUANT_SIZE} : 0), RTP_QUANT_SIZE);
    if (stHead.ucQ != Q_DYNAMIC) {
        memcpy(pstVideo->aucTables[ulCached], aucTables, sizeof(aucTables));
        pstVideo->aucTablesKnown[ulCached] = 1;
    }
    return true;
}

/** Begins a picture with its headers. */
bool Begin(RTP_VIDEO_S *pstVideo, const JPEG_HEAD_S &stHead, const RTP_READ_S &stRead) {
    UCHAR aucTables[2 * RTP_QUANT_SIZE];
    if (!FindTables(pstVideo, stHead, aucTables)) {
        return false;
    }
    UCHAR aucHeader[JPEG_HEADER_MAX_SIZE];
    const int iLen = MakeHeaders(aucHeader, static_cast<int>(stHead.ulType), stHead.usWidth, stHead.usHeight, aucTables,
                                 aucTables + RTP_QUANT_SIZE, stHead.usInterval);
    RtpPicture_Append(&pstVideo->stPicture, stRead, aucHeader, static_cast<ULONG_32>(iLen));
    pstVideo->ulJpegBytes = 0;
    return true;
}

RTP_STEP_E Lose(RTP_STANDARD_S *pstStandard) {
    return RtpPicture_Drop(pstStandard) ? RTP_STEP_QUIET : RTP_STEP_MORE;
}

RTP_STEP_E LoseJpeg(RTP_STANDARD_S *pstStandard) {
    RtpPicture_Drop(pstStandard);
    return RTP_STEP_QUIET;
}

/** A picture without a marker has lost its end. */
RTP_STEP_E EndJpegBefore(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &) {
    const RTP_PICTURE_S &stPicture = pstStandard->stVideo.stPicture;
    const bool bOther = stPicture.ulTimestamp != stPacket.ulTimestamp || stPicture.lPayload != PLAYER_PAYLOAD_JPEG;
    return bOther ? Lose(pstStandard) : RTP_STEP_MORE;
}

RTP_STEP_E FinishJpeg(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    RTP_PICTURE_S *pstPicture = &pstStandard->stVideo.stPicture;
    const UCHAR *pucEnd = stRead.pstVideo->pucFrameData + pstPicture->ulLen;
    if (memcmp(pucEnd - sizeof(END_OF_IMAGE), END_OF_IMAGE, sizeof(END_OF_IMAGE)) != 0) {
        RtpPicture_Append(pstPicture, stRead, END_OF_IMAGE, sizeof(END_OF_IMAGE));
    }
    return pstPicture->bDamaged != 0 ? LoseJpeg(pstStandard)
                                     : RtpPicture_GiveOut(pstStandard, stRead, PLAYER_VIDEO_FRAME_I);
}

RTP_STEP_E ReadJpeg(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead) {
    RTP_VIDEO_S *pstVideo = &pstStandard->stVideo;
    if (stPacket.ulLen == 0 || RtpPicture_IsSkipped(pstVideo, stPacket)) {
        return RTP_STEP_MORE;
    }
    bytes::Reader stReader(stPacket.pucPayload, stPacket.ulLen);
    JPEG_HEAD_S stHead = {};
    const bool bGood = ReadHead(stReader, &stHead);
    const bool bBegins = pstVideo->stPicture.bOpen == 0;
    RtpPicture_Open(&pstVideo->stPicture, stPacket);
    if (!bGood || bBegins != (stHead.ulOffset == 0) || (bBegins && !Begin(pstVideo, stHead, stRead)) ||
        stHead.ulOffset != pstVideo->ulJpegBytes) {
        return LoseJpeg(pstStandard);
    }
    const ULONG_32 ulCount = static_cast<ULONG_32>(stReader.Left());
    const UCHAR *pucData = stReader.Take(ulCount);
    if (ulCount != 0) {
        RtpPicture_Append(&pstVideo->stPicture, stRead, pucData, ulCount);
    }
    pstVideo->ulJpegBytes += ulCount;
    if (pstVideo->stPicture.bDamaged != 0) {
        return LoseJpeg(pstStandard);
    }
    return stPacket.ucMarker != 0 ? FinishJpeg(pstStandard, stRead) : RTP_STEP_MORE;
}

}  // namespace

const RTP_MEDIA_S gstRtpJpeg = {LoseJpeg, EndJpegBefore, ReadJpeg};
