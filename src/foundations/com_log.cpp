#include "foundations/com_log.h"

#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "foundations/PlayerLog.h"
#include "foundations/shared_word.h"

namespace {

constexpr ULONG_32 LOG_ERR_CODE = 358;  // what every line carries
constexpr ULONG_32 LOG_MODULE_ID = 0;
constexpr size_t LOG_LINE_LEN = 1024;

PLAYER_WRITE_LOG_CALLBACK_PF gpfnPlayerSysLog = nullptr;  // set by any thread, read by every other

bool IsWanted(PLAYER_WRITE_LOG_CALLBACK_PF pfnSink, LONG_32 lLevel) {
    if (pfnSink != Player_Log) {
        return pfnSink != nullptr;
    }
    LONG_32 lThreshold = static_cast<LONG_32>(PlayerLog_Threshold());
    return lThreshold != PLAYER_LOG_CLOSE && lLevel >= lThreshold;
}

/** Formats with a prefix that is there already; cut at the buffer's end. */
void FormatText(CHAR (&szText)[LOG_LINE_LEN], int iPrefixLen, const CHAR *pcFormat, va_list vl)
    __attribute__((format(printf, 3, 0)));

void FormatText(CHAR (&szText)[LOG_LINE_LEN], int iPrefixLen, const CHAR *pcFormat, va_list vl) {
    if (vsnprintf(szText + iPrefixLen, sizeof(szText) - static_cast<size_t>(iPrefixLen), pcFormat, vl) < 0) {
        szText[iPrefixLen] = '\0';
    }
}

void CallSink(PLAYER_WRITE_LOG_CALLBACK_PF pfnSink, LONG_32 lLevel, const CHAR *pcFileName, LONG lLine,
              const CHAR *pcText) {
    pfnSink(static_cast<ULONG_32>(lLevel), LOG_ERR_CODE, LOG_MODULE_ID, pcFileName, static_cast<ULONG_32>(lLine),
            pcText);
}

}  // namespace

void Log_WriteLogCallBack(PLAYER_LOGLEVEL_E lLevel, const CHAR *pcFileName, LONG lLine, const CHAR *pcFormat, ...) {
    PLAYER_WRITE_LOG_CALLBACK_PF pfnSink = word::LoadAcquire(gpfnPlayerSysLog);
    if (pcFormat == nullptr || !IsWanted(pfnSink, lLevel)) {
        return;
    }
    CHAR szText[LOG_LINE_LEN];
    va_list vl;
    va_start(vl, pcFormat);
    FormatText(szText, 0, pcFormat, vl);
    va_end(vl);
    CallSink(pfnSink, lLevel, pcFileName, lLine, szText);
}

void Log_WriteLogCallBackEx(PLAYER_LOGLEVEL_E lLevel, const CHAR *pcFileName, LONG lLine, const CHAR *pcFormat,
                            va_list vl) {
    PLAYER_WRITE_LOG_CALLBACK_PF pfnSink = word::LoadAcquire(gpfnPlayerSysLog);
    if (pcFormat == nullptr || !IsWanted(pfnSink, lLevel)) {
        return;
    }
    CHAR szText[LOG_LINE_LEN];
    int iPrefixLen =
        snprintf(szText, sizeof(szText), "[%d-%d] ", static_cast<int>(getpid()), static_cast<int>(syscall(SYS_gettid)));
    FormatText(szText, iPrefixLen, pcFormat, vl);
    CallSink(pfnSink, lLevel, pcFileName, lLine, szText);
}

ULONG_32 Log_SetSysLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc) {
    word::StoreRelease(gpfnPlayerSysLog, pfnWriteLogFunc);
    return PLAYER_ERR_OK;
}

ULONG_32 Log_SetPlayLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc) {
    PLAYER_WRITE_LOG_CALLBACK_PF pfnNone = nullptr;
    __atomic_compare_exchange_n(&gpfnPlayerSysLog, &pfnNone, pfnWriteLogFunc, false, __ATOMIC_ACQ_REL,
                                __ATOMIC_ACQUIRE);
    return PLAYER_ERR_OK;
}

BOOL_T Log_IsSysLogSet(void) { return word::LoadAcquire(gpfnPlayerSysLog) != nullptr ? 1 : 0; }

BOOL_T Log_IsLevelOn(PLAYER_LOGLEVEL_E lLevel) { return IsWanted(word::LoadAcquire(gpfnPlayerSysLog), lLevel) ? 1 : 0; }
