// KRDF records: the writer against a dump made by hand, the walk, jumps, damage, bad files, and a plain model of it
// all.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <random>
#include <thread>

#include "file/krdf_model.h"
#include "support/elapsed.h"
#include "support/krdf_record.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

using support::KRDF_BEGIN;
using support::KrdfGroups;
using support::KrdfLetters;
using support::WriteKrdf;

namespace {

constexpr off_t INDEX = 0x14000, UNIT = 0x10000000, BLOCK = 0x4000;

/** Bytes out of hexadecimal digits; spaces don't count. */
Bytes Hex(const std::string &text) {
    Bytes bytes;
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/** A file that can be looked into and damaged anywhere. */
class RawFile {
 public:
    explicit RawFile(const std::string &path) : m_file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {}
    ~RawFile() { close(m_file); }
    int Descriptor() const { return m_file; }
    off_t Size() const { return lseek(m_file, 0, SEEK_END); }
    void Cut(off_t size) { EXPECT_EQ(ftruncate(m_file, size), 0); }
    Bytes Read(off_t at, size_t count) const {
        Bytes bytes(count);
        bytes.resize(static_cast<size_t>(std::max<ssize_t>(0, pread(m_file, bytes.data(), count, at))));
        return bytes;
    }
    void Write(off_t at, const Bytes &bytes) {
        EXPECT_EQ(pwrite(m_file, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
    }

 private:
    const int m_file;
};

/** A parser and a frame buffer. */
class Reader {
 public:
    explicit Reader(const std::string &path, DULONG base = 0)
        : m_parser(static_cast<KRDF_PARSER_S *>(KRDF_CreateKrdfParser(path.c_str(), base))) {
        opened = KRDF_GetKrdfInfo(m_parser, &info);
    }
    ~Reader() { KRDF_DestroyKrdfParser(m_parser); }
    KRDF_PARSER_S *operator->() { return m_parser; }
    KRDF_PARSER_S *Get() { return m_parser; }

    ULONG_32 Read(ULONG_32 type) {
        frame = {};
        frame.pcDataBuf = m_buffer.get();
        return KRDF_GetOneFrameData(m_parser, type, &frame);
    }
    std::string Text() const { return std::string(reinterpret_cast<char *>(m_buffer.get()), frame.ulDataLen); }

    /** All frames up to the end, with a space behind each; codes of failures in between. */
    std::string All(ULONG_32 type = KRDF_FRAME_GET_TYPE_NONE) {
        std::string all;
        for (int i = 0; i < 100; ++i) {
            const ULONG_32 result = Read(type);
            if (result == PLAYER_ERR_FILE_END) {
                return all;
            }
            all += (result == 0 ? Text() : std::to_string(result)) + " ";
        }
        return all + "and no end";
    }

    ULONG_32 opened = 0;
    KRDF_INFO_S info = {};
    KRDF_FRAME_INFO_S frame = {};

 private:
    KRDF_PARSER_S *const m_parser;
    const std::unique_ptr<UCHAR[]> m_buffer = std::make_unique_for_overwrite<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
};

/** Where group n of a record of one unit and one block a group lies; the indexes keep 16 blocks. */
off_t GroupAt(unsigned group) { return INDEX + (15 + group) * BLOCK; }

}  // namespace

/* ---- the format ---- */

TEST(Krdf, TheWriterFollowsTheTables) {
    TempDir folder;
    tools::KrdfLayout layout;
    layout.payload = 4;
    layout.index_blocks = 1;
    layout.groups_a_unit = 1;
    WriteKrdf(folder.At("a"), {{'k', "ABCDEF", 0}, {'p', "gh", 0}, {'s', "xyz", 0}, {'k', "I", 3}}, layout);
    const RawFile file(folder.At("a"));
    const std::string begin = "E827FDEE 3A000000", later = "E8370100 01000000", none = "00000000";
    const struct {
        off_t at;
        std::string bytes;
    } rows[] = {
        {0, "67130000" + std::string(280, '0')},
        {0x4000, "03000000" + none + none + none + begin + later + none},
        {INDEX, none + "02000000" + none + none + "E827FDEE 3A010400" + none + none + none},
        {INDEX + BLOCK,
         "06200000 83000000"
         "57130000" +
             begin +
             "02 19 0000 00 06 0400 00000000 41424344 58130000"
             "57130000" +
             begin +
             "80 19 0100 00 06 0200 00000000 4546 58130000"
             "57130000" +
             begin +
             "86 19 0200 00 06 0200 01000000 6768 58130000"
             "57130000" +
             begin + "83 19 0300 00 01 0300 00000000 78797A 58130000" + none},
        {UNIT + INDEX, none + "02000000" + none + none + "E8370100 01010400" + none + none + none},
        {UNIT + INDEX + BLOCK, "06200000 25000000 57130000" + later + "82 19 0400 00 06 0100 02000000 49 58130000"},
    };
    for (const auto &row : rows) {
        const Bytes wanted = Hex(row.bytes);
        EXPECT_EQ(file.Read(row.at, wanted.size()), wanted) << "at " << row.at;
    }
    EXPECT_EQ(file.Size(), UNIT + INDEX + 2 * BLOCK);
    struct stat status = {};
    ASSERT_EQ(fstat(file.Descriptor(), &status), 0);
    EXPECT_LT(status.st_blocks * 512, UNIT / 100) << "most of it is a hole";
}

TEST(Krdf, ARecordIsToldByItsFirstBytes) {
    TempDir folder;
    for (const auto &[bytes, size, is] : {std::tuple("67130000", 144, 1), {"67130000", 143, 0}, {"67130001", 144, 0}}) {
        Bytes head = Hex(bytes);
        head.resize(static_cast<size_t>(size));
        FILE *file = fopen(folder.Write("a", head).c_str(), "rb");
        fseek(file, 5, SEEK_SET);
        EXPECT_EQ(KRDF_IsKrdfFile(file), is) << bytes << size;
        EXPECT_EQ(ftell(file), 5);
        fclose(file);
    }
    EXPECT_EQ(KRDF_IsKrdfFile(nullptr), 0);
}

/* ---- frames ---- */

TEST(Krdf, FramesComeUpToTheLastGroup) {
    TempDir folder;
    const std::string path = folder.At("a");
    tools::KrdfLayout layout;
    layout.base = 0x123456;
    layout.groups_a_unit = 2;
    WriteKrdf(path, KrdfGroups(5), layout);
    Reader reader(path, layout.base);
    ASSERT_EQ(reader.opened, 0U);
    EXPECT_EQ(reader.info.ulLastTime, 8U) << "from the first group's begin to the last one's";
    EXPECT_EQ(reader.info.lFrameRate, 25);
    EXPECT_EQ(reader.info.enVideoCodec, VIDEO_CODEC_VINCIH264);
    EXPECT_EQ(reader.All(), "1k 1p 1q 2k 2p 2q 3k 3p 3q 4k 4p 4q ");
    EXPECT_EQ(reader.frame.ulDataLen, 0U);
    EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), 0), ULONG_32{PLAYER_ERR_PARAM}) << "no record goes back to its start";
    EXPECT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), ULONG_32{PLAYER_ERR_FILE_END});
    // A jump lands on the group at the time or last before it, whatever the unit, and also after the end.
    const struct {
        ULONG_32 seconds;
        const char *frame;
        ULONG_32 time;
    } jumps[] = {{1, "1k", 0}, {5, "3k", 4}, {4, "3k", 4}, {3, "2k", 2}, {7, "4k", 6}, {6, "4k", 6}};
    for (const auto &jump : jumps) {
        ULONG_32 time = 0;
        EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), jump.seconds), 0U);
        EXPECT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), 0U);
        EXPECT_EQ(reader.Text(), jump.frame) << jump.seconds;
        EXPECT_EQ(KRDF_GetPlayTime(reader.Get(), &time), 0U);
        EXPECT_EQ(time, jump.time);
    }
    EXPECT_EQ(reader.frame.dulTimeStamp, 40U * 90 * 11) << "frame numbers that fall freeze the stamps";
    // Key frames come by index: each read goes to the next group, and a jump to its own.
    EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), 1), 0U);
    EXPECT_EQ(reader.All(KRDF_FRAME_GET_TYPE_ONLY_I_FRAME), "1k 2k 3k 4k ");
    EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), 9), 0U) << "past the total time each read fails, until another jump";
    EXPECT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), ULONG_32{PLAYER_ERR_FILE_END});
    EXPECT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), ULONG_32{PLAYER_ERR_FILE_END});
    EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), 7), 0U);
    EXPECT_EQ(reader.All(), "4k 4p 4q ");
}

