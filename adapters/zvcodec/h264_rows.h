/**
 * @file h264_rows.h
 * @brief Which macroblock rows of a picture have been decoded.
 */
#ifndef ZELVANE_ADAPTERS_H264_ROWS_H
#define ZELVANE_ADAPTERS_H264_ROWS_H

#include <array>
#include <atomic>
#include <cstdint>

namespace zv {

/**
 * Fed by FFmpeg as each row is done, on whichever thread decodes the slice. No slice tells that it is the last one of
 * its picture; that the last row has been reached does, and a row left out tells of a slice that is lost or broken.
 */
class RowMap {
 public:
    /** A picture begins. @param pairs its rows are decoded two by two, or every other one: MBAFF frames and fields */
    void Clear(bool pairs) {
        pairs_ = pairs;
        for (std::atomic<uint64_t> &word : done_) {
            word.store(0, std::memory_order_relaxed);
        }
        rows_.store(0, std::memory_order_relaxed);
    }

    /**
     * A row of a picture of `rows` rows is done, or a pair: the one that begins at line `top`, or 20 lines further on
     * (40) where deblocking lags, but never above the first line. Of the height only that is looked at: a crop cuts it.
     */
    void Note(int top, int height, int rows) {
        const int lines = pairs_ ? 32 : 16;
        const int last = (pairs_ ? (rows + 1) / 2 : rows) - 1;
        int row = top % lines == 0 ? top / lines : (top + lines + lines / 4) / lines;
        if (top == 0 && height != lines && last > 0) {
            row = 1;
        }
        Set(row);
        if (row >= last) {
            rows_.store(last + 1, std::memory_order_relaxed);
        }
    }

    /** The last row has been reached. */
    bool Ended() const { return rows_.load(std::memory_order_relaxed) != 0; }

    /** ... and none was left out. Of the first row nothing is told where deblocking lags. */
    bool Whole() const {
        const int rows = rows_.load(std::memory_order_relaxed);
        for (int row = 1; row < rows && row < kMaxRows; ++row) {
            if ((done_[static_cast<size_t>(row) / 64].load(std::memory_order_relaxed) >> (row % 64) & 1) == 0) {
                return false;
            }
        }
        return rows != 0;
    }

 private:
    static constexpr int kMaxRows = 1024;

    void Set(int row) {
        if (row >= 0 && row < kMaxRows) {
            done_[static_cast<size_t>(row) / 64].fetch_or(uint64_t{1} << (row % 64), std::memory_order_relaxed);
        }
    }

    bool pairs_ = false;
    std::array<std::atomic<uint64_t>, kMaxRows / 64> done_{};
    std::atomic<int> rows_{0}; /**< of the picture, or pairs, once its last one has been reached */
};

}  // namespace zv

#endif
