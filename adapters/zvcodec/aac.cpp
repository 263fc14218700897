// AAC decoding: ADTS frames in, interleaved 16-bit PCM out.
#include "codec/zvcodec.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswresample/swresample.h>
}

#include <memory>

#include "common/packet_buffer.h"
#include "common/quiet.h"

namespace zv {
namespace {

constexpr size_t kAdtsHeader = 7;
constexpr int kFailuresToReset = 5; /**< failures in a row after which only a new decoder is worth a try */
constexpr int kFailed = -1;
constexpr int kReset = -3;

/** True where an ADTS frame begins (ISO/IEC 14496-3, 1.A.2.2): twelve ones, layer 0. */
bool IsAdts(const uint8_t *data, size_t size) {
    return size >= kAdtsHeader && data[0] == 0xFF && (data[1] & 0xF6) == 0xF0;
}

/**
 * Bytes of the frame that begins here. The length of its header counts only where another frame begins behind it: some
 * senders write a wrong one, and FFmpeg does not need it.
 */
size_t AdtsSize(const uint8_t *data, size_t size) {
    const size_t told = static_cast<size_t>(data[3] & 3) << 11 | static_cast<size_t>(data[4]) << 3 | data[5] >> 5;
    return told > kAdtsHeader && told < size && IsAdts(data + told, size - told) ? told : size;
}

class AacDecoder {
 public:
    AacDecoder() : frame_(av_frame_alloc()) {}
    ~AacDecoder() {
        av_freep(&pcm_);
        swr_free(&resampler_);
        av_frame_free(&frame_);
        avcodec_free_context(&context_);
        av_channel_layout_uninit(&layout_);
    }
    AacDecoder(const AacDecoder &) = delete;
    AacDecoder &operator=(const AacDecoder &) = delete;

    bool Open() {
        const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_AAC);
        context_ = avcodec_alloc_context3(codec);
        return context_ != nullptr && frame_ != nullptr && input_.Ready() &&
               avcodec_open2(context_, codec, nullptr) == 0;
    }

    /** Decodes the frames of a buffer into Pcm(). @return 0, kFailed or kReset */
    int Decode(const uint8_t *data, size_t size) {
        used_ = 0;
        while (IsAdts(data, size)) {
            const size_t frame = AdtsSize(data, size);
            DecodeFrame(data, frame);
            data += frame;
            size -= frame;
        }
        failures_ = used_ != 0 ? 0 : failures_ + 1;
        return failures_ == 0 ? 0 : failures_ < kFailuresToReset ? kFailed : kReset;
    }

    /** Forgets what the next frame would be blended with. */
    void BeginAnew() { avcodec_flush_buffers(context_); }

    int16_t *Pcm() const { return pcm_; }
    size_t Used() const { return used_; } /**< samples in Pcm(), over all channels */
    const aac_decoder_param &Param() const { return param_; }

 private:
    void DecodeFrame(const uint8_t *data, size_t size) {
        input_.Clear();
        if (!input_.Append(data, size) || input_.Send(context_) < 0) {
            return;
        }
        while (avcodec_receive_frame(context_, frame_) == 0) {
            AddFrame();
            av_frame_unref(frame_);
        }
    }

    void AddFrame() {
        if (!FitResampler()) {
            return;
        }
        const auto channels = static_cast<size_t>(frame_->ch_layout.nb_channels);
        const size_t wanted = used_ + static_cast<size_t>(frame_->nb_samples) * channels;
        auto *pcm = static_cast<int16_t *>(av_fast_realloc(pcm_, &capacity_, wanted * sizeof(int16_t)));
        if (pcm == nullptr) {
            return;
        }
        pcm_ = pcm;
        auto *out = reinterpret_cast<uint8_t *>(pcm_ + used_);
        const int made = swr_convert(resampler_, &out, frame_->nb_samples,
                                     const_cast<const uint8_t **>(frame_->extended_data), frame_->nb_samples);
        if (made <= 0) {
            return;
        }
        used_ += static_cast<size_t>(made) * channels;
        param_ = {frame_->ch_layout.nb_channels, frame_->sample_rate, static_cast<int>(context_->bit_rate),
                  frame_->nb_samples, SAMPLE_FMT_S16};
    }

    /** Makes the resampler for the frame's format, if the one at hand is for another. */
    bool FitResampler() {
        if (resampler_ != nullptr && rate_ == frame_->sample_rate && format_ == frame_->format &&
            av_channel_layout_compare(&layout_, &frame_->ch_layout) == 0) {
            return true;
        }
        rate_ = frame_->sample_rate;
        format_ = frame_->format;
        swr_free(&resampler_);
        if (av_channel_layout_copy(&layout_, &frame_->ch_layout) < 0 ||
            swr_alloc_set_opts2(&resampler_, &layout_, AV_SAMPLE_FMT_S16, rate_, &layout_,
                                static_cast<AVSampleFormat>(format_), rate_, 0, nullptr) < 0 ||
            swr_init(resampler_) < 0) {
            swr_free(&resampler_);
            return false;
        }
        return true;
    }

    AVCodecContext *context_ = nullptr;
    AVFrame *frame_;
    SwrContext *resampler_ = nullptr;
    AVChannelLayout layout_{};
    int rate_ = 0;
    int format_ = -1;
    PacketBuffer input_;
    int16_t *pcm_ = nullptr;
    unsigned capacity_ = 0; /**< bytes in pcm_ */
    size_t used_ = 0;
    int failures_ = 0;
    aac_decoder_param param_{};
};

}  // namespace
}  // namespace zv

extern "C" {

int dsp_aac_dec_init(void **handle) {
    if (handle == nullptr) {
        return -1;
    }
    *handle = nullptr;
    try {
        zv::QuietFfmpeg();
        auto decoder = std::make_unique<zv::AacDecoder>();
        if (!decoder->Open()) {
            return -1;
        }
        *handle = decoder.release();
        return 0;
    } catch (...) {
        return -1;
    }
}

int dsp_aac_dec_destroy(void *handle) {
    if (handle == nullptr) {
        return -1;
    }
    delete static_cast<zv::AacDecoder *>(handle);
    return 0;
}

int dsp_aac_dec_get_param(void *handle, aac_decoder_param *param) {
    if (param == nullptr) {
        return -1;
    }
    *param = handle != nullptr ? static_cast<zv::AacDecoder *>(handle)->Param() : aac_decoder_param{};
    return param->iSampleRate > 0 ? 0 : -1;
}

int dsp_aac_dec_decode(void *handle, unsigned char *in, int size_in, void **out, int *size_out) {
    if (out == nullptr || size_out == nullptr) {
        return zv::kFailed;
    }
    *out = nullptr;
    *size_out = 0;
    if (handle == nullptr || size_in < 0 || (in == nullptr && size_in != 0)) {
        return zv::kFailed;
    }
    auto *decoder = static_cast<zv::AacDecoder *>(handle);
    if (size_in == 0) {
        decoder->BeginAnew();
        return 0;
    }
    try {
        const int result = decoder->Decode(in, static_cast<size_t>(size_in));
        if (result == 0) {
            *out = decoder->Pcm();
            *size_out = static_cast<int>(decoder->Used());
        }
        return result;
    } catch (...) {
        return zv::kReset;
    }
}

}  // extern "C"