TEST(Krdf, FramesAreMadeOfTheirPackets) {
    const std::string whole(2 << 20, 'w'), large(3000, 'l');
    const struct {
        const char *what;
        std::vector<KrdfLetters> frames;
        std::string wanted;
    } cases[] = {
        {"sound in front of the first picture is lost, later it comes with video requests as well",
         {{'k', "1", 0}, {'s', "a", 0}, {'p', "2", 0}, {'s', "b", 0}, {'k', "3", 1}, {'k', "4", 2}},
         "1 a 2 b 3 "},
        {"many packets", {{'k', "1", 0}, {'p', large, 0}, {'k', "2", 1}, {'k', "3", 2}}, "1 " + large + " 2 "},
        {"a frame that outgrows the buffer is dropped",
         {{'k', "1", 0}, {'p', whole, 0}, {'p', "2", 0}, {'k', "3", 1}, {'k', "4", 2}},
         "1 280 2 3 "},
        {"one with a byte less is not",
         {{'k', "1", 0}, {'p', whole.substr(1), 0}, {'k', "3", 1}, {'k', "4", 2}},
         "1 " + whole.substr(1) + " 3 "},
    };
    for (const auto &test : cases) {
        TempDir folder;
        WriteKrdf(folder.At("a"), test.frames);
        EXPECT_EQ(Reader(folder.At("a")).All(KRDF_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), test.wanted) << test.what;
    }
}

