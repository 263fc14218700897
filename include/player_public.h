/**
 * @file player_public.h
 * @brief Records, enumerations, error codes and callback types of the Zelvane player library.
 *
 * Compiles alone as C11 and as C++20. The functions stand in player_sdk_func.h.
 *
 * Conventions
 * - A name's prefix tells its type: `ul` unsigned 32 bits, `l` signed 32 bits, `dul`/`dl` 64 bits, `us` 16 bits,
 *   `uc` byte, `b` boolean (32 bits, 1 is true), `f` float, `en` enumeration, `st` record, `pst` pointer to a record,
 *   `pc`/`psz`/`puc` pointer, `sz` character array, `pfn` function pointer, `h` handle.
 * - Stream and file timestamps are ticks of 90 kHz, play times whole seconds, other times milliseconds, sizes bytes,
 *   unless a field says otherwise.
 * - A pointer handed to a callback is valid until that callback returns; copy what has to last longer.
 * - Callbacks run on the library's own threads. They may call getters. They must not close or free the port that they
 *   are called for: such a call is refused (see Zelvane_CloseInputStream()).
 */
#ifndef ZELVANE_PLAYER_PUBLIC_H
#define ZELVANE_PLAYER_PUBLIC_H

#include <stdarg.h>
#include <stdint.h>

/* ---- base types ------------------------------------------------------------------------------------------------ */

typedef uint32_t ULONG_32;      /**< unsigned, 32 bits */
typedef int32_t LONG_32;        /**< signed, 32 bits */
typedef unsigned long ULONG;    /**< unsigned, as wide as a pointer */
typedef long LONG;              /**< signed, as wide as a pointer */
typedef uint64_t DULONG;        /**< unsigned, 64 bits */
typedef int64_t DLONG;          /**< signed, 64 bits */
typedef int32_t BOOL_T;         /**< boolean in 32 bits: 1 true, 0 false */
typedef char CHAR;              /**< text */
typedef unsigned char UCHAR;    /**< byte */
typedef unsigned short USHORT;  /**< unsigned, 16 bits */
typedef short SHORT;            /**< signed, 16 bits */
typedef float FLOAT;            /**< 32-bit float */
typedef long LONG_REAL;         /**< reserved word that ends each media callback; 0 */
typedef void *HANDLE;           /**< opaque, as wide as a pointer */
typedef void *HWND;             /**< window handle; an X11 window id cast to a pointer */

/**
 * Marks an enumeration that calls take or give: a word, of which a client may hand in any value. C++ would otherwise
 * leave undefined what happens with one that has no name.
 */
#ifdef __cplusplus
#define ZELVANE_WORD_ENUM : ULONG_32
#else
#define ZELVANE_WORD_ENUM
#endif

/* ---- limits ---------------------------------------------------------------------------------------------------- */

#define PLAYER_MAX_PORT_NUM 256 /**< ports are numbered 0 to 255 */
#define PLAYER_FILE_NAME_LEN 256 /**< bytes of a file name, with its terminator */

/* ---- error codes ----------------------------------------------------------------------------------------------- */

