/**
 * @file rollover.h
 * @brief When a record file is to end, and going on in a new one. For the record thread.
 */
#ifndef ZELVANE_RECORD_ROLLOVER_H
#define ZELVANE_RECORD_ROLLOVER_H

#include "port/player_manager.h"

extern "C" {

/**
 * Looks at the frame in the record port's stFrameData: notes changes of the stream and asks whether a new file is due.
 * @param pstPort the port that is recorded
 * @return 1 when it is: the codec changed, or a limit of size or time is reached; at key frames alone
 */
MODULE_API BOOL_T Player_RecordDataChanged(PLAEYR_PORT_S *pstPort);

/**
 * Closes the file, gives it its final name, tells the client, and opens the next. The frame in hand goes there.
 * @return 0; 1 when the next could not be opened, which the client is told too
 */
MODULE_API ULONG_32 Player_CreateNewFile(PLAEYR_PORT_S *pstPort);
}

#endif
