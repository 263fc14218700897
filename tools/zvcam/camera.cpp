#include "zvcam/camera.h"

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

namespace zvcam {
namespace {

constexpr size_t kFastQueue = 256 << 10;            // bytes that --fast keeps ready for a client
constexpr std::chrono::seconds kPatience{10};       // with a client that takes nothing while others or the end wait
constexpr std::chrono::milliseconds kLongest{500};  // sleep without a look around

std::atomic<bool> interrupted{false};

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

}  // namespace

void Camera::Interrupt() { interrupted.store(true, std::memory_order_relaxed); }

bool Camera::IsInterrupted() { return interrupted.load(std::memory_order_relaxed); }

bool Camera::Open(Failure *failure) {
    for (const Destination &destination : options_.destinations) {
        if (!OpenDestination(destination, failure)) return false;
    }
    if (!options_.listen.empty() && !tapes_.Open(options_.listen, failure)) return false;
    media_ = Media::Open(options_, failure);
    if (media_ == nullptr) return false;
    for (const Listener &listener : listeners_) {
        if (!listener.destination.tcp) continue;
        Note("serves tcp://" + LocalAddress(listener.socket) + (listener.destination.ts ? "?ts" : ""));
    }
    return options_.sdp.empty() || WriteSdp(failure);
}

bool Camera::OpenDestination(const Destination &destination, Failure *failure) {
    Socket socket = destination.tcp ? ListenTcp(destination, failure) : ConnectUdp(destination, failure);
    if (!socket.IsOpen()) return false;
    listeners_.push_back({std::move(socket), destination});
    return true;
}

/** RFC 8866 and RFC 6184, 8.2.1: parameter sets come in the stream. */
bool Camera::WriteSdp(Failure *failure) const {
    const auto udp = std::find_if(options_.destinations.begin(), options_.destinations.end(),
                                  [](const Destination &row) { return !row.tcp && !row.ts; });
    if (udp == options_.destinations.end()) {
        *failure = {kExitUsage, "--sdp describes RTP over UDP, and there is none", "add a udp:// destination"};
        return false;
    }
    const std::string family = udp->host.find(':') == std::string::npos ? "IP4 " : "IP6 ";
    const int type = VideoPayloadType(media_->Info().h265);
    const std::string number = std::to_string(type);
    std::ofstream file(options_.sdp, std::ios::binary);
    file << "v=0\r\no=- 0 0 IN " << family << udp->host << "\r\ns=zvcam\r\nc=IN " << family << udp->host
         << "\r\nt=0 0\r\nm=video " << udp->port << " RTP/AVP " << number << "\r\na=rtpmap:" << number
         << (media_->Info().h265 ? " H265" : " H264") << "/90000\r\n";
    if (!media_->Info().h265) file << "a=fmtp:" << number << " packetization-mode=1\r\n";
    if (file.flush()) return true;
    *failure = {kExitUsage, options_.sdp + ": can't be written", "name a file for --sdp that can be written"};
    return false;
}

void Camera::AddClient(Socket socket, const Destination &destination, const std::string &name) {
    const Client::Setup setup = {media_->Info(), options_.packets, options_.faults, options_.spread,
                                 options_.echo};
    clients_.push_back(std::make_unique<Client>(setup, std::move(socket), destination, name, numbers_++, &tapes_));
    if (started_) clients_.back()->AwaitKeyFrame();
}

void Camera::Accept() {
    int error = EAGAIN;
    for (const Listener &listener : listeners_) {
        if (!listener.destination.tcp) continue;
        std::string peer;
        for (;;) {
            Socket socket = AcceptTcp(listener.socket, &peer);
            if (!socket.IsOpen()) {
                error = errno;
                break;
            }
            Note(peer + " comes");
            AddClient(std::move(socket), listener.destination, "tcp://" + peer);
            ++came_;
        }
    }
    const bool crowded = error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
    if (crowded && !crowded_) Note(std::string("takes no more clients: ") + std::strerror(error) + "; see 'ulimit -n'");
    crowded_ = crowded;
}

void Camera::RemoveEnded() {
    for (const std::unique_ptr<Client> &client : clients_) {
        if (client->IsOpen()) continue;
        past_.push_back({client->Name(), client->Ending(), client->Figures()});
        if (!finished_) Note(client->Name() + ": " + client->Ending());
    }
    std::erase_if(clients_, [](const std::unique_ptr<Client> &client) { return !client->IsOpen(); });
}

/** Clients come, say something, take what is queued, and go. */
void Camera::Serve() {
    if (!finished_) Accept();
    const Clock::time_point now = Clock::now();
    for (const std::unique_ptr<Client> &client : clients_) {
        client->Listen();
        client->Flush(now);
        if (!refusal_noted_ && client->Figures().refused > 0) {
            Note("nobody listens at " + client->Name() + " (yet)");
            refusal_noted_ = true;
        }
        if (finished_ && client->IsIdle()) client->End("end of the stream");
    }
    StopSlow(now);
    RemoveEnded();
}

/** Without a clock the slowest client sets the pace, and at the end everyone is waited for: but not for ever. */
void Camera::StopSlow(Clock::time_point now) {
    if (!options_.fast && !finished_) return;
    for (const std::unique_ptr<Client> &client : clients_) {
        if (client->WaitsForSocket(now) && now - client->LastProgress() > kPatience) {
            client->End("took nothing for ten seconds");
        }
    }
}

bool Camera::MayProduce() {
    if (at_end_ || (!started_ && came_ < options_.wait)) return false;
    if (!options_.fast) return true;
    const auto full = [](const std::unique_ptr<Client> &client) { return client->Queued() >= kFastQueue; };
    return !clients_.empty() && std::none_of(clients_.begin(), clients_.end(), full);
}

bool Camera::IsDue(Clock::time_point now) {
    return options_.fast || Seconds(now - start_) * options_.speed >= frame_.due;
}

void Camera::TakeFrame() {
    if (has_frame_ || at_end_) return;
    has_frame_ = media_->Next(&frame_);
    at_end_ = !has_frame_ || (options_.seconds > 0 && frame_.due >= options_.seconds);
}

/** Gives out what is due; of a late camera at most so much that its clients are served in between. */
void Camera::Produce() {
    for (int i = 0; i < 16 && MayProduce(); ++i) {
        TakeFrame();
        const Clock::time_point now = Clock::now();
        if (at_end_) return;
        if (!started_) start_ = now;
        started_ = true;
        if (!IsDue(now)) return;
        for (const std::unique_ptr<Client> &client : clients_) client->Give(frame_, now);
        position_ = frame_.due;
        frames_ += frame_.video;
        has_frame_ = false;
    }
}

void Camera::FinishAll() {
    finished_ = true;
    if (!has_frame_ && !media_->Complaint().empty()) Note(media_->Complaint());
    for (const std::unique_ptr<Client> &client : clients_) client->Finish(position_, Clock::now());
}

/** Whether nothing is left to do: the end has gone to everyone, or nobody is there to pace a stream without a clock. */
bool Camera::IsOver() const {
    if (finished_) return clients_.empty();
    return options_.fast && started_ && clients_.empty();
}

Clock::time_point Camera::NextEvent(Clock::time_point now) const {
    Clock::time_point next = now + kLongest;
    if (has_frame_ && started_ && !options_.fast && !at_end_) {
        const std::chrono::duration<double> due(frame_.due / options_.speed);
        next = std::min(next, start_ + std::chrono::duration_cast<Clock::duration>(due));
    }
    for (const std::unique_ptr<Client> &client : clients_) {
        if (!client->WaitsForSocket(now)) next = std::min(next, client->NextDue());
    }
    return next;
}

/** Sleeps until a socket or the clock has something to do. Only here signals get through. */
void Camera::Wait() {
    const Clock::time_point now = Clock::now();
    polled_.clear();
    // One who can't be taken would end every sleep at once; without a poll he is looked after whenever it ends.
    for (const Listener &listener : listeners_) {
        if (listener.destination.tcp && !finished_ && !crowded_) polled_.push_back({listener.socket.Fd(), POLLIN, 0});
    }
    for (const std::unique_ptr<Client> &client : clients_) {
        const bool waits = client->WaitsForSocket(now);
        polled_.push_back({client->Fd(), static_cast<short>(POLLIN | (waits ? POLLOUT : 0)), 0});
    }
    const bool ready = MayProduce() && (options_.fast || !has_frame_);  // what is next, and when, is not known yet
    const auto left = std::chrono::nanoseconds(ready ? Clock::duration::zero() : NextEvent(now) - now).count();
    const timespec sleep = {std::max<long>(0, left / 1000000000), std::max<long>(0, left % 1000000000)};
    sigset_t none;
    sigemptyset(&none);
    ppoll(polled_.data(), polled_.size(), &sleep, &none);
}

bool Camera::Run(Failure *failure) {
    // The datagram sockets are clients from the beginning.
    for (Listener &listener : listeners_) {
        if (listener.destination.tcp) continue;
        AddClient(std::move(listener.socket), listener.destination, listener.destination.text);
    }
    while (!IsInterrupted() && !IsOver()) {
        Serve();
        Produce();
        if (at_end_ && !finished_) FinishAll();
        Serve();
        ShowStatus(Clock::now());
        if (!IsOver()) Wait();
    }
    if (!finished_) FinishAll();
    Serve();
    for (const std::unique_ptr<Client> &client : clients_) client->End("interrupted");
    RemoveEnded();
    EndStatus();
    if (media_->Refused()) {
        *failure = {kExitSource, "scrambling stopped: " + media_->Complaint(), ""};
        return false;
    }
    if (frames_ > 0 || IsInterrupted() || media_->Complaint().empty()) return true;
    *failure = {kExitSource, "no test picture: " + media_->Complaint(), "name a FILE"};
    return false;
}

}  // namespace zvcam