/** What Zelvane_GetLastError() gives after a call has returned 0. */
typedef enum tagPlayerErrorE {
    PLAYER_ERR_OK = 0,                 /**< success */
    PLAYER_ERR_FAILED = 1,             /**< unspecific failure */
    PLAYER_ERR_PARAM = 2,              /**< bad argument or wrong state of the port */
    PLAYER_ERR_MALLOC = 3,             /**< allocation failed */
    PLAYER_ERR_SOCKET_CREATE = 4,      /**< socket could not be created */
    PLAYER_ERR_SOCKET_RECV = 5,        /**< receive failed */
    PLAYER_ERR_SOCKET_RECV_ZERO = 6,   /**< receive returned zero bytes */
    PLAYER_ERR_NOT_SUPPORT = 7,        /**< operation or payload not supported */
    PLAYER_ERR_RESOURCE = 8,           /**< a queue or thread of a port could not be created */
    PLAYER_ERR_SOCKET_SEND = 11,       /**< send failed */
    PLAYER_ERR_FILE_NOT_FOUND = 13,    /**< file not found for reading */
    PLAYER_ERR_LOG_CLOSED = 14,        /**< logging was closed on request */
    PLAYER_ERR_VOICE_BUSY = 16,        /**< voice service refused */
    PLAYER_ERR_INIT = 257,             /**< start-up failed */
    PLAYER_ERR_PORT = 259,             /**< port out of range, not allocated, or none free */
    PLAYER_ERR_QUEUE_FULL = 260,       /**< packet ring full */
    PLAYER_ERR_QUEUE_EMPTY = 261,      /**< ring or picture queue empty */
    PLAYER_ERR_FILE_OPEN = 262,        /**< file could not be opened or created */
    PLAYER_ERR_FILE_END = 263,         /**< end of file */
    PLAYER_ERR_DISK_FULL = 264,        /**< write failed, disk full */
    PLAYER_ERR_FILE_READ = 265,        /**< file read or seek failed */
    PLAYER_ERR_PACK_AGAIN = 267,       /**< a muxer has more packets to make of this frame */
    PLAYER_ERR_KRDF_INDEX = 271,       /**< an index or a group of a KRDF record has bad contents */
    PLAYER_ERR_KRDF_SEEK = 272,        /**< seek failed in a KRDF record */
    PLAYER_ERR_KRDF_NOT_OPEN = 273,    /**< no KRDF record is open */
    PLAYER_ERR_KRDF_READ_END = 274,    /**< nothing is left of a KRDF record */
    PLAYER_ERR_KRDF_JUMP_OVER = 275,   /**< jump past the total time of a KRDF record */
    PLAYER_ERR_KRDF_OVER_TIME = 277,   /**< reading a KRDF record was called off */
    PLAYER_ERR_KRDF_NOT_RUNNING = 278, /**< the reader of a KRDF record does not run */
    PLAYER_ERR_KRDF_SPELL = 280,       /**< a frame of a KRDF record could not be put together */
    PLAYER_ERR_KRDF_PACKET_LEN = 281,  /**< a packet of a KRDF record has an impossible length */
    PLAYER_ERR_UNKNOWN_STREAM = 524,   /**< data of no known stream type */
    PLAYER_ERR_PACKET_LOST = 525,      /**< packet lost or frame damaged */
    PLAYER_ERR_NEED_MORE_DATA = 526,   /**< no complete frame yet */
    PLAYER_ERR_CODEC_CREATE = 527,     /**< decoder could not be created */
    PLAYER_ERR_DECODE = 528,           /**< codec call failed */
    PLAYER_ERR_TCP_RECV = 529,         /**< TCP framing lost or TCP receive failed */
    PLAYER_ERR_VIDEO_CHANNEL = 530,    /**< no display channel free */
    PLAYER_ERR_NOT_IMPLEMENTED = 531,  /**< operation absent from this display back end */
    PLAYER_ERR_DISPLAY_CREATE = 532,   /**< display device could not be created */
    PLAYER_ERR_NO_SOUND_DEVICE = 533,  /**< no sound device open */
    PLAYER_ERR_ENCODER_CREATE = 535,   /**< encoder could not be created */
    PLAYER_ERR_RECORD_STARTED = 537,   /**< a recording runs on this port already */
    PLAYER_ERR_NO_PICTURE = 538,       /**< the decoder gave no picture this time */
    PLAYER_ERR_RTP_TYPE = 539,         /**< the RTP packetiser is to be called again */
    PLAYER_ERR_AUDIO_RESET = 540,      /**< audio decoder broke and is to be rebuilt */
    PLAYER_ERR_FILE_SCRAMBLE = 543,    /**< file descrambling failed */
    PLAYER_ERR_SCRAMBLE = 544,         /**< stream descrambling failed */
    PLAYER_ERR_IVA_PARAM = 1025,       /**< analytics record parser got no data */

    /* Cloud recordings: results of calls, and codes of run messages (Zelvane_OpenHlsStream()). */
    PLAYER_HLS_DOWNLOAD_FINISHED = 1793,     /**< message: every segment of the playlist is in the cache */
    PLAYER_ERR_HLS_ADDRESS_FAMILY = 1794,    /**< the server's address is neither IPv4 nor IPv6 */
    PLAYER_ERR_HLS_CONNECT = 1795,           /**< server not found, not reached, or not the one it claims to be */
    PLAYER_ERR_HLS_HTTP_STATUS = 1798,       /**< the server answered other than 200, 401, 403 */
    PLAYER_HLS_DOWNLOAD_WAIT_TIMEOUT = 1799, /**< message: play has waited for a segment longer than it lasts */
    PLAYER_HLS_PLAY_FINISHED = 1800,         /**< message: play has come to the end of the playlist */
    PLAYER_ERR_HLS_HTTP_DENIED = 1802,       /**< the server answered 401 or 403: the URLs have expired */
    PLAYER_ERR_HLS_TIME_NOT_FOUND = 1805,    /**< no segment holds that time */
    PLAYER_ERR_HLS_NO_CACHE_PATH = 1806,     /**< Zelvane_SetCachePath() has not been called */
    PLAYER_ERR_HLS_SEND = 1807,              /**< the request could not be sent */
    PLAYER_ERR_HLS_CANCELLED = 1808,         /**< the stream closes, the fetch was given up */
    PLAYER_HLS_PLAY_NORMAL = 1809            /**< message: play at a new position has begun */
} PLAYER_ERROR_E;

/* ---- log ------------------------------------------------------------------------------------------------------- */

/** Log levels; a log set to one level holds it and all above. */
typedef enum tagPlayerLogLevel ZELVANE_WORD_ENUM {
    PLAYER_LOG_CLOSE = 0, /**< as a threshold: write nothing */
    PLAYER_LOG_DEBUG = 1,
    PLAYER_LOG_INFO = 2,
    PLAYER_LOG_WARN = 3,
    PLAYER_LOG_ERROR = 4,
    PLAYER_LOG_FATAL = 5
} PLAYER_LOGLEVEL_E;

/**
 * Takes one line of the library's log, on whatever thread wrote it, pipeline threads included: it must not block.
 * @param ulLogLevel   PLAYER_LOGLEVEL_E
 * @param ulErrCode    always 358
 * @param ulModuleId   always 0
 * @param pcFileName   source file, with its path
 * @param ulLine       line in that file
 * @param pcText       the line, at most 1023 characters, without a line end
 */
typedef void (*PLAYER_WRITE_LOG_CALLBACK_PF)(ULONG_32 ulLogLevel, ULONG_32 ulErrCode, ULONG_32 ulModuleId,
                                             const CHAR *pcFileName, ULONG_32 ulLine, const CHAR *pcText);

/* ---- run messages ---------------------------------------------------------------------------------------------- */

/** Kinds of run message. All that this version sends carry a PLAYER_RUN_INFO_S. */
typedef enum tagPlayerMediaRunInfoType {
    PLAYER_RUN_INFO_RECORD_VIDEO = 0,       /**< recording: code 12, 262, 264, 268 or 270 */
    PLAYER_RUN_INFO_MEDIA_PROCESS = 1,      /**< media: 263 end of file, 269 new picture size, 528 JPEG decoding fails */
    PLAYER_RUN_INFO_SERIES_SNATCH = 2,
    PLAYER_RUN_INFO_MEDIA_VOICE = 3,
    PLAYER_RUN_INFO_MEDIA_NOT_IDENTIFY = 4,
    PLAYER_RUN_INFO_RECV_PACKET_NUM = 5,
    PLAYER_RUN_INFO_RECV_BYTE_NUM = 6,
    PLAYER_RUN_INFO_VIDEO_FRAME_NUM = 7,
    PLAYER_RUN_INFO_AUDIO_FRAME_NUM = 8,
    PLAYER_RUN_INFO_LOST_PACKET_RATIO = 9,
    PLAYER_RUN_INFO_MEDIA_PLAY_PROGRESS = 10,
    PLAYER_RUN_INFO_MEDIA_PLAY_END = 11,
    PLAYER_RUN_INFO_MEDIA_ABNORMAL = 12,
    PLAYER_RUN_INFO_CODEC = 13,
    PLAYER_RUN_INFO_STREAM = 14,            /**< code 515: the peer closed the stream */
    PLAYER_RUN_INFO_PLAYBACK_FINISH = 15,   /**< code 542: the server says that its playback finished */
    PLAYER_RUN_INFO_SNATCH = 16,            /**< code 545: an asynchronous snapshot is done */
    PLAYER_RUN_INFO_MAX = 17
} PLAYER_MEDIA_RUN_INFO_TYPE_E;

