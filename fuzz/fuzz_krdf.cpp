// A record in memory, opened by its path, read in every way and moved about in.
//
// The input is a record without its holes: 48 bytes of main index, 64 bytes of sub index for each of two units, then
// groups, each behind its length in two bytes, three a unit; at its end the steps. The corpus was made so of records of
// zvcam.
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "file/module_krdf.h"
#include "foundations/com_log.h"

/** The waits of a reader at its end would be most of the time here. */
extern "C" int usleep(useconds_t) { return 0; }

namespace {

constexpr size_t kMainIndex = 48, kSubIndex = 64, kSteps = 16, kStepSize = 2;
constexpr off_t kUnit = 0x10000000, kBlock = 0x4000, kGroupsAUnit = 3, kFirstBlock = 16;

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** Bytes of the input, from its front. */
struct Input {
    const uint8_t *data;
    size_t size;

    std::string Take(size_t count) {
        count = std::min(count, size);
        std::string taken(reinterpret_cast<const char *>(data), count);
        data += count;
        size -= count;
        return taken;
    }
};

void Put(int file, off_t at, const std::string &bytes) {
    if (pwrite(file, bytes.data(), bytes.size(), at) != static_cast<ssize_t>(bytes.size())) {
        abort();
    }
}

/** Lays the input out as a record. */
void Spread(int file, Input input) {
    if (ftruncate(file, 0) != 0) {
        abort();
    }
    Put(file, 0, std::string("\x67\x13\0\0", 4));
    Put(file, KRDF_MAIN_INDEX_POS, input.Take(kMainIndex));
    Put(file, KRDF_FIRST_SUB_INDEX_POS, input.Take(kSubIndex));
    Put(file, KRDF_FIRST_SUB_INDEX_POS + kUnit, input.Take(kSubIndex));
    for (off_t group = 0; input.size >= 2 && group < 2 * kGroupsAUnit; ++group) {
        const size_t length = input.data[0] | input.data[1] << 8;
        input.Take(2);
        Put(file,
            KRDF_FIRST_SUB_INDEX_POS + group / kGroupsAUnit * kUnit + (kFirstBlock + group % kGroupsAUnit) * kBlock,
            input.Take(length));
    }
}

void ReadFrames(HANDLE parser, ULONG_32 type) {
    static std::vector<UCHAR> buffer(VIDEO_FRAME_BUFFER_SIZE), copy(VIDEO_FRAME_BUFFER_SIZE);
    for (int i = 0; i < 16; ++i) {
        KRDF_FRAME_INFO_S frame = {};
        frame.pcDataBuf = buffer.data();
        const ULONG_32 result = KRDF_GetOneFrameData(parser, type, &frame);
        if (frame.ulDataLen > VIDEO_FRAME_BUFFER_SIZE) {
            abort();
        }
        if (result == PLAYER_ERR_FILE_END) {
            return;
        }
        memcpy(copy.data(), buffer.data(), frame.ulDataLen);
    }
}

void ReadPackets(KRDF_PARSER_S *parser, ULONG_32 room) {
    std::vector<UCHAR> buffer(room);
    PACKET_DATA_S packet = {};
    packet.pcData = buffer.data();
    packet.ulLength = room;
    if (Krdf_readDataPacket(parser, &packet) == PLAYER_ERR_OK && packet.ulLength > room) {
        abort();
    }
}

void TakeStep(KRDF_PARSER_S *parser, uint8_t kind, uint8_t value) {
    ULONG_32 seconds = 0;
    switch (kind % 6) {
        case 0:
        case 1:
            ReadFrames(parser, value % 5);
            break;
        case 2:
            KRDF_SetPlayTime(parser, value % 16);
            break;
        case 3:
            Krdf_goIFrame(parser, value % 2);
            break;
        case 4:
            ReadPackets(parser, 1 + value * 8U);
            break;
        default:
            Krdf_jumpFileByTime(parser, value % 16);
            break;
    }
    KRDF_GetPlayTime(parser, &seconds);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const int file = memfd_create("fuzz", 0);
    Log_SetSysLogCB(DropLine);
    const size_t steps = size > 4 * kSteps ? kSteps : 0;
    Spread(file, {data, size - steps});
    KRDF_PARSER_S *parser =
        static_cast<KRDF_PARSER_S *>(KRDF_CreateKrdfParser(("/proc/self/fd/" + std::to_string(file)).c_str(), 0));
    KRDF_INFO_S info = {};
    if (KRDF_GetKrdfInfo(parser, &info) == PLAYER_ERR_OK) {
        ReadFrames(parser, KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME);
        for (size_t at = size - steps; at < size; at += kStepSize) {
            TakeStep(parser, data[at], data[at + 1]);
        }
        ReadFrames(parser, KRDF_FRAME_GET_TYPE_NONE);
    }
    KRDF_DestroyKrdfParser(parser);
    return 0;
}
