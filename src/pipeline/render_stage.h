/**
 * @file render_stage.h
 * @brief The window of a port: start, stop, and the thread that paces its pictures.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_PIPELINE_RENDER_STAGE_H
#define ZELVANE_PIPELINE_RENDER_STAGE_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_StartPlay(ULONG_32 ulPort, HANDLE hWnd);
MODULE_API ULONG_32 Player_StopPlay(ULONG_32 ulPort);
/** The render thread of a port with a window; pParam is the port. */
MODULE_API void *__RenderThreadEntry(void *pParam);
}

#endif
