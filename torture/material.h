// Streams and files of the scenes: small ones, made once.
#ifndef ZELVANE_TORTURE_MATERIAL_H
#define ZELVANE_TORTURE_MATERIAL_H

#include <memory>
#include <string>
#include <vector>

#include "support/cloud_server.h"
#include "support/media.h"
#include "support/temp_dir.h"

namespace torture {

constexpr size_t FRAMES = 30, GROUP = 10; /**< pictures of a stream, and from key frame to key frame */

struct Material {
    Material();
    Scratch folder;
    Bytes h264, h265, g711;
    std::vector<Bytes> rtpH264, rtpH265, rtpSound; /**< packets; those of sound are as long as a picture */
    std::vector<Bytes> tsFrames, jpegs;            /**< pushes of one frame each */
    std::vector<Bytes> rtpMarked;                  /**< with rules and boxes of analytics */
    std::vector<Bytes> rtpScrambled;               /**< for the library's built-in key */
    std::string mp4, avi, ts, krdf;                /**< paths */
    std::string scrambled;                         /**< path of one with the password "secret" */
    std::string playlist;                          /**< of a cloud recording of two segments, which a server has */
    unsigned long window = 0;                      /**< of an X server */
    std::unique_ptr<support::Nginx> server;
};

constexpr unsigned CLOUD_START = 1577836800; /**< 2020-01-01, the recording's first second */

}  // namespace torture

#endif
