#include "record/record_writer.h"

#include <errno.h>

#include "foundations/com_log.h"
#include "port/run_messages.h"
#include "record/record_container.h"

namespace {

/** Row by RECORD_CONTAINER_E. */
const RECORD_CONTAINER_S *const gapContainer[] = {&gstTsRecordContainer, &gstMp4RecordContainer,
                                                  &gstAviRecordContainer};

}  // namespace

const RECORD_CONTAINER_S &RecordContainer_Of(RECORD_CONTAINER_E enContainer) { return *gapContainer[enContainer]; }

DULONG RecordContainer_SizeOnDisk(const PORT_RECORD_S *pstRecord) {
    QLOM_SDK_STAT_S stStat = {};
    if (QLOM_SDK_stat(pstRecord->szFileName, &stStat) != 0) {
        LOG_ERROR("RecordContainer_SizeOnDisk Failed, File:[%s], Error:[0x%x].", pstRecord->szFileName,
                  static_cast<ULONG_32>(errno));
        return 0;
    }
    return static_cast<DULONG>(stStat.st_size);
}

bool RecordContainer_Keep(HANDLE *phTo, HANDLE hFrom) {
    const bool bHandle = hFrom != nullptr && ~reinterpret_cast<ULONG>(hFrom) != 0;
    *phTo = bHandle ? hFrom : nullptr;
    return bHandle;
}

void RecordWriter_Release(PLAEYR_PORT_S *pstPort) {
    for (const RECORD_CONTAINER_S *pstContainer : gapContainer) {
        pstContainer->pfnRelease(pstPort);
    }
}

ULONG_32 Record_Report(const PLAEYR_PORT_S *pstPort, ULONG_32 ulCode, const CHAR *pcFilePath) {
    return Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_RECORD_VIDEO, ulCode, 0, pcFilePath});
}

void Record_ReportDiskFull(PLAEYR_PORT_S *pstPort) {
    if (pstPort->bDiskFullTold) {
        return;
    }
    pstPort->bDiskFullTold = 1;
    ULONG_32 ulResult = Record_Report(pstPort, PLAYER_ERR_DISK_FULL, nullptr);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Record Thread Warning: Send Report Failed, Error[0x%x].", pstPort->ulPort, ulResult);
    }
}
