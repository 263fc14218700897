/** The containers: each reads a file and fills a report. */
#ifndef ZVPROBE_PROBE_H
#define ZVPROBE_PROBE_H

#include <memory>

#include <cstdio>

#include "common/bytes.h"
#include "report.h"

namespace zvprobe {

/** Closes a stream. */
struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

/** ISO base media file (ISO/IEC 14496-12). @param file the same file, for the library's readers */
void ProbeMp4(tools::Bytes data, std::FILE *file, Report *report);

/** AVI: what the library plays of it. */
void ProbeAvi(tools::Bytes data, std::FILE *file, Report *report);

/** KRDF: the record at the beginning of the file, by its indexes. */
void ProbeKrdf(tools::Bytes data, std::FILE *file, Report *report);

/** MPEG-TS (ISO/IEC 13818-1) in the dialect of cameras and recorders. */
void ProbeTs(tools::Bytes data, std::FILE *file, Report *report);

/** MPEG-TS of other makers: what the library plays of it. */
void ProbeForeignTs(tools::Bytes data, std::FILE *file, Report *report);

}  // namespace zvprobe

#endif
