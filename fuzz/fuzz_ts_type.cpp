// A block of any length through the packet type finder, the table parsers and the small helpers. Input: the block.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundations/com_log.h"
#include "intake/module_ts.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    Log_SetSysLogCB(DropLine);
    auto aucBlock = std::make_unique<UCHAR[]>(ulSize);
    memcpy(aucBlock.get(), pucData, ulSize);
    const ULONG_32 ulLen = static_cast<ULONG_32>(ulSize);
    TS_STREAM_INFO_S stStream = {};
    TS_PACKET_INFO_S stPacket;
    const ULONG_32 ulResult = TS_GetTSType(aucBlock.get(), ulLen, &stPacket, &stStream);
    Require(ulResult == 0 || (ulResult >= 524 && ulResult <= 526));
    Require(stPacket.enType <= TS_PACKET_TYPE_NUM);
    TS_ParsePAT(aucBlock.get(), ulLen, &stStream);
    TS_ParsePMT(aucBlock.get(), ulLen, &stStream);
    static UCHAR aucFrame[VIDEO_FRAME_BUFFER_SIZE];
    stStream.pucFrameData = aucFrame;
    if (TS_ParseTSHeader(aucBlock.get(), ulLen, &stPacket, &stStream) == 0) {
        Require(TS_PacketTogether(aucBlock.get(), ulLen, &stPacket, &stStream) == 0);
        TS_GetPayLoadType(&stPacket, &stStream);
    }
    if (ulLen > TS_PACKET_SIZE) {
        ULONG_32 ulOffset = 0;
        Require(TS_FindHead(aucBlock.get(), ulLen, &ulOffset) != 0 || ulOffset + TS_PACKET_SIZE < ulLen);
        USHORT usPid = 0;
        DULONG dulPcr = 0;
        TS_GetPCR(aucBlock.get(), &usPid, &dulPcr);
        Require(dulPcr >> 33 == 0);
    }
    return 0;
}