/** Codes that travel in run messages only (PLAYER_RUN_INFO_S::ulErrCode), beside those of PLAYER_ERROR_E. */
typedef enum tagPlayerRunCodeE {
    PLAYER_RUN_RECORD_OPEN_FAILED = 12, /**< record file could not be opened */
    PLAYER_RUN_RECORD_FINISHED = 268,   /**< a record file was finished; szFilePath names it */
    PLAYER_RUN_PICTURE_SIZE = 269,      /**< picture size is new; szFilePath holds "width:%d&height:%d" */
    PLAYER_RUN_RECORD_ROLLED = 270,     /**< a record file was closed at rollover; szFilePath names it */
    PLAYER_RUN_PEER_CLOSED = 515,       /**< peer closed the stream */
    PLAYER_RUN_PLAYBACK_FINISHED = 542, /**< server finished its playback; ulReserved is the playback time */
    PLAYER_RUN_SNATCH_DONE = 545,       /**< asynchronous snapshot done; ulReserved is its result */
    PLAYER_RUN_PTZ_STREAM = 1538,       /**< the stream became a PTZ stream */
    PLAYER_RUN_PTZ_STREAM_END = 1539    /**< the stream is a PTZ stream no longer */
} PLAYER_RUN_CODE_E;

/** Run message of all kinds that this version sends. */
typedef struct tagPlayerRunInfo {
    ULONG_32 ulPort;                       /**< port that it is about */
    ULONG_32 ulErrCode;                    /**< what happened */
    ULONG_32 ulReserved;                   /**< extra value, see the kind */
    CHAR szFilePath[PLAYER_FILE_NAME_LEN]; /**< file or text, see the kind */
} PLAYER_RUN_INFO_S;

/** Packets received in a period. */
typedef struct tagPlayerRecvPacketNum {
    ULONG_32 ulPort;       /**< port */
    ULONG_32 ulRecvPktNum; /**< packets */
    ULONG_32 ulStatPeriod; /**< period, seconds */
} PLAYER_RECV_PACKET_NUM_S;

/** Video frames in a period. */
typedef struct tagPlayerVideoFrameNum {
    ULONG_32 ulPort;          /**< port */
    ULONG_32 ulVideoFrameNum; /**< frames */
    ULONG_32 ulStatPeriod;    /**< period, seconds */
} PLAYER_VIDEO_FRAME_NUM_S;

/** Audio frames in a period. */
typedef struct tagPlayerAudioFrameNum {
    ULONG_32 ulPort;          /**< port */
    ULONG_32 ulAudioFrameNum; /**< frames */
    ULONG_32 ulStatPeriod;    /**< period, seconds */
} PLAYER_AUDIO_FRAME_NUM_S;

/** Bytes received in a period. */
typedef struct tagPlayerRecvByteNum {
    ULONG_32 ulPort;        /**< port */
    ULONG_32 ulRecvByteNum; /**< bytes */
    ULONG_32 ulStatPeriod;  /**< period, seconds */
} PLAYER_RECV_BYTE_NUM_S;

/** Packet loss in a period. */
typedef struct tagPlayerLostPacketRatio {
    ULONG_32 ulPort;         /**< port */
    ULONG_32 ulLostPktRatio; /**< ratio */
    ULONG_32 ulStatPeriod;   /**< period, seconds */
} PLAYER_LOST_PAKCET_RATIO_S;

/** Progress of a media file. */
typedef struct tagPlayerMediaProgress {
    ULONG_32 ulPort;          /**< port */
    ULONG_32 ulMediaProgress; /**< progress */
} PLAYER_MEDIA_PROGRESS_S;

/** Body of a run message: the second argument of PLAYER_RUN_INFO_CALLBACK_PF points to one. */
typedef union tagReportMsgU {
    PLAYER_RUN_INFO_S stRunInfo;                 /**< every kind that this version sends */
    PLAYER_RECV_PACKET_NUM_S stPacketNum;        /**< kind 5 */
    PLAYER_VIDEO_FRAME_NUM_S stVideoFrameNum;    /**< kind 7 */
    PLAYER_AUDIO_FRAME_NUM_S stAudioFrameNum;    /**< kind 8 */
    PLAYER_RECV_BYTE_NUM_S stByteNum;            /**< kind 6 */
    PLAYER_LOST_PAKCET_RATIO_S stLostPacketRate; /**< kind 9 */
    PLAYER_MEDIA_PROGRESS_S stMediaProgress;     /**< kind 10 */
} REPORT_MSG_U;

/**
 * Takes one run message, on the library's report thread, in the order of the events.
 * @param ulRunInfoType PLAYER_MEDIA_RUN_INFO_TYPE_E
 * @param pMsg          a REPORT_MSG_U, valid for the time of the call
 */
typedef void (*PLAYER_RUN_INFO_CALLBACK_PF)(ULONG_32 ulRunInfoType, void *pMsg);

/* ---- recording ------------------------------------------------------------------------------------------------- */

/**
 * Container, name and content of a recording: Zelvane_StartRecord(). ADD_TIME puts the wall clock of start and end into
 * the name, ADD_RCD_TIME the time that the stream itself tells (the wall clock if it tells none). AUDIO holds sound
 * alone, VIDEO pictures alone.
 */
