#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "analytics/iva_records.h"
#include "analytics/module_iva.h"
#include "support/log_lines.h"
#include "support/analytics_bytes.h"

namespace {

using support::DataFrame;
using support::HeadV2;
using support::Rule;
using support::Target;
using support::Word;

Rule Area(ULONG_32 ulId) {
    Rule oRule = {.id = ulId, .triggered = 1, .type = IVA_REPORT_RULE_POLY, .trig = IVA_REPORT_TRIG_OUT};
    for (ULONG_32 i = 0; i < IVA_COORD_NUM_V2; ++i) {
        oRule.corners.emplace_back(100 + i, 200 + i);
    }
    return oRule;
}

std::string RuleV2(ULONG_32 ulId) { return Area(ulId).Bytes(); }
std::string TargetOf(ULONG_32 ulId, const std::string &strAttach) {
    return Target{.id = ulId, .trigRule = 2, .attachment = strAttach}.Bytes();
}

class Iva : public testing::Test {
 protected:
    void SetUp() override {
        m_st.bDRVEnable = 1;
        m_st.stMetaV1.lIVAResultBufMaxLen = IVA_BUFFER_START_LEN;
        m_st.stMetaV2.ulIVARuleBufMaxLen = m_st.stMetaV2.ulIVAResultBufMaxLen = IVA_BUFFER_START_LEN;
    }
    ~Iva() override { IVA_FreeBuffers(&m_st); }
    ULONG_32 Data(const std::string &strFrame) {
        return DataParse(&m_st, Exact(strFrame), static_cast<LONG_32>(strFrame.size()));
    }
    ULONG_32 Sei(ULONG_32 ulType, const std::string &strBody) {
        m_st.ulMetaDataVersion = 2;
        return IvaV2Parse(ulType, &m_st.stMetaV2, Exact(strBody), static_cast<ULONG_32>(strBody.size()));
    }
    /** How many pictures in a row carry what pbHave of their copy tells. */
    template <class META>
    int Shown(LONG_32 lFrameRate, META IVA_INFO_S::*pstMeta, BOOL_T META::*pbHave) {
        for (int i = 0; i < 1000; ++i) {
            HANDLE hCopy = DataCopy(lFrameRate, &m_st);
            const bool bHave = hCopy != nullptr && static_cast<IVA_INFO_S *>(hCopy)->*pstMeta.*pbHave == 1;
            FreeInfo(&hCopy);
            EXPECT_EQ(nullptr, hCopy);
            if (!bHave) {
                return i;
            }
        }
        return 1000;
    }
    /** The bytes in memory of exactly their size. */
    CHAR *Exact(const std::string &strBytes) {
        m_pcExact.reset(new CHAR[strBytes.size()]);
        memcpy(m_pcExact.get(), strBytes.data(), strBytes.size());
        return m_pcExact.get();
    }
    std::unique_ptr<CHAR[]> m_pcExact;
    IVA_INFO_S m_st = {};
    LogLines m_stLog;
};

TEST_F(Iva, OffNothingHappens) {
    const std::string strRule = DataFrame(1, std::string(1008, '\1'));
    m_st.bDRVEnable = 0;
    EXPECT_EQ(0U, Data(strRule));
    EXPECT_EQ(0, m_st.stMetaV1.bHaveRule);
    m_st.bDRVEnable = 1;
    EXPECT_EQ(0U, Data(strRule));
    EXPECT_EQ(1, m_st.stMetaV1.bHaveRule);
    EXPECT_EQ(nullptr, DataCopy(0, &m_st)) << "without a frame rate";
    ClearData(IVA_CLEAR_DATA_RULE, &m_st);
    EXPECT_EQ(0, m_st.stMetaV1.bHaveRule);
}

TEST_F(Iva, VersionOneRulesStandForSixtyOnePictures) {
    std::string strBody(1008, 0);
    strBody.replace(16, 16, Word(3) + Word(4) + Word(1) + Word(RULE_SUB_TYPE_FRAME_E));
    strBody.replace(16 + 52, 8, Word(RULE_FRAME_DIRECT_EXIT_E) + Word(14));
    EXPECT_EQ(0U, Data(DataFrame(1, strBody)));
    const IVA_REPORT_RULE_INFO_S &stRule = m_st.stMetaV1.stRuleConfig.astRule[0];
    EXPECT_EQ(4U, stRule.ulRuleId);
    EXPECT_EQ(RULE_SUB_TYPE_FRAME_E, stRule.enRuleType);
    EXPECT_EQ(RULE_FRAME_DIRECT_EXIT_E, stRule.enZoneDirect);
    EXPECT_EQ(14U, stRule.stRulePts.ulPointNum);
    EXPECT_EQ(61, Shown(25, &IVA_INFO_S::stMetaV1, &IVA_INFO_V1_S::bHaveRule));
}

TEST_F(Iva, VersionOneResultStandsForSixPictures) {
    std::string strHead;
    for (ULONG_32 i = 0; i < 9; ++i) {
        strHead += Word(i + 1);
    }
    EXPECT_EQ(0U, Data(DataFrame(0, strHead + Word(0x01020304) + "odd")));
    EXPECT_EQ(9U, m_st.stMetaV1.stResultHead.aulRuleNum[7]);
    EXPECT_EQ(7, m_st.stMetaV1.lIVAResultBufLen);
    ULONG_32 ulWord = 0;
    memcpy(&ulWord, m_st.stMetaV1.pcResultBuf, 4);
    EXPECT_EQ(0x01020304U, ulWord);
    EXPECT_EQ("odd", std::string(m_st.stMetaV1.pcResultBuf + 4, 3)) << "only whole words are turned";

    HANDLE hCopy = DataCopy(25, &m_st);
    ASSERT_NE(nullptr, hCopy);
    const IVA_INFO_S &stCopy = *static_cast<IVA_INFO_S *>(hCopy);
    EXPECT_EQ(1U, stCopy.ulMetaDataVersion);
    EXPECT_EQ(1, stCopy.bDRVEnable);
    EXPECT_EQ(0, stCopy.stMetaV1.lIVAResultBufLen);
    EXPECT_EQ(0, memcmp(stCopy.stMetaV1.pcResultBuf, m_st.stMetaV1.pcResultBuf, 7));
    FreeInfo(&hCopy);
    EXPECT_EQ(0U, Data(DataFrame(0, strHead))) << "a head alone";
    EXPECT_EQ(5, Shown(25, &IVA_INFO_S::stMetaV1, &IVA_INFO_V1_S::bHaveResult)) << "keeps the result before it";
}

TEST_F(Iva, LengthsThatDontAddUpDropTheFrame) {
    const std::string strGood = DataFrame(0, std::string(40, 0));
    std::vector<std::string> astBad = {"", "\1", "\1\1", strGood.substr(0, 42), strGood + "x", strGood + "x\1\1"};
    for (const auto &[lKind, ulLen] : {std::pair{0, 0U}, {0, 35U}, {1, 1007U}, {16, 11U}, {17, 0U}}) {
        astBad.push_back(DataFrame(lKind, std::string(ulLen, 0)));
    }
    astBad.push_back(std::string("\0\0\0x\0\1yz", 8));
    astBad.push_back(DataFrame(0, std::string(40, 0), 20).substr(0, 45));
    astBad.push_back(strGood + DataFrame(0, std::string(5, 0)) + "!");
    astBad.push_back(std::string(70000, '\1'));
    for (size_t i = 0; i < astBad.size(); ++i) {
        EXPECT_EQ(0U, Data(astBad[i])) << i;
        EXPECT_EQ(i + 1, LogLines::Errors("DataParse: IVADataLen Failed.")) << i;
    }
    EXPECT_EQ(
        0, m_st.stMetaV1.bHaveResult + m_st.stMetaV1.bHaveRule + m_st.stMetaV2.bHaveResult + m_st.stMetaV2.bHaveRule);
    EXPECT_EQ(0U, Data(DataFrame(99, "of no known kind")));
    std::string strMany(2000000, '\0');  // hundreds of thousands of empty segments must not take long
    strMany[2] = 1;
    EXPECT_EQ(0U, Data(strMany));
}

TEST_F(Iva, VersionTwoDataFramesKeepTheirShortsSwapped) {
    EXPECT_EQ(0U, Data(DataFrame(16, HeadV2(3, 200) + Word(0xAABBCCDD))));
    EXPECT_EQ(200, m_st.stMetaV2.stResultHead.usTargetNum);
    EXPECT_EQ(3, m_st.stMetaV2.stResultHead.usDisplayHoldTime);
    EXPECT_EQ(4U, m_st.stMetaV2.ulIVAResultBufLen);
    EXPECT_EQ(2U, m_st.ulMetaDataVersion);
    EXPECT_EQ(0U, Data(DataFrame(17, HeadV2(0, 65000) + std::string(5000, 'r'))));
    EXPECT_EQ(65000, m_st.stMetaV2.stRuleHead.usRuleNum);
    EXPECT_EQ(5000U, m_st.stMetaV2.ulIVARuleBufLen);
    EXPECT_EQ(5004U, m_st.stMetaV2.ulIVARuleBufMaxLen) << "grown from 2048";
    EXPECT_EQ(5, Shown(25, &IVA_INFO_S::stMetaV2, &IVA_INFO_V2_S::bHaveResult)) << "by the hold time, not the count";
}

TEST_F(Iva, BothRoadsReadAlike) {
    const std::string strTargets = TargetOf(1, "odd") + TargetOf(2, "a") + TargetOf(3, "xyz") + TargetOf(4, "");
    const std::string strRules = RuleV2(5) + RuleV2(6);
    for (bool bData : {false, true}) {
        ASSERT_EQ(0U, bData ? Data(DataFrame(16, HeadV2(4, 900) + strTargets)) : Sei(16, HeadV2(4, 900) + strTargets));
        ASSERT_EQ(0U, bData ? Data(DataFrame(17, HeadV2(2, 800) + strRules)) : Sei(17, HeadV2(2, 800) + strRules));
        const IVA_INFO_V2_S &stMeta = m_st.stMetaV2;
        EXPECT_EQ(4U, IvaRecords_TargetNum(stMeta));
        EXPECT_EQ(900U, IvaRecords_ResultHoldTime(stMeta));
        EXPECT_EQ(2U, IvaRecords_RuleNum(stMeta));
        EXPECT_EQ(800U, IvaRecords_RuleHoldTime(stMeta));
        DULONG dulAt = 0;
        IVA_REPORT_RESULT_INFO_V2_EX_S stTarget;
        for (ULONG_32 i = 1; i <= 4; ++i) {
            ASSERT_TRUE(IvaRecords_NextTarget(stMeta, &dulAt, &stTarget)) << i;
            EXPECT_EQ(i, stTarget.ulTargetID);
            EXPECT_EQ(10, stTarget.stStart.usX);
            EXPECT_EQ(40, stTarget.stEnd.usY);
            EXPECT_EQ(255U, stTarget.ulLineAlpha);
        }
        EXPECT_FALSE(IvaRecords_NextTarget(stMeta, &dulAt, &stTarget));
        IVA_REPORT_RULE_INFO_V2_S stRule;
        ASSERT_TRUE(IvaRecords_Rule(stMeta, 1, &stRule));
        EXPECT_EQ(6U, stRule.ulRuleID);
        EXPECT_EQ(115, stRule.astCoord[15].usX);
        EXPECT_EQ(215, stRule.astCoord[15].usY);
        EXPECT_EQ(16U, stRule.ulCoordNum);
        EXPECT_FALSE(IvaRecords_Rule(stMeta, 2, &stRule));
        EXPECT_FALSE(IvaRecords_Rule(stMeta, 0xFFFFFFFF, &stRule));
    }
}

TEST_F(Iva, WhatIsHandedOutFitsItsBuffer) {
    const std::string strLying = Target{.attachment = "12345678"}.Bytes().substr(0, 40);
    for (const std::string &strBad : {TargetOf(9, ""), strLying, std::string("x"), std::string()}) {
        ASSERT_EQ(0U, Sei(16, HeadV2(2, 60000) + TargetOf(1, "") + TargetOf(2, "a")));
        ASSERT_EQ(0U, Sei(17, HeadV2(1, 60000) + RuleV2(3)));
        Sei(16, HeadV2(100, 60000) + strBad);
        Sei(17, HeadV2(100, 60000) + RuleV2(1));
        HANDLE hCopy = DataCopy(25, &m_st);
        ASSERT_NE(nullptr, hCopy);
        EXPECT_EQ(2, static_cast<IVA_INFO_S *>(hCopy)->stMetaV2.stResultHead.usTargetNum) << "what stood before stays";
        EXPECT_EQ(1, static_cast<IVA_INFO_S *>(hCopy)->stMetaV2.stRuleHead.usRuleNum);
        FreeInfo(&hCopy);
        ASSERT_EQ(0U, Data(DataFrame(16, HeadV2(100, 60000) + strBad)));
        ASSERT_EQ(0U, Data(DataFrame(17, HeadV2(100, 60000) + RuleV2(1) + "x")));
        hCopy = DataCopy(25, &m_st);
        ASSERT_NE(nullptr, hCopy);
        const IVA_INFO_V2_S &stCopy = static_cast<IVA_INFO_S *>(hCopy)->stMetaV2;
        EXPECT_EQ(strBad.size() == 36 ? 1U : 0U, IvaRecords_TargetNum(stCopy));
        EXPECT_EQ(1U, IvaRecords_RuleNum(stCopy));
        FreeInfo(&hCopy);
    }
}

TEST_F(Iva, SeiResult) {
    const std::string strTargets = TargetOf(1, "odd") + TargetOf(2, "") + TargetOf(3, "text");
    EXPECT_EQ(0U, Sei(16, HeadV2(3, 200) + strTargets));
    const IVA_INFO_V2_S &stMeta = m_st.stMetaV2;
    EXPECT_EQ(1, stMeta.bHaveResult);
    EXPECT_EQ(3, stMeta.stResultHead.usTargetNum);
    EXPECT_EQ(200, stMeta.stResultHead.usDisplayHoldTime);
    EXPECT_EQ(7U, stMeta.ulIVAResultAttLen);
    IVA_REPORT_RESULT_INFO_V2_EX_S stTarget;
    memcpy(&stTarget, stMeta.pcResultBuf + 36 + 3, sizeof(stTarget));
    EXPECT_EQ(2U, stTarget.ulTargetID);
    EXPECT_EQ(20, stTarget.stStart.usY);
    EXPECT_EQ(30, stTarget.stEnd.usX);
    EXPECT_EQ(IVA_REPORT_COLOR_RED, stTarget.enLineColor);
    EXPECT_EQ(3U, stTarget.ulAttachType);
    EXPECT_EQ("text", std::string(stMeta.pcResultBuf + stMeta.ulIVAResultBufLen - 4, 4));
    EXPECT_EQ(5, Shown(25, &IVA_INFO_S::stMetaV2, &IVA_INFO_V2_S::bHaveResult)) << "40 x 6 exceeds 200";
    EXPECT_EQ(nullptr, DataCopy(25, &m_st));
}

TEST_F(Iva, SeiOfAWrongLengthIsNotShown) {
    EXPECT_EQ(0U, Sei(16, HeadV2(1, 200) + TargetOf(1, "") + "!"));
    EXPECT_EQ(0U, Sei(17, HeadV2(2, 200) + RuleV2(1)));
    EXPECT_EQ(2U, Sei(16, HeadV2(2, 200) + TargetOf(1, "")));
    std::string strHuge = TargetOf(1, "");
    strHuge.replace(28, 4, Word(0xFFFFFFFF));
    EXPECT_EQ(2U, Sei(16, HeadV2(2, 200) + strHuge));
    EXPECT_EQ(0U, Sei(16, HeadV2(65535, 200, 0)));
    EXPECT_EQ(0U, Sei(5, ""));
    for (size_t ulLen = 0; ulLen < 12; ++ulLen) {
        EXPECT_EQ(0U, Sei(16, HeadV2(0, 0).substr(0, ulLen)));
        EXPECT_EQ(0U, Sei(17, HeadV2(0, 0).substr(0, ulLen)));
    }
    EXPECT_EQ(0, m_st.stMetaV2.bHaveResult + m_st.stMetaV2.bHaveRule);
}

}  // namespace
