// The standard intake of a port: asked for under the API lock, in use from the next open on.
#include "port/standard_intake.h"

#include <string.h>

#include "bits/start_code.h"
#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"

namespace {

RTP_STANDARD_S *Make(ULONG_32 ulPort) {
    RTP_STANDARD_S *pstStandard = RtpStandard_Create();
    if (pstStandard == nullptr) {
        LOG_ERROR("Port[%03d] Malloc Failed, Size:[%d].", ulPort, static_cast<LONG_32>(sizeof(RTP_STANDARD_S)));
    }
    return pstStandard;
}

bool AreSets(LONG_32 lPayload, const UCHAR *pucSets, ULONG_32 ulSize) {
    if (ulSize == 0) {
        return true;
    }
    return Payload_IsInterVideo(lPayload) && pucSets != nullptr && ulSize <= RTP_MAX_SETS &&
           ulSize > sizeof(START_CODE) && memcmp(pucSets, START_CODE, sizeof(START_CODE)) == 0;
}

}  // namespace

ULONG_32 Player_SetStandardIntake(ULONG_32 ulPort, BOOL_T bOn) {
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pstPort->pstStandard == nullptr && bOn != 0) {
        RTP_STANDARD_S *pstStandard = Make(ulPort);
        if (pstStandard == nullptr) {
            return PLAYER_ERR_MALLOC;
        }
        word::StoreRelease(pstPort->pstStandard, pstStandard);
    }
    if (pstPort->pstStandard != nullptr) {
        pstPort->pstStandard->bWanted = bOn != 0;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetParameterSets(ULONG_32 ulPort, ULONG_32 ulVideoEncodeType, const UCHAR *pucSets, ULONG_32 ulSize) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const PAYLOAD_TYPE_ROW_S *pstRow = PayloadType_OfVideoEncode(ulVideoEncodeType);
    const LONG_32 lPayload = pstRow != nullptr ? pstRow->lPayload : LONG_32{PLAYER_PAYLOAD_NULL};
    RTP_STANDARD_S *pstStandard = pstPort->pstStandard;
    if (pstStandard == nullptr || !AreSets(lPayload, pucSets, ulSize)) {
        return PLAYER_ERR_PARAM;
    }
    RTP_PARAMETER_SETS_S *pstSets = &pstStandard->stSetsWanted;
    pstSets->lPayload = lPayload;
    pstSets->ulSize = ulSize;
    if (ulSize != 0) {
        memcpy(pstSets->aucData, pucSets, ulSize);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Player_GetIntakeInfo(ULONG_32 ulPort, ZELVANE_EXT_INTAKE_S *pstInfo) {
    PLAYER_GET_PORT(pstPort, ulPort);
    const RTP_STANDARD_S *pstStandard = word::LoadAcquire(pstPort->pstStandard);
    *pstInfo = {};
    if (pstStandard == nullptr) {
        return PLAYER_ERR_OK;
    }
    const RTP_FIGURES_S &stFigures = pstStandard->stFigures;
    pstInfo->ulReceived = word::Load(stFigures.ulReceived);
    pstInfo->ulReordered = word::Load(stFigures.ulReordered);
    pstInfo->ulDuplicate = word::Load(stFigures.ulDuplicate);
    pstInfo->ulLate = word::Load(stFigures.ulLate);
    pstInfo->ulLost = word::Load(stFigures.ulLost);
    pstInfo->ulDamaged = word::Load(stFigures.ulDamaged);
    return PLAYER_ERR_OK;
}

ULONG_32 StandardIntake_Copy(const PORT_INTAKE_S *pstFrom, PORT_INTAKE_S *pstTo) {
    if (!pstFrom->bStandard) {
        return PLAYER_ERR_OK;
    }
    pstTo->pstStandard = RtpStandard_Create();
    if (pstTo->pstStandard == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    pstTo->pstStandard->bWanted = 1;
    pstTo->pstStandard->stSetsWanted = pstFrom->pstStandard->stSets;
    pstTo->bStandard = RtpStandard_Begin(pstTo->pstStandard);
    return PLAYER_ERR_OK;
}
