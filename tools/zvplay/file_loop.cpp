#include "file_loop.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace zvplay {
namespace {

constexpr double kAgain = 1;  // seconds within which another seek counts from the target of the one before
constexpr double kNote = 3;   // seconds for which a refusal is shown
const char kRefusal[] = "a KRDF record goes back to second 1 only";

struct Jump {
    Action action;
    double seconds;
};
const Jump kJumps[] = {{Action::kForward, 5}, {Action::kBack, -5}, {Action::kForwardFar, 60}, {Action::kBackFar, -60}};

}  // namespace

FileLoop::FileLoop(const Options &options, Player *player, Window *window, Status *status)
    : PlayLoop(options, player, window, status),
      length_(player->Length()),
      speed_(options.speed),
      loop_(options.loop),
      seek_at_(Clock::now() - std::chrono::hours(1)) {}

/**
 * The library counts seeks in frames, and key-frame speeds in their rate, which it reads in the first picture: that one
 * comes first when something else than the plain beginning is wanted.
 */
void FileLoop::StepIn() {
    player_.Halt();
    player_.Step();
    for (int i = 0; i < 50 && player_.Rate() <= 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void FileLoop::Start() {
    if (player_.PlaysKrdf()) position_ = player_.Position();  // the open of a record leaves its first groups behind
    if (options_.start > 0) Seek(options_.start);
    player_.SetSpeed(kSpeeds[speed_].value);
}

PlayState FileLoop::State() const {
    PlayState state;
    state.position = position_;
    state.played = played_;
    state.length = length_;
    state.paused = paused_;
    state.sound = sound_;
    state.analytics = analytics_;
    state.recording = true;
    state.speed = speed_;
    state.loop = loop_;
    if (refused_ && Seconds(Clock::now() - refused_at_) < kNote) state.refusal = kRefusal;
    return state;
}

void FileLoop::Pause() {
    if (paused_) {
        player_.Halt();
    } else {
        player_.SetSpeed(kSpeeds[speed_].value);  // the plain call would forget a choice of key frames
    }
}

std::string FileLoop::Remark() const { return refused_ ? kRefusal : ""; }

/** The whole second that the library is asked for: it refuses the start of a record, which is said and not hidden. */
uint32_t FileLoop::Reachable(double seconds) {
    if (seconds >= 1 || !player_.PlaysKrdf()) return static_cast<uint32_t>(seconds);
    refused_ = true;
    refused_at_ = Clock::now();
    return 1;
}

/** Goes to a time; behind the end it is as if the recording had ended. */
void FileLoop::Seek(double seconds) {
    target_ = std::max(seconds, 0.0);
    seeking_ = true;
    seek_at_ = Clock::now();
    seek_frames_ = player_.Frames();
    if (length_ > 0 && target_ >= length_) {
        HandleEnd();
    } else {
        player_.Seek(Reachable(target_));
    }
}

void FileLoop::SeekBy(double seconds) {
    const bool again = Seconds(Clock::now() - seek_at_) < kAgain;
    Seek((again ? target_ : player_.Position()) + seconds);
}

void FileLoop::SetSpeed(int speed) {
    speed_ = speed;
    if (!paused_) player_.SetSpeed(kSpeeds[speed_].value);
}

void FileLoop::Do(Action action) {
    for (const Jump &jump : kJumps) {
        if (action == jump.action) SeekBy(jump.seconds);
    }
    switch (action) {
        case Action::kBegin:
            Seek(0);
            break;
        case Action::kStep:
            paused_ = true;
            player_.Step();
            break;
        case Action::kFaster:
        case Action::kSlower:
            SetSpeed(NextSpeed(speed_, action == Action::kFaster ? 1 : -1));
            break;
        case Action::kNormalSpeed:
            SetSpeed(kNormalSpeed);
            break;
        case Action::kKeyFrames:
            SetSpeed(OtherKind(speed_));
            break;
        case Action::kLoop:
            loop_ = !loop_;
            break;
        default:
            break;
    }
}

/** At the end the library stands still and waits. */
void FileLoop::HandleEnd() {
    if (!loop_) {
        over_ = true;
        return;
    }
    target_ = 0;
    seeking_ = true;
    seek_frames_ = player_.Frames();
    player_.Seek(Reachable(options_.start < length_ ? options_.start : 0));
    if (!paused_) player_.SetSpeed(kSpeeds[speed_].value);
}

bool FileLoop::Advance(Failure *) {
    if (Player::Ends() != ends_) {
        ends_ = Player::Ends();
        const bool stale = Seconds(Clock::now() - seek_at_) < 0.3;  // it may have been told before the seek
        if (!stale) HandleEnd();
        if (stale && !paused_) player_.SetSpeed(kSpeeds[speed_].value);
    }
    const double position = player_.Position();
    const bool arrived = position >= std::floor(target_) && player_.Frames() > seek_frames_ + 1;
    if (position > position_ && arrived && !seeking_) played_ += position - position_;  // not the way that a seek takes
    seeking_ = seeking_ && !arrived;
    position_ = position;
    over_ = over_ || (options_.seconds > 0 && played_ >= options_.seconds);
    return true;
}

}  // namespace zvplay
