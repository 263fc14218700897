// zvprobe as a user meets it: files of real encoders and of our muxer, then the same with one thing broken.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "foundations/player_types.h"
#include "support/file_port.h"
#include "tools/program.h"

namespace {

const std::string kInput = "-f lavfi -i testsrc2=s=642x362:r=20:d=3 -f lavfi -i sine=d=3 -pix_fmt yuv420p ";
const std::string kVideo = "-c:v libx264 -g 20 -x264-params scenecut=0 ";

struct Answer {
    int code;
    std::string out, err;
};

Answer Probe(const std::string &path) {
    Program run("zvprobe", {"--json", path});
    const int code = run.Wait();
    return {code, run.Out(), run.Err()};
}

/** The codes of the problems, each with a space behind it. */
std::string Codes(const std::string &json) {
    std::string codes;
    for (size_t at = json.find("\"code\": \""); at != std::string::npos; at = json.find("\"code\": \"", at + 1)) {
        codes += json.substr(at + 9, json.find('"', at + 9) - at - 9) + " ";
    }
    return codes;
}

size_t Find(const Bytes &file, const char *word) {
    return static_cast<size_t>(std::search(file.begin(), file.end(), word, word + std::strlen(word)) - file.begin());
}

/** A recording in our muxer's TS: 75 pictures, a key frame every 25, with sound. */
Bytes MakeTs(const Scratch &folder) {
    static const Bytes video = ReadFile(MediaPath("h264_640x360_bf0.264"));
    static const Bytes sound = ReadFile(MediaPath("mp2_44100_mono.mp2"));
    const support::TsStream blocks = {PLAYER_PAYLOAD_MP1L2, SplitAccessUnits(sound, AV_CODEC_ID_MP2), 2351};
    support::WriteTs(folder.At("a.ts"), {PLAYER_PAYLOAD_H264, SplitAccessUnits(video, AV_CODEC_ID_H264), 3600}, &blocks,
                     25);
    return ReadFile(folder.At("a.ts"));
}

}  // namespace

TEST(Zvprobe, TellsWhatAnEncoderWrote) {
    const struct {
        const char *arguments, *audio, *key, *b, *distance, *frames;
    } cases[] = {
        {"-bf 0 -c:a aac -ar 48000 -ac 2", "AAC", "3", "0", "20", "142"},
        {"-bf 2 -b_strategy 0 -c:a mp2 -movflags +faststart", "MPEG audio", "3", "36", "20", "115"},
        {"-bf 0 -g 1 -an", "null", "60", "0", "1", "60"},
    };
    const Scratch folder;
    for (const auto &row : cases) {
        SCOPED_TRACE(row.arguments);
        ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + row.arguments, folder.At("a.mp4")));
        const Answer run = Probe(folder.At("a.mp4"));
        EXPECT_EQ(run.code, 0) << run.out;
        EXPECT_EQ(Codes(run.out) + Last(run.out, "width") + "x" + Last(run.out, "height"), "642x362");
        EXPECT_EQ(Last(run.out, "frame_rate") + " " + Last(run.out, "key") + " " + Last(run.out, "b"),
                  std::string("20.000 ") + row.key + " " + row.b);
        EXPECT_EQ(Last(run.out, "least") + Last(run.out, "most"), std::string(row.distance) + row.distance);
        EXPECT_NE(Last(run.out, "audio").find(row.audio), std::string::npos) << run.out;
        EXPECT_EQ(Last(run.out, "frames"), row.frames);
    }
    Program text("zvprobe", {folder.At("a.mp4")});
    EXPECT_EQ(text.Wait(), 0);
    EXPECT_NE(text.Out().find("H.264 642x362, 20.00 fps, 60 frames, 3.00 s"), std::string::npos) << text.Out();
}

