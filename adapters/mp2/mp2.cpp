#include "codec/mp2.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include "common/quiet.h"

namespace {

// A layer II frame has 1728 bytes at most; of longer input only the first frame counts, so this bounds the copy.
constexpr ULONG_32 MAX_INPUT_SIZE = 1 << 20;
constexpr int MAX_LEFTOVERS = 64;

struct MP2_DECODER {
    AVCodecContext *pstCodec = nullptr;
    AVFrame *pstFrame = nullptr;
    AVPacket *pstPacket = nullptr;
    SwrContext *pstMixer = nullptr;  // to mono, 16 bits, of the same rate
    AVChannelLayout stLayout{};      // what the mixer was made for
    int lFormat = AV_SAMPLE_FMT_NONE;
    int lRate = 0;
    std::vector<uint8_t> oInput;  // the frame with the padding that FFmpeg reads behind it

    ~MP2_DECODER() {
        swr_free(&pstMixer);
        av_channel_layout_uninit(&stLayout);
        av_packet_free(&pstPacket);
        av_frame_free(&pstFrame);
        avcodec_free_context(&pstCodec);
    }
};

bool Open(MP2_DECODER &stDecoder) {
    const AVCodec *pstKind = avcodec_find_decoder(AV_CODEC_ID_MP2);
    if (pstKind == nullptr) {
        return false;
    }
    stDecoder.pstCodec = avcodec_alloc_context3(pstKind);
    stDecoder.pstFrame = av_frame_alloc();
    stDecoder.pstPacket = av_packet_alloc();
    if (stDecoder.pstCodec == nullptr || stDecoder.pstFrame == nullptr || stDecoder.pstPacket == nullptr) {
        return false;
    }
    stDecoder.pstCodec->thread_count = 1;
    return avcodec_open2(stDecoder.pstCodec, pstKind, nullptr) == 0;
}

// Frames behind the first one of the input before are left out: they would keep the next input from coming in.
void DropLeftovers(MP2_DECODER &stDecoder) {
    int lResult = 0;
    for (int i = 0; i < MAX_LEFTOVERS && lResult != AVERROR(EAGAIN); i++) {
        lResult = avcodec_receive_frame(stDecoder.pstCodec, stDecoder.pstFrame);
    }
    if (lResult != AVERROR(EAGAIN)) {
        avcodec_flush_buffers(stDecoder.pstCodec);
    }
}

bool Feed(MP2_DECODER &stDecoder, const UCHAR *pucData, ULONG_32 ulSize) {
    DropLeftovers(stDecoder);
    stDecoder.oInput.resize(static_cast<size_t>(ulSize) + AV_INPUT_BUFFER_PADDING_SIZE);
    std::memcpy(stDecoder.oInput.data(), pucData, ulSize);
    std::memset(stDecoder.oInput.data() + ulSize, 0, AV_INPUT_BUFFER_PADDING_SIZE);
    stDecoder.pstPacket->data = stDecoder.oInput.data();
    stDecoder.pstPacket->size = static_cast<int>(ulSize);
    return avcodec_send_packet(stDecoder.pstCodec, stDecoder.pstPacket) == 0 &&
           avcodec_receive_frame(stDecoder.pstCodec, stDecoder.pstFrame) == 0;
}

// Makes the mixer when the stream starts or changes its form.
bool ReadyMixer(MP2_DECODER &stDecoder) {
    AVFrame &stFrame = *stDecoder.pstFrame;
    if (stDecoder.pstMixer != nullptr && stDecoder.lFormat == stFrame.format &&
        stDecoder.lRate == stFrame.sample_rate &&
        av_channel_layout_compare(&stDecoder.stLayout, &stFrame.ch_layout) == 0) {
        return true;
    }
    swr_free(&stDecoder.pstMixer);
    AVChannelLayout stMono = AV_CHANNEL_LAYOUT_MONO;
    if (av_channel_layout_copy(&stDecoder.stLayout, &stFrame.ch_layout) != 0 ||
        swr_alloc_set_opts2(&stDecoder.pstMixer, &stMono, AV_SAMPLE_FMT_S16, stFrame.sample_rate, &stFrame.ch_layout,
                            static_cast<AVSampleFormat>(stFrame.format), stFrame.sample_rate, 0, nullptr) != 0 ||
        swr_init(stDecoder.pstMixer) != 0) {
        swr_free(&stDecoder.pstMixer);
        return false;
    }
    stDecoder.lFormat = stFrame.format;
    stDecoder.lRate = stFrame.sample_rate;
    return true;
}

LONG_32 DecodeFrame(MP2_DECODER &stDecoder, MPEG_AUDIO_DEC_S &stInOut, ULONG_32 ulRoom) {
    if (!Feed(stDecoder, stInOut.pStreamIn, stInOut.uiStrmLen) || !ReadyMixer(stDecoder)) {
        return -1;
    }
    USHORT ausNowhere[MPEG_AUDIO_DEC_MAX_SAMPLES];
    uint8_t *pucOutput = reinterpret_cast<uint8_t *>(stInOut.pPCMBuf != nullptr ? stInOut.pPCMBuf : ausNowhere);
    const int lSamples = swr_convert(
        stDecoder.pstMixer, &pucOutput, static_cast<int>(std::min<ULONG_32>(ulRoom, MPEG_AUDIO_DEC_MAX_SAMPLES)),
        const_cast<const uint8_t **>(stDecoder.pstFrame->extended_data), stDecoder.pstFrame->nb_samples);
    if (lSamples <= 0) {
        return -1;
    }
    stInOut.uiSamples = static_cast<ULONG_32>(lSamples);
    stInOut.uiChannels = 1;
    return 0;
}

}  // namespace

HANDLE mpeg_audio_dec_init(void) try {
    zv::QuietFfmpeg();
    auto pstDecoder = std::make_unique<MP2_DECODER>();
    return Open(*pstDecoder) ? pstDecoder.release() : nullptr;
} catch (const std::bad_alloc &) {
    return nullptr;
}

LONG_32 mpeg_audio_dec_frame(HANDLE hDecoder, MPEG_AUDIO_DEC_S *pstInOutBuf) try {
    if (pstInOutBuf == nullptr) {
        return -1;
    }
    const ULONG_32 ulRoom = pstInOutBuf->uiSamples;
    pstInOutBuf->uiSamples = 0;
    if (hDecoder == nullptr || pstInOutBuf->pStreamIn == nullptr || pstInOutBuf->uiStrmLen == 0 ||
        pstInOutBuf->uiStrmLen > MAX_INPUT_SIZE) {
        return -1;
    }
    MP2_DECODER &stDecoder = *static_cast<MP2_DECODER *>(hDecoder);
    const LONG_32 lResult = DecodeFrame(stDecoder, *pstInOutBuf, ulRoom);
    av_frame_unref(stDecoder.pstFrame);
    return lResult;
} catch (const std::bad_alloc &) {
    return -1;
}

void mpeg_audio_dec_destroy(HANDLE hDecoder) { delete static_cast<MP2_DECODER *>(hDecoder); }
