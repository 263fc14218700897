/** What zvprobe finds out about a file. */
#ifndef ZVPROBE_REPORT_H
#define ZVPROBE_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

namespace zvprobe {

/** Where in a file something was found. */
struct Place {
    int64_t byte = -1;  ///< offset in the file; -1 for none in particular
    double time = -1;   ///< seconds from the start; -1 where no time is known
};

/** One kind of problem. */
struct Problem {
    std::string code;    ///< its name for scripts; --help lists them
    std::string text;    ///< the first one, in words
    Place place;         ///< of the first one
    uint64_t count = 1;  ///< how many there are of its kind
};

/** The problems of a file, one entry a kind, in the order in which they were met first. */
class Problems {
 public:
    /** Notes a problem; the words and the place of the first of its kind stay. */
    void Add(const char *code, const std::string &text, Place place = {});
    const std::vector<Problem> &All() const { return all_; }

 private:
    std::vector<Problem> all_;
};

/** Kinds of pictures. A key picture is one that the container marks as such; SP pictures refer to key pictures alone. */
enum Kind { kKey, kIntra, kSp, kPredicted, kBidirectional, kUnknown, kKinds };

/** The video of a file. */
struct VideoReport {
    std::string codec;  ///< empty: there is none
    int width = 0, height = 0;
    double rate = 0;      ///< frames a second
    double duration = 0;  ///< seconds
    uint64_t bytes = 0;
    uint64_t frames = 0;
    uint64_t kinds[kKinds] = {};
    uint64_t key_least = 0, key_most = 0;  ///< frames from one key frame to the next; 0 without two
};

/** The sound of a file. */
struct AudioReport {
    std::string codec;  ///< empty: there is none
    uint32_t sample_rate = 0;
    uint32_t channels = 0;
    double duration = 0;  ///< seconds
    uint64_t bytes = 0;
    uint64_t frames = 0;
};

/** What only KRDF records have. */
struct RecordReport {
    uint32_t units = 0;
    uint32_t groups = 0;
    uint32_t damaged = 0;    ///< of the groups
    std::string begin, end;  ///< of the first and the last group, local calendar time: when each begins
};

/** All of it. */
struct Report {
    std::string file;
    std::string container;  ///< empty if it is of no known kind
    uint64_t size = 0;      ///< bytes
    VideoReport video;
    AudioReport audio;
    RecordReport record;
    uint64_t data_frames = 0;  ///< frames of analytics records
    Problems problems;

    double Duration() const { return video.duration > audio.duration ? video.duration : audio.duration; }
    bool IsSound() const { return problems.All().empty(); }
};

/** Writes a report for people. */
void PrintText(const Report &report);

/** Writes a report as one JSON object. */
void PrintJson(const Report &report);

}  // namespace zvprobe

#endif
