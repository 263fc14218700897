#include "zvcam/sockets.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace zvcam {
namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Socket Fail(Failure *failure, const Destination &destination, const std::string &what, const char *advice) {
    *failure = {kExitNetwork, destination.text + ": " + what, advice};
    return Socket();
}

Addresses Resolve(const Destination &destination, Failure *failure) {
    addrinfo hints = {};
    hints.ai_socktype = destination.tcp ? SOCK_STREAM : SOCK_DGRAM;
    hints.ai_flags = destination.tcp ? AI_PASSIVE : 0;
    hints.ai_family = destination.host.empty() ? AF_INET : AF_UNSPEC;
    addrinfo *result = nullptr;
    const int error = getaddrinfo(destination.host.empty() ? nullptr : destination.host.c_str(),
                                  destination.port.c_str(), &hints, &result);
    if (error != 0) Fail(failure, destination, gai_strerror(error), "check the host's name, or write its address");
    return {result, freeaddrinfo};
}

Socket Make(const addrinfo &address) {
    return Socket(socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address.ai_protocol));
}

std::string Text(const sockaddr_storage &address, socklen_t length) {
    char host[NI_MAXHOST], port[NI_MAXSERV];
    if (getnameinfo(reinterpret_cast<const sockaddr *>(&address), length, host, sizeof host, port, sizeof port,
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "?";
    }
    return (address.ss_family == AF_INET6 ? "[" + std::string(host) + "]" : host) + ":" + port;
}

const char *BindAdvice(int error) {
    switch (error) {
        case EADDRINUSE:
            return "another program has the port: stop it, or take another port (0 takes a free one)";
        case EACCES:
            return "ports below 1024 belong to the administrator: take a higher one";
        case EADDRNOTAVAIL:
            return "the address is not one of this machine: leave the host out to take them all";
        default:
            return "";
    }
}

}  // namespace

void Socket::Close() {
    if (fd_ >= 0) close(std::exchange(fd_, -1));
}

void Socket::Reset() {
    const linger now = {1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Close();
}

Socket ConnectUdp(const Destination &destination, Failure *failure) {
    const Addresses addresses = Resolve(destination, failure);
    if (addresses == nullptr) return Socket();
    Socket result = Make(*addresses);
    const int room = 4 << 20, on = 1;
    setsockopt(result.Fd(), SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    setsockopt(result.Fd(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    if (!result.IsOpen() || connect(result.Fd(), addresses->ai_addr, addresses->ai_addrlen) != 0) {
        return Fail(failure, destination, std::strerror(errno), "is there a way to this address?");
    }
    return result;
}

Socket ListenTcp(const Destination &destination, Failure *failure) {
    const Addresses addresses = Resolve(destination, failure);
    if (addresses == nullptr) return Socket();
    Socket result = Make(*addresses);
    const int on = 1;
    setsockopt(result.Fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (!result.IsOpen() || bind(result.Fd(), addresses->ai_addr, addresses->ai_addrlen) != 0 ||
        listen(result.Fd(), 128) != 0) {
        const int error = errno;
        return Fail(failure, destination, std::strerror(error), BindAdvice(error));
    }
    return result;
}

Socket AcceptTcp(const Socket &listener, std::string *peer) {
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    Socket result(
        accept4(listener.Fd(), reinterpret_cast<sockaddr *>(&address), &length, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!result.IsOpen()) return result;
    const int on = 1;
    setsockopt(result.Fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    *peer = Text(address, length);
    return result;
}

std::string LocalAddress(const Socket &socket) {
    sockaddr_storage address = {};
    socklen_t length = sizeof address;
    if (getsockname(socket.Fd(), reinterpret_cast<sockaddr *>(&address), &length) != 0) return "?";
    return Text(address, length);
}

}  // namespace zvcam
