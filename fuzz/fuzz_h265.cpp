// IHW265D_DecodeFrame over a run of buffers. The first byte chooses between one thread and several.
#include <cstdlib>

#include "codec/h265dec.h"
#include "video_input.h"

namespace {

void *Allocate(UINT32 /*channel*/, UINT32 size) { return std::malloc(size); }
void Release(UINT32 /*channel*/, void *memory) { std::free(memory); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) {
        return 0;
    }
    IHW265D_INIT_PARAM param{};
    param.iMaxWidth = 1024;
    param.iMaxHeight = 1024;
    param.eThreadType = (data[0] & 1) != 0 ? IH265D_MULTI_THREAD : IH265D_SINGLE_THREAD;
    param.pfnMalloc = Allocate;
    param.pfnFree = Release;
    void *handle = nullptr;
    IHW265D_Create(&handle, &param);
    volatile unsigned sink = 0;
    ForEachBuffer(data + 1, size - 1, [&](std::vector<uint8_t> &buffer) {
        IH265DEC_INARGS in{buffer.data(), static_cast<UINT32>(buffer.size()), 0, IH265D_DECODE};
        IH265DEC_OUTARGS out{};
        if (IHW265D_DecodeFrame(handle, &in, &out) == IHW265D_OK) {
            const int strides[] = {static_cast<int>(out.uiYStride), static_cast<int>(out.uiUVStride),
                                   static_cast<int>(out.uiUVStride)};
            CopyPicture(out.pPlane, strides, static_cast<int>(out.uiDecWidth), static_cast<int>(out.uiDecHeight));
            for (int i = 0; i < 3; ++i) {
                const int half = i == 0 ? 0 : 1;
                sink = sink + TouchPlane(out.pPlane[i], strides[i], (static_cast<int>(out.uiDecWidth) + half) >> half,
                                         (static_cast<int>(out.uiDecHeight) + half) >> half);
            }
        }
    });
    IHW265D_Delete(handle);
    return 0;
}
