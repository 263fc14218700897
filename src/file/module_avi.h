/**
 * @file module_avi.h
 * @brief AVI files as the file layer sees them. This build recognises them and has no parser: every call but the
 * recognition gives PLAYER_ERR_NOT_SUPPORT (7) and logs it.
 */
#ifndef ZELVANE_FILE_MODULE_AVI_H
#define ZELVANE_FILE_MODULE_AVI_H

#include <stdio.h>

#include "foundations/player_types.h"

/** What a read of an AVI file is to give. */
typedef enum tagAviFrameGetTypeE {
    AVI_FRAME_GET_TYPE_NONE = 0,             /**< every frame */
    AVI_FRAME_GET_TYPE_ONLY_I_FRAME = 1,     /**< key frames */
    AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME = 2, /**< video */
    AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME = 3,  /**< key and SP frames */
    AVI_FRAME_GET_TYPE_MAX = 4
} AVI_FRAME_GET_TYPE_E;

/** Properties of a file. */
typedef struct tagAviInfoS {
    ULONG_32 ulVideoType; /**< unused */
    ULONG_32 ulAudioType; /**< unused */
    ULONG_32 ulFrameRate; /**< frames a second */
    ULONG_32 ulPlayTime;  /**< seconds */
} AVI_INFO_S;

/** One frame. */
typedef struct tagAviFrameInfoS {
    ULONG_32 ulStreamIndex; /**< 0 video, 1 audio */
    UCHAR *pucData;         /**< caller's buffer of VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulDataSize;    /**< bytes */
    BOOL_T bKeyFrame;       /**< key frame */
    DLONG dlTimeStamp;      /**< 90 kHz ticks */
    ULONG_32 ulFrameRate;   /**< frames a second */
    ULONG_32 ulFormatType;  /**< 0 key frame, 1 another */
    ULONG_32 ulPayload;     /**< PLAYER_PAYLOAD_E */
} AVI_FRAME_INFO_S;

extern "C" {

/** 1 if the file begins as a RIFF file of form AVI. The read position is put back. */
MODULE_API BOOL_T AVI_IsAviFile(FILE *pFile);
/** Opens a file by its path: the parser, or null. */
MODULE_API HANDLE AVI_CreateParser(const CHAR *pcFileName);
/** Closes a parser and clears the caller's word, which may be null. */
MODULE_API ULONG_32 AVI_FileClose(ULONG_32 *pulHandle, HANDLE hParser);
MODULE_API ULONG_32 AVI_GetAviInfo(HANDLE hParser, AVI_INFO_S *pstInfo);
MODULE_API ULONG_32 AVI_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, AVI_FRAME_INFO_S *pstFrame);
MODULE_API ULONG_32 AVI_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds, LONG_32 lFrameRate);
MODULE_API ULONG_32 AVI_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime);
}

#endif
