#include "zvcam/client.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace zvcam {
namespace {

constexpr size_t kMostQueued = 8 << 20;  // bytes; more than a second of the fattest camera

}  // namespace

Client::Client(const Setup &setup, Socket socket, const Destination &destination, std::string name, uint32_t number,
               Tapes *tapes)
    : setup_(setup),
      socket_(std::move(socket)),
      tcp_(destination.tcp),
      ts_(destination.ts),
      name_(std::move(name)),
      dice_(setup.faults.seed + uint64_t(number) * 0x9E3779B97F4A7C15),
      split_dice_(setup.faults.seed),
      line_(setup_.faults, &dice_, &counters_),
      ear_(tapes, &counters_),
      last_progress_(Clock::now()) {}

Clock::time_point Client::NextDue() const {
    return queue_.empty() ? Clock::time_point::max() : std::max(queue_.front().due, quiet_until_);
}

bool Client::Accepts(const Frame &frame) {
    if (!IsOpen() || ended_) return false;
    if (frame.video && frame.key && queued_ <= kMostQueued) needs_key_ = false;
    if (queued_ > kMostQueued) needs_key_ = true;
    if (!needs_key_) return true;
    counters_.drops += counters_.frames > 0;  // who comes later has missed nothing that was his
    return false;
}

void Client::Give(const Frame &frame, Clock::time_point now) {
    if (!Accepts(frame)) return;
    if (maker_ == nullptr) {  // only now: packing TS takes megabytes, and some clients just look in
        const uint64_t numbers = dice_.Below(UINT64_MAX);
        maker_ = ts_ ? MakeTs(setup_.info) : MakeRtp(setup_.info, setup_.packets, numbers);
    }
    made_.clear();
    if (!maker_->Make(frame, &made_)) {
        ++counters_.drops;
        needs_key_ = frame.video;
        return;
    }
    counters_.frames += frame.video;
    counters_.sounds += !frame.sound.empty();
    counters_.records += frame.messages + !frame.record.empty();
    counters_.key_frames += frame.video && frame.key;
    passed_.clear();
    for (Packet &packet : made_) line_.Pass(std::move(packet), &passed_);
    Queue(&passed_, now);
}

void Client::Finish(double seconds, Clock::time_point now) {
    if (!IsOpen() || ended_ || maker_ == nullptr) return;
    passed_.clear();
    line_.Finish(&passed_);
    maker_->Finish(seconds, &passed_);
    Queue(&passed_, now);
}

void Client::Queue(std::vector<Packet> *packets, Clock::time_point now) {
    const auto step = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double, std::milli>(tcp_ || packets->empty() ? 0 : setup_.spread / packets->size()));
    Clock::time_point due = now;
    for (Packet &packet : *packets) {
        QueueOne(std::move(packet), due);
        due += step;
    }
}

/** Queues a packet and what is to happen behind it. */
void Client::QueueOne(Packet packet, Clock::time_point due) {
    if (ended_) return;
    const FaultOptions &faults = setup_.faults;
    ++queued_packets_;
    if (tcp_) AddHead(&packet);
    if (tcp_ && faults.close_after > 0 && queued_packets_ > faults.close_after) {
        packet.resize(packet.size() / 2);
        Push(Act::kSend, std::move(packet), due, false);
        Push(Act::kClose, {}, due, false);
        ended_ = true;
        return;
    }
    Push(Act::kSend, std::move(packet), due, true);
    if (queued_packets_ == faults.stall_after) Push(Act::kStall, {}, due, false);
    if (tcp_ && queued_packets_ == faults.reset_after) {
        Push(Act::kReset, {}, due, false);
        ended_ = true;
    }
}

void Client::Push(Act act, Packet bytes, Clock::time_point due, bool whole) {
    if (queue_.empty()) last_progress_ = Clock::now();
    queued_ += bytes.size();
    queue_.push_back({act, std::move(bytes), due, whole});
}

