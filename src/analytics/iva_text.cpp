#include "analytics/iva_text.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace {

struct LABEL_ROW {
    ULONG_32 ulCode;
    const wchar_t *pwcLabel;
};

constexpr LABEL_ROW GENDERS[] = {{0, L"女性"}, {1, L"男性"}};
constexpr LABEL_ROW AGES[] = {{0, L"儿童"}, {1, L"成年"}, {2, L"中年"}, {3, L"老年"}};
constexpr LABEL_ROW MASKS[] = {{1, L"戴口罩"}};
constexpr LABEL_ROW DIRECTIONS[] = {{1, L"向上"}, {2, L"向下"}, {3, L"向左"}, {4, L"向右"},
                                    {5, L"左上"}, {6, L"左下"}, {7, L"右上"}, {8, L"右下"}};
constexpr LABEL_ROW SPEEDS[] = {{1, L"慢速"}, {2, L"中速"}, {3, L"快速"}};
constexpr LABEL_ROW BODY_ANGLES[] = {{1, L"正面"}, {2, L"侧面"}, {3, L"背面"}};
constexpr LABEL_ROW CLOTH_TEXTURES[] = {{1, L"花纹上衣"}};
constexpr LABEL_ROW UPPER_CLOTHES[] = {{1, L"短袖"}, {2, L"长袖"}};
constexpr LABEL_ROW LOWER_CLOTHES[] = {{1, L"短裤"}, {2, L"长裤"}};
constexpr LABEL_ROW HAIR[] = {{1, L"长发"}, {2, L"短发"}};
constexpr LABEL_ROW SHOES[] = {{1, L"长筒靴"}, {2, L"普通鞋"}};
constexpr LABEL_ROW BAGS[] = {{2, L"手包"}, {3, L"背包"}};
constexpr LABEL_ROW GLASSES[] = {{7, L"太阳眼镜"}, {50, L"普通眼镜"}};
constexpr LABEL_ROW VEHICLES[] = {
    {1, L"小型车"},    {2, L"中型车"},  {3, L"大型车"},    {5, L"行人"},      {6, L"二轮车"},    {7, L"三轮车"},
    {8, L"摩托车"},    {9, L"拖拉机"},  {10, L"农用货车"}, {11, L"小轿车"},   {12, L"SUV"},      {13, L"面包车"},
    {14, L"小货车"},   {15, L"中巴车"}, {16, L"大客车"},   {17, L"大货车"},   {18, L"皮卡车"},   {19, L"商务车"},
    {20, L"非机动车"}, {21, L"跑车"},   {22, L"微型轿车"}, {23, L"两厢轿车"}, {24, L"三厢轿车"}, {25, L"轻型客车"},
    {26, L"中型货车"}, {27, L"挂车"},   {28, L"槽罐车"},   {29, L"洒水车"}};
constexpr LABEL_ROW PLATES[] = {
    {1, L"大型汽车"},        {2, L"小型汽车"},       {3, L"使馆汽车"},       {4, L"领馆汽车"},
    {5, L"境外汽车"},        {6, L"外籍汽车"},       {7, L"二、三轮摩托车"}, {8, L"轻便汽车"},
    {9, L"使馆摩托车"},      {10, L"领馆摩托车"},    {11, L"境外摩托车"},    {12, L"外籍摩托车"},
    {13, L"农用运输车"},     {14, L"拖拉机"},        {15, L"挂车"},          {16, L"教练汽车"},
    {17, L"教练摩托车"},     {18, L"试验汽车"},      {19, L"试验摩托车"},    {20, L"临时入境汽车"},
    {21, L"临时入境摩托车"}, {22, L"临时行驶车"},    {23, L"警用汽车"},      {24, L"警用摩托车"},
    {25, L"原农机号牌"},     {26, L"香港入出境车"},  {27, L"澳门入出境"},    {28, L"中型车"},
    {29, L"武警号牌"},       {30, L"军用号牌"},      {31, L"行人"},          {32, L"非机动车"},
    {51, L"大型新能源汽车"}, {52, L"小型新能源汽车"}};
