/**
 * @file file_record.h
 * @brief From a file that is played into the record ring.
 */
#ifndef ZELVANE_SOURCE_FILE_RECORD_H
#define ZELVANE_SOURCE_FILE_RECORD_H

#include "port/player_manager.h"

extern "C" {

/** Hands the frame in stFrameData to a running recording, as a head and the data; on the port's play thread. */
MODULE_API void FileRecord_Add(PLAEYR_PORT_S *pstPort);
}

#endif
