#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "intake/MakeJpegHeader.h"
#include "intake/log_lines.h"
#include "intake/module_rtp.h"

namespace {

using namespace std::string_literals;

const std::string kStart = "\0\0\0\1"s;

/** Fields of a packet in the order in which tests set them. */
struct Pkt {
    int iType = 96;
    unsigned uiNumber = 1;
    bool bMark = false;
    std::string oPayload;
    ULONG_32 ulTime = 1000;
    std::string oExtension = {};
    unsigned uiCsrc = 0;
};

std::string Be(ULONG_32 ulValue, int iBytes) {
    std::string oBytes;
    for (int i = iBytes - 1; i >= 0; --i) {
        oBytes.push_back(static_cast<char>(ulValue >> 8 * i));
    }
    return oBytes;
}

std::string Bytes(const Pkt &stPkt) {
    ULONG_32 ulFirst = 0x80U | (stPkt.oExtension.empty() ? 0 : 0x10U) | stPkt.uiCsrc;
    return Be(ulFirst, 1) + Be(static_cast<ULONG_32>(stPkt.iType) | (stPkt.bMark ? 128U : 0), 1) +
           Be(stPkt.uiNumber, 2) + Be(stPkt.ulTime, 4) + "SSRC" + std::string(4 * stPkt.uiCsrc, 'c') +
           stPkt.oExtension + stPkt.oPayload;
}

/** An FU-A of type ucType; ucBits: 128 start, 64 end. */
std::string FuA(int iBits, const std::string &oData, int iType = 5) {
    return "\x7C" + Be(static_cast<ULONG_32>(iBits | iType), 1) + oData;
}

/** A port's two streams with buffers of the real sizes, and a copy of each packet of its exact size. */
class Streams {
 public:
    Streams() { Reset(); }
    void Reset() {
        stVideo = {};
        stAudio = {};
        stVideo.pucFrameData = m_oVideo.data();
        stAudio.pucFrameData = m_oAudio.data();
    }
    ULONG_32 PushBytes(const std::string &oBytes) {
        std::unique_ptr<char[]> pcExact(new char[oBytes.size()]);
        memcpy(pcExact.get(), oBytes.data(), oBytes.size());
        return RTP_UnpacketRtpData(pcExact.get(), static_cast<ULONG_32>(oBytes.size()), pstTable, pstInfo, &stVideo,
                                   &stAudio);
    }
    ULONG_32 Push(const Pkt &stPkt) { return PushBytes(Bytes(stPkt)); }
    std::string TakeVideo() { return Take(stVideo); }
    std::string TakeAudio() { return Take(stAudio); }

    RTP_STREAM_INFO_S stVideo{};
    RTP_STREAM_INFO_S stAudio{};
    RTP_PAYLOAD_TYPE_S *pstTable = nullptr;
    RTP_AUDIO_INFO_S *pstInfo = nullptr;

 private:
    static std::string Take(RTP_STREAM_INFO_S &stStream) {
        std::string oFrame(reinterpret_cast<char *>(stStream.pucFrameData), stStream.ulFrameLen);
        stStream.ulFrameLen = 0;
        return oFrame;
    }
    std::vector<UCHAR> m_oVideo = std::vector<UCHAR>(VIDEO_FRAME_BUFFER_SIZE);
    std::vector<UCHAR> m_oAudio = std::vector<UCHAR>(AUDIO_FRAME_BUFFER_SIZE);
};

TEST(RtpPayloadType, BuiltInMapAndTable) {
    LogLines oLog;
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.iType = 18, .oPayload = "\x41x"}), 1u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_WARN, "Unknown Stream Type[18]."), 1);
    EXPECT_EQ(oStreams.Push({.iType = 19, .bMark = true, .oPayload = "\x41x"}), 0u);
    EXPECT_EQ(oStreams.stVideo.lPayload, PLAYER_PAYLOAD_H264);

    RTP_PAYLOAD_TYPE_S astTable[2] = {{18, {}, PLAYER_PAYLOAD_G711A, 8000}, {96, {}, PLAYER_PAYLOAD_H265, 90000}};
    oStreams.pstTable = astTable;
    EXPECT_EQ(oStreams.Push({.iType = 18, .oPayload = "snd"}), 0u);
    EXPECT_EQ(oStreams.stAudio.lPayload, PLAYER_PAYLOAD_G711A);
    EXPECT_EQ(oStreams.Push({.iType = 96, .uiNumber = 9, .bMark = true, .oPayload = "\x26\1x"}), 0u);
    EXPECT_EQ(oStreams.stVideo.lPayload, PLAYER_PAYLOAD_H265);
    EXPECT_EQ(oStreams.Push({.iType = 0, .oPayload = "snd"}), 0u) << "a miss falls back to the built-in map";
    EXPECT_EQ(oStreams.stAudio.lPayload, PLAYER_PAYLOAD_G711U);
    astTable[0].ulSampleRate = 0;
    EXPECT_EQ(oStreams.Push({.iType = 96, .uiNumber = 10, .bMark = true, .oPayload = "\x41x"}), 0u);
    EXPECT_EQ(oStreams.stVideo.lPayload, PLAYER_PAYLOAD_H264) << "a dead first row hides a live second one";
}

