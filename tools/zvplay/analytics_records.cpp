#include "analytics_records.h"

namespace zvplay {
namespace {

using tools::Bytes;

constexpr uint8_t kUserData = 5;              // payload type of an SEI message
constexpr uint8_t kResult = 32, kRules = 33;  // what its first byte says
constexpr uint8_t kDataType = 50;             // RTP payload type of data frames
constexpr size_t kTsPacket = 188;
constexpr uint8_t kTsSync = 0x47, kTsStart = 0x40, kTsAdaptation = 0x20;
constexpr uint8_t kDataStream = 0xFC;  // PES stream id of data frames

/** The next start code at or behind a place; the end if there is none. */
size_t FindStart(Bytes data, size_t from) {
    for (size_t i = from; i + 3 <= data.size(); ++i) {
        if (data[i + 2] > 1) {
            i += 2;  // no start code holds this byte
        } else if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            return i;
        }
    }
    return data.size();
}

/** Whether the unit behind a start code is a message with a record. */
bool IsRecord(Bytes unit, size_t header) {
    size_t at = header + 1;
    if (unit.size() < at || unit[header] != kUserData) return false;
    while (at < unit.size() && unit[at] == 0xFF) ++at;  // the size
    return at + 1 < unit.size() && (unit[at + 1] == kResult || unit[at + 1] == kRules);
}

bool BeginsDataFrame(Bytes packet) {
    if (packet[0] != kTsSync || (packet[1] & kTsStart) == 0) return false;
    const size_t at = 4 + ((packet[3] & kTsAdaptation) != 0 ? size_t{1} + packet[4] : 0);
    return at + 4 <= packet.size() && packet[at] == 0 && packet[at + 1] == 0 && packet[at + 2] == 1 &&
           packet[at + 3] == kDataStream;
}

}  // namespace

uint32_t CountMessages(Bytes frame, bool h265) {
    const size_t header = h265 ? 2 : 1;
    uint32_t count = 0;
    for (size_t at = FindStart(frame, 0); at + 3 < frame.size(); at = FindStart(frame, at + 3)) {
        const Bytes unit = frame.subspan(at + 3);
        const int type = h265 ? unit[0] >> 1 & 63 : unit[0] & 31;
        if (h265 ? type <= 31 : type >= 1 && type <= 5) break;  // a slice
        count += type == (h265 ? 39 : 6) && IsRecord(unit, header);
    }
    return count;
}

uint32_t CountDataFrames(Bytes packets) {
    if (packets.size() >= 2 && packets[0] >> 6 == 2) return packets[1] == (0x80 | kDataType);
    uint32_t count = 0;
    for (; packets.size() >= kTsPacket; packets = packets.subspan(kTsPacket)) {
        count += BeginsDataFrame(packets.first(kTsPacket));
    }
    return count;
}

}  // namespace zvplay
