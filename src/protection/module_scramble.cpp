#include "protection/module_scramble.h"

#include <stdlib.h>
#include <string.h>

#include "codec/zvrsa.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

const UCHAR SALT[] = {'M', 'o', 'r', 'v', 'a', 'Q'};

void StoreBe32(UCHAR *pucAt, ULONG_32 ulValue) {
    for (ULONG_32 i = 0; i < 4; ++i) {
        pucAt[i] = static_cast<UCHAR>(ulValue >> (24 - 8 * i));
    }
}

/** The sum of the four words of a digest over master key, random number and salt. */
ULONG_32 DeriveKey(const UCHAR *pucKeyM, ULONG_32 ulRand) {
    UCHAR aucMessage[8 + sizeof(SALT)];
    memcpy(aucMessage, pucKeyM, 4);
    StoreBe32(aucMessage + 4, ulRand);
    memcpy(aucMessage + 8, SALT, sizeof(SALT));
    UCHAR aucDigest[ZVRSA_MD5_LEN] = {};
    BP_MD5_Calc(aucMessage, sizeof(aucMessage), aucDigest);
    ULONG_32 ulKey = 0;
    for (ULONG_32 i = 0; i < ZVRSA_MD5_LEN; i += 4) {
        ulKey += bytes::Be32(aucDigest + i);
    }
    return ulKey;
}

}  // namespace

HANDLE SCRAMBLE_CreateKey(ULONG_32 ulPort, UCHAR *pcKeyM, ULONG_32 ulRand) {
    if (pcKeyM == nullptr) {
        return nullptr;
    }
    DRV_SCRAMBLE_CFG_S *pstKey = static_cast<DRV_SCRAMBLE_CFG_S *>(calloc(1, sizeof(DRV_SCRAMBLE_CFG_S)));
    if (pstKey == nullptr) {
        LOG_ERROR("Port[%03d] SCRAMBLE_CreateKey Failed, Malloc[%d] Error", ulPort,
                  static_cast<int>(sizeof(DRV_SCRAMBLE_CFG_S)));
        return nullptr;
    }
    pstKey->ucVersion = 3;
    memcpy(pstKey->aucKeyM, pcKeyM, sizeof(pstKey->aucKeyM));
    pstKey->ulRand = ulRand;
    pstKey->ulChannelID = ulPort;
    pstKey->ulKey = DeriveKey(pcKeyM, ulRand);
    return pstKey;
}

void SCRAMBLE_FreeKey(HANDLE *phKey) {
    if (phKey == nullptr || *phKey == nullptr) {
        return;
    }
    explicit_bzero(*phKey, sizeof(DRV_SCRAMBLE_CFG_S));
    free(*phKey);
    *phKey = nullptr;
}

ULONG_32 SCRAMBLE_Descramble(HANDLE hKey, LONG_32 lPayload, LONG_32 lFormatType, UCHAR *pucInbuf,
                             ULONG_32 *pulStreamLen) {
    if (hKey == nullptr) {
        LOG_ERROR("SCRAMBLE_Descramble Failed, Key is Null");
        return PLAYER_ERR_PARAM;
    }
    DRV_SCRAMBLE_CFG_S *pstKey = static_cast<DRV_SCRAMBLE_CFG_S *>(hKey);
    pstKey->ulFormat = lPayload == PLAYER_PAYLOAD_H264 ? SCRAMBLE_FORMAT_H264 : SCRAMBLE_FORMAT_H265;
    pstKey->ulFrameType = lFormatType == PLAYER_VIDEO_FRAME_I ? SCRAMBLE_FRAME_I : SCRAMBLE_FRAME_P;
    ULONG ulLen = pulStreamLen != nullptr ? *pulStreamLen : 0;
    if (Enc_Descramble(&ulLen, pucInbuf, pstKey) != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] SCRAMBLE_Descramble Failed, Enc_Descramble Error", pstKey->ulChannelID);
        return PLAYER_ERR_PARAM;
    }
    *pulStreamLen = static_cast<ULONG_32>(ulLen);
    return PLAYER_ERR_OK;
}