typedef enum tagPlayerFileFormateE {
    PLAYER_FILE_FORMATE_MP4 = 0,
    PLAYER_FILE_FORMATE_TS = 1,
    PLAYER_FILE_FORMATE_MP4_ADD_TIME = 2,
    PLAYER_FILE_FORMATE_TS_ADD_TIME = 3,
    PLAYER_FILE_FORMATE_AUDIO_TS = 4,
    PLAYER_FILE_FORMATE_AUDIO_MP4 = 5,
    PLAYER_FILE_FORMATE_AUDIO_TS_ADD_TIME = 6,
    PLAYER_FILE_FORMATE_AUDIO_MP4_ADD_TIME = 7,
    PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME = 8,
    PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME = 9,
    PLAYER_FILE_FORMATE_AUDIO_MP4_ADD_RCD_TIME = 10,
    PLAYER_FILE_FORMATE_AUDIO_TS_ADD_RCD_TIME = 11,
    PLAYER_FILE_FORMATE_VIDEO_MP4_ADD_RCD_TIME = 12,
    PLAYER_FILE_FORMATE_VIDEO_TS_ADD_RCD_TIME = 13,
    PLAYER_FILE_FORMATE_AVI = 14, /**< the one that takes JPEG beside MPEG-TS; sound becomes MPEG audio */
    PLAYER_FILE_FORMATE_AVI_ADD_TIME = 15,
    PLAYER_FILE_FORMATE_AUDIO_AVI = 16,
    PLAYER_FILE_FORMATE_AUDIO_AVI_ADD_TIME = 17,
    PLAYER_FILE_FORMATE_AVI_ADD_RCD_TIME = 18,
    PLAYER_FILE_FORMATE_AUDIO_AVI_ADD_RCD_TIME = 19,
    PLAYER_FILE_FORMATE_VIDEO_AVI_ADD_RCD_TIME = 20
} PLAYER_FILE_FORMATE_E;

/** How a snapshot is saved. */
typedef enum tagPlayerPicFormateE {
    PLAYER_PIC_FORMATE_BMP = 0,          /**< bitmap, 24 bits a pixel; sizes rounded down to multiples of 4 */
    PLAYER_PIC_FORMATE_JPEG = 1,         /**< JPEG */
    PLAYER_PIC_FORMATE_JPEG_AND_BMP = 2, /**< both, the bitmap first */
    PLAYER_PIC_FORMATE_MAX = 3           /**< no format */
} PLAYER_PIC_FORMATE_E;

/** Which of the finished files Zelvane_GetRecordFiles() gives. */
typedef enum tagPlayerRecordGetFileNamePosE ZELVANE_WORD_ENUM {
    RECORD_GET_FILENAME_FIRST = 0, /**< the first */
    RECORD_GET_FILENAME_LAST = 1,  /**< the last */
    RECORD_GET_FILENAME_ALL = 2    /**< all */
} PLAYER_RECORD_GET_FILENAME_POS_E;

/** One finished record file. */
typedef struct tagFileNameList {
    CHAR szFileName[PLAYER_FILE_NAME_LEN]; /**< path; empty for a stop without a recording */
    struct tagFileNameList *pstNext;       /**< next; counts as far as ulFileCount says */
} PLAYER_RECORD_FILENAME_LIST_S;

/** Finished record files of a port. The nodes belong to the port and last until Zelvane_FreePort(). */
typedef struct tagFilesNameInfo {
    ULONG_32 ulFileCount;                               /**< nodes that count */
    PLAYER_RECORD_FILENAME_LIST_S *pstFileNameLinkList; /**< first of them */
} PLAYER_RECORD_FILES_NAME_INFO_S;

/* ---- codecs and media ------------------------------------------------------------------------------------------ */

/** Video codings as the client sees them. */
typedef enum tagPlayerVideoEncodeType {
    PLAYER_VIDEO_ENCODE_MPEG2 = 0,
    PLAYER_VIDEO_ENCODE_MPEG4 = 1,
    PLAYER_VIDEO_ENCODE_H264 = 2,  /**< ITU-T H.264 */
    PLAYER_VIDEO_ENCODE_MJPEG = 3, /**< ITU-T T.81, one JPEG a frame */
    PLAYER_VIDEO_ENCODE_H265 = 4,  /**< ITU-T H.265 */
    PLAYER_VIDEO_ENCODE_NULL = 5   /**< no video decoder yet */
} PLAYER_VIDEO_ENCODE_TYPE_E;

/** Audio codings as the client sees them. */
typedef enum tagPlayerAudioEncodeType {
    PLAYER_AUDIO_ENCODE_G711U = 0, /**< ITU-T G.711 mu-law */
    PLAYER_AUDIO_ENCODE_MP2 = 1,   /**< ISO/IEC 11172-3 layer II */
    PLAYER_AUDIO_ENCODE_AAC = 2,   /**< ISO/IEC 14496-3, in ADTS frames */
    PLAYER_AUDIO_ENCODE_G711A = 3, /**< ITU-T G.711 A-law */
    PLAYER_AUDIO_ENCODE_PCM = 4,   /**< 16-bit PCM */
    PLAYER_AUDIO_ENCODE_NULL = 5   /**< no audio decoder yet */
} PLAYER_AUDIO_ENCODE_TYPE_E;

/** Wave formats of PLAYER_WAVE_DATA_S and PLAYER_PARSE_AUDIO_DATA_S. */
typedef enum tagPlayerWaveFormatInfo {
    PLAYER_WAVE_FORMAT_8000 = 0,   /**< 8000 Hz */
    PLAYER_WAVE_FORMAT_16000 = 1,  /**< 16000 Hz */
    PLAYER_WAVE_FORMAT_44100 = 2,  /**< 44100 Hz */
    PLAYER_WAVE_FORMAT_11025 = 3,  /**< 11025 Hz */
    PLAYER_WAVE_FORMAT_48000 = 6,  /**< 48000 Hz */
    PLAYER_WAVE_FORMAT_UNKNOWN = 7 /**< any other rate */
} PLAYER_WAVE_FORMAT_INFO_E;

/** Container of a packet at the source callback. */
typedef enum tagPlayerMediaDataFormat {
    PLAYER_MEDIA_DATA_TS = 0,     /**< MPEG-TS */
    PLAYER_MEDIA_DATA_ES = 1,     /**< elementary stream */
    PLAYER_MEDIA_DATA_PS = 2,     /**< MPEG-PS */
    PLAYER_MEDIA_DATA_RTP_ES = 3  /**< RTP */
} PLAYER_MEDIA_DATA_FORMAT_E;

/** Kinds of video frame (PLAYER_PARSE_VIDEO_DATA_S::ulVideoFrameType). */
typedef enum tagPlayerVideoFrameTypeE {
    PLAYER_VIDEO_FRAME_I = 0, /**< key frame */
    PLAYER_VIDEO_FRAME_P = 1,
    PLAYER_VIDEO_FRAME_B = 2
} PLAYER_VIDEO_FRAME_TYPE_E;

