#include "foundations/PlayerLog.h"

#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include "foundations/shared_word.h"

namespace {

constexpr ULONG_32 MAX_FILE_SIZE = 0x180000;
constexpr ULONG_32 LINE_RESERVE = 1024;  // a file that has less room than this is full
constexpr ULONG_32 DEFAULT_LEVEL = PLAYER_LOG_INFO;
constexpr ULONG_32 DEFAULT_SIZE_KB = 1024;
constexpr USHORT DIR_MODE = 0775;
constexpr CHAR LOG_NAME[] = "Player_SDK00.log";
constexpr CHAR LOG_NAME_BAK[] = "Player_SDK01.log";
constexpr CHAR DEFAULT_BASE[] = "\\var\\log\\";
constexpr CHAR FALLBACK_BASE[] = "c:\\";
constexpr CHAR DEFAULT_DIR[] = "PlayerFile\\";
constexpr CHAR OLD_PREFIX[] = "zardo";  // source files once carried it in front of their names

static_assert(sizeof(LOG_NAME) == sizeof(LOG_NAME_BAK));

/** A directory with its separator: what leaves room for the file's name. */
using LOG_DIR = CHAR[PLAYER_FILE_NAME_LEN + 1 - sizeof(LOG_NAME)];

// Init and clean-up hold it alone, everybody else shares it: the state goes when nobody writes.
pthread_rwlock_t gstStateLock = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
ZELVANE_LOGINFO_S *gpstPlayerLogInfo = nullptr;
ULONG_32 gulPlayerLogInitCount = 0;
QLOM_SDK_MUTEX_S gstLogInfoMutex;
ULONG_32 gulThreshold = PLAYER_LOG_CLOSE;  // copy of the state's level, 0 without a state; read without a lock

class StateLock {
 public:
    explicit StateLock(bool bAlone) {
        bAlone ? pthread_rwlock_wrlock(&gstStateLock) : pthread_rwlock_rdlock(&gstStateLock);
    }
    ~StateLock() { pthread_rwlock_unlock(&gstStateLock); }
    StateLock(const StateLock &) = delete;
    StateLock &operator=(const StateLock &) = delete;
};

bool ReportMutexError(const CHAR *pcAction, LONG lError, int iLine) {
    if (lError == 0) {
        return true;
    }
    fprintf(stderr, "[PlayerLog.c-%d]%s mutex failed:%s\n", iLine, pcAction, strerror(static_cast<int>(lError)));
    fflush(stderr);
    return false;
}

bool LockMutex(QLOM_SDK_MUTEX_S *pstMutex, int iLine = __builtin_LINE()) {
    return ReportMutexError("Lock", QLOM_SDK_mutex_lock(pstMutex), iLine);
}

bool UnlockMutex(QLOM_SDK_MUTEX_S *pstMutex, int iLine = __builtin_LINE()) {
    return ReportMutexError("Unlock", QLOM_SDK_mutex_unlock(pstMutex), iLine);
}

/* ---- settings -------------------------------------------------------------------------------------------------- */

/** The default directory: a name with backslashes in it, relative to the working directory. */
void DefaultDir(LOG_DIR &szDir) {
    const CHAR *pcLast = strrchr(DEFAULT_BASE, '\\');
    int iBaseLen = pcLast != nullptr ? static_cast<int>(pcLast - DEFAULT_BASE) + 1 : 0;
    if (iBaseLen > 0) {
        snprintf(szDir, sizeof(szDir), "%.*s%s", iBaseLen, DEFAULT_BASE, DEFAULT_DIR);
    } else {
        snprintf(szDir, sizeof(szDir), "%s%s", FALLBACK_BASE, DEFAULT_DIR);
    }
}

void CloseFile(ZELVANE_LOGINFO_S *pstInfo) {
    if (pstInfo->pfLogFile != nullptr) {
        fclose(pstInfo->pfLogFile);
        pstInfo->pfLogFile = nullptr;
    }
}

void SetLevel(ZELVANE_LOGINFO_S *pstInfo, ULONG_32 ulLogLevel) {
    pstInfo->ulLogLevel = ulLogLevel;
    word::Store(gulThreshold, ulLogLevel);
}

void SetNames(ZELVANE_LOGINFO_S *pstInfo, const LOG_DIR &szDir) {
    CHAR szOldName[PLAYER_FILE_NAME_LEN];
    memcpy(szOldName, pstInfo->szLogName, sizeof(szOldName));
    snprintf(pstInfo->szLogName, sizeof(pstInfo->szLogName), "%s%s", szDir, LOG_NAME);
    snprintf(pstInfo->szLogNameBak, sizeof(pstInfo->szLogNameBak), "%s%s", szDir, LOG_NAME_BAK);
    if (strcmp(szOldName, pstInfo->szLogName) != 0) {
        CloseFile(pstInfo);
    }
}

/** With both mutexes held. */
ULONG_32 ApplySettings(ZELVANE_LOGINFO_S *pstInfo, ULONG_32 ulLogLevel, const LOG_DIR &szDir, ULONG_32 ulLogSize) {
    if (ulLogLevel == PLAYER_LOG_CLOSE) {
        SetLevel(pstInfo, PLAYER_LOG_CLOSE);
        return PLAYER_ERR_LOG_CLOSED;
    }
    if (ulLogLevel <= PLAYER_LOG_FATAL) {
        SetLevel(pstInfo, ulLogLevel);
    }
    DULONG dulSize = static_cast<DULONG>(ulLogSize) * 1024;
    pstInfo->ulSingleFileSize = dulSize < MAX_FILE_SIZE ? static_cast<ULONG_32>(dulSize) : MAX_FILE_SIZE;
    SetNames(pstInfo, szDir);
    return PLAYER_ERR_OK;
}

/** Under the state lock, shared or alone. */
ULONG_32 ChangeSettings(ZELVANE_LOGINFO_S *pstInfo, ULONG_32 ulLogLevel, const CHAR *pcLogPath, ULONG_32 ulLogSize) {
    if (pstInfo == nullptr) {
        return PLAYER_ERR_FAILED;
    }
    if (ulLogSize == 0) {
        return PLAYER_ERR_PARAM;
    }
    LOG_DIR szDefault;
    LOG_DIR szDir;
    DefaultDir(szDefault);
    const CHAR *pcDir = pcLogPath != nullptr ? pcLogPath : szDefault;
    if (Player_CheckPath(pcDir, szDir, sizeof(szDir)) != PLAYER_ERR_OK) {
        return PLAYER_ERR_FAILED;
    }
    if (QLOM_SDK_Access(pcDir) != 0 && QLOM_SDK_mkdir(pcDir, DIR_MODE) != 0) {
        return PLAYER_ERR_FAILED;
    }
    if (!LockMutex(&gstLogInfoMutex)) {
        return PLAYER_ERR_FAILED;
    }
    ULONG_32 ulRet = PLAYER_ERR_FAILED;
    if (LockMutex(&pstInfo->stWriteLogMutex)) {
        ulRet = ApplySettings(pstInfo, ulLogLevel, szDir, ulLogSize);
        ulRet = UnlockMutex(&pstInfo->stWriteLogMutex) ? ulRet : static_cast<ULONG_32>(PLAYER_ERR_FAILED);
    }
    return UnlockMutex(&gstLogInfoMutex) ? ulRet : static_cast<ULONG_32>(PLAYER_ERR_FAILED);
}

/* ---- start and end --------------------------------------------------------------------------------------------- */

bool DestroyState() {
    word::Store(gulThreshold, PLAYER_LOG_CLOSE);
    CloseFile(gpstPlayerLogInfo);
    bool bDone = QLOM_SDK_mutex_destroy(&gpstPlayerLogInfo->stWriteLogMutex) == 0;
    free(gpstPlayerLogInfo);
    gpstPlayerLogInfo = nullptr;
    bDone = QLOM_SDK_mutex_destroy(&gstLogInfoMutex) == 0 && bDone;
    gulPlayerLogInitCount--;
    return bDone;
}

ULONG_32 CreateState() {
    memset(&gstLogInfoMutex, 0, sizeof(gstLogInfoMutex));
    if (QLOM_SDK_mutex_init(0, nullptr, &gstLogInfoMutex) != 0) {
        return PLAYER_ERR_FAILED;
    }
    gpstPlayerLogInfo = static_cast<ZELVANE_LOGINFO_S *>(calloc(1, sizeof(ZELVANE_LOGINFO_S)));
    if (gpstPlayerLogInfo == nullptr) {
        QLOM_SDK_mutex_destroy(&gstLogInfoMutex);
        return PLAYER_ERR_MALLOC;
    }
    if (QLOM_SDK_mutex_init(0, nullptr, &gpstPlayerLogInfo->stWriteLogMutex) != 0) {
        free(gpstPlayerLogInfo);
        gpstPlayerLogInfo = nullptr;
        QLOM_SDK_mutex_destroy(&gstLogInfoMutex);
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

/* ---- writing --------------------------------------------------------------------------------------------------- */

struct LogLine {
    ULONG_32 ulLevel;
    const CHAR *pcBaseName;
    ULONG_32 ulFileLine;
    const CHAR *pcText;
    CHAR szTime[160];  // made before the locks are taken
};

bool IsLevelWritten(ULONG_32 ulLevel, ULONG_32 ulThreshold) {
    return ulThreshold != PLAYER_LOG_CLOSE && ulLevel >= PLAYER_LOG_DEBUG && ulLevel <= PLAYER_LOG_FATAL &&
           ulLevel >= ulThreshold;
}

const CHAR *LevelName(ULONG_32 ulLevel) {
    static const CHAR *const apcNames[] = {" ", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};
    return apcNames[ulLevel];
}

const CHAR *BaseName(const CHAR *pcFileName) {
    const CHAR *pcLast = strrchr(pcFileName, '/');
    if (pcLast == nullptr) {
        pcLast = strrchr(pcFileName, '\\');
    }
    const CHAR *pcBase = pcLast != nullptr ? pcLast + 1 : pcFileName;
    // Wherever the word stands, it is the name's start that goes.
    return strstr(pcBase, OLD_PREFIX) != nullptr ? pcBase + sizeof(OLD_PREFIX) - 1 : pcBase;
}

void FormatTime(LogLine &stLine) {
    QLOM_SDK_DATE_TIME_S stNow = QLOM_SDK_localtime(nullptr);
    snprintf(stLine.szTime, sizeof(stLine.szTime), "%04ld-%02ld-%02ld %02ld:%02ld:%02ld.%03ld", stNow.lYear, stNow.lMon,
             stNow.lMday, stNow.lHour, stNow.lMin, stNow.lSec, stNow.lMillisec);
}

ULONG_32 FileSize(const CHAR *pcName) {
    QLOM_SDK_STAT_S stStat;
    if (QLOM_SDK_stat(pcName, &stStat) != 0) {
        return 0;
    }
    return stStat.st_size < UINT32_MAX ? static_cast<ULONG_32>(stStat.st_size) : UINT32_MAX;
}

/** Makes the full current file the older one. False if that failed: the line is dropped. */
bool RotateFiles(ZELVANE_LOGINFO_S *pstInfo) {
    CloseFile(pstInfo);
    remove(pstInfo->szLogNameBak);
    if (rename(pstInfo->szLogName, pstInfo->szLogNameBak) != 0) {
        fprintf(stderr, "[_sdk_func.c-%d]Rename file %s to %s failed:%s\n", __LINE__, pstInfo->szLogName,
                pstInfo->szLogNameBak, strerror(errno));
        fflush(stderr);
        pstInfo->ulLogFileSize = FileSize(pstInfo->szLogName);
        return false;
    }
    pstInfo->ulLogFileSize = 0;
    return true;
}

bool OpenFile(ZELVANE_LOGINFO_S *pstInfo) {
    if (pstInfo->pfLogFile == nullptr) {
        pstInfo->pfLogFile = fopen(pstInfo->szLogName, "a+e");  // e: a child of the client does not inherit it
    }
    if (pstInfo->pfLogFile == nullptr) {
        fprintf(stderr, "[_sdk_func.c-%d]Open file %s failed:%s\n", __LINE__, pstInfo->szLogName, strerror(errno));
        fflush(stderr);
        return false;
    }
    return true;
}

/** With the write mutex held. */
void WriteLine(ZELVANE_LOGINFO_S *pstInfo, const LogLine &stLine) {
    if (!IsLevelWritten(stLine.ulLevel, pstInfo->ulLogLevel)) {
        return;
    }
    bool bFull = static_cast<DULONG>(pstInfo->ulLogFileSize) + LINE_RESERVE > pstInfo->ulSingleFileSize;
    if ((bFull && !RotateFiles(pstInfo)) || !OpenFile(pstInfo)) {
        return;
    }
    int iLen = fprintf(pstInfo->pfLogFile, "%s[%s][%s-%lu]%s\r\n", stLine.szTime, LevelName(stLine.ulLevel),
                       stLine.pcBaseName, static_cast<unsigned long>(stLine.ulFileLine), stLine.pcText);
    fflush(pstInfo->pfLogFile);  // the last line before a crash is the one that counts
    pstInfo->ulLogFileSize += iLen > 0 ? static_cast<ULONG_32>(iLen) : 0;
}

}  // namespace

ULONG_32 Player_LogInit(void) {
    StateLock stLock(true);
    if (gulPlayerLogInitCount != 0) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulRet = CreateState();
    if (ulRet != PLAYER_ERR_OK) {
        return ulRet;
    }
    gulPlayerLogInitCount++;
    if (ChangeSettings(gpstPlayerLogInfo, DEFAULT_LEVEL, nullptr, DEFAULT_SIZE_KB) != PLAYER_ERR_OK) {
        DestroyState();
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_LogCleanUp(void) {
    StateLock stLock(true);
    if (gulPlayerLogInitCount == 0) {
        return PLAYER_ERR_OK;
    }
    return DestroyState() ? PLAYER_ERR_OK : PLAYER_ERR_FAILED;
}

ULONG_32 Player_SetLog(ULONG_32 ulLogLevel, CHAR *pcLogPath, ULONG_32 ulLogSize) {
    StateLock stLock(false);
    return ChangeSettings(gpstPlayerLogInfo, ulLogLevel, pcLogPath, ulLogSize);
}

ULONG_32 Player_CheckPath(const CHAR *pcLogPath, CHAR *pcBuffer, ULONG_32 ulBufferLen) {
    if (pcLogPath == nullptr || pcBuffer == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const size_t ulLen = strlen(pcLogPath);
    const CHAR cLast = ulLen > 0 ? pcLogPath[ulLen - 1] : '\0';
    const bool bSlash = strchr(pcLogPath, '/') != nullptr;
    const CHAR *pcEnd = bSlash || strchr(pcLogPath, '\\') != nullptr ? "/" : "\\";
    const bool bEnded = cLast == '/' || (!bSlash && cLast == '\\');
    int iLen = snprintf(pcBuffer, ulBufferLen, "%s%s", pcLogPath, bEnded ? "" : pcEnd);
    return iLen >= 0 && static_cast<ULONG_32>(iLen) < ulBufferLen ? PLAYER_ERR_OK : PLAYER_ERR_FAILED;
}

void Player_WriteLog2File(ULONG_32 ulLogLevel, const CHAR *pcFileName, ULONG_32 ulFileLine,
                          const CHAR *pcErrDescription) {
    if (pcFileName == nullptr || pcErrDescription == nullptr || pcErrDescription[0] == '\0' ||
        !IsLevelWritten(ulLogLevel, PlayerLog_Threshold())) {
        return;
    }
    LogLine stLine;
    stLine.ulLevel = ulLogLevel;
    stLine.pcBaseName = BaseName(pcFileName);
    stLine.ulFileLine = ulFileLine;
    stLine.pcText = pcErrDescription;
    FormatTime(stLine);
    StateLock stLock(false);
    if (gpstPlayerLogInfo == nullptr || !LockMutex(&gpstPlayerLogInfo->stWriteLogMutex)) {
        return;
    }
    WriteLine(gpstPlayerLogInfo, stLine);
    UnlockMutex(&gpstPlayerLogInfo->stWriteLogMutex);
}

void Player_Log(ULONG_32 ulLogLevel, ULONG_32 /*ulErrCode*/, ULONG_32 /*ulModuleId*/, const CHAR *pcFileName,
                ULONG_32 ulFileLine, const CHAR *pcErrDescription) {
    Player_WriteLog2File(ulLogLevel, pcFileName, ulFileLine, pcErrDescription);
}

void Player_LogInfo(ULONG_32 ulLogLevel, ULONG_32 ulErrCode, ULONG_32 ulModuleId, const CHAR *pcFileName,
                    ULONG_32 ulFileLine, const CHAR *pcErrDescription) {
    Player_Log(ulLogLevel, ulErrCode, ulModuleId, pcFileName, ulFileLine, pcErrDescription);
}

ULONG_32 PlayerLog_Threshold(void) { return word::Load(gulThreshold); }
