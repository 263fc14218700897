/**
 * @file module_rtp.h
 * @brief RTP packets become frames; an audio frame becomes RTP packets.
 *
 * Wire format: RFC 3550 (header, extension), RFC 6184 (H.264), RFC 7798 (H.265), RFC 2435 (JPEG), RFC 3551 (G.711),
 * and two private payload types for AAC. The module has no state, thread or lock of its own: everything lives in the
 * records that the caller passes, and one record is used by one thread at a time. Packets are hostile: no byte outside
 * the given length is read, and no frame grows past its buffer.
 *
 * Buffers: RTP_STREAM_INFO_S::pucFrameData points to VIDEO_FRAME_BUFFER_SIZE bytes for video and to
 * AUDIO_FRAME_BUFFER_SIZE bytes for audio and data, owned by the caller.
 */
#ifndef ZELVANE_INTAKE_MODULE_RTP_H
#define ZELVANE_INTAKE_MODULE_RTP_H

#include "foundations/player_types.h"

/** What RTP_STREAM_INFO_S::lFormatType says of a frame that is no video. */
enum : LONG_32 { RTP_FORMAT_NO_VIDEO = 5 };

/** Private types of a DATA payload that are read here. */
enum : UCHAR { RTP_PRIVATE_MOTION_DETECT = 21 };

/** Sizes of the packetiser, bytes. */
enum : ULONG_32 {
    RTP_HEAD_SIZE = 12,          /**< fixed RTP header */
    RTP_MAX_SEND_PAYLOAD = 1400, /**< payload of one packet */
};

/** One row of a port's table of payload types, which goes before the built-in map. A table has exactly two rows. */
typedef struct tagRtptPayloadTypeS {
    UCHAR ucPayloadType;            /**< RTP payload type to match */
    UCHAR ucReserved[3];            /**< unused */
    PLAYER_PAYLOAD_E enPayloadType; /**< what it carries */
    ULONG_32 ulSampleRate;          /**< 0: the row does not count; 0 in the first row: the table does not count */
} RTP_PAYLOAD_TYPE_S;

/** AAC format as ADTS has it (ISO/IEC 13818-7, 6.2). */
typedef struct tagRtpAudioInfoS {
    UCHAR ucAudioType;      /**< object type, 1 for AAC Main and so on */
    UCHAR ucFrequencyIndex; /**< sampling frequency index */
    UCHAR ucChannelNum;     /**< channel configuration */
    UCHAR ucReserved;       /**< unused */
} RTP_AUDIO_INFO_S;

/** Parsed head of one packet; lives for one call. */
typedef struct tagRtpPacketInfoS {
    USHORT usSequenceNumber;          /**< RTP sequence number */
    UCHAR ucMark;                     /**< 1: the packet ends a frame; the marker bit with its corrections */
    UCHAR ucPayloadType;              /**< RTP payload type, 7 bits */
    PLAYER_PAYLOAD_E enRTPPacketType; /**< media type */
    ULONG_32 ulTimestamp;             /**< RTP timestamp */
    UCHAR ucNALType;                  /**< 0 single unit, 24 STAP-A, 28 FU-A (H.264), 49 FU (H.265) */
    UCHAR ucESType;                   /**< type of the unit carried */
    UCHAR ucStartIndicator;           /**< FU start: 0 or 128 */
    UCHAR ucEndIndicator;             /**< FU end: 0 or 64 */
    UCHAR ucNALU;                     /**< H.264 unit header rebuilt from an FU-A */
    UCHAR ucNALOffset;                /**< offset of the payload; wraps at 256 */
    UCHAR ucESOffset;                 /**< offset of the elementary data; wraps at 256 */
    UCHAR ucJpegType;                 /**< unused */
    ULONG_32 ulJpegOffset;            /**< fragment offset in the JPEG scan */
    USHORT usJpegWidth;               /**< pixels */
    USHORT usJpegHeight;              /**< pixels */
    ULONG_32 ulType;                  /**< RFC 2435 type */
    ULONG_32 ulQ;                     /**< RFC 2435 Q */
    USHORT usDri;                     /**< the F, L and count word of the restart header */
    ULONG_32 ulQLen;                  /**< bytes of in-band quantisation tables */
    USHORT usH265NAL;                 /**< H.265 unit header rebuilt from an FU */
    RTP_AUDIO_INFO_S stAudioInfo;     /**< the port's audio format */
    UCHAR ucMarker;                   /**< the marker bit as it came */
} RTP_PACKET_INFO_S;