constexpr LABEL_ROW PLATE_COLOURS[] = {{0, L"白牌"}, {1, L"黄牌"}, {2, L"蓝牌"},           {3, L"黑牌"},
                                       {5, L"绿牌"}, {6, L"红牌"}, {7, L"新能源双色车牌"}, {8, L"渐变色车牌"}};
constexpr LABEL_ROW NON_VEHICLES[] = {{1, L"自行车"}, {2, L"三轮车"}, {3, L"摩托车"}, {4, L"电瓶车"}, {10, L"二轮车"}};
constexpr LABEL_ROW COLOURS[] = {{65, L"白色"}, {66, L"灰色"}, {67, L"黄色"}, {68, L"粉色"}, {69, L"红色"},
                                 {70, L"紫色"}, {71, L"绿色"}, {72, L"蓝色"}, {73, L"棕色"}, {74, L"黑色"},
                                 {75, L"橙色"}, {76, L"青色"}, {77, L"银色"}, {78, L"银白"}, {79, L"深色"},
                                 {80, L"浅色"}, {81, L"无色"}};

/** Codes of the makes of vehicles; the names stand in wszVehBrand, row by row. */
constexpr CHAR szVehBrandCode[IVA_VEH_BRAND_NUM][4] = {
    "A0", "A1", "A2", "A3", "A4", "B0", "B1", "B2", "B3", "B4", "B5", "B6", "B7", "B8", "B9", "BA", "BB", "BC",
    "BD", "BE", "BF", "BG", "BH", "BI", "BJ", "C0", "C1", "C2", "C3", "C4", "C5", "C6", "C7", "D0", "D1", "D2",
    "D3", "D4", "D5", "D6", "D7", "D8", "D9", "DA", "DB", "DC", "DD", "DE", "F0", "F1", "F2", "F3", "F4", "F5",
    "F6", "F7", "F8", "F9", "FA", "G0", "G1", "G2", "H0", "H1", "H2", "H3", "H4", "H5", "H6", "H7", "H8", "H9",
    "HA", "HB", "HC", "HD", "HE", "HF", "J0", "J1", "J2", "J3", "J4", "J5", "J6", "J7", "J8", "J9", "JA", "JB",
    "JC", "JD", "JE", "JF", "JH", "K0", "K1", "K2", "K3", "K4", "K5", "L0", "L1", "L2", "L3", "L4", "L5", "L6",
    "L7", "L8", "L9", "LA", "LB", "LC", "LD", "LE", "M0", "M1", "M2", "M3", "M4", "M5", "M6", "MG", "N0", "N1",
    "N2", "N3", "P0", "P1", "Q0", "Q1", "Q2", "Q3", "Q4", "R0", "R1", "R2", "S0", "S1", "S2", "S3", "S4", "S5",
    "S6", "S7", "S8", "S9", "SA", "SB", "SC", "SD", "SE", "SF", "SG", "SH", "SI", "SJ", "SK", "SL", "T0", "T1",
    "T2", "T3", "W0", "W1", "W2", "W3", "W4", "W5", "W6", "W7", "X0", "X1", "X2", "X3", "X4", "Y0", "Y1", "Y2",
    "Y3", "Y4", "Y5", "Y6", "Y7", "Y8", "Z0", "Z1", "Z2", "Z3", "Z4", "Z5", "Z6"};
