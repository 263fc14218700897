/** Writes a cloud recording into a folder, and what serves it. */
#ifndef ZVCLOUD_CLOUD_H
#define ZVCLOUD_CLOUD_H

#include "zvcloud/options.h"

namespace zvcloud {

/** Segments and playlist. @param segments receives how many. @return false with the failure filled, as those below */
bool WriteRecording(const Options &options, size_t *segments, Failure *failure);

/** The server's key and certificate, signed by a CA of their own. */
bool WriteCertificate(const Options &options, Failure *failure);

/** The server's configuration. @param text receives it */
bool WriteConfiguration(const Options &options, std::string *text, Failure *failure);

}  // namespace zvcloud

#endif
