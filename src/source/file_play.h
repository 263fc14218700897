/**
 * @file file_play.h
 * @brief Files: open, close, times, and the play thread.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_FILE_PLAY_H
#define ZELVANE_SOURCE_FILE_PLAY_H

#include "port/player_manager.h"

extern "C" {

/** Opens a file and starts its play thread, paused. PLAYER_ERR_PARAM for a port in use. */
MODULE_API ULONG_32 Player_OpenMediaFile(ULONG_32 ulPort, const CHAR *pcFilename);
/** Stops everything that runs on a file port and closes the file; success for a port without a file. */
MODULE_API ULONG_32 Player_CloseMediaFile(ULONG_32 ulPort);
/** The play thread of a file port; pParam is the port. */
MODULE_API void *__FilePlayThreadEntry(void *pParam);
/** Reads the next frame of the file into stFrameData; learns the frame rate; puts a head in front of AAC. */
MODULE_API ULONG_32 Player_ParserFile(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrameCtrl);
MODULE_API ULONG_32 Player_GetFileTime(ULONG_32 ulPort, ULONG_32 *pulTotalTime);
/** Region of the next file to open, bytes. */
MODULE_API ULONG_32 Player_SetFilePos(ULONG_32 ulPort, DULONG dulFileStartPos, DULONG dulFileEndPos);
MODULE_API ULONG_32 Player_CurPlayTime(ULONG_32 ulPort, ULONG_32 *pulPlayTime);
/** Fills in the positions of ulPortNum ports; needs no lock. */
MODULE_API ULONG_32 Player_CurPlayTimeEx(ULONG_32 ulPortNum, PLAYBACK_PLAY_TIME *pstPlayTimeArray);
MODULE_API ULONG_32 Player_Mp4GetRealTime(const CHAR *pcFileName, ULONG_32 *pulRealTime);
}

#endif
