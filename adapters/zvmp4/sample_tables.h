/**
 * @file sample_tables.h
 * @brief What a file's index is made of: where each sample lies, how long it lasts, which decode alone.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_SAMPLE_TABLES_H
#define ZELVANE_ADAPTERS_ZVMP4_SAMPLE_TABLES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zv {

/** Samples of one track that lie side by side. */
struct Chunk {
    uint32_t offset;  /**< in the file */
    uint32_t samples; /**< count */
};

/** Samples in a row that last equally long. */
struct DurationRun {
    uint32_t count;
    uint32_t ticks;
};

/** The tables of one track. Only Reserve() throws. */
class SampleTable {
 public:
    /** Makes room for one more sample, so that adding it can't fail. Throws bad_alloc. */
    void Reserve();
    /** Adds a sample. How long it lasts is not known yet. */
    void Add(uint32_t offset, uint32_t size, bool new_chunk, bool sync);
    /** Says how long the last sample lasts, when the next one comes. */
    void EndLast(uint32_t ticks);
    /** Grows the last sample. */
    void GrowLast(uint32_t more) { sizes_.back() += more; }
    /** Moves the last chunk back. */
    void MoveLastChunk(uint32_t by) { chunks_.back().offset += by; }

    bool Empty() const { return sizes_.empty(); }
    uint32_t Count() const { return static_cast<uint32_t>(sizes_.size()); }
    const std::vector<uint32_t> &Sizes() const { return sizes_; }
    const std::vector<uint32_t> &Sync() const { return sync_; }
    const std::vector<Chunk> &Chunks() const { return chunks_; }
    /** Of all samples but the last. */
    const std::vector<DurationRun> &Runs() const { return runs_; }
    /** Ticks of all samples but the last: when the last one begins. */
    uint64_t Elapsed() const { return elapsed_; }
    /** What the last sample lasts by the measure of the one before; `single` if it is the only one. */
    uint32_t LastTicks(uint32_t single) const { return runs_.empty() ? single : runs_.back().ticks; }

 private:
    std::vector<uint32_t> sizes_;
    std::vector<uint32_t> sync_;  // sample numbers, from 1
    std::vector<Chunk> chunks_;
    std::vector<DurationRun> runs_;
    uint64_t elapsed_ = 0;
};

/** Says by how much stream time goes on from one picture to the next. */
class PictureClock {
 public:
    /**
     * @param stamp of the new picture, ms
     * @param rate  frames a second, for pictures whose stamp does not grow; 0 is 25
     * @return ms, at least 1
     */
    uint32_t Advance(int64_t stamp, uint32_t rate);
    /** Sets the stamp of the first picture. */
    void Start(int64_t stamp) { last_ = stamp; }
    int64_t Last() const { return last_; }

 private:
    uint32_t FrameTime(uint32_t rate);

    int64_t last_ = 0;
    bool grew_ = false;
    uint32_t ahead_ = 0;  // ms given to pictures of equal stamps, which the next one that grows gives back
    uint32_t rest_ = 0;   // what division by the frame rate left over
};

}  // namespace zv

#endif