TEST(RtpH264, FragmentWithStartAndEndIsAFrame) {
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.oPayload = FuA(128 | 64, "idr")}), 0u);
    EXPECT_EQ(oStreams.stVideo.lFormatType, PLAYER_VIDEO_FRAME_I);
    EXPECT_EQ(oStreams.stVideo.ulTimestamp, 1000u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + "\x65idr");
}

TEST(RtpH264, SeiAndParameterSetsNeverCompleteAFrame) {
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.oPayload = FuA(128 | 64, "sei", 6)}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 2, .bMark = true, .oPayload = "\x06sei"}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 3, .bMark = true, .oPayload = "\x67sps"}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 4, .bMark = true, .oPayload = "\x68pps"}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 5, .bMark = true, .oPayload = "\x09\xF0"}), 0u);
    EXPECT_EQ(oStreams.stVideo.lFormatType, PLAYER_VIDEO_FRAME_I) << "by the SPS that the frame holds";
}

TEST(RtpH264, AggregateThatBeginsWithSpsStaysOpen) {
    LogLines oLog;
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.bMark = true, .oPayload = "\x18\0\4\x67sps\0\3\x68pp"s}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 2, .bMark = true, .oPayload = "\x65slice"}), 0u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + "\x67sps" + kStart + "\x68pp" + kStart + "\x65slice");
    EXPECT_EQ(oStreams.Push({.uiNumber = 3, .bMark = true, .oPayload = "\x18\0\2\x41x\0\2\x41y"s}), 0u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + "\x41x" + kStart + "\x41y");
    EXPECT_EQ(oStreams.Push({.uiNumber = 4, .oPayload = "\x18\0\2\x41x\0\3\x41y"s}), 1u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_SpellFrameH264 Failed, STAP_A Packet Len No Enough"), 1);
}

TEST(RtpH264, UnacceptedUnitEndsBeforeTheSequenceCheck) {
    LogLines oLog;
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.oPayload = FuA(128, "x")}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 700, .bMark = true, .oPayload = "\x19\xAA"}), 526u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_DEBUG, "80 e0 02 bc\t 19 aa"), 1);
    EXPECT_EQ(oStreams.stVideo.ulFrameLen, 0u);
    EXPECT_EQ(oStreams.stVideo.ausSequenceNumber[PLAYER_PAYLOAD_H264], 1);
}

TEST(RtpSequence, WrapLossAndTheZeroThatMeansNothingYet) {
    LogLines oLog;
    Streams oStreams;
    auto Next = [&](unsigned uiNumber) { return oStreams.Push({.uiNumber = uiNumber, .oPayload = "\x41x"}); };
    for (unsigned uiNumber : {65535u, 0u, 1u, 2u, 65533u}) {
        EXPECT_EQ(Next(uiNumber), uiNumber == 65533 ? 525u : 526u) << uiNumber;
    }
    EXPECT_EQ(oLog.Count(PLAYER_LOG_INFO, "Cur Num:65533, Pro Num:2"), 1);
    EXPECT_EQ(oStreams.stVideo.ulFrameLen, 0u) << "the packet that shows the gap is not assembled";
    EXPECT_EQ(Next(65534), 526u);
    EXPECT_EQ(Next(0), 525u);
    EXPECT_EQ(Next(500), 526u) << "a stored 0 takes any number once";
    EXPECT_EQ(Next(500), 525u) << "twice is a loss";
}

