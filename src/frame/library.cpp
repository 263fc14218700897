#include "frame/library.h"

#include <algorithm>

#include "foundations/PlayerLog.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "frame/last_error.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "source/free_port.h"

namespace {

const CHAR *const LIBRARY_VERSION_TEXT = "2.5.0082";

ULONG_32 gstInitRefCount = 0;
BOOL_T gbLogCB = 0;
/** Start and stop take turns, so that a second user never runs ahead of the first one's start-up. */
QLOM_SDK_MUTEX_S gstStartMutex = PTHREAD_MUTEX_INITIALIZER;
BOOL_T gbStopping = 0;
BOOL_T gbStarted = 0; /**< from the end of the start to the beginning of the stop; released, since it publishes both */
const LONG_32 TURN_POLL_MS = 1;

thread_local bool gtlTurn = false; /**< this thread starts or stops the library: its log lines may call back */

/** A turn at starting or stopping. A callback gets none while the library stops: the stop waits for its thread. */
class CStartGuard {
 public:
    CStartGuard() : m_bHeld(!gtlTurn && (PortThread_IsAny() || Report_IsOwnThread() ? AcquireUnlessStopping() : Acquire())) {
        gtlTurn = gtlTurn || m_bHeld;
    }
    ~CStartGuard() {
        if (m_bHeld) {
            gtlTurn = false;
            QLOM_SDK_mutex_unlock(&gstStartMutex);
        }
    }
    CStartGuard(const CStartGuard &) = delete;
    CStartGuard &operator=(const CStartGuard &) = delete;

    bool Held() const { return m_bHeld; }

 private:
    static bool Acquire() { return QLOM_SDK_mutex_lock(&gstStartMutex) == 0; }

    static bool AcquireUnlessStopping() {
        while (pthread_mutex_trylock(&gstStartMutex) != 0) {
            if (word::Load(gbStopping)) {
                return false;
            }
            QLOM_SDK_msleep(TURN_POLL_MS);
        }
        return true;
    }

    bool m_bHeld;
};

void StopLibrary() {
    word::Store(gbStopping, 1);
    word::StoreRelease(gbStarted, 0);
    Player_Cleanup();
    word::Store(gbStopping, 0);
    LOG_INFO("Call %s Success.", "Zelvane_Cleanup");
}

BOOL_T StartLibrary() {
    if (!word::Load(gbLogCB)) {
        Player_LogInit();
        Log_SetPlayLogCB(Player_Log);
    }
    LOG_INFO("Call Zelvane_Init.");
    ULONG_32 ulResult = Player_Startup();
    if (ulResult != PLAYER_ERR_OK) {
        LOG_FATAL("Call Zelvane Init Failed, Player_Startup Error:[0x%x].", ulResult);
        LastError_Set(PLAYER_ERR_INIT);
        word::Sub(gstInitRefCount, 1);
        return 0;
    }
    word::StoreRelease(gbStarted, 1);
    LOG_INFO("Call Zelvane_Init Success, Version: %s.", LIBRARY_VERSION_TEXT);
    return 1;
}

}  // namespace

BOOL_T Library_Init() {
    CStartGuard oGuard;
    if (!oGuard.Held()) {
        LOG_ERROR("Call Zelvane_Init Failed, Called In A Callback While The Library Stops.");
        LastError_Set(PLAYER_ERR_INIT);
        return 0;
    }
    LastError_NewGeneration();
    ULONG_32 ulCount = word::Add(gstInitRefCount, 1);
    if (ulCount != 1) {
        LOG_WARN("Call Zelvane_Init Warning, Player Had Initlized, Count:[%d].", ulCount);
        return 1;
    }
    return StartLibrary();
}

void Library_Cleanup() {
    LOG_INFO("Call %s.", "Zelvane_Cleanup");
    CStartGuard oGuard;
    // The last user's call frees the ports, which waits for their threads.
    if (!oGuard.Held() || (PortThread_IsAny() && word::Load(gstInitRefCount) == 1)) {
        LOG_ERROR("Call Zelvane_Cleanup Failed, Called In A Callback Of A Port.");
        return;
    }
    LONG_32 lCount = static_cast<LONG_32>(word::Sub(gstInitRefCount, 1));
    if (lCount < 0) {
        word::Store(gstInitRefCount, 0);
        return;
    }
    if (lCount > 0) {
        LOG_INFO("Call Zelvane_Cleanup info, Player had Been Initlized[%d].", lCount);
        return;
    }
    StopLibrary();
}

ULONG_32 Library_InitCount() { return word::Load(gstInitRefCount); }

ULONG_32 Library_AllocPort(ULONG_32 *pulPort) {
    const ULONG_32 ulResult = word::LoadAcquire(gbStarted) ? Player_AllocPort(pulPort) : ULONG_32{PLAYER_ERR_PARAM};
    if (ulResult == PLAYER_ERR_OK && !word::LoadAcquire(gbStarted)) {
        Player_FreePort(*pulPort);
        return PLAYER_ERR_PARAM;
    }
    return ulResult;
}

void Library_ClientLogs() { word::Store(gbLogCB, 1); }

bool Library_IsPortUsedAs(ULONG_32 ulPort, std::initializer_list<PORT_USED_TYPE_E> oTypes) {
    const PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort == nullptr) {
        return true;
    }
    ULONG_32 ulUsed = word::Load(pstPort->ulPortUsed);
    return std::any_of(oTypes.begin(), oTypes.end(), [ulUsed](PORT_USED_TYPE_E enType) { return enType == ulUsed; });
}