TEST(Zvprobe, FindsWhatIsWrongWithAnMp4File) {
    const Scratch folder;
    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-c:a aac", folder.At("a.mp4")));
    const Bytes whole = ReadFile(folder.At("a.mp4"));
    ASSERT_TRUE(support::Ffmpeg("-i " + folder.At("a.mp4") + " -c copy -movflags +faststart", folder.At("b.mp4")));
    const Bytes fast = ReadFile(folder.At("b.mp4"));
    const size_t media = Find(fast, "mdat") + 4;
    const auto change = [&fast](size_t at, Span to) {
        Bytes changed = fast;
        std::copy(to.begin(), to.end(), changed.begin() + static_cast<ptrdiff_t>(at));
        return changed;
    };
    const uint8_t ones[] = {0xFF, 0xFF, 0xFF, 0xFF}, none[] = {0, 0, 0, 0};
    const struct {
        Bytes data;
        const char *codes;  // those that have to be among the ones found
    } cases[] = {
        {Bytes(whole.begin(), whole.end() - 300), "cut_file "},
        {Bytes(whole.begin(), whole.begin() + 9000), "no_index "},
        {Bytes(fast.begin(), fast.begin() + static_cast<ptrdiff_t>(media + 5000)), "cut_file cut_sample "},
        {change(media, ones), "bad_units "},
        {change(Find(fast, "avcC") + 9, none), "no_parameter_sets "},
        {change(Find(fast, "stss") + 12, Span(ones).first(4)), "no_key_start unmarked_key "},
        {change(Find(fast, "stsd") + 16, Span(none).first(1)), "unknown_codec "},
        {change(Find(fast, "moov") - 4, none), "not_opened "},
    };
    for (const auto &row : cases) {
        folder.Write("c.mp4", row.data);
        const Answer run = Probe(folder.At("c.mp4"));
        EXPECT_EQ(run.code, 3) << row.codes << run.out;
        EXPECT_NE(Codes(run.out).find(row.codes), std::string::npos) << row.codes << run.out;
    }
    const std::pair<const char *, const char *> encoded[] = {  // no code: sound, whoever made it
        {"-c:v libx264 -af \"aselect='not(between(t,1,2))'\" -c:a aac", "sound_gap "},
        {"-c:v libx265 -x265-params log-level=none -tag:v hvc1 -an", ""},
        {"-c:v libx264 -an -movflags frag_keyframe+empty_moov", ""},
        {"-vn -c:a aac", ""},
    };
    for (const auto &[arguments, codes] : encoded) {
        ASSERT_TRUE(support::Ffmpeg(kInput + arguments, folder.At("d.mp4")));
        const Answer run = Probe(folder.At("d.mp4"));
        EXPECT_EQ(run.code, *codes != '\0' ? 3 : 0) << arguments;
        EXPECT_EQ(Codes(run.out), codes) << arguments << run.out;
    }
}

TEST(Zvprobe, ReadsARecordersTransportStreamAndFindsItsFaults) {
    const Scratch folder;
    const Bytes whole = MakeTs(folder);
    const Answer sound = Probe(folder.At("a.ts"));
    EXPECT_EQ(sound.code, 0) << sound.out;
    EXPECT_EQ(Last(sound.out, "frame_rate") + " " + Last(sound.out, "key") + " " + Last(sound.out, "p"), "25.000 3 72");
    EXPECT_EQ(Last(sound.out, "sample_rate"), "44100");

    constexpr size_t kPacket = 188;
    const auto edit = [&](const std::function<void(Bytes &)> &change) {
        Bytes changed = whole;
        change(changed);
        return changed;
    };
    const auto cut = [](Bytes &ts, size_t from, size_t to) {
        ts.erase(ts.begin() + static_cast<ptrdiff_t>(from), ts.begin() + static_cast<ptrdiff_t>(to));
    };
    const struct {
        Bytes data;
        const char *codes;
    } cases[] = {
        {edit([&](Bytes &ts) { cut(ts, 10 * kPacket, 11 * kPacket); }), "continuity lost_frame "},
        {edit([&](Bytes &ts) { cut(ts, 20 * kPacket + 50, 20 * kPacket + 100); }), "sync_lost "},
        {edit([&](Bytes &ts) { ts.resize(ts.size() - 100); }), "cut_file "},
        {edit([](Bytes &ts) { ts[13] ^= 1; }), "crc "},
        {edit([](Bytes &ts) { ts[kPacket + 17] = 6; }), "crc unknown_codec "},
        {edit([](Bytes &ts) { ts[5 * kPacket + 1] |= 0x80; }), "transport_error "},
        {edit([&](Bytes &ts) { cut(ts, 0, 2 * kPacket); }), "unknown_pid "},
        {edit([](Bytes &ts) { ts.insert(ts.end(), ts.begin(), ts.end()); }), "stamps_back "},
        {edit([](Bytes &ts) {  // the clocks that packets carry
             for (size_t at = 0; at < ts.size(); at += kPacket) {
                 if ((ts[at + 3] & 0x20) != 0 && ts[at + 4] >= 7 && (ts[at + 5] & 0x10) != 0) {
                     std::fill_n(ts.begin() + static_cast<ptrdiff_t>(at) + 6, 6, uint8_t(0));
                 }
             }
         }),
         "no_clock "},
    };
    for (const auto &row : cases) {
        folder.Write("b.ts", row.data);
        const Answer run = Probe(folder.At("b.ts"));
        EXPECT_EQ(run.code, 3) << row.codes << run.out;
        EXPECT_NE(Codes(run.out).find(row.codes), std::string::npos) << row.codes << run.out;
    }
    folder.Write("b.ts", edit([](Bytes &ts) {
        for (size_t at = 1; at < ts.size(); at += kPacket) ts[at] &= 0xDF;
    }));
    EXPECT_EQ(Probe(folder.At("b.ts")).code, 0) << "without a recorder's marks it is a stream of other makers";
}

