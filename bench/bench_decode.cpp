// Pictures a second of the decoder libraries against bare libavcodec, one thread each, on the same access units in
// memory. Both sides read one byte of each picture; the count of pictures is checked before the time is.
#include <benchmark/benchmark.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "codec/h265dec.h"
#include "codec/zvcodec.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes ReadMedia(const char *name) {
    const char *folder = std::getenv("ZELVANE_MEDIA");
    std::ifstream file(std::string(folder != nullptr ? folder : ".") + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** Access units by FFmpeg's parser. */
std::vector<Bytes> AccessUnits(Bytes stream, AVCodecID codec) {
    const size_t size = stream.size();
    stream.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
    AVCodecParserContext *parser = av_parser_init(codec);
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(codec));
    std::vector<Bytes> units;
    size_t fed = 0;
    for (bool more = size != 0; more;) {
        uint8_t *out = nullptr;
        int length = 0;
        const auto left = static_cast<int>(size - fed);
        fed +=
            static_cast<size_t>(av_parser_parse2(parser, context, &out, &length, stream.data() + fed, left, 0, 0, 0));
        if (length > 0) {
            units.emplace_back(out, out + length);
        }
        more = left > 0 || length > 0;
    }
    avcodec_free_context(&context);
    av_parser_close(parser);
    return units;
}

size_t RunLibavcodec(const std::vector<Bytes> &units, AVCodecID codec) {
    AVCodecContext *context = avcodec_alloc_context3(avcodec_find_decoder(codec));
    context->thread_count = 1;
    avcodec_open2(context, nullptr, nullptr);
    AVFrame *frame = av_frame_alloc();
    AVPacket *packet = av_packet_alloc();
    size_t pictures = 0;
    for (const Bytes &unit : units) {
        if (av_new_packet(packet, static_cast<int>(unit.size())) != 0) {
            break;
        }
        std::memcpy(packet->data, unit.data(), unit.size());
        avcodec_send_packet(context, packet);
        av_packet_unref(packet);
        while (avcodec_receive_frame(context, frame) == 0) {
            benchmark::DoNotOptimize(frame->data[0][0]);
            ++pictures;
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&context);
    return pictures;
}

size_t RunH264(const std::vector<Bytes> &units, AVCodecID /*codec*/) {
    void *handle = dec_h264_init(1);
    size_t pictures = 0;
    for (const Bytes &unit : units) {
        H264Dec_Info info{};
        info.pstream_buf = const_cast<uint8_t *>(unit.data());
        info.buf_size = static_cast<int>(unit.size());
        if (dec_h264_main(handle, &info, nullptr) == 0 && info.point_to_picture == H264_PICTURE_IN_INFO) {
            benchmark::DoNotOptimize(info.yuv_picture.data[0][0]);
            ++pictures;
        }
    }
    dec_h264_destroy(handle);
    return pictures;
}

void *Allocate(UINT32 /*channel*/, UINT32 size) { return std::malloc(size); }
void Release(UINT32 /*channel*/, void *memory) { std::free(memory); }

size_t RunH265(const std::vector<Bytes> &units, AVCodecID /*codec*/) {
    IHW265D_INIT_PARAM param{};
    param.iMaxWidth = 1920;
    param.iMaxHeight = 1080;
    param.pfnMalloc = Allocate;
    param.pfnFree = Release;
    void *handle = nullptr;
    IHW265D_Create(&handle, &param);
    size_t pictures = 0;
    for (const Bytes &unit : units) {
        IH265DEC_INARGS in{const_cast<uint8_t *>(unit.data()), static_cast<UINT32>(unit.size()), 0, IH265D_DECODE};
        IH265DEC_OUTARGS out{};
        if (IHW265D_DecodeFrame(handle, &in, &out) == IHW265D_OK) {
            benchmark::DoNotOptimize(out.pPlane[0][0]);
            ++pictures;
        }
    }
    IHW265D_Delete(handle);
    return pictures;
}

using Run = size_t (*)(const std::vector<Bytes> &, AVCodecID);

void Decode(benchmark::State &state, const char *name, AVCodecID codec, Run run) {
    av_log_set_level(AV_LOG_QUIET);
    const std::vector<Bytes> units = AccessUnits(ReadMedia(name), codec);
    if (units.empty()) {
        state.SkipWithError("no such stream in ZELVANE_MEDIA");
        return;
    }
    const size_t pictures = RunLibavcodec(units, codec);
    if (run(units, codec) != pictures) {
        state.SkipWithError("other pictures than libavcodec's");
        return;
    }
    for (auto _ : state) {
        run(units, codec);
    }
    state.counters["fps"] = benchmark::Counter(static_cast<double>(pictures) * static_cast<double>(state.iterations()),
                                               benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK_CAPTURE(Decode, h264_1080p_zelvane, "h264_1080p_bf0.264", AV_CODEC_ID_H264, RunH264)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, h264_1080p_libavcodec, "h264_1080p_bf0.264", AV_CODEC_ID_H264, RunLibavcodec)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, h264_640x360_zelvane, "h264_640x360_bf2.264", AV_CODEC_ID_H264, RunH264)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, h264_640x360_libavcodec, "h264_640x360_bf2.264", AV_CODEC_ID_H264, RunLibavcodec)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, h265_1080p_zelvane, "h265_1080p.265", AV_CODEC_ID_HEVC, RunH265)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, h265_1080p_libavcodec, "h265_1080p.265", AV_CODEC_ID_HEVC, RunLibavcodec)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
