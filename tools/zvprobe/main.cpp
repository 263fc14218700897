/**
 * zvprobe: tells what is in a media file and whether it is sound.
 *
 * The road: Identify() asks the library what the file is, the probe of its container reads it through to its end with
 * the library's readers and judges what they give, CheckOpens() asks whether the library opens it, and the report is
 * printed. With --repair what is whole of it is written into a new file instead.
 */
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "common/command_line.h"
#include "common/library_failure.h"
#include "common/mapped_file.h"
#include "file/module_avi.h"
#include "file/module_file.h"
#include "file/module_krdf.h"
#include "file/mp4_parse.h"
#include "probe.h"
#include "repair.h"
#include "watermark.h"

namespace zvprobe {
namespace {

using tools::Failure;
using tools::kExitOk;
using tools::kExitSource;
using tools::kExitUsage;

constexpr int kExitProblems = 3;

const char kHelp[] =
    R"(zvprobe - tells what is in a media file and whether it is sound

usage: zvprobe [--json] FILE
       zvprobe --repair FILE [OUT]
       zvprobe [--json] --watermark FILE

It reads the whole file and prints container, codings, size, frame rate, length, frames by kind (key frames as the
container marks them; I, SP, P and B as their slices say), the distance of key frames, and each kind of problem with the
first place where it was found.

options
  --json       one JSON object on standard output; its "ok" is true when there is no problem
  --repair     write a whole file of what an AVI or MP4 recording left that was not finished: of AVI every whole frame,
               with an index in which the key frames are those of the bitstream; of MP4 all up to its last index. OUT must
               not exist; without it the name is FILE.repaired.avi or FILE.repaired.mp4. FILE stays as it is
  --watermark  hold each key frame against its watermark instead, and print the times of those that were changed or
               have none; ctrl-C ends the check with what was found until then
  --help       print this

problems
  file    unreadable unknown_kind not_opened cut_file cut_meanwhile no_frames
  MP4     bad_box fragmented no_index bad_tables layout cut_sample empty_sample too_large
  AVI     bad_header no_index bad_index layout cut_frame too_large no_rate
  KRDF    bad_index damaged_group overlap large_packet lost_frame too_large no_length stamps_back cut_file
  TS      sync_lost cut_frame continuity crc bad_table transport_error scrambled unknown_pid lost_frame no_frame_ends
          no_clock clock_jump too_large
  video   unknown_codec no_key_start no_parameter_sets bad_units no_picture false_key unmarked_key stamps_back
  sound   unknown_codec sound_gap bad_sound stamps_back

exit codes
  0 sound   1 wrong command line   2 no such file or of no known kind   3 problems
  4 the report, or the repaired file, could not be written
of --watermark
  0 every key frame has the right mark   3 some have not, or none   5 interrupted
)";

/** Kinds of files, in the order in which the library tries them. */
struct Container {
    BOOL_T (*is)(FILE *file);
    const char *name;
    void (*probe)(tools::Bytes data, std::FILE *file, Report *report);
    bool (*repair)(Repair *repair, Failure *failure);  ///< null where nothing is ever left open
    const char *extension;                             ///< of a repaired file
};
const Container kContainers[] = {
    {MP4_IsMp4File, "MP4", ProbeMp4, RepairMp4, ".repaired.mp4"},
    {File_IsForeignTs, "MPEG-TS of another maker", ProbeForeignTs, nullptr, ""},
    {TS_IsTSFile, "MPEG-TS", ProbeTs, nullptr, ""},
    {AVI_IsAviFile, "AVI", ProbeAvi, RepairAvi, ".repaired.avi"},
    {KRDF_IsKrdfFile, "KRDF", ProbeKrdf, nullptr, ""},
    {File_IsCutTs, "MPEG-TS of another maker", ProbeForeignTs, nullptr, ""},
};

/** @return null for a file of no known kind */
const Container *Identify(std::FILE *file) {
    for (const Container &container : kContainers) {
        if (container.is(file) != 0) return &container;
    }
    return nullptr;
}

/** A file to be looked into. */
struct Input {
    tools::MappedFile mapped;
    FilePtr stream;
    const Container *container = nullptr;
};

/** @return false with the failure filled */
bool OpenInput(const std::string &path, Input *input, Failure *failure) {
    if (!input->mapped.Open(path, failure)) return false;
    input->stream.reset(std::fopen(path.c_str(), "rbe"));
    if (input->stream == nullptr) {
        *failure = {kExitSource, path + ": it can't be opened", "is it still there?"};
        return false;
    }
    input->container = Identify(input->stream.get());
    if (input->container != nullptr) return true;
    *failure = {kExitSource, path + ": neither MP4, MPEG-TS, AVI nor KRDF", "zvprobe --help tells what is read"};
    return false;
}

/** Asks the library itself. */
void CheckOpens(Report *report) {
    FILE_INFO_S info = {};
    const ULONG_32 result = File_CreateFileParser(report->file.c_str(), &info);
    if (result == PLAYER_ERR_OK) {
        if (info.hAviParser != nullptr) AVI_FileClose(nullptr, info.hAviParser);
        info.hAviParser = nullptr;
        File_ReleaseFileParser(&info);
        return;
    }
    report->problems.Add("not_opened", std::string("the library does not open it: ") + tools::ErrorName(result) + " (" +
                                           std::to_string(result) + ")");
}

/** @return the exit code; of kExitSource with the failure filled */
int Probe(Report *report, Failure *failure) {
    Input input;
    if (!OpenInput(report->file, &input, failure)) {
        const bool unknown = input.stream != nullptr;
        if (unknown) report->size = input.mapped.All().size();
        report->problems.Add(unknown ? "unknown_kind" : "unreadable", failure->what);
        return kExitSource;
    }
    report->size = input.mapped.All().size();
    report->container = input.container->name;
    input.container->probe(input.mapped.All(), input.stream.get(), report);
    CheckOpens(report);
    if (input.mapped.WasCut()) {
        report->problems.Add("cut_meanwhile",
                             "the file was cut while it was read; what stands here is of no whole file");
    }
    if (report->IsSound() && report->video.frames == 0 && report->audio.frames == 0) {
        report->problems.Add("no_frames", "neither a picture nor sound in it");
    }
    return report->IsSound() ? kExitOk : kExitProblems;
}

/** Makes the file that a repair fills: one that is there is not replaced. */
bool CreateOutput(const std::string &path, Failure *failure) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0) {
        close(file);
        return true;
    }
    *failure = {tools::kExitOutput, path + ": " + std::strerror(errno), "name another file behind the first"};
    return false;
}

