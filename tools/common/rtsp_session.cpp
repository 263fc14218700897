#include "common/rtsp_session.h"

#include <algorithm>

namespace tools {
namespace {

using std::chrono::milliseconds;

constexpr double kGiveUpSeconds = 10;  // from here on the session counts as dead
constexpr double kSoundSeconds = 5;    // a session that held so long is no hopeless one

double Since(RtspClient::Clock::time_point time) {
    return std::chrono::duration<double>(RtspClient::Clock::now() - time).count();
}

}  // namespace

RtspSession::RtspSession(RtspSettings settings, RtspClient::TakePacket take)
    : settings_(std::move(settings)), take_(std::move(take)), multi_(curl_multi_init()) {}

RtspSession::~RtspSession() {
    Stop();
    curl_multi_cleanup(multi_);
}

void RtspSession::Start() {
    thread_ = std::thread([this] { Run(); });
}

void RtspSession::Stop() {
    stop_.store(true, std::memory_order_relaxed);
    curl_multi_wakeup(multi_);
    if (thread_.joinable()) thread_.join();
}

void RtspSession::Set(LiveState state) {
    const std::lock_guard lock(mutex_);
    if (state_ == state) return;
    state_ = state;
    since_ = Clock::now();
}

LiveState RtspSession::State(double *seconds) const {
    const std::lock_guard lock(mutex_);
    *seconds = Since(since_);
    const Clock::rep packet = packet_.load(std::memory_order_relaxed);
    if (state_ != LiveState::kPlaying) return state_;
    if (packet != 0) *seconds = Since(Clock::time_point(Clock::duration(packet)));
    return *seconds > kStaleSeconds ? LiveState::kStale : state_;
}

Failure RtspSession::LastFailure() const {
    const std::lock_guard lock(mutex_);
    return failure_;
}

std::string RtspSession::LeftOut() const {
    const std::lock_guard lock(mutex_);
    return left_out_;
}

bool RtspSession::Offer(std::vector<SdpTrack> *tracks) {
    const std::lock_guard lock(mutex_);
    if (!offered_) return false;
    *tracks = offer_;
    return true;
}

void RtspSession::Accept() {
    {
        const std::lock_guard lock(mutex_);
        offered_ = false;
    }
    accepted_.store(true);
    curl_multi_wakeup(multi_);
}

void RtspSession::Sleep(milliseconds time) {
    const Clock::time_point end = Clock::now() + time;
    while (!Stopped() && Clock::now() < end) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
        curl_multi_poll(multi_, nullptr, 0, static_cast<int>(left), nullptr);
    }
}

/** Hands the tracks to the owner and waits for his word. */
bool RtspSession::Agree(const std::vector<SdpTrack> &tracks) {
    accepted_.store(false);
    {
        const std::lock_guard lock(mutex_);
        offer_ = tracks;
        offered_ = true;
    }
    while (!accepted_.load() && !Stopped()) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    return !Stopped();
}

/** The first track of each kind that can be played. */
bool RtspSession::Choose(const Sdp &sdp, std::vector<SdpTrack> *chosen, Failure *failure) {
    std::string others;
    for (const bool video : {true, false}) {
        const auto of_kind = [video](const SdpTrack &track) { return track.video == video; };
        const auto fits = [&](const SdpTrack &track) { return of_kind(track) && track.coding != Coding::kUnknown; };
        const auto first = std::find_if(sdp.tracks.begin(), sdp.tracks.end(), of_kind);
        const auto found = std::find_if(sdp.tracks.begin(), sdp.tracks.end(), fits);
        if (found != sdp.tracks.end()) {
            chosen->push_back(*found);
        } else if (first != sdp.tracks.end()) {
            others += (others.empty() ? "" : ", ") + first->name;
        }
    }
    const std::lock_guard lock(mutex_);
    left_out_ = others;
    if (!chosen->empty()) return true;
    *failure = {kExitSource, settings_.url.url + (others.empty() ? ": no video and no sound"
                                                                 : ": coded in " + others + ", which is not played"),
                "set the camera to H.264, H.265 or JPEG; sound to G.711 or AAC (RTP form mpeg4-generic)"};
    return false;
}

/** Receives until the stream is over. @return false with the failure filled */
bool RtspSession::Stream(RtspClient *client, Failure *failure) {
    const Clock::time_point begun = Clock::now();
    while (!Stopped() && !client->SaidBye()) {
        if (!client->Receive(milliseconds(500), failure)) return false;
        const Clock::rep packet = packet_.load(std::memory_order_relaxed);
        if (Since(packet != 0 ? Clock::time_point(Clock::duration(packet)) : begun) < kGiveUpSeconds) continue;
        *failure = {kExitSource, settings_.url.url + ": the server sends nothing",
                    settings_.udp ? "does a firewall keep UDP out? Try --rtsp tcp" : "is the camera busy? Try --rtsp udp"};
        return false;
    }
    *failure = {kExitSource, settings_.url.url + ": the server has ended the stream", ""};
    return true;
}

/** One session from its first request to its end. @return false with the failure filled */
bool RtspSession::Once(Failure *failure) {
    packet_.store(0);
    RtspClient client(settings_.url, settings_.udp, multi_, &stop_, [this](Bytes packet) {
        packet_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
        take_(packet);
    });
    Sdp sdp;
    std::vector<SdpTrack> tracks;
    if (!client.Describe(&sdp, failure) || !Choose(sdp, &tracks, failure) || !Agree(tracks) ||
        !client.Play(sdp.control, tracks, failure)) {
        return false;
    }
    Set(LiveState::kPlaying);
    const bool whole = Stream(&client, failure);
    client.TearDown();
    played_ = played_ || packet_.load() != 0;
    return whole;
}

void RtspSession::Run() {
    BackOff wait;
    while (!Stopped()) {
        Failure failure;
        const Clock::time_point begun = Clock::now();
        const bool whole = Once(&failure);
        if (Stopped()) break;
        {
            const std::lock_guard lock(mutex_);
            failure_ = failure;
        }
        // Who has never played is told at once what is wrong; who has, waits for the camera to come back.
        if (!settings_.reconnect || !played_) return Set(whole || played_ ? LiveState::kEnded : LiveState::kFailed);
        if (Since(begun) > kSoundSeconds) wait.Reset();
        Set(LiveState::kReconnecting);
        Sleep(wait.Next());
    }
}

}  // namespace tools
