/**
 * zvprobe: tells what is in a media file and whether it is sound.
 *
 * The road: Identify() asks the library what the file is, ProbeMp4() or ProbeTs() reads it through to its end with the
 * library's readers and judges what they give, CheckOpens() asks whether the library opens it, and the report is
 * printed.
 */
#include <cstdio>
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

It reads the whole file and prints container, codings, size, frame rate, length, frames by kind (key frames as the
container marks them; I, SP, P and B as their slices say), the distance of key frames, and each kind of problem with the
first place where it was found.

options
  --json    one JSON object on standard output; its "ok" is true when there is no problem
  --help    print this

problems
  file    unreadable unknown_kind not_opened cut_file no_frames
  MP4     bad_box fragmented no_index bad_tables layout cut_sample empty_sample too_large
  TS      sync_lost cut_frame continuity crc bad_table transport_error scrambled unknown_pid lost_frame no_frame_ends
          clock_jump too_large
  video   unknown_codec no_key_start no_parameter_sets bad_units no_picture false_key unmarked_key stamps_back
  sound   unknown_codec sound_gap bad_sound stamps_back

exit codes
  0 sound   1 wrong command line   2 no such file or of no known kind   3 problems
  4 the report could not be written
)";

/** Kinds of files, in the order in which the library tries them. */
struct Container {
    BOOL_T (*is)(FILE *file);
    const char *name;
};
const Container kContainers[] = {
    {MP4_IsMp4File, "MP4"}, {TS_IsTSFile, "MPEG-TS"}, {AVI_IsAviFile, "AVI"}, {KRDF_IsKrdfFile, "KRDF"}};

void Identify(std::FILE *file, Report *report) {
    for (const Container &container : kContainers) {
        if (container.is(file) == 0) continue;
        report->container = container.name;
        return;
    }
    report->problems.Add("unknown_kind", report->file + ": neither MP4, MPEG-TS, AVI nor KRDF");
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
    tools::MappedFile file;
    if (!file.Open(report->file, failure)) {
        report->problems.Add("unreadable", failure->what);
        return kExitSource;
    }
    const FilePtr stream(std::fopen(report->file.c_str(), "rbe"));
    if (stream == nullptr) {
        *failure = {kExitSource, report->file + ": it can't be opened", "is it still there?"};
        report->problems.Add("unreadable", failure->what);
        return kExitSource;
    }
    report->size = file.All().size();
    Identify(stream.get(), report);
    if (report->container.empty()) {
        *failure = {kExitSource, report->problems.All()[0].text, "zvprobe --help tells what is read"};
        return kExitSource;
    }
    if (report->container == "MP4") ProbeMp4(file.All(), stream.get(), report);
    if (report->container == "MPEG-TS") ProbeTs(file.All(), report);
    CheckOpens(report);
    if (report->IsSound() && report->video.frames == 0 && report->audio.frames == 0) {
        report->problems.Add("no_frames", "neither a picture nor sound in it");
    }
    return report->IsSound() ? kExitOk : kExitProblems;
}

int Main(int argc, char **argv) {
    bool json = false, help = false;
    const tools::Option table[] = {{"--json", &json}, {"--help", &help}, {"-h", &help}};
    std::vector<std::string> names;
    Failure failure;
    if (!tools::ParseCommandLine(argc, argv, table, &names, &failure)) return tools::PrintFailure("zvprobe", failure);
    if (help) {
        std::fputs(kHelp, stdout);
        return tools::FinishReport("zvprobe", kExitOk);
    }
    if (names.size() != 1) {
        return tools::PrintFailure("zvprobe", {kExitUsage, names.empty() ? "no file given" : "more than one file given",
                                               "name one file: zvprobe recording.mp4; see zvprobe --help"});
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
