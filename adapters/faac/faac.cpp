#include "codec/faac.h"

#include <cstring>
#include <memory>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include "common/quiet.h"

namespace {

// sampling_frequency_index of ISO/IEC 14496-3, table 1.18.
constexpr LONG_32 SAMPLE_RATES[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                    22050, 16000, 12000, 11025, 8000,  7350};

struct AAC_ENCODER {
    AVCodecContext *pstCodec = nullptr;
    AVFrame *pstFrame = nullptr;
    AVPacket *pstPacket = nullptr;
    int lRateIndex = -1;

    ~AAC_ENCODER() {
        av_packet_free(&pstPacket);
        av_frame_free(&pstFrame);
        avcodec_free_context(&pstCodec);
    }
};

int RateIndex(LONG_32 lRate) {
    for (int i = 0; i < static_cast<int>(std::size(SAMPLE_RATES)); i++) {
        if (SAMPLE_RATES[i] == lRate) {
            return i;
        }
    }
    return -1;
}

bool OpenCodec(AAC_ENCODER &stEncoder, LONG_32 lRate, LONG_32 lBitRate) {
    const AVCodec *pstKind = avcodec_find_encoder(AV_CODEC_ID_AAC);
    stEncoder.pstCodec = pstKind != nullptr ? avcodec_alloc_context3(pstKind) : nullptr;
    if (stEncoder.pstCodec == nullptr) {
        return false;
    }
    AVCodecContext &stCodec = *stEncoder.pstCodec;
    stCodec.sample_rate = lRate;
    stCodec.sample_fmt = AV_SAMPLE_FMT_FLTP;
    stCodec.bit_rate = lBitRate;
    stCodec.profile = FF_PROFILE_AAC_LOW;
    stCodec.time_base = {1, lRate};
    stCodec.thread_count = 1;
    av_channel_layout_default(&stCodec.ch_layout, 1);
    return avcodec_open2(&stCodec, pstKind, nullptr) == 0;
}

bool Open(AAC_ENCODER &stEncoder, const rawSampleFormat &stFormat, LONG_32 lBitRate) {
    stEncoder.lRateIndex = RateIndex(stFormat.rawSampleRate);
    stEncoder.pstFrame = av_frame_alloc();
    stEncoder.pstPacket = av_packet_alloc();
    if (stEncoder.lRateIndex < 0 || stEncoder.pstFrame == nullptr || stEncoder.pstPacket == nullptr ||
        !OpenCodec(stEncoder, stFormat.rawSampleRate, lBitRate)) {
        return false;
    }
    AVFrame &stFrame = *stEncoder.pstFrame;
    stFrame.nb_samples = FAAC_FRAME_SAMPLES;
    stFrame.format = AV_SAMPLE_FMT_FLTP;
    stFrame.sample_rate = stFormat.rawSampleRate;
    return av_channel_layout_copy(&stFrame.ch_layout, &stEncoder.pstCodec->ch_layout) == 0 &&
           av_frame_get_buffer(&stFrame, 0) == 0;
}

bool Send(AAC_ENCODER &stEncoder, const UCHAR *pucPcm) {
    AVFrame &stFrame = *stEncoder.pstFrame;
    if (av_frame_make_writable(&stFrame) != 0) {
        return false;
    }
    float *pfSample = reinterpret_cast<float *>(stFrame.data[0]);
    for (int i = 0; i < FAAC_FRAME_SAMPLES; i++) {
        int16_t sSample;
        std::memcpy(&sSample, pucPcm + 2 * i, 2);
        pfSample[i] = static_cast<float>(sSample) / 32768.0F;
    }
    return avcodec_send_frame(stEncoder.pstCodec, &stFrame) == 0;
}

// ISO/IEC 14496-3, 1.A.2.2: MPEG-4, no check sum, low complexity, one channel, one block, variable rate.
void WriteAdtsHead(UCHAR *pucHead, int lRateIndex, ULONG_32 ulFrameLen) {
    pucHead[0] = 0xFF;
    pucHead[1] = 0xF1;
    pucHead[2] = static_cast<UCHAR>((1 << 6) | (lRateIndex << 2));
    pucHead[3] = static_cast<UCHAR>((1 << 6) | (ulFrameLen >> 11));
    pucHead[4] = static_cast<UCHAR>(ulFrameLen >> 3);
    pucHead[5] = static_cast<UCHAR>((ulFrameLen << 5) | 0x1F);
    pucHead[6] = 0xFC;
}

LONG_32 Receive(AAC_ENCODER &stEncoder, UCHAR *pucOutput, LONG_32 lRoom, LONG_32 *plLength) {
    const int lResult = avcodec_receive_packet(stEncoder.pstCodec, stEncoder.pstPacket);
    if (lResult == AVERROR(EAGAIN)) {
        return 0;
    }
    if (lResult != 0) {
        return -1;
    }
    const LONG_32 lSize = stEncoder.pstPacket->size;
    const bool bFits = lSize <= lRoom - FAAC_ADTS_HEAD_SIZE;
    if (bFits) {
        WriteAdtsHead(pucOutput, stEncoder.lRateIndex, static_cast<ULONG_32>(lSize + FAAC_ADTS_HEAD_SIZE));
        std::memcpy(pucOutput + FAAC_ADTS_HEAD_SIZE, stEncoder.pstPacket->data, static_cast<size_t>(lSize));
        *plLength = lSize + FAAC_ADTS_HEAD_SIZE;
    }
    av_packet_unref(stEncoder.pstPacket);
    return bFits ? 0 : -1;
}

}  // namespace

LONG_32 dsp_faac_enc_init(HANDLE *phEncoder, const rawSampleFormat *pstFormat, LONG_32 lBitRate) try {
    if (phEncoder == nullptr) {
        return -1;
    }
    *phEncoder = nullptr;
    if (pstFormat == nullptr || pstFormat->rawChannels != 1 || pstFormat->rawBitsPerSample != 16 || lBitRate <= 0) {
        return -1;
    }
    zv::QuietFfmpeg();
    auto pstEncoder = std::make_unique<AAC_ENCODER>();
    if (!Open(*pstEncoder, *pstFormat, lBitRate)) {
        return -1;
    }
    *phEncoder = pstEncoder.release();
    return 0;
} catch (const std::bad_alloc &) {
    return -1;
}

LONG_32 dsp_faac_enc_encode(HANDLE hEncoder, const UCHAR *pucPcm, LONG_32 lSamples, UCHAR *pucOutput,
                            LONG_32 *plLength) {
    if (plLength == nullptr) {
        return -1;
    }
    const LONG_32 lRoom = *plLength;
    *plLength = 0;
    if (hEncoder == nullptr || pucPcm == nullptr || pucOutput == nullptr || lSamples != FAAC_FRAME_SAMPLES) {
        return -1;
    }
    AAC_ENCODER &stEncoder = *static_cast<AAC_ENCODER *>(hEncoder);
    return Send(stEncoder, pucPcm) ? Receive(stEncoder, pucOutput, lRoom, plLength) : -1;
}

LONG_32 dsp_faac_enc_destroy(HANDLE hEncoder) {
    delete static_cast<AAC_ENCODER *>(hEncoder);
    return hEncoder != nullptr ? 0 : -1;
}
