/**
 * @file port_settings.h
 * @brief What a client sets and asks of a port's decoding, display and sound.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PIPELINE_PORT_SETTINGS_H
#define ZELVANE_PIPELINE_PORT_SETTINGS_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_GetPictureSize(ULONG_32 ulPort, LONG_32 *plWidth, LONG_32 *plHeight);
MODULE_API ULONG_32 Player_GetEncodeType(ULONG_32 ulPort, ULONG_32 *pulVideoEncodeType, ULONG_32 *pulAudioEncodeType);
MODULE_API ULONG_32 Player_SetAdjust(ULONG_32 ulPort, BOOL_T bAble, PLAYER_VIDEOADJUST_PARAM_S *pstParam);
MODULE_API ULONG_32 Player_GetAdjust(ULONG_32 ulPort, PLAYER_VIDEOADJUST_PARAM_S *pstParam);
MODULE_API ULONG_32 Player_SetDeinterlaceMode(ULONG_32 ulPort, BOOL_T bAble, PLAYER_DEINTERLACEMODE_E enMode);
/** The result is the exported function's own: 0 when asked for hardware, 1 when it is taken back. */
MODULE_API BOOL_T Player_AbleGpuDecode(BOOL_T bAble);
MODULE_API ULONG_32 Player_AbleGpuDecodeEx(BOOL_T bAble, PLAYER_GPU_ABLE_STATE_S *pstGpuAbleState);
MODULE_API ULONG_32 Player_SetGpuDrawEnable(ULONG_32 ulPort, BOOL_T bAble);
MODULE_API ULONG_32 Player_SetOneFrameDecodeMode(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetPictureFluency(ULONG_32 ulPort, ULONG_32 ulFluency);
MODULE_API ULONG_32 Player_PauseLive(ULONG_32 ulPort, BOOL_T bPause);
MODULE_API ULONG_32 Player_SetDecodeQueueBufferNum(ULONG_32 ulPort, ULONG_32 ulDecodeBufferNum);
MODULE_API ULONG_32 Player_SetRenderScale(ULONG_32 ulPort, LONG_32 lRenderScale);
MODULE_API ULONG_32 Player_GetRenderScale(ULONG_32 ulPort, LONG_32 *plRenderScale);
MODULE_API ULONG_32 Player_SetDigitalZoom(ULONG_32 ulPort, PLAYER_RECT_S *pstRect);
MODULE_API ULONG_32 Player_OpenSound(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_CloseSound(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_GetSoundVolume(ULONG_32 ulPort, LONG_32 *plVolume);
MODULE_API ULONG_32 Player_SetSoundVolume(ULONG_32 ulPort, LONG_32 lVolume);
MODULE_API ULONG_32 Player_SetMicVolume(ULONG_32 ulPort, LONG_32 lVolume);
MODULE_API ULONG_32 Player_GetMicVolume(ULONG_32 ulPort, LONG_32 *plVolume);
MODULE_API ULONG_32 Player_SetMicQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);
MODULE_API ULONG_32 Player_GetMicQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);
MODULE_API ULONG_32 Player_SetSoundQuietStatus(ULONG_32 ulPort, BOOL_T bQuiet);
MODULE_API ULONG_32 Player_GetSoundQuietStatus(ULONG_32 ulPort, BOOL_T *pbQuiet);
MODULE_API ULONG_32 Player_SetPlaySoundChannel(ULONG_32 ulPort, ULONG_32 ulChannel);
}

#endif
