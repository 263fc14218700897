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

/** Video codecs of a recording. */
typedef enum tagAviVideoId {
    AVI_VIDEO_CODEC_MPEG2 = 0,
    AVI_VIDEO_CODEC_JPEG = 1,
    AVI_VIDEO_CODEC_H264 = 2,
    AVI_VIDEO_CODEC_H265 = 3
} AVI_VIDEOID_E;

/** Audio codecs of a recording. */
typedef enum tagAviAudioId {
    AVI_AUDIO_CODEC_MP2 = 0,
    AVI_AUDIO_CODEC_MP3 = 1,
    AVI_AUDIO_CODEC_AAC = 2,
    AVI_AUDIO_CODEC_G711A = 3,
    AVI_AUDIO_CODEC_G711U = 4
} AVI_AUDIOID_E;

/** What a recording will hold. */
typedef struct tagAviStreamInfo {
    ULONG_32 ulPicWidth;      /**< pixels */
    ULONG_32 ulPicHeight;     /**< rows */
    ULONG_32 ulVideoFameRate; /**< frames a second */
    ULONG_32 ulSamplesPerSec; /**< Hz */
    ULONG_32 ulBitsPerSample; /**< bits */
    ULONG_32 ulChannels;      /**< audio channels */
    BOOL_T bFilePlay;         /**< unused */
    AVI_VIDEOID_E enVideoId;  /**< video */
    AVI_AUDIOID_E enAudioId;  /**< audio */
} AVI_STREAM_INFO_S;

extern "C" {

/** Creates a file for a recording: the writer, or null. */
MODULE_API HANDLE AVI_FileOpen(const CHAR *pcFileName);
/** Begins a recording in an opened file. 0 or an error code. */
MODULE_API ULONG_32 AVI_EncInit(AVI_STREAM_INFO_S *pstInfo, HANDLE hAvi);
/** Appends a frame. 0 or an error code. */
MODULE_API ULONG_32 AVI_EncFrame(HANDLE hAvi, AVI_FRAME_INFO_S *pstFrame);
/** Descriptor of a writer's file; -1 without one. */
MODULE_API LONG_32 AVI_GetFileNo(HANDLE hAvi);

/** 1 if the file begins as a RIFF file of form AVI. The read position is put back. */
MODULE_API BOOL_T AVI_IsAviFile(FILE *pFile);
/** Opens a file by its path: the parser, or null. */
MODULE_API HANDLE AVI_CreateParser(const CHAR *pcFileName);
/** Closes a parser or a writer and clears the caller's word, which may be null. */
MODULE_API ULONG_32 AVI_FileClose(ULONG_32 *pulHandle, HANDLE hParser);
MODULE_API ULONG_32 AVI_GetAviInfo(HANDLE hParser, AVI_INFO_S *pstInfo);
MODULE_API ULONG_32 AVI_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, AVI_FRAME_INFO_S *pstFrame);
MODULE_API ULONG_32 AVI_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds, LONG_32 lFrameRate);
MODULE_API ULONG_32 AVI_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime);
}

#endif
