// What a client wants to see of analytics.
#include "pipeline/analytics_settings.h"

#include "analytics/iva_show.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

/** A setting of analytics/iva_show.h that needs the port to exist. */
template <class SET>
ULONG_32 SetShow(ULONG_32 ulPort, SET &&oSet) {
    if (Player_GetPort(ulPort) == nullptr) {
        LOG_ERROR("Get port[%d] fail", ulPort);
        return PLAYER_ERR_PORT;
    }
    oSet();
    return PLAYER_ERR_OK;
}

/** A picture that stands is to be drawn anew. */
void WakeRenderThread(PORT_QUEUE_S *pstQueues) { QUEUE_WakeDecodeReader(&pstQueues->stDecodeBufferQueue); }

}  // namespace

ULONG_32 Player_SetIvaEnable(ULONG_32 ulPort, BOOL_T bAble) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stIvaInfo.bDRVEnable, bAble);
    word::Store(pstPort->stSeiInfo.stSeiIvaInfo.stIvaInfo.bDRVEnable, bAble);
    WakeRenderThread(pstPort);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetIVAShowParam(ULONG_32 ulShowParam) {
    SetIVAShowParam(ulShowParam);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag) {
    SetIVAShowParamEx(ulPort, ulShowParam, bFlag);
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);
    if (pstPort != nullptr) {
        WakeRenderThread(pstPort);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetOSDStyle(ULONG_32 ulPort, ULONG_32 ulOSDStyle) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (ulOSDStyle > PLAYER_OSD_OUTSIDE_BOTTOM) {
        return PLAYER_ERR_PARAM;
    }
    word::Store(pstPort->enOSDStyle, static_cast<PLAYER_OSD_STYL_E>(ulOSDStyle));
    return PLAYER_ERR_OK;
}

ULONG_32 Player_EnableTargetTag(ULONG_32 ulPort, BOOL_T bTargetVeh, BOOL_T bTargetNonVeh, BOOL_T bTargetPerson) {
    return SetShow(ulPort, [&] { SetIVAShowObjType(ulPort, bTargetPerson, bTargetVeh, bTargetNonVeh); });
}

ULONG_32 Player_EnableIvaOsd(ULONG_32 ulPort, BOOL_T bEnable) {
    return SetShow(ulPort, [&] { SetIVAShowOsdInfo(ulPort, bEnable); });
}