constexpr wchar_t wszVehBrand[IVA_VEH_BRAND_NUM][IVA_LABEL_LEN] = {
    L"奥迪",     L"阿尔法罗密欧", L"安凯客车", L"安源客车", L"阿斯顿马丁", L"奔驰",     L"北京汽车",   L"布加迪",
    L"别克",     L"宾利",         L"宝马",     L"保时捷",   L"本田",       L"奔腾",     L"比亚迪",     L"标致",
    L"北汽威旺", L"宝骏",         L"北汽幻速", L"宝石",     L"北京",       L"北奔重卡", L"北方客车",   L"奔马",
    L"北京制造", L"长安",         L"长城",     L"长丰",     L"川汽野马",   L"昌河",     L"长安跨越",   L"长安客车",
    L"春兰",     L"东风",         L"大发",     L"东风风神", L"帝豪",       L"东南",     L"道奇",       L"大众",
    L"大宇",     L"东风柳汽",     L"大运",     L"东风客车", L"东风日产柴", L"东方红",   L"东风扬子江", L"DS",
    L"飞碟",     L"法拉利",       L"丰田",     L"福特",     L"福田",       L"菲亚特",   L"福迪",       L"福田时代",
    L"福田客车", L"丰田锐志",     L"丰田客车", L"GMC",      L"广汽",       L"广汽日野", L"哈飞",       L"黄海",
    L"悍马",     L"海马",         L"华普",     L"红旗",     L"华泰",       L"皇冠",     L"华菱",       L"哈弗",
    L"海格",     L"海格客车",     L"红岩",     L"黄海客车", L"汇众",       L"衡山客车", L"吉奥",       L"捷豹",
    L"金杯",     L"江淮",         L"吉利",     L"九龙汽车", L"吉普Jeep",   L"江铃",     L"金龙",       L"金牛星",
    L"江铃客车", L"金旅",         L"金龙客车", L"金旅客车", L"江淮客车",   L"江环",     L"吉姆西",     L"凯迪拉克",
    L"克莱斯勒", L"柯尼赛格",     L"开瑞",     L"康迪",     L"凯马",       L"兰博基尼", L"力帆",       L"陆风",
    L"路虎",     L"莲花",         L"莲花汽车", L"林肯",     L"雷克萨斯",   L"铃木",     L"雷诺",       L"劳斯莱斯",
    L"猎豹",     L"理念",         L"陆地方舟", L"联合卡车", L"迈巴赫",     L"迈凯伦",   L"迷你MINI",   L"玛莎拉蒂",
    L"马自达",   L"欧宝",         L"讴歌",     L"MG",       L"南京依维柯", L"纳智捷",   L"南骏",       L"南车时代",
    L"帕加尼",   L"中顺",         L"全球鹰",   L"奇瑞",     L"起亚",       L"启辰",     L"青年客车",   L"日产",
    L"瑞麒",     L"荣威",         L"萨博",     L"斯巴鲁",   L"双环",       L"上海英伦", L"世爵",       L"斯柯达",
    L"三菱",     L"双龙",         L"陕汽",     L"上汽大通", L"绅宝",       L"时风",     L"十通",       L"三环十通",
    L"三一重工", L"山东五征",     L"申龙客车", L"申沃客车", L"思铭",       L"斯堪尼亚", L"SMART",      L"少林客车",
    L"唐骏",     L"特斯拉",       L"同心客车", L"腾势",     L"沃尔沃",     L"威麟",     L"五菱汽车",   L"威兹曼",
    L"五十铃",   L"五菱",         L"五征",     L"王牌神风", L"现代",       L"雪佛兰",   L"夏利",       L"雪铁龙",
    L"西雅特",   L"英菲尼迪",     L"一汽",     L"依维柯",   L"英田",       L"一汽柳特", L"远征",       L"跃进",
    L"宇通客车", L"驭胜",         L"中华",     L"众泰",     L"中兴",       L"中国重汽", L"重汽王牌",   L"中通",
    L"知豆"};

/** Copies a label, cut to the buffer that every caller has. */
void Write(const wchar_t *pwcLabel, wchar_t *pwcOut) {
    const size_t ulLen = std::min<size_t>(wcslen(pwcLabel), IVA_LABEL_LEN - 1);
    wmemcpy(pwcOut, pwcLabel, ulLen);
    pwcOut[ulLen] = 0;
}

/** Writes the label of a code; false, with nothing written, for one without. */
template <size_t ROWS>
bool Label(const LABEL_ROW (&astRows)[ROWS], CHAR cCode, wchar_t *pwcOut) {
    for (const LABEL_ROW &stRow : astRows) {
        if (pwcOut != nullptr && stRow.ulCode == static_cast<UCHAR>(cCode)) {
            Write(stRow.pwcLabel, pwcOut);
            return true;
        }
    }
    return false;
}

