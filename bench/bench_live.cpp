// Live cameras of 640x360 at 15 pictures a second: what receiving and decoding them costs beside GStreamer and beside
// the bare decoder on the same schedule; and the delay that the library adds from a picture's last packet to the
// callback.
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>

#include "live_camera.h"
#include "measure.h"
#include "player_sdk_func.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace {

using measure::Cameras;
using measure::Codec;
using measure::Picture;
using measure::Receiver;

constexpr double RATE = 15;
constexpr uint16_t FIRST_PORT = 42100;
constexpr size_t MAX_CAMERAS = 64;
constexpr size_t MAX_PICTURES = 1024;
const Codec H264 = {"H.264", "h264_640x360_bf0.264", 105, "h264"};

/** What the receiver's process tells the sender's. */
struct Board {
    std::atomic<bool> ready;
    std::atomic<uint32_t> pictures[MAX_CAMERAS];
    double seen[MAX_CAMERAS][MAX_PICTURES];
};

struct Camera {
    Board *board;
    size_t number;
};

void TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *user, LONG_REAL) {
    const Camera *camera = static_cast<Camera *>(user);
    const uint32_t index = camera->board->pictures[camera->number].load();
    if (index < MAX_PICTURES) {
        camera->board->seen[camera->number][index] = measure::Wall();
    }
    camera->board->pictures[camera->number].store(index + 1);
}

void ReceiveWithZelvane(Board *board, size_t count) {
    static Camera cameras[MAX_CAMERAS];
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    for (size_t i = 0; i < count; i++) {
        ULONG_32 port = 0;
        cameras[i] = {board, i};
        Zelvane_AllocPort(&port);
        Zelvane_SetDecodeVideoMediaDataCB(port, TakePicture, 1, &cameras[i]);
        measure::Require(Zelvane_OpenNetStream(port, "127.0.0.1", static_cast<USHORT>(FIRST_PORT + 2 * i), "127.0.0.1",
                                               0, PLAYER_PROTOCOL_UDP),
                         "open");
    }
    board->ready = true;
    while (true) {
        pause();
    }
}

void ReceiveWithGStreamer(Board *board, size_t count) {
    std::string command = "gst-launch-1.0 -q";
    for (size_t i = 0; i < count; i++) {
        command +=
            " udpsrc address=127.0.0.1 port=" + std::to_string(FIRST_PORT + 2 * i) +
            " caps='application/x-rtp,media=video,clock-rate=90000,encoding-name=H264,payload=105' ! rtph264depay "
            "! avdec_h264 max-threads=1 ! fakesink sync=false";
    }
    board->ready = true;
    measure::RunShell(command);
}

AVCodecContext *OpenDecoder() {
    AVCodecContext *decoder = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
    decoder->thread_count = 1;
    decoder->flags |= AV_CODEC_FLAG_LOW_DELAY;
    measure::Require(avcodec_open2(decoder, nullptr, nullptr) == 0, "decoder");
    return decoder;
}

void Decode(AVCodecContext *decoder, const measure::Bytes &unit, AVPacket *packet, AVFrame *frame) {
    measure::Require(av_new_packet(packet, static_cast<int>(unit.size())) == 0, "packet");
    std::copy(unit.begin(), unit.end(), packet->data);
    avcodec_send_packet(decoder, packet);
    av_packet_unref(packet);
    while (avcodec_receive_frame(decoder, frame) == 0) {
        av_frame_unref(frame);
    }
}

/** The decoder alone: the same pictures at the same times, without a network. */
void DecodeBarely(Board *board, size_t count, const std::vector<Picture> &pictures) {
    std::vector<AVCodecContext *> decoders;
    for (size_t i = 0; i < count; i++) {
        decoders.push_back(OpenDecoder());
    }
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    board->ready = true;
    const double start = measure::Wall();
    for (size_t i = 0;; i++) {
        Cameras::SleepUntil(start + static_cast<double>(i) / RATE / static_cast<double>(count));
        Decode(decoders[i % count], pictures[i / count % pictures.size()].annexB, packet, frame);
    }
}

struct Cost {
    double cpu;    /**< ms a stream second */
    double memory; /**< MiB a stream */
    long dropped;  /**< datagrams */
    bool whole;    /**< all pictures came, where that is counted */
};

