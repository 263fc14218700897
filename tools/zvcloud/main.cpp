/**
 * zvcloud: makes a cloud recording. BlockSource gives frames as MPEG-TS, of an encoder or a recording; WriteRecording()
 * cuts them into segments and writes the playlist; the rest is what nginx needs to serve them.
 */
#include <cstdio>

#include "player_sdk_func.h"
#include "zvcloud/cloud.h"

namespace zvcloud {
namespace {

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

int Main(int argc, char **argv) {
    Options options;
    Failure failure;
    const auto fail = [&failure] { return tools::PrintFailure("zvcloud", failure); };
    if (!ParseOptions(argc, argv, &options, &failure)) return fail();
    if (options.help) {
        std::fputs(HelpText(), stdout);
        return tools::FinishReport("zvcloud", kExitOk);
    }
    Zelvane_SetWriteLogCB(DropLine);
    size_t segments = 0;
    std::string configuration;
    if (!WriteRecording(options, &segments, &failure) || !WriteCertificate(options, &failure) ||
        !WriteConfiguration(options, &configuration, &failure)) {
        return fail();
    }
    std::fprintf(stderr, "zvcloud: %zu segments in %s\n", segments, options.folder.c_str());
    std::fputs(configuration.c_str(), stdout);
    return tools::FinishReport("zvcloud", kExitOk);
}

}  // namespace
}  // namespace zvcloud

int main(int argc, char **argv) { return zvcloud::Main(argc, argv); }
