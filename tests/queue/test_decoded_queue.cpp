#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "analytics/module_iva.h"
#include "queue/module_queue.h"
#include "support/analytics_bytes.h"
#include "support/elapsed.h"

namespace {

// A source picture whose every byte is its number.
class Picture {
 public:
    Picture(LONG_32 lStride, LONG_32 lHeight, int iNumber, LONG_32 lChromaStride = -1) {
        m_st.lLineSize[0] = lStride;
        m_st.lLineSize[1] = m_st.lLineSize[2] = lChromaStride < 0 ? lStride / 2 : lChromaStride;
        m_st.lWidth = lStride;
        m_st.lHeight = lHeight;
        m_st.lDuration = 40;
        m_st.dulTimeStamp = 90000;
        for (int i = 0; i < 3; i++) {
            size_t ulRows = static_cast<size_t>(i == 0 ? lHeight : (lHeight + 1) / 2);
            m_oPlanes[i].assign(ulRows * static_cast<size_t>(m_st.lLineSize[i]), static_cast<UCHAR>(iNumber));
            m_st.pucData[i] = m_oPlanes[i].data();
        }
    }
    CODE_DECODED_DATA_S *operator->() { return &m_st; }
    operator CODE_DECODED_DATA_S *() { return &m_st; }
    std::vector<UCHAR> &Plane(int i) { return m_oPlanes[i]; }

 private:
    std::vector<UCHAR> m_oPlanes[3];
    CODE_DECODED_DATA_S m_st = {};
};

class Queue {
 public:
    explicit Queue(ULONG_32 ulNodes) { EXPECT_EQ(0U, QUEUE_InitDecodedBufferQueue(&m_st, ulNodes)); }
    ~Queue() { QUEUE_DestroyDecodedBufferQueue(&m_st); }
    DECODED_BUFFER_QUEUE_S *operator->() { return &m_st; }
    DECODED_BUFFER_QUEUE_S *Get() { return &m_st; }
    ULONG_32 Add(CODE_DECODED_DATA_S *pstPicture) { return QUEUE_AddDecodeData(pstPicture, 0, &m_st); }
    ULONG_32 AddNumber(int iNumber) { return Add(Picture(64, 16, iNumber)); }
    ULONG_32 Next() { return QUEUE_GetDecodeData(&m_st, &m_pstHeld); }
    // The number of the picture held, or -1 if it is torn.
    int Held() const {
        const CODE_DECODED_DATA_S &stData = *m_pstHeld;
        size_t ulLuma = static_cast<size_t>(stData.lLineSize[0]) * static_cast<size_t>(stData.lHeight);
        size_t ulLine = static_cast<size_t>(stData.lLineSize[1]);
        size_t ulHalf = static_cast<size_t>(stData.lHeight) * ulLine / 2;
        size_t ulLast = (static_cast<size_t>(stData.lHeight + 1) / 2 - 1) * ulLine;  // to the last row's last pixel
        size_t ulChroma = std::min(ulHalf, ulLast + std::min(ulLine, static_cast<size_t>(stData.lWidth) / 2));
        UCHAR ucNumber = stData.pucData[0][0];
        bool bWhole = IsAll(stData.pucData[0], ulLuma, ucNumber) && IsAll(stData.pucData[1], ulChroma, ucNumber) &&
                      IsAll(stData.pucData[2], ulChroma, ucNumber);
        return bWhole ? ucNumber : -1;
    }
    CODE_DECODED_DATA_S *HeldPicture() const { return m_pstHeld; }
    static bool IsAll(const UCHAR *pucData, size_t ulSize, UCHAR ucValue) {
        return static_cast<size_t>(std::count(pucData, pucData + ulSize, ucValue)) == ulSize;
    }

