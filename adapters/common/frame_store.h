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

#include "common/limits.h"

namespace zv {

/** References to decoded frames; no picture is copied and no frame record allocated after construction. */
class FrameStore {
 public:
    FrameStore() {
        for (size_t i = 0; i < kRoom; ++i) {
            queue_[i] = av_frame_alloc();
            kept_[i] = av_frame_alloc();
        }
        incoming_ = av_frame_alloc();
        given_ = av_frame_alloc();
    }
    ~FrameStore() {
        for (size_t i = 0; i < kRoom; ++i) {
            av_frame_free(&queue_[i]);
            av_frame_free(&kept_[i]);
        }
        av_frame_free(&incoming_);
        av_frame_free(&given_);
    }
    FrameStore(const FrameStore &) = delete;
    FrameStore &operator=(const FrameStore &) = delete;

    bool Ready() const {
        for (size_t i = 0; i < kRoom; ++i) {
            if (queue_[i] == nullptr || kept_[i] == nullptr) {
                return false;
            }
        }
        return incoming_ != nullptr && given_ != nullptr;
    }

    /** Queues every frame that the decoder has ready and `wanted` agrees to; in a full queue the oldest gives way. */
    template <typename Wanted>
    void Receive(AVCodecContext *context, Wanted wanted) {
        while (avcodec_receive_frame(context, incoming_) == 0) {
            if (wanted(*incoming_)) {
                Add();
            } else {
                av_frame_unref(incoming_);
            }
        }
    }

    /** Whether so many more frames find room without pushing one out, if they are as large as the latest. */
    bool HasRoom(size_t more) const {
        const AVFrame *latest = count_ != 0 ? queue_[(first_ + count_ - 1) % kRoom] : nullptr;
        const int64_t pixels = latest != nullptr ? static_cast<int64_t>(latest->width) * latest->height : 0;
        return count_ + more <= kRoom && static_cast<int64_t>(count_ + more) * pixels <= kMostPixels;
    }

    /** Gives the oldest waiting frame; null if none waits. Those given before are kept if asked, else released. */
    AVFrame *Take(bool keep_given) {
        if (count_ == 0) {
            return nullptr;
        }
        if (keep_given && kept_count_ != kRoom) {
            av_frame_move_ref(kept_[kept_count_++], given_);
        } else {
            av_frame_unref(given_);
        }
        while (!keep_given && kept_count_ != 0) {
            av_frame_unref(kept_[--kept_count_]);
        }
        std::swap(given_, queue_[first_]);
        first_ = (first_ + 1) % kRoom;
        --count_;
        return given_;
    }

    /** Forgets the frames that wait. */
    void Drop() {
        for (; count_ != 0; --count_) {
            av_frame_unref(queue_[first_]);
            first_ = (first_ + 1) % kRoom;
        }
    }

 private:
    /** Room for what a buffer of many pictures or a drain gives; of large pictures less waits. */
    static constexpr size_t kRoom = 16;
    static constexpr int64_t kMostPixels = 4 * kMaxPixels;

    void Add() {
        while (count_ != 0 && !HasRoom(1)) {
            av_frame_unref(queue_[first_]);
            first_ = (first_ + 1) % kRoom;
            --count_;
        }
        std::swap(incoming_, queue_[(first_ + count_) % kRoom]);
        ++count_;
    }

    std::array<AVFrame *, kRoom> queue_{};
    std::array<AVFrame *, kRoom> kept_{};
    size_t kept_count_ = 0;
    size_t first_ = 0;
    size_t count_ = 0;
    AVFrame *incoming_ = nullptr;
    AVFrame *given_ = nullptr;
};

}  // namespace zv

#endif
