#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bits/MakeJpegHeader.h"
#include "intake/module_rtp.h"
#include "support/log_lines.h"
#include "support/made_bytes.h"

namespace {

using namespace std::string_literals;

const std::string kStart = "\0\0\0\1"s;

struct Pkt {
    int iType = 96;
    unsigned uiNumber = 1;
    bool bMark = false;
    std::string oPayload = {};
    ULONG_32 ulTime = 1000;
    std::string oExtension = {};
    unsigned uiCsrc = 0;
};

std::string Bytes(const Pkt &stPkt) {
    ULONG_32 ulFirst = 0x80U | (stPkt.oExtension.empty() ? 0 : 0x10U) | stPkt.uiCsrc;
    return Be(ulFirst, 1) + Be(stPkt.iType | (stPkt.bMark ? 128 : 0), 1) + Be(stPkt.uiNumber, 2) + Be(stPkt.ulTime, 4) +
           "SSRC" + std::string(4 * stPkt.uiCsrc, 'c') + stPkt.oExtension + stPkt.oPayload;
}

/** An FU-A; bits: 128 start, 64 end. */
std::string FuA(int iBits, const std::string &oData, int iType = 5) { return "\x7C" + Be(iBits | iType, 1) + oData; }

/** A port's two streams with buffers of the real sizes; packets come from memory of exactly their size. */
class Rtp : public testing::Test {
 protected:
    Rtp() {
        m_stVideo.pucFrameData = m_oVideo.data();
        m_stAudio.pucFrameData = m_oAudio.data();
    }
    ULONG_32 PushBytes(const std::string &oBytes) {
        std::unique_ptr<char[]> pcExact(new char[oBytes.size()]);
        memcpy(pcExact.get(), oBytes.data(), oBytes.size());
        return RTP_UnpacketRtpData(pcExact.get(), static_cast<ULONG_32>(oBytes.size()), m_pstTable, m_pstInfo,
                                   &m_stVideo, &m_stAudio);
    }
    /** A packet with the number that follows. */
    ULONG_32 Push(int iType, const std::string &oPayload, bool bMark = false, ULONG_32 ulTime = 1000) {
        return PushBytes(Bytes({iType, ++m_uiNumber, bMark, oPayload, ulTime}));
    }
    ULONG_32 PushAt(unsigned uiNumber, int iType, const std::string &oPayload, bool bMark = false) {
        m_uiNumber = uiNumber - 1;
        return Push(iType, oPayload, bMark);
    }
    static std::string Take(RTP_STREAM_INFO_S &stStream) {
        std::string oFrame(reinterpret_cast<char *>(stStream.pucFrameData), stStream.ulFrameLen);
        stStream.ulFrameLen = 0;
        return oFrame;
    }
    RTP_STREAM_INFO_S m_stVideo = {}, m_stAudio = {};
    RTP_PAYLOAD_TYPE_S *m_pstTable = nullptr;
    RTP_AUDIO_INFO_S *m_pstInfo = nullptr;
    unsigned m_uiNumber = 0;
    LogLines m_oLog;

