/**
 * @file mp4_inner.h
 * @brief What the parts of the MP4 box reader share.
 */
#ifndef ZELVANE_FILE_MP4_INNER_H
#define ZELVANE_FILE_MP4_INNER_H

#include <stdio.h>

#include <algorithm>

#include "player_public.h"

/** Bytes of a box's head. */
inline constexpr ULONG_32 MP4_HEAD_SIZE = 8;

/** Size and type in front of every box. */
struct MP4_HEAD_S {
    ULONG_32 ulSize;
    CHAR szType[5];
};

/** Reads the head of the box at a place, and leaves the file behind it; all zero if the place can't be reached. */
MP4_HEAD_S Mp4_ReadHead(FILE *pFile, DLONG dlPos);

/** Whether a head has this type. */
bool Mp4_IsType(const MP4_HEAD_S &stHead, const CHAR *pcType);

/** A type's four characters as one number, first in the top byte. */
ULONG_32 Mp4_TypeWord(const CHAR *pcType);

/** Reads a buffer full; what is not there becomes 0. */
void Mp4_ReadBytes(FILE *pFile, void *pTo, size_t ulCount);

/** Reads the version and flags that open many boxes. */
void Mp4_ReadVersion(FILE *pFile, UCHAR *pucVersion, ULONG_32 *pulFlags);

/** Length of a file; its position stays. 0 if it has none. */
DLONG Mp4_FileLength(FILE *pFile);

/** Bytes of a box behind its head and ulFixed more. */
inline ULONG_32 Mp4_Body(ULONG_32 ulBoxSize, ULONG_32 ulFixed) {
    return ulBoxSize - std::min(ulBoxSize, MP4_HEAD_SIZE + ulFixed);
}

#endif
