/**
 * zvplay: plays a file of pushed data through the Zelvane library, and shows how a client uses it.
 *
 * The road: OpenLog() takes the library's log, OpenSource() cuts the file into pieces, Player holds the library's port,
 * Window the X11 window that the library draws in, and PlayLoop gives each piece to the port when its time has come.
 */
#include <csignal>
#include <cstdio>
#include <memory>

#include "failure.h"
#include "log_file.h"
#include "options.h"
#include "play_loop.h"
#include "player.h"
#include "source.h"
#include "status.h"
#include "window.h"

namespace zvplay {
namespace {

int Fail(const Failure &failure) { return tools::PrintFailure("zvplay", failure); }

void OnSignal(int) { PlayLoop::Interrupt(); }

/** An end that looks like success and is none. */
bool CheckResult(const Figures &figures, Failure *failure) {
    if (figures.pictures > 0 || (figures.frames == 0 && figures.sounds > 0)) return true;
    *failure = {
        kExitNoPicture,
        figures.frames > 0 ? "frames were found, but none could be decoded" : "no frame was found in the source",
        figures.frames > 0 ? "is libZvCodec.so beside libzelvane.so? The log says more: add --log FILE"
                           : "does the source begin with a key frame? The log says more: add --log FILE"};
    return false;
}

int Play(const Options &options) {
    Failure failure;
    // Before the library starts: it leaves handlers alone that are set.
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    if (!OpenLog(options.log, &failure)) return Fail(failure);
    const std::unique_ptr<Source> source = OpenSource(options, &failure);
    if (source == nullptr) return Fail(failure);
    std::unique_ptr<Window>
        window;  // made before the player and gone after it: the library draws in it until it closes
    if (!options.headless) {
        window = Window::Open(options.source + " - zvplay", &failure);
        if (window == nullptr) return Fail(failure);
    }
    Player player;
    if (!player.Open(&failure)) return Fail(failure);
    if (window != nullptr && !player.Show(window->Id(), &failure)) return Fail(failure);

    Status status(options);
    PlayLoop loop(options, source.get(), &player, window.get(), &status);
    const bool played = loop.Run(&failure);
    const Figures figures = player.Read();
    const PlayState state = loop.State();
    player.Close();
    CloseLog();
    status.Report(figures, state, source->Remark());
    return played && CheckResult(figures, &failure) ? kExitOk : Fail(failure);
}

int Main(int argc, char **argv) {
    Options options;
    Failure failure;
    if (!ParseOptions(argc, argv, &options, &failure)) return Fail(failure);
    if (options.help) return std::fputs(HelpText(), stdout) < 0;
    if (options.version) {
        const ULONG_32 version = Zelvane_GetVersion();
        return std::printf("zvplay, Zelvane %u.%u.%u\n", version & 255, version >> 8 & 255, version >> 16) < 0;
    }
    return Play(options);
}

}  // namespace
}  // namespace zvplay

int main(int argc, char **argv) { return zvplay::Main(argc, argv); }
