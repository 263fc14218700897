// A file of any content, opened by what it seems to be, read under changing control values and moved about in.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "file/module_avi.h"
#include "file/module_file.h"
#include "foundations/com_log.h"

namespace {

constexpr size_t kStepSize = 2;    // a step: what to do, and with which value
constexpr size_t kStepsTaken = 8;  // taken from the end of the input
constexpr int kReadsAStep = 16;

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** One file in memory for the process, overwritten by each run. */
int MemoryFile() {
    static const int file = [] {
        Log_SetSysLogCB(DropLine);
        return memfd_create("fuzz", 0);
    }();
    return file;
}

/** Reads all of a frame, so that a length that is too long shows. */
void Touch(const FILE_FRAME_INFO_S &frame) {
    static std::vector<uint8_t> copy(VIDEO_FRAME_BUFFER_SIZE);
    memcpy(copy.data(), frame.pucBuffer, frame.ulBufferLen);
}

void Read(FILE_INFO_S *file, ULONG_32 control) {
    FILE_FRAME_INFO_S frame = {};
    for (int i = 0; i < kReadsAStep; ++i) {
        frame = {};
        const ULONG_32 result = File_ReadOneFrame(file, &frame, control);
        if (result == PLAYER_ERR_OK) {
            if (frame.pucBuffer == nullptr || frame.ulBufferLen > VIDEO_FRAME_BUFFER_SIZE) {
                abort();
            }
            Touch(frame);
        } else if (result == PLAYER_ERR_FILE_END) {
            return;
        }
    }
}

void TakeStep(FILE_INFO_S *file, const uint8_t *step) {
    ULONG_32 seconds = 0;
    if (step[0] % 2 == 0) {
        Read(file, step[1] % 8);
    } else {
        File_SetPlayTime(file, step[1], step[0]);
    }
    File_GetPlayTime(file, &seconds);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const size_t tail = size > 4 * kStepSize * kStepsTaken ? kStepSize * kStepsTaken : 0;
    const int memory = MemoryFile();
    const std::string path = "/proc/self/fd/" + std::to_string(memory);
    if (ftruncate(memory, 0) != 0 || pwrite(memory, data, size - tail, 0) != static_cast<ssize_t>(size - tail)) {
        return 0;
    }
    FILE_INFO_S file = {};
    if (File_CreateFileParser(path.c_str(), &file) == PLAYER_ERR_OK) {
        for (size_t at = size - tail; at < size; at += kStepSize) {
            TakeStep(&file, data + at);
        }
        Read(&file, FRAME_CTRL_PLAY);
    } else if (file.pFile != nullptr || file.pucFrameDataAddr != nullptr || file.hMp4Parser != nullptr ||
               file.hAviParser != nullptr) {
        abort();
    }
    if (file.hAviParser != nullptr) {
        AVI_FileClose(nullptr, file.hAviParser);
    }
    File_ReleaseFileParser(&file);
    return 0;
}