/** @return the exit code, with the failure filled unless it is kExitOk */
int RepairFile(const std::vector<std::string> &names, Failure *failure) {
    Input input;
    if (!OpenInput(names[0], &input, failure)) return failure->exit_code;
    const Container &container = *input.container;
    if (container.repair == nullptr) {
        *failure = {kExitUsage, names[0] + ": nothing in a file of " + container.name + " needs a repair",
                    "AVI and MP4 recordings do when they were not finished"};
        return failure->exit_code;
    }
    Repair repair = {names[0], names.size() > 1 ? names[1] : names[0] + container.extension, input.mapped.All(), ""};
    if (!CreateOutput(repair.to, failure)) return failure->exit_code;
    bool repaired = container.repair(&repair, failure);
    if (repaired && input.mapped.WasCut()) {
        *failure = {kExitSource, names[0] + ": the file was cut while it was read", "repair it when nobody writes it"};
        repaired = false;
    }
    if (!repaired) {
        std::remove(repair.to.c_str());
        return failure->exit_code;
    }
    std::printf("%s: %s\n", repair.to.c_str(), repair.summary.c_str());
    return kExitOk;
}

int Main(int argc, char **argv) {
    bool json = false, repair = false, watermark = false, help = false;
    const tools::Option table[] = {
        {"--json", &json}, {"--repair", &repair}, {"--watermark", &watermark}, {"--help", &help}, {"-h", &help}};
    std::vector<std::string> names;
    Failure failure;
    if (!tools::ParseCommandLine(argc, argv, table, &names, &failure)) return tools::PrintFailure("zvprobe", failure);
    if (help) {
        std::fputs(kHelp, stdout);
        return tools::FinishReport("zvprobe", kExitOk);
    }
    if (repair && (names.size() == 1 || names.size() == 2)) {
        const int code = RepairFile(names, &failure);
        return code == kExitOk ? tools::FinishReport("zvprobe", code) : tools::PrintFailure("zvprobe", failure);
    }
    if (names.size() != 1) {
        return tools::PrintFailure("zvprobe", {kExitUsage, names.empty() ? "no file given" : "more than one file given",
                                               "name one file: zvprobe recording.mp4; see zvprobe --help"});
    }
    if (watermark) {
        const int code = CheckWatermark(names[0], json, kExitProblems, &failure);
        return failure.what.empty() ? tools::FinishReport("zvprobe", code) : tools::PrintFailure("zvprobe", failure);
    }
    Report report;
    report.file = names[0];
    const int code = Probe(&report, &failure);
    if (json) {
        PrintJson(report);
    } else if (code == kExitSource) {
        return tools::PrintFailure("zvprobe", failure);
    } else {
        PrintText(report);
    }
    return tools::FinishReport("zvprobe", code);
}

}  // namespace
}  // namespace zvprobe

int main(int argc, char **argv) { return zvprobe::Main(argc, argv); }
