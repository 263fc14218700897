/**
 * @file PlayerLog.h
 * @brief The built-in log sink: writes to two alternating files.
 *
 * Locks, in this order: the state lock (private, never dies; init and clean-up take it alone, all others share it),
 * gstLogInfoMutex (settings), stWriteLogMutex (file and counters). Nothing here logs, so none of them is taken twice.
 */
#ifndef ZELVANE_FOUNDATIONS_PLAYERLOG_H
#define ZELVANE_FOUNDATIONS_PLAYERLOG_H

#include <stdio.h>

#include "foundations/module_api.h"
#include "foundations/mw_sdk_bp.h"
#include "player_public.h"

/** The writer's state; settings are changed under both mutexes, so either is enough to read them. */
typedef struct tagZelvaneLoginfo {
    QLOM_SDK_MUTEX_S stWriteLogMutex;        /**< guards the file and the counters */
    ULONG_32 ulLogLevel;                     /**< threshold, PLAYER_LOGLEVEL_E; 0 writes nothing */
    CHAR szLogName[PLAYER_FILE_NAME_LEN];    /**< path of the current file */
    CHAR szLogNameBak[PLAYER_FILE_NAME_LEN]; /**< path of the older file */
    FILE *pfLogFile;                         /**< open file or null */
    ULONG_32 ulSingleFileSize;               /**< largest size of a file, bytes */
    ULONG_32 ulLogFileSize;                  /**< bytes written to the current file by this process */
} ZELVANE_LOGINFO_S;

extern "C" {

/** Starts the writer at level INFO, 1 MB a file, default directory: 0, PLAYER_ERR_MALLOC, or 1. Again: 0. */
MODULE_API ULONG_32 Player_LogInit(void);

/** Ends the writer; lines that come later are dropped. 0, or 1 if a mutex could not be destroyed. */
MODULE_API ULONG_32 Player_LogCleanUp(void);

/**
 * Sets threshold, directory and size. The directory is created if its parent is there.
 * @param ulLogLevel 0 stops writing and leaves the rest as it is; 1 to 5 is the threshold; others leave it
 * @param pcLogPath  directory, at most 239 characters with its separator; null for the default,
 *                   "\var\log\PlayerFile\" taken as one name in the working directory
 * @param ulLogSize  kilobytes a file; more than 1536 counts as 1536
 * @return 0; 1 not initialised, directory not there or path too long; 2 size 0; PLAYER_ERR_LOG_CLOSED for level 0
 */
MODULE_API ULONG_32 Player_SetLog(ULONG_32 ulLogLevel, CHAR *pcLogPath, ULONG_32 ulLogSize);

/**
 * Gives a directory its separator at the end: "/", or a backslash if it has no "/".
 * @return 0; 2 for null; 1 if the buffer is too small
 */
MODULE_API ULONG_32 Player_CheckPath(const CHAR *pcLogPath, CHAR *pcBuffer, ULONG_32 ulBufferLen);

/** Writes one line with time, level, base name of the file and line, and flushes it. Rotates first if there is no
 *  room for 1024 bytes. What cannot be written is dropped. */
MODULE_API void Player_WriteLog2File(ULONG_32 ulLogLevel, const CHAR *pcFileName, ULONG_32 ulFileLine,
                                     const CHAR *pcErrDescription);

/** The sink, see PLAYER_WRITE_LOG_CALLBACK_PF; error code and module id are not written. */
MODULE_API void Player_Log(ULONG_32 ulLogLevel, ULONG_32 ulErrCode, ULONG_32 ulModuleId, const CHAR *pcFileName,
                           ULONG_32 ulFileLine, const CHAR *pcErrDescription);
/** The same under its other name. */
MODULE_API void Player_LogInfo(ULONG_32 ulLogLevel, ULONG_32 ulErrCode, ULONG_32 ulModuleId, const CHAR *pcFileName,
                               ULONG_32 ulFileLine, const CHAR *pcErrDescription);
}

/** Threshold in force, 0 while nothing is written; needs no lock. */
ULONG_32 PlayerLog_Threshold(void);

#endif
