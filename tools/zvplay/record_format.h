/** The formats of recordings by the names of the command line. */
#ifndef ZVPLAY_RECORD_FORMAT_H
#define ZVPLAY_RECORD_FORMAT_H

#include <algorithm>
#include <iterator>
#include <string>

#include "options.h"
#include "player_public.h"

namespace zvplay {

struct RecordFormat {
    const char *name;
    ULONG_32 value;
};

inline constexpr RecordFormat kRecordFormats[] = {
    {"mp4", PLAYER_FILE_FORMATE_MP4},
    {"ts", PLAYER_FILE_FORMATE_TS},
    {"avi", PLAYER_FILE_FORMATE_AVI},
    {"mp4-time", PLAYER_FILE_FORMATE_MP4_ADD_TIME},
    {"ts-time", PLAYER_FILE_FORMATE_TS_ADD_TIME},
    {"mp4-stream-time", PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME},
    {"ts-stream-time", PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME},
    {"mp4-audio", PLAYER_FILE_FORMATE_AUDIO_MP4},
    {"ts-audio", PLAYER_FILE_FORMATE_AUDIO_TS},
    {"avi-time", PLAYER_FILE_FORMATE_AVI_ADD_TIME},
    {"avi-stream-time", PLAYER_FILE_FORMATE_AVI_ADD_RCD_TIME},
    {"avi-audio", PLAYER_FILE_FORMATE_AUDIO_AVI},
};
inline constexpr int kPlainMp4 = 0;
inline constexpr int kRecordFormatCount = static_cast<int>(std::size(kRecordFormats));

/** The format asked for; without one, what the name ends in, or MP4. */
inline int FormatOf(const Options &options) {
    if (options.format >= 0) return options.format;
    for (int format = 0; format < 3; ++format) {
        const std::string end = std::string(".") + kRecordFormats[format].name;
        if (options.record.size() > end.size() &&
            options.record.compare(options.record.size() - end.size(), end.size(), end) == 0) {
            return format;
        }
    }
    return kPlainMp4;
}

}  // namespace zvplay

#endif
