#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "avi_frames.h"
#include "common/library_failure.h"
#include "file/module_avi.h"
#include "foundations/bytes.h"
#include "foundations/player_types.h"
#include "foundations/shared_word.h"
#include "probe.h"

namespace zvprobe {
namespace {

constexpr uint64_t kHead = 8;
constexpr uint32_t kOpenSize = 0xFEFFF003;  ///< of a file that our recorder has not finished
constexpr long kMpegAudio = 80, kMp3 = 85;  ///< wave format tags

std::string Name(const char *handler) {
    std::string name(handler, strnlen(handler, 4));
    return name.empty() ? "none" : name;
}

/** Whether there is an index behind the data, be it right or wrong. */
bool HasIndex(Bytes data) {
    bytes::Reader reader(data.data(), data.size());
    reader.Skip(12);
    while (reader.Left() >= kHead) {
        if (reader.Match("idx1", 4)) return true;
        reader.Skip(4);
        const uint32_t size = reader.U32Le();
        reader.Skip(size + uint64_t{size & 1});
    }
    return false;
}

/** Reads one file. */
class AviProbe {
 public:
    AviProbe(Bytes data, Report *report) : data_(data), report_(*report) {}

    void Run() {
        avi_.reset(AVI_open_input_file(report_.file.c_str(), 1));
        if (avi_ == nullptr) {
            Add("bad_header", AVI_strerror());
            return;
        }
        CheckSizes();
        if (avi_->rebuilt != 0) {
            Add("no_index", std::string(HasIndex(data_) ? "the index does not fit the file"
                                                        : "no index: the recording was "
                                                          "not finished") +
                                ", so no frame counts as a key frame; zvprobe --repair writes a file with an index");
        }
        ProbeVideo();
        if (avi_->anum > 0) ProbeAudio();
    }

 private:
    void Add(const char *code, const std::string &text, Place place = {}) { report_.problems.Add(code, text, place); }
    void CheckSizes();
    void ProbeVideo();
    void TakeFrame(long number, VideoCheck *check);
    bool CheckHead(int64_t at, int64_t size, std::string_view id, Place place);
    bool CheckFrame(const video_index_entry &entry, Place place);
    void ProbeAudio();
    void CheckFirstSound(Bytes sound, Place place);

