// The exported wrappers of content protection: by form, no logic.
#include "frame/wrapper_forms.h"
#include "pipeline/scramble_work.h"
#include "player_sdk_func.h"
#include "source/check_mark.h"

BOOL_T Zelvane_SetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_SetRsaKey(pstRsaInfo); });
}

BOOL_T Zelvane_GetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_GetRsaKey(pstRsaInfo); });
}

BOOL_T Zelvane_SetFilePassword(ULONG_32 ulPort, CHAR *pcPassword, LONG_32 lPasswordLen) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetFilePassword(ulPort, pcPassword, lPasswordLen); });
}

BOOL_T Zelvane_CheckMark(ULONG_32 ulPort, const CHAR *pcFilename, PLAYER_MARK_INFO_S *pstMarkInfo) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pcFilename) ||
        !form::HavePointer(__func__, pstMarkInfo)) {
        return 0;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_CheckMark(ulPort, pcFilename, pstMarkInfo); });
}

BOOL_T Zelvane_CheckMarkCancel(ULONG_32 ulPort) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    // The check that it ends holds the port's lock.
    return form::Entered(__func__, ulPort, PORT_CALL_UNLOCKED, [&] { return Player_CheckMarkCancel(ulPort); });
}

void Zelvane_FreeMarkInfo(PLAYER_MARK_INFO_S *pstMarkInfo) { Player_FreeMarkInfo(pstMarkInfo); }
