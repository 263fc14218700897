// The AVI reader on files made by hand: indexes of every kind, what a frame is, ways to move, and damage.
#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "file/avi_builder.h"
#include "file/avi_open.h"
#include "file/module_file.h"
#include "support/elapsed.h"
#include "support/log_lines.h"
#include "support/made_bytes.h"
#include "support/temp_dir.h"

namespace {

using Strings = std::vector<std::string>;

constexpr uint32_t KEY = AVI_KEYFRAME;
const uint8_t SP_H264[] = {0, 0, 1, 6, 0x21, 0, 0, 1, 0x41, 0};

/** Two groups of three frames, with sound in front of each frame but the first. */
avi::Movie TwoGroups() {
    avi::Movie movie;
    for (int i = 0; i < 6; ++i) {
        if (i > 0) {
            movie.Add("01wb", "s" + std::to_string(i), KEY);
        }
        movie.Add("00dc", "frame" + std::to_string(i), i % 3 == 0 ? KEY : 0);
    }
    return movie;
}

const std::string BOTH = avi::Video() + avi::Sound();

const Strings ALL = {"frame0", "s1", "frame1", "s2", "frame2", "s3", "frame3", "s4", "frame4", "s5", "frame5"};
const Strings PICTURES = {"frame0", "frame1", "frame2", "frame3", "frame4", "frame5"};

}  // namespace

TEST(AviReader, TakesAnIndexOfEitherKindAndMakesOneWhereNoneHolds) {
    const avi::Movie movie = TwoGroups();
    const int64_t start = avi::Movie::Start(BOTH);
    const std::string whole = movie.File(BOTH);
    const size_t index = whole.rfind("idx1");
    std::string size = whole;
    size.replace(static_cast<size_t>(start) - 4, 4, avi::U32(4));  // the list says that it is empty
    const struct {
        const char *name;
        std::string file;
        int rebuilt;
    } rows[] = {
        {"from the list", whole, 0},
        {"from the file", movie.File(BOTH, true, start), 0},
        {"off by one", movie.File(BOTH, true, 1), 1},
        {"outside", movie.File(BOTH, true, 1000000), 1},
        {"none", movie.File(BOTH, false), 1},
        {"no video in it", whole.substr(0, index) + avi::Chunk("idx1", "01wb" + avi::Zeros(12)), 1},
        {"cut in the index", whole.substr(0, index + 8 + 16 * 5), 0},
        {"cut at its head", whole.substr(0, index + 4), 1},
        {"a list of no size", size, 0},
    };
    for (const auto &row : rows) {
        AviOpen open(row.file);
        ASSERT_NE(open.Get(), nullptr) << row.name;
        EXPECT_EQ(open.Get()->rebuilt, row.rebuilt) << row.name;
        Strings wanted = ALL;
        if (std::string(row.name) == "cut in the index") {
            wanted.resize(5);  // three frames are in it
        }
        EXPECT_EQ(open.ReadAll(), wanted) << row.name;
        EXPECT_EQ(AVI_iskeyframe(open.Get(), 0), row.rebuilt ? 0 : 1) << row.name;
        EXPECT_EQ(AVI_audio_chunks(open.Get()), static_cast<long>(wanted.size()) / 2) << row.name;
    }
}

