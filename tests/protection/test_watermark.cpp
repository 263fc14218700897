#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "support/media.h"
#include "zelvane_modules.h"

namespace {

/** A frame buffer as files have it, whatever the frame's length. */
struct Buffer {
    Bytes bytes = Bytes(VIDEO_FRAME_BUFFER_SIZE);
    std::unique_ptr<PLAEYR_PORT_S> port = std::make_unique<PLAEYR_PORT_S>();

    void Set(const Bytes &data, int payload) {
        PLAYER_FRAMEDATA_S &frame = port->stFrameData;
        std::copy(data.begin(), data.end(), bytes.begin());
        frame.pucData = bytes.data();
        frame.lDataLen = static_cast<LONG_32>(data.size());
        frame.lPayload = payload;
    }
};

/** A literal second hand, without bounds on what is sampled: the frames are far from the buffer's end. */
void ModelCheck(uint8_t *f, size_t length, bool h265, PORT_MARK_INFO_S *mark) {
    for (size_t i = 0; i + 3 < length; ++i) {
        if (f[i] != 0 || f[i + 1] != 0 || f[i + 2] != 1) continue;
        const int h = f[i + 3], type = h265 ? h >> 1 & 63 : h & 31;
        const size_t body = i + (h265 ? 5 : 4);
        if (type == 1) {
            mark->ulState = 0;
            return;
        }
        if (type == (h265 ? 39 : 6) && body < length && f[body] == (h265 ? 232 : 26)) {
            size_t q = body + 1, n = 0;
            while (q < length && f[q] == 255) n += 255, ++q;
            if (q >= length) return;
            n += f[q++];
            n = std::min(n, length - q);
            if (n > 32) {
                for (size_t k = 0; k + 2 < n; ++k) {
                    if (f[q + k] != 0 || f[q + k + 1] != 0 || f[q + k + 2] != 3) continue;
                    memmove(f + q + k + 2, f + q + k + 3, n - k - 3);
                    --n;
                    ++k;  // and one more by the loop
                }
            }
            mark->ulWaterMarkLen = std::min<size_t>(n / 2, 256);
            memcpy(mark->szSrcInfo, f + q, mark->ulWaterMarkLen);
            memcpy(mark->szInfo, f + q, mark->ulWaterMarkLen);
            memcpy(mark->szMark, f + q + n / 2, mark->ulWaterMarkLen);
            mark->bGetMark = 1;
            i = q + n;
        }
        if (type == (h265 ? 19 : 5)) {
            ++mark->ulKeyFrameCount;
            mark->ulState = 1;
            if (mark->bGetMark != 1) return;
            const size_t passes = h265 ? 16 : mark->ulWaterMarkLen;
            for (size_t pass = 0, s = body; pass < passes && s < length; ++pass, s += 128) {
                for (size_t k = 0; k < mark->ulWaterMarkLen; ++k) mark->szInfo[k] ^= static_cast<char>(f[s + k]);
            }
            const bool right = memcmp(mark->szInfo, mark->szMark, mark->ulWaterMarkLen) == 0;
            mark->ulState = right ? 0 : 2;
            if (right) mark->bHaveWaterMark = 1;
            mark->bGetMark = 0;
            return;
        }
    }
}

/** Random units; one key picture in three carries a mark that fits unless it is damaged. */
Bytes RandomFrame(std::mt19937 *dice, bool h265) {
    static const Bytes heads[] = {
        {0, 0, 1, 0x65}, {0, 0, 0, 1, 0x41}, {0, 0, 1, 0x26, 1}, {0, 0, 1, 2, 1}, {0, 0, 1, 0x67}};
    static const Bytes marks[] = {{0, 0, 1, 6, 26}, {0, 0, 1, 0x4E, 1, 232}};
    Bytes frame;
    const auto noise = [&](size_t count) {
        for (; count > 0; --count) {
            const uint32_t byte = (*dice)();
            frame.push_back(byte % 3 == 0 ? byte >> 8 & 3 : static_cast<uint8_t>(byte >> 16));
        }
    };
    const auto put = [&](const Bytes &bytes) { frame.insert(frame.end(), bytes.begin(), bytes.end()); };
    for (int i = 1 + (*dice)() % 3; i > 0; --i) {
        if ((*dice)() % 2 == 0) {
            put(marks[h265]);
            size_t n = (*dice)() % 3 == 0 ? (*dice)() % 700 : (*dice)() % 70;
            for (; n >= 255; n -= 255) frame.push_back(255);
            frame.push_back(static_cast<uint8_t>(n));
            noise((*dice)() % 5 == 0 ? n / 2 : n);
            frame.push_back(0x80);
        }
        put(heads[(*dice)() % std::size(heads)]);
        noise((*dice)() % 600);
    }
    return frame;
}

}  // namespace

TEST(Watermark, DoesWhatALiteralHandDoes) {
    std::mt19937 dice(5);
    Buffer buffer, model;
    const PORT_MARK_INFO_S &got = buffer.port->stMarkInfo;
    PORT_MARK_INFO_S expected = {};
    for (int i = 0; i < 20000; ++i) {
        const bool h265 = i & 1;
        const Bytes frame = RandomFrame(&dice, h265);
        buffer.Set(frame, h265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264);
        model.Set(frame, 0);
        ASSERT_EQ(Player_CheckOneFrame(buffer.port.get()), 0U);
        ModelCheck(model.bytes.data(), frame.size(), h265, &expected);
        ASSERT_EQ(memcmp(&got, &expected, sizeof got), 0)
            << "frame " << i << ", state " << got.ulState << ", " << expected.ulState;
    }
}

TEST(Watermark, SamplingEndsWithTheBuffer) {
    Buffer buffer;
    Bytes frame(VIDEO_FRAME_BUFFER_SIZE, 9);
    const Bytes head = {0, 0, 1, 0x4E, 1, 232, 255, 255, 2};
    std::copy(head.begin(), head.end(), frame.begin());
    const Bytes slice = {0, 0, 1, 0x26, 1, 7, 7};
    std::copy(slice.begin(), slice.end(), frame.end() - static_cast<ptrdiff_t>(slice.size()));
    buffer.Set(frame, PLAYER_PAYLOAD_H265);
    const PORT_MARK_INFO_S &mark = buffer.port->stMarkInfo;
    EXPECT_EQ(Player_CheckOneFrame(buffer.port.get()), 0U);
    EXPECT_EQ(mark.ulWaterMarkLen, 256U);
    EXPECT_EQ(mark.szInfo[1], 9 ^ 7);
    EXPECT_EQ(mark.szInfo[2], 9);
    EXPECT_EQ(mark.ulState, ULONG{CHECK_STATE_MISMARCH});
}
