/**
 * @file h265_decoder.h
 * @brief H.265 decoding of buffers that need not be access units: units are gathered to pictures first.
 */
#ifndef ZELVANE_ADAPTERS_H265_DECODER_H
#define ZELVANE_ADAPTERS_H265_DECODER_H

#include "codec/h265dec.h"
#include "common/annexb.h"
#include "common/frame_store.h"
#include "common/packet_buffer.h"
#include "common/yuv420.h"
#include "h265dec/slice_policy.h"

namespace zv {

/** One H.265 decoder; used by one thread at a time. */
class H265Decoder {
 public:
    explicit H265Decoder(const IHW265D_INIT_PARAM &param) : param_(param) {}
    ~H265Decoder();
    H265Decoder(const H265Decoder &) = delete;
    H265Decoder &operator=(const H265Decoder &) = delete;

    /** @return false if FFmpeg refuses */
    bool Open();

    /** Decodes a buffer. @return IHW265D_OK with a picture in `planes`, valid until the next call, or another result */
    INT32 Decode(const uint8_t *data, size_t size, Planes *planes);

    const IHW265D_INIT_PARAM &Param() const { return param_; }

 private:
    enum class Probe { kWanted, kWritten, kDone };

    static int GetBuffer(AVCodecContext *context, AVFrame *frame, int flags);
    INT32 CheckSize(int width, int height) const;
    void LayProbe(const AVFrame *frame);
    bool ProbeUntouched() const;

    void AddUnit(const Unit &unit);
    void AddSlice(const Unit &unit);
    void AddAggregate(const Unit &unit, UnitReader *units);
    void Append(const Unit &unit);
    void DecodePending();
    void EndBuffer();

    IHW265D_INIT_PARAM param_;
    AVCodecContext *context_ = nullptr;
    PacketBuffer pending_; /**< the picture in hand, or what leads to the next one */
    int pending_slices_ = 0;
    SlicePolicy policy_;
    FrameStore frames_;
    Yuv420 converter_;
    Probe probe_ = Probe::kWanted;
    AVBufferRef *probed_ = nullptr; /**< keeps the probed picture's memory */
    const uint8_t *probe_place_ = nullptr;
    size_t probe_size_ = 0;
    INT32 refusal_ = 0;       /**< INVALID_MAX_..., when this call met a picture that is too large */
    bool failed_ = false;     /**< something in this call could not be decoded */
    bool units_seen_ = false; /**< this call's buffer has a unit */
};

}  // namespace zv

#endif
