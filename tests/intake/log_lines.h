// Collects the library's log lines for the life of an object.
#ifndef ZELVANE_TESTS_INTAKE_LOG_LINES_H
#define ZELVANE_TESTS_INTAKE_LOG_LINES_H

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "foundations/com_log.h"

class LogLines {
 public:
    LogLines() {
        Lines().clear();
        Log_SetSysLogCB(Take);
    }
    ~LogLines() { Log_SetSysLogCB(nullptr); }

    static long Count(ULONG_32 ulLevel, const std::string &oText) {
        std::lock_guard oGuard(Mutex());
        return std::count(Lines().begin(), Lines().end(), std::make_pair(ulLevel, oText));
    }
    static size_t Total() {
        std::lock_guard oGuard(Mutex());
        return Lines().size();
    }

 private:
    static std::vector<std::pair<ULONG_32, std::string>> &Lines() {
        static std::vector<std::pair<ULONG_32, std::string>> oLines;
        return oLines;
    }
    static std::mutex &Mutex() {
        static std::mutex oMutex;
        return oMutex;
    }
    static void Take(ULONG_32 ulLevel, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *pcText) {
        std::lock_guard oGuard(Mutex());
        Lines().emplace_back(ulLevel, pcText);
    }
};

#endif
