#include <cstdio>
#include <string>
#include <vector>

#include "avi_frames.h"
#include "common/failure.h"
#include "repair.h"

namespace zvprobe {
namespace {

using tools::Failure;

/** Copies one file. */
class Copy {
 public:
    Copy(Bytes data, avi_t *from, avi_t *to)
        : data_(data), from_(from), to_(to), coding_(CodingOf(from)), reader_(coding_ == VideoCoding::kH265) {}

    bool Run() {
        Describe();
        for (;;) {
            const int track = NextTrack();
            if (track < 0 && video_ >= from_->video_frames) return true;
            if (!(track < 0 ? CopyFrame() : CopySound(track))) return false;
        }
    }
    std::string Summary() const {
        return std::to_string(frames_) + " frames, " + std::to_string(keys_) + " of them key frames, and " +
               std::to_string(chunks_) + " chunks of sound";
    }

 private:
    void Describe();
    int NextTrack() const;
    bool CopyFrame();
    bool CopySound(int track);
    bool IsKey(Bytes frame);

    const Bytes data_;
    avi_t *const from_;
    avi_t *const to_;
    const VideoCoding coding_;
    UnitReader reader_;
    std::vector<Bytes> units_;
    long video_ = 0;                   ///< next frame
    long sound_[AVI_MAX_TRACKS] = {};  ///< next chunk of each track
    int64_t last_ = -1;                ///< place of the frame before
    uint64_t frames_ = 0, keys_ = 0, chunks_ = 0;
};

void Copy::Describe() {
    for (int i = 0; i < from_->anum; ++i) {
        const track_t &track = from_->track[i];
        AVI_set_audio(to_, track.a_chans, track.a_rate, track.a_bits, track.a_fmt, track.mp3rate);
    }
    AVI_set_video(to_, from_->width, from_->height, from_->fps > 0 ? from_->fps : 25, from_->compressor);
}

/** The track whose next chunk lies in front of all others and of the next frame; -1 for none. */
int Copy::NextTrack() const {
    int next = -1;
    int64_t at = video_ < from_->video_frames ? from_->video_index[video_].pos : INT64_MAX;
    for (int i = 0; i < from_->anum; ++i) {
        const track_t &track = from_->track[i];
        if (sound_[i] >= track.audio_chunks || track.audio_index[sound_[i]].pos >= at) continue;
        next = i;
        at = track.audio_index[sound_[i]].pos;
    }
    return next;
}

bool Copy::IsKey(Bytes frame) {
    if (coding_ == VideoCoding::kJpeg) return true;
    if (coding_ == VideoCoding::kNone) return AVI_iskeyframe(from_, video_) == 1;
    SplitFrame(coding_, frame, &units_);
    Picture picture;
    for (const Bytes unit : units_) reader_.Read(unit, &picture);
    return picture.random_access && picture.slices > 0;
}

bool Copy::CopyFrame() {
    const video_index_entry &entry = from_->video_index[video_];
    const Bytes frame = ChunkData(data_, entry.pos, entry.len);
    const bool whole = frame.size() == static_cast<size_t>(entry.len);
    const bool again = whole && entry.pos == last_;  // shown twice
    const bool key = whole && IsKey(frame);
    ++video_;
    if (!whole) return true;
    last_ = entry.pos;
    ++frames_;
    keys_ += key;
    return (again ? AVI_dup_frame(to_) : AVI_write_frame(to_, frame.data(), entry.len, key)) == 0;
}

bool Copy::CopySound(int track) {
    const audio_index_entry &entry = from_->track[track].audio_index[sound_[track]++];
    const Bytes sound = ChunkData(data_, entry.pos, entry.len);
    if (sound.size() < static_cast<size_t>(entry.len)) return true;
    ++chunks_;
    AVI_set_audio_track(to_, track);
    return AVI_write_audio(to_, sound.data(), entry.len) == 0;
}

}  // namespace

bool RepairAvi(Repair *repair, Failure *failure) {
    const AviPtr from(AVI_open_input_file(repair->from.c_str(), 1));
    if (from == nullptr) {
        *failure = {tools::kExitSource, repair->from + ": " + AVI_strerror(), "there is nothing in it to mend"};
        return false;
    }
    avi_t *to = AVI_open_output_file(repair->to.c_str());
    bool good = false;
    if (to != nullptr) {
        Copy copy(repair->data, from.get(), to);
        good = copy.Run();
        good = AVI_close(to) == 0 && good;
        repair->summary = copy.Summary();
    }
    if (!good) *failure = {tools::kExitOutput, repair->to + ": " + AVI_strerror(), "is there room on the disk?"};
    return good;
}

}  // namespace zvprobe
