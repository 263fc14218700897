#include "analytics/overlay_paint.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr DLONG RECT_COST = 16;         // a rectangle costs as much as so many pixels, however small it is
constexpr DLONG FREE_PIXELS = 1 << 20;  // that even the smallest picture's overlay may fill
constexpr double NO_LIMIT = 1e18;       // pixels; farther than any record reaches

using SPAN = COverlayPainter::SPAN;

double Clamp(double d, LONG_32 lLow, LONG_32 lHigh) {
    return std::clamp(d, static_cast<double>(lLow), static_cast<double>(lHigh));
}

/** Sorts spans and joins those that meet. @return how many are left */
ULONG_32 Join(SPAN *pastSpan, ULONG_32 ulNum) {
    std::sort(pastSpan, pastSpan + ulNum, [](const SPAN &a, const SPAN &b) { return a.lLeft < b.lLeft; });
    ULONG_32 ulLast = 0;
    for (ULONG_32 i = 1; i < ulNum; ++i) {
        if (pastSpan[i].lLeft <= pastSpan[ulLast].lRight) {
            pastSpan[ulLast].lRight = std::max(pastSpan[ulLast].lRight, pastSpan[i].lRight);
        } else {
            pastSpan[++ulLast] = pastSpan[i];
        }
    }
    return ulNum == 0 ? 0 : ulLast + 1;
}

}  // namespace

/** Rows of spans, put together to rectangles while row after row has the same ones. */
class CSpanStack {
 public:
    explicit CSpanStack(COverlayPainter &oPainter) : m_oPainter(oPainter) {}
    ~CSpanStack() { Close(); }
    CSpanStack(const CSpanStack &) = delete;
    CSpanStack &operator=(const CSpanStack &) = delete;

    void Add(LONG_32 lRow, const SPAN *pastSpan, ULONG_32 ulNum) {
        const bool bSame = ulNum == m_ulNum && lRow == m_lBottom &&
                           std::equal(pastSpan, pastSpan + ulNum, m_astSpan, [](const SPAN &a, const SPAN &b) {
                               return a.lLeft == b.lLeft && a.lRight == b.lRight;
                           });
        if (!bSame) {
            Close();
            std::copy_n(pastSpan, ulNum, m_astSpan);
            m_ulNum = ulNum;
            m_lTop = lRow;
        }
        m_lBottom = lRow + 1;
    }

 private:
    void Close() {
        for (ULONG_32 i = 0; i < m_ulNum; ++i) {
            m_oPainter.Rect(m_astSpan[i].lLeft, m_lTop, m_astSpan[i].lRight, m_lBottom);
        }
        m_ulNum = 0;
    }

    COverlayPainter &m_oPainter;
    SPAN m_astSpan[COverlayStrokes::MAX_STROKES];
    ULONG_32 m_ulNum = 0;
    LONG_32 m_lTop = 0;
    LONG_32 m_lBottom = 0;
};

void COverlayStrokes::Add(const OVERLAY_POINT &stFrom, const OVERLAY_POINT &stTo, double dWidth) {
    const double dX = stTo.x - stFrom.x;
    const double dY = stTo.y - stFrom.y;
    const double dLength = std::sqrt(dX * dX + dY * dY);
    if (dLength <= 0 || m_ulCount == MAX_STROKES) {
        return;
    }
    STROKE &stStroke = m_astStroke[m_ulCount++];
    stStroke.stMiddle = {(stFrom.x + stTo.x) / 2, (stFrom.y + stTo.y) / 2};
    const double dAlongX = dX / dLength;
    const double dAlongY = dY / dLength;
    const double dHalfLength = (dLength + dWidth) / 2;  // half a width beyond either end, so that corners are whole
    const double dHalfWidth = dWidth / 2;
    stStroke.stAlong = {dAlongX, dAlongY};
    stStroke.dHeight = std::fabs(dAlongY) * dHalfLength + std::fabs(dAlongX) * dHalfWidth;
    stStroke.adSlope[0] = dX != 0 ? -dY / dX : 0;
    stStroke.adReach[0] = dX != 0 ? dHalfLength / std::fabs(dAlongX) : NO_LIMIT;
    stStroke.adSlope[1] = dY != 0 ? dX / dY : 0;
    stStroke.adReach[1] = dY != 0 ? dHalfWidth / std::fabs(dAlongY) : NO_LIMIT;
}

