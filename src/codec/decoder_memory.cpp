#include "codec/decoder_memory.h"

namespace {

struct VIRTUAL_SIZE_ROW_S {
    PLAYER_DECODE_SYSTYPE_E enSystem;
    ULONG_32 aulH264[8]; /**< megabytes, PLAYER_DECODE_RESOLUTION_CIF and up */
    ULONG_32 aulH265[6];
};

const VIRTUAL_SIZE_ROW_S gastVirtualSize[] = {
    {PLAYER_DECODE_SYSTYPE_WIN7, {8, 9, 10, 16, 30, 60, 160, 250}, {25, 30, 35, 50, 100, 180}},
    {PLAYER_DECODE_SYSTYPE_WIN8, {10, 11, 12, 22, 41, 64, 135, 190}, {30, 40, 50, 65, 103, 170}},
    {PLAYER_DECODE_SYSTYPE_WIN10, {9, 10, 12, 22, 42, 62, 135, 190}, {29, 40, 42, 62, 120, 195}},
};

PLAYER_MALLOC_INFO_S *FillVirtualSizes(const VIRTUAL_SIZE_ROW_S &stRow, PLAYER_MALLOC_INFO_S *pstInfo) {
    ULONG_32 ulResolution = PLAYER_DECODE_RESOLUTION_CIF;
    for (ULONG_32 ulSize : stRow.aulH264) {
        *pstInfo++ = {stRow.enSystem, PLAYER_VIDEO_ENCODE_H264, ulResolution++, ulSize};
    }
    ulResolution = PLAYER_DECODE_RESOLUTION_CIF;
    for (ULONG_32 ulSize : stRow.aulH265) {
        *pstInfo++ = {stRow.enSystem, PLAYER_VIDEO_ENCODE_H265, ulResolution++, ulSize};
    }
    return pstInfo;
}

}  // namespace

ULONG_32 Player_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo) {
    if (pulMallocNum == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (*pulMallocNum != PLAYER_MALLOC_INFO_NUM) {
        *pulMallocNum = PLAYER_MALLOC_INFO_NUM;
        return PLAYER_ERR_FAILED;
    }
    if (pastMallocInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    for (const VIRTUAL_SIZE_ROW_S &stRow : gastVirtualSize) {
        pastMallocInfo = FillVirtualSizes(stRow, pastMallocInfo);
    }
    return PLAYER_ERR_OK;
}
