#include "zvcam/options.h"

#include <charconv>
#include <ctime>

#include "common/command_line.h"
#include "zvcam/watermarker.h"

namespace zvcam {
namespace {

const char *const kCodecs[] = {"h264", "h265", "jpeg"};
const char *const kAudio[] = {"none", "g711u", "g711a", "aac"};
constexpr uint32_t kAuto = UINT32_MAX;

bool Fail(Failure *failure, const std::string &what, const std::string &advice) {
    *failure = {kExitUsage, what, advice};
    return false;
}

std::vector<tools::Option> Table(Options *o, std::string *playback_time) {
    using tools::Number;
    using tools::Whole;
    FaultOptions &f = o->faults;
    const auto percent = [](double *value) { return Number{value, 0, 100}; };
    return {
        {"--seconds", tools::Time{&o->seconds}},
        {"--fps", Number{&o->fps, 0.1, 1000}},
        {"--speed", Number{&o->speed, 0.01, 1000}},
        {"--fast", &o->fast},
        {"--loop", &o->loop},
        {"--wait", Whole{&o->wait, 0, 10000}},
        {"--spread", Number{&o->spread, 0, 10000}},
        {"--size", &o->size},
        {"--codec", tools::Choice{&o->codec, kCodecs}},
        {"--bit-rate", Whole{&o->bit_rate, 16, 200000}},
        {"--gop", Whole{&o->gop, 1, 10000}},
        {"--audio", tools::Choice{&o->audio, kAudio}},
        {"--audio-file", &o->audio_file},
        {"--listen", &o->listen},
        {"--echo", &o->echo},
        {"--analytics", &o->analytics},
        {"--sdp", &o->sdp},
        {"--scramble", &o->scramble},
        {"--rsa-key", &o->rsa_key},
        {"--scramble-file", &o->file_password},
        {"--watermark", &o->watermark},
        {"--krdf", &o->krdf},
        {"--unit-groups", Whole{&o->krdf_unit, 1, 16368}},
        {"--mtu", Whole{&o->packets.mtu, 64, 10000}},
        {"--aggregate", &o->packets.aggregate},
        {"--playback-time", playback_time},
        {"--finish", &o->packets.finish},
        {"--loss", percent(&f.loss)},
        {"--loss-burst", Whole{&f.loss_burst, 1, 10000}},
        {"--reorder", percent(&f.reorder)},
        {"--reorder-depth", Whole{&f.reorder_depth, 1, 1000}},
        {"--duplicate", percent(&f.duplicate)},
        {"--damage", percent(&f.damage)},
        {"--truncate", percent(&f.truncate)},
        {"--garbage", percent(&f.garbage)},
        {"--false-length", percent(&f.false_length)},
        {"--split", Whole{&f.split, 1, 1000000}},
        {"--reset-after", Whole{&f.reset_after, 1, kAuto}},
        {"--close-after", Whole{&f.close_after, 1, kAuto}},
        {"--stall-after", Whole{&f.stall_after, 1, kAuto}},
        {"--stall", Number{&f.stall, 0.001, 86400}},
        {"--seed", Whole{&f.seed, 0, kAuto}},
        {"--quiet", &o->quiet},
        {"--help", &o->help},
        {"-h", &o->help},
        {"--version", &o->version},
    };
}

bool TakeNames(const std::vector<std::string> &names, Options *options, Failure *failure) {
    for (const std::string &name : names) {
        if (name.find("://") != std::string::npos) {
            if (!ParseDestination(name, &options->destinations.emplace_back(), failure)) return false;
        } else if (options->file.empty()) {
            options->file = name;
        } else {
            return Fail(failure, "two files: " + options->file + " and " + name,
                        "a destination begins with udp:// or tcp://");
        }
    }
    return true;
}

bool TakePlaybackTime(const std::string &text, PacketOptions *packets, Failure *failure) {
    if (text.empty()) return true;
    packets->timed = true;
    if (text == "now") {
        packets->playback_time = static_cast<uint32_t>(std::time(nullptr));
        return true;
    }
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, packets->playback_time);
    if (error == std::errc() && at == end) return true;
    return Fail(failure, "--playback-time wants seconds since 1970, or now, and not '" + text + "'", "");
}

bool CheckSize(const std::string &text, Failure *failure) {
    unsigned width = 0, height = 0;
    const char *end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, width);
    const bool sized = first.ec == std::errc() && first.ptr != end && *first.ptr == 'x';
    const auto second = sized ? std::from_chars(first.ptr + 1, end, height) : first;
    if (sized && second.ec == std::errc() && second.ptr == end && width >= 32 && height >= 32 && width <= 8192 &&
        height <= 8192 && width % 2 == 0 && height % 2 == 0) {
        return true;
    }
    return Fail(failure, "--size wants WIDTHxHEIGHT, even numbers from 32 to 8192, not '" + text + "'", "");
}

