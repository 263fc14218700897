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

#include "queue/module_queue.h"

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

/** Copies a picture as the player does on its way to the window, and halved. */
inline void CopyPicture(const uint8_t *const planes[], const int strides[], int width, int height) {
    static DECODED_BUFFER_QUEUE_S queue{};
    static const ULONG_32 made = QUEUE_InitDecodedBufferQueue(&queue, 3);
    CODE_DECODED_DATA_S picture{};
    for (int i = 0; i < 3; ++i) {
        picture.pucData[i] = const_cast<uint8_t *>(planes[i]);
        picture.lLineSize[i] = strides[i];
    }
    picture.lWidth = width;
    picture.lHeight = height;
    if (made == 0) {
        QUEUE_AddDecodeData(&picture, 0, &queue);
        QUEUE_AddDecodeDataWithCompress(&picture, 0, strides[0] / 2, width / 2, height / 2, &queue);
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
