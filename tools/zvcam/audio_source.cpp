#include "zvcam/audio_source.h"

#include <utility>

namespace zvcam {
namespace {

constexpr uint32_t kG711Rate = 8000, kG711Piece = 160, kAacSamples = 1024;
constexpr size_t kAdtsHead = 7;
const uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350};

/** Length of the ADTS frame at the start of at least 7 bytes; 0 if there is none. */
size_t AdtsLength(Bytes data) {
    if (data[0] != 0xFF || (data[1] & 0xF6) != 0xF0 || (data[2] >> 2 & 15) >= std::size(kAacRates)) return 0;
    const size_t length = size_t(data[3] & 3) << 11 | size_t(data[4]) << 3 | data[5] >> 5;
    return length > kAdtsHead ? length : 0;
}

std::vector<std::string> BeepCommand(AudioKind kind) {
    static const std::vector<std::string> kCodings[] = {
        {},
        {"8000", "-c:a", "pcm_mulaw", "-f", "mulaw"},
        {"8000", "-c:a", "pcm_alaw", "-f", "alaw"},
        {"16000", "-c:a", "aac", "-b:a", "32k", "-f", "adts", "-flush_packets", "1"}};
    std::vector<std::string> words = {"ffmpeg",    "-nostdin", "-hide_banner",
                                      "-loglevel", "error",    "-f",
                                      "lavfi",     "-i",       "sine=frequency=220:beep_factor=4",
                                      "-ac",       "1",        "-ar"};
    words.insert(words.end(), kCodings[kind].begin(), kCodings[kind].end());
    words.push_back("pipe:1");
    return words;
}

}  // namespace

std::unique_ptr<AudioSource> AudioSource::Open(const Options &options, Failure *failure) {
    auto source = std::make_unique<AudioSource>();
    source->kind_ = static_cast<AudioKind>(options.audio);
    if (options.audio_file.empty()) {
        source->encoder_ = std::make_unique<Child>();
        if (!source->encoder_->Start(BeepCommand(source->kind_), failure)) return nullptr;
    } else if (!source->file_.Open(options.audio_file, failure)) {
        return nullptr;
    }
    Sound first;
    if (source->Next(&first)) {
        source->at_ = 0;
        return source;
    }
    const bool made = source->encoder_ != nullptr;
    *failure = {kExitSource,
                made ? "ffmpeg makes no sound: " + source->encoder_->LastWords()
                     : options.audio_file + ": no sound of this kind found",
                made ? "name an --audio-file" : "it has to be raw G.711 at 8000 Hz, or AAC with ADTS heads"};
    return nullptr;
}

/** Sees to it that so many bytes stand behind at_. */
bool AudioSource::Fill(size_t bytes) {
    while (data_.size() - at_ < bytes) {
        data_.erase(data_.begin(), data_.begin() + static_cast<ptrdiff_t>(at_));
        at_ = 0;
        if (encoder_ != nullptr) {
            if (!encoder_->Read(&data_)) return false;
        } else {
            data_.insert(data_.end(), file_.All().begin(), file_.All().end());
        }
    }
    return true;
}

bool AudioSource::NextG711(Sound *sound) {
    if (!Fill(kG711Piece)) return false;
    *sound = {Bytes(data_).subspan(at_, kG711Piece), kG711Piece, kG711Rate};
    at_ += kG711Piece;
    return true;
}

/** Steps over what is no frame, once through the file at most. */
bool AudioSource::NextAac(Sound *sound) {
    for (size_t skipped = 0; Fill(kAdtsHead); ++skipped, ++at_) {
        const Bytes head = Bytes(data_).subspan(at_, kAdtsHead);
        const size_t length = AdtsLength(head);
        const uint32_t rate = length > 0 ? kAacRates[head[2] >> 2 & 15] : 0;
        if (length > 0 && Fill(length)) {
            *sound = {Bytes(data_).subspan(at_, length), kAacSamples, rate};
            at_ += length;
            return true;
        }
        if (encoder_ == nullptr && skipped > file_.All().size()) break;
    }
    return false;
}

bool AudioSource::Next(Sound *sound) { return kind_ == kAac ? NextAac(sound) : NextG711(sound); }

}  // namespace zvcam
