/**
 * @file check_mark.h
 * @brief The watermark check of a file. It runs on the client's thread and needs a port without a source.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_CHECK_MARK_H
#define ZELVANE_SOURCE_CHECK_MARK_H

#include "port/player_manager.h"

extern "C" {

/** See Zelvane_CheckMark(). */
MODULE_API ULONG_32 Player_CheckMark(ULONG_32 ulPort, const CHAR *pcFilename, PLAYER_MARK_INFO_S *pstMarkInfo);
/** Ends a check that another thread runs. PLAYER_ERR_NOT_SUPPORT although that took effect. */
MODULE_API ULONG_32 Player_CheckMarkCancel(ULONG_32 ulPort);
/** Frees the list of a result; accepts null. */
MODULE_API void Player_FreeMarkInfo(PLAYER_MARK_INFO_S *pstMarkInfo);
/** Tests the frame in stFrameData, whose buffer has VIDEO_FRAME_BUFFER_SIZE bytes; see Watermark_CheckFrame(). */
MODULE_API ULONG_32 Player_CheckOneFrame(PLAEYR_PORT_S *pstPort);
}

#endif