 private:
    std::vector<UCHAR> m_oVideo = std::vector<UCHAR>(VIDEO_FRAME_BUFFER_SIZE);
    std::vector<UCHAR> m_oAudio = std::vector<UCHAR>(AUDIO_FRAME_BUFFER_SIZE);
};

TEST_F(Rtp, PayloadTypesOfTheMapAndTheTable) {
    EXPECT_EQ(Push(18, "\x41x"), 1u);
    EXPECT_EQ(Push(19, "\x41x", true), 0u);
    EXPECT_EQ(m_stVideo.lPayload, PLAYER_PAYLOAD_H264);
    RTP_PAYLOAD_TYPE_S astTable[2] = {{18, {}, PLAYER_PAYLOAD_G711A, 8000}, {96, {}, PLAYER_PAYLOAD_H265, 90000}};
    m_pstTable = astTable;
    EXPECT_EQ(Push(18, "snd"), 0u);
    EXPECT_EQ(m_stAudio.lPayload, PLAYER_PAYLOAD_G711A);
    EXPECT_EQ(PushAt(9, 96, "\x26\1x", true), 0u);
    EXPECT_EQ(m_stVideo.lPayload, PLAYER_PAYLOAD_H265);
    EXPECT_EQ(PushAt(1, 0, "snd"), 0u) << "a miss falls back to the built-in map";
    EXPECT_EQ(m_stAudio.lPayload, PLAYER_PAYLOAD_G711U);
    astTable[0].ulSampleRate = 0;
    EXPECT_EQ(PushAt(10, 96, "\x41x", true), 0u);
    EXPECT_EQ(m_stVideo.lPayload, PLAYER_PAYLOAD_H264) << "a dead first row hides a live second one";
}

TEST_F(Rtp, H264UnitsThatCompleteAFrameAndThoseThatDoNot) {
    EXPECT_EQ(Push(96, FuA(128 | 64, "idr")), 0u);
    EXPECT_EQ(m_stVideo.lFormatType, PLAYER_VIDEO_FRAME_I);
    EXPECT_EQ(m_stVideo.ulTimestamp, 1000u);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x65idr");
    for (const std::string &oPayload : {FuA(128 | 64, "sei", 6), "\x06sei"s, "\x67sps"s, "\x68pps"s}) {
        EXPECT_EQ(Push(96, oPayload, true), 526u);
    }
    EXPECT_EQ(Push(96, "\x09\xF0", true), 0u);
    EXPECT_EQ(m_stVideo.lFormatType, PLAYER_VIDEO_FRAME_I) << "by the SPS that the frame holds";
    Take(m_stVideo);
    EXPECT_EQ(Push(96, "\x18\0\4\x67sps\0\3\x68pp"s, true), 526u) << "an aggregate that begins with an SPS stays open";
    EXPECT_EQ(Push(96, "\x65slice", true), 0u);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x67sps" + kStart + "\x68pp" + kStart + "\x65slice");
    EXPECT_EQ(Push(96, "\x18\0\4\x67sps\0\3\x65zz"s, true), 526u);
    EXPECT_EQ(Push(96, "\x18\0\2\x41x"s, true), 0u) << "the aggregate behind it ends the frame";
    EXPECT_EQ(Take(m_stVideo), kStart + "\x67sps" + kStart + "\x65zz" + kStart + "\x41x");
    EXPECT_EQ(Push(96, "\x18\0\2\x41x\0\2\x41y"s, true), 0u);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x41x" + kStart + "\x41y");
    EXPECT_EQ(Push(96, "\x18\0\2\x41x\0\3\x41y"s), 1u);
    // A unit that is not accepted ends before the sequence check.
    EXPECT_EQ(PushAt(700, 96, "\x19\xAA", true), 526u);
    EXPECT_EQ(m_stVideo.ulFrameLen, 0u);
    EXPECT_LT(m_stVideo.ausSequenceNumber[PLAYER_PAYLOAD_H264], 700);
}

TEST_F(Rtp, SequenceWrapsLosesAndTakesAnyNumberAfterZero) {
    const std::pair<unsigned, ULONG_32> astRows[] = {{65535, 526}, {0, 526}, {1, 526},   {2, 526},  {65533, 525},
                                                     {65534, 526}, {0, 525}, {500, 526}, {500, 525}};
    for (const auto &[uiNumber, ulResult] : astRows) {
        EXPECT_EQ(PushAt(uiNumber, 96, "\x41x"), ulResult) << uiNumber;
        EXPECT_EQ(m_stVideo.ulFrameLen == 0, ulResult == 525) << "the packet that shows the gap is left out";
    }
    EXPECT_EQ(PushAt(501, 108, "\x02\1x"), 526u) << "runs on through a change of type";
    EXPECT_EQ(PushAt(503, 96, "\x41x"), 525u);
    for (unsigned uiNumber : {5, 90}) {
        EXPECT_EQ(PushAt(uiNumber, 50, "\1\0\2ab"s, true), 0u) << "data have no gaps";
    }
}

TEST_F(Rtp, FragmentsWithoutStartAreCountedAndRarelyLogged) {
    for (unsigned i = 1; i <= 41; ++i) {
        EXPECT_EQ(Push(96, FuA(0, "data")), 525u);
        EXPECT_EQ(LogLines::Count(PLAYER_LOG_INFO, "PACKET LOSE Data, Count[" + std::to_string(i) + "]."), i % 20 == 1);
    }
    EXPECT_EQ(m_stVideo.ulErrCount, 41u);
    EXPECT_EQ(LogLines::Errors("SpellFrame Failed, Count[1]."), 1u);
    EXPECT_EQ(LogLines::Total(), 4u);
    EXPECT_EQ(Push(96, "\x7C"), 525u) << "no room for an FU header";
}

TEST_F(Rtp, H265UnitsFragmentsAndTheirTypes) {
    EXPECT_EQ(Push(108, "\x62\1\x93-AB"), 526u);
    EXPECT_EQ(Push(108, "\x62\1\x13-CD"), 526u);
    EXPECT_EQ(Push(108, "\x62\1\x53-EF"), 0u);
    EXPECT_EQ(m_stVideo.lFormatType, PLAYER_VIDEO_FRAME_I);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x26\1-AB-CD-EF");
    EXPECT_EQ(Push(108, "\x62\1\x13-CD"), 525u);
    EXPECT_EQ(Push(108, "\x62\1"), 525u);
    EXPECT_EQ(m_stVideo.ulErrCount, 0u);
    EXPECT_EQ(Push(108, "\x62\1\xE7SEI"), 526u) << "a fragmented SEI completes nothing";
    const struct {
        ULONG_32 ulType, ulResult;
        LONG_32 lFormat;
    } astRows[] = {{19, 0, 0}, {38, 0, 0}, {20, 0, 1}, {1, 0, 1}, {33, 0, 1}, {48, 0, 1}, {7, 526, 1}};
    for (const auto &stRow : astRows) {
        EXPECT_EQ(Push(108, Be(stRow.ulType << 1, 1) + "\1x", true), stRow.ulResult) << stRow.ulType;
        EXPECT_EQ(m_stVideo.lFormatType, stRow.lFormat) << stRow.ulType;
    }
}

TEST_F(Rtp, TimestampDecidesWhetherSoundJoins) {
    EXPECT_EQ(Push(8, "one"), 0u);
    EXPECT_EQ(Push(8, "two"), 0u);
    EXPECT_EQ(m_stAudio.lFormatType, 5);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(m_stAudio.pucFrameData), m_stAudio.ulFrameLen), "onetwo");
    EXPECT_EQ(Push(8, std::string(10239, 'x'), false, 2), 0u);
    EXPECT_EQ(m_stAudio.ulFrameLen, 10239u);
    EXPECT_EQ(Push(8, "y", false, 2), 2u);
    EXPECT_EQ(m_stAudio.ulFrameLen, 10239u);
}

