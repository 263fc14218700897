/**
 * @file zvmjpeg_chroma.h
 * @brief Planes of any JPEG sampling brought into the 4:2:0 that the player works with, and the way back.
 */
#ifndef ZELVANE_ADAPTERS_ZVMJPEG_CHROMA_H
#define ZELVANE_ADAPTERS_ZVMJPEG_CHROMA_H

#include "player_public.h"

/** One plane of 8-bit samples. */
struct PLANE {
    UCHAR *pucData; /**< first row */
    int lStride;    /**< bytes from one row to the next */
};

/** Size of a plane. */
struct PLANE_SIZE {
    int lWidth;  /**< samples of a row */
    int lHeight; /**< rows */
};

/** How many luma columns and rows one chroma sample serves: 1, 2 or 4. */
struct SAMPLING {
    int lColumns; /**< columns */
    int lRows;    /**< rows */
};

/** Copies rows. */
void Chroma_CopyPlane(PLANE stIn, PLANE stOut, PLANE_SIZE stSize);

/** Sets all samples to one value. */
void Chroma_FillPlane(PLANE stOut, PLANE_SIZE stSize, UCHAR ucValue);

/**
 * Brings a chroma plane to one sample for each 2 x 2 luma pixels: the mean of what serves these four.
 * @param stSize size of the output: half of the luma plane, rounded down
 */
void Chroma_ToHalf(PLANE stIn, PLANE stOut, PLANE_SIZE stSize, SAMPLING stSampling);

/** Copies a plane into a larger one and repeats its last column and row there. An empty plane leaves the output. */
void Chroma_PadPlane(PLANE stIn, PLANE_SIZE stHave, PLANE stOut, PLANE_SIZE stFull);

#endif
