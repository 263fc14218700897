/**
 * @file module_krdf.h
 * @brief KRDF records as the file layer sees them: whole frames out of the packets that krdf/krdf_parser.h reads.
 *
 * A parser belongs to one thread at a time; KRDF_GetPlayTime() alone may be called from others meanwhile. Functions
 * return 0 or an error code of player_public.h, and PLAYER_ERR_PARAM (2) for null.
 */
#ifndef ZELVANE_FILE_MODULE_KRDF_H
#define ZELVANE_FILE_MODULE_KRDF_H

#include <stdio.h>

#include "file/krdf/krdf_parser.h"
#include "foundations/player_types.h"

/** What a read of a record is to give. */
typedef enum tagKrdfFrameGetTypeE {
    KRDF_FRAME_GET_TYPE_NONE = 0,             /**< every frame */
    KRDF_FRAME_GET_TYPE_ONLY_I_FRAME = 1,     /**< the key frame of the next group */
    KRDF_FRAME_GET_TYPE_ONLY_VIDEO_FRAME = 2, /**< video; sound comes nevertheless */
    KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME = 3,  /**< key and SP frames */
    KRDF_FRAME_GET_TYPE_MAX = 4
} KRDF_FRAME_GET_TYPE_E;

/** Kinds of frames in packet heads. */
typedef enum tagR7kFrametype { I_FRAME = 0, P_FRAME = 1, B_FRAME = 2, ALL_FRAME = 3, NONE_FRAME = 4 } R7K_Frametype;

/** Codings of sound in packet heads, as the step that takes a packet reads them. */
typedef enum tagR7kAudioID {
    AUDIO_ID_NONE = 0,
    AUDIO_ID_G711ALAW = 1,
    AUDIO_ID_G711ULAW = 2,
    AUDIO_ID_MPEG2 = 3,
    AUDIO_ID_AAC = 4
} R7K_AudioID;

/** What changed in a stream. */
typedef enum tagR7kTypeUpdate {
    NONE_UPDATE = 0,
    VIDEO_UPDATE = 1,
    AUDIO_UPDATE = 2,
    AV_UPDATE = 3,
    STREAM_SWITCH = 4
} R7K_TypeUpdate;

/** The head in each packet, out of its 12 bytes. */
typedef struct tagR7kDataHead {
    ULONG_32 ulPackeType;   /**< 0 video, 1 audio */
    ULONG_32 ulFrameStart;  /**< 1 for the first packet of a frame */
    ULONG_32 ulFrameType;   /**< R7K_Frametype, 2 bits */
    ULONG_32 ulFrameEnd;    /**< 1 for the last packet of a frame */
    ULONG_32 ulFrameRate;   /**< frames a second, 5 bits */
    ULONG_32 ulPacketCount; /**< packet number */
    ULONG_32 usStreamType;  /**< coding */
    ULONG_32 ulFramecnt;    /**< frame number */
} R7K_DATAHEAD_S;

/** Properties of a record. */
typedef struct tagKrdfInfo {
    UCHAR *pucFrameDataAddr;    /**< unused */
    ULONG_32 ulReadLen;         /**< unused */
    DULONG dulFirstTime;        /**< 0 */
    LONG_32 lFrameRate;         /**< frames a second of the first usable group */
    ULONG_32 ulLastTime;        /**< seconds from the begin of the first group to that of the last */
    VIDEO_CODEC_E enVideoCodec; /**< of the first usable group */
    AUDIO_CODEC_E enAudioCodec; /**< always G.711 mu-law */
} KRDF_INFO_S;

