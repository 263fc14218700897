#include "port/payload_table.h"

#include <stdlib.h>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

const ULONG_32 PAYLOAD_TABLE_NUM = 2;

/** The table comes first, so that the port's pointer to it is the node's own. */
struct PAYLOAD_TABLE_S {
    RTP_PAYLOAD_TYPE_S astEntry[PAYLOAD_TABLE_NUM];
    PAYLOAD_TABLE_S *pstNextRetired;
};

struct ENCODE_TO_PAYLOAD_S {
    LONG_32 lEncode;
    PLAYER_PAYLOAD_E enPayload;
};

const ENCODE_TO_PAYLOAD_S gastVideoMap[] = {{PLAYER_VIDEO_ENCODE_H264, PLAYER_PAYLOAD_H264},
                                            {PLAYER_VIDEO_ENCODE_MJPEG, PLAYER_PAYLOAD_JPEG},
                                            {PLAYER_VIDEO_ENCODE_H265, PLAYER_PAYLOAD_H265}};
const ENCODE_TO_PAYLOAD_S gastAudioMap[] = {{PLAYER_AUDIO_ENCODE_G711U, PLAYER_PAYLOAD_G711U},
                                            {PLAYER_AUDIO_ENCODE_MP2, PLAYER_PAYLOAD_MP1L2},
                                            {PLAYER_AUDIO_ENCODE_AAC, PLAYER_PAYLOAD_AAC},
                                            {PLAYER_AUDIO_ENCODE_G711A, PLAYER_PAYLOAD_G711A},
                                            {PLAYER_AUDIO_ENCODE_PCM, PLAYER_PAYLOAD_PCM}};

template <ULONG_32 ROWS>
PLAYER_PAYLOAD_E MapPayload(const ENCODE_TO_PAYLOAD_S (&astMap)[ROWS], LONG_32 lEncode) {
    for (const ENCODE_TO_PAYLOAD_S &stRow : astMap) {
        if (stRow.lEncode == lEncode) {
            return stRow.enPayload;
        }
    }
    LOG_WARN("Unknown Stream Type[%ld].", static_cast<long>(lEncode));
    return PLAYER_PAYLOAD_NULL;
}

void FillEntry(const PLAYER_PAYLOAD_TYPE_S *pstFrom, RTP_PAYLOAD_TYPE_S *pstTo) {
    pstTo->ucPayloadType = pstFrom->ucPayloadType;
    pstTo->ulSampleRate = pstFrom->ulSampleRate;
    pstTo->enPayloadType = pstFrom->ulType == 0 ? MapPayload(gastVideoMap, pstFrom->unPayload.enVideoPayloadType)
                                                : MapPayload(gastAudioMap, pstFrom->unPayload.enAudioPayloadType);
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
