// Keys and passwords that libZvRSA.so is given. Input: a place in a key record, in two bytes, and what is written
// there.
#include "codec/zvrsa.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "foundations/bytes.h"
#include "zelvane_modules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    PLAYER_RSA_INFO_S stGood = {};
    Player_GetRsaKey(&stGood);
    RSA_INFO_S stKey;
    memcpy(&stKey, &stGood, sizeof(stKey));
    bytes::Reader stInput(pucData, ulSize);
    const size_t ulAt = stInput.U16Be() % sizeof(stKey);
    const size_t ulLen = std::min(stInput.Left(), sizeof(stKey) - ulAt);
    if (ulLen == 0) {
        return 0;
    }
    const UCHAR *pucText = stInput.Take(ulLen);
    memcpy(reinterpret_cast<UCHAR *>(&stKey) + ulAt, pucText, ulLen);
    UCHAR aucIn[ZVRSA_MAX_CIPHER] = {1};
    UCHAR aucOut[ZVRSA_MAX_PLAIN];
    memcpy(aucIn, pucText, std::min(ulLen, sizeof(aucIn)));
    ZvRSA_Decrypt(&stKey, aucIn, aucOut);
    const std::string strPassword(reinterpret_cast<const CHAR *>(pucText), ulLen);
    ZvRSA_Decrypt_Ecb(aucIn, strPassword.c_str(), ZVRSA_ECB_BITS, aucOut);
    BP_MD5_Calc(pucText, ulLen, aucOut);
    return 0;
}
