/**
 * @file hls_port.h
 * @brief Cloud recordings on a port: the client's calls, and the two threads that fetch and play.
 *
 * The calls run under the port's API lock and never wait for the network. They reach the threads through the mailbox of
 * PLAYER_HLS_TYPE_INFO_S, under the lock of the port's playlist, and wake them. Every function with a port number logs
 * and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_HLS_PORT_H
#define ZELVANE_SOURCE_HLS_PORT_H

#include "port/player_manager.h"

extern "C" {

/** Opens an empty recording and starts its threads. PLAYER_ERR_PARAM for a port in use. */
MODULE_API ULONG_32 Player_OpenHlsStream(ULONG_32 ulPort);
/** Ends the threads, a fetch among them, and forgets the playlist; the cache stays. */
MODULE_API ULONG_32 Player_CloseHlsStream(ULONG_32 ulPort);
/** Merges a playlist (or null) and moves the download, with a time other than 0 the play position too. */
MODULE_API ULONG_32 Player_UpdatePlayInfo(ULONG_32 ulPort, const CHAR *pcM3u8Info, ULONG_32 ulPlayTime);
MODULE_API ULONG_32 Player_SetCachePath(const CHAR *pcCachePath);
/** MiB; below 100 counts as 100. Returns 0. */
MODULE_API ULONG_32 Player_SetMaxCache(ULONG_32 ulValue);
MODULE_API ULONG_32 Player_CleanCache(void);
/** Sends a run message about a cloud port; the code may be an event. */
MODULE_API void Player_HlsStateReport(PLAEYR_PORT_S *pstPort, ULONG_32 ulErrorCode, ULONG_32 ulNodeTime);
/** The two threads of a cloud port; pParam is the port. */
MODULE_API void *__HlsDownloadThreadEntry(void *pParam);
MODULE_API void *__TsManagerThreadEntry(void *pParam);
}

#endif
