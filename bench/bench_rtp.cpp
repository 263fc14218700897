// Depacketising a stream like that of a 1080p camera: the time for a packet, against a bare header walk with one copy.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "intake/module_rtp.h"

namespace {

constexpr ULONG_32 PACKET_SIZE = 1400;
constexpr ULONG_32 FU_DATA = PACKET_SIZE - 14;
constexpr ULONG_32 FRAMES = 25;
constexpr ULONG_32 PACKETS_PER_FRAME = 16;  // about 4.4 Mbit/s at 25 frames a second

using Packet = std::vector<CHAR>;

/** FRAMES frames of one FU-A run each; the numbers begin again with 0, so that a stream can be fed in a circle. */
std::vector<Packet> MakeStream() {
    std::vector<Packet> oStream;
    for (ULONG_32 i = 0; i < FRAMES * PACKETS_PER_FRAME; ++i) {
        ULONG_32 ulInFrame = i % PACKETS_PER_FRAME;
        bool bLast = ulInFrame == PACKETS_PER_FRAME - 1;
        ULONG_32 ulTime = i / PACKETS_PER_FRAME * 3600;
        ULONG_32 ulFu = 1U | (ulInFrame == 0 ? 128U : 0U) | (bLast ? 64U : 0U);
        Packet oPacket(PACKET_SIZE, static_cast<CHAR>(i));
        const UCHAR aucHead[14] = {0x80,
                                   static_cast<UCHAR>(96 | (bLast ? 128 : 0)),
                                   static_cast<UCHAR>(i >> 8),
                                   static_cast<UCHAR>(i),
                                   static_cast<UCHAR>(ulTime >> 24),
                                   static_cast<UCHAR>(ulTime >> 16),
                                   static_cast<UCHAR>(ulTime >> 8),
                                   static_cast<UCHAR>(ulTime),
                                   0,
                                   0,
                                   0,
                                   1,
                                   0x7C,
                                   static_cast<UCHAR>(ulFu)};
        memcpy(oPacket.data(), aucHead, sizeof(aucHead));
        oStream.push_back(oPacket);
    }
    return oStream;
}

/** The least that any depacketiser must do: payload type, number, FU header, copy. */
ULONG_32 BareWalk(const UCHAR *p, ULONG_32 ulLen, USHORT *pusNumber, UCHAR *pucFrame, ULONG_32 *pulFrameLen) {
    ULONG_32 ulAt = 12 + 4 * (p[0] & 15U);
    USHORT usNumber = static_cast<USHORT>(p[2] << 8 | p[3]);
    bool bFollows = usNumber == static_cast<USHORT>(*pusNumber + 1);
    *pusNumber = usNumber;
    if (!bFollows || (p[1] & 127) < 96 || ulAt + 2 > ulLen || (p[ulAt] & 31) != 28) {
        *pulFrameLen = 0;
    }
    UCHAR ucFu = p[ulAt + 1];
    if (ucFu & 128) {
        const UCHAR aucStart[5] = {0, 0, 0, 1, static_cast<UCHAR>((p[ulAt] & 0xE0) | (ucFu & 31))};
        memcpy(pucFrame + *pulFrameLen, aucStart, sizeof(aucStart));
        *pulFrameLen += static_cast<ULONG_32>(sizeof(aucStart));
    }
    ulAt += 2;
    if (*pulFrameLen + (ulLen - ulAt) < VIDEO_FRAME_BUFFER_SIZE) {
        memcpy(pucFrame + *pulFrameLen, p + ulAt, ulLen - ulAt);
        *pulFrameLen += ulLen - ulAt;
    }
    return (ucFu & 64) != 0 ? 0 : 526;
}

struct Depacketiser {
    std::unique_ptr<UCHAR[]> pucFrame = std::make_unique<UCHAR[]>(VIDEO_FRAME_BUFFER_SIZE);
    RTP_STREAM_INFO_S stVideo{};
    RTP_STREAM_INFO_S stAudio{};
    USHORT usNumber = 65535;
    ULONG_32 ulBareLen = 0;

