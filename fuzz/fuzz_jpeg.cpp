// JPEG pictures as cameras send them: the size is read first, then the picture is decoded into planes of exactly that
// size, as the player does; then the codec record does the same by itself.
#include <cstring>
#include <memory>
#include <vector>

#include "codec/module_code.h"
#include "video_input.h"

namespace {

constexpr uint64_t MAX_PIXELS = 1 << 20;  // larger ones only cost time

void DecodeExactly(HANDLE hDecoder, const uint8_t *pucData, ULONG_32 ulSize) {
    DSP_Picture_Mjpeg stPicture{};
    if (DSP_JpegDecode(hDecoder, pucData, ulSize, &stPicture, 1) != ZVMJPEG_OK ||
        static_cast<uint64_t>(stPicture.uPicWidth) * stPicture.uPicHeight > MAX_PIXELS) {
        return;
    }
    const size_t ulLuma = static_cast<size_t>(stPicture.uPicWidth) * stPicture.uPicHeight;
    const size_t ulChroma = static_cast<size_t>(stPicture.uPicWidth / 2) * (stPicture.uPicHeight / 2);
    // A block for each plane, so that each has its own end.
    auto oY = std::make_unique<UCHAR[]>(ulLuma);
    auto oU = std::make_unique<UCHAR[]>(ulChroma);
    auto oV = std::make_unique<UCHAR[]>(ulChroma);
    stPicture.pData[0] = oY.get();
    stPicture.pData[1] = oU.get();
    stPicture.pData[2] = oV.get();
    stPicture.uLineSize[0] = stPicture.uPicWidth;
    stPicture.uLineSize[1] = stPicture.uPicWidth / 2;
    stPicture.uLineSize[2] = stPicture.uPicWidth / 2;
    DSP_JpegDecode(hDecoder, pucData, ulSize, &stPicture, 0);
}

bool IsSmall(HANDLE hDecoder, const uint8_t *pucData, ULONG_32 ulSize) {
    DSP_Picture_Mjpeg stPicture{};
    return DSP_JpegDecode(hDecoder, pucData, ulSize, &stPicture, 1) != ZVMJPEG_OK ||
           static_cast<uint64_t>(stPicture.uPicWidth) * stPicture.uPicHeight <= MAX_PIXELS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static const HANDLE hDecoder = DSP_JpegDecInit();
    static CODEC_INFO_S stCodec{};
    static CODE_DECODED_DATA_S stPicture{};
    static const ULONG_32 ulMade = CODE_CreateCode(CODECTYPE_DECODER, PLAYER_PAYLOAD_JPEG, nullptr, &stCodec);
    // The input of exactly its size, so that a read behind it is seen.
    std::vector<uint8_t> oInput(pucData, pucData + ulSize);
    if (ulMade != 0 || ulSize == 0 || !IsSmall(hDecoder, oInput.data(), static_cast<ULONG_32>(ulSize))) {
        return 0;
    }
    DecodeExactly(hDecoder, oInput.data(), static_cast<ULONG_32>(ulSize));
    CODEC_FRAME_S stFrame{oInput.data(), static_cast<ULONG_32>(ulSize), 0, 0};
    if (CODE_Decoder(&stCodec, &stFrame, DEINTERLACE_NONE, &stPicture) == PLAYER_ERR_OK) {
        CopyPicture(stPicture.pucData, stPicture.lLineSize, stPicture.lWidth, stPicture.lHeight);
    }
    return 0;
}
