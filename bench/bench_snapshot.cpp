// Snapshots of a port that shows 1080p: JPEG beside libjpeg-turbo's own encoder, bitmaps beside libyuv's conversion,
// and how long the picture is held for the copy.
#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <turbojpeg.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "measure.h"
#include "player_sdk_func.h"
#include "rtp_source.h"
#include "zelvane_modules.h"

namespace {

const measure::Codec H264 = {"H.264", "h264_1080p_bench.264", 105, "h264"};

std::atomic<size_t> gPictures{0};
ULONG_32 gPort = 0;

void CountPicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *, LONG_REAL) { gPictures++; }

/** Plays the stream's first second into a port. */
void Play() {
    size_t pictures = 0;
    std::vector<measure::Bytes> packets =
        measure::Packetise(H264, measure::ReadAll(measure::Media(H264.file)), &pictures);
    measure::Require(Zelvane_AllocPort(&gPort), "port");
    Zelvane_SetDecodeVideoMediaDataCB(gPort, CountPicture, 1, nullptr);
    measure::Require(Zelvane_OpenInputStream(gPort, nullptr, 0, 0), "open");
    for (measure::Bytes &packet : packets) {
        Zelvane_InputMediaData(gPort, packet.data(), static_cast<ULONG_32>(packet.size()));
    }
    const double start = measure::Wall();
    while (gPictures < pictures && measure::Wall() - start < 60) {
        usleep(1000);
    }
    measure::Require(gPictures == pictures, "pictures");
}

const CODE_DECODED_DATA_S &Shown() { return Player_GetPort(gPort)->stDecodeVideoData; }

void JpegSnapshot(benchmark::State &state) {
    for (auto _ : state) {
        measure::Require(Zelvane_SnatchOnce(gPort, "/dev/shm/bench_snapshot", PLAYER_PIC_FORMATE_JPEG, nullptr),
                         "JPEG");
    }
    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size("/dev/shm/bench_snapshot.jpg"));
    std::filesystem::remove("/dev/shm/bench_snapshot.jpg");
}

void JpegLibjpegTurbo(benchmark::State &state) {
    const CODE_DECODED_DATA_S &picture = Shown();
    const unsigned char *planes[3] = {picture.pucData[0], picture.pucData[1], picture.pucData[2]};
    const int strides[3] = {picture.lLineSize[0], picture.lLineSize[1], picture.lLineSize[2]};
    tjhandle turbo = tjInitCompress();
    unsigned char *jpeg = nullptr;
    unsigned long size = 0;
    for (auto _ : state) {
        measure::Require(tjCompressFromYUVPlanes(turbo, planes, picture.lWidth, strides, picture.lHeight, TJSAMP_420,
                                                 &jpeg, &size, 85, 0) == 0,
                         "libjpeg-turbo");
    }
    state.counters["bytes"] = static_cast<double>(size);
    tjFree(jpeg);
    tjDestroy(turbo);
}

void BitmapConversion(benchmark::State &state) {
    const CODE_DECODED_DATA_S &picture = Shown();
    CODEC_PIC_S source = {};
    for (int i = 0; i < 3; i++) {
        source.pucData[i] = picture.pucData[i];
        source.ulLineSize[i] = static_cast<ULONG_32>(picture.lLineSize[i]);
    }
    source.ulWidth = static_cast<ULONG_32>(picture.lWidth);
    source.ulHeight = static_cast<ULONG_32>(picture.lHeight);
    std::vector<UCHAR> pixels(static_cast<size_t>(source.ulWidth) * source.ulHeight * 3);
    CODEC_PIC_S target = {{pixels.data()}, {}, 0, 0};
    for (auto _ : state) {
        measure::Require(CODE_ColorSpace(FORMAT_COLORSPACE_YUVTORGB32, &source, &target) == 0, "conversion");
        benchmark::ClobberMemory();
    }
}

void BitmapLibyuv(benchmark::State &state) {
    const CODE_DECODED_DATA_S &picture = Shown();
    std::vector<UCHAR> pixels(static_cast<size_t>(picture.lWidth) * static_cast<size_t>(picture.lHeight) * 3);
    for (auto _ : state) {
        libyuv::I420ToRGB24(picture.pucData[0], picture.lLineSize[0], picture.pucData[1], picture.lLineSize[1],
                            picture.pucData[2], picture.lLineSize[2], pixels.data(), picture.lWidth * 3, picture.lWidth,
                            picture.lHeight);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(JpegSnapshot)->Unit(benchmark::kMillisecond);
BENCHMARK(JpegLibjpegTurbo)->Unit(benchmark::kMillisecond);
BENCHMARK(BitmapConversion)->Unit(benchmark::kMillisecond);
BENCHMARK(BitmapLibyuv)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    measure::Require(Zelvane_Init(), "Zelvane_Init");
    Play();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    Zelvane_Cleanup();
    return 0;
}
