// MP4 files of other writers, box by box: where their samples lie, what their lengths become, and lies about both.
#include <gtest/gtest.h>

#include <chrono>

#include "mp4_builder.h"
#include "mp4_open.h"

namespace {

using mp4::Box;
using mp4::DATA;
using mp4::StartCode;
using mp4::Track;
using mp4::U16;
using mp4::U32;
using mp4::Zeros;
using Lines = std::vector<std::string>;

Lines ListOf(const std::string &content) {
    Mp4Open file(content);
    return file.Ok() ? file.List() : Lines{"not open"};
}

/** A video of four samples in two chunks with a gap between them, and sound in the gap that one sample is short of. */
std::vector<Track> Scattered() {
    Track video, sound;
    video.sizes = {4, 5, 6, 7};
    video.chunks = {DATA, DATA + 20};
    video.map = {1, 2, 1};
    video.sync = std::vector<uint32_t>{1, 3};
    sound.handler = "soun";
    sound.entry = mp4::AudioEntry(64, "\x12\x10");
    sound.sizes = {3, 2};
    sound.chunks = {DATA + 12};
    sound.map = {1, 2, 1};
    return {video, sound};
}

const Lines SCATTERED = {"24+4k t0", "36+3 t1", "28+5 t0", "39+2 t1", "44+6k t0", "50+7 t0"};

/** A sample whose unit of this size stands behind a length of n bytes. */
std::string Sample(unsigned n, const std::vector<std::string> &units) {
    std::string sample;
    for (const std::string &unit : units) {
        sample += U32(static_cast<uint32_t>(unit.size())).substr(4 - n) + unit;
    }
    return sample;
}

/** The first frame of a file that has this key sample alone. */
std::string FrameOf(const std::string &entry, const std::string &sample) {
    Track video;
    video.entry = entry;
    video.sizes = {static_cast<uint32_t>(sample.size())};
    video.chunks = {DATA};
    Mp4Open file(mp4::File(sample, {video}));
    return file.Ok() ? file.ReadBytes() : "not open";
}

/** A fragment of one track: `head` behind the track's number, `run` behind the count of samples. */
std::string Moof(uint32_t headFlags, const std::string &head, uint32_t runFlags, uint32_t count,
                 const std::string &run) {
    return Box("moof", Box("traf", Box("tfhd", U32(headFlags) + U32(1) + head) +
                                       Box("trun", U32(runFlags) + U32(count) + run)));
}

std::string Fragmented(const std::string &fragments, const std::string &trex = U32(1) + U32(1) + U32(40) + U32(4)) {
    Track video;
    video.id = 1;
    const std::string mvex = Box("mvex", Box("trex", Zeros(4) + trex + U32(0x10000)));
    return mp4::Ftyp() + Box("moov", mp4::Mvhd(1000, 0) + video.Make() + mvex) + fragments;
}

}  // namespace

TEST(Mp4Foreign, SamplesThatDoNotFollowEachOther) {
    std::vector<Track> tracks = Scattered();
    const std::string data(60, 'x');
    EXPECT_EQ(ListOf(mp4::File(data, tracks)), SCATTERED);
    for (Track &track : tracks) {
        track.largeOffsets = true;
    }
    EXPECT_EQ(ListOf(mp4::File(data, tracks)), SCATTERED);
    tracks = Scattered();
    std::swap(tracks[0], tracks[1]);
    EXPECT_EQ(ListOf(mp4::File(data, tracks)),
              (Lines{"24+4k t1", "36+3 t0", "28+5 t1", "39+2 t0", "44+6k t1", "50+7 t1"}));
    tracks = Scattered();
    tracks[0].map = {2, 2, 1};
    EXPECT_EQ(ListOf(mp4::File(data, tracks)).size(), 4U) << "tables that don't agree leave the walk's list";
}

TEST(Mp4Foreign, SeveralBoxesOfMediaDataAndLongOnes) {
    std::string moov = Box("moov", mp4::Mvhd(1000, 5000) + Scattered()[0].Make() + Scattered()[1].Make());
    EXPECT_EQ(ListOf(mp4::Ftyp() + Box("mdat", std::string(12, 'x')) + Box("mdat", std::string(30, 'y')) + moov),
              SCATTERED);
    Track video;
    video.sizes = {4, 6};
    video.chunks = {DATA + 8};
    moov = Box("moov", mp4::Mvhd(1, 1) + video.Make());
    EXPECT_EQ(ListOf(mp4::Ftyp() + U32(1) + "mdat" + U32(0) + U32(26) + std::string(10, 'x') + moov),
              (Lines{"32+4k t0c", "36+6 t0"}));
}

