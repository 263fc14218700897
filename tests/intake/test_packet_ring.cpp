#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <thread>

#include "foundations/shared_word.h"
#include "intake/log_lines.h"
#include "intake/module_queue.h"
#include "intake/module_rtp.h"

namespace {

using Clock = std::chrono::steady_clock;

class Ring {
 public:
    Ring(ULONG_32 ulPayload, ULONG_32 ulSlots) { EXPECT_EQ(0U, QUEUE_InitPacketBuffer(&m_st, ulPayload, ulSlots)); }
    ~Ring() { QUEUE_DestroyPacketBuffer(&m_st); }
    PACKET_BUFFER_QUEUE_S *operator->() { return &m_st; }
    PACKET_BUFFER_QUEUE_S *Get() { return &m_st; }
    ULONG_32 Add(std::string oPacket) {
        return QUEUE_AddPacket(oPacket.data(), static_cast<ULONG_32>(oPacket.size()), &m_st);
    }
    // The next packet, or its error code in words.
    std::string Take() {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        ULONG_32 ulResult = QUEUE_GetPacket(&m_st, &pcPacket, &ulLen);
        return ulResult == 0 ? std::string(pcPacket, ulLen) : "error " + std::to_string(ulResult);
    }
    ULONG_32 InUse() {
        ULONG_32 ulSlots = 99;
        EXPECT_EQ(0U, QUEUE_GetCurPacketLen(&m_st, &ulSlots));
        return ulSlots;
    }

 private:
    PACKET_BUFFER_QUEUE_S m_st = {};
};

std::string Bytes(size_t ulSize, unsigned uiSeed) {
    std::string oBytes(ulSize, 0);
    for (size_t i = 0; i < ulSize; i++) {
        oBytes[i] = static_cast<char>(uiSeed * 31 + i * 7 + (i >> 8));
    }
    return oBytes;
}

long MillisecondsSince(Clock::time_point tiStart) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - tiStart).count();
}

TEST(PacketRing, KeepsOneSlotEmpty) {
    Ring oRing(2048, 3);
    LogLines oLog;
    EXPECT_EQ(0U, oRing.Add("one"));
    EXPECT_EQ(0U, oRing.Add("two"));
    EXPECT_EQ(260U, oRing.Add("three"));
    EXPECT_EQ(1U, oRing->ulErrCount);
    EXPECT_EQ(0U, LogLines::Total());
    EXPECT_EQ("one", oRing.Take());
    EXPECT_EQ("two", oRing.Take());
    EXPECT_EQ("error 261", oRing.Take());
}

TEST(PacketRing, LongPacketsTakeSlotsInARow) {
    Ring oRing(2048, 6);
    EXPECT_EQ(0U, oRing.Add(Bytes(2048, 1)));  // exactly one slot's payload
    EXPECT_EQ(1U, oRing.InUse());
    EXPECT_EQ(0U, oRing.Add(Bytes(5000, 2)));
    EXPECT_EQ(4U, oRing.InUse());
    for (ULONG_32 i = 0, ulRest = 5000; i < 3; i++, ulRest -= 2048) {  // each slot tells what is still to come
        ULONG_32 ulLen = 0;
        memcpy(&ulLen, oRing->pcPacketBuf + (1 + i) * oRing->ulOneBufSize, 4);
        EXPECT_EQ(ulRest, ulLen);
    }
    EXPECT_EQ(Bytes(2048, 1), oRing.Take());
    EXPECT_EQ(Bytes(5000, 2), oRing.Take());
    EXPECT_EQ(4U, oRing->ulReadIndex);
}

TEST(PacketRing, RefusedLongPacketLeavesOnlyItsCount) {
    Ring oRing(2048, 5);
    LogLines oLog;
    oRing.Add("a");
    oRing.Add("b");
    for (int i = 0; i < 41; i++) {
        EXPECT_EQ(260U, oRing.Add(Bytes(5000, 3)));
    }
    EXPECT_EQ(41U, oRing->ulErrCount);
    EXPECT_EQ(3U, LogLines::Total());  // the 1st, 21st and 41st
    EXPECT_EQ(1, LogLines::Count(PLAYER_LOG_ERROR, " Buffer Full[5], Count[21]."));
    EXPECT_EQ(0U, oRing.Add("c"));
    EXPECT_EQ("a", oRing.Take());
    EXPECT_EQ("b", oRing.Take());
    EXPECT_EQ("c", oRing.Take());
}

TEST(PacketRing, NothingOfAnOlderPacketStaysInASlot) {
    Ring oRing(16, 2);
    oRing.Add(std::string(16, 'x'));
    oRing.Take();
    oRing.Add("ab");
    oRing.Take();
    oRing.Add("cd");
    EXPECT_EQ(std::string("cd") + std::string(14, '\0'), std::string(oRing->pcPacketBuf + 4, 16));
}

