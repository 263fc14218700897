#include "zvmp4/mp4_file.h"

#include <algorithm>
#include <new>

#include "zvmp4/box_writer.h"
#include "zvmp4/start_time.h"

namespace zv {

namespace {

constexpr uint64_t kIndexEveryMs = 5000;
constexpr uint32_t kChunkMs = 1000;

/** The format's 32-bit offsets end here. */
constexpr uint64_t kFileMax = UINT32_MAX;
/** What the tables of a file may cost in memory, in samples. */
constexpr uint32_t kSamplesMax = 32 << 20;

/** A picture in parts stays within a player's frame buffer of 2 MiB, parameter sets in front included. */
constexpr uint64_t kJoinedMax = 0x200000 - 2048;
/** Sound that is moved when a picture goes on behind it. */
constexpr uint64_t kMovedMax = 64 * 1024;
/** Units that wait for their picture. */
constexpr size_t kWaitingMax = 256 * 1024;

/** Ticks by which encoded sound is older than the picture at which it comes: the encoder waits for two frames, and
 * begins with one that it makes up. */
constexpr int64_t kEncoderDelay = 3 * kAacFrame;

constexpr uint64_t kMega = 1024 * 1024;
constexpr uint64_t kRoomMin = 4 * kMega;
constexpr uint64_t kRoomMax = 8 * kMega;
/** By so much more than needed the disk is asked for blocks behind the data. */
constexpr uint64_t kReserveStep = kMega;

/** Room for the index of two hours, if each picture lasts differently and each sample has its chunk. */
uint64_t RoomSize(const FORMAT_STREAM_INFO_S &info) {
    const uint64_t pictures = info.ulVideoFameRate == 0 ? 25 : std::min(info.ulVideoFameRate, 60U);
    const uint64_t blocks8 = std::min(info.ulSamplesPerSec, 96000U) / (kAacFrame / 8);
    const uint64_t wanted = 7200 * (pictures * 16 + blocks8) + 64 * 1024;
    return std::clamp((wanted + kMega - 1) / kMega * kMega, kRoomMin, kRoomMax);
}

Movie DescribeMovie(const FORMAT_STREAM_INFO_S &info) {
    Movie movie;
    movie.video.h265 = info.enVideoId == VIDEO_CODEC_H265;
    movie.video.width = std::min(info.ulPicWidth, 0xFFFFU);
    movie.video.height = std::min(info.ulPicHeight, 0xFFFFU);
    movie.audio.type = info.ucAudioType & 31;
    movie.audio.rate_index = info.ucFrequencyIndex & 15;
    movie.audio.channels = info.ucChannelNum & 15;
    movie.audio.sample_rate = info.ulSamplesPerSec != 0 ? info.ulSamplesPerSec : 8000;
    movie.created = StartTime(info, time(nullptr));
    return movie;
}

}  // namespace

Mp4File::~Mp4File() { Finish(); }

bool Mp4File::Create(const char *path) {
    movie_.created = static_cast<uint32_t>(time(nullptr));
    return disk_.Create(path) && WriteFtyp(&end_);
}

bool Mp4File::WriteFtyp(uint64_t *end) {
    std::vector<uint8_t> bytes;
    {
        BoxWriter writer(&bytes);
        Box ftyp(&writer, "ftyp");
        writer.Text("isom");
        writer.U32(0x200);
        writer.Text("isomiso2");
        writer.Text(movie_.video.h265 ? "hev1" : "avc1");
        writer.Text("mp41");
        writer.U32(0);
        writer.U32(movie_.created);
    }
    *end = bytes.size();
    return disk_.Write(bytes.data(), bytes.size(), 0);
}

bool Mp4File::Begin(const FORMAT_STREAM_INFO_S &info) {
    if (closed_ || (info.enVideoId != VIDEO_CODEC_H264 && info.enVideoId != VIDEO_CODEC_H265)) {
        return false;
    }
    Movie movie = DescribeMovie(info);
    if (!video_.Empty() && movie.video.h265 != movie_.video.h265) {
        return false;
    }
    const bool empty = IsEmpty();
    movie.created = empty ? movie.created : movie_.created;
    movie.video = video_.Empty() ? movie.video : movie_.video;
    movie.audio = audio_.Empty() ? movie.audio : movie_.audio;
    movie_ = movie;
    if (empty || sample_.Size() == 0 || sample_.H265() != movie.video.h265) {
        sample_ = SampleBytes(movie.video.h265);
        sample_key_ = false;
    }
    uint64_t room = 0;
    if (!WriteFtyp(&room)) {
        return false;
    }
    if (empty) {
        end_ = RoomSize(info);
        begun_ = disk_.Cut(end_) && room_.Lay(room, end_);
    }
    return begun_;
}

/* ---- frames ---------------------------------------------------------------------------------------------------- */

LONG_32 Mp4File::AddFrame(const FORMAT_FRAME_INFO_S &frame) {
    const bool bytes = frame.pucData != nullptr || frame.ulDataSize == 0;
    if (closed_ || !begun_ || !bytes || frame.ulDataSize > MP4_FRAME_SIZE_MAX) {
        return MP4_ENC_FAILED;
    }
    const bool video = frame.ulStreamIndex == MP4_STREAM_VIDEO;
    if ((!video && frame.ulStreamIndex != MP4_STREAM_AUDIO) || !(video ? AddVideo(frame) : AddAudio(frame))) {
        return MP4_ENC_FAILED;
    }
    const bool tell = tell_too_big_;
    tell_too_big_ = false;
    return tell ? MP4_ENC_INDEX_IN_MEMORY : MP4_ENC_OK;
}

bool Mp4File::AddVideo(const FORMAT_FRAME_INFO_S &frame) try {
    const FrameKind kind = sample_.Append(frame.pucData, frame.ulDataSize);
    sample_key_ |= kind.units && frame.bKeyFrame != 0;
    if (!kind.picture && sample_.Size() <= kWaitingMax) {
        return true;
    }
    const bool starts = !video_.Empty() || sample_key_;  // a file starts with a key frame
    const bool done = !kind.picture || !starts || PlacePicture(frame, kind.begins);
    sample_.Clear();
    sample_key_ = false;
    return done;
} catch (const std::bad_alloc &) {
    sample_.Clear();
    sample_key_ = false;
    throw;
}

bool Mp4File::PlacePicture(const FORMAT_FRAME_INFO_S &frame, bool begins) {
    if (!HasRoom(sample_.Size())) {
        return false;
    }
    return !begins && CanJoin(frame) ? Join() : BeginPicture(frame);
}

bool Mp4File::BeginPicture(const FORMAT_FRAME_INFO_S &frame) {
    const bool first = video_.Empty();
    PictureClock clock = clock_;
    uint32_t step = 0;
    if (first) {
        clock.Start(frame.dlTimeStamp);
    } else {
        step = clock.Advance(frame.dlTimeStamp, frame.ulFrameRate);
    }
    if (!movie_.video.h265) {
        sample_.FindSets(&movie_.video.sets);
    }
    group_done_ |= sample_key_ && changed_;
    if (group_done_ && !CheckPoint(video_.Elapsed() + step)) {
        return false;
    }
    if (!Append({Track::kVideo, sample_.Data(), sample_.Size(), step, sample_key_})) {
        return false;
    }
    clock_ = clock;
    joinable_ = true;
    picture_end_ = end_;
    if (first) {
        WriteIndex(false);
    }
    return true;
}

/** A part with the same time stamp belongs to the picture before, if at most a bit of sound came in between. */
bool Mp4File::CanJoin(const FORMAT_FRAME_INFO_S &frame) const {
    if (!joinable_ || frame.dlTimeStamp != clock_.Last() || video_.Sizes().back() + sample_.Size() > kJoinedMax) {
        return false;
    }
    return end_ == picture_end_ || (audio_.Chunks().back().offset == picture_end_ && end_ - picture_end_ <= kMovedMax);
}

/** Writes the part to the end of its picture, and the sound that stood there behind it. */
bool Mp4File::Join() {
    const size_t grown = sample_.Size();
    const size_t moved = static_cast<size_t>(end_ - picture_end_);
    std::vector<uint8_t> &bytes = *sample_.Bytes();
    bytes.resize(grown + moved);
    if (!disk_.Read(bytes.data() + grown, moved, picture_end_)) {
        return false;
    }
    if (!Reserve(grown)) {
        Failed();
        return false;
    }
    if (!disk_.Write(bytes.data(), bytes.size(), picture_end_)) {
        disk_.Write(bytes.data() + grown, moved, picture_end_);
        Failed();
        return false;
    }
    video_.GrowLast(static_cast<uint32_t>(grown));
    if (moved != 0) {
        audio_.MoveLastChunk(static_cast<uint32_t>(grown));
    }
    picture_end_ += grown;
    end_ += grown;
    changed_ = true;
    return true;
}

bool Mp4File::AddAudio(const FORMAT_FRAME_INFO_S &frame) {
    if (frame.ulDataSize == 0) {
        return true;
    }
    if (!HasRoom(frame.ulDataSize)) {
        return false;
    }
    const bool first = audio_.Empty();
    if (first) {
        movie_.audio.start = AudioStart(frame.dlTimeStamp);
    }
    if (!Append({Track::kAudio, frame.pucData, frame.ulDataSize, kAacFrame, false})) {
        return false;
    }
    if (!video_.Empty()) {
        return true;
    }
    return first ? WriteIndex(false) != IndexResult::kSealed
                 : CheckPoint(audio_.Elapsed() * kMovieTimescale / movie_.audio.sample_rate);
}

/** Sound begins at the picture after which it came. That which the player has encoded itself has the picture's own
 *  stamp, and what it holds is older. */
int64_t Mp4File::AudioStart(int64_t stamp) const {
    const int64_t now = static_cast<int64_t>(video_.Elapsed());
    const bool encoded_here = !video_.Empty() && stamp > 0 && stamp == clock_.Last();
    return encoded_here ? now - kEncoderDelay * kMovieTimescale / movie_.audio.sample_rate : now;
}

/* ---- the file -------------------------------------------------------------------------------------------------- */

/** Bytes that the index has at the most when one more sample has come. */
uint64_t Mp4File::IndexMost() const {
    return kIndexFixed + (uint64_t{video_.Count()} + audio_.Count() + 1) * kIndexPerSample;
}

/** Closes the file off when it can't hold this much more. */
bool Mp4File::HasRoom(size_t size) {
    const uint64_t samples = uint64_t{video_.Count()} + audio_.Count() + 1;
    if (end_ + size + IndexMost() <= kFileMax && samples <= kSamplesMax) {
        return true;
    }
    Finish();
    return false;
}

/** An index that may not find a free half of its room is written behind the data, and has to find its place there on a
 *  full disk too: nothing is taken that would leave it none. */
bool Mp4File::Reserve(size_t size) {
    const uint64_t most = IndexMost();
    const uint64_t wanted = end_ + size + most;
    if (most <= kRoomMin / 2 - kIndexFixed || wanted <= reserved_) {
        return true;
    }
    for (const uint64_t more : {kReserveStep, uint64_t{0}}) {
        if (disk_.Allocate(end_, size + most + more)) {
            reserved_ = wanted + more;
            return true;
        }
    }
    return false;
}

bool Mp4File::Append(const Sample &sample) {
    SampleTable &table = TableOf(sample.track);
    table.Reserve();
    if (!Reserve(sample.size) || !disk_.Write(sample.data, sample.size, end_)) {
        Failed();
        return false;
    }
    if (!table.Empty()) {
        table.EndLast(sample.step);
    }
    table.Add(static_cast<uint32_t>(end_), static_cast<uint32_t>(sample.size), NewChunk(sample.track), sample.key);
    end_ += sample.size;
    last_ = sample.track;
    changed_ = true;
    return true;
}

/** Whether the sample to be added begins a chunk: readers find a track's samples by its chunks only. */
bool Mp4File::NewChunk(Track track) {
    const uint64_t now = TableOf(track).Elapsed();
    const uint64_t most = track == Track::kVideo ? kChunkMs : movie_.audio.sample_rate;
    const bool begins = last_ != track || now - chunk_begin_ >= most;
    chunk_begin_ = begins ? now : chunk_begin_;
    return begins;
}

/** A write failed: the file is cut to what is whole, and its index made to know that. The place of an index behind the
 *  data stays reserved. */
void Mp4File::Failed() {
    joinable_ = false;
    if (reserved_ <= end_) {
        disk_.Cut(end_);
    }
    if (changed_) {
        WriteIndex(false);
    }
}

/** Writes the index if it is time. False if nothing may follow any more. */
bool Mp4File::CheckPoint(uint64_t now) {
    if (now - indexed_at_ < kIndexEveryMs) {
        return true;
    }
    indexed_at_ = now;
    return WriteIndex(false) != IndexResult::kSealed;
}

IndexResult Mp4File::WriteIndex(bool last) try {
    if (too_big_ && !last) {
        return IndexResult::kTooBig;
    }
    index_.clear();
    if (!IsEmpty()) {
        WriteMovieBox(movie_, video_, audio_, &index_);
    }
    reserved_ = 0;
    const IndexResult result = last ? room_.Finish(index_, end_) : room_.Put(index_, end_);
    changed_ &= result != IndexResult::kDone;
    group_done_ &= result != IndexResult::kDone;
    closed_ |= result == IndexResult::kSealed;
    done_ |= result == IndexResult::kSealed;
    too_big_ = result == IndexResult::kTooBig;
    tell_too_big_ |= too_big_;
    return result;
} catch (const std::bad_alloc &) {
    return IndexResult::kFailed;
}

bool Mp4File::Finish() {
    closed_ = true;
    if (!done_ && begun_) {
        done_ = WriteIndex(true) != IndexResult::kFailed;
    }
    return done_ || !begun_;
}

}  // namespace zv
