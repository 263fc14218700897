// The packet ring against a plain queue of packets: sizes, order, contents and refusals, and the end of frames.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>

#include "intake/module_rtp.h"
#include "queue/module_queue.h"

namespace {

void Expect(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

struct Model {
    PACKET_BUFFER_QUEUE_S stQueue = {};
    RTP_PAYLOAD_TYPE_S astTable[2] = {};
    std::deque<std::string> oPackets;
    ULONG_32 ulPayload = 0;
    ULONG_32 ulSlots = 0;
    ULONG_32 ulUsed = 0;

    ULONG_32 SlotsFor(size_t ulLen) const {
        return ulLen <= ulPayload ? 1 : static_cast<ULONG_32>((ulLen + ulPayload - 1) / ulPayload);
    }

    void Init(ULONG_32 ulNewPayload, ULONG_32 ulNewSlots) {
        Expect(QUEUE_InitPacketBuffer(&stQueue, ulNewPayload, ulNewSlots) == 0);
        ulPayload = ulNewPayload;
        ulSlots = ulNewSlots;
        ulUsed = 0;
        oPackets.clear();
    }

    void Add(std::string oPacket) {
        ULONG_32 ulLen = static_cast<ULONG_32>(oPacket.size());
        ULONG_32 ulResult = QUEUE_AddPacketEx(oPacket.data(), ulLen, astTable, &stQueue);
        if (ulSlots == 0) {
            Expect(ulResult == 2);
            return;
        }
        bool bFits = ulUsed + SlotsFor(ulLen) < ulSlots;
        Expect(ulResult == (bFits ? 0 : 260));
        if (bFits) {
            ulUsed += SlotsFor(ulLen);
            oPackets.push_back(std::move(oPacket));
        }
    }

    void Take() {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        ULONG_32 ulResult = QUEUE_GetPacketEx(&stQueue, astTable, &pcPacket, &ulLen);
        Expect(ulResult == (oPackets.empty() ? 261 : 0));
        if (ulResult == 0) {
            Expect(std::string(pcPacket, ulLen) == oPackets.front());
            ulUsed -= SlotsFor(ulLen);
            oPackets.pop_front();
        }
        Expect(!oPackets.empty() || stQueue.ulFrameCount == 0);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Model oModel;
    size_t ulPos = 0;
    auto fnByte = [&] { return ulPos < ulSize ? pucData[ulPos++] : 0; };
    while (ulPos < ulSize) {
        int iAct = fnByte();
        if (iAct == 0) {
            ULONG_32 ulPayload = 1U + static_cast<ULONG_32>(fnByte());
            oModel.Init(ulPayload, static_cast<ULONG_32>(fnByte()));
        } else if (iAct == 1) {
            QUEUE_CleanupPacketBuffer(&oModel.stQueue);
            oModel.ulSlots = 0;
            oModel.oPackets.clear();
        } else if (iAct % 2 == 0) {
            size_t ulLen = std::min<size_t>(static_cast<size_t>(iAct) * 2, ulSize - ulPos);
            oModel.Add(std::string(reinterpret_cast<const char *>(pucData) + ulPos, ulLen));
            ulPos += static_cast<size_t>(fnByte());  // packets overlap, so that few bytes make many
        } else {
            oModel.Take();
        }
        ULONG_32 ulUsed = 0;
        QUEUE_GetCurPacketLen(&oModel.stQueue, &ulUsed);
        Expect(ulUsed == (oModel.ulSlots == 0 ? 0 : oModel.ulUsed));
    }
    QUEUE_DestroyPacketBuffer(&oModel.stQueue);
    return 0;
}
