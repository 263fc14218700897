#include "common/failure.h"

#include <cerrno>
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

int FinishReport(const char *program, int code) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
    return PrintFailure(program, {kExitOutput, std::string("standard output: ") + std::strerror(errno),
                                  "the report is lost or cut: make room, or send it elsewhere"});
}

}  // namespace tools
