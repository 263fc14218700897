/**
 * @file hls_types.h
 * @brief Records of cloud playback that a port and the library hold.
 */
#ifndef ZELVANE_CLOUD_HLS_TYPES_H
#define ZELVANE_CLOUD_HLS_TYPES_H

#include "foundations/player_types.h"

/** Cloud playback of a port. */
typedef struct tagPlayerHlsTypeInfoS {
    BOOL_T bStartPlay;           /**< the playout thread runs while set */
    BOOL_T bStartDownload;       /**< the download thread runs while set */
    BOOL_T bReportPlayFinished;  /**< set at open */
    BOOL_T bReportDownFinished;  /**< set at open */
    ULONG_32 ulPlaySpeed;        /**< 1 at open */
    HANDLE itHlsPlayNode;        /**< playlist node of a requested position, for the playout thread */
    HANDLE itHlsDownloadNode;    /**< playlist node at which the download thread is to go on */
    ULONG_32 ulSetPlayTime;      /**< offset in the node, seconds; all ones for no request */
    ULONG_32 ulPlayTime;         /**< absolute time of the last requested position */
    BOOL_T bUpdateDownNode;      /**< itHlsDownloadNode is new */
    UCHAR *pucFrameDataAddr;     /**< frame buffer of the TS parser, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulFrameLen;         /**< bytes in it */
    ULONG_32 ulFrameMax;         /**< its size */
    UCHAR *pucTSDataAddr;        /**< one frame's TS packets, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulTSLen;            /**< bytes in it */
    ULONG_32 ulTSMax;            /**< its size */
    ULONG_32 ulCurPlayTime;      /**< absolute play position, seconds */
} PLAYER_HLS_TYPE_INFO_S;

/** Cloud cache of the library. */
typedef struct tagPlayerHlsStreamInfoS {
    ULONG_32 ulMaxCacheValue;               /**< limit, MiB */
    CHAR szCachePath[PLAYER_FILE_NAME_LEN]; /**< folder, empty until set */
    QLOM_SDK_MUTEX_S stHlsMulticMutex;      /**< guards the cache */
} PLAYER_HLS_STREAM_INFO_S;

#endif
