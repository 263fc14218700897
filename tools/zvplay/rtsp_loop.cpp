#include "rtsp_loop.h"

namespace zvplay {
namespace {

constexpr double kFirstFrameSeconds = 10;

}  // namespace

RtspLoop::RtspLoop(const Options &options, Player *player, Window *window, Status *status)
    : PlayLoop(options, player, window, status),
      session_({options.rtsp, options.rtsp_udp, options.reconnect},
               [player](tools::Bytes packet) { player->GivePacket(packet); }) {
    session_.Start();
}

PlayState RtspLoop::State() const {
    PlayState state;
    double seconds = 0;
    const tools::LiveState live = session_.State(&seconds);
    state.position = state.played = started_ ? Seconds(Clock::now() - start_) : 0;
    state.paused = paused_;
    state.sound = sound_;
    state.analytics = analytics_;
    state.live = tools::LiveText(live, seconds);
    state.live_word = tools::LiveWord(live);
    state.reconnects = sessions_ > 0 ? sessions_ - 1 : 0;
    return state;
}

std::string RtspLoop::Remark() const {
    const std::string left_out = session_.LeftOut();
    return left_out.empty() ? "" : "left out, as it is not played: " + left_out;
}

/** Gets the port ready for what the server sends. One that sends the same as before goes on with the port as it is. */
bool RtspLoop::TakeOffer(Failure *failure) {
    std::vector<tools::SdpTrack> tracks;
    if (!session_.Offer(&tracks)) return true;
    if (!open_ || tracks != tracks_) {
        if (!player_.OpenStandard(tracks, failure)) return false;
        if (open_) status_.Note("the stream has another form than before; a recording of it has ended");
        open_ = true;
        tracks_ = tracks;
    }
    ++sessions_;
    session_.Accept();
    return true;
}

bool RtspLoop::Advance(Failure *failure) {
    if (!TakeOffer(failure)) return false;
    if (!started_ && player_.Frames() > 0) {
        started_ = true;
        start_ = Clock::now();
    }
    double seconds = 0;
    if (session_.State(&seconds) != tools::LiveState::kFailed) return true;
    *failure = session_.LastFailure();
    return false;
}

/** The time asked for counts from the first frame; a server gets some more to come up with one. */
bool RtspLoop::IsOver() {
    const double limit = options_.seconds + (started_ ? 0 : kFirstFrameSeconds);
    if (options_.seconds > 0 && Seconds(Clock::now() - start_) >= limit) return true;
    double seconds = 0;
    return session_.State(&seconds) == tools::LiveState::kEnded && !paused_ && Drained();
}

}  // namespace zvplay