COverlayPainter::COverlayPainter(const OVERLAY_RECT_S &stClip, OVERLAY_FILL_PF pfnFill, void *pUser)
    : m_stClip(stClip),
      m_pfnFill(pfnFill),
      m_pUser(pUser),
      m_dlMayFill(FREE_PIXELS + DLONG{stClip.lWidth} * stClip.lHeight * OVERLAY_MAX_COVER) {}

void COverlayPainter::Flush() {
    if (m_ulNum > 0) {
        m_pfnFill(m_stColour, m_astRect, m_ulNum, m_pUser);
        m_ulNum = 0;
    }
}

void COverlayPainter::SetColour(const OVERLAY_COLOUR_S &stColour) {
    const bool bSame = stColour.ucRed == m_stColour.ucRed && stColour.ucGreen == m_stColour.ucGreen &&
                       stColour.ucBlue == m_stColour.ucBlue && stColour.ucAlpha == m_stColour.ucAlpha;
    if (!bSame) {
        Flush();
        m_stColour = stColour;
    }
}

/** The first column whose centre lies right of x; within the clip, or just behind it. */
LONG_32 COverlayPainter::Column(double x) const {
    return m_stClip.lX + static_cast<LONG_32>(Clamp(x - m_stClip.lX, 0, m_stClip.lWidth) + 0.5);
}

LONG_32 COverlayPainter::Row(double y) const {
    return m_stClip.lY + static_cast<LONG_32>(Clamp(y - m_stClip.lY, 0, m_stClip.lHeight) + 0.5);
}

/** Adds a rectangle that lies within the clip. */
void COverlayPainter::Rect(LONG_32 lLeft, LONG_32 lTop, LONG_32 lRight, LONG_32 lBottom) {
    if (lLeft >= lRight || lTop >= lBottom || m_dlMayFill <= 0) {
        return;
    }
    m_dlMayFill -= DLONG{lRight - lLeft} * (lBottom - lTop) + RECT_COST;
    m_astRect[m_ulNum++] = {lLeft, lTop, lRight - lLeft, lBottom - lTop};
    if (m_ulNum == OVERLAY_BATCH) {
        Flush();
    }
}

void COverlayPainter::Box(const OVERLAY_POINT &stFirst, const OVERLAY_POINT &stLast, LONG_32 lWidth) {
    const double dHalf = lWidth / 2.0;
    const auto [dLeft, dRight] = std::minmax(stFirst.x, stLast.x);
    const auto [dTop, dBottom] = std::minmax(stFirst.y, stLast.y);
    const LONG_32 lLeft = Column(dLeft - dHalf), lRight = Column(dRight + dHalf);
    const LONG_32 lTop = Row(dTop - dHalf), lBottom = Row(dBottom + dHalf);
    if (dRight - dLeft <= lWidth || dBottom - dTop <= lWidth) {
        Rect(lLeft, lTop, lRight, lBottom);  // its sides touch
        return;
    }
    const LONG_32 lInLeft = Column(dLeft + dHalf), lInRight = Column(dRight - dHalf);
    const LONG_32 lInTop = Row(dTop + dHalf), lInBottom = Row(dBottom - dHalf);
    Rect(lLeft, lTop, lRight, lInTop);
    Rect(lLeft, lInTop, lInLeft, lInBottom);
    Rect(lInRight, lInTop, lRight, lInBottom);
    Rect(lLeft, lInBottom, lRight, lBottom);
}

/** The rows that a stroke reaches, as a span from top to bottom. */
SPAN COverlayPainter::StrokeRows(const COverlayStrokes::STROKE &stStroke) const {
    return {Row(stStroke.stMiddle.y - stStroke.dHeight), Row(stStroke.stMiddle.y + stStroke.dHeight)};
}

/** Where a row crosses a stroke; false if it doesn't. */
bool COverlayPainter::StrokeSpan(const COverlayStrokes::STROKE &stStroke, LONG_32 lRow, SPAN *pstSpan) const {
    const double dY = lRow + 0.5 - stStroke.stMiddle.y;
    const double dFirst = dY * stStroke.adSlope[0];
    const double dSecond = dY * stStroke.adSlope[1];
    const double dLeft = std::max(dFirst - stStroke.adReach[0], dSecond - stStroke.adReach[1]);
    const double dRight = std::min(dFirst + stStroke.adReach[0], dSecond + stStroke.adReach[1]);
    *pstSpan = {Column(stStroke.stMiddle.x + dLeft), Column(stStroke.stMiddle.x + dRight)};
    return pstSpan->lLeft < pstSpan->lRight;
}

