// Streams and files of the scenes: small ones, made once.
#ifndef ZELVANE_TESTS_TORTURE_MATERIAL_H
#define ZELVANE_TESTS_TORTURE_MATERIAL_H

#include <string>
#include <vector>

#include "support/media.h"
#include "support/temp_dir.h"

namespace torture {

constexpr size_t FRAMES = 30, GROUP = 10; /**< pictures of a stream, and from key frame to key frame */

struct Material {
    Material();
    Scratch folder;
    Bytes h264, h265, g711;
    std::vector<Bytes> rtpH264, rtpH265, rtpSound; /**< packets; those of sound are as long as a picture */
    std::string mp4, mp4H265, avi, ts, krdf;       /**< paths */
};

}  // namespace torture

#endif
