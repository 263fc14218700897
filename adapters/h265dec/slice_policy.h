/**
 * @file slice_policy.h
 * @brief Decides when the slices gathered so far make a whole picture.
 *
 * FFmpeg's H.265 decoder takes whole pictures only, and no slice tells that it is the last. Buffers hold whole pictures
 * (most streams, files), or a slice each (a stream of several slices, depacketised). Waiting for the next picture is
 * always right but costs a picture of delay, so the count of slices is learned where it is stable.
 */
#ifndef ZELVANE_ADAPTERS_SLICE_POLICY_H
#define ZELVANE_ADAPTERS_SLICE_POLICY_H

#include <cstdint>

namespace zv {

/** Learns from the slices and buffers as they come. */
class SlicePolicy {
 public:
    /** A buffer begins. */
    void BeginBuffer() { any_slice_ = false; }

    /** A slice that begins a picture. */
    void FirstSlice() {
        EndPicture();
        if (!any_slice_) {
            starts_in_a_row_ += starts_in_a_row_ < kSteady ? 1 : 0;
            pieces_ = pieces_ && starts_in_a_row_ < kSteady;
        }
        any_slice_ = true;
        slices_ = 1;
        place_ = 0;
        closed_ = false;
    }

    /**
     * A slice that goes on with a picture, also one that came too late.
     * @param place the first bits of its header: within a picture they grow with its place
     */
    void NextSlice(uint32_t place) {
        if (!any_slice_) {
            pieces_ = true;
            starts_in_a_row_ = 0;
        }
        // Behind a picture closed by count: one slice more of it, or the rest of a picture whose first slice is lost.
        unsteady_ |= closed_ && counted_ && place > place_;
        counted_ = false;
        place_ = place;
        any_slice_ = true;
        ++slices_;
    }

    /** Switches to slices that come singly: the first picture of the stream turned out to be cut off. */
    void ExpectPieces() {
        pieces_ = true;
        starts_in_a_row_ = 0;
        closed_ = false;
    }

    /** At the end of a buffer: is the picture in hand whole, as far as one can tell? */
    bool IsWhole() const { return !pieces_ || (Trusted() && slices_ >= usual_); }

    /** The picture in hand has been decoded. */
    void Close() {
        counted_ = pieces_ && Trusted();
        closed_ = true;
    }

 private:
    static constexpr int kSteady = 3;   /**< buffers in a row that begin a picture: they are whole pictures again */
    static constexpr int kAgreeing = 2; /**< pictures in a row of one slice count that make it the usual one */

    bool Trusted() const { return !unsteady_ && agreeing_ >= kAgreeing; }

    void EndPicture() {
        if (slices_ == 0) {
            return;
        }
        agreeing_ = slices_ == usual_ ? agreeing_ + (agreeing_ < kAgreeing ? 1 : 0) : 1;
        usual_ = slices_;
    }

    bool pieces_ = false;    /**< buffers hold pieces of pictures */
    bool any_slice_ = false; /**< this buffer has had a slice */
    bool closed_ = false;    /**< the picture in hand has been decoded */
    bool counted_ = false;   /**< ... since it had the usual count of slices */
    bool unsteady_ = false;  /**< the count has misled once: never again rely on it */
    uint32_t place_ = 0;     /**< of the latest slice */
    int slices_ = 0;         /**< of the picture in hand */
    int usual_ = 0;          /**< slices of the picture before */
    int agreeing_ = 0;       /**< pictures in a row with that count */
    int starts_in_a_row_ = 0;
};

}  // namespace zv

#endif
