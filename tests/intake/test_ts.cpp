#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "intake/module_ts.h"
#include "support/log_lines.h"
#include "support/made_bytes.h"

namespace {

using namespace std::string_literals;

const std::string DELIMITER("\0\0\0\1\t\xE0", 6);  // the mux puts it ahead of each H.264 frame

/** Writes frames of one recording. */
class Mux {
 public:
    Mux(LONG_32 lVideo, LONG_32 lAudio, LONG_32 lElem = PLAYER_PAYLOAD_DATA) {
        m_stDec->lVideoType = lVideo;
        m_stDec->lAudioTyp = lAudio;
        m_stDec->lElemType = lElem;
        EXPECT_EQ(0U, TS_CreatePAT(m_stDec.get()));
        EXPECT_EQ(0U, TS_CreatePMT(m_stDec.get()));
    }
    /** The packets of a frame. */
    std::string Pack(LONG_32 lPayload, LONG_32 lFormat, DULONG dulTime, std::string strData) {
        TS_FRAMEDATA_S stFrame = {};
        stFrame.pucData = reinterpret_cast<UCHAR *>(strData.data());
        stFrame.lDataLen = static_cast<LONG_32>(strData.size());
        stFrame.lPayload = lPayload;
        stFrame.lFormatType = lFormat;
        stFrame.dulTimestamp = dulTime;
        m_ulResult = TS_PackFirstPacket(&stFrame, m_stDec.get());
        while (m_ulResult == PLAYER_ERR_PACK_AGAIN) {
            m_ulResult = TS_PackOtherPacket(&stFrame, m_stDec.get());
        }
        std::string strBlock(m_stDec->szPacketBuff, m_stDec->ulPacketDataLen);
        m_stDec->ulPacketDataLen = m_stDec->ulEsPacketDataLen = 0;
        return strBlock;
    }
    ULONG_32 Result() const { return m_ulResult; }
    TS_PACKET_DEC_S *operator->() { return m_stDec.get(); }

 private:
    std::unique_ptr<TS_PACKET_DEC_S> m_stDec = std::make_unique<TS_PACKET_DEC_S>();
    ULONG_32 m_ulResult = 0;
};

/** Reads blocks, each from memory of exactly its size. */
class Demux {
 public:
    Demux() { m_st.pucFrameData = m_aucFrame.data(); }
    ULONG_32 Push(const std::string &strBlock) {
        std::vector<CHAR> acBlock(strBlock.begin(), strBlock.end());
        acBlock.shrink_to_fit();
        static CHAR cNothing;
        return TS_Unpack(acBlock.empty() ? &cNothing : acBlock.data(), static_cast<ULONG_32>(acBlock.size()), &m_st);
    }
    std::string Frame() const { return {reinterpret_cast<const CHAR *>(m_st.pucFrameData), m_st.ulFrameLen}; }
    TS_STREAM_INFO_S *operator->() { return &m_st; }

