// What the formats mean, the names that files get, free names, dates, and the list of finished files.
#include <gtest/gtest.h>

#include <climits>
#include <ctime>

#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

namespace {

/** A path in a buffer of 256 bytes, as the callers have it. */
struct Path {
    explicit Path(const std::string &text) { text.copy(sz, sizeof(sz) - 1); }
    CHAR sz[PLAYER_FILE_NAME_LEN] = {};
};

std::string FreeName(ULONG_32 type, const std::string &path, ULONG_32 expected = 0) {
    Path copy(path);
    EXPECT_EQ(Player_FileExistCheck(type, copy.sz, sizeof(copy.sz)), expected) << path;
    return copy.sz;
}

}  // namespace

TEST(RecordNames, AFreeNameIsFoundAheadOfTheExtension) {
    TempDir folder;
    const struct {
        ULONG_32 type;
        const char *extension;
    } rows[] = {{8, ".mp4"}, {12, ".mp4"}, {9, ".ts"}, {13, ".ts"}, {18, ".avi"}, {20, ".avi"}, {21, ".temp"}};
    for (const auto &row : rows) {
        const std::string ending = row.extension;
        EXPECT_EQ(FreeName(row.type, "a" + ending), "a" + ending) << "nobody has it";
        WriteFile("a" + ending, "");
        EXPECT_EQ(FreeName(row.type, "a" + ending), "a(1)" + ending);
        WriteFile("a(1)" + ending, "");
        EXPECT_EQ(FreeName(row.type, "a" + ending), "a(2)" + ending);
        std::filesystem::remove("a" + ending);
        std::filesystem::remove("a(1)" + ending);
    }
    WriteFile("plain.mp4", "");
    EXPECT_EQ(FreeName(PLAYER_FILE_FORMATE_MP4, "plain.mp4"), "plain.mp4") << "this format has no rule";
    std::filesystem::create_directory("x(old)");
    WriteFile("x(old)/b.mp4", "");
    EXPECT_EQ(FreeName(8, "x(old)/b.mp4"), "x(1).mp4") << "the first parenthesis of the whole path counts";
}

TEST(RecordNames, ASearchThatCantEndGivesUp) {
    TempDir folder;
    LogLines lines;
    EXPECT_EQ(Player_FileExistCheck(8, nullptr, 256), 2U);
    Path small("abcdef.mp4");
    EXPECT_EQ(Player_FileExistCheck(8, small.sz, 14), 2U);
    EXPECT_EQ(LogLines::Errors("Player_IsFileExist: File Path Len Not Enough, File path:(abcdef.mp4), Size:[14]."), 1U);
    WriteFile("none", "");
    EXPECT_EQ(FreeName(8, "none", 2), "none");
    EXPECT_EQ(LogLines::Errors("Player_IsFileExist: Not Mp4 File, File Path: none."), 1U);
    // Room for four characters: from 1000 on the path stops changing.
    Path tight("abcdefghij(");
    WriteFile(tight.sz, "");
    for (int i = 1; i <= 999; ++i) {
        WriteFile(("abcdefghij(" + std::to_string(i) + ").ts").substr(0, 14), "");
    }
    EXPECT_EQ(Player_FileExistCheck(9, tight.sz, 16), 2U);
    EXPECT_STREQ(tight.sz, "abcdefghij(100");
    // A folder counts as taken too.
    std::filesystem::create_directory("d(");
    Path folderOnly("d(");
    EXPECT_EQ(Player_FileExistCheck(21, folderOnly.sz, sizeof(folderOnly.sz)), 0U);
    EXPECT_STREQ(folderOnly.sz, "d(1).temp");
}

TEST(RecordNames, SecondsOfBothEpochsAreTheSameDate) {
    const time_t now = time(nullptr);
    struct tm wanted;
    localtime_r(&now, &wanted);
    for (const ULONG_32 seconds : {static_cast<ULONG_32>(now), static_cast<ULONG_32>(now + 2208988800U)}) {
        struct tm got = {};
        Player_SecondsToDate(seconds, &got);
        EXPECT_EQ(got.tm_year, wanted.tm_year + 1900);
        EXPECT_EQ(got.tm_mon, wanted.tm_mon + 1);
        EXPECT_EQ(got.tm_mday * 86400 + got.tm_hour * 3600 + got.tm_min * 60 + got.tm_sec,
                  wanted.tm_mday * 86400 + wanted.tm_hour * 3600 + wanted.tm_min * 60 + wanted.tm_sec);
    }
    struct tm edge = {};
    for (const ULONG_32 seconds : {0U, 1U, UINT_MAX, static_cast<ULONG_32>(now + 315360000)}) {
        Player_SecondsToDate(seconds, &edge);
        EXPECT_GE(edge.tm_mon, 1);
        EXPECT_LE(edge.tm_mon, 12);
    }
    Player_SecondsToDate(1, nullptr);
}