TEST_F(Rtp, RawAacGetsAnAdtsHeader) {
    RTP_AUDIO_INFO_S stInfo{2, 8, 5, 0};  // LC, 16 kHz, 5 channels
    m_pstInfo = &stInfo;
    const std::string oUnit(300, 'a');
    EXPECT_EQ(Push(104, "\0\x10\0\0"s + oUnit), 0u);
    EXPECT_EQ(Take(m_stAudio), "\xFF\xF9\x61\x40\x26\x7F\xFC" + oUnit) << "307 bytes in 13 bits";
    EXPECT_EQ(Push(104, "\0\x10\0"s), 2u);
    EXPECT_EQ(LogLines::Total(), 1u);
    for (unsigned i = 3; i < 90; ++i) {
        Push(104, "\0\x10\0\0"s + oUnit);
        ASSERT_LT(m_stAudio.ulFrameLen, 10240u) << "a full frame does not grow by headers alone";
    }
}

TEST_F(Rtp, AdtsHeaderTeachesTheFormat) {
    RTP_AUDIO_INFO_S stInfo{};
    m_pstInfo = &stInfo;
    EXPECT_EQ(Push(120, "\xFF\xF1\x6D\x80\1\2"), 0u);
    EXPECT_EQ(stInfo.ucAudioType, 2);
    EXPECT_EQ(stInfo.ucFrequencyIndex, 11);
    EXPECT_EQ(stInfo.ucChannelNum, 0x82) << "the lowest bit of the third byte lands in the highest";
    EXPECT_EQ(Push(120, "\xFF\xF1\x6D"), 526u);
}

