// Packets of a hostile sender on a port with standard intake: no read outside a packet, no frame larger than its buffer,
// and asking for frames comes to an end.
//
// Input: one byte of flags, then packets, each behind a 16-bit big-endian length whose top bit lets 60 ms pass before.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "intake/rtp_standard.h"

namespace {

enum : uint8_t { FLAG_SETS = 1, FLAG_NEED_KEY = 2, FLAG_AAC_INFO = 4 };
const ULONG_32 MOST_STEPS = 100000; /**< a packet has fewer AAC units, the window fewer packets */

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

UCHAR *Buffer(size_t ulSize) { return static_cast<UCHAR *>(calloc(1, ulSize)); }

/** The payload types that a session would give: video of the flags' choice on 96, AAC on 97. */
struct Port {
    RTP_STANDARD_S *pstStandard = RtpStandard_Create();
    RTP_STREAM_INFO_S stVideo = {}, stAudio = {};
    RTP_AUDIO_INFO_S stAac = {};
    RTP_PAYLOAD_TYPE_S astTable[2] = {{96, {}, PLAYER_PAYLOAD_H265, 90000}, {97, {}, PLAYER_PAYLOAD_AAC, 48000}};
    Port() {
        stVideo.pucFrameData = Buffer(VIDEO_FRAME_BUFFER_SIZE);
        stAudio.pucFrameData = Buffer(AUDIO_FRAME_BUFFER_SIZE);
    }
};

void TakeFrames(Port *pstPort, uint8_t ucFlags, bool bQuiet, DULONG dulNow) {
    const RTP_READ_S stRead = {&pstPort->stVideo,           &pstPort->stAudio, &pstPort->stAac,
                               (ucFlags & FLAG_NEED_KEY) != 0, bQuiet,            dulNow};
    for (ULONG_32 i = 0; RtpStandard_Next(pstPort->pstStandard, stRead) != PLAYER_ERR_NEED_MORE_DATA; i++) {
        Require(i < MOST_STEPS);
        Require(pstPort->stVideo.ulFrameLen < VIDEO_FRAME_BUFFER_SIZE);
        Require(pstPort->stAudio.ulFrameLen < AUDIO_FRAME_BUFFER_SIZE);
        pstPort->stVideo.ulFrameLen = pstPort->stAudio.ulFrameLen = 0;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static Port stPort;
    if (ulSize == 0) {
        return 0;
    }
    const uint8_t ucFlags = *pucData++;
    ulSize--;
    RTP_STANDARD_S *pstStandard = stPort.pstStandard;
    const UCHAR aucSets[] = {0, 0, 0, 1, 0x40, 1, 0};
    pstStandard->bWanted = 1;
    pstStandard->stSetsWanted.lPayload = PLAYER_PAYLOAD_H265;
    pstStandard->stSetsWanted.ulSize = (ucFlags & FLAG_SETS) != 0 ? sizeof(aucSets) : 0;
    memcpy(pstStandard->stSetsWanted.aucData, aucSets, sizeof(aucSets));
    stPort.stAac = (ucFlags & FLAG_AAC_INFO) != 0 ? RTP_AUDIO_INFO_S{2, 4, 2, 0} : RTP_AUDIO_INFO_S{};
    RtpStandard_Begin(pstStandard);
    DULONG dulNow = 1000;
    while (ulSize > 2) {
        const size_t ulHead = static_cast<size_t>(pucData[0]) << 8 | pucData[1];
        const size_t ulLen = (ulHead & 0x7FFF) < ulSize - 2 ? ulHead & 0x7FFF : ulSize - 2;
        if ((ulHead & 0x8000) != 0) {
            dulNow += 60;
            TakeFrames(&stPort, ucFlags, true, dulNow);
        }
        std::unique_ptr<UCHAR[]> pucPacket(new UCHAR[ulLen]);
        memcpy(pucPacket.get(), pucData + 2, ulLen);
        RtpStandard_Push(pstStandard, pucPacket.get(), static_cast<ULONG_32>(ulLen), stPort.astTable, dulNow);
        TakeFrames(&stPort, ucFlags, false, dulNow);
        pucData += 2 + ulLen;
        ulSize -= 2 + ulLen;
    }
    TakeFrames(&stPort, ucFlags, true, dulNow + 60);
    return 0;
}
