#include "port/payload_table.h"

#include <stdlib.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"

namespace {

const ULONG_32 PAYLOAD_TABLE_NUM = 2;

/** The table comes first, so that the port's pointer to it is the node's own. */
struct PAYLOAD_TABLE_S {
    RTP_PAYLOAD_TYPE_S astEntry[PAYLOAD_TABLE_NUM];
    PAYLOAD_TABLE_S *pstNextRetired;
};

PLAYER_PAYLOAD_E PayloadOf(const PAYLOAD_TYPE_ROW_S *pstRow, ULONG_32 ulEncodeType) {
    if (pstRow == nullptr) {
        LOG_WARN("Unknown Stream Type[%ld].", static_cast<long>(static_cast<LONG_32>(ulEncodeType)));
        return PLAYER_PAYLOAD_NULL;
    }
    return static_cast<PLAYER_PAYLOAD_E>(pstRow->lPayload);
}

/** The two enumerations share a word; a client may have put any number there. */
ULONG_32 EncodeTypeOf(const PLAYER_PAYLOAD_TYPE_S *pstFrom) {
    ULONG_32 ulEncodeType;
    static_assert(sizeof(ulEncodeType) == sizeof(pstFrom->unPayload));
    memcpy(&ulEncodeType, &pstFrom->unPayload, sizeof(ulEncodeType));
    return ulEncodeType;
}

void FillEntry(const PLAYER_PAYLOAD_TYPE_S *pstFrom, RTP_PAYLOAD_TYPE_S *pstTo) {
    pstTo->ucPayloadType = pstFrom->ucPayloadType;
    pstTo->ulSampleRate = pstFrom->ulSampleRate;
    const ULONG_32 ulEncodeType = EncodeTypeOf(pstFrom);
    pstTo->enPayloadType = PayloadOf(
        pstFrom->ulType == 0 ? PayloadType_OfVideoEncode(ulEncodeType) : PayloadType_OfAudioEncode(ulEncodeType),
        ulEncodeType);
}

/** Threads of an open port may be reading the old table: it goes when the port goes. */
void Retire(PLAEYR_PORT_S *pstPort, PAYLOAD_TABLE_S *pstOld) {
    if (pstOld == nullptr) {
        return;
    }
    if (word::Load(pstPort->ulPortUsed) == PORT_USED_TYPE_NULL) {
        free(pstOld);
        return;
    }
    pstOld->pstNextRetired = static_cast<PAYLOAD_TABLE_S *>(pstPort->hRetiredPayloadType);
    pstPort->hRetiredPayloadType = pstOld;
}

}  // namespace

ULONG_32 Player_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType) {
    PLAYER_GET_PORT(pstPort, ulPort);
    PAYLOAD_TABLE_S *pstTable = static_cast<PAYLOAD_TABLE_S *>(calloc(1, sizeof(PAYLOAD_TABLE_S)));
    if (pstTable == nullptr) {
        LOG_ERROR("Port[%03d] Malloc Failed, Size:[%d].", ulPort, static_cast<LONG_32>(sizeof(PAYLOAD_TABLE_S)));
        return PLAYER_ERR_MALLOC;
    }
    for (ULONG_32 i = 0; i < ulNum && i < PAYLOAD_TABLE_NUM; i++) {
        FillEntry(&pstPayloadType[i], &pstTable->astEntry[i]);
    }
    RTP_PAYLOAD_TYPE_S *pstOld = word::Exchange(pstPort->pstPayloadType, pstTable->astEntry);
    Retire(pstPort, reinterpret_cast<PAYLOAD_TABLE_S *>(pstOld));
    return PLAYER_ERR_OK;
}

void PayloadTable_FreeRetired(PORT_INTAKE_S *pstIntake) {
    PAYLOAD_TABLE_S *pstTable = static_cast<PAYLOAD_TABLE_S *>(pstIntake->hRetiredPayloadType);
    while (pstTable != nullptr) {
        PAYLOAD_TABLE_S *pstNext = pstTable->pstNextRetired;
        free(pstTable);
        pstTable = pstNext;
    }
    pstIntake->hRetiredPayloadType = nullptr;
}

ULONG_32 Player_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stRtpAudioInfo.ucAudioType, pstAudioInfo->ucAudioType);
    word::Store(pstPort->stRtpAudioInfo.ucFrequencyIndex, pstAudioInfo->ucFrequencyIndex);
    word::Store(pstPort->stRtpAudioInfo.ucChannelNum, pstAudioInfo->ucChannelNum);
    return PLAYER_ERR_OK;
}