 private:
    std::vector<UCHAR> m_aucFrame = std::vector<UCHAR>(VIDEO_FRAME_BUFFER_SIZE);
    TS_STREAM_INFO_S m_st = {};
};

std::string Noise(size_t ulLen) {
    std::string strData(ulLen, 0);
    for (size_t i = 0; i < ulLen; ++i) {
        strData[i] = static_cast<CHAR>(i * 7 + i / 251);
    }
    return strData;
}

std::string Packet(const std::string &strBlock, size_t i) { return strBlock.substr(i * 188, 188); }

/** A PMT packet for the PID of an H.264 recording, with the entries given. */
std::string Pmt(const std::string &strEntries, const std::string &strProgramInfo = "") {
    std::string strPacket = "\x47\x40\x62\x10\0\2"s + Be(0xB000 + 13 + strEntries.size() + strProgramInfo.size(), 2) +
                            "\0\1\xC1\0\0\xE0\x65"s + Be(0xF000 + strProgramInfo.size(), 2) + strProgramInfo +
                            strEntries;
    strPacket.resize(188, '\xFF');
    return strPacket;
}

std::string Entry(UCHAR ucType, USHORT usPid, const std::string &strInfo = "") {
    return Be(ucType, 1) + Be(0xE000 | usPid, 2) + Be(0xF000 + strInfo.size(), 2) + strInfo;
}

ULONG_32 Crc(std::string strBytes) {
    return TS_Crc32(reinterpret_cast<UCHAR *>(strBytes.data()), static_cast<ULONG_32>(strBytes.size()));
}

TEST(TsDemux, ItsStepsTakenSinglyGiveTheSameFrame) {
    Mux oMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_AAC);
    const std::string strData = Noise(1000);
    Demux oWhole;
    Demux oSteps;
    for (const LONG_32 lPayload : {PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_AAC}) {
        const std::string strBlock = oMux.Pack(lPayload, 0, 90000, strData);
        ASSERT_EQ(0U, oWhole.Push(strBlock));
        oSteps->ulFrameLen = 0;
        TS_PACKET_INFO_S stPacket = {};
        for (size_t i = 0; i < strBlock.size() / 188; ++i) {
            const std::string strPacket = Packet(strBlock, i);
            const UCHAR *pucPacket = reinterpret_cast<const UCHAR *>(strPacket.data());
            EXPECT_EQ(525U, TS_ParseTSHeader(pucPacket, 187, &stPacket, oSteps.operator->()));
            ASSERT_EQ(0U, TS_ParseTSHeader(pucPacket, 188, &stPacket, oSteps.operator->()));
            EXPECT_EQ(525U, TS_PacketTogether(pucPacket, 187, &stPacket, oSteps.operator->()));
            ASSERT_EQ(0U, TS_PacketTogether(pucPacket, 188, &stPacket, oSteps.operator->()));
        }
        ASSERT_EQ(0U, TS_GetPayLoadType(&stPacket, oSteps.operator->()));
        EXPECT_EQ(oWhole.Frame(), oSteps.Frame());
        EXPECT_EQ(lPayload, oSteps->lPayload);
        EXPECT_EQ(oWhole->lFrameType, oSteps->lFrameType);
        stPacket.ucEsOffset = 189;
        EXPECT_EQ(525U, TS_PacketTogether(reinterpret_cast<const UCHAR *>(strBlock.data()), 188, &stPacket,
                                          oSteps.operator->()));
    }
    TS_PACKET_INFO_S stPat = {};
    EXPECT_EQ(524U, TS_GetPayLoadType(&stPat, oSteps.operator->()));
}

TEST(TsRoundTrip, EveryPayloadAndSize) {
    for (LONG_32 lPayload = PLAYER_PAYLOAD_G711U; lPayload <= PLAYER_PAYLOAD_H265; ++lPayload) {
        const bool bVideo = Payload_IsVideo(lPayload);
        const bool bData = lPayload == PLAYER_PAYLOAD_DATA;
        const LONG_32 lNoVideo = bData ? PLAYER_PAYLOAD_H264 : PLAYER_PAYLOAD_NULL;
        Mux stMux(bVideo ? lPayload : lNoVideo, bVideo || bData ? PLAYER_PAYLOAD_NULL : lPayload);
        Demux stDemux;
        if (bData) {
            EXPECT_EQ(0U, stDemux.Push(stMux.Pack(PLAYER_PAYLOAD_H264, 0, 90000, "key")));
        }
        for (size_t ulLen : {0, 1, 151, 152, 157, 158, 182, 333, 334, 339, 340, 5000, 65522, 65523, 200000}) {
            SCOPED_TRACE(testing::Message() << "payload " << lPayload << " length " << ulLen);
            const std::string strData = Noise(ulLen);
            const std::string strFrame = lPayload == PLAYER_PAYLOAD_H264 ? DELIMITER + strData : strData;
            EXPECT_EQ(0U, stDemux.Push(stMux.Pack(lPayload, 0, 90000, strData)));
            EXPECT_EQ(0U, stMux.Result());
            EXPECT_EQ(lPayload, stDemux->lPayload);
            EXPECT_EQ(strFrame, stDemux.Frame());
            EXPECT_EQ(90000U, stDemux->dulPCR);
            EXPECT_EQ(bData ? -1 : 0, stDemux->lFrameType == 1 ? 0 : stDemux->lFrameType);
            EXPECT_EQ(0U, stDemux->ulTotalLoseNum);
        }
    }
}

