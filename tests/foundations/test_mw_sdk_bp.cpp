#include <gtest/gtest.h>

#include <unistd.h>

#include <vector>

#include "foundations/mw_sdk_bp.h"
#include "support/elapsed.h"
#include "support/temp_dir.h"

namespace {

QLOM_SDK_THREAD_S hOwnHandle;

void *PostIfHandleIsKnown(void *pArgs) {
    if (pthread_equal(hOwnHandle, pthread_self()) != 0) {
        QLOM_SDK_sem_post(static_cast<QLOM_SDK_SEM_S *>(pArgs));
    }
    return nullptr;
}

TEST(Threads, AThreadFindsItsHandleFromTheStart) {
    QLOM_SDK_SEM_S stSem;
    ASSERT_EQ(0, QLOM_SDK_sem_init(&stSem));
    for (LONG lFlags : {0L, +QLOM_SDK_THR_JOINABLE, QLOM_SDK_THR_DETACHED | QLOM_SDK_THR_SCHED_RR}) {
        ASSERT_EQ(0, QLOM_SDK_thr_create(PostIfHandleIsKnown, &stSem, lFlags, 1000, nullptr, &hOwnHandle));
        EXPECT_EQ(0, QLOM_SDK_sem_timedwait(&stSem, 0, 1));
        EXPECT_EQ(0, (lFlags & QLOM_SDK_THR_DETACHED) != 0 ? 0 : QLOM_SDK_thr_join(hOwnHandle));
    }
    EXPECT_EQ(0, QLOM_SDK_thr_join(0));
    EXPECT_EQ(-1, QLOM_SDK_thr_create(nullptr, nullptr, 0, 0, nullptr, &hOwnHandle));
    QLOM_SDK_sem_destroy(&stSem);
}

TEST(Threads, ASemaphoreWaitCountsWholeSecondsAndASleepMilliseconds) {
    QLOM_SDK_SEM_S stSem;
    ASSERT_EQ(0, QLOM_SDK_sem_init(&stSem));
    EXPECT_LT(ElapsedMs([&] { EXPECT_EQ(3, QLOM_SDK_sem_timedwait(&stSem, 500, 0)); }), 300);
    EXPECT_EQ(3, QLOM_SDK_sem_timedwait(&stSem, 1000, 0)) << "a time-out reads 3 too";
    QLOM_SDK_sem_destroy(&stSem);
    EXPECT_GE(ElapsedMs([] { EXPECT_EQ(0, QLOM_SDK_msleep(1010)); }), 1005) << "of a second and more, too";
}

TEST(Time, UnixTimestamps) {
    // zone, second, minute, hour, day, month, year
    const std::pair<QLOM_SDK_DAY_TIME_S, ULONG> astCases[] = {
        {{0, 0, 0, 0, 1, 1, 1970}, 0},
        {{8, 0, 0, 3, 2, 1, 2020}, 1577905200},   // 2020-01-01T19:00Z
        {{0, 0, 0, 0, 1, 3, 2020}, 1583020800},   // leap year
        {{-5, 0, 0, 0, 1, 3, 2021}, 1614574800},  // 05:00Z
        {{0, 0, 0, 0, 1, 3, 2100}, 4107542400},   // no leap year
        {{0, 59, 59, 23, 31, 12, 1999}, 946684799},
        {{0, 0, 0, 0, 1, 3, 2000}, 946684800 + 2 * 29 * 86400UL},  // January counts 29 days too
        {{0, 0, 0, 0, 1, 12, 2000}, 946684800 + 11 * 29 * 86400UL},
        {{0, 0, 0, 0, 0, 0, 1971}, 364 * 86400UL},  // month and day 0 pass
    };
    ULONG ulStamp = 0;
    for (const auto &[stTime, ulWant] : astCases) {
        EXPECT_EQ(0, QLOM_SDK_GetUnixTimestamp(stTime, &ulStamp));
        EXPECT_EQ(ulWant, ulStamp) << stTime.ulYear << "-" << stTime.ulMon;
    }
    const QLOM_SDK_DAY_TIME_S astRefused[] = {
        {0, 0, 0, 0, 31, 12, 1969}, {0, 0, 0, 0, 1, 13, 2020}, {0, 0, 0, 0, 32, 1, 2020},  {0, 0, 0, 24, 1, 1, 2020},
        {0, 0, 60, 0, 1, 1, 2020},  {0, 60, 0, 0, 1, 1, 2020}, {-13, 0, 0, 0, 1, 1, 2020}, {13, 0, 0, 0, 1, 1, 2020},
    };
    for (const QLOM_SDK_DAY_TIME_S &st : astRefused) {
        EXPECT_EQ(-1, QLOM_SDK_GetUnixTimestamp(st, &ulStamp));
    }
    EXPECT_EQ(0, QLOM_SDK_GetUnixTimestamp({0, 0, 0, 0, 1, 1, ~0UL}, &ulStamp)) << "at once, whatever the year";
}

TEST(Files, RemovingADirectoryEmptiesItAndStaysInside) {
    TempDir stDir;
    WriteFile("outside", "stays");
    std::filesystem::create_directories("tree/below");
    WriteFile("tree/below/file", "x");
    ASSERT_EQ(0, symlink("..", "tree/below/loop"));
    ASSERT_EQ(0, symlink(stDir.At("outside").c_str(), "tree/link"));
    EXPECT_EQ(0, QLOM_SDK_rmdir("tree/", 0));
    EXPECT_TRUE(std::filesystem::is_empty("tree")) << "0 keeps the directory";
    EXPECT_EQ("stays", ReadText("outside"));
    EXPECT_EQ(0, QLOM_SDK_rmdir("tree", 1));
    EXPECT_EQ(-1, QLOM_SDK_Access("tree"));
    EXPECT_EQ(-1, QLOM_SDK_rmdir("tree", 1));
    std::filesystem::create_directories("tree/" + std::string(250, 'a') + "/" + std::string(250, 'b') + "/too long");
    EXPECT_EQ(-1, QLOM_SDK_rmdir("tree", 1));
}

TEST(Files, CopyingAFile) {
    TempDir stDir;
    std::string strContent(5000, 'q');
    WriteFile("source", strContent);
    EXPECT_EQ(0, QLOM_SDK_cp("source", "copy"));
    EXPECT_EQ(strContent, ReadText("copy"));
    EXPECT_EQ(1, QLOM_SDK_cp("source", "./source"));
    EXPECT_EQ(strContent, ReadText("source")) << "a copy onto itself must not empty the file";
    EXPECT_EQ(1, QLOM_SDK_cp("missing", "other"));
    EXPECT_EQ(-1, QLOM_SDK_Access("other"));
    WriteFile("a\\name", "joined");
    EXPECT_EQ(0, QLOM_SDK_cp("a\\name", "to\\"));
    EXPECT_EQ("joined", ReadText("to\\name"));
    EXPECT_EQ(1, QLOM_SDK_cp("source", (std::string(250, 'd') + "\\").c_str())) << "257 characters";
    std::filesystem::create_directories(std::string(200, 'l'));
    const std::string strLong = std::string(200, 'l') + "/" + std::string(200, 'n');
    EXPECT_EQ(0, QLOM_SDK_cp("source", strLong.c_str())) << "only a joined path has that limit";
    EXPECT_EQ(strContent, ReadText(strLong));
}

}  // namespace
