// The box reader and the list of samples, over files written box by box: honest, odd, and lying ones.
#include <gtest/gtest.h>

#include <chrono>

#include "mp4_builder.h"
#include "mp4_open.h"

namespace {

using mp4::Box;
using mp4::DATA;
using mp4::Track;
using mp4::U32;
using mp4::Zeros;
using Lines = std::vector<std::string>;

/** Video of three samples in two chunks with sound between them. */
std::string Interleaved() {
    Track video;
    video.sizes = {10, 20, 30};
    video.chunks = {DATA, DATA + 37};
    video.sync = std::vector<uint32_t>{1, 3};
    Track sound;
    sound.handler = "soun";
    sound.entry = mp4::AudioEntry(64, "\x12\x10");
    sound.sizes = {3, 4};
    sound.chunks = {DATA + 30};
    return mp4::File(std::string(67, 'x'), {video, sound});
}

/** One video track that has all the data. */
Track Video(const std::vector<uint32_t> &sizes) {
    Track video;
    video.sizes = sizes;
    video.chunks = {DATA};
    return video;
}

Lines ListOf(const std::string &content) {
    Mp4Open file(content);
    return file.Ok() ? file.List() : Lines{"not open"};
}

}  // namespace

TEST(Mp4Boxes, TracksAreToldApartByTheirChunksAndSoundTakesTheTimeOfTheVideo) {
    Mp4Open file(Interleaved());
    ASSERT_TRUE(file.Ok());
    EXPECT_EQ(file.List(), (Lines{"24+10k t0c", "34+20 t0", "54+3 t1c", "57+4 t1", "61+30k t0c"}));
    std::vector<DULONG> times;
    for (const mp4_sample_node &node : file.Parser()->list) {
        times.push_back(node.timestamp);
    }
    EXPECT_EQ(times, (std::vector<DULONG>{0, 3600, 7200, 7200, 7200}));
    EXPECT_EQ(file.Parser()->list[3].sample_count, 1);
    EXPECT_EQ(file.Parser()->list[4].chunk_count, 1);
}

TEST(Mp4Boxes, WithoutSyncTableTheFirstSampleOfAChunkIsAKey) {
    Track video = Video({1, 2, 3, 4});
    video.chunks = {DATA, DATA + 3};
    for (const auto &sync : {std::optional<std::vector<uint32_t>>{}, {std::vector<uint32_t>{}}}) {
        video.sync = sync;
        EXPECT_EQ(ListOf(mp4::File(Zeros(10), {video})), (Lines{"24+1k t0c", "25+2 t0", "27+3k t0c", "30+4 t0"}));
    }
    video = Video({});
    video.constantSize = 5;
    for (const uint32_t count : {2U, 0xFFFFFFFFU}) {
        video.sizeCount = count;
        EXPECT_EQ(ListOf(mp4::File(Zeros(10), {video})), (Lines{"24+5k t0c", "29+5 t0"}));
    }
}

TEST(Mp4Boxes, OfSeveralTracks) {
    Track other = Video({5, 5});
    other.handler = "soun";
    EXPECT_EQ(ListOf(mp4::File(Zeros(10), {Video({5, 5}), other})), (Lines{"24+5k t0c", "29+5 t0"}))
        << "of two at a place the first wins";
    Track second = Video({5});
    second.chunks = {DATA + 5};
    EXPECT_EQ(ListOf(mp4::File(Zeros(10), {Video({5}), second})), (Lines{"24+5 t0c", "29+5k t1c"}))
        << "the last one is the video";
}

TEST(Mp4Boxes, DataWithoutASizeReachToTheEnd) {
    for (uint32_t size : {0U, 1U, 8U}) {
        const std::string content = mp4::MoovInFront(Video({4, 6}), Box("mdat", "abcdefghij", size));
        Mp4Open file(content);
        ASSERT_TRUE(file.Ok()) << size;
        EXPECT_EQ(file.Parser()->list.size(), 2U);
        EXPECT_EQ(file.Parser()->dlMdatDataEnd, static_cast<DLONG>(content.size()));
    }
}

TEST(Mp4Boxes, ZerosBetweenBoxesAreSteppedOver) {
    const std::string content = Interleaved();
    const size_t moov = content.find("moov") - 4;
    for (size_t zeros : {1U, 2U, 3U, 4U, 5U, 8U, 4095U, 4096U, 4097U, 3000000U}) {
        for (const std::string &filler : {Zeros(zeros), Zeros(zeros) + Box("wide", Zeros(1)) + Zeros(zeros)}) {
            const std::string filled = content.substr(0, moov) + filler + content.substr(moov) + Zeros(zeros);
            EXPECT_EQ(ListOf(filled), ListOf(content)) << zeros;
        }
    }
}

