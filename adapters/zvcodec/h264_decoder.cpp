#include "zvcodec/h264_decoder.h"

#include <algorithm>

#include "common/limits.h"
#include "zvcodec/h264_sps.h"

namespace zv {
namespace {

constexpr unsigned kMaxThreads = 16;

/** Buffers in a row that begin a picture, after which buffers are taken to hold whole pictures. */
constexpr unsigned kWholeBuffers = 3;

// Unit types, ITU-T H.264 table 7-1.
enum : uint8_t {
    kSlice = 1,
    kPartitionA = 2,
    kIdrSlice = 5,
    kSei = 6,
    kSps = 7,
    kDelimiter = 9,
    kPrefix = 14,
    kReserved18 = 18
};

constexpr uint8_t kDelimiterUnit[] = {0, 0, 0, 1, kDelimiter, 0xF0};

uint8_t TypeOf(const Unit &unit) { return unit.Size() != 0 ? unit.data[0] & 0x1F : 0; }

bool IsSlice(uint8_t type) { return type == kSlice || type == kPartitionA || type == kIdrSlice; }

/** first_mb_in_slice is 0: the code for 0 is a single one bit. */
bool IsFirstSlice(const Unit &unit) { return IsSlice(TypeOf(unit)) && unit.Size() > 1 && (unit.data[1] & 0x80) != 0; }

/** Behind a slice, these begin the next access unit (ITU-T H.264, 7.4.1.2.3). */
bool LeadsPicture(uint8_t type) {
    return (type >= kSei && type <= kDelimiter) || (type >= kPrefix && type <= kReserved18);
}

}  // namespace

std::unique_ptr<H264Decoder> H264Decoder::Make(unsigned threads) {
    auto decoder = std::make_unique<H264Decoder>();
    return decoder->Open(threads) ? std::move(decoder) : nullptr;
}

bool H264Decoder::Open(unsigned threads) {
    const AVCodec *codec = avcodec_find_decoder(AV_CODEC_ID_H264);
    context_.reset(avcodec_alloc_context3(codec));
    if (!context_ || !frames_.Ready() || !input_.Ready() || !delimiter_.Ready() ||
        !delimiter_.Append(kDelimiterUnit, sizeof(kDelimiterUnit))) {
        return false;
    }
    context_->thread_count = static_cast<int>(std::clamp(threads, 1U, kMaxThreads));
    context_->thread_type = FF_THREAD_SLICE;  // frame threads would add a picture of delay each
    context_->flags |= AV_CODEC_FLAG_UNALIGNED;
    context_->flags2 |= AV_CODEC_FLAG2_CHUNKS;
    context_->max_pixels = kMaxPixels;
    return avcodec_open2(context_.get(), codec, nullptr) == 0;
}

bool H264Decoder::Decode(const uint8_t *data, size_t size) {
    sent_ = 0;
    failed_ = 0;
    slice_seen_ = false;
    UnitReader units(data, size);
    Run run;
    for (Unit unit; units.Next(&unit);) {
        AddUnit(unit, &run);
    }
    SendRun(run);
    return failed_ < sent_;
}

bool H264Decoder::Take(Planes *planes) {
    const AVFrame *frame = frames_.Take();
    return frame != nullptr && converter_.Convert(frame, planes);
}

void H264Decoder::AddUnit(const Unit &unit, Run *run) {
    const uint8_t type = TypeOf(unit);
    const bool first = IsFirstSlice(unit);
    if ((first || LeadsPicture(type)) && run->slices) {
        run->followed = true;
        SendRun(*run);
        *run = Run();
    }
    if (IsSlice(type)) {
        NoteSlice(first);
    } else if (type == kSps && !parser_ && MayHoldFields(unit)) {
        OpenParser();
    }
    if (run->begin == nullptr) {
        run->begin = unit.begin;
    }
    run->end = unit.end;
    run->starts_picture |= first;
    run->slices |= IsSlice(type);
    if ((first || LeadsPicture(type)) && picture_open_) {
        ClosePicture();
    }
}

// Without one, fields are taken for frames.
void H264Decoder::OpenParser() {
    parser_context_.reset(avcodec_alloc_context3(nullptr));  // with the codec it would hold a second decoder
    if (parser_context_) {
        parser_context_->codec_id = AV_CODEC_ID_H264;
        parser_.reset(av_parser_init(AV_CODEC_ID_H264));
    }
    if (parser_) {
        parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    }
}

void H264Decoder::NoteSlice(bool first) {
    if (!slice_seen_) {
        whole_buffers_ = first ? std::min(whole_buffers_ + 1, kWholeBuffers) : 0;
    }
    slice_seen_ = true;
}

void H264Decoder::SendRun(const Run &run) {
    if (run.begin == nullptr) {
        return;
    }
    ++sent_;
    input_.Clear();
    const bool too_late = run.slices && !run.starts_picture && went_whole_;
    if (too_late || !input_.Append(run.begin, static_cast<size_t>(run.end - run.begin))) {
        ++failed_;
        return;
    }
    if (parser_ && (run.starts_picture || !run.slices)) {
        NoteFields(run.starts_picture);
    }
    if (run.starts_picture && (run.followed || whole_buffers_ == kWholeBuffers)) {
        SendWhole();
    } else {
        SendPiece();
        picture_open_ |= run.slices;
        went_whole_ &= !run.slices;
    }
}

void H264Decoder::SendPiece() {
    failed_ += input_.Send(context_.get()) < 0 ? 1 : 0;
    frames_.Receive(context_.get());
}

void H264Decoder::SendWhole() {
    context_->flags2 &= ~AV_CODEC_FLAG2_CHUNKS;
    SendPiece();
    context_->flags2 |= AV_CODEC_FLAG2_CHUNKS;
    went_whole_ = true;
}

/**
 * Ends the picture in the decoder. With pieces allowed FFmpeg waits for a picture's last rows, and once they are lost
 * it would refuse every slice that follows. A lone delimiter sent as a whole packet makes it start afresh; on a
 * finished picture it only yields an error without effect. Between two fields of a frame it would end the frame
 * instead.
 */
void H264Decoder::ClosePicture() {
    picture_open_ = false;
    if (first_field_ != AV_PICTURE_STRUCTURE_UNKNOWN) {
        return;
    }
    context_->flags2 &= ~AV_CODEC_FLAG2_CHUNKS;
    delimiter_.Send(context_.get());
    context_->flags2 |= AV_CODEC_FLAG2_CHUNKS;
    frames_.Receive(context_.get());
}

/**
 * Lets the parser see parameter sets and the first slice of each picture in `input_`, to know whether the picture is a
 * field with its partner still to come.
 */
void H264Decoder::NoteFields(bool starts_picture) {
    uint8_t *ignored = nullptr;
    int ignored_size = 0;
    av_parser_parse2(parser_.get(), parser_context_.get(), &ignored, &ignored_size, input_.Data(),
                     static_cast<int>(input_.Size()), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    if (!starts_picture) {
        return;
    }
    const AVPictureStructure structure = parser_->picture_structure;
    const bool field = structure == AV_PICTURE_STRUCTURE_TOP_FIELD || structure == AV_PICTURE_STRUCTURE_BOTTOM_FIELD;
    const bool partner = first_field_ != AV_PICTURE_STRUCTURE_UNKNOWN && structure != first_field_;
    first_field_ = field && !partner ? structure : AV_PICTURE_STRUCTURE_UNKNOWN;
}

}  // namespace zv
