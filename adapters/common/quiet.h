/**
 * @file quiet.h
 * @brief Keeps FFmpeg from printing.
 */
#ifndef ZELVANE_ADAPTERS_QUIET_H
#define ZELVANE_ADAPTERS_QUIET_H

extern "C" {
#include <libavutil/log.h>
}

namespace zv {

/** Silences FFmpeg's log to stderr, once; the level is one for the whole process, the client's own use included. */
inline void QuietFfmpeg() {
    static const bool done = (av_log_set_level(AV_LOG_QUIET), true);
    (void)done;
}

}  // namespace zv

#endif
