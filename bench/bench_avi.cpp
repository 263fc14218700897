/**
 * @file bench_avi.cpp
 * @brief AVI files beside libavformat and ffmpeg: reading a file that is in the cache with decoding off, and the CPU
 * that a recording of live 1080p takes.
 */
#include <atomic>
#include <filesystem>

#include "file/avi/avifmt.h"
#include "file/module_avi.h"
#include "file/module_file.h"
#include "live_camera.h"
#include "measure.h"
#include "player_sdk_func.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

using measure::Cameras;
using measure::Codec;
using measure::Picture;
using measure::Receiver;

constexpr uint16_t FIRST_PORT = 42500;
constexpr double RATE = 25;
constexpr int ROUNDS = 9;
const Codec H264 = {"H.264", "h264_1080p_bench.264", 105, "h264"};
const std::string FOLDER = "/dev/shm/bench_avi_";

/* ---- reading ---- */

/** What one pass over a file gave. */
struct Pass {
    double seconds; /**< of CPU, which is all the time there is when the file lies in memory */
    size_t bytes;
    size_t chunks;
};

Pass ReadWithZelvane(const std::string &path) {
    FILE_INFO_S file = {};
    measure::Require(File_CreateFileParser(path.c_str(), &file) == PLAYER_ERR_OK, "the file opens");
    FILE_FRAME_INFO_S frame = {};
    Pass pass = {};
    const double start = measure::ProcessCpu();
    while (File_ReadOneFrame(&file, &frame, FRAME_CTRL_PLAY) == PLAYER_ERR_OK) {
        pass.bytes += frame.ulBufferLen;
        ++pass.chunks;
    }
    pass.seconds = measure::ProcessCpu() - start;
    AVI_FileClose(nullptr, file.hAviParser);
    File_ReleaseFileParser(&file);
    return pass;
}

Pass ReadWithLibavformat(const std::string &path) {
    AVFormatContext *format = nullptr;
    measure::Require(avformat_open_input(&format, path.c_str(), nullptr, nullptr) == 0, "libavformat opens");
    AVPacket *packet = av_packet_alloc();
    Pass pass = {};
    const double start = measure::ProcessCpu();
    while (av_read_frame(format, packet) >= 0) {
        pass.bytes += static_cast<size_t>(packet->size);
        ++pass.chunks;
        av_packet_unref(packet);
    }
    pass.seconds = measure::ProcessCpu() - start;
    av_packet_free(&packet);
    avformat_close_input(&format);
    return pass;
}

Pass Best(Pass (*read)(const std::string &), const std::string &path) {
    Pass best = read(path);
    for (int i = 1; i < ROUNDS; ++i) {
        const Pass pass = read(path);
        best = pass.seconds < best.seconds ? pass : best;
    }
    return best;
}

void CompareReading(const char *what, const std::string &sound) {
    const std::string path = FOLDER + "read.avi";
    measure::Require(measure::RunPeer("for i in $(seq 20); do cat " + measure::Media(H264.file) +
                                      "; done | ffmpeg -v error -y -f h264 -r 25 -i - " + sound + " -c:v copy " + path)
                         .ok,
                     "muxing");
    const Pass ours = Best(ReadWithZelvane, path), theirs = Best(ReadWithLibavformat, path);
    // Sound behind the last picture is not played, and libavformat leaves out a filler in front of it.
    measure::Require(ours.bytes > 50000000 && ours.bytes + ours.bytes / 1000 > theirs.bytes, "all is read");
    const double speed = static_cast<double>(ours.bytes) / ours.seconds / 1e6;
    const double peer = static_cast<double>(theirs.bytes) / theirs.seconds / 1e6;
    printf("reading AVI, %s: %.0f MB/s (%zu chunks); libavformat: %.0f MB/s; ratio of time %.2f (aim 1)\n", what, speed,
           ours.chunks, peer, peer / speed);
    std::filesystem::remove(path);
}

/* ---- recording ---- */