TEST(AviReader, RefusesWithANumber) {
    const avi::Movie movie = TwoGroups();
    const std::string whole = movie.File(BOTH);
    const auto replaced = [&](const std::string &what, const std::string &by) {
        std::string file = whole;
        return file.replace(file.find(what), what.size(), by);
    };
    std::string nine = avi::Video();
    for (int i = 0; i < 9; ++i) {
        nine += avi::Sound();
    }
    const struct {
        std::string file;
        long error;
    } rows[] = {
        {"RIFF", AVI_ERR_READ},
        {replaced("AVI ", "WAVE"), AVI_ERR_NO_AVI},
        {replaced("AVI ", "avi "), 0},
        {replaced("hdrl", "hdrx"), AVI_ERR_NO_HDRL},
        {replaced("movi", "movx"), AVI_ERR_NO_MOVI},
        {replaced("vids", "txts"), AVI_ERR_NO_VIDS},
        {avi::Movie().File(), AVI_ERR_NO_VIDS},
        {movie.File(nine), AVI_ERR_UNKNOWN},
        {avi::Riff(avi::List("hdrl", avi::Zeros(1 << 20) + avi::Zeros(2)) + avi::List("movi", movie.data)),
         AVI_ERR_NO_HDRL},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(AviOpen(row.file).Error(), row.error);
    }
    AviOpen open(whole, 0);
    ASSERT_NE(open.Get(), nullptr);
    EXPECT_EQ(AVI_set_video_position(open.Get(), 0), -1);
    EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_NO_IDX});
    EXPECT_EQ(open.Read(), ULONG_32{PLAYER_ERR_PARAM});
    DLONG length = 0;
    EXPECT_EQ(AVI_read_data(open.Get(), AviOpen::Buffer(), nullptr, AviOpen::Buffer(), &length), 0);
    EXPECT_EQ(length, 6) << "in sequence it can be read all the same";
    EXPECT_EQ(AVI_open_input_file("none", 1), nullptr);
    EXPECT_EQ(word::Load(AVI_errno), long{AVI_ERR_OPEN});
}

TEST(AviReader, GivesFramesByWhatIsAskedFor) {
    AviOpen open(TwoGroups().File(BOTH));
    EXPECT_EQ(open.ReadAll(), ALL);
    EXPECT_EQ(open.Read(), ULONG_32{PLAYER_ERR_FILE_END});
    EXPECT_EQ(AVI_seek_start(open.Get()), 0);
    EXPECT_EQ(open.ReadAll(AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), PICTURES);
    AVI_seek_start(open.Get());
    EXPECT_EQ(open.ReadAll(AVI_FRAME_GET_TYPE_ONLY_I_FRAME), (Strings{"frame0", "frame3", "(1)"}))
        << "the search for a third ends at the end";
    AVI_seek_start(open.Get());
    for (const auto &[type, time, format, payload] : {std::tuple{"frame0", 0, 0, PLAYER_PAYLOAD_H264},
                                                      {"s1", 3600, 1, PLAYER_PAYLOAD_MP1L2},
                                                      {"frame1", 3600, 1, PLAYER_PAYLOAD_H264},
                                                      {"s2", 7200, 1, PLAYER_PAYLOAD_MP1L2},
                                                      {"frame2", 7200, 1, PLAYER_PAYLOAD_H264},
                                                      {"s3", 10800, 0, PLAYER_PAYLOAD_MP1L2},
                                                      {"frame3", 10800, 0, PLAYER_PAYLOAD_H264}}) {
        ASSERT_EQ(open.Read(), 0U);
        EXPECT_EQ(open.Frame().dlTimeStamp, time) << type;
        EXPECT_EQ(open.Frame().ulFormatType, static_cast<ULONG_32>(format)) << type;
        EXPECT_EQ(open.Frame().ulPayload, static_cast<ULONG_32>(payload)) << type;
    }
}