/** One entry of the table that maps RTP payload types to codings (RFC 3551); see Zelvane_SetPayloadType(). */
typedef struct tagPlayerPayloadType {
    UCHAR ucPayloadType;  /**< RTP payload type to match, 0 to 127 */
    UCHAR ucReserved[3];  /**< 0 */
    ULONG_32 ulType;      /**< 0: a video entry; otherwise an audio entry */
    union {
        PLAYER_VIDEO_ENCODE_TYPE_E enVideoPayloadType; /**< with ulType 0 */
        PLAYER_AUDIO_ENCODE_TYPE_E enAudioPayloadType; /**< otherwise */
    } unPayload;          /**< coding that the payload type carries */
    ULONG_32 ulSampleRate; /**< clock rate; the entry counts only when this is not 0 */
} PLAYER_PAYLOAD_TYPE_S;

/** AAC stream description, fields of an ADTS head (ISO/IEC 13818-7); see Zelvane_SetAudioInfo(). */
typedef struct tagPlayerAudioInfo {
    UCHAR ucAudioType;      /**< audio object type, 1 Main, 2 LC */
    UCHAR ucFrequencyIndex; /**< sampling frequency index, 0 (96000 Hz) to 11 (8000 Hz) */
    UCHAR ucChannelNum;     /**< channel configuration */
    UCHAR ucReserved;       /**< 0 */
} PLAYER_AUDIO_INFO_S;

/** A whole video frame at the parse callback. */
typedef struct tagPlayerParseVideoData {
    UCHAR *pucData;             /**< Annex B units, or one JPEG */
    ULONG_32 ulDataLen;         /**< bytes */
    ULONG_32 ulVideoFrameType;  /**< PLAYER_VIDEO_FRAME_TYPE_E; for JPEG not meaningful */
    ULONG_32 ulVideoCodeFormat; /**< PLAYER_VIDEO_ENCODE_TYPE_E: 2, 3 or 4 */
    ULONG_32 ulHeight;          /**< always 0 */
    ULONG_32 ulWidth;           /**< always 0 */
    DLONG dlTimeStamp;          /**< 90 kHz ticks */
    ULONG_32 ulAbsTime;         /**< playback time that the server sent along, or 0 */
    ULONG_32 ulReserved2;       /**< 0 */
} PLAYER_PARSE_VIDEO_DATA_S;

/** A whole audio frame at the parse callback. */
typedef struct tagPlayerParseAudioData {
    UCHAR *pucData;             /**< the frame */
    ULONG_32 ulDataLen;         /**< bytes */
    ULONG_32 ulAudioCodeFormat; /**< PLAYER_AUDIO_ENCODE_TYPE_E */
    ULONG_32 ulWaveFormat;      /**< PLAYER_WAVE_FORMAT_INFO_E: 0 G.711, 7 MP2 and AAC, 3 PCM */
    DLONG dlTimeStamp;          /**< 90 kHz ticks */
    ULONG_32 ulReserved1;       /**< 0 */
    ULONG_32 ulReserved2;       /**< 0 */
} PLAYER_PARSE_AUDIO_DATA_S;

/**
 * A decoded picture: 8-bit YUV 4:2:0 in three planes.
 *
 * Only pixels may be read: of each row ulPicWidth bytes in Y and half as many, rounded down, in U and V, of ulPicHeight
 * rows and half as many. Between the rows lies padding; behind the last pixel of a plane its memory may end. So copy row
 * by row, or up to the last pixel of the last row, never rows times line size.
 */
typedef struct tagPlayerPictureData {
    UCHAR *pucData[4];         /**< planes Y, U, V; the fourth is unused */
    ULONG_32 ulLineSize[4];    /**< bytes from one row to the next */
    ULONG_32 ulPicHeight;      /**< rows of Y; U and V have half */
    ULONG_32 ulPicWidth;       /**< pixels of a row of Y */
    ULONG_32 ulRenderTimeType; /**< always 0 */
    ULONG_32 ulFrameRate;      /**< frames a second of the stream */
    DLONG dlRenderTime;        /**< when it is shown: the smallest stamp of a frame decoded and not yet given, 90 kHz */
} PLAYER_PICTURE_DATA_S;

/** Decoded sound: 16-bit PCM in the machine's byte order, channels interleaved. */
typedef struct tagPlayerWaveData {
    CHAR *pcData;          /**< samples */
    ULONG_32 ulDataLen;    /**< bytes */
    ULONG_32 ulWaveFormat; /**< PLAYER_WAVE_FORMAT_INFO_E */
} PLAYER_WAVE_DATA_S;

/* ---- media callbacks ------------------------------------------------------------------------------------------- */

/**
 * Packets as they arrive, before anything else sees them; on the thread that pushes (input port) or receives.
 * @param ulPort       port
 * @param pucData      the packet
 * @param ulDataLen    bytes
 * @param ulMediaFormat PLAYER_MEDIA_DATA_FORMAT_E: 0 or 3
 * @param pUserParam   the setter's value
 * @param lReserved    0
 */
typedef void (*PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF)(ULONG_32 ulPort, const UCHAR *pucData, ULONG_32 ulDataLen,
                                                     ULONG_32 ulMediaFormat, void *pUserParam, LONG_REAL lReserved);
/** Whole video frames, on the port's decode thread. */
typedef void (*PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF)(ULONG_32 ulPort, PLAYER_PARSE_VIDEO_DATA_S *pstVideoData,
                                                    void *pUserParam, LONG_REAL lReserved);
/** Whole audio frames, on the port's decode thread. */
typedef void (*PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF)(ULONG_32 ulPort, PLAYER_PARSE_AUDIO_DATA_S *pstAudioData,
                                                    void *pUserParam, LONG_REAL lReserved);
/** Decoded pictures, on the port's decode thread. */
typedef void (*PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF)(ULONG_32 ulPort, PLAYER_PICTURE_DATA_S *pstPictureData,
                                                     void *pUserParam, LONG_REAL lReserved);
