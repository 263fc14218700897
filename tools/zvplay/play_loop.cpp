#include "play_loop.h"

#include <poll.h>

#include <algorithm>
#include <csignal>

namespace zvplay {
namespace {

volatile std::sig_atomic_t interrupted = 0;

double Seconds(std::chrono::steady_clock::duration time) { return std::chrono::duration<double>(time).count(); }

}  // namespace

void PlayLoop::Interrupt() { interrupted = 1; }

PlayLoop::PlayLoop(const Options &options, Source *source, Player *player, Window *window, Status *status)
    : options_(options),
      source_(*source),
      player_(*player),
      window_(window),
      status_(*status),
      sound_(window != nullptr && !options.mute) {
    if (window_ != nullptr) player_.SetProportion(proportion_);
    if (sound_) player_.SetSound(true);
}

bool PlayLoop::Run(Failure *failure) {
    while (!quit_ && interrupted == 0) {
        HandleWindow();
        if (!PushDue(failure)) return false;
        Tell();
        if (ended_ && !paused_ && Drained()) break;
        pollfd wait = {window_ != nullptr ? window_->Descriptor() : -1, POLLIN, 0};
        poll(&wait, 1, WaitMilliseconds());
    }
    return true;
}

void PlayLoop::HandleWindow() {
    if (window_ == nullptr) return;
    for (Action action = window_->Next(); action != Action::kNone; action = window_->Next()) Act(action);
}

void PlayLoop::Act(Action action) {
    switch (action) {
        case Action::kQuit:
            quit_ = true;
            break;
        case Action::kProportion:
            player_.SetProportion(proportion_ = !proportion_);
            break;
        case Action::kMute:
            player_.SetSound(sound_ = !sound_);
            break;
        case Action::kPause:
            // Nothing is pushed in a pause; what is in the ring already is held back by the library.
            paused_ = !paused_;
            player_.SetPaused(paused_);
            if (paused_) paused_at_ = Clock::now();
            if (!paused_) start_ += Clock::now() - paused_at_;
            break;
        case Action::kNone:
            break;
    }
}

double PlayLoop::Position() const { return Seconds((paused_ ? paused_at_ : Clock::now()) - start_); }

PlayState PlayLoop::State() const {
    // Pushed ahead of the clock or waiting for the last pictures, the stream's own time is the better answer.
    const bool by_stream = options_.fast || ended_;
    return {by_stream ? std::min(push_.due, options_.seconds > 0 ? options_.seconds : push_.due) : Position(), paused_,
            sound_};
}

/** Makes push_ the next piece that the library can take. @return false at the end */
bool PlayLoop::TakeNext() {
    do {
        if (!source_.Next(&push_)) return false;
    } while (!Player::Fits(push_));
    return options_.seconds <= 0 || push_.due < options_.seconds;
}

bool PlayLoop::PushDue(Failure *failure) {
    full_ = false;
    for (int count = 0; count < 100 && !paused_ && !ended_; ++count) {  // keys and status get their turn
        if (!have_) have_ = TakeNext();
        const bool over = options_.seconds > 0 && !options_.fast && Position() >= options_.seconds;
        if (!have_ || over) {
            ended_ = true;
            drained_since_ = Clock::now();
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
void PlayLoop::LearnRate(int32_t rate) {
    if (options_.fps > 0 || rate <= 0) return;
    rate_known_ = true;
    source_.SetFrameRate(rate);
}

/** Looks at the figures five times a second, so that window, terminal and rate follow the stream. */
void PlayLoop::Tell() {
    if (!rate_known_) LearnRate(player_.Rate());
    const Clock::time_point now = Clock::now();
    if (now < next_look_ && now < next_second_) return;
    next_look_ = now + std::chrono::milliseconds(200);
    const Figures figures = player_.Read();
    LearnRate(figures.rate);
    if (window_ != nullptr) window_->FitPicture(figures.width, figures.height);
    status_.Live(figures, State());
    if (now < next_second_) return;
    status_.Second(figures, State());
    next_second_ += std::chrono::seconds(1);
}

/** Whether the library has shown all that it was given: its ring is empty and no picture came for a while. */
bool PlayLoop::Drained() {
    const Figures figures = player_.Read();
    if (figures.waiting > 0 || figures.pictures != drained_pictures_) {
        drained_pictures_ = figures.pictures;
        drained_since_ = Clock::now();
    }
    return Clock::now() - drained_since_ > std::chrono::milliseconds(300);
}

int PlayLoop::WaitMilliseconds() const {
    if (full_) return 20;
    if (have_ && !paused_ && !ended_) {
        const double wait = options_.fast ? 0 : push_.due - Position();
        return static_cast<int>(std::clamp(wait * 1000, 0.0, 100.0));
    }
    return ended_ ? 50 : 100;
}

}  // namespace zvplay
