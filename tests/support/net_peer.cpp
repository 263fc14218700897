#include "support/net_peer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

extern char **environ;

namespace support {

namespace {

sockaddr_in Loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/** Binds to a port that the system chooses. */
Socket Bound(int type, uint16_t *port) {
    Socket result(socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof(address);
    EXPECT_EQ(bind(result.Fd(), reinterpret_cast<sockaddr *>(&address), length), 0);
    EXPECT_EQ(getsockname(result.Fd(), reinterpret_cast<sockaddr *>(&address), &length), 0);
    *port = ntohs(address.sin_port);
    return result;
}

size_t CountEntries(const char *folder) {
    const auto all = std::filesystem::directory_iterator(folder);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

}  // namespace

Socket &Socket::operator=(Socket &&other) noexcept {
    Close();
    m_fd = other.Release();
    return *this;
}

int Socket::Release() {
    const int fd = m_fd;
    m_fd = -1;
    return fd;
}

void Socket::Close() {
    if (m_fd >= 0) {
        close(Release());
    }
}

void Socket::Reset() {
    const linger now = {1, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    Close();
}

bool Socket::Send(Span data) const {
    while (!data.empty()) {
        const ssize_t sent = send(m_fd, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data = data.subspan(static_cast<size_t>(sent));
    }
    return true;
}

uint16_t FreeUdpPort() {
    uint16_t port = 0;
    Bound(SOCK_DGRAM, &port);
    return port;
}

uint16_t FreeTcpPort() {
    uint16_t port = 0;
    Bound(SOCK_STREAM, &port);
    return port;
}

Socket UdpSender(uint16_t port) {
    Socket result(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in address = Loopback(port);
    EXPECT_EQ(connect(result.Fd(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    return result;
}

TcpServer::TcpServer() : m_socket(Bound(SOCK_STREAM, &m_port)) { EXPECT_EQ(listen(m_socket.Fd(), 64), 0); }

Socket TcpServer::Accept() const {
    pollfd wait = {m_socket.Fd(), POLLIN, 0};
    EXPECT_EQ(poll(&wait, 1, 10000), 1);
    return Socket(accept4(m_socket.Fd(), nullptr, nullptr, SOCK_CLOEXEC));
}

Bytes Framed(Span packet, uint8_t channel) {
    Bytes result(4 + packet.size());
    result[0] = '$';
    result[1] = channel;
    result[2] = static_cast<uint8_t>(packet.size() >> 8);
    result[3] = static_cast<uint8_t>(packet.size());
    std::copy(packet.begin(), packet.end(), result.begin() + 4);
    return result;
}

Bytes FramedAll(const std::vector<Bytes> &packets) {
    Bytes result;
    for (const Bytes &packet : packets) {
        const Bytes framed = Framed(packet);
        result.insert(result.end(), framed.begin(), framed.end());
    }
    return result;
}

int Run(const std::vector<std::string> &command) {
    std::vector<char *> arguments;
    for (const std::string &word : command) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {0, 1, 2}) {
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    }
    pid_t child = 0;
    const int failed = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    return failed == 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}

size_t OpenDescriptors() { return CountEntries("/proc/self/fd"); }

size_t Threads() { return CountEntries("/proc/self/task"); }

}  // namespace support