    Depacketiser() { stVideo.pucFrameData = pucFrame.get(); }
    ULONG_32 Feed(Packet &oPacket) {
        return RTP_UnpacketRtpData(oPacket.data(), static_cast<ULONG_32>(oPacket.size()), nullptr, nullptr, &stVideo,
                                   &stAudio);
    }
    ULONG_32 FeedBare(Packet &oPacket) {
        return BareWalk(reinterpret_cast<const UCHAR *>(oPacket.data()), static_cast<ULONG_32>(oPacket.size()),
                        &usNumber, pucFrame.get(), &ulBareLen);
    }
};

/** Both must give the same frames before either is timed. */
void CheckResults(std::vector<Packet> &oStream) {
    Depacketiser oOurs;
    Depacketiser oBare;
    ULONG_32 ulFrames = 0;
    for (Packet &oPacket : oStream) {
        ULONG_32 ulResult = oOurs.Feed(oPacket);
        bool bSame = ulResult == oBare.FeedBare(oPacket) && oOurs.stVideo.ulFrameLen == oBare.ulBareLen &&
                     memcmp(oOurs.pucFrame.get(), oBare.pucFrame.get(), oBare.ulBareLen) == 0;
        if (!bSame) {
            fprintf(stderr, "depacketised frames differ\n");
            abort();
        }
        if (ulResult == 0) {
            ++ulFrames;
            oOurs.stVideo.ulFrameLen = 0;
            oBare.ulBareLen = 0;
        }
    }
    if (ulFrames != FRAMES || 5 + PACKETS_PER_FRAME * FU_DATA >= VIDEO_FRAME_BUFFER_SIZE) {
        abort();
    }
}

void ReportPackets(benchmark::State &stState, size_t ulPackets) {
    double dPackets = static_cast<double>(stState.iterations()) * static_cast<double>(ulPackets);
    stState.counters["per_packet"] =
        benchmark::Counter(dPackets, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    stState.SetBytesProcessed(static_cast<int64_t>(dPackets * PACKET_SIZE));
}

void BM_RtpUnpacket(benchmark::State &stState) {
    std::vector<Packet> oStream = MakeStream();
    CheckResults(oStream);
    Depacketiser oDepacketiser;
    for (auto _ : stState) {
        for (Packet &oPacket : oStream) {
            if (oDepacketiser.Feed(oPacket) == 0) {
                oDepacketiser.stVideo.ulFrameLen = 0;
            }
        }
        oDepacketiser.stVideo.ausSequenceNumber[PLAYER_PAYLOAD_H264] = 65535;
    }
    ReportPackets(stState, oStream.size());
}
BENCHMARK(BM_RtpUnpacket);

void BM_Peer_BareHeaderWalkAndCopy(benchmark::State &stState) {
    std::vector<Packet> oStream = MakeStream();
    Depacketiser oDepacketiser;
    for (auto _ : stState) {
        for (Packet &oPacket : oStream) {
            if (oDepacketiser.FeedBare(oPacket) == 0) {
                oDepacketiser.ulBareLen = 0;
            }
        }
        oDepacketiser.usNumber = 65535;
    }
    ReportPackets(stState, oStream.size());
}
BENCHMARK(BM_Peer_BareHeaderWalkAndCopy);

void BM_RtpIsVideoTail(benchmark::State &stState) {
    std::vector<Packet> oStream = MakeStream();
    ULONG_32 ulTails = 0;
    for (auto _ : stState) {
        ulTails = 0;
        for (Packet &oPacket : oStream) {
            ulTails += RTP_IsRtpVideoTail(oPacket.data(), PACKET_SIZE, nullptr) != 0;
        }
    }
    if (ulTails != FRAMES) {
        stState.SkipWithError("wrong number of frame ends");
    }
    ReportPackets(stState, oStream.size());
}
BENCHMARK(BM_RtpIsVideoTail);

}  // namespace

BENCHMARK_MAIN();
