#include "play_loop.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>

namespace zvplay {
namespace {

volatile std::sig_atomic_t interrupted = 0;

}  // namespace

void PlayLoop::Interrupt(int signal) {
    if (interrupted != 0 && signal != SIGHUP) _exit(128 + SIGINT);  // the library may be waiting for a server
    interrupted = 1;
}

PlayLoop::PlayLoop(const Options &options, Player *player, Window *window, Status *status)
    : options_(options),
      player_(*player),
      status_(*status),
      sound_(window != nullptr && !options.mute),
      analytics_(options.analytics),
      window_(window),
      capture_(options, player) {}

PlayState PlayLoop::FullState() const {
    PlayState state = State();
    capture_.Describe(&state);
    return state;
}

bool PlayLoop::Show(Failure *failure) {
    if (window_ == nullptr) return true;
    if (!player_.Show(window_->Id(), failure)) return false;
    player_.SetProportion(proportion_);
    if (sound_) player_.SetSound(true);
    return true;
}

/** To show a file is to play it: a recording that is to have its first frame begins before that. */
bool PlayLoop::Begin(Failure *failure) {
    if (analytics_) player_.SetAnalytics(true);
    if (StepsFirst()) {
        if (!Show(failure)) return false;
        StepIn();
        if (!capture_.Begin(failure)) return false;
    } else if (!capture_.Begin(failure) || !Show(failure)) {
        return false;
    }
    Start();
    return true;
}

bool PlayLoop::Run(Failure *failure) {
    Failure late;
    const bool played = Play(failure);
    const bool saved = !begun_ || capture_.End(played ? failure : &late);
    Finish();
    return played && saved;
}

bool PlayLoop::Play(Failure *failure) {
    while (!quit_ && interrupted == 0) {
        if (!begun_ && IsReady()) {
            begun_ = true;
            if (!Begin(failure)) return false;
        }
        HandleWindow();
        capture_.Watch();
        if (!Advance(failure)) return false;
        Tell();
        if (IsOver()) break;
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
    if (!begun_ && action != Action::kQuit) return;
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
        case Action::kAnalytics:
            player_.SetAnalytics(analytics_ = !analytics_);
            break;
        case Action::kPause:
            paused_ = !paused_;
            Pause();
            break;
        case Action::kRecord:
            capture_.ToggleRecording();
            break;
        case Action::kSnapshot:
            capture_.Snap();
            break;
        default:
            Do(action);
            break;
    }
    next_look_ = Clock::now();  // a key shows at once what it did
}

/** Looks at the figures five times a second, so that window, terminal and rate follow the stream. */
void PlayLoop::Tell() {
    const Clock::time_point now = Clock::now();
    if (now < next_look_ && now < next_second_) return;
    next_look_ = now + std::chrono::milliseconds(200);
    const Figures figures = player_.Read();
    const PlayState state = FullState();
    LearnRate(figures.rate);
    if (window_ != nullptr) {
        window_->FitPicture(figures.width, figures.height);
        window_->SetTitle(options_.source + Status::Mode(state) + " - zvplay");
    }
    status_.Live(figures, state);
    quit_ = quit_ || status_.IsUnheard();
    if (now < next_second_) return;
    status_.Second(figures, state);
    quit_ = quit_ || status_.IsUnheard();
    next_second_ += std::chrono::seconds(1);
}

bool PlayLoop::Drained() {
    const Figures figures = player_.Read();
    if (!draining_ || figures.waiting > 0 || figures.pictures != drained_pictures_) {
        draining_ = true;
        drained_pictures_ = figures.pictures;
        drained_since_ = Clock::now();
    }
    return Clock::now() - drained_since_ > std::chrono::milliseconds(300);
}

}  // namespace zvplay
