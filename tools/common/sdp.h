/** Session descriptions (RFC 8866): what an RTSP server says of its tracks, as far as a player needs it. */
#ifndef TOOLS_SDP_H
#define TOOLS_SDP_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

/** What a track is coded in. */
enum class Coding { kUnknown, kH264, kH265, kJpeg, kG711U, kG711A, kAac };

/** The parameters of AAC (ISO/IEC 14496-3), of HE-AAC those of its core. */
struct AacConfig {
    uint8_t object_type = 0;      ///< 2 for AAC LC; 0: the description has none
    uint8_t frequency_index = 0;  ///< 0 (96000 Hz) to 12 (7350 Hz)
    uint8_t channels = 0;         ///< channel configuration, 1 to 7

    bool operator==(const AacConfig &) const = default;
};

/** One medium of a session. */
struct SdpTrack {
    bool video = false;  ///< else sound
    Coding coding = Coding::kUnknown;
    std::string name;              ///< of the coding, as the server calls it
    uint8_t payload = 0;           ///< RTP payload type, 0 to 127
    uint32_t clock = 0;            ///< ticks a second
    std::string control;           ///< where it is set up: an address, or what follows the session's
    std::vector<uint8_t> sets;     ///< parameter sets, each behind 00 00 00 01; empty if they travel in the stream
    AacConfig aac;

    bool operator==(const SdpTrack &) const = default;
};

/** What of a description is looked at; what is beyond is left out. */
inline constexpr size_t kMaxSdpBytes = 65536;
inline constexpr size_t kMaxSdpTracks = 16;
inline constexpr size_t kMaxParameterSets = 4096;  ///< bytes; the library takes no more

struct Sdp {
    std::string control;           ///< of the whole session; empty for none
    std::vector<SdpTrack> tracks;  ///< video and sound only, those of unknown coding too

    bool operator==(const Sdp &) const = default;
};

/**
 * Reads a description. Lines that make no sense are passed over, as every server has some of its own.
 * @return false if it is none: no "v=" at the beginning, or too long
 */
bool ParseSdp(std::string_view text, Sdp *sdp);

/** How users call a coding: "H.264". */
const char *CodingName(Coding coding);

}  // namespace tools

#endif
