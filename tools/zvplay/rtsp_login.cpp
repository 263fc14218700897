#include "rtsp_login.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace zvplay {
namespace {

constexpr size_t kMaxPassword = 1024;

/** A pipe will do as well: --password-file <(secret-tool ...). */
bool ReadPassword(const std::string &file, std::string *password, Failure *failure) {
    char line[kMaxPassword + 1] = {};
    std::ifstream stream(file);
    if (!stream) {
        *failure = {kExitSource, file + ": " + std::strerror(errno), "--password-file names a file with the password"};
        return false;
    }
    stream.getline(line, sizeof line);
    *password = line;
    if (!password->empty() && password->back() == '\r') password->pop_back();
    if (!password->empty() && (stream.eof() || !stream.fail())) return true;
    *failure = {kExitUsage, file + ": its first line is no password", "write the password into it, and nothing else"};
    return false;
}

}  // namespace

bool TakeLogin(const std::string &source, const std::string &file, tools::RtspUrl *url, Failure *failure) {
    if (!tools::ParseRtspUrl(source, url, failure)) return false;
    const char *value = std::getenv("ZVPLAY_RTSP_PASSWORD");
    if (value != nullptr && url->password.empty()) url->password = value;
    unsetenv("ZVPLAY_RTSP_PASSWORD");
    return file.empty() || ReadPassword(file, &url->password, failure);
}

}  // namespace zvplay
