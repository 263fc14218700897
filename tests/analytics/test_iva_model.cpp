// The parsers of analytics beside a literal model of what they are to do, on random and damaged records.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "analytics/module_iva.h"
#include "foundations/com_log.h"
#include "support/analytics_bytes.h"

namespace {

ULONG_32 Number(const std::string &strBytes, size_t ulAt, size_t ulLen) {
    ULONG_32 ulValue = 0;
    for (size_t i = 0; i < ulLen; ++i) {
        ulValue = ulValue << 8 | static_cast<UCHAR>(strBytes[ulAt + i]);
    }
    return ulValue;
}

/** Every whole word turned round. */
std::string Turned(std::string strBytes) {
    for (size_t i = 0; i + 4 <= strBytes.size(); i += 4) {
        std::swap(strBytes[i], strBytes[i + 3]);
        std::swap(strBytes[i + 1], strBytes[i + 2]);
    }
    return strBytes;
}

/** Each 16-bit field of a range turned round. */
void TurnHalves(std::string *pstrBytes, size_t ulAt, size_t ulLen) {
    for (size_t i = ulAt; i < ulAt + ulLen; i += 2) {
        std::swap((*pstrBytes)[i], (*pstrBytes)[i + 1]);
    }
}

struct Record {
    std::string strHead, strBody;
    int iUses = 0;
    ULONG_32 ulHold = 0;
    bool operator==(const Record &) const = default;
};

struct Model {
    ULONG_32 ulVersion = 0;
    std::optional<Record> v1Rule, v1Result, v2Rule, v2Result;

    void Data(std::string strFrame) {
        if (strFrame.size() < 3) {
            return;
        }
        ULONG_32 ulSum = Number(strFrame, 1, 2);
        while (ulSum < ((strFrame.size() - 3) & 0xFFFF)) {
            if (ulSum < 1 || ulSum + 6 >= strFrame.size()) {
                return;
            }
            const ULONG_32 ulNext = Number(strFrame, ulSum + 4, 2);
            strFrame.erase(ulSum + 3, 3);
            ulSum += ulNext;
        }
        if (ulSum != strFrame.size() - 3) {
            return;
        }
        const std::string strBody = strFrame.substr(3);
        const auto fnSet = [&](std::optional<Record> *pRecord, size_t ulHead, ULONG_32 ulNewVersion) {
            if (strBody.size() >= ulHead) {
                *pRecord = Record{Turned(strBody.substr(0, ulHead)), Turned(strBody.substr(ulHead)), 0,
                                  ulNewVersion == 2 ? Number(strBody, 10, 2) : 0};
                ulVersion = ulNewVersion;
            }
        };
        switch (strFrame[0]) {
            case 0:
                return strBody.size() == 36 ? void() : fnSet(&v1Result, 36, 1);
            case 1:
                fnSet(&v1Rule, 1008, 1);
                if (v1Rule) {
                    v1Rule->strBody.clear();
                }
                return;
            case 16:
                return fnSet(&v2Result, 12, 2);
            case 17:
                return fnSet(&v2Rule, 12, 2);
        }
    }

    void Sei(ULONG_32 ulType, std::string strBody) {
        if (strBody.size() < 12 || strBody.substr(4, 4) == std::string(4, 0)) {
            return;
        }
        const ULONG_32 ulNum = Number(strBody, 8, 2), ulHold = Number(strBody, 10, 2);
        std::string strHead = Turned(strBody.substr(0, 8)) + strBody.substr(8, 4);
        TurnHalves(&strHead, 8, 4);
        std::string strRest = strBody.substr(12);
        if (ulType == 17) {
            if (strRest.size() == ulNum * 108) {
                strRest = Turned(strRest);
                for (ULONG_32 i = 0; i < ulNum; ++i) {
                    const std::string strCoords = strBody.substr(12 + i * 108 + 16, 64);
                    strRest.replace(i * 108 + 16, 64, strCoords);
                    TurnHalves(&strRest, i * 108 + 16, 64);
                }
                v2Rule = Record{strHead, strRest, 0, ulHold};
            }
            return;
        }
        size_t ulAt = 0;
        for (ULONG_32 i = 0; i < ulNum; ++i) {
            if (ulAt + 36 > strRest.size()) {
                return;
            }
            const ULONG_32 ulAttach = Number(strRest, ulAt + 28, 4);
            strRest.replace(ulAt, 8, Turned(strRest.substr(ulAt, 8)));
            TurnHalves(&strRest, ulAt + 8, 8);
            strRest.replace(ulAt + 16, 20, Turned(strRest.substr(ulAt + 16, 20)));
            ulAt += size_t{36} + ulAttach;
        }
        if (ulAt == strRest.size()) {
            v2Result = Record{strHead, strRest, 0, ulHold};
        }
    }

