/** Points of time as people write them. */
#ifndef TOOLS_WALL_TIME_H
#define TOOLS_WALL_TIME_H

#include <cstdint>
#include <ctime>
#include <string>

namespace tools {

/**
 * Reads "2020-01-02T03:04:05" or "2020-01-02 03:04:05", in local time or with a "Z" behind it in that of Greenwich, or
 * plain Unix seconds. @return false if it is none of them
 */
inline bool ParseWallTime(const std::string &text, uint32_t *seconds) {
    struct tm parts = {};
    for (const char *form : {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S"}) {
        const char *rest = strptime(text.c_str(), form, &parts);
        if (rest != nullptr && (*rest == '\0' || std::string(rest) == "Z")) {
            parts.tm_isdst = -1;
            *seconds = static_cast<uint32_t>(*rest == 'Z' ? timegm(&parts) : mktime(&parts));
            return true;
        }
    }
    const bool digits = !text.empty() && text.size() <= 10 && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long long value = digits ? std::stoull(text) : UINT64_MAX;
    *seconds = static_cast<uint32_t>(value);
    return value <= UINT32_MAX;
}

/** "2020-01-02 03:04:05", local time. */
inline std::string WallTimeText(uint32_t seconds) {
    const std::time_t time = seconds;
    struct tm parts = {};
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&time, &parts));
    return text;
}

}  // namespace tools

#endif
