#include "watermark.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <future>

#include "common/json_text.h"
#include "common/library_failure.h"
#include "player_sdk_func.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLook(50);
constexpr double kLong = 1;  // seconds after which a check tells that it still runs

volatile std::sig_atomic_t interrupted = 0;

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** The library with one port. */
class Library {
 public:
    Library() {
        Zelvane_SetWriteLogCB(DropLine);
        started_ = Zelvane_Init();
        allocated_ = started_ && Zelvane_AllocPort(&port_);
    }
    ~Library() {
        if (allocated_) Zelvane_FreePort(port_);
        if (started_) Zelvane_Cleanup();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    bool IsReady() const { return allocated_; }
    ULONG_32 Port() const { return port_; }

 private:
    bool started_ = false, allocated_ = false;
    ULONG_32 port_ = 0;
};

/** What the check found. */
struct Result {
    PLAYER_MARK_INFO_S info = {};
    tools::Failure failure;
    bool checked = false;
    double seconds = 0;

    ~Result() { Zelvane_FreeMarkInfo(&info); }
    /** The clear text without what fills it up. */
    std::string Text() const {
        std::string text(info.szMarkInfo, strnlen(info.szMarkInfo, 256));
        text.erase(text.find_last_not_of(' ') + 1);
        return text;
    }
    /** Whether the check came to the frames. */
    bool IsOpened() const { return checked || info.pastUnmarkTimeList != nullptr; }
    bool IsFull() const { return info.ulUnmarkCount >= PLAYER_MARK_LIST_NUM; }
};

double Since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/** Runs the check on a thread of its own, while this one waits for its end and for ctrl-C. */
void Run(ULONG_32 port, const std::string &path, Result *result) {
    const Clock::time_point start = Clock::now();
    std::future<void> check = std::async(std::launch::async, [&] {
        result->checked = Zelvane_CheckMark(port, path.c_str(), &result->info);
        if (!result->checked) result->failure = tools::LibraryFailure(path + ": the check failed");
    });
    const bool live = isatty(STDERR_FILENO) == 1;
    bool told = false;
    while (check.wait_for(kLook) != std::future_status::ready) {
        if (interrupted != 0) Zelvane_CheckMarkCancel(port);  // again and again: the check may not have begun
        if (!live || Since(start) < kLong) continue;
        std::fprintf(stderr, "\r\033[Kchecking %s: %.0f s", path.c_str(), Since(start));
        told = true;
    }
    if (told) std::fputs("\r\033[K", stderr);
    check.get();
    result->seconds = Since(start);
}

const char *StateName(ULONG_32 state) { return state == CHECK_STATE_NOMARK ? "no mark" : "wrong mark"; }

const char *Verdict(const Result &result) {
    if (!result.IsOpened()) return "not opened";
    if (interrupted != 0) return "interrupted";
    if (result.info.bHaveWaterMark == 0) return "no right watermark in it";
    return result.info.ulUnmarkCount > 0 ? "changed" : "unchanged";
}

void PrintText(const std::string &path, const Result &result) {
    for (ULONG i = 0; i < result.info.ulUnmarkCount; ++i) {
        const PLAYER_CHECK_MARK_INFO &entry = result.info.pastUnmarkTimeList[i];
        std::printf("%02u:%02u:%02u  %s\n", entry.ulPlayTime / 3600, entry.ulPlayTime / 60 % 60, entry.ulPlayTime % 60,
                    StateName(entry.ulState));
    }
    std::printf("%s: %s, %lu key frames failed%s, in %.1f s\n", path.c_str(), Verdict(result),
                result.info.ulUnmarkCount, result.IsFull() ? " and the check ended there" : "", result.seconds);
    if (result.info.bHaveWaterMark != 0) std::printf("watermark: %s\n", result.Text().c_str());
}

void PrintJson(const std::string &path, const Result &result, bool good) {
    std::printf("{\"file\": %s, \"ok\": %s, \"verdict\": \"%s\", \"watermark\": %s, \"failures\": [",
                tools::JsonText(path).c_str(), good ? "true" : "false", Verdict(result),
                result.info.bHaveWaterMark != 0 ? tools::JsonText(result.Text()).c_str() : "null");
    for (ULONG i = 0; i < result.info.ulUnmarkCount; ++i) {
        const PLAYER_CHECK_MARK_INFO &entry = result.info.pastUnmarkTimeList[i];
        std::printf("%s{\"time\": %u, \"state\": \"%s\"}", i > 0 ? ", " : "", entry.ulPlayTime,
                    StateName(entry.ulState));
    }
    std::printf("], \"complete\": %s, \"seconds\": %.3f}\n",
                result.checked && interrupted == 0 && !result.IsFull() ? "true" : "false", result.seconds);
}

}  // namespace

int CheckWatermark(const std::string &path, bool json, int bad, tools::Failure *failure) {
    // Before the library starts: it leaves handlers alone that are set.
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
    const Library library;
    if (!library.IsReady()) {
        *failure = tools::LibraryFailure("the library does not start");
        return failure->exit_code;
    }
    Result result;
    Run(library.Port(), path, &result);
    if (!result.IsOpened() && !json) {
        *failure = result.failure;
        failure->exit_code = tools::kExitSource;
        failure->advice = "zvprobe without --watermark tells what is in the file";
        return failure->exit_code;
    }
    const bool good =
        result.checked && interrupted == 0 && result.info.bHaveWaterMark != 0 && result.info.ulUnmarkCount == 0;
    if (json) {
        PrintJson(path, result, good);
    } else {
        PrintText(path, result);
        if (!result.checked) tools::PrintFailure("zvprobe", result.failure);
    }
    if (!result.IsOpened()) return tools::kExitSource;
    return interrupted != 0 ? kExitInterrupted : good ? tools::kExitOk : bad;
}

}  // namespace zvprobe
