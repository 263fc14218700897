/** Pictures and sound, merged by time. */
#ifndef ZVCAM_MEDIA_H
#define ZVCAM_MEDIA_H

#include <memory>
#include <vector>

#include "zvcam/analytics.h"
#include "zvcam/audio_source.h"
#include "zvcam/scrambler.h"
#include "zvcam/video_source.h"
#include "zvcam/watermarker.h"

namespace zvcam {

/** What all makers of packets need to know of the stream. */
struct MediaInfo {
    bool h265 = false, jpeg = false;  ///< neither: H.264
    double fps = 25;
    AudioKind audio = kNoAudio;
    bool data = false;  ///< data frames come
};

/** One picture, one piece of sound or one record of analytics. */
struct Frame {
    bool video = false;
    bool key = false;
    std::vector<Bytes> units;  ///< of a picture; hold until the next frame
    Bytes sound;               ///< of a sound; holds until the next frame
    Bytes record;              ///< data frame of analytics, of the picture that comes next; holds until that
    size_t messages = 0;       ///< records among the units of a picture
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
    /** Key pictures too short for a watermark. */
    uint64_t Unmarked() const { return unmarked_; }
    /** Why the pictures ended, or empty. */
    std::string Complaint() const;
    /** Whether they ended at one that can't be scrambled. */
    bool Refused() const { return scrambler_ != nullptr && !scrambler_->Complaint().empty(); }

 private:
    bool OpenProtection(const Options &options, Failure *failure);
    bool TakePicture();
    void TakeVideo(Frame *frame);
    void TakeAudio(Frame *frame);
    void TakeRecord(Frame *frame);
    void AddRecords();
    double PictureDue() const { return static_cast<double>(pictures_) / video_->Fps(); }

    std::unique_ptr<VideoSource> video_;
    std::unique_ptr<AudioSource> audio_;
    std::unique_ptr<Analytics> analytics_;  ///< null for none
    std::unique_ptr<Scrambler> scrambler_;
    std::unique_ptr<Watermarker> watermarker_;
    uint64_t unmarked_ = 0;
    Picture picture_;
    Sound sound_;
    bool has_picture_ = false, has_sound_ = false;  ///< taken from its source and not yet given out
    size_t records_left_ = 0;  ///< data frames of the picture that are still to come
    uint64_t pictures_ = 0, samples_ = 0;           ///< given out
};

}  // namespace zvcam

#endif
