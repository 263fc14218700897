/** Finds analytics records in what the library's taps show, to count them. Knows nothing of what is in them. */
#ifndef ZVPLAY_ANALYTICS_RECORDS_H
#define ZVPLAY_ANALYTICS_RECORDS_H

#include "common/bytes.h"

namespace zvplay {

/** How many private messages with rules or results stand before the first slice of a frame. @param h265 its coding */
uint32_t CountMessages(tools::Bytes frame, bool h265);

/** How many data frames end in an RTP packet, or begin in packets of MPEG-TS. */
uint32_t CountDataFrames(tools::Bytes packets);

}  // namespace zvplay

#endif
