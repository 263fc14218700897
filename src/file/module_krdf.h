/**
 * @file module_krdf.h
 * @brief KRDF records as the file layer sees them. This build recognises them and has no parser: every call but the
 * recognition gives PLAYER_ERR_NOT_SUPPORT (7) and logs it.
 */
#ifndef ZELVANE_FILE_MODULE_KRDF_H
#define ZELVANE_FILE_MODULE_KRDF_H

#include <stdio.h>

#include "foundations/player_types.h"

/** What a read of a record is to give. */
typedef enum tagKrdfFrameGetTypeE {
    KRDF_FRAME_GET_TYPE_NONE = 0,             /**< every frame */
    KRDF_FRAME_GET_TYPE_ONLY_I_FRAME = 1,     /**< key frames */
    KRDF_FRAME_GET_TYPE_ONLY_VIDEO_FRAME = 2, /**< video */
    KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME = 3,  /**< key and SP frames */
    KRDF_FRAME_GET_TYPE_MAX = 4
} KRDF_FRAME_GET_TYPE_E;

/** Properties of a record. */
typedef struct tagKrdfInfo {
    UCHAR *pucFrameDataAddr; /**< unused */
    ULONG_32 ulReadLen;      /**< unused */
    DULONG dulFirstTime;     /**< 0 */
    LONG_32 lFrameRate;      /**< frames a second */
    ULONG_32 ulLastTime;     /**< seconds */
    ULONG_32 enVideoCodec;   /**< video */
    ULONG_32 enAudioCodec;   /**< audio */
} KRDF_INFO_S;

/** One frame. */
typedef struct tagKrdfFrameInfo {
    UCHAR *pcDataBuf;           /**< caller's buffer of VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulDataLen;         /**< bytes */
    ULONG_32 ulPayload;         /**< PLAYER_PAYLOAD_E */
    ULONG_32 ulFrameType;       /**< 0 key frame */
    ULONG_32 ulFrameRate;       /**< frames a second */
    DULONG dulTimeStamp;        /**< 90 kHz ticks */
    ULONG_32 ulWidth;           /**< pixels */
    ULONG_32 ulHeight;          /**< rows */
    ULONG_32 ulAudioEncodeType; /**< audio */
    ULONG_32 ulUTCTime;         /**< seconds since 1970 */
} KRDF_FRAME_INFO_S;

extern "C" {

/** 1 if the file begins with the head of a record: 144 bytes, of which the first four tell. Puts the position back. */
MODULE_API BOOL_T KRDF_IsKrdfFile(FILE *pFile);
/** Makes a parser of the record that begins at this offset of the file: the parser, or null. */
MODULE_API HANDLE KRDF_CreateKrdfParser(const CHAR *pcFileName, DULONG dulStartPos);
/** Releases a parser; null is fine. */
MODULE_API void KRDF_DestroyKrdfParser(HANDLE hParser);
MODULE_API ULONG_32 KRDF_GetKrdfInfo(HANDLE hParser, KRDF_INFO_S *pstInfo);
MODULE_API ULONG_32 KRDF_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, KRDF_FRAME_INFO_S *pstFrame);
MODULE_API ULONG_32 KRDF_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds);
MODULE_API ULONG_32 KRDF_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime);
}

#endif
