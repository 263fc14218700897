// The exported wrappers of analytics, fisheye and PTZ: by form, no logic.
#include "frame/wrapper_forms.h"
#include "pipeline/analytics_settings.h"
#include "pipeline/fisheye_stage.h"
#include "player_sdk_func.h"

namespace {

/** After the entry line of the two calls that say in their own words how they ended. */
template <class CALL>
BOOL_T OwnWords(const form::NAME_S &stName, const CHAR *pcCalled, ULONG_32 ulPort, CALL &&oCall) {
    if (!form::IsPort(stName, ulPort)) {
        return 0;
    }
    ULONG_32 ulResult = form::Run(stName, ulPort, PORT_CALL_NORMAL, oCall);
    if (ulResult != PLAYER_ERR_OK) {
        FORM_LOG(PLAYER_LOG_ERROR, stName, "Call Port[%03d] %s Failed, %s Failed, Error[0x%x].", ulPort, stName.pcName,
                 pcCalled, ulResult);
        return form::Fail(ulResult);
    }
    FORM_LOG(PLAYER_LOG_INFO, stName, "Call Port[%03d] %s Success", ulPort, stName.pcName);
    return 1;
}

/** Form of the mouse calls: quiet, with a line of their own for a failure. */
template <class CALL>
BOOL_T Mouse(const form::NAME_S &stName, ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint, CALL &&oCall) {
    if (!form::IsPort(stName, ulPort)) {
        return 0;
    }
    ULONG_32 ulResult = form::Run(stName, ulPort, PORT_CALL_NORMAL, oCall);
    if (ulResult == PLAYER_ERR_OK) {
        return 1;
    }
    FORM_LOG(PLAYER_LOG_ERROR, stName, "Call Port[%03d] %s Failed, Flag:[%d], Point[%u-%u], Error:[0x%x].", ulPort,
             stName.pcName, ulFlags, stPoint.usX, stPoint.usY, ulResult);
    return form::Fail(ulResult);
}

}  // namespace

/* ---- analytics ---- */

BOOL_T Zelvane_SetIVAEnable(ULONG_32 ulPort, BOOL_T bAble) {
    return form::Detail(__func__, ulPort, "bAble:[%d]", [&] { return Player_SetIvaEnable(ulPort, bAble); });
}

BOOL_T Zelvane_SetIVAShowParam(ULONG_32 ulShowParam) {
    LOG_INFO("Call %s.", __func__);
    ULONG_32 ulResult = Player_SetIVAShowParam(ulShowParam);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", __func__, ulResult);
        return 0;
    }
    LOG_INFO("Call %s Success.", __func__);
    return 1;
}

BOOL_T Zelvane_SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag) {
    return form::Detail(__func__, ulPort, "bFlag:[%d]",
                        [&] { return Player_SetIVAShowParamEx(ulPort, ulShowParam, bFlag); });
}

BOOL_T Zelvane_SetOSDStyle(ULONG_32 ulPort, ULONG_32 ulOSDStyle) {
    return form::Detail(__func__, ulPort, "Style:[%d]", [&] { return Player_SetOSDStyle(ulPort, ulOSDStyle); });
}

BOOL_T Zelvane_EnableTargetTag(ULONG_32 ulPort, BOOL_T bTargetVeh, BOOL_T bTargetNonVeh, BOOL_T bTargetPerson) {
    LOG_INFO("Call Port[%03d] Zelvane_EnableTargetTag, State[%d, %d, %d].", ulPort, bTargetVeh, bTargetNonVeh,
             bTargetPerson);
    return OwnWords(__func__, "Player_EnableTargetTag", ulPort,
                    [&] { return Player_EnableTargetTag(ulPort, bTargetVeh, bTargetNonVeh, bTargetPerson); });
}

BOOL_T Zelvane_EnableIvaOsd(ULONG_32 ulPort, BOOL_T bEnable) {
    LOG_INFO("Call Port[%03d] Zelvane_EnableIvaOsd, State[%d].", ulPort, bEnable);
    return OwnWords(__func__, "Player_EnableIvaOsd", ulPort, [&] { return Player_EnableIvaOsd(ulPort, bEnable); });
}

/* ---- fisheye and PTZ ---- */

BOOL_T Zelvane_IsFishEyeStream(ULONG_32 ulPort) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    // The result is the call's own, so that a port that isn't there gives an error code, which is no 0.
    ULONG_32 ulResult = form::Run(__func__, ulPort, PORT_CALL_NORMAL, [&] { return Player_IsFishEyeStream(ulPort); });
    LOG_INFO("Call Port[%03d] Zelvane_IsFishEyeStream Return:(%s).", ulPort, ulResult == 1 ? "TRUE" : "FALSE");
    return static_cast<BOOL_T>(ulResult);
}

