/**
 * @file module_hls.h
 * @brief Cloud recordings: the playlist, the fetch of one segment, the cache folder. No port is known here.
 *
 * The playlist is one server's dialect of M3U8 with a date and time for each segment, as Zelvane_UpdatePlayInfo()
 * tells. The fetch is one GET on a connection of its own; TLS and the choice to verify servers stand in hls_tls.h.
 *
 * Threads. A list has one writer at a time, the client's call on its port; the two cloud threads of the port step along
 * it and copy nodes under CHlsListGuard, which is never held across I/O. The fetch functions may run in any number of
 * threads, each on a connection of its own.
 */
#ifndef ZELVANE_CLOUD_MODULE_HLS_H
#define ZELVANE_CLOUD_MODULE_HLS_H

#include <stdio.h>

#include "cloud/hls_types.h"
#include "foundations/com_public_fun.h"
#include "intake/module_net.h"

/** The TLS library's object of one connection, under its older name. */
struct WOLFSSL;
typedef struct WOLFSSL CYASSL;

/** The playlists, by port number. Never destroyed: a thread may still walk one while the process ends. */
extern HLS_NODE_LIST (&gliHlsNodeInfo)[PLAYER_MAX_PORT_NUM];
extern PLAYER_HLS_STREAM_INFO_S gstHlsStreamInfo;

/** Holds the lock of a playlist of gliHlsNodeInfo; a list of the caller's own has none and needs none. */
class CHlsListGuard {
 public:
    explicit CHlsListGuard(const HLS_NODE_LIST &liHlsNode);
    ~CHlsListGuard();
    CHlsListGuard(const CHlsListGuard &) = delete;
    CHlsListGuard &operator=(const CHlsListGuard &) = delete;

 private:
    QLOM_SDK_MUTEX_S *m_pstMutex;
};

extern "C" {

/**
 * Merges the text of a playlist into a list, which stays sorted by start time. A start that the list has already gets
 * the new URL and keeps the rest.
 * @param pcM3u8Buffer  text
 * @param pcCachePath   folder of the cache; what it holds already counts as fetched, a half file of an entry is removed
 * @param pulUpdateTime in: 0 to be told the start of the text's first entry; out: that start
 * @return 0; PLAYER_ERR_PARAM (2) for a text that is refused, the entries before the fault staying in the list;
 *         PLAYER_ERR_MALLOC (3)
 */
MODULE_API ULONG_32 HLS_m3u8_update(const CHAR *pcM3u8Buffer, HLS_NODE_LIST &liHlsNode, const CHAR *pcCachePath,
                                    ULONG_32 *pulUpdateTime);

/**
 * Connects to the server of a segment.
 * @param pstSocket socket, for Hls_Socket_Close()
 * @param pcCyassl  TLS object; null for HTTP
 * @return 0; PLAYER_ERR_HLS_ADDRESS_FAMILY; PLAYER_ERR_HLS_CONNECT, also for a server that doesn't pass the
 * verification asked for; 1 when TLS fails. After a failure nothing is left to close
 */
MODULE_API ULONG_32 Hls_Socket_Init(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S *pstSocket, CYASSL **pcCyassl);

/** Sends the request. @return 0; 3; PLAYER_ERR_HLS_SEND */
MODULE_API ULONG_32 Hls_Socket_Send(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl);

/**
 * Reads the response into a file. The peer's close is a good end wherever it comes.
 * @param pstStateInfo  counts the bytes; may be null
 * @param pstHlsTypeInfos bStartDownload: the fetch goes on while it is set
 * @return 0; 1 for a broken connection, 30 seconds of silence, a bad header, a full disk, or a body above the limit of
 *         the cache; PLAYER_ERR_HLS_HTTP_STATUS; PLAYER_ERR_HLS_HTTP_DENIED; PLAYER_ERR_HLS_CANCELLED
 */
MODULE_API ULONG_32 Hls_Socket_Recv(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl,
                                    NET_STATEINFO_S *pstStateInfo, PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos, FILE *fp);

/** Ends a connection that Hls_Socket_Init() made. */
MODULE_API void Hls_Socket_Close(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl);

/**
 * Removes the oldest files of a folder until the rest fits the limit. Only regular files of the folder itself count.
 * @param ulMaxCacheValue MiB
 * @return 0; all ones when the folder can't be read, with nothing removed
 */
MODULE_API ULONG_32 Hls_Disk_Policy(const CHAR *pcFolderPath, ULONG_32 ulMaxCacheValue);
}

/** Forgets the nodes of a list on which no thread is. */
void HlsList_Clear(HLS_NODE_LIST &liHlsNode);

/** Hls_Socket_Init() and Hls_Socket_Send() that give PLAYER_ERR_HLS_CANCELLED once bStartDownload of the record is 0.
 */
ULONG_32 Hls_Socket_InitWhile(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S *pstSocket, CYASSL **pcCyassl,
                              const PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos);
ULONG_32 Hls_Socket_SendWhile(HLS_NODE_ITER iterHlsNode, WYK_SOCKET_S stSocket, CYASSL *pCyassl,
                              const PLAYER_HLS_TYPE_INFO_S *pstHlsTypeInfos);

/** Sets the default limit and makes the lock of the files; the folder stays as it was set. */
void HlsCache_Startup();
/** Destroys that lock, and gives the TLS library back. No fetch may run. */
void HlsCache_Cleanup();
/** The folder's path as it is handed on; empty while none is set. */
struct HLS_CACHE_PATH_S {
    CHAR szPath[PLAYER_FILE_NAME_LEN + 1];
};
/** The folder and the limit as they are set now. Any thread, at any time. */
HLS_CACHE_PATH_S HlsCache_Path();
ULONG_32 HlsCache_Limit();
/** Sets them; at most 256 characters of the path count. */
void HlsCache_SetPath(const CHAR *pcCachePath);
void HlsCache_SetLimit(ULONG_32 ulMegabytes);

#endif
