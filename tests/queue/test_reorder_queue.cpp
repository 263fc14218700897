#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "queue/module_queue.h"

namespace {

using Numbers = std::vector<int>;

class Window {
 public:
    Window(ULONG_32 ulSize, ULONG_32 ulSlots) { EXPECT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&m_st, ulSize, ulSlots)); }
    ~Window() { QUEUE_CleanupAdjustPktSeqQueue(&m_st); }
    ADJUST_PACKET_SEQ_QUEUE_S *operator->() { return &m_st; }
    ADJUST_PACKET_SEQ_QUEUE_S *Get() { return &m_st; }
    ULONG_32 Add(int iSequence, size_t ulLen = 12) {
        std::string oPacket(ulLen, 'p');
        oPacket[0] = static_cast<char>(0x80);
        oPacket[2] = static_cast<char>(iSequence >> 8);
        oPacket[3] = static_cast<char>(iSequence);
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
    Numbers TakeAll() {
        Numbers oAll;
        for (int i = Take(); i >= 0; i = Take()) {
            oAll.push_back(i);
        }
        return oAll;
    }

 private:
    ADJUST_PACKET_SEQ_QUEUE_S m_st = {};
};

TEST(ReorderQueue, PutsPacketsInOrderAndGivesLostOnesUp) {
    const struct {
        Numbers oBefore, oAdded, oTaken;  // what is added and read first; what is added then, and what is read
        ULONG_32 ulReadIndex;             // ahead of that reading
    } astRows[] = {
        {{}, {1, 3, 2}, {1, 2, 3}, 0},
        {{65535}, {0}, {0}, 1},
        {{65534}, {0, 65535, 2, 1}, {65535, 0, 1, 2}, 1},
        {{1}, {3, 4, 5, 6, 7, 8, 9, 10, 11}, {}, 1},  // waits for 2
        {{1}, {3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, {3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 2},
        {{7}, {7, 8}, {8}, 1},  // a repeated number leaves reading where it was
    };
    for (const auto &stRow : astRows) {
        SCOPED_TRACE(&stRow - astRows);
        Window oWindow(1500, 10);
        for (int iSequence : stRow.oBefore) {
            EXPECT_EQ(0U, oWindow.Add(iSequence));
            EXPECT_EQ(iSequence, oWindow.Take());
        }
        for (int iSequence : stRow.oAdded) {
            EXPECT_EQ(0U, oWindow.Add(iSequence));
        }
        EXPECT_EQ(stRow.ulReadIndex, oWindow->ulReadIndex);
        EXPECT_EQ(stRow.oTaken, oWindow.TakeAll());
    }
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

TEST(ReorderQueue, TakesPacketsUpToItsSlotSizeOnly) {
    Window oWindow(20, 3);
    oWindow.Add(1);
    EXPECT_EQ(1, oWindow.Take());
    EXPECT_EQ(0U, oWindow.Add(3));
    EXPECT_EQ(0U, oWindow.Add(2, 24));  // the longest: the packet in the next slot stays whole
    EXPECT_EQ(0U, oWindow.Add(4, 24));
    EXPECT_EQ(2U, oWindow.Add(4, 25));
    EXPECT_EQ((Numbers{2, 3, 4}), oWindow.TakeAll());
    EXPECT_EQ(4, oWindow->usPreSequence);
}

TEST(ReorderQueue, RefusesWhatIsNoPacket) {
    Window oWindow(100, 3);
    for (const auto &[iFirst, ulLen, ulResult] : {std::tuple{0x40, 0U, 0U},  // nothing
                                                  {0x40, 12U, 2U},           // version 1
                                                  {0x80, 3U, 2U}}) {         // no whole sequence number
        CHAR acPacket[12] = {static_cast<CHAR>(iFirst), 0, 0, 1};
        EXPECT_EQ(ulResult, QUEUE_AddAdjustPktSeqData(acPacket, ulLen, oWindow.Get()));
    }
    EXPECT_EQ(-1, oWindow.Take());
    ADJUST_PACKET_SEQ_QUEUE_S stQueue = {};
    EXPECT_EQ(2U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 0, 10));
    EXPECT_EQ(3U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 0xFFFFFFFF, 0xFFFFFFFF));
    ASSERT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 10, 10));
    ASSERT_EQ(0U, QUEUE_InitAdjustPktSeqQueue(&stQueue, 20, 10)) << "made anew while in use";
    EXPECT_EQ(25U, stQueue.ulOneBufSize);
    QUEUE_CleanupAdjustPktSeqQueue(&stQueue);
}

}  // namespace