TEST(RtpSequence, VideoMayChangeItsTypeAndDataHasNoGaps) {
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.iType = 108, .uiNumber = 5, .oPayload = "\x02\1x"}), 526u);
    EXPECT_EQ(oStreams.Push({.iType = 96, .uiNumber = 6, .oPayload = "\x41x"}), 526u);
    EXPECT_EQ(oStreams.Push({.iType = 108, .uiNumber = 7, .oPayload = "\x02\1x"}), 526u);
    EXPECT_EQ(oStreams.Push({.iType = 96, .uiNumber = 9, .oPayload = "\x41x"}), 525u);
    EXPECT_EQ(oStreams.Push({.iType = 50, .uiNumber = 5, .bMark = true, .oPayload = "\1\0\2ab"s}), 0u);
    EXPECT_EQ(oStreams.Push({.iType = 50, .uiNumber = 90, .bMark = true, .oPayload = "\1\0\2ab"s}), 0u);
    EXPECT_EQ(oStreams.stAudio.ausSequenceNumber[PLAYER_PAYLOAD_DATA], 5);
}

TEST(RtpH264, FragmentsWithoutStartAreCountedAndRarelyLogged) {
    LogLines oLog;
    Streams oStreams;
    for (unsigned i = 1; i <= 41; ++i) {
        EXPECT_EQ(oStreams.Push({.uiNumber = i, .oPayload = FuA(0, "data")}), 525u);
    }
    EXPECT_EQ(oStreams.stVideo.ulErrCount, 41u);
    for (int iCount : {1, 21, 41}) {
        EXPECT_EQ(oLog.Count(PLAYER_LOG_INFO, "PACKET LOSE Data, Count[" + std::to_string(iCount) + "]."), 1);
    }
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "SpellFrame Failed, Count[1]."), 1);
    EXPECT_EQ(oLog.Total(), 4u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 42, .oPayload = "\x7C"}), 525u) << "no room for an FU header";
}

TEST(RtpH265, UnitsFragmentsAndTheirTypes) {
    Streams oStreams;
    unsigned uiNumber = 0;
    auto Next = [&](const std::string &oPayload, bool bMark) {
        return oStreams.Push({.iType = 108, .uiNumber = ++uiNumber, .bMark = bMark, .oPayload = oPayload});
    };
    EXPECT_EQ(Next("\x62\1\x93"
                   "AB",
                   false),
              526u);
    EXPECT_EQ(Next("\x62\1\x13"
                   "CD",
                   false),
              526u);
    EXPECT_EQ(Next("\x62\1\x53"
                   "EF",
                   false),
              0u);
    EXPECT_EQ(oStreams.stVideo.lFormatType, PLAYER_VIDEO_FRAME_I);
    EXPECT_EQ(oStreams.TakeVideo(), kStart +
                                        "\x26\1"
                                        "ABCDEF");
    EXPECT_EQ(Next("\x62\1\x13"
                   "CD",
                   false),
              525u);
    EXPECT_EQ(Next("\x62\1", false), 525u);
    EXPECT_EQ(oStreams.stVideo.ulErrCount, 0u);
    EXPECT_EQ(Next("\x62\1\xE7"
                   "SEI",
                   false),
              526u)
        << "a fragmented SEI completes nothing";
    const struct {
        int iType;
        ULONG_32 ulResult;
        LONG_32 lFormat;
    } astRows[] = {{19, 0, 0}, {38, 0, 0}, {20, 0, 1}, {1, 0, 1}, {33, 0, 1}, {48, 0, 1}, {7, 526, 1}};
    for (const auto &stRow : astRows) {
        EXPECT_EQ(Next(Be(static_cast<ULONG_32>(stRow.iType) << 1, 1) + "\1x", true), stRow.ulResult) << stRow.iType;
        EXPECT_EQ(oStreams.stVideo.lFormatType, stRow.lFormat) << stRow.iType;
    }
}

