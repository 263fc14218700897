#include <gtest/gtest.h>

#include "foundations/com_public_fun.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

TEST(PublicFun, TimesAreSecondsAndMilliseconds) {
    LogLines stLog;
    struct timeval stTime = {};
    for (int i = 0; i < 1000; i++) {
        ASSERT_EQ(0u, WYK_gettimeofday(&stTime, nullptr));
        ASSERT_LE(static_cast<unsigned long>(stTime.tv_usec), 999u);
    }
    EXPECT_LE(time(nullptr) - stTime.tv_sec, 1);
    EXPECT_EQ(2u, WYK_gettimeofday(nullptr, nullptr));
    EXPECT_EQ(1u, LogLines::Count(PLAYER_LOG_ERROR, "WYK_gettimeofday, In Param is Null."));
    struct timeval stFrom = {100, 900};
    struct timeval stTo = {102, 100};
    struct timeval stZero = {0, 0};
    EXPECT_EQ(1200, Time_ElapsedMs(&stFrom, &stTo));
    EXPECT_EQ(-1200, Time_ElapsedMs(&stTo, &stFrom));
    EXPECT_EQ(static_cast<LONG_32>(stTime.tv_sec * 1000 + stTime.tv_usec), Time_ElapsedMs(&stZero, &stTime));
}

TEST(PublicFun, MulticastAddresses) {
    for (const char *pcAddr : {"224.0.0.0", "239.255.255.255"}) {
        EXPECT_EQ(1, WYK_IsMulticast(pcAddr)) << pcAddr;
    }
    for (const char *pcAddr : {"223.255.255.255", "240.0.0.0", "255.255.255.255", "host", "", "ff02::1"}) {
        EXPECT_EQ(0, WYK_IsMulticast(pcAddr)) << pcAddr;
    }
}

TEST(PublicFun, FilesAreWrittenAndReadBack) {
    TempDir stDir;
    LogLines stLog;
    ULONG_32 ulErr = 99;
    FILE *pFile = WYK_FileOpen("new/below/file", "wb", &ulErr);
    ASSERT_NE(nullptr, pFile);
    EXPECT_EQ(0u, ulErr);
    EXPECT_EQ(0u, WYK_FileWrite(pFile, "hello", 5));
    fclose(pFile);

    pFile = WYK_FileOpen("new/below/file", "rb", nullptr);
    ASSERT_NE(nullptr, pFile);
    CHAR szBuffer[8] = {};
    ULONG_32 ulLen = sizeof(szBuffer);
    EXPECT_EQ(0u, WYK_FileRead(pFile, szBuffer, &ulLen)) << "a short read is a success";
    EXPECT_EQ(5u, ulLen);
    EXPECT_STREQ("hello", szBuffer);
    EXPECT_EQ(263u, WYK_FileRead(pFile, szBuffer, &ulLen));
    EXPECT_EQ(1u, LogLines::Count(PLAYER_LOG_INFO, "WYK_FileRead Info, File Read End."));
    ulLen = 0;
    EXPECT_EQ(2u, WYK_FileRead(pFile, szBuffer, &ulLen));
    fclose(pFile);

    pFile = fopen("/dev/full", "wb");
    ASSERT_NE(nullptr, pFile);
    setvbuf(pFile, nullptr, _IONBF, 0);
    EXPECT_EQ(264u, WYK_FileWrite(pFile, "hello", 5));
    EXPECT_EQ(1u, LogLines::Count(PLAYER_LOG_ERROR, "WYK_FileWrite Failed, Disk Space Full."));
    fclose(pFile);
}

TEST(PublicFun, FilesThatCannotBeOpened) {
    TempDir stDir;
    LogLines stLog;
    WriteFile("file", "");
    struct Case {
        const char *pcName, *pcMode;
        ULONG_32 ulErr;
        const char *pcLine;
    };
    const Case astCases[] = {
        {"file", "ab", 2, "WYK_FileOpen Failed, Func Not Support Type:ab."},
        {"", "rb", 2, "WYK_FileOpen Failed, File Name Is Empty."},
        {"missing", "rb", 13, "WYK_FileOpen Failed, File Not Find."},
        {"file/below", "wb", 1, "WYK_FileOpen Failed, WYK_CreateDir Failed, Error[0x1]."},
        {"made/", "wb", 1, "WYK_FileOpen Failed, Fopen Failed, Systemerror[-1]."},
    };
    for (const Case &st : astCases) {
        ULONG_32 ulErr = 0;
        EXPECT_EQ(nullptr, WYK_FileOpen(st.pcName, st.pcMode, &ulErr));
        EXPECT_EQ(st.ulErr, ulErr) << st.pcLine;
        EXPECT_EQ(1u, LogLines::Count(PLAYER_LOG_ERROR, st.pcLine)) << st.pcLine;
    }
    EXPECT_EQ(2u, WYK_CreateDir(""));
    EXPECT_EQ(1u, WYK_CreateDir("made/x")) << "a directory that is there already";
    EXPECT_EQ(1u, WYK_CreateDir((std::string(400, '/') + "x").c_str()));
}

}  // namespace
