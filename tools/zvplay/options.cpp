#include "options.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "common/command_line.h"
#include "common/wall_time.h"
#include "record_format.h"
#include "rtsp_login.h"

namespace zvplay {
namespace {

const char kHelp[] =
    R"(zvplay - plays cameras, recordings and captured data through the Zelvane library

usage: zvplay [option...] SOURCE

SOURCE is one of
  rtsp://[USER[:PASSWORD]@]HOST[:PORT]/PATH   an ordinary camera or server: H.264, H.265, JPEG, G.711, AAC
  udp://:PORT        RTP or MPEG-TS in datagrams that arrive at the port; udp://LOCAL:PORT takes one local address
  tcp://HOST:PORT    a server of RTP packets behind "$" heads, or of MPEG-TS so framed: tcp://HOST:PORT?ts
  FILE.mp4 FILE.ts   a recording; TS of recorders and of any other muxer, .m2ts too
  FILE.avi           a recording of H.264, H.265 or JPEG; one that was not finished plays after zvprobe --repair
  FILE.krdf          a record of this platform's devices; it does not go back to its start, only to its second 1
  FILE.m3u8 or -     a cloud recording: its playlist, from a file or standard input, with --cache; more playlists may
                     follow, and a file that changes is read again
  FILE.rtp           RTP capture: a 16-bit big-endian length and a packet, repeated
  FILE.264 FILE.265  H.264 or H.265 as an encoder writes it (Annex B)
  FILE.mjpeg         JPEG pictures one after the other
  FILE.jpg           one picture, shown until you quit
  FOLDER             the .jpg files in it, by name
  img%03d.jpg        the numbered pictures, from 0 or 1 on
A file with another ending is recognised by its first bytes.

options
  --rtsp udp     rtsp://: packets by UDP; default tcp, on the connection itself
  --password-file FILE  rtsp://: the password is the file's first line; or it stands in ZVPLAY_RTSP_PASSWORD
  --reconnect no  rtsp://: end when the stream does; default yes: connect again, at ever longer intervals
  --seconds N    stop after N seconds of the stream
  --start T      recordings: begin at T, seconds or 1:30, at the key frame behind it
  --speed NAME   recordings: 0.25 0.5 1 2 4 8 16, from 4 on with key frames only; or 2-key 4-key 8-key 16-key, which
                 show each key frame for a part of the distance of two
  --loop         recordings: begin again at the end
  --cache DIR    cloud recordings: folder for the segments; the oldest files in it go when it outgrows its limit
  --cache-limit MB  that limit, 100 or more; default 500
  --at TIME      cloud recordings: begin at 2020-01-02T03:04:05, local time or with a Z, or at a Unix time
  --fps N        frame rate for .264, .265 and JPEG; default the stream's own, or 25
  --headless     no window and no sound: decode and report
  --fast         as fast as the machine decodes, instead of at the stream's pace; recordings: with --headless only
  --mute         start without sound
  --analytics    draw the rules and boxes that the camera sends over the picture
  --stats json   a line a second on standard output: time, length, speed, frames, pictures, rate, bit_rate, lost ...
  --record FILE  record the stream without decoding it; the end of the name chooses the kind unless --format does
  --format NAME  mp4 ts avi; with -time behind it the time stands in the name, with -stream-time that of the stream;
                 with -audio it is sound alone: mp4-time, ts-stream-time, avi-audio ...
  --split-size N, --split-time N   go on in a new file after N MB (10 to 4000), N minutes (1 to 60)
  --snapshot FILE  save the last picture, as FILE.jpg, or FILE.bmp if named so
  --talk SOUND   say something to a camera at tcp://HOST:PORT, or to many: a WAV file, a file or - for standard input
                 with raw PCM (16 bits, 8000 Hz, mono), or mic. The first camera is shown; what it says is heard as ever
  --rsa-key PEM, --password TEXT   show scrambled streams and recordings clear: the camera's private key, the password
  --log FILE     write the library's log to FILE
  --version      print the library's version
  --help         print this

keys in the window
  space p  pause and go on      f      keep the picture's proportion, or fill the window
  m        sound off and on     q ESC  quit
  r        record, or stop       s      save the picture
  t        talk, or fall silent: with --talk (a microphone in a window begins silent)
  a        rules and boxes off and on
and of recordings
  right left  5 seconds on, back     [ ]        slower, faster
  up down     60 seconds on, back    backspace  normal speed
  home        to the beginning       k          key frames only, or all
  .           one picture on         l          begin again at the end, or not
A seek goes to the next key frame behind the place; pressed again within a second it counts from there. Cloud recordings
know the seeks and speeds from 0.25 to 4, all with every picture.

An RTSP stream that stops plays on when it comes back; the status line tells: connecting, playing, stale since N s,
reconnecting. A server that refuses from the beginning ends it at once, with exit code 2.

exit codes
  0 played   1 wrong command line   2 source   3 no display   4 library, or the report   5 no picture came out   6 not recorded or saved
)";

bool Fail(Failure *failure, const std::string &what, const char *advice = "see zvplay --help") {
    *failure = {kExitUsage, what, advice};
    return false;
}

bool IsPlaylist(const std::string &name) {
    const std::string ending = ".m3u8";
    return name == "-" || (name.size() > ending.size() && name.substr(name.size() - ending.size()) == ending);
}

/** What belongs to a cloud recording, which --cache makes of the source. */
bool TakeCloud(const std::string &at, const std::vector<std::string> &names, Options *options, Failure *failure) {
    if (options->cache.empty()) {
        if (!at.empty() || options->cache_limit != 0) return Fail(failure, "--at and --cache-limit need --cache");
        if (!names.empty() && IsPlaylist(names[0])) return Fail(failure, "a playlist needs --cache DIR");
        return true;
    }
    if (!options->talk.empty()) return Fail(failure, "--talk and --cache exclude each other");
    if (options->cache.find('/') == std::string::npos) options->cache = "./" + options->cache;
    if (!names.empty()) options->more.assign(names.begin() + 1, names.end());
    return at.empty() || tools::ParseWallTime(at, &options->at) || Fail(failure, "--at: " + at + " is no time");
}

}  // namespace

bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure) {
    static const char *const kStats[] = {"none", "json"};
    const char *speeds[kSpeedCount];
    std::transform(std::begin(kSpeeds), std::end(kSpeeds), speeds, [](const Speed &speed) { return speed.name; });
    static const char *const kTransports[] = {"tcp", "udp"};
    static const char *const kYesNo[] = {"yes", "no"};
    int stats = 0, transport = 0, reconnect = 0;
    std::string at, password_file;
    const char *formats[kRecordFormatCount];
    std::transform(std::begin(kRecordFormats), std::end(kRecordFormats), formats,
                   [](const RecordFormat &format) { return format.name; });
    const tools::Option table[] = {
        {"--start", tools::Time{&options->start}},
        {"--speed", tools::Choice{&options->speed, speeds}},
        {"--loop", &options->loop},
        {"--headless", &options->headless},
        {"--fast", &options->fast},
        {"--mute", &options->mute},
        {"--analytics", &options->analytics},
        {"--help", &options->help},
        {"-h", &options->help},
        {"--version", &options->version},
        {"--seconds", tools::Number{&options->seconds, 0.001, 1e9}},
        {"--cache", &options->cache},
        {"--rtsp", tools::Choice{&transport, kTransports}},
        {"--password-file", &password_file},
        {"--reconnect", tools::Choice{&reconnect, kYesNo}},
        {"--cache-limit", tools::Whole{&options->cache_limit, 100, 1000000}},
        {"--at", &at},
        {"--fps", tools::Number{&options->fps, 0.001, 1000}},
        {"--stats", tools::Choice{&stats, kStats}},
        {"--record", &options->record},
        {"--format", tools::Choice{&options->format, formats}},
        {"--split-size", tools::Whole{&options->split_size, 10, 4000}},
        {"--split-time", tools::Whole{&options->split_time, 1, 60}},
        {"--snapshot", &options->snapshot},
        {"--talk", &options->talk},
        {"--rsa-key", &options->rsa_key},
        {"--password", &options->password},
        {"--log", &options->log},
    };
    std::vector<std::string> names;
    if (!tools::ParseCommandLine(argc, argv, table, &names, failure)) return false;
    options->json = stats == 1;
    options->rtsp_udp = transport == 1;
    options->reconnect = reconnect == 0;
    if (options->split_size != 0 && options->split_time != 0) {
        return Fail(failure, "--split-size and --split-time exclude each other");
    }
    if (names.size() > 1 && !options->talk.empty()) options->listeners.assign(names.begin() + 1, names.end());
    if (!names.empty()) options->source = names[0];
    if (tools::IsRtsp(options->source)) {
        if (!options->talk.empty() || !options->cache.empty()) {
            return Fail(failure, "--talk and --cache are not for rtsp://");
        }
        if (!TakeLogin(options->source, password_file, &options->rtsp, failure)) return false;
        options->source = names[0] = options->rtsp.url;
    } else if (!password_file.empty() || transport == 1) {
        return Fail(failure, "--rtsp and --password-file are for rtsp:// addresses");
    }
    if (!TakeCloud(at, names, options, failure)) return false;
    if (names.size() > 1 && options->talk.empty() && options->cache.empty()) {
        return Fail(failure, "two sources: " + tools::WithoutLogin(names[0]) + " and " + tools::WithoutLogin(names[1]));
    }
    if (options->help || options->version || !options->source.empty()) return true;
    return Fail(failure, "no source given", "name one: zvplay recording.mp4; see zvplay --help");
}

const char *HelpText() { return kHelp; }

}  // namespace zvplay
