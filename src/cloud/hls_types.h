/**
 * @file hls_types.h
 * @brief Records of cloud playback that a port and the library hold.
 */
#ifndef ZELVANE_CLOUD_HLS_TYPES_H
#define ZELVANE_CLOUD_HLS_TYPES_H

#include <list>
#include <string>

#include "foundations/player_types.h"
#include "foundations/wake.h"

/** How a segment is fetched. */
typedef enum tagHlsProtocolType {
    HLS_STREAM_TYPE_HTTP = 0, /**< port 80 */
    HLS_STREAM_TYPE_HTTPS = 1 /**< port 443 */
} HLS_PROTOCOL_TYPE_E;

/** How far the fetch of a segment has come. */
typedef enum tagStreamNodeTypeE {
    HLS_STREAM_TYPE_NOT_DOWNLOAD = 0,
    HLS_STREAM_TYPE_DOWNLOADING = 1,
    HLS_STREAM_TYPE_DOWNLOADED = 2,
    HLS_STREAM_TYPE_DOWNLOAD_FAIL = 3,
    HLS_STREAM_TYPE_MAX = 4
} HLS_STREAM_NODE_TYPE_E;

/** One segment. All but the state changes under the lock of its list (CHlsListGuard). */
typedef struct tagHlsNodeInfoS {
    ULONG ulStartTime = 0;       /**< Unix time of its first picture, seconds */
    ULONG ulEndTime = 0;         /**< that plus its whole seconds */
    ULONG_32 ulPort = 0;         /**< TCP port of the server */
    std::string strDownLink;     /**< whole URL */
    std::string strDownURL;      /**< path and query */
    std::string strHostName;     /**< between "://" and the next "/" */
    std::string strFilePath;     /**< finished segment in the cache */
    std::string strFileTempPath; /**< the same while it is being fetched */
    std::string strIPAddr;       /**< stays empty */
    HLS_PROTOCOL_TYPE_E eProtocolType = HLS_STREAM_TYPE_HTTP;
    HLS_STREAM_NODE_TYPE_E eNodeDownType = HLS_STREAM_TYPE_NOT_DOWNLOAD; /**< a word: written by both cloud threads */
} HLS_NODE_INFO_S;

/** Nodes keep their addresses for as long as they are listed. */
typedef std::list<HLS_NODE_INFO_S> HLS_NODE_LIST;
typedef HLS_NODE_LIST::iterator HLS_NODE_ITER;

/** Cloud playback of a port. */
typedef struct tagPlayerHlsTypeInfoS {
    BOOL_T bStartPlay;          /**< the playout thread runs while set */
    BOOL_T bStartDownload;      /**< the download thread runs, and a fetch goes on, while set */
    BOOL_T bReportPlayFinished; /**< set at open */
    BOOL_T bReportDownFinished; /**< set at open */
    ULONG_32 ulPlaySpeed;       /**< 1 at open */
    /* The mailbox of the two threads, under the lock of the port's list. */
    HLS_NODE_ITER itHlsPlayNode;     /**< node of a requested position */
    HLS_NODE_ITER itHlsDownloadNode; /**< node at which the download thread is to go on */
    ULONG_32 ulSetPlayTime;          /**< offset in the node, seconds; all ones for no request */
    ULONG_32 ulPlayTime;             /**< absolute time of the last requested position */
    BOOL_T bUpdateDownNode;          /**< itHlsDownloadNode is new */
    /* Owned by the playout thread. */
    UCHAR *pucFrameDataAddr; /**< frame buffer of the TS parser, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulFrameLen;     /**< bytes in it */
    ULONG_32 ulFrameMax;     /**< its size */
    UCHAR *pucTSDataAddr;    /**< one frame's TS packets, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulTSLen;        /**< bytes in it */
    ULONG_32 ulTSMax;        /**< its size */
    ULONG_32 ulCurPlayTime;  /**< absolute play position, seconds; a word */

    WAKE_S stPlayWake;             /**< cuts the playout's waits short: stop, seek, pause, speed, a segment more */
    WAKE_S stDownloadWake;         /**< cuts the download's waits short: stop, seek, new playlist */
    const WAKE_FD_S *pstFetchWake; /**< makes a waiting fetch look at bStartDownload; null for none */
} PLAYER_HLS_TYPE_INFO_S;

/** Cloud cache of the library. Path and limit: HlsCache_ functions of module_hls.h. */
typedef struct tagPlayerHlsStreamInfoS {
    ULONG_32 ulMaxCacheValue;               /**< limit, MiB */
    CHAR szCachePath[PLAYER_FILE_NAME_LEN]; /**< folder, empty until set; a full field has no terminator of its own */
    CHAR cPathEnd;                          /**< stays 0: the terminator of a full field */
    QLOM_SDK_MUTEX_S stHlsMulticMutex;      /**< around the making and the renaming of a segment's file */
} PLAYER_HLS_STREAM_INFO_S;

/** One file of the cache folder. */
typedef struct tagHlsFileInfo {
    std::string strFileName;
    ULONG ulCreationTime = 0; /**< time of its last change, seconds */
    DULONG ulFileSize = 0;
} HLS_FILE_INFO_S;

#endif
