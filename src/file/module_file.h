/**
 * @file module_file.h
 * @brief One view of a local media file, whatever its container: open, read a frame, move to a time.
 *
 * Behind it stand MP4 (mp4_parse.h), MPEG-TS in the dialect of module_ts.h, AVI (module_avi.h) and KRDF
 * (module_krdf.h). The one parser handle that is set tells the format; with none the file is MPEG-TS.
 *
 * A record belongs to one thread at a time. File_GetPlayTime() and File_GetFileTime() may be called from another one
 * while that thread reads. Functions return 0 or an error code of player_public.h, and PLAYER_ERR_PARAM (2) for null.
 */
#ifndef ZELVANE_FILE_MODULE_FILE_H
#define ZELVANE_FILE_MODULE_FILE_H

#include <stdio.h>
#include <sys/time.h>

#include "foundations/player_types.h"
#include "intake/module_ts.h"

/** What the play thread is to do, and what it asks of a parser. */
typedef enum tagFileFrameCtrlTypeE {
    FRAME_CTRL_PAUSE = 0,          /**< paused */
    FRAME_CTRL_PLAY = 1,           /**< every frame */
    FRAME_CTRL_AFRAME_GO = 2,      /**< one step forward */
    FRAME_CTRL_AFRAME_BACK = 3,    /**< one step back */
    FRAME_CTRL_ONLY_I_FRAME = 4,   /**< key frames only */
    FRAME_CTRL_ONLY_I_SP_FRAME = 5 /**< key frames and marked P frames */
} FILE_FRAME_CTRL_TYPE_E;

/** A file being played. The one parser handle that is set tells the format; none means MPEG-TS. */
typedef struct tagFileInfoS {
    FILE *pFile;                     /**< the file */
    DULONG dulFirstTime;             /**< TS: first PCR, 90 kHz ticks; otherwise 0 */
    ULONG_32 ulLastTime;             /**< play time, seconds */
    USHORT usPid;                    /**< TS: PID that carries the PCR */
    DULONG dulFileSize;              /**< TS: file length; KRDF: length of the region played */
    LONG_32 lFrameRate;              /**< frames a second */
    HANDLE hMp4Parser;               /**< or null */
    HANDLE hAviParser;               /**< or null */
    HANDLE hKrdfParser;              /**< or null */
    UCHAR *pucFrameDataAddr;         /**< frame buffer, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulReadLen;              /**< TS: bytes of the last raw frame */
    UCHAR *pucTsDataAddr;            /**< TS: packets of one frame, VIDEO_FRAME_BUFFER_SIZE */
    TS_STREAM_INFO_S stTsStreamInfo; /**< TS demux state */
    ULONG_32 ulFrameTotalSize;       /**< statistics */
    ULONG_32 ulLastFrameTotalSize;
    ULONG_32 ulFrameCount;
    ULONG_32 ulPreIFrameTime;  /**< timestamp of the key frame shown before, all ones for none */
    FLOAT fIFrameIntervalTime; /**< milliseconds between two key frames */
    BOOL_T bUcodeFile;         /**< key-frame play takes marked P frames too */
    DULONG dulFileStartPos;    /**< region of a record inside a larger file; both 0 for a whole file */
    DULONG dulFileEndPos;
    struct timeval tiProTime; /**< when the last paced frame went; the second field holds milliseconds */
} FILE_INFO_S;

/** What one read of a file gives. */
typedef struct tagFileFrameInfoS {
    UCHAR ucAudioType;      /**< MP4 with AAC only: index of the sampling rate */
    UCHAR ucFrequencyIndex; /**< MP4 with AAC only: audio object type */
    UCHAR ucChannelNum;     /**< MP4 with AAC only: channel configuration */
    UCHAR *pucBuffer;       /**< the frame, in the file record's frame buffer */
    ULONG_32 ulBufferLen;   /**< its bytes */
    LONG_32 lPayload;       /**< PLAYER_PAYLOAD_E */
    LONG_32 lFormatType;    /**< as PLAYER_FRAMEDATA_S */
    DULONG dulTimestamp;    /**< 90 kHz ticks */
} FILE_FRAME_INFO_S;

#endif
