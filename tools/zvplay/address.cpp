#include "address.h"

#include <netdb.h>
#include <sys/socket.h>

#include <charconv>
#include <memory>

namespace zvplay {
namespace {

bool Fail(Failure *failure, const std::string &what) {
    *failure = {kExitUsage, what, "an address is udp://:5004, udp://LOCAL:5004 or tcp://HOST:8554"};
    return false;
}

bool ParsePort(const std::string &text, uint16_t *port) {
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, *port);
    return error == std::errc() && at == end && *port != 0;
}

}  // namespace

bool IsAddress(const std::string &source) { return source.find("://") != std::string::npos; }

bool ParseAddress(const std::string &source, Address *address, Failure *failure) {
    const size_t colon = source.find("://");
    const std::string kind = source.substr(0, colon);
    std::string rest = colon == std::string::npos ? "" : source.substr(colon + 3);
    if (kind != "udp" && kind != "tcp") return Fail(failure, source + ": neither udp:// nor tcp://");
    address->tcp = kind == "tcp";
    if (const size_t mark = rest.find('?'); mark != std::string::npos) {
        if (rest.substr(mark) != "?ts") return Fail(failure, source + ": nothing but ?ts can stand behind the port");
        rest.resize(mark);
    }
    const size_t last = rest.rfind(':');
    if (last == std::string::npos || !ParsePort(rest.substr(last + 1), &address->port)) {
        return Fail(failure, source + ": no port from 1 to 65535");
    }
    address->host = rest.substr(0, last);
    const bool brackets = address->host.size() > 2 && address->host.front() == '[' && address->host.back() == ']';
    if (brackets) address->host = address->host.substr(1, address->host.size() - 2);
    if (!brackets && address->host.find(':') != std::string::npos) {
        return Fail(failure, source + ": an IPv6 address wants brackets, as in tcp://[::1]:8554");
    }
    return address->host.empty() && address->tcp ? Fail(failure, source + ": no host") : true;
}

bool Resolve(Address *address, Failure *failure) {
    if (address->host.empty()) return true;
    addrinfo hints = {};
    hints.ai_socktype = address->tcp ? SOCK_STREAM : SOCK_DGRAM;
    addrinfo *found = nullptr;
    const int error = getaddrinfo(address->host.c_str(), nullptr, &hints, &found);
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(found, freeaddrinfo);
    char figures[NI_MAXHOST] = {};
    if (error != 0 || found == nullptr ||
        getnameinfo(found->ai_addr, found->ai_addrlen, figures, sizeof figures, nullptr, 0, NI_NUMERICHOST) != 0) {
        *failure = {kExitSource, address->host + ": " + gai_strerror(error), "check the host's name and the network"};
        return false;
    }
    address->host = figures;
    return true;
}

}  // namespace zvplay
