#include "common/wav_file.h"

#include <cerrno>
#include <cstring>

namespace tools {
namespace {

constexpr uint32_t kHeadSize = 44, kSampleBytes = 2;

uint8_t *PutLittle(uint8_t *to, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) *to++ = static_cast<uint8_t>(value >> 8 * i);
    return to;
}

uint8_t *PutWord(uint8_t *to, const char *word) { return static_cast<uint8_t *>(std::memcpy(to, word, 4)) + 4; }

}  // namespace

bool WavFile::WriteHead() {
    uint8_t head[kHeadSize], *to = head;
    to = PutLittle(PutWord(to, "RIFF"), kHeadSize - 8 + length_, 4);
    to = PutLittle(PutWord(PutWord(to, "WAVE"), "fmt "), 16, 4);
    to = PutLittle(PutLittle(to, 1, 2), 1, 2);  // PCM, one channel
    to = PutLittle(PutLittle(to, rate_, 4), rate_ * kSampleBytes, 4);
    to = PutLittle(PutLittle(to, kSampleBytes, 2), 8 * kSampleBytes, 2);
    PutLittle(PutWord(to, "data"), length_, 4);
    return std::fwrite(head, 1, sizeof head, file_) == sizeof head;
}

bool WavFile::Open(const std::string &path, uint32_t rate, Failure *failure) {
    file_ = std::fopen(path.c_str(), "wbe");
    rate_ = rate;
    if (file_ != nullptr && WriteHead() && std::fflush(file_) == 0) return true;
    *failure = {1, path + ": can't be written: " + std::strerror(errno), "name a file that can be written"};
    return false;
}

void WavFile::Write(Bytes samples) {
    if (file_ == nullptr || samples.size() > UINT32_MAX - kHeadSize - length_) return;  // as long as such a file gets
    good_ &= std::fwrite(samples.data(), 1, samples.size(), file_) == samples.size();
    length_ += static_cast<uint32_t>(samples.size());
}

bool WavFile::Close() {
    if (file_ == nullptr) return good_;
    good_ &= std::fseek(file_, 0, SEEK_SET) == 0 && WriteHead();
    good_ &= std::fclose(file_) == 0;
    file_ = nullptr;
    return good_;
}

}  // namespace tools
