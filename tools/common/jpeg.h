/** Cuts JPEG pictures (ITU-T T.81) out of a stream of them. */
#ifndef TOOLS_JPEG_H
#define TOOLS_JPEG_H

#include "common/bytes.h"

namespace tools {

/**
 * Length of the JPEG at the start of `data`, found by walking its segments, so that a thumbnail in one of them does not
 * end it. A picture without its end marker reaches to the next picture or the end.
 * @return 0 if no JPEG begins there
 */
size_t JpegLength(Bytes data);

}  // namespace tools

#endif
