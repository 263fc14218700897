/**
 * @file record_claim.h
 * @brief A recording's claim on the file that it writes: no other recording, of this process or another, may write it
 * too.
 *
 * The claim is a lock on the file, held by a descriptor of its own from ahead of the open to behind the rename.
 */
#ifndef ZELVANE_RECORD_RECORD_CLAIM_H
#define ZELVANE_RECORD_RECORD_CLAIM_H

#include "port/player_manager.h"

/** Claims szFileName. A file that can't be opened here is left to the writer to fail on, by its own code. @return false
 *  if another recording writes it; logged */
bool RecordClaim_Make(PLAEYR_PORT_S *pstPort);

/** Gives the claim up; behind the rename, so that nobody takes the name for free before that. */
void RecordClaim_Drop(PORT_RECORD_S *pstRecord);

/** The same after a start that failed: a file that was not there before goes. */
void RecordClaim_Abandon(PORT_RECORD_S *pstRecord);

/** Gives a finished file its name. A failure is logged; the file then stays under the name that it was written under.
 */
void RecordClaim_Rename(PLAEYR_PORT_S *pstPort, const CHAR *pcFinal);

#endif
