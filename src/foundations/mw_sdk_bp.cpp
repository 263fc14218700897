#include "foundations/mw_sdk_bp.h"

#include <dirent.h>
#include <errno.h>
#include <limits.h>
#include <sched.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr size_t JOINED_PATH_LEN = 512;  // bytes of a path while a directory is emptied
constexpr size_t COPY_PATH_LEN = 257;    // a copy's destination: 256 characters
constexpr size_t COPY_BLOCK_LEN = 1024;

struct FileCloser {
    void operator()(FILE *pfFile) const { fclose(pfFile); }
};
struct DirCloser {
    void operator()(DIR *pstDir) const { closedir(pstDir); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;
using DirPtr = std::unique_ptr<DIR, DirCloser>;

int PolicyOf(LONG lFlags) {
    if ((lFlags & QLOM_SDK_THR_SCHED_FIFO) != 0) {
        return SCHED_FIFO;
    }
    return (lFlags & QLOM_SDK_THR_SCHED_RR) != 0 ? SCHED_RR : SCHED_OTHER;
}

/** Policy and priority count only for a creator that may set them; a thread inherits its creator's otherwise. */
bool SetThreadAttributes(pthread_attr_t *pstAttr, LONG lFlags, LONG lPriority) {
    int iDetach = (lFlags & QLOM_SDK_THR_DETACHED) != 0 ? PTHREAD_CREATE_DETACHED : PTHREAD_CREATE_JOINABLE;
    int iPolicy = PolicyOf(lFlags);
    LONG lMin = sched_get_priority_min(iPolicy);
    LONG lMax = sched_get_priority_max(iPolicy);
    struct sched_param stParam = {};
    stParam.sched_priority = static_cast<int>(std::clamp(lPriority, lMin, lMax));
    return pthread_attr_setdetachstate(pstAttr, iDetach) == 0 && pthread_attr_setschedpolicy(pstAttr, iPolicy) == 0 &&
           pthread_attr_setschedparam(pstAttr, &stParam) == 0;
}

bool IsLeapYear(ULONG ulYear) { return (ulYear % 4 == 0 && ulYear % 100 != 0) || ulYear % 400 == 0; }

/** Leap years from year 1 to ulYear. */
ULONG LeapYearsUpTo(ULONG ulYear) { return ulYear / 4 - ulYear / 100 + ulYear / 400; }

/** In a year divisible by 400 every month has 29 days; values have always been made this way and are compared so. */
ULONG DaysOfMonth(ULONG ulYear, ULONG ulMonth) {
    static const ULONG aulDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool bLongMonth = ulYear % 400 == 0 || (ulMonth == 2 && IsLeapYear(ulYear));
    return bLongMonth ? 29 : aulDays[ulMonth - 1];
}

bool IsDayTimeValid(const QLOM_SDK_DAY_TIME_S &stTime) {
    return stTime.ulYear >= 1970 && stTime.ulMon <= 12 && stTime.ulMday <= 31 && stTime.ulHour <= 23 &&
           stTime.ulMin <= 59 && stTime.ulSec <= 59 && stTime.lZone >= -12 && stTime.lZone <= 12;
}

bool RemoveEntry(const CHAR *pcDirName, const CHAR *pcName) {
    CHAR szPath[JOINED_PATH_LEN];
    size_t ulDirLen = strlen(pcDirName);
    const CHAR *pcJoint = ulDirLen > 0 && pcDirName[ulDirLen - 1] == '/' ? "" : "/";
    int iLen = snprintf(szPath, sizeof(szPath), "%s%s%s", pcDirName, pcJoint, pcName);
    struct stat64 stStat;
    // lstat: a link is removed itself, or it would lead out of the tree or round in it.
    if (iLen < 0 || static_cast<size_t>(iLen) >= sizeof(szPath) || lstat64(szPath, &stStat) != 0) {
        return false;
    }
    return S_ISDIR(stStat.st_mode) ? QLOM_SDK_rmdir(szPath, 1) == 0 : unlink(szPath) == 0;
}

/** Where a copy goes: the destination, or the source's last name in it. Null if that does not fit its buffer. */
const CHAR *CopyTarget(const CHAR *pcSource, const CHAR *pcDes, CHAR (&szJoined)[COPY_PATH_LEN]) {
    size_t ulLen = strlen(pcDes);
    if (ulLen == 0 || pcDes[ulLen - 1] != '\\') {
        return pcDes;
    }
    const CHAR *pcLast = strrchr(pcSource, '\\');
    int iLen = snprintf(szJoined, sizeof(szJoined), "%s%s", pcDes, pcLast != nullptr ? pcLast + 1 : pcSource);
    return iLen >= 0 && static_cast<size_t>(iLen) < sizeof(szJoined) ? szJoined : nullptr;
}

/** Whether a path names the file that is open: opening it for writing would empty the source. */
bool IsSameFile(FILE *pfFile, const CHAR *pcPath) {
    struct stat64 stOpen;
    struct stat64 stPath;
    return fstat64(fileno(pfFile), &stOpen) == 0 && stat64(pcPath, &stPath) == 0 && stOpen.st_dev == stPath.st_dev &&
           stOpen.st_ino == stPath.st_ino;
}

bool CopyBlocks(FILE *pfFrom, FILE *pfTo) {
    CHAR szBlock[COPY_BLOCK_LEN];
    size_t ulLen;
    while ((ulLen = fread(szBlock, 1, sizeof(szBlock), pfFrom)) > 0) {
        if (fwrite(szBlock, 1, ulLen, pfTo) != ulLen) {
            return false;
        }
    }
    return ferror(pfFrom) == 0 && fflush(pfTo) == 0;
}

QLOM_SDK_LIST_NODE_S *NodeOf(void *pVal) {
    QLOM_SDK_LIST_NODE_S *pstNode = QLOM_SDK_ListnodeNew();
    if (pstNode != nullptr) {
        pstNode->pData = pVal;
    }
    return pstNode;
}

/** Links a node in after pstPrev, or first if that is null. */
void LinkAfter(QLOM_SDK_LIST_S *pstList, QLOM_SDK_LIST_NODE_S *pstPrev, QLOM_SDK_LIST_NODE_S *pstNode) {
    QLOM_SDK_LIST_NODE_S **ppstLink = pstPrev != nullptr ? &pstPrev->pstNext : &pstList->pstHead;
    pstNode->pstNext = *ppstLink;
    *ppstLink = pstNode;
    if (pstNode->pstNext == nullptr) {
        pstList->pstTail = pstNode;
    }
}

}  // namespace

/* ---- threads and locks ----------------------------------------------------------------------------------------- */

LONG QLOM_SDK_thr_create(QLOM_SDK_THR_FUNC pfnFunc, void *pArgs, LONG lFlags, LONG lPriority, CHAR ** /*ppThrName*/,
                         QLOM_SDK_THREAD_S *pstThrId) {
    pthread_attr_t stAttr;
    if (pfnFunc == nullptr || pthread_attr_init(&stAttr) != 0) {
        return -1;
    }
    // Straight into the caller's word: the new thread may look there for its own handle.
    QLOM_SDK_THREAD_S hThread;
    bool bDone = SetThreadAttributes(&stAttr, lFlags, lPriority) &&
                 pthread_create(pstThrId != nullptr ? pstThrId : &hThread, &stAttr, pfnFunc, pArgs) == 0;
    pthread_attr_destroy(&stAttr);
    return bDone ? 0 : -1;
}

LONG QLOM_SDK_thr_join(QLOM_SDK_THREAD_S hThreadID) { return hThreadID == 0 ? 0 : pthread_join(hThreadID, nullptr); }

LONG QLOM_SDK_mutex_init(BOOL_T /*bInitialOwner*/, const CHAR * /*lpName*/, QLOM_SDK_MUTEX_S *pstMutex) {
    return pstMutex == nullptr ? -1 : pthread_mutex_init(pstMutex, nullptr);
}

LONG QLOM_SDK_mutex_lock(QLOM_SDK_MUTEX_S *pstMutex) { return pstMutex == nullptr ? -1 : pthread_mutex_lock(pstMutex); }

LONG QLOM_SDK_mutex_unlock(QLOM_SDK_MUTEX_S *pstMutex) {
    return pstMutex == nullptr ? -1 : pthread_mutex_unlock(pstMutex);
}

LONG QLOM_SDK_mutex_destroy(QLOM_SDK_MUTEX_S *pstMutex) {
    return pstMutex == nullptr ? -1 : pthread_mutex_destroy(pstMutex);
}

LONG QLOM_SDK_sem_init(QLOM_SDK_SEM_S *pstSDKSem) {
    if (pstSDKSem == nullptr) {
        return -1;
    }
    return sem_init(pstSDKSem, 0, 0) == 0 ? 0 : 1;
}

LONG QLOM_SDK_sem_post(QLOM_SDK_SEM_S *pstSDKSem) {
    if (pstSDKSem == nullptr) {
        return -1;
    }
    return sem_post(pstSDKSem) == 0 ? 0 : 1;
}

LONG QLOM_SDK_sem_destroy(QLOM_SDK_SEM_S *pstSDKSem) { return pstSDKSem == nullptr ? -1 : sem_destroy(pstSDKSem); }

LONG QLOM_SDK_sem_timedwait(QLOM_SDK_SEM_S *pstSDKSem, ULONG ulWaitTime, BOOL_T bInfinit) {
    constexpr time_t INFINITE_SECONDS = 30;
    // Far beyond any wait, and a sum that the kernel takes.
    constexpr ULONG MAX_SECONDS = INT_MAX;
    if (pstSDKSem == nullptr) {
        return -1;
    }
    struct timespec stDeadline = {};
    clock_gettime(CLOCK_REALTIME, &stDeadline);
    stDeadline.tv_nsec = 0;
    stDeadline.tv_sec +=
        bInfinit != 0 ? INFINITE_SECONDS : static_cast<time_t>(std::min(ulWaitTime / 1000, MAX_SECONDS));
    return sem_timedwait(pstSDKSem, &stDeadline) == 0 ? 0 : 3;
}

/* ---- time ------------------------------------------------------------------------------------------------------ */

void Time_Local(struct tm *pstTm) {
    static const bool bZoneRead = (tzset(), true);  // localtime_r alone need not do it
    static_cast<void>(bZoneRead);
    time_t tiNow = time(nullptr);
    *pstTm = {};
    localtime_r(&tiNow, pstTm);
}

QLOM_SDK_DATE_TIME_S QLOM_SDK_localtime(QLOM_SDK_TIME_S * /*pstClock*/) {
    struct tm stTm;
    Time_Local(&stTm);
    QLOM_SDK_DATE_TIME_S stTime = {};
    stTime.lSec = stTm.tm_sec;
    stTime.lMin = stTm.tm_min;
    stTime.lHour = stTm.tm_hour;
    stTime.lMday = stTm.tm_mday;
    stTime.lMon = stTm.tm_mon;
    stTime.lYear = stTm.tm_year + 1900L;
    stTime.lWday = stTm.tm_wday;
    stTime.lYday = stTm.tm_yday;
    stTime.lIsdst = stTm.tm_isdst;
    stTime.lGmtoff = stTm.tm_gmtoff;
    return stTime;
}

LONG QLOM_SDK_sleep(ULONG ulSeconds) {
    return static_cast<LONG>(sleep(static_cast<unsigned>(std::min<ULONG>(ulSeconds, UINT_MAX))));
}

LONG QLOM_SDK_msleep(ULONG ulMSeconds) {
    struct timeval stTime = {static_cast<time_t>(ulMSeconds / 1000),
                             static_cast<suseconds_t>(ulMSeconds % 1000 * 1000)};
    return select(0, nullptr, nullptr, nullptr, &stTime);
}

LONG QLOM_SDK_GetUnixTimestamp(QLOM_SDK_DAY_TIME_S stDayTime, ULONG *pulUnixTimestamp) {
    if (pulUnixTimestamp == nullptr || !IsDayTimeValid(stDayTime)) {
        return -1;
    }
    ULONG ulDays = (stDayTime.ulYear - 1970) * 365 + LeapYearsUpTo(stDayTime.ulYear - 1) - LeapYearsUpTo(1969);
    for (ULONG ulMonth = 1; ulMonth < stDayTime.ulMon; ++ulMonth) {
        ulDays += DaysOfMonth(stDayTime.ulYear, ulMonth);
    }
    // Unsigned words wrap, so day 0 and hours before the zone come out right.
    ULONG ulSeconds = (stDayTime.ulMday + ulDays - 1) * 86400 + stDayTime.ulMin * 60 + stDayTime.ulSec;
    *pulUnixTimestamp = ulSeconds + (stDayTime.ulHour - static_cast<ULONG>(stDayTime.lZone)) * 3600;
    return 0;
}

LONG MW_SDK_filetime(...) { return 0; }

/* ---- sockets and files ----------------------------------------------------------------------------------------- */

QLOM_SDK_SOCKET_S QLOM_SDK_socket(LONG lFamily, LONG lType, LONG lProtocol) {
    return socket(static_cast<int>(lFamily), static_cast<int>(lType), static_cast<int>(lProtocol));
}

LONG QLOM_SDK_closesocket(QLOM_SDK_SOCKET_S hSocket) { return hSocket < 0 ? -1 : close(hSocket); }

LONG QLOM_SDK_stat(const CHAR *pcFileName, QLOM_SDK_STAT_S *pstStat) {
    return pcFileName == nullptr || pstStat == nullptr ? -1 : stat64(pcFileName, pstStat);
}

LONG QLOM_SDK_fstat(LONG lFileNo, QLOM_SDK_STAT_S *pstStat) {
    return pstStat == nullptr ? -1 : fstat64(static_cast<int>(lFileNo), pstStat);
}

LONG QLOM_SDK_fileno(FILE *pfFile) { return pfFile == nullptr ? -1 : fileno(pfFile); }

LONG QLOM_SDK_chdir(const CHAR *pcDirName) { return pcDirName == nullptr ? -1 : chdir(pcDirName); }

LONG QLOM_SDK_mkdir(const CHAR *pcDirName, USHORT usMode) {
    return pcDirName != nullptr && mkdir(pcDirName, usMode) == 0 ? 0 : 1;
}

LONG QLOM_SDK_rmdir(const CHAR *pcDirName, BOOL_T bHold) {
    if (pcDirName == nullptr) {
        return -1;
    }
    DirPtr pstDir(opendir(pcDirName));
    if (pstDir == nullptr) {
        return -1;
    }
    while (const struct dirent *pstEntry = readdir(pstDir.get())) {
        bool bItself = strcmp(pstEntry->d_name, ".") == 0 || strcmp(pstEntry->d_name, "..") == 0;
        if (!bItself && !RemoveEntry(pcDirName, pstEntry->d_name)) {
            return -1;
        }
    }
    return bHold == 1 && rmdir(pcDirName) != 0 ? -1 : 0;
}

LONG QLOM_SDK_Access(const CHAR *pcSrc) { return pcSrc != nullptr && access(pcSrc, F_OK) == 0 ? 0 : -1; }

LONG QLOM_SDK_cp(const CHAR *szSourcePath, const CHAR *szDes) {
    if (szSourcePath == nullptr || szDes == nullptr) {
        return 1;
    }
    CHAR szJoined[COPY_PATH_LEN];
    const CHAR *pcTarget = CopyTarget(szSourcePath, szDes, szJoined);
    FilePtr pfFrom(fopen(szSourcePath, "rb"));
    if (pcTarget == nullptr || pfFrom == nullptr || IsSameFile(pfFrom.get(), pcTarget)) {
        return 1;
    }
    FilePtr pfTo(fopen(pcTarget, "wb+"));
    return pfTo != nullptr && CopyBlocks(pfFrom.get(), pfTo.get()) ? 0 : 1;
}

LONG QLOM_SDK_getFreePathAccess(ULONG ulBufferLen, CHAR *szTempPath) {
    if (szTempPath == nullptr || ulBufferLen == 0) {
        return -1;
    }
    memset(szTempPath, 0, ulBufferLen);
    snprintf(szTempPath, ulBufferLen, "%s", "/usr/");
    return 0;
}

LONG QLOM_SDK_snprintf(CHAR *pcBuf, ULONG ulMaxlen, const CHAR *pcFormat, ...) {
    if (pcFormat == nullptr || (pcBuf == nullptr && ulMaxlen != 0)) {
        return -1;
    }
    va_list vl;
    va_start(vl, pcFormat);
    int iLen = vsnprintf(pcBuf, ulMaxlen, pcFormat, vl);
    va_end(vl);
    return iLen;
}

LONG QLOM_SDK_Uncompress(...) { return 0; }

LONG QLOM_SDK_utf8ToANSI(...) { return 0; }

LONG QLOM_SDK_Compress(...) { return PLAYER_ERR_NOT_SUPPORT; }

LONG QLOM_SDK_MultifileCompress(...) { return PLAYER_ERR_NOT_SUPPORT; }

/* ---- list ------------------------------------------------------------------------------------------------------ */

QLOM_SDK_LIST_S *QLOM_SDK_ListNew(void) { return new (std::nothrow) QLOM_SDK_LIST_S(); }

QLOM_SDK_LIST_NODE_S *QLOM_SDK_ListnodeNew(void) { return new (std::nothrow) QLOM_SDK_LIST_NODE_S(); }

void QLOM_SDK_ListFree(QLOM_SDK_LIST_S *pstList) { delete pstList; }

void QLOM_SDK_ListnodeFree(QLOM_SDK_LIST_NODE_S *pstNode) { delete pstNode; }

LONG QLOM_SDK_ListnodeAdd(QLOM_SDK_LIST_S *pstList, void *pVal) {
    if (pstList == nullptr || pVal == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    QLOM_SDK_LIST_NODE_S *pstNode = NodeOf(pVal);
    if (pstNode == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    LinkAfter(pstList, pstList->pstTail, pstNode);
    return PLAYER_ERR_OK;
}

LONG QLOM_SDK_ListnodeAddSort(QLOM_SDK_LIST_S *pstList, void *pVal) {
    if (pstList == nullptr || pVal == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstList->cmp == nullptr) {
        return QLOM_SDK_ListnodeAdd(pstList, pVal);
    }
    QLOM_SDK_LIST_NODE_S *pstNode = NodeOf(pVal);
    if (pstNode == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    QLOM_SDK_LIST_NODE_S *pstPrev = nullptr;
    QLOM_SDK_LIST_NODE_S *pstAt = pstList->pstHead;
    while (pstAt != nullptr && pstList->cmp(pVal, pstAt->pData) >= 0) {
        pstPrev = pstAt;
        pstAt = pstAt->pstNext;
    }
    LinkAfter(pstList, pstPrev, pstNode);
    return PLAYER_ERR_OK;
}

LONG QLOM_SDK_ListnodeDelete(QLOM_SDK_LIST_S *pstList, void *pVal) {
    if (pstList == nullptr || pVal == nullptr) {
        return -1;
    }
    QLOM_SDK_LIST_NODE_S *pstPrev = nullptr;
    QLOM_SDK_LIST_NODE_S *pstAt = pstList->pstHead;
    while (pstAt != nullptr && pstAt->pData != pVal) {
        pstPrev = pstAt;
        pstAt = pstAt->pstNext;
    }
    if (pstAt == nullptr) {
        return -1;
    }
    (pstPrev != nullptr ? pstPrev->pstNext : pstList->pstHead) = pstAt->pstNext;
    if (pstList->pstTail == pstAt) {
        pstList->pstTail = pstPrev;
    }
    QLOM_SDK_ListnodeFree(pstAt);
    return 0;
}

LONG QLOM_SDK_ListDelete(QLOM_SDK_LIST_S *pstList) {
    LONG lRet = QLOM_SDK_ListDeleteAllNode(pstList);
    QLOM_SDK_ListFree(pstList);
    return lRet;
}

LONG QLOM_SDK_ListDeleteAllNode(QLOM_SDK_LIST_S *pstList) {
    if (pstList == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    QLOM_SDK_LIST_NODE_S *pstNode = pstList->pstHead;
    pstList->pstHead = nullptr;
    pstList->pstTail = nullptr;
    while (pstNode != nullptr) {
        QLOM_SDK_LIST_NODE_S *pstNext = pstNode->pstNext;
        if (pstList->del != nullptr) {
            pstList->del(pstNode->pData);
        }
        QLOM_SDK_ListnodeFree(pstNode);
        pstNode = pstNext;
    }
    return PLAYER_ERR_OK;
}
