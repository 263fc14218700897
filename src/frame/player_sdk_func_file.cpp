// The exported wrappers of file play: by form, no logic.
#include "frame/wrapper_forms.h"
#include "port/port_lock.h"
#include "source/file_play.h"
#include "source/trick_play.h"
#include "player_sdk_func.h"

BOOL_T Zelvane_OpenMediaFile(ULONG_32 ulPort, const CHAR *pcFilename) {
    LOG_INFO("Port[%03d] Call %s, %s.", ulPort, __func__, "FileName:(%s)");
    if (!form::IsPort(__func__, ulPort) || !form::HavePointer(__func__, pcFilename)) {
        return 0;
    }
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL, [&] { return Player_OpenMediaFile(ulPort, pcFilename); });
}

BOOL_T Zelvane_CloseMediaFile(ULONG_32 ulPort) {
    return form::Close(__func__, ulPort, [&] { return Player_CloseMediaFile(ulPort); });
}

BOOL_T Zelvane_PausePlay(ULONG_32 ulPort, BOOL_T bPause) {
    return form::Detail(__func__, ulPort, "bPause:[%d]", [&] { return Player_PausePlay(ulPort, bPause); });
}

BOOL_T Zelvane_SpeedPlay(ULONG_32 ulPort, ULONG_32 ulSpeed) {
    return form::Detail(__func__, ulPort, "ulSpeed:[%d]", [&] { return Player_SpeedPlay(ulPort, ulSpeed); });
}

BOOL_T Zelvane_AFrameGo(ULONG_32 ulPort) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    // It waits for the play thread, whose callbacks may call on the port: they go on beside it, as beside a push.
    const PORT_CALL_E enCall = PortThread_IsOwn(ulPort) ? PORT_CALL_NORMAL : PORT_CALL_PUSH;
    return form::Entered(__func__, ulPort, enCall, [&] { return Player_AFrameGo(ulPort); });
}

BOOL_T Zelvane_AFrameBack(ULONG_32 ulPort) {
    return form::Standard(__func__, ulPort, [&] { return Player_AFrameBack(ulPort); });
}

BOOL_T Zelvane_SetPlayedTime(ULONG_32 ulPort, ULONG_32 ulTime) {
    return form::Detail(__func__, ulPort, "Time:[%d]", [&] { return Player_SetPlayedTime(ulPort, ulTime); });
}

BOOL_T Zelvane_SetFilePos(ULONG_32 ulPort, DULONG dulFileStartPos, DULONG dulFileEndPos) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetFilePos(ulPort, dulFileStartPos, dulFileEndPos); });
}

BOOL_T Zelvane_GetFileTime(ULONG_32 ulPort, ULONG_32 *pulTotalTime) {
    return form::WithPointer(__func__, ulPort, PORT_CALL_NORMAL, pulTotalTime,
                             [&] { return Player_GetFileTime(ulPort, pulTotalTime); });
}

BOOL_T Zelvane_GetPlayTime(ULONG_32 ulPort, ULONG_32 *pulPlayTime) {
    return form::QuietGetter(__func__, ulPort, PORT_CALL_NORMAL, pulPlayTime,
                             [&] { return Player_CurPlayTime(ulPort, pulPlayTime); });
}

BOOL_T Zelvane_GetPlayTimeEx(ULONG_32 ulPortNum, PLAYBACK_PLAY_TIME *pstPlayTimeArray) {
    ULONG_32 ulResult = Player_CurPlayTimeEx(ulPortNum, pstPlayTimeArray);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", __func__, ulResult);
        return form::Fail(ulResult);
    }
    return 1;
}

BOOL_T Zelvane_MP4GetRealTime(const CHAR *pcFileName, ULONG_32 *pulRealTime) {
    LOG_INFO("Call %s.", __func__);
    ULONG_32 ulResult = Player_Mp4GetRealTime(pcFileName, pulRealTime);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", __func__, ulResult);
        return 0;
    }
    LOG_INFO("Call %s Success.", __func__);
    return 1;
}
