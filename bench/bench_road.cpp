// The whole road: RTP pushed as fast as it goes, every picture out at the callback, beside ffmpeg with one thread on
// the same stream; and intake alone, beside GStreamer's depayloader on the same packets from a file.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "measure.h"
#include "player_sdk_func.h"
#include "rtp_source.h"

namespace {

using measure::Bytes;
using measure::Codec;
using measure::Packetise;
using measure::Renumber;

std::atomic<size_t> gFrames{0};
std::atomic<size_t> gPictures{0};

void CountFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *, LONG_REAL) { gFrames++; }
void CountPicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *, LONG_REAL) { gPictures++; }

struct RunResult {
    double wall;
    double cpu;
};

/** Pushes all packets `rounds` times and waits until `expected` frames or pictures came out. */
RunResult Push(std::vector<Bytes> &packets, size_t rounds, bool decode, size_t expected) {
    ULONG_32 port = 0;
    Zelvane_AllocPort(&port);
    Zelvane_SetParseVideoDataCB(port, CountFrame, decode, nullptr);
    Zelvane_SetDecodeVideoMediaDataCB(port, CountPicture, 1, nullptr);
    Zelvane_OpenInputStream(port, nullptr, 0, 0);
    gFrames = 0;
    gPictures = 0;
    size_t number = 0;
    const double wall = measure::Wall();
    const double cpu = measure::ProcessCpu();
    for (size_t round = 0; round < rounds; round++) {
        for (Bytes &packet : packets) {
            Renumber(&packet, ++number);
            measure::Require(Zelvane_InputMediaData(port, packet.data(), static_cast<ULONG_32>(packet.size())), "push");
        }
    }
    std::atomic<size_t> &count = decode ? gPictures : gFrames;
    while (count < expected && measure::Wall() - wall < 120) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    const RunResult result = {measure::Wall() - wall, measure::ProcessCpu() - cpu};
    measure::Require(count >= expected, "pictures or frames are missing");
    Zelvane_FreePort(port);
    return result;
}

void FullRoad(const Codec &codec) {
    size_t pictures = 0;
    const std::string path = measure::Media(codec.file);
    std::vector<Bytes> packets = Packetise(codec, measure::ReadAll(path), &pictures);
    double ours = 0;
    double theirs = 0;
    for (int round = 0; round < 3; round++) {
        const RunResult result = Push(packets, 1, true, pictures);
        ours = std::max(ours, static_cast<double>(pictures) / result.wall);
        const measure::PeerTime peer = measure::RunPeer("ffmpeg -v error -threads 1 -f " + std::string(codec.demuxer) +
                                                        " -i " + path + " -f null -");
        measure::Require(peer.ok, "ffmpeg");
        theirs = std::max(theirs, static_cast<double>(pictures) / peer.wall);
    }
    printf("full road, 1080p %s: %.1f pictures/s; ffmpeg -threads 1: %.1f; ratio %.3f (aim 0.98)\n", codec.name, ours,
           theirs, ours / theirs);
}

std::string WriteCapture(std::vector<Bytes> &packets, size_t rounds) {
    const std::string path = "bench_capture.rtp";
    std::ofstream file(path, std::ios::binary);
    for (size_t i = 0; i < packets.size() * rounds; i++) {
        Bytes &packet = packets[i % packets.size()];
        Renumber(&packet, i + 1);
        const char head[2] = {static_cast<char>(packet.size() >> 8), static_cast<char>(packet.size())};
        file.write(head, 2);
        file.write(reinterpret_cast<const char *>(packet.data()), static_cast<std::streamsize>(packet.size()));
    }
    return path;
}

void IntakeAlone(const Codec &codec) {
    const size_t rounds = 60;
    size_t pictures = 0;
    std::vector<Bytes> packets = Packetise(codec, measure::ReadAll(measure::Media(codec.file)), &pictures);
    RunResult best = {1e9, 1e9};
    for (int round = 0; round < 5; round++) {
        const RunResult result = Push(packets, rounds, false, pictures * rounds);
        best = {std::min(best.wall, result.wall), std::min(best.cpu, result.cpu)};
    }
    const std::string path = WriteCapture(packets, rounds);
    const std::string head =
        "gst-launch-1.0 -q filesrc location=" + path +
        " blocksize=1048576 ! 'application/x-rtp-stream,media=video,clock-rate=90000,encoding-name=H264' "
        "! rtpstreamdepay ! ";
    measure::PeerTime bare = {1e9, 1e9, true};
    measure::PeerTime full = {1e9, 1e9, true};
    for (int round = 0; round < 3; round++) {
        const measure::PeerTime a = measure::RunPeer(head + "fakesink sync=false");
        const measure::PeerTime b = measure::RunPeer(head + "rtph264depay ! fakesink sync=false");
        measure::Require(a.ok && b.ok, "gst-launch-1.0");
        bare.cpu = std::min(bare.cpu, a.cpu);
        full.cpu = std::min(full.cpu, b.cpu);
    }
    remove(path.c_str());
    const double count = static_cast<double>(packets.size() * rounds);
    const double depay = (full.cpu - bare.cpu) / count * 1e9;
    const double whole = full.cpu / count * 1e9;
    const double rate = count / best.wall / 1e6;
    printf(
        "intake alone: %.0f ns CPU a packet over both threads (aim 350), %.2f million packets/s; GStreamer from a "
        "file: "
        "%.0f ns a packet, %.2f million packets/s a core: %.2f times (aim 3); its rtph264depay without its feeding: "
        "%.0f ns, %.2f times\n",
        best.cpu / count * 1e9, rate, whole, 1e3 / whole, rate * whole / 1e3, depay, rate * depay / 1e3);
}

}  // namespace

int main() {
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    const Codec h264 = {"H.264", "h264_1080p_bench.264", 105, "h264"};
    const Codec h265 = {"H.265", "h265_1080p_bench.265", 108, "hevc"};
    FullRoad(h264);
    FullRoad(h265);
    IntakeAlone(h264);
    Zelvane_Cleanup();
    return 0;
}
