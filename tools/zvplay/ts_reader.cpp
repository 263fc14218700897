#include "ts_reader.h"

#include <algorithm>
#include <utility>

namespace zvplay {
namespace {

constexpr size_t kPacket = 188;
constexpr uint8_t kSync = 0x47;
constexpr size_t kMostPackets = 0x240000 / kPacket;  // a frame of 2 MB with its packet heads; the library takes no more

bool EndsFrame(Bytes packet) { return (packet[1] & 0x20) != 0; }

/** The 33-bit PCR base (2.4.3.5) of a packet that has one. */
bool ReadPcr(Bytes packet, uint64_t *pcr) {
    const bool has_field = (packet[3] & 0x20) != 0 && packet[4] >= 7 && (packet[5] & 0x10) != 0;
    if (!has_field) return false;
    *pcr = uint64_t(packet[6]) << 25 | uint64_t(packet[7]) << 17 | uint64_t(packet[8]) << 9 | uint64_t(packet[9]) << 1 |
           packet[10] >> 7;
    return true;
}

}  // namespace

TsReader::TsReader(MappedFile file) : file_(std::move(file)) {}

/** Moves to the next place where a packet begins and another one, or the end of the file, follows it. */
bool TsReader::Synchronise() {
    const Bytes data = file_.All();
    const size_t from = at_;
    for (; data.size() - at_ >= kPacket; ++at_) {
        if (data[at_] == kSync && (data.size() - at_ == kPacket || data[at_ + kPacket] == kSync)) break;
    }
    if (data.size() - at_ < kPacket) at_ = data.size();
    skipped_ += at_ - from;
    return at_ < data.size();
}

bool TsReader::Next(Push *push) {
    const Bytes data = file_.All();
    if (!Synchronise()) return false;
    const size_t begin = at_;
    bool timed = false;
    for (size_t count = 0; count < kMostPackets && data.size() - at_ >= kPacket && data[at_] == kSync; ++count) {
        const Bytes packet = data.subspan(at_, kPacket);
        at_ += kPacket;
        uint64_t pcr = 0;
        if (!timed && ReadPcr(packet, &pcr)) {
            clock_.Advance(pcr);
            timed = true;
        }
        if (EndsFrame(packet)) break;
    }
    *push = {{}, data.subspan(begin, at_ - begin), clock_.Now()};
    return true;
}

std::string TsReader::Remark() const {
    return skipped_ > 0 ? std::to_string(skipped_) + " bytes between the TS packets were left out" : "";
}

bool TsReader::Recognise(Bytes data) {
    return data.size() >= kPacket && data[0] == kSync && (data.size() == kPacket || data[kPacket] == kSync);
}

bool TsReader::HasFrameEnds(Bytes data) {
    const size_t end = std::min<size_t>(data.size(), 8 << 20);
    for (size_t at = 0; at + kPacket <= end; at += kPacket) {
        if (data[at] == kSync && EndsFrame(data.subspan(at, kPacket))) return true;
    }
    return false;
}

}  // namespace zvplay