TEST(PacketRing, ReadBufferGrowsBeyondNeed) {
    Ring oRing(2048, 20);
    oRing.Add(Bytes(10240, 4));
    oRing.Add(Bytes(10241, 5));
    EXPECT_EQ(Bytes(10240, 4), oRing.Take());
    EXPECT_EQ(10240U, oRing->ulTmpBufSize);
    EXPECT_EQ(Bytes(10241, 5), oRing.Take());
    EXPECT_EQ(20241U, oRing->ulTmpBufSize);

    Ring oWide(60000, 2);  // a packet shorter than its slot can be too long for the read buffer as well
    oWide.Add(Bytes(50000, 6));
    EXPECT_EQ(Bytes(50000, 6), oWide.Take());
}

TEST(PacketRing, BehavesAsAQueueOfWholePackets) {
    std::mt19937 oRandom(7);
    for (ULONG_32 ulPayload : {1U, 13U, 64U}) {
        Ring oRing(ulPayload, 17);
        std::deque<std::string> oModel;
        size_t ulUsed = 0;
        auto fnSlots = [ulPayload](const std::string &oPacket) {
            return std::max<size_t>(1, (oPacket.size() + ulPayload - 1) / ulPayload);
        };
        for (unsigned i = 0; i < 20000; i++) {
            if (oRandom() % 2 != 0) {
                std::string oPacket = Bytes(oRandom() % (ulPayload * 7), i);
                bool bFits = ulUsed + fnSlots(oPacket) <= 16;
                ASSERT_EQ(bFits ? 0U : 260U, oRing.Add(oPacket));
                if (bFits) {
                    ulUsed += fnSlots(oPacket);
                    oModel.push_back(oPacket);
                }
            } else if (oModel.empty()) {
                ASSERT_EQ("error 261", oRing.Take());
            } else {
                ASSERT_EQ(oModel.front(), oRing.Take());
                ulUsed -= fnSlots(oModel.front());
                oModel.pop_front();
            }
            ASSERT_EQ(ulUsed, oRing.InUse());
            ULONG_32 ulLevel = 0;
            QUEUE_GetCurPacketUsed(oRing.Get(), &ulLevel);
            ASSERT_EQ(ulUsed * 1000 / 17, ulLevel);
        }
    }
}

TEST(PacketRing, RefusesWhatItCannotServe) {
    LogLines oLog;
    PACKET_BUFFER_QUEUE_S stQueue = {};
    CHAR acPacket[4] = {};
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 7;
    EXPECT_EQ(2U, QUEUE_AddPacket(acPacket, 4, &stQueue));
    EXPECT_EQ(1, LogLines::Count(PLAYER_LOG_WARN, "QUEUE_AddPacket Warning, Buffer Num is Zero"));
    EXPECT_EQ(261U, QUEUE_GetPacket(&stQueue, &pcPacket, &ulLen));
    EXPECT_EQ(0U, QUEUE_GetCurPacketUsed(&stQueue, &ulLen));
    EXPECT_EQ(0U, ulLen);
    EXPECT_EQ(3U, QUEUE_InitPacketBuffer(&stQueue, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(3U, QUEUE_InitPacketBuffer(&stQueue, 2048, 2000000));
    EXPECT_EQ(0U, stQueue.ulBufNum);
    EXPECT_EQ(2U, QUEUE_InitPacketBuffer(nullptr, 1, 1));
    QUEUE_CleanupPacketBuffer(nullptr);
    QUEUE_CleanupPacketBuffer(&stQueue);

    ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 0, 4));  // slots without payload take empty packets only
    EXPECT_EQ(260U, QUEUE_AddPacket(acPacket, 1, &stQueue));
    EXPECT_EQ(2U, QUEUE_AddPacket(nullptr, 1, &stQueue));
    EXPECT_EQ(0U, QUEUE_AddPacket(acPacket, 0, &stQueue));
    EXPECT_EQ(0U, QUEUE_GetPacket(&stQueue, &pcPacket, &ulLen));
    EXPECT_EQ(0U, ulLen);
    QUEUE_CleanupPacketBuffer(&stQueue);
    EXPECT_EQ(0U, stQueue.ulErrCount);
    EXPECT_EQ(2U, QUEUE_AddPacket(acPacket, 4, &stQueue));
}

