#include "h265dec/h265_decoder.h"

#include <utility>

namespace zv {
namespace {

constexpr int kThreadsOfMulti = 4;

// Unit types, ITU-T H.265 table 7-1; 48 is the aggregation packet of IETF RFC 7798, 4.4.2.
enum : uint8_t {
    kLastLeading = 9,
    kFirstKey = 16,
    kIdr = 19,
    kIdrAlone = 20,
    kLastKey = 21,
    kVps = 32,
    kSps = 33,
    kPps = 34,
    kDelimiter = 35,
    kEndOfSequence = 36,
    kEndOfStream = 37,
    kAggregation = 48,
};

constexpr size_t kUnitHeader = 2;

uint8_t TypeOf(const Unit &unit) { return unit.data[0] >> 1 & 0x3F; }

/** Units of other layers are of no use. */
bool IsBase(const Unit &unit) {
    return unit.Size() >= kUnitHeader && (unit.data[0] & 1) == 0 && unit.data[1] >> 3 == 0;
}

bool IsKey(uint8_t type) { return type >= kFirstKey && type <= kLastKey; }

bool IsIdr(uint8_t type) { return type == kIdr || type == kIdrAlone; }

bool IsSlice(uint8_t type) { return type <= kLastLeading || IsKey(type); }

uint64_t Hash(const uint8_t *data, size_t size) {
    uint64_t hash = 0xCBF29CE484222325ULL;
    for (size_t i = 0; i < size; ++i) {
        hash = (hash ^ data[i]) * 0x100000001B3ULL;
    }
    return hash;
}

}  // namespace

bool H265Decoder::Open() {
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    context_ = avcodec_alloc_context3(codec);
    if (context_ == nullptr || !frames_.Ready() || !pending_.Ready() || !leads_.Ready()) {
        return false;
    }
    context_->thread_count = param_.eThreadType == IH265D_MULTI_THREAD ? kThreadsOfMulti : 1;
    context_->thread_type = FF_THREAD_SLICE;  // frame threads would add a picture of delay each
    context_->flags |= AV_CODEC_FLAG_UNALIGNED;
    context_->max_pixels = kMaxPixels;
    context_->opaque = this;
    context_->get_buffer2 = GetBuffer;
    return avcodec_open2(context_, codec, nullptr) == 0;
}

void H265Decoder::Decode(const uint8_t *data, size_t size) {
    if (std::exchange(ended_, false)) {
        frames_.Drop();
    }
    int count = 0;
    bool delimiter = false;
    UnitReader units(data, size);
    for (Unit unit; units.Next(&unit); ++count) {
        if (!IsBase(unit)) {
            continue;
        }
        delimiter = TypeOf(unit) == kDelimiter;
        if (TypeOf(unit) == kAggregation) {
            AddAggregate(unit, &units);
        } else {
            AddUnit(unit);
        }
    }
    failed_ |= count == 0;
    EndBuffer(delimiter && count == 1);
}

void H265Decoder::End() {
    ended_ = true;
    if (pending_slices_ != 0) {
        DecodePending(Over::kCertain);
    }
    Flush();
    failed_ = false;  // what was not whole is what this makes an end of
    deaf_ = false;
    need_key_ = true;
    refusal_ = IHW265D_OK;
}

INT32 H265Decoder::Take(Planes *planes) {
    const INT32 refusal = std::exchange(refusal_, INT32{IHW265D_OK});
    if (refusal != IHW265D_OK) {
        return refusal;
    }
    const AVFrame *frame = frames_.Take(ended_);
    if (frame != nullptr && converter_.Convert(frame, planes)) {
        return IHW265D_OK;
    }
    return std::exchange(failed_, false) ? IHW265D_STREAM_ERR : IHW265D_NEED_MORE_BITS;
}

void H265Decoder::AddUnit(const Unit &unit) {
    const uint8_t type = TypeOf(unit);
    if (IsSlice(type)) {
        AddSlice(unit);
    } else if (type == kVps || type == kSps || type == kPps) {
        AddLead(unit);
    } else if (type == kEndOfSequence || type == kEndOfStream) {
        if (pending_slices_ != 0) {
            DecodePending(Over::kCertain);
        }
        Append(&pending_, unit);
    }
}

/** Parameter sets never concern the picture in hand: they wait for the next one. */
void H265Decoder::AddLead(const Unit &unit) {
    Append(&leads_, unit);
    if (TypeOf(unit) == kSps) {
        heads_.StoreSps(unit);
    } else if (TypeOf(unit) == kPps) {
        heads_.StorePps(unit);
    }
}

void H265Decoder::AddSlice(const Unit &unit) {
    const bool first = unit.Size() > kUnitHeader && (unit.data[kUnitHeader] & 0x80) != 0;
    uint32_t address = 0;
    if (first && pending_slices_ != 0) {
        DecodePending(Over::kCertain);
    }
    const bool key = IsKey(TypeOf(unit));
    if (!heads_.ReadAddress(unit, &address) || (need_key_ && !(first && key) && pending_slices_ == 0)) {
        failed_ = true;  // without its sets or its references
        return;
    }
    if (!first && pending_slices_ == 0) {
        Break();  // the beginning of its picture is lost
        return;
    }
    if (first) {
        SendLeads();
        need_key_ = false;
        again_ = false;
        ++number_;
        form_.Begin(key);
        if (IsIdr(TypeOf(unit)) && !told_ && !form_.IsKnown()) {
            Flush();  // all before it is shown before it: so it can be tried, and started over
        }
    } else {
        form_.Add(address);
    }
    Append(&pending_, unit);
    ++pending_slices_;
}

/** Takes an aggregation packet apart by its lengths; a length of 0 is the start code of what follows it. */
void H265Decoder::AddAggregate(const Unit &unit, UnitReader *units) {
    const uint8_t *at = unit.data + kUnitHeader;
    const uint8_t *end = units->End();
    while (end - at >= 2) {
        const size_t size = static_cast<size_t>(at[0]) << 8 | at[1];
        if (size == 0 || size > static_cast<size_t>(end - at) - 2) {
            break;
        }
        const Unit inner{at, at + 2, at + 2 + size};
        if (IsBase(inner)) {
            AddUnit(inner);
        }
        at += 2 + size;
    }
    units->Resume(at);
}

void H265Decoder::Append(PacketBuffer *to, const Unit &unit) {
    static constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
    if (to->Size() > kMaxPictureBytes) {
        to->Clear();
        failed_ = true;
    }
    failed_ |= !to->Append(kStartCode, sizeof(kStartCode)) || !to->Append(unit.data, unit.Size());
}

void H265Decoder::EndBuffer(bool told) {
    told_ |= told && !deaf_;
    if (pending_slices_ == 0) {
        return;
    }
    if (told && told_) {
        DecodePending(Over::kTold);
    } else if (!told_ && !again_ && (first_ || form_.LooksWhole())) {
        DecodePending(Over::kGuess);
    }
}

void H265Decoder::DecodePending(Over over) {
    context_->err_recognition |= AV_EF_EXPLODE;
    const bool sent = pending_.Send(context_, number_) >= 0;
    const bool cut_off = last_.PopUntouched() && sent;
    if (cut_off && over == Over::kTold) {
        told_ = false;
        deaf_ = true;
    }
    if (cut_off && first_ && over != Over::kCertain) {
        avcodec_flush_buffers(context_);  // more slices are to come: it is started over with all of them
        again_ = true;
        return;
    }
    pending_.Clear();
    pending_slices_ = 0;
    if (!sent || cut_off) {
        lost_ = number_;
        Break();
        return;
    }
    form_.Learn();
    first_ = false;
    Receive();
}

/** Parameter sets go ahead by themselves: one that FFmpeg does not like is no fault of the picture. */
void H265Decoder::SendLeads() {
    if (leads_.Size() == 0) {
        return;
    }
    const uint64_t sets = Hash(leads_.Data(), leads_.Size());
    if (std::exchange(sets_, sets) != sets) {
        form_.Forget();
    }
    context_->err_recognition &= ~AV_EF_EXPLODE;
    leads_.Send(context_);
    leads_.Clear();
    Receive();
}

/** A picture is lost or broken. What refers to it would show that, so all ends here, but for what came before it. */
void H265Decoder::Break() {
    failed_ = true;
    need_key_ = true;
    Flush();
}

void H265Decoder::Flush() {
    if (!std::exchange(first_, true)) {
        avcodec_send_packet(context_, nullptr);
        Receive();
    }
    avcodec_flush_buffers(context_);
}

void H265Decoder::Receive() {
    frames_.Receive(context_, [this](const AVFrame &frame) { return frame.pts != lost_; });
}

int H265Decoder::GetBuffer(AVCodecContext *context, AVFrame *frame, int flags) {
    auto *decoder = static_cast<H265Decoder *>(context->opaque);
    const INT32 refusal = decoder->CheckSize(context->width, context->height);
    if (refusal != IHW265D_OK) {
        decoder->refusal_ = refusal;
        return AVERROR(EINVAL);
    }
    const int result = avcodec_default_get_buffer2(context, frame, flags);
    if (result == 0) {
        decoder->last_.Mark(frame);
    }
    return result;
}

INT32 H265Decoder::CheckSize(int width, int height) const {
    if (width <= param_.iMaxWidth && height <= param_.iMaxHeight) {
        return IHW265D_OK;
    }
    if (param_.pfnLog != nullptr) {
        static char format[] = "picture of %d x %d is larger than %d x %d";
        param_.pfnLog(param_.uiChannelID, IHWVIDEO_ALG_LOG_ERROR, reinterpret_cast<INT8 *>(format), width, height,
                      param_.iMaxWidth, param_.iMaxHeight);
    }
    return width > param_.iMaxWidth ? IHW265D_INVALID_MAX_WIDTH : IHW265D_INVALID_MAX_HEIGHT;
}

}  // namespace zv
