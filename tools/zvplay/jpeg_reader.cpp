#include "jpeg_reader.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>
#include <utility>

#include "common/jpeg.h"

namespace zvplay {

using tools::JpegLength;

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
