#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "foundations/bytes.h"

namespace {

// Copies of exactly the size, so that a read past the end meets the sanitizer.
std::vector<UCHAR> Prefix(const std::vector<UCHAR> &aucData, size_t ulSize) {
    return {aucData.begin(), aucData.begin() + static_cast<std::ptrdiff_t>(ulSize)};
}

// Every kind of read; the values come back as one list.
std::vector<DULONG> ReadAll(bytes::Reader &stReader) {
    std::vector<DULONG> adul = {stReader.U64Be(), stReader.U64Le(), stReader.U32Be(),
                                stReader.U32Le(), stReader.U24Be(), stReader.U24Le()};
    stReader.Skip(2);
    bytes::Reader stInner = stReader.Sub(stReader.U8());
    adul.insert(adul.end(), {stInner.U16Be(), stInner.U16Le(), stInner.Ok() && stInner.Left() == 0});
    UCHAR aucTail[2] = {};
    stReader.Copy(aucTail, sizeof(aucTail));
    adul.push_back(aucTail[1]);
    return adul;
}

TEST(Bytes, EveryPrefixFailsAndTheWholeIsRead) {
    std::vector<UCHAR> aucData(32);
    for (size_t i = 0; i < aucData.size(); i++) {
        aucData[i] = static_cast<UCHAR>(i + 1);
    }
    aucData.insert(aucData.end(), {4, 0xA1, 0xA2, 0xA3, 0xA4, 7, 8});
    for (size_t ulSize = 0; ulSize < aucData.size(); ulSize++) {
        std::vector<UCHAR> aucCut = Prefix(aucData, ulSize);
        bytes::Reader stReader(aucCut.data(), ulSize);
        EXPECT_EQ(0u, ReadAll(stReader).back()) << "a failed copy must not touch the buffer";
        EXPECT_FALSE(stReader.Ok()) << ulSize;
        EXPECT_EQ(0u, stReader.Left());
    }
    bytes::Reader stReader(aucData.data(), aucData.size());
    EXPECT_EQ((std::vector<DULONG>{0x0102030405060708, 0x100F0E0D0C0B0A09, 0x11121314, 0x18171615, 0x191A1B, 0x1E1D1C,
                                   0xA1A2, 0xA4A3, 1, 8}),
              ReadAll(stReader));
    EXPECT_TRUE(stReader.Ok());
}

TEST(Bytes, FailureSticksAndHugeSizesDoNotWrap) {
    const UCHAR aucData[] = {1, 2, 3, 4};
    bytes::Reader stReader(aucData, sizeof(aucData));
    EXPECT_EQ(1, stReader.U8());
    EXPECT_EQ(nullptr, stReader.Peek(SIZE_MAX, 1));
    EXPECT_EQ(nullptr, stReader.Peek(1, SIZE_MAX));
    EXPECT_EQ(4, stReader.PeekU8(2));
    EXPECT_EQ(-1, stReader.PeekU8(3));
    EXPECT_TRUE(stReader.Match("\2\3", 2));
    EXPECT_TRUE(stReader.Ok()) << "looking ahead never fails";
    EXPECT_FALSE(stReader.Sub(SIZE_MAX).Ok());
    EXPECT_EQ(0, stReader.U8()) << "bytes are left, but the reader has failed";
    EXPECT_FALSE(stReader.Seek(0));
    bytes::Reader stNull(nullptr, 100);
    EXPECT_TRUE(stNull.Skip(0));
    EXPECT_EQ(0u, stNull.U32Be());
    EXPECT_FALSE(stNull.Ok());
}

std::vector<bool> BitsOf(const std::vector<UCHAR> &aucData, bool bRemove) {
    std::vector<bool> abBits;
    int iZeros = 0;
    for (UCHAR ucByte : aucData) {
        bool bLeftOut = bRemove && iZeros >= 2 && ucByte == 3;
        iZeros = ucByte == 0 ? iZeros + 1 : 0;
        for (int i = 7; i >= 0 && !bLeftOut; i--) {
            abBits.push_back((ucByte >> i & 1) != 0);
        }
    }
    return abBits;
}

TEST(Bits, AnyWidthsGiveTheBitsOfTheBytes) {
    std::mt19937 stRandom(7);
    for (int iRound = 0; iRound < 400; iRound++) {
        bool bRemove = iRound % 2 == 0;
        std::vector<UCHAR> aucData(stRandom() % 40);
        for (UCHAR &ucByte : aucData) {
            ucByte = static_cast<UCHAR>(stRandom() % 3 == 0 ? stRandom() : stRandom() % 2 * 3);  // many 00 00 03
        }
        std::vector<bool> abBits = BitsOf(aucData, bRemove);
        bytes::BitReader stBits(aucData.data(), aucData.size(),
                                bRemove ? bytes::Emulation::kRemove : bytes::Emulation::kKeep);
        size_t ulAt = 0;
        for (ULONG_32 ulWidth = stRandom() % 33; ulAt + ulWidth <= abBits.size(); ulWidth = stRandom() % 33) {
            ULONG_32 ulWant = 0;
            for (ULONG_32 i = 0; i < ulWidth; i++) {
                ulWant = ulWant << 1 | (abBits[ulAt + i] ? 1 : 0);
            }
            ASSERT_EQ(ulWant, stBits.PeekBits(ulWidth));
            ASSERT_EQ(ulWant, stBits.Bits(ulWidth));
            ulAt += ulWidth;
        }
        stBits.Skip(abBits.size() - ulAt);
        ASSERT_FALSE(stBits.Dry());
        ASSERT_EQ(abBits.size(), stBits.BitPos());
        stBits.Skip(iRound % 3 == 0 ? UINT64_MAX : 1);
        ASSERT_TRUE(stBits.Dry());
    }
}

TEST(Bits, GolombCodes) {
    const struct {
        std::vector<UCHAR> aucBits;
        ULONG_32 ulUnsigned;
        LONG_32 lSigned;
    } astRows[] = {
        {{0xFF}, 0, 0},  {{0x40}, 1, 1},
        {{0x60}, 2, -1}, {{0x20}, 3, 2},
        {{0x28}, 4, -2}, {{0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE}, 0xFFFFFFFE, -0x7FFFFFFF}};  // 31 zeros, 1, 31 ones
    for (const auto &st : astRows) {
        EXPECT_EQ(st.ulUnsigned, bytes::BitReader(st.aucBits.data(), st.aucBits.size()).Ue());
        EXPECT_EQ(st.lSigned, bytes::BitReader(st.aucBits.data(), st.aucBits.size()).Se());
    }
    std::vector<std::vector<UCHAR>> aucDry = {{0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};  // too long
    for (size_t ulSize = 0; ulSize < 8; ulSize++) {
        aucDry.push_back(Prefix(astRows[5].aucBits, ulSize));
    }
    for (const std::vector<UCHAR> &aucBits : aucDry) {
        bytes::BitReader stBits(aucBits.data(), aucBits.size());
        EXPECT_EQ(0u, stBits.Ue());
        EXPECT_TRUE(stBits.Dry()) << aucBits.size();
    }
}

}  // namespace