/** One frame. */
typedef struct tagKrdfFrameInfo {
    UCHAR *pcDataBuf;           /**< caller's buffer of VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulDataLen;         /**< bytes */
    ULONG_32 ulPayload;         /**< PLAYER_PAYLOAD_E */
    ULONG_32 ulFrameType;       /**< 0 key frame, 1 P, 2 B; of sound that of the video frame before it */
    ULONG_32 ulFrameRate;       /**< frames a second */
    DULONG dulTimeStamp;        /**< video: 90 kHz ticks by frame number; sound: that plus milliseconds of sound */
    ULONG_32 ulWidth;           /**< unused */
    ULONG_32 ulHeight;          /**< unused */
    ULONG_32 ulAudioEncodeType; /**< unused */
    ULONG_32 ulUTCTime;         /**< unused */
} KRDF_FRAME_INFO_S;

extern "C" {

/** 1 if the file begins with the head of a record: 144 bytes, of which the first four tell. Puts the position back. */
MODULE_API BOOL_T KRDF_IsKrdfFile(FILE *pFile);

/** Makes a parser of the record that begins at this offset of the file, without opening it: the parser, or null. */
MODULE_API HANDLE KRDF_CreateKrdfParser(const CHAR *pcFileName, DULONG dulStartPos);

/** Closes and releases a parser; null is fine. */
MODULE_API void KRDF_DestroyKrdfParser(HANDLE hParser);

/** Opens the record and tells its properties; the code of Krdf_openDestSource(). */
MODULE_API ULONG_32 KRDF_GetKrdfInfo(HANDLE hParser, KRDF_INFO_S *pstInfo);

/**
 * Reads the next frame that is wanted.
 * @param ulGetType KRDF_FRAME_GET_TYPE_E
 * @param pstFrame  pcDataBuf in, the frame out
 * @return 0; PLAYER_ERR_FILE_END at the last group, which is not given, and where a record breaks off;
 *         PLAYER_ERR_KRDF_SPELL for a frame that can't be put together, behind which reading goes on;
 *         PLAYER_ERR_FAILED for sound or an unknown coding among SP frames
 */
MODULE_API ULONG_32 KRDF_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, KRDF_FRAME_INFO_S *pstFrame);

/** Reads the next whole frame, video or sound; codes as above. At most 32 MiB are read for it. */
MODULE_API ULONG_32 KRDF_SpellFrame(HANDLE hParser, KRDF_FRAME_INFO_S *pstFrame);

/**
 * Has the next read begin with the group at a time or last before it.
 * @param ulSeconds from the start; 0 is refused with PLAYER_ERR_PARAM: no record goes back to its start. Past the total
 *                  time each read from then on gives PLAYER_ERR_FILE_END, until another jump
 */
MODULE_API ULONG_32 KRDF_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds);

/** When the group at hand begins, seconds from the start. Any thread. */
MODULE_API ULONG_32 KRDF_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime);

/**
 * Takes one packet into the frame at hand.
 * @param pstInfo   its pucFrameStreamBuf has VIDEO_FRAME_BUFFER_SIZE bytes; bFrameHaveEnd tells when a frame is whole
 * @param pucPacket as Krdf_readDataPacket() gives it
 * @param ulLength  20 to 204800 bytes, else PLAYER_ERR_KRDF_PACKET_LEN
 * @return 0; PLAYER_ERR_KRDF_SPELL for a frame that outgrows the buffer and is dropped; PLAYER_ERR_FAILED for one
 *         without a byte
 */
MODULE_API ULONG_32 KRDF_SpellPacket_R1R3(PACKET_INFO_S *pstInfo, const UCHAR *pucPacket, ULONG_32 ulLength);

/** PLAYER_PAYLOAD_E of a stream type, by whether the finished frame is video; PLAYER_PAYLOAD_NULL for another one. */
MODULE_API ULONG_32 KRDF_TransferPayload(const PACKET_INFO_S *pstInfo, ULONG_32 ulStreamType);

/** Samples a second by an ADTS head (ISO/IEC 14496-3, 1.A.2) at the start of the data; 0 without one. */
MODULE_API ULONG_32 KRDF_getAacSampleRate(const UCHAR *pucData, ULONG_32 ulLength);
}

#endif
