#include <gtest/gtest.h>

#include <stdio.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "foundations/PlayerLog.h"
#include "support/temp_dir.h"

namespace {

const char *const DEFAULT_DIR = "\\var\\log\\PlayerFile\\";

class PlayerLog : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(0u, Player_LogInit());
        ASSERT_EQ(0u, Set(PLAYER_LOG_INFO, "log", 1024));
    }
    void TearDown() override { EXPECT_EQ(0u, Player_LogCleanUp()); }
    ULONG_32 Set(ULONG_32 ulLevel, const std::string &strDir, ULONG_32 ulSize) {
        std::string strCopy = m_stDir.At(strDir);
        return Player_SetLog(ulLevel, strCopy.data(), ulSize);
    }
    std::string Current(const std::string &strDir = "log") {
        return ReadText(m_stDir.At(strDir + "/Player_SDK00.log"));
    }
    std::string Older() { return ReadText(m_stDir.At("log/Player_SDK01.log")); }
    static void Write(ULONG_32 ulLevel, const std::string &strText) {
        Player_Log(ulLevel, 358, 0, "src/room/module.cpp", 12, strText.c_str());
    }
    TempDir m_stDir;
};

bool Has(const std::string &strFile, const std::string &strText) { return strFile.find(strText) != std::string::npos; }

TEST(PlayerLogInit, TheDefaultDirectoryIsANameWithBackslashes) {
    TempDir stDir;
    ASSERT_EQ(0u, Player_LogInit());
    time_t tiNow = time(nullptr);
    struct tm stTm;
    localtime_r(&tiNow, &stTm);
    Player_LogInfo(PLAYER_LOG_INFO, 358, 0, "src/room/module.cpp", 12, "hello");
    Player_Log(PLAYER_LOG_DEBUG, 358, 0, "f", 1, "below the first threshold");
    EXPECT_EQ(0u, Player_LogCleanUp());
    std::string strFile = ReadText(std::string(DEFAULT_DIR) + "Player_SDK00.log");
    int iYear = 0, iMonth = 0, iEnd = 0;
    sscanf(strFile.c_str(), "%4d-%2d-%*2d %*2d:%*2d:%*2d.000[INFO][module.cpp-12]hello\r\n%n", &iYear, &iMonth, &iEnd);
    EXPECT_EQ(static_cast<int>(strFile.size()), iEnd) << strFile;
    EXPECT_EQ(stTm.tm_year + 1900, iYear);
    EXPECT_EQ(stTm.tm_mon, iMonth) << "months from 0";
    EXPECT_EQ(1u, Player_SetLog(PLAYER_LOG_INFO, nullptr, 1024)) << "not started";
}

TEST(PlayerLogInit, WithoutADirectoryTheWriterDoesNotStart) {
    TempDir stDir;
    std::filesystem::create_directory("gone");
    std::filesystem::current_path("gone");
    std::filesystem::remove(stDir.At("gone"));
    EXPECT_EQ(1u, Player_LogInit());
    EXPECT_EQ(1u, Player_SetLog(PLAYER_LOG_INFO, nullptr, 1024)) << "not started";
}

TEST_F(PlayerLog, ThresholdsAndClosing) {
    EXPECT_EQ(0u, Set(PLAYER_LOG_WARN, "log", 1024));
    Write(PLAYER_LOG_INFO, "quiet");
    Write(PLAYER_LOG_FATAL, "loud");
    EXPECT_EQ(0u, Set(PLAYER_LOG_INFO, "log", 1024));
    Write(PLAYER_LOG_INFO, "back");
    EXPECT_EQ(0u, Set(9, "log", 1024));
    Write(PLAYER_LOG_INFO, "unknown level changes nothing");
    EXPECT_EQ(14u, Set(PLAYER_LOG_CLOSE, "other", 1024));
    Write(PLAYER_LOG_FATAL, "closed");
    EXPECT_EQ(0u, Set(PLAYER_LOG_DEBUG, "log", 1024));
    Write(6, "no such level");
    Player_Log(PLAYER_LOG_ERROR, 0, 0, nullptr, 1, "no file");
    std::string strFile = Current();
    for (const char *pcText : {"[FATAL][module.cpp-12]loud\r\n", "back", "unknown level changes nothing"}) {
        EXPECT_TRUE(Has(strFile, pcText)) << pcText;
    }
    for (const char *pcText : {"quiet", "closed", "no such level", "no file"}) {
        EXPECT_FALSE(Has(strFile, pcText)) << pcText;
    }
    EXPECT_EQ("", Current("other"));
}

TEST_F(PlayerLog, BaseNames) {
    const std::pair<const char *, const char *> astNames[] = {
        {"a\\b/c.cpp", "[c.cpp-"},           {"a\\b.cpp", "[b.cpp-"}, {"plain.cpp", "[plain.cpp-"},
        {"src/zardo_net.cpp", "[_net.cpp-"}, {"x_zardo.c", "[do.c-"}, {"zardo", "[-"},
        {"zardo/name.cpp", "[name.cpp-"},
    };
    for (const auto &[pcFile, pcShown] : astNames) {
        Player_WriteLog2File(PLAYER_LOG_ERROR, pcFile, 5, "t");
        std::string strFile = Current();
        size_t ulLast = strFile.rfind("[ERROR]");
        ASSERT_NE(std::string::npos, ulLast);
        EXPECT_EQ(std::string("[ERROR]") + pcShown + "5]t\r\n", strFile.substr(ulLast)) << pcFile;
    }
}

