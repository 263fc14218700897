/** One receiver: a UDP destination or a TCP connection, with its own packet numbers, faults and queue. */
#ifndef ZVCAM_CLIENT_H
#define ZVCAM_CLIENT_H

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "zvcam/counters.h"
#include "zvcam/ear.h"
#include "zvcam/faults.h"
#include "zvcam/packets.h"
#include "zvcam/sockets.h"

namespace zvcam {

using Clock = std::chrono::steady_clock;

/**
 * Makes frames into packets, sends those that its faults let through, and keeps what the socket does not take yet. Used
 * by one thread.
 */
class Client {
 public:
    /** Of all clients of one camera. */
    struct Setup {
        MediaInfo info;
        PacketOptions packets;
        FaultOptions faults;
        double spread;  ///< milliseconds
        bool echo;      ///< what the client says goes back to it
    };

    /**
     * @param socket its own
     * @param destination where it belongs
     * @param name what the report calls it
     * @param number counted from 0, so that each client's faults differ and repeat
     * @param tapes for what it says; lives longer
     */
    Client(const Setup &setup, Socket socket, const Destination &destination, std::string name, uint32_t number,
           Tapes *tapes);

    /** Goes on with the next key frame: for one who comes later. */
    void AwaitKeyFrame() { needs_key_ = true; }

    /** Queues a frame's packets, or drops the frame if too much is queued already. */
    void Give(const Frame &frame, Clock::time_point now);

    /** Queues the end of the stream: what was held back, and the packet that says so if it is wanted. */
    void Finish(double seconds, Clock::time_point now);

    /** Sends what is due and what the socket takes. */
    void Flush(Clock::time_point now);

    /** Hears what the peer says, and sees it go. */
    void Listen();

    /** Ends the connection, with words for the report. */
    void End(const std::string &why);

    bool IsOpen() const { return socket_.IsOpen(); }
    bool IsTcp() const { return tcp_; }
    int Fd() const { return socket_.Fd(); }
    size_t Queued() const { return queued_; }
    bool IsIdle() const { return queue_.empty(); }
    /** Whether the socket is what the queue waits for, as against a time. */
    bool WaitsForSocket(Clock::time_point now) const { return !queue_.empty() && NextDue() <= now; }
    /** When the queue's head may go. */
    Clock::time_point NextDue() const;
    /** Since when the socket took nothing of what was due. */
    Clock::time_point LastProgress() const { return last_progress_; }
    const Counters &Figures() const { return counters_; }
    const std::string &Name() const { return name_; }
    /** How it ended; empty while it has not. */
    const std::string &Ending() const { return ending_; }

 private:
    /** What happens when an entry's turn comes. */
    enum class Act { kSend, kReset, kClose, kStall };
    struct Entry {
        Act act = Act::kSend;
        Packet bytes;
        Clock::time_point due;
        bool whole = true;  ///< counts as a packet
    };

    bool Accepts(const Frame &frame);
    void Queue(std::vector<Packet> *packets, Clock::time_point now);
    void QueueOne(Packet packet, Clock::time_point due);
    void Push(Act act, Packet bytes, Clock::time_point due, bool whole);
    void AddHead(Packet *packet);
    void Echo(Clock::time_point now);
    void Do(Act act, Clock::time_point now);
    bool Send(Entry *entry, Clock::time_point now);
    bool SendFailed();

    const Setup setup_;
    Socket socket_;
    const bool tcp_, ts_;
    const std::string name_;
    std::unique_ptr<PacketMaker> maker_;
    Dice dice_;
    Dice split_dice_;  ///< of its own, as how often it is thrown depends on the socket
    Counters counters_;
    FaultLine line_;
    Ear ear_;
    std::vector<Packet> echo_;
    std::deque<Entry> queue_;
    size_t queued_ = 0;            ///< bytes in the queue
    size_t sent_ = 0;              ///< bytes of its head that are gone
    uint64_t queued_packets_ = 0;  ///< ever
    bool needs_key_ = false;
    bool ended_ = false;  ///< a queued act ends the connection: nothing more is queued
    Clock::time_point quiet_until_ = {};
    Clock::time_point last_progress_;
    std::vector<Packet> made_, passed_;  ///< of the frame at hand
    std::string ending_;
};

}  // namespace zvcam

#endif
