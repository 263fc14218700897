// The key messages of scrambled streams, opened by wolfCrypt.
#include "codec/zvrsa.h"

#include <wolfssl/options.h>
// The library's own options come first.
#include <wolfssl/wolfcrypt/aes.h>
#include <wolfssl/wolfcrypt/asn_public.h>
#include <wolfssl/wolfcrypt/md5.h>
#include <wolfssl/wolfcrypt/random.h>
#include <wolfssl/wolfcrypt/rsa.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "key_der.h"

namespace {

constexpr ULONG_32 ZVRSA_FAILED = 1;
constexpr size_t AES_KEY_LEN = ZVRSA_ECB_BITS / 8;

/** A private key with the random numbers that hide what it does from a clock. */
class CPrivateKey {
 public:
    explicit CPrivateKey(const std::vector<uint8_t> &oDer) {
        word32 ulPos = 0;
        m_bRng = wc_InitRng(&m_stRng) == 0;
        m_bKey = wc_InitRsaKey(&m_stKey, nullptr) == 0;
        m_bReady = m_bRng && m_bKey && !oDer.empty() &&
                   wc_RsaPrivateKeyDecode(oDer.data(), &ulPos, &m_stKey, static_cast<word32>(oDer.size())) == 0 &&
                   wc_RsaSetRNG(&m_stKey, &m_stRng) == 0;
    }
    ~CPrivateKey() {
        if (m_bKey) {
            wc_FreeRsaKey(&m_stKey);
        }
        if (m_bRng) {
            wc_FreeRng(&m_stRng);
        }
    }
    CPrivateKey(const CPrivateKey &) = delete;
    CPrivateKey &operator=(const CPrivateKey &) = delete;

    /** Bytes of the message, or a number below 0. */
    int Open(const UCHAR *pucIn, ULONG_32 ulLen, UCHAR *pucOut, ULONG_32 ulRoom) {
        return m_bReady ? wc_RsaPrivateDecrypt(pucIn, ulLen, pucOut, ulRoom, &m_stKey) : -1;
    }

 private:
    WC_RNG m_stRng;
    RsaKey m_stKey;
    bool m_bRng = false, m_bKey = false, m_bReady = false;
};

/** One block through AES-256; false if the cipher could not be set up. */
bool DecryptBlock(const UCHAR *pucKey, const UCHAR *pucIn, UCHAR *pucOut) {
    Aes stAes;
    if (wc_AesInit(&stAes, nullptr, INVALID_DEVID) != 0) {
        return false;
    }
    const bool bDone = wc_AesSetKey(&stAes, pucKey, AES_KEY_LEN, nullptr, AES_DECRYPTION) == 0 &&
                       wc_AesEcbDecrypt(&stAes, pucOut, pucIn, ZVRSA_ECB_BLOCK) == 0;
    wc_AesFree(&stAes);
    return bDone;
}

bool IsPadding(const UCHAR *pucFrom, const UCHAR *pucTo) {
    return (*pucFrom == 0 || *pucFrom == pucTo - pucFrom) &&
           std::all_of(pucFrom, pucTo, [&](UCHAR ucByte) { return ucByte == *pucFrom; });
}

}  // namespace

ULONG_32 ZvRSA_Decrypt(RSA_INFO_S *pstRsaInfo, const UCHAR *pucIn, UCHAR *pucOut) try {
    if (pstRsaInfo == nullptr || pucIn == nullptr || pucOut == nullptr || pstRsaInfo->unBit > ZVRSA_MAX_CIPHER * 8) {
        return ZVRSA_FAILED;
    }
    CPrivateKey oKey(KeyDer_Write(*pstRsaInfo));
    UCHAR aucPlain[ZVRSA_MAX_CIPHER];
    const int iLen = oKey.Open(pucIn, pstRsaInfo->unBit / 8, aucPlain, sizeof(aucPlain));
    if (iLen <= 0 || iLen > ZVRSA_MAX_PLAIN) {
        return ZVRSA_FAILED;
    }
    memcpy(pucOut, aucPlain, static_cast<size_t>(iLen));
    explicit_bzero(aucPlain, sizeof(aucPlain));
    return 0;
} catch (const std::bad_alloc &) {
    return ZVRSA_FAILED;
}

ULONG_32 ZvRSA_Decrypt_Ecb(const UCHAR *pucIn, const CHAR *pcPassword, LONG_32 lBits, UCHAR *pucOut) {
    if (pucIn == nullptr || pcPassword == nullptr || pucOut == nullptr || lBits != ZVRSA_ECB_BITS) {
        return ZVRSA_FAILED;
    }
    UCHAR aucKey[AES_KEY_LEN] = {};
    memcpy(aucKey, pcPassword, strnlen(pcPassword, sizeof(aucKey)));
    UCHAR aucBlock[ZVRSA_ECB_BLOCK];
    const bool bOpen = DecryptBlock(aucKey, pucIn, aucBlock);
    explicit_bzero(aucKey, sizeof(aucKey));
    if (!bOpen || !IsPadding(aucBlock + ZVRSA_ECB_PLAIN, aucBlock + sizeof(aucBlock))) {
        return ZVRSA_FAILED;
    }
    memcpy(pucOut, aucBlock, ZVRSA_ECB_PLAIN);
    return 0;
}

ULONG_32 BP_MD5_Calc(const UCHAR *pucData, unsigned long ulLength, UCHAR *pucDigest) {
    constexpr unsigned long CHUNK = 1UL << 30;  // wolfCrypt counts in 32 bits
    wc_Md5 stMd5;
    if ((pucData == nullptr && ulLength != 0) || pucDigest == nullptr || wc_InitMd5(&stMd5) != 0) {
        return ZVRSA_FAILED;
    }
    bool bOk = true;
    while (bOk && ulLength > 0) {
        const unsigned long ulPart = std::min(ulLength, CHUNK);
        bOk = wc_Md5Update(&stMd5, pucData, static_cast<word32>(ulPart)) == 0;
        pucData += ulPart;
        ulLength -= ulPart;
    }
    bOk = bOk && wc_Md5Final(&stMd5, pucDigest) == 0;
    wc_Md5Free(&stMd5);
    return bOk ? 0 : ZVRSA_FAILED;
}
