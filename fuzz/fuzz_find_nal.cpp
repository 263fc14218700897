// Searches in Annex B buffers: what is found lies inside the buffer.
//
// Input: payload (odd: H.265), unit type, then the buffer.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "intake/module_rtp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    if (ulSize < 2) {
        return 0;
    }
    LONG_32 lPayload = pucData[0] & 1 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264;
    UCHAR ucNal = pucData[1] & 63;
    size_t ulLen = ulSize - 2;
    std::unique_ptr<UCHAR[]> pucBuffer(new UCHAR[ulLen]);
    memcpy(pucBuffer.get(), pucData + 2, ulLen);
    UCHAR *pucFound = nullptr;
    LONG_32 lFound = -1;
    if (RTP_FindDataByNAL(lPayload, ucNal, pucBuffer.get(), static_cast<LONG_32>(ulLen), &pucFound, &lFound) == 0) {
        bool bInside = pucFound >= pucBuffer.get() + 4 && lFound >= 0 &&
                       static_cast<size_t>(pucFound - pucBuffer.get()) + static_cast<size_t>(lFound) <= ulLen;
        if (!bInside) {
            abort();
        }
    }
    LONG_32 lType = RTP_ParseFrameType(pucBuffer.get(), static_cast<ULONG_32>(ulLen));
    return lType == PLAYER_VIDEO_FRAME_I || lType == PLAYER_VIDEO_FRAME_P ? 0 : (abort(), 0);
}