void COverlayPainter::StrokeAlone(const COverlayStrokes::STROKE &stStroke) {
    const SPAN stRows = StrokeRows(stStroke);
    SPAN stSpan;
    if (stStroke.stAlong.x == 0 || stStroke.stAlong.y == 0) {  // every row is the same
        if (StrokeSpan(stStroke, stRows.lLeft, &stSpan)) {
            Rect(stSpan.lLeft, stRows.lLeft, stSpan.lRight, stRows.lRight);
        }
        return;
    }
    CSpanStack oStack(*this);
    for (LONG_32 lRow = stRows.lLeft; lRow < stRows.lRight; ++lRow) {
        if (StrokeSpan(stStroke, lRow, &stSpan)) {
            oStack.Add(lRow, &stSpan, 1);
        }
    }
}

void COverlayPainter::Strokes(const COverlayStrokes &oStrokes) {
    if (m_stColour.ucAlpha == 255) {  // covering twice looks like covering once
        for (ULONG_32 i = 0; i < oStrokes.Count(); ++i) {
            StrokeAlone(oStrokes.At(i));
        }
        return;
    }
    SPAN astRows[COverlayStrokes::MAX_STROKES];
    SPAN stAll = {m_stClip.lY + m_stClip.lHeight, m_stClip.lY};
    for (ULONG_32 i = 0; i < oStrokes.Count(); ++i) {
        astRows[i] = StrokeRows(oStrokes.At(i));
        stAll = {std::min(stAll.lLeft, astRows[i].lLeft), std::max(stAll.lRight, astRows[i].lRight)};
    }
    CSpanStack oStack(*this);
    for (LONG_32 lRow = stAll.lLeft; lRow < stAll.lRight; ++lRow) {
        SPAN astSpan[COverlayStrokes::MAX_STROKES];
        ULONG_32 ulNum = 0;
        for (ULONG_32 i = 0; i < oStrokes.Count(); ++i) {
            const bool bReaches = lRow >= astRows[i].lLeft && lRow < astRows[i].lRight;
            ulNum += bReaches && StrokeSpan(oStrokes.At(i), lRow, &astSpan[ulNum]);
        }
        oStack.Add(lRow, astSpan, Join(astSpan, ulNum));
    }
}

void COverlayPainter::Fill(const OVERLAY_POINT *pastCorner, ULONG_32 ulNum) {
    ulNum = std::min<ULONG_32>(ulNum, COverlayStrokes::MAX_STROKES);
    double dTop = 1e18;
    double dBottom = -1e18;
    for (ULONG_32 i = 0; i < ulNum; ++i) {
        dTop = std::min(dTop, pastCorner[i].y);
        dBottom = std::max(dBottom, pastCorner[i].y);
    }
    CSpanStack oStack(*this);
    for (LONG_32 lRow = Row(dTop), lEnd = Row(dBottom); lRow < lEnd; ++lRow) {
        LONG_32 alCross[COverlayStrokes::MAX_STROKES];
        ULONG_32 ulCrosses = 0;
        const double dY = lRow + 0.5;
        for (ULONG_32 i = 0; i < ulNum; ++i) {
            const OVERLAY_POINT &stFrom = pastCorner[i];
            const OVERLAY_POINT &stTo = pastCorner[i + 1 < ulNum ? i + 1 : 0];
            if ((stFrom.y <= dY) != (stTo.y <= dY)) {
                const double dPart = (dY - stFrom.y) / (stTo.y - stFrom.y);
                alCross[ulCrosses++] = Column(stFrom.x + (stTo.x - stFrom.x) * dPart);
            }
        }
        std::sort(alCross, alCross + ulCrosses);
        SPAN astSpan[COverlayStrokes::MAX_STROKES / 2];
        ULONG_32 ulSpans = 0;
        for (ULONG_32 i = 0; i + 1 < ulCrosses; i += 2) {
            astSpan[ulSpans] = {alCross[i], alCross[i + 1]};
            ulSpans += alCross[i] < alCross[i + 1];
        }
        oStack.Add(lRow, astSpan, ulSpans);
    }
}