/** Options that have no effect where they stand are an error: a test that does not do what it says is none. */
bool CheckTransports(const Options &options, Failure *failure) {
    bool tcp = false, udp = false, rtp = false;
    for (const Destination &destination : options.destinations) {
        tcp |= destination.tcp;
        udp |= !destination.tcp;
        rtp |= !destination.ts;
    }
    const FaultOptions &f = options.faults;
    const bool wants_tcp = f.garbage > 0 || f.false_length > 0 || f.split > 0 || f.reset_after > 0 || f.close_after > 0;
    if (wants_tcp && !tcp) {
        return Fail(failure, "--garbage, --false-length, --split, --reset-after and --close-after are faults of TCP",
                    "serve a tcp:// destination with them");
    }
    if (options.wait != kAuto && options.wait > 0 && !tcp) {
        return Fail(failure, "--wait waits for TCP clients, of whom none can come",
                    "serve a tcp:// destination with it");
    }
    if ((!options.listen.empty() || options.echo) && !tcp) {
        return Fail(failure, "--listen and --echo are for clients who talk over their TCP connection",
                    "serve a tcp:// destination with them");
    }
    if (options.echo && (!rtp || options.audio != kNoAudio)) {
        return Fail(failure, "--echo is the camera's sound, in RTP", "leave out --audio, and ?ts");
    }
    if (options.spread > 0 && !udp) {
        return Fail(failure, "--spread is for datagrams", "send to a udp:// destination with it");
    }
    if ((options.packets.timed || options.packets.finish || options.packets.aggregate) && !rtp) {
        return Fail(failure, "--playback-time, --finish and --aggregate belong to RTP",
                    "take ?ts off the destination, or leave them out");
    }
    return true;
}

bool CheckProtection(const Options &options, Failure *failure) {
    if (options.scramble == options.rsa_key.empty()) {
        return Fail(failure, "--scramble and --rsa-key PEM belong together",
                    "make a key with 'openssl genrsa -out key.pem 1024', and give it to zvplay --rsa-key too");
    }
    if (options.watermark.size() > kMostMarkText) {
        return Fail(failure, "--watermark has " + std::to_string(options.watermark.size()) + " characters",
                    "256 are the most");
    }
    return true;
}

/** A record is written, not sent: what belongs to sending has no place beside it. */
bool CheckRecord(const Options &options, Failure *failure) {
    if (options.krdf.empty()) {
        if (options.codec == kJpeg || options.krdf_unit != 0) {
            return Fail(failure, "--codec jpeg and --unit-groups are for records", "add --krdf FILE");
        }
        return true;
    }
    if (!options.destinations.empty() || !options.sdp.empty() || options.packets.finish || options.packets.aggregate) {
        return Fail(failure, "--krdf writes a record and sends nothing", "leave out the destination and its options");
    }
    if (options.audio == kAac) return Fail(failure, "a record holds G.711", "add --audio g711u or g711a");
    return true;
}

bool Check(const Options &options, Failure *failure) {
    if (!CheckRecord(options, failure)) return false;
    if (options.destinations.empty() && options.krdf.empty()) {
        return Fail(failure, "no destination given", "name one: zvcam udp://127.0.0.1:5004; see zvcam --help");
    }
    if (!options.audio_file.empty() && options.audio == kNoAudio) {
        return Fail(failure, "--audio-file needs its coding", "add --audio g711u, g711a or aac");
    }
    const Options usual;
    const bool gop = options.gop != usual.gop && options.krdf.empty();  // of a record it cuts JPEG into groups
    const bool shaped =
        options.size != usual.size || options.codec != usual.codec || options.bit_rate != usual.bit_rate || gop;
    if (shaped && !options.file.empty()) {
        return Fail(
            failure,
            "--size, --codec, --bit-rate and --gop are the test picture's, and " + options.file + " is sent instead",
            "leave out the one or the other");
    }
    return CheckSize(options.size, failure) && CheckProtection(options, failure) &&
           (!options.krdf.empty() || CheckTransports(options, failure));
}

}  // namespace

bool ParseDestination(const std::string &text, Destination *destination, Failure *failure) {
    const char *const advice = "a destination is udp://HOST:PORT or tcp://[HOST]:PORT, with ?ts behind for MPEG-TS";
    *destination = {};
    destination->text = text;
    destination->tcp = text.starts_with("tcp://");
    if (!destination->tcp && !text.starts_with("udp://")) return Fail(failure, text + ": unknown kind", advice);
    std::string rest = text.substr(6);
    const size_t question = rest.find('?');
    const std::string format = question == std::string::npos ? "rtp" : rest.substr(question + 1);
    destination->ts = format == "ts";
    if (format != "ts" && format != "rtp") return Fail(failure, text + ": unknown format '" + format + "'", advice);
    rest = rest.substr(0, question);
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos) return Fail(failure, text + ": the port is missing", advice);
    destination->host = rest.substr(0, colon);
    destination->port = rest.substr(colon + 1);
    if (destination->host.starts_with('[') && destination->host.ends_with(']')) {  // RFC 3986, 3.2.2
        destination->host = destination->host.substr(1, destination->host.size() - 2);
    }
    if (destination->host.empty() && !destination->tcp) return Fail(failure, text + ": the host is missing", advice);
    uint16_t port = 0;
    const char *end = destination->port.data() + destination->port.size();
    const auto [at, error] = std::from_chars(destination->port.data(), end, port);
    if (error != std::errc() || at != end || (port == 0 && !destination->tcp)) {
        return Fail(failure, text + ": '" + destination->port + "' is no port", advice);
    }
    return true;
}

bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure) {
    std::vector<std::string> names;
    std::string playback_time;
    options->wait = kAuto;
    if (!tools::ParseCommandLine(argc, argv, Table(options, &playback_time), &names, failure)) return false;
    if (options->help || options->version) return true;
    if (!TakeNames(names, options, failure) || !TakePlaybackTime(playback_time, &options->packets, failure) ||
        !Check(*options, failure)) {
        return false;
    }
    if (options->wait == kAuto) {  // a camera for clients alone has nothing to do before the first one
        options->wait = 1;
        for (const Destination &destination : options->destinations) options->wait &= destination.tcp;
    }
    return true;
}

}  // namespace zvcam
