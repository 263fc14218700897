#include "zvmp4/sample_tables.h"

namespace zv {

namespace {

constexpr uint64_t kJumpMs = 24 * 3600 * 1000;
constexpr uint32_t kUsualRate = 25;
constexpr uint32_t kRateMax = 1000;
/** Pictures in a row that may have the stamp of the one before, as the second field of a frame has. */
constexpr uint32_t kEqualMax = 4;

template <class T>
void ReserveOne(std::vector<T> *table) {
    if (table->size() == table->capacity()) {
        table->reserve(std::max<size_t>(64, table->size() + table->size() / 2));
    }
}

}  // namespace

void SampleTable::Reserve() {
    ReserveOne(&sizes_);
    ReserveOne(&sync_);
    ReserveOne(&chunks_);
    ReserveOne(&runs_);
}

void SampleTable::Add(uint32_t offset, uint32_t size, bool new_chunk, bool sync) {
    sizes_.push_back(size);
    if (sync) {
        sync_.push_back(Count());
    }
    if (new_chunk || chunks_.empty()) {
        chunks_.push_back({offset, 0});
    }
    ++chunks_.back().samples;
}

void SampleTable::EndLast(uint32_t ticks) {
    elapsed_ += ticks;
    if (!runs_.empty() && runs_.back().ticks == ticks) {
        ++runs_.back().count;
    } else {
        runs_.push_back({1, ticks});
    }
}

uint32_t PictureClock::FrameTime(uint32_t rate) {
    rate = rate == 0 || rate > kRateMax ? kUsualRate : rate;
    const uint32_t sum = 1000 + rest_;
    rest_ = sum % rate;
    return sum / rate;
}

uint32_t PictureClock::Advance(int64_t stamp, uint32_t rate) {
    const bool grows = stamp > last_;
    const uint64_t step = grows ? static_cast<uint64_t>(stamp) - static_cast<uint64_t>(last_) : 0;
    const bool equal = stamp == last_;
    last_ = stamp;
    if (equal && grew_ && ahead_ < kEqualMax) {
        ++ahead_;
        return 1;
    }
    if (!grows || step > kJumpMs) {
        return FrameTime(rate);
    }
    grew_ = true;
    const uint32_t given = static_cast<uint32_t>(std::min<uint64_t>(ahead_, step - 1));
    ahead_ -= given;
    return static_cast<uint32_t>(step) - given;
}

}  // namespace zv
