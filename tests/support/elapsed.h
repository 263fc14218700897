// How long a call takes.
#ifndef ZELVANE_TESTS_SUPPORT_ELAPSED_H
#define ZELVANE_TESTS_SUPPORT_ELAPSED_H

#include <chrono>

template <class Call>
long ElapsedMs(Call pfnCall) {
    auto stStart = std::chrono::steady_clock::now();
    pfnCall();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - stStart).count();
}

#endif
