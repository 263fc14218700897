/** How a tool says that something went wrong: what, what to do about it, and the exit code. */
#ifndef TOOLS_FAILURE_H
#define TOOLS_FAILURE_H

#include <string>

namespace tools {

/** Exit codes that all tools share; each has more of its own, and its --help lists them. */
enum ExitCode {
    kExitOk = 0,
    kExitUsage = 1,  ///< the command line is wrong
    kExitSource = 2  ///< the source is missing, unreadable or of an unknown kind
};

/** A failure. Functions that can fail return false or null and fill one. */
struct Failure {
    int exit_code = kExitOk;
    std::string what;    ///< what is wrong, for a line of its own
    std::string advice;  ///< what to do; may be empty
};

/** "program: what" and the advice, on standard error. @return the exit code */
int PrintFailure(const char *program, const Failure &failure);

inline constexpr int kExitOutput = 4;  ///< of zvcam and zvprobe: the report could not be written

/** Ends a report on standard output. @return `code`, or kExitOutput with a word on standard error if it got lost */
int FinishReport(const char *program, int code);

}  // namespace tools

#endif