TEST(PacketRing, IsMadeAgainInAnyState) {
    PACKET_BUFFER_QUEUE_S stQueue;
    memset(static_cast<void *>(&stQueue), 0xA5, sizeof(stQueue));  // leftovers of a stack frame
    CHAR acPacket[4] = {'a', 'b', 'c', 'd'};
    for (int i = 0; i < 3; i++) {
        ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 8, 4));
        EXPECT_EQ(0U, stQueue.ulErrCount);
        EXPECT_EQ(0U, QUEUE_AddPacket(acPacket, 4, &stQueue));
        if (i == 1) {  // the others are made anew while in use
            QUEUE_CleanupPacketBuffer(&stQueue);
        }
    }
    QUEUE_DestroyPacketBuffer(&stQueue);
    ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 8, 4));
    QUEUE_CleanupPacketBuffer(&stQueue);
}

TEST(PacketRing, CountsVideoFrames) {
    Ring oRing(2048, 8);
    RTP_PAYLOAD_TYPE_S astTable[2] = {};
    auto fnAdd = [&](UCHAR ucSecond, ULONG_32 ulLen) {
        UCHAR aucPacket[20] = {0x80, ucSecond, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0x65};
        ASSERT_EQ(0U, QUEUE_AddPacketEx(reinterpret_cast<CHAR *>(aucPacket), ulLen, astTable, oRing.Get()));
    };
    fnAdd(26, 20);         // JPEG, more to come
    fnAdd(0x80 | 26, 20);  // JPEG, last of its frame
    fnAdd(0x80 | 26, 5);   // too short for RTP
    fnAdd(0x80, 20);       // sound
    ULONG_32 ulFrames = 0;
    EXPECT_EQ(0U, QUEUE_GetCurFrameCount(oRing.Get(), &ulFrames));
    EXPECT_EQ(1U, ulFrames);
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 0;
    for (ULONG_32 ulLeft : {1U, 0U, 0U, 0U}) {
        ASSERT_EQ(0U, QUEUE_GetPacketEx(oRing.Get(), astTable, &pcPacket, &ulLen));
        EXPECT_EQ(ulLeft, oRing->ulFrameCount);
    }
}

/* ---- threads --------------------------------------------------------------------------------------------------- */

struct Stamp {
    unsigned uiWriter;
    unsigned uiNumber;
};

// Sends uiCount packets of many lengths, each filled with its number; waits for room when refused.
void Write(Ring &oRing, unsigned uiWriter, unsigned uiCount) {
    for (unsigned i = 0; i < uiCount; i++) {
        Stamp stStamp = {uiWriter, i};
        std::string oPacket(sizeof(stStamp) + i * 37 % 500, static_cast<char>(i));
        memcpy(oPacket.data(), &stStamp, sizeof(stStamp));
        while (oRing.Add(oPacket) == 260) {
            QUEUE_WaitForRoom(oRing.Get(), 1000);
        }
    }
}

TEST(PacketRing, ManyWritersOneReader) {
    constexpr unsigned WRITERS = 3;
    constexpr unsigned COUNT = 20000;
    Ring oRing(100, 40);
    std::vector<std::thread> oWriters;
    for (unsigned w = 0; w < WRITERS; w++) {
        oWriters.emplace_back([&oRing, w] { Write(oRing, w, COUNT); });
    }
    unsigned auiNext[WRITERS] = {};
    Clock::time_point tiStart = Clock::now();
    for (unsigned uiGot = 0; uiGot < WRITERS * COUNT;) {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        if (QUEUE_GetPacket(oRing.Get(), &pcPacket, &ulLen) != 0) {
            QUEUE_WaitForPacket(oRing.Get(), 2000, 0);
            ASSERT_LT(MillisecondsSince(tiStart), 100000) << "a wake was lost";
            continue;
        }
        Stamp stStamp;
        memcpy(&stStamp, pcPacket, sizeof(stStamp));
        ASSERT_LT(stStamp.uiWriter, WRITERS);
        ASSERT_EQ(auiNext[stStamp.uiWriter]++, stStamp.uiNumber);
        ASSERT_EQ(sizeof(stStamp) + stStamp.uiNumber * 37 % 500, ulLen);
        for (ULONG_32 i = sizeof(stStamp); i < ulLen; i++) {
            ASSERT_EQ(static_cast<char>(stStamp.uiNumber), pcPacket[i]);
        }
        uiGot++;
    }
    for (std::thread &oThread : oWriters) {
        oThread.join();
    }
    EXPECT_EQ("error 261", oRing.Take());
}

