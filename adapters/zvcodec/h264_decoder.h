/**
 * @file h264_decoder.h
 * @brief H.264 decoding of buffers that need not be access units.
 *
 * The depacketisers deliver what a packet run brought: a whole access unit, one slice of it, or the end of one and the
 * start of the next. FFmpeg wants one picture a packet, or, with AV_CODEC_FLAG2_CHUNKS, any piece of one picture. So
 * buffers are cut where a picture begins. While buffers prove to hold whole pictures these go as such, and FFmpeg
 * conceals what is damaged in them; otherwise the pieces go on as they come, which adds no delay.
 */
#ifndef ZELVANE_ADAPTERS_H264_DECODER_H
#define ZELVANE_ADAPTERS_H264_DECODER_H

#include <memory>

#include "common/annexb.h"
#include "common/frame_store.h"
#include "common/packet_buffer.h"
#include "common/yuv420.h"

namespace zv {

/** Frees FFmpeg's objects. */
struct ContextDeleter {
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
    void operator()(AVCodecParserContext *parser) const { av_parser_close(parser); }
};

/** One H.264 decoder; used by one thread at a time. */
class H264Decoder {
 public:
    /** @return null if FFmpeg refuses */
    static std::unique_ptr<H264Decoder> Make(unsigned threads);

    /** Decodes a buffer, see dec_h264_main(). @return false if nothing in it could be decoded */
    bool Decode(const uint8_t *data, size_t size);

    /** Gives the next picture, valid until the next Decode(). @return false if none waits */
    bool Take(Planes *planes);

 private:
    /** Neighbouring units of a buffer that belong to one picture. */
    struct Run {
        const uint8_t *begin = nullptr;
        const uint8_t *end = nullptr;
        bool starts_picture = false; /**< its first slice is the first of a picture */
        bool slices = false;
        bool followed = false; /**< another picture begins behind it in the buffer */
    };

    bool Open(unsigned threads);
    void AddUnit(const Unit &unit, Run *run);
    void OpenParser();
    void NoteSlice(bool first);
    void SendRun(const Run &run);
    void SendWhole();
    void SendPiece();
    void ClosePicture();
    void NoteFields(bool starts_picture);

    std::unique_ptr<AVCodecContext, ContextDeleter> context_;
    /** Made when a stream may hold fields: its parameter sets are 0.2 MB a second time. */
    std::unique_ptr<AVCodecContext, ContextDeleter> parser_context_;
    std::unique_ptr<AVCodecParserContext, ContextDeleter> parser_;
    PacketBuffer input_;
    PacketBuffer delimiter_;
    FrameStore frames_;
    Yuv420 converter_;
    bool picture_open_ = false; /**< slices have gone out since the last picture boundary */
    /** Parity of the latest picture if it is a field whose partner is to come, else unknown. */
    AVPictureStructure first_field_ = AV_PICTURE_STRUCTURE_UNKNOWN;
    bool slice_seen_ = false;    /**< this buffer has had a slice */
    unsigned whole_buffers_ = 0; /**< buffers in a row whose first slice began a picture */
    bool went_whole_ = false;    /**< the latest picture went as a whole: what still comes of it is too late */
    unsigned sent_ = 0;          /**< packets of this call */
    unsigned failed_ = 0;        /**< those of them that FFmpeg refused */
};

}  // namespace zv

#endif
