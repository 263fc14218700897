#include "analytics/overlay.h"

#include <algorithm>
#include <cstring>

#include "analytics/iva_records.h"
#include "analytics/overlay_paint.h"

namespace {

constexpr double SCALE = OVERLAY_SCALE;
constexpr LONG_32 LINE_WIDTH = 2;
constexpr LONG_32 ALERT_WIDTH = 4;  // of a rule that is set off and of a target that sets one off
constexpr ULONG_32 MAX_ALPHA = 255;
constexpr ULONG_32 COORD_NUM_V1 = 7;  // corners of a version-1 rule: pairs of words
constexpr double ARROW_LENGTH = 24;   // pixels
constexpr double ARROW_HEAD = 8;      // pixels, along the arrow and to either side

/** By IVA_REPORT_COLOR_TYPE_E, 0x00RRGGBB; the first is no colour. */
constexpr ULONG_32 COLOURS[] = {0,        0x404040, 0xC0C0C0, 0xFFFFFF, 0x000000, 0xFF0000, 0x00FF00,
                                0x0000FF, 0xFFA500, 0x800080, 0xFFC0CB, 0xFFFF00, 0xA52A2A, 0x808080};

/** Directions that an arrow of a line can show. */
enum : ULONG_32 { ARROW_NONE = 0, ARROW_CLOCKWISE = 1, ARROW_COUNTERCLOCKWISE = 2, ARROW_BOTH = 3 };

/** By IVA_REPORT_TRIG_TYPE_E; entering and leaving belong to areas. */
constexpr ULONG_32 ARROWS_V2[] = {ARROW_NONE, ARROW_BOTH, ARROW_CLOCKWISE, ARROW_COUNTERCLOCKWISE};
/** By RULE_LINE_DIRECT_E. */
constexpr ULONG_32 ARROWS_V1[] = {ARROW_CLOCKWISE, ARROW_COUNTERCLOCKWISE, ARROW_NONE};

/** A rule of either version, in the pixels of the window. */
struct SHAPE {
    OVERLAY_POINT astCorner[IVA_COORD_NUM_V2];
    ULONG_32 ulCorners;
    bool bArea;
    ULONG_32 ulArrows;
    LONG_32 lWidth;
    OVERLAY_COLOUR_S stLine;
    OVERLAY_COLOUR_S stFill;
};

template <size_t ROWS>
ULONG_32 Lookup(const ULONG_32 (&aulRows)[ROWS], ULONG_32 ulIndex) {
    return ulIndex < ROWS ? aulRows[ulIndex] : 0;
}

OVERLAY_COLOUR_S Colour(ULONG_32 ulRgb, ULONG_32 ulAlpha) {
    return {static_cast<UCHAR>(ulRgb >> 16), static_cast<UCHAR>(ulRgb >> 8), static_cast<UCHAR>(ulRgb),
            static_cast<UCHAR>(std::min(ulAlpha, MAX_ALPHA))};
}

/** No colour and an unknown one can't be seen. */
OVERLAY_COLOUR_S ColourOfType(IVA_REPORT_COLOR_TYPE_E enColour, ULONG_32 ulAlpha) {
    const bool bKnown = enColour > IVA_REPORT_COLOR_NONE && enColour <= IVA_REPORT_COLOR_GRAY;
    return Colour(Lookup(COLOURS, enColour), bKnown ? ulAlpha : 0);
}

OVERLAY_POINT Point(const OVERLAY_RECT_S &stPicture, ULONG_32 ulX, ULONG_32 ulY) {
    return {stPicture.lX + static_cast<double>(ulX) * stPicture.lWidth / SCALE,
            stPicture.lY + static_cast<double>(ulY) * stPicture.lHeight / SCALE};
}

OVERLAY_POINT Moved(const OVERLAY_POINT &stFrom, const OVERLAY_POINT &stBy, double dTimes) {
    return {stFrom.x + stBy.x * dTimes, stFrom.y + stBy.y * dTimes};
}

/** An arrow that stands on a line. */
void AddArrow(const OVERLAY_POINT &stFoot, const OVERLAY_POINT &stAlong, const OVERLAY_POINT &stAway, LONG_32 lWidth,
              COverlayStrokes *poStrokes) {
    const OVERLAY_POINT stTip = Moved(stFoot, stAway, ARROW_LENGTH);
    const OVERLAY_POINT stNeck = Moved(stFoot, stAway, ARROW_LENGTH - ARROW_HEAD);
    poStrokes->Add(stFoot, stTip, lWidth);
    poStrokes->Add(stTip, Moved(stNeck, stAlong, ARROW_HEAD), lWidth);
    poStrokes->Add(stTip, Moved(stNeck, stAlong, -ARROW_HEAD), lWidth);
}

/** The arrows of a line, in the middle of its middle piece. */
void AddArrows(const SHAPE &stShape, COverlayStrokes *poStrokes) {
    const ULONG_32 ulMiddle = (stShape.ulCorners - 2) / 2;
    COverlayStrokes oPiece;
    oPiece.Add(stShape.astCorner[ulMiddle], stShape.astCorner[ulMiddle + 1], 0);
    if (oPiece.Count() == 0) {
        return;
    }
    const COverlayStrokes::STROKE &stPiece = oPiece.At(0);
    const OVERLAY_POINT stClockwise = {-stPiece.stAlong.y, stPiece.stAlong.x};  // y grows downward
    const OVERLAY_POINT stCounter = {stPiece.stAlong.y, -stPiece.stAlong.x};
    if ((stShape.ulArrows & ARROW_CLOCKWISE) != 0) {
        AddArrow(stPiece.stMiddle, stPiece.stAlong, stClockwise, stShape.lWidth, poStrokes);
    }
    if ((stShape.ulArrows & ARROW_COUNTERCLOCKWISE) != 0) {
        AddArrow(stPiece.stMiddle, stPiece.stAlong, stCounter, stShape.lWidth, poStrokes);
    }
}

void DrawShape(const SHAPE &stShape, COverlayPainter *poPainter) {
    if (stShape.ulCorners < 2) {
        return;
    }
    if (stShape.bArea && stShape.stFill.ucAlpha != 0) {
        poPainter->SetColour(stShape.stFill);
        poPainter->Fill(stShape.astCorner, stShape.ulCorners);
    }
    if (stShape.stLine.ucAlpha == 0) {
        return;
    }
    COverlayStrokes oStrokes;
    for (ULONG_32 i = 0; i + 1 < stShape.ulCorners; ++i) {
        oStrokes.Add(stShape.astCorner[i], stShape.astCorner[i + 1], stShape.lWidth);
    }
    if (stShape.bArea) {
        oStrokes.Add(stShape.astCorner[stShape.ulCorners - 1], stShape.astCorner[0], stShape.lWidth);
    } else if (stShape.ulArrows != ARROW_NONE) {
        AddArrows(stShape, &oStrokes);
    }
    poPainter->SetColour(stShape.stLine);
    poPainter->Strokes(oStrokes);
}

/* ---- version 1 ---- */

void DrawRuleV1(const IVA_REPORT_RULE_INFO_S &stRule, const OVERLAY_RECT_S &stPicture, COverlayPainter *poPainter) {
    if (stRule.bEnable == 0 || stRule.enRuleType > RULE_SUB_TYPE_FRAME_E) {
        return;
    }
    SHAPE stShape;
    stShape.bArea = stRule.enRuleType == RULE_SUB_TYPE_FRAME_E;
    stShape.ulArrows = Lookup(ARROWS_V1, stRule.enLineDirect);
    stShape.lWidth = LINE_WIDTH;
    stShape.stLine = Colour(stRule.ulRuleColor, MAX_ALPHA);
    stShape.stFill = {};
    stShape.ulCorners = std::min(stRule.stRulePts.ulPointNum, COORD_NUM_V1);
    for (ULONG_32 i = 0; i < stShape.ulCorners; ++i) {
        ULONG_32 aulPair[2];
        memcpy(aulPair, stRule.stRulePts.ucPointDat + i * sizeof(aulPair), sizeof(aulPair));
        stShape.astCorner[i] = Point(stPicture, aulPair[0], aulPair[1]);
    }
    DrawShape(stShape, poPainter);
}

/* ---- version 2 ---- */

void DrawRuleV2(const IVA_REPORT_RULE_INFO_V2_S &stRule, const OVERLAY_RECT_S &stPicture, COverlayPainter *poPainter) {
    if (stRule.enRuleType > IVA_REPORT_RULE_POLY) {
        return;
    }
    SHAPE stShape;
    stShape.bArea = stRule.enRuleType == IVA_REPORT_RULE_POLY;
    stShape.ulArrows = Lookup(ARROWS_V2, stRule.enTrigType);
    stShape.lWidth = stRule.bTriggered != 0 ? ALERT_WIDTH : LINE_WIDTH;
    stShape.stLine = ColourOfType(stRule.enLineColor, stRule.ulLineAlpha);
    stShape.stFill = ColourOfType(stRule.enFillColor, stRule.ulFillAlpha);
    stShape.ulCorners = std::min<ULONG_32>(stRule.ulCoordNum, IVA_COORD_NUM_V2);
    for (ULONG_32 i = 0; i < stShape.ulCorners; ++i) {
        stShape.astCorner[i] = Point(stPicture, stRule.astCoord[i].usX, stRule.astCoord[i].usY);
    }
    DrawShape(stShape, poPainter);
}

void DrawRulesV2(const IVA_INFO_V2_S &stInfo, const OVERLAY_RECT_S &stPicture, COverlayPainter *poPainter) {
    const ULONG_32 ulRules = std::min<ULONG_32>(IvaRecords_RuleNum(stInfo), OVERLAY_MAX_RULES);
    IVA_REPORT_RULE_INFO_V2_S stRule;
    for (ULONG_32 i = 0; i < ulRules && IvaRecords_Rule(stInfo, i, &stRule); ++i) {
        DrawRuleV2(stRule, stPicture, poPainter);
    }
}

void DrawTargetsV2(const IVA_INFO_V2_S &stInfo, const IVA_SHOW_PARAM_S &stShow, const OVERLAY_RECT_S &stPicture,
                   COverlayPainter *poPainter) {
    const ULONG_32 ulTargets = std::min<ULONG_32>(IvaRecords_TargetNum(stInfo), OVERLAY_MAX_TARGETS);
    IVA_REPORT_RESULT_INFO_V2_EX_S stTarget;
    DULONG dulAt = 0;
    for (ULONG_32 i = 0; i < ulTargets && IvaRecords_NextTarget(stInfo, &dulAt, &stTarget); ++i) {
        const bool bTouches = stTarget.ulTrigRule != 0;
        const OVERLAY_COLOUR_S stColour = ColourOfType(stTarget.enLineColor, stTarget.ulLineAlpha);
        if (stColour.ucAlpha != 0 && (bTouches ? stShow.bShowResultTouthRule : stShow.bShowResultUntouthRule) != 0) {
            poPainter->SetColour(stColour);
            poPainter->Box(Point(stPicture, stTarget.stStart.usX, stTarget.stStart.usY),
                           Point(stPicture, stTarget.stEnd.usX, stTarget.stEnd.usY),
                           bTouches ? ALERT_WIDTH : LINE_WIDTH);
        }
    }
}

}  // namespace

