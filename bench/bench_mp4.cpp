/**
 * @file bench_mp4.cpp
 * @brief MP4 files beside libavformat: opening one of four hours, and reading the samples of one that is in the cache.
 */
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "file/mp4_parse.h"
#include "measure.h"
#include "tests/file/mp4_builder.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace {

/** A folder that goes with the program. */
class Folder {
 public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "benchmp4XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    std::string At(const char *name) const { return (m_path / name).string(); }

 private:
    std::filesystem::path m_path;
};

const Folder &Scratch() {
    static const Folder folder;
    return folder;
}

/** Four hours of 25 frames a second with AAC of 10 kHz, 500,000 samples; the media data are a hole. */
const std::string &FourHours() {
    static const std::string path = [] {
        constexpr uint32_t VIDEO = 4 * 3600 * 25, SOUND = 140000, FRAME = 5000, BLOCK = 200;
        mp4::Track video, sound;
        sound.handler = "soun";
        sound.entry = mp4::AudioEntry(64, "\x12\x10");
        video.sync = std::vector<uint32_t>{};
        uint32_t at = mp4::DATA;
        const auto add = [&at](mp4::Track *track, uint32_t size, bool chunk) {
            if (chunk) {
                track->chunks.push_back(at);
                const uint32_t number = static_cast<uint32_t>(track->chunks.size());
                track->map.insert(track->map.end(), {number, 0, 1});
            }
            ++track->map[track->map.size() - 2];
            track->sizes.push_back(size);
            at += size;
        };
        bool chunk = true;
        for (uint32_t i = 0, heard = 0; i < VIDEO; ++i) {
            if (i % 50 == 0) {
                video.sync->push_back(i + 1);
            }
            add(&video, FRAME, chunk);
            chunk = false;
            for (; heard * uint64_t{VIDEO} < (i + 1) * uint64_t{SOUND}; ++heard) {
                add(&sound, BLOCK, true);
                chunk = true;
            }
        }
        const std::string front = mp4::Ftyp() + mp4::U32(at - mp4::DATA + 8) + "mdat";
        const std::string moov = mp4::Box("moov", mp4::Mvhd(1, 14400) + video.Make() + sound.Make());
        const std::string name = Scratch().At("four_hours.mp4");
        FILE *file = fopen(name.c_str(), "wb");
        measure::Require(fwrite(front.data(), 1, front.size(), file) == front.size() &&
                             fseek(file, at, SEEK_SET) == 0 &&
                             fwrite(moov.data(), 1, moov.size(), file) == moov.size() && fclose(file) == 0,
                         "writing the long file");
        return name;
    }();
    return path;
}

/** 1080p video of about 100 MB, muxed by FFmpeg. */
const std::string &LargeFile() {
    static const std::string path = [] {
        const std::string name = Scratch().At("large.mp4");
        const std::string command = "for i in $(seq 20); do cat " + measure::Media("h264_1080p_bench.264") +
                                    "; done | ffmpeg -v error -f h264 -r 25 -i - -c copy " + name;
        measure::Require(system(command.c_str()) == 0, "muxing");
        return name;
    }();
    return path;
}

void OpenLong(benchmark::State &state) {
    const std::string &path = FourHours();
    size_t samples = 0;
    for (auto _ : state) {
        FILE *file = fopen(path.c_str(), "rb");
        mp4_moov_box *parser = MP4_CreateMp4Parser(file, 0);
        samples = parser->list.size();
        MP4_ReleaseMp4Parser(parser);
        fclose(file);
    }
    measure::Require(samples == 500000, "number of samples");
    FILE *file = fopen(path.c_str(), "rb");
    const struct mallinfo2 before = mallinfo2();
    mp4_moov_box *parser = MP4_CreateMp4Parser(file, 0);
    const struct mallinfo2 after = mallinfo2();
    state.counters["bytes/sample"] =
        static_cast<double>(after.uordblks + after.hblkhd - before.uordblks - before.hblkhd) / 500000;
    MP4_ReleaseMp4Parser(parser);
    fclose(file);
}

void OpenLongLibavformat(benchmark::State &state) {
    const std::string &path = FourHours();
    for (auto _ : state) {
        AVFormatContext *format = nullptr;
        measure::Require(avformat_open_input(&format, path.c_str(), nullptr, nullptr) == 0, "libavformat opens");
        avformat_close_input(&format);
    }
}

void ReadSamples(benchmark::State &state) {
    FILE *file = fopen(LargeFile().c_str(), "rb");
    mp4_moov_box *parser = MP4_CreateMp4Parser(file, 0);
    const auto buffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    MP4_FRAME_INFO_S frame = {};
    frame.pucBuffer = buffer.get();
    int64_t bytes = 0, frames = 0;
    for (auto _ : state) {
        MP4_SetPlayTime(file, parser, 0, 25);
        while (MP4_GetOneFrameData(file, parser, MP4_FRAME_GET_TYPE_NONE, &frame) == PLAYER_ERR_OK) {
            bytes += frame.ulBufferLen;
            ++frames;
        }
    }
    measure::Require(frames == state.iterations() * static_cast<int64_t>(parser->list.size()), "frames read");
    state.SetBytesProcessed(bytes);
    state.counters["frames"] = static_cast<double>(parser->list.size());
    MP4_ReleaseMp4Parser(parser);
    fclose(file);
}

void ReadSamplesLibavformat(benchmark::State &state) {
    AVFormatContext *format = nullptr;
    measure::Require(avformat_open_input(&format, LargeFile().c_str(), nullptr, nullptr) == 0, "libavformat opens");
    AVPacket *packet = av_packet_alloc();
    int64_t bytes = 0;
    for (auto _ : state) {
        avformat_seek_file(format, 0, INT64_MIN, 0, 0, 0);
        while (av_read_frame(format, packet) >= 0) {
            bytes += packet->size;
            av_packet_unref(packet);
        }
    }
    state.SetBytesProcessed(bytes);
    av_packet_free(&packet);
    avformat_close_input(&format);
}

BENCHMARK(OpenLong)->Unit(benchmark::kMillisecond);
BENCHMARK(OpenLongLibavformat)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadSamples)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadSamplesLibavformat)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
    av_log_set_level(AV_LOG_QUIET);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