TEST(TsRoundTrip, FrameComesInAnyCutOfWholePackets) {
    Mux stMux(PLAYER_PAYLOAD_H265, PLAYER_PAYLOAD_AAC);
    Demux stDemux;
    const std::string strData = Noise(1500);
    const std::string strBlock = stMux.Pack(PLAYER_PAYLOAD_H265, 0, 3600, strData);
    const size_t ulPackets = strBlock.size() / 188;
    for (size_t i = 0; i + 1 < ulPackets; ++i) {
        EXPECT_EQ(526U, stDemux.Push(Packet(strBlock, i)));
    }
    EXPECT_EQ(0U, stDemux.Push(Packet(strBlock, ulPackets - 1)));
    EXPECT_EQ(strData, stDemux.Frame());
    EXPECT_EQ(1, stDemux->lFrameType) << "the PAT has to stand in the block of the first video packet";

    EXPECT_EQ(0U, stDemux.Push(strBlock + "a rest below a packet"));
    EXPECT_EQ(0, stDemux->lFrameType);
    EXPECT_EQ(0U, stDemux.Push(stMux.Pack(PLAYER_PAYLOAD_H265, 1, 7200, "not a key frame")));
    EXPECT_EQ(1, stDemux->lFrameType);
    EXPECT_EQ(0U, stDemux.Push(stMux.Pack(PLAYER_PAYLOAD_AAC, 0, 9999, "sound")));
    EXPECT_EQ(PLAYER_PAYLOAD_AAC, stDemux->lPayload);
    EXPECT_EQ(0, stDemux->lFrameType);
    EXPECT_EQ(7200U, stDemux->dulPCR) << "sound follows the clock of the newest video";
}

TEST(TsMux, PacketsAreExact) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    const DULONG dulTime = 0x1FFFFFFFE;  // all 33 bits of a time but the last
    const std::string strData = Noise(400);
    const std::string strVideo = stMux.Pack(PLAYER_PAYLOAD_H264, 0, dulTime, strData);
    const std::string strAudio = stMux.Pack(PLAYER_PAYLOAD_G711U, 0, 5, "sound");
    const std::string strTimes("\x3F\xFF\xFF\xFF\xFD\x1F\xFF\xFF\xFF\xFD", 10);
    const std::string strPat = "\0\xB0\x0D\0\1\xC1\0\0\0\1\xE0\x62"s;
    const std::string strPmt =
        "\2\xB0\x1C\0\1\xC1\0\0\xE0\x65\xF0\0\x1B\xE0\x65\xF0\0\x80\xE1\1\xF0\0\xA4\xE0\xA5\xF0\0"s;
    const auto Filled = [](std::string strPacket, size_t ulTail) {
        return strPacket + std::string(188 - strPacket.size() - ulTail, '\xFF');
    };
    const std::string astWant[] = {
        Filled("\x47\x40\0\x10\0"s + strPat + Be(Crc(strPat), 4), 0),
        Filled("\x47\x40\x62\x10\0"s + strPmt + Be(Crc(strPmt), 4), 0),
        "\x47\x40\x65\x30\x07\x70\xFF\xFF\xFF\xFF\x7E\0\0\0\1\xE0\0\0\x80\xC0\x0A"s + strTimes + DELIMITER +
            strData.substr(0, 151),
        "\x47\0\x65\x31\1\x20"s + strData.substr(151, 182),
        Filled("\x47\x20\x65\x32\x74\x20"s, 67) + strData.substr(333),
    };
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(astWant[i], Packet(strVideo, i)) << i;
    }
    EXPECT_EQ(0x0376E6E7U, Crc("123456789"));
    EXPECT_EQ("\x47\x61\1\x30\x9F\x30"s, strAudio.substr(0, 6)) << "the tail bit is in the first packet";
    EXPECT_EQ("\0\0\1\xC0\0\x12\x80\xC0\x0A"s + strTimes + "sound", strAudio.substr(164));
}

