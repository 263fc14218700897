#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include "foundations/PlayerLog.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

void __attribute__((format(printf, 1, 2))) WriteEx(const CHAR *pcFormat, ...) {
    va_list vl;
    va_start(vl, pcFormat);
    Log_WriteLogCallBackEx(PLAYER_LOG_WARN, "f", 3, pcFormat, vl);
    va_end(vl);
}

TEST(Log, ALineReachesTheClientsSink) {
    LogLines stLog;
    Log_SetPlayLogCB(Player_Log);  // does not take the client's place
    Log_WriteLogCallBack(PLAYER_LOG_ERROR, "dir/file.cpp", 42, "Port[%03d] %s", 7, "text");
    Log_WriteLogCallBack(PLAYER_LOG_CLOSE, "f", 1, "level 0 is passed on");
    Log_WriteLogCallBack(PLAYER_LOG_FATAL, "f", 1, "%s", std::string(3000, 'x').c_str());
    WriteEx("%s", std::string(3000, 'y').c_str());
    auto astLines = LogLines::All();
    ASSERT_EQ(4u, astLines.size());
    EXPECT_EQ(4u, astLines[0].ulLevel);
    EXPECT_EQ(358u, astLines[0].ulErrCode);
    EXPECT_EQ(42u, astLines[0].ulLine);
    EXPECT_EQ("dir/file.cpp", astLines[0].strFile);
    EXPECT_EQ("Port[007] text", astLines[0].strText);
    EXPECT_EQ(0u, astLines[1].ulLevel);
    EXPECT_EQ(std::string(1023, 'x'), astLines[2].strText);
    std::string strPrefix = "[" + std::to_string(getpid()) + "-" + std::to_string(syscall(SYS_gettid)) + "] ";
    EXPECT_EQ(strPrefix + std::string(1023 - strPrefix.size(), 'y'), astLines[3].strText);
}

TEST(Log, ALineThatNobodyWantsCostsNotEvenItsArguments) {
    TempDir stDir;
    int iEvaluated = 0;
    LOG_FATAL("%d", ++iEvaluated);
    EXPECT_EQ(0, iEvaluated) << "no sink";
    Log_SetPlayLogCB(Player_Log);
    EXPECT_EQ(1, Log_IsSysLogSet());
    LOG_FATAL("%d", ++iEvaluated);
    EXPECT_EQ(0, iEvaluated) << "the writer is not started";
    EXPECT_TRUE(std::filesystem::is_empty("."));
    ASSERT_EQ(0u, Player_LogInit());
    Player_SetLog(PLAYER_LOG_WARN, nullptr, 1024);
    LOG_INFO("%d", ++iEvaluated);
    EXPECT_EQ(0, iEvaluated) << "below the threshold";
    LOG_WARN("%d", ++iEvaluated);
    EXPECT_EQ(1, iEvaluated);
    Player_LogCleanUp();
    LOG_FATAL("%d", ++iEvaluated);
    EXPECT_EQ(1, iEvaluated) << "the writer has ended";
    Log_SetSysLogCB(nullptr);
}

}  // namespace
