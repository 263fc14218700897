/** Makers of packets: frames become RTP (RFC 3550) or MPEG-TS. One maker for each client, which has its own numbers. */
#ifndef ZVCAM_PACKETS_H
#define ZVCAM_PACKETS_H

#include <memory>
#include <vector>

#include "zvcam/media.h"

namespace zvcam {

using Packet = std::vector<uint8_t>;

/** Turns frames into packets, in their order. */
class PacketMaker {
 public:
    virtual ~PacketMaker() = default;

    /** Appends the packets of a frame. @return false if the format can't carry it */
    virtual bool Make(const Frame &frame, std::vector<Packet> *packets) = 0;

    /** Appends what stands at the end of the stream, after so many seconds. */
    virtual void Finish(double seconds, std::vector<Packet> *packets) = 0;
};

/**
 * RTP: H.264 as RFC 6184 (payload type 105) and H.265 as RFC 7798 (108), both in single units and fragments; G.711 as
 * RFC 3551 (0 and 8); AAC as one ADTS frame a packet (120); analytics data frames in pieces (50). These are the payload types that this platform's devices
 * use. Sound and pictures have sequence numbers and clocks of their own.
 * @param numbers where sequence numbers and sources come from
 */
std::unique_ptr<PacketMaker> MakeRtp(const MediaInfo &info, const PacketOptions &options, uint64_t numbers);

/**
 * MPEG-TS of this platform's devices, by the library's own packer, in blocks of seven packets. A block never holds two
 * frames.
 */
std::unique_ptr<PacketMaker> MakeTs(const MediaInfo &info);

/** The payload type of the pictures. */
inline int VideoPayloadType(bool h265) { return h265 ? 108 : 105; }

}  // namespace zvcam

#endif
