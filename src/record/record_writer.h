/**
 * @file record_writer.h
 * @brief The open record file of a port, whatever its container. A port has at most one; all closes tolerate none.
 */
#ifndef ZELVANE_RECORD_RECORD_WRITER_H
#define ZELVANE_RECORD_RECORD_WRITER_H

#include "port/player_manager.h"

/** Finishes and releases whatever is open, of any container. */
void RecordWriter_Release(PLAEYR_PORT_S *pstPort);

/** Tells the client, once a recording, that the disk is full. */
void Record_ReportDiskFull(PLAEYR_PORT_S *pstPort);

/** Tells the client of an event of the recording. @param pcFilePath file concerned, or null. @return of Report_SendMsg
 */
ULONG_32 Record_Report(const PLAEYR_PORT_S *pstPort, ULONG_32 ulCode, const CHAR *pcFilePath);

#endif
