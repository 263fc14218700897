#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "queue/com_report.h"
#include "support/elapsed.h"

namespace {

using std::chrono::milliseconds;

struct Event {
    ULONG_32 ulType, ulCode;
    bool bManage;
    std::thread::id stThread;
};

std::mutex stMutex;
std::condition_variable stChanged;
std::vector<Event> astEvents;
bool bHold;                         // callbacks wait while it is set
std::function<void()> pfnInClient;  // done in the first client callback

template <bool MANAGE>
void Callback(ULONG_32 ulType, void *pMsg) {
    std::unique_lock stLock(stMutex);
    astEvents.push_back(
        {ulType, static_cast<REPORT_MSG_U *>(pMsg)->stRunInfo.ulErrCode, MANAGE, std::this_thread::get_id()});
    stChanged.notify_all();
    stChanged.wait(stLock, [] { return !bHold; });
    std::function<void()> pfnDo;
    pfnDo.swap(pfnInClient);
    stLock.unlock();
    if (pfnDo) {
        pfnDo();
    }
}

void SetHold(bool bNew) {
    std::lock_guard stLock(stMutex);
    bHold = bNew;
    stChanged.notify_all();
}

/** Waits for so many events and gives them. */
std::vector<Event> WaitFor(size_t ulCount) {
    std::unique_lock stLock(stMutex);
    stChanged.wait_for(stLock, std::chrono::seconds(20), [ulCount] { return astEvents.size() >= ulCount; });
    return astEvents;
}

/** Posts events with codes from 0 up; gives how many the full ring refused. */
size_t Send(ULONG_32 ulCount, ULONG_32 ulType = 1) {
    size_t ulRefused = 0;
    for (ULONG_32 i = 0; i < ulCount; i++) {
        REPORT_MSG_S stMsg = {};
        stMsg.ulRunInfoType = ulType;
        stMsg.uReportMsg.stRunInfo.ulErrCode = i;
        ulRefused += Report_SendMsg(3, &stMsg) == PLAYER_ERR_QUEUE_FULL ? 1 : 0;
    }
    return ulRefused;
}

class Report : public testing::Test {
 protected:
    void SetUp() override {
        astEvents.clear();
        Report_SetReportCallBack(Callback<false>);  // before the start
        ASSERT_EQ(0u, Report_Init());
    }
    void TearDown() override {
        SetHold(false);
        Report_Cleanup();
    }
};

TEST_F(Report, RingIsClosedFromTheStartOfTheCleanup) {
    SetHold(true);
    EXPECT_EQ(0u, Send(1));
    WaitFor(1);
    std::thread oCleanup(Report_Cleanup);
    REPORT_MSG_S stMsg = {};
    ULONG_32 ulResult = 0;
    for (int i = 0; i < 250 && ulResult == 0; i++) {  // it may take the other thread a while to begin
        std::this_thread::sleep_for(milliseconds(1));
        ulResult = Report_SendMsg(3, &stMsg);
    }
    EXPECT_EQ(static_cast<ULONG_32>(PLAYER_ERR_PARAM), ulResult);
    SetHold(false);
    oCleanup.join();
    EXPECT_EQ(static_cast<ULONG_32>(PLAYER_ERR_PARAM), Report_SendMsg(3, &stMsg));
    ASSERT_EQ(0u, Report_Init());
}

TEST_F(Report, EventsComeInOrderOnOneThreadToTheClientFirst) {
    Report_ManageSetReportCallBack(Callback<true>);
    EXPECT_EQ(0u, Send(50, 15));
    std::vector<Event> astGot = WaitFor(100);
    ASSERT_EQ(100u, astGot.size());
    for (ULONG_32 i = 0; i < 100; i++) {
        EXPECT_EQ(15u, astGot[i].ulType);
        EXPECT_EQ(i / 2, astGot[i].ulCode);
        EXPECT_EQ(i % 2 == 1, astGot[i].bManage);
        EXPECT_EQ(astGot[0].stThread, astGot[i].stThread);
    }
}

TEST_F(Report, ASlowCallbackDelaysTheEventsBehindItAlone) {
    SetHold(true);
    Send(1);
    WaitFor(1);
    EXPECT_EQ(45u, Send(300));
    SetHold(false);
    EXPECT_EQ(254u, WaitFor(256).back().ulCode);
}

TEST_F(Report, NeitherAnEventNorTheEndIsLateOnAQuietThread) {
    std::vector<long> alWaits;
    for (size_t i = 1; i <= 9; i++) {
        std::this_thread::sleep_for(milliseconds(i * 13));
        alWaits.push_back(ElapsedMs([i] {
            Send(1);
            WaitFor(i);
        }));
    }
    std::sort(alWaits.begin(), alWaits.end());
    EXPECT_LE(alWaits[4], 70) << "40 ms, and what the machine adds";
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_LT(ElapsedMs([] { Report_Cleanup(); }), 500);
}

TEST_F(Report, TheEndWaitsForTheCallbackAndDropsWhatIsLeft) {
    SetHold(true);
    Send(10);
    WaitFor(1);
    std::thread stFreer([] {
        std::this_thread::sleep_for(milliseconds(50));
        SetHold(false);
    });
    Report_Cleanup();
    EXPECT_EQ(1u, astEvents.size());
    stFreer.join();
    REPORT_MSG_S stMsg = {};
    EXPECT_EQ(2u, Report_SendMsg(5, &stMsg)) << "nothing runs";
}

TEST_F(Report, AClientMayEndAndStartItInItsCallback) {
    {
        std::lock_guard stLock(stMutex);
        pfnInClient = [] {
            Report_Cleanup();
            Report_SetReportCallBack(Callback<false>);
            Report_ManageSetReportCallBack(Callback<true>);
            EXPECT_EQ(0u, Report_Init());
            Send(1, 16);
        };
    }
    Send(1);
    std::vector<Event> astGot = WaitFor(3);
    ASSERT_EQ(3u, astGot.size());
    EXPECT_EQ(16u, astGot[1].ulType) << "the event of the start before goes no further";
    EXPECT_EQ(16u, astGot[2].ulType);
    EXPECT_NE(astGot[0].stThread, astGot[1].stThread);
}

TEST(ReportLife, ManyStartsWithSendersAtWork) {
    std::atomic<bool> bStop{false};
    std::vector<std::thread> astSenders;
    for (int i = 0; i < 3; i++) {
        astSenders.emplace_back([&bStop] {
            while (!bStop) {
                Send(10);
            }
        });
    }
    for (int i = 0; i < 30; i++) {
        Report_SetReportCallBack(Callback<false>);
        ASSERT_EQ(0u, Report_Init());
        std::this_thread::sleep_for(milliseconds(i % 3 * 20));
        Report_Cleanup();
    }
    bStop = true;
    for (std::thread &stSender : astSenders) {
        stSender.join();
    }
}

}  // namespace
