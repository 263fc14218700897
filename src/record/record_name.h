/**
 * @file record_name.h
 * @brief Names of record files, and the list of those that are finished.
 *
 * A path on disk ends in ".temp" while the file is written. The base is that path without the ending and, for plain
 * formats, with "_part%d" from the second file on; for the others it ends in "_S" and a date. All names are cut at 255
 * characters. Names are made by the record thread while it runs, else by the client's thread.
 */
#ifndef ZELVANE_RECORD_RECORD_NAME_H
#define ZELVANE_RECORD_RECORD_NAME_H

#include <time.h>

#include "port/player_manager.h"
#include "record/record_format.h"

/** Type of Player_FileExistCheck() beside the formats: a file that is being written. */
enum : ULONG_32 { RECORD_EXIST_CHECK_TEMP = 21 };

/** Sets szFileName and szFileNameTemp for the first file of a recording, under the name that the client gave. */
void RecordName_Begin(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat, const CHAR *pcFileName);

/**
 * Makes the name that the file now written gets when it is closed.
 * @param pcBase what the names without the stream's time grow from: szFileNameTemp or szFileName
 */
void RecordName_Final(const PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat, const CHAR *pcBase,
                      CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]);

/** Sets szFileName and szFileNameTemp for the next file of the recording. */
void RecordName_Next(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat);

extern "C" {

/**
 * Changes a path so that no file has it: "(1)", "(2)" and so on ahead of the extension, from the first "(" of the whole
 * path on if there is one.
 * @param enMediaFileFormat the extension: 8, 12 ".mp4"; 9, 13 ".ts"; 18, 20 ".avi"; 21 ".temp"; others change nothing
 * @param pcFilePath        in and out
 * @param ulFilePathSize    its room, at least 5 bytes more than the path is long
 * @return 0; 2 for null, too little room, a path without the extension, and when no free name was found
 */
MODULE_API ULONG_32 Player_FileExistCheck(ULONG_32 enMediaFileFormat, CHAR *pcFilePath, ULONG_32 ulFilePathSize);

/**
 * Local date of a stream's time.
 * @param ulSeconds since 1970 or, when that lies ten years ahead of now, since 1900 as RTP extensions have it
 * @param tmDate    result, with the full year and months from 1
 */
MODULE_API void Player_SecondsToDate(ULONG_32 ulSeconds, struct tm *tmDate);

/** Appends a name to the port's list of finished files, which readers may be walking. */
MODULE_API void Player_AddFileNameNode(PLAEYR_PORT_S *pstPort, const CHAR *pcFileName);
}

#endif
