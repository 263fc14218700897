/**
 * @file xvfb.h
 * @brief An X server of the tests' own, so that they need no screen and no window manager moves their windows.
 */
#ifndef ZELVANE_TESTS_SUPPORT_XVFB_H
#define ZELVANE_TESTS_SUPPORT_XVFB_H

#include <sys/types.h>

#include <string>

namespace support {

/** A virtual X server of 1920x1080 in 24 bits; ends with the object, at the latest with the process. */
class Xvfb {
 public:
    Xvfb();
    ~Xvfb();
    Xvfb(const Xvfb &) = delete;
    Xvfb &operator=(const Xvfb &) = delete;

    /** Ends the server now. */
    void Stop();
    /** Its display name; empty if it could not be started. */
    const std::string &Name() const { return m_name; }

 private:
    pid_t m_pid = -1;
    std::string m_name;
};

/** The one server that the tests of this process share, started at the first call. Null if there is none to be had. */
const char *SharedDisplay();

}  // namespace support

#endif
