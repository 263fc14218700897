// Blocks of packets through the demux of one port: no read outside a block, no frame larger than its buffer.
//
// Input: blocks, each behind a byte: the low five bits are its packets, bit 7 adds half a packet, bit 6 lends it the
// PIDs of the dialect, so that most packets belong to a stream.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "foundations/com_log.h"
#include "intake/module_ts.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

TS_STREAM_INFO_S Stream(UCHAR *pucFrame) {
    TS_STREAM_INFO_S stStream = {};
    stStream.usPMTPid = 98;
    stStream.usVideoPid = 101;
    stStream.usAudioPid = 257;
    stStream.usDataPid = 165;
    stStream.usRightAudioPid = 258;
    stStream.ulVideoType = PLAYER_PAYLOAD_H264;
    stStream.pucFrameData = pucFrame;
    return stStream;
}

void LendPids(CHAR *pcBlock, size_t ulLen) {
    constexpr UCHAR aucLow[] = {0, 98, 101, 101, 101, 165};
    for (size_t i = 0; i + TS_PACKET_SIZE <= ulLen; i += TS_PACKET_SIZE) {
        pcBlock[i + 1] = static_cast<CHAR>(pcBlock[i + 1] & 0xE0);
        pcBlock[i + 2] = static_cast<CHAR>(aucLow[static_cast<UCHAR>(pcBlock[i + 2]) % sizeof(aucLow)]);
    }
}

void Push(const CHAR *pcBlock, size_t ulLen, uint8_t ucHead, TS_STREAM_INFO_S &stStream) {
    auto acBlock = std::make_unique<CHAR[]>(ulLen);  // of exactly this size, so that a read behind it is seen
    memcpy(acBlock.get(), pcBlock, ulLen);
    if ((ucHead & 0x40) != 0) {
        LendPids(acBlock.get(), ulLen);
    }
    ULONG_32 ulResult = TS_Unpack(acBlock.get(), static_cast<ULONG_32>(ulLen), &stStream);
    Require(ulResult == 0 || (ulResult >= 524 && ulResult <= 526));
    Require(stStream.ulFrameLen <= VIDEO_FRAME_BUFFER_SIZE);
    Require(ulResult == 526 || stStream.ulUpacketContinue == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    static std::vector<UCHAR> aucFrame(VIDEO_FRAME_BUFFER_SIZE);
    TS_STREAM_INFO_S stStream = Stream(aucFrame.data());
    if (ulSize != 0 && (pucData[0] & 0x20) != 0) {
        stStream.ulFrameLen = VIDEO_FRAME_BUFFER_SIZE - 500;  // nearly full
        stStream.ulUpacketContinue = 1;
    }
    for (size_t ulAt = 0; ulAt < ulSize;) {
        const uint8_t ucHead = pucData[ulAt++];
        size_t ulLen = (ucHead & 0x1FU) * TS_PACKET_SIZE + ((ucHead & 0x80) != 0 ? TS_PACKET_SIZE / 2 : 0);
        ulLen = ulLen < ulSize - ulAt ? ulLen : ulSize - ulAt;
        Push(reinterpret_cast<const CHAR *>(pucData + ulAt), ulLen, ucHead, stStream);
        ulAt += ulLen;
    }
    return 0;
}
