// The queues of a port: a packet through the ring, and a 1080p picture through the picture queue beside one memcpy of
// the same bytes. The counter "ratio" is the queue's time over the peer's.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "queue/module_queue.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr ULONG_32 PACKET_SIZE = 1400;
constexpr ULONG_32 SLOT_PAYLOAD = 2048;
constexpr ULONG_32 SLOTS = 1000;
constexpr LONG_32 STRIDE = 1920;
constexpr LONG_32 HEIGHT = 1080;
constexpr ULONG_32 NODES = 3;
constexpr size_t LUMA = static_cast<size_t>(STRIDE) * HEIGHT;
constexpr size_t PICTURE_SIZE = LUMA * 3 / 2;

double Seconds(Clock::time_point tiFrom) { return std::chrono::duration<double>(Clock::now() - tiFrom).count(); }

/* ---- packet ring ----------------------------------------------------------------------------------------------- */

bool PassPacket(PACKET_BUFFER_QUEUE_S *pstQueue, std::vector<CHAR> &oPacket) {
    CHAR *pcOut = nullptr;
    ULONG_32 ulLen = 0;
    return QUEUE_AddPacket(oPacket.data(), PACKET_SIZE, pstQueue) == 0 &&
           QUEUE_GetPacket(pstQueue, &pcOut, &ulLen) == 0 && ulLen == PACKET_SIZE &&
           memcmp(pcOut, oPacket.data(), PACKET_SIZE) == 0;
}

// Add and Get in batches, as a burst of packets comes; the peer copies the same bytes to and from the same memory.
void PacketRing(benchmark::State &oState) {
    const ULONG_32 ulBatch = static_cast<ULONG_32>(oState.range(0));
    PACKET_BUFFER_QUEUE_S stQueue = {};
    std::vector<CHAR> oPacket(PACKET_SIZE, 'p');
    if (QUEUE_InitPacketBuffer(&stQueue, SLOT_PAYLOAD, SLOTS) != 0 || !PassPacket(&stQueue, oPacket)) {
        oState.SkipWithError("a packet did not come through whole");
        return;
    }
    for (auto _ : oState) {
        for (ULONG_32 i = 0; i < ulBatch; i++) {
            benchmark::DoNotOptimize(QUEUE_AddPacket(oPacket.data(), PACKET_SIZE, &stQueue));
        }
        CHAR *pcOut = nullptr;
        ULONG_32 ulLen = 0;
        for (ULONG_32 i = 0; i < ulBatch; i++) {
            benchmark::DoNotOptimize(QUEUE_GetPacket(&stQueue, &pcOut, &ulLen));
        }
    }
    oState.SetItemsProcessed(oState.iterations() * ulBatch);
    QUEUE_CleanupPacketBuffer(&stQueue);
}

void PacketTwoMemcpy(benchmark::State &oState) {
    const ULONG_32 ulBatch = static_cast<ULONG_32>(oState.range(0));
    std::vector<CHAR> oPacket(PACKET_SIZE, 'p');
    std::vector<CHAR> oSlots(static_cast<size_t>(SLOT_PAYLOAD) * SLOTS);
    std::vector<CHAR> oOut(PACKET_SIZE);
    size_t ulSlot = 0;
    for (auto _ : oState) {
        for (ULONG_32 i = 0; i < ulBatch; i++) {
            memcpy(&oSlots[(ulSlot + i) % SLOTS * SLOT_PAYLOAD], oPacket.data(), PACKET_SIZE);
            benchmark::ClobberMemory();
        }
        for (ULONG_32 i = 0; i < ulBatch; i++) {
            memcpy(oOut.data(), &oSlots[(ulSlot + i) % SLOTS * SLOT_PAYLOAD], PACKET_SIZE);
            benchmark::ClobberMemory();
        }
        ulSlot += ulBatch;
    }
    oState.SetItemsProcessed(oState.iterations() * ulBatch);
}

BENCHMARK(PacketRing)->Arg(1)->Arg(40);
BENCHMARK(PacketTwoMemcpy)->Arg(1)->Arg(40);

/* ---- picture queue --------------------------------------------------------------------------------------------- */

struct Source {
    std::vector<UCHAR> oBytes = std::vector<UCHAR>(PICTURE_SIZE, 77);
    CODE_DECODED_DATA_S stData = {};

    Source() {
        stData.pucData[0] = oBytes.data();
        stData.pucData[1] = oBytes.data() + LUMA;
        stData.pucData[2] = oBytes.data() + LUMA * 5 / 4;
        stData.lLineSize[0] = stData.lWidth = STRIDE;
        stData.lLineSize[1] = stData.lLineSize[2] = STRIDE / 2;
        stData.lHeight = HEIGHT;
    }
};

bool PassPicture(DECODED_BUFFER_QUEUE_S *pstQueue, Source &oSource, CODE_DECODED_DATA_S **ppstHeld) {
    return QUEUE_AddDecodeData(&oSource.stData, 0, pstQueue) == 0 && QUEUE_GetDecodeData(pstQueue, ppstHeld) == 0 &&
           memcmp((*ppstHeld)->pucData[0], oSource.oBytes.data(), LUMA) == 0 &&
           memcmp((*ppstHeld)->pucData[1], oSource.oBytes.data() + LUMA, LUMA / 2) == 0;
}

// Queue and peer take turns, so that both meet the same machine. The peer has as many pictures to copy to.
void Picture1080p(benchmark::State &oState) {
    DECODED_BUFFER_QUEUE_S stQueue = {};
    CODE_DECODED_DATA_S *pstHeld = nullptr;
    Source oSource;
    QUEUE_InitDecodedBufferQueue(&stQueue, NODES);
    QUEUE_GetDecodeData(&stQueue, &pstHeld);
    for (ULONG_32 i = 0; i < 2 * NODES; i++) {
        if (!PassPicture(&stQueue, oSource, &pstHeld)) {
            oState.SkipWithError("a picture did not come through whole");
            return;
        }
    }
    std::vector<std::vector<UCHAR>> oPeer(NODES, std::vector<UCHAR>(PICTURE_SIZE));
    double dQueue = 0;
    double dPeer = 0;
    size_t ulTurn = 0;
    for (auto _ : oState) {
        Clock::time_point tiStart = Clock::now();
        QUEUE_AddDecodeData(&oSource.stData, 0, &stQueue);
        QUEUE_GetDecodeData(&stQueue, &pstHeld);
        double dTime = Seconds(tiStart);
        oState.SetIterationTime(dTime);
        dQueue += dTime;
        tiStart = Clock::now();
        memcpy(oPeer[ulTurn++ % NODES].data(), oSource.oBytes.data(), PICTURE_SIZE);
        benchmark::ClobberMemory();
        dPeer += Seconds(tiStart);
    }
    oState.counters["memcpy_us"] = 1e6 * dPeer / static_cast<double>(oState.iterations());
    oState.counters["ratio"] = dQueue / dPeer;
    oState.SetBytesProcessed(oState.iterations() * static_cast<int64_t>(PICTURE_SIZE));
    QUEUE_DestroyDecodedBufferQueue(&stQueue);
}

BENCHMARK(Picture1080p)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
