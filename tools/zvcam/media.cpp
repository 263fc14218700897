#include "zvcam/media.h"

#include <algorithm>
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
    if (!options.analytics.empty()) {
        media->analytics_ = Analytics::Open(options.analytics, media->video_->IsH265(), failure);
        if (media->analytics_ == nullptr) return nullptr;
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

/** The next picture, in the form in which it is sent: the mark is of the scrambled one, messages and all. */
bool Media::TakePicture() {
    if (!video_->Next(&picture_)) return false;
    if (analytics_ != nullptr) AddRecords();
    if (scrambler_ != nullptr && !scrambler_->Apply(&picture_.units, picture_.key)) return false;
    if (watermarker_ != nullptr && picture_.key && !watermarker_->Apply(&picture_.units)) ++unmarked_;
    return true;
}

MediaInfo Media::Info() const {
    return {video_->IsH265(), video_->IsJpeg(), video_->Fps(), audio_ != nullptr ? audio_->Kind() : kNoAudio,
            analytics_ != nullptr && analytics_->SendsData()};
}

void Media::TakeVideo(Frame *frame) {
    *frame = {};
    frame->video = true;
    frame->key = picture_.key;
    frame->units = picture_.units;
    frame->messages = analytics_ != nullptr ? analytics_->Units().size() : 0;
    frame->due = PictureDue();
    ++pictures_;
    frame->clock = static_cast<uint64_t>(std::llround(frame->due * 90000));
    has_picture_ = false;
}

/** Makes the records of the picture at hand. Messages stand in front of its first slice. */
void Media::AddRecords() {
    const bool h265 = video_->IsH265();
    analytics_->Next(PictureDue(), picture_.key);
    records_left_ = analytics_->DataFrames().size();
    const auto slice = std::find_if(picture_.units.begin(), picture_.units.end(), [h265](Bytes unit) {
        return h265 ? tools::UnitTypeH265(unit) <= 31 : tools::UnitTypeH264(unit) <= 5;
    });
    picture_.units.insert(slice, analytics_->Units().begin(), analytics_->Units().end());
}

/** A data frame goes in front of its picture. */
void Media::TakeRecord(Frame *frame) {
    const auto &records = analytics_->DataFrames();
    *frame = {};
    frame->record = records[records.size() - records_left_--];
    frame->due = PictureDue();
    frame->clock = static_cast<uint64_t>(std::llround(frame->due * 90000));
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
    if (has_sound_ && static_cast<double>(samples_) / sound_.rate < PictureDue()) {
        TakeAudio(frame);
    } else if (records_left_ > 0) {
        TakeRecord(frame);
    } else {
        TakeVideo(frame);
    }
    return true;
}

}  // namespace zvcam
