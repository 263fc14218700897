/**
 * @file player_types.h
 * @brief Records and numbers that every layer of the library shares.
 */
#ifndef ZELVANE_FOUNDATIONS_PLAYER_TYPES_H
#define ZELVANE_FOUNDATIONS_PLAYER_TYPES_H

#include <sys/time.h>

#include "foundations/module_api.h"
#include "foundations/mw_sdk_bp.h"
#include "player_public.h"

/** Buffer sizes that the layers agree on, bytes. */
enum : ULONG_32 {
    VIDEO_FRAME_BUFFER_SIZE = 0x200000, /**< frame assembly buffer for video */
    AUDIO_FRAME_BUFFER_SIZE = 10240,    /**< frame assembly buffer for audio and data */
    NET_READ_SIZE = 10240,              /**< largest network read */
    TS_PACKET_SIZE = 188,
};

/** What a frame or a codec carries. Video is 3, 4 and 8; audio 0, 1, 2, 5 and 7; 6 carries analytics records. */
typedef enum tagPlayerPayloadE {
    PLAYER_PAYLOAD_G711U = 0,
    PLAYER_PAYLOAD_MP1L2 = 1,
    PLAYER_PAYLOAD_AAC = 2,
    PLAYER_PAYLOAD_H264 = 3,
    PLAYER_PAYLOAD_JPEG = 4,
    PLAYER_PAYLOAD_G711A = 5,
    PLAYER_PAYLOAD_DATA = 6,
    PLAYER_PAYLOAD_PCM = 7,
    PLAYER_PAYLOAD_H265 = 8,
    PLAYER_PAYLOAD_NULL = 9, /**< also a codec slot that holds no codec yet */
    PLAYER_PAYLOAD_MAX_NUM = 10
} PLAYER_PAYLOAD_E;

inline bool Payload_IsVideo(LONG_32 lPayload) {
    return lPayload == PLAYER_PAYLOAD_H264 || lPayload == PLAYER_PAYLOAD_JPEG || lPayload == PLAYER_PAYLOAD_H265;
}

/** Video whose pictures refer to one another. */
inline bool Payload_IsInterVideo(LONG_32 lPayload) {
    return lPayload == PLAYER_PAYLOAD_H264 || lPayload == PLAYER_PAYLOAD_H265;
}

inline bool Payload_IsAudio(LONG_32 lPayload) {
    return lPayload == PLAYER_PAYLOAD_G711U || lPayload == PLAYER_PAYLOAD_MP1L2 || lPayload == PLAYER_PAYLOAD_AAC ||
           lPayload == PLAYER_PAYLOAD_G711A || lPayload == PLAYER_PAYLOAD_PCM;
}

/** The current complete frame of a port. */
typedef struct tagPlayerFrameDataS {
    UCHAR *pucData;               /**< points into a depacketiser's buffer or at the packet itself */
    LONG_32 lDataLen;             /**< bytes */
    ULONG_32 ulMallocLen;         /**< size of an own buffer, where there is one */
    LONG_32 lPayload;             /**< PLAYER_PAYLOAD_E */
    LONG_32 lFormatType;          /**< video: PLAYER_VIDEO_FRAME_TYPE_E; audio: 0 left or only track, 4 right track */
    DULONG dulTimestamp;          /**< 90 kHz ticks */
    UCHAR *pucPrivateData;        /**< private data that came with the frame */
    ULONG_32 ulPrivateDataLen;    /**< its bytes */
    ULONG_32 ulMallocPrivateLen;  /**< its buffer's size */
    BOOL_T bOneFrameDecordFlag;   /**< the decoder made for this frame is to work frame by frame */
    ULONG_32 ulAudioReFrameCount; /**< frames that the AAC encoder has given for this port's recording */
    BOOL_T bPictureEnd;           /**< video: the frame ends a picture, as far as the source can tell */
} PLAYER_FRAMEDATA_S;

/** Overlay records that travel with a picture. */
typedef struct tagCodeDrawInfoS {
    HANDLE hIvaInfo;     /**< copy made by DataCopy, released by FreeInfo */
    HANDLE hPtzCtrlInfo; /**< copy of the PTZ controls, released by free */
} CODE_DRAWINFO_S;

/** A decoded picture or PCM block. For PCM, pucData[0] holds the samples and lLineSize[0] their length in bytes. */
typedef struct tagCodeDecodedDataS {
    UCHAR *pucData[4];          /**< planes Y, U, V; owned by the codec or, in the picture queue, by the node */
    LONG_32 lLineSize[4];       /**< strides */
    LONG_32 lMediaType;         /**< with the value 2 the AAC encoder makes its own timestamps */
    LONG_32 lDuration;          /**< display time, milliseconds */
    LONG_32 lWidth;             /**< pixels */
    LONG_32 lHeight;            /**< rows */
    QLOM_SDK_MUTEX_S stLock;    /**< held while a decoder writes the planes or they are freed */
    ULONG_32 ulSampleRate;      /**< PCM */
    ULONG_32 ulChannels;        /**< PCM */
    ULONG_32 ulBitsPerSample;   /**< PCM */
    DULONG dulTimeStamp;        /**< timestamp */
    BOOL_T bUsingData;          /**< a render thread holds this node of the picture queue */
    BOOL_T bFullWnd;            /**< the picture is to fill the window */
    CODE_DRAWINFO_S stDrawInfo; /**< overlays */
} CODE_DECODED_DATA_S;

/**
 * An encoded frame: a decoder's input, an encoder's output. Without bytes it ends the stream so far: the decoder gives
 * what it holds back, a picture a call, and then takes what comes for a new stream.
 */
typedef struct tagCodecPacketS {
    UCHAR *pucData;      /**< bytes */
    ULONG_32 ulSize;     /**< how many */
    DULONG dulTimestamp; /**< timestamp */
    LONG_32 lFormatType; /**< as PLAYER_FRAMEDATA_S, or CODEC_FRAME_MORE */
    BOOL_T bPictureEnd;  /**< as PLAYER_FRAMEDATA_S */
} CODEC_FRAME_S;

/** lFormatType of a frame without bytes that only asks for the next picture of the frame before. */
#define CODEC_FRAME_MORE (-2)

/** Motion detection block of a camera. */
typedef struct tagMotionDetect {
    USHORT us16Rows;       /**< rows of cells */
    USHORT us16Columns;    /**< columns of cells */
    USHORT us16Reserve;    /**< unused */
    USHORT us16ContentLen; /**< bytes of aucData that count, as the camera says; not checked */
    UCHAR aucData[396];    /**< cells */
} DRV_MOTION_DETECT_S;

/** Private data of a stream. */
typedef struct tagRtpReservedInfoS {
    UCHAR ucType[8]; /**< [0]: private type of the block, 21 for motion detection; 0 none yet */
    union {
        DRV_MOTION_DETECT_S stDrvMotionDectect; /**< type 21 */
    };
} RTP_RESERVED_INFO_S;

#endif
