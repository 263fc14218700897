// The pause that a change of file makes in the record thread, at the end of an hour of video: the longest that a key
// frame takes which begins a file, beside the longest of the key frames which don't.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "live_camera.h"
#include "zelvane_modules.h"

namespace {

constexpr DULONG TICKS = 3600;  // 25 frames a second
constexpr size_t GROUP = 50;
constexpr size_t FRAMES = 25 * 3600;
constexpr int ROUNDS = 5;

struct Format {
    const char *name;
    ULONG_32 number;
    bool ts;
};

PLAEYR_PORT_S *StartedPort(const Format &format, const std::string &base) {
    ULONG_32 main = 0;
    ULONG_32 helper = 0;
    measure::Require(Player_AllocPort(&main) == PLAYER_ERR_OK && Player_AllocPort(&helper) == PLAYER_ERR_OK, "ports");
    PLAEYR_PORT_S *port = Player_GetPort(main);
    port->pstReordPort = Player_GetPort(helper);
    port->pstReordPort->pcFrameDataAddr = static_cast<CHAR *>(malloc(VIDEO_FRAME_BUFFER_SIZE));
    port->pstReordPort->pcRtpAudioFrameDataAddr = static_cast<CHAR *>(malloc(AUDIO_FRAME_BUFFER_SIZE));
    port->ulMediaFileFormat = format.number;
    snprintf(port->szFileNameTemp, sizeof(port->szFileNameTemp), "%s", base.c_str());
    snprintf(port->szFileName, sizeof(port->szFileName), "%s.temp", base.c_str());
    if (format.ts) {
        port->pstTsRecordInfo = static_cast<TS_PACKET_DEC_S *>(calloc(1, sizeof(TS_PACKET_DEC_S)));
        port->pRecordFile = fopen(port->szFileName, "wb");
    } else {
        port->pstMp4SpsPpsInfo = static_cast<MP4_SPS_PPS_INFO *>(calloc(1, sizeof(MP4_SPS_PPS_INFO)));
        port->hMp4File = mp4_file_open(port->szFileName, 0, 0);
    }
    port->bStartRecord = 1;
    return port;
}

/** Hands a frame to the record thread's step. @return how long it took, seconds */
double Take(RECORD_LOOP_S *loop, measure::Bytes *frame, bool key, DULONG time) {
    PLAYER_RECORDHEAD_S head = {{'R', 'd', 'H', 'd'}, PLAYER_PAYLOAD_H264, key ? 0 : 1, 0, time};
    const double start = measure::Wall();
    measure::Require(Record_AddPacket(loop, reinterpret_cast<CHAR *>(&head), sizeof(head)) == PLAYER_ERR_OK &&
                         Record_AddPacket(loop, reinterpret_cast<CHAR *>(frame->data()),
                                           static_cast<ULONG_32>(frame->size())) == PLAYER_ERR_OK,
                     "a frame recorded");
    return measure::Wall() - start;
}

/** An hour into one file, then the change. Small frames do: what a change costs goes by their number. */
void Measure(const Format &format, measure::Bytes key, measure::Bytes other, const std::string &folder) {
    double worstKey = 0;
    std::vector<double> pauses;
    for (int round = 0; round < ROUNDS; round++) {
        std::filesystem::create_directory(folder);
        PLAEYR_PORT_S *port = StartedPort(format, folder + "/rec");
        RECORD_LOOP_S loop = {};
        loop.pstPort = port;
        for (size_t i = 0; i < FRAMES; i++) {
            const double took = Take(&loop, i % GROUP == 0 ? &key : &other, i % GROUP == 0, 90000 + i * TICKS);
            worstKey = std::max(worstKey, i % GROUP == 0 ? took : 0);
        }
        word::Store(port->ulFileMaxSize, DULONG{1});
        pauses.push_back(Take(&loop, &key, true, 90000 + FRAMES * TICKS));
        Player_StopRecord(port->ulPort);
        const auto files = std::distance(std::filesystem::directory_iterator(folder), {});
        measure::Require(files == 2, "the change of file");
        Player_FreePort(port->ulPort);
        std::filesystem::remove_all(folder);
    }
    std::sort(pauses.begin(), pauses.end());
    printf(
        "%s, change of file after an hour: median %.2f ms, worst of %d %.2f ms (aim 5); other key frames: worst %.2f "
        "ms\n",
        format.name, pauses[ROUNDS / 2] * 1e3, ROUNDS, pauses.back() * 1e3, worstKey * 1e3);
}

}  // namespace

int main() {
    const measure::Codec h264 = {"H.264", "h264_640x360_bf0.264", 105, "h264"};
    const std::vector<measure::Picture> pictures =
        measure::ReadPictures(h264, measure::ReadAll(measure::Media(h264.file)));
    Log_SetSysLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    const std::string folder = (std::filesystem::temp_directory_path() / "bench_rollover").string();
    const Format formats[] = {{"MP4", PLAYER_FILE_FORMATE_MP4, false}, {"TS", PLAYER_FILE_FORMATE_TS, true}};
    for (const Format &format : formats) {
        Measure(format, pictures[0].annexB, pictures[1].annexB, folder);
    }
    return 0;
}
