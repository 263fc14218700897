/**
 * @file bench_protect.cpp
 * @brief Content protection beside what only moves the same bytes: descrambling beside memcpy(), a watermark check
 * beside cat.
 */
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>

#include "common/access_units.h"
#include "measure.h"
#include "player_sdk_func.h"
#include "zelvane_modules.h"
#include "zvcam/watermarker.h"

namespace {

using measure::Bytes;

constexpr size_t FRAME = 500000;

/** A scrambled frame of random bytes behind parameter sets and both messages. */
Bytes ScrambledFrame(bool key) {
    Bytes frame;
    const auto put = [&frame](std::initializer_list<int> bytes) {
        frame.insert(frame.end(), bytes.begin(), bytes.end());
    };
    if (key) {
        put({0, 0, 0, 1, 0x67, 1, 2, 3, 4, 0, 0, 0, 1, 0x68, 5, 6, 0, 0, 0, 1, 6, 5, 129, 36});
        frame.insert(frame.end(), 128, 0xAA);
        put({0x80, 0, 0, 0, 1, 6, 5, 7, 20, 3, 0, 1, 2, 3, 4, 0x80});
    }
    put({0, 0, 0, 1, key ? 0x65 : 0x41});
    std::mt19937 dice(1);
    while (frame.size() < FRAME) frame.push_back(static_cast<uint8_t>(dice()));
    return frame;
}

double BestOf(int runs, const std::function<double()> &run) {
    double best = run();
    for (int i = 1; i < runs; ++i) best = std::min(best, run());
    return best;
}

double Timed(const std::function<void()> &work) {
    const double start = measure::Wall();
    work();
    return measure::Wall() - start;
}

/** A frame restored anew each time beside a copy of the same bytes; only these are timed, in turns. */
void CompareDescrambling(const char *name, bool key) {
    const Bytes frame = ScrambledFrame(key);
    Bytes work = frame, copy = frame;
    UCHAR master[] = {1, 2, 3, 4};
    HANDLE scramble = SCRAMBLE_CreateKey(0, master, 5);
    double restored = 1, copied = 1;
    for (int i = 0; i < 5000; ++i) {
        work = frame;
        ULONG_32 length = static_cast<ULONG_32>(frame.size()), result = 0;
        restored =
            std::min(restored, Timed([&] {
                         result = SCRAMBLE_Descramble(scramble, PLAYER_PAYLOAD_H264, key ? 0 : 1, work.data(), &length);
                     }));
        measure::Require(result == 0 && length < frame.size() + !key, "descrambling");
        copied = std::min(copied, Timed([&] {
                              memcpy(copy.data(), work.data(), frame.size());
                              asm volatile("" : : "r"(copy.data()) : "memory");
                          }));
    }
    SCRAMBLE_FreeKey(&scramble);
    const double gigabytes = static_cast<double>(frame.size()) * 1e-9;
    printf("%-28s %6.2f GB/s, memcpy %6.2f GB/s, ratio %.2f\n", name, gigabytes / restored, gigabytes / copied,
           copied / restored);
}

void ParseMessages() {
    constexpr int kRuns = 100000;
    Bytes frame = ScrambledFrame(false);
    frame.resize(100000);
    SEI_INFO_S info = {};
    const double best = BestOf(20, [&] {
        return Timed([&] {
            for (int i = 0; i < kRuns; ++i) {
                measure::Require(Sei_Parse(PLAYER_PAYLOAD_H264, frame.data(), 100000, &info) == 0, "parsing");
            }
        });
    });
    Sei_InfoClear(&info);
    printf("%-28s %6.1f ns\n", "Sei_Parse, P frame of 100 KB", best / kRuns * 1e9);
}

/** A stream of 1080p with a mark at each key frame, as one pass of the test stream gives it. */
std::string MarkedStream() {
    tools::Failure failure;
    tools::MappedFile file;
    measure::Require(file.Open(measure::Media("h264_1080p_bench.264"), &failure), "the test stream");
    tools::AccessUnitReader reader(std::move(file), false);
    zvcam::Watermarker marker("bench", false);
    tools::AccessUnit picture;
    std::string stream;
    while (reader.Next(&picture)) {
        std::vector<tools::Bytes> units = picture.units;
        measure::Require(!picture.key || marker.Apply(&units), "marking");
        for (const tools::Bytes unit : units) {
            stream.append("\0\0\0\1", 4);
            stream.append(unit.begin(), unit.end());
        }
    }
    return stream;
}

/** Writes an MP4 of a gigabyte through ffmpeg. */
void WriteGigabyte(const std::string &path) {
    const std::string stream = MarkedStream();
    FILE *pipe = popen(("ffmpeg -nostdin -v error -f h264 -r 25 -i pipe:0 -c copy -y '" + path + "'").c_str(), "w");
    measure::Require(pipe != nullptr, "ffmpeg");
    for (size_t written = 0; written < (size_t{1} << 30); written += stream.size()) {
        measure::Require(fwrite(stream.data(), 1, stream.size(), pipe) == stream.size(), "muxing");
    }
    measure::Require(pclose(pipe) == 0, "muxing");
}

void CheckGigabyte() {
    const std::string path = (std::filesystem::temp_directory_path() / "bench_protect.mp4").string();
    WriteGigabyte(path);
    Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    ULONG_32 port = 0;
    measure::Require(Zelvane_Init() && Zelvane_AllocPort(&port), "the library");
    const double gigabytes = static_cast<double>(std::filesystem::file_size(path)) * 1e-9;
    const double cat = BestOf(5, [&] { return measure::RunPeer("cat '" + path + "'").wall; });
    const double check = BestOf(5, [&] {
        PLAYER_MARK_INFO_S info = {};
        const double start = measure::Wall();
        measure::Require(Zelvane_CheckMark(port, path.c_str(), &info), "the check");
        const double time = measure::Wall() - start;
        measure::Require(info.bHaveWaterMark == 1 && info.ulUnmarkCount == 0, "marks");
        Zelvane_FreeMarkInfo(&info);
        return time;
    });
    printf("watermark check of %.2f GB    %6.2f GB/s, cat    %6.2f GB/s, ratio %.2f\n", gigabytes, gigabytes / check,
           gigabytes / cat, cat / check);
    Zelvane_FreePort(port);
    Zelvane_Cleanup();
    std::filesystem::remove(path);
}

}  // namespace

int main() {
    CompareDescrambling("descrambling a P frame", false);
    CompareDescrambling("descrambling a key frame", true);
    ParseMessages();
    CheckGigabyte();
}
