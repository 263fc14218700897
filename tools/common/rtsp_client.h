/** One connection to an RTSP server: its requests, and the RTP packets that come on it or beside it. */
#ifndef TOOLS_RTSP_CLIENT_H
#define TOOLS_RTSP_CLIENT_H

#include <curl/curl.h>
#include <poll.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/failure.h"
#include "common/rtsp_text.h"
#include "common/sdp.h"

namespace tools {

/** A pair of datagram sockets: RTP at an even port, RTCP at the next. */
class RtpSockets {
 public:
    RtpSockets() = default;
    RtpSockets(RtpSockets &&other) noexcept : fds_(other.fds_), port_(other.port_) { other.fds_ = {-1, -1}; }
    RtpSockets &operator=(RtpSockets &&) = delete;
    ~RtpSockets();

    /** @param six for IPv6 */
    bool Open(bool six);
    uint16_t Port() const { return port_; }
    const std::array<int, 2> &Descriptors() const { return fds_; }

 private:
    std::array<int, 2> fds_ = {-1, -1};
    uint16_t port_ = 0;
};

/** For one thread, but for the stop flag and curl_multi_wakeup(), which end every wait at once. */
class RtspClient {
 public:
    using Clock = std::chrono::steady_clock;
    using TakePacket = std::function<void(Bytes packet)>;

    /** @param multi waits for the connection, and outlives it; @param take gets whole RTP packets */
    RtspClient(const RtspUrl &url, bool udp, CURLM *multi, const std::atomic<bool> *stop, TakePacket take);
    ~RtspClient();
    RtspClient(const RtspClient &) = delete;
    RtspClient &operator=(const RtspClient &) = delete;

    /** Connects and asks for the description. @return false with the failure filled, or stopped, as for all below */
    bool Describe(Sdp *sdp, Failure *failure);

    /** Sets up the tracks and has them sent. */
    bool Play(const std::string &control, const std::vector<SdpTrack> &tracks, Failure *failure);

    /** Takes packets for at most so long; tells the server in time that the client is there. */
    bool Receive(std::chrono::milliseconds time, Failure *failure);

    /** Whether the server said that the stream is over. */
    bool SaidBye() const { return bye_; }

    /** Tells the server to stop; waits a quarter of a second at most, also when stopped. */
    void TearDown();

 private:
    struct FreeEasy {
        void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
    };
    static size_t OnHeader(char *data, size_t size, size_t count, void *client);
    static size_t OnBody(char *data, size_t size, size_t count, void *client);
    static size_t OnInterleaved(char *data, size_t size, size_t count, void *client);

    bool SetUp(const std::string &url, size_t index, Failure *failure);
    bool Ask(long request, const std::string &url, std::chrono::milliseconds time, Failure *failure);
    void Begin(long request, const std::string &url);
    void Leave();
    bool Wait(Clock::time_point until);
    void TakeDatagrams();
    void Take(Bytes packet, bool control);
    bool Explain(Failure *failure) const;
    bool KeepAlive(Failure *failure);
    bool Stopped() const { return stop_->load(std::memory_order_relaxed); }

    const RtspUrl url_;
    const bool udp_;
    CURLM *const multi_;
    const std::atomic<bool> *stop_;
    const TakePacket take_;
    std::unique_ptr<CURL, FreeEasy> easy_;
    bool active_ = false;  ///< a request is under way
    CURLcode result_ = CURLE_OK;
    RtspHead head_;
    std::string body_, base_, session_url_;
    std::string peer_;  ///< address of the server, in figures
    bool has_get_parameter_ = false, playing_ = false, bye_ = false;
    std::chrono::milliseconds alive_every_{30000};
    Clock::time_point alive_;            ///< when the server heard of the client last
    std::array<uint8_t, 256> channels_{};  ///< what comes on each: 0 nothing wanted, 1 RTP, 2 RTCP
    std::vector<RtpSockets> sockets_;
    std::vector<uint8_t> datagram_;
};

}  // namespace tools

#endif