TEST(RtpAudio, TimestampDecidesWhetherAPacketJoins) {
    LogLines oLog;
    Streams oStreams;
    EXPECT_EQ(oStreams.Push({.iType = 8, .oPayload = "one"}), 0u);
    EXPECT_EQ(oStreams.Push({.iType = 8, .uiNumber = 2, .oPayload = "two"}), 0u);
    EXPECT_EQ(oStreams.stAudio.lFormatType, 5);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(oStreams.stAudio.pucFrameData), oStreams.stAudio.ulFrameLen),
              "onetwo");
    EXPECT_EQ(oStreams.Push({.iType = 8, .uiNumber = 3, .oPayload = std::string(10239, 'x'), .ulTime = 2}), 0u);
    EXPECT_EQ(oStreams.stAudio.ulFrameLen, 10239u);
    EXPECT_EQ(oStreams.Push({.iType = 8, .uiNumber = 4, .oPayload = "y", .ulTime = 2}), 2u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_SpellFrameNotH264 Failed, Frame Len Overflow[10240]."), 1);
    EXPECT_EQ(oStreams.stAudio.ulFrameLen, 10239u);
}

TEST(RtpAudio, RawAacGetsAnAdtsHeader) {
    LogLines oLog;
    Streams oStreams;
    RTP_AUDIO_INFO_S stInfo{2, 8, 5, 0};  // LC, 16 kHz, 5 channels
    oStreams.pstInfo = &stInfo;
    std::string oUnit(300, 'a');
    EXPECT_EQ(oStreams.Push({.iType = 104, .oPayload = "\0\x10\0\0"s + oUnit}), 0u);
    EXPECT_EQ(oStreams.TakeAudio(), "\xFF\xF9\x61\x40\x26\x7F\xFC" + oUnit) << "307 bytes in 13 bits";
    EXPECT_EQ(oStreams.Push({.iType = 104, .uiNumber = 2, .oPayload = "\0\x10\0"s}), 2u);
    EXPECT_EQ(oLog.Total(), 1u);
    for (unsigned i = 3; i < 90; ++i) {
        oStreams.Push({.iType = 104, .uiNumber = i, .oPayload = "\0\x10\0\0"s + oUnit});
        ASSERT_LT(oStreams.stAudio.ulFrameLen, 10240u) << "a full frame does not grow by headers alone";
    }
}

TEST(RtpAudio, AdtsHeaderTeachesTheFormat) {
    Streams oStreams;
    RTP_AUDIO_INFO_S stInfo{};
    oStreams.pstInfo = &stInfo;
    EXPECT_EQ(oStreams.Push({.iType = 120, .oPayload = "\xFF\xF1\x6D\x80\1\2"}), 0u);
    EXPECT_EQ(stInfo.ucAudioType, 2);
    EXPECT_EQ(stInfo.ucFrequencyIndex, 11);
    EXPECT_EQ(stInfo.ucChannelNum, 0x82) << "the lowest bit of the third byte lands in the highest";
    EXPECT_EQ(oStreams.Push({.iType = 120, .uiNumber = 2, .oPayload = "\xFF\xF1\x6D"}), 526u);
}

TEST(RtpData, MotionDetectionBlock) {
    Streams oStreams;
    std::string oBlock = "\0\x12\0\x16\0\7\1\x8C"s + std::string(395, 'm') + "z";
    EXPECT_EQ(oStreams.Push({.iType = 50, .bMark = true, .oPayload = "\x15" + Be(398, 2) + oBlock}), 0u);
    EXPECT_EQ(oStreams.stAudio.stReservedInfo.ucType[0], 0) << "a short length does not count";
    EXPECT_EQ(oStreams.Push({.iType = 50, .uiNumber = 2, .oPayload = "\x15" + Be(399, 2) + oBlock, .ulTime = 3}), 526u);
    const DRV_MOTION_DETECT_S &stMotion = oStreams.stAudio.stReservedInfo.stDrvMotionDectect;
    EXPECT_EQ(stMotion.us16Rows, 18);
    EXPECT_EQ(stMotion.us16Columns, 22);
    EXPECT_EQ(stMotion.us16ContentLen, 396);
    EXPECT_EQ(stMotion.aucData[395], 'z');
    EXPECT_EQ(oStreams.stAudio.ulFrameLen, 407u) << "the packet goes on as ordinary data";
}

