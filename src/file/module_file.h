/**
 * @file module_file.h
 * @brief A file port's view of its container.
 */
#ifndef ZELVANE_FILE_MODULE_FILE_H
#define ZELVANE_FILE_MODULE_FILE_H

#include <stdio.h>
#include <sys/time.h>

#include "foundations/player_types.h"
#include "intake/module_ts.h"

/** What the play thread is to do, and what it asks of a parser. */
typedef enum tagFileFrameCtrlTypeE {
    FRAME_CTRL_PAUSE = 0,           /**< paused */
    FRAME_CTRL_PLAY = 1,            /**< every frame */
    FRAME_CTRL_AFRAME_GO = 2,       /**< one step forward */
    FRAME_CTRL_AFRAME_BACK = 3,     /**< one step back */
    FRAME_CTRL_ONLY_I_FRAME = 4,    /**< key frames only */
    FRAME_CTRL_ONLY_I_SP_FRAME = 5  /**< key frames and marked P frames */
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
    ULONG_32 ulPreIFrameTime;        /**< timestamp of the key frame shown before, all ones for none */
    FLOAT fIFrameIntervalTime;       /**< milliseconds between two key frames */
    BOOL_T bUcodeFile;               /**< key-frame play takes marked P frames too */
    DULONG dulFileStartPos;          /**< region of a record inside a larger file; both 0 for a whole file */
    DULONG dulFileEndPos;
    struct timeval tiProTime;        /**< when the last paced frame went; the second field holds milliseconds */
} FILE_INFO_S;

#endif