TEST(Krdf, StampsRestOnFrameNumbersAndSoundOnMilliseconds) {
    TempDir folder;
    for (const uint32_t rate : {25U, 30U, 7U, 0U}) {
        tools::KrdfLayout layout;
        layout.rate = rate;
        const std::string sound(160, 's');
        WriteKrdf(folder.At("a"), {{'k', "1", 0}, {'p', "2", 0}, {'s', sound, 0}, {'s', sound, 0}, {'k', "3", 9}},
                  layout);
        Reader reader(folder.At("a"));
        EXPECT_EQ(reader.info.lFrameRate, static_cast<LONG_32>(rate != 0 ? rate : 25));
        const DULONG step = rate != 0 ? 1000 / rate * 90 : 0;
        const std::pair<ULONG_32, DULONG> wanted[] = {{PLAYER_PAYLOAD_H264, 0},
                                                      {PLAYER_PAYLOAD_H264, step},
                                                      {PLAYER_PAYLOAD_G711U, step + 20},
                                                      {PLAYER_PAYLOAD_G711U, step + 40}};
        for (const auto &[payload, stamp] : wanted) {
            ASSERT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), 0U);
            EXPECT_EQ(reader.frame.ulPayload, payload);
            EXPECT_EQ(reader.frame.dulTimeStamp, stamp) << rate;
        }
    }
    PACKET_INFO_S info = {};
    const ULONG_32 audio[] = {PLAYER_PAYLOAD_G711A, PLAYER_PAYLOAD_G711U, 9, 9, 9, 9, PLAYER_PAYLOAD_AAC, 9};
    const ULONG_32 video[] = {9, PLAYER_PAYLOAD_H265, 9, 9, 9, 9, PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_JPEG};
    for (ULONG_32 type = 0; type < 8; ++type) {
        info.bVideoOrAudioFrame = 0;
        EXPECT_EQ(KRDF_TransferPayload(&info, type), audio[type]);
        info.bVideoOrAudioFrame = 1;
        EXPECT_EQ(KRDF_TransferPayload(&info, type), video[type]);
    }
    const UCHAR adts[] = {0xFF, 0xF1, 8 << 2}, bad[] = {0xFF, 0xF1, 12 << 2};
    EXPECT_EQ(KRDF_getAacSampleRate(adts, 3), 16000U);
    EXPECT_EQ(KRDF_getAacSampleRate(adts, 2) + KRDF_getAacSampleRate(bad, 3) + KRDF_getAacSampleRate(bad + 1, 3), 0U);
}

