/**
 * @file com_public_fun.h
 * @brief Clock, socket and file helpers of the layers above.
 */
#ifndef ZELVANE_FOUNDATIONS_COM_PUBLIC_FUN_H
#define ZELVANE_FOUNDATIONS_COM_PUBLIC_FUN_H

#include <stdio.h>
#include <sys/time.h>
#include <time.h>

#include "foundations/module_api.h"
#include "player_public.h"

typedef int WYK_SOCKET_S; /**< socket descriptor, -1 when none */
typedef time_t TIME_T;    /**< seconds since 1970 */

/** Local time, laid out as `struct tm`. */
typedef struct tagSystemTime {
    int wSecond;        /**< 0 to 60 */
    int wMinute;        /**< 0 to 59 */
    int wHour;          /**< 0 to 23 */
    int wDay;           /**< 1 to 31 */
    int wMonth;         /**< 1 to 12 */
    int wYear;          /**< full year */
    int wDayOfWeek;     /**< days since Sunday */
    int wDayOfYear;     /**< days since 1 January */
    int wIsDst;         /**< above 0 in summer time */
    long lGmtOff;       /**< seconds east of Greenwich */
    const char *pcZone; /**< zone name, owned by the C library */
} SYSTEMTIME;

static_assert(sizeof(SYSTEMTIME) == sizeof(struct tm));

extern "C" {

/* ---- clock ----------------------------------------------------------------------------------------------------- */

/**
 * Wall clock. **tv_usec holds milliseconds, 0 to 999**, in the whole library.
 * @param tp  result; null logs and gives PLAYER_ERR_PARAM
 * @param tzp not used
 * @return 0
 */
MODULE_API ULONG_32 WYK_gettimeofday(struct timeval *tp, void *tzp);

/** Fills in the local time; null does nothing. */
MODULE_API void GetLocalTime(SYSTEMTIME *st);

/* ---- sockets --------------------------------------------------------------------------------------------------- */

/** Creates a socket: descriptor or -1. */
MODULE_API WYK_SOCKET_S WYK_CreateSocket(LONG_32 lFamily, LONG_32 lType, LONG_32 lProtocol);
/** Closes a socket: 0, or -1 for a negative one or a failure. */
MODULE_API LONG_32 WYK_CloseSocket(WYK_SOCKET_S stSocket);
/** 1 if the text is an IPv4 address in 224.0.0.0/4 (RFC 5771). */
MODULE_API BOOL_T WYK_IsMulticast(const CHAR *pcRemoteIP);
/** Joining a group is not part of this version: does nothing, 0. */
MODULE_API ULONG_32 WYK_AddMulticast(WYK_SOCKET_S stSocket, const CHAR *pcLocalIP, USHORT usLocalPort,
                                     const CHAR *pcRemoteIP, USHORT usRemotePort);
/** Does nothing. */
MODULE_API void WYK_DelMulticast(WYK_SOCKET_S stSocket, const CHAR *pcLocalIP, const CHAR *pcRemoteIP);

/* ---- files ----------------------------------------------------------------------------------------------------- */

/**
 * Opens a file; for "wb" the directories above it are made if need be.
 * @param pcFileName path
 * @param pcMode     "rb" or "wb"
 * @param pulErr     takes the error code; 0 on success; may be null
 * @return the stream, the caller's to close, or null: PLAYER_ERR_PARAM, PLAYER_ERR_FILE_NOT_FOUND ("rb"),
 *         PLAYER_ERR_FAILED ("wb")
 */
MODULE_API FILE *WYK_FileOpen(const CHAR *pcFileName, const CHAR *pcMode, ULONG_32 *pulErr);

/**
 * Reads at most *pulLen bytes and sets *pulLen to what came; a short read is a success. On an error *pulLen stays.
 * @return 0; PLAYER_ERR_FILE_END if nothing came; PLAYER_ERR_PARAM for null or a length of 0
 */
MODULE_API ULONG_32 WYK_FileRead(FILE *pFile, void *pBuffer, ULONG_32 *pulLen);

/** Writes it all: 0; PLAYER_ERR_DISK_FULL if less was written; PLAYER_ERR_PARAM for null. */
MODULE_API ULONG_32 WYK_FileWrite(FILE *pFile, const void *pBuffer, ULONG_32 ulLen);

/**
 * Makes every directory above the last name of a path. The path is cut to 255 characters.
 * @return 0; PLAYER_ERR_PARAM for an empty path or null; PLAYER_ERR_FAILED
 */
MODULE_API ULONG_32 WYK_CreateDir(const CHAR *pcPath);
}

/** Milliseconds of a clock that nobody sets. */
inline DULONG Time_SteadyMs() {
    struct timespec stNow;
    clock_gettime(CLOCK_MONOTONIC, &stNow);
    return static_cast<DULONG>(stNow.tv_sec) * 1000 + static_cast<DULONG>(stNow.tv_nsec) / 1000000;
}

/** Milliseconds between two times of WYK_gettimeofday(), in arithmetic that wraps at 32 bits. */
inline LONG_32 Time_ElapsedMs(const struct timeval *pstFrom, const struct timeval *pstTo) {
    ULONG_32 ulSec = static_cast<ULONG_32>(pstTo->tv_sec) - static_cast<ULONG_32>(pstFrom->tv_sec);
    ULONG_32 ulMs = static_cast<ULONG_32>(pstTo->tv_usec) - static_cast<ULONG_32>(pstFrom->tv_usec);
    return static_cast<LONG_32>(ulSec * 1000U + ulMs);
}

#endif
