// How costs grow: with the number of live ports, the length of a file, the slots of the packet ring, the entries of a
// playlist. One line a step; into the folder
// ZELVANE_BENCH_TABLES, if set, also a table a curve, for plots.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>

#include "live_camera.h"
#include "measure.h"
#include "player_sdk_func.h"
#include "queue/module_queue.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using measure::Require;
using measure::Wall;

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** One curve: its table on disk, if one is wanted, and its lines on the screen. */
class Curve {
 public:
    Curve(const char *folder, const char *name, const std::string &columns) : m_name(name), m_columns(columns) {
        if (folder != nullptr) {
            m_table.open(std::string(folder) + "/" + name + ".csv");
            m_table << columns << "\n";
        }
    }
    void Add(const std::vector<double> &row) {
        std::string line;
        for (const double value : row) {
            char text[32];
            snprintf(text, sizeof text, "%.6g", value);
            line += (line.empty() ? "" : ",") + std::string(text);
        }
        m_table << line << "\n";
        printf("%s %s: %s\n", m_name, m_columns.c_str(), line.c_str());
    }

 private:
    const char *m_name;
    std::string m_columns;
    std::ofstream m_table;
};

/* ---- live ports ---- */

constexpr double RATE = 15;
constexpr double SECONDS = 5;
constexpr uint16_t FIRST_PORT = 21100;  // below those that the system gives to others

void Receive(size_t count, std::atomic<bool> *ready) {
    Zelvane_SetWriteLogCB(DropLine);
    Require(Zelvane_Init(), "Zelvane_Init");
    for (size_t i = 0; i < count; ++i) {
        ULONG_32 port = 0;
        Require(Zelvane_AllocPort(&port) && Zelvane_OpenNetStream(port, "127.0.0.1", static_cast<USHORT>(FIRST_PORT + 2 * i),
                                                                  "127.0.0.1", 0, PLAYER_PROTOCOL_UDP),
                "open");
    }
    *ready = true;
    while (true) {
        pause();
    }
}

void Ports(const char *folder) {
    const measure::Codec h264 = {"H.264", "h264_640x360_bf0.264", 105, "h264"};
    const auto pictures = measure::ReadPictures(h264, measure::ReadAll(measure::Media(h264.file)));
    Curve curve(folder, "ports", "ports,cpu_percent_of_a_core_a_port,resident_mib_a_port");
    for (const size_t count : {1U, 2U, 4U, 8U, 16U, 32U, 64U}) {
        auto *ready = measure::Shared<std::atomic<bool>>();
        measure::Receiver receiver([&] { Receive(count, ready); });
        for (int naps = 0; !*ready; ++naps) {
            Require(naps < 10000, "ports opened within ten seconds");
            usleep(1000);
        }
        const long idle = receiver.Resident();
        measure::Cameras cameras(pictures, count, FIRST_PORT, RATE);
        cameras.Run(2, [](size_t, size_t, double) {});
        const double cpu = receiver.Cpu();
        const double start = Wall();
        cameras.Run(SECONDS, [](size_t, size_t, double) {});
        const double ports = static_cast<double>(count);
        curve.Add({ports, (receiver.Cpu() - cpu) / (Wall() - start) * 100 / ports,
                   static_cast<double>(receiver.Resident() - idle) / 1024 / ports});
    }
}

/* ---- length of a file ---- */

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double OpenWithZelvane(ULONG_32 port, const std::string &path) {
    const double start = Wall();
    Require(Zelvane_OpenMediaFile(port, path.c_str()), "open");
    const double took = Wall() - start;
    Zelvane_CloseMediaFile(port);
    return took * 1e3;
}

double OpenWithLibavformat(const std::string &path) {
    const double start = Wall();
    AVFormatContext *format = nullptr;
    Require(avformat_open_input(&format, path.c_str(), nullptr, nullptr) == 0, "libavformat opens");
    const double took = Wall() - start;
    avformat_close_input(&format);
    return took * 1e3;
}

void FileLength(const char *folder) {
    ULONG_32 port = 0;
    Require(Zelvane_AllocPort(&port), "port");
    Curve curve(folder, "file_length", "minutes,zelvane_ms,libavformat_ms");
    for (const int minutes : {1, 2, 4, 8, 16, 32, 64, 128}) {
        const std::string path = "bench_growth.mp4";
        const std::string input = measure::Media("h264_640x360_bf0.264");
        const std::string loops = std::to_string(minutes * 60 / 3 - 1);
        Require(system(("ffmpeg -v error -y -r 25 -f h264 -i " + input + " -c copy one.mp4 && ffmpeg -v error -y -stream_loop " +
                        loops + " -i one.mp4 -c copy " + path)
                           .c_str()) == 0,
                "ffmpeg");
        std::vector<double> ours, theirs;
        for (int round = 0; round < 9; ++round) {
            ours.push_back(OpenWithZelvane(port, path));
            theirs.push_back(OpenWithLibavformat(path));
        }
        curve.Add({static_cast<double>(minutes), Median(ours), Median(theirs)});
        std::filesystem::remove(path);
        std::filesystem::remove("one.mp4");
    }
    Zelvane_FreePort(port);
}

