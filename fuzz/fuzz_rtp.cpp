// A stream of packets through the depacketiser: no read outside a packet, no frame larger than its buffer.
//
// Input: flags, a table of two rows (payload type and media type each) if the flags say so, then packets, each behind a
// 16-bit big-endian length.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundations/com_log.h"
#include "intake/module_rtp.h"

namespace {

enum : uint8_t { FLAG_TABLE = 1, FLAG_AUDIO_INFO = 2, FLAG_NEARLY_FULL = 4, FLAG_KEEP_FRAMES = 8 };

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

struct Input {
    const uint8_t *pucAt;
    size_t ulLeft;
    uint8_t Byte() {
        if (ulLeft == 0) {
            return 0;
        }
        --ulLeft;
        return *pucAt++;
    }
};

RTP_PAYLOAD_TYPE_S Row(Input &stIn) {
    RTP_PAYLOAD_TYPE_S stRow{};
    stRow.ucPayloadType = stIn.Byte() & 127;
    uint8_t ucType = stIn.Byte();
    stRow.enPayloadType = static_cast<PLAYER_PAYLOAD_E>(ucType % PLAYER_PAYLOAD_MAX_NUM);
    stRow.ulSampleRate = ucType & 128 ? 0 : 8000;
    return stRow;
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

void CheckFrames(const RTP_STREAM_INFO_S &stVideo, const RTP_STREAM_INFO_S &stAudio) {
    Require(stVideo.ulFrameLen < VIDEO_FRAME_BUFFER_SIZE);
    Require(stAudio.ulFrameLen < AUDIO_FRAME_BUFFER_SIZE);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static UCHAR *const pucVideo = static_cast<UCHAR *>(calloc(1, VIDEO_FRAME_BUFFER_SIZE));
    static UCHAR *const pucAudio = static_cast<UCHAR *>(calloc(1, AUDIO_FRAME_BUFFER_SIZE));
    static const ULONG_32 ulSink = Log_SetSysLogCB(DropLine);
    Require(ulSink == 0);
    Input stIn{pucData, ulSize};
    uint8_t ucFlags = stIn.Byte();
    RTP_PAYLOAD_TYPE_S astTable[2] = {};
    if (ucFlags & FLAG_TABLE) {
        astTable[0] = Row(stIn);
        astTable[1] = Row(stIn);
    }
    RTP_AUDIO_INFO_S stInfo{2, 8, 1, 0};
    RTP_STREAM_INFO_S stVideo{};
    RTP_STREAM_INFO_S stAudio{};
    stVideo.pucFrameData = pucVideo;
    stAudio.pucFrameData = pucAudio;
    if (ucFlags & FLAG_NEARLY_FULL) {
        const UCHAR aucSlice[5] = {0, 0, 0, 1, 0x41};  // ends the search for the frame's type at once
        memcpy(pucVideo, aucSlice, sizeof(aucSlice));
        stVideo.ulFrameLen = VIDEO_FRAME_BUFFER_SIZE - 1 - stIn.Byte();
        stAudio.ulFrameLen = AUDIO_FRAME_BUFFER_SIZE - 1 - stIn.Byte();
    }
    RTP_PAYLOAD_TYPE_S *pstTable = ucFlags & FLAG_TABLE ? astTable : nullptr;
    RTP_AUDIO_INFO_S *pstInfo = ucFlags & FLAG_AUDIO_INFO ? &stInfo : nullptr;
    while (stIn.ulLeft != 0) {
        size_t ulLen = stIn.Byte() << 8;
        ulLen = ulLen | stIn.Byte();
        ulLen = ulLen < stIn.ulLeft ? ulLen : stIn.ulLeft;
        std::unique_ptr<CHAR[]> pcPacket(new CHAR[ulLen]);  // of exactly this size, so that an overread is seen
        memcpy(pcPacket.get(), stIn.pucAt, ulLen);
        stIn.pucAt += ulLen;
        stIn.ulLeft -= ulLen;
        ULONG_32 ulPacketLen = static_cast<ULONG_32>(ulLen);
        RTP_IsRtpVideo(pcPacket.get(), ulPacketLen, pstTable);
        RTP_IsRtpVideoTail(pcPacket.get(), ulPacketLen, pstTable);
        ULONG_32 ulResult = RTP_UnpacketRtpData(pcPacket.get(), ulPacketLen, pstTable, pstInfo, &stVideo, &stAudio);
        Require(ulResult <= 2 || (ulResult >= 524 && ulResult <= 526));
        CheckFrames(stVideo, stAudio);
        if (ulResult == 0 && !(ucFlags & FLAG_KEEP_FRAMES)) {
            stVideo.ulFrameLen = 0;
            stAudio.ulFrameLen = 0;
        }
    }
    return 0;
}
