/**
 * zvcam: a camera. ParseOptions() reads what is wanted; Media gives pictures and sound from files or encoders; Camera
 * gives each frame, when it is due, to its Clients; a Client makes packets of it (RTP or MPEG-TS), lets its faults have
 * their way with them, and sends them. Or WriteRecord() puts the stream into a record on the disk.
 */
#include <csignal>
#include <cstdio>

#include "player_sdk_func.h"
#include "zvcam/camera.h"
#include "zvcam/krdf_record.h"

namespace zvcam {
namespace {

/** Signals end the run in order. @param held they get through only while the camera sleeps, so none can be missed */
void TakeSignals(bool held) {
    struct sigaction action = {};
    action.sa_handler = [](int) { Camera::Interrupt(); };
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaction(number, &action, nullptr);
        sigaddset(&ending, number);
    }
    if (held) sigprocmask(SIG_BLOCK, &ending, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

int Main(int argc, char **argv) {
    Options options;
    Failure failure;
    const auto fail = [&failure] { return tools::PrintFailure("zvcam", failure); };
    if (!ParseOptions(argc, argv, &options, &failure)) return fail();
    if (options.help) std::fputs(HelpText(), stdout);
    if (options.version && !options.help) {
        const ULONG_32 version = Zelvane_GetVersion();
        std::printf("zvcam, Zelvane %u.%u.%u\n", version & 255, version >> 8 & 255, version >> 16);
    }
    if (options.help || options.version) return tools::FinishReport("zvcam", kExitOk);
    TakeSignals(options.krdf.empty());
    if (!options.krdf.empty()) {
        std::string report;
        if (!WriteRecord(options, &report, &failure)) return fail();
        std::printf("%s\n", report.c_str());
        return tools::FinishReport("zvcam", kExitOk);
    }
    Camera camera(options);
    const bool open = camera.Open(&failure);
    if (!open && !Camera::IsInterrupted()) return fail();
    const bool good = !open || camera.Run(&failure);
    std::printf("%s\n", camera.Report().c_str());
    const int reported = tools::FinishReport("zvcam", kExitOk);
    return good ? reported : fail();
}

}  // namespace
}  // namespace zvcam

int main(int argc, char **argv) { return zvcam::Main(argc, argv); }
