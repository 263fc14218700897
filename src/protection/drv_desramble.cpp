#include "protection/drv_desramble.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "bits/start_code.h"

namespace {

constexpr ULONG_32 DESCRAMBLE_FAILED = 1;
constexpr size_t SEI_SEARCH_LEN = 1000;  // positions looked at for a unit, and for the one behind it
constexpr size_t BLOCK = sizeof(__m128i);
constexpr UCHAR SUBTYPE_RAND = 20;
constexpr UCHAR SUBTYPE_KEY = 36;

/** Where a codec's slices and messages are told by. */
struct FORMAT_ROW {
    UCHAR ucSliceMask;
    UCHAR aucSlice[2];  // by SCRAMBLE_FRAME_E
    UCHAR aucSei[6];    // start code, unit header, payload type of user data
    size_t ulSeiLen;
};

/** By SCRAMBLE_FORMAT_E. An H.264 header is told by four bits of it, not by the five of the type. */
constexpr FORMAT_ROW FORMATS[] = {{15, {5, 1}, {0, 0, 1, 0x06, 5}, 5}, {126, {38, 2}, {0, 0, 1, 0x4E, 1, 5}, 6}};

/** Offset of the first slice's header; ulLen if there is none. */
size_t FindSlice(const UCHAR *pucFrame, size_t ulLen, const FORMAT_ROW &stFormat, SCRAMBLE_FRAME_E enType) {
    size_t i = StartCode_Find(pucFrame, ulLen, 0);
    while (i + 3 < ulLen && (pucFrame[i + 3] & stFormat.ucSliceMask) != stFormat.aucSlice[enType]) {
        i = StartCode_Find(pucFrame, ulLen, i + 3);
    }
    return std::min(i + 3, ulLen);
}

/** The byte that was XORed over the slice. */
UCHAR XorByte(ULONG_32 ulKey) {
    const UCHAR ucLow = static_cast<UCHAR>(ulKey);
    return (ucLow & 15) == 0 ? ucLow | 15 : ucLow;
}

bool IsEmulation(const UCHAR *pucAt, size_t ulLeft) {
    return ulLeft >= 3 && pucAt[0] == 0 && pucAt[1] == 0 && pucAt[2] == 3;
}

/** Copies a block that has no two zeros in a row, XORed; false, with nothing done, if it has. */
bool RestoreBlock(UCHAR *pucTo, const UCHAR *pucFrom, __m128i vKey) {
    const __m128i vHere = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pucFrom));
    const __m128i vNext = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pucFrom + 1));
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_or_si128(vHere, vNext), _mm_setzero_si128())) != 0) {
        return false;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i *>(pucTo), _mm_xor_si128(vHere, vKey));
    return true;
}

/** XORs a frame from ulFrom on and closes the gaps of its emulation prevention bytes. @return the new length */
size_t Restore(UCHAR *pucFrame, size_t ulFrom, size_t ulLen, UCHAR ucKey) {
    const __m128i vKey = _mm_set1_epi8(static_cast<char>(ucKey));
    size_t ulTo = ulFrom;
    while (ulFrom < ulLen) {
        if (ulLen - ulFrom > BLOCK && RestoreBlock(pucFrame + ulTo, pucFrame + ulFrom, vKey)) {
            ulFrom += BLOCK;
            ulTo += BLOCK;
            continue;
        }
        for (const size_t ulStop = std::min(ulLen, ulFrom + BLOCK); ulFrom < ulStop;) {
            const size_t ulKept = IsEmulation(pucFrame + ulFrom, ulLen - ulFrom) ? 2 : 1;
            for (size_t i = 0; i < ulKept; ++i) {
                pucFrame[ulTo++] = pucFrame[ulFrom++] ^ ucKey;
            }
            ulFrom += ulKept == 2;
        }
    }
    return ulTo;
}

ULONG_32 RestoreFrame(ULONG *pulStreamLen, UCHAR *pucInbuf, const DRV_SCRAMBLE_CFG_S *pstCfg, SCRAMBLE_FRAME_E enType) {
    if (pulStreamLen == nullptr || pucInbuf == nullptr || pstCfg == nullptr ||
        pstCfg->ulFormat > SCRAMBLE_FORMAT_H265 || *pulStreamLen >= SCRAMBLE_FRAME_MAX) {
        return DESCRAMBLE_FAILED;
    }
    const size_t ulSlice = FindSlice(pucInbuf, *pulStreamLen, FORMATS[pstCfg->ulFormat], enType);
    if (ulSlice >= *pulStreamLen) {
        return DESCRAMBLE_FAILED;
    }
    if (*pulStreamLen - ulSlice > SCRAMBLE_CLEAR_LEN) {
        *pulStreamLen = Restore(pucInbuf, ulSlice + SCRAMBLE_CLEAR_LEN, *pulStreamLen, XorByte(pstCfg->ulKey));
    }
    return PLAYER_ERR_OK;
}

