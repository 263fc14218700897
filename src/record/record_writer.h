/**
 * @file record_writer.h
 * @brief The open record file of a port, whatever its container. A port has at most one; all closes tolerate none.
 */
#ifndef ZELVANE_RECORD_RECORD_WRITER_H
#define ZELVANE_RECORD_RECORD_WRITER_H

#include "port/player_manager.h"
#include "record/record_format.h"

/** Opens szFileName for the first file of a recording. @return 0, 262, 1 or 3; logged */
ULONG_32 RecordWriter_Open(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat);

/** Finishes the file now written and keeps what the next one needs too. */
void RecordWriter_CloseFile(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat);

/** Opens szFileName for the next file of a recording. */
bool RecordWriter_OpenNext(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat);

/** Finishes and releases whatever is open, of any container. */
void RecordWriter_Release(PLAEYR_PORT_S *pstPort);

/** Tells the client of an event of the recording. @param pcFilePath file concerned, or null. @return of Report_SendMsg
 */
ULONG_32 Record_Report(const PLAEYR_PORT_S *pstPort, ULONG_32 ulCode, const CHAR *pcFilePath);

#endif