TEST(Zvprobe, TellsWhatIsInAnAviFileAndFindsItsFaults) {
    const Scratch folder;
    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-bf 0 -c:a mp2", folder.At("a.avi")));
    const Answer sound = Probe(folder.At("a.avi"));
    EXPECT_EQ(sound.code, 0) << sound.out;
    EXPECT_EQ(Last(sound.out, "width") + "x" + Last(sound.out, "height") + " " + Last(sound.out, "frame_rate") + " " +
                  Last(sound.out, "key") + " " + Last(sound.out, "p"),
              "642x362 20.000 3 57");
    EXPECT_EQ(Last(sound.out, "sample_rate"), "44100");

    const Bytes whole = ReadFile(folder.At("a.avi"));
    const size_t index = Find(whole, "idx1"), frame = Find(whole, "movi") + 4;
    const auto change = [&whole](size_t at, const std::string &to) {
        Bytes changed = whole;
        std::copy(to.begin(), to.end(), changed.begin() + static_cast<ptrdiff_t>(at));
        return changed;
    };
    const auto cut = [&whole](size_t at) { return Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(at)); };
    Bytes twice = whole;
    twice.insert(twice.end(), whole.begin(), whole.end());
    const struct {
        Bytes data;
        const char *codes;
    } cases[] = {
        {change(Find(whole, "hdrl"), "hdrx"), "bad_header not_opened "},
        {cut(index), "cut_file no_index no_key_start unmarked_key "},
        {cut(index - 300), "cut_file no_index "},
        {change(index + 16, "xxxx"), "no_index "},
        {change(index + 32, "xxxx"), "bad_index "},
        {change(index + 12, std::string(4, '\0')), "no_key_start unmarked_key "},
        {change(index + 8 + 16 + 4, std::string("\x10", 1)), ""},
        {change(Find(whole, "vidsH264") + 24, std::string(4, '\0')), "no_rate "},
        {change(Find(whole, "vidsH264") + 4, "FMP4"), "unknown_codec "},
        {change(frame + 8, "xxxxxxxxx"), "no_parameter_sets "},
        {twice, "layout "},
    };
    for (const auto &row : cases) {
        folder.Write("b.avi", row.data);
        const Answer run = Probe(folder.At("b.avi"));
        EXPECT_EQ(run.code, *row.codes == 0 ? 0 : 3) << row.codes << run.out;
        EXPECT_NE(Codes(run.out).find(row.codes), std::string::npos) << row.codes << run.out;
    }
    ASSERT_TRUE(support::Ffmpeg(kInput + "-c:v mjpeg -vtag mjpg -c:a pcm_s16le", folder.At("c.avi")));
    EXPECT_EQ(Codes(Probe(folder.At("c.avi")).out), "unknown_codec ") << "PCM is no MPEG audio";
}

