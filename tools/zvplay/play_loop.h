/** The loop that plays: window events, what the source needs, status; one thread. */
#ifndef ZVPLAY_PLAY_LOOP_H
#define ZVPLAY_PLAY_LOOP_H

#include <chrono>

#include "capture.h"
#include "options.h"
#include "player.h"
#include "status.h"
#include "window.h"

namespace zvplay {

/** What all sources have in common. One class a kind of source is derived from it. */
class PlayLoop {
 public:
    /** @param window null when headless. All have to outlive the loop. */
    PlayLoop(const Options &options, Player *player, Window *window, Status *status);
    virtual ~PlayLoop() = default;
    PlayLoop(const PlayLoop &) = delete;
    PlayLoop &operator=(const PlayLoop &) = delete;

    /** Plays until the end of the source, the time asked for, `q`, or Interrupt(). @return false with the failure */
    bool Run(Failure *failure);

    /** Ends the loop soon; for signal handlers. Twice ends the process, unless the terminal's end is told again. */
    static void Interrupt(int signal);

    /** Where it stands. */
    virtual PlayState State() const = 0;

    /** The same with what is recorded and saved. */
    PlayState FullState() const;

    /** What was saved of the stream, in words. */
    std::string Saved() const { return capture_.Summary(); }

    /** What was odd, in words, for the report at the end; empty if nothing. */
    virtual std::string Remark() const { return {}; }

 protected:
    using Clock = std::chrono::steady_clock;

    /** Whether there is something to show and record yet. */
    virtual bool IsReady() const { return true; }

    /** Whether a picture has to come before a recording may begin: a seek needs what that one tells. */
    virtual bool StepsFirst() const { return false; }
    virtual void StepIn() {}

    /** Lets flow what waits for it. */
    virtual void Start() {}

    /** Lets nothing flow any more: the player is about to close. */
    virtual void Finish() {}

    /** Does what is due. @return false with the failure filled */
    virtual bool Advance(Failure *failure) = 0;

    /** Whether all was played. */
    virtual bool IsOver() = 0;

    /** How long the loop may sleep when no key comes. */
    virtual int WaitMilliseconds() const { return 100; }

    /** Pauses or goes on. paused_ is set already. */
    virtual void Pause() = 0;

    /** Does what only some sources can. */
    virtual void Do(Action) {}

    /** Hears of the rate that the library reads in the stream. */
    virtual void LearnRate(int32_t) {}

    /** Whether the library has shown all that it was given: its ring is empty and no picture came for a while. */
    bool Drained();

    const Options &options_;
    Player &player_;
    Status &status_;
    bool paused_ = false, sound_, analytics_;

 private:
    void HandleWindow();
    void Act(Action action);
    void Tell();

    bool Begin(Failure *failure);
    bool Show(Failure *failure);
    bool Play(Failure *failure);

    Window *const window_;
    Capture capture_;
    Clock::time_point next_look_ = Clock::now();  ///< at the library's figures
    Clock::time_point next_second_ = next_look_ + std::chrono::seconds(1);
    bool proportion_ = true;
    bool quit_ = false, begun_ = false;
    uint32_t drained_pictures_ = 0;  ///< pictures when drained_since_ was set
    Clock::time_point drained_since_;
    bool draining_ = false;
};

/** Seconds of a span of time. */
inline double Seconds(std::chrono::steady_clock::duration time) { return std::chrono::duration<double>(time).count(); }

}  // namespace zvplay

#endif