 private:
    DECODED_BUFFER_QUEUE_S m_st = {};
    CODE_DECODED_DATA_S *m_pstHeld = nullptr;
};

TEST(DecodedQueue, StartsWithAGreyPicture) {
    for (ULONG_32 ulNodes : {2U, 3U}) {
        Queue oQueue(ulNodes);
        ASSERT_EQ(0U, oQueue.Next());
        const CODE_DECODED_DATA_S &stGrey = *oQueue.HeldPicture();
        EXPECT_EQ(800, stGrey.lWidth);
        EXPECT_EQ(600, stGrey.lHeight);
        EXPECT_EQ(1, stGrey.bFullWnd);
        EXPECT_TRUE(Queue::IsAll(stGrey.pucData[0], 480000, 62));
        EXPECT_TRUE(Queue::IsAll(stGrey.pucData[1], 240000, 128));
        EXPECT_EQ(stGrey.pucData[1] + 120000, stGrey.pucData[2]);
        EXPECT_EQ(0, oQueue->bIsQueueData);
        EXPECT_EQ(261U, oQueue.Next());
        EXPECT_EQ(0U, oQueue.AddNumber(9));
        EXPECT_EQ(1, oQueue->bIsQueueData);
        ASSERT_EQ(0U, oQueue.Next());
        EXPECT_EQ(9, oQueue.Held());
        EXPECT_EQ(0, stGrey.bUsingData + stGrey.bFullWnd);
    }
}

// Full with a picture held: the oldest waiting one goes (of two nodes, the reader gets always the newest). Full with
// none ever taken: all that wait are given up.
TEST(DecodedQueue, DropsTheOldestAndNeverTheHeldOne) {
    std::mt19937 oRandom(11);
    for (ULONG_32 ulNodes : {2U, 3U, 4U, 7U}) {
        Queue oQueue(ulNodes);
        std::deque<int> oWaiting = {-1};  // the grey picture counts as one that waits
        int iHeld = -2;
        for (int i = 0; i < 3000; i++) {
            if (oRandom() % 5 < (i / 100 % 2 != 0 ? 2U : 4U)) {
                bool bFull = oWaiting.size() == ulNodes - 1;
                ASSERT_EQ(0U, oQueue.AddNumber(i % 251));
                oWaiting.push_back(i % 251);
                if (bFull && iHeld == -2) {
                    oWaiting.clear();
                } else if (bFull) {
                    oWaiting.pop_front();
                }
            } else if (oWaiting.empty()) {
                ASSERT_EQ(261U, oQueue.Next());
            } else {
                ASSERT_EQ(0U, oQueue.Next());
                iHeld = oWaiting.front();
                oWaiting.pop_front();
            }
            ASSERT_TRUE(iHeld < 0 || iHeld == oQueue.Held());
        }
    }
}

TEST(DecodedQueue, SingleNodeIsAlwaysGiven) {
    Queue oQueue(1);
    ASSERT_EQ(0U, oQueue.Next());
    CODE_DECODED_DATA_S *pstNode = oQueue.HeldPicture();
    EXPECT_EQ(62, pstNode->pucData[0][0]);
    EXPECT_EQ(0U, oQueue.AddNumber(3));
    EXPECT_EQ(3, oQueue.Held());  // written under the reader
    ASSERT_EQ(0U, oQueue.Next());
    EXPECT_EQ(pstNode, oQueue.HeldPicture());
    EXPECT_EQ(0, pstNode->bUsingData);
    EXPECT_EQ(0U, oQueue.Next());
    UCHAR *pucShown = pstNode->pucData[0];
    for (int i = 0; i < 40; i++) {  // sizes change while the reader stays on what it has
        ASSERT_EQ(0U, oQueue.Add(Picture(2 * (600 + i % 5 * 200), 700 + i, 5)));
    }
    EXPECT_EQ(3, pucShown[0]);
    EXPECT_GT(oQueue->ulRetiredNum, 0U);
    ASSERT_EQ(0U, oQueue.Next());
    EXPECT_EQ(0U, oQueue->ulRetiredNum) << "what nobody can show any more is freed";
    EXPECT_EQ(5, oQueue.Held());
    EXPECT_EQ(739, oQueue.HeldPicture()->lHeight);
    ASSERT_EQ(0U, oQueue.Add(Picture(2400, 900, 6)));
    QUEUE_CleanupDecodedBufferQueue(oQueue.Get());
    EXPECT_EQ(0U, oQueue->ulRetiredNum);
}

// A picture with overlays; what the queue does not own at its end is freed with it, so that LeakSanitizer and ASan see
// whatever has no owner or two.
class WithOverlays : public Picture {
 public:
    WithOverlays() : Picture(64, 16, 1) {
        IVA_INFO_S stInfo = {};
        stInfo.bDRVEnable = 1;
        std::string strFrame = support::DataFrame(16, support::ListV2<support::Target>({{}}));
        DataParse(&stInfo, strFrame.data(), static_cast<LONG_32>(strFrame.size()));
        Info().hIvaInfo = DataCopy(25, &stInfo);
        Info().hPtzCtrlInfo = malloc(440);
        IVA_FreeBuffers(&stInfo);
    }
    ~WithOverlays() {
        FreeInfo(&Info().hIvaInfo);
        free(Info().hPtzCtrlInfo);
    }
    CODE_DRAWINFO_S &Info() { return (*this)->stDrawInfo; }
    bool HasMoved() { return Info().hIvaInfo == nullptr && Info().hPtzCtrlInfo == nullptr; }
};

TEST(DecodedQueue, OverlaysMoveWithTheirPicture) {
    for (ULONG_32 ulNodes : {1U, 2U, 3U}) {
        Queue oQueue(ulNodes);
        oQueue.Next();
        for (int i = 0; i < 100; i++) {  // far more than are read, or than a single node remembers
            if (ulNodes == 1 && i % 50 == 10) {
                oQueue.Next();
            }
            WithOverlays oPicture;
            const HANDLE hIvaInfo = oPicture.Info().hIvaInfo;
            ASSERT_EQ(0U, oQueue.Add(oPicture));
            EXPECT_TRUE(oPicture.HasMoved());
            if (i % 50 == 10) {
                while (ulNodes > 1 && oQueue.Next() == 0) {
                }
                ASSERT_EQ(ulNodes > 1 ? 261U : 0U, oQueue.Next());
                EXPECT_EQ(hIvaInfo, oQueue.HeldPicture()->stDrawInfo.hIvaInfo);
                EXPECT_NE(nullptr, oQueue.HeldPicture()->stDrawInfo.hPtzCtrlInfo);
            }
        }
        oQueue.Next();
        const HANDLE hShown = oQueue.HeldPicture()->stDrawInfo.hIvaInfo;
        oQueue.AddNumber(2);
        EXPECT_EQ(1U, static_cast<IVA_INFO_S *>(hShown)->ulMetaDataVersion - 1) << "what is shown stays";
        oQueue.AddNumber(3);
        while (ulNodes > 1 && oQueue.Next() == 0) {
        }
        EXPECT_EQ(nullptr, oQueue.HeldPicture()->stDrawInfo.hIvaInfo) << "a picture without overlays";
        WithOverlays oLast;
        oQueue.Add(oLast);
        WithOverlays oLarger;
        oLarger->lHeight = 8;
        EXPECT_EQ(0U, oQueue.Add(oLarger)) << "of another size";
        QUEUE_CleanupDecodedBufferQueue(oQueue.Get());
        WithOverlays oLate;
        EXPECT_EQ(2U, oQueue.Add(oLate));
        EXPECT_FALSE(oLate.HasMoved()) << "a refused picture keeps them";
    }
}

TEST(DecodedQueue, RefusesWhatIsNoPicture) {
    Queue oQueue(3);
    const std::pair<ULONG_32, void (*)(CODE_DECODED_DATA_S &)> astRows[] = {
        {2, [](CODE_DECODED_DATA_S &st) { st.pucData[0] = nullptr; }},
        {2, [](CODE_DECODED_DATA_S &st) { st.pucData[2] = nullptr; }},
        {2, [](CODE_DECODED_DATA_S &st) { st.lWidth = 65; }},
        {2, [](CODE_DECODED_DATA_S &st) { st.lHeight = -1; }},
        {2, [](CODE_DECODED_DATA_S &st) { st.lLineSize[1] = -32; }},
        {3, [](CODE_DECODED_DATA_S &st) { st.lHeight = 0x7FFFFFFF; }},
    };
    for (const auto &[ulResult, pfnDamage] : astRows) {
        Picture oPicture(64, 16, 1);
        pfnDamage(*oPicture);
        EXPECT_EQ(ulResult, oQueue.Add(oPicture));
    }
    ASSERT_EQ(0U, oQueue.Next());  // nothing of this went in beside the grey picture
    EXPECT_EQ(261U, oQueue.Next());

    DECODED_BUFFER_QUEUE_S stQueue = {};
    CODE_DECODED_DATA_S *pstData = nullptr;
    EXPECT_EQ(2U, QUEUE_InitDecodedBufferQueue(&stQueue, 0));
    EXPECT_EQ(3U, QUEUE_InitDecodedBufferQueue(&stQueue, 0xFFFFFFFF));
    EXPECT_EQ(2U, QUEUE_AddDecodeData(Picture(64, 16, 1), 0, &stQueue));
    EXPECT_EQ(261U, QUEUE_GetDecodeData(&stQueue, &pstData));
    QUEUE_CleanupDecodedBufferQueue(&stQueue);
}

TEST(DecodedQueue, MakesRoomForWideChromaAndKeepsPlanes) {
    for (ULONG_32 ulNodes : {1U, 2U}) {
        Queue oQueue(ulNodes);
        oQueue.Next();
        for (LONG_32 lChroma : {32, 64, 20, 48, 48, 96, 2}) {
            for (LONG_32 lHeight : {16, 17}) {
                ASSERT_EQ(0U, oQueue.Add(Picture(64, lHeight, lChroma, lChroma)));
                ASSERT_EQ(0U, oQueue.Next());
                EXPECT_EQ(lChroma, oQueue.Held());
                EXPECT_EQ(lChroma, oQueue.HeldPicture()->lLineSize[1]);
            }
        }
    }
    Queue oQueue(2);
    UCHAR *apucPlanes[4] = {};
    for (UCHAR *&pucPlane : apucPlanes) {
        oQueue.Next();
        oQueue.AddNumber(3);
        oQueue.Next();
        pucPlane = oQueue.HeldPicture()->pucData[0];
    }
    EXPECT_EQ(apucPlanes[1], apucPlanes[3]);
    EXPECT_NE(apucPlanes[2], apucPlanes[3]);
}

TEST(DecodedQueue, ClosesAndOpensUnderTheWriter) {
    Queue oQueue(3);
    std::atomic<bool> bRun = true;
    std::atomic<int> iAdded = 0;
    std::thread oWriter([&] {
        Picture oSmall(320, 240, 1);
        Picture oLarge(640, 480, 2);
        for (int i = 0; bRun; i++) {
            ULONG_32 ulResult = oQueue.Add(i % 2 != 0 ? oSmall : oLarge);
            EXPECT_TRUE(ulResult == 0 || ulResult == 2);
            iAdded += ulResult == 0;
        }
    });
    for (int i = 0; i < 40; i++) {
        int iSeen = iAdded;
        while (iAdded == iSeen) {
            std::this_thread::yield();
        }
        QUEUE_CleanupDecodedBufferQueue(oQueue.Get());
        ASSERT_EQ(0U, QUEUE_InitDecodedBufferQueue(oQueue.Get(), 1 + static_cast<ULONG_32>(i) % 4));
    }
    bRun = false;
    oWriter.join();
}

TEST(DecodedQueue, ReaderNeverSeesATornPicture) {
    for (ULONG_32 ulNodes : {2U, 3U, 5U}) {
        Queue oQueue(ulNodes);
        std::atomic<bool> bRun = true;
        std::thread oWriter([&] {
            for (int i = 0; i < 3000; i++) {
                ASSERT_EQ(0U, oQueue.Add(Picture(i / 500 % 2 != 0 ? 64 : 96, 32, i % 250)));
                if (i % 7 == 0) {
                    std::this_thread::sleep_for(std::chrono::microseconds(50));
                }
            }
            bRun = false;
            QUEUE_WakeDecodeReader(oQueue.Get());
        });
        oQueue.Next();
        int iTaken = 0;
        bool bMore = true;
        while (bMore || bRun) {
            bMore = oQueue.Next() == 0;
            if (!bMore) {
                QUEUE_WaitForDecodeData(oQueue.Get(), 1000);
            } else if (oQueue.HeldPicture()->lHeight == 32) {
                EXPECT_GE(oQueue.Held(), 0);
                iTaken++;
            }
        }
        oWriter.join();
        while (oQueue.Next() == 0) {
        }
        EXPECT_GT(iTaken, 0);
        EXPECT_EQ(2999 % 250, oQueue.Held());
    }
}

TEST(DecodedQueue, WaitingReaderWakes) {
    for (ULONG_32 ulNodes : {1U, 3U}) {
        Queue oQueue(ulNodes);
        oQueue.Next();
        auto fnWait = [&] { return QUEUE_WaitForDecodeData(oQueue.Get(), 5000); };
        EXPECT_FALSE(QUEUE_WaitForDecodeData(oQueue.Get(), 1));
        ExpectWake([&] { EXPECT_TRUE(fnWait()); }, [&] { oQueue.AddNumber(1); });
        oQueue.Next();
        ExpectWake([&] { EXPECT_FALSE(fnWait()); }, [&] { QUEUE_WakeDecodeReader(oQueue.Get()); });
        QUEUE_WakeDecodeReader(oQueue.Get());
        EXPECT_LT(ElapsedMs([&] { EXPECT_FALSE(fnWait()); }), 2000);
    }
}

// A plane whose last pixel lies in front of memory that nobody may read, as a crop from the left can leave it.
class EdgePlane {
 public:
    EdgePlane(LONG_32 lStride, LONG_32 lWidth, LONG_32 lRows)
        : m_ulSize(static_cast<size_t>((lRows - 1) * lStride + lWidth)) {
        m_pucMap = static_cast<UCHAR *>(
            mmap(nullptr, ROOM + PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(m_pucMap + ROOM, PAGE, PROT_NONE);
        std::fill_n(First(), m_ulSize, UCHAR{7});
    }
    ~EdgePlane() { munmap(m_pucMap, ROOM + PAGE); }
    EdgePlane(const EdgePlane &) = delete;
    EdgePlane &operator=(const EdgePlane &) = delete;
    UCHAR *First() const { return m_pucMap + ROOM - m_ulSize; }

 private:
    static constexpr size_t PAGE = 4096;
    static constexpr size_t ROOM = 16 * PAGE;
    size_t m_ulSize;
    UCHAR *m_pucMap;
};

TEST(DecodedQueue, ReadsNothingBehindTheLastPixel) {
    Queue oQueue(2);
    oQueue.Next();
    const LONG_32 alRows[][5] = {
        {256, 56, 32, 128, 28}, {256, 255, 33, 128, 128}, {64, 64, 2, 32, 32}, {640, 33, 17, 640, 17}};
    for (const auto &[lStride, lWidth, lHeight, lChromaStride, lChromaWidth] : alRows) {
        const EdgePlane oY(lStride, lWidth, lHeight);
        const EdgePlane oU(lChromaStride, lChromaWidth, (lHeight + 1) / 2);
        const EdgePlane oV(lChromaStride, lChromaWidth, (lHeight + 1) / 2);
        CODE_DECODED_DATA_S stPicture = {};
        UCHAR *const apucPlanes[] = {oY.First(), oU.First(), oV.First()};
        std::copy_n(apucPlanes, 3, stPicture.pucData);
        stPicture.lLineSize[0] = lStride;
        stPicture.lLineSize[1] = stPicture.lLineSize[2] = lChromaStride;
        stPicture.lWidth = lWidth;
        stPicture.lHeight = lHeight;
        ASSERT_EQ(0U, oQueue.Add(&stPicture));
        ASSERT_EQ(0U, oQueue.Next());
        for (LONG_32 y = 0; y < lHeight; y++) {
            ASSERT_TRUE(Queue::IsAll(oQueue.HeldPicture()->pucData[0] + y * lStride, static_cast<size_t>(lWidth), 7));
        }
        ASSERT_EQ(0U,
                  QUEUE_AddDecodeDataWithCompress(&stPicture, 0, lStride / 2, lWidth / 2, lHeight / 2, oQueue.Get()));
    }
}

/* ---- halved pictures ------------------------------------------------------------------------------------------- */

TEST(DecodedQueue, HoldsHalvedPictures) {
    Queue oQueue(2);
    oQueue.Next();
    Picture oSource(64, 34, 8);
    auto fnAdd = [&](LONG_32 lLine, LONG_32 lWidth, LONG_32 lHeight) {
        return QUEUE_AddDecodeDataWithCompress(oSource, 0, lLine, lWidth, lHeight, oQueue.Get());
    };
    for (LONG_32 lHeight : {16, 17}) {
        ASSERT_EQ(0U, fnAdd(32, 30, lHeight));
        ASSERT_EQ(0U, oQueue.Next());
        const CODE_DECODED_DATA_S &stData = *oQueue.HeldPicture();
        EXPECT_EQ(30, stData.lWidth);
        EXPECT_EQ(stData.pucData[0] + 32 * lHeight * 5 / 4, stData.pucData[2]);
        EXPECT_EQ(8, oQueue.Held());
        EXPECT_EQ(0U, oQueue.AddNumber(9));  // whole pictures in between
        ASSERT_EQ(0U, oQueue.Next());
        EXPECT_EQ(9, oQueue.Held());
    }
    EXPECT_EQ(0U, fnAdd(31, 30, 16));  // the strides do not fit: nothing is queued
    EXPECT_EQ(261U, oQueue.Next());
    EXPECT_EQ(2U, fnAdd(32, 33, 16));
    EXPECT_EQ(2U, fnAdd(0, 0, 16));
    EXPECT_EQ(2U, fnAdd(32, 32, 0));
}

}  // namespace