/** Decoded sound, on the port's decode thread. */
typedef void (*PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF)(ULONG_32 ulPort, PLAYER_WAVE_DATA_S *pstWaveData,
                                                     void *pUserParam, LONG_REAL lReserved);
/** Drawing over a picture. The display of this version stores it and does not call it. */
typedef void (*PLAYER_DRAW_DATA_CALLBACK_PF)(HANDLE hDrawHandle, HANDLE hDrawing, void *pUserParam,
                                             LONG_REAL lReserved);
/** Decoded sound for a voice service, on the port's decode thread. */
typedef void (*PLAYER_PARSE_VOICE_DATA_CALLBACK_PF)(ULONG_32 ulPort, PLAYER_WAVE_DATA_S *pstWaveData,
                                                    void *pUserParam, LONG_REAL lReserved);

/* ---- voice ----------------------------------------------------------------------------------------------------- */

/** What a voice service does; see Zelvane_OpenVoiceSvc(). */
typedef enum tagPlayerVoiceSvcType {
    PLAYER_VOICE_SERVICE_BROADCAST_INPUT = 0,   /**< the client pushes sound; one of 128 such services at most */
    PLAYER_VOICE_SERVICE_BROADCAST_CAPTURE = 1, /**< not supported: this version captures no sound */
    PLAYER_VOICE_SERVICE_TALKBACK_INPUT = 2,    /**< the client pushes sound */
    PLAYER_VOICE_SERVICE_TALKBACK_CAPTURE = 3,  /**< not supported either */
    PLAYER_VOICE_SERVICE_BE_BROADCASTED = 4     /**< sends nothing, only holds the connection */
} PLAYER_VOICE_SVC_TYPE_E;

/** Sample rates of a voice service, both with 16 bits and one channel; see Zelvane_SetVoiceEncodeType(). */
typedef enum tagPlayerVoiceWaveFormat {
    PLAYER_WAVE_FORMAT_PCM8M16 = 0, /**< 8000 Hz */
    PLAYER_WAVE_FORMAT_PCM16M16 = 1 /**< 16000 Hz */
} PLAYER_VOICE_WAVE_FORMAT_E;

/** What samples the client pushes. Not read in this version: the sound is taken to be what the encoder wants. */
typedef struct tagPlayerAudioSampleParam {
    ULONG_32 ulChannels;     /**< channels */
    ULONG_32 ulSampleRate;   /**< samples a second */
    ULONG_32 enSampleFormat; /**< kind of sample */
} PLAYER_AUDIO_SAMPLE_PARAM_S;

/** Which pictures reach the decode callback; see Zelvane_SetVideoCallBackMode(). */
typedef enum tagVideoCBType {
    PLAYER_VIDEO_CB_DEFAULT = 0,     /**< every decoded picture */
    PLAYER_VIDEO_CB_FISH_RECTIFY = 1 /**< corrected fisheye pictures only: none in this version */
} PLAYER_VIDEO_CB_TYPE_E;

/* ---- play settings --------------------------------------------------------------------------------------------- */

/** What a full packet ring does to the sender; see Zelvane_SetBufferCtrl(). */
typedef enum tagBufferCtrlE {
    PLAYER_BUFFER_CTRL_GIVEUP = 0, /**< refuse the packet at once */
    PLAYER_BUFFER_CTRL_BLOCK = 1   /**< wait for room, about a second at most; the default */
} PLAYER_BUFFER_CTRL_E;

/** How a network stream comes; see Zelvane_OpenNetStream(). */
typedef enum tagPlayerProtocolE {
    PLAYER_PROTOCOL_UDP = 0,        /**< one packet a datagram */
    PLAYER_PROTOCOL_TCP = 1,        /**< packets behind the four bytes "$", channel, big-endian length (RFC 2326, 10.12) */
    PLAYER_PROTOCOL_TCP_SERVER = 2, /**< opens nothing: a port of this kind stays silent */
    PLAYER_PROTOCOL_PIPE = 3,       /**< opens nothing either */
    PLAYER_PROTOCOL_TCP_REPALY = 4, /**< connects and then ends with its first read in this version */
    PLAYER_PROTOCOL_MAX = 5
} PLAYER_PROTOCOL_E;

/** What a network stream does to keep a NAT open; see Zelvane_SetNatParam(). */
typedef enum tagPlayerNatModeE {
    PLAYER_NAT_NONE = 0, /**< nothing; the default */
    PLAYER_NAT_IN = 1,   /**< one message to the peer, then PLAYER_NAT_NONE */
    PLAYER_NAT_OUT = 2   /**< nothing in this version */
} PLAYER_NAT_MODE_E;

/** Pacing of the pictures; see Zelvane_SetPictureFluency(). */
typedef enum tagPictureFluencyE {
    PLAYER_PICTURE_REAL = 0,         /**< as soon as possible; the default */
    PLAYER_PICTURE_FLUENCY = 1,      /**< evenly */
    PLAYER_PICTURE_BALANCE = 2,      /**< accepted, works as PLAYER_PICTURE_REAL */
    PLAYER_PICTURE_BALANCE_NEW = 3,  /**< evenly, with half the hoped-for backlog */
    PLAYER_PICTURE_RTMP_FLUENCY = 4  /**< evenly, corrected softly by the backlog */
} PLAYER_PICTURE_FLUENCY_E;

/** Scaling of the picture in its window; see Zelvane_SetRenderScale(). */
typedef enum tagPlayerRenderScaleE ZELVANE_WORD_ENUM {
    PLAYER_RENDER_SCALE_FULL = 0,       /**< fill the window */
    PLAYER_RENDER_SCALE_PROPORTION = 1, /**< keep the picture's proportion */
    PLAYER_RENDER_SCALE_REAL = 2        /**< works as PLAYER_RENDER_SCALE_FULL */
} PLAYER_RENDER_SCALE_E;

/** Digital zoom off and on. */
typedef enum tagPlayerDigitalZoomE {
    PLAYER_DIGITAL_ZOOM_CLOSE = 0,
    PLAYER_DIGITAL_ZOOM_OPEN = 1
} PLAYER_DIGITAL_ZOOM_E;

