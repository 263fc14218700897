#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "intake/module_rtp.h"
#include "queue/module_queue.h"
#include "support/elapsed.h"
#include "support/log_lines.h"

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
    void Fill() {
        while (Add("x") == 0) {
        }
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

TEST(PacketRing, BehavesAsAQueueOfWholePackets) {
    std::mt19937 oRandom(7);
    for (ULONG_32 ulPayload : {1U, 13U, 64U, 2048U}) {
        const ULONG_32 ulSlots = ulPayload == 2048 ? 3 : 17;  // one slot stays empty
        Ring oRing(ulPayload, ulSlots);
        std::deque<std::string> oModel;
        size_t ulUsed = 0;
        ULONG_32 ulRefused = 0;
        auto fnSlots = [ulPayload](size_t ulLen) { return std::max<size_t>(1, (ulLen + ulPayload - 1) / ulPayload); };
        for (unsigned i = 0; i < 20000; i++) {
            if (oRandom() % 2 != 0) {
                std::string oPacket = Bytes(oRandom() % (ulPayload * 7), i);
                bool bFits = ulUsed + fnSlots(oPacket.size()) < ulSlots;
                ASSERT_EQ(bFits ? 0U : 260U, oRing.Add(oPacket));
                if (bFits) {
                    ulUsed += fnSlots(oPacket.size());
                    oModel.push_back(oPacket);
                }
                ulRefused += !bFits;
            } else if (oModel.empty()) {
                ASSERT_EQ("error 261", oRing.Take());
            } else {
                ASSERT_EQ(oModel.front(), oRing.Take());
                ulUsed -= fnSlots(oModel.front().size());
                oModel.pop_front();
            }
            ASSERT_EQ(ulUsed, oRing.InUse());
            ULONG_32 ulLevel = 0;
            QUEUE_GetCurPacketUsed(oRing.Get(), &ulLevel);
            ASSERT_EQ(ulUsed * 1000 / ulSlots, ulLevel);
        }
        EXPECT_EQ(ulRefused, oRing->ulErrCount);
    }
    Ring oWide(60000, 4);
    for (size_t ulLen : {10240, 10241, 50000}) {  // about and past the first size of the read buffer
        oWide.Add(Bytes(ulLen, 4));
        EXPECT_EQ(Bytes(ulLen, 4), oWide.Take());
    }
}

TEST(PacketRing, LongPacketsTakeSlotsInARowAndRefusalsAreRarelyLogged) {
    Ring oRing(2048, 6);
    LogLines oLog;
    EXPECT_EQ(0U, oRing.Add(Bytes(2048, 1)));  // exactly one slot's payload
    EXPECT_EQ(0U, oRing.Add(Bytes(5000, 2)));
    for (ULONG_32 i = 0, ulRest = 5000; i < 3; i++, ulRest -= 2048) {  // each slot tells what is still to come
        ULONG_32 ulLen = 0;
        memcpy(&ulLen, oRing->pcPacketBuf + (1 + i) * oRing->ulOneBufSize, 4);
        EXPECT_EQ(ulRest, ulLen);
    }
    for (int i = 0; i < 41; i++) {
        EXPECT_EQ(260U, oRing.Add(Bytes(5000, 3)));  // a refusal leaves only its count
    }
    EXPECT_EQ(3U, LogLines::Total());  // the 1st, 21st and 41st

    Ring oSmall(16, 2);
    for (const char *pcPacket : {"longer than the", "ab", "cd"}) {
        oSmall.Take();
        oSmall.Add(pcPacket);
    }
    EXPECT_EQ(std::string("cd") + std::string(14, '\0'), std::string(oSmall->pcPacketBuf + 4, 16));  // nothing older
}

TEST(PacketRing, RefusesWhatItCannotServe) {
    PACKET_BUFFER_QUEUE_S stQueue = {};
    CHAR acPacket[4] = {};
    CHAR *pcPacket = nullptr;
    ULONG_32 ulLen = 7;
    EXPECT_EQ(2U, QUEUE_AddPacket(acPacket, 4, &stQueue)) << "not made";
    EXPECT_EQ(261U, QUEUE_GetPacket(&stQueue, &pcPacket, &ulLen));
    EXPECT_EQ(0U, QUEUE_GetCurPacketUsed(&stQueue, &ulLen));
    EXPECT_EQ(0U, ulLen);
    EXPECT_EQ(3U, QUEUE_InitPacketBuffer(&stQueue, 0xFFFFFFFF, 0xFFFFFFFF));
    EXPECT_EQ(3U, QUEUE_InitPacketBuffer(&stQueue, 2048, 2000000));
    ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 0, 4));  // slots without payload take empty packets only
    EXPECT_EQ(260U, QUEUE_AddPacket(acPacket, 1, &stQueue));
    EXPECT_EQ(0U, QUEUE_AddPacket(acPacket, 0, &stQueue));
    EXPECT_EQ(0U, QUEUE_GetPacket(&stQueue, &pcPacket, &ulLen));
    QUEUE_CleanupPacketBuffer(&stQueue);
    EXPECT_EQ(2U, QUEUE_AddPacket(acPacket, 4, &stQueue));
}

