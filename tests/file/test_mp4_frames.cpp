// Frames out of MP4 samples: what is chosen, what the bytes become, where a seek lands, and what a cut file does.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "mp4_builder.h"
#include "mp4_open.h"
#include "support/log_lines.h"

namespace {

using mp4::DATA;
using mp4::StartCode;
using mp4::Track;
using mp4::U32;
using mp4::Unit;

const std::string PREFIX = StartCode("\x67SPS") + StartCode("\x68PP");

/** A file of one video track with these samples; the sync samples are counted from 1. */
std::string VideoFile(const std::vector<std::string> &samples, const std::vector<uint32_t> &sync,
                      const std::string &entry = {}) {
    Track video;
    video.entry = entry.empty() ? video.entry : entry;
    video.chunks = {DATA};
    video.sync = sync;
    std::string data;
    for (const std::string &sample : samples) {
        video.sizes.push_back(static_cast<uint32_t>(sample.size()));
        data += sample;
    }
    return mp4::File(data, {video});
}

std::vector<std::string> Plain(size_t count) {
    std::vector<std::string> samples;
    for (size_t i = 0; i < count; ++i) {
        samples.push_back(Unit("\x41 frame " + std::to_string(i)));
    }
    return samples;
}

LONG_32 Index(const Mp4Open &file) { return file.Parser()->iCurSampleIndex; }

/** Which samples come when key frames and marked ones are asked for. */
std::vector<LONG_32> Marked(Mp4Open *file) {
    std::vector<LONG_32> found;
    while (file->Read(MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME) == PLAYER_ERR_OK) {
        found.push_back(Index(*file) - 1);
    }
    return found;
}

}  // namespace

TEST(Mp4Frames, LengthsBecomeStartCodes) {
    Mp4Open file(VideoFile({Unit("\x65 one") + Unit("") + Unit("two"), Unit("\x41 three"), "abc",
                            U32(0xFFFFFFFF) + "lie", U32(2) + "ab" + "tail", U32(0x7FFFFFFF) + "\0\0\0\1"},
                           {1}));
    EXPECT_EQ(file.ReadBytes(), PREFIX + StartCode("\x65 one") + StartCode("") + StartCode("two"));
    EXPECT_EQ(file.Frame().lFormatType, 0);
    EXPECT_EQ(file.Frame().lPayload, PLAYER_PAYLOAD_H264);
    EXPECT_EQ(file.ReadBytes(), StartCode("\x41 three"));
    EXPECT_EQ(file.Frame().lFormatType, 1);
    EXPECT_EQ(file.Frame().dulTimestamp, 3600U);
    EXPECT_EQ(file.ReadBytes(), "abc");
    EXPECT_EQ(file.ReadBytes(), StartCode("lie"));
    EXPECT_EQ(file.ReadBytes(), StartCode("ab") + StartCode(""));
    EXPECT_EQ(file.Read(), PLAYER_ERR_OK);
    EXPECT_EQ(file.Read(), PLAYER_ERR_FILE_END);
}

TEST(Mp4Frames, H265ComesAsItIsStored) {
    const std::string sample = StartCode("\x26\1 key");
    Mp4Open file(VideoFile({sample, Unit("\2\1 other")}, {1}, mp4::VisualEntry("hev1", "")));
    EXPECT_EQ(file.ReadBytes(), sample);
    EXPECT_EQ(file.Frame().lPayload, PLAYER_PAYLOAD_H265);
    EXPECT_EQ(file.ReadBytes(), Unit("\2\1 other"));
}

TEST(Mp4Frames, SecondStartCodeGoesByTheFirstTracksSps) {
    for (const std::string &first : {std::string("\x67"), std::string("\x67SPS!!"), std::string()}) {
        Track one, two;
        one.chunks = {DATA};
        one.sizes = {1};
        one.entry = first.empty() ? mp4::VisualEntry("hev1", "") : mp4::VisualEntry("avc1", mp4::AvcC(first, "\x68"));
        two.chunks = {DATA + 1};
        two.sizes = {5};
        Mp4Open file(mp4::File("x" + Unit("A"), {one, two}));
        ASSERT_EQ(file.Read(), PLAYER_ERR_OK);
        std::string prefix = StartCode("\x67SPS");
        prefix.resize(4 + first.size());
        EXPECT_EQ(file.ReadBytes(), prefix + StartCode("\x68PP") + StartCode("A"));
    }
}

