/** Sound: of a file, or a beep that ffmpeg makes. */
#ifndef ZVCAM_AUDIO_SOURCE_H
#define ZVCAM_AUDIO_SOURCE_H

#include <memory>
#include <vector>

#include "common/mapped_file.h"
#include "zvcam/child.h"
#include "zvcam/options.h"

namespace zvcam {

using tools::Bytes;

/** One piece of sound: 20 ms of G.711, or one AAC frame with its ADTS head (ISO/IEC 14496-3, 1.A.2). */
struct Sound {
    Bytes data;            ///< holds until the next one
    uint32_t samples = 0;  ///< in it
    uint32_t rate = 0;     ///< samples a second
};

/** Gives sound, piece after piece; a file begins again at its end, as the pictures set the length. */
class AudioSource {
 public:
    /** Opens the file or starts the encoder. @return null with the failure filled; never called for kNoAudio */
    static std::unique_ptr<AudioSource> Open(const Options &options, Failure *failure);

    /** Takes the next piece. @return false at the end */
    bool Next(Sound *sound);

    AudioKind Kind() const { return kind_; }

 private:
    bool Fill(size_t bytes);
    bool NextAac(Sound *sound);
    bool NextG711(Sound *sound);

    AudioKind kind_ = kNoAudio;
    std::unique_ptr<Child> encoder_;
    tools::MappedFile file_;
    std::vector<uint8_t> data_;  ///< taken from file or encoder
    size_t at_ = 0;              ///< what of it was given out
};

}  // namespace zvcam

#endif
