#include "zvcam/counters.h"

namespace zvcam {
namespace {

struct Row {
    const char *name;
    uint64_t Counters::*field;
};
const Row kRows[] = {
    {"frames", &Counters::frames},
    {"key_frames", &Counters::key_frames},
    {"sounds", &Counters::sounds},
    {"records", &Counters::records},
    {"drops", &Counters::drops},
    {"packets", &Counters::packets},
    {"bytes", &Counters::bytes},
    {"lost", &Counters::lost},
    {"reordered", &Counters::reordered},
    {"duplicated", &Counters::duplicated},
    {"damaged", &Counters::damaged},
    {"truncated", &Counters::truncated},
    {"garbage", &Counters::garbage},
    {"false_lengths", &Counters::false_lengths},
    {"stalls", &Counters::stalls},
    {"resets", &Counters::resets},
    {"closes", &Counters::closes},
    {"refused", &Counters::refused},
    {"voices", &Counters::voices},
    {"voice_samples", &Counters::voice_samples},
    {"voice_lost", &Counters::voice_lost},
    {"voice_unknown", &Counters::voice_unknown},
    {"voice_strays", &Counters::voice_strays},
};

}  // namespace

void Add(const Counters &from, Counters *to) {
    for (const Row &row : kRows) to->*row.field += from.*row.field;
}

std::string Json(const Counters &counters) {
    std::string text;
    for (const Row &row : kRows) {
        if (!text.empty()) text += ", ";
        text += std::string("\"") + row.name + "\": " + std::to_string(counters.*row.field);
    }
    return text;
}

}  // namespace zvcam
