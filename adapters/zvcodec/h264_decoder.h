/**
 * @file h264_decoder.h
 * @brief H.264 decoding of buffers that need not be access units.
 *
 * The depacketisers deliver what a run of packets brought: a whole access unit, some of its slices, or the end of one
 * and the start of the next. FFmpeg takes pieces of a picture (AV_CODEC_FLAG2_CHUNKS), so that each goes on as it comes
 * and nothing waits: a picture is over when its last row has been decoded. What would end in a wrong picture never goes
 * in: a slice whose picture did not begin, a second copy, a slice behind the end. A picture with a row missing is not
 * given out, and neither is what refers to it.
 */
#ifndef ZELVANE_ADAPTERS_H264_DECODER_H
#define ZELVANE_ADAPTERS_H264_DECODER_H

#include <array>
#include <memory>
#include <utility>

#include "common/annexb.h"
#include "common/frame_store.h"
#include "common/packet_buffer.h"
#include "common/yuv420.h"
#include "zvcodec/h264_heads.h"
#include "zvcodec/h264_rows.h"

namespace zv {

/** Frees FFmpeg's objects. */
struct ContextDeleter {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};

/** One H.264 decoder; used by one thread at a time. */
class H264Decoder {
 public:
    /** @return null if FFmpeg refuses */
    static std::unique_ptr<H264Decoder> Make(unsigned threads);

    /** Decodes a buffer, see dec_h264_main(). */
    void Decode(const uint8_t *data, size_t size);

    /** Ends the stream so far: what FFmpeg holds back comes out, and the next buffer begins a stream. */
    void End();

    /** Gives the next picture, valid until the next call of Decode() or Take(). @return false if none waits */
    bool Take(Planes *planes);

    /** Pictures left out since this was asked last: they refer to what was before the place at which decoding began. */
    int PopLeftOut() { return std::exchange(left_out_, 0); }

    /** Whether something was refused or broken since this was asked last. */
    bool PopFailure() { return std::exchange(failed_, false); }

 private:
    static void NoteRows(AVCodecContext *context, const AVFrame *frame, int *offset, int y, int type, int height);

    bool Open(unsigned threads);
    bool DecodeUntilFull(const uint8_t *data, size_t size);
    void Drain();
    void AddUnit(const Unit &unit);
    void AddLead(const Unit &unit);
    void AddSlice(const Unit &unit);
    void RefuseOrphan(const SliceHead &head);
    void EndPicture();
    bool MayBegin(const SliceHead &head);
    bool IsLeading(const SliceHead &head);
    void BeginPicture(const SliceHead &head);
    void LosePicture(bool ended);
    void Append(const Unit &unit);
    void SendPiece();
    void Receive();
    void CloseInFfmpeg();

    std::unique_ptr<AVCodecContext, ContextDeleter> context_;
    H264Heads heads_;
    RowMap rows_;
    PacketBuffer input_; /**< units of one picture on their way to FFmpeg */
    PacketBuffer delimiter_;
    /** Of a buffer of many pictures: what waits for room in the queue; and the same while it is gone through. */
    std::unique_ptr<PacketBuffer> rest_ = std::make_unique<PacketBuffer>();
    std::unique_ptr<PacketBuffer> in_hand_ = std::make_unique<PacketBuffer>();
    FrameStore frames_;
    Yuv420 converter_;
    bool slices_in_input_ = false;
    bool fed_ = false;    /**< FFmpeg has had something since the last drain */
    bool begun_ = false;  /**< `head_` is that of a picture in FFmpeg */
    bool open_ = false;   /**< ... whose last row has not come */
    bool paired_ = false; /**< ... and which is the second field of its frame */
    SliceHead head_;
    int64_t number_ = 0;             /**< of the frame in hand, which FFmpeg hands back with it */
    std::array<int64_t, 16> lost_{}; /**< numbers of pictures that must not be given out; FFmpeg holds fewer back */
    size_t lost_next_ = 0;
    bool recovery_ = false; /**< the next picture is said to be one at which decoding may start */
    SliceHead start_;       /**< of the picture at which decoding began */
    bool gradual_ = false;  /**< ... which is good in parts only, as are those behind it, up to the recovery point */
    bool leading_ = false;  /**< ... before which pictures may be shown that refer to what never came */
    bool skipping_ = false; /**< `skipped_` is that of a picture that is not decoded */
    SliceHead skipped_;
    int left_out_ = 0;
    bool ended_ = false; /**< the caller takes what a stream held back */
    bool failed_ = false;
};

}  // namespace zv

#endif
