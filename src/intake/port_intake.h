/**
 * @file port_intake.h
 * @brief A port's slice of intake: from a socket's bytes to the frame in hand.
 */
#ifndef ZELVANE_INTAKE_PORT_INTAKE_H
#define ZELVANE_INTAKE_PORT_INTAKE_H

#include "foundations/player_types.h"
#include "intake/module_net.h"
#include "intake/module_rtp.h"
#include "intake/module_sei.h"
#include "intake/module_ts.h"
#include "intake/rtp_standard.h"

/** Container of the last packet. */
enum : ULONG_32 { STREAM_TYPE_NONE = 0, STREAM_TYPE_TS = 1, STREAM_TYPE_RTP = 2 };

/** State of a container that the parser does not recognise in this version. */
typedef struct tagFlvStreamInfoS {
    UCHAR *pucFrameData;
    ULONG_32 ulFrameLen;
} FLV_STREAM_INFO_S;

/** Intake of a port. */
typedef struct tagPortIntakeS {
    /* ---- the stream's buffers: made and freed by open and close under the API lock, used by the port's threads
     * between */
    NET_INFO_S stNetInfo;            /**< socket of a network stream; net thread */
    CHAR *pcRecvDataAddr;            /**< what the net thread received; over TCP one frame with its head */
    ULONG_32 ulRecvDataLen;          /**< bytes in it */
    BOOL_T bCutTold;                 /**< the log has told of datagrams larger than the buffer; net thread */
    CHAR *pcRecvDataTmpAddr;         /**< over TCP, what came behind that frame */
    ULONG_32 ulRecvDataTmpLen;       /**< bytes in it */
    CHAR *pcFrameDataAddr;           /**< frame assembly for video, VIDEO_FRAME_BUFFER_SIZE; decode thread */
    ULONG_32 ulFrameDataLen;         /**< nothing uses it in this version */
    ULONG_32 ulFrameBufLen;          /**< size of pcFrameDataAddr */
    CHAR *pcRtpAudioFrameDataAddr;   /**< frame assembly for sound and data, AUDIO_FRAME_BUFFER_SIZE; decode thread */
    ULONG_32 ulRtpAudioFrameDataLen; /**< nothing uses it in this version */
    ULONG_32 ulRtpAudioFrameBufLen;  /**< size of pcRtpAudioFrameDataAddr */

    /* ---- the parser: decode thread alone; on a file port the play thread, on a helper port the record thread */
    ULONG_32 ulCurStreamType;               /**< container of the last packet, STREAM_TYPE_... */
    TS_STREAM_INFO_S stTsStreamInfo;        /**< TS depacketiser */
    RTP_STREAM_INFO_S stRtpVideoStreamInfo; /**< RTP depacketiser, video; ulPlaybackTime is a word that getters load */
    RTP_STREAM_INFO_S stRtpAudioStreamInfo; /**< RTP depacketiser, sound and data */
    BOOL_T bStandard;                       /**< the stream is read by pstStandard; settled when it is opened */
    FLV_STREAM_INFO_S stFlvStreamInfo;      /**< unused */
    BOOL_T bFindRecordHead;                 /**< the next packet is the frame of a record head just read */
    PLAYER_FRAMEDATA_S stFrameData;         /**< the complete frame in hand */
    BOOL_T bNeedIFrame;                     /**< drop video until the next key frame */
    SEI_INFO_S stSeiInfo;                   /**< private messages of the frame in hand */
    SEI_SCRAMBLE_INFO_S stScrambleInfo;     /**< keys that travelled in the stream */

    /* ---- set by the client under the API lock, read by the threads as words */
    NET_NAT_TIMER_PARAM_S stNatTimeParam; /**< NAT keep-open; its mode releases the text, the net thread acquires */
    RTP_PAYLOAD_TYPE_S *pstPayloadType;   /**< override table of two entries, or null; published once, then words */
    RTP_STANDARD_S *pstStandard;          /**< intake for any sender, or null; published once */
    RTP_AUDIO_INFO_S stRtpAudioInfo;      /**< AAC as the client, or a packet's head, describes it; relaxed words */

    /* ---- written by the threads, read by getters, all relaxed */
    NET_STATEINFO_S stStateInfo; /**< bit rate (net thread or pusher), losses and frame rate (decode thread) */
} PORT_INTAKE_S;

#endif
