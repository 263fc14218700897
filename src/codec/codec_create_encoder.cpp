// Making of encoders.
#include <cstdlib>
#include <initializer_list>

#include "codec/codec_inner.h"
#include "foundations/com_log.h"

namespace {

constexpr LONG_32 AAC_BIT_RATE = 8000;
constexpr LONG_32 MP2_SAMPLE_RATE = 44100;
constexpr LONG_32 MP2_BIT_RATE = 64000;

// The MP2 encoder's work block, cut in this order.
constexpr size_t MP2_CHANNEL_SIZE = 40000;  // each of the resampler's four channel buffers
constexpr size_t MP2_PCM_SIZE = 6000;
constexpr size_t MP2_RESAMPLE_SIZE = 40000;
constexpr size_t MP2_FRAME_OFFSET = 36000;  // of the frame buffer in the resample buffer
constexpr size_t MP2_OUT_SIZE = 6000;
constexpr size_t MP2_BLOCK_SIZE = 273968;
static_assert(4 * MP2_CHANNEL_SIZE + MP2_PCM_SIZE + MP2_RESAMPLE_SIZE + MP2_OUT_SIZE + sizeof(void *) < MP2_BLOCK_SIZE);

void DestroyMp2Encoder(void *pContext) {
    auto &stContext = *static_cast<MPEG2_AUDIO_ENC_CONTEXT_S *>(pContext);
    if (stContext.bMp2EncodeInit == 1) {
        MPA_encode_close(stContext.pstMpegAudioContext);
    }
    if (stContext.bAudioResampleInit == 1) {
        audio_resample_close_1(&stContext.stReformat);
    }
    std::free(stContext.pucMemBlock);
    std::free(pContext);
}

void DestroyAacEncoder(void *pEncoder) {
    const LONG_32 lResult = dsp_faac_enc_destroy(pEncoder);
    if (lResult != 0) {
        LOG_WARN("CODE_FreeCode Warning, dsp_faac_enc_destroy Failed, Error[%d].", lResult);
    }
}

// The context itself outlives its encoder, until the library ends.
void DestroyAacContext(void *pContext) {
    std::free(static_cast<AAC_AUDIO_ENC_CONTEXT_S *>(pContext)->pcPcmBuffer);
    Codec_Keep(nullptr, pContext, std::free);
}

void DestroyJpegEncoder(void *pEncoder) { DSP_JpegEncDestroy(pEncoder); }

ULONG_32 CreateG711U(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    stCodec.ulExtraLen = CODEC_G711_ENC_BUF_SIZE;
    Codec_OwnExtra(stCodec, std::malloc(stCodec.ulExtraLen), std::free);
    return PLAYER_ERR_OK;  // an encoder without its buffer refuses each block
}

// Allocates context and work block, and cuts the block.
MPEG2_AUDIO_ENC_CONTEXT_S *MakeMp2Context() {
    auto *pstContext = static_cast<MPEG2_AUDIO_ENC_CONTEXT_S *>(std::calloc(1, sizeof(MPEG2_AUDIO_ENC_CONTEXT_S)));
    if (pstContext == nullptr) {
        return nullptr;
    }
    auto *pucNext = static_cast<UCHAR *>(std::calloc(1, MP2_BLOCK_SIZE));
    if (pucNext == nullptr) {
        std::free(pstContext);
        return nullptr;
    }
    pstContext->pucMemBlock = pucNext;
    for (SHORT **ppsChannel : {&pstContext->stReformat.psTemp[0], &pstContext->stReformat.psTemp[1],
                               &pstContext->stReformat.psBufIn[0], &pstContext->stReformat.psBufIn[1]}) {
        *ppsChannel = reinterpret_cast<SHORT *>(pucNext);
        pucNext += MP2_CHANNEL_SIZE;
    }
    pstContext->pusPcmBuffer = reinterpret_cast<USHORT *>(pucNext);
    pucNext += MP2_PCM_SIZE;
    pstContext->pusResampleBuffer = reinterpret_cast<USHORT *>(pucNext);
    pstContext->pucMp2FrameBuffer = pucNext + MP2_FRAME_OFFSET;
    pucNext += MP2_RESAMPLE_SIZE;
    pstContext->pucOutFrameBuffer = pucNext;
    pstContext->pstMpegAudioContext = pucNext + MP2_OUT_SIZE;
    return pstContext;
}

// The product of the two decides; what is no rate fails in the resampler.
LONG_32 Mp2InputRate(const CODE_DECODED_DATA_S &stInput) {
    const uint64_t ulRate = static_cast<uint64_t>(stInput.ulSampleRate) * stInput.ulChannels;
    return ulRate <= INT32_MAX ? static_cast<LONG_32>(ulRate) : -1;
}

ULONG_32 OpenMp2(MPEG2_AUDIO_ENC_CONTEXT_S &stContext, LONG_32 lInputRate) {
    LONG_32 lResult =
        av_audio_resample_init_1(&stContext.stReformat, 1, 1, MP2_SAMPLE_RATE, lInputRate, 16, 10, 0, 0.8);
    if (lResult != 0) {
        LOG_ERROR("CODE_CreateCode: Call resample init Failed, Error[%lu].", static_cast<unsigned long>(lResult));
        return PLAYER_ERR_FAILED;
    }
    stContext.bAudioResampleInit = 1;
    lResult = MPA_encode_init(stContext.pstMpegAudioContext, MP2_SAMPLE_RATE, MP2_BIT_RATE, 1);
    if (lResult != 0) {
        LOG_ERROR("CODE_CreateCode: mp2 encode init Failed, Error[%lu].", static_cast<unsigned long>(lResult));
        return PLAYER_ERR_FAILED;
    }
    stContext.bMp2EncodeInit = 1;
    return PLAYER_ERR_OK;
}

ULONG_32 CreateMp2(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    if (stArgs.pExParm == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    MPEG2_AUDIO_ENC_CONTEXT_S *const pstContext = MakeMp2Context();
    if (pstContext == nullptr || Codec_OwnExtra(stCodec, pstContext, DestroyMp2Encoder) != PLAYER_ERR_OK) {
        return PLAYER_ERR_FAILED;
    }
    stCodec.ulExtraLen = sizeof(MPEG2_AUDIO_ENC_CONTEXT_S);
    return OpenMp2(*pstContext, Mp2InputRate(*static_cast<const CODE_DECODED_DATA_S *>(stArgs.pExParm)));
}

AAC_AUDIO_ENC_CONTEXT_S *MakeAacContext() {
    auto *pstContext = static_cast<AAC_AUDIO_ENC_CONTEXT_S *>(std::calloc(1, sizeof(AAC_AUDIO_ENC_CONTEXT_S)));
    if (pstContext == nullptr) {
        return nullptr;
    }
    pstContext->pcPcmBuffer = static_cast<UCHAR *>(std::malloc(CODEC_AAC_PCM_SIZE));
    if (pstContext->pcPcmBuffer == nullptr) {
        std::free(pstContext);
        return nullptr;
    }
    return pstContext;
}

ULONG_32 CreateAac(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    AAC_AUDIO_ENC_CONTEXT_S *const pstContext = MakeAacContext();
    if (pstContext == nullptr || Codec_OwnExtra(stCodec, pstContext, DestroyAacContext) != PLAYER_ERR_OK) {
        return PLAYER_ERR_FAILED;
    }
    stCodec.ulExtraLen = sizeof(AAC_AUDIO_ENC_CONTEXT_S);
    const LONG_32 lRate =
        stArgs.ulAudioEnSampleRate <= INT32_MAX ? static_cast<LONG_32>(stArgs.ulAudioEnSampleRate) : 0;
    const rawSampleFormat stFormat{1, 16, lRate, 1, FAAC_FRAME_SAMPLES, NO_CONTAINER};
    HANDLE hEncoder = nullptr;
    const LONG_32 lResult = dsp_faac_enc_init(&hEncoder, &stFormat, AAC_BIT_RATE);
    if (lResult != 0 || hEncoder == nullptr) {
        LOG_ERROR("CODE_CreateCode: dsp_faac_enc_init Failed, Error[%d].", lResult);
        return PLAYER_ERR_FAILED;
    }
    return Codec_OwnHandle(stCodec, hEncoder, DestroyAacEncoder);
}

ULONG_32 CreateJpeg(const CODEC_CREATE_ARGS &, CODEC_INFO_S &stCodec) {
    static CHAR szNone[] = "";
    CHAR *pcVersion = szNone;
    DSP_mjpeg_get_version(&pcVersion);
    LOG_INFO("DSP Jpeg Encoder Verion:%s.", pcVersion);
    const HANDLE hEncoder = DSP_JpegEncInit();
    if (hEncoder == nullptr) {
        LOG_ERROR("CODE_CreateCode: Call DSP_JpegEncInit Failed.");
        return PLAYER_ERR_ENCODER_CREATE;
    }
    ULONG_32 ulResult = Codec_OwnHandle(stCodec, hEncoder, DestroyJpegEncoder);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    stCodec.ulExtraLen = CODEC_JPEG_ENC_BUF_SIZE;
    ulResult = Codec_OwnExtra(stCodec, std::malloc(stCodec.ulExtraLen), std::free);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("CODE_CreateCode: Malloc Failed, Size:[%d].", static_cast<int>(stCodec.ulExtraLen));
    }
    return ulResult;
}

ULONG_32 CreatePcm(const CODEC_CREATE_ARGS &, CODEC_INFO_S &) { return PLAYER_ERR_OK; }

ULONG_32 RefusePayload(const CODEC_CREATE_ARGS &, CODEC_INFO_S &) { return PLAYER_ERR_PARAM; }

ULONG_32 RefuseSupport(const CODEC_CREATE_ARGS &, CODEC_INFO_S &) { return PLAYER_ERR_NOT_SUPPORT; }

using CREATE_PF = ULONG_32 (*)(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec);

constexpr CREATE_PF CREATE_BY_PAYLOAD[] = {
    CreateG711U,    // G711U
    CreateMp2,      // MP1L2
    CreateAac,      // AAC
    RefuseSupport,  // H264
    CreateJpeg,     // JPEG
    RefuseSupport,  // G711A
    RefusePayload,  // DATA
    CreatePcm,      // PCM
    RefuseSupport,  // H265
};

}  // namespace

ULONG_32 Codec_CreateEncoder(const CODEC_CREATE_ARGS &stArgs, CODEC_INFO_S &stCodec) {
    return CREATE_BY_PAYLOAD[stArgs.lPayload](stArgs, stCodec);
}
