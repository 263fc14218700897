/**
 * @file mw_sdk_bp.h
 * @brief Portability layer: threads, locks, semaphores, time, files, sockets and a small list over POSIX.
 *
 * Results: a `LONG` function gives 0 or what POSIX gave, and -1 for a null argument or a failure, unless it says
 * otherwise. Nothing here holds state: every function may be called on any thread. A list is guarded by its owner.
 */
#ifndef ZELVANE_FOUNDATIONS_MW_SDK_BP_H
#define ZELVANE_FOUNDATIONS_MW_SDK_BP_H

#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>

#include "foundations/module_api.h"
#include "player_public.h"

typedef pthread_t QLOM_SDK_THREAD_S;             /**< thread handle; 0 means none */
typedef pthread_mutex_t QLOM_SDK_MUTEX_S;        /**< default attributes, so not recursive; all-zero is unlocked */
typedef sem_t QLOM_SDK_SEM_S;                    /**< unnamed semaphore */
typedef int QLOM_SDK_SOCKET_S;                   /**< socket descriptor */
typedef time_t QLOM_SDK_TIME_S;                  /**< seconds since 1970 */
typedef struct stat64 QLOM_SDK_STAT_S;           /**< 64-bit file state */
typedef void *(*QLOM_SDK_THR_FUNC)(void *pArgs); /**< thread entry */

/** Bits of QLOM_SDK_thr_create()'s lFlags. */
enum : LONG {
    QLOM_SDK_THR_DETACHED = 0x40,      /**< nobody joins it */
    QLOM_SDK_THR_JOINABLE = 0x10000,   /**< to be joined; also without this bit */
    QLOM_SDK_THR_SCHED_FIFO = 0x20000, /**< SCHED_FIFO */
    QLOM_SDK_THR_SCHED_RR = 0x40000,   /**< SCHED_RR */
    QLOM_SDK_THR_SCHED_OTHER = 0x80000 /**< the default policy; also without a policy bit */
};

/** A moment of local time in fields. */
typedef struct tagMwDateTime {
    LONG lMillisec; /**< always 0 */
    LONG lSec;      /**< 0 to 60 */
    LONG lMin;      /**< 0 to 59 */
    LONG lHour;     /**< 0 to 23 */
    LONG lMday;     /**< 1 to 31 */
    LONG lMon;      /**< 0 to 11 */
    LONG lYear;     /**< full year */
    LONG lWday;     /**< days since Sunday */
    LONG lYday;     /**< days since 1 January */
    LONG lIsdst;    /**< above 0 in summer time */
    LONG lGmtoff;   /**< seconds east of Greenwich */
} QLOM_SDK_DATE_TIME_S;

/** A moment with its time zone, as playlists write it. */
typedef struct tagMwDayTime {
    LONG lZone;   /**< hours east of Greenwich, -12 to 12 */
    ULONG ulSec;  /**< 0 to 59 */
    ULONG ulMin;  /**< 0 to 59 */
    ULONG ulHour; /**< 0 to 23 */
    ULONG ulMday; /**< 1 to 31 */
    ULONG ulMon;  /**< 1 to 12 */
    ULONG ulYear; /**< from 1970 */
} QLOM_SDK_DAY_TIME_S;

/** One node of a list. */
typedef struct tagSDKListNode {
    struct tagSDKListNode *pstNext; /**< next node or null */
    void *pData;                    /**< the caller's datum */
} QLOM_SDK_LIST_NODE_S;

/** Singly linked list: owns its nodes, and its data only through del. */
typedef struct tagSDKList {
    QLOM_SDK_LIST_NODE_S *pstHead;             /**< first node or null */
    QLOM_SDK_LIST_NODE_S *pstTail;             /**< last node or null */
    LONG (*cmp)(void *pValOne, void *pValTwo); /**< negative if the first belongs before the second; may be null */
    void (*del)(void *pVal);                   /**< frees a node's datum; may be null */
} QLOM_SDK_LIST_S;

