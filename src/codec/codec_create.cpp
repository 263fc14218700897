// Making of decoders.
#include <cstdlib>

#include "bits/dsp_mcfw_preparse.h"
#include "codec/codec_inner.h"
#include "codec/zvcodec_loader.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"

namespace {

constexpr int H264_LARGE_SIDE = 721;  // from this on, in either direction, a picture is decoded by two threads

void DestroyAacDecoder(void *pDecoder) {
    const int lResult = dlsym_dsp_aac_dec_destroy(pDecoder);
    if (lResult != 0) {
        LOG_WARN("CODE_FreeCode Warning, Call dsp_aac_dec_destroy Failed, Error[%d].", lResult);
    }
}

void DestroyH264Decoder(void *pDecoder) { dlsym_dec_h264_destroy(pDecoder); }

void DestroyJpegDecoder(void *pDecoder) { DSP_JpegDecDestroy(pDecoder); }

void DestroyJpegPicture(void *pPicture) {
    std::free(static_cast<DSP_Picture_Mjpeg *>(pPicture)->pData[0]);
    std::free(pPicture);
}

ULONG_32 OwnExtraOrLog(CODEC_INFO_S &stCodec, void *pExtra, ULONG_32 ulSize, CODEC_DESTROY_PF pfnDestroy) {
    const ULONG_32 ulResult = Codec_OwnExtra(stCodec, pExtra, pfnDestroy);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_CreateCode: Malloc Failed, Size[%d].", static_cast<int>(ulSize));
    }
    return ulResult;
}

ULONG_32 CreateG711(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    stCodec.ulExtraLen = CODEC_G711_DEC_BUF_SIZE;
    return OwnExtraOrLog(stCodec, std::malloc(stCodec.ulExtraLen), stCodec.ulExtraLen, std::free);
}

ULONG_32 CreateMp2(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    stCodec.ulExtraLen = sizeof(MPEG2_AUDIO_CONTEXT_S);
    return OwnExtraOrLog(stCodec, std::calloc(1, stCodec.ulExtraLen), stCodec.ulExtraLen, Codec_DestroyMp2Decoder);
}

ULONG_32 CreateAac(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    void *pDecoder = nullptr;
    const int lResult = dlsym_dsp_aac_dec_init(&pDecoder);
    if (lResult != 0) {
        LOG_ERROR("CODE_CreateCode: Call dsp_aac_dec_init Failed, Error:[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    // Without the library there is no handle; the codec is made all the same and gives no sound.
    return pDecoder == nullptr ? ULONG_32{PLAYER_ERR_OK} : Codec_OwnHandle(stCodec, pDecoder, DestroyAacDecoder);
}

unsigned int H264Threads(const PLAYER_FRAMEDATA_S &stFrame) {
    if (stFrame.bOneFrameDecordFlag == 1) {
        return 1;
    }
    H264_BitStreamInfo_S stInfo{};
    if (stFrame.pucData != nullptr && stFrame.lDataLen > 0) {
        DSP_H264_PreParse(stFrame.pucData, stFrame.lDataLen, &stInfo);
    }
    return stInfo.usWidth < H264_LARGE_SIDE && stInfo.usHeight < H264_LARGE_SIDE ? 1 : 2;
}

ULONG_32 CreateH264(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    if (stArgs.bUseGpu == 1) {
        return PLAYER_ERR_NOT_SUPPORT;
    }
    if (stArgs.pExParm == nullptr) {
        LOG_ERROR("Invalid pExParm Param, dec_h264_init failed.");
        return PLAYER_ERR_CODEC_CREATE;
    }
    const auto &stFrame = *static_cast<const PLAYER_FRAMEDATA_S *>(stArgs.pExParm);
    const unsigned int uiThreads = H264Threads(stFrame);
    stCodec.bOneFrameDecordFlag = stFrame.bOneFrameDecordFlag == 1 ? 1 : 0;
    LOG_INFO("Call dec_h264_init, Thread Count:[%d].", static_cast<int>(uiThreads));
    void *pDecoder = nullptr;
    {
        const CMutexGuard oGuard(&gstDecMultiMutexLock);
        pDecoder = dlsym_dec_h264_init(uiThreads);
    }
    if (pDecoder == nullptr) {
        LOG_ERROR("Call dec_h264_init Failed.");
        return PLAYER_ERR_CODEC_CREATE;
    }
    const ULONG_32 ulResult = Codec_OwnHandle(stCodec, pDecoder, DestroyH264Decoder);
    return ulResult != PLAYER_ERR_OK
               ? ulResult
               : OwnExtraOrLog(stCodec, std::malloc(CODEC_H264_INFO_SIZE), CODEC_H264_INFO_SIZE, std::free);
}

ULONG_32 CreateJpeg(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    const HANDLE hDecoder = DSP_JpegDecInit();
    if (hDecoder == nullptr) {
        LOG_ERROR("CODE_CreateCode: Call DSP_JpegDecInit Failed.");
        return PLAYER_ERR_CODEC_CREATE;
    }
    const ULONG_32 ulResult = Codec_OwnHandle(stCodec, hDecoder, DestroyJpegDecoder);
    return ulResult != PLAYER_ERR_OK ? ulResult
                                     : OwnExtraOrLog(stCodec, std::calloc(1, CODEC_JPEG_PICTURE_SIZE),
                                                     CODEC_JPEG_PICTURE_SIZE, DestroyJpegPicture);
}

ULONG_32 RefusePayload(const CODEC_CREATE_ARGS &, CODEC_INFO_S &) { return PLAYER_ERR_PARAM; }

ULONG_32 RefuseSupport(const CODEC_CREATE_ARGS &, CODEC_INFO_S &) { return PLAYER_ERR_NOT_SUPPORT; }

using CREATE_PF = ULONG_32 (*)(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec);

constexpr CREATE_PF CREATE_BY_PAYLOAD[] = {
    CreateG711,        // G711U
    CreateMp2,         // MP1L2
    CreateAac,         // AAC
    CreateH264,        // H264
    CreateJpeg,        // JPEG
    CreateG711,        // G711A
    RefusePayload,     // DATA
    RefuseSupport,     // PCM
    Codec_CreateH265,  // H265
};

}  // namespace

ULONG_32 Codec_CreateDecoder(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    return CREATE_BY_PAYLOAD[stArgs.lPayload](stArgs, stCodec);
}
