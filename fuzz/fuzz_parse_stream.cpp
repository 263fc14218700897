// Player_ParseStream over a port's whole parse state: a sequence of packets, each with a 16-bit length in front, and for
// each frame that comes out the statistics step and the callbacks' records.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "zelvane_modules.h"

namespace {

/** A port as after its open call; its buffers are made once, since two megabytes a run would be all that is tested. */
PLAEYR_PORT_S *FreshPort() {
    static CHAR *const video = static_cast<CHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
    static CHAR *const audio = static_cast<CHAR *>(malloc(AUDIO_FRAME_BUFFER_SIZE));
    static PLAEYR_PORT_S *const port = static_cast<PLAEYR_PORT_S *>(malloc(sizeof(PLAEYR_PORT_S)));
    memset(static_cast<void *>(port), 0, sizeof(*port));
    port->pcFrameDataAddr = video;
    port->pcRtpAudioFrameDataAddr = audio;
    port->stStateInfo.lFrameIntervalTime = 40;
    return port;
}

/** Touches every byte of the frame: it has to lie in memory of the port or of the packet. */
void ReadFrame(const PLAYER_FRAMEDATA_S &frame) {
    unsigned sum = 0;
    for (LONG_32 i = 0; i < frame.lDataLen; i++) {
        sum += frame.pucData[i];
    }
    volatile unsigned sink = sum;
    static_cast<void>(sink);
}

void Parse(PLAEYR_PORT_S *port, const uint8_t *data, size_t length) {
    std::unique_ptr<CHAR[]> packet(new CHAR[length]);
    memcpy(packet.get(), data, length);
    if (Player_ParseStream(packet.get(), static_cast<ULONG_32>(length), port) != PLAYER_ERR_OK) {
        return;
    }
    ReadFrame(port->stFrameData);
    if (Payload_IsVideo(port->stFrameData.lPayload)) {
        Player_StatisticsTimestamp(port);
    }
    if (port->stStateInfo.lFrameIntervalTime <= 0) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    PLAEYR_PORT_S *port = FreshPort();
    while (size > 2) {
        const size_t wanted = static_cast<size_t>(data[0]) << 8 | data[1];
        const size_t length = wanted < size - 2 ? wanted : size - 2;
        Parse(port, data + 2, length);
        data += 2 + length;
        size -= 2 + length;
    }
    return 0;
}