TEST(AviReader, SearchesForMarkedFrames) {
    const std::string mark(reinterpret_cast<const char *>(SP_H264), sizeof(SP_H264));
    const std::string plain("\0\0\1\x41\0\0\1\6\x21", 9);
    avi::Movie movie;
    for (const auto &[data, flags] :
         {std::pair{plain, KEY}, {plain, 0U}, {mark, 0U}, {std::string(5000, 'x'), 0U}, {plain, 0U}, {plain, KEY}}) {
        movie.Add("00dc", data, flags);
    }
    AviOpen open(movie.File());
    std::vector<DLONG> times;
    while (open.Read(AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME) == PLAYER_ERR_OK) {
        times.push_back(open.Frame().dlTimeStamp / 3600);
    }
    EXPECT_EQ(times, (std::vector<DLONG>{0, 2, 5}));

    LogLines log;
    movie.Add("00dc", plain);
    AviOpen jpeg(movie.File(avi::Video("MJPG")));
    ASSERT_EQ(AVI_set_video_position(jpeg.Get(), 6), 0);
    EXPECT_EQ(jpeg.Read(AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(LogLines::Errors("AVI_GetOneFrameData Failed, Unknow Payload[4]. Failed, Error:[0x1]."), 1U);

    avi::Movie large;  // 40 MiB without a mark: more than one search reads
    for (int i = 0; i < 40; ++i) {
        large.Add("00dc", std::string(1 << 20, 'x'));
    }
    AviOpen search(large.File());
    EXPECT_EQ(search.Read(AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(AVI_get_video_position(search.Get()), 32);
    EXPECT_EQ(search.Read(AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME), ULONG_32{PLAYER_ERR_FILE_END});
}

TEST(AviReader, FindsTimesByCountingFrames) {
    LogLines log;
    avi::Movie movie;
    for (int i = 0; i < 100; ++i) {
        movie.Add("00db", "f" + std::to_string(i), i % 30 == 0 ? KEY : 0);
    }
    AviOpen open(movie.File(avi::Video("avc1", 30000, 1001)));
    AVI_INFO_S info;
    EXPECT_EQ(AVI_GetAviInfo(open.Get(), &info), 0U);
    EXPECT_EQ(info.ulFrameRate, 29U);
    EXPECT_EQ(info.ulPlayTime, 3U);
    const struct {
        ULONG_32 seconds;
        LONG_32 rate;
        ULONG_32 result;
        const char *next;
        ULONG_32 time; /**< of what comes next */
    } rows[] = {
        {0, 25, 0, "f0", 0},  {1, 25, 0, "f30", 1}, {1, 0, 0, "f30", 1},  {1, 61, 0, "f30", 1},
        {1, 60, 0, "f60", 2}, {3, 25, 0, "f90", 3}, {4, 25, 1, "f91", 3}, {4000000000, 60, 1, "f92", 3},
    };
    for (const auto &row : rows) {
        ULONG_32 time = 0;
        EXPECT_EQ(AVI_SetPlayTime(open.Get(), row.seconds, row.rate), row.result);
        EXPECT_EQ(AVI_GetPlayTime(open.Get(), &time), 0U);
        EXPECT_EQ(time, row.time) << row.next;
        ASSERT_EQ(open.Read(), 0U);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(open.Frame().pucData), open.Frame().ulDataSize), row.next);
    }
    EXPECT_EQ(LogLines::Errors("AVI_SetPlayTime Failed, Not Find Index."), 2U);
    EXPECT_EQ(AVI_SetPlayTime(open.Get(), 3, 31), 0U) << "behind the last key frame is the end";
    EXPECT_EQ(open.Read(), ULONG_32{PLAYER_ERR_FILE_END});

    ULONG_32 time = 7;
    AviOpen still(movie.File(avi::Video("avc1", 25, 0)));
    EXPECT_EQ(AVI_GetAviInfo(still.Get(), &info), 0U);
    EXPECT_EQ(std::to_string(info.ulFrameRate) + " " + std::to_string(info.ulPlayTime), "25 0");
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_WARN, "AVI_GetAviInfo Failed, Framerate == 0."), 1U);
    ASSERT_EQ(still.Read(), 0U);
    ASSERT_EQ(still.Read(), 0U);
    EXPECT_EQ(still.Frame().dlTimeStamp, 3600);
    EXPECT_EQ(AVI_GetPlayTime(still.Get(), &time), 0U);
    EXPECT_EQ(time, 0U);
    for (const auto &[rate, scale] : {std::pair{0xFFFFFFFFU, 1U}, {1U, 0xFFFFFFFFU}, {0U, 1U}}) {
        AviOpen odd(movie.File(avi::Video("avc1", rate, scale)));
        EXPECT_EQ(AVI_GetAviInfo(odd.Get(), &info), 0U);
        EXPECT_EQ(odd.ReadAll().size(), 100U);
        EXPECT_EQ(AVI_GetPlayTime(odd.Get(), &time), 0U);
    }
}

