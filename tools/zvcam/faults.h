/** Faults on the way of packets, drawn from a seed. */
#ifndef ZVCAM_FAULTS_H
#define ZVCAM_FAULTS_H

#include <random>
#include <vector>

#include "zvcam/counters.h"
#include "zvcam/options.h"
#include "zvcam/packets.h"

namespace zvcam {

/** Draws the lots. The same seed gives the same ones, on every machine. */
class Dice {
 public:
    explicit Dice(uint64_t seed) : engine_(seed) {}

    /** Whether something with this chance in percent happens. No chance draws no lot. */
    bool Falls(double percent) { return percent > 0 && static_cast<double>(engine_() >> 11) * 0x1p-53 * 100 < percent; }
    /** A number from 0 to `count` - 1; `count` is at least 1. */
    uint64_t Below(uint64_t count) { return engine_() % count; }

 private:
    std::mt19937_64 engine_;
};

/** What happens to packets that no transport has seen yet. */
class FaultLine {
 public:
    /** @param options what and how often; @param dice, @param counters the client's, which live longer */
    FaultLine(const FaultOptions &options, Dice *dice, Counters *counters)
        : options_(options), dice_(*dice), counters_(*counters) {}

    /** Takes the next packet and appends what is to be sent now: none, it, or more. */
    void Pass(Packet packet, std::vector<Packet> *out);

    /** Appends what is still held back. */
    void Finish(std::vector<Packet> *out);

 private:
    bool Lose();
    void Harm(Packet *packet);
    void Emit(Packet packet, std::vector<Packet> *out);

    const FaultOptions options_;
    Dice &dice_;
    Counters &counters_;
    uint32_t losing_ = 0;      ///< packets that the running burst still takes
    Packet held_;              ///< to be overtaken; empty for none
    uint64_t overtakers_ = 0;  ///< packets that are still to overtake it
};

}  // namespace zvcam

#endif
