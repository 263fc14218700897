/** Turns the timestamps of a stream into seconds from its beginning. */
#ifndef ZVPLAY_STREAM_CLOCK_H
#define ZVPLAY_STREAM_CLOCK_H

#include <cstdint>

namespace zvplay {

/**
 * Follows wrapping timestamps. Never runs backwards: a picture that is decoded early and shown late does not turn the
 * clock back. A step of more than ten seconds either way is a new recording behind the old one, or a camera whose clock
 * was set, and counts as no time at all.
 */
class StreamClock {
 public:
    /** @param rate ticks a second; @param bits width of the timestamps, 32 or 33 */
    StreamClock(double rate, unsigned bits) : rate_(rate), bits_(bits) {}

    /** Takes the next timestamp. @return seconds from the first one */
    double Advance(uint64_t timestamp) {
        if (!started_) last_ = timestamp;
        started_ = true;
        // The difference in the width of the timestamps, with its sign.
        const uint64_t difference = (timestamp - last_) << (64 - bits_);
        const double step = static_cast<double>(static_cast<int64_t>(difference) >> (64 - bits_)) / rate_;
        last_ = timestamp;
        if (step > -10 && step < 10) position_ += step;
        if (position_ > furthest_) furthest_ = position_;
        return furthest_;
    }

    /** Seconds that Advance() gave last. */
    double Now() const { return furthest_; }

 private:
    double rate_;
    unsigned bits_;
    bool started_ = false;
    uint64_t last_ = 0;
    double position_ = 0;
    double furthest_ = 0;
};

}  // namespace zvplay

#endif