TEST(AviReader, KnowsTheHandlersOfRecorders) {
    for (const auto &[handler, payload] : {std::pair{"hev1", PLAYER_PAYLOAD_H265},
                                           {"HEVC", PLAYER_PAYLOAD_H265},
                                           {"h265", PLAYER_PAYLOAD_H265},
                                           {"AVC1", PLAYER_PAYLOAD_H264},
                                           {"X264", PLAYER_PAYLOAD_H264},
                                           {"H264", PLAYER_PAYLOAD_H264},
                                           {"MJPG", PLAYER_PAYLOAD_JPEG},
                                           {"mjpg", PLAYER_PAYLOAD_JPEG},
                                           {"FMP4", PLAYER_PAYLOAD_NULL}}) {
        AviOpen open(TwoGroups().File(avi::Video(handler)));
        EXPECT_EQ(open.Read(), 0U);
        EXPECT_EQ(open.Frame().ulPayload, static_cast<ULONG_32>(payload)) << handler;
    }
}

TEST(AviReader, PassesOverFramesThatCantBeGiven) {
    LogLines log;
    avi::Movie movie;
    movie.Add("00dc", "a", KEY);
    movie.Add("00dc", "");
    movie.Add("01wb", "sound", KEY);
    movie.Add("00dc", "");
    movie.Add("00dc", std::string(VIDEO_FRAME_BUFFER_SIZE + 1, 'x'), KEY);
    movie.Add("01wb", std::string(VIDEO_FRAME_BUFFER_SIZE + 1, 'x'), KEY);
    movie.Add("00dc", std::string(VIDEO_FRAME_BUFFER_SIZE, 'y'), KEY);
    movie.Add("00dc", "b", KEY);
    AviOpen open(movie.File(BOTH));
    const std::string largest(VIDEO_FRAME_BUFFER_SIZE, 'y');
    EXPECT_EQ(open.ReadAll(), (Strings{"a", "(1)", "sound", "(1)", "(1)", "(1)", largest, "b"}));
    EXPECT_EQ(LogLines::Errors("AVI_GetOneFrameData,AVI_frame_size Failed."), 2U);
    AVI_seek_start(open.Get());
    EXPECT_EQ(open.ReadAll(AVI_FRAME_GET_TYPE_ONLY_I_FRAME), (Strings{"a", "(1)", largest, "b"}));
    AVI_set_video_position(open.Get(), 3);
    EXPECT_EQ(AVI_read_frame(open.Get(), AviOpen::Buffer(), nullptr), -1);
    EXPECT_EQ(AVI_read_frame(open.Get(), AviOpen::Buffer(), nullptr), DLONG{VIDEO_FRAME_BUFFER_SIZE});

    avi::Movie wrong = TwoGroups();  // the index takes sound for video
    wrong.index.replace(2 * 16 + 8, 4, wrong.index.substr(16 + 8, 4));
    AviOpen mistaken(wrong.File(BOTH));
    EXPECT_EQ(mistaken.ReadAll(AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME),
              (Strings{"frame0", "(1)", "frame2", "frame3", "frame4", "frame5"}));

    avi::Movie twice = TwoGroups();  // the index shows the last frame three times
    const std::string last = twice.index.substr(twice.index.size() - 16);
    twice.index += last + last;
    AviOpen more(twice.File(BOTH));
    EXPECT_EQ(AVI_video_frames(more.Get()), 8);
    EXPECT_EQ(more.ReadAll(), ALL) << "in sequence each chunk comes once";
    AVI_seek_start(more.Get());
    EXPECT_EQ(more.ReadAll(AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME).size(), 8U);
    for (size_t cut = 0; cut < 14; ++cut) {  // in the last frame
        const std::string whole = TwoGroups().File(BOTH, false);
        AviOpen part(whole.substr(0, whole.size() - cut));
        const Strings got = part.ReadAll();
        ASSERT_GE(got.size(), cut < 7 ? 10U : 9U) << cut;  // sound behind the last frame is not read
        EXPECT_TRUE(std::equal(got.begin(), got.begin() + 9, ALL.begin())) << cut;
    }
}

