// The exported wrappers of content protection: by form, no logic.
#include "frame/wrapper_forms.h"
#include "pipeline/scramble_work.h"
#include "player_sdk_func.h"

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
