#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "file/mp4_parse.h"
#include "foundations/bytes.h"
#include "mp4_tracks.h"
#include "probe.h"
#include "streams.h"

namespace zvprobe {
namespace {

constexpr uint64_t kHead = 8;
constexpr uint64_t kMostBoxes = 1 << 16;
constexpr uint64_t kMostSamples = MP4_SAMPLES_MAX;

/** What a sample entry stands for. */
struct Entry {
    const char *type;
    VideoCoding coding;
};
const Entry kEntries[] = {
    {"avc1", VideoCoding::kH264},
    {"avc3", VideoCoding::kH264},
    {"hev1", VideoCoding::kH265},
    {"hvc1", VideoCoding::kH265},
};

const Entry *FindEntry(const char *type) {
    for (const Entry &entry : kEntries) {
        if (std::strcmp(entry.type, type) == 0) return &entry;
    }
    return nullptr;
}

std::string Four(const void *type) { return std::string(static_cast<const char *>(type), 4); }

/** Reads one file. */
class Mp4Probe {
 public:
    Mp4Probe(Bytes data, std::FILE *file, Report *report) : data_(data), file_(file), report_(*report) {}

    void Run() {
        WalkBoxes();
        if (!has_index_) {
            Add("no_index", "no 'moov' box: the recording was not finished, or the end is cut off");
            return;
        }
        const size_t tracks = movie_.trak.size();
        for (size_t track = 0; track < tracks; ++track) {
            const char *handler = movie_.trak[track].mdia.hdlr.handler_type;
            if (std::strcmp(handler, "vide") == 0 && video_ == nullptr) video_ = &movie_.trak[track];
            if (std::strcmp(handler, "soun") == 0 && audio_ == nullptr) audio_ = &movie_.trak[track];
        }
        if (video_ != nullptr) ProbeVideo(*video_);
        if (audio_ != nullptr) ProbeAudio(*audio_);
        CompareLists();
    }

 private:
    void Add(const char *code, const std::string &text, Place place = {}) { report_.problems.Add(code, text, place); }

    /* ---- boxes ---- */

    void WalkBoxes();
    void ReadBox(uint64_t at, const char *type);

    /* ---- streams ---- */

    void ProbeVideo(const mp4_trak_box &track);
    void DescribeVideo(const mp4_trak_box &track, VideoCheck *check);
    bool DescribeAudio(const mp4_trak_box &track);
    void CheckPause(uint64_t pause, uint64_t usual, const mp4_trak_box &track, Place place);
    void ProbeAudio(const mp4_trak_box &track);
    bool CheckPlace(const Sample &sample, Place place, bool video);
    void CheckWalk(const SampleWalk &walk, const char *what);
    void TakeVideo(const Sample &sample, Place place, VideoCheck *check);
    void SplitSample(Bytes sample, Place place);
    void CompareLists();
    void CompareTrack(const mp4_trak_box &track, int32_t index);

