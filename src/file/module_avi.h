/**
 * @file module_avi.h
 * @brief AVI files as the file layer and the recorder see them, over avi/avifmt.h, whose avi_t is the handle.
 *
 * Time is counted in frames: a frame's stamp is its number over the frame rate, and sound has the stamp of the frame
 * behind it. Whatever sound an AVI file has comes out as MPEG audio. A handle belongs to one thread; AVI_GetPlayTime()
 * may be called on others meanwhile. Functions give 0 or an error code, PLAYER_ERR_PARAM (2) for null.
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
    ULONG_32 ulVideoType; /**< PLAYER_PAYLOAD_E, PLAYER_PAYLOAD_NULL for a codec that is not played */
    ULONG_32 ulAudioType; /**< the same: PLAYER_PAYLOAD_MP1L2, or PLAYER_PAYLOAD_NULL without sound */
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

/* ---- writing --------------------------------------------------------------------------------------------------- */

/** Creates a file for a recording: the writer, or null. */
MODULE_API HANDLE AVI_FileOpen(const CHAR *pcFileName);

/**
 * Begins a recording in an opened file: one audio track of 64 kbit/s and the video.
 * @return 0; PLAYER_ERR_PARAM for a video codec that is none of JPEG, H.264 and H.265, and for null
 */
MODULE_API ULONG_32 AVI_EncInit(AVI_STREAM_INFO_S *pstInfo, HANDLE hAvi);

/**
 * Appends a frame.
 * @param pstFrame ulStreamIndex, pucData, ulDataSize and bKeyFrame; an ulFrameRate other than the file's, and not 0,
 *                 becomes that of the whole file
 * @return 0; PLAYER_ERR_FAILED when it could not be written, which errno tells more of, or the file has reached the size
 *         that an AVI file may have
 */
MODULE_API ULONG_32 AVI_EncFrame(HANDLE hAvi, AVI_FRAME_INFO_S *pstFrame);

/** Descriptor of a file, whose own position is where the next chunk goes; -1 for null. */
MODULE_API LONG_32 AVI_GetFileNo(HANDLE hAvi);

/* ---- reading --------------------------------------------------------------------------------------------------- */

/** 1 if the file begins as a RIFF file of form AVI. The read position is put back. */
MODULE_API BOOL_T AVI_IsAviFile(FILE *pFile);

/** Opens a file by its path: the parser, or null. */
MODULE_API HANDLE AVI_CreateParser(const CHAR *pcFileName);

/**
 * Closes a parser, or finishes and closes a recording.
 * @param pulHandle cleared; may be null
 * @return 0; PLAYER_ERR_FAILED when the file could not be finished, and it is closed all the same
 */
MODULE_API ULONG_32 AVI_FileClose(ULONG_32 *pulHandle, HANDLE hParser);

/** Frame rate in whole frames a second, and length. Without a rate it is 25, and the length 0. */
MODULE_API ULONG_32 AVI_GetAviInfo(HANDLE hParser, AVI_INFO_S *pstInfo);

/**
 * Reads the next frame that is wanted.
 * @param ulGetType AVI_FRAME_GET_TYPE_E; every other value takes all frames
 * @param pstFrame  pucData is the caller's, the rest is filled
 * @return 0; PLAYER_ERR_FILE_END at the end; PLAYER_ERR_FAILED for a frame that is empty, larger than the buffer or not
 *         all there, which has been passed over
 */
MODULE_API ULONG_32 AVI_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, AVI_FRAME_INFO_S *pstFrame);

/**
 * Moves to the first key frame at or behind a time, or to the end.
 * @param lFrameRate frames a second; outside 1 to 60 it counts as 25
 * @return 0; PLAYER_ERR_FAILED with the place unchanged if the video has not so many frames
 */
MODULE_API ULONG_32 AVI_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds, LONG_32 lFrameRate);

/** Time of the next frame, seconds. Any thread. */
MODULE_API ULONG_32 AVI_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime);

/** Moves to the next key frame, from the one at hand on, or to the end. @return 0; PLAYER_ERR_FILE_END */
MODULE_API ULONG_32 AVI_ToNextKeyFrame(HANDLE hParser);

/**
 * Reads on to the next key frame or marked P frame.
 * @param pstFrame as AVI_GetOneFrameData()
 * @return 0; PLAYER_ERR_FILE_END; PLAYER_ERR_FAILED for a codec without such marks, for a frame that can't be read, and
 *         after 32 MiB without one, from where the next call goes on
 */
MODULE_API ULONG_32 AVI_ToNextISpFrame(HANDLE hParser, AVI_FRAME_INFO_S *pstFrame);
}

#endif