TEST(Zvprobe, RepairsWhatWasNotFinishedAndNothingElse) {
    const Scratch folder;
    const auto run = [&folder](const std::vector<std::string> &words) {
        std::vector<std::string> all = {"--repair"};
        for (const std::string &word : words) all.push_back(folder.At(word));
        Program program("zvprobe", all);
        const int code = program.Wait();
        return std::to_string(code) + program.Out() + program.Err();
    };
    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-bf 0 -c:a mp2", folder.At("a.avi")));
    Bytes file = ReadFile(folder.At("a.avi"));
    const std::vector<std::string> pictures = support::PicturesOfFile(folder.At("a.avi"));
    file.resize(Find(file, "idx1") - 50);
    folder.Write("b", file);
    const std::string told = run({"b"});
    EXPECT_EQ(told.substr(0, 1), "0") << told;
    EXPECT_NE(told.find("60 frames, 3 of them key frames"), std::string::npos) << told;
    EXPECT_EQ(ReadFile(folder.At("b")), file);
    EXPECT_EQ(Probe(folder.At("b.repaired.avi")).code, 0);
    EXPECT_EQ(support::PicturesOfFile(folder.At("b.repaired.avi")), pictures);

    const std::string words = run({"b"});
    EXPECT_EQ(words.substr(0, 1), "4") << words;
    EXPECT_NE(words.find("b.repaired.avi: File exists"), std::string::npos) << words;
    EXPECT_EQ(run({"b", "b"}).substr(0, 1), "4");
    EXPECT_EQ(ReadFile(folder.At("b")), file);
    EXPECT_EQ(run({"b", "none/c"}).substr(0, 1), "4");
    EXPECT_EQ(run({"b", "c"}).substr(0, 1), "0");
    EXPECT_EQ(ReadFile(folder.At("c")), ReadFile(folder.At("b.repaired.avi")));
    EXPECT_EQ(run({}).substr(0, 1), "1");
    EXPECT_EQ(run({"a.avi", "x", "y"}).substr(0, 1), "1");
    MakeTs(folder);
    EXPECT_EQ(run({"a.ts"}).substr(0, 1), "1");
    EXPECT_EQ(run({"none"}).substr(0, 1), "2");

    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-c:a aac", folder.At("a.mp4")));
    Bytes mp4 = ReadFile(folder.At("a.mp4"));
    mp4.resize(9000);  // in front of the index
    folder.Write("d", mp4);
    EXPECT_EQ(run({"d"}).substr(0, 1), "2");
    EXPECT_FALSE(std::filesystem::exists(folder.At("d.repaired.mp4"))) << "a failure leaves nothing behind";
}

TEST(Zvprobe, GivesAnAnswerToAnyFile) {
    const Scratch folder;
    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-t 0.5 -c:a aac -movflags +faststart", folder.At("a.mp4")));
    ASSERT_TRUE(support::Ffmpeg(kInput + kVideo + "-t 0.5 -c:a mp2", folder.At("a.avi")));
    for (const Bytes &whole : {ReadFile(folder.At("a.mp4")), MakeTs(folder), ReadFile(folder.At("a.avi"))}) {
        for (size_t i = 0; i < 12; ++i) {
            Bytes damaged = whole;
            uint32_t seed = static_cast<uint32_t>(i * 2654435761U);
            for (int count = 0; count < 20; ++count) {  // most of it in the heads and tables
                seed = seed * 1664525 + 1013904223;
                damaged[(seed >> 8) % std::min<size_t>(damaged.size(), 4000)] = static_cast<uint8_t>(seed);
            }
            if (i % 3 == 0) damaged.resize(damaged.size() * i / 12);
            folder.Write("b", damaged);
            const Answer run = Probe(folder.At("b"));
            ASSERT_TRUE(run.code == 0 || run.code == 2 || run.code == 3) << run.code << run.err;
            ASSERT_EQ(run.err, "");
            ASSERT_EQ(Last(run.out, "ok"), run.code == 0 ? "true" : "false") << run.out;
        }
    }
    folder.Write("text", Bytes(1000, 'x'));
    folder.Write("empty", {});
    ASSERT_EQ(mkfifo(folder.At("fifo").c_str(), 0600), 0);
    for (const char *name : {"text", "empty", "fifo", "none", "."}) {
        Program run("zvprobe", {folder.At(name)});
        EXPECT_EQ(run.Wait(), 2) << name;
        EXPECT_NE(run.Err().find(folder.At(name)), std::string::npos) << run.Err();
    }
}
