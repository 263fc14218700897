// The exported wrappers of snapshots: by form, no logic. They take no API lock: a snapshot may take long.
#include "frame/wrapper_forms.h"
#include "record/snapshot.h"
#include "player_sdk_func.h"

BOOL_T Zelvane_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, CHAR * /*pcFilePostfix*/) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(pcFileName)) {
        return 0;
    }
    return form::LoggedResult(__func__, ulPort, Player_SnatchOnce(ulPort, pcFileName, ulPicFormat));
}

BOOL_T Zelvane_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(pcFileName)) {
        return 0;
    }
    if (!form::Result(__func__, ulPort, Player_SnatchOnceEx(ulPort, pcFileName, ulPicFormat, bAsync))) {
        return 0;
    }
    LOG_INFO("Call Port[%03d] Zelvane_SnatchOnceEx Success, bAsync[%d].", ulPort, bAsync);
    return 1;
}