/** The head that carries a packet over TCP: "$", channel 0 and the length, behind rubbish if the dice say so. */
void Client::AddHead(Packet *packet) {
    Packet head;
    if (dice_.Falls(setup_.faults.garbage)) {
        head.resize(1 + dice_.Below(64));
        for (uint8_t &byte : head) byte = static_cast<uint8_t>(dice_.Below(256));
        ++counters_.garbage;
    }
    size_t length = packet->size();
    if (dice_.Falls(setup_.faults.false_length)) {
        length = (length + 1 + dice_.Below(65535)) & 65535;
        ++counters_.false_lengths;
    }
    head.insert(head.end(), {'$', 0, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
    packet->insert(packet->begin(), head.begin(), head.end());
}

void Client::Do(Act act, Clock::time_point now) {
    switch (act) {
        case Act::kReset:
            ++counters_.resets;
            socket_.Reset();
            ending_ = "reset, as wanted";
            break;
        case Act::kClose:
            ++counters_.closes;
            End("closed, as wanted");
            break;
        case Act::kStall:
            ++counters_.stalls;
            quiet_until_ =
                now + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(setup_.faults.stall));
            break;
        case Act::kSend:
            break;
    }
}

/** A send that the system refused. @return whether the next try may go better at once */
bool Client::SendFailed() {
    if (errno == EINTR) return true;
    if (errno == ECONNREFUSED && !tcp_) {  // the answer to a datagram before; this one has not gone
        ++counters_.refused;
        return true;
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) return false;
    End(errno == EPIPE || errno == ECONNRESET ? "the client went" : std::strerror(errno));
    return false;
}

/** Sends the rest of an entry, or as much as the socket takes. @return whether it is done */
bool Client::Send(Entry *entry, Clock::time_point now) {
    while (sent_ < entry->bytes.size()) {
        size_t count = entry->bytes.size() - sent_;
        if (tcp_ && setup_.faults.split > 0)
            count = std::min<size_t>(count, 1 + split_dice_.Below(setup_.faults.split));
        const ssize_t gone = send(socket_.Fd(), entry->bytes.data() + sent_, count, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (gone < 0) {
            if (!SendFailed()) return false;
            continue;
        }
        last_progress_ = now;
        sent_ += static_cast<size_t>(gone);
        counters_.bytes += static_cast<uint64_t>(gone);
    }
    counters_.packets += entry->whole;
    return true;
}

void Client::Flush(Clock::time_point now) {
    while (IsOpen() && !queue_.empty() && NextDue() <= now) {
        Entry &head = queue_.front();
        if (head.act == Act::kSend && !Send(&head, now)) return;
        const Act act = head.act;
        queued_ -= head.bytes.size();
        sent_ = 0;
        queue_.pop_front();
        Do(act, now);
    }
    if (!IsOpen()) End("");
}

/** Sends back what was said, as the sound of the camera, on the channel for sound. */
void Client::Echo(Clock::time_point now) {
    for (Packet &packet : echo_) {
        if (ended_ || queued_ > kMostQueued) continue;
        const uint8_t head[] = {'$', 2, static_cast<uint8_t>(packet.size() >> 8), static_cast<uint8_t>(packet.size())};
        packet.insert(packet.begin(), std::begin(head), std::end(head));
        Push(Act::kSend, std::move(packet), now, true);
    }
    echo_.clear();
}

void Client::Listen() {
    char bytes[4096];
    if (!IsOpen()) return;
    const ssize_t got = recv(socket_.Fd(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (!tcp_) {  // nobody is wanted to answer; refusals come here or where the next datagram is sent
        counters_.refused += got < 0 && errno == ECONNREFUSED;
        return;
    }
    if (got > 0) ear_.Take(Bytes(reinterpret_cast<const uint8_t *>(bytes), static_cast<size_t>(got)),
                           setup_.echo ? &echo_ : nullptr);
    Echo(Clock::now());
    if (got == 0) End("the client went");
    if (got < 0 && errno != EAGAIN && errno != EINTR) End(std::string("the client went: ") + std::strerror(errno));
}

void Client::End(const std::string &why) {
    socket_.Close();
    if (ending_.empty()) ending_ = why;
    queue_.clear();
    queued_ = sent_ = 0;
}

}  // namespace zvcam