    const Bytes data_;
    std::FILE *const file_;
    Report &report_;
    mp4_moov_box movie_;
    bool has_index_ = false;
    const mp4_trak_box *video_ = nullptr;
    const mp4_trak_box *audio_ = nullptr;
    uint64_t looked_at_ = 0;  ///< bytes of samples
    unsigned length_size_ = 4;
    bool byte_stream_ = false;  ///< H.265 whose samples have start codes
    std::vector<Bytes> units_;
};

/** Hands a box over to the library's reader where there is one. */
void Mp4Probe::ReadBox(uint64_t at, const char *type) {
    const bool index = std::memcmp(type, "moov", 4) == 0;
    if (!index && std::memcmp(type, "mdat", 4) != 0 && std::memcmp(type, "moof", 4) != 0) return;
    DLONG box_size = 0;
    if (std::fseek(file_, static_cast<long>(at), SEEK_SET) != 0 || mp4_read_root_box(file_, &movie_, &box_size) != 0) {
        Add("bad_box", "the boxes of 'moov' don't add up", {static_cast<int64_t>(at)});
    }
    has_index_ |= index;
}

void Mp4Probe::WalkBoxes() {
    uint64_t at = 0;
    for (uint64_t count = 0; count < kMostBoxes && data_.size() - at >= kHead; ++count) {
        bytes::Reader reader(data_.data() + at, data_.size() - at);
        const uint32_t short_size = reader.U32Be();
        char type[4] = {};
        reader.Copy(type, sizeof type);
        uint64_t size = short_size == 1 ? reader.U64Be() : short_size;
        const Place place = {static_cast<int64_t>(at)};
        if (short_size == 0) size = data_.size() - at;
        if (size < kHead) {
            Add("bad_box", "a box of " + std::to_string(size) + " bytes", place);
            return;
        }
        if (size > data_.size() - at) {
            Add("cut_file",
                "box '" + Four(type) + "' of " + std::to_string(size) + " bytes, of which the file has " +
                    std::to_string(data_.size() - at),
                place);
        }
        ReadBox(at, type);
        if (size >= data_.size() - at) return;
        at += size;
    }
    if (at < data_.size()) Add("bad_box", "bytes behind the last box", {static_cast<int64_t>(at)});
}

/** Whether a sample lies inside the file and can be looked at. */
bool Mp4Probe::CheckPlace(const Sample &sample, Place place, bool video) {
    if (sample.at > data_.size() || sample.size > data_.size() - sample.at) {
        Add("cut_sample", "a sample reaches behind the end of the file", place);
        return false;
    }
    if (sample.size + 7u > VIDEO_FRAME_BUFFER_SIZE) {
        Add("too_large", "a sample of " + std::to_string(sample.size) + " bytes, more than a frame buffer holds",
            place);
        return false;
    }
    if (sample.size == 0)
        Add("empty_sample", video ? "a video sample without data" : "a sound sample without data", place);
    looked_at_ += sample.size;
    if (looked_at_ <= data_.size()) return sample.size > 0;
    Add("layout", "samples lie upon each other", place);
    return false;
}

void Mp4Probe::CheckWalk(const SampleWalk &walk, const char *what) {
    if (walk.Taken() == walk.Total() || walk.Taken() >= kMostSamples) return;
    Add("bad_tables", std::string(what) + " has " + std::to_string(walk.Total()) + " sizes and chunks for " +
                          std::to_string(walk.Taken()) + " samples");
}

/* ---- video ------------------------------------------------------------------------------------------------------ */

/** Cuts a sample at its lengths, or at its start codes. */
void Mp4Probe::SplitSample(Bytes sample, Place place) {
    if (byte_stream_) {
        SplitUnits(sample, &units_);
        return;
    }
    units_.clear();
    bytes::Reader reader(sample.data(), sample.size());
    while (reader.Left() > 0) {
        uint64_t length = 0;
        for (unsigned i = 0; i < length_size_; ++i) length = length << 8 | reader.U8();
        const uint8_t *unit = reader.Take(length);
        if (unit == nullptr) {
            Add("bad_units", "the lengths of a sample's units don't add up to the sample", place);
            return;
        }
        units_.push_back({unit, length});
    }
}

void Mp4Probe::TakeVideo(const Sample &sample, Place place, VideoCheck *check) {
    if (!CheckPlace(sample, place, true)) {
        check->Count(sample.size, sample.key ? kKey : kUnknown);
        return;
    }
    const Bytes bytes = data_.subspan(sample.at, sample.size);
    SplitSample(bytes, place);
    check->Take({units_, sample.size, sample.key, place});
}

/** First sample entry of a track, or null. */
const Sample_description *Description(const mp4_trak_box &track) {
    const mp4_stsd_box &box = track.mdia.minf.stbl.stsd;
    return box.number_of_entries > 0 ? box.sample_description.get() : nullptr;
}

const Entry *EntryOf(const mp4_trak_box &track) {
    const Sample_description *description = Description(track);
    return description != nullptr ? FindEntry(description->type) : nullptr;
}

double Seconds(uint64_t ticks, const mp4_trak_box &track) {
    return track.mdia.mdhd.timescale != 0 ? static_cast<double>(ticks) / track.mdia.mdhd.timescale : 0;
}

/** Gives the decoder configuration's sets to the check, as the library puts them in front of key frames. */
void PrepareSets(const mp4_sets_t &sets, VideoCheck *check) {
    std::vector<Bytes> units;
    SplitUnits({sets.stream.get(), sets.length}, &units);
    for (const Bytes &unit : units) check->Prepare(unit);
}

bool BeginsWithStartCode(Bytes bytes) {
    static const uint8_t kStart[] = {0, 0, 0, 1};
    return bytes.size() >= 4 && std::memcmp(bytes.data(), kStart, 4) == 0;
}

/** Takes over what the sample entry says. */
void Mp4Probe::DescribeVideo(const mp4_trak_box &track, VideoCheck *check) {
    VideoReport &video = report_.video;
    const Sample_description *description = Description(track);
    const Entry *entry = EntryOf(track);
    const std::string type = description != nullptr ? Four(description->type) : "none";
    if (entry == nullptr) {
        video.codec = type;
        Add("unknown_codec", "the library does not play video of type '" + type + "'");
    }
    video.width = static_cast<int>(track.tkhd.width >> 16);
    video.height = static_cast<int>(track.tkhd.height >> 16);
    if (description == nullptr || description->avc1 == nullptr) return;
    video.width = description->avc1->width;
    video.height = description->avc1->height;
    if (const mp4_hvcC_box *h265 = description->avc1->hvcC.get()) {
        PrepareSets(h265->sets, check);
        length_size_ = h265->lengthSizeMinusOne;
    }
    if (const mp4_avcC_box *h264 = description->avc1->avcC.get()) {
        PrepareSets(h264->sets, check);
        length_size_ = h264->lengthSizeMinusOne;
    }
}

void Mp4Probe::ProbeVideo(const mp4_trak_box &track) {
    const Entry *entry = EntryOf(track);
    VideoCheck check(entry != nullptr ? entry->coding : VideoCoding::kNone, &report_);
    DescribeVideo(track, &check);
    SampleWalk walk(track);
    Sample sample;
    while (walk.Taken() < kMostSamples && walk.Next(&sample)) {
        const Place place = {static_cast<int64_t>(sample.at), Seconds(sample.time, track)};
        if (sample.length > INT32_MAX) Add("stamps_back", "a sample is due before the one in front of it", place);
        if (entry == nullptr) {
            check.Count(sample.size, sample.key ? kKey : kUnknown);
            continue;
        }
        if (walk.Taken() == 1 && entry->coding == VideoCoding::kH265) {
            byte_stream_ = sample.at < data_.size() && BeginsWithStartCode(data_.subspan(sample.at));
        }
        TakeVideo(sample, place, &check);
    }
    CheckWalk(walk, "the video track");
    const double duration = Seconds(sample.time + sample.length, track);
    report_.video.duration = duration;
    report_.video.rate = duration > 0 ? static_cast<double>(report_.video.frames) / duration : 0;
}

/* ---- sound ------------------------------------------------------------------------------------------------------ */

/** Takes over what the sample entry says. @return whether MPEG audio is to be asked for its own heads */
bool Mp4Probe::DescribeAudio(const mp4_trak_box &track) {
    AudioReport &audio = report_.audio;
    const Sample_description *description = Description(track);
    const mp4_mp4a_box *format = description != nullptr ? description->mp4a.get() : nullptr;
    if (format == nullptr) {
        audio.codec = description != nullptr ? Four(description->type) : "none";
        Add("unknown_codec", "the library does not play sound of type '" + audio.codec + "'");
        return false;
    }
    audio.codec = format->lCodeType == MP4_CODE_AAC ? "AAC" : "MPEG audio";
    if (format->lCodeType != MP4_CODE_AAC) return true;
    audio.sample_rate = AacRate(format->ucAudioType);
    audio.channels = format->ucChannelNum;
    if (audio.sample_rate == 0) Add("unknown_codec", "AAC whose sampling rate has no index");
    return false;
}

/** Judges the time from one sound sample to the next, both in ticks. */
void Mp4Probe::CheckPause(uint64_t pause, uint64_t usual, const mp4_trak_box &track, Place place) {
    if (pause > INT32_MAX) {
        Add("stamps_back", "a sound sample is due before the one in front of it", place);
    } else if (pause > usual + usual / 2) {
        const uint64_t milliseconds = static_cast<uint64_t>(1000 * Seconds(pause - usual, track));
        Add("sound_gap", "the sound pauses for " + std::to_string(milliseconds) + " ms", place);
    }
}

void Mp4Probe::ProbeAudio(const mp4_trak_box &track) {
    AudioReport &audio = report_.audio;
    const bool ask = DescribeAudio(track);
    SampleWalk walk(track);
    Sample sample;
    uint32_t pause = 0;
    uint64_t usual = audio.sample_rate > 0 ? uint64_t{1024} * track.mdia.mdhd.timescale / audio.sample_rate : 0;
    while (walk.Taken() < kMostSamples && walk.Next(&sample)) {
        const Place place = {static_cast<int64_t>(sample.at), Seconds(sample.time, track)};
        if (CheckPlace(sample, place, false) && ask && audio.sample_rate == 0) {
            const SoundFormat found = ReadMpegAudio(data_.subspan(sample.at, sample.size));
            audio.sample_rate = found.sample_rate;
            audio.channels = found.channels;
        }
        if (usual == 0) usual = sample.length;
        if (audio.frames > 0) CheckPause(pause, usual, track, place);
        pause = sample.length;
        ++audio.frames;
        audio.bytes += sample.size;
    }
    CheckWalk(walk, "the sound track");
    audio.duration = Seconds(sample.time + sample.length, track);
}

/* ---- what the library makes of it ------------------------------------------------------------------------------- */

/** The library walks the media data instead of the chunk tables; a file whose samples don't lie so is misread. */
void Mp4Probe::CompareTrack(const mp4_trak_box &track, int32_t index) {
    // Where the tables don't agree, a file without video in front is listed by its first track, whatever it is called.
    const bool leads = &movie_.trak[0] != video_ && movie_.iVideoTrak == 0;
    SampleWalk walk(track);
    Sample sample;
    uint64_t right = 0;
    for (const mp4_sample_node &node : movie_.list) {
        if (leads ? index != 0 : node.type != index) continue;
        if (!walk.Next(&sample)) break;
        right += static_cast<uint64_t>(node.dlOffset) == sample.at && static_cast<uint32_t>(node.size) == sample.size;
    }
    if (right == std::min(walk.Total(), kMostSamples)) return;
    Add("layout", "the library finds " + std::to_string(right) + " of the " + std::to_string(walk.Total()) +
                      " samples of track " + std::to_string(index + 1) +
                      (leads ? ": the first track is no video" : ": they don't follow each other without gaps"));
}

void Mp4Probe::CompareLists() {
    movie_.list.clear();
    if (make_sample_list(&movie_, 0) != 0) return;
    for (size_t track = 0; track < movie_.trak.size(); ++track) {
        const mp4_trak_box &row = movie_.trak[track];
        if (&row == video_ || &row == audio_) CompareTrack(row, static_cast<int32_t>(track));
    }
}

}  // namespace

void ProbeMp4(Bytes data, std::FILE *file, Report *report) { Mp4Probe(data, file, report).Run(); }

}  // namespace zvprobe
