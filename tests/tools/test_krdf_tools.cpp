// Records as a user meets them: zvcam writes them, zvprobe judges them, zvplay plays them.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "support/krdf_record.h"
#include "support/temp_dir.h"
#include "tools/program.h"

namespace {

struct Answer {
    int code;
    std::string out, err;
};

Answer Call(const char *program, const std::vector<std::string> &words) {
    Program run(program, words);
    const int code = run.Wait();
    return {code, run.Out(), run.Err()};
}

/** Whether the problems found hold this code. */
bool Has(const Answer &probe, const std::string &code) {
    return probe.out.find("\"code\": \"" + code + "\"") != std::string::npos;
}

}  // namespace

TEST(KrdfTools, ARecordIsWrittenJudgedAndPlayed) {
    const Scratch folder;
    const std::string record = folder.At("record");  // known by its first bytes
    const struct {
        std::vector<std::string> words;
        const char *video, *audio, *frames, *key, *groups, *units, *played;
    } cases[] = {
        {{MediaPath("h264_640x360_bf0.264"), "--loop", "--seconds", "6", "--audio", "g711u", "--audio-file",
          MediaPath("g711u_8000.raw")},
         "H.264",
         "G.711 mu-law",
         "150",
         "6",
         "6",
         "1",
         "100"},
        {{MediaPath("h265_640x360.265"), "--loop", "--seconds", "6", "--unit-groups", "2"},
         "H.265",
         "null",
         "150",
         "6",
         "6",
         "3",
         "75"},
        {{"--codec", "jpeg", "--size", "64x64", "--seconds", "4", "--fps", "10"},
         "JPEG",
         "null",
         "40",
         "40",
         "4",
         "1",
         "28"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.video);
        std::vector<std::string> words = {"--krdf", record};
        words.insert(words.end(), row.words.begin(), row.words.end());
        const Answer wrote = Call("zvcam", words);
        ASSERT_EQ(wrote.code, 0) << wrote.err;
        EXPECT_EQ(Last(wrote.out, "groups") + Last(wrote.out, "units"), std::string(row.groups) + row.units);
        const Answer probe = Call("zvprobe", {"--json", record});
        EXPECT_EQ(probe.code, 0) << probe.out;
        EXPECT_NE(probe.out.find(std::string("\"codec\": \"") + row.video + "\""), std::string::npos) << probe.out;
        EXPECT_NE(probe.out.find(row.audio), std::string::npos) << probe.out;
        EXPECT_NE(probe.out.find(std::string("\"frames\": ") + row.frames + ", \"kinds\": {\"key\": " + row.key + ","),
                  std::string::npos)
            << probe.out;
        EXPECT_NE(probe.out.find(std::string("\"units\": ") + row.units + ", \"groups\": " + row.groups +
                                 ", \"damaged_groups\": 0"),
                  std::string::npos)
            << probe.out;
        const Answer play = Call("zvplay", {"--headless", "--fast", "--stats", "json", record});
        EXPECT_EQ(play.code, 0) << play.err;
        EXPECT_EQ(Last(play.out, "pictures"), row.played);
    }
}

TEST(KrdfTools, TheWayBackToTheStartIsRefusedInWords) {
    const Scratch folder;
    ASSERT_EQ(
        Call("zvcam", {"--krdf", folder.At("a.krdf"), MediaPath("h264_640x360_bf0.264"), "--loop", "--seconds", "6"})
            .code,
        0);
    const Answer play = Call(
        "zvplay", {"--headless", "--loop", "--seconds", "9", "--speed", "16", "--stats", "json", folder.At("a.krdf")});
    EXPECT_EQ(play.code, 0);
    EXPECT_NE(play.err.find("goes back to second 1 only"), std::string::npos) << play.err;
    const Answer once = Call("zvplay", {"--headless", "--start", "2", "--speed", "2", folder.At("a.krdf")});
    EXPECT_NE(once.out.find("75 pictures"), std::string::npos) << once.out;
    EXPECT_EQ(once.err, "");
}

TEST(KrdfTools, WhatIsWrongWithARecordIsTold) {
    const Scratch folder;
    const std::string path = folder.At("a.krdf");
    ASSERT_EQ(Call("zvcam", {"--krdf", path, MediaPath("h264_640x360_bf0.264")}).code, 0);
    const Bytes whole = ReadFile(path);
    const size_t index = 0x14000, group = index + 16 * 0x4000;
    const auto change = [&whole](size_t at, const std::string &to) {
        Bytes changed = whole;
        std::copy(to.begin(), to.end(), changed.begin() + static_cast<ptrdiff_t>(at));
        return changed;
    };
    const std::string two("\x02\0\0\0", 4);
    const struct {
        Bytes data;
        std::vector<const char *> codes;
    } cases[] = {
        {change(group, "x"), {"damaged_group"}},
        {change(group + 8, "x"), {"damaged_group"}},
        {change(group + 4, "\xFF\xFF\xFF\xFF"), {"damaged_group"}},
        {change(group + 8 + 24 + 1480, "x"), {"damaged_group"}},
        {change(group + 8 + 18, "\xC9\x05"), {"large_packet", "damaged_group"}},
        {change(index + 16 + 16 + 6, std::string("\x40\0", 2)), {"overlap"}},
        {change(index + 16, "\xE7"), {"bad_index", "stamps_back"}},
        {change(index + 4, two), {"no_length", "not_opened"}},
        {change(0x4000, std::string("\x01\0\0\0", 4)), {"bad_index", "not_opened"}},
        {change(0x4000, std::string("\x12\0\0\0", 4)), {"bad_index"}},
        {Bytes(whole.begin(), whole.end() - 200000), {"damaged_group"}},
        {Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(index) + 40), {"cut_file"}},
    };
    for (const auto &row : cases) {
        const Answer probe = Call("zvprobe", {"--json", folder.Write("b.krdf", row.data)});
        EXPECT_EQ(probe.code, 3) << row.codes[0];
        for (const char *code : row.codes) {
            EXPECT_TRUE(Has(probe, code)) << code << " " << probe.out;
        }
    }
    const Answer text = Call("zvprobe", {path});
    EXPECT_NE(text.out.find("1 unit, 3 groups, 0 damaged"), std::string::npos) << text.out;
}

TEST(KrdfTools, OptionsThatMakeNoSenseForARecordAreRefused) {
    const Scratch folder;
    const std::string record = folder.At("a.krdf"), video = MediaPath("h264_640x360_bf0.264");
    const std::vector<std::string> cases[] = {{"--krdf", record, video, "udp://127.0.0.1:5004"},
                                              {"--krdf", record, video, "--audio", "aac"},
                                              {"--krdf", record, video, "--fps", "60"},
                                              {"--codec", "jpeg", "udp://127.0.0.1:5004"},
                                              {video, "--unit-groups", "2", "udp://127.0.0.1:5004"}};
    for (const auto &words : cases) {
        EXPECT_EQ(Call("zvcam", words).code, 1) << words[2];
    }
    EXPECT_EQ(Call("zvcam", {"--krdf", folder.At("no/such/folder"), video}).code, 2);
}