TEST_F(PlayerLog, AFullFileBecomesTheOlderOne) {
    ASSERT_EQ(0u, Set(PLAYER_LOG_INFO, "log", 3));
    for (int i = 0; i < 4; i++) {
        Write(PLAYER_LOG_INFO, "first" + std::string(500, '1'));
    }
    EXPECT_EQ("", Older()) << "more than 1024 bytes remain before the fourth line";
    for (const char *pcText : {"second", "second", "third", "third"}) {
        Write(PLAYER_LOG_INFO, pcText + std::string(900, 'x'));
    }
    EXPECT_TRUE(Has(Older(), "second"));
    EXPECT_FALSE(Has(Older(), "first")) << "the old older file is gone";
    EXPECT_TRUE(Has(Current(), "third"));
    EXPECT_FALSE(Has(Current(), "second"));
}

TEST_F(PlayerLog, SizesAreLimited) {
    for (ULONG_32 ulSize : {4096u, 0x400000u}) {  // the second is 0 in 32 bits of bytes
        ASSERT_EQ(0u, Set(PLAYER_LOG_INFO, "log", ulSize));
        std::filesystem::remove(m_stDir.At("log/Player_SDK01.log"));
        for (int i = 0; i < 2000 && Older().empty(); i++) {
            for (int j = 0; j < 100; j++) {
                Write(PLAYER_LOG_INFO, std::string(900, 'x'));
            }
        }
        EXPECT_LE(Older().size(), 0x180000u);
        EXPECT_GT(Older().size(), 0x180000u - 2048);
    }
}

TEST_F(PlayerLog, ARotationThatFailsDropsOneLine) {
    ASSERT_EQ(0u, Set(PLAYER_LOG_INFO, "log", 1));
    Write(PLAYER_LOG_INFO, "fills it");
    ASSERT_EQ(0u, Set(PLAYER_LOG_INFO, "other", 1));  // the count of the old file goes on
    testing::internal::CaptureStderr();
    Write(PLAYER_LOG_INFO, "dropped");
    Write(PLAYER_LOG_INFO, "written");
    EXPECT_TRUE(Has(testing::internal::GetCapturedStderr(), "]Rename file " + m_stDir.At("other/Player_SDK00.log") +
                                                                " to " + m_stDir.At("other/Player_SDK01.log") +
                                                                " failed:No such file or directory\n"));
    EXPECT_FALSE(Has(Current("other"), "dropped"));
    EXPECT_TRUE(Has(Current("other"), "written"));
    std::filesystem::remove_all(m_stDir.At("other"));
    testing::internal::CaptureStderr();
    Write(PLAYER_LOG_INFO, "rename fails");
    Write(PLAYER_LOG_INFO, "open fails");
    EXPECT_TRUE(Has(testing::internal::GetCapturedStderr(), " failed:No such file or directory\n"));
}

TEST_F(PlayerLog, BadSettingsChangeNothing) {
    EXPECT_EQ(2u, Set(PLAYER_LOG_ERROR, "other", 0));
    EXPECT_EQ(1u, Set(PLAYER_LOG_ERROR, "no/such", 1024));
    EXPECT_EQ(1u, Set(PLAYER_LOG_ERROR, std::string(240 - m_stDir.At("").size(), 'l'), 1024)) << "240 characters";
    EXPECT_EQ(1u, Set(PLAYER_LOG_ERROR, std::string(4000, 'l'), 1024));
    Write(PLAYER_LOG_INFO, "still here");
    EXPECT_TRUE(Has(Current(), "still here"));
    std::string strLongest(238 - m_stDir.At("").size(), 'l');  // and the separator
    EXPECT_EQ(0u, Set(PLAYER_LOG_INFO, strLongest, 1024));
    Write(PLAYER_LOG_INFO, "far down");
    EXPECT_TRUE(Has(Current(strLongest), "far down"));
}

TEST(PlayerLogPath, Separators) {
    const std::pair<const char *, const char *> astPaths[] = {
        {"/a/b", "/a/b/"}, {"/a/b/", "/a/b/"},    {"a", "a\\"}, {"a\\b", "a\\b/"},
        {"a\\", "a\\"},    {"/a/b\\", "/a/b\\/"}, {"", "\\"},
    };
    CHAR szPath[16];
    for (const auto &[pcPath, pcWant] : astPaths) {
        EXPECT_EQ(0u, Player_CheckPath(pcPath, szPath, sizeof(szPath)));
        EXPECT_STREQ(pcWant, szPath);
    }
    EXPECT_EQ(1u, Player_CheckPath("/a/b", szPath, 5));
}

TEST_F(PlayerLog, SettingsEndAndStartWhileOthersWrite) {
    std::atomic<bool> bStop{false};
    auto Repeat = [&bStop](auto pfnDo) {
        return std::thread([&bStop, pfnDo] {
            while (!bStop) {
                pfnDo();
            }
        });
    };
    std::vector<std::thread> astThreads;
    for (int i = 0; i < 3; i++) {
        astThreads.push_back(Repeat([] { Write(PLAYER_LOG_INFO, std::string(300, 'w')); }));
    }
    astThreads.push_back(Repeat([this] {
        Set(PLAYER_LOG_INFO, "other", 2);
        Set(PLAYER_LOG_CLOSE, "log", 2);
        Set(PLAYER_LOG_INFO, "log", 2);
    }));
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(0u, Player_LogCleanUp());
        EXPECT_EQ(0u, Player_LogInit());
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
    }
    bStop = true;
    for (std::thread &stThread : astThreads) {
        stThread.join();
    }
}

}  // namespace
