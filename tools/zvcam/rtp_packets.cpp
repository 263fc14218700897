#include <algorithm>

#include "zvcam/packets.h"

namespace zvcam {
namespace {

constexpr uint8_t kFuA = 28, kStapA = 24;  // RFC 6184, 5.2
constexpr uint8_t kFu = 49;                // RFC 7798, 4.4
constexpr uint8_t kDataType = 50;           // analytics of this platform
constexpr uint64_t kClockStart = 90000;

void Put(Packet *packet, uint32_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) packet->push_back(static_cast<uint8_t>(value >> shift));
}

void Put(Packet *packet, Bytes bytes) { packet->insert(packet->end(), bytes.begin(), bytes.end()); }

/** One source of packets, RFC 3550, 5.1. */
struct Track {
    uint8_t payload_type = 0;
    uint16_t sequence = 0;
    uint32_t source = 0;
};

/** What stands in front of each payload. */
struct Head {
    uint32_t timestamp = 0;
    bool timed = false;  ///< with the extension
    uint32_t playback_time = 0;
    bool finished = false;
};

class RtpMaker : public PacketMaker {
 public:
    RtpMaker(const MediaInfo &info, const PacketOptions &options, uint64_t numbers) : info_(info), options_(options) {
        static const uint8_t kSoundTypes[] = {0, 0, 8, 120};
        const auto part = [&](int shift) { return static_cast<uint16_t>(numbers >> shift); };
        video_ = {static_cast<uint8_t>(VideoPayloadType(info.h265)), part(0), part(16) * 2U};
        sound_ = {kSoundTypes[info.audio], part(32), part(16) * 2U + 1};
        data_ = {kDataType, part(48), part(16) * 2U + 1};
    }

    bool Make(const Frame &frame, std::vector<Packet> *packets) override {
        packets_ = packets;
        if (!frame.record.empty()) {
            head_ = {static_cast<uint32_t>(kClockStart + frame.clock)};
            MakeRecord(frame.record);
            return true;
        }
        if (!frame.video) {
            head_ = {static_cast<uint32_t>(frame.sound_clock)};
            Put(&Begin(&sound_, true), frame.sound);
            return true;
        }
        SetVideoHead(frame.due, frame.clock);
        MakePicture(frame.units);
        return true;
    }

    void Finish(double seconds, std::vector<Packet> *packets) override {
        if (!options_.finish) return;
        packets_ = packets;
        SetVideoHead(seconds, static_cast<uint64_t>(seconds * 90000));
        head_.timed = head_.finished = true;
        // A delimiter alone, without the marker: no frame comes of it.
        static const uint8_t kH264[] = {9, 0xF0}, kH265[] = {35 << 1, 1, 0x50};
        Put(&Begin(&video_, false), info_.h265 ? Bytes(kH265) : Bytes(kH264));
    }

 private:
    void SetVideoHead(double seconds, uint64_t clock) {
        head_ = {static_cast<uint32_t>(kClockStart + clock), options_.timed,
                 options_.playback_time + static_cast<uint32_t>(seconds)};
    }

    /** Starts the next packet of a track. */
    Packet &Begin(Track *track, bool marker) {
        Packet &packet = packets_->emplace_back();
        packet.reserve(options_.mtu + 32);
        packet.push_back(head_.timed ? 0x90 : 0x80);
        packet.push_back(static_cast<uint8_t>((marker ? 0x80 : 0) | track->payload_type));
        Put(&packet, track->sequence++, 2);
        Put(&packet, head_.timestamp, 4);
        Put(&packet, track->source, 4);
        if (head_.timed) {  // profile, three words: time, reserved, flags
            Put(&packet, 3, 4);
            Put(&packet, head_.playback_time, 4);
            Put(&packet, 0, 4);
            Put(&packet, head_.finished ? 0x10000000 : 0, 4);
        }
        return packet;
    }

    /** A data frame, in pieces; the last one has the marker. */
    void MakeRecord(Bytes record) {
        for (; record.size() > options_.mtu; record = record.subspan(options_.mtu)) {
            Put(&Begin(&data_, false), record.first(options_.mtu));
        }
        Put(&Begin(&data_, true), record);
    }

    void MakePicture(const std::vector<Bytes> &units) {
        size_t next = options_.aggregate && !info_.h265 ? Aggregate(units) : 0;
        for (; next < units.size(); ++next) {
            const bool last = next + 1 == units.size();
            if (units[next].size() <= options_.mtu) {
                Put(&Begin(&video_, last), units[next]);
            } else {
                Fragment(units[next], last);
            }
        }
    }

    /** The parameter sets and messages at the front, if there are two or more, as STAP-A. @return how many went in */
    size_t Aggregate(const std::vector<Bytes> &units) {
        size_t count = 0, size = 1;
        while (count + 1 < units.size() && tools::UnitTypeH264(units[count]) >= 6 &&
               size + 2 + units[count].size() <= options_.mtu) {
            size += 2 + units[count++].size();
        }
        if (count < 2) return 0;
        Packet &packet = Begin(&video_, false);
        packet.push_back(0x60 | kStapA);
        for (size_t i = 0; i < count; ++i) {
            Put(&packet, static_cast<uint32_t>(units[i].size()), 2);
            Put(&packet, units[i]);
        }
        return count;
    }

    /** RFC 6184, 5.8, and RFC 7798, 4.4.3: the unit's header becomes that of each fragment, with its type behind. */
    void Fragment(Bytes unit, bool last) {
        const size_t header = info_.h265 ? 2 : 1;
        const int type = info_.h265 ? tools::UnitTypeH265(unit) : tools::UnitTypeH264(unit);
        const size_t most = options_.mtu - header - 1;
        for (size_t at = header; at < unit.size(); at += most) {
            const Bytes piece = unit.subspan(at, std::min(most, unit.size() - at));
            const bool end = at + piece.size() == unit.size();
            Packet &packet = Begin(&video_, last && end);
            if (info_.h265) {
                packet.push_back(static_cast<uint8_t>((unit[0] & 0x81) | kFu << 1));
                packet.push_back(unit[1]);
            } else {
                packet.push_back(static_cast<uint8_t>((unit[0] & 0xE0) | kFuA));
            }
            packet.push_back(static_cast<uint8_t>((at == header ? 0x80 : 0) | (end ? 0x40 : 0) | type));
            Put(&packet, piece);
        }
    }

    const MediaInfo info_;
    const PacketOptions options_;
    Track video_, sound_, data_;
    Head head_;
    std::vector<Packet> *packets_ = nullptr;
};

}  // namespace

std::unique_ptr<PacketMaker> MakeRtp(const MediaInfo &info, const PacketOptions &options, uint64_t numbers) {
    return std::make_unique<RtpMaker>(info, options, numbers);
}

}  // namespace zvcam
