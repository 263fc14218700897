#include "zvcodec/h264_decoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>

namespace zv {
namespace {

constexpr unsigned kMaxThreads = 16;

/** Bytes that may wait for room in the queue, a few buffers; of a caller who feeds faster than it takes more goes on.
 */
constexpr size_t kMostRest = 0x800000;

// Unit types, ITU-T H.264 table 7-1.
enum : uint8_t {
    kSlice = 1,
    kIdrSlice = 5,
    kSei = 6,
    kSps = 7,
    kPps = 8,
    kEndOfSequence = 10,
    kEndOfStream = 11,
};

constexpr uint8_t kDelimiterUnit[] = {0, 0, 0, 1, 9, 0xF0};

uint8_t TypeOf(const Unit &unit) { return unit.Size() != 0 ? unit.data[0] & 0x1F : 0; }

}  // namespace

std::unique_ptr<H264Decoder> H264Decoder::Make(unsigned threads) {
    auto decoder = std::make_unique<H264Decoder>();
    return decoder->Open(threads) ? std::move(decoder) : nullptr;
}

bool H264Decoder::Open(unsigned threads) {
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_H264);
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_ || !frames_.Ready() || !input_.Ready() || !delimiter_.Ready() || !rest_->Ready() ||
        !in_hand_->Ready() || !delimiter_.Append(kDelimiterUnit, sizeof(kDelimiterUnit))) {
        return false;
    }
    context_->thread_count = static_cast<int>(std::clamp(threads, 1U, kMaxThreads));
    context_->thread_type = FF_THREAD_SLICE;  // frame threads would add a picture of delay each
    context_->flags |= AV_CODEC_FLAG_UNALIGNED;
    context_->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;  // FFmpeg would wait for an IDR picture or a recovery point
    context_->flags2 |= AV_CODEC_FLAG2_CHUNKS;
    context_->max_pixels = kMaxPixels;
    context_->opaque = this;
    context_->draw_horiz_band = NoteRows;
    context_->slice_flags = SLICE_FLAG_CODED_ORDER | SLICE_FLAG_ALLOW_FIELD;
    av_opt_set_int(context_->priv_data, "enable_er", 0, 0);  // a piece that is yet to come is no error to conceal
    return avcodec_open2(context_.get(), codec, nullptr) == 0;
}

void H264Decoder::Decode(const uint8_t *data, size_t size) {
    if (std::exchange(ended_, false)) {
        frames_.Drop();
        rest_->Clear();
    }
    if (rest_->Size() == 0) {
        failed_ |= !DecodeUntilFull(data, size);
        return;
    }
    failed_ |= !rest_->Append(data, size);
    std::swap(rest_, in_hand_);
    rest_->Clear();
    DecodeUntilFull(in_hand_->Data(), in_hand_->Size());
}

/** Puts what is behind the picture that fills the queue aside for the next call. @return false without a unit */
bool H264Decoder::DecodeUntilFull(const uint8_t *data, size_t size) {
    bool any = false;
    UnitReader units(data, size);
    for (Unit unit; units.Next(&unit);) {
        any = true;
        if (!frames_.HasRoom(2) && size <= kMostRest) {
            failed_ |= !rest_->Append(unit.begin, static_cast<size_t>(units.End() - unit.begin));
            break;
        }
        AddUnit(unit);
    }
    SendPiece();
    return any;
}

void H264Decoder::End() {
    ended_ = true;
    Drain();
    failed_ = false;  // what was not whole is what this makes an end of
    left_out_ = 0;
}

void H264Decoder::Drain() {
    if (open_) {
        open_ = false;
        lost_[lost_next_++ % lost_.size()] = number_;
    }
    begun_ = false;
    if (std::exchange(fed_, false)) {
        avcodec_send_packet(context_.get(), nullptr);
        Receive();
        avcodec_flush_buffers(context_.get());
    }
}

bool H264Decoder::Take(Planes *planes) {
    const AVFrame *frame = frames_.Take(ended_);
    return frame != nullptr && converter_.Convert(frame, planes);
}

void H264Decoder::AddUnit(const Unit &unit) {
    switch (TypeOf(unit)) {
        case kSlice:
        case kIdrSlice:
            AddSlice(unit);
            return;
        case kSps:
            AddLead(unit);
            heads_.TakeSps(unit);
            return;
        case kPps:
            AddLead(unit);
            heads_.TakePps(unit);
            return;
        case kSei:
            AddLead(unit);
            recovery_ |= IsRecoveryPoint(unit);
            return;
        case kEndOfSequence:
        case kEndOfStream:
            AddLead(unit);
            return;
        default:
            return;
    }
}

