// The exported H.265 functions: arguments are checked here, the work is H265Decoder's.
#include "codec/h265dec.h"

#include <cstdio>
#include <new>

#include "common/quiet.h"
#include "h265dec/h265_decoder.h"

namespace {

constexpr UINT32 kVersion = 20582;  // 2.5.82

void Fill(const zv::Planes &planes, IH265DEC_OUTARGS *out) {
    for (int i = 0; i < 3; ++i) {
        out->pPlane[i] = planes.data[i];
    }
    out->uiYStride = static_cast<UINT32>(planes.stride[0]);
    out->uiUVStride = static_cast<UINT32>(planes.stride[1]);
    out->uiDecWidth = static_cast<UINT32>(planes.width);
    out->uiDecHeight = static_cast<UINT32>(planes.height);
}

/** The handle lives in the player's memory. */
void Destroy(zv::H265Decoder *decoder) {
    const IHW265D_INIT_PARAM param = decoder->Param();
    decoder->~H265Decoder();
    param.pfnFree(param.uiChannelID, decoder);
}

zv::H265Decoder *Construct(const IHW265D_INIT_PARAM &param) {
    void *memory = param.pfnMalloc(param.uiChannelID, sizeof(zv::H265Decoder));
    return memory != nullptr ? new (memory) zv::H265Decoder(param) : nullptr;
}

}  // namespace

extern "C" {

INT32 IHW265D_GetVersion(IHWVIDEO_ALG_VERSION_STRU *pstVersion) {
    if (pstVersion == nullptr) {
        return IHW265D_INVALID_PARAM;
    }
    *pstVersion = {};
    pstVersion->uiVersion = kVersion;
    std::snprintf(pstVersion->szReleaseTime, sizeof(pstVersion->szReleaseTime), "%s", "2.5.82");
    return IHW265D_OK;
}

INT32 IHW265D_Create(void **phDecoder, IHW265D_INIT_PARAM *pstInitParam) {
    if (phDecoder == nullptr) {
        return IHW265D_INVALID_PARAM;
    }
    *phDecoder = nullptr;
    if (pstInitParam == nullptr || pstInitParam->pfnMalloc == nullptr || pstInitParam->pfnFree == nullptr ||
        pstInitParam->iMaxWidth <= 0 || pstInitParam->iMaxHeight <= 0) {
        return IHW265D_INVALID_PARAM;
    }
    zv::QuietFfmpeg();
    zv::H265Decoder *decoder = Construct(*pstInitParam);
    if (decoder == nullptr) {
        return IHW265D_NO_MEMORY;
    }
    if (!decoder->Open()) {
        Destroy(decoder);
        return IHW265D_NO_MEMORY;
    }
    *phDecoder = decoder;
    return IHW265D_OK;
}

INT32 IHW265D_Delete(void *hDecoder) {
    if (hDecoder != nullptr) {
        Destroy(static_cast<zv::H265Decoder *>(hDecoder));
    }
    return IHW265D_OK;
}

INT32 IHW265D_DecodeFrame(void *hDecoder, IH265DEC_INARGS *pstInArgs, IH265DEC_OUTARGS *pstOutArgs) {
    if (pstOutArgs == nullptr) {
        return IHW265D_INVALID_PARAM;
    }
    *pstOutArgs = {};
    if (hDecoder == nullptr || pstInArgs == nullptr || (pstInArgs->pStream == nullptr && pstInArgs->uiStreamLen != 0)) {
        return IHW265D_INVALID_PARAM;
    }
    auto *decoder = static_cast<zv::H265Decoder *>(hDecoder);
    if (pstInArgs->uiStreamLen == 0) {
        decoder->End();
    } else {
        decoder->Decode(pstInArgs->pStream, pstInArgs->uiStreamLen);
    }
    zv::Planes planes;
    const INT32 result = decoder->Take(&planes);
    if (result == IHW265D_OK) {
        Fill(planes, pstOutArgs);
    }
    return result;
}

INT32 IHW265D_DecodeAU(void *hDecoder, IH265DEC_INARGS *pstInArgs, IH265DEC_OUTARGS *pstOutArgs) {
    return IHW265D_DecodeFrame(hDecoder, pstInArgs, pstOutArgs);
}

}  // extern "C"