TEST(TsMux, TablesGoAheadOfKeyFramesOrEvery25Frames) {
    const auto HasTables = [](const std::string &strBlock) {
        return strBlock.substr(0, 3) == std::string("\x47\x40\0", 3);
    };
    Mux stVideo(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711A);
    Mux stAudio(PLAYER_PAYLOAD_NULL, PLAYER_PAYLOAD_G711A);
    Mux stJpeg(PLAYER_PAYLOAD_JPEG, PLAYER_PAYLOAD_G711A);
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(i % 10 == 0, HasTables(stVideo.Pack(PLAYER_PAYLOAD_H264, i % 10 == 0 ? 0 : 1, 0, "v")));
        EXPECT_FALSE(HasTables(stVideo.Pack(PLAYER_PAYLOAD_G711A, 0, 0, "a")));
        EXPECT_EQ(i % 25 == 0, HasTables(stAudio.Pack(PLAYER_PAYLOAD_G711A, 0, 0, "a")));
        EXPECT_EQ(i % 25 == 0, HasTables(stJpeg.Pack(PLAYER_PAYLOAD_JPEG, -1, 0, "j")));
    }
    EXPECT_EQ(6, stVideo->ucPatCC);
    EXPECT_EQ(60 % 16, stVideo->ucVideocc);
}

TEST(TsMux, StopsAtTheEndOfItsBufferAndRefusesBadFrames) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_NULL);
    stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, std::string(VIDEO_FRAME_BUFFER_SIZE, 'x'));
    EXPECT_EQ(0U, stMux.Result()) << "the largest frame of the library fits";
    EXPECT_LE(stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, std::string(3000000, 'x')).size(), TS_PACKET_BUFFER_SIZE);
    EXPECT_EQ(2U, stMux.Result());
    for (LONG_32 lPayload : {-1, 9, 1000}) {
        EXPECT_EQ("", stMux.Pack(lPayload, 0, 0, "x"));
        EXPECT_EQ(2U, stMux.Result()) << lPayload;
    }
    UCHAR ucByte = 0;
    TS_FRAMEDATA_S stFrame = {};
    stFrame.pucData = &ucByte;
    stFrame.lPayload = PLAYER_PAYLOAD_H264;
    stFrame.lDataLen = -5;
    EXPECT_EQ(2U, TS_PackFirstPacket(&stFrame, stMux.operator->()));
}

/** A demux that knows H.264 on PID 101 and G.711 on PID 257, and the packets of one frame of each. */
class TsContinuity : public testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(0U, m_stDemux.Push(m_stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, "key")));
        m_strVideo = m_stMux.Pack(PLAYER_PAYLOAD_H264, 1, 3600, Noise(1000));
        m_strAudio = m_stMux.Pack(PLAYER_PAYLOAD_G711U, 0, 3600, Noise(1000));
    }
    static std::string Without(const std::string &strBlock, size_t i) {
        return strBlock.substr(0, i * 188) + strBlock.substr((i + 1) * 188);
    }
    Mux m_stMux{PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U};
    Demux m_stDemux;
    std::string m_strVideo, m_strAudio;
};

