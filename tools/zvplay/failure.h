/** How zvplay says that something went wrong. */
#ifndef ZVPLAY_FAILURE_H
#define ZVPLAY_FAILURE_H

#include "common/failure.h"

namespace zvplay {

using tools::Failure;
using tools::kExitOk;
using tools::kExitSource;
using tools::kExitUsage;

/** Exit codes beside those of all tools; they stand in the text of --help too. 4 is a failed call of the library. */
enum PlayExitCode {
    kExitDisplay = 3,    ///< no X display
    kExitNoPicture = 5,  ///< played to the end, but no picture came out
    kExitCapture = 6     ///< a recording or a snapshot failed
};

}  // namespace zvplay

#endif
