#include "options.h"

#include <string>
#include <vector>

#include "common/command_line.h"

namespace zvplay {
namespace {

const char kHelp[] =
    R"(zvplay - plays a file of pushed data through the Zelvane library

usage: zvplay [option...] SOURCE

SOURCE is one of
  FILE.rtp           RTP capture: a 16-bit big-endian length and a packet, repeated
  FILE.264 FILE.265  H.264 or H.265 as an encoder writes it (Annex B)
  FILE.ts            MPEG-TS of cameras and recorders whose frames end with the transport priority bit
  FILE.mjpeg         JPEG pictures one after the other
  FILE.jpg           one picture, shown until you quit
  FOLDER             the .jpg files in it, by name
  img%03d.jpg        the numbered pictures, from 0 or 1 on
A file with another ending is recognised by its first bytes.

options
  --seconds N    stop after N seconds of the stream
  --fps N        frame rate for .264, .265 and JPEG; default the stream's own, or 25
  --headless     no window and no sound: decode and report
  --fast         as fast as the machine decodes, instead of at the stream's pace
  --mute         start without sound
  --stats json   a line a second on standard output: frames, pictures, rate, bit_rate, lost, queue_fill ...
  --log FILE     write the library's log to FILE
  --version      print the library's version
  --help         print this

keys in the window
  space  pause and go on        f  keep the picture's proportion, or fill the window
  m      sound off and on       q  quit

exit codes
  0 played   1 wrong command line   2 source   3 no display   4 library   5 no picture came out
)";

bool Fail(Failure *failure, const std::string &what, const char *advice = "see zvplay --help") {
    *failure = {kExitUsage, what, advice};
    return false;
}

}  // namespace

bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure) {
    static const char *const kStats[] = {"none", "json"};
    int stats = 0;
    const tools::Option table[] = {
        {"--headless", &options->headless},
        {"--fast", &options->fast},
        {"--mute", &options->mute},
        {"--help", &options->help},
        {"-h", &options->help},
        {"--version", &options->version},
        {"--seconds", tools::Number{&options->seconds, 0.001, 1e9}},
        {"--fps", tools::Number{&options->fps, 0.001, 1000}},
        {"--stats", tools::Choice{&stats, kStats}},
        {"--log", &options->log},
    };
    std::vector<std::string> names;
    if (!tools::ParseCommandLine(argc, argv, table, &names, failure)) return false;
    options->json = stats == 1;
    if (names.size() > 1) return Fail(failure, "two sources: " + names[0] + " and " + names[1]);
    if (!names.empty()) options->source = names[0];
    if (options->help || options->version || !options->source.empty()) return true;
    return Fail(failure, "no source given", "name a file: zvplay camera.rtp; see zvplay --help");
}

const char *HelpText() { return kHelp; }

}  // namespace zvplay
