/** The frames of a recording as blocks of MPEG-TS packets: of a recording, or packed from an encoder's stream. */
#ifndef ZVCLOUD_BLOCKS_H
#define ZVCLOUD_BLOCKS_H

#include <memory>
#include <vector>

#include "zvcloud/options.h"

namespace zvcloud {

/** One frame. */
struct Block {
    std::vector<uint8_t> packets;
    bool key = false;    ///< a segment can begin with it
    double seconds = 0;  ///< from the first frame
};

/** Gives frame after frame. */
class BlockSource {
 public:
    virtual ~BlockSource() = default;

    /** Takes the next one. @return false at the end */
    virtual bool Next(Block *block) = 0;

    /** Opens what the options name. @return null with the failure filled */
    static std::unique_ptr<BlockSource> Open(const Options &options, Failure *failure);
};

}  // namespace zvcloud

#endif
