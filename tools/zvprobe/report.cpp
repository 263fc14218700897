#include "report.h"

#include <cstdarg>
#include <cstdio>

#include "common/json_text.h"

namespace zvprobe {
namespace {

using tools::JsonText;

const char *const kKindNames[kKinds] = {"key", "i", "sp", "p", "b", "unknown"};

__attribute__((format(printf, 1, 2))) std::string Format(const char *format, ...) {
    char text[160];
    va_list list;
    va_start(list, format);
    std::vsnprintf(text, sizeof text, format, list);
    va_end(list);
    return text;
}

std::string Count(uint64_t count) { return std::to_string(count); }

/** Bytes of a text that are printed as they are: names and words from files must not steer a terminal. */
bool IsPlain(unsigned char c) { return c >= 0x20 && c != 0x7F; }

std::string Printable(const std::string &text) {
    std::string out;
    for (const unsigned char c : text) out += IsPlain(c) ? static_cast<char>(c) : '?';
    return out;
}

double BitRate(uint64_t bytes, double seconds) { return seconds > 0 ? static_cast<double>(bytes) * 8 / seconds : 0; }

double KeyMean(const VideoReport &video) {
    return video.kinds[kKey] > 0 ? static_cast<double>(video.frames) / static_cast<double>(video.kinds[kKey]) : 0;
}

std::string Size(uint64_t bytes) {
    const double kib = static_cast<double>(bytes) / 1024;
    if (bytes < 10000) return Format("%u bytes", static_cast<unsigned>(bytes));
    return kib < 10000 ? Format("%.1f KiB", kib) : Format("%.1f MiB", kib / 1024);
}

std::string KeyDistance(const VideoReport &video) {
    if (video.key_most == 0) return "";
    const bool even = video.key_most == video.key_least;
    std::string text = ", a key frame every " + Count(video.key_least);
    if (!even) text += " to " + Count(video.key_most);
    text += video.key_most == 1 ? " frame" : " frames";
    if (video.rate <= 0) return text;
    return text + Format(even ? " (%.2f s)" : " (at most %.2f s)", static_cast<double>(video.key_most) / video.rate);
}

void PrintVideo(const VideoReport &video) {
    static const char *const kWords[kKinds] = {"key", "I", "SP", "P", "B", "unknown"};
    std::printf("  video   %s %dx%d, %.2f fps, %s frames, %.2f s, %.0f kbit/s\n", Printable(video.codec).c_str(),
                video.width, video.height, video.rate, Count(video.frames).c_str(), video.duration,
                BitRate(video.bytes, video.duration) / 1000);
    std::string kinds;
    for (int kind = 0; kind < kKinds; ++kind) {
        if (video.kinds[kind] > 0) kinds += (kinds.empty() ? "" : ", ") + Count(video.kinds[kind]) + ' ' + kWords[kind];
    }
    if (!kinds.empty()) std::printf("          %s%s\n", kinds.c_str(), KeyDistance(video).c_str());
}

void PrintAudio(const AudioReport &audio) {
    std::printf("  audio   %s %u Hz, %u channel%s, %s frames, %.2f s, %.0f kbit/s\n", Printable(audio.codec).c_str(),
                audio.sample_rate, audio.channels, audio.channels == 1 ? "" : "s", Count(audio.frames).c_str(),
                audio.duration, BitRate(audio.bytes, audio.duration) / 1000);
}

void PrintRecord(const RecordReport &record) {
    std::printf("  record  %u unit%s, %u group%s, %u damaged, from %s to %s\n", record.units,
                record.units == 1 ? "" : "s", record.groups, record.groups == 1 ? "" : "s", record.damaged,
                record.begin.c_str(), record.end.c_str());
}

void PrintProblem(const Problem &problem) {
    std::string where;
    const auto add = [&where](const std::string &text) { where += (where.empty() ? " (" : ", ") + text; };
    if (problem.place.byte >= 0) add("byte " + std::to_string(problem.place.byte));
    if (problem.place.time >= 0) add(Format("%.2f s", problem.place.time));
    if (problem.count > 1) add("the first of " + Count(problem.count));
    std::printf("  problem %s: %s%s\n", problem.code.c_str(), Printable(problem.text).c_str(),
                where.empty() ? "" : (where + ")").c_str());
}

std::string JsonVideo(const VideoReport &video) {
    if (video.codec.empty()) return "null";
    std::string kinds;
    for (int kind = 0; kind < kKinds; ++kind) {
        kinds += (kind > 0 ? ", \"" : "\"") + std::string(kKindNames[kind]) + "\": " + Count(video.kinds[kind]);
    }
    return "{\"codec\": " + JsonText(video.codec) +
           Format(", \"width\": %d, \"height\": %d", video.width, video.height) +
           Format(", \"frame_rate\": %.3f, \"duration\": %.3f", video.rate, video.duration) +
           Format(", \"bit_rate\": %.0f", BitRate(video.bytes, video.duration)) + ", \"bytes\": " + Count(video.bytes) +
           ", \"frames\": " + Count(video.frames) + ", \"kinds\": {" + kinds +
           "}, \"key_distance\": {\"least\": " + Count(video.key_least) + ", \"most\": " + Count(video.key_most) +
           Format(", \"mean\": %.2f}}", KeyMean(video));
}

std::string JsonAudio(const AudioReport &audio) {
    if (audio.codec.empty()) return "null";
    return "{\"codec\": " + JsonText(audio.codec) +
           Format(", \"sample_rate\": %u, \"channels\": %u", audio.sample_rate, audio.channels) +
           Format(", \"duration\": %.3f", audio.duration) +
           Format(", \"bit_rate\": %.0f", BitRate(audio.bytes, audio.duration)) + ", \"bytes\": " + Count(audio.bytes) +
           ", \"frames\": " + Count(audio.frames) + "}";
}

std::string JsonRecord(const RecordReport &record) {
    if (record.units == 0) return "null";
    return Format("{\"units\": %u, \"groups\": %u, \"damaged_groups\": %u, ", record.units, record.groups,
                  record.damaged) +
           "\"begin\": " + JsonText(record.begin) + ", \"end\": " + JsonText(record.end) + "}";
}

std::string JsonProblem(const Problem &problem) {
    std::string text = "{\"code\": " + JsonText(problem.code) + ", \"count\": " + Count(problem.count);
    if (problem.place.byte >= 0) text += ", \"byte\": " + std::to_string(problem.place.byte);
    if (problem.place.time >= 0) text += Format(", \"time\": %.3f", problem.place.time);
    return text + ", \"text\": " + JsonText(problem.text) + "}";
}

}  // namespace

void Problems::Add(const char *code, const std::string &text, Place place) {
    for (Problem &problem : all_) {
        if (problem.code == code) {
            ++problem.count;
            return;
        }
    }
    all_.push_back({code, text, place});
}

void PrintText(const Report &report) {
    std::printf("%s: %s, %s, %.2f s, %.0f kbit/s\n", Printable(report.file).c_str(),
                report.container.empty() ? "unknown kind" : report.container.c_str(), Size(report.size).c_str(),
                report.Duration(), BitRate(report.size, report.Duration()) / 1000);
    if (report.record.units > 0) PrintRecord(report.record);
    if (!report.video.codec.empty()) PrintVideo(report.video);
    if (!report.audio.codec.empty()) PrintAudio(report.audio);
    if (report.data_frames > 0) std::printf("  data    %s frames\n", Count(report.data_frames).c_str());
    for (const Problem &problem : report.problems.All()) PrintProblem(problem);
    if (report.IsSound()) std::printf("  no problem found\n");
}

void PrintJson(const Report &report) {
    std::string problems;
    for (const Problem &problem : report.problems.All()) {
        problems += (problems.empty() ? "" : ", ") + JsonProblem(problem);
    }
    const std::string container = report.container.empty() ? "null" : JsonText(report.container);
    const std::string text =
        "{\"file\": " + JsonText(report.file) + ", \"ok\": " + (report.IsSound() ? "true" : "false") +
        ", \"container\": " + container + ", \"size\": " + Count(report.size) +
        Format(", \"duration\": %.3f, \"bit_rate\": %.0f", report.Duration(), BitRate(report.size, report.Duration())) +
        ", \"video\": " + JsonVideo(report.video) + ", \"audio\": " + JsonAudio(report.audio) +
        ", \"record\": " + JsonRecord(report.record) + ", \"data_frames\": " + Count(report.data_frames) +
        ", \"problems\": [" + problems + "]}";
    std::puts(text.c_str());
}

}  // namespace zvprobe
