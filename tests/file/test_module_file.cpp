// The file layer: what a file is, its properties, frames by control value, seeking by clock references.
#include <gtest/gtest.h>

#include <fstream>

#include <memory>

#include "file/mp4_builder.h"
#include "support/log_lines.h"
#include "support/made_bytes.h"
#include "support/media.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

namespace {

/** A packet that starts a unit, with a PCR in its adaptation field. */
std::string PcrPacket(uint64_t pcr, unsigned pid = 0x165) {
    std::string packet(188, '\xFF');
    const uint64_t base = pcr & ((1ULL << 33) - 1);
    return packet.replace(0, 12, Be(0x474000 | pid, 3) + "\x30\x07\x10" + Be(base << 15 | 0x7E00, 6));
}

std::string OtherPacket(unsigned pid = 0x1FFF) {
    std::string packet(188, '\0');
    return packet.replace(0, 4, Be(0x47000010 | pid << 8, 4));
}

std::string Times(const std::string &text, size_t count) {
    std::string all;
    for (size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/** A file record over a file of this content. */
class Record {
 public:
    explicit Record(const std::string &content, const char *name = "file") {
        WriteFile(m_folder.At(name), content);
        m_ulResult = File_CreateFileParser(m_folder.At(name).c_str(), &m_st);
    }
    ~Record() { File_ReleaseFileParser(&m_st); }
    ULONG_32 Result() const { return m_ulResult; }
    FILE_INFO_S *operator->() { return &m_st; }
    FILE_INFO_S *Get() { return &m_st; }
    DULONG Position() { return static_cast<DULONG>(ftello(m_st.pFile)); }

 private:
    TempDir m_folder;
    FILE_INFO_S m_st = {};
    ULONG_32 m_ulResult = 0;
};

/** One clock reference and nine other packets for each time; a PAT in front of every fifth. */
std::string Clocked(const std::vector<uint64_t> &times) {
    std::string file;
    for (size_t i = 0; i < times.size(); ++i) {
        file += (i % 5 == 0 ? OtherPacket(0) : OtherPacket()) + PcrPacket(times[i]) + Times(OtherPacket(), 8);
    }
    return file;
}

std::vector<uint64_t> Every(uint64_t first, uint64_t step, size_t count) {
    std::vector<uint64_t> times;
    for (size_t i = 0; i < count; ++i) {
        times.push_back(first + i * step);
    }
    return times;
}

}  // namespace

/* ---- what a file is ---- */

TEST(ModuleFile, TheFirstFormatInOrderWins) {
    const std::string ts = Clocked(Every(0, 3600, 10));
    std::string both = ts;
    both.replace(4, 4, "ftyp");  // makes anything an MP4 file, here one that has no boxes
    const std::string krdf("\x67\x13\0\0", 4);
    const struct {
        std::string content;
        ULONG_32 result;
        std::string line;
    } cases[] = {
        {both, PLAYER_ERR_PARAM, "File_CreateFileParser Failed, MP4_CreateMp4Parser Failed."},
        {ts, PLAYER_ERR_OK, ""},
        {"RIFFsizeAVI LIST", PLAYER_ERR_PARAM, "File_CreateFileParser Failed, AVI_CreateAviParser Failed."},
        {"RIFFsizeWAVEfmt ", PLAYER_ERR_NOT_SUPPORT, ""},
        {krdf + std::string(139, 'x'), PLAYER_ERR_NOT_SUPPORT, ""},  // a head is 144 bytes
        {krdf + std::string(140, 'x'), PLAYER_ERR_KRDF_INDEX,
         "File_GetFileProperty Failed, KRDF_GetKrdfInfo Failed, Error[0x10f]."},
    };
    for (const auto &one : cases) {
        LogLines log;
        EXPECT_EQ(Record(one.content).Result(), one.result);
        EXPECT_EQ(LogLines::Errors(one.line), one.line.empty() ? 0U : 1U) << one.line;
    }
}

TEST(ModuleFile, MissingFilesAreRefusedAndReleaseIsIdempotent) {
    FILE_INFO_S file = {};
    FILE_FRAME_INFO_S frame = {};
    EXPECT_EQ(File_CreateFileParser("nowhere/at/all", &file), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(File_CreateTsParser("nowhere/at/all", &file), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_SetPlayTime(&file, 0, 25), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_ReleaseFileParser(&file), 0U);
    EXPECT_EQ(File_ReleaseTsParser(&file), 0U);
}

/* ---- properties of MPEG-TS ---- */

TEST(ModuleFile, PropertiesOfATransportStreamComeFromItsClock) {
    const uint64_t wrap = 1ULL << 33;
    const struct {
        const char *what;
        std::vector<uint64_t> times;
        LONG_32 rate;
        ULONG_32 seconds;
    } cases[] = {{"25 a second", Every(9000, 3600, 100), 25, 3},
                 {"two equal at first", {500, 500, 4100, 900500}, 25, 10},
                 {"three equal: the rate stays unset", {500, 500, 500, 900500}, 0, 10},
                 {"less than a millisecond apart: unset", {500, 589, 900500}, 0, 10},
                 {"backward: no pacing", {9000, 5400, 909000}, 0, 10},
                 {"the clock wraps", Every(wrap - 90000, 3600, 100), 25, 3}};
    for (const auto &test : cases) {
        Record file(Clocked(test.times));
        ASSERT_EQ(file.Result(), 0U) << test.what;
        EXPECT_EQ(file->lFrameRate, test.rate) << test.what;
        EXPECT_EQ(file->ulLastTime, test.seconds) << test.what;
        EXPECT_EQ(file->dulFirstTime, test.times[0]) << test.what;
        EXPECT_EQ(file->usPid, 0x165) << test.what;
        EXPECT_EQ(file->dulFileSize, test.times.size() * 1880) << test.what;
        EXPECT_EQ(file.Position(), 0U) << test.what;
    }
}

TEST(ModuleFile, TransportStreamsWithoutAClockDoNotOpen) {
    const std::string cut = Clocked(Every(0, 3600, 50)) + std::string(100, 'x');
    for (const std::string &content : {Times(OtherPacket(), 300), PcrPacket(9000) + Times(OtherPacket(), 300), cut}) {
        EXPECT_EQ(Record(content).Result(), ULONG_32{PLAYER_ERR_FILE_READ});
    }
}

TEST(ModuleFile, TheLastClockReferenceIsFoundFarFromTheEnd) {
    // Another PID carries no clock of this file.
    for (const std::string &end : {Times(OtherPacket(), 1000), Times(PcrPacket(9000000, 0x101), 10)}) {
        EXPECT_EQ(Record(Clocked(Every(9000, 3600, 30)) + end)->ulLastTime, 1U);
    }
}

TEST(ModuleFile, ATransportStreamOpensWithoutFrameBuffers) {
    TempDir folder;
    WriteFile(folder.At("a"), Clocked(Every(9000, 3600, 100)));
    FILE_INFO_S file = {};
    file.dulFileStartPos = 5;
    ASSERT_EQ(File_CreateTsParser(folder.At("a").c_str(), &file), 0U);
    EXPECT_EQ(file.dulFileStartPos, 0U);
    EXPECT_EQ(file.lFrameRate, 25);
    EXPECT_EQ(ftello(file.pFile), 0);
    FILE_FRAME_INFO_S frame = {};
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_ReleaseTsParser(&file), 0U);
}

/* ---- seeking in MPEG-TS ---- */

TEST(ModuleFile, AJumpLandsOnThePatBehindAClockUpToTwoSecondsPastTheTarget) {
    Record file(Clocked(Every(90000, 3600, 1000)));  // 40 seconds, a PAT each 5 references
    ASSERT_EQ(file->ulLastTime, 39U);
    for (ULONG_32 seconds = 1; seconds < 39; ++seconds) {
        ASSERT_EQ(File_SetPlayTime(file.Get(), seconds, 25), 0U) << seconds;
        const DULONG reference = file.Position() / 1880;
        EXPECT_EQ(file.Position() % (5 * 1880), 0U);
        EXPECT_GT(reference, seconds * 25) << seconds;
        EXPECT_LE(reference, seconds * 25 + 50 + 5) << seconds;
    }
    const DULONG before = file.Position();
    file->stTsStreamInfo.astTSCCInfo[2].usLoseNum = 7;
    EXPECT_EQ(File_SetPlayTime(file.Get(), 39, 25), 0U);
    EXPECT_EQ(File_SetPlayTime(file.Get(), 0xFFFFFFFF, 25), 0U);
    EXPECT_EQ(file.Position(), before) << "at or past the end nothing moves";
    EXPECT_EQ(file->stTsStreamInfo.astTSCCInfo[2].usLoseNum, 7);
    EXPECT_EQ(File_SetPlayTime(file.Get(), 0, 25), 0U);
    EXPECT_EQ(file.Position(), 0U);
    EXPECT_EQ(file->stTsStreamInfo.astTSCCInfo[2].usLoseNum, 0);
}

TEST(ModuleFile, ASearchThatFindsNothingLeavesThePlace) {
    // All clock references stand in front, the middle holds none and the end says a late time.
    Record file(Clocked(Every(90000, 3600, 20)) + std::string(188 * 400, '\x11') + Clocked({9000000, 9003600}));
    ASSERT_EQ(file.Result(), 0U);
    ASSERT_EQ(fseeko(file->pFile, 1880, SEEK_SET), 0);
    EXPECT_NE(File_SetPlayTime(file.Get(), 50, 25), 0U);
    EXPECT_EQ(file.Position(), 1880U);
}

TEST(ModuleFile, AClockThatLeapsIsSearchedInFewSteps) {
    // From one reference to the next the time leaps far past the target: halving comes to rest on the later one.
    Record file(Clocked(Every(90000, 3600, 10)) + Times(OtherPacket(), 20000) + Clocked(Every(90000000, 3600, 10)));
    ASSERT_EQ(file.Result(), 0U);
    UCHAR scratch[2 * 188];
    DULONG offset = 0;
    EXPECT_EQ(File_DivToFindPCR(file.Get(), 1, 0, file->dulFileSize, scratch, 90000 * 500, &offset), 0U);
    EXPECT_EQ(offset, (10 * 10 + 20000 + 1) * 188U);
    EXPECT_EQ(File_DivToFindPCR(file.Get(), 998, 0, file->dulFileSize, scratch, 90000 * 500, &offset), 0U);
}

TEST(ModuleFile, PacketsAreReadUpToATailBitBehindTheOneStored) {
    TempDir folder;
    std::string packets;
    for (char c : {'a', 'b', 'c'}) {
        packets += "G" + std::string(1, '\x20') + std::string(186, c);  // each with the tail bit itself
    }
    std::ofstream(folder.At("p.ts")) << packets;
    const struct {
        ULONG_32 room, tail, stored;
    } rows[] = {{3 * 188, 0, 3 * 188}, {3 * 188, 188, 188}, {3 * 188 + 1, 0, 3 * 188}, {187, 0, 0}};
    for (const auto &row : rows) {
        FILE *file = fopen(folder.At("p.ts").c_str(), "rb");
        std::vector<UCHAR> buffer(row.room);
        if (row.tail != 0) {
            buffer[row.tail + 1] = 0x20;
        }
        ULONG_32 length = row.room;
        EXPECT_EQ(0U, File_ReadTSPacket(file, buffer.data(), &length));
        EXPECT_EQ(row.stored, length);
        fclose(file);
    }
}

TEST(ModuleFile, SearchesEndWhenTheRunFlagFalls) {
    Record file(Clocked(Every(90000, 3600, 1000)));
    const BOOL_T stopped = 0;
    file->pbRun = &stopped;
    FILE_FRAME_INFO_S frame = {};
    EXPECT_EQ(File_SetPlayTime(file.Get(), 20, 25), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(File_ReadOneFrame(file.Get(), &frame, FRAME_CTRL_ONLY_I_FRAME), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(file.Position(), 0U);
}
