/** Where the talk comes from: files, standard input, a microphone. */
#ifndef ZVPLAY_VOICE_SOURCE_H
#define ZVPLAY_VOICE_SOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "failure.h"

namespace zvplay {

inline constexpr uint32_t kVoiceRate = 8000;     ///< samples a second, 16 bits, one channel
inline constexpr size_t kVoiceBlock = 160;       ///< samples in 20 ms
using VoiceBlock = std::vector<int16_t>;         ///< at most kVoiceBlock samples

/** Gives sound, block after block. Used by one thread at a time. */
class VoiceSource {
 public:
    enum class Got { kBlock, kNothing, kEnd };

    virtual ~VoiceSource() = default;

    /** Takes the next block, and waits for it for a tenth of a second at most. */
    virtual Got Next(VoiceBlock *block) = 0;

    /** Whether sound comes at its own pace, and is gone when it is not taken. */
    virtual bool IsLive() const { return false; }

    /** Live sources: starts and stops listening. */
    virtual void Listen(bool) {}
};

/**
 * Opens what --talk names: "mic", "-" for raw PCM on standard input, a WAV file of any rate and number of channels, or
 * a file of raw PCM (16 bits little-endian, one channel, 8000 samples a second).
 * @return null with the failure filled
 */
std::unique_ptr<VoiceSource> OpenVoiceSource(const std::string &name, Failure *failure);

}  // namespace zvplay

#endif
