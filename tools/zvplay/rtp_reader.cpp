#include "rtp_reader.h"

#include <utility>

namespace zvplay {
namespace {

constexpr size_t kHeader = 12;  // of an RTP packet, RFC 3550, 5.1

bool IsRtp(Bytes packet) { return packet.size() >= kHeader && packet[0] >> 6 == 2; }

/** What the library takes for sound or data; everything else from 19 on is video to it. */
bool IsVideo(Bytes packet) {
    const int type = packet[1] & 127;
    return type >= 19 && type != 50 && type != 104 && type != 120 && type != 121;
}

uint32_t Timestamp(Bytes packet) {
    return uint32_t(packet[4]) << 24 | uint32_t(packet[5]) << 16 | uint32_t(packet[6]) << 8 | packet[7];
}

/** The record at `at`, shorter than announced where the file ends; `at` moves behind it. */
Bytes TakeRecord(Bytes data, size_t *at, bool *truncated) {
    const size_t length = size_t(data[*at]) << 8 | data[*at + 1];
    *at += 2;
    *truncated = length > data.size() - *at;
    const Bytes record = data.subspan(*at, *truncated ? data.size() - *at : length);
    *at += record.size();
    return record;
}

}  // namespace

RtpReader::RtpReader(MappedFile file) : file_(std::move(file)), pace_(FindPace(file_.All())), clock_(pace_.rate, 32) {}

RtpReader::Pace RtpReader::FindPace(Bytes data) {
    double sound = 90000;
    bool truncated = false;
    size_t at = 0;
    for (int count = 0; count < 2000 && at + 2 <= data.size(); ++count) {
        const Bytes packet = TakeRecord(data, &at, &truncated);
        if (!IsRtp(packet)) continue;
        if (IsVideo(packet)) return {true, 90000};
        if ((packet[1] & 127) == 0 || (packet[1] & 127) == 8) sound = 8000;  // G.711, RFC 3551
    }
    return {false, sound};
}

bool RtpReader::Next(Push *push) {
    const Bytes data = file_.All();
    while (!truncated_ && at_ + 2 <= data.size()) {
        const Bytes packet = TakeRecord(data, &at_, &truncated_);
        if (truncated_ || packet.empty()) continue;
        if (IsRtp(packet) && IsVideo(packet) == pace_.video) clock_.Advance(Timestamp(packet));
        *push = {{}, packet, clock_.Now()};
        return true;
    }
    truncated_ = truncated_ || at_ != data.size();
    return false;
}

std::string RtpReader::Remark() const {
    return truncated_ ? "the capture ends in the middle of a packet, which was left out" : "";
}

bool RtpReader::Recognise(Bytes data) {
    if (data.size() < 2 + kHeader) return false;
    const size_t length = size_t(data[0]) << 8 | data[1];
    return length >= kHeader && length <= 10240 && IsRtp(data.subspan(2));
}

}  // namespace zvplay