TEST_F(Rtp, MotionDetectionBlock) {
    const std::string oBlock = "\0\x12\0\x16\0\7\1\x8C"s + std::string(395, 'm') + "z";
    EXPECT_EQ(Push(50, "\x15" + Be(398, 2) + oBlock, true), 0u);
    EXPECT_EQ(m_stAudio.stReservedInfo.ucType[0], 0) << "a short length does not count";
    EXPECT_EQ(Push(50, "\x15" + Be(399, 2) + oBlock, false, 3), 526u);
    const DRV_MOTION_DETECT_S &stMotion = m_stAudio.stReservedInfo.stDrvMotionDectect;
    EXPECT_EQ(stMotion.us16Rows, 18);
    EXPECT_EQ(stMotion.us16Columns, 22);
    EXPECT_EQ(stMotion.us16ContentLen, 396);
    EXPECT_EQ(stMotion.aucData[395], 'z');
    EXPECT_EQ(m_stAudio.ulFrameLen, 407u) << "the packet goes on as ordinary data";
}

TEST_F(Rtp, ExtensionTellsPlaybackTimeAndFinishAndItsLengthWraps) {
    auto Extension = [](ULONG_32 ulWords, char cFlags) {
        std::string oWords = Be(0x01020304, 4) + std::string(4 * ulWords - 4, '\0');
        oWords[8] = cFlags;
        return "PR" + Be(ulWords, 2) + oWords;
    };
    EXPECT_EQ(PushBytes(Bytes({.bMark = true, .oPayload = "\x41x", .oExtension = Extension(3, 16), .uiCsrc = 2})), 0u);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x41x");
    EXPECT_EQ(m_stVideo.ulPlaybackTime, 0x01020304u);
    EXPECT_EQ(m_stVideo.bPlaybckFinish, 1);
    EXPECT_EQ(PushBytes(Bytes({.uiNumber = 2, .oPayload = "\x41x", .oExtension = Extension(3, 0)})), 526u);
    EXPECT_EQ(m_stVideo.bPlaybckFinish, 1) << "stays until the caller clears it";
    // 12 + 4 + 4 x 64 = 272 wraps to 16, where the extension's own words lie.
    m_stVideo.ulFrameLen = 0;
    std::string oWrapped = Bytes({.uiNumber = 3, .bMark = true, .oPayload = "\x41x", .oExtension = Extension(64, 0)});
    oWrapped[16] = '\x41';
    EXPECT_EQ(PushBytes(oWrapped), 0u);
    EXPECT_EQ(Take(m_stVideo), kStart + oWrapped.substr(16));
}

std::string JpegHead(ULONG_32 ulOffset, int iType, int iQ) {
    return Be(ulOffset, 4) + Be(iType, 1) + Be(iQ, 1) + "\x28\x1E";
}

std::string JfifHeaders(int iType, int iQ, const std::string &oTables, USHORT usDri) {
    UCHAR aucTables[128];
    MakeTables(iQ, aucTables, aucTables + 64);
    memcpy(aucTables, oTables.data(), oTables.size());
    UCHAR aucHeaders[JPEG_HEADER_MAX_SIZE];
    int iLen = MakeHeaders(aucHeaders, iType, 320, 240, aucTables, aucTables + 64, usDri);
    return std::string(reinterpret_cast<char *>(aucHeaders), static_cast<size_t>(iLen));
}

