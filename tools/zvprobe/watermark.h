/** The watermarks of a recording, checked by the library. */
#ifndef ZVPROBE_WATERMARK_H
#define ZVPROBE_WATERMARK_H

#include <string>

#include "common/failure.h"

namespace zvprobe {

inline constexpr int kExitInterrupted = 5;

/**
 * Checks a file's watermarks and prints what failed. Ctrl-C ends the check; what was found until then is printed.
 * @param json one JSON object instead of words
 * @param bad  exit code for key frames without a right mark, and for a file without any
 * @return the exit code; of kExitSource and tools::kExitLibrary with the failure filled
 */
int CheckWatermark(const std::string &path, bool json, int bad, tools::Failure *failure);

}  // namespace zvprobe

#endif
