// Collects the library's log lines for the life of an object.
#ifndef ZELVANE_TESTS_SUPPORT_LOG_LINES_H
#define ZELVANE_TESTS_SUPPORT_LOG_LINES_H

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "foundations/com_log.h"

class LogLines {
 public:
    struct Line {
        ULONG_32 ulLevel, ulErrCode, ulModuleId, ulLine;
        std::string strFile, strText;
    };
    LogLines() {
        Lines().clear();
        Log_SetSysLogCB(Take);
    }
    ~LogLines() { Log_SetSysLogCB(nullptr); }
    static std::vector<Line> All() {
        std::lock_guard stGuard(Mutex());
        return Lines();
    }
    static size_t Count(ULONG_32 ulLevel, const std::string &strText) {
        std::vector<Line> astLines = All();
        return static_cast<size_t>(std::count_if(astLines.begin(), astLines.end(), [&](const Line &st) {
            return st.ulLevel == ulLevel && st.strText == strText;
        }));
    }
    static size_t Errors(const std::string &strText) { return Count(PLAYER_LOG_ERROR, strText); }
    static size_t Total() { return All().size(); }

 private:
    static std::vector<Line> &Lines() {
        static std::vector<Line> astLines;
        return astLines;
    }
    static std::mutex &Mutex() {
        static std::mutex stMutex;
        return stMutex;
    }
    static void Take(ULONG_32 ulLevel, ULONG_32 ulErrCode, ULONG_32 ulModuleId, const CHAR *pcFile, ULONG_32 ulLine,
                     const CHAR *pcText) {
        std::lock_guard stGuard(Mutex());
        Lines().push_back({ulLevel, ulErrCode, ulModuleId, ulLine, pcFile, pcText});
    }
};

#endif