/** Lets the cameras send to a receiver, warm it up, and then measures. */
template <typename Main>
Cost Measure(size_t count, const std::vector<Picture> &pictures, Main main) {
    const double warmUp = 3;
    const double window = 8;
    Board *board = measure::Shared<Board>();
    Cost cost = {};
    Cameras cameras(pictures, count, FIRST_PORT, RATE);
    {
        Receiver receiver([&] { main(board); });
        while (!board->ready) {
            Cameras::SleepUntil(measure::Wall() + 0.01);
        }
        Cameras::SleepUntil(measure::Wall() + 1);
        const auto nothing = [](size_t, size_t, double) {};
        cameras.Run(warmUp, nothing);
        const double before = receiver.Cpu();
        cameras.Run(window, nothing);
        cost.cpu = (receiver.Cpu() - before) / window / static_cast<double>(count) * 1e3;
        cost.memory = static_cast<double>(receiver.Resident()) / 1024 / static_cast<double>(count);
        cost.dropped = measure::DroppedAt(cameras, count);
        Cameras::SleepUntil(measure::Wall() + 0.2);
        cost.whole = true;
        for (size_t i = 0; i < count; i++) {
            cost.whole = cost.whole && board->pictures[i] == cameras.SentBy(i);
        }
    }
    munmap(board, sizeof *board);
    return cost;
}

void CompareCost(size_t count, const std::vector<Picture> &pictures) {
    const Cost ours = Measure(count, pictures, [count](Board *board) { ReceiveWithZelvane(board, count); });
    const Cost gst = Measure(count, pictures, [count](Board *board) { ReceiveWithGStreamer(board, count); });
    const Cost bare =
        Measure(count, pictures, [count, &pictures](Board *board) { DecodeBarely(board, count, pictures); });
    measure::Require(ours.whole, "every picture of every camera at the callback");
    printf(
        "%2zu live cameras: %.2f ms CPU a stream second, %.2f MiB a stream, %ld packets lost; GStreamer %.2f ms, %.2f "
        "MiB, %ld lost; bare decoder %.2f ms, %.2f MiB; CPU %.3f of the bare decoder's (aim 1.05), memory %.2f of "
        "GStreamer's (aim 0.8)\n",
        count, ours.cpu, ours.memory, ours.dropped, gst.cpu, gst.memory, gst.dropped, bare.cpu, bare.memory,
        ours.cpu / bare.cpu, ours.memory / gst.memory);
    fflush(stdout);
}

/** The decoder's own time of each picture of the loop: the median of some rounds at the cameras' pace. */
std::vector<double> DecoderTimes(const std::vector<Picture> &pictures) {
    AVCodecContext *decoder = OpenDecoder();
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    std::vector<std::vector<double>> all(pictures.size());
    for (int round = 0; round < 5; round++) {
        for (size_t i = 0; i < pictures.size(); i++) {
            Cameras::SleepUntil(measure::Wall() + 0.004);
            const double start = measure::Wall();
            Decode(decoder, pictures[i].annexB, packet, frame);
            all[i].push_back(measure::Wall() - start);
        }
    }
    std::vector<double> medians;
    for (std::vector<double> &times : all) {
        std::nth_element(times.begin(), times.begin() + 2, times.end());
        medians.push_back(times[2]);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    return medians;
}

void AddedDelay(size_t count, const std::vector<Picture> &pictures) {
    const std::vector<double> decoderTimes = DecoderTimes(pictures);
    Board *board = measure::Shared<Board>();
    std::vector<std::vector<double>> sent(count);
    Cameras cameras(pictures, count, FIRST_PORT, RATE);
    Receiver receiver([&] { ReceiveWithZelvane(board, count); });
    while (!board->ready) {
        Cameras::SleepUntil(measure::Wall() + 0.01);
    }
    cameras.Run(20, [&sent](size_t camera, size_t, double when) { sent[camera].push_back(when); });
    Cameras::SleepUntil(measure::Wall() + 0.2);
    std::vector<double> added;
    for (size_t i = 0; i < count; i++) {
        measure::Require(board->pictures[i] == sent[i].size(), "every picture at the callback");
        for (size_t k = 15; k < sent[i].size(); k++) {  // the first second opens the decoder
            added.push_back((board->seen[i][k] - sent[i][k] - decoderTimes[k % pictures.size()]) * 1e3);
        }
    }
    std::sort(added.begin(), added.end());
    printf(
        "delay added from the last packet in the socket to the callback, less the decoder's time, %zu cameras: median "
        "%.2f ms, 99th percentile %.2f ms (aim 2), worst %.2f ms\n",
        count, added[added.size() / 2], added[added.size() * 99 / 100], added.back());
}

}  // namespace

/** Without arguments 1, 16 and 64 cameras; or as many as the arguments say. */
int main(int argc, char **argv) {
    const std::vector<Picture> pictures = measure::ReadPictures(H264, measure::ReadAll(measure::Media(H264.file)));
    std::vector<size_t> counts = {1, 16, 64};
    if (argc > 1) {
        counts.clear();
        std::transform(argv + 1, argv + argc, std::back_inserter(counts),
                       [](const char *text) { return std::clamp<size_t>(strtoul(text, nullptr, 10), 1, MAX_CAMERAS); });
    }
    for (const size_t count : counts) {
        CompareCost(count, pictures);
    }
    AddedDelay(16, pictures);
    return 0;
}
