// The exported wrappers of cloud recordings: by form, no logic.
#include "frame/library.h"
#include "frame/wrapper_forms.h"
#include "player_sdk_func.h"
#include "source/hls_port.h"

BOOL_T Zelvane_OpenHlsStream(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_OpenHlsStream(ulPort); });
}

BOOL_T Zelvane_CloseHlsStream(ULONG_32 ulPort) {
    return form::Close(__func__, ulPort, [&] {
        return Library_IsPortUsedAs(ulPort, {PORT_USED_TYPE_HLS}) ? Player_CloseHlsStream(ulPort)
                                                                  : static_cast<ULONG_32>(PLAYER_ERR_OK);
    });
}

BOOL_T Zelvane_UpdatePlayInfo(ULONG_32 ulPort, const CHAR *pcM3u8Info, ULONG_32 ulPlayTime) {
    return form::Standard(__func__, ulPort, [&] { return Player_UpdatePlayInfo(ulPort, pcM3u8Info, ulPlayTime); });
}

BOOL_T Zelvane_SetCachePath(const CHAR *pcCachePath) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_SetCachePath(pcCachePath); });
}

BOOL_T Zelvane_SetMaxCache(ULONG_32 ulValue) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_SetMaxCache(ulValue); });
}

BOOL_T Zelvane_CleanCache(void) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return Player_CleanCache(); });
}