TEST(PacketRing, LateWritersMeetACleanedRing) {
    PACKET_BUFFER_QUEUE_S stQueue = {};
    std::atomic<bool> bRun = true;
    std::atomic<unsigned> uiAdded = 0;
    std::atomic<unsigned> uiOther = 0;
    auto fnWrite = [&] {
        std::string oPacket(200, 'w');
        while (bRun) {
            ULONG_32 ulResult = QUEUE_AddPacket(oPacket.data(), 200, &stQueue);
            uiAdded += ulResult == 0;
            uiOther += ulResult != 0 && ulResult != 2 && ulResult != 260;
        }
    };
    std::thread oFirst(fnWrite);
    std::thread oSecond(fnWrite);
    for (int i = 0; i < 100; i++) {
        QUEUE_CleanupPacketBuffer(&stQueue);
        unsigned uiSeen = uiAdded;
        ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 64, 30));
        while (uiAdded == uiSeen) {
            std::this_thread::yield();
        }
    }
    bRun = false;
    oFirst.join();
    oSecond.join();
    EXPECT_EQ(0U, uiOther);
    QUEUE_DestroyPacketBuffer(&stQueue);
}

// Runs fnWait on a thread of its own, lets it fall asleep, then does fnWake. Gives the milliseconds from then to its
// end.
template <class Wait, class Wake>
long WakeTime(Wait fnWait, Wake fnWake) {
    std::thread oSleeper(fnWait);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    Clock::time_point tiStart = Clock::now();
    fnWake();
    oSleeper.join();
    return MillisecondsSince(tiStart);
}

TEST(PacketRingWaits, ReaderWakesForAPacketAndForTheClose) {
    Ring oRing(64, 16);
    auto fnWait = [&] { QUEUE_WaitForPacket(oRing.Get(), 5000, 0); };
    EXPECT_LT(WakeTime(fnWait, [&] { oRing.Add("x"); }), 2000);
    oRing.Take();
    EXPECT_LT(WakeTime(fnWait, [&] { QUEUE_WakeAll(oRing.Get()); }), 2000);
    QUEUE_WakeAll(oRing.Get());  // before the wait: the next one returns at once, the one after sleeps again
    Clock::time_point tiStart = Clock::now();
    EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0));
    EXPECT_LT(MillisecondsSince(tiStart), 2000);
    tiStart = Clock::now();
    EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 30, 0));
    EXPECT_GE(MillisecondsSince(tiStart), 25);
}

TEST(PacketRingWaits, BulkReaderSleepsUntilAQuarterIsThere) {
    Ring oRing(64, 16);
    std::atomic<bool> bAwake = false;
    std::thread oReader([&] {
        EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 5000, 1));
        bAwake = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (int i = 0; i < 3; i++) {
        oRing.Add("x");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(bAwake);
    Clock::time_point tiStart = Clock::now();
    oRing.Add("x");
    oReader.join();
    EXPECT_LT(MillisecondsSince(tiStart), 2000);
    oRing.Take();
    EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 1, 1));  // the limit is over: what is there can be taken
    EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0));
}

TEST(PacketRingWaits, WriterWakesWhenItsPacketHasRoom) {
    Ring oRing(64, 9);
    auto fnFill = [&] {
        while (oRing.Add("x") == 0) {
        }
    };
    std::atomic<bool> bAwake = false;
    auto fnWait = [&] {
        QUEUE_WaitForRoom(oRing.Get(), 5000);
        bAwake = true;
    };
    fnFill();
    EXPECT_LT(WakeTime(fnWait,
                       [&] {
                           for (int i = 0; i < 3; i++) {
                               oRing.Take();
                           }
                           std::this_thread::sleep_for(std::chrono::milliseconds(30));
                           EXPECT_FALSE(bAwake);  // 5 of 8 slots in use
                           oRing.Take();
                       }),
              2000);
    fnFill();
    EXPECT_EQ(260U, oRing.Add(Bytes(64 * 7, 1)));  // needs 7 of the 8: half is not enough
    bAwake = false;
    EXPECT_LT(WakeTime(fnWait,
                       [&] {
                           for (int i = 0; i < 7; i++) {
                               oRing.Take();
                           }
                           std::this_thread::sleep_for(std::chrono::milliseconds(30));
                           EXPECT_FALSE(bAwake);
                           oRing.Take();
                       }),
              2000);
    fnFill();
    EXPECT_LT(WakeTime(fnWait, [&] { QUEUE_WakeAll(oRing.Get()); }), 2000);
}

TEST(PacketRingWaits, StopLeavesTheReaderItsLastPacket) {
    Ring oRing(64, 8);
    oRing.Add("last");
    oRing.Add("lost");
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 0;
    ASSERT_EQ(0U, QUEUE_GetPacket(oRing.Get(), &pcPacket, &ulLen));
    QUEUE_StopPacketBuffer(oRing.Get());
    EXPECT_EQ("last", std::string(pcPacket, ulLen));
    EXPECT_EQ("error 261", oRing.Take());
    EXPECT_EQ(2U, oRing.Add("late"));
    Clock::time_point tiStart = Clock::now();
    EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0));
    EXPECT_LT(MillisecondsSince(tiStart), 2000);
}

}  // namespace