TEST(Mp4Frames, KindsThatAreAskedFor) {
    Track video, sound;
    video.sizes = {5, 6, 7, 8};
    video.chunks = {DATA, DATA + 14};
    video.sync = std::vector<uint32_t>{1, 4};
    sound.handler = "soun";
    sound.sizes = {3};
    sound.chunks = {DATA + 11};
    const std::string content = mp4::File(Unit("e") + Unit("Aa") + "son" + Unit("Abc") + Unit("egfh"), {video, sound});
    Mp4Open file(content);
    EXPECT_EQ(file.ReadBytes(MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), PREFIX + StartCode("e"));
    EXPECT_EQ(file.ReadBytes(MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), StartCode("Aa"));
    EXPECT_EQ(file.ReadBytes(MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME), StartCode("Abc"));
    file.Parser()->iCurSampleIndex = 1;
    EXPECT_EQ(file.ReadBytes(MP4_FRAME_GET_TYPE_ONLY_I_FRAME), PREFIX + StartCode("egfh"));
    EXPECT_EQ(file.Read(MP4_FRAME_GET_TYPE_ONLY_I_FRAME), PLAYER_ERR_FILE_END);
    EXPECT_EQ(Index(file), 5);
    file.Parser()->iCurSampleIndex = 2;
    EXPECT_EQ(file.ReadBytes(77), "son");
    EXPECT_EQ(file.Frame().lPayload, PLAYER_PAYLOAD_MP1L2);
    EXPECT_EQ(file.Frame().lFormatType, 0);
}

TEST(Mp4Frames, MarkedFramesOfH264) {
    const std::string filler(5000, 'f');
    const std::string mark = Unit("\x06\x21 mark") + Unit("\x41 slice");
    const std::vector<std::string> samples = {
        Unit("\x65 key"),
        Unit("\x41 slice") + Unit("\x06\x21 too late"),  // decided by the slice in front
        mark,                                            // marked
        Unit("\x06\x05 other") + Unit("\x01 slice"),     // another SEI
        Unit("\x41" + filler),                           // plain, longer than a look at its start
        Unit("\x06\x05" + filler) + mark,                // marked behind that look
        Unit("\x06\x05" + filler) + Unit("\x41 slice"),  // plain behind it
        mark + Unit(filler),                             // marked and long
        Unit("\x09\xF0"),                                // nothing that decides
        Unit(std::string("\x06\x05") + std::string(4083, 'f')) + Unit("\x06\x21 m") +
            Unit("\x41"),  // length cut in two
    };
    Mp4Open file(VideoFile(samples, {1}));
    EXPECT_EQ(Marked(&file), (std::vector<LONG_32>{0, 2, 5, 7, 9}));
    EXPECT_EQ(Index(file), static_cast<LONG_32>(samples.size()));
}

TEST(Mp4Frames, SeekLandsOnTheNextKeyFrame) {
    Mp4Open file(VideoFile(Plain(50), {1, 21, 31}));
    EXPECT_EQ(MP4_SetPlayTime(file.Stream(), file.Parser(), 1, 10), PLAYER_ERR_OK);
    EXPECT_EQ(file.ReadBytes(), PREFIX + StartCode("\x41 frame 0")) << "the first read starts at the front";
    const struct {
        ULONG_32 seconds;
        LONG_32 rate, index;  // -1: refused
    } cases[] = {
        {0, 10, 0},  {1, 10, 20},          {2, 10, 20},
        {3, 10, 30}, {1, 0, 30},           {1, 61, 30},  // 25 frames a second are taken
        {1, 49, 50},                                     // behind the last key frame: the end
        {5, 10, -1}, {0xFFFFFFFF, 60, -1},
    };
    for (const auto &[seconds, rate, index] : cases) {
        EXPECT_EQ(MP4_SetPlayTime(file.Stream(), file.Parser(), seconds, rate), index < 0 ? 1U : 0U) << seconds;
        EXPECT_EQ(Index(file), index < 0 ? 50 : index) << seconds;
    }
    EXPECT_EQ(file.Read(), PLAYER_ERR_FILE_END);
    for (const auto &[from, to] : {std::pair{50, 30}, {29, 20}}) {
        file.Parser()->iCurSampleIndex = from;
        EXPECT_EQ(MP4_FindPrevKey(file.Parser()), PLAYER_ERR_OK);
        EXPECT_EQ(Index(file), to);
    }
}

