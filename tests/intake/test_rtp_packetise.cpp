#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "intake/module_rtp.h"

namespace {

/** A sender of one frame with a buffer of the size that callers bring. */
struct Sender {
    std::string oFrame;
    RTP_MAKE_INFO_S stInfo{};
    std::vector<CHAR> oBuffer = std::vector<CHAR>(1500, '#');
    ULONG_32 ulLen = 0;

    Sender(PLAYER_PAYLOAD_E enType, size_t ulFrameLen) : oFrame(std::string(ulFrameLen - 1, 'f') + "L") {
        EXPECT_EQ(RTP_CreatePacket(&stInfo), 0u);
        EXPECT_EQ(stInfo.enType, PLAYER_PAYLOAD_NULL);
        stInfo.pcSrcData = oFrame.data();
        stInfo.ulDataLen = static_cast<ULONG_32>(ulFrameLen);
        stInfo.enType = enType;
        stInfo.usSequenceNum = 0xFFFF;
        stInfo.ulTimestamp = 0x01020304;
        stInfo.ulSSRC = 0x0A0B0C0D;
    }
    ULONG_32 Next(ULONG_32 ulBuffer = 1496) {
        ulLen = ulBuffer;
        return RTP_PacketRtpData(&stInfo, oBuffer.data(), &ulLen);
    }
};

TEST(RtpPacketise, OnePacketUpTo1400BytesAndOneByteMoreMakesASecond) {
    Sender oOne(PLAYER_PAYLOAD_G711A, 1400);
    EXPECT_EQ(oOne.Next(), 0u);
    EXPECT_EQ(oOne.ulLen, 1412u);
    EXPECT_EQ(oOne.stInfo.ulMadeLen, 0u);
    EXPECT_EQ(oOne.stInfo.usSequenceNum, 0);
    const std::string oHead("\x80\0\xFF\xFF\1\2\3\4\x0A\x0B\x0C\x0D", 12);  // neither marker nor payload type
    EXPECT_EQ(std::string(oOne.oBuffer.data(), 1412), oHead + oOne.oFrame);
    Sender oTwo(PLAYER_PAYLOAD_AAC, 1401);
    EXPECT_EQ(oTwo.Next(), 539u);
    EXPECT_EQ(oTwo.ulLen, 1412u);
    EXPECT_EQ(oTwo.Next(), 0u);
    EXPECT_EQ(oTwo.ulLen, 13u);
    EXPECT_EQ(oTwo.oBuffer[12], 'L');
    EXPECT_EQ(oTwo.stInfo.ulMadeLen, 1400u);
    oTwo.stInfo.ulMadeLen = 1402;
    EXPECT_EQ(oTwo.Next(), 2u);
}

TEST(RtpPacketise, OnlySoundOfKnownTypes) {
    Sender oVideo(PLAYER_PAYLOAD_H264, 100);
    EXPECT_EQ(oVideo.Next(), 7u);
    EXPECT_EQ(oVideo.oBuffer[12], '#') << "nothing copied";
    EXPECT_EQ(Sender(PLAYER_PAYLOAD_MP1L2, 100).Next(), 524u);
    EXPECT_EQ(Sender(PLAYER_PAYLOAD_G711U, 160).Next(1399), 0u) << "a smaller buffer is only warned of";
}

}  // namespace