TEST(Mp4Boxes, SoundFirstIsReadInStepsOfItsFirstSample) {
    Track sound = Video({4, 3, 3});
    sound.handler = "soun";
    sound.entry = mp4::AudioEntry(64, "\x14\x08");
    Mp4Open file(mp4::File("0123456789", {sound}));
    ASSERT_TRUE(file.Ok());
    EXPECT_EQ(file.List(), (Lines{"24+4 t1", "28+4 t1", "32+4 t1"}));
    EXPECT_EQ(file.ReadBytes(), "0123");
    EXPECT_EQ(file.Frame().lPayload, PLAYER_PAYLOAD_AAC);
    EXPECT_EQ(file.Frame().ucAudioType, 8);
    EXPECT_EQ(file.Frame().ucChannelNum, 1);
    EXPECT_EQ(file.Read(MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), PLAYER_ERR_FILE_END);

    sound.constantSize = 5;
    sound.sizes.clear();
    sound.sizeCount = 2;
    EXPECT_EQ(ListOf(mp4::File("0123456789", {sound})), (Lines{"24+5 t1", "29+5 t1"}));
    sound.constantSize = 0;
    EXPECT_EQ(ListOf(mp4::File("0123456789", {sound})), Lines());
}

TEST(Mp4Boxes, SampleDescriptions) {
    struct {
        std::string entry;
        bool visual, avcC;
        LONG_32 code;
    } const cases[] = {
        {mp4::VisualEntry("avc1", Box("pasp", Zeros(8)) + mp4::AvcC("S", "P")), true, true, 0},
        {mp4::VisualEntry("avc1", ""), true, false, 0},
        {mp4::VisualEntry("hev1", mp4::AvcC("S", "P")), true, false, 0},
        {Box("jpeg", Zeros(70)), false, false, 0},
        {mp4::AudioEntry(64, "\x12\x10"), false, false, MP4_CODE_AAC},
        {mp4::AudioEntry(105, "\x12\x10"), false, false, MP4_CODE_MPEG_AUDIO},
        {Box("mp4a", Zeros(40)), false, false, MP4_CODE_MPEG_AUDIO},
    };
    for (const auto &one : cases) {
        Track track = Video({1});
        track.entry = one.entry;
        Mp4Open file(mp4::File("x", {track}));
        ASSERT_TRUE(file.Ok());
        const mp4_stsd_box &stsd = file.Parser()->trak[0].mdia.minf.stbl.stsd;
        ASSERT_EQ(stsd.number_of_entries, 1U);
        const Sample_description &entry = stsd.sample_description[0];
        EXPECT_EQ(entry.type, one.entry.substr(4, 4));
        ASSERT_EQ(entry.avc1 != nullptr, one.visual);
        EXPECT_TRUE(entry.avc1 == nullptr || (entry.avc1->width == 64 && entry.avc1->height == 48));
        EXPECT_EQ(entry.avc1 != nullptr && entry.avc1->avcC != nullptr, one.avcC);
        EXPECT_EQ(entry.mp4a != nullptr ? entry.mp4a->lCodeType : 0, one.code);
    }
}

TEST(Mp4Boxes, AllOfSeveralParameterSetsGoInFront) {
    Track track = Video({1});
    const std::string sets = mp4::U16(2) + "S1" + mp4::U16(3) + "S22" + "\2" + mp4::U16(2) + "P1" + mp4::U16(2) + "P2";
    track.entry = mp4::VisualEntry("avc1", Box("avcC", std::string("\1\x64\0\x1F\xFD\xE2", 6) + sets));
    Mp4Open file(mp4::File("x", {track}));
    ASSERT_TRUE(file.Ok());
    const mp4_avcC_box &avcC = *file.Parser()->trak[0].mdia.minf.stbl.stsd.sample_description[0].avc1->avcC;
    EXPECT_EQ(avcC.lengthSizeMinusOne, 2);
    EXPECT_EQ(avcC.numOfSequenceParameterSet, 2);
    EXPECT_EQ(avcC.numOfPictureParameterSets, 2);
    EXPECT_EQ(file.ReadBytes(), mp4::StartCode("S1") + mp4::StartCode("S22") + mp4::StartCode("P1") + mp4::StartCode("P2") + "x");
}

