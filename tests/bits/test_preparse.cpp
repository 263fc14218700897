#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "bits/dsp_mcfw_preparse.h"
#include "support/made_bytes.h"

namespace {

using namespace std::string_literals;
using Bytes = std::vector<UCHAR>;

const std::string kStart = "\0\0\0\1"s;
const std::string kIdr = kStart + "\x65\x88\x84";

/** Parameter sets of real encoders, from their hexadecimal dump. */
std::string Hex(const char *pcHex) {
    std::string oBytes;
    for (size_t i = 0; i + 1 < strlen(pcHex); i += 2) {
        oBytes.push_back(static_cast<char>(std::stoi(std::string(pcHex + i, 2), nullptr, 16)));
    }
    return oBytes;
}

H264_BitStreamInfo_S Preparse(const std::string &oFrame) {
    Bytes oExact(oFrame.begin(), oFrame.end());
    H264_BitStreamInfo_S stInfo;
    memset(&stInfo, 0xA5, sizeof(stInfo));
    EXPECT_EQ(DSP_H264_PreParse(oExact.data(), static_cast<int>(oExact.size()), &stInfo), 0);
    return stInfo;
}

/** Writes an SPS of the baseline profile, without its header byte. */
class SpsWriter : public BitWriter {
 public:
    SpsWriter() { Bits(66, 8).Bits(0, 8).Bits(30, 8).Ue(0).Ue(0); }
    /** Ways of picture order, and the fields that go with them. */
    SpsWriter &Order(ULONG_32 ulType, ULONG_32 ulOffsets = 0) {
        Ue(ulType);
        if (ulType == 1) {
            Bits(1, 1).Ue(0).Ue(0).Ue(ulOffsets);
        }
        for (ULONG_32 i = 0; i < ulOffsets; ++i) {
            Ue(2);
        }
        return *this;
    }
    /** So many reference frames, size in macroblocks (of a frame or a field), no cropping. */
    SpsWriter &Size(ULONG_32 ulRefs, ULONG_32 ulWidth, ULONG_32 ulHeight, bool bFrames) {
        Ue(ulRefs).Bits(0, 1).Ue(ulWidth - 1).Ue(ulHeight - 1).Bits(bFrames, 1).Bits(0, bFrames ? 2 : 3);
        return *this;
    }
    SpsWriter &Timing(ULONG_32 ulUnits, ULONG_32 ulScale) {
        Bits(1, 1).Bits(0, 4).Bits(1, 1).Bits(ulUnits, 32).Bits(ulScale, 32);
        return *this;
    }
    H264_BitStreamInfo_S Parse(int iResult = 0) {
        Bits(1, 8);
        Bytes oExact(oBytes.begin(), oBytes.end());
        H264_BitStreamInfo_S stInfo{};
        EXPECT_EQ(Fw_H264_parseSPS(oExact.data(), static_cast<int>(oExact.size()), &stInfo), iResult);
        return stInfo;
    }
};

TEST(PreparseH264, ParameterSetsOfRealEncoders) {
    const std::string oGood = kStart + Hex("6742c00cda05825b0110000003001000000301e0f142aa");
    const struct {
        std::string oFrame;
        std::vector<unsigned> oTold;  // type, has an SPS, width, height, rate, crop at the right and at the bottom
    } astRows[] = {
        {kStart + Hex("6742c028da01e0089f97011000000300100000030320f1832a") + kIdr, {0, 1, 1920, 1088, 25, 0, 4}},
        {kStart + Hex("674d4028f403c0227ef01100000303e90000ea601f162ea0") + kIdr, {0, 1, 1920, 1088, 29, 0, 2}},
        {kStart + Hex("67640020acd9805005bb0110000003001000000780f18319a0") + kIdr, {0, 1, 1280, 720, 60, 0, 0}},
        {kStart + Hex("6742c016da0280bfa9b011000003000100000300180f162ea0") + kIdr, {0, 1, 640, 368, 12, 1, 5}},
        {kStart + Hex("6742c033da00f0010fb011000003000100000300320f1832a0") + kIdr, {0, 1, 3840, 2160, 25, 0, 0}},
        {kStart + "\x41\x9A\x02\x03", {255, 0, 0, 0, 0, 0, 0}},
        {kIdr, {0, 0, 0, 0, 0, 0, 0}},
        {kStart + "\x67\x42" + kIdr, {0, 1, 0, 0, 0, 0, 0}},  // it ends before the size
        {kStart + "\x67\x42\xC0\x0C\xB0" + std::string(220, '\0') + oGood, {0, 1, 352, 288, 15, 0, 0}},
    };
    for (const auto &stRow : astRows) {
        H264_BitStreamInfo_S stInfo = Preparse(stRow.oFrame);
        if (stInfo.usWidth == 0) {  // without a size the crop is not told
            stInfo.uiCropRight = stInfo.uiCropBottom = stInfo.iCrop = 0;
        }
        EXPECT_EQ((std::vector<unsigned>{stInfo.uiFrameType, static_cast<unsigned>(stInfo.bSPSFrame), stInfo.usWidth,
                                         stInfo.usHeight, stInfo.usFrameRate, stInfo.uiCropRight, stInfo.uiCropBottom}),
                  stRow.oTold)
            << stRow.oFrame.size();
        EXPECT_EQ(stInfo.iCrop != 0, stRow.oTold[6] != 0);
    }
}

TEST(PreparseH264, LimitsOfTheFields) {
    const struct {
        ULONG_32 ulOrder, ulOffsets, ulRefs, ulWidth, ulHeight;
        bool bFrames;
        int iWidth, iHeight;  // 0 where the parser stops
    } astRows[] = {{1, 255, 1, 20, 15, true, 320, 240},     {1, 256, 1, 20, 15, true, 0, 0},
                   {3, 0, 1, 20, 15, true, 0, 0},           {2, 0, 16, 20, 15, true, 320, 240},
                   {2, 0, 17, 20, 15, true, 0, 0},          {2, 0, 32, 20, 15, false, 320, 480},
                   {2, 0, 33, 20, 15, false, 0, 0},         {2, 0, 1, 252, 1, true, 4016, 16},
                   {2, 0, 1, 0x7FFFFFFF, 1, true, 4016, 16}};
    for (const auto &stRow : astRows) {
        SCOPED_TRACE(&stRow - astRows);
        H264_BitStreamInfo_S stInfo = SpsWriter()
                                          .Order(stRow.ulOrder, stRow.ulOffsets)
                                          .Size(stRow.ulRefs, stRow.ulWidth, stRow.ulHeight, stRow.bFrames)
                                          .Parse(stRow.iWidth == 0 ? -1 : 0);
        EXPECT_EQ(stInfo.usWidth, stRow.iWidth);
        EXPECT_EQ(stInfo.usHeight, stRow.iHeight);
    }
}

TEST(PreparseH264, FrameRateIsAQuotientOfWholeNumbers) {
    auto Rate = [](ULONG_32 ulUnits, ULONG_32 ulScale) {
        return SpsWriter().Order(2).Size(1, 20, 15, true).Timing(ulUnits, ulScale).Parse().usFrameRate;
    };
    EXPECT_EQ(Rate(1001, 60000), 29);
    EXPECT_EQ(Rate(0, 50), 0);
    EXPECT_EQ(Rate(0x80000000, 0xFFFFFFFF), 0) << "twice the units does not fit in 32 bits";
    EXPECT_EQ(SpsWriter().Order(2).Size(1, 20, 15, true).Parse().usFrameRate, 0) << "no VUI";
}

TEST(PreparseH264, EmulationBytesAreTakenOutUpToTheNextSlice) {
    std::string oBytes = "ab\0\0\3\1c\0\0\3\0\0\3\4\0\0\1\x41\0\0\3\1"s;
    int iStart = 0;
    int iLen = Fw_H264_ClrPCode(reinterpret_cast<UCHAR *>(oBytes.data()), static_cast<int>(oBytes.size()), &iStart);
    EXPECT_EQ(iStart, 2);
    EXPECT_EQ(oBytes.substr(static_cast<size_t>(iStart), static_cast<size_t>(iLen)),
              "ab\0\0\1c\0\0\0\0\3\4\0\0\1\x41\0\0\3\1"s)
        << "4 needs no emulation byte, and the slice is left alone";
}

struct H265Result {
    BOOL_T bRead;
    DSP_SPS_INFO_S stInfo;
};

H265Result ReadH265(const std::string &oFrame) {
    Bytes oExact(oFrame.begin(), oFrame.end());
    H265Result stResult;
    memset(&stResult, 0xA5, sizeof(stResult));
    stResult.bRead = ParseSequenceParameterSet(oExact.data(), static_cast<ULONG_32>(oExact.size()), &stResult.stInfo);
    return stResult;
}

const std::string kVps1080 = kStart + Hex("40010c01ffff016000000300900000030000030078959409");
const std::string kSps1080 =
    kStart + Hex("420101016000000300900000030000030078a003c0801107cb965654a4c2f0168080000003008000000c84");
const std::string kSps720 =
    kStart + Hex("42010101600000030090000003000003005da00280802d165999a4932bc05a0200000300020000"
                 "03003210");
const std::string kVps720 = kStart + Hex("40010c01ffff01600000030090000003000003005d999809");
const std::string kSlice265 = kStart + "\x26\1\xAF";

TEST(PreparseH265, ParameterSetsOfRealEncoders) {
    const struct {
        std::string oFrame;
        LONG_32 lWidth, lHeight;  // 0 where no picture size is found
        ULONG_32 ulRefs;
    } astRows[] = {
        {kVps1080 + kSps1080 + kSlice265, 1920, 1088, 4},  // the coded size
        {kVps720 + kSps720, 1280, 720, 5},
        {kSps720, 1280, 720, 1},  // without a VPS
        {kSlice265 + kVps1080 + kSps1080, 0, 0, 0},
        {kStart + "\x02\1\xD0" + kVps1080 + kSps1080, 0, 0, 0},
        {kVps1080 + kSlice265 + kSps1080, 0, 0, 0},
        {kVps1080, 0, 0, 0},
        {kSps720.substr(0, 19), 0, 0, 0},
    };
    for (const auto &stRow : astRows) {
        SCOPED_TRACE(&stRow - astRows);
        H265Result stResult = ReadH265(stRow.oFrame);
        ASSERT_EQ(stResult.bRead, stRow.lWidth != 0 ? 1 : 0);
        if (stResult.bRead == 1) {
            EXPECT_EQ(stResult.stInfo.lWidth, stRow.lWidth);
            EXPECT_EQ(stResult.stInfo.lHeight, stRow.lHeight);
            EXPECT_EQ(stResult.stInfo.ulMaxRefPicNum, stRow.ulRefs);
        }
    }
    EXPECT_EQ(ReadH265(kSps1080).stInfo.ulLevel, 120u);
}

/** profile_tier_level() without long runs of zeros. */
void PutProfile(BitWriter *poBits, int iProfile) {
    poBits->Bits(static_cast<DULONG>(iProfile), 8).Bits(0xFFFFFFFF, 32).Bits(0xFFFFFFFFFFFF, 48);
}

std::string SpsH265(ULONG_32 ulId, ULONG_32 ulLumaDepth, ULONG_32 ulChromaDepth) {
    BitWriter oBits;
    oBits.Bits(0x4201, 16).Bits(1, 8);
    PutProfile(&oBits, 2);
    oBits.Bits(93, 8).Ue(ulId).Ue(1).Ue(640).Ue(480).Bits(1, 1).Ue(0).Ue(8).Ue(1).Ue(2);  // conformance window
    oBits.Ue(ulLumaDepth).Ue(ulChromaDepth).Bits(1, 1);
    return kStart + oBits.oBytes;
}

/** Three sub-layers, the first with a profile, the second with a level; ordering for each; two layer sets; timing. */
std::string VpsH265(ULONG_32 ulUnits, ULONG_32 ulScale) {
    BitWriter oBits;
    oBits.Bits(0x4001, 16).Bits(0x0C, 8).Bits(2 << 1 | 1, 8).Bits(0xFFFF, 16);
    PutProfile(&oBits, 2);
    oBits.Bits(93, 8).Bits(0b1001, 4).Bits(0, 12);
    PutProfile(&oBits, 2);
    oBits.Bits(60, 8).Bits(1, 1);
    for (ULONG_32 ulBuffers : {3U, 6U, 4U}) {
        oBits.Ue(ulBuffers).Ue(1).Ue(0);
    }
    oBits.Bits(1, 6).Ue(1).Bits(3, 2).Bits(1, 1).Bits(ulUnits, 32).Bits(ulScale, 32).Bits(1, 1);
    return kStart + oBits.oBytes;
}

TEST(PreparseH265, TimingReferencesAndRefusedValues) {
    H265Result stResult = ReadH265(VpsH265(0x010203E9, 0x0101EA60) + SpsH265(3, 2, 2));
    EXPECT_EQ(stResult.bRead, 1);
    EXPECT_EQ(stResult.stInfo.lWidth, 640) << "the window is not applied";
    EXPECT_EQ(stResult.stInfo.ulMaxRefPicNum, 6u) << "the greatest";
    EXPECT_EQ(stResult.stInfo.ulNumUnits, 0x010203E9u);
    EXPECT_EQ(stResult.stInfo.ulTimeScale, 0x0101EA60u);
    EXPECT_EQ(ReadH265(SpsH265(4, 0, 0)).bRead, 0) << "ids above 3 are not taken";
    EXPECT_EQ(ReadH265(SpsH265(16, 0, 0)).bRead, 0);
    EXPECT_EQ(ReadH265(SpsH265(0, 2, 0)).bRead, 0) << "depths differ";
}

/** A VPS that says to have 2^32 layer sets of two layers, and ends right behind that number. */
TEST(PreparseH265, MadeUpCountsEndWithTheData) {
    std::string oVps =
        kStart + "\x40\1\x0C\1\xFF\xFF" + std::string(11, '\1') + "\x78" + "\xF0\x40\0\0\0\x7F\xFF\xFF\xFF\xFF"s;
    EXPECT_EQ(ReadH265(oVps).bRead, 0);
    EXPECT_EQ(ReadH265(kStart + "\x42\1" + std::string(5000, '\0')).stInfo.lWidth, 0);
}

TEST(PreparseH265, LongestCodes) {
    std::string oZeros = std::string(4, '\0') + "\xFF\xFF\xFF\xFF\xFF";
    for (const auto &[ulLen, ulValue] : {std::pair{9U, 0xFFFFFFFEU}, {4U, 0xFFFFFFFFU}}) {  // 2^32 is 0; only zeros
        DSP_SPS_INFO_S stInfo{};
        stInfo.pucSpsData = reinterpret_cast<UCHAR *>(oZeros.data());
        stInfo.ulDataLen = ulLen;
        EXPECT_EQ(GetUE(&stInfo), ulValue);
    }
}

TEST(PreparseH265, BehindTheEndOfTheDataStandZeros) {
    for (const auto &[lBits, ulValue] : {std::pair{16, 0xAB00U}, {12, 0xAB0U}, {39, 0x80000000U}, {40, 0U}}) {
        UCHAR ucByte = 0xAB;
        DSP_SPS_INFO_S stInfo{};
        stInfo.pucSpsData = &ucByte;
        stInfo.ulDataLen = 1;
        EXPECT_EQ(GetWord(&stInfo, lBits), ulValue) << lBits;
    }
}

}  // namespace
