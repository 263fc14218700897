/**
 * @file pacing.h
 * @brief Arithmetic of the waits on the decode and the render side.
 */
#ifndef ZELVANE_PIPELINE_PACING_H
#define ZELVANE_PIPELINE_PACING_H

#include "port/player_manager.h"

/** Whether the mode asks for an even flow. */
bool Pacing_IsEven(PLAYER_PICTURE_FLUENCY_E enMode);

/** Backlog hoped for in the ring, frames. Nothing sets one in this version. */
ULONG_32 Pacing_HopeBufNum(const PLAEYR_PORT_S *pstPort);

/** Time that a picture stands on the render side, milliseconds. */
LONG_32 Pacing_FrameTime(const PLAEYR_PORT_S *pstPort);

/** Sleeps if the wait is from 1 to 999 ms; all else is dropped. The flag's end and Port_WakeAll cut it short. */
void Pacing_Wait(PLAEYR_PORT_S *pstPort, const BOOL_T *pbRun, LONG_32 lWaitTime);

/** Milliseconds since a time, or false with a warning when the clock went back. */
bool Pacing_UsedTime(const PLAEYR_PORT_S *pstPort, const CHAR *pcWhere, const struct timeval *pstSince,
                     struct timeval *pstNow, LONG_32 *plUsedTime);

extern "C" {

/** The decode side's pacing wait between two video frames. */
MODULE_API void Player_WaitForDecodeTime(PLAEYR_PORT_S *pstPort);
/** Correction of a wait by the backlog, milliseconds. */
MODULE_API LONG_32 Player_MashTimeFrameCount(ULONG_32 ulFrameCount, ULONG_32 ulHopeBufNum, LONG_32 lFrameRate);
}

#endif
