// Talking to many devices at once: what a port costs, and how long a block takes from the client's hands to the device,
// beside GStreamer's road of the same blocks. Receivers are a process of their own.
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <atomic>

#include "codec/g711.h"
#include "live_camera.h"
#include "player_sdk_func.h"

namespace {

using measure::Bytes;

constexpr size_t PORTS = 128, GROUP = 8, BLOCK_BYTES = 320, RATE = 50, RTP_BYTES = 12 + BLOCK_BYTES / 2;
constexpr double LENGTH = 10;
constexpr size_t BLOCKS = static_cast<size_t>(LENGTH * RATE);

/** What both processes see: when a block was given and when it was there. */
struct Board {
    std::atomic<uint16_t> port;
    std::atomic<size_t> connections, arrived;
    double said[PORTS][BLOCKS], heard[PORTS][BLOCKS];
    double called[PORTS * BLOCKS]; /**< how long the calls of the library took */
};

Board *board;

/** A number in four codes of the law that are no silence, so that they come out as they went in. */
void PutNumber(uint8_t *codes, size_t number) {
    for (int i = 0; i < 4; i++) {
        codes[i] = static_cast<uint8_t>(0x10 + (number >> 4 * i & 15));
    }
}

size_t Number(const uint8_t *codes) {
    size_t number = 0;
    for (int i = 0; i < 4; i++) {
        number |= static_cast<size_t>(codes[i] - 0x10) << 4 * i;
    }
    return number;
}

/** The block of a port: sound whose first samples say whose and which it is. */
Bytes Block(size_t port, size_t number) {
    uint8_t codes[BLOCK_BYTES / 2];
    for (size_t i = 0; i < sizeof codes; i++) {
        codes[i] = static_cast<uint8_t>(i * 37 + number);
    }
    PutNumber(codes, port);
    PutNumber(codes + 4, number);
    Bytes pcm(BLOCK_BYTES);
    ULONG_32 length = 0;
    G711Decoder(codes, sizeof codes, pcm.data(), &length, G711_LAW_MU);
    return pcm;
}

/** One connection of the receivers, whose messages are all as long. */
struct Connection {
    int fd;
    Bytes data;

    void Take(size_t head) {
        uint8_t buffer[8192];
        const ssize_t got = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        const double now = measure::Wall();
        data.insert(data.end(), buffer, buffer + std::max<ssize_t>(got, 0));
        const size_t size = head + RTP_BYTES;
        size_t at = 0;
        for (; at + size <= data.size(); at += size) {
            const uint8_t *codes = data.data() + at + head + 12;
            const size_t port = Number(codes), number = Number(codes + 4);
            if (port < PORTS && number < BLOCKS) {
                board->heard[port][number] = now;
                board->arrived++;
            }
        }
        data.erase(data.begin(), data.begin() + static_cast<long>(at));
    }
};

/** The devices: takes all connections, then notes what comes. @param head bytes in front of each RTP packet */
void Receive(size_t head) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    measure::Require(bind(listener, reinterpret_cast<sockaddr *>(&address), length) == 0 && listen(listener, PORTS) == 0 &&
                         getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) == 0,
                     "listen");
    board->port = ntohs(address.sin_port);
    std::vector<Connection> all;
    std::vector<pollfd> polled;
    while (all.size() < PORTS) {
        all.push_back({accept(listener, nullptr, nullptr), {}});
        polled.push_back({all.back().fd, POLLIN, 0});
        board->connections++;
    }
    while (poll(polled.data(), polled.size(), -1) > 0) {
        for (size_t i = 0; i < all.size(); i++) {
            if (polled[i].revents != 0) {
                all[i].Take(head);
            }
        }
    }
}

void Await(const std::atomic<size_t> &count, size_t wanted, const char *what) {
    const double end = measure::Wall() + 20;
    while (count < wanted && measure::Wall() < end) {
        usleep(10000);
    }
    measure::Require(count >= wanted, what);
}

void Reset() {
    board->port = 0;
    board->connections = board->arrived = 0;
    for (auto &port : board->said) {
        std::fill(std::begin(port), std::end(port), 0);
    }
}

uint16_t AwaitPort() {
    while (board->port == 0) {
        usleep(1000);
    }
    return board->port;
}

/** Gives each port a block every 20 ms, in groups of ports that are spread evenly over that time. */
template <typename Say>
void Talk(Say say) {
    const double start = measure::Wall() + 0.05, step = 1.0 / RATE / PORTS;
    for (size_t i = 0; i < PORTS * BLOCKS; i++) {
        const size_t port = i % PORTS, number = i / PORTS;
        const Bytes block = Block(port, number);
        if (i % GROUP == 0) {
            measure::Cameras::SleepUntil(start + static_cast<double>(i) * step);
        }
        board->said[port][number] = measure::Wall();
        say(port, block);
        board->called[i] = measure::Wall() - board->said[port][number];
    }
    Await(board->arrived, PORTS * BLOCKS, "blocks arrive");
}

