#include "zvcloud/options.h"

#include <ctime>
#include <vector>

#include "common/command_line.h"
#include "common/wall_time.h"

namespace zvcloud {
namespace {

const char kHelp[] =
    R"(zvcloud - makes a cloud recording for demonstrations and tests, and what it takes to serve it

usage: zvcloud [option...] FOLDER

Fills the folder, which is made, with
  www/rec/seg*.ts  segments of MPEG-TS as this platform's devices write it
  recording.m3u8   the playlist, with an absolute time for each segment: zvplay --cache DIR FOLDER/recording.m3u8
  nginx.conf       a server of it on ports 80 and 443: nginx -p FOLDER -c nginx.conf
  server.pem       its certificate, made on the spot and signed by ca.pem
and prints the server's configuration.

options
  --from FILE      the pictures: a TS recording, which is cut as it is, or .264 .265; default a test picture
  --seconds N      length; default 60
  --segment N      seconds of a segment at least, which ends in front of a key frame; default 5
  --start TIME     time of the first picture: 2020-01-02T03:04:05, with Z behind it that of Greenwich, or Unix seconds;
                   default the present less the length
  --size WxH --bit-rate N   of the test picture; default 640x360, 2000 kbit/s
  --https          the playlist's URLs are of HTTPS
  --host NAME      server in the URLs; default 127.0.0.1
  --query TEXT     put behind each URL, such as token=1
  --help           print this

exit codes
  0 made   1 wrong command line   2 source   4 the folder can't be written to, or openssl failed
)";

bool Fail(Failure *failure, const std::string &what) {
    *failure = {kExitUsage, what, "see zvcloud --help"};
    return false;
}

}  // namespace

bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure) {
    std::string start;
    const tools::Option table[] = {
        {"--from", &options->file},
        {"--seconds", tools::Number{&options->seconds, 1, 86400}},
        {"--segment", tools::Whole{&options->segment, 1, 3600}},
        {"--start", &start},
        {"--size", &options->size},
        {"--bit-rate", tools::Whole{&options->bit_rate, 16, 200000}},
        {"--https", &options->https},
        {"--host", &options->host},
        {"--query", &options->query},
        {"--help", &options->help},
        {"-h", &options->help},
    };
    std::vector<std::string> names;
    if (!tools::ParseCommandLine(argc, argv, table, &names, failure)) return false;
    if (options->help) return true;
    if (names.size() != 1) return Fail(failure, names.empty() ? "no folder given" : "more than one folder");
    options->folder = names[0];
    options->start = static_cast<uint32_t>(std::time(nullptr) - static_cast<std::time_t>(options->seconds));
    if (!start.empty() && !tools::ParseWallTime(start, &options->start)) {
        return Fail(failure, "--start: " + start + " is no time");
    }
    return true;
}

const char *HelpText() { return kHelp; }

}  // namespace zvcloud