/** Rectangle; for the digital zoom in 1/10,000 of the picture. */
typedef struct tagPlayerRectS {
    LONG_32 lLeft;   /**< left edge */
    LONG_32 lTop;    /**< top edge */
    LONG_32 lRight;  /**< right edge */
    LONG_32 lBottom; /**< bottom edge */
} PLAYER_RECT_S;

/** Window size, pixels. */
typedef struct tagPlayerWindSizeS {
    ULONG_32 ulHeight; /**< height */
    ULONG_32 ulWidth;  /**< width */
} PLAYER_WIND_SIZE_S;

/** Point, pixels. */
typedef struct tagPlayerPointS {
    USHORT usX; /**< from the left */
    USHORT usY; /**< from the top */
} PLAYER_POINT_S;

/** Which audio track of a stream is played; see Zelvane_SetPlaySoundChannel(). */
typedef enum tagPlayerSoundChannelE ZELVANE_WORD_ENUM {
    PLAYER_SOUND_CHANNEL_LEFT = 0,  /**< leave out frames of the right track */
    PLAYER_SOUND_CHANNEL_RIGHT = 1, /**< leave out frames of the left track */
    PLAYER_SOUND_CHANNEL_NONE = 2,  /**< leave out all */
    PLAYER_SOUND_CHANNEL_MIX = 3,   /**< all */
    PLAYER_SOUND_CHANNEL_MAX = 4    /**< all; the default */
} PLAYER_SOUND_CHANNEL_E;

/** Picture adjustment; see Zelvane_SetAdjust(). */
typedef struct tagPlayerVideoAdjustParamS {
    ULONG_32 ulContrast;   /**< default 100 */
    ULONG_32 ulBrightness; /**< default 100 */
    ULONG_32 ulHue;        /**< default 0 */
    ULONG_32 ulSaturation; /**< default 100 */
    ULONG_32 ulGamma;      /**< default 10 */
} PLAYER_VIDEOADJUST_PARAM_S;

/** Deinterlacing; see Zelvane_SetDeinterlaceMode(). */
typedef enum tagPlayerDeinterlaceModeE ZELVANE_WORD_ENUM {
    DEINTERLACE_NONE = 0,           /**< none */
    DEINTERLACE_DOUBLETOPFIELD = 1  /**< each even line doubled over the odd one below */
} PLAYER_DEINTERLACEMODE_E;

/** What hardware decoding is there; see Zelvane_AbleGpuDecodeEx(). All 0 in this version. */
typedef struct tagGpuAbleState {
    BOOL_T bGpuAbleH264;  /**< H.264 */
    BOOL_T bGpuAbleH265;  /**< H.265 */
    BOOL_T bGpuAbleMJPEG; /**< JPEG */
    BOOL_T bGpuAbleMPEG2; /**< MPEG-2 */
    BOOL_T bGpuAbleMPEG4; /**< MPEG-4 */
    BOOL_T bReserved1;    /**< 0 */
    BOOL_T bReserved2;    /**< 0 */
    BOOL_T bReserved3;    /**< 0 */
} PLAYER_GPU_ABLE_STATE_S;

/** Play speeds. Codes 3 to 6 also thin the pictures of a live stream. Nothing plays backward: the backward speeds
 *  play key frames forward, or (12 and 13) at normal speed. */
typedef enum tagPlayerPlaySpeedE {
    PLAYER_SPEED_QUARTER_FORWARD = 0,
    PLAYER_SPEED_HALF_FORWARD = 1,
    PLAYER_SPEED_1_FORWARD = 2,
    PLAYER_SPEED_2_FORWARD = 3,
    PLAYER_SPEED_4_FORWARD = 4,
    PLAYER_SPEED_8_FORWARD = 5,
    PLAYER_SPEED_16_FORWARD = 6,
    PLAYER_SPEED_16_BACKWARD = 7,
    PLAYER_SPEED_8_BACKWARD = 8,
    PLAYER_SPEED_4_BACKWARD = 9,
    PLAYER_SPEED_2_BACKWARD = 10,
    PLAYER_SPEED_1_BACKWARD = 11,
    PLAYER_SPEED_HALF_BACKWARD = 12,
    PLAYER_SPEED_QUARTER_BACKWARD = 13,
    PLAYER_SPEED_2_FORWARD_IFRAME = 14,
    PLAYER_SPEED_4_FORWARD_IFRAME = 15,
    PLAYER_SPEED_8_FORWARD_IFRAME = 16,
    PLAYER_SPEED_16_FORWARD_IFRAME = 17,
    PLAYER_SPEED_2_BACKWARD_IFRAME = 18,
    PLAYER_SPEED_4_BACKWARD_IFRAME = 19,
    PLAYER_SPEED_8_BACKWARD_IFRAME = 20,
    PLAYER_SPEED_16_BACKWARD_IFRAME = 21,
    PLAYER_SPEED_INTELLIGENT_FORWARD = 22,
    PLAYER_SPEED_1_FRAME_FORWARD = 23,
    PLAYER_SPEED_I_FRAME_BACKWARD = 24,
    PLAYER_SPEED_40_FORWARD = 25,
    PLAYER_SPEED_32_FORWARD_IFRAME = 26,
    PLAYER_SPEED_32_BACKWARD_IFRAME = 27,
    PLAYER_SPEED_64_FORWARD_IFRAME = 28,
    PLAYER_SPEED_64_BACKWARD_IFRAME = 29,
    PLAYER_SPEED_128_FORWARD_IFRAME = 30,
    PLAYER_SPEED_128_BACKWARD_IFRAME = 31,
    PLAYER_SPEED_256_FORWARD_IFRAME = 32,
    PLAYER_SPEED_256_BACKWARD_IFRAME = 33,
    PLAYER_SPEED_32_FORWARD = 34,
    PLAYER_SPEED_32_BACKWARD = 35
} PLAYER_PLAY_SPEED_E;

/** Play position of one port; see Zelvane_GetPlayTimeEx(). */
typedef struct tagPlayTimeInfoS {
    ULONG_32 ulPort;     /**< port, filled in by the client */
    ULONG_32 ulPlayTime; /**< position, seconds */
} PLAYBACK_PLAY_TIME;

