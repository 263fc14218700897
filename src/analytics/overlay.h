/**
 * @file overlay.h
 * @brief What analytics records look like over a picture, as filled rectangles in the pixels of a window.
 *
 * Coordinates of records count in parts of OVERLAY_SCALE of the picture's width and height from its top left. A line is
 * 2 pixels wide, half of it on either side of its coordinate, and 4 while its rule is set off or for a target that sets
 * off a rule. Everything is clipped to the picture.
 *
 * Drawn are the rules of version 1 and 2 (lines, with an arrow in their middle for the direction that sets them off,
 * and areas) and the boxes of version-2 targets. An arrow for clockwise points to where the first corner would turn the
 * line clockwise; a version-1 line's arrow shows the direction that it forbids. A version-1 record does not say where
 * its targets are.
 *
 * Nothing here has state; any thread. Whatever a record says, the work is bounded: by the numbers of records, and by
 * the pixels that one picture's overlay may fill.
 */
#ifndef ZELVANE_ANALYTICS_OVERLAY_H
#define ZELVANE_ANALYTICS_OVERLAY_H

#include "analytics/iva_show.h"
#include "analytics/module_iva.h"

enum : ULONG_32 {
    OVERLAY_SCALE = 10000,      /**< a record's coordinate of the picture's right or lower border */
    OVERLAY_MAX_RULES = 256,    /**< rules that are drawn */
    OVERLAY_MAX_TARGETS = 1024, /**< targets that are drawn */
    OVERLAY_MAX_COVER = 8,      /**< how many times over an overlay may fill its picture's area */
    OVERLAY_BATCH = 256,        /**< most rectangles of one call of OVERLAY_FILL_PF */
};

/** Pixels of a window. */
typedef struct tagOverlayRectS {
    LONG_32 lX;      /**< left */
    LONG_32 lY;      /**< top */
    LONG_32 lWidth;  /**< columns; none if not positive */
    LONG_32 lHeight; /**< rows; none if not positive */
} OVERLAY_RECT_S;

/** How pixels are filled. */
typedef struct tagOverlayColourS {
    UCHAR ucRed;
    UCHAR ucGreen;
    UCHAR ucBlue;
    UCHAR ucAlpha; /**< 255 covers, less blends */
} OVERLAY_COLOUR_S;

/** Takes up to OVERLAY_BATCH rectangles of one colour, all inside the picture and none empty. */
typedef void (*OVERLAY_FILL_PF)(const OVERLAY_COLOUR_S &stColour, const OVERLAY_RECT_S *pastRect, ULONG_32 ulNum,
                                void *pUser);

extern "C" {

/**
 * Draws a record.
 *
 * @param stInfo    copy that travels with the picture; the result of DataCopy()
 * @param stShow    what of it is wanted
 * @param stPicture where in the window the picture is
 * @param pfnFill   called in the order of drawing
 */
MODULE_API void Overlay_Draw(const IVA_INFO_S &stInfo, const IVA_SHOW_PARAM_S &stShow, const OVERLAY_RECT_S &stPicture,
                             OVERLAY_FILL_PF pfnFill, void *pUser);

}  // extern "C"

#endif
