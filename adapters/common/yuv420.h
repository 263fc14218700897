/**
 * @file yuv420.h
 * @brief Brings decoded frames of any kind into 8-bit YUV 4:2:0 planes.
 */
#ifndef ZELVANE_ADAPTERS_YUV420_H
#define ZELVANE_ADAPTERS_YUV420_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <cstring>

namespace zv {

/** Planes Y, U, V of a picture and its size. */
struct Planes {
    uint8_t *data[3];
    int stride[3];
    int width;
    int height;
};

/** Gives planes out: those of the frame itself where it is 8-bit 4:2:0, else those of a scratch picture of its own. */
class Yuv420 {
 public:
    Yuv420() = default;
    ~Yuv420() {
        sws_freeContext(scaler_);
        av_frame_free(&scratch_);
    }
    Yuv420(const Yuv420 &) = delete;
    Yuv420 &operator=(const Yuv420 &) = delete;

    /** @return false if the frame's format can't be brought to 4:2:0. The planes live as long as both objects and until
     *          the next call. */
    bool Convert(const AVFrame *frame, Planes *planes) {
        const auto format = static_cast<AVPixelFormat>(frame->format);
        const AVFrame *source = frame;
        if (format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P) {
            if (!Fill(frame, format)) {
                return false;
            }
            source = scratch_;
        }
        for (int i = 0; i < 3; ++i) {
            planes->data[i] = source->data[i];
            planes->stride[i] = source->linesize[i];
        }
        planes->width = frame->width;
        planes->height = frame->height;
        return true;
    }

 private:
    bool Fill(const AVFrame *frame, AVPixelFormat format) {
        if (!MakeScratch(frame->width, frame->height)) {
            return false;
        }
        const AVPixFmtDescriptor *kind = av_pix_fmt_desc_get(format);
        if (kind == nullptr) {
            return false;
        }
        return kind->nb_components == 1 ? FillGray(frame, format) : Scale(frame, format, TargetOf(format));
    }

    /** The 4:2:0 format of the same value range: the range of a stream is never changed. */
    static AVPixelFormat TargetOf(AVPixelFormat format) {
        const bool full =
            format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P;
        return full ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
    }

    /** Luma as it is, chroma neutral. */
    bool FillGray(const AVFrame *frame, AVPixelFormat format) {
        const int chroma_rows = (frame->height + 1) / 2;
        for (int i = 1; i < 3; ++i) {
            std::memset(scratch_->data[i], 128, static_cast<size_t>(scratch_->linesize[i]) * chroma_rows);
        }
        return Scale(frame, format, AV_PIX_FMT_GRAY8);
    }

    bool Scale(const AVFrame *frame, AVPixelFormat from, AVPixelFormat to) {
        scaler_ = sws_getCachedContext(scaler_, frame->width, frame->height, from, frame->width, frame->height, to,
                                       SWS_BICUBIC, nullptr, nullptr, nullptr);
        return scaler_ != nullptr && sws_scale(scaler_, frame->data, frame->linesize, 0, frame->height, scratch_->data,
                                               scratch_->linesize) == frame->height;
    }

    bool MakeScratch(int width, int height) {
        if (scratch_ != nullptr && scratch_->width == width && scratch_->height == height) {
            return true;
        }
        av_frame_free(&scratch_);
        scratch_ = av_frame_alloc();
        if (scratch_ == nullptr) {
            return false;
        }
        scratch_->format = AV_PIX_FMT_YUV420P;
        scratch_->width = width;
        scratch_->height = height;
        if (av_frame_get_buffer(scratch_, 0) < 0) {
            av_frame_free(&scratch_);
            return false;
        }
        return true;
    }

    SwsContext *scaler_ = nullptr;
    AVFrame *scratch_ = nullptr;
};

}  // namespace zv

#endif
