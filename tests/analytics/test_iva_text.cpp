// Labels of attributes, and what a client wants to see.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "analytics/iva_show.h"
#include "analytics/iva_text.h"

namespace {

constexpr const wchar_t *UNTOUCHED = L"untouched";

struct Label {
    wchar_t text[IVA_LABEL_LEN] = L"untouched";
    ULONG_32 count = 7;
    std::wstring Text() const { return text; }
};

TEST(IvaText, KnownCodesAndUnknownOnes) {
    using CONVERT_PF = void (*)(CHAR, wchar_t *, ULONG_32 &);
    struct {
        CONVERT_PF pfnConvert;
        int iCode;
        const wchar_t *pwcLabel;  // null: none
        int iLabels;              // of all codes
    } const cases[] = {
        {CharToGender, 0, L"女性", 2},
        {CharToGender, 98, nullptr, 2},
        {CharToRange, 3, L"老年", 4},
        {CharToMaskFlag, 1, L"戴口罩", 1},
        {CharToDirect, 8, L"右下", 8},
        {CharToSpeed, 2, L"中速", 3},
        {CharToBodyAngle, 3, L"背面", 3},
        {CharToClothTexture, 1, L"花纹上衣", 1},
        {CharToHair, 2, L"短发", 2},
        {CharToShoes, 1, L"长筒靴", 2},
        {CharToBag, 3, L"背包", 2},
        {CharToBag, 1, nullptr, 2},
        {CharToGlassType, 50, L"普通眼镜", 2},
        {CharToVehType, 12, L"SUV", 28},
        {CharToVehType, 4, nullptr, 28},
        {CharToPlateStruct, 52, L"小型新能源汽车", 34},
        {CharToPlateColor, 4, nullptr, 8},
        {CharToPlateColor, 8, L"渐变色车牌", 8},
        {CharToNonVehType, 10, L"二轮车", 5},
    };
    for (const auto &row : cases) {
        Label label;
        row.pfnConvert(static_cast<CHAR>(row.iCode), label.text, label.count);
        EXPECT_EQ(row.pwcLabel != nullptr ? row.pwcLabel : UNTOUCHED, label.Text());
        EXPECT_EQ(row.pwcLabel != nullptr ? 8U : 7U, label.count);
        ULONG_32 ulKnown = 0;
        for (int i = 0; i < 256; ++i) {
            row.pfnConvert(static_cast<CHAR>(i), label.text, ulKnown);
        }
        EXPECT_EQ(static_cast<ULONG_32>(row.iLabels), ulKnown);
        row.pfnConvert(static_cast<CHAR>(row.iCode), nullptr, ulKnown);
    }
}

TEST(IvaText, ClothesSpeedAndColours) {
    Label label;
    BOOL_T bKnown = 5;
    CharToUpClothStyle(2, label.text, bKnown);
    EXPECT_EQ(std::pair(std::wstring(L"长袖"), BOOL_T{1}), std::pair(label.Text(), bKnown));
    CharToUpClothStyle(0, label.text, bKnown);
    EXPECT_EQ(std::pair(std::wstring(L"上衣"), BOOL_T{0}), std::pair(label.Text(), bKnown));
    CharToDnClothStyle(99, label.text, bKnown);
    EXPECT_EQ(std::pair(std::wstring(L"下衣"), BOOL_T{0}), std::pair(label.Text(), bKnown));
    struct {
        CHAR cDirect, cSpeed;
        const wchar_t *pwcLabel;
    } const moves[] = {{1, 3, L"快速向上"}, {99, 1, L"慢速"}, {5, 0, L"左上"}, {0, 9, UNTOUCHED}};
    for (const auto &row : moves) {
        Label move;
        CharToDirectSpeed(row.cDirect, row.cSpeed, move.text, move.count);
        EXPECT_EQ(row.pwcLabel, move.Text());
        EXPECT_EQ(move.Text() == UNTOUCHED ? 7U : 8U, move.count);
    }
    const std::pair<std::string, const wchar_t *> colours[] = {
        {"AEH", L"蓝色"}, {std::string("A\0Z", 3), L"白色"}, {std::string("\0\0Q", 3), L"无色"}, {"ZZZ", UNTOUCHED}};
    for (const auto &[strCodes, pwcLabel] : colours) {
        Label colour;
        CharToColor3(strCodes.data(), colour.text);
        EXPECT_EQ(pwcLabel, colour.Text());
    }
}

TEST(IvaText, Brands) {
    std::set<std::wstring> labels;
    ULONG_32 ulCount = 0;
    for (CHAR cFirst = '0'; cFirst <= 'Z'; ++cFirst) {
        for (CHAR cSecond = '0'; cSecond <= 'Z'; ++cSecond) {
            const CHAR acCode[2] = {cFirst, cSecond};
            Label label;
            CharToBrand(acCode, label.text, ulCount);
            labels.insert(label.Text());
        }
    }
    EXPECT_EQ(193U, ulCount);
    EXPECT_EQ(194U, labels.size()) << "no two have a name";
    for (const auto &[pcCode, pwcLabel] : {std::pair{"A0", L"奥迪"},
                                           {"Z6", L"知豆"},
                                           {"MG", L"MG"},
                                           {"J6", L"吉普Jeep"},
                                           {"ZZ", UNTOUCHED},
                                           {"A", UNTOUCHED},
                                           {"", UNTOUCHED}}) {
        Label label;
        CharToBrand(pcCode, label.text, label.count);
        EXPECT_EQ(pwcLabel, label.Text());
    }
}

std::string Shown(ULONG_32 ulPort) {
    IVA_SHOW_PARAM_S st;
    IvaShow_GetParam(ulPort, &st);
    return std::to_string(st.bShowRule) + std::to_string(st.bShowResultTouthRule) +
           std::to_string(st.bShowResultUntouthRule) + std::to_string(st.bShowResultTrack);
}

TEST(IvaShow, LibraryAndPorts) {
    EXPECT_EQ("1111", Shown(3));
    SetIVAShowParam(5);
    EXPECT_EQ("1011", Shown(3));
    const ULONG_32 ulTicket = IvaShow_Ticket();
    SetIVAShowParamEx(3, 2, 1);
    EXPECT_NE(ulTicket, IvaShow_Ticket());
    EXPECT_EQ("0101", Shown(3));
    EXPECT_EQ("1111", Shown(4)) << "the flag is every port's, and nothing was set for this one";
    SetIVAShowParamEx(256, 0, 0);
    SetIVAShowObjType(4000000000U, 1, 1, 1);
    SetIVAShowOsdInfo(256, 1);
    EXPECT_EQ("0101", Shown(3)) << "numbers out of range are ignored";
    EXPECT_EQ("1011", Shown(256));
    SetIVAShowParamEx(4, 8, 0);
    EXPECT_EQ("1011", Shown(4));
    SetIVAShowParamEx(4, 8, 1);
    EXPECT_EQ("0001", Shown(4));
    InitDrawParam();
    EXPECT_EQ("1111", Shown(4));
    SetIVAShowParamEx(4, 7, 0);
    SetIVAShowParam(7);
}

}  // namespace