TEST_F(TsContinuity, LostVideoDropsTheFrameUpToTheNextUnitStart) {
    EXPECT_EQ(525U, m_stDemux.Push(Without(m_strVideo, 2)));
    EXPECT_EQ(1, m_stDemux->astTSCCInfo[TS_PES_VIDEO].usLoseNum);
    EXPECT_EQ(525U, m_stDemux.Push(Packet(m_strVideo, 5))) << "no unit start";
    EXPECT_EQ(0U, m_stDemux.Push(m_stMux.Pack(PLAYER_PAYLOAD_H264, 1, 7200, "next")));
    EXPECT_EQ(DELIMITER + "next", m_stDemux.Frame());
    EXPECT_EQ(1U, m_stDemux->ulTotalLoseNum) << "a unit start bears any counter";
    EXPECT_EQ(525U, m_stDemux.Push(m_strVideo.substr(0, 376) + Packet(m_strVideo, 1) + m_strVideo.substr(376)));
    EXPECT_EQ(16U, m_stDemux->ulTotalLoseNum) << "a repeated packet counts as fifteen lost";
    EXPECT_EQ(0, m_stDemux->astTSCCInfo[TS_PES_VIDEO].ucCCFlag);
}

TEST_F(TsContinuity, LostSoundGoesOn) {
    LogLines stLog;
    EXPECT_EQ(0U, m_stDemux.Push(Without(m_strAudio, 2)));
    EXPECT_EQ(Noise(1000).substr(0, 157 + 182) + Noise(1000).substr(157 + 2 * 182), m_stDemux.Frame());
    EXPECT_EQ(1, m_stDemux->astTSCCInfo[TS_PES_AUDIO].usLoseNum);
    EXPECT_EQ(1U, LogLines::Count(PLAYER_LOG_WARN, "Loss of Audio Data"));
    EXPECT_EQ(1, m_stDemux->astTSCCInfo[TS_PES_AUDIO].ucCCFlag);
}

TEST_F(TsContinuity, UnknownPidEndsTheFrame) {
    std::string strBlock = m_strVideo;
    strBlock[3 * 188 + 2] = 0x33;
    EXPECT_EQ(524U, m_stDemux.Push(strBlock));
    EXPECT_EQ(0U, m_stDemux->ulUpacketContinue);
    std::string strTail = m_stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, "key").substr(0, 376);
    strTail[188 + 1] |= 0x20;
    EXPECT_EQ(524U, m_stDemux.Push(strTail)) << "a PMT is no frame";
}

TEST_F(TsContinuity, PayloadOutsideThePacketIsNotRead) {
    std::string strBlock = m_strVideo;
    strBlock[188 + 4] = '\xFF';  // 255 + 5 would be 4 in eight bits
    EXPECT_EQ(0U, m_stDemux.Push(strBlock));
    EXPECT_EQ(DELIMITER + Noise(151) + Noise(1000).substr(333), m_stDemux.Frame());
    for (int lLen : {175, 183, 251, 255}) {
        strBlock = m_strVideo;
        strBlock[4] = static_cast<CHAR>(lLen);
        EXPECT_EQ(525U, m_stDemux.Push(strBlock)) << "no PES head inside";
    }
    strBlock = m_strVideo;
    strBlock[12 + 8] = '\xFF';  // PES head data longer than the packet
    EXPECT_EQ(0U, m_stDemux.Push(strBlock));
    EXPECT_EQ(Noise(1000).substr(151), m_stDemux.Frame());
}

TEST_F(TsContinuity, EndlessFrameStopsAtTheBuffer) {
    std::string strFirst = Packet(m_strVideo, 0);
    std::string strNext = Packet(m_strVideo, 1);
    EXPECT_EQ(526U, m_stDemux.Push(strFirst));
    ULONG_32 ulResult = 526;
    for (UCHAR ucCC = strNext[3] & 15; ulResult == 526; ++ucCC) {
        strNext[3] = static_cast<CHAR>(0x30 | (ucCC & 15));
        ulResult = m_stDemux.Push(strNext);
        ASSERT_LE(m_stDemux->ulFrameLen, VIDEO_FRAME_BUFFER_SIZE);
    }
    EXPECT_EQ(525U, ulResult);
    EXPECT_GT(m_stDemux->ulFrameLen, VIDEO_FRAME_BUFFER_SIZE - 188);
    EXPECT_EQ(525U, m_stDemux.Push(strNext));
    EXPECT_EQ(0U, m_stDemux.Push(m_strVideo));
}

