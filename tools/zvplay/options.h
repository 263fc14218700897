/** The command line of zvplay. */
#ifndef ZVPLAY_OPTIONS_H
#define ZVPLAY_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/rtsp_text.h"
#include "failure.h"
#include "speed.h"

namespace zvplay {

/** What the user asked for. */
struct Options {
    std::string source;        ///< file, folder, printf pattern or address
    tools::RtspUrl rtsp;       ///< the source taken apart, if it is an RTSP address; `source` has no login then
    bool rtsp_udp = false;     ///< take its packets by UDP instead of on its connection
    bool reconnect = true;     ///< RTSP: connect again when the stream stops
    std::string talk;          ///< what is said to the camera: a file, "-" or "mic"; empty for nothing
    std::vector<std::string> listeners;  ///< addresses of further cameras that hear it
    double seconds = 0;        ///< stop after so much of the stream; 0 plays it all
    double fps = 0;            ///< frame rate of sources without timestamps; 0 takes the stream's own, or 25
    double start = 0;          ///< files: seconds to begin at
    int speed = kNormalSpeed;  ///< files: index into kSpeeds
    bool loop = false;         ///< files: begin again at the end
    std::string cache;         ///< cloud: folder of the cache; empty for no cloud recording
    uint32_t cache_limit = 0;  ///< cloud: MB; 0 for the library's own
    uint32_t at = 0;           ///< cloud: Unix time to begin at; 0 for the beginning
    std::vector<std::string> more;  ///< cloud: playlists behind the first
    std::string record;        ///< file to record into from the beginning; empty for none
    int format = -1;           ///< index into kRecordFormats; -1 takes it from the name
    uint32_t split_size = 0;   ///< MB after which a recording goes on in the next file; 0 for the library's own limit
    uint32_t split_time = 0;   ///< minutes, likewise; 0 for none
    std::string snapshot;      ///< file for the last picture; empty for none
    std::string rsa_key;       ///< PEM file of the key that opens scrambled streams; empty for none
    std::string password;      ///< opens scrambled recordings; empty for none
    std::string log;           ///< file for the library's log; empty for none
    bool headless = false;     ///< no window, no sound
    bool json = false;         ///< one JSON line a second instead of the live line
    bool fast = false;         ///< as fast as the library takes it, instead of at the stream's pace
    bool analytics = false;    ///< start with rules and boxes over the picture
    bool mute = false;         ///< start without sound
    bool help = false;         ///< print the help and leave
    bool version = false;      ///< print the library's version and leave
};

/**
 * Reads the command line.
 * @return false, with the failure filled, when it makes no sense
 */
bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure);

/** The text of --help. */
const char *HelpText();

}  // namespace zvplay

#endif