TEST(Mp4Boxes, ListEndsWhereTheTablesDo) {
    EXPECT_EQ(ListOf(mp4::File(Zeros(100), {Video({5, 5})})), (Lines{"24+5k t0c", "29+5 t0"}));
    EXPECT_EQ(ListOf(mp4::File(Zeros(9), {Video({0, 0, 0})})).size(), 3U);
    EXPECT_EQ(ListOf(mp4::File(Zeros(9), {Video({0xFFFFFFFF, 1})})), (Lines{"24+2147483647k t0c"}));
    Track empty = Video({5});
    empty.chunks.clear();
    EXPECT_EQ(ListOf(mp4::File(Zeros(9), {empty})), Lines());
    empty = Video({});
    EXPECT_EQ(ListOf(mp4::File(Zeros(9), {empty})), Lines());
    const std::string bare = Box("trak", Box("mdia", Box("hdlr", Zeros(8) + "vide" + Zeros(13))));
    EXPECT_EQ(ListOf(mp4::Ftyp() + Box("mdat", "x") + Box("moov", mp4::Mvhd(1, 1) + bare)), Lines());
    EXPECT_EQ(ListOf(mp4::Ftyp() + Box("mdat", "x") + Box("moov", mp4::Mvhd(1, 1))), Lines{"not open"});
    EXPECT_EQ(ListOf(mp4::Ftyp()), Lines{"not open"});
    EXPECT_EQ(ListOf("abc"), Lines{"not open"});
}

TEST(Mp4Boxes, CountsAreLimitedByTheirBoxes) {
    Track track = Video({5, 5});
    track.sync = std::vector<uint32_t>{1, 2};
    const std::string honest = mp4::File(Zeros(10), {track});
    const Lines expected = ListOf(honest);
    for (uint32_t count : {3U, 0x40000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        Track liar = track;
        liar.sizeCount = liar.chunkCount = liar.syncCount = liar.entryCount = count;
        liar.duration = 2;
        Mp4Open file(mp4::File(Zeros(10), {liar}));
        ASSERT_TRUE(file.Ok());
        EXPECT_EQ(file.List(), expected);
        const mp4_stbl_box &stbl = file.Parser()->trak[0].mdia.minf.stbl;
        EXPECT_EQ(stbl.stsz.table_size, 2U);
        EXPECT_EQ(stbl.stco.chunk_offset_amount, 1U);
        EXPECT_EQ(stbl.stss.number_of_entries, 2U);
        EXPECT_LE(stbl.stsd.number_of_entries, count);
    }
}

TEST(Mp4Boxes, ChildrenMustFillTheirParent) {
    // Sizes that can't be end the walk; where it is of a track or of "moov" the file doesn't open.
    const std::string content = Interleaved();
    for (uint32_t size : {0U, 7U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        std::string lie = content;
        lie.replace(lie.find("mvhd") - 4, 4, U32(size));
        EXPECT_EQ(ListOf(lie), Lines{"not open"}) << size;
        lie = content;
        lie.replace(lie.find("stsz") - 4, 4, U32(size));
        EXPECT_NE(ListOf(lie), Lines{"not open"}) << size;
    }
    std::string unknown = content;
    unknown.replace(unknown.find("mdhd"), 4, "mdxx");
    EXPECT_EQ(ListOf(unknown).size(), 5U);
}

TEST(Mp4Boxes, EveryPrefixOfAFile) {
    const std::string content = Interleaved();
    for (size_t size = 1; size < content.size(); ++size) {
        EXPECT_EQ(ListOf(content.substr(0, size)), Lines{"not open"}) << size;
    }
    // An unfinished recording opens wherever it is cut behind its tables.
    const std::string open = mp4::MoovInFront(Video({4, 6}), Box("mdat", "abcdefghij", 0));
    for (size_t size = open.size() - 9; size < open.size(); ++size) {
        EXPECT_GE(ListOf(open.substr(0, size)).size(), 1U);
    }
}

TEST(Mp4Boxes, ManyBoxesEndInTime) {
    const auto start = std::chrono::steady_clock::now();
    std::string many = mp4::Ftyp();
    for (int i = 0; i < 400000; ++i) {
        many += Box("junk", "");
    }
    EXPECT_EQ(ListOf(many), Lines{"not open"});
    EXPECT_EQ(ListOf(mp4::Ftyp() + Box("moov", many)), Lines{"not open"});
    std::string tracks = mp4::Mvhd(1, 1);
    for (int i = 0; i < 1000; ++i) {
        tracks += Video({}).Make();
    }
    Mp4Open file(mp4::Ftyp() + Box("mdat", "x") + Box("moov", tracks));
    ASSERT_TRUE(file.Ok());
    EXPECT_EQ(file.Parser()->trak.size(), size_t{MP4_TRACKS_MAX});
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}
