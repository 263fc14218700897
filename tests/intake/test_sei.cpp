#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "intake/module_sei.h"

namespace {

std::string Bytes(std::initializer_list<int> aBytes) {
    std::string strBytes;
    for (int lByte : aBytes) {
        strBytes += static_cast<CHAR>(lByte);
    }
    return strBytes;
}

std::string Coded(size_t ulSize) { return std::string(ulSize / 255, '\xFF') + static_cast<CHAR>(ulSize % 255); }

const std::string CODE = Bytes({0, 0, 0, 1});
const std::string H264_SLICE = CODE + Bytes({0x65, 1, 2, 3, 4, 5, 6});
const std::string H265_SLICE = CODE + Bytes({0x26, 1, 2, 3, 4, 5, 6});

/** An SEI unit with a message of the size of its payload. */
std::string H264Sei(int lType, const std::string &strPayload) {
    return CODE + Bytes({6, lType}) + Coded(strPayload.size()) + strPayload + '\x80';
}
std::string H265Sei(int lType, const std::string &strPayload) {
    return CODE + Bytes({0x4E, 1, lType}) + Coded(strPayload.size()) + strPayload + '\x80';
}

class Sei : public testing::Test {
 protected:
    ~Sei() override { Sei_InfoClear(&m_st); }
    ULONG_32 Parse(LONG_32 lPayload, const std::string &strFrame) {
        std::vector<UCHAR> aucFrame(strFrame.begin(), strFrame.end());
        aucFrame.shrink_to_fit();
        return Sei_Parse(lPayload, aucFrame.data(), static_cast<LONG_32>(aucFrame.size()), &m_st);
    }
    ULONG_32 Parse264(const std::string &strFrame) { return Parse(PLAYER_PAYLOAD_H264, strFrame); }
    ULONG_32 Parse265(const std::string &strFrame) { return Parse(PLAYER_PAYLOAD_H265, strFrame); }
    ULONG_32 Subtyped(int lSubtype, const std::string &strData) {
        return Parse264(H264Sei(5, static_cast<CHAR>(lSubtype) + strData) + H264_SLICE);
    }
    SEI_INFO_S m_st = {};
};

TEST_F(Sei, MessagesAheadOfTheFirstSliceAreFound) {
    const std::string strSps = CODE + Bytes({0x67, 1, 2, 3}) + CODE + Bytes({0x68, 4, 5});
    const SEI_UCODE_HEAD_INFO_S &stHead = m_st.stUcodeInfo.stUcodeHeadInfo;
    EXPECT_EQ(0U, Parse264(strSps + H264Sei(33, "\x52") + H264_SLICE));
    EXPECT_EQ(1U, m_st.ulSeiType);
    EXPECT_EQ(2, stHead.ucBitCodeType);
    EXPECT_EQ(1, stHead.ucBitRender);
    EXPECT_EQ(2, stHead.ucBitStoreReference);
    EXPECT_EQ(1, m_st.stUcodeInfo.lSeiDataLen);
    EXPECT_EQ(0U, Parse264(strSps + H264_SLICE + H264Sei(33, "\x52")));
    EXPECT_EQ(0U, m_st.ulSeiType) << "behind the first slice";
    EXPECT_EQ(1, stHead.ucBitRender) << "values stay until they are overwritten";
    EXPECT_EQ(0U, Parse265(CODE + Bytes({0x40, 1, 9}) + H265Sei(230, "\x41") + H265_SLICE + H265Sei(231, "x")));
    EXPECT_EQ(1U, m_st.ulSeiType);
    EXPECT_EQ(0, stHead.ucBitRender);
}

TEST_F(Sei, FisheyeAndWatermark) {
    EXPECT_EQ(0U, Parse264(H264Sei(34, Bytes({1, 2, 3, 4, 5, 6})) +
                           H264Sei(26, std::string(16, 'w') + std::string(16, 'c')) + H264_SLICE));
    EXPECT_EQ(8U + 4U, m_st.ulSeiType);
    EXPECT_EQ(0x0102, m_st.stFisheyeInfo.usX);
    EXPECT_EQ(0x0304, m_st.stFisheyeInfo.usY);
    EXPECT_EQ(0x0506U, m_st.stFisheyeInfo.ulRadius);
    EXPECT_EQ(std::string(16, 'w'), std::string(m_st.stWatermarkInfo.szWatermarkValue, 16));
    EXPECT_EQ(std::string(16, 'c'), std::string(m_st.stWatermarkInfo.szCheckValue, 16));
    EXPECT_EQ(2U, Parse264(H264Sei(26, std::string(31, 'w')) + H264_SLICE)) << "too short";
    EXPECT_EQ(4U, m_st.ulSeiType) << "the bit is set before parsing";
}

TEST_F(Sei, EmulationPreventionIsRemoved) {
    // The size counts the removed byte, or doesn't.
    const std::string strRaw = Bytes({0, 0, 3, 1, 0x11, 0x22, 0x33});
    for (size_t ulSize : {7, 6}) {
        m_st.stFisheyeInfo = {};
        EXPECT_EQ(0U, Parse265(CODE + Bytes({0x4E, 1, 231}) + Coded(ulSize) + strRaw + '\x80' + H265_SLICE));
        EXPECT_EQ(0, m_st.stFisheyeInfo.usX);
        EXPECT_EQ(0x0111, m_st.stFisheyeInfo.usY);
        EXPECT_EQ(0x2233U, m_st.stFisheyeInfo.ulRadius);
    }
    std::string strStream = Bytes({0, 0, 3, 0, 0, 3, 1, 0, 0, 0, 3, 3, 0, 0});
    std::string strClean(strStream.size(), 0);
    LONG_32 lLen = static_cast<LONG_32>(strStream.size());
    EXPECT_EQ(0U, Sei_DelCompeteCode(reinterpret_cast<UCHAR *>(strStream.data()),
                                     reinterpret_cast<UCHAR *>(strClean.data()), &lLen));
    EXPECT_EQ(Bytes({0, 0, 0, 0, 1, 0, 0, 0, 3, 0, 0}), strClean.substr(0, static_cast<size_t>(lLen)));
}

TEST_F(Sei, SizeCoding) {
    const struct {
        std::string strCode;
        size_t ulBuffer;  // filled up with 0xFF
        LONG_32 lLen;     // 0: refused
    } astRows[] = {{Bytes({0xFF, 0}), 300, 255},
                   {Bytes({0xFF, 5}), 261, 260},
                   {Bytes({0xFF, 5}), 260, 0},
                   {Bytes({0}), 10, 0},
                   {"", 10, 0},
                   {"", 0, 0}};  // the last ones never end
    for (const auto &stRow : astRows) {
        std::vector<UCHAR> aucBuffer(stRow.strCode.begin(), stRow.strCode.end());
        aucBuffer.resize(stRow.ulBuffer, 0xFF);
        LONG_32 lLen = -1;
        LONG_32 lOffset = 0;
        EXPECT_EQ(stRow.lLen != 0 ? 0U : 2U,
                  Sei_MathSeiLen(aucBuffer.data(), static_cast<LONG_32>(stRow.ulBuffer), &lLen, &lOffset));
        EXPECT_TRUE(stRow.lLen == 0 || (stRow.lLen == lLen && lOffset == 2)) << lLen;
    }
}

TEST_F(Sei, ScrambleNumbers) {
    EXPECT_EQ(0U, Subtyped(20, Bytes({3, 0, 0x12, 0x34, 0x56, 0x78})));
    EXPECT_EQ(0x100U, m_st.ulSeiType);
    EXPECT_EQ(0x12345678U, m_st.stScramble.ulRand);
    EXPECT_EQ(2U, Subtyped(20, Bytes({3, 1, 9, 9, 9, 9}))) << "another version";
    EXPECT_EQ(0U, m_st.ulSeiType);
    EXPECT_EQ(0x12345678U, m_st.stScramble.ulRand);
    EXPECT_EQ(2U, Subtyped(20, Bytes({3, 0, 9, 9, 9}))) << "cut";

    EXPECT_EQ(0U, Subtyped(36, std::string(130, 'k')));
    EXPECT_EQ(128U, m_st.ulSeiType);
    EXPECT_EQ(std::string(130, 'k'), std::string(m_st.stScramble.szKeyMRsa, m_st.stScramble.lKeyMRsaLen));
    EXPECT_EQ(2U, Subtyped(36, std::string(131, 'k')));
    EXPECT_EQ(0U, m_st.ulSeiType);

    EXPECT_EQ(0U, Subtyped(37, std::string(62, 'f')));
    EXPECT_EQ(0x200U, m_st.ulSeiType);
    EXPECT_EQ(62, m_st.stScramble.lFileKeyMLen);
    EXPECT_EQ(2U, Parse265(H265Sei(5, '\x25' + std::string(63, 'f')) + H265_SLICE));
}

TEST_F(Sei, SubtypedMessageNeedsItsTrailingBits) {
    std::string strFrame = H264Sei(5, Bytes({25, 1, 2}));
    EXPECT_EQ(0U, Parse264(strFrame));
    EXPECT_EQ(16U, m_st.ulSeiType);
    EXPECT_EQ(0x0102, m_st.stVoiceLocationInfo.usSoundDir);
    EXPECT_EQ(2, m_st.stVoiceLocationInfo.lSeiDataLen);
    strFrame.back() = 0x40;
    EXPECT_EQ(2U, Parse264(strFrame));
    strFrame.pop_back();
    EXPECT_EQ(2U, Parse264(strFrame));
}

TEST_F(Sei, UnknownTypesAreToldOnceInAHundred) {
    for (int i = 1; i <= 201; ++i) {
        EXPECT_EQ(i % 100 == 1 ? 2U : 0U, Parse265(H265Sei(25, "debug") + H265_SLICE)) << i;
    }
    EXPECT_EQ(201U, m_st.ulErrCount);
    m_st.ulErrCount = 0;
    EXPECT_EQ(2U, Parse264(H264Sei(0, "timing") + H264_SLICE)) << "type 0 is none of ours either";
    m_st.ulErrCount = 100;
    EXPECT_EQ(2U, Subtyped(0xDC, "an encoder's own text"));
    m_st.ulErrCount = 0;
    EXPECT_EQ(2U, Parse264(CODE + Bytes({6, 33, 0, 1, 0x80}) + H264_SLICE));
}

TEST_F(Sei, DebuggingDataAreKeptAndTheirUnitsMeasured) {
    const std::string strDebug = Bytes({0, 0, 3, 1}) + std::string(3000, 'd');
    const std::string strLead = H264Sei(33, Bytes({0x10})) + H264Sei(25, strDebug);
    EXPECT_EQ(0U, Parse264(strLead + H264_SLICE));
    EXPECT_EQ(3U, m_st.ulSeiType);
    EXPECT_EQ(strDebug, std::string(reinterpret_cast<CHAR *>(m_st.stDbugInfo.pucDbugBuffer),
                                    static_cast<size_t>(m_st.stDbugInfo.lSeiDataLen)))
        << "as it stands in the stream";
    EXPECT_EQ(3004 + 1000, m_st.stDbugInfo.lBufferMaxLen);
    EXPECT_EQ(strLead.size(), m_st.ulSeiTotalLen);
    EXPECT_EQ(0U, Parse264(H264Sei(33, Bytes({0x10})) + H264_SLICE));
    EXPECT_EQ(0U, m_st.ulSeiTotalLen) << "no debugging data";
    EXPECT_EQ(4004, m_st.stDbugInfo.lBufferMaxLen) << "the buffer stays";
}

TEST_F(Sei, AnalyticsResultAndRulesOfOneFrame) {
    const std::string strHead = Bytes({0, 0, 3, 0, 7, 0, 0, 3, 0, 1, 0, 1, 0, 200});  // with emulation prevention
    std::string strTarget(36, 'a');
    memcpy(&strTarget[28], "\0\0\0\2", 4);
    const std::string strResult = '\x20' + strHead + strTarget.substr(0, 28) + Bytes({0, 0, 3, 0, 2}) + "aaaa" + "mm";
    const std::string strRules = '\x21' + strHead + std::string(108, 'r');
    for (bool bResultFirst : {true, false}) {
        Sei_InfoClear(&m_st);
        const std::string strBoth =
            bResultFirst ? H265Sei(5, strResult) + H265Sei(5, strRules) : H265Sei(5, strRules) + H265Sei(5, strResult);
        EXPECT_EQ(0U, Parse265(strBoth + H265_SLICE));
        EXPECT_EQ(32U + 64U, m_st.ulSeiType);
        const IVA_INFO_S &stIva = m_st.stSeiIvaInfo.stIvaInfo;
        EXPECT_EQ(2U, stIva.ulMetaDataVersion);
        EXPECT_EQ(1, stIva.stMetaV2.bHaveResult);
        EXPECT_EQ(1, stIva.stMetaV2.bHaveRule);
        EXPECT_EQ(7U, stIva.stMetaV2.stResultHead.ulChannel);
        EXPECT_EQ(200, stIva.stMetaV2.stRuleHead.usDisplayHoldTime);
        EXPECT_EQ(2U, stIva.stMetaV2.ulIVAResultAttLen);
    }
}

}  // namespace
