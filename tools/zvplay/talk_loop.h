/** Shows a camera and talks to it, and maybe to more. */
#ifndef ZVPLAY_TALK_LOOP_H
#define ZVPLAY_TALK_LOOP_H

#include "net_loop.h"
#include "talk.h"

namespace zvplay {

class TalkLoop : public NetLoop {
 public:
    TalkLoop(const Options &options, Talk *talk, Player *player, Window *window, Status *status)
        : NetLoop(options, player, window, status), talk_(*talk), ends_with_talk_(window == nullptr) {}

    PlayState State() const override {
        PlayState state = NetLoop::State();
        state.talk = talk_.State();
        return state;
    }

 private:
    /** Without a window to close, and no time set, all is over when all has been said, and a moment for the answer. */
    bool IsOver() override {
        if (!talk_.State().ended) said_ = Clock::now();
        const bool over = ends_with_talk_ && options_.seconds == 0 && Seconds(Clock::now() - said_) > 0.5;
        return over || NetLoop::IsOver();
    }
    void Do(Action action) override {
        if (action == Action::kTalk) talk_.Toggle();
    }

    Talk &talk_;
    const bool ends_with_talk_;
    Clock::time_point said_ = Clock::now();
};

}  // namespace zvplay

#endif
