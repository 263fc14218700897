/** Talking to cameras: takes sound from a source at its pace and gives it to the ports that are open for it. */
#ifndef ZVPLAY_TALK_H
#define ZVPLAY_TALK_H

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "address.h"
#include "player_sdk_func.h"
#include "voice_source.h"

namespace zvplay {

/** How the talk goes. */
struct TalkState {
    bool there = false;  ///< there is a talk at all
    bool on = false;     ///< what is said goes out
    bool ended = false;  ///< the source has nothing more
    int level = 0;       ///< of the last block, 0 to 100: -60 dB to full scale
    uint32_t sent = 0;   ///< blocks that went to a camera, counted for each
    uint32_t dropped = 0;
};

/**
 * Holds the ports of further cameras, and the thread that talks to all. Made after the player, gone before it: the
 * player's own port belongs to the talk while that lasts.
 */
class Talk {
 public:
    explicit Talk(std::unique_ptr<VoiceSource> source) : source_(std::move(source)) {}
    ~Talk();
    Talk(const Talk &) = delete;
    Talk &operator=(const Talk &) = delete;

    /** Has a port that is open already take part. */
    void Join(ULONG_32 port) { ports_.push_back(port); }

    /** Opens a port for a camera that hears and is not shown. @return false with the failure filled */
    bool Open(const Address &address, Failure *failure);

    /** Starts the thread. @param on whether it talks at once */
    void Start(bool on);

    /** Goes on, or falls silent; what comes from a file or a pipe waits meanwhile. */
    void Toggle();

    bool IsLive() const { return source_->IsLive(); }
    TalkState State() const;

 private:
    void Run();
    void Say(const VoiceBlock &block);

    const std::unique_ptr<VoiceSource> source_;
    std::vector<ULONG_32> ports_, own_ports_;
    std::thread thread_;
    std::atomic<bool> stop_{false}, on_{false}, ended_{false};
    std::atomic<int> level_{0};
    std::atomic<uint32_t> sent_{0}, dropped_{0};
};

/** Opens a port's voice service on a connection to a camera: the address is in figures. @return false with the failure */
bool OpenVoice(ULONG_32 port, ULONG_32 service, const Address &address, Failure *failure);

}  // namespace zvplay

#endif
