/**
 * @file video_input.h
 * @brief Fuzz input of the video decoders: buffers, each with its length in two bytes, big-endian, before it.
 */
#ifndef ZELVANE_FUZZ_VIDEO_INPUT_H
#define ZELVANE_FUZZ_VIDEO_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/** Calls `feed` with each buffer as a block of its own, so that any read outside it is seen. */
template <typename Feed>
void ForEachBuffer(const uint8_t *data, size_t size, Feed feed) {
    while (size >= 2) {
        const size_t told = static_cast<size_t>(data[0]) << 8 | data[1];
        const size_t length = std::min(told, size - 2);
        std::vector<uint8_t> buffer(data + 2, data + 2 + length);
        feed(buffer);
        data += 2 + length;
        size -= 2 + length;
    }
}

/** Reads the first and the last visible byte of each row: all of a picture has to be readable. */
inline unsigned TouchPlane(const uint8_t *plane, int stride, int width, int height) {
    unsigned sum = 0;
    for (int row = 0; row < height; ++row) {
        const uint8_t *line = plane + static_cast<ptrdiff_t>(stride) * row;
        sum += static_cast<unsigned>(line[0]) + line[width - 1];
    }
    return sum;
}

#endif
