/** Where the login of an RTSP server comes from. */
#ifndef ZVPLAY_RTSP_LOGIN_H
#define ZVPLAY_RTSP_LOGIN_H

#include <string>

#include "common/rtsp_text.h"
#include "failure.h"

namespace zvplay {

/**
 * Takes an address apart. A password is the first of: the first line of `file`, the address's, that of the environment's
 * ZVPLAY_RTSP_PASSWORD, which is then removed from it.
 * @param file empty for none
 * @return false with the failure filled
 */
bool TakeLogin(const std::string &source, const std::string &file, tools::RtspUrl *url, Failure *failure);

}  // namespace zvplay

#endif
