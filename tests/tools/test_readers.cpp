// The readers of zvplay: real streams cut as the library wants them, and every damage survived.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "common/mapped_file.h"
#include "support/media.h"
#include "support/temp_dir.h"
#include "zvplay/address.h"
#include "zvplay/annexb_reader.h"
#include "zvplay/jpeg_reader.h"
#include "zvplay/options.h"
#include "zvplay/rtp_reader.h"
#include "zvplay/source.h"

using namespace zvplay;
using Buffer = ::Bytes;

namespace {

std::unique_ptr<Source> Open(const std::string &path, Failure *failure, double fps = 0, bool headless = true) {
    Options options;
    options.source = path;
    options.fps = fps;
    options.headless = headless;
    return OpenSource(options, failure);
}

struct Piece {
    Buffer head, data;
    double due;
};

std::vector<Piece> All(Source *source, size_t most = 100000) {
    std::vector<Piece> pieces;
    for (Push push; pieces.size() < most && source->Next(&push);) {
        pieces.push_back({{push.head.begin(), push.head.end()}, {push.data.begin(), push.data.end()}, push.due});
    }
    return pieces;
}

std::vector<Piece> AllOf(const std::string &path, double fps = 0) {
    Failure failure;
    const auto source = Open(path, &failure, fps);
    EXPECT_NE(source, nullptr) << failure.what;
    return source != nullptr ? All(source.get()) : std::vector<Piece>{};
}

/** The units of a byte stream without start codes and the zeros behind. */
std::vector<Buffer> Units(Span stream) {
    std::vector<Buffer> units;
    for (const Span unit : SplitUnits(stream)) {
        units.emplace_back(unit.begin() + (unit[2] == 1 ? 3 : 4), unit.end());
        while (units.back().back() == 0) units.back().pop_back();
    }
    return units;
}

Buffer Join(const std::vector<Buffer> &parts) {
    Buffer all;
    for (const Buffer &part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

/** A file cut and broken all over: the reader comes to its end, whatever it finds. */
void Torture(const std::string &name, const Buffer &data) {
    const Scratch scratch;
    Failure failure;
    for (size_t at = 1; at < data.size(); at += 1 + data.size() / 60) {
        Buffer broken = data;
        broken[at] ^= 0xFF;
        for (const Buffer &bytes : {Buffer(data.begin(), data.begin() + at), broken}) {
            const auto source = Open(scratch.Write(name, bytes), &failure);
            if (source != nullptr) All(source.get());
        }
    }
}

/** The stream with its units cut short: all its structure in little space. */
Buffer Sketch(const Buffer &stream) {
    Buffer sketch;
    for (const Buffer &unit : Units(stream)) {
        sketch.insert(sketch.end(), {0, 0, 1});
        sketch.insert(sketch.end(), unit.begin(), unit.begin() + std::min<size_t>(unit.size(), 8));
    }
    return sketch;
}

}  // namespace

// ---- H.264 and H.265

TEST(AnnexBReader, GivesOneAccessUnitAPushWithLongStartCodes) {
    const char *const names[] = {"h264_640x360_bf0.264", "h264_640x360_bf2.264",     "h264_640x360_slices4.264",
                                 "h264_576i_mbaff.264",  "h265_640x360.265",         "h265_slices_640x360.265",
                                 "h265_642x362.265",     "h265_opengop_640x360.265", "h265_10bit_640x360.265"};
    for (const std::string name : names) {
        SCOPED_TRACE(name);
        const std::vector<Piece> pieces = AllOf(MediaPath(name.c_str()));
        ASSERT_EQ(pieces.size(), 75u);
        Buffer together;
        for (const Piece &piece : pieces) {
            const Buffer code(piece.data.begin(), piece.data.begin() + 4);
            ASSERT_EQ(code, (Buffer{0, 0, 0, 1}));
            together.insert(together.end(), piece.data.begin(), piece.data.end());
        }
        for (const Span unit : SplitUnits(together)) ASSERT_EQ(unit[2], 0) << "a start code of 3 bytes";
        std::vector<Buffer> from = Units(ReadFile(MediaPath(name.c_str()))), to = Units(together);
        for (Buffer &unit : from) {
            if (name.ends_with("265") && unit[0] == 0x28) unit[0] = 0x26;
        }
        EXPECT_EQ(from, to);
        EXPECT_NEAR(pieces.back().due, 74 / 25.0, 1e-6);
    }
}

TEST(AnnexBReader, AnnouncesWhatTheLibraryDoesNotKnowBySight) {
    // By sight means: the first slice of the unit is 02 01 or 26 01.
    int announced = 0, keys = 0;
    for (const Piece &piece : AllOf(MediaPath("h265_opengop_640x360.265"))) {
        Buffer slice;
        for (const Buffer &unit : Units(piece.data)) {
            if (slice.empty() && (unit[0] >> 1) < 32) slice = unit;
        }
        const bool known = slice[1] == 1 && (slice[0] == 0x02 || slice[0] == 0x26);
        ASSERT_EQ(piece.head.empty(), known) << int(slice[0]);
        if (known) continue;
        ASSERT_EQ(piece.head.size(), 24u);
        EXPECT_EQ(std::string(piece.head.begin(), piece.head.begin() + 4), "RdHd");
        EXPECT_EQ(piece.head[4], 8);
        const bool key = slice[0] == 0x2A;
        EXPECT_EQ(piece.head[8], key ? 0 : 1);
        ++announced;
        keys += key;
    }
    EXPECT_GT(announced, 40);
    EXPECT_EQ(keys, 2);
    for (const Piece &piece : AllOf(MediaPath("h264_640x360_bf2.264"))) EXPECT_TRUE(piece.head.empty());
}

TEST(AnnexBReader, KeepsWhatFollowsAPictureInItsUnit) {
    const Buffer sps = {0, 0, 1, 0x67, 0x42}, idr = {0, 0, 1, 0x65, 0x88, 0x80}, filler = {0, 0, 1, 12, 0xFF},
                 p = {0, 0, 1, 0x41, 0x9A, 0x03}, second_slice = {0, 0, 1, 0x41, 0x12, 0x34}, sei = {0, 0, 1, 6, 5};
    Buffer stream = {0, 0, 0, 0};
    for (const Buffer &unit : {sps, idr, filler, p, second_slice, sei, p, sps}) {
        stream.insert(stream.end(), unit.begin(), unit.end());
        stream.push_back(0);  // trailing_zero_8bits
    }
    const Scratch scratch;
    const std::vector<Piece> pieces = AllOf(scratch.Write("a.264", stream), 10);
    ASSERT_EQ(pieces.size(), 3u);
    EXPECT_EQ(pieces[0].data, (Buffer{0, 0, 0, 1, 0x67, 0x42, 0, 0, 0, 1, 0x65, 0x88, 0x80, 0, 0, 0, 1, 12, 0xFF}));
    EXPECT_EQ(pieces[1].data, (Buffer{0, 0, 0, 1, 0x41, 0x9A, 3, 0, 0, 0, 1, 0x41, 0x12, 0x34}));
    EXPECT_EQ(pieces[2].data, (Buffer{0, 0, 0, 1, 6, 5, 0, 0, 0, 1, 0x41, 0x9A, 3}));
    EXPECT_NEAR(pieces[2].due, 0.2, 1e-9);
}

TEST(AnnexBReader, SurvivesDamage) {
    Torture("a.264", Sketch(ReadFile(MediaPath("h264_640x360_slices4.264"))));
    Torture("a.265", Sketch(ReadFile(MediaPath("h265_opengop_640x360.265"))));
}

// ---- RTP

namespace {

Buffer Rtp(int type, uint32_t timestamp, const Buffer &payload = {0x41}) {
    Buffer record = {0, static_cast<uint8_t>(12 + payload.size()), 0x80, static_cast<uint8_t>(type), 0, 1};
    for (int shift = 24; shift >= 0; shift -= 8) record.push_back(timestamp >> shift & 255);
    record.resize(14);
    record.insert(record.end(), payload.begin(), payload.end());
    return record;
}

std::vector<double> Dues(const std::vector<Buffer> &records) {
    const Scratch scratch;
    Buffer capture;
    for (const Buffer &record : records) capture.insert(capture.end(), record.begin(), record.end());
    std::vector<double> dues;
    for (const Piece &piece : AllOf(scratch.Write("a.rtp", capture))) dues.push_back(piece.due);
    return dues;
}

void ExpectDues(const std::vector<double> &dues, const std::vector<double> &wanted) {
    ASSERT_EQ(dues.size(), wanted.size());
    for (size_t i = 0; i < dues.size(); ++i) EXPECT_NEAR(dues[i], wanted[i], 1e-6) << i;
}

}  // namespace

TEST(RtpReader, PacesByTheVideoClockOrElseTheSounds) {
    // The sound comes first and runs on another clock; the timestamp wraps; the last but one is shown before it.
    ExpectDues(Dues({Rtp(0, 5000), Rtp(96, 0xFFFFFF00), Rtp(96, 0xFFFFFF00 + 3600), Rtp(0, 5160),
                     Rtp(96, 0xFFFFFF00 + 9000), Rtp(96, 0xFFFFFF00 + 5400), Rtp(96, 0xFFFFFF00 + 10800)}),
               {0, 0, 0.04, 0.04, 0.1, 0.1, 0.12});
    // A jump is a new recording behind the old one.
    ExpectDues(Dues({Rtp(108, 1000), Rtp(108, 10000), Rtp(108, 900000000), Rtp(108, 900009000)}), {0, 0.1, 0.1, 0.2});
    ExpectDues(Dues({Rtp(8, 0), Rtp(8, 160), Rtp(8, 320)}), {0, 0.02, 0.04});
}

TEST(RtpReader, SaysWhenTheCaptureIsCutOff) {
    const Scratch scratch;
    Buffer capture = Rtp(96, 0), second = Rtp(96, 3600, Buffer(50));
    capture.insert(capture.end(), second.begin(), second.end() - 1);
    Failure failure;
    const auto source = Open(scratch.Write("a.rtp", capture), &failure);
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(All(source.get()).size(), 1u);
    EXPECT_NE(source->Remark(), "");
    Torture("a.rtp", Join({Rtp(96, 0), Rtp(0, 5), Rtp(96, 3600), Rtp(108, 7200, Buffer(30))}));
}

// ---- JPEG

TEST(JpegReader, CutsPicturesOneAfterTheOther) {
    const Buffer first = ReadFile(MediaPath("mjpeg_640x360/001.jpg")),
                 second = ReadFile(MediaPath("mjpeg_640x360/002.jpg"));
    // A thumbnail with an end marker of its own, in a segment of the first one.
    Buffer thumbnail = {0xFF, 0xD8, 0xFF, 0xE1, 0, 10, 0xFF, 0xD8, 0xFF, 0xC0, 0, 0, 0xFF, 0xD9};
    thumbnail.insert(thumbnail.end(), first.begin() + 2, first.end());
    const Buffer unended(second.begin(), second.end() - 2);
    const Scratch scratch;
    const std::vector<Piece> pieces = AllOf(scratch.Write("a.mjpeg", Join({thumbnail, second, unended, first})), 5);
    ASSERT_EQ(pieces.size(), 4u);
    EXPECT_EQ(pieces[0].data, thumbnail);
    EXPECT_EQ(pieces[1].data, second);
    EXPECT_EQ(pieces[2].data, unended);
    EXPECT_EQ(pieces[3].data, first);
    EXPECT_NEAR(pieces[3].due, 0.6, 1e-9);
    thumbnail.resize(700);  // its heads and some coded data
    Torture("a.mjpeg", Join({thumbnail, Buffer(first.begin(), first.begin() + 700)}));
}

TEST(JpegReader, ReadsFoldersPatternsAndStills) {
    const std::vector<Piece> folder = AllOf(MediaPath("mjpeg_640x360")),
                             pattern = AllOf(MediaPath("mjpeg_640x360/%03d.jpg"));
    ASSERT_EQ(folder.size(), 25u);
    ASSERT_EQ(pattern.size(), 25u);
    EXPECT_EQ(folder[24].data, pattern[24].data);

    Failure failure;
    const auto shown = Open(MediaPath("mjpeg_640x360/001.jpg"), &failure, 0, false);
    EXPECT_EQ(All(shown.get(), 60).size(), 60u) << "a still stays";
    EXPECT_EQ(AllOf(MediaPath("mjpeg_640x360/001.jpg")).size(), 1u) << "without a window it would never end";

    for (const char *bad : {"%s%s%n.jpg", "%03d%03d.jpg", "%.jpg", "%99999999999d.jpg", "no_such_%d.jpg", "a%"}) {
        EXPECT_EQ(Open(MediaPath(bad), &failure), nullptr) << bad;
    }
}

// ---- choice and command line

TEST(Source, IsRecognisedByItsFirstBytes) {
    const Scratch scratch;
    Failure failure;
    const auto pieces_of = [&](const char *media) {
        return AllOf(scratch.Write("capture.bin", ReadFile(MediaPath(media)))).size();
    };
    EXPECT_EQ(pieces_of("h264_640x360_bf0.264"), 75u);
    EXPECT_EQ(pieces_of("h265_640x360.265"), 75u);
    EXPECT_EQ(pieces_of("mjpeg_640x360/003.jpg"), 1u);
    EXPECT_GT(pieces_of("camera.rtp"), 1000u);
    const Buffer packets(400, 0x47);
    EXPECT_TRUE(IsRecording(scratch.Write("a.bin", packets)));
    EXPECT_TRUE(IsRecording(scratch.Write("b.bin", Buffer{0, 0, 0, 8, 'f', 't', 'y', 'p'})));
    EXPECT_TRUE(IsRecording("none.mp4"));
    EXPECT_FALSE(IsRecording(scratch.Path() + "/capture.bin"));
}

TEST(Source, SaysWhatIsWrong) {
    const Scratch scratch;
    const Buffer text = {'h', 'e', 'l', 'l', 'o'};
    const struct {
        std::string path;
        const char *words;
    } cases[] = {
        {scratch.Path() + "/none.rtp", "No such file"},
        {MediaPath("."), "no picture found"},
        {scratch.Write("empty.264", Buffer()), "empty"},
        {scratch.Write("text.txt", text), "neither"},
        {scratch.Write("text.rtp", text), "no RTP capture"},
        {scratch.Write("a.jpg", text), "no JPEG"},
        {scratch.Write("a.264", ReadFile(MediaPath("h265_640x360.265"))), "this is H.265"},
        {scratch.Write("a.265", ReadFile(MediaPath("h264_640x360_bf0.264"))), "this is H.264"},
        {scratch.Write("b.264", Buffer(1000, 7)), "no H.264 or H.265"},
        {"/dev/null", "not a regular file"},
    };
    for (const auto &row : cases) {
        Failure failure;
        EXPECT_EQ(Open(row.path, &failure), nullptr) << row.path;
        EXPECT_EQ(failure.exit_code, kExitSource);
        EXPECT_NE(failure.what.find(row.words), std::string::npos) << failure.what;
        EXPECT_NE(failure.advice, "");
    }
}

TEST(Address, IsReadOrRefused) {
    const struct {
        const char *text, *host;
        int port;  // 0: refused
        bool tcp;
    } cases[] = {
        {"udp://:5004", "", 5004, false},
        {"udp://127.0.0.1:1?ts", "127.0.0.1", 1, false},
        {"tcp://front-door:8554", "front-door", 8554, true},
        {"tcp://[::1]:8554?ts", "::1", 8554, true},
        {"tcp://:8554", "", 0, true},
        {"udp://:0", "", 0, false},
        {"udp://:65536", "", 0, false},
        {"udp://5004", "", 0, false},
        {"tcp://::1:8554", "", 0, true},
        {"tcp://h:1?rtp", "", 0, true},
        {"rtsp://h:554", "", 0, false},
        {"udp://", "", 0, false},
    };
    for (const auto &row : cases) {
        Address address;
        Failure failure;
        EXPECT_EQ(ParseAddress(row.text, &address, &failure), row.port != 0) << row.text;
        EXPECT_EQ(failure.what.empty(), row.port != 0) << row.text;
        if (row.port != 0) {
            EXPECT_TRUE(address.host == row.host && address.port == row.port && address.tcp == row.tcp) << row.text;
        }
    }
    Address local = {true, "localhost", 1};
    Failure failure;
    EXPECT_TRUE(Resolve(&local, &failure));
    EXPECT_TRUE(local.host == "127.0.0.1" || local.host == "::1") << local.host;
}

TEST(Options, AreReadOrRefused) {
    const auto parse = [](std::vector<const char *> words, Options *options) {
        words.insert(words.begin(), "zvplay");
        Failure failure;
        const bool good = ParseOptions(static_cast<int>(words.size()), words.data(), options, &failure);
        EXPECT_EQ(good, failure.what.empty());
        return good;
    };
    Options all;
    ASSERT_TRUE(
        parse({"--seconds", "2.5", "--headless", "--stats=json", "--log", "l", "a.rtp", "--fps=12", "--fast"}, &all));
    EXPECT_TRUE(all.seconds == 2.5 && all.headless && all.json && all.log == "l" && all.source == "a.rtp" &&
                all.fps == 12 && all.fast && !all.mute);
    Options file;
    ASSERT_TRUE(parse({"a.mp4", "--start", "1:30", "--speed", "4-key", "--loop"}, &file));
    EXPECT_TRUE(file.start == 90 && std::string(kSpeeds[file.speed].name) == "4-key" && file.loop);
    Options dashes;
    ASSERT_TRUE(parse({"--", "-odd-.rtp"}, &dashes));
    EXPECT_EQ(dashes.source, "-odd-.rtp");
    const std::vector<std::vector<const char *>> wrong = {{},
                                                          {"a", "b"},
                                                          {"a", "--seconds"},
                                                          {"a", "--seconds", "-1"},
                                                          {"a", "--fps", "0"},
                                                          {"a", "--no"},
                                                          {"a", "--fps", "x"},
                                                          {"a", "--stats", "xml"},
                                                          {"a", "--speed", "3"},
                                                          {"a", "--start", "1:2:3:4"},
                                                          {"a", "--fps=1e999"},
                                                          {"a", "--seconds=nan"}};
    for (const auto &words : wrong) {
        Options options;
        EXPECT_FALSE(parse(words, &options)) << (words.empty() ? "" : words.back());
    }
    Options help;
    EXPECT_TRUE(parse({"--help"}, &help) && help.help);
}

TEST(MappedFile, ReadsZerosWhereItsFileIsCutMeanwhile) {
    Scratch folder;
    const std::string path = folder.Write("a", Buffer(100000, 1));
    tools::MappedFile file;
    Failure failure;
    ASSERT_TRUE(file.Open(path, &failure));
    EXPECT_FALSE(file.WasCut());
    std::filesystem::resize_file(path, 4096);
    size_t sum = 0;
    for (const uint8_t byte : file.All()) sum += byte;
    EXPECT_EQ(sum, 4096U);
    EXPECT_TRUE(file.WasCut());
}
