/**
 * @file mp4_places.h
 * @brief Where the samples of a foreign MP4 file lie, by its tables and its fragments.
 *
 * Recordings are listed by a walk through their media data (mp4_samples.cpp). What other writers lay out in another way
 * goes by this.
 */
#ifndef ZELVANE_FILE_MP4_PLACES_H
#define ZELVANE_FILE_MP4_PLACES_H

#include <stdio.h>

#include "file/mp4_boxes.h"

/** Reads the defaults of fragments. The file stands behind the head of "mvex". */
void Mp4_ReadDefaults(FILE *pFile, ULONG_32 ulBoxSize, mp4_moov_box *pstMoov);

/** Reads the fragment whose "moof" starts at a place, and adds its samples to their tracks. */
void Mp4_ReadFragment(FILE *pFile, DLONG dlPos, ULONG_32 ulBoxSize, mp4_moov_box *pstMoov);

/** Whether the file has samples in fragments. */
bool Mp4_HasFragments(const mp4_moov_box &stMoov);

/**
 * Lists the samples of the video track and of the first sound track that can be played, by decoding time.
 * @return false, with all as it was, when the tables don't agree with each other or no track can be played. May throw
 *         std::bad_alloc
 */
bool Mp4_ListPlaces(mp4_moov_box *pstMoov);

#endif
