// The SPS search and reader of H.264 over a whole frame, and the reader alone.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bits/dsp_mcfw_preparse.h"

namespace {

void CheckSize(const H264_BitStreamInfo_S &stInfo) {
    if (stInfo.usWidth > 4016 || stInfo.usHeight > 4016 || stInfo.usWidth % 16 != 0 || stInfo.usHeight % 16 != 0) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    std::unique_ptr<UCHAR[]> pucFrame(new UCHAR[ulSize]);
    memcpy(pucFrame.get(), pucData, ulSize);
    int iLen = static_cast<int>(ulSize);
    H264_BitStreamInfo_S stInfo{};
    DSP_H264_PreParse(pucFrame.get(), iLen, &stInfo);
    CheckSize(stInfo);
    int iStart = 0;
    int iClean = Fw_H264_ClrPCode(pucFrame.get(), iLen, &iStart);
    if (iStart < 0 || iClean < 0 || iStart + iClean != iLen) {
        abort();
    }
    H264_BitStreamInfo_S stAlone{};
    Fw_H264_parseSPS(pucFrame.get() + iStart, iClean, &stAlone);
    CheckSize(stAlone);
    return 0;
}
