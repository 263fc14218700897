#include <algorithm>

#include "intake/module_ts.h"
#include "zvcam/packets.h"

namespace zvcam {
namespace {

// Head of a frame in one block: a receiver tells a key frame by the PAT in front of it.
constexpr size_t kBlock = 7 * TS_PACKET_SIZE;
constexpr uint64_t kClockStart = 90000;

LONG_32 Payload(AudioKind kind) {
    static const LONG_32 kPayloads[] = {PLAYER_PAYLOAD_NULL, PLAYER_PAYLOAD_G711U, PLAYER_PAYLOAD_G711A,
                                        PLAYER_PAYLOAD_AAC};
    return kPayloads[kind];
}

class TsMaker : public PacketMaker {
 public:
    explicit TsMaker(const MediaInfo &info) : info_(info), packer_(std::make_unique<TS_PACKET_DEC_S>()) {
        packer_->lVideoType = info.h265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264;
        packer_->lAudioTyp = Payload(info.audio);
        packer_->lElemType = info.data ? PLAYER_PAYLOAD_DATA : PLAYER_PAYLOAD_NULL;
        TS_CreatePAT(packer_.get());
        TS_CreatePMT(packer_.get());
    }

    bool Make(const Frame &frame, std::vector<Packet> *packets) override {
        Gather(frame);
        TS_FRAMEDATA_S data = {};
        data.pucData = data_.data();
        data.lDataLen = static_cast<LONG_32>(data_.size());
        data.lPayload = frame.video             ? packer_->lVideoType
                        : !frame.record.empty() ? LONG_32{PLAYER_PAYLOAD_DATA}
                                                : packer_->lAudioTyp;
        data.lFormatType = frame.key ? PLAYER_VIDEO_FRAME_I : PLAYER_VIDEO_FRAME_P;
        data.dulTimestamp = kClockStart + frame.clock;
        packer_->ulPacketDataLen = packer_->ulEsPacketDataLen = 0;
        ULONG_32 result = TS_PackFirstPacket(&data, packer_.get());
        while (result == PLAYER_ERR_PACK_AGAIN) result = TS_PackOtherPacket(&data, packer_.get());
        if (result != PLAYER_ERR_OK) return false;
        const auto *at = reinterpret_cast<const uint8_t *>(packer_->szPacketBuff);
        const uint8_t *end = at + packer_->ulPacketDataLen;
        for (; at < end; at += std::min<size_t>(kBlock, end - at)) {
            packets->emplace_back(at, at + std::min<size_t>(kBlock, end - at));
        }
        return true;
    }

    void Finish(double, std::vector<Packet> *) override {}

 private:
    /** The frame as the packer wants it: units behind start codes, and no H.264 delimiter, as it writes its own. */
    void Gather(const Frame &frame) {
        const Bytes whole = frame.record.empty() ? frame.sound : frame.record;
        data_.assign(whole.begin(), whole.end());
        for (const Bytes unit : frame.units) {
            if (!info_.h265 && tools::UnitTypeH264(unit) == 9) continue;
            data_.insert(data_.end(), {0, 0, 0, 1});
            data_.insert(data_.end(), unit.begin(), unit.end());
        }
    }

    const MediaInfo info_;
    std::unique_ptr<TS_PACKET_DEC_S> packer_;
    std::vector<uint8_t> data_;
};

}  // namespace

std::unique_ptr<PacketMaker> MakeTs(const MediaInfo &info) { return std::make_unique<TsMaker>(info); }

}  // namespace zvcam
