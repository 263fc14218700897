// The exported wrappers of the extensions: by form, no logic.
#include "player_ext.h"

#include "cloud/hls_tls.h"
#include "frame/wrapper_forms.h"
#include "port/standard_intake.h"

BOOL_T ZelvaneExt_SetCloudCa(const CHAR *pcCaFile) {
    LOG_INFO("Call %s.", __func__);
    return form::Global(__func__, [&] { return HlsTls_SetCa(pcCaFile); });
}

BOOL_T ZelvaneExt_SetStandardIntake(ULONG_32 ulPort, BOOL_T bOn) {
    return form::Standard(__func__, ulPort, [&] { return Player_SetStandardIntake(ulPort, bOn); });
}

BOOL_T ZelvaneExt_SetParameterSets(ULONG_32 ulPort, ULONG_32 ulVideoEncodeType, const UCHAR *pucSets, ULONG_32 ulSize) {
    return form::Standard(__func__, ulPort,
                          [&] { return Player_SetParameterSets(ulPort, ulVideoEncodeType, pucSets, ulSize); });
}

BOOL_T ZelvaneExt_GetIntakeInfo(ULONG_32 ulPort, ZELVANE_EXT_INTAKE_S *pstInfo) {
    return form::QuietGetter(__func__, ulPort, PORT_CALL_UNLOCKED, pstInfo,
                             [&] { return Player_GetIntakeInfo(ulPort, pstInfo); });
}
