// The file layer: what a file is, its properties, frames by control value, seeking by clock references, muxing.
#include <gtest/gtest.h>

#include <memory>

#include "file/mp4_builder.h"
#include "support/file_port.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

namespace {

/** A packet that starts a unit, with a PCR in its adaptation field. */
std::string PcrPacket(uint64_t pcr, unsigned pid = 0x165) {
    std::string packet(188, '\xFF');
    const uint64_t base = pcr & ((1ULL << 33) - 1);
    const unsigned char head[] = {0x47,
                                  static_cast<unsigned char>(0x40 | pid >> 8),
                                  static_cast<unsigned char>(pid),
                                  0x30,
                                  7,
                                  0x10,
                                  static_cast<unsigned char>(base >> 25),
                                  static_cast<unsigned char>(base >> 17),
                                  static_cast<unsigned char>(base >> 9),
                                  static_cast<unsigned char>(base >> 1),
                                  static_cast<unsigned char>(base << 7 | 0x7E),
                                  0};
    packet.replace(0, sizeof(head), reinterpret_cast<const char *>(head), sizeof(head));
    return packet;
}

std::string OtherPacket(unsigned pid = 0x1FFF) {
    std::string packet(188, '\0');
    packet[0] = 0x47;
    packet[1] = static_cast<char>(pid >> 8);
    packet[2] = static_cast<char>(pid);
    packet[3] = 0x10;
    return packet;
}

std::string PatPacket() { return OtherPacket(0); }

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
        file += (i % 5 == 0 ? PatPacket() : OtherPacket()) + PcrPacket(times[i]) + Times(OtherPacket(), 8);
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

class ModuleFile : public testing::Test {
 protected:
    LogLines m_log;
};

}  // namespace

/* ---- what a file is ---- */

