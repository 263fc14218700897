/** What was sent, and the report of it. */
#ifndef ZVCAM_COUNTERS_H
#define ZVCAM_COUNTERS_H

#include <cstdint>
#include <string>

namespace zvcam {

/** Of one client, or of all. */
struct Counters {
    uint64_t frames = 0;      ///< pictures that were made into packets
    uint64_t key_frames = 0;  ///< among them
    uint64_t sounds = 0;      ///< pieces of sound that were made into packets
    uint64_t records = 0;     ///< analytics records that were made into packets, data frames and messages
    uint64_t drops = 0;       ///< frames and sounds left out, as the client does not keep up or could not carry them
    uint64_t packets = 0;     ///< handed to the system whole, duplicates among them
    uint64_t bytes = 0;       ///< handed to the system, TCP heads and garbage among them
    uint64_t lost = 0;        ///< packets, as all below
    uint64_t reordered = 0;
    uint64_t duplicated = 0;
    uint64_t damaged = 0;
    uint64_t truncated = 0;
    uint64_t garbage = 0;
    uint64_t false_lengths = 0;
    uint64_t stalls = 0;
    uint64_t resets = 0;
    uint64_t closes = 0;   ///< in the middle of a packet
    uint64_t refused = 0;  ///< datagrams that came back: nobody listens
    uint64_t voices = 0;   ///< packets of talk that came, as all below
    uint64_t voice_samples = 0;
    uint64_t voice_lost = 0;     ///< missing in their numbers
    uint64_t voice_unknown = 0;  ///< of another kind than G.711 mu-law
    uint64_t voice_strays = 0;   ///< bytes that belong to no message
};

/** Adds one to the other. */
void Add(const Counters &from, Counters *to);

/** The counters as members of a JSON object, without its braces. */
std::string Json(const Counters &counters);

}  // namespace zvcam

#endif
