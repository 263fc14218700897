/**
 * @file frame_store.h
 * @brief Pictures between FFmpeg and the caller: a short queue, and the one picture that the caller looks at.
 */
#ifndef ZELVANE_ADAPTERS_FRAME_STORE_H
#define ZELVANE_ADAPTERS_FRAME_STORE_H

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <array>
#include <utility>

namespace zv {

/** References to decoded frames; no picture is copied and no frame record allocated after construction. */
class FrameStore {
 public:
    FrameStore() {
        for (AVFrame *&frame : queue_) {
            frame = av_frame_alloc();
        }
        incoming_ = av_frame_alloc();
        given_ = av_frame_alloc();
    }
    ~FrameStore() {
        for (AVFrame *&frame : queue_) {
            av_frame_free(&frame);
        }
        av_frame_free(&incoming_);
        av_frame_free(&given_);
    }
    FrameStore(const FrameStore &) = delete;
    FrameStore &operator=(const FrameStore &) = delete;

    bool Ready() const {
        for (const AVFrame *frame : queue_) {
            if (frame == nullptr) {
                return false;
            }
        }
        return incoming_ != nullptr && given_ != nullptr;
    }

    /** Queues every frame that the decoder has ready; in a full queue the oldest gives way. */
    void Receive(AVCodecContext *context) {
        while (avcodec_receive_frame(context, incoming_) == 0) {
            if (count_ == queue_.size()) {
                av_frame_unref(queue_[first_]);
                first_ = (first_ + 1) % queue_.size();
                --count_;
            }
            std::swap(incoming_, queue_[(first_ + count_) % queue_.size()]);
            ++count_;
        }
    }

    /** Forgets the frames that wait. */
    void Drop() {
        while (count_ != 0) {
            av_frame_unref(queue_[first_]);
            first_ = (first_ + 1) % queue_.size();
            --count_;
        }
    }

    /** Gives the oldest waiting frame, valid until the next one is given; null if none waits. */
    AVFrame *Take() {
        if (count_ == 0) {
            return nullptr;
        }
        av_frame_unref(given_);
        std::swap(given_, queue_[first_]);
        first_ = (first_ + 1) % queue_.size();
        --count_;
        return given_;
    }

 private:
    std::array<AVFrame *, 4> queue_{};
    size_t first_ = 0;
    size_t count_ = 0;
    AVFrame *incoming_ = nullptr;
    AVFrame *given_ = nullptr;
};

}  // namespace zv

#endif
