/**
 * @file overlay_paint.h
 * @brief Lines, areas and boxes as rectangles of whole pixels; private to overlay.
 *
 * A pixel belongs to a shape whose edge passes left of its centre. Rectangles of a shape never overlap, so that a
 * see-through line has no darker spots where its pieces meet.
 */
#ifndef ZELVANE_ANALYTICS_OVERLAY_PAINT_H
#define ZELVANE_ANALYTICS_OVERLAY_PAINT_H

#include "analytics/overlay.h"

/** A point in the pixels of the window; its fraction counts. */
struct OVERLAY_POINT {
    double x;
    double y;
};

/** Strokes of one shape, which are filled as one. */
class COverlayStrokes {
 public:
    static constexpr ULONG_32 MAX_STROKES = 24;  // sides of an area, or pieces of a line and two arrows

    /** Adds a stroke; one without length is left out. */
    void Add(const OVERLAY_POINT &stFrom, const OVERLAY_POINT &stTo, double dWidth);
    ULONG_32 Count() const { return m_ulCount; }

    /** A stroke: the points that lie within half its length along it and half its width across it from its middle. On a
     *  row dY below the middle these are two stretches, about dSlope * dY right of the middle and dReach to either
     * side, and the stroke is where both are. */
    struct STROKE {
        OVERLAY_POINT stMiddle;
        OVERLAY_POINT stAlong;  // of length 1
        double dHeight;         // rows above and below the middle
        double adSlope[2];
        double adReach[2];
    };
    const STROKE &At(ULONG_32 i) const { return m_astStroke[i]; }

 private:
    STROKE m_astStroke[MAX_STROKES];
    ULONG_32 m_ulCount = 0;
};

/** Collects rectangles and hands them on in batches of a colour, until the overlay has filled what it may. */
class COverlayPainter {
 public:
    COverlayPainter(const OVERLAY_RECT_S &stClip, OVERLAY_FILL_PF pfnFill, void *pUser);
    ~COverlayPainter() { Flush(); }
    COverlayPainter(const COverlayPainter &) = delete;
    COverlayPainter &operator=(const COverlayPainter &) = delete;

    /** Sets the colour of what follows. */
    void SetColour(const OVERLAY_COLOUR_S &stColour);
    /** The frame of a box between two corners. */
    void Box(const OVERLAY_POINT &stFirst, const OVERLAY_POINT &stLast, LONG_32 lWidth);
    /** All that the strokes cover. */
    void Strokes(const COverlayStrokes &oStrokes);
    /** What lies inside a polygon, by the even-odd rule. */
    void Fill(const OVERLAY_POINT *pastCorner, ULONG_32 ulNum);

    /** A part of a row, from lLeft to before lRight. */
    struct SPAN {
        LONG_32 lLeft;
        LONG_32 lRight;
    };

 private:
    friend class CSpanStack;
    void Rect(LONG_32 lLeft, LONG_32 lTop, LONG_32 lRight, LONG_32 lBottom);
    LONG_32 Column(double x) const;
    LONG_32 Row(double y) const;
    void StrokeAlone(const COverlayStrokes::STROKE &stStroke);
    bool StrokeSpan(const COverlayStrokes::STROKE &stStroke, LONG_32 lRow, SPAN *pstSpan) const;
    SPAN StrokeRows(const COverlayStrokes::STROKE &stStroke) const;
    void Flush();

    const OVERLAY_RECT_S m_stClip;
    const OVERLAY_FILL_PF m_pfnFill;
    void *const m_pUser;
    OVERLAY_COLOUR_S m_stColour = {};
    OVERLAY_RECT_S m_astRect[OVERLAY_BATCH];
    ULONG_32 m_ulNum = 0;
    DLONG m_dlMayFill;  // pixels
};

#endif