TEST(AviReader, ReadsSoundByItsBytes) {
    avi::Movie movie = TwoGroups();
    movie.Add("02wb", "other", KEY);
    AviOpen open(movie.File(BOTH + avi::Sound(85)));
    avi_t *file = open.Get();
    EXPECT_EQ(AVI_audio_tracks(file), 2);
    EXPECT_EQ(AVI_set_audio_track(file, 2), -1);
    UCHAR *buffer = AviOpen::Buffer();
    const auto text = [buffer](DLONG length) {
        return length < 0 ? "-" : std::string(reinterpret_cast<char *>(buffer), static_cast<size_t>(length));
    };
    EXPECT_EQ(AVI_audio_bytes(file), 10);
    EXPECT_EQ(text(AVI_read_audio(file, buffer, 5)), "s1s2s");
    EXPECT_EQ(AVI_read_audio_chunk(file, nullptr), 1);
    EXPECT_EQ(text(AVI_read_audio_chunk(file, buffer)), "3");
    EXPECT_EQ(text(AVI_read_audio(file, buffer, 100)), "s4s5");
    EXPECT_EQ(text(AVI_read_audio_chunk(file, buffer)), "-");
    for (const auto &[at, rest] : {std::pair{-5, "s1s2s3s4s5"}, {3, "2s3s4s5"}, {4, "s3s4s5"}, {10, ""}, {99, ""}}) {
        EXPECT_EQ(AVI_set_audio_position(file, at), 0);
        EXPECT_EQ(text(AVI_read_audio(file, buffer, 100)), rest) << at;
    }
    EXPECT_EQ(AVI_set_audio_track(file, 1), 0);
    EXPECT_EQ(AVI_audio_format(file), 85);
    EXPECT_EQ(open.ReadAll(), (Strings{"frame0", "frame1", "frame2", "frame3", "frame4", "frame5"}))
        << "sound of the other track is stepped over";
    EXPECT_EQ(text(AVI_read_audio_chunk(file, buffer)), "other");
}

/* ---- damage ---- */

TEST(AviReader, HolesAndForeignChunksEndInBoundedTime) {
    TempDir folder;
    const std::string whole = TwoGroups().File(BOTH, false);
    WriteFile("a.avi", whole);
    std::filesystem::resize_file("a.avi", 1ULL << 40);
    const auto since = std::chrono::steady_clock::now();
    FILE_INFO_S info = {};
    ASSERT_EQ(File_CreateFileParser("a.avi", &info), 0U);
    AVI_FRAME_INFO_S frame = {};
    frame.pucData = AviOpen::Buffer();
    size_t count = 0;
    for (; AVI_GetOneFrameData(info.hAviParser, 0, &frame) == PLAYER_ERR_OK; ++count) {
    }
    EXPECT_EQ(count, ALL.size()) << "the measure of key frames left nothing behind";
    AVI_FileClose(nullptr, info.hAviParser);
    File_ReleaseFileParser(&info);
    WriteFile("b.avi", "");
    std::filesystem::resize_file("b.avi", 1ULL << 40);
    EXPECT_EQ(AVI_open_input_file("b.avi", 1), nullptr);

    avi::Movie movie;
    movie.Add("00dc", "a", KEY);
    for (int i = 0; i < 10000; ++i) {
        movie.Add("07wb", "", KEY);
    }
    movie.Add("00dc", "b", KEY);
    AviOpen foreign(movie.File(BOTH));
    EXPECT_EQ(foreign.ReadAll(), (Strings{"a", "(1)", "(1)", "b"}));
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count(), 3.0);
}

TEST(AviReader, AFileThatGrowsIsReadToWhereItEnded) {
    TempDir folder;
    const std::string whole = TwoGroups().File(BOTH, false);
    WriteFile("a.avi", whole.substr(0, whole.size() - 14));
    avi_t *file = AVI_open_input_file("a.avi", 1);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(AVI_video_frames(file), 5);
    WriteFile("a.avi", whole + whole);
    long frames = 0;
    while (AVI_read_frame(file, AviOpen::Buffer(), nullptr) > 0) {
        ++frames;
    }
    EXPECT_EQ(frames, 5);
    AVI_close(file);
}

namespace {

/** A second hand at opening a file: the rules one after the other, over a string, without care for speed. */
struct Model {
    explicit Model(const std::string &bytes) : m_file(bytes) { error = Open(); }

