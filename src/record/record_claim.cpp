#include "record/record_claim.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundations/com_log.h"

namespace {

const int TRIES = 5; /**< a file may be renamed between its opening and its lock */
const mode_t FILE_MODE = 0666;

/** Opens without emptying what is there. @param pbMade receives whether the file is new */
int OpenFile(const CHAR *pcName, BOOL_T *pbMade) {
    int lFile = open(pcName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, FILE_MODE);
    *pbMade = lFile >= 0;
    return lFile < 0 && errno == EEXIST ? open(pcName, O_WRONLY | O_CLOEXEC) : lFile;
}

/** Whether the name still leads to the file that was opened. */
bool IsNamed(int lFile, const CHAR *pcName) {
    struct stat stOpened;
    struct stat stNamed;
    return fstat(lFile, &stOpened) == 0 && stat(pcName, &stNamed) == 0 && stOpened.st_dev == stNamed.st_dev &&
           stOpened.st_ino == stNamed.st_ino;
}

/** Where the file system knows no locks there is nothing to hold against each other. */
bool IsLockedByAnother(int lFile) { return flock(lFile, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK; }

}  // namespace

bool RecordClaim_Make(PLAEYR_PORT_S *pstPort) {
    RecordClaim_Drop(pstPort);
    for (int i = 0; i < TRIES; i++) {
        int lFile = OpenFile(pstPort->szFileName, &pstPort->bClaimMade);
        if (lFile < 0) {
            if (errno != ENOENT) {  // a folder that isn't there yet is no failure
                LOG_WARN("Port[%03d] Record: %s Can't Be Held Against Other Recordings, Systemerror[%d].",
                         pstPort->ulPort, pstPort->szFileName, errno);
            }
            return true;
        }
        if (IsLockedByAnother(lFile)) {
            close(lFile);
            pstPort->bClaimMade = 0;
            LOG_ERROR("Port[%03d] Player_StartRecord: %s Is Written By Another Recording.", pstPort->ulPort,
                      pstPort->szFileName);
            return false;
        }
        if (IsNamed(lFile, pstPort->szFileName)) {
            pstPort->lClaim = lFile + 1;
            return true;
        }
        close(lFile);
    }
    return true;
}

void RecordClaim_Drop(PORT_RECORD_S *pstRecord) {
    if (pstRecord->lClaim != 0) {
        close(pstRecord->lClaim - 1);
        pstRecord->lClaim = 0;
    }
    pstRecord->bClaimMade = 0;
}

void RecordClaim_Abandon(PORT_RECORD_S *pstRecord) {
    if (pstRecord->bClaimMade) {
        unlink(pstRecord->szFileName);
    }
    RecordClaim_Drop(pstRecord);
}

void RecordClaim_Rename(PLAEYR_PORT_S *pstPort, const CHAR *pcFinal) {
    if (rename(pstPort->szFileName, pcFinal) != 0) {
        LOG_ERROR("Port[%03d] Record: Rename %s To %s Failed, Systemerror[%d].", pstPort->ulPort, pstPort->szFileName,
                  pcFinal, errno);
    }
    RecordClaim_Drop(pstPort);
}