TEST(Mp4Frames, SampleThatTheBufferCanNotHoldIsSteppedOver) {
    const size_t most = VIDEO_FRAME_BUFFER_SIZE - 7;
    for (LONG_32 type : {MP4_FRAME_GET_TYPE_NONE, MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME}) {
        // The mark makes each of them wanted in both ways of reading.
        const auto sample = [](size_t size) { return Unit("\x06\x21") + Unit(std::string(size - 10, 'A')); };
        Mp4Open file(VideoFile({sample(most), sample(most + 1), sample(most - PREFIX.size()),
                                sample(most - PREFIX.size() + 1), sample(20)},
                               {3, 4}));
        EXPECT_EQ(file.Read(type), PLAYER_ERR_OK);
        EXPECT_EQ(file.Read(type), PLAYER_ERR_FILE_READ);
        EXPECT_EQ(Index(file), 2);
        EXPECT_EQ(file.Read(type), PLAYER_ERR_OK);
        EXPECT_EQ(file.Frame().ulBufferLen, most);
        EXPECT_EQ(file.Read(type), PLAYER_ERR_FILE_READ);
        EXPECT_EQ(file.Read(type), PLAYER_ERR_OK);
    }
}

TEST(Mp4Frames, SampleBehindTheEndOfTheFile) {
    Track video;
    video.sizes = {8, 100};
    Mp4Open file(mp4::MoovInFront(video, mp4::Box("mdat", Unit("Abcd") + "cut", 0)));
    ASSERT_TRUE(file.Ok());
    ASSERT_EQ(file.Parser()->list.size(), 2U);
    EXPECT_EQ(file.Read(), PLAYER_ERR_OK);
    EXPECT_EQ(file.Read(), PLAYER_ERR_FILE_END);
    EXPECT_EQ(Index(file), 2);
    file.Parser()->iCurSampleIndex = 1;
    EXPECT_EQ(file.Read(MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME), PLAYER_ERR_FILE_END);
}

TEST(Mp4RealTime, LastBytesOfTheFirstBox) {
    const auto timeOf = [](std::string content) {
        FILE *stream = fmemopen(content.data(), content.size(), "rb");
        ULONG_32 seconds = 77;
        const BOOL_T found = MP4_GetRealTime(stream, &seconds);
        EXPECT_EQ(ftell(stream), 0);
        fclose(stream);
        return found == 1 ? static_cast<int>(seconds) : seconds == 0 ? -1 : -2;
    };
    const auto stamped = [](uint32_t zero, uint32_t time) {
        return mp4::Box("ftyp", "isom" + U32(0) + U32(zero) + U32(time)) + mp4::Box("free", "tail");
    };
    for (const auto &[zone, hours, time, seconds] :
         {std::tuple{"XYZ-3", 3, 1700000000, (1700000000 + 3 * 3600) % 86400}, {"XYZ11", -11, 3600, 14 * 3600}}) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(MP4_GetCurTimezone(), hours);
        EXPECT_EQ(timeOf(stamped(0, static_cast<uint32_t>(time))), seconds);
    }
    for (const std::string &content : {stamped(1, 1700000000), std::string("no such file"), std::string("abc")}) {
        EXPECT_EQ(timeOf(content), -1);
    }
    for (uint32_t size : {0U, 15U, 33U, 1000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(timeOf(U32(size) + stamped(0, 3600).substr(4, 26)), -1) << size;
    }
    unsetenv("TZ");
    tzset();
}

TEST(Mp4ParameterSets, DifferentOnesAreSeen) {
    // What is stored has no header byte, as the search gives it.
    MP4_SPS_PPS_INFO stored = {};
    memcpy(stored.szSps, "abc", 3);
    stored.lSpsLen = 3;
    memcpy(stored.szPps, "de", 2);
    stored.lPpsLen = 2;
    const auto differ = [&](const std::string &sps, const std::string &pps, LONG_32 payload = PLAYER_PAYLOAD_H264) {
        std::string frame = StartCode("\x67" + sps) + StartCode("\x68" + pps) + StartCode("\x65 key");
        return MP4_IsDiffSpsPps(reinterpret_cast<UCHAR *>(frame.data()), static_cast<LONG_32>(frame.size()), payload,
                                &stored);
    };
    stored.lSpsLen = 4;  // the search counts the zero of the next start code
    stored.lPpsLen = 3;
    EXPECT_EQ(differ("abc", "de"), 0);
    EXPECT_EQ(differ("abX", "de"), 1);
    EXPECT_EQ(differ("abcd", "de"), 1);
    EXPECT_EQ(differ("abc", "dX"), 1);
    EXPECT_EQ(differ("abc", "d"), 1);
    EXPECT_EQ(differ("abX", "dX", PLAYER_PAYLOAD_H265), 0);
    UCHAR slice[] = {0, 0, 0, 1, 0x65, 1, 2};
    EXPECT_EQ(MP4_IsDiffSpsPps(slice, sizeof(slice), PLAYER_PAYLOAD_H264, &stored), 0);
    stored = {};
    EXPECT_EQ(differ("anything", "goes"), 0);
}
