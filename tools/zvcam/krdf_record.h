/** The stream as a KRDF record on the disk, in place of a camera's packets. */
#ifndef ZVCAM_KRDF_RECORD_H
#define ZVCAM_KRDF_RECORD_H

#include "zvcam/options.h"

namespace zvcam {

/**
 * Writes the stream that the options name into the file of --krdf, as fast as it comes.
 * @param report receives one line of JSON: what was written
 * @return false with the failure filled
 */
bool WriteRecord(const Options &options, std::string *report, Failure *failure);

}  // namespace zvcam

#endif