    struct Row {
        uint64_t key, pos, len;
        bool operator==(const Row &other) const = default;
    };
    long error;
    bool rebuilt = false;
    std::vector<Row> video;
    std::vector<std::vector<Row>> sound;

 private:
    bool Has(size_t at, size_t count) const { return at <= m_file.size() && count <= m_file.size() - at; }
    std::string Id(size_t at) const { return Has(at, 4) ? m_file.substr(at, 4) : ""; }
    static std::string Low(std::string text) {
        for (char &c : text) {
            c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        }
        return text;
    }
    uint64_t Number(const std::string &bytes, size_t at) const {
        uint64_t value = 0;
        for (size_t i = 0; i < 4; ++i) {
            value |= static_cast<uint64_t>(at + i < bytes.size() ? static_cast<uint8_t>(bytes[at + i]) : 0) << 8 * i;
        }
        return value;
    }
    uint64_t Number(size_t at) const { return Number(m_file, at); }
    bool IsChunk(size_t at) const {
        return Has(at, 8) &&
               std::all_of(m_file.begin() + static_cast<long>(at), m_file.begin() + static_cast<long>(at + 4),
                           [](char c) { return c >= ' ' && c <= '~'; });
    }
    size_t Next(size_t at) const {
        return std::min<uint64_t>(m_file.size(), at + 8 + Number(at + 4) + Number(at + 4) % 2);
    }

    long Open() {
        if (!Has(0, 12)) return 3;
        if (Low(Id(0)) != "riff" || Low(Id(8)) != "avi ") return 9;
        std::optional<std::string> headers;
        for (size_t at = 12; IsChunk(at); at = Next(at)) {
            const size_t size = std::min<size_t>(Number(at + 4), m_file.size() - at - 8);
            if (Id(at) == "LIST" && Id(at + 8) == "hdrl" && !headers) {
                headers = Has(at + 12, 0) ? m_file.substr(at + 12, size > 4 ? size - 4 : 0) : "";
            } else if (Id(at) == "LIST" && Id(at + 8) == "movi" && m_movi == 0) {
                m_movi = at + 12;
            } else if (Id(at) == "idx1" && m_index.empty()) {
                m_index = m_file.substr(at + 8, size / 16 * 16);
            }
        }
        if (!headers) return 10;
        if (m_movi == 0) return 11;
        if (const long result = Streams(*headers); result != 0) return result;
        Index();
        return video.empty() ? 12 : 0;
    }
    long Streams(const std::string &list) {
        int stream = 0;
        bool heard = false;
        for (size_t at = 0; at + 8 <= list.size();) {
            const std::string id = list.substr(at, 4);
            if (id == "LIST") {
                if (list.compare(at + 8, 4, "strl") == 0) heard = false;
                if (at + 12 > list.size()) break;
                at += 12;
                continue;
            }
            const std::string kind = list.substr(at + 8, std::min<size_t>(4, Number(list, at + 4)));
            if (id == "strh") {
                if (kind == "vids" && m_video.empty()) {
                    m_video = std::to_string(stream / 10 % 10) + std::to_string(stream % 10) + "d";
                } else if (kind == "auds" && !heard) {
                    if (sound.size() == 8) return 14;
                    sound.emplace_back();
                    heard = true;
                }
                ++stream;
            }
            at += 8 + Number(list, at + 4) + Number(list, at + 4) % 2;
        }
        return m_video.empty() ? 12 : 0;
    }
    std::optional<uint64_t> Fix() const {
        for (size_t at = 0; at < m_index.size(); at += 16) {
            if (Low(m_index.substr(at, 3)) != m_video) continue;
            for (const uint64_t fix : {uint64_t{0}, uint64_t{m_movi} - 4}) {
                const size_t place = Number(m_index, at + 8) + fix;
                if (Has(place, 8) && Id(place) == m_index.substr(at, 4) &&
                    Number(place + 4) == Number(m_index, at + 12)) {
                    return fix;
                }
            }
            return std::nullopt;
        }
        return std::nullopt;
    }
    void Enter(const std::string &id, Row row) {
        if (Low(id.substr(0, 3)) == m_video) video.push_back(row);
        for (size_t track = 0; track < sound.size(); ++track) {
            if (Low(id) == "0" + std::to_string(track + 1) + "wb") sound[track].push_back(row);
        }
    }
    void Index() {
        if (const std::optional<uint64_t> fix = Fix()) {
            for (size_t at = 0; at < m_index.size(); at += 16) {
                Enter(m_index.substr(at, 4),
                      {Number(m_index, at + 4), Number(m_index, at + 8) + *fix + 8, Number(m_index, at + 12)});
            }
            return;
        }
        rebuilt = true;
        for (size_t at = m_movi; IsChunk(at);) {
            const std::string kind = Low(Id(at).substr(2));
            if (kind == "db" || kind == "dc" || kind == "wb") Enter(Id(at), {0, at + 8, Number(at + 4)});
            at = Id(at) == "LIST" ? at + 12 : Next(at);
        }
    }

