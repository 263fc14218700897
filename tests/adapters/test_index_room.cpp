// Where the index of an MP4 file finds room.
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "zvmp4/index_room.h"

TEST(IndexRoom, TakesAnIndexThatFillsItOrLeavesPlaceForABoxBehind) {
    const uint64_t begin = 32;
    const uint64_t end = 8192;
    const size_t room = end - begin - 3 * 8;  // a box in front, and the heads of two behind
    const struct {
        size_t size;
        zv::IndexResult result;
    } rows[] = {{room, zv::IndexResult::kDone},
                {room - 8, zv::IndexResult::kDone},
                {room - 7, zv::IndexResult::kTooBig},  // the rest would be too small for the head of a box
                {room - 1, zv::IndexResult::kTooBig},
                {room + 1, zv::IndexResult::kTooBig}};
    for (const auto &row : rows) {
        TempDir folder;
        zv::DiskFile disk;
        ASSERT_TRUE(disk.Create(folder.At("a").c_str()));
        zv::IndexRoom index(&disk);
        ASSERT_TRUE(disk.Cut(end));
        ASSERT_TRUE(index.Lay(begin, end));
        EXPECT_EQ(index.Put(std::vector<uint8_t>(row.size, 1), end), row.result) << row.size;
    }
}
