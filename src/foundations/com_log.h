/**
 * @file com_log.h
 * @brief The front that every module logs to: formats a line and hands it to one sink.
 *
 * The sink is a client's callback or the built-in file writer (PlayerLog.h). A line has at most 1023 characters, the
 * rest is cut. Any thread may log; the sink runs on the thread that logged.
 */
#ifndef ZELVANE_FOUNDATIONS_COM_LOG_H
#define ZELVANE_FOUNDATIONS_COM_LOG_H

#include <stdarg.h>

#include "foundations/module_api.h"
#include "player_public.h"

/** Writes a line if anybody wants it; otherwise its arguments are not even evaluated. */
#define LOG_WRITE(enLevel, ...)                                             \
    do {                                                                    \
        if (Log_IsLevelOn(enLevel)) {                                       \
            Log_WriteLogCallBack(enLevel, __FILE__, __LINE__, __VA_ARGS__); \
        }                                                                   \
    } while (0)
#define LOG_DEBUG(...) LOG_WRITE(PLAYER_LOG_DEBUG, __VA_ARGS__)
#define LOG_INFO(...) LOG_WRITE(PLAYER_LOG_INFO, __VA_ARGS__)
#define LOG_WARN(...) LOG_WRITE(PLAYER_LOG_WARN, __VA_ARGS__)
#define LOG_ERROR(...) LOG_WRITE(PLAYER_LOG_ERROR, __VA_ARGS__)
#define LOG_FATAL(...) LOG_WRITE(PLAYER_LOG_FATAL, __VA_ARGS__)

extern "C" {

/**
 * Formats a line and calls the sink with it, with error code 358 and module id 0. Nothing without a sink, and nothing
 * for a line that the built-in sink would drop.
 * @param lLevel     PLAYER_LOGLEVEL_E; passed on as given
 * @param pcFileName source file, handed on as it is
 * @param lLine      line in it
 * @param pcFormat   printf format; null writes nothing
 */
MODULE_API void Log_WriteLogCallBack(PLAYER_LOGLEVEL_E lLevel, const CHAR *pcFileName, LONG lLine, const CHAR *pcFormat,
                                     ...) __attribute__((format(printf, 4, 5)));

/** The same with a list; the text gets the prefix "[process id-thread id] ". */
MODULE_API void Log_WriteLogCallBackEx(PLAYER_LOGLEVEL_E lLevel, const CHAR *pcFileName, LONG lLine,
                                       const CHAR *pcFormat, va_list vl) __attribute__((format(printf, 4, 0)));

/** Sets the sink, null for none. Returns 0. */
MODULE_API ULONG_32 Log_SetSysLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc);
/** Sets the sink if there is none, so that a client's callback keeps its place. Returns 0. */
MODULE_API ULONG_32 Log_SetPlayLogCB(PLAYER_WRITE_LOG_CALLBACK_PF pfnWriteLogFunc);
/** 1 if a sink is set. */
MODULE_API BOOL_T Log_IsSysLogSet(void);
/** 1 if a line of this level would reach anybody: a client's callback takes all, the built-in writer by threshold. */
MODULE_API BOOL_T Log_IsLevelOn(PLAYER_LOGLEVEL_E lLevel);
}

#endif
