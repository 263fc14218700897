#include "status.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "common/json_text.h"
#include "log_file.h"

namespace zvplay {
namespace {

__attribute__((format(printf, 1, 2))) std::string Format(const char *format, ...) {
    char text[256];
    va_list list;
    va_start(list, format);
    std::vsnprintf(text, sizeof text, format, list);
    va_end(list);
    return text;
}

std::string Time(double seconds) {
    const unsigned whole = static_cast<unsigned>(seconds);
    return Format("%02u:%02u.%u", whole / 60, whole % 60, static_cast<unsigned>(seconds * 10) % 10);
}

std::string BitRate(int32_t bits) {
    return bits >= 1000000 ? Format("%.1f Mbit/s", bits / 1e6) : Format("%.0f kbit/s", bits / 1e3);
}

/** "1920x1080 H.264", or what is known of it. */
std::string Picture(const Figures &figures) {
    if (figures.width == 0) return *figures.video != '\0' ? figures.video : "no picture yet";
    return Format("%dx%d %s", figures.width, figures.height, figures.video);
}

/** " / 00:10.0  32%" of a recording. */
std::string Length(const PlayState &state) {
    if (!state.recording) return "";
    const double part = state.length > 0 ? std::min(1.0, state.position / state.length) : 0;
    return " / " + Time(state.length) + Format("  %.0f%%", part * 100);
}

/** "  talk [####      ] 3 dropped" while it goes on. */
std::string TalkText(const TalkState &talk) {
    if (!talk.there || !talk.on) return talk.ended ? "  talk ended" : talk.there ? "  talk off" : "";
    std::string text = "  TALK [" + std::string(static_cast<size_t>(talk.level + 9) / 10, '#');
    text.resize(std::string("  TALK [").size() + 10, ' ');
    return text + "]" + (talk.dropped > 0 ? Format(" %u dropped", talk.dropped) : "");
}

/** The members of a line of JSON that tell of the talk. */
std::string TalkJson(const TalkState &talk) {
    if (!talk.there) return "";
    return Format("\"talk\": \"%s\", \"talk_level\": %d, \"talk_blocks\": %u, \"talk_dropped\": %u, ",
                  talk.ended ? "ended" : talk.on ? "on" : "off", talk.level, talk.sent, talk.dropped);
}

std::string TextOrNull(const std::string &text) { return text.empty() ? "null" : tools::JsonText(text); }

/** The members of a line of JSON that tell of recordings and of what the library does not take. */
std::string RecordJson(const PlayState &state) {
    const char *record = state.record.empty() ? "off" : state.record == "REC" ? "on" : "failed";
    return Format("\"record\": \"%s\", \"recorded_files\": %u, ", record, state.recorded_files) +
           "\"recorded\": " + TextOrNull(state.recorded) + ", \"not_taken\": " + TextOrNull(NotTaken()) + ", ";
}

/** "PAUSED  REC  ": what must not be missed stands first, however narrow the terminal is. */
std::string Alarm(const PlayState &state) {
    return (state.paused ? "PAUSED  " : "") + (state.record.empty() ? "" : state.record + "  ");
}

/** "  NOT TAKEN: what", of a stream that is black or silent for it. */
std::string Missing() {
    const std::string form = NotTaken();
    return form.empty() ? "" : "  NOT TAKEN: " + form;
}

/** "  12 of 40 fetched  cache 120 MB" of a cloud recording. */
std::string Fetched(const CloudState &cloud) {
    if (cloud.date.empty()) return "";
    return Format("  %u of %u fetched  cache %.0f MB", cloud.fetched, cloud.segments, cloud.cache_bytes / 1048576.0);
}

/** The members of a line of JSON that only a cloud recording has. */
std::string CloudJson(const CloudState &cloud) {
    if (cloud.date.empty()) return "";
    return "\"date\": \"" + cloud.date +
           Format("\", \"segments\": %u, \"fetched\": %u, \"cache_bytes\": %llu, \"message\": %u, ", cloud.segments,
                  cloud.fetched, static_cast<unsigned long long>(cloud.cache_bytes), cloud.message) +
           "\"message_text\": \"" + cloud.message_text + "\", ";
}

/** The members of a line of JSON that only a stream has that is kept up. */
std::string LiveJson(const PlayState &state) {
    if (state.live.empty()) return "";
    return "\"state\": \"" + state.live_word + Format("\", \"reconnects\": %u, ", state.reconnects);
}

size_t TerminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

Status::Status(const Options &options) : options_(options), live_(!options.json && isatty(STDOUT_FILENO) == 1) {}

std::string Status::Mode(const PlayState &state) {
    std::string mode;
    if (!state.live.empty()) mode += "  " + state.live;
    if (state.waiting) mode += "  waiting for data";
    if (state.recording && state.speed != kNormalSpeed) mode += std::string("  ") + kSpeeds[state.speed].shown;
    if (state.loop) mode += "  loop";
    if (state.analytics) mode += "  analytics";
    if (state.paused) mode += "  PAUSED";
    if (state.talk.on) mode += "  TALK";
    if (!state.refusal.empty()) mode += "  (" + state.refusal + ")";
    if (!state.record.empty()) mode += "  " + state.record;
    return mode + state.capture;
}

void Status::Flush() {
    if (std::fflush(stdout) != 0 && errno == EPIPE) unheard_ = true;
}

void Status::Live(const Figures &figures, const PlayState &state) {
    most_lost_ = std::max(most_lost_, figures.lost);
    if (!live_) return;
    if (state.position >= position_ + 1) {
        pictures_a_second_ = (figures.pictures - pictures_) / (state.position - position_);
        pictures_ = figures.pictures;
        position_ = state.position;
    }
    const std::string position = state.cloud.date.empty() ? Time(state.position) : state.cloud.date;
    std::string line = Alarm(state) + position + Length(state) + Missing() + Fetched(state.cloud) + "  " + Picture(figures) +
                       Format("  %.0f of %d fps  ", pictures_a_second_, figures.rate) + BitRate(figures.bit_rate) +
                       (state.recording ? "" : Format("  queue %.0f%%  lost %d", figures.fill * 100, figures.lost));
    if (figures.sounds > 0) {
        const char *sound = !state.sound ? " off" : SoundFailed() ? " without a device" : "";
        line += std::string("  ") + (*figures.audio != '\0' ? figures.audio : "sound") + sound;
    }
    if (state.recording && state.speed == kNormalSpeed) line += "  1x";
    PlayState still = state;
    still.talk.on = still.paused = false;  // they have words of their own here, as recordings have
    still.record.clear();
    line += TalkText(state.talk) + Mode(still);
    if (!state.refusal.empty()) line = Alarm(state) + Time(state.position) + Length(state) + "  " + state.refusal;
    line.resize(std::min(line.size(), TerminalWidth() - 1));
    std::printf("\r%s\033[K", line.c_str());
    Flush();
    dirty_ = true;
}

void Status::Json(const Figures &figures, const PlayState &state, bool end) {
    const std::string length = state.recording ? Format("%.0f", state.length) : "null";
    std::printf(
        "{\"time\": %.2f, %s\"length\": %s, \"speed\": \"%s\", \"loop\": %s, \"frames\": %u, \"pictures\": %u, \"rate\": "
        "%d, \"bit_rate\": %d, \"packets\": %d, "
        "\"lost\": %d, \"queue_fill\": %.4f, \"sounds\": %u, \"width\": %d, \"height\": %d, \"video\": \"%s\", "
        "\"audio\": \"%s\", %s%s\"sound\": %s, \"paused\": %s, \"refused\": %s, \"not_descrambled\": %u, \"analytics\": %s, "
        "\"analytics_records\": %u, \"end\": %s}\n",
        state.position, (CloudJson(state.cloud) + LiveJson(state)).c_str(), length.c_str(), kSpeeds[state.speed].name, state.loop ? "true" : "false", figures.frames,
        figures.pictures, figures.rate, figures.bit_rate, figures.packets, figures.lost, figures.fill, figures.sounds,
        figures.width, figures.height, figures.video, figures.audio, TalkJson(state.talk).c_str(), RecordJson(state).c_str(),
        state.sound ? "true" : "false", state.paused ? "true" : "false", state.refusal.empty() ? "false" : "true",
        NotDescrambled(), state.analytics ? "true" : "false", figures.records, end ? "true" : "false");
    Flush();
}

void Status::Second(const Figures &figures, const PlayState &state) {
    if (options_.json) Json(figures, state, false);
}

void Status::Note(const std::string &text) {
    std::fprintf(stderr, "%szvplay: %s\n", dirty_ ? "\r\033[K" : "", text.c_str());
    dirty_ = false;
}

void Status::Report(const Figures &figures, const PlayState &state, const std::string &saved,
                    const std::string &remark) {
    if (options_.json) {
        Json(figures, state, true);
    } else {
        const std::string sound = figures.sounds > 0 ? Format(", %u sound frames", figures.sounds) : "";
        const std::string talk = state.talk.there ? Format(", %u blocks said", state.talk.sent) : "";
        std::printf("%splayed %.1f s of %s: %s, %u frames, %u pictures%s%s%s\n", dirty_ ? "\r\033[K" : "", state.played,
                    options_.source.c_str(), Picture(figures).c_str(), figures.frames, figures.pictures, sound.c_str(),
                    talk.c_str(), most_lost_ > 0 ? ", with losses" : ", nothing lost");
    }
    if (!options_.json && !saved.empty()) std::printf("%s\n", saved.c_str());
    std::fflush(stdout);
    if (!remark.empty()) std::fprintf(stderr, "zvplay: note: %s\n", remark.c_str());
    if (state.talk.dropped > 0) {
        std::fprintf(stderr, "zvplay: note: %u blocks of talk found no way to a camera\n", state.talk.dropped);
    }
    if (const std::string form = NotTaken(); !form.empty()) {
        std::fprintf(stderr, "zvplay: note: the library does not take %s\n", form.c_str());
    }
    if (figures.decode_failures > 0) std::fprintf(stderr, "zvplay: note: the decoder gave up on pictures\n");
    if (NotDescrambled() > 0) {
        std::fprintf(stderr, "zvplay: note: %u frames could not be descrambled, nor what leans on them\n",
                     NotDescrambled());
    }
    if (state.sound && figures.sounds > 0 && SoundFailed()) {
        std::fprintf(stderr, "zvplay: note: no sound device could be opened; the sound was left out\n");
    }
}

}  // namespace zvplay
