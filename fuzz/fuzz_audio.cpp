// Sound packets: one byte chooses the codec, then packets follow, each with its length in two bytes. A decoder sees all
// packets of an input, so that damage in one meets the state that others left.
#include <vector>

#include "codec/module_code.h"

namespace {

constexpr LONG_32 PAYLOADS[] = {PLAYER_PAYLOAD_G711U, PLAYER_PAYLOAD_MP1L2, PLAYER_PAYLOAD_AAC, PLAYER_PAYLOAD_G711A};

// What was given out must be there to the last byte.
void Touch(const CODE_DECODED_DATA_S &stPcm) {
    const std::vector<UCHAR> oCopy(stPcm.pucData[0], stPcm.pucData[0] + stPcm.lLineSize[0]);
    asm volatile("" : : "r"(oCopy.data()) : "memory");
}

void DecodePackets(CODEC_INFO_S &stCodec, const uint8_t *pucData, size_t ulSize) {
    while (ulSize >= 2) {
        const size_t ulAsked = static_cast<size_t>(pucData[0] << 8 | pucData[1]);
        const size_t ulLength = ulAsked < ulSize - 2 ? ulAsked : ulSize - 2;
        std::vector<uint8_t> oPacket(pucData + 2, pucData + 2 + ulLength);
        CODEC_FRAME_S stFrame{oPacket.data(), static_cast<ULONG_32>(ulLength), 0, 0};
        CODE_DECODED_DATA_S stPcm{};
        if (CODE_Decoder(&stCodec, &stFrame, DEINTERLACE_NONE, &stPcm) == 0) {
            Touch(stPcm);
        }
        pucData += 2 + ulLength;
        ulSize -= 2 + ulLength;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static const bool bReady = (CODE_H264_GlobalInit(), true);
    if (!bReady || ulSize < 3) {
        return 0;
    }
    CODEC_INFO_S stCodec{};
    if (CODE_CreateCode(CODECTYPE_DECODER, PAYLOADS[pucData[0] % 4], nullptr, &stCodec) == 0) {
        DecodePackets(stCodec, pucData + 1, ulSize - 1);
    }
    CODE_FreeCode(&stCodec);
    return 0;
}