/** Whether a message of the subtype begins here. A size of 255 and more has a second byte; none has a third. */
bool IsMessage(const UCHAR *pucAt, size_t ulLeft, const FORMAT_ROW &stFormat, UCHAR ucSubtype) {
    const size_t ulSize = stFormat.ulSeiLen;
    if (ulLeft < ulSize + 3 || memcmp(pucAt, stFormat.aucSei, ulSize) != 0) {
        return false;
    }
    return pucAt[ulSize + (pucAt[ulSize] < 255 ? 1 : 2)] == ucSubtype;
}

/** Where the unit behind the one at ulStart begins, with three bytes of start code or four; 0 if there is none. */
size_t FindNextUnit(const UCHAR *pucFrame, size_t ulLen, size_t ulStart, const FORMAT_ROW &stFormat) {
    const size_t ulFrom = ulStart + stFormat.ulSeiLen - 1;
    size_t ulNext = StartCode_Find(pucFrame, ulLen, ulFrom);
    if (ulNext == ulLen) {
        return 0;
    }
    ulNext -= ulNext > ulFrom && pucFrame[ulNext - 1] == 0;
    return ulNext - ulFrom < SEI_SEARCH_LEN ? ulNext : 0;
}

ULONG_32 RemoveSei(ULONG *pulStreamLen, UCHAR *pucInbuf, SCRAMBLE_FORMAT_E enFormat, UCHAR ucSubtype) {
    if (pulStreamLen == nullptr || pucInbuf == nullptr) {
        return DESCRAMBLE_FAILED;
    }
    const FORMAT_ROW &stFormat = FORMATS[enFormat];
    const size_t ulLen = *pulStreamLen;
    size_t i = 0;
    while (i < SEI_SEARCH_LEN && i < ulLen && !IsMessage(pucInbuf + i, ulLen - i, stFormat, ucSubtype)) {
        ++i;
    }
    if (i >= SEI_SEARCH_LEN || i >= ulLen) {
        return DESCRAMBLE_FAILED;
    }
    const size_t ulStart = i > 0 && pucInbuf[i - 1] == 0 ? i - 1 : i;
    const size_t ulNext = FindNextUnit(pucInbuf, ulLen, ulStart, stFormat);
    if (ulNext == 0) {
        return DESCRAMBLE_FAILED;
    }
    memmove(pucInbuf + ulStart, pucInbuf + ulNext, ulLen - ulNext);
    *pulStreamLen = ulLen - (ulNext - ulStart);
    return PLAYER_ERR_OK;
}

}  // namespace

ULONG_32 Descramble_TypeIFrame(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg, UCHAR *) {
    ULONG_32 ulResult = RestoreFrame(pulStreamLen, pucInbuf, pstCfg, SCRAMBLE_FRAME_I);
    if (ulResult == PLAYER_ERR_OK) {
        const SCRAMBLE_FORMAT_E enFormat = static_cast<SCRAMBLE_FORMAT_E>(pstCfg->ulFormat);
        RemoveSei(pulStreamLen, pucInbuf, enFormat, SUBTYPE_RAND);
        RemoveSei(pulStreamLen, pucInbuf, enFormat, SUBTYPE_KEY);
    }
    return ulResult;
}

ULONG_32 Descramble_TypePFrame(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg, UCHAR *) {
    return RestoreFrame(pulStreamLen, pucInbuf, pstCfg, SCRAMBLE_FRAME_P);
}

ULONG_32 Descramble_H264RemoveKeySei(ULONG *pulStreamLen, UCHAR *pucInbuf) {
    return RemoveSei(pulStreamLen, pucInbuf, SCRAMBLE_FORMAT_H264, SUBTYPE_KEY);
}

ULONG_32 Descramble_H264RemoveRandSei(ULONG *pulStreamLen, UCHAR *pucInbuf) {
    return RemoveSei(pulStreamLen, pucInbuf, SCRAMBLE_FORMAT_H264, SUBTYPE_RAND);
}

ULONG_32 Descramble_H265RemoveKeySei(ULONG *pulStreamLen, UCHAR *pucInbuf) {
    return RemoveSei(pulStreamLen, pucInbuf, SCRAMBLE_FORMAT_H265, SUBTYPE_KEY);
}

ULONG_32 Descramble_H265RemoveRandSei(ULONG *pulStreamLen, UCHAR *pucInbuf) {
    return RemoveSei(pulStreamLen, pucInbuf, SCRAMBLE_FORMAT_H265, SUBTYPE_RAND);
}

ULONG_32 Enc_Descramble(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg) {
    if (pstCfg == nullptr || pstCfg->ulFormat > SCRAMBLE_FORMAT_H265) {
        return DESCRAMBLE_FAILED;
    }
    return pstCfg->ulFrameType == SCRAMBLE_FRAME_I ? Descramble_TypeIFrame(pulStreamLen, pucInbuf, pstCfg, nullptr)
                                                   : Descramble_TypePFrame(pulStreamLen, pucInbuf, pstCfg, nullptr);
}