void Print(const char *name, double cpu, bool calls) {
    std::vector<double> delays;
    for (size_t port = 0; port < PORTS; port++) {
        for (size_t number = 0; number < BLOCKS; number++) {
            delays.push_back(board->heard[port][number] - board->said[port][number]);
        }
    }
    const auto at = [](std::vector<double> &all, double part) {
        std::sort(all.begin(), all.end());
        return all[static_cast<size_t>(static_cast<double>(all.size() - 1) * part)] * 1e6;
    };
    printf("%-36s %.4f %% of a core a port; block to device: median %.0f us, p99 %.0f us, p99.9 %.0f us", name,
           cpu / LENGTH / PORTS * 100, at(delays, 0.5), at(delays, 0.99), at(delays, 0.999));
    if (calls) {
        std::vector<double> called(board->called, board->called + PORTS * BLOCKS);
        printf("; input to wire (the call): median %.0f us, p99 %.0f us", at(called, 0.5), at(called, 0.99));
    }
    printf("\n");
}

/** The floor: ready packets by plain sends, from the same loop. */
void PlainSends() {
    Reset();
    const measure::Receiver receiver([] { Receive(4); });
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(AwaitPort());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<int> sockets(PORTS);
    for (int &fd : sockets) {
        fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        measure::Require(connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0, "connect");
    }
    Await(board->connections, PORTS, "connections");
    const double cpu = measure::ProcessCpu();
    std::vector<size_t> numbers(PORTS);
    Talk([&](size_t port, const Bytes &) {
        uint8_t packet[4 + RTP_BYTES] = {};
        PutNumber(packet + 16, port);
        PutNumber(packet + 20, numbers[port]++);
        measure::Require(send(sockets[port], packet, sizeof packet, MSG_NOSIGNAL) == sizeof packet, "send");
    });
    Print("the floor, plain sends of packets:", measure::ProcessCpu() - cpu, true);
    for (const int fd : sockets) {
        close(fd);
    }
}

void Library() {
    Reset();
    const measure::Receiver receiver([] { Receive(4); });
    const uint16_t server = AwaitPort();
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    std::vector<ULONG_32> ports(PORTS);
    for (ULONG_32 &port : ports) {
        measure::Require(Zelvane_AllocPort(&port) &&
                             Zelvane_OpenVoiceSvc(port, PLAYER_VOICE_SERVICE_BROADCAST_INPUT, 0, nullptr, 0, "127.0.0.1",
                                                  server, PLAYER_PROTOCOL_TCP),
                         "Zelvane_OpenVoiceSvc");
    }
    Await(board->connections, PORTS, "connections");
    const double cpu = measure::ProcessCpu();
    Talk([&](size_t port, const Bytes &block) {
        measure::Require(Zelvane_VoiceInputData(ports[port], block.data(), BLOCK_BYTES, nullptr), "Zelvane_VoiceInputData");
    });
    Print("Zelvane_VoiceInputData, client and all:", measure::ProcessCpu() - cpu, true);
    Zelvane_Cleanup();
}

void GStreamer() {
    Reset();
    const measure::Receiver receiver([] { Receive(2); });
    const uint16_t server = AwaitPort();
    std::vector<int> pipes;
    std::string line = "gst-launch-1.0 -q";
    for (size_t i = 0; i < PORTS; i++) {
        int ends[2];
        measure::Require(pipe(ends) == 0, "pipe");
        fcntl(ends[1], F_SETFD, FD_CLOEXEC);
        pipes.push_back(ends[1]);
        line += " fdsrc fd=" + std::to_string(ends[0]) +
                " blocksize=320 ! rawaudioparse use-sink-caps=false format=pcm pcm-format=s16le sample-rate=8000 "
                "num-channels=1 ! mulawenc ! rtppcmupay min-ptime=20000000 max-ptime=20000000 ! rtpstreampay ! "
                "tcpclientsink sync=false host=127.0.0.1 port=" + std::to_string(server);
    }
    const measure::Receiver launch([&] { measure::RunShell(line); });
    Await(board->connections, PORTS, "GStreamer connects: is it installed, with rawaudioparse of its bad plugins?");
    usleep(500000);
    const double cpu = launch.Cpu();
    Talk([&](size_t port, const Bytes &block) {
        measure::Require(write(pipes[port], block.data(), block.size()) == static_cast<ssize_t>(block.size()), "write");
    });
    Print("GStreamer mulawenc ! rtppcmupay:", launch.Cpu() - cpu, false);
}

}  // namespace

int main() {
    board = measure::Shared<Board>();
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    printf("%zu ports, %zu bytes of PCM %zu times a second each, for %.0f s\n", PORTS, BLOCK_BYTES, RATE, LENGTH);
    fflush(stdout);
    GStreamer();
    PlainSends();
    Library();
    return 0;
}
