/** What a stream is doing that is kept up, and how long to wait between attempts. */
#ifndef TOOLS_LIVE_STATE_H
#define TOOLS_LIVE_STATE_H

#include <algorithm>
#include <chrono>
#include <string>

namespace tools {

/** What a live stream is doing. */
enum class LiveState { kConnecting, kPlaying, kStale, kReconnecting, kEnded, kFailed };

/** "playing", and what users see of the others. @param seconds for how long */
std::string LiveText(LiveState state, double seconds);

/** The word for programs: "stale". */
const char *LiveWord(LiveState state);

/** Waits between attempts: half a second, doubled up to 16. */
class BackOff {
 public:
    std::chrono::milliseconds Next() {
        const auto wait = wait_;
        wait_ = std::min(wait_ * 2, std::chrono::milliseconds(16000));
        return wait;
    }
    void Reset() { wait_ = std::chrono::milliseconds(500); }

 private:
    std::chrono::milliseconds wait_{500};
};

/** From so many seconds without data on the user is told. */
inline constexpr double kStaleSeconds = 2;

}  // namespace tools

#endif
