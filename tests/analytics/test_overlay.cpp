// What overlays cover, pixel by pixel, beside a literal model of lines, boxes and areas.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "analytics/overlay.h"
#include "support/analytics_bytes.h"

namespace {

using support::ListV2;
using support::Rule;
using support::RulesV1;
using support::Target;
using Corners = std::vector<std::pair<ULONG_32, ULONG_32>>;

constexpr int WIDTH = 240, HEIGHT = 140;
constexpr OVERLAY_RECT_S PICTURE = {20, 10, 200, 100};
constexpr IVA_SHOW_PARAM_S ALL = {1, 1, 1, 1};

/** A window: the colour of each pixel, 0 where nothing was drawn, and how often the last colour covered it. */
struct Canvas {
    std::vector<ULONG_32> colour = std::vector<ULONG_32>(WIDTH * HEIGHT);
    std::vector<int> covers = std::vector<int>(WIDTH * HEIGHT);
    bool outside = false;
    OVERLAY_RECT_S picture = PICTURE;
    size_t rects = 0;

    static void Fill(const OVERLAY_COLOUR_S &stColour, const OVERLAY_RECT_S *pastRect, ULONG_32 ulNum, void *pUser) {
        Canvas &canvas = *static_cast<Canvas *>(pUser);
        for (ULONG_32 i = 0; i < ulNum; ++i) {
            canvas.FillOne(stColour, pastRect[i]);
        }
        canvas.rects += ulNum;
    }
    void FillOne(const OVERLAY_COLOUR_S &stColour, const OVERLAY_RECT_S &stRect) {
        outside |= stRect.lWidth <= 0 || stRect.lHeight <= 0 || stRect.lX < picture.lX || stRect.lY < picture.lY ||
                   stRect.lX + stRect.lWidth > picture.lX + picture.lWidth ||
                   stRect.lY + stRect.lHeight > picture.lY + picture.lHeight;
        if (outside) {
            return;
        }
        const ULONG_32 ulColour = ULONG_32{stColour.ucAlpha} << 24 | ULONG_32{stColour.ucRed} << 16 |
                                  ULONG_32{stColour.ucGreen} << 8 | stColour.ucBlue;
        for (int y = stRect.lY; y < stRect.lY + stRect.lHeight; ++y) {
            for (int x = stRect.lX; x < stRect.lX + stRect.lWidth; ++x) {
                int &iCovers = covers[static_cast<size_t>(y * WIDTH + x)];
                ULONG_32 &ulAt = colour[static_cast<size_t>(y * WIDTH + x)];
                iCovers = ulAt == ulColour ? iCovers + 1 : 1;
                ulAt = ulColour;
            }
        }
    }
    ULONG_32 At(int x, int y) const { return colour[static_cast<size_t>(y * WIDTH + x)]; }
    int Count() const {
        return static_cast<int>(std::count_if(colour.begin(), colour.end(), [](ULONG_32 ul) { return ul != 0; }));
    }
};

/** Takes a record on either road and draws it. */
Canvas Draw(int iKind, std::string strBody, const IVA_SHOW_PARAM_S &stShow = ALL, bool bSei = false) {
    IVA_INFO_S stInfo = {};
    stInfo.bDRVEnable = 1;
    if (bSei) {
        stInfo.ulMetaDataVersion = 2;
        EXPECT_EQ(0U, IvaV2Parse(static_cast<ULONG_32>(iKind), &stInfo.stMetaV2, strBody.data(),
                                 static_cast<ULONG_32>(strBody.size())));
    } else {
        std::string strFrame = support::DataFrame(iKind, strBody);
        EXPECT_EQ(0U, DataParse(&stInfo, strFrame.data(), static_cast<LONG_32>(strFrame.size())));
    }
    HANDLE hCopy = DataCopy(25, &stInfo);
    EXPECT_NE(nullptr, hCopy);
    Canvas canvas;
    Overlay_Draw(*static_cast<IVA_INFO_S *>(hCopy), stShow, PICTURE, Canvas::Fill, &canvas);
    FreeInfo(&hCopy);
    IVA_FreeBuffers(&stInfo);
    EXPECT_FALSE(canvas.outside);
    return canvas;
}

Canvas DrawRule(const Rule &rule, bool bSei = false) { return Draw(17, ListV2<Rule>({rule}), ALL, bSei); }

// ---- the model ------------------------------------------------------------------------------------------------------

struct Point {
    double x, y;
};
Point InWindow(const std::pair<ULONG_32, ULONG_32> &corner) {
    return {PICTURE.lX + corner.first / 10000.0 * PICTURE.lWidth,
            PICTURE.lY + corner.second / 10000.0 * PICTURE.lHeight};
}

enum Where { OUT, EDGE, IN };  // on an edge either is right

Where Side(double dDistance, double dLimit) {
    return std::fabs(dDistance - dLimit) < 1e-6 ? EDGE : dDistance < dLimit ? IN : OUT;
}

Where InStroke(const Point &at, const Point &from, const Point &to, double dWidth) {
    const double dX = to.x - from.x, dY = to.y - from.y, dLength = std::hypot(dX, dY);
    if (dLength == 0) {
        return OUT;
    }
    const double dAlong = ((at.x - from.x) * dX + (at.y - from.y) * dY) / dLength;
    const double dAcross = ((at.x - from.x) * dY - (at.y - from.y) * dX) / dLength;
    return std::min(Side(std::fabs(dAlong - dLength / 2), (dLength + dWidth) / 2),
                    Side(std::fabs(dAcross), dWidth / 2));
}

bool InArea(const Point &at, const std::vector<Point> &corners) {
    bool bIn = false;
    for (size_t i = 0, k = corners.size() - 1; i < corners.size(); k = i++) {
        const Point &a = corners[i], &b = corners[k];
        bIn ^= (a.y > at.y) != (b.y > at.y) && at.x < (b.x - a.x) * (at.y - a.y) / (b.y - a.y) + a.x;
    }
    return bIn;
}

/** Compares a drawn rule without arrow with the model, pixel by pixel. */
void ExpectRule(const Canvas &canvas, const Rule &rule, ULONG_32 ulLine, ULONG_32 ulFill) {
    std::vector<Point> corners;
    for (const auto &corner : rule.corners) {
        corners.push_back(InWindow(corner));
    }
    const bool bArea = rule.type == IVA_REPORT_RULE_POLY;
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            const Point at = {x + 0.5, y + 0.5};
            const bool bPicture = x >= PICTURE.lX && x < PICTURE.lX + PICTURE.lWidth && y >= PICTURE.lY &&
                                  y < PICTURE.lY + PICTURE.lHeight;
            Where enWhere = OUT;
            for (size_t i = bArea ? 0 : 1; bPicture && i < corners.size(); ++i) {
                const Point &from = corners[i == 0 ? corners.size() - 1 : i - 1];
                enWhere = std::max(enWhere, InStroke(at, from, corners[i], rule.triggered != 0 ? 4 : 2));
            }
            if (enWhere == EDGE) {
                continue;
            }
            const ULONG_32 ulWanted = enWhere == IN ? ulLine : bPicture && bArea && InArea(at, corners) ? ulFill : 0;
            ASSERT_EQ(ulWanted, canvas.At(x, y)) << x << ", " << y;
        }
    }
}

