#include "jpeg_reader.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace zvplay {
namespace {

constexpr uint8_t kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA;

/** Markers that no length follows: TEM and RST0 to RST7 (T.81, B.1.1.3). */
bool IsAlone(uint8_t marker) { return marker == 1 || (marker >= 0xD0 && marker <= 0xD7); }

/** Offset of the next marker's FF behind coded data, or the size: stuffed zeros and restarts are part of the data. */
size_t SkipCodedData(Bytes data, size_t at) {
    while (at + 1 < data.size()) {
        const void *found = std::memchr(data.data() + at, 0xFF, data.size() - at - 1);
        if (found == nullptr) break;
        at = static_cast<size_t>(static_cast<const uint8_t *>(found) - data.data());
        const uint8_t marker = data[at + 1];
        if (marker != 0 && marker != 0xFF && !IsAlone(marker)) return at;
        at += marker == 0xFF ? 1 : 2;
    }
    return data.size();
}

}  // namespace

size_t JpegLength(Bytes data) {
    if (data.size() < 4 || data[0] != 0xFF || data[1] != kSoi || data[2] != 0xFF) return 0;
    size_t at = 2;
    while (at + 4 <= data.size() && data[at] == 0xFF) {
        const uint8_t marker = data[at + 1];
        if (marker == kEoi) return at + 2;
        if (marker == kSoi) return at;  // the next picture: this one has no end marker
        if (marker == 0xFF || IsAlone(marker)) {
            at += marker == 0xFF ? 1 : 2;
            continue;
        }
        at += 2 + (size_t(data[at + 2]) << 8 | data[at + 3]);
        if (marker == kSos && at < data.size()) at = SkipCodedData(data, at);
    }
    if (at + 2 <= data.size() && data[at] == 0xFF && data[at + 1] == kEoi) return at + 2;
    return data.size();
}

JpegReader::JpegReader(std::vector<std::string> files, double fps, bool repeat)
    : files_(std::move(files)), interval_(1 / fps), repeat_(repeat) {}

bool JpegReader::Next(Push *push) {
    for (;;) {
        const Bytes rest = file_.All().subspan(at_);
        const size_t length = JpegLength(rest);
        if (length > 0) {
            at_ += length;
            found_ = true;
            push->head = {};
            push->data = rest.first(length);
            push->due = due_ = first_ ? 0 : due_ + interval_;
            first_ = false;
            return true;
        }
        if (!rest.empty()) remark_ = files_[next_file_ - 1] + " holds something that is no JPEG, which was left out";
        if (next_file_ == files_.size()) {
            if (!repeat_ || !found_) return false;
            next_file_ = 0;
            found_ = false;
        }
        Failure failure;
        at_ = 0;
        if (!file_.Open(files_[next_file_++], &failure)) remark_ = failure.what;
    }
}

std::vector<std::string> FilesOfFolder(const std::string &folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string ending = entry->path().extension().string();
        std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
        if (ending == ".jpg" || ending == ".jpeg") files.push_back(entry->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> FilesOfPattern(const std::string &pattern) {
    const size_t percent = pattern.find('%');
    const size_t letter = percent == std::string::npos ? percent : pattern.find_first_not_of("0123456789", percent + 1);
    // The pattern is the user's: it is taken apart here and never reaches printf.
    if (letter == std::string::npos || pattern[letter] != 'd' || pattern.find('%', letter) != std::string::npos) {
        return {};
    }
    const std::string digits = pattern.substr(percent + 1, letter - percent - 1);
    const size_t width = digits.empty() || digits.size() > 3 ? 0 : std::stoul(digits);
    const char fill = digits.starts_with('0') ? '0' : ' ';
    const auto name = [&](unsigned number) {
        std::string text = std::to_string(number);
        if (text.size() < width) text.insert(0, width - text.size(), fill);
        return pattern.substr(0, percent) + text + pattern.substr(letter + 1);
    };
    std::vector<std::string> files;
    std::error_code error;
    for (unsigned number = std::filesystem::exists(name(0), error) ? 0 : 1;
         std::filesystem::exists(name(number), error); ++number) {
        files.push_back(name(number));
    }
    return files;
}

}  // namespace zvplay
