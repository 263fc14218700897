/**
 * @file mp4_file.h
 * @brief One recording on disk: takes frames, and keeps the file such that it can be read at any moment.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_MP4_FILE_H
#define ZELVANE_ADAPTERS_ZVMP4_MP4_FILE_H

#include <cstdint>
#include <vector>

#include "codec/zvmp4.h"
#include "zvmp4/disk_file.h"
#include "zvmp4/index_room.h"
#include "zvmp4/movie_box.h"
#include "zvmp4/sample_bytes.h"
#include "zvmp4/sample_tables.h"

namespace zv {

/** All state of a file. Muxer handles only point here, as their owner may drop them without a word. */
class Mp4File {
 public:
    Mp4File() : room_(&disk_), sample_(false) {}
    ~Mp4File();
    Mp4File(const Mp4File &) = delete;
    Mp4File &operator=(const Mp4File &) = delete;

    /** Creates the file; it is just "ftyp" until a muxer begins. */
    bool Create(const char *path);
    /** A muxer begins. @return false as mp4_enc_init() does */
    bool Begin(const FORMAT_STREAM_INFO_S &info);
    /** Takes a frame. Throws bad_alloc with nothing changed. @return tagMp4EncResult */
    LONG_32 AddFrame(const FORMAT_FRAME_INFO_S &frame);
    /** Finishes the file; once that has succeeded, later calls do nothing. @return false if the index could not be
     *  written */
    bool Finish();
    /** Why the last write failed: errno, 0 if none did. */
    int LastError() const { return disk_.LastError(); }

 private:
    enum class Track { kNone, kVideo, kAudio };

    /** What goes into the file. */
    struct Sample {
        Track track;
        const uint8_t *data;
        size_t size;
        uint32_t step; /**< ticks from the sample before to this one */
        bool key;
    };

    bool WriteFtyp(uint64_t *end);
    bool AddVideo(const FORMAT_FRAME_INFO_S &frame);
    bool PlacePicture(const FORMAT_FRAME_INFO_S &frame, bool begins);
    bool BeginPicture(const FORMAT_FRAME_INFO_S &frame);
    bool CanJoin(const FORMAT_FRAME_INFO_S &frame) const;
    bool Join();
    bool AddAudio(const FORMAT_FRAME_INFO_S &frame);
    int64_t AudioStart(int64_t stamp) const;
    bool Append(const Sample &sample);
    bool NewChunk(Track track);
    bool HasRoom(size_t size);
    uint64_t IndexMost() const;
    bool Reserve(size_t size);
    void Failed();
    bool CheckPoint(uint64_t now);
    IndexResult WriteIndex(bool last);
    bool IsEmpty() const { return video_.Empty() && audio_.Empty(); }
    SampleTable &TableOf(Track track) { return track == Track::kVideo ? video_ : audio_; }

    DiskFile disk_;
    IndexRoom room_;
    Movie movie_;
    SampleTable video_;
    SampleTable audio_;
    PictureClock clock_;
    SampleBytes sample_;          // the picture to come; holds units that came before its first part
    bool sample_key_ = false;     // what it holds was marked as key
    std::vector<uint8_t> index_;  // work memory
    uint64_t end_ = 0;            // of the last whole sample in the file
    uint64_t picture_end_ = 0;    // of the last picture
    uint64_t reserved_ = 0;       // up to where the disk has blocks for data and an index behind them
    Track last_ = Track::kNone;   // of the last sample
    uint64_t chunk_begin_ = 0;    // ticks of its track when its chunk began
    bool joinable_ = false;       // the last picture may go on
    bool begun_ = false;          // a muxer has begun
    bool closed_ = false;         // nothing may be added any more
    bool done_ = false;           // the file is finished
    bool changed_ = false;        // the tables know more than the index in the file does
    bool group_done_ = false;     // a group has become whole since that index was written
    uint64_t indexed_at_ = 0;     // stream time of that index, ms
    bool too_big_ = false;        // the index has outgrown its room
    bool tell_too_big_ = false;   // and the caller has not been told
};

}  // namespace zv

#endif