/** What is no slice goes with the slice behind it, whichever picture that belongs to. */
void H264Decoder::AddLead(const Unit &unit) {
    SendPiece();
    Append(unit);
}

void H264Decoder::AddSlice(const Unit &unit) {
    SliceHead head;
    if (!heads_.Read(unit, &head)) {
        failed_ = true;
        return;
    }
    if (head.redundant) {
        return;
    }
    if (head.first_mb == 0) {
        EndPicture();
        skipping_ = !MayBegin(head);
        recovery_ = false;
        if (skipping_) {
            skipped_ = head;
            return;
        }
        BeginPicture(head);
    } else if (skipping_ && head.SamePicture(skipped_)) {
        return;
    } else if (!begun_ || !head.SamePicture(head_)) {
        RefuseOrphan(head);
        return;
    } else if (!open_) {
        return;  // a copy of what has been decoded, or the rest of a picture that is given up
    }
    Append(unit);
    slices_in_input_ = true;
}

/** The slice's picture never began. */
void H264Decoder::RefuseOrphan(const SliceHead &head) {
    failed_ = true;
    if (head.reference && begun_) {
        SendPiece();
        Drain();
    }
}

bool H264Decoder::MayBegin(const SliceHead &head) {
    if (!fed_ && !head.idr && !head.intra && !recovery_) {
        failed_ = true;  // what it refers to never came
        return false;
    }
    const bool leading = IsLeading(head);
    left_out_ += leading && !head.bottom ? 1 : 0;
    return !leading;
}

/**
 * After a start at a picture that is no IDR picture, those that are shown before it and come behind it refer to
 * pictures from before the start. The first one that is shown later and may be referred to ends that.
 */
bool H264Decoder::IsLeading(const SliceHead &head) {
    if (!fed_) {
        start_ = head;
        gradual_ = !head.idr && !head.intra;
        leading_ = !head.idr;
        return false;
    }
    const bool before = head.IsShownBefore(start_);
    leading_ &= !head.idr && (before || !head.reference || head.SamePicture(start_));
    return leading_ && before;
}

void H264Decoder::EndPicture() {
    SendPiece();
    if (open_) {
        LosePicture(false);
    }
}

void H264Decoder::BeginPicture(const SliceHead &head) {
    rows_.Clear(head.field || head.pairs);
    paired_ = begun_ && !paired_ && head.field && head_.field && head.bottom != head_.bottom &&
              head.frame_num == head_.frame_num;
    number_ += paired_ ? 0 : 1;
    head_ = head;
    begun_ = true;
    open_ = true;
}

/** The picture in hand has a hole. What refers to it would show that, so all ends here unless nothing does. */
void H264Decoder::LosePicture(bool ended) {
    open_ = false;
    lost_[lost_next_++ % lost_.size()] = number_;
    if (head_.reference || head_.field) {
        failed_ = true;
        Drain();
    } else if (!ended) {
        CloseInFfmpeg();
    }
}

void H264Decoder::Append(const Unit &unit) {
    if (input_.Size() > kMaxPictureBytes) {
        input_.Clear();
    }
    failed_ |= !input_.Append(unit.begin, static_cast<size_t>(unit.end - unit.begin));
}

void H264Decoder::SendPiece() {
    if (!std::exchange(slices_in_input_, false)) {
        return;
    }
    fed_ = true;
    const bool sent = input_.Send(context_.get(), number_) >= 0;
    input_.Clear();
    const bool ended = rows_.Ended();
    if (!sent || (ended && !rows_.Whole())) {
        LosePicture(ended);
    }
    open_ &= !ended;
    Receive();
}

void H264Decoder::Receive() {
    frames_.Receive(context_.get(), [this](const AVFrame &frame) {
        const bool recovering = gradual_ && (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
        return !recovering && std::find(lost_.begin(), lost_.end(), frame.pts) == lost_.end();
    });
}

/**
 * Makes FFmpeg forget the picture whose slices it has had: with pieces allowed it waits for the last row, and refuses
 * the next picture until then. A lone delimiter as a whole packet makes it start afresh.
 */
void H264Decoder::CloseInFfmpeg() {
    context_->flags2 &= ~AV_CODEC_FLAG2_CHUNKS;
    delimiter_.Send(context_.get());
    context_->flags2 |= AV_CODEC_FLAG2_CHUNKS;
    Receive();
}

void H264Decoder::NoteRows(AVCodecContext *context, const AVFrame * /*frame*/, int * /*offset*/, int y, int /*type*/,
                           int height) {
    static_cast<H264Decoder *>(context->opaque)->rows_.Note(y, height, context->coded_height / 16);
}

}  // namespace zv
