/**
 * @file rtp_source.h
 * @brief Test streams as RTP: what the programs push or send.
 */
#ifndef ZELVANE_BENCH_RTP_SOURCE_H
#define ZELVANE_BENCH_RTP_SOURCE_H

#include <algorithm>
#include <span>

#include "measure.h"

namespace measure {

using Span = std::span<const uint8_t>;

struct Unit {
    size_t offset;
    size_t length;
};

/** NAL units of an Annex B stream, without their start codes. */
inline std::vector<Unit> FindUnits(const Bytes &stream) {
    std::vector<Unit> units;
    for (size_t i = 0; i + 3 < stream.size(); i++) {
        if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
            if (!units.empty()) {
                units.back().length = i - units.back().offset - (stream[i - 1] == 0 ? 1 : 0);
            }
            units.push_back({i + 3, stream.size() - i - 3});
            i += 2;
        }
    }
    return units;
}

struct Codec {
    const char *name;
    const char *file;
    uint8_t payloadType;
    const char *demuxer;
};

inline bool IsPicture(const Codec &codec, uint8_t header) {
    if (codec.payloadType == 108) {
        return (header >> 1 & 0x3F) < 32;
    }
    return (header & 0x1F) == 1 || (header & 0x1F) == 5;
}

inline void AppendPacket(const Codec &codec, const Bytes &payload, uint32_t timestamp, bool marker,
                         std::vector<Bytes> *out) {
    const uint16_t number = static_cast<uint16_t>(out->size() + 1);
    Bytes packet = {0x80,
                    static_cast<uint8_t>(codec.payloadType | (marker ? 0x80 : 0)),
                    static_cast<uint8_t>(number >> 8),
                    static_cast<uint8_t>(number),
                    static_cast<uint8_t>(timestamp >> 24),
                    static_cast<uint8_t>(timestamp >> 16),
                    static_cast<uint8_t>(timestamp >> 8),
                    static_cast<uint8_t>(timestamp),
                    1,
                    2,
                    3,
                    4};
    packet.insert(packet.end(), payload.begin(), payload.end());
    out->push_back(std::move(packet));
}

inline void AppendFragments(const Codec &codec, Span unit, uint32_t timestamp, bool marker, std::vector<Bytes> *out) {
    const size_t length = unit.size();
    const size_t mtu = 1400;
    const size_t head = codec.payloadType == 108 ? 2 : 1;
    for (size_t offset = head; offset < length;) {
        const size_t part = std::min(mtu, length - offset);
        const uint8_t edge = static_cast<uint8_t>((offset == head ? 0x80 : 0) | (offset + part == length ? 0x40 : 0));
        Bytes payload = head == 2 ? Bytes{static_cast<uint8_t>((unit[0] & 0x81) | 49 << 1), unit[1],
                                          static_cast<uint8_t>((unit[0] >> 1 & 0x3F) | edge)}
                                  : Bytes{static_cast<uint8_t>((unit[0] & 0xE0) | 28),
                                          static_cast<uint8_t>((unit[0] & 0x1F) | edge)};
        payload.insert(payload.end(), unit.begin() + offset, unit.begin() + offset + part);
        offset += part;
        AppendPacket(codec, payload, timestamp, marker && offset == length, out);
    }
}

/** The stream as RTP; a picture of one slice each, which is what the benchmark streams hold. */
inline std::vector<Bytes> Packetise(const Codec &codec, Bytes stream, size_t *pictures) {
    std::vector<Bytes> packets;
    *pictures = 0;
    for (const Unit &unit : FindUnits(stream)) {
        uint8_t *data = stream.data() + unit.offset;
        if (codec.payloadType == 108 && (data[0] == 0x28 || data[0] == 0x2A)) {
            data[0] = 0x26;
        }
        const uint32_t timestamp = static_cast<uint32_t>(*pictures + 1) * 3600;
        const bool isPicture = IsPicture(codec, data[0]);
        if (unit.length > 1400) {
            AppendFragments(codec, Span(data, unit.length), timestamp, isPicture, &packets);
        } else {
            AppendPacket(codec, Bytes(data, data + unit.length), timestamp, isPicture, &packets);
        }
        *pictures += isPicture;
    }
    return packets;
}

/** Gives the packet the number that follows, so that rounds of one stream run on without a gap. */
inline void Renumber(Bytes *packet, size_t number) {
    (*packet)[2] = static_cast<uint8_t>(number >> 8);
    (*packet)[3] = static_cast<uint8_t>(number);
}

}  // namespace measure

#endif
