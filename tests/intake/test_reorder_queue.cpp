#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "intake/log_lines.h"
#include "intake/module_queue.h"

namespace {

class Window {
 public:
    Window(ULONG_32 ulSize, ULONG_32 ulSlots) { EXPECT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&m_st, ulSize, ulSlots)); }
    ~Window() { QUEUE_CleanupAdjustPktSeqQueue(&m_st); }
    ADJUST_PACKET_SEQ_QUEUE_S *operator->() { return &m_st; }
    ADJUST_PACKET_SEQ_QUEUE_S *Get() { return &m_st; }
    ULONG_32 Add(unsigned uiSequence, size_t ulLen = 12) {
        std::string oPacket(ulLen, 'p');
        oPacket[0] = static_cast<char>(0x80);
        oPacket[2] = static_cast<char>(uiSequence >> 8);
        oPacket[3] = static_cast<char>(uiSequence);
        return QUEUE_AddAdjustPktSeqData(oPacket.data(), static_cast<ULONG_32>(ulLen), &m_st);
    }
    // The sequence number of the next packet, or -1.
    int Take() {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        ULONG_32 ulResult = QUEUE_GetAdjustPktSeqData(&m_st, &pcPacket, &ulLen);
        EXPECT_TRUE(ulResult == 0 || ulResult == 261);
        return ulResult == 0 ? static_cast<UCHAR>(pcPacket[2]) << 8 | static_cast<UCHAR>(pcPacket[3]) : -1;
    }
    std::vector<int> TakeAll() {
        std::vector<int> oAll;
        for (int i = Take(); i >= 0; i = Take()) {
            oAll.push_back(i);
        }
        return oAll;
    }

 private:
    ADJUST_PACKET_SEQ_QUEUE_S m_st = {};
};

TEST(ReorderQueue, PutsPacketsInOrder) {
    Window oWindow(1500, 10);
    for (unsigned uiSequence : {1U, 3U, 2U}) {
        EXPECT_EQ(0U, oWindow.Add(uiSequence));
    }
    EXPECT_EQ((std::vector<int>{1, 2, 3}), oWindow.TakeAll());
    EXPECT_EQ(3, oWindow->usPreSequence);
}

TEST(ReorderQueue, FollowsTheWrapOfSequenceNumbers) {
    Window oWindow(1500, 10);
    LogLines oLog;
    oWindow.Add(65534);
    EXPECT_EQ(65534, oWindow.Take());
    for (unsigned uiSequence : {0U, 65535U, 2U, 1U}) {
        EXPECT_EQ(0U, oWindow.Add(uiSequence));
    }
    EXPECT_EQ(1, LogLines::Count(PLAYER_LOG_INFO,
                                 "QUEUE_AddAdjustPktSeqData Warning, CurSequenceNum(0), PreSequence(65534)"));
    EXPECT_EQ((std::vector<int>{65535, 0, 1, 2}), oWindow.TakeAll());
}

TEST(ReorderQueue, GivesAGapUpWhenTheWindowIsPassed) {
    Window oWindow(1500, 10);
    oWindow.Add(1);
    EXPECT_EQ(1, oWindow.Take());
    for (unsigned uiSequence = 3; uiSequence <= 11; uiSequence++) {  // 2 never comes
        oWindow.Add(uiSequence);
    }
    EXPECT_EQ(-1, oWindow.Take());
    oWindow.Add(12);
    EXPECT_EQ(2U, oWindow->ulReadIndex);
    EXPECT_EQ((std::vector<int>{3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), oWindow.TakeAll());
}

TEST(ReorderQueue, FarPacketMovesTheReadPositionPastItself) {
    Window oWindow(1500, 10);
    oWindow.Add(1);
    EXPECT_EQ(1, oWindow.Take());
    oWindow.Add(13);
    EXPECT_EQ(3U, oWindow->ulReadIndex);
    EXPECT_EQ(-1, oWindow.Take());
    EXPECT_EQ(1, oWindow->pcPacketBuf[2 * (oWindow->ulOneBufSize + 5)]);  // it lies just behind
}

TEST(ReorderQueue, RepeatedNumberLeavesReadingWhereItWas) {
    Window oWindow(1500, 10);
    oWindow.Add(7);
    oWindow.Add(8);  // against no packet read yet, its distance is 8
    EXPECT_EQ(7, oWindow.Take());
    EXPECT_EQ(0U, oWindow.Add(7));
    EXPECT_EQ(1U, oWindow->ulReadIndex);
    EXPECT_EQ(-1, oWindow.Take());
    EXPECT_EQ(0U, oWindow.Add(8));
    EXPECT_EQ(8, oWindow.Take());
}

TEST(ReorderQueue, TakesPacketsUpToItsSlotSizeOnly) {
    Window oWindow(20, 3);
    LogLines oLog;
    oWindow.Add(1);
    EXPECT_EQ(1, oWindow.Take());
    EXPECT_EQ(0U, oWindow.Add(3));
    EXPECT_EQ(0U, oWindow.Add(2, 24));  // the longest: the packet in the next slot stays whole
    EXPECT_EQ(0U, oWindow.Add(4, 24));
    EXPECT_EQ(2U, oWindow.Add(4, 25));
    EXPECT_EQ(1, LogLines::Count(PLAYER_LOG_ERROR, "Buffer Size 25 out of Queue Buffer:25"));
    EXPECT_EQ((std::vector<int>{2, 3, 4}), oWindow.TakeAll());
}

TEST(ReorderQueue, RefusesWhatIsNoPacket) {
    Window oWindow(100, 3);
    LogLines oLog;
    CHAR acPacket[12] = {0x40, 0, 0, 1};
    EXPECT_EQ(0U, QUEUE_AddAdjustPktSeqData(acPacket, 0, oWindow.Get()));
    EXPECT_EQ(1, LogLines::Count(PLAYER_LOG_WARN, "Buffer Size 0 out of Queue Buffer:105"));
    EXPECT_EQ(2U, QUEUE_AddAdjustPktSeqData(acPacket, 12, oWindow.Get()));  // version 1
    EXPECT_EQ(2U, QUEUE_AddAdjustPktSeqData(nullptr, 12, oWindow.Get()));
    acPacket[0] = static_cast<CHAR>(0x80);
    EXPECT_EQ(2U, QUEUE_AddAdjustPktSeqData(acPacket, 3, oWindow.Get()));  // no whole sequence number
    EXPECT_EQ(3, LogLines::Count(PLAYER_LOG_ERROR, "QUEUE_AddAdjustPktSeqData Failed, Invalid Param"));
    EXPECT_EQ(-1, oWindow.Take());

    ADJUST_PACKET_SEQ_QUEUE_S stQueue = {};
    EXPECT_EQ(2U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 0, 10));
    EXPECT_EQ(2U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 10, 0));
    EXPECT_EQ(2, LogLines::Count(PLAYER_LOG_ERROR, "QUEUE_InitAdjustPktSeqQueue Failed, Invalid Param"));
    EXPECT_EQ(3U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(2U, QUEUE_AddAdjustPktSeqData(acPacket, 12, &stQueue));
    QUEUE_CleanupAdjustPktSeqQueue(nullptr);
    ASSERT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 10, 10));
    ASSERT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 20, 10));
    EXPECT_EQ(25U, stQueue.ulOneBufSize);
    QUEUE_CleanupAdjustPktSeqQueue(&stQueue);
}

}  // namespace
