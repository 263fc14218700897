#include "zvcam/media.h"

#include <cmath>
#include <utility>

namespace zvcam {

std::unique_ptr<Media> Media::Open(const Options &options, Failure *failure) {
    auto media = std::make_unique<Media>();
    media->video_ = VideoSource::Open(options, failure);
    if (media->video_ == nullptr) return nullptr;
    if (options.audio != kNoAudio) {
        media->audio_ = AudioSource::Open(options, failure);
        if (media->audio_ == nullptr) return nullptr;
    }
    return media->OpenProtection(options, failure) ? std::move(media) : nullptr;
}

bool Media::OpenProtection(const Options &options, Failure *failure) {
    if (options.scramble || !options.file_password.empty()) {
        ScrambleOptions scramble;
        scramble.password = options.file_password;
        scramble.seed = options.faults.seed;
        if (options.scramble && !tools::ReadRsaPem(options.rsa_key, false, &scramble.rsa_key, failure)) return false;
        scrambler_ = std::make_unique<Scrambler>(std::move(scramble), video_->IsH265());
    }
    if (!options.watermark.empty()) {
        watermarker_ = std::make_unique<Watermarker>(options.watermark, video_->IsH265());
    }
    return true;
}

std::string Media::Complaint() const {
    if (Refused()) return scrambler_->Complaint();
    return video_->Complaint().empty() ? "" : "ffmpeg stopped: " + video_->Complaint();
}

/** The next picture, in the form in which it is sent: the mark is of the scrambled one. */
bool Media::TakePicture() {
    if (!video_->Next(&picture_)) return false;
    if (scrambler_ != nullptr && !scrambler_->Apply(&picture_.units, picture_.key)) return false;
    if (watermarker_ != nullptr && picture_.key && !watermarker_->Apply(&picture_.units)) ++unmarked_;
    return true;
}

MediaInfo Media::Info() const {
    return {video_->IsH265(), video_->Fps(), audio_ != nullptr ? audio_->Kind() : kNoAudio};
}

void Media::TakeVideo(Frame *frame) {
    *frame = {};
    frame->video = true;
    frame->key = picture_.key;
    frame->units = picture_.units;
    frame->due = static_cast<double>(pictures_++) / video_->Fps();
    frame->clock = static_cast<uint64_t>(std::llround(frame->due * 90000));
    has_picture_ = false;
}

void Media::TakeAudio(Frame *frame) {
    *frame = {};
    frame->sound = sound_.data;
    frame->sound_clock = samples_;
    frame->due = static_cast<double>(samples_) / sound_.rate;
    frame->clock = static_cast<uint64_t>(std::llround(frame->due * 90000));
    samples_ += sound_.samples;
    has_sound_ = false;
}

bool Media::Next(Frame *frame) {
    if (!has_picture_) has_picture_ = TakePicture();
    if (!has_picture_) return false;
    if (audio_ != nullptr && !has_sound_) has_sound_ = audio_->Next(&sound_);
    const double picture_due = static_cast<double>(pictures_) / video_->Fps();
    if (has_sound_ && static_cast<double>(samples_) / sound_.rate < picture_due) {
        TakeAudio(frame);
    } else {
        TakeVideo(frame);
    }
    return true;
}

}  // namespace zvcam
