#include "codec/ffaudio.h"

#include <cstring>
#include <memory>
#include <new>

#include "common/quiet.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace {

bool IsRate(LONG_32 lRate) { return lRate > 0 && lRate <= AUDIO_RESAMPLE_MAX_RATE; }
bool IsChannels(LONG_32 lChannels) { return lChannels == 1 || lChannels == 2; }

struct MP2_ENCODER {
    AVCodecContext *pstCodec = nullptr;
    AVFrame *pstFrame = nullptr;
    AVPacket *pstPacket = nullptr;

    ~MP2_ENCODER() {
        av_packet_free(&pstPacket);
        av_frame_free(&pstFrame);
        avcodec_free_context(&pstCodec);
    }
};

bool OpenCodec(MP2_ENCODER &stEncoder, LONG_32 lSampleRate, LONG_32 lBitRate, LONG_32 lChannels) {
    const AVCodec *pstKind = avcodec_find_encoder(AV_CODEC_ID_MP2);
    stEncoder.pstCodec = pstKind != nullptr ? avcodec_alloc_context3(pstKind) : nullptr;
    if (stEncoder.pstCodec == nullptr) {
        return false;
    }
    AVCodecContext &stCodec = *stEncoder.pstCodec;
    stCodec.sample_rate = lSampleRate;
    stCodec.sample_fmt = AV_SAMPLE_FMT_S16;
    stCodec.bit_rate = lBitRate;
    stCodec.time_base = {1, lSampleRate};
    av_channel_layout_default(&stCodec.ch_layout, lChannels);
    return avcodec_open2(&stCodec, pstKind, nullptr) == 0;
}

bool OpenEncoder(MP2_ENCODER &stEncoder, LONG_32 lSampleRate, LONG_32 lBitRate, LONG_32 lChannels) {
    stEncoder.pstFrame = av_frame_alloc();
    stEncoder.pstPacket = av_packet_alloc();
    if (stEncoder.pstFrame == nullptr || stEncoder.pstPacket == nullptr ||
        !OpenCodec(stEncoder, lSampleRate, lBitRate, lChannels)) {
        return false;
    }
    AVFrame &stFrame = *stEncoder.pstFrame;
    stFrame.nb_samples = MPA_FRAME_SAMPLES;
    stFrame.format = AV_SAMPLE_FMT_S16;
    stFrame.sample_rate = lSampleRate;
    return av_channel_layout_copy(&stFrame.ch_layout, &stEncoder.pstCodec->ch_layout) == 0 &&
           av_frame_get_buffer(&stFrame, 0) == 0;
}

MP2_ENCODER *EncoderOf(void *pContext) {
    MP2_ENCODER *pstEncoder = nullptr;
    if (pContext != nullptr) {
        std::memcpy(&pstEncoder, pContext, sizeof(pstEncoder));
    }
    return pstEncoder;
}

}  // namespace

LONG_32 av_audio_resample_init_1(AUDIO_RESAMPLE_S *pstContext, LONG_32 lOutChannels, LONG_32 lInChannels,
                                 LONG_32 lOutRate, LONG_32 lInRate, LONG_32 lFilterSize, LONG_32 lPhaseLog,
                                 LONG_32 lLinear, double dCutoff) {
    if (pstContext == nullptr || !IsRate(lOutRate) || !IsRate(lInRate) || !IsChannels(lOutChannels) ||
        !IsChannels(lInChannels)) {
        return -1;
    }
    audio_resample_close_1(pstContext);
    AVChannelLayout stOut;
    AVChannelLayout stIn;
    av_channel_layout_default(&stOut, lOutChannels);
    av_channel_layout_default(&stIn, lInChannels);
    SwrContext *pstSwr = nullptr;
    if (swr_alloc_set_opts2(&pstSwr, &stOut, AV_SAMPLE_FMT_S16, lOutRate, &stIn, AV_SAMPLE_FMT_S16, lInRate, 0,
                            nullptr) != 0 ||
        av_opt_set_int(pstSwr, "filter_size", lFilterSize, 0) != 0 ||
        av_opt_set_int(pstSwr, "phase_shift", lPhaseLog, 0) != 0 ||
        av_opt_set_int(pstSwr, "linear_interp", lLinear, 0) != 0 ||
        av_opt_set_double(pstSwr, "cutoff", dCutoff, 0) != 0 || swr_init(pstSwr) != 0) {
        swr_free(&pstSwr);
        return -1;
    }
    pstContext->hResampler = pstSwr;
    pstContext->ratio = static_cast<double>(lOutRate) / lInRate;
    pstContext->lInChannels = lInChannels;
    pstContext->lOutChannels = lOutChannels;
    pstContext->lInRate = lInRate;
    pstContext->lOutRate = lOutRate;
    return 0;
}

