/**
 * @file rtp_stream.h
 * @brief Packets of a camera, made from elementary streams.
 */
#ifndef ZELVANE_TESTS_SUPPORT_RTP_STREAM_H
#define ZELVANE_TESTS_SUPPORT_RTP_STREAM_H

#include "support/media.h"

namespace support {

inline constexpr uint8_t RTP_PT_H264 = 105;
inline constexpr uint8_t RTP_PT_H265 = 108;
inline constexpr uint8_t RTP_PT_G711U = 0;
inline constexpr uint8_t RTP_PT_G711A = 8;
inline constexpr uint8_t RTP_PT_AAC_ADTS = 120;

/** Makes RTP packets (RFC 3550) of one source; video in single units and fragments (RFC 6184, RFC 7798). */
class RtpSender {
 public:
    explicit RtpSender(uint8_t payloadType, size_t mtu = 1400) : m_payloadType(payloadType), m_mtu(mtu) {}

    /** One packet with this payload. */
    Bytes Packet(Span payload, uint32_t timestamp, bool marker);
    /** All packets of an access unit given as Annex B; the last one carries the marker. */
    std::vector<Bytes> VideoPackets(Span accessUnit, uint32_t timestamp);

    void SkipSequence(uint16_t count) { m_sequence += count; }

 private:
    void AppendUnit(Span unit, uint32_t timestamp, bool last, std::vector<Bytes> *packets);
    Bytes FragmentHead(Span unit) const;

    uint8_t m_payloadType;
    size_t m_mtu;
    uint16_t m_sequence = 1;
};

/** An access unit with 4-byte start codes throughout, as the player's raw road takes it. */
Bytes WithLongStartCodes(Span accessUnit);

/** Header bytes 28 01 and 2A 01 become 26 01: the player takes that one kind of key picture. In place. */
void RewriteH265KeyUnits(Bytes *stream);

/** A whole H.264 or H.265 stream as RTP, 3600 ticks a frame. */
std::vector<Bytes> PacketiseVideo(Span stream, AVCodecID codec, uint8_t payloadType);

}  // namespace support

#endif