TEST_F(Rtp, JpegHeadersFromQualityRestartAndInBandTables) {
    m_stVideo.lFormatType = 77;
    EXPECT_EQ(Push(26, JpegHead(0, 1, 50) + "scan"), 526u);
    EXPECT_EQ(Push(26, JpegHead(4, 1, 50) + "end", true), 0u);
    EXPECT_EQ(m_stVideo.lPayload, PLAYER_PAYLOAD_JPEG);
    EXPECT_EQ(m_stVideo.lFormatType, 77);
    EXPECT_EQ(m_stAudio.lFormatType, 5);
    EXPECT_EQ(Take(m_stVideo), JfifHeaders(1, 51, "", 0) + "scanend");
    EXPECT_EQ(Push(26, JpegHead(0, 0, 200) + "\0\0\xFF\xFFs"s), 526u);
    const std::string oTables = std::string(64, 'q') + std::string(64, 'c');
    const struct {
        std::string oPayload, oHeaders;
    } astRows[] = {
        {JpegHead(0, 64, 50) + "\0\1\xFF\xFEs"s, JfifHeaders(64, 51, "", 0xFFFE)},
        {JpegHead(0, 0, 200) + "\0\0\0\x80"s + oTables + "s", JfifHeaders(0, 99, oTables, 0)},
        {JpegHead(0, 0, 200) + "\0\0\0\2xxs"s, JfifHeaders(0, 99, "", 0)},  // tables that are not whole do not count
    };
    for (const auto &stRow : astRows) {
        EXPECT_EQ(Push(26, stRow.oPayload, true), 0u);
        EXPECT_EQ(Take(m_stVideo), stRow.oHeaders + "s");
    }
}

TEST_F(Rtp, AFullFrameIsLeftUntilTheTimestampChanges) {
    const ULONG_32 ulLimit = 0x1FFFFF;
    EXPECT_EQ(Push(96, FuA(128, std::string(ulLimit - 5 - 8, 'f'))), 526u);
    EXPECT_EQ(Push(96, FuA(0, "12345678")), 526u) << "exactly full";
    EXPECT_EQ(Push(96, FuA(0, "9")), 525u);
    EXPECT_EQ(Push(96, FuA(128, "x")), 2u);
    EXPECT_EQ(m_stVideo.ulFrameLen, ulLimit);
    EXPECT_EQ(Push(96, FuA(128, "new"), false, 4600), 526u);
    EXPECT_EQ(Take(m_stVideo), kStart + "\x65new");
    EXPECT_EQ(Push(108, "\x02\1" + std::string(ulLimit - 5, 'f')), 2u);
    EXPECT_EQ(Push(96, "\x41" + std::string(ulLimit - 4, 'f'), false, 9), 525u);
}

BOOL_T Ask(decltype(RTP_IsRtpVideo) *pfnAsk, std::string oBytes, RTP_PAYLOAD_TYPE_S *pstTable = nullptr) {
    return pfnAsk(oBytes.data(), static_cast<ULONG_32>(oBytes.size()), pstTable);
}

TEST(RtpQuestions, VideoAndItsTail) {
    for (int iNal : {28, 1, 6, 5, 7, 8, 9, 24, 2}) {
        std::string oBytes = Bytes({.oPayload = Be(iNal, 1) + "x"});
        EXPECT_EQ(Ask(RTP_IsRtpVideo, oBytes), iNal != 24 && iNal != 2 ? 1 : 0) << iNal;
    }
    EXPECT_EQ(Ask(RTP_IsRtpVideo, Bytes({.iType = 26, .oPayload = "x"})), 1);
    EXPECT_EQ(Ask(RTP_IsRtpVideo, Bytes({.iType = 8, .oPayload = "x"})), 0);
    RTP_PAYLOAD_TYPE_S astTable[2] = {{96, {}, PLAYER_PAYLOAD_G711A, 8000}, {}};
    for (int iType : {96, 108, 26, 8, 18}) {
        std::string oTail = Bytes({.iType = iType, .bMark = true, .oPayload = "\x18"});
        EXPECT_EQ(Ask(RTP_IsRtpVideoTail, oTail), iType >= 26 ? 1 : 0) << iType;
        EXPECT_EQ(Ask(RTP_IsRtpVideoTail, oTail, astTable), iType >= 26 && iType != 96 ? 1 : 0) << iType;
        EXPECT_EQ(Ask(RTP_IsRtpVideoTail, oTail.substr(0, 11)), 0);
        oTail[1] = static_cast<char>(iType);
        EXPECT_EQ(Ask(RTP_IsRtpVideoTail, oTail), 0) << "no marker";
        oTail[0] = '\x47';
        EXPECT_EQ(Ask(RTP_IsRtpVideo, oTail), 0) << "no RTP";
    }
    EXPECT_EQ(Ask(RTP_IsRtpVideoTail, Bytes({.bMark = true, .uiCsrc = 4}).substr(0, 20)), 0);
}

