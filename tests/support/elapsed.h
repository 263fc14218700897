// How long a call takes, and whether a sleeper wakes when it should.
#ifndef ZELVANE_TESTS_SUPPORT_ELAPSED_H
#define ZELVANE_TESTS_SUPPORT_ELAPSED_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

/** Instrumented code is many times slower. Tests that repeat a thing do so a fraction as often there. */
#ifdef ZELVANE_SANITIZED
constexpr int SANITIZED_SLOWDOWN = 5;
#else
constexpr int SANITIZED_SLOWDOWN = 1;
#endif

/** Seconds in which a thing that waits for nothing is over on a busy machine. */
constexpr double SOON_SECONDS = 0.2 * SANITIZED_SLOWDOWN;

template <class Call>
long ElapsedMs(Call pfnCall) {
    auto stStart = std::chrono::steady_clock::now();
    pfnCall();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - stStart).count();
}

/** Runs a wait on a thread of its own, lets it fall asleep and through fnQuiet, which must not end it, and then fnWake,
 * which must. */
inline void ExpectWake(
    const std::function<void()> &fnWait, const std::function<void()> &fnWake,
    const std::function<void()> &fnQuiet = [] {}) {
    std::atomic<bool> bAwake = false;
    std::thread oSleeper([&] {
        fnWait();
        bAwake = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    fnQuiet();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(bAwake);
    EXPECT_LT(ElapsedMs([&] {
                  fnWake();
                  oSleeper.join();
              }),
              2000);
}

#endif
