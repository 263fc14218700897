#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <vector>

#include "bits/MakeJpegHeader.h"

namespace {

using Bytes = std::vector<UCHAR>;

Bytes Headers(int iType, USHORT usDri) {
    UCHAR aucLuma[64];
    UCHAR aucChroma[64];
    memset(aucLuma, 0x11, sizeof(aucLuma));
    memset(aucChroma, 0x22, sizeof(aucChroma));
    Bytes oHeaders(JPEG_HEADER_MAX_SIZE);
    oHeaders.resize(static_cast<size_t>(MakeHeaders(oHeaders.data(), iType, 1920, 1088, aucLuma, aucChroma, usDri)));
    return oHeaders;
}

/** The segments behind SOI by their lengths, each with its marker ahead; empty if they do not fill the headers. */
std::vector<Bytes> Split(const Bytes &oHeaders) {
    std::vector<Bytes> oSegments;
    for (size_t i = 2; i + 4 <= oHeaders.size() && oHeaders[i] == 0xFF;) {
        size_t ulEnd = i + 2 + static_cast<size_t>(oHeaders[i + 2] << 8 | oHeaders[i + 3]);
        if (ulEnd > oHeaders.size()) {
            break;
        }
        oSegments.push_back({oHeaders[i + 1]});
        oSegments.back().insert(oSegments.back().end(), &oHeaders[i + 4], oHeaders.data() + ulEnd);
        i = ulEnd;
        if (i == oHeaders.size()) {
            return oSegments;
        }
    }
    return {};
}

TEST(JpegHeader, SegmentsInOrder) {
    for (USHORT usDri : {0, 7}) {
        Bytes oMarkers;
        for (const Bytes &oSegment : Split(Headers(0, usDri))) {
            oMarkers.push_back(oSegment[0]);
        }
        EXPECT_EQ(oMarkers, usDri == 0 ? (Bytes{0xE0, 0xDB, 0xDB, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA})
                                       : (Bytes{0xE0, 0xDB, 0xDB, 0xDD, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA}));
    }
    EXPECT_EQ(Headers(0, 7).size(), JPEG_HEADER_MAX_SIZE);
    std::vector<Bytes> oSegments = Split(Headers(1, 0x1234));
    EXPECT_EQ(oSegments[0], (Bytes{0xE0, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0}));
    EXPECT_EQ(oSegments[2][1], 1);
    EXPECT_EQ(oSegments[2][65], 0x22);
    EXPECT_EQ(oSegments[3], (Bytes{0xDD, 0x12, 0x34}));
    EXPECT_EQ(oSegments[4], (Bytes{0xC0, 8, 0x04, 0x40, 0x07, 0x80, 3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1}));
    EXPECT_EQ(oSegments[9], (Bytes{0xDA, 3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0}));
    oSegments = Split(Headers(0, 0));
    EXPECT_EQ(oSegments[3][8], 0x21);
    for (size_t i = 0; i < 4; ++i) {  // whole Huffman tables: as many symbols as codes, none twice
        const Bytes &oTable = oSegments[4 + i];
        EXPECT_EQ(oTable[1], (Bytes{0x00, 0x10, 0x01, 0x11})[i]);
        size_t ulCodes = 0;
        for (size_t j = 2; j < 18; ++j) {
            ulCodes += oTable[j];
        }
        EXPECT_EQ(std::set<UCHAR>(oTable.begin() + 18, oTable.end()).size(), ulCodes);
        EXPECT_EQ(oTable.size(), 18 + ulCodes);
    }
}

TEST(JpegHeader, TablesByQuality) {
    auto Tables = [](int iQ) {
        Bytes oTables(128);
        MakeTables(iQ, oTables.data(), oTables.data() + 64);
        return oTables;
    };
    EXPECT_EQ(Tables(0), Tables(1));
    EXPECT_EQ(Tables(1)[0], 255);
    EXPECT_EQ(Tables(99), Tables(1000));
    EXPECT_EQ(Tables(99)[0], 1) << "never 0";
    const Bytes oMiddle = Tables(50);
    EXPECT_EQ(Bytes(oMiddle.begin(), oMiddle.begin() + 8), (Bytes{16, 11, 12, 14, 12, 10, 16, 14}));
    EXPECT_EQ(Bytes(oMiddle.begin() + 64, oMiddle.begin() + 72), (Bytes{17, 18, 18, 24, 21, 24, 47, 26}));
    EXPECT_EQ(oMiddle[63], 99);
}

}  // namespace
