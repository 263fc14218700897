#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "intake/MakeJpegHeader.h"

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

struct Segment {
    UCHAR ucMarker;
    Bytes oBody;
};

/** Walks the segments behind SOI by their lengths; empty if they do not fill the headers exactly. */
std::vector<Segment> Split(const Bytes &oHeaders) {
    std::vector<Segment> oSegments;
    size_t i = 2;
    while (i + 4 <= oHeaders.size() && oHeaders[i] == 0xFF) {
        size_t ulLen = static_cast<size_t>(oHeaders[i + 2] << 8 | oHeaders[i + 3]);
        if (ulLen > oHeaders.size() - i - 2) {
            return {};
        }
        auto itBody = oHeaders.begin() + static_cast<long>(i);
        oSegments.push_back({oHeaders[i + 1], Bytes(itBody + 4, itBody + 2 + static_cast<long>(ulLen))});
        i += 2 + ulLen;
    }
    return i == oHeaders.size() ? oSegments : std::vector<Segment>{};
}

Bytes Markers(const Bytes &oHeaders) {
    Bytes oMarkers;
    for (const Segment &stSegment : Split(oHeaders)) {
        oMarkers.push_back(stSegment.ucMarker);
    }
    return oMarkers;
}

TEST(JpegHeader, SegmentsInOrder) {
    EXPECT_EQ(Markers(Headers(0, 0)), (Bytes{0xE0, 0xDB, 0xDB, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA}));
    EXPECT_EQ(Markers(Headers(0, 7)), (Bytes{0xE0, 0xDB, 0xDB, 0xDD, 0xC0, 0xC4, 0xC4, 0xC4, 0xC4, 0xDA}));
    EXPECT_EQ(Headers(0, 0).size(), 623u);
    EXPECT_EQ(Headers(0, 7).size(), JPEG_HEADER_MAX_SIZE);

    std::vector<Segment> oSegments = Split(Headers(1, 0x1234));
    EXPECT_EQ(oSegments[0].oBody, (Bytes{'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0}));
    EXPECT_EQ(oSegments[2].oBody[0], 1);
    EXPECT_EQ(oSegments[2].oBody[64], 0x22);
    EXPECT_EQ(oSegments[3].oBody, (Bytes{0x12, 0x34}));
    EXPECT_EQ(oSegments[4].oBody, (Bytes{8, 0x04, 0x40, 0x07, 0x80, 3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1}));
    EXPECT_EQ(Split(Headers(0, 0))[3].oBody[7], 0x21);
    EXPECT_EQ(oSegments.back().oBody, (Bytes{3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0}));
}

TEST(JpegHeader, HuffmanTablesAreWhole) {
    std::vector<Segment> oSegments = Split(Headers(0, 0));
    const UCHAR aucIds[] = {0x00, 0x10, 0x01, 0x11};
    for (size_t i = 0; i < 4; ++i) {
        const Bytes &oBody = oSegments[4 + i].oBody;
        EXPECT_EQ(oBody[0], aucIds[i]);
        size_t ulCodes = 0;
        for (size_t j = 1; j <= 16; ++j) {
            ulCodes += oBody[j];
        }
        EXPECT_EQ(oBody.size(), 17 + ulCodes);
        Bytes oSeen(256);
        for (size_t j = 17; j < oBody.size(); ++j) {
            EXPECT_EQ(oSeen[oBody[j]]++, 0) << "symbol twice";
        }
    }
}

TEST(JpegHeader, TablesByQuality) {
    Bytes oLow(128), oLowest(128), oHigh(128), oHighest(128), oMiddle(128);
    MakeTables(0, oLow.data(), oLow.data() + 64);
    MakeTables(1, oLowest.data(), oLowest.data() + 64);
    EXPECT_EQ(oLow, oLowest);
    EXPECT_EQ(oLow[0], 255);
    MakeTables(99, oHigh.data(), oHigh.data() + 64);
    MakeTables(1000, oHighest.data(), oHighest.data() + 64);
    EXPECT_EQ(oHigh, oHighest);
    EXPECT_EQ(oHigh[0], 1) << "never 0";
    MakeTables(50, oMiddle.data(), oMiddle.data() + 64);
    EXPECT_EQ(Bytes(oMiddle.begin(), oMiddle.begin() + 8), (Bytes{16, 11, 12, 14, 12, 10, 16, 14}));
    EXPECT_EQ(Bytes(oMiddle.begin() + 64, oMiddle.begin() + 72), (Bytes{17, 18, 18, 24, 21, 24, 47, 26}));
    EXPECT_EQ(oMiddle[63], 99);
}

}  // namespace