    const Bytes data_;
    Report &report_;
    AviPtr avi_;
    VideoCoding coding_ = VideoCoding::kNone;
    std::vector<Bytes> units_;
};

/** The size of the file as it tells it, and what lies behind that. */
void AviProbe::CheckSizes() {
    bytes::Reader reader(data_.data(), data_.size());
    reader.Skip(4);
    const uint64_t size = reader.U32Le() + kHead;
    if (size > data_.size() && size < kOpenSize + kHead) {
        Add("cut_file",
            "a file of " + std::to_string(size) + " bytes, of which " + std::to_string(data_.size()) + " are there");
    }
    if (size < data_.size() && data_.size() - size >= kHead && std::memcmp(data_.data() + size, "RIFF", 4) == 0) {
        Add("layout", "the file goes on in a second RIFF chunk (OpenDML); the library plays the first alone",
            {static_cast<int64_t>(size)});
    }
}

/* ---- video ------------------------------------------------------------------------------------------------------ */

/** Whether a chunk lies where its entry says. @param id as much of its id as tells the stream */
bool AviProbe::CheckHead(int64_t at, int64_t size, std::string_view id, Place place) {
    const Bytes head = ChunkData(data_, at - static_cast<int64_t>(kHead), kHead);
    if (head.size() == kHead && std::memcmp(head.data(), id.data(), id.size()) == 0 &&
        str2ulong(head.data() + 4) == size) {
        return true;
    }
    Add("bad_index", "the index points to what is no chunk of its stream and size", place);
    return false;
}

/** Whether a frame lies where its entry says and can be read. */
bool AviProbe::CheckFrame(const video_index_entry &entry, Place place) {
    if (!CheckHead(entry.pos, entry.len, {avi_->video_tag, 3}, place)) return false;
    if (entry.len > static_cast<int64_t>(VIDEO_FRAME_BUFFER_SIZE)) {
        Add("too_large", "a frame of " + std::to_string(entry.len) + " bytes, more than a frame buffer holds", place);
        return false;
    }
    if (ChunkData(data_, entry.pos, entry.len).size() == static_cast<size_t>(entry.len)) return true;
    Add("cut_frame", "a frame reaches behind the end of the file", place);
    return false;
}

void AviProbe::TakeFrame(long number, VideoCheck *check) {
    const video_index_entry &entry = avi_->video_index[number];
    if (entry.len == 0) return;  // one that the camera dropped
    const Place place = {entry.pos - static_cast<int64_t>(kHead),
                         report_.video.rate > 0 ? static_cast<double>(number) / report_.video.rate : -1};
    const bool key = AVI_iskeyframe(avi_.get(), number) == 1;
    const uint64_t size = static_cast<uint64_t>(entry.len);
    if (!CheckFrame(entry, place)) return;
    if (coding_ == VideoCoding::kNone) {
        check->Count(size, key ? kKey : kUnknown);
        return;
    }
    SplitFrame(coding_, ChunkData(data_, entry.pos, entry.len), &units_);
    check->Take({units_, size, key || coding_ == VideoCoding::kJpeg, place});
}

void AviProbe::ProbeVideo() {
    VideoReport &video = report_.video;
    coding_ = CodingOf(avi_.get());
    if (coding_ == VideoCoding::kNone) {
        video.codec = Name(avi_->compressor);
        Add("unknown_codec", "the library does not play video of type '" + video.codec + "'");
    }
    video.width = static_cast<int>(avi_->width);
    video.height = static_cast<int>(avi_->height);
    video.rate = avi_->fps;
    if (!(avi_->fps > 0)) Add("no_rate", "no frame rate: the library plays 25 frames a second");
    VideoCheck check(coding_, &report_);
    for (long i = 0; i < avi_->video_frames; ++i) TakeFrame(i, &check);
    video.duration = video.rate > 0 ? static_cast<double>(avi_->video_frames) / video.rate : 0;
}

/* ---- sound ------------------------------------------------------------------------------------------------------ */

/** A chunk may hold parts of frames, so no more is asked than that sound begins where a frame does. */
void AviProbe::CheckFirstSound(Bytes sound, Place place) {
    const SoundFormat format = ReadMpegAudio(sound);
    if (format.samples == 0) {
        Add("bad_sound", "no MPEG audio where it should be", place);
        return;
    }
    report_.audio.sample_rate = format.sample_rate;
    report_.audio.channels = format.channels;
}

void AviProbe::ProbeAudio() {
    AudioReport &audio = report_.audio;
    const track_t &track = avi_->track[0];
    const bool mpeg = track.a_fmt == kMpegAudio || track.a_fmt == kMp3;
    audio.codec = mpeg ? "MPEG audio" : "wave format " + std::to_string(track.a_fmt);
    audio.sample_rate = static_cast<uint32_t>(track.a_rate);
    audio.channels = static_cast<uint32_t>(track.a_chans);
    if (!mpeg) Add("unknown_codec", "the library takes sound of " + audio.codec + " for MPEG audio");
    for (long i = 0; i < track.audio_chunks; ++i) {
        const audio_index_entry &entry = track.audio_index[i];
        const Place place = {entry.pos - static_cast<int64_t>(kHead)};
        const Bytes sound = ChunkData(data_, entry.pos, entry.len);
        if (!CheckHead(entry.pos, entry.len, {track.audio_tag, 4}, place)) continue;
        if (sound.size() < static_cast<size_t>(entry.len)) {
            Add("cut_frame", "a sound chunk reaches behind the end of the file", place);
        } else if (mpeg && audio.frames == 0 && !sound.empty()) {
            CheckFirstSound(sound, place);
        }
        ++audio.frames;
        audio.bytes += sound.size();
    }
    const double rate = static_cast<double>(str2ulong(avi_->wave_format_ex[0] + 8));
    audio.duration = rate > 0 ? static_cast<double>(audio.bytes) / rate : 0;
}

}  // namespace

VideoCoding CodingOf(avi_t *avi) {
    AVI_INFO_S info = {};
    AVI_GetAviInfo(avi, &info);
    return CodingOf(info.ulVideoType);
}

void SplitFrame(VideoCoding coding, Bytes frame, std::vector<Bytes> *units) {
    if (coding == VideoCoding::kJpeg) {
        units->assign(1, frame);
    } else {
        SplitUnits(frame, units);
    }
}

void ProbeAvi(Bytes data, std::FILE *, Report *report) { AviProbe(data, report).Run(); }

}  // namespace zvprobe