TEST_F(TsContinuity, PrivateDataCarryThePlaybackTime) {
    std::string strBlock = m_stMux.Pack(PLAYER_PAYLOAD_H264, 1, 7200, "short");
    strBlock[5] |= 0x02;
    memcpy(&strBlock[12], "\4\x12\x34\x56\x78", 5);
    EXPECT_EQ(0U, m_stDemux.Push(strBlock));
    EXPECT_EQ(0x12345678U, m_stDemux->ulPlayBackTime);
    strBlock[12] = 3;
    strBlock[13] = 0x77;
    EXPECT_EQ(0U, m_stDemux.Push(strBlock));
    EXPECT_EQ(0x12345678U, m_stDemux->ulPlayBackTime) << "of another length: not a time";
}

TS_STREAM_INFO_S Parsed(const std::string &strPmt) {
    TS_STREAM_INFO_S st = {};
    EXPECT_EQ(0U, TS_ParsePMT(reinterpret_cast<const UCHAR *>(strPmt.data()), 188, &st));
    return st;
}

TEST(TsPmt, StreamTypesAndInfo) {
    using Info = TS_STREAM_INFO_S;
    const struct {
        UCHAR ucType;
        USHORT Info::*pusPid;
        ULONG_32 Info::*pulType;
        ULONG_32 ulPayload;
    } astRow[] = {
        {27, &Info::usVideoPid, &Info::ulVideoType, PLAYER_PAYLOAD_H264},
        {36, &Info::usVideoPid, &Info::ulVideoType, PLAYER_PAYLOAD_H265},
        {144, &Info::usVideoPid, &Info::ulVideoType, PLAYER_PAYLOAD_JPEG},
        {134, &Info::usAudioPid, &Info::ulAudioType, PLAYER_PAYLOAD_PCM},
        {130, &Info::usRightAudioPid, &Info::ulRightAudioType, PLAYER_PAYLOAD_G711U},
        {131, &Info::usRightAudioPid, &Info::ulRightAudioType, PLAYER_PAYLOAD_G711A},
        {133, &Info::usRightAudioPid, &Info::ulRightAudioType, PLAYER_PAYLOAD_AAC},
    };
    for (const auto &stRow : astRow) {
        const Info st = Parsed(Pmt(Entry(164, 1, "info") + Entry(stRow.ucType, 0x1ABC), "program info"));
        EXPECT_EQ(0x1ABC, st.*stRow.pusPid) << int{stRow.ucType};
        EXPECT_EQ(stRow.ulPayload, st.*stRow.pulType);
        EXPECT_EQ(1, st.usDataPid);
    }
    for (const std::string &strEntries : {Entry(27, 101) + Entry(144, 133), Entry(144, 133) + Entry(27, 101)}) {
        const Info st = Parsed(Pmt(strEntries + Entry(15, 148)));
        EXPECT_EQ(101, st.usVideoPid) << "a picture stream beside it is left out";
        EXPECT_EQ(148, st.usAudioPid);
    }
}

TEST(TsPmt, UnknownTypeEndsTheLoopAndIsToldTenTimes) {
    LogLines stLog;
    for (int i = 0; i < 30; ++i) {
        const TS_STREAM_INFO_S st = Parsed(Pmt(Entry(27, 101) + Entry(2, 77) + Entry(15, 148)));
        EXPECT_EQ(101, st.usVideoPid);
        EXPECT_EQ(0, st.usAudioPid);
    }
    static long lBefore = 0;  // the limit holds for the process, so also when the tests are repeated
    lBefore += LogLines::Count(PLAYER_LOG_WARN, "Unknown Elementary_PID:[77].");
    EXPECT_EQ(10, lBefore);
}

