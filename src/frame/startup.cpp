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
#include "port/port_lock.h"
#include "port/run_messages.h"
#include "queue/com_report.h"
#include "source/free_port.h"
#include "source/voice.h"

namespace {

/** Frees the ports of one pass: owners first, then what is left, so that an owner still finds its helper port. */
void FreePorts(bool bOwners) {
    for (ULONG_32 ulPort = 0; ulPort < PLAYER_MAX_PORT_NUM; ulPort++) {
        const PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
        if (pstPort != nullptr && (!bOwners || word::Load(pstPort->ulPortUsed) != PORT_USED_TYPE_NULL)) {
            CPortLock oLock(ulPort, PORT_CALL_CLOSE);  // another thread may still be inside a call on the port
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
    memset(gapPortList, 0, sizeof(gapPortList));
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
    FreePorts(true);
    FreePorts(false);
    Report_Cleanup();
    HlsCache_Cleanup();
    Video_Cleanup();
    Audio_Cleanup();
    CODE_SetFrameCountFinder(nullptr);
    CODE_H264_GlobalFree();
    Player_LogCleanUp();
    return PLAYER_ERR_OK;
}