/** What a stream may hold that is not taken: without a line in the log it would be black for no reason. */
typedef enum tagRtpFormE {
    RTP_FORM_H265_AGGREGATE = 1, /**< an aggregation packet */
    RTP_FORM_H265_KEY = 2,       /**< a key picture that is none here, before one that is */
    RTP_FORM_H265_TAKEN_KEY = 4, /**< a key picture that is one here: the others do no harm */
    RTP_FORM_JPEG_Q255 = 8,      /**< JPEG whose tables come in packets that are not read */
    RTP_FORM_AAC_UNITS = 16,     /**< several AAC units in a packet */
    RTP_FORM_SHORT_CODE = 32     /**< of a pushed byte stream: start codes of 3 bytes behind one of 4 */
} RTP_FORM_E;

/** Assembly of one stream: a port has one for video and one for audio and data. All zero is the start state. */
typedef struct tagRTPStreamInfoS {
    USHORT ausSequenceNumber[PLAYER_PAYLOAD_MAX_NUM]; /**< last number by PLAYER_PAYLOAD_E; 0: none yet */
    UCHAR ucSPSIndicator;                             /**< kept for the port */
    UCHAR ucPPSIndicator;                             /**< kept for the port */
    UCHAR ucHeadReserve[2];  /**< [0]: the frame hit the limit; the next packet with another timestamp starts afresh.
                                  [1]: the packet that completed the frame had the marker: its picture ends there */
    ULONG_32 ulTimestamp;    /**< RTP timestamp of the frame in the buffer */
    LONG_32 lPayload;        /**< PLAYER_PAYLOAD_E of the finished frame */
    LONG_32 lFormatType;     /**< PLAYER_VIDEO_FRAME_TYPE_E or RTP_FORMAT_NO_VIDEO; for JPEG whatever it was */
    UCHAR *pucFrameData;     /**< frame buffer, owned by the caller */
    ULONG_32 ulFrameLen;     /**< bytes in it; the caller sets 0 when it has taken a finished frame */
    ULONG_32 ulPlaybackTime; /**< time in the header extension, seconds */
    BOOL_T bPlaybckFinish;   /**< the server has finished the playback; stays until the caller clears it */
    ULONG_32 ulErrCount;     /**< fragments that found no frame to join */
    PLAYER_PAYLOAD_E enRTPPacketTypePre; /**< media type of the previous packet */
    USHORT usSequenceNumberPre;          /**< number of the previous packet */
    UCHAR ucReserved[2];                 /**< unused */
    RTP_RESERVED_INFO_S stReservedInfo;  /**< private data */
    UCHAR ucForms;                       /**< forms met that are not taken, each told in the log once: RTP_FORM_E */
} RTP_STREAM_INFO_S;

/** State of the packetiser. */
typedef struct tagRtpMakeInfoS {
    CHAR *pcSrcData;         /**< frame to send, owned by the caller */
    ULONG_32 ulDataLen;      /**< its bytes */
    ULONG_32 ulMadeLen;      /**< bytes that full packets have taken; the caller sets 0 for a new frame */
    PLAYER_PAYLOAD_E enType; /**< what the frame is */
    USHORT usSequenceNum;    /**< number of the next packet */
    USHORT usReserved;       /**< unused */
    ULONG_32 ulTimestamp;    /**< RTP timestamp of the frame */
    ULONG_32 ulSSRC;         /**< source */
} RTP_MAKE_INFO_S;