TEST(TsType, FirstPacketBehindTheTablesDecides) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    const std::string strKey = stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, Noise(500));
    const std::string strSound = stMux.Pack(PLAYER_PAYLOAD_G711U, 0, 0, "sound");
    const struct {
        std::string strBlock;
        ULONG_32 ulResult;
        int iType;
    } astRows[] = {{strSound, 524, TS_PACKET_TYPE_NUM}, {strKey, 0, TS_PES_VIDEO},
                   {strSound, 0, TS_PES_AUDIO},         {"\x47", 526, -1},
                   {strKey.substr(0, 16), 525, -1},     {strKey.substr(0, 204), 525, -1}};
    TS_STREAM_INFO_S st = {};
    for (auto [strBlock, ulResult, iType] : astRows) {
        TS_PACKET_INFO_S stPacket;
        EXPECT_EQ(ulResult, TS_GetTSType(reinterpret_cast<UCHAR *>(strBlock.data()),
                                         static_cast<ULONG_32>(strBlock.size()), &stPacket, &st));
        EXPECT_TRUE(iType < 0 || iType == static_cast<int>(stPacket.enType)) << iType;
    }
}

TEST(TsHelpers, ClockAndHead) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    const std::string strKey = stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0x1FFFFFFFE, Noise(500));
    const auto *pucKey = reinterpret_cast<const UCHAR *>(strKey.data());
    USHORT usPid = 0;
    DULONG dulPcr = 0;
    EXPECT_EQ(1U, TS_GetPCR(pucKey, &usPid, &dulPcr)) << "a PAT has no adaptation field";
    EXPECT_EQ(0U, TS_GetPCR(pucKey + 2 * 188, &usPid, &dulPcr));
    EXPECT_EQ(101, usPid);
    EXPECT_EQ(0x1FFFFFFFEU, dulPcr);
    EXPECT_EQ(1U, TS_GetPCR(pucKey + 3 * 188, &usPid, &dulPcr)) << "no unit start";
    usPid = 257;
    EXPECT_EQ(1U, TS_GetPCR(pucKey + 2 * 188, &usPid, &dulPcr)) << "another PID is asked for";
    EXPECT_EQ(0, TS_IsPATFrame(pucKey + 188));
    EXPECT_EQ(0, TS_IsTSFrameTail(const_cast<CHAR *>(strKey.data())));
    EXPECT_EQ(1, TS_IsTSFrameTail(const_cast<CHAR *>(strKey.data() + strKey.size() - 188)));

    const std::string strShifted = "GG trap" + strKey;
    const std::string strNone = std::string(300, 'x') + "G" + std::string(98, 'x') + "G";
    ULONG_32 ulOffset = 0;
    EXPECT_EQ(0U, TS_FindHead(reinterpret_cast<const UCHAR *>(strShifted.data()), 188, &ulOffset));
    EXPECT_EQ(7U, ulOffset);
    EXPECT_EQ(1U, TS_FindHead(reinterpret_cast<const UCHAR *>(strNone.data()), 400, &ulOffset));
}

using File = std::unique_ptr<FILE, int (*)(FILE *)>;

File MakeFile(const std::string &strContent) {
    File stFile(tmpfile(), fclose);
    EXPECT_EQ(strContent.size(), fwrite(strContent.data(), 1, strContent.size(), stFile.get()));
    rewind(stFile.get());
    return stFile;
}

TEST(TsFile, IsKnownByItsFirstTwoPackets) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    const std::string strKey = stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, Noise(500));
    for (const std::string &strContent : {strKey, "x" + strKey, strKey.substr(0, 188), ""s}) {
        File stFile = MakeFile(strContent);
        EXPECT_EQ(strContent == strKey, TS_IsTSFile(stFile.get()) == 1);
        EXPECT_EQ(0, ftell(stFile.get()));
    }
    EXPECT_EQ(0, TS_IsTSFile(nullptr));
}

