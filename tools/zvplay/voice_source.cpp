#include "voice_source.h"

#include <SDL.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "common/mapped_file.h"

namespace zvplay {
namespace {

constexpr size_t kBlockBytes = 2 * kVoiceBlock;
constexpr int kPatience = 100;  // milliseconds

using SourcePtr = std::unique_ptr<VoiceSource>;

SourcePtr Fail(Failure *failure, const std::string &what, const char *advice) {
    *failure = {kExitSource, what, advice};
    return nullptr;
}

/** Sound that is in memory from the beginning. */
class FileVoice : public VoiceSource {
 public:
    explicit FileVoice(std::vector<int16_t> samples) : samples_(std::move(samples)) {}

    Got Next(VoiceBlock *block) override {
        const size_t count = std::min(kVoiceBlock, samples_.size() - at_);
        if (count == 0) return Got::kEnd;
        const auto begin = samples_.begin() + static_cast<ptrdiff_t>(at_);
        block->assign(begin, begin + static_cast<ptrdiff_t>(count));
        at_ += count;
        return Got::kBlock;
    }

 private:
    const std::vector<int16_t> samples_;
    size_t at_ = 0;
};

/** Raw samples of a pipe. */
class PipeVoice : public VoiceSource {
 public:
    Got Next(VoiceBlock *block) override {
        while (!ended_ && bytes_.size() < kBlockBytes) {
            pollfd wait = {STDIN_FILENO, POLLIN, 0};
            if (poll(&wait, 1, kPatience) <= 0) return Got::kNothing;
            uint8_t more[kBlockBytes];
            const ssize_t got = read(STDIN_FILENO, more, kBlockBytes - bytes_.size());
            if (got < 0 && (errno == EINTR || errno == EAGAIN)) return Got::kNothing;
            ended_ = got <= 0;
            bytes_.insert(bytes_.end(), more, more + std::max<ssize_t>(got, 0));
        }
        block->resize(bytes_.size() / 2);
        if (block->empty()) return Got::kEnd;
        std::memcpy(block->data(), bytes_.data(), 2 * block->size());
        bytes_.clear();
        return Got::kBlock;
    }

 private:
    std::vector<uint8_t> bytes_;
    bool ended_ = false;
};

/** A microphone, by SDL. */
class MicVoice : public VoiceSource {
 public:
    ~MicVoice() override {
        if (device_ != 0) SDL_CloseAudioDevice(device_);
        if (started_) SDL_QuitSubSystem(SDL_INIT_AUDIO);
    }

    bool Open() {
        SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        started_ = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
        SDL_AudioSpec wanted = {};
        wanted.freq = static_cast<int>(kVoiceRate);
        wanted.format = AUDIO_S16SYS;
        wanted.channels = 1;
        wanted.samples = 256;
        if (started_) device_ = SDL_OpenAudioDevice(nullptr, 1, &wanted, nullptr, 0);
        return device_ != 0;
    }

    Got Next(VoiceBlock *block) override {
        for (int waited = 0; SDL_GetQueuedAudioSize(device_) < kBlockBytes; waited += 5) {
            if (waited >= kPatience) return Got::kNothing;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        block->resize(kVoiceBlock);
        block->resize(SDL_DequeueAudio(device_, block->data(), kBlockBytes) / 2);
        return Got::kBlock;
    }

    bool IsLive() const override { return true; }

    void Listen(bool on) override {
        SDL_PauseAudioDevice(device_, on ? 0 : 1);
        if (!on) SDL_ClearQueuedAudio(device_);
    }

 private:
    bool started_ = false;
    SDL_AudioDeviceID device_ = 0;
};

SourcePtr OpenMic(Failure *failure) {
    auto mic = std::make_unique<MicVoice>();
    if (mic->Open()) return mic;
    return Fail(failure, std::string("no microphone: ") + SDL_GetError(),
                "is one plugged in? A file does as well: --talk hello.wav");
}

/** Turns sound of any kind that SDL knows into what is sent. */
bool Convert(const SDL_AudioSpec &from, const Uint8 *data, Uint32 length, std::vector<int16_t> *samples) {
    SDL_AudioCVT convert = {};
    if (length > INT32_MAX / 8 || SDL_BuildAudioCVT(&convert, from.format, from.channels, from.freq, AUDIO_S16SYS, 1,
                                                    static_cast<int>(kVoiceRate)) < 0) {
        return false;
    }
    std::vector<Uint8> buffer(size_t(length) * static_cast<size_t>(convert.len_mult));
    std::memcpy(buffer.data(), data, length);
    convert.buf = buffer.data();
    convert.len = static_cast<int>(length);
    if (SDL_ConvertAudio(&convert) != 0) return false;
    samples->resize(static_cast<size_t>(convert.len_cvt) / 2);
    std::memcpy(samples->data(), buffer.data(), 2 * samples->size());
    return true;
}

SourcePtr OpenWav(const std::string &path, Failure *failure) {
    SDL_AudioSpec spec = {};
    Uint8 *data = nullptr;
    Uint32 length = 0;
    if (SDL_LoadWAV(path.c_str(), &spec, &data, &length) == nullptr) {
        return Fail(failure, path + ": " + SDL_GetError(), "ffmpeg -i FILE -ar 8000 -ac 1 OUT.wav makes one that is");
    }
    std::vector<int16_t> samples;
    const bool plain = spec.format == AUDIO_S16SYS && spec.channels == 1 && spec.freq == static_cast<int>(kVoiceRate);
    if (plain) samples.assign(reinterpret_cast<int16_t *>(data), reinterpret_cast<int16_t *>(data) + length / 2);
    const bool good = plain || Convert(spec, data, length, &samples);
    SDL_FreeWAV(data);
    if (!good) return Fail(failure, path + ": " + SDL_GetError(), "");
    return std::make_unique<FileVoice>(std::move(samples));
}

SourcePtr OpenFile(const std::string &path, Failure *failure) {
    tools::MappedFile file;
    if (!file.Open(path, failure)) return nullptr;
    const tools::Bytes all = file.All();
    if (all.size() >= 12 && std::memcmp(all.data(), "RIFF", 4) == 0 && std::memcmp(all.data() + 8, "WAVE", 4) == 0) {
        return OpenWav(path, failure);
    }
    std::vector<int16_t> samples(all.size() / 2);
    std::memcpy(samples.data(), all.data(), 2 * samples.size());
    return std::make_unique<FileVoice>(std::move(samples));
}

}  // namespace

std::unique_ptr<VoiceSource> OpenVoiceSource(const std::string &name, Failure *failure) {
    if (name == "mic") return OpenMic(failure);
    return name == "-" ? std::make_unique<PipeVoice>() : OpenFile(name, failure);
}

}  // namespace zvplay
