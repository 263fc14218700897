/**
 * @file callbacks.h
 * @brief The taps along the road.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PIPELINE_CALLBACKS_H
#define ZELVANE_PIPELINE_CALLBACKS_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_SetSourceMediaDataCB(ULONG_32 ulPort, PLAYER_SOURCE_MEDIA_DATA_CALLBACK_PF pfnFunc,
                                                BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetParseVideoDataCB(ULONG_32 ulPort, PLAYER_PARSE_VIDEO_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetParseAudioDataCB(ULONG_32 ulPort, PLAYER_PARSE_AUDIO_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDecodeVideoMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_VIDEO_DATA_CALLBACK_PF pfnFunc,
                                                     BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDecodeAudioMediaDataCB(ULONG_32 ulPort, PLAYER_DECODE_AUDIO_DATA_CALLBACK_PF pfnFunc,
                                                     BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetDrawMediaDataCB(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnFunc, void *pUserParam);
MODULE_API ULONG_32 Player_SetDrawMediaDataCBEx(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnFunc,
                                                void *pUserParam);
MODULE_API ULONG_32 Player_SetParseVoiceDataCB(ULONG_32 ulPort, PLAYER_PARSE_VOICE_DATA_CALLBACK_PF pfnFunc,
                                               BOOL_T bContinue, void *pUserParam);
MODULE_API ULONG_32 Player_SetVideoCallBackMode(ULONG_32 ulPort, ULONG_32 lRectify);
/** Given to the display; pUserParam is the port. */
MODULE_API void Player_DrawDataCB(HANDLE hDrawHandle, HANDLE hDrawing, void *pUserParam, LONG_REAL lReserved);
MODULE_API ULONG_32 Player_ExecuteSourceCB(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_ExecuteFrameCB(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_ExecuteDecodeCB(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_RectifyDecodeCB(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstDecodeVideoData);
}

#endif
