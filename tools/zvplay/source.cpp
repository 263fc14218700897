#include "source.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "annexb_reader.h"
#include "common/access_units.h"
#include "common/jpeg.h"
#include "common/mapped_file.h"
#include "jpeg_reader.h"
#include "rtp_reader.h"

namespace zvplay {
namespace {

using tools::JpegLength;
using SourcePtr = std::unique_ptr<Source>;

enum class Kind { kUnknown, kRtp, kH264, kH265, kRecording, kJpeg };

struct Ending {
    const char *text;
    Kind kind;
};
const Ending kEndings[] = {
    {".rtp", Kind::kRtp},        {".264", Kind::kH264},       {".h264", Kind::kH264},     {".avc", Kind::kH264},
    {".265", Kind::kH265},       {".h265", Kind::kH265},      {".hevc", Kind::kH265},     {".ts", Kind::kRecording},
    {".m2ts", Kind::kRecording}, {".mts", Kind::kRecording},  {".mp4", Kind::kRecording}, {".m4v", Kind::kRecording},
    {".avi", Kind::kRecording},  {".krdf", Kind::kRecording}, {".mjpeg", Kind::kJpeg},    {".mjpg", Kind::kJpeg},
    {".jpg", Kind::kJpeg},       {".jpeg", Kind::kJpeg},
};

Kind KindByEnding(const std::string &name) {
    std::string ending = std::filesystem::path(name).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const Ending &row : kEndings) {
        if (ending == row.text) return row.kind;
    }
    return Kind::kUnknown;
}

bool BeginsAsKrdf(Bytes data) {
    constexpr size_t kHead = 144;
    return data.size() >= kHead && std::memcmp(data.data(), "\x67\x13\0\0", 4) == 0;
}

/** Two TS packets (ISO/IEC 13818-1, 2.4.3.2), the first box of an MP4 file, the form of an AVI file, or a record. */
bool BeginsAsRecording(Bytes data) {
    constexpr size_t kPacket = 188;
    const auto has = [data](size_t at, const char *word) {
        return data.size() >= at + 4 && std::memcmp(data.data() + at, word, 4) == 0;
    };
    constexpr size_t kStampedPacket = 192;
    const auto repeats = [data](size_t at, size_t distance) {
        return data.size() > at + 2 * distance && data[at] == 0x47 && data[at + distance] == 0x47 &&
               data[at + 2 * distance] == 0x47;
    };
    return (data.size() > kPacket && data[0] == 0x47 && data[kPacket] == 0x47) || repeats(4, kStampedPacket) ||
           has(4, "ftyp") || (has(0, "RIFF") && has(8, "AVI ")) || BeginsAsKrdf(data);
}

Kind KindByContent(Bytes data) {
    if (JpegLength(data) > 0) return Kind::kJpeg;
    if (BeginsAsRecording(data)) return Kind::kRecording;
    const int coding = tools::AccessUnitReader::Recognise(data);
    if (coding != 0) return coding == 264 ? Kind::kH264 : Kind::kH265;
    return RtpReader::Recognise(data) ? Kind::kRtp : Kind::kUnknown;
}

SourcePtr Fail(Failure *failure, const std::string &what, const char *advice) {
    *failure = {kExitSource, what, advice};
    return nullptr;
}

SourcePtr OpenPictures(const Options &options, std::vector<std::string> files, Failure *failure) {
    if (files.empty()) {
        return Fail(failure, options.source + ": no picture found",
                    "a folder needs .jpg files, a pattern files numbered from 0 or 1, such as 001.jpg for %03d.jpg");
    }
    return std::make_unique<JpegReader>(std::move(files), options.fps > 0 ? options.fps : 25, false);
}

SourcePtr OpenJpegFile(const Options &options, Bytes data, Failure *failure) {
    const size_t length = JpegLength(data);
    if (length == 0) return Fail(failure, options.source + ": no JPEG", "the file does not begin with a JPEG picture");
    // A still stays in the window; without a window it would never end, so it comes once.
    const bool still = length == data.size() && (!options.headless || options.seconds > 0);
    return std::make_unique<JpegReader>(std::vector{options.source}, options.fps > 0 ? options.fps : 25, still);
}

SourcePtr OpenAnnexB(const Options &options, MappedFile file, bool h265, Failure *failure) {
    if (!tools::CheckByteStream(options.source, file.All(), h265, failure)) return nullptr;
    return std::make_unique<AnnexBReader>(std::move(file), h265, options.fps > 0 ? options.fps : 25);
}

SourcePtr OpenRtp(const Options &options, MappedFile file, Failure *failure) {
    if (!RtpReader::Recognise(file.All())) {
        return Fail(failure, options.source + ": no RTP capture",
                    "it has to be records of a 16-bit big-endian length and one RTP packet");
    }
    return std::make_unique<RtpReader>(std::move(file));
}

}  // namespace

bool IsRecording(const std::string &path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return false;
    Kind kind = KindByEnding(path);
    MappedFile file;
    Failure ignored;
    if (kind == Kind::kUnknown && file.Open(path, &ignored)) kind = KindByContent(file.All());
    return kind == Kind::kRecording;
}

bool IsKrdf(const std::string &path) {
    MappedFile file;
    Failure ignored;
    return file.Open(path, &ignored) && BeginsAsKrdf(file.All());
}

std::unique_ptr<Source> OpenSource(const Options &options, Failure *failure) {
    std::error_code error;
    const bool exists = std::filesystem::exists(options.source, error);
    if (!exists && options.source.find('%') != std::string::npos) {
        return OpenPictures(options, FilesOfPattern(options.source), failure);
    }
    if (std::filesystem::is_directory(options.source, error)) {
        return OpenPictures(options, FilesOfFolder(options.source), failure);
    }
    MappedFile file;
    if (!file.Open(options.source, failure)) return nullptr;
    Kind kind = KindByEnding(options.source);
    if (kind == Kind::kUnknown) kind = KindByContent(file.All());
    switch (kind) {
        case Kind::kRtp:
            return OpenRtp(options, std::move(file), failure);
        case Kind::kH264:
            return OpenAnnexB(options, std::move(file), false, failure);
        case Kind::kH265:
            return OpenAnnexB(options, std::move(file), true, failure);
        case Kind::kJpeg:
            return OpenJpegFile(options, file.All(), failure);
        case Kind::kRecording:
        case Kind::kUnknown:
            break;
    }
    return Fail(failure, options.source + ": neither a recording, RTP capture, H.264, H.265 nor JPEG",
                "see zvplay --help for what can be played");
}

}  // namespace zvplay
