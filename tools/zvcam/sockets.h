/** Sockets of the camera. All are non-blocking. */
#ifndef ZVCAM_SOCKETS_H
#define ZVCAM_SOCKETS_H

#include <string>
#include <utility>

#include "zvcam/options.h"

namespace zvcam {

/** Owns a descriptor. */
class Socket {
 public:
    explicit Socket(int fd = -1) : fd_(fd) {}
    Socket(Socket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket &operator=(Socket &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket() { Close(); }

    int Fd() const { return fd_; }
    bool IsOpen() const { return fd_ >= 0; }
    void Close();
    /** Closes a TCP connection with a reset. */
    void Reset();

 private:
    int fd_;
};

/** A datagram socket that is connected to the destination. @return closed with the failure filled */
Socket ConnectUdp(const Destination &destination, Failure *failure);

/** A socket that listens there. @return closed with the failure filled */
Socket ListenTcp(const Destination &destination, Failure *failure);

/** Takes the next client of a listening socket. @param peer its address. @return closed if there is none; errno tells */
Socket AcceptTcp(const Socket &listener, std::string *peer);

/** "host:port" of the socket's own end. */
std::string LocalAddress(const Socket &socket);

}  // namespace zvcam

#endif
