// A 1080p MP4 of ten minutes: from the open call to the first picture, and from a jump to the picture of the new place,
// beside libavformat and libavcodec doing the same in one process.
#include <algorithm>
#include <atomic>
#include <functional>

#include "measure.h"
#include "player_sdk_func.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

constexpr int ROUNDS = 9;
/** Where to jump to, s: forth and back over the whole file. */
constexpr unsigned PLACES[] = {300, 10, 590, 120, 480, 60, 420, 240, 540};

std::string MakeFile() {
    const std::string path = "bench_ten_minutes.mp4";
    const std::string command = "for i in $(seq 60); do cat " + measure::Media("h264_1080p_bench.264") +
                                "; done | ffmpeg -v error -y -r 25 -f h264 -i - -c copy " + path;
    measure::Require(system(command.c_str()) == 0, "ffmpeg");  // 250 pictures, 60 times
    return path;
}

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2] * 1e3;
}

std::atomic<unsigned> gPictures{0};

void TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *, LONG_REAL) { gPictures++; }

/** Seconds until the act has brought a picture. */
double UntilPicture(const std::function<void()> &act) {
    gPictures = 0;
    const double start = measure::Wall();
    act();
    while (gPictures == 0) {
        measure::Require(measure::Wall() - start < 10, "a picture");
        const timespec nap = {0, 20000};
        nanosleep(&nap, nullptr);
    }
    return measure::Wall() - start;
}

struct Times {
    double open;
    double jump;
};

Times PlayWithZelvane(const std::string &path) {
    std::vector<double> opens, jumps;
    for (int round = 0; round < ROUNDS; round++) {
        ULONG_32 port = 0;
        Zelvane_AllocPort(&port);
        Zelvane_SetDecodeVideoMediaDataCB(port, TakePicture, 1, nullptr);
        opens.push_back(UntilPicture([&] {
            measure::Require(Zelvane_OpenMediaFile(port, path.c_str()) && Zelvane_PausePlay(port, 0), "open");
        }));
        Zelvane_PausePlay(port, 1);
        const timespec settle = {0, 100000000};
        nanosleep(&settle, nullptr);
        jumps.push_back(UntilPicture([&] { Zelvane_SetPlayedTime(port, PLACES[round]); }));
        Zelvane_FreePort(port);
    }
    return {Median(opens), Median(jumps)};
}

/** A file open in FFmpeg's libraries, as a player without a window. */
class Peer {
 public:
    Peer(const std::string &path, int threads) : m_packet(av_packet_alloc()), m_frame(av_frame_alloc()) {
        measure::Require(avformat_open_input(&m_format, path.c_str(), nullptr, nullptr) == 0 &&
                             avformat_find_stream_info(m_format, nullptr) >= 0,
                         "libavformat opens");
        const AVCodecParameters *parameters = m_format->streams[0]->codecpar;
        m_decoder = avcodec_alloc_context3(avcodec_find_decoder(parameters->codec_id));
        m_decoder->thread_count = threads;
        measure::Require(avcodec_parameters_to_context(m_decoder, parameters) >= 0 &&
                             avcodec_open2(m_decoder, nullptr, nullptr) == 0,
                         "libavcodec opens");
    }
    ~Peer() {
        avcodec_free_context(&m_decoder);
        avformat_close_input(&m_format);
        av_packet_free(&m_packet);
        av_frame_free(&m_frame);
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    void DecodePicture() {
        while (avcodec_receive_frame(m_decoder, m_frame) != 0) {
            measure::Require(av_read_frame(m_format, m_packet) == 0, "libavformat reads");
            avcodec_send_packet(m_decoder, m_packet);
            av_packet_unref(m_packet);
        }
        av_frame_unref(m_frame);
    }

    void Jump(unsigned seconds) {
        const int64_t time = av_rescale_q(seconds, {1, 1}, m_format->streams[0]->time_base);
        measure::Require(av_seek_frame(m_format, 0, time, AVSEEK_FLAG_BACKWARD) >= 0, "libavformat seeks");
        avcodec_flush_buffers(m_decoder);
        DecodePicture();
    }

 private:
    AVFormatContext *m_format = nullptr;
    AVCodecContext *m_decoder = nullptr;
    AVPacket *m_packet;
    AVFrame *m_frame;
};

/** threads: 0 as many as players use by default, one a core */
Times PlayWithFfmpeg(const std::string &path, int threads) {
    std::vector<double> opens, jumps;
    for (const unsigned place : PLACES) {
        double start = measure::Wall();
        Peer peer(path, threads);
        peer.DecodePicture();
        opens.push_back(measure::Wall() - start);
        start = measure::Wall();
        peer.Jump(place);
        jumps.push_back(measure::Wall() - start);
    }
    return {Median(opens), Median(jumps)};
}

void Report(const char *what, double ours, double theirs, double theirsOneThread) {
    printf("%s: %.2f ms; libavformat and libavcodec: %.2f ms, with one thread %.2f ms; ratio %.2f (aim 0.5)\n", what,
           ours, theirs, theirsOneThread, ours / theirs);
}

}  // namespace

int main() {
    av_log_set_level(AV_LOG_QUIET);
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    const std::string path = MakeFile();
    const Times ours = PlayWithZelvane(path);
    const Times theirs = PlayWithFfmpeg(path, 0);
    const Times oneThread = PlayWithFfmpeg(path, 1);
    remove(path.c_str());
    Report("ten minutes of 1080p MP4, from the open call to the first picture", ours.open, theirs.open, oneThread.open);
    Report("from a jump to the picture of the new place", ours.jump, theirs.jump, oneThread.jump);
    Zelvane_Cleanup();
    return 0;
}
