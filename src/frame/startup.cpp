// The modules of the library, brought up and taken down in the order of dependence.
#include <string.h>

#include "cloud/module_hls.h"
#include "codec/module_code.h"
#include "foundations/PlayerLog.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "frame/library.h"
#include "output/audioplay.h"
#include "output/videodisplay.h"
#include "port/player_manager.h"
#include "port/port_hold.h"
#include "port/port_lock.h"
#include "port/run_messages.h"
#include "queue/com_report.h"
#include "source/free_port.h"
#include "source/voice.h"

namespace {

/**
 * Tells all ports at once that they end, so that their threads end side by side. A recording goes on until its own
 * port is freed: what it was given is still to be written.
 */
void AnnounceEnd() {
    for (ULONG_32 ulPort = 0; ulPort < PLAYER_MAX_PORT_NUM; ulPort++) {
        const CPortHold oHold(ulPort);
        if (oHold.Port() != nullptr) {
            word::Store(oHold.Port()->bStartRecv, 0);
        }
        PortLock_RaiseClosing(ulPort);
    }
}

void LowerAll() {
    for (ULONG_32 ulPort = 0; ulPort < PLAYER_MAX_PORT_NUM; ulPort++) {
        PortLock_LowerClosing(ulPort);
    }
}

bool IsOfPass(ULONG_32 ulPort, bool bOwners) {
    const CPortHold oHold(ulPort);
    return oHold.Port() != nullptr && (!bOwners || word::Load(oHold.Port()->ulPortUsed) != PORT_USED_TYPE_NULL);
}

/** Frees the ports of one pass: owners first, then what is left, so that an owner still finds its helper port. */
void FreePorts(bool bOwners) {
    for (ULONG_32 ulPort = 0; ulPort < PLAYER_MAX_PORT_NUM; ulPort++) {
        if (IsOfPass(ulPort, bOwners)) {
            const CPortLock oLock(ulPort, PORT_CALL_CLOSE);  // another thread may still be inside a call on the port
            Player_FreePort(ulPort);
        }
    }
}

/** The count of encoded frames of the port that an encoder's callback was given. */
ULONG_32 *FindFrameCount(void *pUser) {
    for (PLAEYR_PORT_S *&pstEntry : gapPortList) {
        PLAEYR_PORT_S *pstPort = word::LoadAcquire(pstEntry);
        if (pstPort != nullptr && pstPort == pUser) {
            return &pstPort->stFrameData.ulAudioReFrameCount;
        }
    }
    return nullptr;
}

}  // namespace

ULONG_32 Player_Startup(void) {
    LOG_INFO("Player Startup.");
    ULONG_32 ulResult = Report_Init();
    if (ulResult != PLAYER_ERR_OK) {
        LOG_FATAL("Player Startup Failed, Report_Init Error[0x%x].", ulResult);
        return ulResult;
    }
    Report_ManageSetReportCallBack(Player_RunMsgReportDealWith);
    Player_BroadcastInit();
    CODE_H264_GlobalInit();
    CODE_SetFrameCountFinder(FindFrameCount);
    Video_Init();
    Audio_Init();
    HlsCache_Startup();
    return PLAYER_ERR_OK;
}

ULONG_32 Player_Cleanup(void) {
    LOG_INFO("Player Cleanup.");
    PortTable_Shut();
    AnnounceEnd();
    FreePorts(true);
    FreePorts(false);
    LowerAll();
    Report_Cleanup();
    HlsCache_Cleanup();
    Video_Cleanup();
    Audio_Cleanup();
    CODE_SetFrameCountFinder(nullptr);
    CODE_H264_GlobalFree();
    Player_LogCleanUp();
    PortTable_Open();
    return PLAYER_ERR_OK;
}