/** What each frame control value lets through of a recording, by the first letter behind the start code. */
std::string FramesOf(const std::string &strFile, ULONG_32 ulFrameCtrl, ULONG_32 *pulEnd) {
    File stFile = MakeFile(strFile);
    std::vector<UCHAR> aucPackets(VIDEO_FRAME_BUFFER_SIZE);
    Demux stDemux;
    stDemux.Push(strFile.substr(0, 376));
    std::string strSeen;
    ULONG_32 ulLen = 0;
    while ((*pulEnd = TS_GetOneFrameData(stFile.get(), ulFrameCtrl, aucPackets.data(), &ulLen)) == 0) {
        EXPECT_EQ(0U, stDemux.Push({reinterpret_cast<CHAR *>(aucPackets.data()), ulLen}));
        strSeen += stDemux.Frame().back();
    }
    EXPECT_EQ(0U, ulLen);
    return strSeen;
}

TEST(TsFile, FrameControlChoosesFrames) {
    const std::string strCode("\0\0\0\1", 4);
    for (LONG_32 lPayload : {PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_H265}) {
        const bool bH264 = lPayload == PLAYER_PAYLOAD_H264;
        const std::string strSlice = strCode + (bH264 ? std::string("\x61") : std::string("\2\1"));
        const std::string strSp = strCode + (bH264 ? std::string("\x06\x21") : std::string("\x4E\1\xE6")) + strSlice;
        Mux stMux(lPayload, PLAYER_PAYLOAD_G711U);
        const std::string strFile =
            stMux.Pack(lPayload, 0, 0, strSlice + Noise(400) + "K") + stMux.Pack(PLAYER_PAYLOAD_G711U, 0, 0, "a") +
            stMux.Pack(lPayload, 1, 0, strSlice + strSp + Noise(300) + "p") +
            stMux.Pack(lPayload, 1, 0, strSp + Noise(300) + "s") + stMux.Pack(PLAYER_PAYLOAD_DATA, -1, 0, strSp + "d");
        ULONG_32 ulEnd = 0;
        EXPECT_EQ("Kps", FramesOf(strFile, 0, &ulEnd));
        EXPECT_EQ(263U, ulEnd);
        EXPECT_EQ("Kapsd", FramesOf(strFile, 1, &ulEnd));
        EXPECT_EQ("K", FramesOf(strFile, 4, &ulEnd));
        EXPECT_EQ("Ks", FramesOf(strFile, 5, &ulEnd));
        EXPECT_EQ("Ka", FramesOf(strFile.substr(0, strFile.size() - 3 * 188 - 100), 1, &ulEnd).substr(0, 2));
        EXPECT_EQ(265U, ulEnd);
        EXPECT_EQ("Kapsd", FramesOf(strFile + std::string(188, 'x'), 1, &ulEnd));
        EXPECT_EQ(1U, ulEnd);
    }
}

TEST(TsFile, FrameThatOutgrowsTheBufferIsPassedOver) {
    Mux stMux(PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_G711U);
    const std::string strKey = stMux.Pack(PLAYER_PAYLOAD_H264, 0, 0, Noise(500));
    std::string strPacket(188, 'x');
    strPacket.replace(0, 3, "\x47\x40\x65");
    std::string strLong;
    while (strLong.size() <= VIDEO_FRAME_BUFFER_SIZE) {
        strLong += strPacket;
    }
    ULONG_32 ulEnd = 0;
    EXPECT_EQ(2U, FramesOf(strKey + strLong + strKey + strKey, 1, &ulEnd).size()) << "a tail ends the long one";
    EXPECT_EQ(263U, ulEnd);
    EXPECT_EQ(1U, FramesOf(strKey + strLong, 1, &ulEnd).size());
    EXPECT_EQ(263U, ulEnd);
}

}  // namespace
