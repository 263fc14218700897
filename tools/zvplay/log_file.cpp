#include "log_file.h"

#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>

#include "player_sdk_func.h"

namespace zvplay {
namespace {

std::mutex mutex;  // guards `file`: lines come from every thread of the library
std::FILE *file = nullptr;
std::atomic<bool> sound_failed{false};
std::atomic<bool> stream_ended{false};
std::atomic<unsigned> not_descrambled{0};
std::atomic<bool> codecs_missing{false};
std::string not_taken;  // guarded by `mutex`
std::atomic<const char *> record_trouble{""};

/** Lines about a recording that failed, and what they mean. */
const struct {
    const char *line, *meaning;
} kRecordTroubles[] = {{"Record: Rename ", "the file could not be given its name"},
                       {"Call AVI_enc_frame failed", "a frame could not be written"}};

void TakeRecordTrouble(const char *text) {
    for (const auto &row : kRecordTroubles) {
        if (std::strstr(text, row.line) != nullptr) record_trouble.store(row.meaning);
    }
}

const char *const kLevels[] = {"-", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

void TakeLine(ULONG_32 level, ULONG_32, ULONG_32, const CHAR *source, ULONG_32 line, const CHAR *text) {
    const bool about_sound = std::strstr(text, "Audio_OpenSound Failed") != nullptr ||
                             std::strstr(text, "Audio_CreatePlayDec Failed") != nullptr;
    if (about_sound) sound_failed.store(true, std::memory_order_relaxed);
    if (std::strstr(text, "dlopen libZvCodec.so Failed") != nullptr) codecs_missing.store(true);
    TakeRecordTrouble(text);
    if (std::strstr(text, "NetRecv Thread: NET_RecvPacket Failed") != nullptr) stream_ended.store(true);
    if (std::strstr(text, "Player_PrepareFrame Failed") != nullptr) not_descrambled.fetch_add(1);
    const std::lock_guard<std::mutex> guard(mutex);
    const char *form = std::strstr(text, "Not Taken: ");
    if (form != nullptr && not_taken.empty()) not_taken = form + std::strlen("Not Taken: ");
    if (file == nullptr) return;
    timeval now = {};
    tm parts = {};
    gettimeofday(&now, nullptr);
    localtime_r(&now.tv_sec, &parts);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &parts);
    const char *slash = std::strrchr(source, '/');
    std::fprintf(file, "%s.%03d %-5s %s:%u %s\n", stamp, static_cast<int>(now.tv_usec / 1000),
                 level < std::size(kLevels) ? kLevels[level] : "?", slash != nullptr ? slash + 1 : source, line, text);
}

}  // namespace

bool OpenLog(const std::string &path, Failure *failure) {
    if (!path.empty()) {
        const std::lock_guard<std::mutex> guard(mutex);
        file = std::fopen(path.c_str(), "we");
        if (file == nullptr) {
            *failure = {kExitUsage, path + ": " + std::strerror(errno), "name a log file that can be written"};
            return false;
        }
        std::setvbuf(file, nullptr, _IOLBF, 0);
    }
    Zelvane_SetWriteLogCB(TakeLine);
    return true;
}

bool SoundFailed() { return sound_failed.load(std::memory_order_relaxed); }

std::string NotTaken() {
    const std::lock_guard<std::mutex> guard(mutex);
    return not_taken;
}

bool CodecsMissing() { return codecs_missing.load(); }

const char *RecordTrouble() { return record_trouble.load(); }

void ForgetRecordTrouble() { record_trouble.store(""); }

bool StreamEnded() { return stream_ended.load(); }

unsigned NotDescrambled() { return not_descrambled.load(); }

void CloseLog() {
    const std::lock_guard<std::mutex> guard(mutex);
    if (file != nullptr) std::fclose(file);
    file = nullptr;
}

}  // namespace zvplay
