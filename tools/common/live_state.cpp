#include "common/live_state.h"

namespace tools {

const char *LiveWord(LiveState state) {
    static const char *const kWords[] = {"connecting", "playing", "stale", "reconnecting", "ended", "failed"};
    return kWords[static_cast<size_t>(state)];
}

std::string LiveText(LiveState state, double seconds) {
    const std::string word = LiveWord(state);
    return state == LiveState::kStale ? word + " since " + std::to_string(static_cast<int>(seconds)) + " s" : word;
}

}  // namespace tools
