// What a port finds out about a PTZ stream, frame by frame.
#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "support/client.h"
#include "zelvane_modules.h"

namespace {

std::mutex messagesLock;
std::vector<ULONG_32> messages;

std::vector<ULONG_32> Messages() {
    std::lock_guard guard(messagesLock);
    return messages;
}

void TakeMessage(ULONG_32, void *message) {
    std::lock_guard guard(messagesLock);
    messages.push_back(static_cast<PLAYER_RUN_INFO_S *>(message)->ulErrCode);
}

}  // namespace

TEST(FisheyeStage, KeyFramesTellWhetherItIsAPtzStream) {
    support::Library library;
    ULONG_32 number = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&number));
    ASSERT_TRUE(Zelvane_SetRunMsgCB(number, TakeMessage));
    PLAEYR_PORT_S &port = *Player_GetPort(number);
    struct {
        LONG_32 payload, format;
        ULONG_32 found;
        BOOL_T ptz;
        LONG_32 without;
    } const frames[] = {
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 0, 0},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_P, SEI_TYPE_IVA_RULE, 0, 0},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, SEI_TYPE_IVA_RULE, 1, 0},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, SEI_TYPE_IVA_RESULT, 1, 0},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 1, 1},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_P, 0, 1, 1},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, SEI_TYPE_IVA_RESULT, 1, 0},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 1, 1},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 1, 2},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 1, 3},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 0, 3},
        {PLAYER_PAYLOAD_H264, PLAYER_VIDEO_FRAME_I, 0, 0, 3},
        {PLAYER_PAYLOAD_H265, PLAYER_VIDEO_FRAME_I, SEI_TYPE_IVA_RULE, 1, 0},
        {PLAYER_PAYLOAD_JPEG, PLAYER_VIDEO_FRAME_P, 0, 0, 0},
    };
    for (size_t i = 0; i < std::size(frames); ++i) {
        port.stFrameData.lPayload = frames[i].payload;
        port.stFrameData.lFormatType = frames[i].format;
        port.stSeiInfo.ulSeiType = frames[i].found | SEI_TYPE_UCODE;
        Player_CatchFishState(&port);
        Player_CatchPtzState(&port);
        EXPECT_EQ(port.bReportPtzStream, frames[i].ptz) << i;
        EXPECT_EQ(port.stPtzInfo.lNoSeiCnt, frames[i].without) << i;
        const ULONG_32 left = frames[i].format == PLAYER_VIDEO_FRAME_I ? 0 : frames[i].found;
        EXPECT_EQ(port.stSeiInfo.ulSeiType, left | SEI_TYPE_UCODE) << i;
    }
    EXPECT_TRUE(support::WaitUntil([] { return Messages() == std::vector<ULONG_32>({1538, 1539, 1538, 1539}); }));
    EXPECT_EQ(support::Library::LinesWith("Send Report This is PTZ Stream."), 2U);
    EXPECT_EQ(support::Library::LinesWith("Send Report This is Not Fisheye Stream."), 2U);
    Zelvane_FreePort(number);
}
