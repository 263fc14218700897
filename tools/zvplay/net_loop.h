/** Plays a stream from the network: the library does it all, the loop waits for the end. */
#ifndef ZVPLAY_NET_LOOP_H
#define ZVPLAY_NET_LOOP_H

#include "log_file.h"
#include "play_loop.h"

namespace zvplay {

class NetLoop : public PlayLoop {
 public:
    NetLoop(const Options &options, Player *player, Window *window, Status *status)
        : PlayLoop(options, player, window, status) {}

    PlayState State() const override {
        PlayState state;
        state.position = started_ ? Seconds(Clock::now() - start_) : 0;
        state.played = state.position;
        state.paused = paused_;
        state.sound = sound_;
        state.analytics = analytics_;
        state.waiting = !started_;
        return state;
    }

 protected:
    /** The time asked for counts from the first frame, or from the beginning as long as there is none. */
    bool IsOver() override {
        if (options_.seconds > 0 && Seconds(Clock::now() - start_) >= options_.seconds) return true;
        return (Player::PeerClosed() || StreamEnded()) && !paused_ && Drained();
    }

 private:
    bool Advance(Failure *) override {
        if (!started_ && player_.Frames() > 0) {
            started_ = true;
            start_ = Clock::now();
        }
        return true;
    }
    int WaitMilliseconds() const override { return 50; }
    void Pause() override { player_.SetPaused(paused_); }

    Clock::time_point start_ = Clock::now();
    bool started_ = false;  ///< something came
};

}  // namespace zvplay

#endif
