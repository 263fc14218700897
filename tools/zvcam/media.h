/** Pictures and sound, merged by time. */
#ifndef ZVCAM_MEDIA_H
#define ZVCAM_MEDIA_H

#include <memory>
#include <vector>

#include "zvcam/audio_source.h"
#include "zvcam/video_source.h"

namespace zvcam {

/** What all makers of packets need to know of the stream. */
struct MediaInfo {
    bool h265 = false, jpeg = false;  ///< neither: H.264
    double fps = 25;
    AudioKind audio = kNoAudio;
};

/** One picture or one piece of sound. */
struct Frame {
    bool video = false;
    bool key = false;
    std::vector<Bytes> units;  ///< of a picture; hold until the next frame
    Bytes sound;               ///< of a sound; holds until the next frame
    double due = 0;            ///< seconds from the first frame
    uint64_t clock = 0;        ///< the same in ticks of 90 kHz
    uint64_t sound_clock = 0;  ///< the same in samples, of a sound
};

/** The stream that the camera sends. */
class Media {
 public:
    /** Opens what the options name. @return null with the failure filled */
    static std::unique_ptr<Media> Open(const Options &options, Failure *failure);

    /** Takes the next frame, the earlier of both kinds. @return false at the end of the pictures */
    bool Next(Frame *frame);

    MediaInfo Info() const;
    uint64_t UnitsLeftOut() const { return video_->UnitsLeftOut(); }
    /** Why the encoder ended, or empty. */
    std::string Complaint() const { return video_->Complaint(); }

 private:
    void TakeVideo(Frame *frame);
    void TakeAudio(Frame *frame);

    std::unique_ptr<VideoSource> video_;
    std::unique_ptr<AudioSource> audio_;
    Picture picture_;
    Sound sound_;
    bool has_picture_ = false, has_sound_ = false;  ///< taken from its source and not yet given out
    uint64_t pictures_ = 0, samples_ = 0;           ///< given out
};

}  // namespace zvcam

#endif
