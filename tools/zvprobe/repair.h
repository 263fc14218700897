/** Writes a whole file of what a recording left that was not finished. */
#ifndef ZVPROBE_REPAIR_H
#define ZVPROBE_REPAIR_H

#include <string>

#include "common/bytes.h"
#include "common/failure.h"

namespace zvprobe {

/** Where a file comes from and goes to. */
struct Repair {
    std::string from;
    std::string to;
    tools::Bytes data;    ///< the file that it comes from
    std::string summary;  ///< receives what the new file holds, in words
};

/**
 * AVI: all frames and all sound that are whole, with an index in which the key frames are those of the bitstream.
 * @return false with the failure filled and no file left behind
 */
bool RepairAvi(Repair *repair, tools::Failure *failure);

/** MP4: all that the last index tells of, and the index as it is. @return as RepairAvi() */
bool RepairMp4(Repair *repair, tools::Failure *failure);

}  // namespace zvprobe

#endif
