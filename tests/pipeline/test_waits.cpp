// What the pipeline waits for, and what it must not wait for.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "zelvane_modules.h"

namespace {

class Waits : public testing::Test {
 protected:
    void SetUp() override {
        ULONG_32 number = 0;
        ASSERT_EQ(Player_AllocPort(&number), 0U);
        m_port = Player_GetPort(number);
    }
    void TearDown() override { Player_FreePort(m_port->ulPort); }

    PLAEYR_PORT_S *m_port = nullptr;
};

}  // namespace

// A wrong clock or a wild backlog gives waits of minutes: they are dropped, not slept.
TEST_F(Waits, NoneIsLongerThanASecond) {
    m_port->bStartRecv = 1;
    ASSERT_EQ(Player_SetPictureFluency(m_port->ulPort, PLAYER_PICTURE_FLUENCY), 0U);
    for (const LONG_32 interval : {60000, 1100, -5}) {
        m_port->stStateInfo.lFrameIntervalTime = interval;
        WYK_gettimeofday(&m_port->tiProTime, nullptr);
        std::future<void> waiting = std::async(std::launch::async, [&] { Player_WaitForDecodeTime(m_port); });
        EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(900)), std::future_status::ready) << interval;
        word::Store(m_port->bStartRecv, 0);
        Player_SetPictureFluency(m_port->ulPort, PLAYER_PICTURE_FLUENCY);  // wakes the port's threads
        waiting.wait();
        word::Store(m_port->bStartRecv, 1);
    }
    m_port->bStartRecv = 0;
}

// A snapshot may be at work with the encoder that a rebuild of the decoder gives up.
TEST_F(Waits, ARebuiltDecoderLeavesARunningSnapshotItsEncoder) {
    UCHAR frame[] = {0xFF, 0xD8, 0xFF, 0xD9};
    m_port->stFrameData.pucData = frame;
    m_port->stFrameData.lDataLen = sizeof(frame);
    m_port->stFrameData.lPayload = PLAYER_PAYLOAD_JPEG;
    m_port->stVideoEncode = {};
    m_port->stVideoEncode.lCodecID = PLAYER_PAYLOAD_JPEG;  // an encoder with nothing to end
    m_port->stVideoDecode.lCodecID = PLAYER_PAYLOAD_H264;
    QLOM_SDK_mutex_lock(&m_port->stSnatchInfo.stMutex);
    std::future<void> finder = std::async(std::launch::async, [&] { Player_FindDecode(PLAYER_PAYLOAD_JPEG, m_port); });
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_EQ(word::Load(m_port->stVideoEncode.lCodecID), PLAYER_PAYLOAD_JPEG);
    }
    QLOM_SDK_mutex_unlock(&m_port->stSnatchInfo.stMutex);
    finder.wait();
    EXPECT_EQ(m_port->stVideoEncode.lCodecID, PLAYER_PAYLOAD_NULL);
}
