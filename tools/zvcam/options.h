/** The command line of zvcam. */
#ifndef ZVCAM_OPTIONS_H
#define ZVCAM_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/failure.h"

namespace zvcam {

using tools::Failure;
using tools::kExitOk;
using tools::kExitSource;
using tools::kExitUsage;

inline constexpr int kExitNetwork = 3;  ///< exit code: an address can't be resolved, bound or reached

/** Where packets go. */
struct Destination {
    bool tcp = false;  ///< waits for clients there; else datagrams go there
    bool ts = false;   ///< MPEG-TS instead of RTP
    std::string host;  ///< empty for any, TCP only
    std::string port;
    std::string text;  ///< as the user wrote it
};

/** What packets look like. */
struct PacketOptions {
    uint32_t mtu = 1400;         ///< most bytes of payload in a packet
    bool aggregate = false;      ///< H.264 parameter sets and messages in one packet
    bool timed = false;          ///< header extension with the playback time
    uint32_t playback_time = 0;  ///< seconds since 1970 at the first frame
    bool finish = false;         ///< a last packet that says that the playback has finished
};

/** What is to go wrong. The numbers without a unit are percentages of the packets, each packet's lot for itself. */
struct FaultOptions {
    double loss = 0;             ///< not sent
    uint32_t loss_burst = 1;     ///< packets lost at a time
    double reorder = 0;          ///< sent behind later ones
    uint32_t reorder_depth = 3;  ///< most packets that overtake it
    double duplicate = 0;        ///< sent twice
    double damage = 0;           ///< one to three bytes are changed
    double truncate = 0;         ///< cut short
    double garbage = 0;          ///< TCP: random bytes in front
    double false_length = 0;     ///< TCP: another length in the head
    uint32_t split = 0;          ///< TCP: most bytes in a write; 0 for whole packets
    uint32_t reset_after = 0;    ///< TCP: packets, then a reset; 0 for never
    uint32_t close_after = 0;    ///< TCP: packets, then half a packet and a close
    uint32_t stall_after = 0;    ///< packets, then nothing for a while
    double stall = 5;            ///< seconds of that while
    uint32_t seed = 1;           ///< the same seed makes the same faults
};

/** Codings of the pictures, in the order of the words of --codec. */
enum VideoKind { kH264, kH265, kJpeg };

/** What the user asked for. */
struct Options {
    std::string file;  ///< empty for the test picture
    std::vector<Destination> destinations;
    double seconds = 0;  ///< of the stream; 0 for all of it
    double fps = 0;      ///< 0: the file's own
    double speed = 1;    ///< of the clock
    bool fast = false;   ///< no clock: as fast as the sockets take it
    bool loop = false;   ///< begin again at the file's end
    uint32_t wait = 0;   ///< clients to wait for before the first frame
    double spread = 0;   ///< milliseconds over which the datagrams of a frame are spread
    std::string size = "640x360";
    int codec = kH264;         ///< VideoKind of the test picture
    uint32_t bit_rate = 2000;  ///< of the test picture, kbit/s
    uint32_t gop = 0;          ///< frames from key frame to key frame of the test picture; 0 for two seconds
    int audio = 0;             ///< AudioKind
    std::string audio_file;    ///< empty for a beep
    std::string listen;        ///< WAV file for what a client says; empty for none
    bool echo = false;         ///< what it says comes back as the camera's sound
    std::string analytics;     ///< JSON file of what is sent beside the pictures; empty for nothing
    std::string sdp;           ///< file for a description of the stream
    std::string krdf;          ///< a record to be written in place of sending; empty for none
    uint32_t krdf_unit = 0;    ///< groups in a unit of it; 0 for as many as find room

    bool scramble = false;      ///< with a key message for who holds the RSA key
    std::string rsa_key;        ///< PEM file of it
    std::string file_password;  ///< scramble with a key message for who knows the password; empty for none
    std::string watermark;      ///< text to mark key pictures with; empty for none
    PacketOptions packets;
    FaultOptions faults;
    bool quiet = false;
    bool help = false;
    bool version = false;
};

/** Codings of the sound, in the order of the words of --audio. */
enum AudioKind { kNoAudio, kG711u, kG711a, kAac };

/** Reads the command line. @return false with the failure filled when it makes no sense */
bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure);

/** Reads "udp://host:port" or "tcp://[host]:port", with "?ts" or "?rtp" behind. @return false with the failure filled
 */
bool ParseDestination(const std::string &text, Destination *destination, Failure *failure);

/** The text of --help. */
const char *HelpText();

}  // namespace zvcam

#endif
