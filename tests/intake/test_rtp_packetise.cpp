#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "intake/log_lines.h"
#include "intake/module_rtp.h"

namespace {

/** A sender of one frame with a buffer of the size that callers bring. */
struct Sender {
    std::string oFrame;
    RTP_MAKE_INFO_S stInfo{};
    std::vector<CHAR> oBuffer = std::vector<CHAR>(1500, '#');
    ULONG_32 ulLen = 1496;

    Sender(PLAYER_PAYLOAD_E enType, size_t ulFrameLen) : oFrame(ulFrameLen, 'f') {
        EXPECT_EQ(RTP_CreatePacket(&stInfo), 0u);
        EXPECT_EQ(stInfo.enType, PLAYER_PAYLOAD_NULL);
        oFrame.replace(ulFrameLen - 1, 1, "L");
        stInfo.pcSrcData = oFrame.data();
        stInfo.ulDataLen = static_cast<ULONG_32>(ulFrameLen);
        stInfo.enType = enType;
        stInfo.usSequenceNum = 0xFFFF;
        stInfo.ulTimestamp = 0x01020304;
        stInfo.ulSSRC = 0x0A0B0C0D;
    }
    ULONG_32 Next() {
        ulLen = 1496;
        return RTP_PacketRtpData(&stInfo, oBuffer.data(), &ulLen);
    }
};

TEST(RtpPacketise, OnePacketUpTo1400Bytes) {
    Sender oSender(PLAYER_PAYLOAD_G711A, 1400);
    EXPECT_EQ(oSender.Next(), 0u);
    EXPECT_EQ(oSender.ulLen, 1412u);
    EXPECT_EQ(oSender.stInfo.ulMadeLen, 0u);
    EXPECT_EQ(oSender.stInfo.usSequenceNum, 0);
    const UCHAR aucHead[12] = {128, 0, 0xFF, 0xFF, 1, 2, 3, 4, 10, 11, 12, 13};
    EXPECT_EQ(memcmp(oSender.oBuffer.data(), aucHead, sizeof(aucHead)), 0) << "neither marker nor payload type";
    EXPECT_EQ(memcmp(oSender.oBuffer.data() + 12, oSender.oFrame.data(), 1400), 0);
}

TEST(RtpPacketise, OneByteMoreMakesASecondPacket) {
    Sender oSender(PLAYER_PAYLOAD_AAC, 1401);
    EXPECT_EQ(oSender.Next(), 539u);
    EXPECT_EQ(oSender.ulLen, 1412u);
    EXPECT_EQ(oSender.Next(), 0u);
    EXPECT_EQ(oSender.ulLen, 13u);
    EXPECT_EQ(oSender.oBuffer[1], 0);
    EXPECT_EQ(oSender.oBuffer[12], 'L');
    EXPECT_EQ(oSender.stInfo.ulMadeLen, 1400u);
    oSender.stInfo.ulMadeLen = 1402;
    EXPECT_EQ(oSender.Next(), 2u);
}

TEST(RtpPacketise, RefusesVideoAndUnknownTypes) {
    LogLines oLog;
    Sender oVideo(PLAYER_PAYLOAD_H264, 100);
    EXPECT_EQ(oVideo.Next(), 7u);
    EXPECT_EQ(oVideo.oBuffer[12], '#') << "nothing copied";
    Sender oMp2(PLAYER_PAYLOAD_MP1L2, 100);
    EXPECT_EQ(oMp2.Next(), 524u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_TypeToRtpPayload Failed, Unknown Type[1]."), 1);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_ERROR, "RTP_MakeRtpData Failed, RTP_TypeToRtpPayload Failed, Error:[0x20c]."), 1);
}

TEST(RtpPacketise, SmallBufferIsOnlyWarnedOf) {
    LogLines oLog;
    Sender oSender(PLAYER_PAYLOAD_G711U, 160);
    oSender.ulLen = 1399;
    EXPECT_EQ(RTP_PacketRtpData(&oSender.stInfo, oSender.oBuffer.data(), &oSender.ulLen), 0u);
    EXPECT_EQ(oSender.ulLen, 172u);
    EXPECT_EQ(oLog.Count(PLAYER_LOG_WARN, "RTP_MakeRtpData Warning, Buffer Len[1399] Little Than [1500]."), 1);
    EXPECT_EQ(RTP_DestoryPacket(&oSender.stInfo), 0u);
    EXPECT_EQ(oSender.stInfo.ulSSRC, 0u);
    EXPECT_EQ(RTP_PacketRtpData(nullptr, oSender.oBuffer.data(), &oSender.ulLen), 2u);
}

}  // namespace