// ---- tests ----------------------------------------------------------------------------------------------------------

TEST(Overlay, RandomRulesAreWhatTheModelSays) {
    std::mt19937 dice(11);
    const auto fnCoord = [&] {
        return static_cast<ULONG_32>(dice() % 4 == 0   ? dice() % 65536
                                     : dice() % 4 == 0 ? dice() % 5 * 2500
                                                       : dice() % 10001);
    };
    for (int i = 0; i < 400; ++i) {
        Rule rule = {.triggered = static_cast<ULONG_32>(dice() % 2), .type = static_cast<ULONG_32>(dice() % 2)};
        for (size_t k = 2 + dice() % 15; k > 0; --k) {
            rule.corners.emplace_back(fnCoord(), fnCoord());
        }
        rule.fill = dice() % 2 ? IVA_REPORT_COLOR_BLUE : IVA_REPORT_COLOR_NONE;
        rule.alpha = dice() % 2 ? 255 : 90;
        const bool bSei = dice() % 2 != 0;
        const Canvas canvas = DrawRule(rule, bSei);
        ASSERT_NO_FATAL_FAILURE(
            ExpectRule(canvas, rule, rule.alpha << 24 | 0x00FF00, rule.fill != IVA_REPORT_COLOR_NONE ? 0xFF0000FF : 0))
            << i;
        for (int iCovers : canvas.covers) {
            ASSERT_LE(rule.alpha == 255 ? 0 : iCovers, 1) << "a see-through line is no darker where its pieces meet";
        }
    }
}

