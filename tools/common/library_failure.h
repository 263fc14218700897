/** Failures of calls of the library. */
#ifndef TOOLS_LIBRARY_FAILURE_H
#define TOOLS_LIBRARY_FAILURE_H

#include "common/failure.h"

namespace tools {

inline constexpr int kExitLibrary = 4;  ///< a call of the library failed

/** Failure of the library call just made on this thread: adds its last error, by name, to `what`. */
Failure LibraryFailure(const std::string &what);

/** Name of a PLAYER_ERROR_E, such as "PLAYER_ERR_PORT"; "unknown error" for others. */
const char *ErrorName(unsigned code);

/** Name of a PLAYER_VIDEO_ENCODE_TYPE_E, such as "H.264"; empty for none. */
const char *VideoName(unsigned coding);

/** Name of a PLAYER_AUDIO_ENCODE_TYPE_E, such as "AAC"; empty for none. */
const char *AudioName(unsigned coding);

}  // namespace tools

#endif