TEST(RtpQuestions, UnitsOfAnnexB) {
    const std::string oSets = "\0\0\1\x67sps\0\0\1\x68pps"s;
    const struct {
        LONG_32 lPayload;
        UCHAR ucNal;
        std::string oBuffer;
        ULONG_32 ulResult;
        std::string oFound;
    } astRows[] = {
        {PLAYER_PAYLOAD_H264, 7, oSets, 0, "sps"},
        {PLAYER_PAYLOAD_H264, 8, oSets, 0, "pps"},  // up to the end
        {PLAYER_PAYLOAD_H264, 9, oSets, 1, ""},
        {PLAYER_PAYLOAD_H264, 7, "\0\0\1\x65slice"s + oSets, 1, ""},
        {PLAYER_PAYLOAD_H264, 5, "\0\0\1\x65slice"s, 0, "slice"},
        {PLAYER_PAYLOAD_H264, 7, "\0\0\1\x41slice"s + oSets, 0, "sps"},  // only an IDR slice ends it
        {PLAYER_PAYLOAD_H264, 7, kStart + "\x67s" + kStart + "\x68p", 0, "s\0"s},
        {PLAYER_PAYLOAD_H265, 33, "\0\0\1\x40\1v\0\0\1\x42\1s"s, 0, "\1s"},
        {PLAYER_PAYLOAD_H265, 33, "\0\0\1\x2A\1v\0\0\1\x42\1s"s, 1, ""},   // a slice of type 21
        {PLAYER_PAYLOAD_H265, 33, "\0\0\1\0\1v\0\0\1\x42\1s"s, 0, "\1s"},  // type 0 is passed over
        {PLAYER_PAYLOAD_H264, 7, "\0\0\1\x67"s, 1, ""},
        {PLAYER_PAYLOAD_JPEG, 7, oSets, 7, ""},
    };
    for (const auto &stRow : astRows) {
        SCOPED_TRACE(&stRow - astRows);
        std::string oBuffer = stRow.oBuffer;
        UCHAR *pucFound = nullptr;
        LONG_32 lLen = 0;
        EXPECT_EQ(RTP_FindDataByNAL(stRow.lPayload, stRow.ucNal, reinterpret_cast<UCHAR *>(oBuffer.data()),
                                    static_cast<LONG_32>(oBuffer.size()), &pucFound, &lLen),
                  stRow.ulResult);
        if (stRow.ulResult == 0) {
            EXPECT_EQ(std::string(reinterpret_cast<char *>(pucFound), static_cast<size_t>(lLen)), stRow.oFound);
        }
    }
}

TEST(RtpQuestions, FirstTellingUnitDecidesTheFrameType) {
    const std::pair<std::string, ULONG_32> astRows[] = {
        {kStart + "\x09\xF0" + kStart + "\x67s", PLAYER_VIDEO_FRAME_I},
        {kStart + "\x41s" + kStart + "\x65i", PLAYER_VIDEO_FRAME_P},
        {"\0\0\1\x41s"s + kStart + "\x65", PLAYER_VIDEO_FRAME_I},  // 3-byte start codes are passed over
        {kStart + "\x09" + kStart, PLAYER_VIDEO_FRAME_P},
        {"", PLAYER_VIDEO_FRAME_P}};
    for (auto [oFrame, ulType] : astRows) {
        EXPECT_EQ(RTP_ParseFrameType(reinterpret_cast<UCHAR *>(oFrame.data()), static_cast<ULONG_32>(oFrame.size())),
                  ulType);
    }
}

}  // namespace
