#include "push_loop.h"

#include <algorithm>

namespace zvplay {

/** Nothing is pushed in a pause; what is in the ring already is held back by the library. */
void PushLoop::Pause() {
    player_.SetPaused(paused_);
    if (paused_) paused_at_ = Clock::now();
    if (!paused_) start_ += Clock::now() - paused_at_;
}

double PushLoop::Position() const { return Seconds((paused_ ? paused_at_ : Clock::now()) - start_); }

PlayState PushLoop::State() const {
    // Pushed ahead of the clock or waiting for the last pictures, the stream's own time is the better answer.
    const bool by_stream = options_.fast || ended_;
    PlayState state;
    state.position = by_stream ? std::min(push_.due, options_.seconds > 0 ? options_.seconds : push_.due) : Position();
    state.played = state.position;
    state.paused = paused_;
    state.sound = sound_;
    state.analytics = analytics_;
    return state;
}

/** Makes push_ the next piece that the library can take. @return false at the end */
bool PushLoop::TakeNext() {
    do {
        if (!source_.Next(&push_)) return false;
    } while (!Player::Fits(push_));
    return options_.seconds <= 0 || push_.due < options_.seconds;
}

bool PushLoop::Advance(Failure *failure) {
    full_ = false;
    if (!rate_known_) LearnRate(player_.Rate());
    for (int count = 0; count < 100 && !paused_ && !ended_; ++count) {  // keys and status get their turn
        if (!have_) have_ = TakeNext();
        const bool over = options_.seconds > 0 && !options_.fast && Position() >= options_.seconds;
        if (!have_ || over) {
            ended_ = true;
            break;
        }
        if (!options_.fast && push_.due > Position()) break;
        full_ = !player_.HasRoom(push_);
        if (full_) break;
        if (!player_.Give(push_, failure)) return false;
        have_ = false;
    }
    return true;
}

/** A source without timestamps follows the rate that the library reads in the stream. */
void PushLoop::LearnRate(int32_t rate) {
    if (options_.fps > 0 || rate <= 0) return;
    rate_known_ = true;
    source_.SetFrameRate(rate);
}

int PushLoop::WaitMilliseconds() const {
    if (full_) return 20;
    if (have_ && !paused_ && !ended_) {
        const double wait = options_.fast ? 0 : push_.due - Position();
        return static_cast<int>(std::clamp(wait * 1000, 0.0, 100.0));
    }
    return ended_ ? 50 : 100;
}

}  // namespace zvplay
