#include <gtest/gtest.h>

#include "foundations/com_public_fun.h"
#include "support/temp_dir.h"

namespace {

TEST(PublicFun, FilesAreWrittenAndReadBack) {
    TempDir stDir;
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
    ulLen = 0;
    EXPECT_EQ(2u, WYK_FileRead(pFile, szBuffer, &ulLen));
    fclose(pFile);

    pFile = fopen("/dev/full", "wb");
    ASSERT_NE(nullptr, pFile);
    setvbuf(pFile, nullptr, _IONBF, 0);
    EXPECT_EQ(264u, WYK_FileWrite(pFile, "hello", 5));
    fclose(pFile);
}

TEST(PublicFun, FilesThatCannotBeOpened) {
    TempDir stDir;
    WriteFile("file", "");
    const std::tuple<const char *, const char *, ULONG_32> astCases[] = {
        {"file", "ab", 2}, {"", "rb", 2}, {"missing", "rb", 13}, {"file/below", "wb", 1}, {"made/", "wb", 1}};
    for (const auto &[pcName, pcMode, ulWant] : astCases) {
        ULONG_32 ulErr = 0;
        EXPECT_EQ(nullptr, WYK_FileOpen(pcName, pcMode, &ulErr));
        EXPECT_EQ(ulWant, ulErr) << pcName;
    }
    EXPECT_EQ(2u, WYK_CreateDir(""));
    EXPECT_EQ(1u, WYK_CreateDir("made/x")) << "a directory that is there already";
    EXPECT_EQ(1u, WYK_CreateDir((std::string(400, '/') + "x").c_str()));
}

}  // namespace