/** Where a camera's text band lies relative to the picture. */
typedef enum tagOSDStyle {
    PLAYER_OSD_INSIDE = 0,        /**< in the picture */
    PLAYER_OSD_OUTSIDE_TOP = 1,   /**< above it */
    PLAYER_OSD_OUTSIDE_BOTTOM = 2 /**< below it */
} PLAYER_OSD_STYL_E;

/** Views of a fisheye or PTZ stream; see Zelvane_SetPtzAndFixMode(). */
typedef enum tagPlayerPtzMode {
    PLAYER_ORIGINAL = 0,          /**< the picture as it is */
    PLAYER_180 = 1,               /**< panorama of half the circle */
    PLAYER_360_1PTZ = 2,          /**< panorama of the whole circle and one view */
    PLAYER_360_6PTZ = 3,          /**< panorama of the whole circle and six views */
    PLAYER_FISH_3PTZ = 4,         /**< fisheye picture and three views */
    PLAYER_FISH_MID_ON_4PTZ = 5,  /**< fisheye picture over the middle of four views */
    PLAYER_FISH_MID_OFF_4PTZ = 6, /**< four views without it */
    PLAYER_FISH_LEFT_4PTZ = 7,    /**< fisheye picture left of four views */
    PLAYER_FISH_8PTZ = 8,         /**< fisheye picture and eight views */
    PLAYER_PANORAMA = 9,          /**< panorama */
    PLAYER_PR_3PTZ = 10,          /**< panorama and three views */
    PLAYER_PR_4PTZ = 11,          /**< panorama and four views */
    PLAYER_PR_8PTZ = 12           /**< panorama and eight views */
} PLAYER_PTZ_MODE_E;

/** How a PTZ stream is shown; see Zelvane_SetPtzDisplayMode(). */
typedef enum tagPlayerPtzDisplayMode {
    PLAYER_PTZ_DISPLAY_ORIGINAL = 0, /**< the picture as it is */
    PLAYER_PTZ_DISPLAY_5PTZ = 1      /**< five views */
} PLAYER_PTZ_DISPLAY_MODE_E;

/* ---- content protection ---------------------------------------------------------------------------------------- */

/**
 * An RSA key pair for Zelvane_SetRsaKey(). The big numbers are hexadecimal text, leading zeros allowed; each ends with a
 * zero byte or with its field.
 */
typedef struct tagRsaInfo {
    ULONG_32 ulBit; /**< size of the modulus, bits: eight times its bytes, 1040 at most */
    ULONG_32 ulPub; /**< public exponent */
    CHAR cN[260];   /**< modulus */
    CHAR cPri[260]; /**< private exponent */
    CHAR cP[132];   /**< first prime */
    CHAR cQ[132];   /**< second prime */
    CHAR cDP[132];  /**< private exponent modulo cP - 1 */
    CHAR cDQ[132];  /**< private exponent modulo cQ - 1 */
    CHAR cQP[132];  /**< inverse of cQ modulo cP */
} PLAYER_RSA_INFO_S;

/** What a watermark check says of a key frame. */
typedef enum tagPlayerCheckStateE {
    CHECK_STATE_RIGHT = 0,    /**< its mark fits */
    CHECK_STATE_NOMARK = 1,   /**< it has no mark */
    CHECK_STATE_MISMARCH = 2  /**< its mark doesn't fit: mark or picture was changed */
} PLAYER_CHECK_STATE_E;

/** A key frame that failed a watermark check. */
typedef struct tagPlayerCheckMarkInfo {
    ULONG_32 ulPlayTime; /**< where, seconds since the start of an MP4 file; 0 in other files */
    ULONG_32 ulState;    /**< CHECK_STATE_NOMARK or CHECK_STATE_MISMARCH */
} PLAYER_CHECK_MARK_INFO;

/** Entries of a list of failures at most. */
#define PLAYER_MARK_LIST_NUM 1000

/** Result of Zelvane_CheckMark(). */
typedef struct tagPlayerMarkInfo {
    CHAR szMarkInfo[512];                       /**< clear text of the last mark, in the first 256 bytes */
    ULONG ulUnmarkCount;                        /**< entries of the list */
    PLAYER_CHECK_MARK_INFO *pastUnmarkTimeList; /**< failures; the client's, until Zelvane_FreeMarkInfo() */
    BOOL_T bHaveWaterMark;                      /**< 1: at least one key frame had the right mark */
} PLAYER_MARK_INFO_S;

/* ---- planning figures ------------------------------------------------------------------------------------------ */

/** Operating systems of PLAYER_MALLOC_INFO_S. */
typedef enum tagPlayerDecodeSysTypeE {
    PLAYER_DECODE_SYSTYPE_WIN7 = 0,
    PLAYER_DECODE_SYSTYPE_WIN8 = 1,
    PLAYER_DECODE_SYSTYPE_WIN10 = 2
} PLAYER_DECODE_SYSTYPE_E;

/** Resolutions of PLAYER_MALLOC_INFO_S. */
typedef enum tagPlayerDecodeResolutionE {
    PLAYER_DECODE_RESOLUTION_CIF = 0,
    PLAYER_DECODE_RESOLUTION_2CIF = 1,
    PLAYER_DECODE_RESOLUTION_D1 = 2,
    PLAYER_DECODE_RESOLUTION_720P = 3,
    PLAYER_DECODE_RESOLUTION_1080P = 4,
    PLAYER_DECODE_RESOLUTION_4M = 5,
    PLAYER_DECODE_RESOLUTION_8M = 6,
    PLAYER_DECODE_RESOLUTION_12M = 7
} PLAYER_DECODE_RESOLUTION_E;

/** Address space of one decoder; see Zelvane_GetTotalVirtualSize(). */
typedef struct tagPlayerMallocInfoS {
    ULONG_32 ulSystemType;    /**< PLAYER_DECODE_SYSTYPE_E */
    ULONG_32 ulDecodePayload; /**< PLAYER_VIDEO_ENCODE_TYPE_E: H.264 or H.265 */
    ULONG_32 ulResolution;    /**< PLAYER_DECODE_RESOLUTION_E */
    ULONG_32 ulVirtualSize;   /**< megabytes */
} PLAYER_MALLOC_INFO_S;

/** Rows that Zelvane_GetTotalVirtualSize() fills. */
#define PLAYER_MALLOC_INFO_NUM 42

#endif