TEST(Krdf, KeyAndSpFramesAreFoundAmongOthers) {
    const std::string sp("\0\0\1\6\x21", 5), plain("\0\0\1\x41", 4);
    TempDir folder;
    WriteKrdf(
        folder.At("a"),
        {{'k', "1", 0}, {'p', plain, 0}, {'p', plain + sp, 0}, {'p', "nothing" + sp, 0}, {'k', "2", 1}, {'k', "3", 2}});
    Reader reader(folder.At("a"));
    for (const std::string &wanted : {std::string("1"), "nothing" + sp, std::string("2"), std::string("3")}) {
        ASSERT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME), 0U);
        EXPECT_EQ(reader.Text(), wanted);
    }
    EXPECT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME), ULONG_32{PLAYER_ERR_FILE_END});
}

/* ---- damage ---- */

TEST(Krdf, DamageCostsTheRestOfItsGroup) {
    const off_t second = 8 + 24 + 2 + 4;  // of a group, its second packet
    const struct {
        const char *what;
        off_t at;
        const char *bytes, *wanted, *keys;
    } cases[] = {
        {"block mark", GroupAt(2), "07", "1k 1p 1q 3k 3p 3q ", "2k 3k "},
        {"group longer than its blocks", GroupAt(2) + 4, "01400000", "1k 1p 1q 3k 3p 3q ", "2k 3k "},
        {"first head", GroupAt(2) + 8, "00", "1k 1p 1q 3k 3p 3q ", "3k "},
        {"second head", GroupAt(2) + second, "00", "1k 1p 1q 2k 3k 3p 3q ", "2k 3k "},
        {"tail of the first", GroupAt(2) + second - 4, "00", "1k 1p 1q 2k 3k 3p 3q ", "2k 3k "},
        {"tail of the second", GroupAt(2) + second + 26, "00", "1k 1p 1q 2k 2p 3k 3p 3q ", "2k 3k "},
        {"the last packet's end", GroupAt(2) + second + 30 + 12, "06", "1k 1p 1q 2k 2p 3k 3p 3q ", "2k 3k "},
        {"first group: stepped over at the open", GroupAt(1), "00", "2k 2p 2q 3k 3p 3q ", "3k "},
        {"no entry in the index", INDEX + 4, "01000000", "271", ""},
        {"an entry in the main index less", 0x4000, "01000000", "271", ""},
        {"payload of 1481 bytes", GroupAt(1) + second + 18, "C905", "1k ", "2k 3k "},
    };
    for (const auto &test : cases) {
        TempDir folder;
        WriteKrdf(folder.At("a"), KrdfGroups(4));
        RawFile(folder.At("a")).Write(test.at, Hex(test.bytes));
        Reader reader(folder.At("a"));
        EXPECT_EQ(reader.opened != 0 ? std::to_string(reader.opened) : reader.All(), test.wanted) << test.what;
        Reader keys(folder.At("a"));
        EXPECT_EQ(keys.opened == 0 ? keys.All(KRDF_FRAME_GET_TYPE_ONLY_I_FRAME) : "", test.keys) << test.what;
    }
    TempDir folder;
    WriteKrdf(folder.At("a"), {{'k', "1", 0}, {'p', "2", 0}});
    EXPECT_EQ(Reader(folder.At("a")).opened, ULONG_32{PLAYER_ERR_KRDF_INDEX}) << "one group has no length";
    WriteKrdf(folder.At("a"), {{'k', "1", 0}, {'k', "2", 0}});
    LogLines log;
    EXPECT_EQ(Reader(folder.At("a")).opened, ULONG_32{PLAYER_ERR_KRDF_INDEX});
    EXPECT_EQ(LogLines::Errors("Total Time[0(s)] of File[" + folder.At("a") + "] is Error."), 1U);
}

TEST(Krdf, ADamagedHeadOfSoundDropsNoPicturesBehindIt) {
    TempDir folder;
    WriteKrdf(folder.At("a"), {{'k', "1", 0}, {'s', "a", 0}, {'k', "2", 1}, {'k', "3", 2}});
    RawFile(folder.At("a")).Write(GroupAt(1) + 8 + 29, {0});
    EXPECT_EQ(Reader(folder.At("a")).All(KRDF_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), "1 2 ");
}

