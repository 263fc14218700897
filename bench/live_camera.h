/**
 * @file live_camera.h
 * @brief Cameras over UDP for the live programs: pictures of a stream sent at a rate, spread evenly over the cameras.
 */
#ifndef ZELVANE_BENCH_LIVE_CAMERA_H
#define ZELVANE_BENCH_LIVE_CAMERA_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/mman.h>
#include <signal.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include "measure.h"
#include "rtp_source.h"

namespace measure {

/** One picture, as a decoder takes it and as it travels. */
struct Picture {
    Bytes annexB;
    std::vector<Bytes> packets;
};

inline std::vector<Picture> ReadPictures(const Codec &codec, const Bytes &stream) {
    size_t count = 0;
    std::vector<Picture> pictures;
    const std::vector<Bytes> packets = Packetise(codec, stream, &count);
    pictures.resize(count);
    for (const Bytes &packet : packets) {
        const uint32_t timestamp =
            static_cast<uint32_t>(packet[4] << 24 | packet[5] << 16 | packet[6] << 8 | packet[7]);
        pictures[std::min<size_t>(timestamp / 3600 - 1, count - 1)].packets.push_back(packet);
    }
    size_t at = 0;
    for (const Unit &unit : FindUnits(stream)) {
        const uint8_t *data = stream.data() + unit.offset;
        Bytes &bytes = pictures[std::min(at, count - 1)].annexB;
        bytes.insert(bytes.end(), {0, 0, 0, 1});
        bytes.insert(bytes.end(), data, data + unit.length);
        at += IsPicture(codec, data[0]);
    }
    return pictures;
}

/** Cameras that send to ports 127.0.0.1:first, first + 2, ... */
class Cameras {
 public:
    Cameras(std::vector<Picture> pictures, size_t count, uint16_t first, double rate)
        : m_pictures(std::move(pictures)), m_numbers(count, 0), m_sent(count, 0), m_first(first), m_rate(rate) {
        m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    }
    ~Cameras() { close(m_socket); }
    Cameras(const Cameras &) = delete;
    Cameras &operator=(const Cameras &) = delete;

    /** Sends the next picture of one camera. */
    void SendNext(size_t camera) {
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port = htons(PortOf(camera));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const size_t index = m_sent[camera]++;
        const uint32_t timestamp = static_cast<uint32_t>((static_cast<double>(index) + 1) * 90000 / m_rate);
        for (Bytes &packet : m_pictures[index % m_pictures.size()].packets) {
            Renumber(&packet, ++m_numbers[camera]);
            for (int i = 0; i < 4; i++) {
                packet[4 + i] = static_cast<uint8_t>(timestamp >> (24 - 8 * i));
            }
            sendto(m_socket, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
        }
    }

    /** Sends for a while; `sent(camera, picture, time)` is told when a picture's last packet is in the socket. */
    template <typename Told>
    void Run(double seconds, Told sent) {
        const double start = Wall();
        const double step = 1 / m_rate / static_cast<double>(m_sent.size());
        const size_t total = static_cast<size_t>(seconds / step);
        for (size_t i = 0; i < total; i++) {
            SleepUntil(start + static_cast<double>(i) * step);
            const size_t camera = i % m_sent.size();
            SendNext(camera);
            sent(camera, m_sent[camera] - 1, Wall());
        }
    }

    static void SleepUntil(double when) {
        const timespec at = {static_cast<time_t>(when),
                             static_cast<long>((when - static_cast<double>(static_cast<time_t>(when))) * 1e9)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &at, nullptr);
    }

    uint16_t PortOf(size_t camera) const { return static_cast<uint16_t>(m_first + 2 * camera); }
    size_t SentBy(size_t camera) const { return m_sent[camera]; }

 private:
    std::vector<Picture> m_pictures;
    std::vector<size_t> m_numbers;
    std::vector<size_t> m_sent;
    uint16_t m_first;
    double m_rate;
    int m_socket;
};

/** Memory that the program and the processes it forks share. */
template <typename T>
T *Shared() {
    void *memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Require(memory != MAP_FAILED, "shared memory");
    return new (memory) T();
}

/** A receiver in a process of its own, so that what it takes can be told apart. */
class Receiver {
 public:
    template <typename Main>
    explicit Receiver(Main main) : m_pid(fork()) {
        if (m_pid == 0) {
            main();
            _exit(0);
        }
        clock_getcpuclockid(m_pid, &m_clock);
    }
    ~Receiver() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;

    double Cpu() const { return Seconds(m_clock); }

    /** Resident memory, kB. */
    long Resident() const {
        std::ifstream status("/proc/" + std::to_string(m_pid) + "/status");
        std::string word;
        long kb = 0;
        while (status >> word && word != "VmRSS:") {
        }
        status >> kb;
        return kb;
    }

 private:
    pid_t m_pid;
    clockid_t m_clock = 0;
};

inline void RunShell(const std::string &command) {
    execl("/bin/sh", "sh", "-c", ("exec " + command + " >/dev/null 2>&1").c_str(), nullptr);
    _exit(127);
}

/** Datagrams that the system dropped at the sockets of the cameras. */
inline long DroppedAt(const Cameras &cameras, size_t count) {
    std::ifstream table("/proc/net/udp");
    std::string line;
    long dropped = 0;
    std::getline(table, line);
    while (std::getline(table, line)) {
        unsigned port = 0;
        if (sscanf(line.c_str(), " %*d: %*x:%x", &port) != 1) {
            continue;
        }
        for (size_t camera = 0; camera < count; camera++) {
            if (port == cameras.PortOf(camera)) {
                dropped += atol(line.c_str() + line.find_last_of(' ', line.find_last_not_of(' ')));
            }
        }
    }
    return dropped;
}

}  // namespace measure

#endif
