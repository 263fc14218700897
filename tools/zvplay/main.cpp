/**
 * zvplay: plays cameras, recordings and captured data through the Zelvane library, and shows how a client uses it.
 *
 * The road: OpenLog() takes the library's log, Player holds the library's port, Window the X11 window that the library
 * draws in. There are four kinds of sources: recordings, which the library reads and FileLoop steers; cloud recordings,
 * which it fetches by the playlists that CloudLoop hands in; streams that it receives from the network while NetLoop
 * waits; and captured data, which OpenSource() cuts into pieces and PushLoop gives to the port when their time has come.
 */
#include <csignal>
#include <cstdio>
#include <memory>

#include "address.h"
#include "cloud_loop.h"
#include "common/mapped_file.h"
#include "failure.h"
#include "file_loop.h"
#include "log_file.h"
#include "net_loop.h"
#include "options.h"
#include "player.h"
#include "push_loop.h"
#include "rtsp_loop.h"
#include "source.h"
#include "status.h"
#include "talk_loop.h"
#include "window.h"

namespace zvplay {
namespace {

int Fail(const Failure &failure) { return tools::PrintFailure("zvplay", failure); }

void OnSignal(int signal) { PlayLoop::Interrupt(signal); }

/** What is to be played. */
struct Plan {
    bool network = false, rtsp = false, recording = false, cloud = false;
    Address address;                 ///< of a stream from the network
    std::unique_ptr<Source> source;  ///< of captured data
    std::unique_ptr<VoiceSource> voice;  ///< what is said to the camera; null for nothing
    std::vector<Address> listeners;      ///< further cameras that hear it
};

/** Opens what is to be said and finds those who are to hear it. */
bool MakeTalkPlan(const Options &options, Plan *plan, Failure *failure) {
    bool tcp = plan->network && plan->address.tcp;
    for (const std::string &name : options.listeners) {
        Address &address = plan->listeners.emplace_back();
        if (!ParseAddress(name, &address, failure) || !Resolve(&address, failure)) return false;
        tcp = tcp && address.tcp;
    }
    if (!tcp) {
        *failure = {kExitUsage, "--talk talks over the connection to a camera", "name one: tcp://HOST:PORT"};
        return false;
    }
    plan->voice = OpenVoiceSource(options.talk, failure);
    return plan->voice != nullptr;
}

/** Recordings are opened by the library, but what is no file at all gets the words that captures get. */
bool CheckRecording(const Options &options, Failure *failure) {
    if (options.fps > 0) {
        *failure = {kExitUsage, "--fps is for .264, .265 and JPEG: a recording has times of its own", ""};
        return false;
    }
    tools::MappedFile file;
    return file.Open(options.source, failure);
}

/** Finds out what the source is, and opens it as far as that needs no library. */
bool MakePlan(const Options &options, Plan *plan, Failure *failure) {
    plan->cloud = !options.cache.empty();
    plan->rtsp = !options.rtsp.url.empty();
    plan->network = !plan->cloud && !plan->rtsp && IsAddress(options.source);
    plan->recording = !plan->cloud && !plan->network && !plan->rtsp && IsRecording(options.source);
    if (!plan->recording && (options.start > 0 || options.speed != kNormalSpeed || options.loop)) {
        *failure = {kExitUsage, "--start, --speed and --loop are for recordings", "see zvplay --help"};
        return false;
    }
    if (plan->network && (!ParseAddress(options.source, &plan->address, failure) || !Resolve(&plan->address, failure))) {
        return false;
    }
    if (!options.talk.empty()) return MakeTalkPlan(options, plan, failure);
    if (plan->network || plan->cloud || plan->rtsp) return true;
    if (plan->recording) return CheckRecording(options, failure);
    plan->source = OpenSource(options, failure);
    return plan->source != nullptr;
}

bool OpenRecording(const Options &options, Player *player, Failure *failure) {
    if (!player->OpenRecording(options.source, options.headless && !options.fast, failure)) return false;
    const uint32_t length = player->Length();
    if (options.start == 0 || options.start < length) return true;
    *failure = {kExitUsage, "--start lies behind the end: the recording has " + std::to_string(length) + " s", ""};
    return false;
}

/** One camera is talked with, several hear a broadcast. */
ULONG_32 TalkService(const Plan &plan) {
    return plan.listeners.empty() ? PLAYER_VOICE_SERVICE_TALKBACK_INPUT : PLAYER_VOICE_SERVICE_BROADCAST_INPUT;
}

/** Joins the player's port and all others for the talk. @return null with the failure filled */
std::unique_ptr<Talk> OpenTalk(const Options &options, Plan *plan, const Player &player, Failure *failure) {
    auto talk = std::make_unique<Talk>(std::move(plan->voice));
    talk->Join(player.Port());
    for (const Address &address : plan->listeners) {
        if (!talk->Open(address, failure)) return nullptr;
    }
    talk->Start(options.headless || !talk->IsLive());
    return talk;
}

bool OpenPort(const Options &options, const Plan &plan, Player *player, Failure *failure) {
    if (!player->Open(failure) || !player->SetKeys(options.rsa_key, options.password, failure)) return false;
    if (plan.voice != nullptr) return player->OpenTalk(plan.address, TalkService(plan), failure);
    if (plan.rtsp) return true;  // when the server has said what it sends
    if (plan.network) return player->OpenNetwork(plan.address, failure);
    if (plan.cloud) return player->OpenCloud(options.cache, options.cache_limit, failure);
    return plan.recording ? OpenRecording(options, player, failure) : player->OpenPushed(failure);
}

/** @return null with the failure filled */
std::unique_ptr<PlayLoop> MakeLoop(const Options &options, const Plan &plan, Talk *talk, Player *player,
                                   Window *window, Status *status, Failure *failure) {
    if (plan.cloud) {
        auto loop = std::make_unique<CloudLoop>(options, player, window, status);
        return loop->Open(failure) ? std::move(loop) : nullptr;
    }
    if (plan.rtsp) return std::make_unique<RtspLoop>(options, player, window, status);
    if (talk != nullptr) return std::make_unique<TalkLoop>(options, talk, player, window, status);
    if (plan.network) return std::make_unique<NetLoop>(options, player, window, status);
    if (plan.recording) return std::make_unique<FileLoop>(options, player, window, status);
    return std::make_unique<PushLoop>(options, plan.source.get(), player, window, status);
}

/** An end that looks like success and is none. */
bool CheckResult(const Figures &figures, const PlayState &state, const Plan &plan, Failure *failure) {
    if (state.talk.sent > 0 || figures.pictures > 0 || (figures.frames == 0 && figures.sounds > 0)) return true;
    *failure = {
        kExitNoPicture,
        figures.frames > 0 ? "frames were found, but none could be decoded" : "no frame was found in the source",
        "does the source begin with a key frame? The log says more: add --log FILE"};
    if (NotDescrambled() > 0) {
        failure->advice = "the stream is scrambled, and not for this key; see --rsa-key and --password";
    } else if (plan.recording) {
        failure->advice = "zvprobe tells what is in the file";
    } else if (figures.frames > 0 && CodecsMissing()) {
        failure->advice = "is libZvCodec.so beside libzelvane.so? The log says more: add --log FILE";
    } else if (plan.cloud) {
        failure->advice = "what the server said stands above; the log says more: add --log FILE";
    } else if (plan.network && figures.frames == 0) {
        failure->advice = "is the sender running, and does it send to this address?";
    }
    return false;
}

int Play(const Options &options) {
    Failure failure;
    Plan plan;
    // Before the library starts: it leaves handlers alone that are set.
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    std::signal(SIGHUP, OnSignal);
    std::signal(SIGPIPE, SIG_IGN);
    if (!OpenLog(options.log, &failure) || !MakePlan(options, &plan, &failure)) return Fail(failure);
    std::unique_ptr<Window>
        window;  // made before the player and gone after it: the library draws in it until it closes
    if (!options.headless) {
        window = Window::Open(options.source + " - zvplay", &failure);
        if (window == nullptr) return Fail(failure);
    }
    Player player;
    if (!OpenPort(options, plan, &player, &failure)) return Fail(failure);

    std::unique_ptr<Talk> talk;
    if (!options.talk.empty() && (talk = OpenTalk(options, &plan, player, &failure)) == nullptr) return Fail(failure);
    Status status(options);
    const std::unique_ptr<PlayLoop> loop = MakeLoop(options, plan, talk.get(), &player, window.get(), &status, &failure);
    if (loop == nullptr) return Fail(failure);
    const bool played = loop->Run(&failure);
    const Figures figures = player.Read();
    const PlayState state = loop->FullState();
    talk.reset();
    player.Close();
    CloseLog();
    status.Report(figures, state, loop->Saved(), plan.source != nullptr ? plan.source->Remark() : loop->Remark());
    if (!played || !CheckResult(figures, state, plan, &failure)) return Fail(failure);
    return tools::FinishReport("zvplay", kExitOk);
}

int Main(int argc, char **argv) {
    Options options;
    Failure failure;
    const bool understood = ParseOptions(argc, argv, &options, &failure);
    for (int i = 1; i < argc; ++i) tools::EraseLogin(argv[i]);  // ps shows the command line to everybody
    if (!understood) return Fail(failure);
    if (!options.help && !options.version) return Play(options);
    const ULONG_32 version = Zelvane_GetVersion();
    if (options.help) {
        std::fputs(HelpText(), stdout);
    } else {
        std::printf("zvplay, Zelvane %u.%u.%u\n", version & 255, version >> 8 & 255, version >> 16);
    }
    return tools::FinishReport("zvplay", kExitOk);
}

}  // namespace
}  // namespace zvplay

int main(int argc, char **argv) { return zvplay::Main(argc, argv); }
