// The watermark test of frames, one after the other on one port. Input: for each a byte that chooses the coding, its
// length in two bytes, and the frame. The last one lies at the buffer's end, so that sampling meets it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundations/bytes.h"
#include "zelvane_modules.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static const LONG_32 alPayload[] = {PLAYER_PAYLOAD_H264, PLAYER_PAYLOAD_H265, PLAYER_PAYLOAD_AAC};
    static const std::unique_ptr<UCHAR[]> aucBuffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    static const std::unique_ptr<PLAEYR_PORT_S> pstPort = std::make_unique<PLAEYR_PORT_S>();
    pstPort->stMarkInfo = {};
    bytes::Reader stInput(pucData, ulSize);
    for (int i = 0; i < 16 && stInput.Left() > 3; i++) {
        const UCHAR ucChoice = stInput.U8();
        const size_t ulLen = std::min<size_t>(stInput.U16Be(), stInput.Left());
        const bool bAtEnd = stInput.Left() == ulLen && ucChoice >= 0xF0;  // seldom: that scans the whole buffer
        UCHAR *pucFrame = aucBuffer.get() + (bAtEnd ? VIDEO_FRAME_BUFFER_SIZE - ulLen : 0);
        memcpy(pucFrame, stInput.Take(ulLen), ulLen);
        pstPort->stFrameData.pucData = aucBuffer.get();
        pstPort->stFrameData.lDataLen = static_cast<LONG_32>(bAtEnd ? size_t{VIDEO_FRAME_BUFFER_SIZE} : ulLen);
        pstPort->stFrameData.lPayload = alPayload[ucChoice % 3];
        Require(Player_CheckOneFrame(pstPort.get()) <= 1);
        Require(pstPort->stMarkInfo.ulState <= CHECK_STATE_MISMARCH && pstPort->stMarkInfo.ulWaterMarkLen <= 256);
        memset(pucFrame, 0, ulLen);
    }
    return 0;
}