LONG_32 audio_resample_1(AUDIO_RESAMPLE_S *pstContext, SHORT *psOutput, LONG_32 lRoom, const SHORT *psInput,
                         LONG_32 lSamples) {
    if (pstContext == nullptr || pstContext->hResampler == nullptr || psOutput == nullptr || psInput == nullptr ||
        lRoom < 0 || lSamples < 0) {
        return -1;
    }
    uint8_t *pucOutput = reinterpret_cast<uint8_t *>(psOutput);
    const uint8_t *pucInput = reinterpret_cast<const uint8_t *>(psInput);
    return swr_convert(static_cast<SwrContext *>(pstContext->hResampler), &pucOutput, lRoom, &pucInput, lSamples);
}

void audio_resample_close_1(AUDIO_RESAMPLE_S *pstContext) {
    if (pstContext != nullptr) {
        SwrContext *pstSwr = static_cast<SwrContext *>(pstContext->hResampler);
        swr_free(&pstSwr);
        pstContext->hResampler = nullptr;
    }
}

LONG_32 MPA_encode_init(void *pContext, LONG_32 lSampleRate, LONG_32 lBitRate, LONG_32 lChannels) try {
    if (pContext == nullptr || lSampleRate <= 0 || lChannels != 1) {
        return -1;
    }
    zv::QuietFfmpeg();
    auto pstEncoder = std::make_unique<MP2_ENCODER>();
    if (!OpenEncoder(*pstEncoder, lSampleRate, lBitRate, lChannels)) {
        return -1;
    }
    MP2_ENCODER *const pstKept = pstEncoder.release();
    std::memcpy(pContext, &pstKept, sizeof(pstKept));
    return 0;
} catch (const std::bad_alloc &) {
    return -1;
}

LONG_32 MPA_encode_frame(void *pContext, UCHAR *pucFrame, LONG_32 lRoom, const SHORT *psSamples) {
    MP2_ENCODER *const pstEncoder = EncoderOf(pContext);
    if (pstEncoder == nullptr || pucFrame == nullptr || psSamples == nullptr ||
        av_frame_make_writable(pstEncoder->pstFrame) != 0) {
        return -1;
    }
    std::memcpy(pstEncoder->pstFrame->data[0], psSamples, MPA_FRAME_SAMPLES * sizeof(SHORT));
    if (avcodec_send_frame(pstEncoder->pstCodec, pstEncoder->pstFrame) != 0 ||
        avcodec_receive_packet(pstEncoder->pstCodec, pstEncoder->pstPacket) != 0) {
        return -1;
    }
    const LONG_32 lSize = pstEncoder->pstPacket->size;
    const bool bFits = lSize <= lRoom;
    if (bFits) {
        std::memcpy(pucFrame, pstEncoder->pstPacket->data, static_cast<size_t>(lSize));
    }
    av_packet_unref(pstEncoder->pstPacket);
    return bFits ? lSize : -1;
}

void MPA_encode_close(void *pContext) {
    delete EncoderOf(pContext);
    if (pContext != nullptr) {
        std::memset(pContext, 0, sizeof(MP2_ENCODER *));
    }
}
