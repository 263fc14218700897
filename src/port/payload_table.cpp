#include "port/payload_table.h"

#include <stdlib.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/payload_types.h"
#include "foundations/shared_word.h"

namespace {

const ULONG_32 PAYLOAD_TABLE_NUM = 2;

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

/** Word by word: threads of an open port may be reading the table. */
void FillEntry(const PLAYER_PAYLOAD_TYPE_S *pstFrom, RTP_PAYLOAD_TYPE_S *pstTo) {
    const ULONG_32 ulEncodeType = EncodeTypeOf(pstFrom);
    word::Store(pstTo->ucPayloadType, pstFrom->ucPayloadType);
    word::Store(pstTo->enPayloadType, PayloadOf(pstFrom->ulType == 0 ? PayloadType_OfVideoEncode(ulEncodeType)
                                                                     : PayloadType_OfAudioEncode(ulEncodeType),
                                                ulEncodeType));
    word::Store(pstTo->ulSampleRate, pstFrom->ulSampleRate);
}

/** An entry without a rate maps nothing. */
void ClearEntry(RTP_PAYLOAD_TYPE_S *pstTo) { word::Store(pstTo->ulSampleRate, 0); }

RTP_PAYLOAD_TYPE_S *AllocTable(ULONG_32 ulPort) {
    const ULONG_32 ulSize = PAYLOAD_TABLE_NUM * sizeof(RTP_PAYLOAD_TYPE_S);
    RTP_PAYLOAD_TYPE_S *pstTable = static_cast<RTP_PAYLOAD_TYPE_S *>(calloc(1, ulSize));
    if (pstTable == nullptr) {
        LOG_ERROR("Port[%03d] Malloc Failed, Size:[%d].", ulPort, static_cast<LONG_32>(ulSize));
    }
    return pstTable;
}

}  // namespace

ULONG_32 Player_SetPayloadType(ULONG_32 ulPort, ULONG_32 ulNum, PLAYER_PAYLOAD_TYPE_S *pstPayloadType) {
    PLAYER_GET_PORT(pstPort, ulPort);
    RTP_PAYLOAD_TYPE_S *pstTable = pstPort->pstPayloadType;
    if (pstTable == nullptr) {
        pstTable = AllocTable(ulPort);
    }
    if (pstTable == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    for (ULONG_32 i = 0; i < PAYLOAD_TABLE_NUM; i++) {
        if (i < ulNum) {
            FillEntry(&pstPayloadType[i], &pstTable[i]);
        } else {
            ClearEntry(&pstTable[i]);
        }
    }
    word::StoreRelease(pstPort->pstPayloadType, pstTable);
    return PLAYER_ERR_OK;
}

ULONG_32 Player_SetAudioInfo(ULONG_32 ulPort, PLAYER_AUDIO_INFO_S *pstAudioInfo) {
    PLAYER_GET_PORT(pstPort, ulPort);
    word::Store(pstPort->stRtpAudioInfo.ucAudioType, pstAudioInfo->ucAudioType);
    word::Store(pstPort->stRtpAudioInfo.ucFrequencyIndex, pstAudioInfo->ucFrequencyIndex);
    word::Store(pstPort->stRtpAudioInfo.ucChannelNum, pstAudioInfo->ucChannelNum);
    return PLAYER_ERR_OK;
}
