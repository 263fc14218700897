/**
 * @file measure.h
 * @brief What the whole-road programs share: clocks, files, peers started as processes, one line a case.
 */
#ifndef ZELVANE_BENCH_MEASURE_H
#define ZELVANE_BENCH_MEASURE_H

#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace measure {

using Bytes = std::vector<uint8_t>;

inline double Seconds(clockid_t clock) {
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double Wall() { return Seconds(CLOCK_MONOTONIC); }
inline double ProcessCpu() { return Seconds(CLOCK_PROCESS_CPUTIME_ID); }

inline std::string Media(const char *name) {
    const char *folder = getenv("ZELVANE_MEDIA");
    return std::string(folder != nullptr ? folder : "build/media") + "/" + name;
}

inline Bytes ReadAll(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (bytes.empty()) {
        fprintf(stderr, "%s: cannot be read; scripts/bench makes the test streams first\n", path.c_str());
        exit(1);
    }
    return bytes;
}

/** What a peer's process took. */
struct PeerTime {
    double wall;
    double cpu;
    bool ok;
};

inline double CpuOf(const rusage &usage) {
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

/** Runs a command through the shell, with its output thrown away. */
inline PeerTime RunPeer(const std::string &command) {
    const double start = Wall();
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", (command + " >/dev/null 2>&1").c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    return {Wall() - start, CpuOf(usage), WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

/** Ends the program when a result is not what it should be: figures of wrong work mean nothing. */
inline void Require(bool good, const char *what) {
    if (!good) {
        fprintf(stderr, "wrong result: %s\n", what);
        exit(1);
    }
}

}  // namespace measure

#endif
