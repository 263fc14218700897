// VPS and SPS of H.265.
#include <cstdint>
#include <cstring>
#include <memory>

#include "bits/dsp_mcfw_preparse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    std::unique_ptr<UCHAR[]> pucFrame(new UCHAR[ulSize]);
    memcpy(pucFrame.get(), pucData, ulSize);
    DSP_SPS_INFO_S stInfo;
    memset(&stInfo, 0xA5, sizeof(stInfo));
    ParseSequenceParameterSet(pucFrame.get(), static_cast<ULONG_32>(ulSize), &stInfo);
    return 0;
}
