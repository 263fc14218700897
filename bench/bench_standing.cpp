// What ports cost that do nothing, what drawing costs that changes nothing, and how long a close takes.
#include <X11/Xlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "measure.h"
#include "player_sdk_func.h"

namespace {

using measure::Bytes;

void Sleep(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

/** Resident memory of this process, kB. */
long ResidentKb() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == "VmRSS:") {
            long kb = 0;
            status >> kb;
            return kb;
        }
    }
    return 0;
}

Window OpenWindow(Display *display) {
    const Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 160, 90, 0, 0, 0);
    XMapWindow(display, window);
    XSync(display, 0);
    return window;
}

std::vector<ULONG_32> OpenPorts(size_t count, Display *display, std::vector<Window> *windows) {
    std::vector<ULONG_32> ports(count);
    for (ULONG_32 &port : ports) {
        measure::Require(Zelvane_AllocPort(&port) && Zelvane_OpenInputStream(port, nullptr, 0, 0), "open");
        if (display != nullptr) {
            windows->push_back(OpenWindow(display));
            measure::Require(Zelvane_StartPlay(port, reinterpret_cast<HANDLE>(windows->back())), "StartPlay");
        }
    }
    return ports;
}

double ClosePorts(const std::vector<ULONG_32> &ports, Display *display, const std::vector<Window> &windows) {
    const double start = measure::Wall();
    for (const ULONG_32 port : ports) {
        Zelvane_FreePort(port);
    }
    const double took = measure::Wall() - start;
    for (const Window window : windows) {
        XDestroyWindow(display, window);
    }
    return took;
}

void IdlePorts(size_t count, Display *display) {
    std::vector<Window> windows;
    const long before = ResidentKb();
    const std::vector<ULONG_32> ports = OpenPorts(count, display, &windows);
    Sleep(2);
    const double cpu = measure::ProcessCpu();
    Sleep(5);
    const double share = (measure::ProcessCpu() - cpu) / 5 * 100;
    const long memory = ResidentKb() - before;
    const double closing = ClosePorts(ports, display, windows);
    printf("%zu idle ports%s: %.2f %% of a core, %ld kB resident a port, closed together in %.0f ms\n", count,
           display != nullptr ? " with windows" : "", share, memory / static_cast<long>(count), closing * 1e3);
}

/** Packets of a capture: 16-bit big-endian length, packet, repeated. */
std::vector<Bytes> ReadCapture(const Bytes &file) {
    std::vector<Bytes> packets;
    for (size_t i = 0; i + 2 <= file.size();) {
        const size_t length = static_cast<size_t>(file[i]) << 8 | file[i + 1];
        packets.emplace_back(file.begin() + static_cast<long>(i) + 2, file.begin() + static_cast<long>(i + 2 + length));
        i += 2 + length;
    }
    return packets;
}

uint32_t Timestamp(const Bytes &packet) {
    return static_cast<uint32_t>(packet[4]) << 24 | packet[5] << 16 | packet[6] << 8 | packet[7];
}

bool IsVideo(const Bytes &packet) { return (packet[1] & 0x7F) >= 96; }

/** Pushes the capture's video at its pace until told to stop. */
void PushAtPace(ULONG_32 port, const std::vector<Bytes> &packets, const std::atomic<bool> &stop) {
    const double start = measure::Wall();
    uint32_t first = 0;
    for (size_t i = 0; i < packets.size() && !stop; i++) {
        if (!IsVideo(packets[i])) {
            continue;
        }
        first = first == 0 ? Timestamp(packets[i]) : first;
        const double due = static_cast<double>(Timestamp(packets[i]) - first) / 90000;
        while (measure::Wall() - start < due && !stop) {
            Sleep(0.002);
        }
        Zelvane_InputMediaData(port, packets[i].data(), static_cast<ULONG_32>(packets[i].size()));
    }
}

void Drawing(Display *display, const std::vector<Bytes> &packets) {
    std::vector<Window> windows;
    const std::vector<ULONG_32> ports = OpenPorts(1, display, &windows);
    std::atomic<bool> stop{false};
    std::thread pusher([&] { PushAtPace(ports[0], packets, stop); });
    Sleep(1);
    const double cpu = measure::ProcessCpu();
    Sleep(4);
    const double playing = (measure::ProcessCpu() - cpu) / 4 * 100;
    Zelvane_PauseLive(ports[0], 1);
    Sleep(0.2);
    const double held = measure::ProcessCpu();
    Sleep(3);
    const double standing = (measure::ProcessCpu() - held) / 3 * 100;
    stop = true;
    pusher.join();
    ClosePorts(ports, display, windows);
    printf("one 640x360 stream at 25 fps in a window: %.1f %% of a core; with the picture held (decoding goes on): %.1f %%\n",
           playing, standing);
}

void Closing(const std::vector<Bytes> &packets) {
    std::vector<double> times;
    for (int i = 0; i < 200; i++) {
        ULONG_32 port = 0;
        Zelvane_AllocPort(&port);
        Zelvane_OpenInputStream(port, nullptr, 0, 0);
        std::atomic<bool> stop{false};
        std::thread pusher([&] {
            for (size_t k = 0; !stop; k = (k + 1) % packets.size()) {
                Zelvane_InputMediaData(port, packets[k].data(), static_cast<ULONG_32>(packets[k].size()));
            }
        });
        Sleep(0.005 + 0.0001 * i);
        const double start = measure::Wall();
        Zelvane_CloseInputStream(port);
        times.push_back(measure::Wall() - start);
        stop = true;
        pusher.join();
        Zelvane_FreePort(port);
    }
    std::sort(times.begin(), times.end());
    printf("close with the stream running: median %.1f ms, 99th percentile %.1f ms (aim 20)\n", times[100] * 1e3,
           times[198] * 1e3);
}

}  // namespace

int main() {
    XInitThreads();
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    const std::vector<Bytes> packets = ReadCapture(measure::ReadAll(measure::Media("camera.rtp")));
    for (const size_t count : {1, 64, 256}) {
        IdlePorts(count, nullptr);
    }
    Display *display = XOpenDisplay(nullptr);
    if (display != nullptr) {
        for (const size_t count : {1, 64, 256}) {
            IdlePorts(count, display);
        }
        Drawing(display, packets);
    } else {
        printf("no X display: the cases with windows are left out\n");
    }
    Closing(packets);
    Zelvane_Cleanup();
    if (display != nullptr) {
        XCloseDisplay(display);
    }
    return 0;
}
