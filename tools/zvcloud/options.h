/** The command line of zvcloud. */
#ifndef ZVCLOUD_OPTIONS_H
#define ZVCLOUD_OPTIONS_H

#include <cstdint>
#include <string>

#include "common/failure.h"

namespace zvcloud {

using tools::Failure;
using tools::kExitOk;
using tools::kExitOutput;
using tools::kExitSource;
using tools::kExitUsage;

/** What the user asked for. */
struct Options {
    std::string folder;    ///< where all of it goes
    std::string file;      ///< .264, .265, or a TS recording; empty for a test picture
    double seconds = 60;   ///< of the test picture, or the most of a file
    uint32_t segment = 5;  ///< seconds of a segment at least; it ends in front of a key frame
    uint32_t start = 0;    ///< Unix time of the first picture
    uint32_t bit_rate = 2000;
    std::string size = "640x360";
    std::string host = "127.0.0.1";
    std::string query;  ///< put behind each URL
    bool https = false;
    bool help = false;
};

/** Reads the command line. @return false with the failure filled when it makes no sense */
bool ParseOptions(int argc, const char *const *argv, Options *options, Failure *failure);

/** The text of --help. */
const char *HelpText();

}  // namespace zvcloud

#endif
