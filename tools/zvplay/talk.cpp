#include "talk.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "common/library_failure.h"

namespace zvplay {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kSilence{20};
constexpr std::chrono::milliseconds kMostLate{100};  // what is later begins a new count

Clock::duration Length(const VoiceBlock &block) {
    return std::chrono::microseconds(block.size() * 1000000 / kVoiceRate);
}

int Level(const VoiceBlock &block) {
    double sum = 1;  // never silent to the logarithm
    for (const int16_t sample : block) sum += static_cast<double>(sample) * sample;
    const double decibel = 10 * std::log10(sum / static_cast<double>(block.size()) / (32768.0 * 32768.0));
    return static_cast<int>(std::clamp((decibel + 60) / 60 * 100, 0.0, 100.0));
}

}  // namespace

bool OpenVoice(ULONG_32 port, ULONG_32 service, const Address &address, Failure *failure) {
    if (Zelvane_OpenVoiceSvc(port, service, 0, nullptr, 0, address.host.c_str(), address.port, PLAYER_PROTOCOL_TCP)) {
        return true;
    }
    *failure = tools::LibraryFailure("no talk with tcp://" + address.host + ":" + std::to_string(address.port));
    failure->exit_code = kExitSource;
    failure->advice = "is the camera running, and is the port right?";
    return false;
}

Talk::~Talk() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    for (const ULONG_32 port : own_ports_) Zelvane_FreePort(port);
}

bool Talk::Open(const Address &address, Failure *failure) {
    ULONG_32 port = 0;
    if (!Zelvane_AllocPort(&port)) {
        *failure = tools::LibraryFailure("the library has no port for another camera");
        return false;
    }
    own_ports_.push_back(port);
    // Its picture ends as a frame: nothing is decoded.
    const auto ignore = [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *, LONG_REAL) {};
    Zelvane_SetParseVideoDataCB(port, ignore, 0, nullptr);
    if (!OpenVoice(port, PLAYER_VOICE_SERVICE_BROADCAST_INPUT, address, failure)) return false;
    Join(port);
    return true;
}

void Talk::Start(bool on) {
    on_ = on;
    source_->Listen(on);
    thread_ = std::thread([this] { Run(); });
}

void Talk::Toggle() { on_ = !on_; }

TalkState Talk::State() const { return {true, on_ && !ended_, ended_, on_ ? level_.load() : 0, sent_, dropped_}; }

void Talk::Say(const VoiceBlock &block) {
    level_ = Level(block);
    for (const ULONG_32 port : ports_) {
        const bool good = Zelvane_VoiceInputData(port, reinterpret_cast<const UCHAR *>(block.data()),
                                                 static_cast<ULONG_32>(2 * block.size()), nullptr) != 0;
        ++(good ? sent_ : dropped_);
    }
}

void Talk::Run() {
    VoiceBlock block;
    bool listens = on_;
    Clock::time_point due = Clock::now();
    while (!stop_) {
        if (on_ != listens) source_->Listen(listens = on_);
        const VoiceSource::Got got = listens ? source_->Next(&block) : VoiceSource::Got::kNothing;
        if (got == VoiceSource::Got::kEnd) break;
        if (got == VoiceSource::Got::kNothing) {
            if (!listens) std::this_thread::sleep_for(kSilence);
            continue;
        }
        if (!source_->IsLive()) std::this_thread::sleep_until(due);
        due = std::max(due, Clock::now() - kMostLate) + Length(block);
        Say(block);
    }
    ended_ = true;
}

}  // namespace zvplay
