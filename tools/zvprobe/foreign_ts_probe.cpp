// MPEG-TS of other makers, read as the player reads it.
#include <memory>
#include <string>
#include <vector>

#include "file/module_file.h"
#include "probe.h"
#include "streams.h"

namespace zvprobe {
namespace {

using tools::Bytes;

constexpr double kTicks = 90000;

/** Reads one file. */
class ForeignTsProbe {
 public:
    explicit ForeignTsProbe(Report *report) : report_(*report) {}
    ~ForeignTsProbe() { File_ReleaseFileParser(&file_); }
    void Run();

 private:
    double TimeOf(const FILE_FRAME_INFO_S &frame) const {
        return static_cast<double>(static_cast<int64_t>(frame.dulTimestamp - file_.dulFirstTime)) / kTicks;
    }
    void TakeVideo(const FILE_FRAME_INFO_S &frame);
    void TakeAudio(const FILE_FRAME_INFO_S &frame);
    void Finish();

    Report &report_;
    FILE_INFO_S file_ = {};
    std::unique_ptr<VideoCheck> video_;
    std::vector<Bytes> units_;
    double last_video_ = 0;
};

void ForeignTsProbe::TakeVideo(const FILE_FRAME_INFO_S &frame) {
    if (video_ == nullptr) {
        video_ = std::make_unique<VideoCheck>(
            frame.lPayload == PLAYER_PAYLOAD_H265 ? VideoCoding::kH265 : VideoCoding::kH264, &report_);
    }
    last_video_ = TimeOf(frame);
    SplitUnits({frame.pucBuffer, frame.ulBufferLen}, &units_);
    video_->Take({units_, frame.ulBufferLen, frame.lFormatType == PLAYER_VIDEO_FRAME_I, {-1, last_video_}});
}

void ForeignTsProbe::TakeAudio(const FILE_FRAME_INFO_S &frame) {
    AudioReport &audio = report_.audio;
    const bool aac = frame.lPayload == PLAYER_PAYLOAD_AAC;
    SoundFormat format = {AacRate(frame.ucAudioType), frame.ucChannelNum, 1024};
    if (!aac) format = ReadMpegAudio({frame.pucBuffer, frame.ulBufferLen});
    audio.codec = aac ? "AAC" : "MPEG audio";
    audio.sample_rate = format.sample_rate;
    audio.channels = format.channels;
    if (format.sample_rate > 0) audio.duration += static_cast<double>(format.samples) / format.sample_rate;
    audio.bytes += frame.ulBufferLen;
    ++audio.frames;
}

void ForeignTsProbe::Finish() {
    VideoReport &video = report_.video;
    if (video.frames > 1 && last_video_ > 0) video.rate = static_cast<double>(video.frames - 1) / last_video_;
    video.duration = video.rate > 0 ? static_cast<double>(video.frames) / video.rate : 0;
}

void ForeignTsProbe::Run() {
    if (File_CreateFileParser(report_.file.c_str(), &file_) != PLAYER_ERR_OK) return;
    for (;;) {
        FILE_FRAME_INFO_S frame = {};
        const ULONG_32 result = File_ReadOneFrame(&file_, &frame, FRAME_CTRL_PLAY);
        if (result == PLAYER_ERR_PACKET_LOST) {
            report_.problems.Add("continuity", "packets are missing; pictures are left out up to the next key frame",
                                 {-1, last_video_});
        } else if (result != PLAYER_ERR_OK) {
            break;
        } else if (frame.lPayload == PLAYER_PAYLOAD_H264 || frame.lPayload == PLAYER_PAYLOAD_H265) {
            TakeVideo(frame);
        } else {
            TakeAudio(frame);
        }
    }
    Finish();
}

}  // namespace

void ProbeForeignTs(Bytes, std::FILE *, Report *report) { ForeignTsProbe(report).Run(); }

}  // namespace zvprobe
