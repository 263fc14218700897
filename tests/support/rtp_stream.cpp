#include "support/rtp_stream.h"

#include <algorithm>

namespace support {

namespace {

size_t StartCodeLength(Span unit) { return unit[2] == 1 ? 3 : 4; }

Span WithoutStartCode(Span unit) { return unit.subspan(StartCodeLength(unit)); }

}  // namespace

Bytes RtpSender::Packet(Span payload, uint32_t timestamp, bool marker) {
    Bytes packet = {0x80,
                    static_cast<uint8_t>(m_payloadType | (marker ? 0x80 : 0)),
                    static_cast<uint8_t>(m_sequence >> 8),
                    static_cast<uint8_t>(m_sequence),
                    static_cast<uint8_t>(timestamp >> 24),
                    static_cast<uint8_t>(timestamp >> 16),
                    static_cast<uint8_t>(timestamp >> 8),
                    static_cast<uint8_t>(timestamp),
                    1,
                    2,
                    3,
                    4};
    packet.insert(packet.end(), payload.begin(), payload.end());
    m_sequence++;
    return packet;
}

Bytes RtpSender::FragmentHead(Span unit) const {
    if (m_payloadType == RTP_PT_H265) {
        return {static_cast<uint8_t>((unit[0] & 0x81) | 49 << 1), unit[1], static_cast<uint8_t>(unit[0] >> 1 & 0x3F)};
    }
    return {static_cast<uint8_t>((unit[0] & 0xE0) | 28), static_cast<uint8_t>(unit[0] & 0x1F)};
}

void RtpSender::AppendUnit(Span unit, uint32_t timestamp, bool last, std::vector<Bytes> *packets) {
    if (unit.size() <= m_mtu) {
        packets->push_back(Packet(unit, timestamp, last));
        return;
    }
    const size_t unitHead = m_payloadType == RTP_PT_H265 ? 2 : 1;
    for (size_t offset = unitHead; offset < unit.size();) {
        const size_t length = std::min(m_mtu, unit.size() - offset);
        const bool isEnd = offset + length == unit.size();
        Bytes payload = FragmentHead(unit);
        payload.back() |= (offset == unitHead ? 0x80 : 0) | (isEnd ? 0x40 : 0);
        payload.insert(payload.end(), unit.begin() + offset, unit.begin() + offset + length);
        packets->push_back(Packet(payload, timestamp, last && isEnd));
        offset += length;
    }
}

std::vector<Bytes> RtpSender::VideoPackets(Span accessUnit, uint32_t timestamp) {
    std::vector<Bytes> packets;
    const std::vector<Span> units = SplitUnits(accessUnit);
    for (size_t i = 0; i < units.size(); i++) {
        AppendUnit(WithoutStartCode(units[i]), timestamp, i + 1 == units.size(), &packets);
    }
    return packets;
}

Bytes WithLongStartCodes(Span accessUnit) {
    Bytes result;
    for (const Span unit : SplitUnits(accessUnit)) {
        result.insert(result.end(), {0, 0, 0, 1});
        const Span body = WithoutStartCode(unit);
        result.insert(result.end(), body.begin(), body.end());
    }
    return result;
}

void RewriteH265KeyUnits(Bytes *stream) {
    for (size_t i = 3; i + 1 < stream->size(); i++) {
        uint8_t *data = stream->data() + i;
        if (data[-3] == 0 && data[-2] == 0 && data[-1] == 1 && (data[0] == 0x28 || data[0] == 0x2A) && data[1] == 1) {
            data[0] = 0x26;
        }
    }
}

std::vector<Bytes> PacketiseVideo(Span stream, AVCodecID codec, uint8_t payloadType) {
    RtpSender sender(payloadType);
    std::vector<Bytes> packets;
    uint32_t timestamp = 3600;
    for (const Span unit : SplitAccessUnits(stream, codec)) {
        for (Bytes &packet : sender.VideoPackets(unit, timestamp)) {
            packets.push_back(std::move(packet));
        }
        timestamp += 3600;
    }
    return packets;
}

}  // namespace support
