#include "zvcam/video_source.h"

#include <algorithm>
#include <utility>

#include "bits/dsp_mcfw_preparse.h"
#include "common/jpeg.h"

namespace zvcam {
namespace {

constexpr double kLeastRate = 0.1;  // frames a second; a file that tells of less would send nothing but its first one

bool IsParameterSet(Bytes unit, bool h265) {
    const int type = h265 ? tools::UnitTypeH265(unit) : tools::UnitTypeH264(unit);
    return h265 ? type >= 32 && type <= 34 : type == 7 || type == 8;
}

/** Slices of baseline to high profile, messages, parameter sets and delimiters. */
bool IsSent(Bytes unit, bool h265) {
    const int type = tools::UnitTypeH264(unit);
    return h265 || type == 1 || (type >= 5 && type <= 9);
}

/** The rate that a key frame's parameter sets tell; 0 if they do not. */
double FrameRate(Bytes data, bool h265) {
    std::vector<uint8_t> copy(data.begin(), data.end());
    if (!h265) {
        H264_BitStreamInfo_S info = {};
        DSP_H264_PreParse(copy.data(), static_cast<int>(copy.size()), &info);
        return info.usFrameRate <= 300 ? info.usFrameRate : 0;
    }
    DSP_SPS_INFO_S info = {};
    const bool told = ParseSequenceParameterSet(copy.data(), static_cast<ULONG_32>(copy.size()), &info) != 0 &&
                      info.ulNumUnits > 0 && info.ulTimeScale / info.ulNumUnits <= 300;
    return told ? static_cast<double>(info.ulTimeScale) / info.ulNumUnits : 0;
}

bool HasEndingOf(const std::string &path, bool h265) {
    const auto ends = [&](const char *const(&endings)[3]) {
        return std::any_of(std::begin(endings), std::end(endings),
                           [&](const char *end) { return path.ends_with(end); });
    };
    static const char *const kH264[] = {".264", ".h264", ".avc"};
    static const char *const kH265[] = {".265", ".h265", ".hevc"};
    return h265 ? ends(kH265) : ends(kH264);
}

std::vector<std::string> EncoderCommand(const Options &options, double fps) {
    const std::string gop = std::to_string(options.gop > 0 ? options.gop : std::max(1, static_cast<int>(fps * 2)));
    const std::string rate = std::to_string(options.bit_rate) + "k";
    const std::string picture = "testsrc2=size=" + options.size + ":rate=" + std::to_string(fps);
    std::vector<std::string> words = {"ffmpeg",  "-nostdin",    "-hide_banner", "-loglevel", "error",
                                      "-f",      "lavfi",       "-i",           picture,     "-pix_fmt",
                                      "yuv420p", "-b:v",        rate,           "-preset",   "ultrafast",
                                      "-tune",   "zerolatency", "-g",           gop,         "-flush_packets",
                                      "1"};
    const std::vector<std::string> h264 = {
        "-c:v", "libx264", "-x264-params", "scenecut=0:repeat-headers=1:sliced-threads=0", "-f", "h264"};
    const std::vector<std::string> h265 = {
        "-c:v", "libx265", "-x265-params", "log-level=error:scenecut=0:repeat-headers=1:open-gop=0", "-f", "hevc"};
    const std::vector<std::string> jpeg = {"-c:v", "mjpeg", "-f", "mjpeg"};
    const std::vector<std::string> &coding = options.codec == kJpeg ? jpeg : options.codec == kH265 ? h265 : h264;
    words.insert(words.end(), coding.begin(), coding.end());
    words.push_back("pipe:1");
    return words;
}

}  // namespace

std::unique_ptr<VideoSource> VideoSource::Open(const Options &options, Failure *failure) {
    std::unique_ptr<VideoSource> source(new VideoSource);
    const bool opened =
        options.file.empty() ? source->StartEncoder(options, failure) : source->OpenFile(options, failure);
    return opened ? std::move(source) : nullptr;
}

bool VideoSource::OpenFile(const Options &options, Failure *failure) {
    tools::MappedFile file;
    if (!file.Open(options.file, failure)) return false;
    if (tools::JpegLength(file.All()) > 0) return OpenJpeg(std::move(file), options, failure);
    const bool by_name = HasEndingOf(options.file, true) || HasEndingOf(options.file, false);
    const bool h265 = by_name ? HasEndingOf(options.file, true) : tools::AccessUnitReader::Recognise(file.All()) == 265;
    if (!tools::CheckByteStream(options.file, file.All(), h265, failure)) return false;
    units_ = std::make_unique<tools::AccessUnitReader>(std::move(file), h265);
    tools::AccessUnit first;
    if (!units_->Next(&first)) {
        *failure = {kExitSource, options.file + ": no whole picture found", "the file has to begin with a key frame"};
        return false;
    }
    const double own = FrameRate(first.data, h265);
    fps_ = options.fps > 0 ? options.fps : own >= kLeastRate ? own : 25;
    loop_ = options.loop;
    units_->Rewind();
    return true;
}

/** The players of this platform take JPEG in packets too, but no camera of it sends them. */
bool VideoSource::OpenJpeg(tools::MappedFile file, const Options &options, Failure *failure) {
    if (options.krdf.empty()) {
        *failure = {kExitSource, options.file + ": JPEG is not sent", "write it into a record with --krdf"};
        return false;
    }
    jpeg_ = std::make_unique<JpegSource>(std::move(file));
    fps_ = options.fps > 0 ? options.fps : 25;
    loop_ = options.loop;
    return true;
}

bool VideoSource::NextJpeg(Picture *picture) {
    picture->units.resize(1);
    picture->key = true;
    if (jpeg_->Next(&picture->units[0])) return true;
    if (!loop_) return false;
    jpeg_->Rewind();
    return jpeg_->Next(&picture->units[0]);
}

bool VideoSource::StartEncoder(const Options &options, Failure *failure) {
    fps_ = options.fps > 0 ? options.fps : 25;
    encoder_ = std::make_unique<Child>();
    if (!encoder_->Start(EncoderCommand(options, fps_), failure)) return false;
    Child *encoder = encoder_.get();
    const auto more = [encoder](std::vector<uint8_t> *data) { return encoder->Read(data); };
    std::vector<uint8_t> begin;
    if (!encoder->Read(&begin)) {
        *failure = {kExitSource, "ffmpeg makes no test picture: " + encoder->LastWords(),
                    "try it with 'ffmpeg -f lavfi -i testsrc2 -t 1 a.mp4', or name a FILE"};
        return false;
    }
    const auto all = [begin, more](std::vector<uint8_t> *data) mutable {
        if (begin.empty()) return more(data);
        data->insert(data->end(), begin.begin(), begin.end());
        begin.clear();
        return true;
    };
    if (options.codec == kJpeg) {
        jpeg_ = std::make_unique<JpegSource>(all);
    } else {
        units_ = std::make_unique<tools::AccessUnitReader>(all, options.codec == kH265);
    }
    return true;
}

void VideoSource::KeepParameterSets() {
    bool first = true;
    for (const Bytes unit : unit_.units) {
        if (!IsParameterSet(unit, IsH265())) continue;
        if (first) parameter_sets_.clear();
        first = false;
        parameter_sets_.emplace_back(unit.begin(), unit.end());
    }
}

void VideoSource::AddParameterSets(Picture *picture) const {
    const bool has = std::any_of(picture->units.begin(), picture->units.end(),
                                 [this](Bytes unit) { return IsParameterSet(unit, IsH265()); });
    if (!picture->key || has || picture->units.empty()) return;
    const Bytes first = picture->units.front();
    const bool delimited = IsH265() ? tools::UnitTypeH265(first) == 35 : tools::UnitTypeH264(first) == 9;
    picture->units.insert(picture->units.begin() + delimited, parameter_sets_.begin(), parameter_sets_.end());
}

bool VideoSource::Next(Picture *picture) {
    if (jpeg_ != nullptr) return NextJpeg(picture);
    if (!units_->Next(&unit_)) {
        if (!loop_) return false;
        units_->Rewind();
        if (!units_->Next(&unit_)) return false;
    }
    KeepParameterSets();
    picture->units.clear();
    for (const Bytes unit : unit_.units) {
        if (IsSent(unit, IsH265())) picture->units.push_back(unit);
    }
    units_left_out_ += unit_.units.size() - picture->units.size();
    picture->key = unit_.key;
    AddParameterSets(picture);
    return true;
}

}  // namespace zvcam
