/** Plays captured data: gives each piece to the library when its time has come. */
#ifndef ZVPLAY_PUSH_LOOP_H
#define ZVPLAY_PUSH_LOOP_H

#include "play_loop.h"
#include "source.h"

namespace zvplay {

class PushLoop : public PlayLoop {
 public:
    PushLoop(const Options &options, Source *source, Player *player, Window *window, Status *status)
        : PlayLoop(options, player, window, status), source_(*source) {}

    PlayState State() const override;

 private:
    bool Advance(Failure *failure) override;
    bool IsOver() override { return ended_ && !paused_ && Drained(); }
    int WaitMilliseconds() const override;
    void Pause() override;
    void LearnRate(int32_t rate) override;
    bool TakeNext();
    double Position() const;

    Source &source_;
    Clock::time_point start_ = Clock::now();  ///< of the stream's second 0; moved on by pauses
    Clock::time_point paused_at_;
    bool have_ = false;   ///< push_ waits for its time
    bool full_ = false;   ///< the ring had no room for push_
    bool ended_ = false;  ///< nothing more to push
    bool rate_known_ = false;
    Push push_;
};

}  // namespace zvplay

#endif
