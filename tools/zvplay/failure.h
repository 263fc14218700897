/** How zvplay says that something went wrong: what, what to do about it, and the exit code. */
#ifndef ZVPLAY_FAILURE_H
#define ZVPLAY_FAILURE_H

#include <string>

namespace zvplay {

/** Exit codes; they stand in the text of --help too. */
enum ExitCode {
    kExitOk = 0,
    kExitUsage = 1,     ///< the command line is wrong
    kExitSource = 2,    ///< the source is missing, unreadable or of an unknown kind
    kExitDisplay = 3,   ///< no X display
    kExitLibrary = 4,   ///< a call of the library failed
    kExitNoPicture = 5  ///< played to the end, but no picture came out
};

/** A failure. Functions that can fail return false or null and fill one. */
struct Failure {
    int exit_code = kExitOk;
    std::string what;    ///< what is wrong, for a line of its own
    std::string advice;  ///< what to do; may be empty
};

/** Failure of the library call just made on this thread: adds its last error, by name, to `what`. */
Failure LibraryFailure(const std::string &what);

/** Name of a PLAYER_ERROR_E, such as "PLAYER_ERR_PORT"; "unknown error" for others. */
const char *ErrorName(unsigned code);

}  // namespace zvplay

#endif
