/**
 * @file last_error.h
 * @brief The calling thread's last error.
 *
 * Each Zelvane_Init() begins a new generation, in which no thread has failed yet: an error of an older one reads 0.
 */
#ifndef ZELVANE_FRAME_LAST_ERROR_H
#define ZELVANE_FRAME_LAST_ERROR_H

#include "player_public.h"

void LastError_NewGeneration();
void LastError_Set(ULONG_32 ulError);
ULONG_32 LastError_Get();

#endif
