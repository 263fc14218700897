/**
 * @file trick_play.h
 * @brief Pause, speeds, single steps, seeks and the pace of a file.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_TRICK_PLAY_H
#define ZELVANE_SOURCE_TRICK_PLAY_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_PausePlay(ULONG_32 ulPort, BOOL_T bPause);
/** ulSpeed is a PLAYER_PLAY_SPEED_E. */
MODULE_API ULONG_32 Player_SpeedPlay(ULONG_32 ulPort, ULONG_32 ulSpeed);
/** Shows the next picture and pauses; returns when it has been read, PLAYER_ERR_FAILED if the port closes meanwhile. */
MODULE_API ULONG_32 Player_AFrameGo(ULONG_32 ulPort);
/** PLAYER_ERR_NOT_SUPPORT. */
MODULE_API ULONG_32 Player_AFrameBack(ULONG_32 ulPort);
/** The play thread moves; this only tells it to. */
MODULE_API ULONG_32 Player_SetPlayedTime(ULONG_32 ulPort, ULONG_32 ulTime);
/**
 * Waits until the picture at hand has stood long enough. Any control call ends the wait.
 * @param pstStart when the pass began, as WYK_gettimeofday() gives it
 * @param fSpeed   factor on the time that a picture stands
 */
MODULE_API ULONG_32 Player_FileSleepProc(struct timeval *pstStart, FLOAT fSpeed, PLAEYR_PORT_S *pstPort);
}

#endif
