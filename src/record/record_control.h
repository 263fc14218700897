/**
 * @file record_control.h
 * @brief The client's handle on a recording: start, stop, limits, and the list of what was recorded.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_RECORD_RECORD_CONTROL_H
#define ZELVANE_RECORD_RECORD_CONTROL_H

#include "port/player_manager.h"

extern "C" {

/** Starts a recording: Zelvane_StartRecord(). pcFilePostfix receives the bytes of the extension, or is null. */
MODULE_API ULONG_32 Player_StartRecord(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulMediaFileFormat,
                                       CHAR *pcFilePostfix);
/** Ends a recording; without one it only notes an empty file name. PLAYER_ERR_FAILED on the record thread itself. */
MODULE_API ULONG_32 Player_StopRecord(ULONG_32 ulPort);
/** The same with names and groups of its own; pcFilePath, 256 bytes, receives what fits behind its present length. */
MODULE_API ULONG_32 Player_StopRecordEx(ULONG_32 ulPort, CHAR *pcFilePath);
/** ulFileSize in MiB, 10 to 4000; takes the time limit away. */
MODULE_API ULONG_32 Player_SetRecordSize(ULONG_32 ulPort, ULONG_32 ulFileSize);
/** ulTime in minutes, 1 to 60; takes the size limit away. */
MODULE_API ULONG_32 Player_SetRecordDivByTime(ULONG_32 ulPort, ULONG_32 ulTime);
MODULE_API ULONG_32 Player_GetRecordStatus(ULONG_32 ulPort, BOOL_T *pbRecording);
/** enGetFilePos is a PLAYER_RECORD_GET_FILENAME_POS_E; the nodes stay the port's. */
MODULE_API ULONG_32 Player_GetRecordFiles(ULONG_32 ulPort, ULONG_32 enGetFilePos,
                                          PLAYER_RECORD_FILES_NAME_INFO_S *pstFilesNameInfo);
/** Does nothing. Returns 0. */
MODULE_API ULONG_32 Player_GetFileSize(ULONG_32 ulPort, DULONG *pulRecordingFileSize);
}

#endif
