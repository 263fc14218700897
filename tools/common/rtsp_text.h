/** What an RTSP client reads in addresses and in the heads of responses (RFC 2326). No sockets here. */
#ifndef TOOLS_RTSP_TEXT_H
#define TOOLS_RTSP_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "common/failure.h"

namespace tools {

/** An address, and the login apart from it. */
struct RtspUrl {
    std::string url;  ///< without user and password
    std::string user, password;
};

/** Whether a source is an RTSP address. */
bool IsRtsp(std::string_view source);

/** Takes an address apart; user and password may have "%40" and the like. @return false with the failure filled */
bool ParseRtspUrl(const std::string &source, RtspUrl *url, Failure *failure);

/** An address without user and password, however odd it is: for messages. Other text stays as it is. */
std::string WithoutLogin(std::string_view source);

/** Takes the login out of an RTSP address in place, for what `ps` shows of a command line. */
void EraseLogin(char *source);

/** What of the head of a response counts. */
struct RtspHead {
    std::string base;      ///< Content-Base, else Content-Location; empty for none
    std::string moved_to;  ///< Location, without login
    bool has_get_parameter = false;
    uint32_t timeout = 60;  ///< seconds that the session lives without a sign of the client
    int channel = -1;       ///< first interleaved channel that the server chose; -1: it said nothing
    uint32_t lines = 0;     ///< that came

    /** Reads one header line. Lines of no interest, too long or damaged are passed over. */
    void Take(std::string_view line);
};

inline constexpr size_t kMaxHeadLine = 4096;
inline constexpr uint32_t kMaxHeadLines = 200;

/** The address of a track or of the whole session. @param control as its description has it */
std::string ControlUrl(const std::string &base, const std::string &control);

}  // namespace tools

#endif
