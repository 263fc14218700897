#include "cloud_list.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <set>
#include <sstream>

namespace zvplay {
namespace {

namespace fs = std::filesystem;

const std::string kEntry = "#EXTINF:";
const std::string kDate = "#EXT-X-PROGRAM-DATE-TIME:";

/** Reads "2020-01-02T03:04:05.000+08:00,". The library counts whole hours of a zone. */
bool ReadTime(const std::string &line, uint32_t *seconds) {
    struct tm parts = {};
    const char *rest = strptime(line.c_str() + kDate.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const char *zone = rest != nullptr ? rest + std::string(rest).find_first_of("+-,") : nullptr;
    if (rest == nullptr || zone < rest || *zone == ',') return false;
    *seconds = static_cast<uint32_t>(timegm(&parts) - std::atoi(zone) * 3600);
    return true;
}

/** What the library calls the segment of a URL in the cache. */
std::string CacheName(const std::string &url) {
    const std::string path = url.substr(0, url.find('?'));
    return path.substr(path.rfind('/') + 1) + ".ts";
}

}  // namespace

void CloudList::Add(const std::string &text) {
    std::istringstream lines(text);
    uint32_t length = 0, start = 0;
    bool timed = false;  // the line before this one told when it begins
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, kEntry.size(), kEntry) == 0) {
            length = static_cast<uint32_t>(std::strtoul(line.c_str() + kEntry.size(), nullptr, 10));
        }
        if (timed) segments_[start] = {length, CacheName(line)};
        timed = line.compare(0, kDate.size(), kDate) == 0 && ReadTime(line, &start);
    }
}

CacheState CloudList::Look() const {
    CacheState state;
    std::set<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder_, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        const uintmax_t size = entry->is_regular_file(gone) ? entry->file_size(gone) : 0;
        if (gone) continue;
        state.bytes += size;
        names.insert(entry->path().filename());
    }
    for (const auto &[start, segment] : segments_) {
        ++state.segments;
        state.fetched += names.count(segment.name) != 0;
    }
    return state;
}

}  // namespace zvplay
