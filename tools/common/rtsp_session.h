/** An RTSP stream that is kept up: a thread that connects, receives, and connects again. */
#ifndef TOOLS_RTSP_SESSION_H
#define TOOLS_RTSP_SESSION_H

#include <mutex>
#include <thread>

#include "common/live_state.h"
#include "common/rtsp_client.h"

namespace tools {

struct RtspSettings {
    RtspUrl url;
    bool udp = false;
    bool reconnect = true;
};

/**
 * The owner's side is for one thread. When a server has described itself the tracks that can be played, one of video and
 * one of sound, wait for Offer(); the owner gets ready for them and calls Accept(). Then packets come, on the session's
 * thread, until the next offer or Stop().
 */
class RtspSession {
 public:
    RtspSession(RtspSettings settings, RtspClient::TakePacket take);
    ~RtspSession();
    RtspSession(const RtspSession &) = delete;
    RtspSession &operator=(const RtspSession &) = delete;

    void Start();

    /** Ends within a fraction of a second, whatever the server does. */
    void Stop();

    /** Whether tracks wait for being accepted. */
    bool Offer(std::vector<SdpTrack> *tracks);
    void Accept();

    /** @param[out] seconds how long no packet has come; or how long the attempts have gone on */
    LiveState State(double *seconds) const;

    /** Why it failed or was connected again last; codings that were left out. */
    Failure LastFailure() const;
    std::string LeftOut() const;

 private:
    using Clock = RtspClient::Clock;
    void Run();
    bool Once(Failure *failure);
    bool Agree(const std::vector<SdpTrack> &tracks);
    bool Choose(const Sdp &sdp, std::vector<SdpTrack> *chosen, Failure *failure);
    bool Stream(RtspClient *client, Failure *failure);
    void Sleep(std::chrono::milliseconds time);
    void Set(LiveState state);
    bool Stopped() const { return stop_.load(std::memory_order_relaxed); }

    const RtspSettings settings_;
    const RtspClient::TakePacket take_;
    CURLM *const multi_;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> accepted_{false};
    std::atomic<Clock::rep> packet_{0};  ///< when one came last; 0: none in this session
    bool played_ = false;                ///< a packet has ever come; the session's thread

    mutable std::mutex mutex_;  ///< guards what follows
    LiveState state_ = LiveState::kConnecting;
    Clock::time_point since_ = Clock::now();  ///< the state
    bool offered_ = false;
    std::vector<SdpTrack> offer_;
    Failure failure_;
    std::string left_out_;
};

}  // namespace tools

#endif
