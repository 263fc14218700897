/**
 * @file port_output.h
 * @brief A port's slice of output: window and sound.
 */
#ifndef ZELVANE_OUTPUT_PORT_OUTPUT_H
#define ZELVANE_OUTPUT_PORT_OUTPUT_H

#include "foundations/player_types.h"

/** Window and sound of a port. */
typedef struct tagPortOutputS {
    /* ---- window: set by the client under the API lock, read by the render thread as words */
    HANDLE hWnd;             /**< client window */
    HANDLE hDisplayDev;      /**< display device: made and freed by StartPlay and StopPlay around its thread */
    ULONG_32 ulDisplayScale; /**< PLAYER_RENDER_SCALE_E */
    ULONG_32 ulDigitalZoom;  /**< zoom switch */
    PLAYER_RECT_S stSrcRect; /**< part of the picture that the zoom shows */
    BOOL_T bUseGpuDraw;      /**< stored; nothing reads it in this version */

    /* ---- sound: the decoding thread makes and drops the device, the client sets words */
    HANDLE hSoundDev;                      /**< sound device, exchanged atomically */
    BOOL_T bStartAudio;                    /**< sound wanted */
    LONG_32 lSoundVolume;                  /**< 0 to 255 */
    BOOL_T bSoundQuiet;                    /**< muted */
    LONG_32 lSoundVolumeBeforeQuiet;       /**< volume to come back to */
    PLAYER_SOUND_CHANNEL_E enSoundChannel; /**< track to play */
} PORT_OUTPUT_S;

#endif
