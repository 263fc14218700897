// Recordings of live 1080p cameras into MP4 without decoding: CPU beside ffmpeg -c copy on the same packets, and
// sixteen cameras of 4 Mbit/s at once, with every frame in the files.
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "live_camera.h"
#include "measure.h"
#include "player_sdk_func.h"

namespace {

using measure::Cameras;
using measure::Codec;
using measure::Picture;
using measure::Receiver;

constexpr uint16_t FIRST_PORT = 42300;
constexpr double RATE = 25;
const Codec H264 = {"H.264", "h264_1080p_bench.264", 105, "h264"};

/** Orders to the receiver's process, and its answers. */
struct Board {
    std::atomic<bool> ready;
    std::atomic<bool> stop;
    std::atomic<bool> stopped;
};

void WaitFor(const std::atomic<bool> &flag) {
    const double start = measure::Wall();
    while (!flag) {
        measure::Require(measure::Wall() - start < 30, "the receiver answers");
        Cameras::SleepUntil(measure::Wall() + 0.01);
    }
}

std::string FileOf(size_t camera) { return "/dev/shm/bench_record_" + std::to_string(camera); }

ULONG_32 OpenRecording(size_t camera) {
    ULONG_32 port = 0;
    Zelvane_AllocPort(&port);
    Zelvane_SetParseVideoDataCB(
        port, [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *, LONG_REAL) {}, 0, nullptr);
    measure::Require(Zelvane_OpenNetStream(port, "127.0.0.1", static_cast<USHORT>(FIRST_PORT + 2 * camera), "127.0.0.1",
                                           0, PLAYER_PROTOCOL_UDP) &&
                         Zelvane_StartRecord(port, FileOf(camera).c_str(), PLAYER_FILE_FORMATE_MP4, nullptr),
                     "a recording");
    return port;
}

void RecordWithZelvane(Board *board, size_t count) {
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    std::vector<ULONG_32> ports;
    for (size_t i = 0; i < count; i++) {
        ports.push_back(OpenRecording(i));
    }
    board->ready = true;
    WaitFor(board->stop);
    for (const ULONG_32 port : ports) {
        Zelvane_StopRecord(port);
        Zelvane_FreePort(port);
    }
    board->stopped = true;
    pause();
}

void RecordWithFfmpeg(Board *board) {
    const std::string sdp = "/dev/shm/bench_record.sdp";
    std::ofstream(sdp) << "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video " << FIRST_PORT
                       << " RTP/AVP 105\na=rtpmap:105 H264/90000\n";
    board->ready = true;
    measure::RunShell("ffmpeg -v error -nostdin -y -protocol_whitelist file,udp,rtp -i " + sdp + " -c copy " +
                      FileOf(0) + ".peer.mp4");
}

size_t FramesIn(const std::string &path) {
    FILE *pipe = popen(
        ("ffprobe -v error -count_packets -select_streams v -show_entries stream=nb_read_packets -of csv=p=0 " + path)
            .c_str(),
        "r");
    size_t frames = 0;
    measure::Require(pipe != nullptr && fscanf(pipe, "%zu", &frames) == 1, "ffprobe reads the recording");
    pclose(pipe);
    return frames;
}

const auto TELL_NOBODY = [](size_t, size_t, double) {};

/** Seconds of CPU for each second of the window; what came before it is not counted. */
double CpuShare(const Receiver &receiver, Cameras *cameras, double window) {
    const double before = receiver.Cpu();
    cameras->Run(window, TELL_NOBODY);
    return (receiver.Cpu() - before) / window;
}

double RecordMany(size_t count, double rate, const std::vector<Picture> &pictures) {
    Board *board = measure::Shared<Board>();
    Cameras cameras(pictures, count, FIRST_PORT, rate);
    Receiver receiver([&] { RecordWithZelvane(board, count); });
    WaitFor(board->ready);
    cameras.Run(2, TELL_NOBODY);
    const double share = CpuShare(receiver, &cameras, 8);
    Cameras::SleepUntil(measure::Wall() + 0.5);  // what is queued at the stop is not recorded
    board->stop = true;
    WaitFor(board->stopped);
    for (size_t i = 0; i < count; i++) {
        const std::string path = FileOf(i) + ".mp4";
        measure::Require(FramesIn(path) == cameras.SentBy(i), "every frame in the file");
        std::filesystem::remove(path);
    }
    return share;
}

void CompareWithFfmpeg(const std::vector<Picture> &pictures) {
    const double speed = 8;  // times real time, so that the figures are large enough to tell
    const double ours = RecordMany(1, RATE * speed, pictures) / speed;
    Board *board = measure::Shared<Board>();
    Cameras cameras(pictures, 1, FIRST_PORT, RATE * speed);
    Receiver receiver([&] { RecordWithFfmpeg(board); });
    WaitFor(board->ready);
    Cameras::SleepUntil(measure::Wall() + 1);
    cameras.Run(6, TELL_NOBODY);  // ffmpeg looks at a stream for some seconds first
    const double theirs = CpuShare(receiver, &cameras, 8) / speed;
    printf(
        "recording 1080p H.264 of 4 Mbit/s: %.2f ms CPU a stream second; ffmpeg -c copy: %.2f ms; ratio %.2f (aim "
        "0.5)\n",
        ours * 1e3, theirs * 1e3, ours / theirs);
    std::filesystem::remove(FileOf(0) + ".peer.mp4");
    std::filesystem::remove("/dev/shm/bench_record.sdp");
}

}  // namespace

int main() {
    const std::vector<Picture> pictures = measure::ReadPictures(H264, measure::ReadAll(measure::Media(H264.file)));
    CompareWithFfmpeg(pictures);
    printf("16 recordings of 4 Mbit/s at once, no frame lost: %.1f %% of a core (aim 10)\n",
           RecordMany(16, RATE, pictures) * 100);
    return 0;
}
