#include "zvcam/krdf_record.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "common/json_text.h"
#include "common/krdf_writer.h"
#include "zvcam/camera.h"

namespace zvcam {
namespace {

/** Records count local calendar time. */
uint64_t LocalSeconds(uint32_t clock) {
    const time_t now = clock;
    tm local = {};
    localtime_r(&now, &local);
    return static_cast<uint64_t>(timegm(&local));
}

/** Frames of the stream as frames of a record. */
class RecordFrames {
 public:
    RecordFrames(const Options &options, const MediaInfo &info)
        : info_(info),
          begin_(LocalSeconds(options.packets.timed ? options.packets.playback_time
                                                    : static_cast<uint32_t>(std::time(nullptr)))),
          gop_(options.gop > 0 ? options.gop : std::max(1u, static_cast<uint32_t>(std::lround(info.fps)))) {}

    tools::KrdfFrame Make(const Frame &frame) {
        tools::KrdfFrame made;
        made.video = frame.video;
        made.seconds = begin_ + static_cast<uint64_t>(frame.due);
        if (!frame.video) {
            made.stream = info_.audio == kG711a ? tools::kKrdfG711a : tools::kKrdfG711u;
            made.data = frame.sound;
            return made;
        }
        made.stream = info_.jpeg ? tools::kKrdfJpeg : info_.h265 ? tools::kKrdfH265 : tools::kKrdfH264;
        made.kind = frame.key ? 0 : 1;
        made.begins = info_.jpeg ? pictures % gop_ == 0 : frame.key;
        Join(frame);
        made.data = picture_;
        ++pictures;
        return made;
    }

    uint64_t pictures = 0;

 private:
    void Join(const Frame &frame) {
        picture_.clear();
        for (const Bytes unit : frame.units) {
            if (!info_.jpeg) picture_.insert(picture_.end(), {0, 0, 0, 1});
            picture_.insert(picture_.end(), unit.begin(), unit.end());
        }
    }

    const MediaInfo info_;
    const uint64_t begin_;
    const uint32_t gop_;  ///< of JPEG, pictures a group
    std::vector<uint8_t> picture_;
};

std::string Report(const Options &options, const MediaInfo &info, const tools::KrdfWriter &writer, uint64_t pictures,
                   double seconds) {
    static const char *const kSounds[] = {"none", "G.711 mu-law", "G.711 A-law"};
    char figures[200];
    std::snprintf(figures, sizeof figures,
                  "\"video\": \"%s\", \"audio\": \"%s\", \"rate\": %.6g, \"seconds\": %.3f, \"stream_frames\": %llu, "
                  "\"groups\": %u, \"units\": %u",
                  info.jpeg   ? "JPEG"
                  : info.h265 ? "H.265"
                              : "H.264",
                  kSounds[info.audio], info.fps, seconds, static_cast<unsigned long long>(pictures), writer.Groups(),
                  writer.Units());
    return "{\"source\": " + tools::JsonText(options.file.empty() ? "test picture" : options.file) +
           ", \"record\": " + tools::JsonText(options.krdf) + ", " + figures + "}";
}

bool CheckRate(double fps, Failure *failure) {
    if (std::lround(fps) <= 31) return true;
    *failure = {kExitUsage, "a record holds 31 pictures a second at most", "add --fps 25, or take another FILE"};
    return false;
}

}  // namespace

bool WriteRecord(const Options &options, std::string *report, Failure *failure) {
    const std::unique_ptr<Media> media = Media::Open(options, failure);
    if (media == nullptr || !CheckRate(media->Info().fps, failure)) return false;
    tools::KrdfLayout layout;
    layout.rate = static_cast<uint32_t>(std::lround(media->Info().fps));
    layout.groups_a_unit = options.krdf_unit;
    tools::KrdfWriter writer;
    if (!writer.Open(options.krdf, layout, failure)) return false;
    RecordFrames frames(options, media->Info());
    Frame frame;
    double seconds = 0;
    while (!Camera::IsInterrupted() && media->Next(&frame) && (options.seconds == 0 || frame.due < options.seconds)) {
        if (!writer.Add(frames.Make(frame), failure)) return false;
        seconds = frame.due;
    }
    if (!writer.Close(failure)) return false;
    if (frames.pictures == 0 && !media->Complaint().empty()) {
        *failure = {kExitSource, "ffmpeg makes no test picture: " + media->Complaint(), "name a FILE"};
        return false;
    }
    *report = Report(options, media->Info(), writer, frames.pictures, seconds);
    return true;
}

}  // namespace zvcam
