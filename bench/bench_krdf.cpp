/**
 * @file bench_krdf.cpp
 * @brief KRDF records that are in the cache: opening one of 60,000 groups, a jump in it, and reading 256 MiB of packets
 * beside reading the same bytes alone.
 */
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "file/module_krdf.h"
#include "measure.h"
#include "tools/common/krdf_writer.h"

namespace {

constexpr uint64_t BEGIN = 1709251198;
constexpr uint32_t UNITS = 16, GROUPS = 60000;

/** A folder that goes with the program. */
class Folder {
 public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "benchkrdfXXXXXX").string();
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

/** 4 GiB, of which most is a hole: 16 units, 60,000 groups a second each. */
const std::string &LongRecord() {
    static const std::string path = [] {
        const std::string name = Scratch().At("long.krdf");
        tools::KrdfWriter writer;
        tools::Failure failure;
        tools::KrdfLayout layout;
        layout.groups_a_unit = GROUPS / UNITS;
        const measure::Bytes data(200, 'x');
        measure::Require(writer.Open(name, layout, &failure), "creating the record");
        for (uint32_t i = 0; i < GROUPS; ++i) {
            measure::Require(writer.Add({true, tools::kKrdfH264, 0, true, BEGIN + i, data}, &failure), "writing");
        }
        measure::Require(writer.Close(&failure) && writer.Units() == UNITS && writer.Groups() == GROUPS, "the record");
        return name;
    }();
    return path;
}

/** 256 MiB of an encoder's 1080p, ten groups to each pass through the stream. */
const std::string &LargeRecord() {
    static const std::string path = [] {
        const std::string name = Scratch().At("large.krdf");
        const measure::Bytes stream = measure::ReadAll(measure::Media("h264_1080p_bench.264"));
        tools::KrdfWriter writer;
        tools::Failure failure;
        measure::Require(writer.Open(name, {}, &failure), "creating the record");
        const size_t frame = 20000;
        uint64_t written = 0;
        for (uint32_t i = 0; written < (uint64_t{256} << 20); ++i) {
            const size_t at = i * frame % (stream.size() - frame);
            const bool begins = i % 25 == 0;
            writer.Add({true, tools::kKrdfH264, static_cast<uint8_t>(begins ? 0 : 1), begins, BEGIN + i / 25,
                        tools::Bytes(stream).subspan(at, frame)},
                       &failure);
            written += frame;
        }
        measure::Require(writer.Close(&failure), "writing the record");
        return name;
    }();
    return path;
}

/** An open record. */
class Record {
 public:
    explicit Record(const std::string &path) : m_parser(KRDF_CreateKrdfParser(path.c_str(), 0)) {
        KRDF_INFO_S info = {};
        measure::Require(KRDF_GetKrdfInfo(m_parser, &info) == PLAYER_ERR_OK, "opening the record");
        seconds = info.ulLastTime;
    }
    ~Record() { KRDF_DestroyKrdfParser(m_parser); }
    ULONG_32 Read(KRDF_FRAME_INFO_S *frame) {
        frame->pcDataBuf = m_buffer.get();
        return KRDF_GetOneFrameData(m_parser, KRDF_FRAME_GET_TYPE_NONE, frame);
    }
    HANDLE Get() const { return m_parser; }
    ULONG_32 seconds = 0;

 private:
    const HANDLE m_parser;
    const std::unique_ptr<UCHAR[]> m_buffer = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
};

void OpenLong(benchmark::State &state) {
    LongRecord();
    for (auto _ : state) {
        const Record record(LongRecord());
        measure::Require(record.seconds == GROUPS - 1, "length");
    }
}

/** To the last group of a unit, for which all of its index is looked through. */
void JumpInLong(benchmark::State &state) {
    Record record(LongRecord());
    KRDF_FRAME_INFO_S frame = {};
    ULONG_32 unit = 0;
    for (auto _ : state) {
        unit = unit % (UNITS - 1) + 1;
        const ULONG_32 target = unit * (GROUPS / UNITS) - 1;
        ULONG_32 reached = 0;
        KRDF_SetPlayTime(record.Get(), target);
        const bool read = record.Read(&frame) == PLAYER_ERR_OK && KRDF_GetPlayTime(record.Get(), &reached) == 0;
        measure::Require(read && reached - target <= 1, "jump");  // the only packet of a group leads to the next one
    }
}

void ReadPackets(benchmark::State &state) {
    int64_t bytes = 0;
    LargeRecord();
    for (auto _ : state) {
        Record record(LargeRecord());
        KRDF_FRAME_INFO_S frame = {};
        int64_t frames = 0;
        for (; record.Read(&frame) == PLAYER_ERR_OK; ++frames) {
            bytes += frame.ulDataLen;
        }
        measure::Require(frames > 13000, "frames read");
    }
    state.SetBytesProcessed(bytes);
}

void ReadBytesAlone(benchmark::State &state) {
    std::vector<char> buffer(256 * 1024);
    int64_t bytes = 0;
    for (auto _ : state) {
        const int file = open(LargeRecord().c_str(), O_RDONLY | O_CLOEXEC);
        for (ssize_t got = 1; got > 0; bytes += got) {
            got = read(file, buffer.data(), buffer.size());
        }
        close(file);
    }
    state.SetBytesProcessed(bytes);
}

BENCHMARK(OpenLong)->Unit(benchmark::kMillisecond);
BENCHMARK(JumpInLong)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadPackets)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBytesAlone)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
