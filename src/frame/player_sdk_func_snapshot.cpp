// The exported wrappers of snapshots: by form, no logic. They take no API lock: a snapshot may take long.
#include "frame/wrapper_forms.h"
#include "record/snapshot.h"
#include "player_sdk_func.h"

BOOL_T Zelvane_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, CHAR * /*pcFilePostfix*/) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pcFileName)) {
        return 0;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_UNLOCKED,
                         [&] { return Player_SnatchOnce(ulPort, pcFileName, ulPicFormat); });
}

BOOL_T Zelvane_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pcFileName)) {
        return 0;
    }
    const ULONG_32 ulResult = form::Run(__func__, ulPort, PORT_CALL_UNLOCKED,
                                        [&] { return Player_SnatchOnceEx(ulPort, pcFileName, ulPicFormat, bAsync); });
    if (!form::Result(__func__, ulPort, ulResult)) {
        return 0;
    }
    LOG_INFO("Call Port[%03d] Zelvane_SnatchOnceEx Success, bAsync[%d].", ulPort, bAsync);
    return 1;
}
