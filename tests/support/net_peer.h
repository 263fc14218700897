/**
 * @file net_peer.h
 * @brief Peers of network streams for tests, on the loopback address: a sender of datagrams, a server of framed TCP.
 */
#ifndef ZELVANE_TESTS_SUPPORT_NET_PEER_H
#define ZELVANE_TESTS_SUPPORT_NET_PEER_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/media.h"

namespace support {

/** A descriptor that closes itself. */
class Socket {
 public:
    explicit Socket(int fd = -1) : m_fd(fd) {}
    Socket(Socket &&other) noexcept : m_fd(other.Release()) {}
    Socket &operator=(Socket &&other) noexcept;
    ~Socket() { Close(); }

    int Fd() const { return m_fd; }
    int Release();
    void Close();
    /** Closes with a reset. */
    void Reset();
    /** Sends it all. */
    bool Send(Span data) const;

 private:
    int m_fd;
};

/** A UDP port of the loopback address that nobody has at the moment. */
uint16_t FreeUdpPort();
/** The same for TCP: a connection to it is refused. */
uint16_t FreeTcpPort();

/** A datagram socket that sends to a local port. */
Socket UdpSender(uint16_t port);

/** Listens on the loopback address and takes connections. */
class TcpServer {
 public:
    TcpServer();
    uint16_t Port() const { return m_port; }
    /** Waits for a client, ten seconds at most. */
    Socket Accept() const;

 private:
    uint16_t m_port = 0;
    Socket m_socket;
};

/** A packet behind the head that TCP carries it with. */
Bytes Framed(Span packet, uint8_t channel = 0);

/** All packets framed, one after the other. */
Bytes FramedAll(const std::vector<Bytes> &packets);

/** Runs a program with its output thrown away and gives its exit status. */
int Run(const std::vector<std::string> &command);

/** Descriptors that this process has open. */
size_t OpenDescriptors();
/** Threads that this process has. */
size_t Threads();

}  // namespace support

#endif
