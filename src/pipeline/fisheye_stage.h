/**
 * @file fisheye_stage.h
 * @brief Fisheye and PTZ of a port: nothing dewarps, so that most of the calls look for the port and do no more.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PIPELINE_FISHEYE_STAGE_H
#define ZELVANE_PIPELINE_FISHEYE_STAGE_H

#include "port/player_manager.h"

extern "C" {

/** 0: no stream is known as fisheye. */
MODULE_API ULONG_32 Player_IsFishEyeStream(ULONG_32 ulPort);
/** Writes nothing. */
MODULE_API ULONG_32 Player_GetFishEyeParam(ULONG_32 ulPort, PLAYER_POINT_S *pstCenterPoint, ULONG_32 *pulRadius,
                                           void *pParm);
/** A mode other than PLAYER_ORIGINAL makes the next decoder a software one. */
MODULE_API ULONG_32 Player_SetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 ulPtzMode, ULONG_32 ulFixMode);
/** Writes nothing. */
MODULE_API ULONG_32 Player_GetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 *pulPtzMode, ULONG_32 *pulFixMode);
MODULE_API ULONG_32 Player_SetPtzDisplayMode(ULONG_32 ulPort, ULONG_32 ulPtzMode);
MODULE_API ULONG_32 Player_SetPtzKeepAliveTime(ULONG_32 ulPort, ULONG_32 ulKeepAliveTime);
MODULE_API ULONG_32 Player_OnMouseMove(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);
MODULE_API ULONG_32 Player_OnLButtonDown(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);
MODULE_API ULONG_32 Player_OnLButtonUp(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint);
MODULE_API ULONG_32 Player_OnMouseWheel(ULONG_32 ulPort, ULONG_32 ulFlags, SHORT sDelta, PLAYER_POINT_S stPoint);
/** PLAYER_ERR_NOT_SUPPORT. */
MODULE_API ULONG_32 Player_FaceCorrectFunc(const CHAR *pcFilePath, const CHAR *pcFacePath, CHAR *pcModelPath);
/** Once a frame, on the thread that decodes: does nothing. */
MODULE_API void Player_CatchFishState(PLAEYR_PORT_S *pstPort);
/**
 * Once a frame, behind Sei_Parse(), on the thread that decodes: reports with PLAYER_RUN_PTZ_STREAM that key frames carry
 * analytics, and with PLAYER_RUN_PTZ_STREAM_END that they no longer do. Clears the two analytics bits of ulSeiType.
 */
MODULE_API void Player_CatchPtzState(PLAEYR_PORT_S *pstPort);
}

#endif