    /** Counts a use; whether the record stands on this picture. */
    static bool Use(std::optional<Record> *pRecord, int iLimit, int iFrameTime) {
        if (!*pRecord) {
            return false;
        }
        const int iUses = ++(*pRecord)->iUses;
        const bool bOver = iLimit > 0 ? iUses > iLimit : (*pRecord)->ulHold < static_cast<ULONG_32>(iFrameTime * iUses);
        const bool bShown = iLimit > 0 || !bOver;
        if (bOver) {
            pRecord->reset();
        }
        return bShown;
    }
};

std::string Bytes(const void *pAt, size_t ulLen) {
    return pAt != nullptr ? std::string(static_cast<const char *>(pAt), ulLen) : std::string();
}

class IvaModel : public testing::Test {
 protected:
    IvaModel() {
        m_st.bDRVEnable = 1;
        Log_SetSysLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
    }
    ~IvaModel() override {
        Log_SetSysLogCB(nullptr);
        IVA_FreeBuffers(&m_st);
    }

    ULONG_32 Below(ULONG_32 ulLimit) { return static_cast<ULONG_32>(m_oDice() % ulLimit); }

    std::string Body(ULONG_32 ulKind) {
        std::string strBody;
        const ULONG_32 ulNum = Below(4);
        switch (ulKind) {
            case 0:
                strBody.resize(36 + Below(3) * Below(40));
                break;
            case 1:
                strBody.resize(1008);
                break;
            case 16:
                strBody = HeadOf(ulNum);
                for (ULONG_32 i = 0; i < ulNum; ++i) {
                    strBody += support::Target{.attachment = std::string(Below(9), 'a')}.Bytes();
                }
                return strBody;
            case 17:
                strBody = HeadOf(ulNum);
                for (ULONG_32 i = 0; i < ulNum; ++i) {
                    strBody += support::Rule{.corners = {{Below(65536), Below(65536)}}}.Bytes();
                }
                return strBody;
        }
        for (char &cByte : strBody) {
            cByte = static_cast<char>(m_oDice());
        }
        return strBody;
    }
    std::string HeadOf(ULONG_32 ulNum) { return support::HeadV2(ulNum, Below(400), Below(8)); }

    void Damage(std::string *pstrBytes) {
        for (ULONG_32 i = Below(3); i > 0 && !pstrBytes->empty(); --i) {
            (*pstrBytes)[Below(2) ? Below(static_cast<ULONG_32>(std::min<size_t>(pstrBytes->size(), 60)))
                                  : Below(static_cast<ULONG_32>(pstrBytes->size()))] ^=
                static_cast<char>(1 << Below(8));
        }
        if (Below(8) == 0) {
            pstrBytes->resize(Below(static_cast<ULONG_32>(pstrBytes->size() + 40)));
        }
    }

    void ParseOne() {
        static constexpr ULONG_32 KINDS[] = {0, 1, 16, 17};
        const ULONG_32 ulKind = KINDS[Below(4)];
        const bool bSei = ulKind >= 16 && Below(2) != 0;
        std::string strBytes = Body(ulKind);
        if (!bSei) {
            strBytes = support::DataFrame(static_cast<int>(ulKind), strBytes, Below(3) != 0 ? 65535 : 1 + Below(300));
        }
        if (Below(2) != 0) {
            Damage(&strBytes);
        }
        std::unique_ptr<CHAR[]> pcExact(new CHAR[strBytes.size()]);
        memcpy(pcExact.get(), strBytes.data(), strBytes.size());
        if (bSei) {
            m_st.ulMetaDataVersion = m_oModel.ulVersion = 2;
            IvaV2Parse(ulKind, &m_st.stMetaV2, pcExact.get(), static_cast<ULONG_32>(strBytes.size()));
            m_oModel.Sei(ulKind, strBytes);
        } else {
            DataParse(&m_st, pcExact.get(), static_cast<LONG_32>(strBytes.size()));
            m_oModel.Data(strBytes);
        }
    }

