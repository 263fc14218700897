/**
 * @file picture_stamps.h
 * @brief Which stamp a picture carries: frames go into a video decoder in one order and pictures come out in another.
 *
 * A record belongs to the thread that decodes.
 */
#ifndef ZELVANE_CODEC_PICTURE_STAMPS_H
#define ZELVANE_CODEC_PICTURE_STAMPS_H

#include "foundations/player_types.h"

enum { PICTURE_STAMPS_NUM = 64 };

/**
 * What goes into a video decoder comes out later and in another order: a picture carries the smallest stamp that was
 * fed and not yet given.
 */
typedef struct tagPictureStampsS {
    DULONG adulFed[PICTURE_STAMPS_NUM]; /**< without order */
    ULONG_32 ulNum;
    BOOL_T bFresh;      /**< the decoder holds nothing yet */
    BOOL_T bLeading;    /**< what comes may refer to pictures before the one at which decoding began */
    DULONG dulKeyStamp; /**< of that picture */
} PICTURE_STAMPS_S;

/** Forgets all: what comes has nothing to do with what was before. */
void Stamps_Forget(PICTURE_STAMPS_S *pstStamps);

/**
 * Notes the stamp of a frame on its way into the decoder. H.265 pictures that refer to what was before the place at
 * which decoding began are left out: they take the stamps of those that would have been shown first.
 * @param bShown whether its picture will be shown
 * @return false if the frame is to be left out
 */
bool Stamps_Feed(PICTURE_STAMPS_S *pstStamps, const CODEC_FRAME_S &stFrame, LONG_32 lPayload, bool bShown);

/** The stamp of a picture that came out; dulOtherwise if none was fed. */
DULONG Stamps_Take(PICTURE_STAMPS_S *pstStamps, DULONG dulOtherwise);

/** Notes that so many of the next pictures will never come. */
void Stamps_Drop(PICTURE_STAMPS_S *pstStamps, ULONG_32 ulCount);

#endif