TEST(Mp4Foreign, LengthsOfAllSizes) {
    const std::string avcC = mp4::AvcC("\x67SPS", "\x68PP");
    const std::string sets = StartCode("\x67SPS") + StartCode("\x68PP");
    const std::vector<std::string> units = {"\x65 one", "", std::string(200, 'u')};
    std::string stream;
    for (const std::string &unit : units) {
        stream += StartCode(unit);
    }
    for (unsigned n = 1; n <= 4; ++n) {
        std::string entry = mp4::VisualEntry("avc1", avcC);
        entry[entry.find("avcC") + 8] = static_cast<char>(0xFC | (n - 1));
        EXPECT_EQ(FrameOf(entry, Sample(n, units)), sets + stream) << n;
        EXPECT_EQ(FrameOf(entry, Sample(4, units)), sets + stream) << "four, whatever is said, where four add up";
        for (const char *type : {"hvc1", "hev1"}) {
            entry = mp4::VisualEntry(type, mp4::HvcC(n, {{32, "V"}, {33, "SPS"}, {39, "sei"}, {34, "P"}}));
            const std::string front = StartCode("V") + StartCode("SPS") + StartCode("P");
            EXPECT_EQ(FrameOf(entry, Sample(n, units)), front + stream) << n << type;
            EXPECT_EQ(FrameOf(entry, stream), stream) << "its own sets are in it";
            // A length of 256 to 511 looks like a start code of three bytes.
            const std::string unit(300, 'w');
            EXPECT_TRUE(n != 4 || FrameOf(entry, Sample(n, {unit})) == front + StartCode(unit));
            EXPECT_EQ(FrameOf(entry, stream.substr(1)), stream.substr(1));
        }
    }
    EXPECT_EQ(FrameOf(mp4::VisualEntry("avc3", avcC), mp4::Unit("x")), sets + StartCode("x"));
}

TEST(Mp4Foreign, ShortLengthsThatOutgrowTheBuffer) {
    const std::string entry = mp4::VisualEntry("hvc1", mp4::HvcC(1, {}));
    const size_t most = (VIDEO_FRAME_BUFFER_SIZE - 7) / 5;
    std::string units;
    for (size_t i = 0; i < most; ++i) {
        units += "\1w";
    }
    EXPECT_EQ(FrameOf(entry, units).size(), most * 5);
    EXPECT_EQ(FrameOf(entry, units + "\1w"), "");
}

TEST(Mp4Foreign, FragmentsSayWhereTheirSamplesLie) {
    const uint32_t moof = static_cast<uint32_t>(Fragmented("").size());
    const std::string data = Box("mdat", std::string(40, 'x'));
    const auto at = [&](uint32_t from, uint32_t size, bool key) {
        return std::to_string(moof + from) + "+" + std::to_string(size) + (key ? "k" : "") + " t0";
    };
    // Sizes from "trex", the place behind the fragment's start; then all of it in the run; then from the file's start.
    const std::string plain = Moof(0x20000, "", 0x5, 2, U32(72) + U32(0));
    EXPECT_EQ(ListOf(Fragmented(plain + data)), (Lines{at(72, 4, true), at(76, 4, false)}));
    const std::string full =
        Moof(0, "", 0xF01, 2, U32(100) + U32(10) + U32(5) + Zeros(8) + U32(10) + U32(6) + U32(0x10000) + Zeros(4));
    EXPECT_EQ(ListOf(Fragmented(full + data)), (Lines{at(100, 5, true), at(105, 6, false)}));
    const std::string based =
        Moof(0x1 | 0x2 | 0x8 | 0x10 | 0x20, U32(0) + U32(moof + 90) + Zeros(4) + U32(20) + U32(7) + U32(0), 0, 2, "");
    Mp4Open file(Fragmented(based + data));
    ASSERT_TRUE(file.Ok());
    EXPECT_EQ(file.List(), (Lines{at(90, 7, true), at(97, 7, true)}));
    MP4_INFO_S info;
    EXPECT_EQ(MP4_GetMp4Info(file.Parser(), &info), 0U);
    EXPECT_EQ(info.ulPlayTime, 40U / 25U);
    const std::string cut = Fragmented(full + data);
    EXPECT_EQ(ListOf(cut.substr(0, cut.size() - 1)).size(), 2U) << "a file that is cut behind a fragment plays";
}

TEST(Mp4Foreign, LiesEndInTime) {
    const auto start = std::chrono::steady_clock::now();
    const std::string data = Box("mdat", std::string(40, 'x'));
    for (uint32_t size : {0U, 1U, 4U, 0xFFFFFFFFU}) {
        const std::string trex = U32(1) + U32(1) + U32(40) + U32(size);
        for (uint32_t count : {3U, 0xFFFFFFFFU}) {
            std::string many;
            for (int i = 0; i < 1000; ++i) {
                many += Moof(0x20000, "", 0x1, count, U32(i % 2 == 0 ? 0 : 0x80000000));
            }
            EXPECT_LE(ListOf(Fragmented(many + data, trex)).size(), many.size() + 1000);
        }
    }
    std::vector<Track> tracks = Scattered();
    for (const uint32_t word : {0U, 1U, 3U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        for (size_t i = 0; i < 3; ++i) {
            std::vector<Track> lie = tracks;
            lie[0].map[i] = word;
            lie[1].constantSize = word;
            lie[1].sizeCount = 0xFFFFFFFF;
            lie[0].chunks[1] = i == 0 ? word : lie[0].chunks[1];
            EXPECT_LE(ListOf(mp4::File(std::string(60, 'x'), lie)).size(), 2000U);
        }
    }
    const std::string content = mp4::File(std::string(60, 'x'), tracks);
    for (size_t i = 0; i < content.size(); ++i) {
        std::string damaged = content;
        damaged[i] = static_cast<char>(~damaged[i]);
        EXPECT_LE(ListOf(damaged).size(), 2000U);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}
