// Packets on a port's parse state: what becomes a frame, and which rate and size it tells.
#include <gtest/gtest.h>

#include <memory>

#include "support/rtp_stream.h"
#include "zelvane_modules.h"

namespace {

struct FreePort {
    void operator()(PLAEYR_PORT_S *port) const {
        free(port->pcFrameDataAddr);
        free(port->pcRtpAudioFrameDataAddr);
        free(port);
    }
};

class ParseStage : public testing::Test {
 protected:
    ParseStage() : m_port(static_cast<PLAEYR_PORT_S *>(calloc(1, sizeof(PLAEYR_PORT_S)))) {
        m_port->pcFrameDataAddr = static_cast<CHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
        m_port->pcRtpAudioFrameDataAddr = static_cast<CHAR *>(malloc(AUDIO_FRAME_BUFFER_SIZE));
        m_port->stStateInfo.lFrameIntervalTime = 40;
    }
    ULONG_32 Parse(Bytes packet) {
        m_packet = std::move(packet);
        return Player_ParseStream(reinterpret_cast<CHAR *>(m_packet.data()), static_cast<ULONG_32>(m_packet.size()),
                                  m_port.get());
    }
    /** A video frame with this timestamp as the statistics see it. */
    void Statistics(LONG_32 format, DULONG timestamp) {
        m_port->stFrameData.lPayload = PLAYER_PAYLOAD_H264;
        m_port->stFrameData.lFormatType = format;
        m_port->stFrameData.dulTimestamp = timestamp;
        EXPECT_EQ(Player_StatisticsTimestamp(m_port.get()), 0U);
    }
    std::unique_ptr<PLAEYR_PORT_S, FreePort> m_port;
    Bytes m_packet;
};

const ULONG_32 MORE = PLAYER_ERR_NEED_MORE_DATA;
const ULONG_32 UNKNOWN = PLAYER_ERR_UNKNOWN_STREAM;

}  // namespace

TEST_F(ParseStage, NamesWholeFramesByTheirFirstTellingUnit) {
    struct Case {
        const char *what;
        Bytes packet;
        ULONG_32 result;
        LONG_32 payload;
        LONG_32 format;
    };
    const Case cases[] = {
        {"JPEG", {0xFF, 0xD8, 0xFF}, 0, PLAYER_PAYLOAD_JPEG, -1},
        {"H.264 key", {0, 0, 0, 1, 0x65, 0x88}, 0, PLAYER_PAYLOAD_H264, 0},
        {"H.264 behind SPS", {0, 0, 0, 1, 0x67, 1, 2, 3, 0, 0, 0, 1, 0x65, 1}, 0, PLAYER_PAYLOAD_H264, 0},
        {"H.264 other", {0, 0, 1, 0x41, 0x9A}, 0, PLAYER_PAYLOAD_H264, 1},
        {"H.265 key", {0, 0, 0, 1, 0x26, 1, 0xAF}, 0, PLAYER_PAYLOAD_H265, 0},
        {"H.265 other", {0, 0, 1, 2, 1, 0xD0}, 0, PLAYER_PAYLOAD_H265, 1},
        {"only a SEI", {0, 0, 1, 6, 5, 1, 0x80}, MORE, 0, 0},
        {"only a SEI, cut short", {0, 0, 1, 6, 5}, UNKNOWN, 0, 0},
        {"start codes of the other length inside", {0, 0, 0, 1, 9, 0xE0, 1, 0, 0, 1, 0x65, 1}, MORE, 0, 0},
        {"nothing known", {1, 2, 3}, UNKNOWN, 0, 0},
        {"half a record head", {'R', 'd', 'H', 'd', 3, 0}, UNKNOWN, 0, 0},
        {"half a start code", {0, 0}, UNKNOWN, 0, 0},
        {"nothing", {}, MORE, 0, 0},
    };
    for (const Case &one : cases) {
        ASSERT_EQ(Parse(one.packet), one.result) << one.what;
        if (one.result == 0) {
            EXPECT_EQ(m_port->stFrameData.lPayload, one.payload) << one.what;
            EXPECT_EQ(m_port->stFrameData.lFormatType, one.format) << one.what;
            EXPECT_EQ(m_port->stFrameData.lDataLen, static_cast<LONG_32>(one.packet.size())) << one.what;
        }
    }
}

TEST_F(ParseStage, ARecordHeadAnnouncesTheNextPacket) {
    PLAYER_RECORDHEAD_S head = {{'R', 'd', 'H', 'd'}, PLAYER_PAYLOAD_AAC, 4, 0, 777};
    Bytes packet(sizeof(head));
    memcpy(packet.data(), &head, sizeof(head));
    EXPECT_EQ(Parse(packet), MORE);
    EXPECT_EQ(Parse({1, 2, 3}), 0U) << "whatever it begins with";
    EXPECT_EQ(m_port->stFrameData.lPayload, PLAYER_PAYLOAD_AAC);
    EXPECT_EQ(m_port->stFrameData.lFormatType, 4);
    EXPECT_EQ(m_port->stFrameData.dulTimestamp, 777U);
    EXPECT_EQ(Parse({1, 2, 3}), UNKNOWN);
}