BOOL_T Zelvane_GetFishEyeParam(ULONG_32 ulPort, PLAYER_POINT_S *pstCenterPoint, ULONG_32 *pulRadius, void *pParm) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    if (pstCenterPoint == nullptr || pulRadius == nullptr) {
        LOG_ERROR("Call Port[%03d] Zelvane_GetFishEyeParam Failed, Invalid Param.", ulPort);
        return PLAYER_ERR_PARAM;
    }
    return form::LoggedResult(__func__, ulPort, form::Run(__func__, ulPort, PORT_CALL_NORMAL, [&] {
                                  return Player_GetFishEyeParam(ulPort, pstCenterPoint, pulRadius, pParm);
                              }));
}

BOOL_T Zelvane_SetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 ulPtzMode, ULONG_32 ulFixMode) {
    LOG_INFO("Call Port[%03d] Zelvane_SetPtzAndFixMode, PtzMode:[%d] FixMode:[%d].", ulPort, ulPtzMode, ulFixMode);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetPtzAndFixMode(ulPort, ulPtzMode, ulFixMode); });
}

BOOL_T Zelvane_GetPtzAndFixMode(ULONG_32 ulPort, ULONG_32 *pulPtzMode, ULONG_32 *pulFixMode) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, __func__);
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    if (pulPtzMode == nullptr || pulFixMode == nullptr) {
        LOG_ERROR("Call Port[%03d] Zelvane_GetPtzAndFixMode Failed, Invalid Param", ulPort);
        return form::Fail(PLAYER_ERR_PARAM);
    }
    return form::LoggedResult(__func__, ulPort, form::Run(__func__, ulPort, PORT_CALL_NORMAL, [&] {
                                  return Player_GetPtzAndFixMode(ulPort, pulPtzMode, pulFixMode);
                              }));
}

BOOL_T Zelvane_SetPtzDisplayMode(ULONG_32 ulPort, ULONG_32 ulPtzMode) {
    return form::Detail(__func__, ulPort, "PtzMode:[%d]", [&] { return Player_SetPtzDisplayMode(ulPort, ulPtzMode); });
}

BOOL_T Zelvane_SetPtzKeepAliveTime(ULONG_32 ulPort, ULONG_32 ulKeepAliveTime) {
    return form::Detail(__func__, ulPort, "ulKeepAliveTime:[%d]",
                        [&] { return Player_SetPtzKeepAliveTime(ulPort, ulKeepAliveTime); });
}

BOOL_T Zelvane_OnMouseMove(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint) {
    return Mouse(__func__, ulPort, ulFlags, stPoint, [&] { return Player_OnMouseMove(ulPort, ulFlags, stPoint); });
}

BOOL_T Zelvane_OnLButtonDown(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint) {
    return Mouse(__func__, ulPort, ulFlags, stPoint, [&] { return Player_OnLButtonDown(ulPort, ulFlags, stPoint); });
}

BOOL_T Zelvane_OnLButtonUp(ULONG_32 ulPort, ULONG_32 ulFlags, PLAYER_POINT_S stPoint) {
    return Mouse(__func__, ulPort, ulFlags, stPoint, [&] { return Player_OnLButtonUp(ulPort, ulFlags, stPoint); });
}

BOOL_T Zelvane_OnMouseWheel(ULONG_32 ulPort, ULONG_32 ulFlags, SHORT sDelta, PLAYER_POINT_S stPoint) {
    if (!form::IsPort(__func__, ulPort)) {
        return 0;
    }
    ULONG_32 ulResult = form::Run(__func__, ulPort, PORT_CALL_NORMAL,
                                  [&] { return Player_OnMouseWheel(ulPort, ulFlags, sDelta, stPoint); });
    if (ulResult == PLAYER_ERR_OK) {
        return 1;
    }
    LOG_ERROR("Call Port[%03d] Zelvane_OnMouseWheel Failed, Flag:[%d], Delta:[%d], Point[%u-%u], Error:[0x%x].", ulPort,
              ulFlags, sDelta, stPoint.usX, stPoint.usY, ulResult);
    return form::Fail(ulResult);
}

BOOL_T Zelvane_FaceCorrectFunc(const CHAR * /*pcFilePath*/, const CHAR * /*pcFacePath*/, CHAR * /*pcModelPath*/) {
    LOG_ERROR("Call Zelvane_FaceCorrectFunc Failed, Unloaded FACE CORRECT Module.");
    return form::Fail(PLAYER_ERR_NOT_SUPPORT);
}
