/**
 * @file record_container.h
 * @brief What the recorder knows of a container: one record of functions each. A further container is a file of its
 * own, a row in record_writer.cpp and its formats in record_format.cpp.
 */
#ifndef ZELVANE_RECORD_RECORD_CONTAINER_H
#define ZELVANE_RECORD_RECORD_CONTAINER_H

#include "record/record_format.h"
#include "record/record_inner.h"

/** One container. A port has at most one file open; closing and releasing tolerate none. */
struct RECORD_CONTAINER_S {
    const CHAR *pcExtension; /**< with its point */
    ULONG_32 ulExistCheck;   /**< type for Player_FileExistCheck() */
    DULONG dulLimitRule;     /**< size limits above this, bytes, give way to the next value; 0: none do */
    DULONG dulLimit;
    /** Opens szFileName for the first file of a recording. @return 0, 262, 1 or 3; logged */
    ULONG_32 (*pfnOpen)(PLAEYR_PORT_S *pstPort);
    /** Opens szFileName for the next file. */
    bool (*pfnOpenNext)(PLAEYR_PORT_S *pstPort);
    /** Finishes the file now written and keeps what the next one needs too. */
    void (*pfnCloseFile)(PLAEYR_PORT_S *pstPort);
    /** Records the frame in hand. @return 0, or why the thread has to end */
    ULONG_32 (*pfnFrame)(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat);
    /** Whether the frame in hand is the first of its file. */
    bool (*pfnIsAtBegin)(const PORT_RECORD_S *pstRecord);
    /** Bytes recorded in the file. */
    DULONG (*pfnSize)(const PORT_RECORD_S *pstRecord);
    /** Finishes and releases whatever is open. */
    void (*pfnRelease)(PLAEYR_PORT_S *pstPort);
};

extern const RECORD_CONTAINER_S gstTsRecordContainer;
extern const RECORD_CONTAINER_S gstMp4RecordContainer;
extern const RECORD_CONTAINER_S gstAviRecordContainer;

/** Row of a container. */
const RECORD_CONTAINER_S &RecordContainer_Of(RECORD_CONTAINER_E enContainer);

/** Size of the file being written, as the disk has it. */
DULONG RecordContainer_SizeOnDisk(const PORT_RECORD_S *pstRecord);

/** Stores a writer's handle, which may be all ones for none. @return whether there is one */
bool RecordContainer_Keep(HANDLE *phTo, HANDLE hFrom);

#endif
