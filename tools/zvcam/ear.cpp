#include "zvcam/ear.h"

#include <algorithm>

#include "codec/g711.h"

namespace zvcam {
namespace {

constexpr uint32_t kRate = 8000;
constexpr size_t kHead = 4, kRtpHead = 12;
constexpr uint8_t kTalkChannel = 4;
constexpr uint8_t kMuLaw = 0;  // payload type
constexpr uint32_t kEchoSource = 0x4543484F;

/** The payload of an RTP packet (RFC 3550, 5.1); empty if it is none. */
Bytes Payload(Bytes packet) {
    if (packet.size() < kRtpHead || packet[0] >> 6 != 2) return {};
    size_t begin = kRtpHead + 4 * size_t(packet[0] & 15);
    if ((packet[0] & 0x10) != 0 && begin + 4 <= packet.size()) {
        begin += 4 + 4 * (size_t(packet[begin + 2]) << 8 | packet[begin + 3]);
    }
    const size_t padding = (packet[0] & 0x20) != 0 ? packet.back() : 0;
    return begin + padding < packet.size() ? packet.subspan(begin, packet.size() - begin - padding) : Bytes();
}

}  // namespace

bool Tapes::Open(const std::string &path, Failure *failure) {
    path_ = path;
    first_ = std::make_unique<tools::WavFile>();
    return first_->Open(path, kRate, failure);
}

std::unique_ptr<tools::WavFile> Tapes::Next() {
    if (path_.empty()) return nullptr;
    if (number_++ == 1) return std::move(first_);
    const size_t slash = path_.rfind('/'), dot = path_.rfind('.');
    const size_t end = dot == std::string::npos || (slash != std::string::npos && dot < slash) ? path_.size() : dot;
    auto tape = std::make_unique<tools::WavFile>();
    Failure failure;
    const std::string path = path_.substr(0, end) + "-" + std::to_string(number_ - 1) + path_.substr(end);
    return tape->Open(path, kRate, &failure) ? std::move(tape) : nullptr;
}

void Ear::Take(Bytes data, std::vector<Packet> *echo) {
    data_.insert(data_.end(), data.begin(), data.end());
    size_t at = 0;
    for (size_t taken = SIZE_MAX; taken > 0; at += taken) taken = TakeMessage(Bytes(data_).subspan(at), echo);
    data_.erase(data_.begin(), data_.begin() + static_cast<ptrdiff_t>(at));
}

/** @return bytes of the message at the front, or of what is none; 0 when more has to come */
size_t Ear::TakeMessage(Bytes data, std::vector<Packet> *echo) {
    if (data.size() < kHead) return 0;
    if (data[0] != '$' || data[1] > kTalkChannel) {
        const size_t stray = static_cast<size_t>(std::find(data.begin() + 1, data.end(), '$') - data.begin());
        counters_.voice_strays += stray;
        return stray;
    }
    const size_t length = size_t(data[2]) << 8 | data[3];
    if (data.size() - kHead < length) return 0;
    if (data[1] == kTalkChannel) Hear(data.subspan(kHead, length), echo);
    return kHead + length;
}

/** A gap in the numbers is what was lost; the time stamps tell nothing, as they grow by the block. */
void Ear::CountGap(uint16_t sequence) {
    if (heard_) counters_.voice_lost += static_cast<uint16_t>(sequence - next_);
    heard_ = true;
    next_ = static_cast<uint16_t>(sequence + 1);
}

void Ear::Hear(Bytes packet, std::vector<Packet> *echo) {
    const Bytes payload = Payload(packet);
    if (payload.empty() || (packet[1] & 127) != kMuLaw) {
        ++counters_.voice_unknown;
        return;
    }
    if (!heard_) tape_ = tapes_.Next();
    CountGap(static_cast<uint16_t>(packet[2] << 8 | packet[3]));
    ++counters_.voices;
    counters_.voice_samples += payload.size();
    if (tape_ != nullptr) {
        std::vector<uint8_t> samples(2 * payload.size());
        ULONG_32 length = 0;
        G711Decoder(payload.data(), static_cast<ULONG_32>(payload.size()), samples.data(), &length, G711_LAW_MU);
        tape_->Write(Bytes(samples).first(length));
    }
    if (echo != nullptr) echo->push_back(MakeEcho(payload));
}

Packet Ear::MakeEcho(Bytes payload) {
    Packet packet = {0x80, 0x80 | kMuLaw, static_cast<uint8_t>(echo_sequence_ >> 8),
                     static_cast<uint8_t>(echo_sequence_)};
    for (const uint32_t word : {echo_clock_, kEchoSource}) {
        for (int shift = 24; shift >= 0; shift -= 8) packet.push_back(static_cast<uint8_t>(word >> shift));
    }
    packet.insert(packet.end(), payload.begin(), payload.end());
    ++echo_sequence_;
    echo_clock_ += static_cast<uint32_t>(payload.size());
    return packet;
}

}  // namespace zvcam
