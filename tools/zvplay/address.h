/** Addresses of streams from the network. */
#ifndef ZVPLAY_ADDRESS_H
#define ZVPLAY_ADDRESS_H

#include <cstdint>
#include <string>

#include "failure.h"

namespace zvplay {

/** Where a stream comes from. */
struct Address {
    bool tcp = false;  ///< connect there; else take datagrams that arrive here
    std::string host;  ///< TCP: the peer; UDP: the local address, empty for all
    uint16_t port = 0;
};

/** Whether a source is an address and no file. */
bool IsAddress(const std::string &source);

/**
 * Reads "udp://:port", "udp://LOCAL:port" and "tcp://host:port", an IPv6 address in brackets, with "?ts" behind it or
 * not: the library finds out itself whether RTP or MPEG-TS comes.
 * @return false with the failure filled
 */
bool ParseAddress(const std::string &source, Address *address, Failure *failure);

/** Turns the host into an address in figures, which is what the library takes. @return false with the failure filled */
bool Resolve(Address *address, Failure *failure);

}  // namespace zvplay

#endif
