/**
 * @file decoder_memory.h
 * @brief Memory that decoders take, by system and picture size.
 */
#ifndef ZELVANE_CODEC_DECODER_MEMORY_H
#define ZELVANE_CODEC_DECODER_MEMORY_H

#include "foundations/player_types.h"

extern "C" {

MODULE_API ULONG_32 Player_GetTotalVirtualSize(ULONG_32 *pulMallocNum, PLAYER_MALLOC_INFO_S *pastMallocInfo);
}

#endif