TEST_F(ParseStage, SoundWinsATieAndThePictureWaits) {
    support::RtpSender video(support::RTP_PT_H264);
    support::RtpSender sound(support::RTP_PT_G711A);
    ASSERT_EQ(Parse(video.Packet(Bytes{0x41, 1, 2}, 3600, true)), 0U);
    ASSERT_EQ(Parse(video.Packet(Bytes{0x41, 9}, 7200, false)), MORE);
    ASSERT_EQ(Parse(sound.Packet(Bytes(80, 0x55), 160, true)), 0U);
    EXPECT_EQ(m_port->stFrameData.lPayload, PLAYER_PAYLOAD_G711A);
    ASSERT_EQ(Parse(video.Packet(Bytes{0x41, 9}, 7200, true)), 0U);
    EXPECT_EQ(m_port->stFrameData.lPayload, PLAYER_PAYLOAD_H264);
    EXPECT_EQ(m_port->stFrameData.dulTimestamp, 7200U);
}

TEST_F(ParseStage, AnotherContainerRebindsTheBuffers) {
    support::RtpSender video(support::RTP_PT_H264);
    ASSERT_EQ(Parse(video.Packet(Bytes{0x41, 1, 2}, 3600, false)), MORE);
    Bytes ts(188, 0xFF);
    ts[0] = 0x47;
    EXPECT_NE(Parse(ts), 0U);
    EXPECT_EQ(m_port->ulCurStreamType, ULONG_32{STREAM_TYPE_TS});
    EXPECT_EQ(m_port->stRtpVideoStreamInfo.pucFrameData, nullptr);
    ASSERT_EQ(Parse(video.Packet(Bytes{0x41, 3}, 3600, true)), 0U);
    EXPECT_EQ(m_port->stFrameData.lDataLen, 6) << "the half frame is gone";
}

TEST_F(ParseStage, RateComesFromTimestampSteps) {
    struct Case {
        DULONG step;
        LONG_32 interval;
        LONG_32 rate;
    };
    DULONG timestamp = 1000;
    Statistics(PLAYER_VIDEO_FRAME_P, timestamp);
    EXPECT_EQ(m_port->stStateInfo.lFrameRate, 0) << "one frame tells nothing";
    for (const Case &one : {Case{50000, 40, 25}, Case{3600, 40, 25}, Case{90000, 1000, 1}, Case{0, 1000, 1},
                            Case{1800, 20, 50}, Case{50000, 20, 50}, Case{1, 40, 25}, Case{45090, 40, 25}}) {
        Statistics(PLAYER_VIDEO_FRAME_P, timestamp += one.step);
        EXPECT_EQ(m_port->stStateInfo.lFrameIntervalTime, one.interval) << one.step;
        EXPECT_EQ(m_port->stStateInfo.lFrameRate, one.rate) << one.step;
    }
}

TEST(Pacing, CorrectionByBacklog) {
    EXPECT_EQ(Player_MashTimeFrameCount(10, 0, 25), -40);
    EXPECT_EQ(Player_MashTimeFrameCount(100, 0, 25), -400);
    EXPECT_EQ(Player_MashTimeFrameCount(10, 0, 0), -40) << "40 ms a frame without a rate";
    EXPECT_EQ(Player_MashTimeFrameCount(0, 10, 25), 40);
    EXPECT_EQ(Player_MashTimeFrameCount(0, 10, 4), -250) << "a slow stream under the hope";
}

TEST(NetStatistics, RateAndLossWindows) {
    NET_STATEINFO_S state = {};
    WYK_gettimeofday(&state.stBitPrevTime, nullptr);
    NET_MathBitRate(1000000, &state);
    EXPECT_EQ(state.ulBitRate, 0U) << "the first period is not over";
    state.stBitPrevTime.tv_sec -= 4;
    NET_MathBitRate(3000000, &state);
    EXPECT_NEAR(state.ulBitRate, 1000000, 5000);
    for (int second = 0; second < 7; second++) {
        if (second < 5) {
            NET_AddLostPacket(&state);
        }
        state.stPktPrevTime.tv_sec = 0;
        NET_MathPacket(&state);
        if (second == 4) {
            EXPECT_EQ(state.lLostPktNum, 5);
        }
    }
    EXPECT_EQ(state.lLostPktNum, 3) << "the oldest two have left the window";
    NET_ResetLostPacket(&state);
    EXPECT_EQ(state.lLostPktNum, 3) << "until the next second";
    state.stPktPrevTime.tv_sec = 0;
    NET_MathPacket(&state);
    EXPECT_EQ(state.lLostPktNum, 0);
}