    void ExpectSame() {
        const IVA_INFO_V1_S &stV1 = m_st.stMetaV1;
        const IVA_INFO_V2_S &stV2 = m_st.stMetaV2;
        const auto fnCheck = [](const std::optional<Record> &record, BOOL_T bHave, std::string strHead,
                                std::string strBody) {
            ASSERT_EQ(record.has_value(), bHave == 1);
            if (record) {
                ASSERT_EQ(record->strHead, strHead);
                ASSERT_EQ(record->strBody, strBody);
            }
        };
        ASSERT_EQ(m_oModel.ulVersion, m_st.ulMetaDataVersion);
        fnCheck(m_oModel.v1Rule, stV1.bHaveRule, Bytes(&stV1.stRuleConfig, 1008), "");
        if (m_oModel.v1Result) {  // a head alone replaces the head
            m_oModel.v1Result->strHead = Bytes(&stV1.stResultHead, 36);
        }
        fnCheck(m_oModel.v1Result, stV1.bHaveResult, Bytes(&stV1.stResultHead, 36),
                Bytes(stV1.pcResultBuf, static_cast<size_t>(stV1.lIVAResultBufLen)));
        fnCheck(m_oModel.v2Rule, stV2.bHaveRule, Bytes(&stV2.stRuleHead, 12),
                Bytes(stV2.pcRuleBuf, stV2.ulIVARuleBufLen));
        fnCheck(m_oModel.v2Result, stV2.bHaveResult, Bytes(&stV2.stResultHead, 12),
                Bytes(stV2.pcResultBuf, stV2.ulIVAResultBufLen));
    }

    void CopyOne() {
        constexpr int FRAME_RATE = 25;
        const bool bV1 = m_st.ulMetaDataVersion == 1;
        const bool bAny = bV1 ? m_oModel.v1Rule || m_oModel.v1Result
                              : m_st.ulMetaDataVersion == 2 && (m_oModel.v2Rule || m_oModel.v2Result);
        HANDLE hCopy = DataCopy(FRAME_RATE, &m_st);
        ASSERT_EQ(bAny, hCopy != nullptr);
        if (bAny) {
            const IVA_INFO_S &stCopy = *static_cast<IVA_INFO_S *>(hCopy);
            const bool bResult =
                bV1 ? Model::Use(&m_oModel.v1Result, 5, 0) : Model::Use(&m_oModel.v2Result, 0, 1000 / FRAME_RATE);
            const bool bRule =
                bV1 ? Model::Use(&m_oModel.v1Rule, 60, 0) : Model::Use(&m_oModel.v2Rule, 0, 1000 / FRAME_RATE);
            ASSERT_EQ(bResult, (bV1 ? stCopy.stMetaV1.bHaveResult : stCopy.stMetaV2.bHaveResult) == 1);
            ASSERT_EQ(bRule, (bV1 ? stCopy.stMetaV1.bHaveRule : stCopy.stMetaV2.bHaveRule) == 1);
        }
        FreeInfo(&hCopy);
    }

    std::mt19937 m_oDice{7};
    IVA_INFO_S m_st = {};
    Model m_oModel;
};

TEST_F(IvaModel, AgreesOnRandomAndDamagedRecords) {
    int iShown = 0;
    for (int i = 0; i < 20000; ++i) {
        ParseOne();
        ASSERT_NO_FATAL_FAILURE(ExpectSame()) << i;
        for (ULONG_32 k = Below(12); k > 0; --k) {
            ASSERT_NO_FATAL_FAILURE(CopyOne()) << i;
        }
        iShown += m_oModel.v1Rule || m_oModel.v1Result || m_oModel.v2Rule || m_oModel.v2Result;
    }
    EXPECT_GT(iShown, 5000) << "most records hold";
}

}  // namespace