TEST(Overlay, BoxesAreFramesOfWholePixels) {
    for (bool bTouches : {false, true}) {
        const int iHalf = bTouches ? 2 : 1;
        // 20 + 2000 / 10000 * 200 = 60, and so on
        const Canvas canvas = Draw(16, ListV2<Target>({{.trigRule = bTouches, .box = {6000, 7000, 2000, 3000}}}));
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                const bool bOuter = x >= 60 - iHalf && x < 140 + iHalf && y >= 40 - iHalf && y < 80 + iHalf;
                const bool bInner = x >= 60 + iHalf && x < 140 - iHalf && y >= 40 + iHalf && y < 80 - iHalf;
                ASSERT_EQ(bOuter && !bInner ? 0xFFFF0000 : 0, canvas.At(x, y)) << x << ", " << y;
            }
        }
    }
    EXPECT_EQ(200 * 100 - 198 * 98, Draw(16, ListV2<Target>({{.box = {0, 0, 10000, 10000}}})).Count())
        << "half a line at the picture's border";
    EXPECT_EQ(0, Draw(16, ListV2<Target>({{.box = {20000, 20000, 65535, 65535}}})).Count());
    EXPECT_EQ(4, Draw(16, ListV2<Target>({{.box = {5000, 5000, 5000, 5000}}})).Count()) << "a box without a size";
}

TEST(Overlay, ColoursAlphaAndTypes) {
    static const std::map<ULONG_32, ULONG_32> COLOURS = {
        {0, 0},          {1, 0xFF404040}, {2, 0xFFC0C0C0},  {3, 0xFFFFFFFF}, {4, 0xFF000000}, {5, 0xFFFF0000},
        {6, 0xFF00FF00}, {7, 0xFF0000FF}, {11, 0xFFFFFF00}, {14, 0},         {0xFFFFFFFF, 0}};
    for (const auto &[ulColour, ulWanted] : COLOURS) {
        const Canvas canvas = Draw(16, ListV2<Target>({{.box = {2000, 3000, 6000, 7000}, .colour = ulColour}}));
        EXPECT_EQ(ulWanted, canvas.At(60, 60)) << ulColour;
    }
    for (const auto &[ulAlpha, ulWanted] :
         std::map<ULONG_32, ULONG_32>{{0, 0}, {1, 1}, {255, 255}, {256, 255}, {~0U, 255}}) {
        const Canvas canvas = Draw(16, ListV2<Target>({{.box = {2000, 3000, 6000, 7000}, .alpha = ulAlpha}}));
        EXPECT_EQ(ulWanted, canvas.At(60, 60) >> 24) << ulAlpha;
    }
    const Corners line = {{1000, 5000}, {9000, 5000}};
    EXPECT_EQ(0, DrawRule({.type = 2, .corners = line}).Count()) << "of no known type";
    EXPECT_EQ(0, DrawRule({.corners = line, .count = 1}).Count());
    EXPECT_EQ(162 * 2, DrawRule({.corners = line, .count = 2}).Count());
    EXPECT_GT(DrawRule({.corners = line, .count = ~0U - 1}).Count(), 162 * 2)
        << "no more corners than there is room for";
    EXPECT_EQ(0, Draw(16, support::HeadV2(1, 500, 0) + Target{}.Bytes()).Count()) << "the device has analytics off";
}

TEST(Overlay, VersionOneRules) {
    const Corners line = {{1000, 5000}, {9000, 5000}};
    const ULONG_32 ulColour = 0x00123456;
    Canvas canvas = Draw(1, RulesV1(RULE_SUB_TYPE_STUMBLE_LINE_E, RULE_LINE_DIRECT_NO_E, ulColour, line));
    EXPECT_EQ(162 * 2, canvas.Count());
    EXPECT_EQ(0xFF123456, canvas.At(120, 60));
    canvas = Draw(1, RulesV1(RULE_SUB_TYPE_FRAME_E, RULE_FRAME_DIRECT_ENTER_E, ulColour,
                             {{2000, 3000}, {6000, 3000}, {6000, 7000}, {2000, 7000}}));
    EXPECT_EQ(82 * 42 - 78 * 38, canvas.Count()) << "an area has neither fill nor arrow";
    EXPECT_EQ(0, Draw(1, RulesV1(2, 0, ulColour, line)).Count());
    EXPECT_EQ(0, Draw(1, RulesV1(0, 0, ulColour, {{4294967295, 0}, {4294967295, 4294967295}})).Count());
    EXPECT_GT(Draw(1, RulesV1(1, 2, ulColour, line, 4294967295)).Count(), 0) << "seven corners, whatever it says";
    const std::string strResult = support::Word(1) + std::string(36, 1);
    IVA_SHOW_PARAM_S stNoRules = {0, 1, 1, 1};
    EXPECT_EQ(0, Draw(1, RulesV1(0, 2, ulColour, line), stNoRules).Count());
    EXPECT_EQ(0, Draw(0, strResult).Count()) << "nobody knows where its targets are";
}

