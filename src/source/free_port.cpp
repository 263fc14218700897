#include "source/free_port.h"

#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "output/offscreen_queue.h"
#include "pipeline/port_settings.h"
#include "pipeline/render_stage.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "record/record_claim.h"
#include "record/record_control.h"
#include "record/record_writer.h"
#include "source/source_kind.h"

namespace {

/** What a port without an open source may still have: a recording or a window without a stream, a playlist. */
void StopLeftOvers(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bStartRecord)) {
        Player_StopRecord(pstPort->ulPort);
    }
    RecordWriter_Release(pstPort);  // what Player_StopRecordEx left open
    RecordClaim_Drop(pstPort);
    if (word::Load(pstPort->bStartVideo)) {
        Player_StopPlay(pstPort->ulPort);
    }
    HlsList_Clear(gliHlsNodeInfo[pstPort->ulPort]);
    QUEUE_CleanupOffScreenBufferQueue(&pstPort->stOffScreenQueue);
}

}  // namespace

void Source_StopOutputs(PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bStartRecord)) {
        Player_StopRecord(pstPort->ulPort);
    }
    if (word::Load(pstPort->bStartAudio)) {
        Player_CloseSound(pstPort->ulPort);
    }
    if (word::Load(pstPort->bStartVideo)) {
        Player_StopPlay(pstPort->ulPort);
    }
}

ULONG_32 Player_FreePort(ULONG_32 ulPort) {
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        return PLAYER_ERR_OK;
    }
    if (PortThread_IsOwn(ulPort)) {
        LOG_ERROR("Port[%03d] Player_FreePort Failed, Called In A Callback Of The Port.", ulPort);
        return PLAYER_ERR_FAILED;
    }
    const SOURCE_KIND_S &stKind = SourceKind_Of(pstPort);
    if (stKind.pfnClose != nullptr) {
        stKind.pfnClose(ulPort);
    }
    StopLeftOvers(pstPort);
    Port_Release(pstPort);
    return PLAYER_ERR_OK;
}