TEST(Krdf, PacketsAreGivenOneByOne) {
    TempDir folder;
    WriteKrdf(folder.At("a"), KrdfGroups(3));
    RawFile(folder.At("a")).Write(GroupAt(1) + 8 + 30 + 18, Hex("DC05"));  // 1500
    Reader reader(folder.At("a"));
    UCHAR buffer[2000];
    PACKET_DATA_S packet = {};
    const auto read = [&](ULONG_32 room) {
        packet.pcData = buffer;
        packet.ulLength = room;
        return Krdf_readDataPacket(reader.Get(), &packet);
    };
    ASSERT_EQ(read(1500), 0U);
    EXPECT_EQ(Bytes(buffer, buffer + packet.ulLength), Hex("E827FDEE3A000000 82190000 0006 0200 00000000 316B"));
    EXPECT_EQ(read(1500), ULONG_32{PLAYER_ERR_MALLOC});
    EXPECT_EQ(read(2000), 0U) << "with room for it the length ends the group";
    EXPECT_EQ(read(2000), 0U);
    EXPECT_EQ(std::string(buffer + 20, buffer + packet.ulLength), "2k");
    reader->enSourceState = MODULESTATE_ID_PAUSE;
    EXPECT_EQ(read(2000), ULONG_32{PLAYER_ERR_KRDF_NOT_RUNNING});
    reader->enSourceState = MODULESTATE_ID_RUN;
    reader->dlOverTime = -2;
    EXPECT_EQ(read(2000), ULONG_32{PLAYER_ERR_KRDF_OVER_TIME});
    EXPECT_EQ(Krdf_jumpByTime(reader.Get(), 5), 0U);
    EXPECT_EQ(read(2000), ULONG_32{PLAYER_ERR_FILE_READ});
    EXPECT_EQ(Krdf_jumpFileByTime(reader.Get(), 5), ULONG_32{PLAYER_ERR_KRDF_JUMP_OVER});
    EXPECT_EQ(Krdf_jumpFileByTime(reader.Get(), -1), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(Krdf_jumpFileByTime(reader.Get(), 0), 0U) << "the parser itself goes back to the start";
    EXPECT_EQ(reader->ulCurSubIndexNum, 1U);
    EXPECT_EQ(Krdf_goIFrame(reader.Get(), 1), 0U);
    EXPECT_EQ(Krdf_goIFrame(reader.Get(), 0), 0U);
    EXPECT_EQ(Krdf_goIFrame(reader.Get(), 0), ULONG_32{PLAYER_ERR_KRDF_READ_END});
    EXPECT_EQ(Krdf_getReadFileEndState(reader.Get()), 1);
    EXPECT_EQ(Krdf_closeFile(reader.Get()), 0U);
    EXPECT_EQ(Krdf_goIFrame(reader.Get(), 1), ULONG_32{PLAYER_ERR_KRDF_NOT_OPEN});
    UCHAR rtp[12] = {0x80};
    for (const auto &[first, source, exists] :
         {std::tuple(0x80, 1, 0), {0x80, 1, 1}, {0x80, 2, 0}, {0x80, 2, 1}, {0x40, 2, 0}, {0x80, 2, 0}}) {
        rtp[0] = static_cast<UCHAR>(first);
        rtp[8] = static_cast<UCHAR>(source);
        Krdf_checkIfRtpExist(reader.Get(), rtp, 12);
        EXPECT_EQ(reader->bRtpExist, exists);
    }
}

/* ---- bad files ---- */

TEST(Krdf, AFileCutAnywhereComesToItsEnd) {
    TempDir folder;
    tools::KrdfLayout layout;
    layout.index_blocks = 1;
    WriteKrdf(folder.At("a"), KrdfGroups(4), layout);
    RawFile file(folder.At("a"));
    size_t frames = 10;
    // Behind each group lies the rest of its block, which is all the same.
    for (off_t size = file.Size(); size >= 0; size -= size > INDEX && size % BLOCK > 120 ? 97
                                                      : size > INDEX                     ? 1
                                                                                         : 509) {
        file.Cut(size);
        Reader reader(folder.At("a"));
        const std::string all = reader.opened == 0 ? reader.All() : "";
        EXPECT_EQ(all.find("and no end"), std::string::npos) << size;
        const size_t count = static_cast<size_t>(std::count(all.begin(), all.end(), ' '));
        EXPECT_LE(count, frames) << size << all;
        frames = count + 2;  // what lies where a group can't be entered may pass for a frame
    }
}

TEST(Krdf, LyingCountsAndHolesTakeBoundedTime) {
    TempDir folder;
    const std::string path = folder.At("a");
    WriteKrdf(path, KrdfGroups(4));
    RawFile file(path);
    const Bytes entry = file.Read(INDEX + 16 + 3 * 16, 16);
    file.Cut(int64_t{17} << 28);
    file.Write(0x4000, Hex("FFFFFFFF"));
    // The last unit that counts wraps to the fourteenth; its last entry gives the record a length.
    const off_t last = ((8190 - 1) % 16) * UNIT + INDEX;
    file.Write(last + 4, Hex("FFFFFFFF"));
    file.Write(last + 16 + 16383 * 16, entry);
    for (off_t unit = 0; unit < 16; ++unit) {
        file.Write(unit * UNIT + INDEX + 4, Hex("FFFFFFFF"));
    }
    {
        Reader reader(path);
        ASSERT_EQ(reader.opened, 0U);
        EXPECT_EQ(reader->ulMaxMainIndexNum, 8190U);
        EXPECT_EQ(reader->ulMaxSubIndexNum, 16384U);
        EXPECT_EQ(reader.All().substr(0, 12), "1k 1p 1q 2k ");
    }
    for (unsigned group = 1; group <= 4; ++group) {
        file.Write(GroupAt(group), Hex("00"));
    }
    LogLines log;
    EXPECT_LT(ElapsedMs([&] { EXPECT_EQ(Reader(path).opened, ULONG_32{PLAYER_ERR_FILE_READ}); }),
              20000 * SANITIZED_SLOWDOWN)
        << "262,144 groups of nothing";
    EXPECT_LT(LogLines::Total(), 1000U);
}

TEST(Krdf, ARecordThatGrowsIsReadAsFarAsItsIndexesHaveCome) {
    TempDir folder;
    tools::KrdfWriter writer;
    tools::Failure failure;
    tools::KrdfLayout layout;
    layout.groups_a_unit = 3;
    ASSERT_TRUE(writer.Open(folder.At("a"), layout, &failure));
    uint64_t second = 0;
    const auto add = [&](unsigned groups) {
        for (unsigned i = 0; i < groups; ++i, ++second) {
            const std::string data = std::to_string(second);
            tools::KrdfFrame frame = {
                true, tools::kKrdfH264,    0,
                true, KRDF_BEGIN + second, Span(reinterpret_cast<const uint8_t *>(data.data()), data.size())};
            EXPECT_TRUE(writer.Add(frame, &failure));
        }
    };
    add(6);  // the sixth is not written yet
    Reader reader(folder.At("a"));
    EXPECT_EQ(reader.info.ulLastTime, 4U);
    ASSERT_EQ(reader.Read(KRDF_FRAME_GET_TYPE_NONE), 0U);
    add(5);
    EXPECT_EQ(reader.All(), "1 2 3 ") << "the length is that of the open";
    EXPECT_EQ(KRDF_SetPlayTime(reader.Get(), 3), 0U);
    EXPECT_EQ(reader.All(), "3 ");
    EXPECT_EQ(Reader(folder.At("a")).All(), "0 1 2 3 4 5 6 7 8 ");
    EXPECT_TRUE(writer.Close(&failure));
}

TEST(Krdf, AWriterStopsAtSixteenUnitsAndAReaderWraps) {
    TempDir folder;
    tools::KrdfLayout layout;
    layout.groups_a_unit = 1;
    WriteKrdf(folder.At("a"), KrdfGroups(16), layout);
    RawFile file(folder.At("a"));
    file.Write(0x4000, Hex("12000000"));                           // 17 units
    file.Write(0x4010 + 16 * 8, file.Read(0x4010 + 15 * 8, 8));    // the last one's time again
    file.Write(INDEX + 16, file.Read(15 * UNIT + INDEX + 16, 5));  // the first group is the last one now
    Reader reader(folder.At("a"));
    EXPECT_EQ(reader.info.ulLastTime, 30U);
    EXPECT_EQ(reader->ulMaxMainIndexNum, 17U);
    tools::KrdfWriter writer;
    tools::Failure failure;
    ASSERT_TRUE(writer.Open(folder.At("b"), layout, &failure));
    const uint8_t data[] = {1};
    bool good = true;
    unsigned groups = 0;
    for (; good && groups < 30; ++groups) {
        good = writer.Add({true, tools::kKrdfH264, 0, true, KRDF_BEGIN + groups, data}, &failure);
    }
    EXPECT_EQ(groups, 18U) << "the seventeenth group can't be written when the eighteenth begins";
    EXPECT_NE(failure.what.find("full"), std::string::npos);
}

TEST(Krdf, ThePositionMayBeAskedForMeanwhile) {
    TempDir folder;
    WriteKrdf(folder.At("a"), KrdfGroups(40));
    Reader reader(folder.At("a"));
    std::atomic<bool> running{true};
    std::thread client([&] {
        while (running) {
            ULONG_32 time = 0;
            EXPECT_EQ(KRDF_GetPlayTime(reader.Get(), &time), 0U);
            EXPECT_LE(time, 78U);
        }
    });
    for (ULONG_32 i = 0; i < 2000; ++i) {
        KRDF_SetPlayTime(reader.Get(), i * 7 % 77 + 1);
        EXPECT_EQ(reader.Read(i % 3), 0U);
    }
    running = false;
    client.join();
}

/* ---- the model ---- */

TEST(Krdf, RandomDamageIsReadAsAPlainModelReadsIt) {
    setenv("TZ", "UTC", 1);
    tzset();
    std::mt19937 random(20240229);
    const auto below = [&](size_t most) { return static_cast<size_t>(random() % most); };
    TempDir folder;
    const std::string path = folder.At("a");
    std::string text(1 << 16, '\0');
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>(random()); });
    for (unsigned round = 0; round < 120; ++round) {
        tools::KrdfLayout layout;
        layout.index_blocks = 1;
        layout.groups_a_unit = round % 3 == 0 ? 3 : 0;
        layout.payload = round % 2 == 0 ? 40 : 1480;
        std::vector<KrdfLetters> frames;
        const size_t groups = 3 + below(6);
        for (size_t group = 0; group < groups; ++group) {
            for (size_t i = 0, count = 1 + below(5); i < count; ++i) {
                const char kind = i == 0 ? 'k' : "pbsi"[below(4)];
                frames.push_back({kind, text.substr(below(60000), 1 + below(kind == 's' ? 30 : 200)), group * 3});
            }
        }
        WriteKrdf(path, frames, layout);
        RawFile file(path);
        for (size_t hit = 0, hits = round % 10 == 0 ? 0 : 1 + below(4); hit < hits; ++hit) {
            const off_t unit = layout.groups_a_unit != 0 ? static_cast<off_t>(below(3)) * UNIT : 0;
            const off_t places[] = {0x4000 + static_cast<off_t>(below(40)),
                                    INDEX + unit + static_cast<off_t>(below(100)),
                                    INDEX + unit + static_cast<off_t>((1 + below(groups)) * BLOCK + below(300))};
            const off_t at = places[below(8) == 0 ? 0 : 1 + below(5) / 2 % 2];
            Bytes byte = file.Read(at, 1);
            if (!byte.empty()) {
                file.Write(at, {static_cast<uint8_t>(below(2) == 0 ? byte[0] ^ 1U << below(8) : random())});
            }
        }
        if (round % 7 == 0) {
            file.Cut(file.Size() - static_cast<off_t>(below(40000)));
        }
        Reader reader(path);
        krdf::Model model(file.Descriptor());
        ASSERT_EQ(model.Open(), reader.opened) << round;
        for (unsigned step = 0, ends = 0; reader.opened == 0 && step < 60 && ends < 2; ++step) {
            if (below(6) == 0) {
                const ULONG_32 seconds = 1 + static_cast<ULONG_32>(below(28));
                KRDF_SetPlayTime(reader.Get(), seconds);
                model.Jump(seconds);
            }
            const ULONG_32 type = static_cast<ULONG_32>(below(8) < 6 ? 0 : 1 + below(2));
            std::string data;
            unsigned kind = 0;
            uint64_t stamp = 0;
            const ULONG_32 result = reader.Read(type);
            ASSERT_EQ(model.Frame(static_cast<int>(type), &data, &kind, &stamp), result) << round << " " << step;
            ASSERT_EQ(model.PlayTime(), reader->lPlayTime) << round << " " << step;
            ends += result == PLAYER_ERR_FILE_END;
            if (result == PLAYER_ERR_OK) {
                ASSERT_EQ(reader.Text(), data) << round << " " << step;
                ASSERT_EQ(reader.frame.ulFrameType, kind);
                ASSERT_EQ(reader.frame.dulTimeStamp, stamp) << round << " " << step;
            }
        }
    }
}