TEST_F(ModuleFile, TheFirstFormatInOrderWins) {
    const std::string ts = Clocked(Every(0, 3600, 10));
    // "ftyp" at offset 4 makes anything an MP4 file, here one that has no boxes.
    std::string both = ts;
    both.replace(4, 4, "ftyp");
    EXPECT_EQ(Record(both).Result(), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_CreateFileParser Failed, MP4_CreateMp4Parser Failed."), 1);

    EXPECT_EQ(Record(ts).Result(), 0U);
    const std::string avi = "RIFFsizeAVI LIST";
    EXPECT_EQ(Record(avi).Result(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "AVI_CreateParser Failed, Not Support, Error:[0x7]."), 1);
    EXPECT_EQ(Record("RIFFsizeWAVEfmt ").Result(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
    std::string krdf("\x67\x13\0\0", 4);
    EXPECT_EQ(Record(krdf + std::string(139, 'x')).Result(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_CreateFileParser Failed, KRDF_CreateKrdfParser Failed."), 0)
        << "a head is 144 bytes";
    EXPECT_EQ(Record(krdf + std::string(140, 'x')).Result(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_CreateFileParser Failed, KRDF_CreateKrdfParser Failed."), 1);
}

TEST_F(ModuleFile, NullAndMissingAreRefusedAndReleaseIsIdempotent) {
    FILE_INFO_S file = {};
    FILE_FRAME_INFO_S frame = {};
    ULONG_32 value = 0;
    EXPECT_EQ(File_CreateFileParser("nowhere/at/all", &file), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(File_CreateFileParser(nullptr, &file), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(File_CreateFileParser("x", nullptr), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_CreateTsParser("nowhere/at/all", &file), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(File_GetFileProperty(&file), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_SetPlayTime(&file, 0, 25), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_GetPlayTime(nullptr, &value), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_GetIFrameIntervalTime(nullptr), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_GetIFrameInterval Failed, Invalid Param."), 1);
    EXPECT_EQ(File_ReleaseFileParser(&file), 0U);
    EXPECT_EQ(File_ReleaseTsParser(&file), 0U);
}

TEST_F(ModuleFile, ControlValuesBecomeRequestsOfTheParsers) {
    const ULONG_32 wanted[] = {2, 0, 2, 2, 1, 3, 0, 0};
    for (ULONG_32 ctrl = 0; ctrl < std::size(wanted); ++ctrl) {
        EXPECT_EQ(File_FileCtrlToMp4Ctrl(ctrl), wanted[ctrl]);
        EXPECT_EQ(File_FileCtrlToAviCtrl(ctrl), wanted[ctrl]);
        EXPECT_EQ(File_FileCtrlToKrdfCtrl(ctrl), wanted[ctrl]);
    }
    EXPECT_EQ(File_FileCtrlToMp4Ctrl(0xFFFFFFFF), 0U);
}

/* ---- properties of MPEG-TS ---- */

TEST_F(ModuleFile, PropertiesOfATransportStreamComeFromItsClock) {
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
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_GetFileProperty Failed, NextNextPCR - FirstPCR = 0."), 1);
}

TEST_F(ModuleFile, TransportStreamsWithoutAClockDoNotOpen) {
    const std::string one = PcrPacket(9000) + Times(OtherPacket(), 300);
    const struct {
        std::string content;
        const char *line;
    } cases[] = {{Times(OtherPacket(), 300), "File_GetFileProperty Failed, File_GetPCR Get First Frame Pcr Failed."},
                 {one, "File_GetFileProperty Failed, File_GetPCR Get Next Frame Pcr Failed."},
                 {Clocked(Every(0, 3600, 50)) + std::string(100, 'x'),
                  "File_GetFileProperty Failed, File_GetPCR Get Last Frame Pcr Failed."}};
    for (const auto &test : cases) {
        EXPECT_EQ(Record(test.content).Result(), ULONG_32{PLAYER_ERR_FILE_READ});
        EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, test.line), 1) << test.line;
    }
    EXPECT_GE(LogLines::Count(PLAYER_LOG_ERROR, "Read Data != 188, Read Len = 0"), 2);
}

TEST_F(ModuleFile, TheLastClockReferenceIsFoundFarFromTheEnd) {
    Record file(Clocked(Every(9000, 3600, 30)) + Times(OtherPacket(), 1000));
    EXPECT_EQ(file.Result(), 0U);
    EXPECT_EQ(file->ulLastTime, 1U);
    // Another PID carries no clock of this file.
    Record other(Clocked(Every(9000, 3600, 30)) + Times(PcrPacket(9000000, 0x101), 10));
    EXPECT_EQ(other->ulLastTime, 1U);
}

TEST_F(ModuleFile, ATransportStreamOpensWithoutFrameBuffers) {
    TempDir folder;
    WriteFile(folder.At("a"), Clocked(Every(9000, 3600, 100)));
    FILE_INFO_S file = {};
    file.dulFileStartPos = 5;
    ASSERT_EQ(File_CreateTsParser(folder.At("a").c_str(), &file), 0U);
    EXPECT_EQ(file.dulFileStartPos, 0U);
    EXPECT_EQ(file.pucFrameDataAddr, nullptr);
    EXPECT_EQ(file.lFrameRate, 25);
    EXPECT_EQ(ftello(file.pFile), 0);
    FILE_FRAME_INFO_S frame = {};
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(File_ReleaseTsParser(&file), 0U);
    EXPECT_EQ(file.pFile, nullptr);
}

/* ---- seeking in MPEG-TS ---- */

TEST_F(ModuleFile, AJumpLandsOnThePatBehindAClockUpToTwoSecondsPastTheTarget) {
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

TEST_F(ModuleFile, ASearchThatFindsNothingLeavesThePlace) {
    // All clock references stand in front, the middle holds none and the end says a late time.
    Record file(Clocked(Every(90000, 3600, 20)) + std::string(188 * 400, '\x11') + Clocked({9000000, 9003600}));
    ASSERT_EQ(file.Result(), 0U);
    ASSERT_EQ(fseeko(file->pFile, 1880, SEEK_SET), 0);
    EXPECT_NE(File_SetPlayTime(file.Get(), 50, 25), 0U);
    EXPECT_EQ(file.Position(), 1880U);
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "Get Offset Failed."), 1);
}

TEST_F(ModuleFile, AClockThatLeapsIsSearchedInFewSteps) {
    // From one reference to the next the time leaps far past the target: halving comes to rest on the later one.
    Record file(Clocked(Every(90000, 3600, 10)) + Times(OtherPacket(), 20000) + Clocked(Every(90000000, 3600, 10)));
    ASSERT_EQ(file.Result(), 0U);
    UCHAR scratch[2 * 188];
    DULONG offset = 0;
    EXPECT_EQ(File_DivToFindPCR(file.Get(), 1, 0, file->dulFileSize, scratch, 90000 * 500, &offset), 0U);
    EXPECT_EQ(offset, (10 * 10 + 20000 + 1) * 188U);
    EXPECT_EQ(File_DivToFindPCR(file.Get(), 998, 0, file->dulFileSize, scratch, 90000 * 500, &offset), 0U);
}

TEST_F(ModuleFile, SearchesEndWhenTheRunFlagFalls) {
    Record file(Clocked(Every(90000, 3600, 1000)));
    const BOOL_T stopped = 0;
    file->pbRun = &stopped;
    FILE_FRAME_INFO_S frame = {};
    EXPECT_EQ(File_SetPlayTime(file.Get(), 20, 25), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(File_ReadOneFrame(file.Get(), &frame, FRAME_CTRL_ONLY_I_FRAME), ULONG_32{PLAYER_ERR_FAILED});
    EXPECT_EQ(file.Position(), 0U);
}

TEST_F(ModuleFile, PacketsAreReadUpToTheTailOfAFrame) {
    std::string tail = OtherPacket();
    tail[1] = static_cast<char>(tail[1] | 0x20);
    Record file(Clocked(Every(0, 3600, 2)) + OtherPacket() + tail + OtherPacket() + std::string(188, 'x'));
    FILE *stream = tmpfile();
    const std::string content = OtherPacket() + tail + OtherPacket() + std::string(188, 'x');
    fwrite(content.data(), 1, content.size(), stream);
    rewind(stream);
    UCHAR buffer[188 * 4];
    ULONG_32 size = sizeof(buffer);
    EXPECT_EQ(File_ReadTSPacket(stream, buffer, &size), 0U);
    EXPECT_EQ(size, 2 * 188U);
    size = 188 + 100;
    EXPECT_EQ(File_ReadTSPacket(stream, buffer, &size), 0U);
    EXPECT_EQ(size, 188U) << "as many as fit";
    size = sizeof(buffer);
    EXPECT_EQ(File_ReadTSPacket(stream, buffer, &size), ULONG_32{PLAYER_ERR_FILE_READ}) << "no packet";
    EXPECT_EQ(size, 0U);
    fclose(stream);
}

/* ---- MP4 ---- */

TEST_F(ModuleFile, AnMp4FileGivesItsPropertiesAndAllSamplesFromTheFirst) {
    TempDir folder;
    const std::string path = folder.At("a.mp4");
    ASSERT_TRUE(
        support::Ffmpeg("-f lavfi -i testsrc2=size=128x96:rate=20 -f lavfi -i sine -pix_fmt yuv420p -c:v libx264 "
                        "-x264-params keyint=10:scenecut=0:bframes=0 -c:a aac -t 2",
                        path));
    FILE_INFO_S file = {};
    file.fIFrameIntervalTime = 2000;
    file.ulPreIFrameTime = 5;
    ASSERT_EQ(File_CreateFileParser(path.c_str(), &file), 0U);
    EXPECT_EQ(file.lFrameRate, 20);
    EXPECT_EQ(file.ulLastTime, 2U);
    EXPECT_EQ(file.fIFrameIntervalTime, 500.0F);
    EXPECT_EQ(file.ulPreIFrameTime, 5U);
    const std::vector<support::FileFrame> samples = support::SamplesOfMp4(path);
    FILE_FRAME_INFO_S frame = {};
    for (const support::FileFrame &sample : samples) {
        ASSERT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), 0U);
        const size_t head = sample.video ? 0 : 7;
        EXPECT_EQ(frame.lPayload, sample.video ? PLAYER_PAYLOAD_H264 : PLAYER_PAYLOAD_AAC);
        EXPECT_EQ(frame.pucBuffer, file.pucFrameDataAddr);
        ASSERT_EQ(frame.ulBufferLen + head, sample.data.size());
    }
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY), ULONG_32{PLAYER_ERR_FILE_END});
    ULONG_32 seconds = 0;
    EXPECT_EQ(File_GetPlayTime(&file, &seconds), 0U);
    EXPECT_EQ(seconds, 2U) << "the last sound takes the time of the picture that would come next";
    EXPECT_EQ(File_SetPlayTime(&file, 2, 20), 1U) << "no such frame";
    EXPECT_EQ(LogLines::Count(PLAYER_LOG_ERROR, "File_SetPlayTime Failed, MP4_SetPlayTime Failed, Error[0x1]."), 1);
    EXPECT_EQ(File_SetPlayTime(&file, 1, 20), 0U);
    EXPECT_EQ(File_ReadOneFrame(&file, &frame, FRAME_CTRL_ONLY_I_FRAME), 0U);
    EXPECT_EQ(frame.dulTimestamp, 90000U);
    file.dulFileEndPos = 9;
    EXPECT_EQ(File_ReleaseFileParser(&file), 0U);
    EXPECT_EQ(file.dulFileEndPos, 0U);
}

/* ---- muxing ---- */

TEST_F(ModuleFile, FramesAreMuxedAndSoundIsAnnouncedAsMpegAudio) {
    auto mux = std::make_unique<TS_PACKET_DEC_S>();
    ASSERT_EQ(File_CreatePacketDec(2, PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_MP1L2, mux.get()), 0U);
    EXPECT_EQ(mux->lVideoType, 0) << "only one type is known";
    ASSERT_EQ(File_CreatePacketDec(FILE_PACKET_TYPE_TS, PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_MP1L2, mux.get()), 0U);
    EXPECT_EQ(mux->lElemType, 6);
    for (LONG_32 payload : {PLAYER_PAYLOAD_G711U, PLAYER_PAYLOAD_G711A, PLAYER_PAYLOAD_AAC, PLAYER_PAYLOAD_H264}) {
        Bytes data(1000, 0x55);
        TS_FRAMEDATA_S frame = {};
        frame.pucData = data.data();
        frame.lDataLen = 1000;
        frame.lPayload = payload;
        UCHAR *packets = nullptr;
        ULONG_32 size = 0;
        ASSERT_EQ(File_PacketData(mux.get(), &frame, FILE_PACKET_TYPE_TS, &packets, &size), 0U);
        EXPECT_EQ(size % 188, 0U);
        EXPECT_GE(size, 6 * 188U);
        EXPECT_EQ(mux->ulPacketDataLen + mux->ulEsPacketDataLen, 0U);
        EXPECT_EQ(frame.lPayload, payload == PLAYER_PAYLOAD_H264 ? payload : LONG_32{PLAYER_PAYLOAD_MP1L2});
        EXPECT_TRUE(TS_IsTSFrameTail(reinterpret_cast<CHAR *>(packets + size - 188)));
    }
    TS_FRAMEDATA_S bad = {};
    bad.lPayload = PLAYER_PAYLOAD_NULL;
    UCHAR *packets = nullptr;
    ULONG_32 size = 1;
    EXPECT_EQ(File_PacketData(mux.get(), &bad, FILE_PACKET_TYPE_TS, &packets, &size), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(File_DestoryPacketDec(mux.get()), 0U);
    DULONG base = 0;
    EXPECT_EQ(File_GetBaseTimestamp(&base), 0U);
    EXPECT_EQ(base % 1000, 0U);
    EXPECT_GT(base, 1600000000U);
    const DULONG first = base;
    EXPECT_EQ(File_GetBaseTimestamp(&base), 0U);
    EXPECT_EQ(base, first + 3600);
}