TEST(PacketRing, IsMadeAgainInAnyState) {
    PACKET_BUFFER_QUEUE_S stQueue;
    memset(static_cast<void *>(&stQueue), 0xA5, sizeof(stQueue));  // leftovers of a stack frame
    for (auto pfnBetween : {QUEUE_CleanupPacketBuffer, +[](PACKET_BUFFER_QUEUE_S *) {}, QUEUE_DestroyPacketBuffer,
                            QUEUE_CleanupPacketBuffer}) {
        ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 8, 4));
        CHAR acPacket[4] = {'a', 'b', 'c', 'd'};
        EXPECT_EQ(0U, QUEUE_AddPacket(acPacket, 4, &stQueue));
        pfnBetween(&stQueue);
    }
}

TEST(PacketRing, CountsVideoFrames) {
    Ring oRing(2048, 8);
    RTP_PAYLOAD_TYPE_S astTable[2] = {};
    // JPEG with more to come, JPEG that ends its frame, too short for RTP, sound
    for (auto [iSecond, ulLen] : {std::pair{26, 20U}, {0x80 | 26, 20U}, {0x80 | 26, 5U}, {0x80, 20U}}) {
        CHAR acPacket[20] = {'\x80', static_cast<CHAR>(iSecond), 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0x65};
        ASSERT_EQ(0U, QUEUE_AddPacketEx(acPacket, ulLen, astTable, oRing.Get()));
    }
    ULONG_32 ulFrames = 0;
    EXPECT_EQ(0U, QUEUE_GetCurFrameCount(oRing.Get(), &ulFrames));
    EXPECT_EQ(1U, ulFrames);
    for (ULONG_32 ulLeft : {1U, 0U, 0U, 0U}) {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        ASSERT_EQ(0U, QUEUE_GetPacketEx(oRing.Get(), astTable, &pcPacket, &ulLen));
        EXPECT_EQ(ulLeft, oRing->ulFrameCount);
    }
}

/* ---- threads --------------------------------------------------------------------------------------------------- */