    const std::string &m_file;
    size_t m_movi = 0;
    std::string m_index, m_video;
};

void ExpectAsModelled(const std::string &bytes) {
    const Model model(bytes);
    AviOpen open(bytes);
    ASSERT_EQ(open.Error(), model.error);
    if (open.Get() == nullptr) {
        return;
    }
    const avi_t &file = *open.Get();
    std::vector<Model::Row> video;
    for (long i = 0; i < file.video_frames; ++i) {
        const video_index_entry &row = file.video_index[i];
        video.push_back(
            {static_cast<uint64_t>(row.key), static_cast<uint64_t>(row.pos), static_cast<uint64_t>(row.len)});
    }
    ASSERT_EQ(video, model.video);
    ASSERT_EQ(file.rebuilt, model.rebuilt);
    ASSERT_EQ(static_cast<size_t>(file.anum), model.sound.size());
    for (int track = 0; track < file.anum; ++track) {
        uint64_t total = 0;
        ASSERT_EQ(static_cast<size_t>(file.track[track].audio_chunks), model.sound[static_cast<size_t>(track)].size());
        for (long i = 0; i < file.track[track].audio_chunks; ++i) {
            const audio_index_entry &row = file.track[track].audio_index[i];
            const Model::Row &wanted = model.sound[static_cast<size_t>(track)][static_cast<size_t>(i)];
            ASSERT_EQ(static_cast<uint64_t>(row.pos), wanted.pos);
            ASSERT_EQ(static_cast<uint64_t>(row.len), wanted.len);
            ASSERT_EQ(static_cast<uint64_t>(row.tot), total);
            total += wanted.len;
        }
    }
    for (const ULONG_32 type : {0U, 1U, 2U, 3U}) {  // each read moves on, so that it ends
        AVI_seek_start(open.Get());
        ASSERT_LT(open.ReadAll(type).size(), 500U);
    }
}

}  // namespace

TEST(AviReader, OpensDamagedFilesAsItsDescriptionHasIt) {
    avi::Movie movie = TwoGroups();
    movie.data += avi::List("rec ", avi::Chunk("00DC", "x") + avi::Chunk("01wB", "yy") + avi::Chunk("ix00", "z"));
    const std::string files[] = {movie.File(BOTH), movie.File(BOTH + avi::Sound(), true, avi::Movie::Start(BOTH)),
                                 movie.File(BOTH, false), movie.File(avi::Sound() + avi::Video())};
    for (const std::string &file : files) {
        TryDamaged(file, ExpectAsModelled);
        if (HasFatalFailure()) {
            return;
        }
    }
    std::mt19937 random(5);
    const std::string words[] = {"LIST", "idx1", "movi", "hdrl", "strl", "strh",
                                 "auds", "vids", "00dc", "01wb", "RIFF"};
    for (int round = 0; round < 8000 && !HasFatalFailure(); ++round) {
        std::string damaged = files[random() % 4];
        for (size_t count = 1 + random() % 4; count > 0; --count) {
            const size_t at = random() % (damaged.size() - 4);
            if (random() % 2 == 0) {
                damaged.replace(at & ~size_t{1}, 4, words[random() % 11]);
            } else {
                damaged[at] = static_cast<char>(random() % 3 == 0 ? random() : random() % 64);
            }
        }
        ExpectAsModelled(damaged);
    }
}