extern "C" {

/* ---- threads and locks ----------------------------------------------------------------------------------------- */

/**
 * Starts a thread.
 * @param pfnFunc   entry
 * @param pArgs     its argument
 * @param lFlags    QLOM_SDK_THR_* bits; 0 for a joinable thread of the default policy
 * @param lPriority clamped to the range of the policy
 * @param ppThrName not used
 * @param pstThrId  takes the handle before the thread runs; may be null
 * @return 0, or -1 if any step failed
 */
MODULE_API LONG QLOM_SDK_thr_create(QLOM_SDK_THR_FUNC pfnFunc, void *pArgs, LONG lFlags, LONG lPriority,
                                    CHAR **ppThrName, QLOM_SDK_THREAD_S *pstThrId);

/** Waits for a thread's end; handle 0 returns 0 at once. Result of pthread_join. */
MODULE_API LONG QLOM_SDK_thr_join(QLOM_SDK_THREAD_S hThreadID);

/** Makes a mutex; the first two arguments are not used. */
MODULE_API LONG QLOM_SDK_mutex_init(BOOL_T bInitialOwner, const CHAR *lpName, QLOM_SDK_MUTEX_S *pstMutex);
/** Locks. */
MODULE_API LONG QLOM_SDK_mutex_lock(QLOM_SDK_MUTEX_S *pstMutex);
/** Unlocks. */
MODULE_API LONG QLOM_SDK_mutex_unlock(QLOM_SDK_MUTEX_S *pstMutex);
/** Destroys an unlocked mutex. */
MODULE_API LONG QLOM_SDK_mutex_destroy(QLOM_SDK_MUTEX_S *pstMutex);

/** Makes an unnamed semaphore of count 0; 1 on failure. */
MODULE_API LONG QLOM_SDK_sem_init(QLOM_SDK_SEM_S *pstSDKSem);
/** Adds one; 1 on failure. */
MODULE_API LONG QLOM_SDK_sem_post(QLOM_SDK_SEM_S *pstSDKSem);
/** Destroys a semaphore nobody waits for. */
MODULE_API LONG QLOM_SDK_sem_destroy(QLOM_SDK_SEM_S *pstSDKSem);

/**
 * Waits for a semaphore. Only whole seconds count: a time below one second does not wait.
 * @param ulWaitTime milliseconds
 * @param bInfinit   1: wait 30 seconds whatever the time says
 * @return 0 taken, 3 not taken, -1 for null
 */
MODULE_API LONG QLOM_SDK_sem_timedwait(QLOM_SDK_SEM_S *pstSDKSem, ULONG ulWaitTime, BOOL_T bInfinit);

/* ---- time ------------------------------------------------------------------------------------------------------ */

/** The current local time; the argument is not used. */
MODULE_API QLOM_SDK_DATE_TIME_S QLOM_SDK_localtime(QLOM_SDK_TIME_S *pstClock);
/** Sleeps; gives the seconds not slept when a signal came. */
MODULE_API LONG QLOM_SDK_sleep(ULONG ulSeconds);
/** Sleeps; -1 when a signal came. */
MODULE_API LONG QLOM_SDK_msleep(ULONG ulMSeconds);

/**
 * Seconds since 1970 of a date. In a year divisible by 400 every month before the given one counts 29 days: callers
 * compare such values only with each other.
 * @return 0, or -1 for a date outside the ranges or a null result pointer; month 0 and day 0 are let through
 */
MODULE_API LONG QLOM_SDK_GetUnixTimestamp(QLOM_SDK_DAY_TIME_S stDayTime, ULONG *pulUnixTimestamp);

/** Not available here: does nothing with any arguments, 0. */
MODULE_API LONG MW_SDK_filetime(...);

/* ---- sockets and files ----------------------------------------------------------------------------------------- */

/** Creates a socket. */
MODULE_API QLOM_SDK_SOCKET_S QLOM_SDK_socket(LONG lFamily, LONG lType, LONG lProtocol);
/** Closes a socket; -1 for a negative one. */
MODULE_API LONG QLOM_SDK_closesocket(QLOM_SDK_SOCKET_S hSocket);
/** State of a path. */
MODULE_API LONG QLOM_SDK_stat(const CHAR *pcFileName, QLOM_SDK_STAT_S *pstStat);
/** State of a descriptor. */
MODULE_API LONG QLOM_SDK_fstat(LONG lFileNo, QLOM_SDK_STAT_S *pstStat);
/** Descriptor of a stream. */
MODULE_API LONG QLOM_SDK_fileno(FILE *pfFile);
/** Changes the working directory. */
MODULE_API LONG QLOM_SDK_chdir(const CHAR *pcDirName);
/** Creates one directory: 0, or 1 if mkdir failed. */
MODULE_API LONG QLOM_SDK_mkdir(const CHAR *pcDirName, USHORT usMode);

/**
 * Empties a directory, with all below it. Links are removed, not followed.
 * @param bHold 1 removes the directory too, 0 keeps it (the name says the reverse)
 * @return 0, or -1 at the first thing that could not be opened, looked at or removed
 */
MODULE_API LONG QLOM_SDK_rmdir(const CHAR *pcDirName, BOOL_T bHold);

/** 0 if the path exists, else -1. */
MODULE_API LONG QLOM_SDK_Access(const CHAR *pcSrc);

/**
 * Copies a file.
 * @param szSourcePath source
 * @param szDes        destination file; if it ends in a backslash, a directory, to which the part of the source after
 *                     its last backslash is appended
 * @return 0, or 1 on any failure, also if both are the same file
 */
MODULE_API LONG QLOM_SDK_cp(const CHAR *szSourcePath, const CHAR *szDes);

/** Clears a buffer of ulBufferLen bytes and writes a directory that can be written to into it. */
MODULE_API LONG QLOM_SDK_getFreePathAccess(ULONG ulBufferLen, CHAR *szTempPath);

/** vsnprintf. */
MODULE_API LONG QLOM_SDK_snprintf(CHAR *pcBuf, ULONG ulMaxlen, const CHAR *pcFormat, ...)
    __attribute__((format(printf, 3, 4)));

/** Not available here: does nothing with any arguments, 0. */
MODULE_API LONG QLOM_SDK_Uncompress(...);
/** Not available here: does nothing with any arguments, 0. */
MODULE_API LONG QLOM_SDK_utf8ToANSI(...);
/** Not available here: takes any arguments, PLAYER_ERR_NOT_SUPPORT. */
MODULE_API LONG QLOM_SDK_Compress(...);
/** Not available here: takes any arguments, PLAYER_ERR_NOT_SUPPORT. */
MODULE_API LONG QLOM_SDK_MultifileCompress(...);

/* ---- list ------------------------------------------------------------------------------------------------------ */

/** A new empty list without cmp and del, or null. */
MODULE_API QLOM_SDK_LIST_S *QLOM_SDK_ListNew(void);
/** A new node, or null. */
MODULE_API QLOM_SDK_LIST_NODE_S *QLOM_SDK_ListnodeNew(void);
/** Frees the list's head alone. */
MODULE_API void QLOM_SDK_ListFree(QLOM_SDK_LIST_S *pstList);
/** Frees one node alone. */
MODULE_API void QLOM_SDK_ListnodeFree(QLOM_SDK_LIST_NODE_S *pstNode);
/** Appends: 0, PLAYER_ERR_PARAM for null, PLAYER_ERR_MALLOC. */
MODULE_API LONG QLOM_SDK_ListnodeAdd(QLOM_SDK_LIST_S *pstList, void *pVal);
/** Inserts before the first datum that pVal belongs before, by cmp; appends without cmp. Results as ListnodeAdd. */
MODULE_API LONG QLOM_SDK_ListnodeAddSort(QLOM_SDK_LIST_S *pstList, void *pVal);
/** Unlinks and frees the node that holds pVal, without calling del: 0, or -1 if there is none or for null. */
MODULE_API LONG QLOM_SDK_ListnodeDelete(QLOM_SDK_LIST_S *pstList, void *pVal);
/** Deletes data (by del, if set), nodes and the list: 0, PLAYER_ERR_PARAM for null. */
MODULE_API LONG QLOM_SDK_ListDelete(QLOM_SDK_LIST_S *pstList);
/** Deletes data (by del, if set) and nodes; the list remains, empty: 0, PLAYER_ERR_PARAM for null. */
MODULE_API LONG QLOM_SDK_ListDeleteAllNode(QLOM_SDK_LIST_S *pstList);
}

/** The current local time as the C library lays it out; safe on any thread. */
void Time_Local(struct tm *pstTm);

#endif
