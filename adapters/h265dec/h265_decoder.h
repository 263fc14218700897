/**
 * @file h265_decoder.h
 * @brief H.265 decoding of buffers that need not be access units: slices are gathered to pictures first.
 *
 * FFmpeg's H.265 decoder takes whole pictures only, and no slice tells that it is the last. A picture is over for
 * certain when the next one begins, and when a buffer of nothing but an access unit delimiter says so. Callers that
 * never say it get each picture at the end of a buffer behind which the pictures before it ended too, slice by slice;
 * where that is not known, a picture waits for the next one. In any case the picture's last pixels tell afterwards
 * whether its end was there. A picture without its end is not given out, and neither is what refers to it.
 */
#ifndef ZELVANE_ADAPTERS_H265_DECODER_H
#define ZELVANE_ADAPTERS_H265_DECODER_H

#include "codec/h265dec.h"
#include "common/annexb.h"
#include "common/frame_store.h"
#include "common/packet_buffer.h"
#include "common/yuv420.h"
#include "h265dec/h265_heads.h"
#include "h265dec/last_pixels.h"
#include "h265dec/picture_form.h"

namespace zv {

/** One H.265 decoder; used by one thread at a time. */
class H265Decoder {
 public:
    explicit H265Decoder(const IHW265D_INIT_PARAM &param) : param_(param) {}
    ~H265Decoder() { avcodec_free_context(&context_); }
    H265Decoder(const H265Decoder &) = delete;
    H265Decoder &operator=(const H265Decoder &) = delete;

    /** @return false if FFmpeg refuses */
    bool Open();

    /** Decodes a buffer; Take() gives what came out. */
    void Decode(const uint8_t *data, size_t size);

    /** Ends the stream so far: what waits or is held back comes out, and the next buffer begins a stream. */
    void End();

    /** Gives the next picture. @return IHW265D_OK with it in `planes`, valid until the next call, or another result */
    INT32 Take(Planes *planes);

    const IHW265D_INIT_PARAM &Param() const { return param_; }

 private:
    /** What tells that the picture in hand is over. */
    enum class Over { kCertain, kTold, kGuess };

    static int GetBuffer(AVCodecContext *context, AVFrame *frame, int flags);
    INT32 CheckSize(int width, int height) const;

    void AddUnit(const Unit &unit);
    void AddSlice(const Unit &unit);
    void AddLead(const Unit &unit);
    void AddAggregate(const Unit &unit, UnitReader *units);
    void Append(PacketBuffer *to, const Unit &unit);
    void EndBuffer(bool told);
    void DecodePending(Over over);
    void SendLeads();
    void Break();
    void Flush();
    void Receive();

    IHW265D_INIT_PARAM param_;
    AVCodecContext *context_ = nullptr;
    H265Heads heads_;
    PictureForm form_;
    LastPixels last_;
    PacketBuffer leads_;   /**< parameter sets for the next picture */
    PacketBuffer pending_; /**< the slices of the picture in hand */
    int pending_slices_ = 0;
    FrameStore frames_;
    Yuv420 converter_;
    bool told_ = false;    /**< the caller says where pictures end */
    bool deaf_ = false;    /**< it said so wrongly */
    bool again_ = false;   /**< the picture in hand was tried already and had more slices to come */
    bool first_ = true;    /**< FFmpeg holds nothing yet that starting over would lose */
    bool need_key_ = true; /**< nothing can be decoded but a picture that stands alone */
    int64_t number_ = 0;   /**< of the picture in hand, which FFmpeg hands back with it */
    int64_t lost_ = -1;    /**< number of the picture that must not be given out */
    uint64_t sets_ = 0;    /**< what parameter sets the forms were learned under */
    INT32 refusal_ = 0;    /**< INVALID_MAX_..., once a picture has been too large */
    bool ended_ = false;   /**< the caller takes what a stream held back */
    bool failed_ = false;  /**< something was refused or broken since that was told last */
};

}  // namespace zv

#endif
