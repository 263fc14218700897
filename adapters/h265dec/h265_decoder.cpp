#include "h265dec/h265_decoder.h"

#include <algorithm>

#include "common/limits.h"

namespace zv {
namespace {

constexpr int kThreadsOfMulti = 4;

// Unit types, ITU-T H.265 table 7-1; 48 is the aggregation packet of IETF RFC 7798, 4.4.2.
enum : uint8_t {
    kLastSlice = 31,
    kVps = 32,
    kDelimiter = 35,
    kEndOfSequence = 36,
    kEndOfStream = 37,
    kFiller = 38,
    kPrefixSei = 39,
    kSuffixSei = 40,
    kReserved44 = 44,
    kAggregation = 48,
};

constexpr size_t kUnitHeader = 2;

/** What a probed picture's last pixels hold before decoding; no picture has them by chance. */
constexpr uint8_t kProbe[16] = {0x3B, 0xC5, 0x62, 0x9E, 0x17, 0xF0, 0x4D, 0xA8,
                                0x81, 0x2C, 0xD7, 0x59, 0xE6, 0x0A, 0xB3, 0x74};

uint8_t TypeOf(const Unit &unit) { return unit.data[0] >> 1 & 0x3F; }

/** Units of other layers and units cut off before their first payload byte are of no use. */
bool IsUsable(const Unit &unit) {
    return unit.Size() > kUnitHeader && (unit.data[0] & 1) == 0 && unit.data[1] >> 3 == 0;
}

/** The first bits of a slice header, behind the flag that tells a first slice: its address stands near their front. */
uint32_t PlaceOf(const Unit &unit) {
    uint32_t place = 0;
    for (size_t i = kUnitHeader; i < kUnitHeader + 4; ++i) {
        place = place << 8 | (i < unit.Size() ? unit.data[i] : 0U);
    }
    return place;
}

/** Behind a slice, these begin the next access unit (ITU-T H.265, 7.4.2.4.4). */
bool LeadsPicture(uint8_t type) {
    return (type >= kVps && type <= kDelimiter) || type == kPrefixSei || (type > kSuffixSei && type <= kReserved44);
}

}  // namespace

H265Decoder::~H265Decoder() {
    avcodec_free_context(&context_);
    av_buffer_unref(&probed_);
}

bool H265Decoder::Open() {
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    context_ = avcodec_alloc_context3(codec);
    if (context_ == nullptr || !frames_.Ready() || !pending_.Ready()) {
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

INT32 H265Decoder::Decode(const uint8_t *data, size_t size, Planes *planes) {
    refusal_ = IHW265D_OK;
    failed_ = false;
    units_seen_ = false;
    policy_.BeginBuffer();
    UnitReader units(data, size);
    for (Unit unit; units.Next(&unit);) {
        units_seen_ = true;
        if (IsUsable(unit) && TypeOf(unit) == kAggregation) {
            AddAggregate(unit, &units);
        } else {
            AddUnit(unit);
        }
    }
    EndBuffer();
    if (refusal_ != IHW265D_OK) {
        return refusal_;
    }
    const AVFrame *frame = frames_.Take();
    if (frame != nullptr && converter_.Convert(frame, planes)) {
        return IHW265D_OK;
    }
    return failed_ || !units_seen_ ? IHW265D_STREAM_ERR : IHW265D_NEED_MORE_BITS;
}

void H265Decoder::EndBuffer() {
    if (pending_slices_ != 0 && policy_.IsWhole()) {
        DecodePending();
    }
    if (pending_.Size() > kMaxPictureBytes) {
        pending_.Clear();
        pending_slices_ = 0;
    }
}

void H265Decoder::AddUnit(const Unit &unit) {
    if (!IsUsable(unit)) {
        const bool end = unit.Size() == kUnitHeader && (TypeOf(unit) == kEndOfSequence || TypeOf(unit) == kEndOfStream);
        if (end) {
            Append(unit);
        }
        return;
    }
    const uint8_t type = TypeOf(unit);
    if (type <= kLastSlice) {
        AddSlice(unit);
        return;
    }
    if (LeadsPicture(type) && pending_slices_ != 0) {
        DecodePending();
    }
    if (type != kFiller && type != kDelimiter && (type != kSuffixSei || pending_slices_ != 0)) {
        Append(unit);
    }
}

void H265Decoder::AddSlice(const Unit &unit) {
    const bool first = (unit.data[kUnitHeader] & 0x80) != 0;
    if (first) {
        if (pending_slices_ != 0) {
            DecodePending();
        }
        policy_.FirstSlice();
    } else {
        policy_.NextSlice(PlaceOf(unit));
        if (pending_slices_ == 0) {
            return;  // its picture is decoded already, or never began
        }
    }
    Append(unit);
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
        AddUnit({at, at + 2, at + 2 + size});
        at += 2 + size;
    }
    units->Resume(at);
}

void H265Decoder::Append(const Unit &unit) {
    static constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
    failed_ |= !pending_.Append(kStartCode, sizeof(kStartCode)) || !pending_.Append(unit.data, unit.Size());
}

void H265Decoder::DecodePending() {
    failed_ |= pending_.Send(context_) < 0;
    policy_.Close();
    if (probe_ == Probe::kWritten) {
        const bool cut_off = ProbeUntouched();
        av_buffer_unref(&probed_);
        probe_ = failed_ ? Probe::kWanted : Probe::kDone;
        if (cut_off && !failed_) {
            // The stream's first picture has more slices to come. It is started over with all of them.
            avcodec_flush_buffers(context_);
            policy_.ExpectPieces();
            return;
        }
    }
    frames_.Receive(context_);
    pending_.Clear();
    pending_slices_ = 0;
}

int H265Decoder::GetBuffer(AVCodecContext *context, AVFrame *frame, int flags) {
    auto *decoder = static_cast<H265Decoder *>(context->opaque);
    const INT32 refusal = decoder->CheckSize(context->width, context->height);
    if (refusal != IHW265D_OK) {
        decoder->refusal_ = refusal;
        return AVERROR(EINVAL);
    }
    const int result = avcodec_default_get_buffer2(context, frame, flags);
    if (result == 0 && decoder->probe_ == Probe::kWanted) {
        decoder->LayProbe(frame);
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

/** Marks the last pixels of the stream's first picture, to see later whether its last slice was there. */
void H265Decoder::LayProbe(const AVFrame *frame) {
    const AVPixFmtDescriptor *kind = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    if (kind == nullptr || frame->buf[0] == nullptr) {
        return;
    }
    const size_t row = static_cast<size_t>(frame->width) * static_cast<size_t>(kind->comp[0].step);
    probe_size_ = std::min(row, sizeof(kProbe));
    uint8_t *place =
        frame->data[0] + static_cast<ptrdiff_t>(frame->linesize[0]) * (frame->height - 1) + row - probe_size_;
    probed_ = av_buffer_ref(frame->buf[0]);
    if (probed_ == nullptr) {
        return;
    }
    std::memcpy(place, kProbe, probe_size_);
    probe_place_ = place;
    probe_ = Probe::kWritten;
}

bool H265Decoder::ProbeUntouched() const { return std::memcmp(probe_place_, kProbe, probe_size_) == 0; }

}  // namespace zv