TEST(PacketRing, ManyWritersOneReader) {
    constexpr unsigned WRITERS = 3;
    constexpr unsigned COUNT = 20000;
    Ring oRing(100, 40);
    // Packets of many lengths, each with its writer ahead and filled with its number.
    auto fnPacket = [](unsigned w, unsigned i) {
        return std::string(1, static_cast<char>(w)) + std::string(i * 37 % 500, static_cast<char>(i));
    };
    std::vector<std::thread> oWriters;
    for (unsigned w = 0; w < WRITERS; w++) {
        oWriters.emplace_back([&, w] {
            for (unsigned i = 0; i < COUNT; i++) {
                while (oRing.Add(fnPacket(w, i)) == 260) {
                    QUEUE_WaitForRoom(oRing.Get(), 1000);
                }
            }
        });
    }
    unsigned auiNext[WRITERS] = {};
    Clock::time_point tiStart = Clock::now();
    for (unsigned uiGot = 0; uiGot < WRITERS * COUNT;) {
        std::string oPacket = oRing.Take();
        if (oPacket == "error 261") {
            QUEUE_WaitForPacket(oRing.Get(), 2000, 0);
            ASSERT_LT(Clock::now() - tiStart, std::chrono::seconds(100)) << "a wake was lost";
            continue;
        }
        unsigned uiWriter = static_cast<UCHAR>(oPacket[0]);
        ASSERT_LT(uiWriter, WRITERS);
        ASSERT_EQ(fnPacket(uiWriter, auiNext[uiWriter]++), oPacket);
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
    std::atomic<unsigned> uiAdded = 0, uiOther = 0;
    auto fnWrite = [&] {
        std::string oPacket(200, 'w');
        while (bRun) {
            ULONG_32 ulResult = QUEUE_AddPacket(oPacket.data(), 200, &stQueue);
            uiAdded += ulResult == 0;
            uiOther += ulResult != 0 && ulResult != 2 && ulResult != 260;
        }
    };
    std::thread aoWriters[] = {std::thread(fnWrite), std::thread(fnWrite)};
    for (int i = 0; i < 100; i++) {
        QUEUE_CleanupPacketBuffer(&stQueue);
        unsigned uiSeen = uiAdded;
        ASSERT_EQ(0U, QUEUE_InitPacketBuffer(&stQueue, 64, 30));
        while (uiAdded == uiSeen) {
            std::this_thread::yield();
        }
    }
    bRun = false;
    for (std::thread &oWriter : aoWriters) {
        oWriter.join();
    }
    EXPECT_EQ(0U, uiOther);
    QUEUE_DestroyPacketBuffer(&stQueue);
}

template <class Do>
void Repeat(int iCount, Do fnDo) {
    for (int i = 0; i < iCount; i++) {
        fnDo();
    }
}

TEST(PacketRingWaits, ReaderWakesForAPacketAndForTheClose) {
    Ring oRing(64, 16);
    auto fnWait = [&] { QUEUE_WaitForPacket(oRing.Get(), 5000, 0); };
    ExpectWake(fnWait, [&] { oRing.Add("x"); });
    oRing.Take();
    ExpectWake(fnWait, [&] { QUEUE_WakeAll(oRing.Get()); });
    QUEUE_WakeAll(oRing.Get());  // before the wait: the next one returns at once, the one after sleeps again
    EXPECT_LT(ElapsedMs([&] { EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0)); }), 2000);
    EXPECT_GE(ElapsedMs([&] { EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 30, 0)); }), 25);
}

TEST(PacketRingWaits, BulkReaderSleepsUntilAQuarterIsThere) {
    Ring oRing(64, 16);
    auto fnAdd = [&](int iCount) { Repeat(iCount, [&] { oRing.Add("x"); }); };
    ExpectWake([&] { EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 5000, 1)); }, [&] { fnAdd(1); }, [&] { fnAdd(3); });
    oRing.Take();
    EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 1, 1));  // the limit is over: what is there can be taken
    EXPECT_TRUE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0));
}

TEST(PacketRingWaits, WriterWakesWhenItsPacketHasRoom) {
    Ring oRing(64, 9);
    auto fnWait = [&] { QUEUE_WaitForRoom(oRing.Get(), 5000); };
    auto fnTake = [&](int iCount) { Repeat(iCount, [&] { oRing.Take(); }); };
    oRing.Fill();
    ExpectWake(
        fnWait, [&] { fnTake(1); }, [&] { fnTake(3); });  // at half, 4 of 8 slots
    oRing.Fill();
    EXPECT_EQ(260U, oRing.Add(Bytes(64 * 7, 1)));  // needs 7 of the 8: half is not enough
    ExpectWake(
        fnWait, [&] { fnTake(1); }, [&] { fnTake(7); });
    oRing.Fill();
    ExpectWake(fnWait, [&] { QUEUE_WakeAll(oRing.Get()); });
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
    EXPECT_LT(ElapsedMs([&] { EXPECT_FALSE(QUEUE_WaitForPacket(oRing.Get(), 5000, 0)); }), 2000);
}

}  // namespace