TEST(Overlay, ArrowsPointWhereTheLineIsToBeCrossed) {
    const Corners line = {{1000, 5000}, {9000, 5000}};  // to the right: clockwise is down
    for (const auto &[enTrig, bUp, bDown] : {std::tuple{IVA_REPORT_TRIG_NONE, false, false},
                                             {IVA_REPORT_TRIG_CW, false, true},
                                             {IVA_REPORT_TRIG_CCW, true, false},
                                             {IVA_REPORT_TRIG_BOTH, true, true},
                                             {IVA_REPORT_TRIG_IN, false, false}}) {
        const Canvas canvas = DrawRule({.trig = enTrig, .corners = line});
        EXPECT_EQ(bUp, canvas.At(120, 45) != 0) << enTrig;
        EXPECT_EQ(bDown, canvas.At(120, 75) != 0) << enTrig;
        EXPECT_EQ(bDown, canvas.At(114, 78) != 0) << "the head";
        EXPECT_EQ(0U, canvas.At(100, 50));
    }
    EXPECT_NE(0U, Draw(1, RulesV1(0, RULE_LINE_DIRECT_WIDDERSHINES_FORBID_E, 1, line)).At(120, 45));
    EXPECT_NE(0U, DrawRule({.trig = IVA_REPORT_TRIG_CW, .corners = {{5000, 9000}, {5000, 1000}}}).At(138, 60))
        << "upward: clockwise is right";
}

TEST(Overlay, ShowsWhatIsAskedFor) {
    const std::string strTargets = ListV2<Target>(
        {{.trigRule = 7, .box = {1000, 1000, 3000, 3000}}, {.trigRule = 0, .box = {6000, 6000, 8000, 8000}}});
    for (ULONG_32 ulBits = 0; ulBits < 8; ++ulBits) {
        const IVA_SHOW_PARAM_S stShow = {(ulBits & 1) != 0, (ulBits & 2) != 0, (ulBits & 4) != 0, 1};
        for (bool bSei : {false, true}) {
            const Canvas canvas = Draw(16, strTargets, stShow, bSei);
            EXPECT_EQ((ulBits & 2) != 0, canvas.At(40, 30) != 0) << ulBits;
            EXPECT_EQ((ulBits & 4) != 0, canvas.At(140, 80) != 0) << ulBits;
            const Canvas rule = Draw(17, ListV2<Rule>({{.corners = {{0, 5000}, {9000, 5000}}}}), stShow, bSei);
            EXPECT_EQ((ulBits & 1) != 0, rule.At(100, 60) != 0);
        }
    }
}

TEST(Overlay, HostileRecordsAreBounded) {
    std::vector<Rule> rules(600, {.type = IVA_REPORT_RULE_POLY, .corners = {}, .fill = IVA_REPORT_COLOR_RED});
    for (Rule &rule : rules) {
        for (ULONG_32 k = 0; k < 16; ++k) {
            rule.corners.emplace_back(k % 2 * 65535, k * 4000);
        }
    }
    const Canvas canvas = Draw(17, ListV2(rules));
    EXPECT_LT(canvas.rects, 100000U);
    EXPECT_GT(canvas.rects, 100U);
    IVA_INFO_S stInfo = {};
    stInfo.ulMetaDataVersion = 2;
    stInfo.stMetaV2.bHaveResult = stInfo.stMetaV2.bHaveRule = 1;
    stInfo.stMetaV2.stResultHead = {0, 1, 65535, 65535};
    stInfo.stMetaV2.stRuleHead = {0, 1, 65535, 65535};
    Canvas none;
    Overlay_Draw(stInfo, ALL, PICTURE, Canvas::Fill, &none);
    Overlay_Draw(stInfo, ALL, {0, 0, -5, 7}, Canvas::Fill, &none);
    EXPECT_EQ(0, none.Count()) << "heads without buffers";
}

}  // namespace