extern "C" {

/**
 * Feeds one packet.
 * @param pcRecvDataAddr  the packet
 * @param ulRecvDataLen   its bytes
 * @param pstPayloadType  the port's table of two rows, or null
 * @param pstAudioInfo    the port's AAC format, read for payload type 104, learned from 120; or null
 * @param pstVideoStream  H.264, H.265 and JPEG go here
 * @param pstAudioStream  all else goes here
 * @return 0: a frame is complete in the record of its kind. 526: none yet, or a packet of no use. 525: a packet was
 * lost and the frame dropped, or a fragment found no frame. 524: unknown packetisation. 1: unknown payload type or a
 * broken aggregate. 2: the frame buffer is full, or a pointer is null.
 */
MODULE_API ULONG_32 RTP_UnpacketRtpData(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen,
                                        RTP_PAYLOAD_TYPE_S *pstPayloadType, RTP_AUDIO_INFO_S *pstAudioInfo,
                                        RTP_STREAM_INFO_S *pstVideoStream, RTP_STREAM_INFO_S *pstAudioStream);

/** Whether a packet surely carries video. A STAP-A does not count: an aggregate is no proof. */
MODULE_API BOOL_T RTP_IsRtpVideo(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType);

/** Whether a packet ends a video frame: marker set and a video payload type. False for a broken header, any length. */
MODULE_API BOOL_T RTP_IsRtpVideoTail(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType);

/**
 * Finds a NAL unit in an Annex B buffer; the search ends without success at the first slice of another type (H.264: an
 * IDR slice, H.265: types 1 to 21).
 * @param lPayload       PLAYER_PAYLOAD_H264 or PLAYER_PAYLOAD_H265
 * @param ucNal          unit type
 * @param ppucNalBuffer  gets the place behind the first header byte, inside pucBuffer
 * @param plDataLen      gets the bytes from there to the next 00 00 01 or the end
 * @return 0, 1 not found, 2 null pointer, 7 another payload
 */
MODULE_API ULONG_32 RTP_FindDataByNAL(LONG_32 lPayload, UCHAR ucNal, UCHAR *pucBuffer, LONG_32 lBufferLen,
                                      UCHAR **ppucNalBuffer, LONG_32 *plDataLen);

/** Clears a packetiser's record and draws its SSRC. 0, or 2 for a null pointer. */
MODULE_API ULONG_32 RTP_CreatePacket(RTP_MAKE_INFO_S *pstRtpMakeInfo);

/** Zeroes a packetiser's record. 0, or 2 for a null pointer. */
MODULE_API ULONG_32 RTP_DestoryPacket(RTP_MAKE_INFO_S *pstRtpMakeInfo);

/**
 * Makes the next packet of pcSrcData. The peers ignore payload type and marker, which leave as 0.
 * @param pcRtpBuffer   gets the packet; must hold 1412 bytes unless the frame is known to be shorter
 * @param pulBufferLen  in: size of the buffer; below 1400 only a warning. Out: bytes of the packet
 * @return 0 last packet of the frame, 539 call again, 524 unknown payload, 7 video, 2 null pointer or broken record
 */
MODULE_API ULONG_32 RTP_PacketRtpData(RTP_MAKE_INFO_S *pstRtpMakeInfo, CHAR *pcRtpBuffer, ULONG_32 *pulBufferLen);

/* ---- the steps of the above ------------------------------------------------------------------------------------ */

/**
 * Parses the head of a packet whose ucPayloadType and enRTPPacketType are set already, all else 0, and checks the
 * sequence number against the stream.
 * @return 0, 525 loss, 526 unusable; the caller then empties the stream's frame
 */
MODULE_API ULONG_32 RTP_ParsePackHead(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                                      RTP_STREAM_INFO_S *pstStream);

/** Appends the packet's units, each behind 00 00 00 01, to the frame. 0, 1, 2, 524 or 525. */
MODULE_API ULONG_32 RTP_SpellFrameH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                                       RTP_STREAM_INFO_S *pstStream);

/** The same for H.265. Aggregation packets are passed whole, as one unit. */
MODULE_API ULONG_32 RTP_SpellFrameH265(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                                       RTP_STREAM_INFO_S *pstStream);

/** Writes the JFIF headers at the first fragment and appends the scan data. 0, 1, 2 or 526. */
MODULE_API ULONG_32 RTP_SpellFrameJPEG(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                                       RTP_STREAM_INFO_S *pstStream);

/** Appends sound or data; AAC of payload type 104 gets an ADTS header. 0 or 2. */
MODULE_API ULONG_32 RTP_SpellFrameNotH264(const UCHAR *pucPacket, ULONG_32 ulPacketLen, RTP_PACKET_INFO_S *pstPacket,
                                          RTP_STREAM_INFO_S *pstStream);

/** Takes the motion detection block out of a DATA payload, if it is one. True if it was. */
MODULE_API BOOL_T RTPH264_Parse_PrivateData(const UCHAR *pucPayload, ULONG_32 ulPayloadLen,
                                            RTP_RESERVED_INFO_S *pstReservedInfo);

/** The built-in map from RTP payload type to media type. 0, or 524 with a log line. */
MODULE_API ULONG_32 RTP_RtpPayloadToType(UCHAR ucPayloadType, PLAYER_PAYLOAD_E *penType);

/** Looks a payload type up in a port's table. 0, or 524 for a miss. */
MODULE_API ULONG_32 RPT_RtpPayloadToNewType(const RTP_PAYLOAD_TYPE_S *pstPayloadType, UCHAR ucPayloadType,
                                            PLAYER_PAYLOAD_E *penType);

/** The map used for sending. 0, or 524 with a log line. */
MODULE_API ULONG_32 RTP_TypeToRtpPayload(PLAYER_PAYLOAD_E enType, UCHAR *pucPayloadType);

/** Whether a payload type of the sending map is video. */
MODULE_API BOOL_T RTP_IsVideoType(UCHAR ucPayloadType);

/** PLAYER_VIDEO_FRAME_I or _P: which comes first in an Annex B frame with 4-byte start codes, SPS or IDR slice, or a
 *  slice of type 1. P when none does. */
MODULE_API LONG_32 RTP_ParseFrameType(UCHAR *pucFrameData, ULONG_32 ulFrameLen);

}  // extern "C"

static_assert(sizeof(DRV_MOTION_DETECT_S) == 404 && sizeof(RTP_RESERVED_INFO_S) == 412);

#endif
