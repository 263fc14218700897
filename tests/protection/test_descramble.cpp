#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "support/protection.h"

namespace {

/* ---- a literal second hand */

bool ModelRemoveSei(Bytes *frame, bool h265, int subtype) {
    const Bytes pattern = h265 ? Bytes{0, 0, 1, 0x4E, 1, 5} : Bytes{0, 0, 1, 6, 5};
    const size_t head = pattern.size() - 1;  // of the last byte of the pattern at the frame's start
    for (size_t at = head; at < head + 1000 && at < frame->size(); ++at) {
        if (!std::equal(pattern.begin(), pattern.end(), frame->begin() + at - head)) continue;
        if (at + 3 >= frame->size()) continue;
        const uint8_t size = (*frame)[at + 1];
        if ((size < 255 ? (*frame)[at + 2] : (*frame)[at + 3]) != subtype) continue;
        size_t start = at - head;
        if (start > 0 && (*frame)[start - 1] == 0) --start;
        for (size_t next = start + head; next < start + head + 1000; ++next) {
            const auto is = [&](size_t i, int value) { return i < frame->size() && (*frame)[i] == value; };
            const bool three = is(next, 0) && is(next + 1, 0) && is(next + 2, 1);
            const bool four = is(next, 0) && is(next + 1, 0) && is(next + 2, 0) && is(next + 3, 1);
            if (!three && !four) continue;
            frame->erase(frame->begin() + start, frame->begin() + next);
            return true;
        }
        return false;
    }
    return false;
}

bool ModelDescramble(Bytes *frame, bool h265, bool key, uint32_t word) {
    size_t slice = 3;
    const auto is = [&](size_t i) {
        const int byte = (*frame)[i];
        const bool type = h265 ? (byte & 126) == (key ? 38 : 2) : (byte & 15) == (key ? 5 : 1);
        return type && (*frame)[i - 3] == 0 && (*frame)[i - 2] == 0 && (*frame)[i - 1] == 1;
    };
    while (slice < frame->size() && !is(slice)) ++slice;
    if (slice >= frame->size()) return false;
    const Bytes copy = *frame;
    frame->resize(std::min(copy.size(), slice + 16));
    uint8_t low = word & 255;
    if ((low & 15) == 0) low |= 15;
    for (size_t i = slice + 16; i < copy.size(); ++i) {
        const bool prevention = i >= slice + 18 && copy[i] == 3 && copy[i - 1] == 0 && copy[i - 2] == 0;
        if (!prevention) frame->push_back(copy[i] ^ low);
    }
    if (key) {
        ModelRemoveSei(frame, h265, 20);
        ModelRemoveSei(frame, h265, 36);
    }
    return true;
}

/** Random bytes in which headers, messages and runs of zeros are frequent. */
Bytes RandomFrame(std::mt19937 *dice) {
    static const Bytes pieces[] = {{0, 0, 1, 0x65},
                                   {0, 0, 0, 1, 0x41},
                                   {0, 0, 1, 0x26, 1},
                                   {0, 0, 1, 2, 1},
                                   {0, 0, 0, 1, 6, 5, 7, 20},
                                   {0, 0, 1, 6, 5, 129, 36},
                                   {0, 0, 3},
                                   {0, 0, 1, 0x4E, 1, 5, 7, 20},
                                   {0, 0, 0, 1, 0x4E, 1, 5, 255, 9, 36},
                                   {0, 0, 1, 6, 5, 255, 1, 20}};
    Bytes frame;
    for (int i = (*dice)() % 30; i > 0; --i) {
        const uint32_t draw = (*dice)();
        const Bytes &piece = pieces[draw % std::size(pieces)];
        frame.insert(frame.end(), piece.begin(), piece.end());
        const uint32_t count = draw % 37 == 0 ? 1000 + draw % 16 : draw / 64 % 40;
        for (uint32_t k = 0; k < count; ++k) {
            const uint32_t byte = (*dice)();
            frame.push_back(byte % 3 == 0 ? byte >> 8 & 3 : static_cast<uint8_t>(byte >> 16));
        }
    }
    frame.resize(frame.size() - std::min<size_t>(frame.size(), (*dice)() % 8));
    frame.shrink_to_fit();
    return frame;
}

/** A frame through SCRAMBLE_Descramble() with a key of this derived word. */
ULONG_32 Descramble(Bytes *frame, uint32_t word, int payload, int type) {
    DRV_SCRAMBLE_CFG_S key = {};
    key.ulKey = word;
    ULONG_32 length = static_cast<ULONG_32>(frame->size());
    const ULONG_32 result = SCRAMBLE_Descramble(&key, payload, type, frame->data(), &length);
    frame->resize(length);
    return result;
}

}  // namespace

TEST(Descramble, DoesWhatALiteralHandDoes) {
    std::mt19937 dice(12);
    for (int i = 0; i < 20000; ++i) {
        const Bytes frame = RandomFrame(&dice);
        const bool h265 = i & 1, key = i & 2;
        const uint32_t word = i % 5 == 0 ? dice() & ~15U : dice();
        Bytes expected = frame, got = frame;
        const bool good = ModelDescramble(&expected, h265, key, word);
        ASSERT_EQ(Descramble(&got, word, h265 ? PLAYER_PAYLOAD_H265 : PLAYER_PAYLOAD_H264, key ? 0 : 1),
                  good ? 0U : 2U);
        ASSERT_EQ(got, expected) << "frame " << i;
    }
}

TEST(Descramble, WhatCantBeRestoredIsLeftAlone) {
    Bytes sound = {0, 0, 0, 1, 0x67, 1, 2, 3}, large(SCRAMBLE_FRAME_MAX, 7), short_slice = {0, 0, 1, 0x41, 5, 5};
    memcpy(large.data(), "\0\0\1\x41", 4);
    for (Bytes *frame : {&sound, &large}) {
        const Bytes before = *frame;
        EXPECT_EQ(Descramble(frame, 1, PLAYER_PAYLOAD_H264, 1), 2U);
        EXPECT_EQ(*frame, before);
    }
    large.pop_back();
    EXPECT_EQ(Descramble(&large, 1, PLAYER_PAYLOAD_H264, 1), 0U);
    EXPECT_EQ(Descramble(&short_slice, 1, PLAYER_PAYLOAD_H264, 1), 0U);
    EXPECT_EQ(short_slice, (Bytes{0, 0, 1, 0x41, 5, 5}));
    ULONG_32 length = 6;
    EXPECT_EQ(SCRAMBLE_Descramble(nullptr, PLAYER_PAYLOAD_H264, 1, short_slice.data(), &length), 2U);
    DRV_SCRAMBLE_CFG_S key = {};
    key.ulFormat = 2;
    ULONG longer = 6;
    EXPECT_EQ(Enc_Descramble(&longer, short_slice.data(), &key), 1U);
    EXPECT_EQ(Enc_Descramble(&longer, nullptr, nullptr), 1U);
}

TEST(Descramble, TheKeyIsASumOfADigestsWords) {
    UCHAR master[] = {1, 2, 3, 4};
    HANDLE key = SCRAMBLE_CreateKey(7, master, 0xA1B2C3D4);
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(key)->ulKey, 0x100F9545U);
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(key)->ucVersion, 3);
    SCRAMBLE_FreeKey(&key);
    EXPECT_EQ(key, nullptr);
    SCRAMBLE_FreeKey(&key);
}