template <size_t ROWS>
void Count(const LABEL_ROW (&astRows)[ROWS], CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) {
    ulCount += Label(astRows, cCode, pwcOut);
}

/** Writes the label of a code, or else the one that says what kind of thing it is. */
template <size_t ROWS>
BOOL_T LabelOrKind(const LABEL_ROW (&astRows)[ROWS], CHAR cCode, const wchar_t *pwcKind, wchar_t *pwcOut) {
    const bool bKnown = Label(astRows, cCode, pwcOut);
    if (!bKnown && pwcOut != nullptr) {
        Write(pwcKind, pwcOut);
    }
    return bKnown;
}

}  // namespace

void CharToGender(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(GENDERS, cCode, pwcOut, ulCount); }

void CharToRange(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(AGES, cCode, pwcOut, ulCount); }

void CharToMaskFlag(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(MASKS, cCode, pwcOut, ulCount); }

void CharToDirect(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(DIRECTIONS, cCode, pwcOut, ulCount); }

void CharToSpeed(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(SPEEDS, cCode, pwcOut, ulCount); }

void CharToBodyAngle(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(BODY_ANGLES, cCode, pwcOut, ulCount); }

void CharToClothTexture(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) {
    Count(CLOTH_TEXTURES, cCode, pwcOut, ulCount);
}

void CharToHair(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(HAIR, cCode, pwcOut, ulCount); }

void CharToShoes(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(SHOES, cCode, pwcOut, ulCount); }

void CharToBag(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(BAGS, cCode, pwcOut, ulCount); }

void CharToGlassType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(GLASSES, cCode, pwcOut, ulCount); }

void CharToVehType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(VEHICLES, cCode, pwcOut, ulCount); }

void CharToPlateStruct(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(PLATES, cCode, pwcOut, ulCount); }

void CharToPlateColor(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(PLATE_COLOURS, cCode, pwcOut, ulCount); }

void CharToNonVehType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount) { Count(NON_VEHICLES, cCode, pwcOut, ulCount); }

void CharToUpClothStyle(CHAR cCode, wchar_t *pwcOut, BOOL_T &bKnown) {
    bKnown = LabelOrKind(UPPER_CLOTHES, cCode, L"上衣", pwcOut);
}

void CharToDnClothStyle(CHAR cCode, wchar_t *pwcOut, BOOL_T &bKnown) {
    bKnown = LabelOrKind(LOWER_CLOTHES, cCode, L"下衣", pwcOut);
}

void CharToDirectSpeed(CHAR cDirect, CHAR cSpeed, wchar_t *pwcOut, ULONG_32 &ulCount) {
    wchar_t awcSpeed[IVA_LABEL_LEN] = {};
    wchar_t awcDirect[IVA_LABEL_LEN] = {};
    const bool bSpeed = Label(SPEEDS, cSpeed, awcSpeed);
    const bool bDirect = Label(DIRECTIONS, cDirect, awcDirect);
    if (pwcOut != nullptr && (bSpeed || bDirect)) {
        swprintf(pwcOut, IVA_LABEL_LEN, L"%ls%ls", awcSpeed, awcDirect);
        ulCount++;
    }
}

void CharToColor3(const CHAR *pcChar, wchar_t *pwcOut) {
    for (ULONG_32 i = 0; pcChar != nullptr && i < IVA_COLOUR_NUM; ++i) {
        Label(COLOURS, pcChar[i], pwcOut);  // the last known one stays
    }
}

void CharToBrand(const CHAR *pcChar, wchar_t *pwcOut, ULONG_32 &ulCount) {
    if (pcChar == nullptr || pwcOut == nullptr) {
        return;
    }
    for (ULONG_32 i = 0; i < IVA_VEH_BRAND_NUM; ++i) {
        if (strncmp(pcChar, szVehBrandCode[i], 2) == 0) {
            Write(wszVehBrand[i], pwcOut);
            ulCount++;
            return;
        }
    }
}
