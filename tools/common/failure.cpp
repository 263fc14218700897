#include "common/failure.h"

#include <cstdio>
#include <cstring>

namespace tools {

int PrintFailure(const char *program, const Failure &failure) {
    std::fprintf(stderr, "%s: %s\n", program, failure.what.c_str());
    if (!failure.advice.empty()) {
        std::fprintf(stderr, "%*s%s\n", static_cast<int>(std::strlen(program)) + 2, "", failure.advice.c_str());
    }
    return failure.exit_code;
}

}  // namespace tools
