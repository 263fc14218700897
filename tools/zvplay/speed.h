/** The speeds of files. */
#ifndef ZVPLAY_SPEED_H
#define ZVPLAY_SPEED_H

#include <algorithm>
#include <iterator>

#include "player_public.h"

namespace zvplay {

/** One speed: its name on the command line, what the library calls it, and what it does. */
struct Speed {
    const char *name;
    ULONG_32 value;
    const char *shown;
};

/** Slow to fast; behind kFirstKeySpeed those that show key frames alone, at the library's own pace. */
inline constexpr Speed kSpeeds[] = {
    {"0.25", PLAYER_SPEED_QUARTER_FORWARD, "0.25x"},
    {"0.5", PLAYER_SPEED_HALF_FORWARD, "0.5x"},
    {"1", PLAYER_SPEED_1_FORWARD, "1x"},
    {"2", PLAYER_SPEED_2_FORWARD, "2x"},
    {"4", PLAYER_SPEED_4_FORWARD, "4x"},
    {"8", PLAYER_SPEED_8_FORWARD, "8x"},
    {"16", PLAYER_SPEED_16_FORWARD, "16x"},
    {"2-key", PLAYER_SPEED_2_FORWARD_IFRAME, "2x key frames"},
    {"4-key", PLAYER_SPEED_4_FORWARD_IFRAME, "4x key frames"},
    {"8-key", PLAYER_SPEED_8_FORWARD_IFRAME, "8x key frames"},
    {"16-key", PLAYER_SPEED_16_FORWARD_IFRAME, "16x key frames"},
};
inline constexpr int kNormalSpeed = 2;
inline constexpr int kFirstKeySpeed = 7;
inline constexpr int kSpeedCount = static_cast<int>(std::size(kSpeeds));

/** The next speed up or down, among those of its kind. */
inline int NextSpeed(int speed, int step) {
    const bool key = speed >= kFirstKeySpeed;
    return std::clamp(speed + step, key ? kFirstKeySpeed : 0, key ? kSpeedCount - 1 : kFirstKeySpeed - 1);
}

/** The same speed with key frames alone, or with all; those below 2x have no twin and take the slowest. */
inline int OtherKind(int speed) {
    constexpr int kDistance = kFirstKeySpeed - (kNormalSpeed + 1);
    return speed >= kFirstKeySpeed ? speed - kDistance : std::max(speed + kDistance, kFirstKeySpeed);
}

}  // namespace zvplay

#endif
