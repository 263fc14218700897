#include "zvcam/media.h"

#include <cmath>

namespace zvcam {

std::unique_ptr<Media> Media::Open(const Options &options, Failure *failure) {
    auto media = std::make_unique<Media>();
    media->video_ = VideoSource::Open(options, failure);
    if (media->video_ == nullptr) return nullptr;
    if (options.audio != kNoAudio) {
        media->audio_ = AudioSource::Open(options, failure);
        if (media->audio_ == nullptr) return nullptr;
    }
    return media;
}

MediaInfo Media::Info() const {
    return {video_->IsH265(), video_->IsJpeg(), video_->Fps(), audio_ != nullptr ? audio_->Kind() : kNoAudio};
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
    if (!has_picture_) has_picture_ = video_->Next(&picture_);
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
