/**
 * @file rtp_standard_inner.h
 * @brief What the parts of rtp_standard share: the window, and who reads which media.
 */
#ifndef ZELVANE_INTAKE_RTP_STANDARD_INNER_H
#define ZELVANE_INTAKE_RTP_STANDARD_INNER_H

#include "foundations/shared_word.h"
#include "intake/rtp_standard.h"

/** What a step came to. */
typedef enum tagRtpStepE {
    RTP_STEP_NONE,  /**< there was nothing to read */
    RTP_STEP_MORE,  /**< nothing yet: go on */
    RTP_STEP_FRAME, /**< a frame is complete */
    RTP_STEP_LOST,  /**< a picture on which others lean is lost */
    RTP_STEP_QUIET  /**< something is lost on which nothing leans */
} RTP_STEP_E;

/** Counts; a getter may be reading. */
inline void Figure_Add(ULONG_32 *pulFigure, ULONG_32 ulCount) { word::Store(*pulFigure, *pulFigure + ulCount); }

/* ---- the window ---- */

/** Reads the head of a packet (RFC 3550, 5.1). False for RTCP, another version, an unknown payload type, a cut head. */
bool RtpWindow_ReadHead(const UCHAR *pucPacket, ULONG_32 ulPacketLen, const RTP_PAYLOAD_TYPE_S *pstTable,
                        RTP_PACKET_VIEW_S *pstView);

/** Begins anew with the next packet. */
void RtpWindow_Reset(RTP_WINDOW_S *pstWindow);

/** Hands a packet in, or drops it as late or doubled. */
void RtpWindow_Push(RTP_WINDOW_S *pstWindow, const RTP_PACKET_VIEW_S &stPacket, DULONG dulNow, RTP_FIGURES_S *pstFigures);

/** The packet that is due, or null. bGap of the window tells that packets in front of it are given up. */
const RTP_PACKET_VIEW_S *RtpWindow_Peek(RTP_WINDOW_S *pstWindow, const RTP_READ_S &stRead, RTP_FIGURES_S *pstFigures);

/** Done with the packet that RtpWindow_Peek() gave; its bytes stay until the next push. */
void RtpWindow_Pop(RTP_WINDOW_S *pstWindow);

/** When the first packet that waits has waited long enough; 0 if none waits. */
DULONG RtpWindow_Deadline(const RTP_WINDOW_S *pstWindow);

/* ---- media ---- */

/** Drops the picture in the buffer, if there is one, and passes over the rest of it. True if there was. */
bool RtpPicture_Drop(RTP_STANDARD_S *pstStandard);

/** Opens a picture for the packet, if none is open. */
void RtpPicture_Open(RTP_PICTURE_S *pstPicture, const RTP_PACKET_VIEW_S &stPacket);

/** Appends to the picture in the buffer; what doesn't fit damages it. */
void RtpPicture_Append(RTP_PICTURE_S *pstPicture, const RTP_READ_S &stRead, const UCHAR *pucData, ULONG_32 ulCount);

/** Whether the packet belongs to a picture that is passed over. */
bool RtpPicture_IsSkipped(RTP_VIDEO_S *pstVideo, const RTP_PACKET_VIEW_S &stPacket);

/** Hands the picture in the buffer out. */
RTP_STEP_E RtpPicture_GiveOut(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead, LONG_32 lFormatType);

/** Ends a picture whose marker came and behind which it is quiet. */
RTP_STEP_E RtpPicture_EndByTime(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead);

/** Ends one in front of a gap, if its only marker came last: it's whole as far as anyone can tell. */
RTP_STEP_E RtpPicture_EndMarked(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead);

/** When a picture ends by time; 0 for never. */
DULONG RtpPicture_Deadline(const RTP_VIDEO_S *pstVideo);

/** The next AAC unit of the packet read last. */
RTP_STEP_E RtpSound_NextUnit(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead);

/** How the packets of a medium are read. */
typedef struct tagRtpMediaS {
    /** Packets are missing in front of the next one. */
    RTP_STEP_E (*pfnLose)(RTP_STANDARD_S *pstStandard);
    /** Ends what the packet doesn't belong to any more; the packet is read behind it. */
    RTP_STEP_E (*pfnEndBefore)(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead);
    /** Reads the packet. */
    RTP_STEP_E (*pfnRead)(RTP_STANDARD_S *pstStandard, const RTP_PACKET_VIEW_S &stPacket, const RTP_READ_S &stRead);
} RTP_MEDIA_S;

extern const RTP_MEDIA_S gstRtpPicture; /**< H.264 and H.265 */
extern const RTP_MEDIA_S gstRtpJpeg;
extern const RTP_MEDIA_S gstRtpSound;

#endif
