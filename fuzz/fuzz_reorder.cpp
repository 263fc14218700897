// The reorder window under any order of calls: it stays inside its memory and gives out only what was put in.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "queue/module_queue.h"

namespace {

void Expect(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

class Target {
 public:
    ~Target() { QUEUE_CleanupAdjustPktSeqQueue(&m_st); }

    void Init(ULONG_32 ulSize, ULONG_32 ulSlots) {
        ULONG_32 ulResult = QUEUE_InitAdjustPktSeqQueue(&m_st, ulSize, ulSlots);
        Expect(ulResult == (ulSize == 0 || ulSlots == 0 ? 2 : 0));
        if (ulResult == 0) {
            m_oKnown.clear();
        }
    }

    void Add(const uint8_t *pucPacket, size_t ulLen) {
        std::string oPacket(reinterpret_cast<const char *>(pucPacket), ulLen);
        if (QUEUE_AddAdjustPktSeqData(oPacket.data(), static_cast<ULONG_32>(ulLen), &m_st) == 0 && ulLen != 0) {
            Expect(ulLen >= 4 && ulLen < m_st.ulOneBufSize);
            m_oKnown.insert(std::move(oPacket));
        }
    }

    void Take() {
        CHAR *pcPacket = nullptr;
        ULONG_32 ulLen = 0;
        ULONG_32 ulResult = QUEUE_GetAdjustPktSeqData(&m_st, &pcPacket, &ulLen);
        Expect(ulResult == 0 || ulResult == 261);
        Expect(ulResult != 0 || m_oKnown.count(std::string(pcPacket, ulLen)) == 1);
    }

    void Cleanup() { QUEUE_CleanupAdjustPktSeqQueue(&m_st); }

 private:
    ADJUST_PACKET_SEQ_QUEUE_S m_st = {};
    std::set<std::string> m_oKnown;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Target oTarget;
    size_t ulPos = 0;
    auto fnByte = [&] { return ulPos < ulSize ? pucData[ulPos++] : 0; };
    while (ulPos < ulSize) {
        int iAct = fnByte();
        if (iAct == 0) {
            ULONG_32 ulPacketSize = static_cast<ULONG_32>(fnByte());
            oTarget.Init(ulPacketSize, static_cast<ULONG_32>(fnByte()));
        } else if (iAct == 1) {
            oTarget.Cleanup();
        } else if (iAct < 128) {
            oTarget.Take();
        } else {
            size_t ulLen = std::min(static_cast<size_t>(iAct - 128), ulSize - ulPos);
            oTarget.Add(pucData + ulPos, ulLen);
            ulPos += std::min<size_t>(ulLen, 4);  // packets overlap, so that few bytes make many
        }
    }
    return 0;
}
