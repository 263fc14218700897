/**
 * @file last_pixels.h
 * @brief Tells whether the end of a picture has been decoded.
 */
#ifndef ZELVANE_ADAPTERS_LAST_PIXELS_H
#define ZELVANE_ADAPTERS_LAST_PIXELS_H

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

namespace zv {

/** Marks the last pixels of a picture before it is decoded and looks at them afterwards. */
class LastPixels {
 public:
    ~LastPixels() { Forget(); }
    LastPixels() = default;
    LastPixels(const LastPixels &) = delete;
    LastPixels &operator=(const LastPixels &) = delete;

    void Mark(const AVFrame *frame) {
        const AVPixFmtDescriptor *kind = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
        if (kind == nullptr || frame->buf[0] == nullptr) {
            return;
        }
        const size_t row = static_cast<size_t>(frame->width) * static_cast<size_t>(kind->comp[0].step);
        size_ = std::min(row, sizeof(kMark));
        place_ = frame->data[0] + static_cast<ptrdiff_t>(frame->linesize[0]) * (frame->height - 1) + row - size_;
        av_buffer_unref(&buffer_);
        buffer_ = av_buffer_ref(frame->buf[0]);
        if (buffer_ != nullptr) {
            std::memcpy(place_, kMark, size_);
        }
    }

    /** True if a marked picture still has its mark; the mark is forgotten. */
    bool PopUntouched() {
        const bool untouched = buffer_ != nullptr && std::memcmp(place_, kMark, size_) == 0;
        Forget();
        return untouched;
    }

    void Forget() { av_buffer_unref(&buffer_); }

 private:
    /** No picture has these by chance. */
    static constexpr uint8_t kMark[16] = {0x3B, 0xC5, 0x62, 0x9E, 0x17, 0xF0, 0x4D, 0xA8,
                                          0x81, 0x2C, 0xD7, 0x59, 0xE6, 0x0A, 0xB3, 0x74};

    AVBufferRef *buffer_ = nullptr; /**< keeps the picture's memory */
    uint8_t *place_ = nullptr;
    size_t size_ = 0;
};

}  // namespace zv

#endif