void RecordWithZelvane(std::atomic<int> *state) {
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    ULONG_32 port = 0;
    Zelvane_AllocPort(&port);
    Zelvane_SetParseVideoDataCB(
        port, [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *, LONG_REAL) {}, 0, nullptr);
    measure::Require(Zelvane_OpenNetStream(port, "127.0.0.1", FIRST_PORT, "127.0.0.1", 0, PLAYER_PROTOCOL_UDP) &&
                         Zelvane_StartRecord(port, (FOLDER + "ours").c_str(), PLAYER_FILE_FORMATE_AVI, nullptr),
                     "a recording");
    *state = 1;
    while (*state == 1) {
        Cameras::SleepUntil(measure::Wall() + 0.05);
    }
    Zelvane_StopRecord(port);
    Zelvane_FreePort(port);
    *state = 3;
    pause();
}

void RecordWithFfmpeg(std::atomic<int> *state) {
    const std::string sdp = FOLDER + "sdp";
    std::ofstream(sdp) << "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video " << FIRST_PORT
                       << " RTP/AVP 105\na=rtpmap:105 H264/90000\n";
    *state = 1;
    measure::RunShell("ffmpeg -v error -nostdin -y -protocol_whitelist file,udp,rtp -i " + sdp + " -c copy " + FOLDER +
                      "peer.avi");
}

void WaitFor(const std::atomic<int> &state, int wanted) {
    const double start = measure::Wall();
    while (state != wanted) {
        measure::Require(measure::Wall() - start < 30, "the receiver answers");
        Cameras::SleepUntil(measure::Wall() + 0.01);
    }
}

const auto TELL_NOBODY = [](size_t, size_t, double) {};

/** Seconds of CPU for each second of the stream. @param speed times real time, so that figures are large enough */
double CpuShare(const std::vector<Picture> &pictures, void (*record)(std::atomic<int> *), double speed, bool check) {
    auto *state = measure::Shared<std::atomic<int>>();
    Cameras cameras(pictures, 1, FIRST_PORT, RATE * speed);
    Receiver receiver([=] { record(state); });
    WaitFor(*state, 1);
    Cameras::SleepUntil(measure::Wall() + 1);
    cameras.Run(6, TELL_NOBODY);  // ffmpeg looks at a stream for some seconds first
    const double before = receiver.Cpu();
    cameras.Run(8, TELL_NOBODY);
    const double share = (receiver.Cpu() - before) / 8 / speed;
    if (check) {
        Cameras::SleepUntil(measure::Wall() + 0.5);  // what is queued at the stop is not recorded
        *state = 2;
        WaitFor(*state, 3);
        avi_t *file = AVI_open_input_file((FOLDER + "ours.avi").c_str(), 1);
        measure::Require(file != nullptr && static_cast<size_t>(AVI_video_frames(file)) == cameras.SentBy(0),
                         "every frame in the file");
        AVI_close(file);
    }
    return share;
}

void CompareRecording() {
    const std::vector<Picture> pictures = measure::ReadPictures(H264, measure::ReadAll(measure::Media(H264.file)));
    const double ours = CpuShare(pictures, RecordWithZelvane, 8, true);
    const double theirs = CpuShare(pictures, RecordWithFfmpeg, 8, false);
    printf(
        "recording 1080p H.264 of 4 Mbit/s into AVI: %.2f ms CPU a stream second; ffmpeg -c copy: %.2f ms; ratio "
        "%.2f (aim 0.5)\n",
        ours * 1e3, theirs * 1e3, ours / theirs);
}

}  // namespace

int main() {
    av_log_set_level(AV_LOG_QUIET);
    CompareReading("1080p video", "");
    CompareReading("with MP2", "-f lavfi -i sine=d=200 -c:a mp2 -shortest");
    CompareRecording();
    for (const char *name : {"ours.avi", "peer.avi", "sdp"}) {
        std::filesystem::remove(FOLDER + name);
    }
    return 0;
}
