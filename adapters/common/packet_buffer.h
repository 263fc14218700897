/**
 * @file packet_buffer.h
 * @brief The one copy between a caller's buffer and FFmpeg: FFmpeg reads past the end of its input, callers' buffers
 *        have nothing there.
 */
#ifndef ZELVANE_ADAPTERS_PACKET_BUFFER_H
#define ZELVANE_ADAPTERS_PACKET_BUFFER_H

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

namespace zv {

/** A growing, padded buffer that is handed to FFmpeg by reference and used again for the next packet. */
class PacketBuffer {
 public:
    PacketBuffer() : packet_(av_packet_alloc()) {}
    ~PacketBuffer() {
        av_packet_free(&packet_);
        av_buffer_unref(&buffer_);
    }
    PacketBuffer(const PacketBuffer &) = delete;
    PacketBuffer &operator=(const PacketBuffer &) = delete;

    bool Ready() const { return packet_ != nullptr; }
    size_t Size() const { return size_; }
    const uint8_t *Data() const { return buffer_ != nullptr ? buffer_->data : nullptr; }
    void Clear() { size_ = 0; }

    /** Appends bytes and keeps the padding behind them zero. @return false without memory, with nothing changed */
    bool Append(const uint8_t *data, size_t size) {
        if (!Reserve(size)) {
            return false;
        }
        std::memcpy(buffer_->data + size_, data, size);
        size_ += size;
        std::memset(buffer_->data + size_, 0, AV_INPUT_BUFFER_PADDING_SIZE);
        return true;
    }

    /** Decodes what has been appended, under a number that its frame hands back; the bytes stay.
     *  @return the result of avcodec_send_packet() */
    int Send(AVCodecContext *context, int64_t number = AV_NOPTS_VALUE) {
        packet_->buf = buffer_ != nullptr ? av_buffer_ref(buffer_) : nullptr;
        if (packet_->buf == nullptr) {
            return AVERROR(ENOMEM);
        }
        packet_->data = buffer_->data;
        packet_->size = static_cast<int>(size_);
        packet_->pts = number;
        const int result = avcodec_send_packet(context, packet_);
        av_packet_unref(packet_);
        return result;
    }

 private:
    bool Reserve(size_t more) {
        constexpr size_t kMost = INT_MAX / 4;
        if (more > kMost - std::min(size_, kMost)) {
            return false;
        }
        const size_t needed = size_ + more + AV_INPUT_BUFFER_PADDING_SIZE;
        if (buffer_ != nullptr && buffer_->size >= needed && av_buffer_is_writable(buffer_) != 0) {
            return true;
        }
        AVBufferRef *larger = av_buffer_alloc(std::max<size_t>(needed * 2, 0x10000));
        if (larger == nullptr) {
            return false;
        }
        if (size_ != 0) {
            std::memcpy(larger->data, buffer_->data, size_);
        }
        av_buffer_unref(&buffer_);
        buffer_ = larger;
        return true;
    }

    AVPacket *packet_;
    AVBufferRef *buffer_ = nullptr;
    size_t size_ = 0;
};

}  // namespace zv

#endif