TEST(RtpExtension, PlaybackTimeFinishAndTheWrappingOffset) {
    Streams oStreams;
    auto Extension = [](ULONG_32 ulWords, char cFlags) {
        std::string oWords(4 * ulWords, '\0');
        oWords.replace(0, 4, Be(0x01020304, 4));
        oWords[8] = cFlags;
        return "PR" + Be(ulWords, 2) + oWords;
    };
    EXPECT_EQ(oStreams.Push({.bMark = true, .oPayload = "\x41x", .oExtension = Extension(3, 16), .uiCsrc = 2}), 0u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + "\x41x");
    EXPECT_EQ(oStreams.stVideo.ulPlaybackTime, 0x01020304u);
    EXPECT_EQ(oStreams.stVideo.bPlaybckFinish, 1);
    EXPECT_EQ(oStreams.Push({.uiNumber = 2, .oPayload = "\x41x", .oExtension = Extension(3, 0)}), 526u);
    EXPECT_EQ(oStreams.stVideo.bPlaybckFinish, 1) << "stays until the caller clears it";

    // 12 + 4 + 4 x 64 = 272 wraps to 16, where the extension's own words lie.
    oStreams.stVideo.ulFrameLen = 0;
    std::string oWrapped = Bytes({.uiNumber = 3, .bMark = true, .oPayload = "\x41x", .oExtension = Extension(64, 0)});
    oWrapped[16] = '\x41';
    EXPECT_EQ(oStreams.PushBytes(oWrapped), 0u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + oWrapped.substr(16));
}

std::string JpegHead(ULONG_32 ulOffset, int iType, int iQ) {
    return Be(ulOffset, 4) + Be(static_cast<ULONG_32>(iType), 1) + Be(static_cast<ULONG_32>(iQ), 1) + "\x28\x1E";
}

std::string JfifHeaders(int iType, int iQ, const std::string &oTables, USHORT usDri) {
    UCHAR aucTables[128];
    MakeTables(iQ, aucTables, aucTables + 64);
    memcpy(aucTables, oTables.data(), oTables.size());
    UCHAR aucHeaders[JPEG_HEADER_MAX_SIZE];
    int iLen = MakeHeaders(aucHeaders, iType, 320, 240, aucTables, aucTables + 64, usDri);
    return std::string(reinterpret_cast<char *>(aucHeaders), static_cast<size_t>(iLen));
}

TEST(RtpJpeg, HeadersFromQualityRestartAndInBandTables) {
    Streams oStreams;
    oStreams.stVideo.lFormatType = 77;
    EXPECT_EQ(oStreams.Push({.iType = 26, .oPayload = JpegHead(0, 1, 50) + "scan"}), 526u);
    EXPECT_EQ(oStreams.Push({.iType = 26, .uiNumber = 2, .bMark = true, .oPayload = JpegHead(4, 1, 50) + "end"}), 0u);
    EXPECT_EQ(oStreams.stVideo.lPayload, PLAYER_PAYLOAD_JPEG);
    EXPECT_EQ(oStreams.stVideo.lFormatType, 77);
    EXPECT_EQ(oStreams.stAudio.lFormatType, 5);
    EXPECT_EQ(oStreams.TakeVideo(), JfifHeaders(1, 51, "", 0) + "scanend");

    EXPECT_EQ(
        oStreams.Push({.iType = 26, .uiNumber = 3, .bMark = true, .oPayload = JpegHead(0, 64, 50) + "\0\1\xFF\xFEs"s}),
        0u);
    EXPECT_EQ(oStreams.TakeVideo(), JfifHeaders(64, 51, "", 0xFFFE) + "s");
    std::string oTables(128, 'q');
    oTables[64] = 'c';
    EXPECT_EQ(oStreams.Push({.iType = 26,
                             .uiNumber = 4,
                             .bMark = true,
                             .oPayload = JpegHead(0, 0, 200) + "\0\0\0\x80"s + oTables + "s"}),
              0u);
    EXPECT_EQ(oStreams.TakeVideo(), JfifHeaders(0, 99, oTables, 0) + "s");
    EXPECT_EQ(oStreams.Push({.iType = 26, .uiNumber = 5, .oPayload = JpegHead(0, 0, 200) + "\0\0\xFF\xFFs"s}), 526u);
    EXPECT_EQ(
        oStreams.Push({.iType = 26, .uiNumber = 6, .bMark = true, .oPayload = JpegHead(0, 0, 200) + "\0\0\0\2xxs"s}),
        0u);
    EXPECT_EQ(oStreams.TakeVideo(), JfifHeaders(0, 99, "", 0) + "s") << "tables that are not whole do not count";
}

