/** The loop that plays: window events, data at its time, status; one thread. */
#ifndef ZVPLAY_PLAY_LOOP_H
#define ZVPLAY_PLAY_LOOP_H

#include <chrono>

#include "options.h"
#include "player.h"
#include "source.h"
#include "status.h"
#include "window.h"

namespace zvplay {

/** Plays one source to its end. */
class PlayLoop {
 public:
    /** @param window null when headless. All have to outlive the loop. */
    PlayLoop(const Options &options, Source *source, Player *player, Window *window, Status *status);

    /** Plays until the end of the source, the time asked for, `q`, or Interrupt(). @return false with the failure */
    bool Run(Failure *failure);

    /** Ends the loop soon; for signal handlers. */
    static void Interrupt();

    /** Where it stands. */
    PlayState State() const;

 private:
    using Clock = std::chrono::steady_clock;

    void HandleWindow();
    void Act(Action action);
    bool PushDue(Failure *failure);
    bool TakeNext();
    void LearnRate(int32_t rate);
    void Tell();
    bool Drained();
    int WaitMilliseconds() const;
    double Position() const;

    const Options &options_;
    Source &source_;
    Player &player_;
    Window *const window_;
    Status &status_;

    Clock::time_point start_ = Clock::now();  ///< of the stream's second 0; moved on by pauses
    Clock::time_point paused_at_;
    Clock::time_point next_look_ = start_;  ///< at the library's figures
    Clock::time_point next_second_ = start_ + std::chrono::seconds(1);
    bool paused_ = false, sound_, proportion_ = true;
    bool have_ = false;   ///< push_ waits for its time
    bool full_ = false;   ///< the ring had no room for push_
    bool ended_ = false;  ///< nothing more to push
    bool quit_ = false;
    bool rate_known_ = false;
    Push push_;
    uint32_t drained_pictures_ = 0;  ///< pictures when drained_since_ was set
    Clock::time_point drained_since_;
};

}  // namespace zvplay

#endif
