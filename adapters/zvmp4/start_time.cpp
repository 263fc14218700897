#include "zvmp4/start_time.h"

namespace zv {

namespace {

constexpr int64_t kTenYears = 315360000;
constexpr int64_t kSecondsFrom1900 = 2208988800;
constexpr int64_t kDay = 86400;

/** Whole hours that local time is ahead of UTC. Readers add just these, so half hours must not count here either. */
int HoursAhead(time_t now) {
    tm local = {};
    tm utc = {};
    localtime_r(&now, &local);
    gmtime_r(&now, &utc);
    const int hours = local.tm_hour - utc.tm_hour;
    return hours > 12 ? hours - 24 : hours < -12 ? hours + 24 : hours;
}

}  // namespace

ULONG_32 StartTime(const FORMAT_STREAM_INFO_S &info, time_t now) {
    int64_t start = info.ulPlaybackTime;
    if (info.bFilePlay == 1 && start < kTenYears) {
        const int64_t today = (now + HoursAhead(now) * 3600) % kDay;
        start += now - today;
    } else if (start == 0) {
        start = now;
    } else if (info.bFilePlay != 1 && start > now + kTenYears) {
        start -= kSecondsFrom1900;
    }
    return static_cast<ULONG_32>(start);
}

}  // namespace zv