/* ---- slots of the packet ring ---- */

constexpr ULONG_32 PACKET = 1400, SLOT = 2048, PASSES = 400000;

double PassPackets(ULONG_32 slots) {
    PACKET_BUFFER_QUEUE_S queue = {};
    std::vector<CHAR> packet(PACKET, 'p');
    Require(QUEUE_InitPacketBuffer(&queue, SLOT, slots) == 0, "ring");
    const double start = Wall();
    for (ULONG_32 i = 0; i < PASSES; ++i) {
        CHAR *out = nullptr;
        ULONG_32 length = 0;
        Require(QUEUE_AddPacket(packet.data(), PACKET, &queue) == 0 && QUEUE_GetPacket(&queue, &out, &length) == 0 &&
                    length == PACKET,
                "a packet through the ring");
    }
    const double took = (Wall() - start) / PASSES * 1e9;
    QUEUE_CleanupPacketBuffer(&queue);
    return took;
}

double CopyPackets(ULONG_32 slots) {
    std::vector<CHAR> packet(PACKET, 'p'), memory(size_t{SLOT} * slots), out(PACKET);
    const double start = Wall();
    for (ULONG_32 i = 0; i < PASSES; ++i) {
        CHAR *slot = &memory[size_t{i % slots} * SLOT];
        memcpy(slot, packet.data(), PACKET);
        memcpy(out.data(), slot, PACKET);
        asm volatile("" : : "r"(out.data()) : "memory");
    }
    return (Wall() - start) / PASSES * 1e9;
}

void RingSize(const char *folder) {
    Curve curve(folder, "ring_size", "slots,ring_ns_a_packet,two_memcpy_ns_a_packet");
    for (const ULONG_32 slots : {1000U, 1500U, 2000U, 3000U, 4000U, 5000U}) {
        std::vector<double> ours, theirs;
        for (int round = 0; round < 5; ++round) {
            ours.push_back(PassPackets(slots));
            theirs.push_back(CopyPackets(slots));
        }
        curve.Add({static_cast<double>(slots), Median(ours), Median(theirs)});
    }
}

/* ---- entries of a playlist ---- */

std::string Playlist(int entries) {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:10\n";
    char line[200];
    for (int i = 0; i < entries; ++i) {
        snprintf(line, sizeof line,
                 "#EXTINF:10,\n#EXT-X-PROGRAM-DATE-TIME:2020-01-%02dT%02d:%02d:%02d.000+00:00,\nhttp://192.0.2.1/s%d.ts\n",
                 1 + i / 8640, i / 360 % 24, i / 6 % 60, i % 6 * 10, i);
        text += line;
    }
    return text + "#EXT-X-ENDLIST\n";
}

void ListLength(const char *folder) {
    const std::string cache = std::filesystem::absolute("bench_growth_cache").string();
    Zelvane_SetCachePath(cache.c_str());
    Curve curve(folder, "list_length", "entries,ms,microseconds_an_entry");
    for (const int entries : {100, 1000, 10000, 100000}) {
        std::vector<double> times;
        const std::string text = Playlist(entries);
        for (int round = 0; round < 3; ++round) {
            ULONG_32 port = 0;
            Require(Zelvane_AllocPort(&port) && Zelvane_OpenHlsStream(port), "port");
            const double start = Wall();
            Require(Zelvane_UpdatePlayInfo(port, text.c_str(), 0), "playlist");
            times.push_back((Wall() - start) * 1e3);
            Zelvane_FreePort(port);
        }
        curve.Add({static_cast<double>(entries), Median(times), Median(times) * 1e3 / entries});
    }
    std::filesystem::remove_all(cache);
}

}  // namespace

int main() {
    const char *folder = getenv("ZELVANE_BENCH_TABLES");
    Ports(folder);  // forks, and so comes before the library starts here
    Zelvane_SetWriteLogCB(DropLine);
    Require(Zelvane_Init(), "Zelvane_Init");
    FileLength(folder);
    RingSize(folder);
    ListLength(folder);
    Zelvane_Cleanup();
    return 0;
}
