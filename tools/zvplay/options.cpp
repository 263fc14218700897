#include "options.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

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

struct Flag {
    const char *name;
    bool Options::*field;
};
const Flag kFlags[] = {{"--headless", &Options::headless}, {"--fast", &Options::fast},       {"--mute", &Options::mute},
                       {"--help", &Options::help},         {"--version", &Options::version}, {"-h", &Options::help}};

struct Number {
    const char *name;
    double Options::*field;
    double most;
};
const Number kNumbers[] = {{"--seconds", &Options::seconds, 1e9}, {"--fps", &Options::fps, 1000}};

bool ReadNumber(const Number &number, const char *text, Options *options, Failure *failure) {
    char *end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value) || value <= 0 || value > number.most) {
        return Fail(failure, std::string(number.name) + " wants a number above 0, not '" + text + "'");
    }
    options->*number.field = value;
    return true;
}

/** An option with a value: false with an empty failure when `name` is none. */
bool ReadValue(const std::string &name, const char *value, Options *options, Failure *failure) {
    if (name == "--log") {
        options->log = value;
        return true;
    }
    if (name == "--stats") {
        options->json = std::strcmp(value, "json") == 0;
        return options->json || Fail(failure, std::string("--stats knows only json, not '") + value + "'");
    }
    for (const Number &number : kNumbers) {
        if (name == number.name) return ReadNumber(number, value, options, failure);
    }
    return false;
}

bool TakesValue(const std::string &name) {
    return name == "--log" || name == "--stats" || name == kNumbers[0].name || name == kNumbers[1].name;
}

bool ReadFlag(const std::string &name, Options *options) {
    for (const Flag &flag : kFlags) {
        if (name == flag.name) {
            options->*flag.field = true;
            return true;
        }
    }
    return false;
}

bool Check(const Options &options, Failure *failure) {
    if (options.help || options.version || !options.source.empty()) return true;
    return Fail(failure, "no source given", "name a file: zvplay camera.rtp; see zvplay --help");
}

}  // namespace

bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure) {
    bool only_names = false;  // behind "--"
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (!only_names && word == "--") {
            only_names = true;
            continue;
        }
        if (only_names || word.size() < 2 || word[0] != '-') {
            if (!options->source.empty()) return Fail(failure, "two sources: " + options->source + " and " + word);
            options->source = word;
            continue;
        }
        if (ReadFlag(word, options)) continue;
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        if (!TakesValue(name)) return Fail(failure, "unknown option " + word);
        if (equals == std::string::npos && i + 1 >= argc) return Fail(failure, name + " wants a value");
        const char *value = equals != std::string::npos ? argv[i] + equals + 1 : argv[++i];
        if (!ReadValue(name, value, options, failure)) return false;
    }
    return Check(*options, failure);
}

const char *HelpText() { return kHelp; }

}  // namespace zvplay
