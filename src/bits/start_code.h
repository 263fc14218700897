/**
 * @file start_code.h
 * @brief Search for Annex B start codes (ITU-T H.264 and H.265, Annex B); private to the intake.
 */
#ifndef ZELVANE_BITS_START_CODE_H
#define ZELVANE_BITS_START_CODE_H

#include <cstddef>

#include "player_public.h"

/** The start code that the library writes in front of each unit. */
inline constexpr UCHAR START_CODE[4] = {0, 0, 0, 1};

/**
 * First 00 00 01 at or behind ulFrom that lies whole in the ulLen bytes; ulLen if there is none. Steps by three where
 * the third byte rules out every place, so that most bytes are never looked at.
 */
inline size_t StartCode_Find(const UCHAR *pucData, size_t ulLen, size_t ulFrom) {
    size_t i = ulFrom;
    while (ulLen >= 3 && i <= ulLen - 3) {
        UCHAR ucThird = pucData[i + 2];
        if (ucThird > 1) {
            i += 3;
        } else if (ucThird == 1 && pucData[i] == 0 && pucData[i + 1] == 0) {
            return i;
        } else {
            ++i;
        }
    }
    return ulLen;
}

#endif