TEST(RtpOverflow, AFullFrameIsLeftUntilTheTimestampChanges) {
    LogLines oLog;
    Streams oStreams;
    const ULONG_32 ulLimit = 0x1FFFFF;
    EXPECT_EQ(oStreams.Push({.oPayload = FuA(128, std::string(ulLimit - 5 - 8, 'f'))}), 526u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 2, .oPayload = FuA(0, "12345678")}), 526u) << "exactly full";
    EXPECT_EQ(oStreams.Push({.uiNumber = 3, .oPayload = FuA(0, "9")}), 525u);
    EXPECT_EQ(oStreams.Push({.uiNumber = 4, .oPayload = FuA(128, "x")}), 2u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_SpellFrameH264 Failed, Frame Len Overflow[2097151]."), 1);
    EXPECT_EQ(oStreams.stVideo.ulFrameLen, ulLimit);
    EXPECT_EQ(oStreams.Push({.uiNumber = 5, .oPayload = FuA(128, "new"), .ulTime = 4600}), 526u);
    EXPECT_EQ(oStreams.TakeVideo(), kStart + "\x65new");

    EXPECT_EQ(oStreams.Push({.iType = 108, .uiNumber = 6, .oPayload = "\x02\1" + std::string(ulLimit - 5, 'f')}), 2u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_SpellFrameH265 Failed, Frame Len Overflow[4]."), 1);
    EXPECT_EQ(oStreams.Push({.uiNumber = 7, .oPayload = "\x41" + std::string(ulLimit - 4, 'f'), .ulTime = 9}), 525u);
}

TEST(RtpHostile, EveryPrefixOfEveryKindIsRefusedOrTaken) {
    RTP_AUDIO_INFO_S stInfo{2, 8, 1, 0};
    Streams oStreams;
    oStreams.pstInfo = &stInfo;
    const std::string oExt = "PR\0\3timeXXXXflag"s;
    const Pkt astPkts[] = {
        {.oPayload = FuA(128, "data"), .oExtension = oExt},
        {.oPayload = "\x18\0\2\x41x\0\2\x41y"s, .uiCsrc = 15},
        {.iType = 108,
         .oPayload = "\x62\1\x93"
                     "AB"},
        {.iType = 26, .oPayload = JpegHead(0, 65, 128) + "\0\0\0\1\0\0\0\x80"s + std::string(130, 't')},
        {.iType = 104, .oPayload = "\0\x10\0\x08x"s},
        {.iType = 120, .oPayload = "\xFF\xF1\x6D\x80\1\2"},
        {.iType = 50, .oPayload = "\x15\1\x94" + std::string(404, 'd')}};
    for (const Pkt &stPkt : astPkts) {
        std::string oWhole = Bytes(stPkt);
        for (size_t i = 0; i <= oWhole.size(); ++i) {
            oStreams.Reset();
            ULONG_32 ulResult = oStreams.PushBytes(oWhole.substr(0, i));
            EXPECT_TRUE(ulResult <= 2 || ulResult == 525 || ulResult == 526) << ulResult;
            EXPECT_TRUE(i >= 13 || ulResult == 526) << i;
        }
    }
    Streams oNoBuffer;
    oNoBuffer.stVideo.pucFrameData = nullptr;
    EXPECT_EQ(oNoBuffer.Push({.bMark = true, .oPayload = "\x41x"}), 2u);
}

BOOL_T Ask(decltype(RTP_IsRtpVideo) *pfnAsk, std::string oBytes, RTP_PAYLOAD_TYPE_S *pstTable = nullptr) {
    return pfnAsk(oBytes.data(), static_cast<ULONG_32>(oBytes.size()), pstTable);
}

TEST(RtpQuestions, VideoAndItsTail) {
    for (int iNal : {28, 1, 6, 5, 7, 8, 9, 24, 2}) {
        bool bProof = iNal != 24 && iNal != 2;
        std::string oBytes = Bytes({.oPayload = Be(static_cast<ULONG_32>(iNal), 1) + "x"});
        EXPECT_EQ(Ask(RTP_IsRtpVideo, oBytes), bProof ? 1 : 0) << iNal;
    }
    EXPECT_EQ(Ask(RTP_IsRtpVideo, Bytes({.iType = 26, .oPayload = "x"})), 1);
    EXPECT_EQ(Ask(RTP_IsRtpVideo, Bytes({.iType = 8, .oPayload = "x"})), 0);
    EXPECT_EQ(RTP_IsRtpVideo(nullptr, 20, nullptr), 0);
    EXPECT_EQ(RTP_IsRtpVideoTail(nullptr, 20, nullptr), 0);

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

struct FoundUnit {
    ULONG_32 ulResult;
    std::string oData;
};

FoundUnit Find(LONG_32 lPayload, UCHAR ucNal, std::string oBuffer) {
    UCHAR *pucFound = nullptr;
    LONG_32 lLen = 0;
    ULONG_32 ulResult = RTP_FindDataByNAL(lPayload, ucNal, reinterpret_cast<UCHAR *>(oBuffer.data()),
                                          static_cast<LONG_32>(oBuffer.size()), &pucFound, &lLen);
    std::string oData(reinterpret_cast<char *>(pucFound), static_cast<size_t>(lLen));
    return {ulResult, pucFound != nullptr ? oData : ""};
}

TEST(RtpFindData, UnitsOfAnnexB) {
    LogLines oLog;
    const std::string oSets = "\0\0\1\x67sps\0\0\1\x68pps"s;
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 7, oSets).oData, "sps");
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 8, oSets).oData, "pps") << "up to the end";
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 9, oSets).ulResult, 1u);
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 7, "\0\0\1\x65slice"s + oSets).ulResult, 1u);
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 5, "\0\0\1\x65slice"s).oData, "slice");
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 7, "\0\0\1\x41slice"s + oSets).oData, "sps") << "only an IDR slice ends it";
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 7, kStart + "\x67s" + kStart + "\x68p").oData, "s\0"s);
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H265, 33, "\0\0\1\x40\1v\0\0\1\x42\1s"s).oData, "\1s");
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H265, 33, "\0\0\1\x2A\1v\0\0\1\x42\1s"s).ulResult, 1u) << "a slice of type 21";
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H265, 33, "\0\0\1\0\1v\0\0\1\x42\1s"s).ulResult, 0u) << "type 0 is passed over";
    EXPECT_EQ(Find(PLAYER_PAYLOAD_H264, 7, "\0\0\1\x67"s).ulResult, 1u);
    EXPECT_EQ(Find(PLAYER_PAYLOAD_JPEG, 7, oSets).ulResult, 7u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_FindDataByNAL Failed, Unknown Payload Type[4]."), 1);
}

TEST(RtpFrameType, FirstTellingUnitDecides) {
    auto Type = [](std::string oFrame) {
        return RTP_ParseFrameType(reinterpret_cast<UCHAR *>(oFrame.data()), static_cast<ULONG_32>(oFrame.size()));
    };
    EXPECT_EQ(Type(kStart + "\x09\xF0" + kStart + "\x67s"), PLAYER_VIDEO_FRAME_I);
    EXPECT_EQ(Type(kStart + "\x41s" + kStart + "\x65i"), PLAYER_VIDEO_FRAME_P);
    EXPECT_EQ(Type("\0\0\1\x41s"s + kStart + "\x65"), PLAYER_VIDEO_FRAME_I) << "3-byte start codes are passed over";
    EXPECT_EQ(Type(kStart + "\x09" + kStart), PLAYER_VIDEO_FRAME_P);
    EXPECT_EQ(Type(""), PLAYER_VIDEO_FRAME_P);
}

}  // namespace