void Overlay_Draw(const IVA_INFO_S &stInfo, const IVA_SHOW_PARAM_S &stShow, const OVERLAY_RECT_S &stPicture,
                  OVERLAY_FILL_PF pfnFill, void *pUser) {
    if (stPicture.lWidth <= 0 || stPicture.lHeight <= 0 || pfnFill == nullptr) {
        return;
    }
    COverlayPainter oPainter(stPicture, pfnFill, pUser);
    if (stInfo.ulMetaDataVersion == 1 && stInfo.stMetaV1.bHaveRule != 0 && stShow.bShowRule != 0) {
        for (const IVA_REPORT_RULE_INFO_S &stRule : stInfo.stMetaV1.stRuleConfig.astRule) {
            DrawRuleV1(stRule, stPicture, &oPainter);
        }
    }
    if (stInfo.ulMetaDataVersion != 2) {
        return;
    }
    const IVA_INFO_V2_S &stV2 = stInfo.stMetaV2;
    if (stV2.bHaveRule != 0 && stV2.stRuleHead.bEnable != 0 && stShow.bShowRule != 0) {
        DrawRulesV2(stV2, stPicture, &oPainter);
    }
    if (stV2.bHaveResult != 0 && stV2.stResultHead.bEnable != 0) {
        DrawTargetsV2(stV2, stShow, stPicture, &oPainter);
    }
}
