#include "source/talk.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "codec/g711.h"

Bytes Sound(size_t bytes, uint32_t number) {
    Bytes pcm(bytes);
    uint32_t state = number * 2654435761U + 1;
    for (uint8_t &byte : pcm) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<uint8_t>(state >> 24);
    }
    return pcm;
}

Bytes MuLaw(Span pcm) {
    Bytes result(pcm.size() / 2 + 1);
    ULONG_32 length = 0;
    EXPECT_EQ(G711Encoder(pcm.data(), static_cast<ULONG_32>(pcm.size()), result.data(), &length, G711_LAW_MU), 0);
    result.resize(length);
    return result;
}

bool OpenTalk(ULONG_32 port, uint16_t server, ULONG_32 type) {
    return Zelvane_OpenVoiceSvc(port, type, 0, nullptr, 0, "127.0.0.1", server, PLAYER_PROTOCOL_TCP) != 0;
}

bool OpenUdpTalk(ULONG_32 port, ULONG_32 type) {
    return Zelvane_OpenVoiceSvc(port, type, 0, nullptr, 0, "127.0.0.1", 9, PLAYER_PROTOCOL_UDP) != 0;
}

bool Say(ULONG_32 port, Span pcm) {
    return Zelvane_VoiceInputData(port, pcm.data(), static_cast<ULONG_32>(pcm.size()), nullptr) != 0;
}

bool Device::Take(std::vector<Heard> *all) {
    if (m_data.size() < 4) {
        return false;
    }
    EXPECT_EQ(m_data[0], '$') << "out of step behind " << all->size() << " messages";
    const size_t length = static_cast<size_t>(m_data[2]) << 8 | m_data[3];
    if (m_data[0] != '$' || m_data.size() < 4 + length || length < 12) {
        return false;
    }
    const uint8_t *p = m_data.data() + 4;
    all->push_back({m_data[1], p[1], static_cast<uint16_t>(p[2] << 8 | p[3]),
                    static_cast<uint32_t>(p[4] << 24 | p[5] << 16 | p[6] << 8 | p[7]),
                    static_cast<uint32_t>(p[8] << 24 | p[9] << 16 | p[10] << 8 | p[11]), Bytes(p + 12, p + length)});
    m_data.erase(m_data.begin(), m_data.begin() + static_cast<ptrdiff_t>(4 + length));
    return true;
}

std::vector<Heard> Device::Hear(size_t count) {
    std::vector<Heard> all;
    const int patience = count == SIZE_MAX ? 300 : 10000;
    while (all.size() < count) {
        if (Take(&all)) {
            continue;
        }
        pollfd wait = {m_socket.Fd(), POLLIN, 0};
        uint8_t buffer[4096];
        const ssize_t got = poll(&wait, 1, patience) == 1 ? recv(m_socket.Fd(), buffer, sizeof(buffer), 0) : 0;
        if (got <= 0) {
            break;
        }
        m_data.insert(m_data.end(), buffer, buffer + got);
    }
    return all;
}

Pair Pair::Make() {
    const support::TcpServer server;
    support::Socket near(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int small = 4096;
    setsockopt(near.Fd(), SOL_SOCKET, SO_SNDBUF, &small, sizeof(small));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(server.Port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(near.Fd(), reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    return {std::move(near), Device(server.Accept())};
}
